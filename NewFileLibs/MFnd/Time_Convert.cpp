#include "MFnd/Time_Convert.h"

#include "MFnd/Time_Globals.h"

#include <atomic>

namespace
{

std::atomic<std::uint64_t> sSnapCalls{0};

Time_Typed ToSample(Time_Typed iTime, bool iRoundUp)
{
    const Time_Context& context = Time_Globals::GetContext();
    return iRoundUp ? context.ToSampleUpward(iTime) : context.ToType(iTime, Time_EType::kSample);
}

} // namespace

Time_Typed Time_Convert::ToType(Time_Typed iTime, Time_EType iType)
{
    return Time_Globals::GetContext().ToType(iTime, iType);
}

Time_Tick Time_Convert::ToTick(Time_Typed iTime)
{
    return Time_Tick(ToType(iTime, Time_EType::kTick).AsInt64());
}

Time_Typed Time_Convert::AddLength(Time_Typed iTime, Time_TypedLength iLength)
{
    return iTime + iLength;
}

Time_Typed Time_Convert::SnapToCoarseInternalTick(Time_Typed iTime)
{
    sSnapCalls.fetch_add(1, std::memory_order_relaxed);
    if (iTime.GetType() != Time_EType::kTick)
        return iTime;

    // Counts are far enough from the ends of their 64 bits for the sum; what snaps out of the range saturates.
    constexpr std::int64_t kGrid = Time_Globals::GetCoarseInternalTickGrid();
    const std::int64_t raised = iTime.AsInt64() + kGrid / 2;
    const std::int64_t excess = (raised % kGrid + kGrid) % kGrid;
    return {raised - excess, Time_EType::kTick};
}

std::uint64_t Time_Convert::GetSnapCallCount()
{
    return sSnapCalls.load(std::memory_order_relaxed);
}

void Time_Convert::MakeTickRangeSampleBased(Time_Typed& ioStart, Time_Typed& ioEnd, bool iRoundUp)
{
    ioStart = ToSample(ioStart, iRoundUp);
    ioEnd = ToSample(ioEnd, iRoundUp);
}

Time_Sample Time_Convert::GetSessionStartTime()
{
    return Time_Globals::GetSessionStart();
}
