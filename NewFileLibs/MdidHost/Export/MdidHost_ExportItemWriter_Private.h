#pragma once

#include "MdidHost/Export/MdidHost_ExportItem_Private.h"
#include "MdidHost/Export/MdidHost_ExportTrackWriter_Private.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Turns the events of one track, in their order, into bytes, and knows what each channel has been told so far: its
// bank, what its lanes hold, and which notes sound.
class MdidHost_ExportItemWriter
{
public:
    // Both have to outlive this object. iMetaData: what the numbers of meta events stand for.
    MdidHost_ExportItemWriter(MdidHost_ExportTrackWriter& ioWriter, const std::vector<std::string>& iMetaData);

    void Write(const MdidHost_ExportItem& iItem);

    // Notes that began after another one of their channel and pitch, and ended before it: who reads the file takes the
    // end of the one for that of the other.
    std::int64_t GetNumNestedNotes() const { return mNumNestedNotes; }

private:
    struct Bank
    {
        int mMSB = -1;
        int mLSB = -1;
    };

    // Two data bytes as one number; kUnknown before the first.
    struct Lane
    {
        int mHeld;
        int mBase; // to go back to when a note that says nothing about it begins
        std::int64_t mTick;
        bool mIsSetByNote;
    };

    // Whether a note sounds on the item's channel after its tick.
    bool IsSounding(const MdidHost_ExportItem& iItem) const
    {
        return mChannelEnds[iItem.GetChannel()] > iItem.GetTick();
    }
    Lane& LaneOf(std::size_t iChannel, std::size_t iLane);
    void WriteMessage(const MdidHost_ExportItem& iItem);
    void WriteController(const MdidHost_ExportItem& iItem, unsigned char iController, int iValue);
    void WriteProgram(const MdidHost_ExportItem& iItem);
    void WriteSysex(const MdidHost_ExportItem& iItem);
    void WriteNoteOn(const MdidHost_ExportItem& iItem);
    void WriteNoteLane(const MdidHost_ExportItem& iItem);
    void ResetLanes(const MdidHost_ExportItem& iNoteOn);
    void SetLane(const MdidHost_ExportItem& iItem);

    MdidHost_ExportTrackWriter& mWriter;
    const std::vector<std::string>& mMetaData;
    std::array<Bank, 16> mBanks;
    std::array<std::int64_t, 16> mChannelEnds{}; // of the notes that began, by channel
    std::vector<std::int64_t> mPitchEnds;        // and by channel and pitch
    std::int64_t mNumNestedNotes = 0;
    std::vector<Lane> mLanes; // by channel and index, made when a note sets one
};
