#pragma once

#include "MFnd/Time_Typed.h"
#include "Mdid/Mdid_Event.h"

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>

// One event of a track of the file that is written.
struct MdidHost_ExportItem
{
    enum EKind : unsigned char
    {
        kMeta,          // mStatus is the type, mNumber the place of the data
        kMessage,       // any channel message that nothing below names
        kProgram,       // mData[0] is the whole program field, mNumber the whole bank field
        kSysex,         // mSysexP
        kNoteOn,        // mNumber is the tick of the note's end
        kMemberNoteOn,  // the same, of a note to which its channel's expression belongs
        kNoteLane,      // a value of a per-note lane
        kNoteLaneStart, // the one at the note's start
    };

    static constexpr int kNoLane = 255;

    std::uint64_t mOrder = 0; // tick and priority
    Time_Typed mTime;
    union
    {
        std::int64_t mNumber = 0;
        const Mdid_Event* mSysexP;
    };
    EKind mKind = kMessage;
    unsigned char mStatus = 0;
    std::array<unsigned char, 2> mData{};
    unsigned char mLane = kNoLane; // Mdie_SubStream::GetDataTypeIndex of what sets a lane

    void SetPlace(std::int64_t iTick, int iPriority)
    {
        mOrder = static_cast<std::uint64_t>(iTick) << 16 | static_cast<std::uint64_t>(iPriority);
    }
    std::int64_t GetTick() const { return static_cast<std::int64_t>(mOrder >> 16); }
    std::size_t GetChannel() const { return mStatus & 0x0Fu; }

    bool operator<(const MdidHost_ExportItem& iOther) const
    {
        return mOrder != iOther.mOrder ? mOrder < iOther.mOrder : mTime < iOther.mTime;
    }
};
