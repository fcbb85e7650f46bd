#include "MFnd/Time_Convert.h"

#include "MFnd/TimeModel.h"
#include "MFnd/Time_Globals.h"
#include "Support/AllocationCounter.h"

#include <gtest/gtest.h>

namespace
{

using enum Time_EType;

constexpr std::int64_t kMin = Time_Packed::kMinCount;
constexpr std::int64_t kMax = Time_Packed::kMaxCount;

TEST(Time_Convert, TicksSnapToTheNearestCoarseTick)
{
    const std::pair<Time_Typed, std::int64_t> table[] = {
        {{499, kTick}, 0},          {{500, kTick}, 1'000}, // a half goes upward
        {{1'500, kTick}, 2'000},    {{-500, kTick}, 0},    // below zero too
        {{-501, kTick}, -1'000},    {{-1'501, kTick}, -2'000},
        {{kMin, kTick}, kMin},      {{kMax, kTick}, kMax}, // the next multiple is out of range
        {{501, kMicrosecond}, 501},                        // other kinds stay
    };
    const auto callsBefore = Time_Convert::GetSnapCallCount();
    for (const auto& [time, snapped] : table)
        EXPECT_EQ(Time_Convert::SnapToCoarseInternalTick(time), Time_Typed(snapped, time.GetType())) << time;
    EXPECT_EQ(Time_Convert::GetSnapCallCount(), callsBefore + std::size(table));
}

TEST(Time_Convert, ARangeBecomesSampleBasedWithoutTheHeap)
{
    const AllocationCounter allocations;
    for (const bool roundUp : {false, true})
    {
        Time_Typed start(-61, kTick);     // 40 ticks a sample
        Time_Typed end(21, kMicrosecond); // 1.008 samples
        Time_Convert::MakeTickRangeSampleBased(start, end, roundUp);
        EXPECT_TRUE(start.GetType() == kSample && end.GetType() == kSample);
        EXPECT_EQ(start.AsInt64(), roundUp ? -1 : -2);
        EXPECT_EQ(end.AsInt64(), roundUp ? 2 : 1);
    }
    EXPECT_EQ(allocations.GetCount(), 0);
}

} // namespace
