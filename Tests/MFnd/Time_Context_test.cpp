#include "MFnd/Time_Context.h"

#include "MFnd/TimeModel.h"
#include "Support/RecordingAssertHandler.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

namespace
{

using enum Time_EType;
using Rational = ExactTime::Rational;

// A time beside another one, so that different kinds meet closely.
Time_Typed TimeNear(const ExactTime& iModel, Time_Typed iTime)
{
    const Time_EType type = *AnyType();
    const auto shift = *rc::gen::inRange<std::int64_t>(-1, 2);
    return {iModel.NearestTime(iModel.PositionOf(iTime), type).AsInt64() + shift, type};
}

RC_GTEST_PROP(Time_Context, MixedKindsHaveOneTotalOrder,
              (const Time_Context& iContext, Time_Typed iLeft, Time_Typed iOther))
{
    const ExactTime model(iContext);
    for (const Time_Typed right : {TimeNear(model, iLeft), TimeNear(model, iLeft), iOther})
        RC_ASSERT(iContext.Compare(iLeft, right) == (model.PositionOf(iLeft).compare(model.PositionOf(right)) <=> 0));
}

RC_GTEST_PROP(Time_Context, LengthsAreOrderedAndAddedFromTickZero,
              (const Time_Context& iContext, Time_Typed iLeft, Time_Typed iRight))
{
    Time_Context fromZero = iContext;
    fromZero.SetSessionStart(Time_Sample(0));
    const Time_TypedLength left(iLeft.GetPacked());
    const Time_TypedLength right(iRight.GetPacked());
    const Time_Typed near = TimeNear(ExactTime(fromZero), iLeft);
    RC_ASSERT(iContext.Compare(left, Time_TypedLength(near.GetPacked())) == fromZero.Compare(iLeft, near));
    RC_ASSERT(Time_Typed(iContext.Add(left, right).GetPacked()) == fromZero.Add(iLeft, right));
    RC_ASSERT(Time_Typed(iContext.Subtract(left, right).GetPacked()) == fromZero.Subtract(iLeft, right));
}

RC_GTEST_PROP(Time_Context, ConversionRoundsTheExactPositionOnce, (const Time_Context& iContext, Time_Typed iTime))
{
    const ExactTime model(iContext);
    const Rational position = model.PositionOf(iTime);
    for (const Time_EType type : {kSample, kTick, kMicrosecond})
        RC_ASSERT(iContext.ToType(iTime, type).GetPacked().GetRaw() ==
                  model.NearestTime(position, type).GetPacked().GetRaw());
    const Rational samples = model.CountsAt(position, kSample);
    const std::int64_t below = ExactTime::SaturatedFloor(samples);
    RC_ASSERT(iContext.ToSampleUpward(iTime) == Time_Sample(below < samples ? below + 1 : below));
}

RC_GTEST_PROP(Time_Context, LengthsAreLaidOutAlongTheTempoMap,
              (const Time_Context& iContext, Time_Typed iTime, Time_Typed iRight))
{
    const ExactTime model(iContext);
    const Rational start = model.PositionOf(iTime);
    const Time_TypedLength length(iRight.GetPacked());
    const Rational count = length.AsInt64();
    const auto nearest = [&](const Rational& iPosition) { return model.NearestTime(iPosition, iTime.GetType()); };
    RC_ASSERT(iContext.Add(iTime, length) == nearest(model.EndOf(start, count, length.GetType())));
    RC_ASSERT(iContext.Subtract(iTime, length) == nearest(model.EndOf(start, -count, length.GetType())));
    RC_ASSERT(iContext.Subtract(iTime, iRight) == iTime - nearest(model.PositionOf(iRight)));
}

TEST(Time_Context, HalvesRoundUpward)
{
    // To counts that are twice as long, at 500,000 Hz.
    const std::tuple<std::int32_t, Time_Typed, Time_Typed> table[] = {
        {480'000, {3, kTick}, {2, kMicrosecond}},   {480'000, {-3, kTick}, {-1, kMicrosecond}},
        {1'920'000, {3, kMicrosecond}, {2, kTick}}, {1'920'000, {-3, kMicrosecond}, {-1, kTick}},
        {960'000, {3, kMicrosecond}, {2, kSample}}, {960'000, {-3, kMicrosecond}, {-1, kSample}},
    };
    for (const auto& [tempo, from, to] : table)
        EXPECT_EQ(MakeContext({{0, tempo}}, 500'000, 0).ToType(from, to.GetType()), to) << from;
}

TEST(Time_Context, WhatPassesTheEndsOnTheWayIsExact)
{
    // The opposite of the lowest length is out of range, and the ticks need more than 64 bits, but the ends are not.
    const Time_Context even = MakeContext({{0, 960'000}}, 48'000, 0); // a tick is a microsecond
    EXPECT_EQ(even.Subtract(Time_Typed(-2, kMicrosecond), Time_TickLength(Time_Packed::kMinCount)).AsInt64(),
              Time_Packed::kMaxCount - 1);
    const Time_Context dense = MakeContext({{0, 1}, {100, 2}}, 1, 0);
    EXPECT_EQ(dense.Subtract(Time_Typed::MaxTime(kSample), Time_TickLength(1)), Time_Typed::MaxTime(kSample));
}

TEST(Time_Context, RatesOutsideTheRangeAreRefused)
{
    RecordingAssertHandler asserts;
    Time_Context context;
    EXPECT_FALSE(context.SetSampleRate(0) || context.SetSampleRate((1 << 24) + 1) || context.SetSampleRate(1LL << 32));
    EXPECT_EQ(asserts.Take().size(), 3u);
    EXPECT_EQ(context, Time_Context());
    EXPECT_TRUE(context.SetSampleRate(1) && context.SetSampleRate(1 << 24));
}

} // namespace
