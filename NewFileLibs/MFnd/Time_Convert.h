#pragma once

#include "MFnd/Time_FixedKind.h"

// Conversions by the process's current Time_Globals; Time_Context has the same for any other context. All round to the
// nearest count, halves upward, unless they say otherwise, and saturate at the ends of the range. Any thread.
class MFND_EXPORT Time_Convert
{
public:
    // A time that has the kind already is returned as it is.
    static Time_Typed ToType(Time_Typed iTime, Time_EType iType);
    static Time_Tick ToTick(Time_Typed iTime);

    // iTime + iLength.
    static Time_Typed AddLength(Time_Typed iTime, Time_TypedLength iLength);

    // A tick time moves to the nearest multiple of the coarse internal grid; other kinds stay. Every call counts.
    static Time_Typed SnapToCoarseInternalTick(Time_Typed iTime);

    // How often the process has called SnapToCoarseInternalTick: tells whether an operation snaps at all.
    static std::uint64_t GetSnapCallCount();

    // Turns both ends into samples: upward when iRoundUp, else to the nearest. Ends in samples stay as they are.
    static void MakeTickRangeSampleBased(Time_Typed& ioStart, Time_Typed& ioEnd, bool iRoundUp);

    // Where tick 0 lies.
    static Time_Sample GetSessionStartTime();
};
