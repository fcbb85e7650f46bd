#pragma once

#include "Mdid/Mdid_ExtendedEvent.h"
#include "MdidHost/Session/MdidHost_Session.h"

#include <algorithm>
#include <cstdint>

// Times of a session as ticks of the file that is written: no earlier than its start, and no later than a file of some
// thousand bridged gaps.
class MdidHost_ExportClock
{
public:
    static constexpr std::int64_t kLastTick = std::int64_t{1} << 40;

    // The context has to outlive the clock.
    MdidHost_ExportClock(const MdidHost_Division& iDivision, const Time_Context& iContext)
        : mDivision(iDivision),
          mContext(iContext)
    {
    }

    // Adds 1 to ioNumMoved when the time lies outside.
    std::int64_t GetTick(Time_Typed iTime, std::int64_t& ioNumMoved) const
    {
        const std::int64_t tick = mDivision.ToFileTick(iTime, mContext);
        const std::int64_t inFile = std::clamp<std::int64_t>(tick, 0, kLastTick);
        ioNumMoved += tick != inFile;
        return inFile;
    }
    std::int64_t GetTick(Time_Typed iTime) const
    {
        std::int64_t ignored = 0;
        return GetTick(iTime, ignored);
    }

    // A note lasts at least one tick.
    std::int64_t GetEndTick(const Mdid_NoteWithDurationExtendedEvent& iNote) const
    {
        return GetEndTick(iNote, GetTick(iNote.GetTime()));
    }
    std::int64_t GetEndTick(const Mdid_NoteWithDurationExtendedEvent& iNote, std::int64_t iStartTick) const
    {
        return std::max(GetTick(iNote.GetEndTime()), iStartTick + 1);
    }

private:
    MdidHost_Division mDivision;
    const Time_Context& mContext;
};

// The channel that an event of a track's chunk goes out on: 0 to 15.
inline int MdidHost_ExportChannel(const MdidHost_Track& iTrack, signed char iEventChannel)
{
    const int channel = iTrack.GetChannelOf(iEventChannel);
    return channel == MdidHost_Track::kNoChannel ? 0 : channel & 0x0F;
}
