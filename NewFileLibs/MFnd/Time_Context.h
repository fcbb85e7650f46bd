#pragma once

#include "MFnd/Time_TempoMap.h"

// What ties the kinds of time together: a tempo map, a sample rate and the session start. Default: 120 BPM at
// 48,000 Hz from sample 0. Time_Globals holds the process's own; a tool may convert by one of a file instead.
//
// Sample 0 and microsecond 0 are one position; tick 0 lies at the session start. All positions are exact, in units of
// 1/(960,000 x sample rate) microseconds, and a result is rounded once, to the nearest count, halves upward. What
// leaves a kind's range saturates at its end. Every query is O(log n) in the tempo map, and fit for a playback thread.
//
// A value. Threads: any may read while none edits.
class MFND_EXPORT Time_Context
{
public:
    static constexpr std::int64_t kTicksPerQuarter = 960'000;
    static constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;
    static constexpr std::int32_t kMaxSampleRate = 1 << 24;

    const Time_TempoMap& GetTempoMap() const { return mTempoMap; }
    void SetTempoMap(Time_TempoMap iTempoMap) { mTempoMap = std::move(iTempoMap); }

    // In Hz. False, reported and without effect: a rate outside 1..kMaxSampleRate.
    std::int32_t GetSampleRate() const { return mSampleRate; }
    bool SetSampleRate(std::int64_t iSampleRate);

    // Where tick 0 lies.
    Time_Sample GetSessionStart() const { return mSessionStart; }
    void SetSessionStart(Time_Sample iSessionStart) { mSessionStart = iSessionStart; }

    Time_Typed ToType(Time_Typed iTime, Time_EType iType) const;

    // The first sample that is not earlier than the time.
    Time_Sample ToSampleUpward(Time_Typed iTime) const;

    // By exact positions; of lengths, by the positions that they reach from tick 0, wherever the session starts.
    std::weak_ordering Compare(Time_Typed iLeft, Time_Typed iRight) const;
    std::weak_ordering Compare(Time_TypedLength iLeft, Time_TypedLength iRight) const;

    // The end of a length that is laid out along the tempo map from the time, forward or backward; in the time's kind.
    Time_Typed Add(Time_Typed iTime, Time_TypedLength iLength) const;
    Time_Typed Subtract(Time_Typed iTime, Time_TypedLength iLength) const;

    // Converts the right time into the left one's kind, then subtracts counts.
    Time_TypedLength Subtract(Time_Typed iLeft, Time_Typed iRight) const;

    // Lays both lengths out from tick 0, the right one from where the left one ends; in the left one's kind.
    Time_TypedLength Add(Time_TypedLength iLeft, Time_TypedLength iRight) const;
    Time_TypedLength Subtract(Time_TypedLength iLeft, Time_TypedLength iRight) const;

    bool operator==(const Time_Context&) const = default;

private:
    Time_TempoMap mTempoMap;
    std::int32_t mSampleRate = 48'000;
    Time_Sample mSessionStart;
};
