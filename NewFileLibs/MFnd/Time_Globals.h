#pragma once

#include "MFnd/Time_Context.h"

#include <utility>

// The process's current tempo map, sample rate and session start, by which times of different kinds meet.
//
// Threads: nothing is locked. Any may read; the host edits, and never during playback.
class MFND_EXPORT Time_Globals
{
public:
    static constexpr std::int64_t kTicksPerQuarter = Time_Context::kTicksPerQuarter;

    // The current context for a scope: of a test, or of a host that converts offline. The one before comes back.
    class ScopedContext
    {
    public:
        ScopedContext() : mPrevious(GetContext()) {}
        explicit ScopedContext(Time_Context iContext) : ScopedContext() { SetContext(std::move(iContext)); }
        ~ScopedContext() { SetContext(std::move(mPrevious)); }
        ScopedContext(const ScopedContext&) = delete;
        ScopedContext& operator=(const ScopedContext&) = delete;

    private:
        Time_Context mPrevious;
    };

    static const Time_Context& GetContext();
    static void SetContext(Time_Context iContext) noexcept;

    static const Time_TempoMap& GetTempoMap() { return GetContext().GetTempoMap(); }
    static void SetTempoMap(Time_TempoMap iTempoMap) noexcept;

    // In Hz. False, reported and without effect: a rate outside 1..2^24.
    static std::int32_t GetSampleRate() { return GetContext().GetSampleRate(); }
    static bool SetSampleRate(std::int64_t iSampleRate);

    // Where tick 0 lies.
    static Time_Sample GetSessionStart() { return GetContext().GetSessionStart(); }
    static void SetSessionStart(Time_Sample iSessionStart);

    // In ticks.
    static constexpr std::int64_t GetCoarseInternalTickGrid() { return 1000; }
};

// Whether the host wants tick times kept on the coarse internal grid. A setting of the process, off by default.
// Any thread.
class MFND_EXPORT TickTimesMatter
{
public:
    // The setting for a scope; the one before comes back.
    class Scoped
    {
    public:
        explicit Scoped(bool iActive) : mPrevious(Active()) { Set(iActive); }
        ~Scoped() { Set(mPrevious); }
        Scoped(const Scoped&) = delete;
        Scoped& operator=(const Scoped&) = delete;

    private:
        bool mPrevious;
    };

    static bool Active();
    static void Set(bool iActive);
};
