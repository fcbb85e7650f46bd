#include "MFnd/Time_TypedDefs.h"

#include "MFnd/TimeModel.h"
#include "MFnd/Time_Globals.h"
#include "Support/RecordingAssertHandler.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

namespace
{

using enum Time_EType;

constexpr std::int64_t kMin = Time_Packed::kMinCount;
constexpr std::int64_t kMax = Time_Packed::kMaxCount;

// What the counts of one kind do, in numbers wide enough for every sum.
std::int64_t Saturated(Time_Int128 iCount)
{
    return static_cast<std::int64_t>(std::clamp(iCount, Time_Int128{kMin}, Time_Int128{kMax}));
}

RC_GTEST_PROP(Time_Typed, TimesOfOneKindAreSaturatingCounts, (Time_Typed iTime))
{
    const Time_EType type = iTime.GetType();
    const std::int64_t left = iTime.AsInt64();
    const std::int64_t right = *AnyCount();
    const std::int64_t sum = Saturated(Time_Int128{left} + right);
    const std::int64_t difference = Saturated(Time_Int128{left} - right);
    const Time_TypedLength length(right, type);
    RC_ASSERT(iTime + length == Time_Typed(sum, type));
    RC_ASSERT(iTime - length == Time_Typed(difference, type));
    RC_ASSERT(iTime - Time_Typed(right, type) == Time_TypedLength(difference, type));
    RC_ASSERT(Time_TypedLength(left, type) + length == Time_TypedLength(sum, type));
    RC_ASSERT(Time_TypedLength(left, type) - length == Time_TypedLength(difference, type));
    RC_ASSERT((-length).AsInt64() == Saturated(-Time_Int128{right}));
    RC_ASSERT((iTime <=> Time_Typed(right, type)) == (left <=> right));
    RC_ASSERT((Time_TypedLength(left, type) <=> length) == (left <=> right));

    RC_ASSERT(Time_Tick(left) + Time_TickLength(right) == Time_Tick(sum));
    RC_ASSERT(Time_Tick(left) - Time_Tick(right) == Time_TickLength(difference));
    RC_ASSERT(Time_Tick(left) - Time_TickLength(right) == Time_Tick(difference));
    RC_ASSERT(Time_TickLength(left) - Time_TickLength(right) == Time_TickLength(difference));
    RC_ASSERT((Time_Sample(left) <=> Time_Sample(right)) == (left <=> right));
}

TEST(Time_Typed, OperatorsOfDifferentKindsFollowTheGlobals)
{
    const Time_Typed quarter(960'000, kTick);
    const Time_Globals::ScopedContext scope(MakeContext({}, 44'100, 44'100));
    EXPECT_EQ(quarter, Time_Typed(66'150, kSample));
    EXPECT_LT(quarter, Time_Typed(1'500'001, kMicrosecond));
    EXPECT_EQ(Time_Typed(44'200, kSample) + Time_TypedLength(960'000, kTick), Time_Typed(66'250, kSample));
    EXPECT_EQ(Time_Typed(66'150, kSample) - Time_TypedLength(960'000, kTick), Time_Typed(44'100, kSample));
    EXPECT_EQ((Time_Typed(66'151, kSample) - quarter).AsInt64(), 1);
    // Lengths count from tick 0, wherever that lies.
    EXPECT_EQ(Time_TypedLength(960'000, kTick), Time_TypedLength(22'050, kSample));
    EXPECT_LT(Time_TypedLength(22'049, kSample), Time_TypedLength(960'000, kTick));
    EXPECT_EQ(Time_TypedLength(1, kSample) + Time_TypedLength(960'000, kTick), Time_TypedLength(22'051, kSample));
    EXPECT_EQ(Time_TypedLength(960'000, kTick) - Time_TypedLength(22'050, kSample), Time_TypedLength(0, kTick));
}

TEST(Time_TypedDefs, TheSavedFormIsFixed)
{
    const std::tuple<std::int64_t, Time_EType, std::int64_t> table[] = {
        {0, kMicrosecond, 2},      {1, kTick, 5},
        {-1, kSample, -4},         {-1, kTick, -3},
        {kMin, kSample, kMin * 4}, {kMax, kMicrosecond, kMax * 4 + 2},
    };
    for (const auto& [count, type, raw] : table)
    {
        Time_Typed time;
        Time_TypedLength length;
        EXPECT_EQ(Time_TypedDefs::GetRawDataForSave(count, type), raw);
        EXPECT_TRUE(Time_TypedDefs::SetFromRawSavedData(raw, time) && Time_TypedDefs::SetFromRawSavedData(raw, length));
        EXPECT_TRUE(time.AsInt64() == count && time.GetType() == type) << raw;
        EXPECT_EQ(Time_TypedDefs::GetRawDataForSave(length), raw);
    }
    for (const std::int64_t raw : {std::int64_t{3}, std::int64_t{-1}, kMax * 4 + 3}) // never saved
    {
        Time_TypedLength length(8, kMicrosecond);
        EXPECT_FALSE(Time_TypedDefs::SetFromRawSavedData(raw, length));
        EXPECT_EQ(length, Time_TypedLength(8, kMicrosecond));
    }
}

TEST(Time_TypedDefs, WhatDoesNotFitIsReportedAndSaturatesOrCountsAsSamples)
{
    EXPECT_EQ(Time_Tick(kMax + 1), Time_Typed::MaxTime(kTick));
    RecordingAssertHandler asserts;
    EXPECT_EQ(Time_TypedDefs::GetRawDataForSave(kMax + 1, kTick), kMax * 4 + 1);
    EXPECT_EQ(Time_TypedDefs::GetRawDataForSave(kMin - 1, kTick), kMin * 4 + 1);
    EXPECT_EQ(Time_Typed(5, static_cast<Time_EType>(3)), Time_Typed(5, kSample));
    EXPECT_EQ(asserts.Take().size(), 3u);
}

} // namespace
