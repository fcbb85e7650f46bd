#pragma once

#include "MdidHost/Session/MdidHost_Session.h"

#include <algorithm>
#include <cstdint>

// Where the reader is in a track: the running total of file ticks, and as a count of the session's kind.
class MdidHost_ImportClock
{
public:
    struct Moment
    {
        std::int64_t mFileTick = 0;
        std::int64_t mTime = 0;
    };

    // Later than this no event is put, so that there is room behind the last one.
    static constexpr std::int64_t kLatestTime = std::int64_t{1} << 60;

    MdidHost_ImportClock() = default;

    void SetDivision(const MdidHost_Division& iDivision) { mDivision = iDivision; }
    const MdidHost_Division& GetDivision() const { return mDivision; }
    Time_EType GetKind() const { return mDivision.GetKind(); }

    void StartTrack() { *this = MdidHost_ImportClock(mDivision); }

    // iReaderTime: as the reader gives it, wrapped at 32 bits.
    void AdvanceTo(int iReaderTime)
    {
        const auto delta = static_cast<std::uint32_t>(iReaderTime) - static_cast<std::uint32_t>(mReaderTime);
        if (delta == 0)
            return;
        mReaderTime = iReaderTime;
        mNow = MomentOf(mNow.mFileTick + delta);
    }

    // When a system-exclusive message began, at which the reader tells it: that may be over.
    Moment AdvanceToSysex(int iReaderTime);

    const Moment& Now() const { return mNow; }
    Time_Typed NowTyped() const { return {mNow.mTime, GetKind()}; }
    std::int64_t OneTickLater() const { return std::max(TimeAt(mNow.mFileTick + 1), mNow.mTime + 1); }

    // Whether a time, of an event that belongs to a moment, comes back as another file tick.
    bool IsOfAnotherTick(std::int64_t iTime, const Moment& iMoment) const;

private:
    explicit MdidHost_ImportClock(const MdidHost_Division& iDivision) : mDivision(iDivision) {}

    std::int64_t TimeAt(std::int64_t iFileTick) const
    {
        return std::min(mDivision.ToTime(iFileTick).AsInt64(), kLatestTime);
    }

    Moment MomentOf(std::int64_t iFileTick) const { return {iFileTick, TimeAt(iFileTick)}; }

    MdidHost_Division mDivision;
    int mReaderTime = 0;
    Moment mNow;
};
