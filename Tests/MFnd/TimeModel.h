#pragma once

#include "MFnd/Time_Context.h"

#include <boost/multiprecision/cpp_int.hpp>
#include <rapidcheck.h>

#include <map>
#include <ostream>

// How times show in failure messages.
inline std::ostream& operator<<(std::ostream& ioStream, Time_Typed iTime)
{
    constexpr const char* kUnits[] = {" samples", " ticks", " us"};
    return ioStream << iTime.AsInt64() << kUnits[static_cast<int>(iTime.GetType())];
}

using Tempos = std::map<std::int64_t, std::int32_t>; // tick, microseconds per quarter

inline Time_Context MakeContext(const Tempos& iTempos, std::int32_t iSampleRate, std::int64_t iSessionStart)
{
    Time_TempoMap tempoMap;
    for (const auto& [tick, tempo] : iTempos)
        tempoMap.Set(Time_Tick(tick), tempo);
    Time_Context context;
    context.SetTempoMap(tempoMap);
    context.SetSampleRate(iSampleRate);
    context.SetSessionStart(Time_Sample(iSessionStart));
    return context;
}

// Positions in microseconds from sample 0, as fractions of any size.
class ExactTime
{
public:
    using Rational = boost::multiprecision::cpp_rational;

    explicit ExactTime(const Time_Context& iContext) : mPerSample(1'000'000, iContext.GetSampleRate())
    {
        const Rational origin = iContext.GetSessionStart().AsInt64() * mPerSample;
        const auto entries = iContext.GetTempoMap().GetEntries();
        if (entries.empty() || entries.front().mTick > Time_Tick(0))
            mStretches.push_back({0, origin, Rational(500'000, 960'000)});
        for (const auto& entry : entries)
        {
            const Rational tick = entry.mTick.AsInt64();
            const Rational start = mStretches.empty() ? origin : PositionOfTick(tick);
            mStretches.push_back({tick, start, Rational(entry.mMicrosecondsPerQuarter, 960'000)});
        }
    }

    Rational PositionOf(Time_Typed iTime) const
    {
        const Rational count = iTime.AsInt64();
        return iTime.GetType() == Time_EType::kTick ? PositionOfTick(count) : count * PerCount(iTime.GetType());
    }

    // Of counts that are laid out from a position.
    Rational EndOf(const Rational& iStart, const Rational& iCount, Time_EType iType) const
    {
        return iType == Time_EType::kTick ? PositionOfTick(CountsAt(iStart, iType) + iCount)
                                          : iStart + iCount * PerCount(iType);
    }

    // A position as a fraction of counts.
    Rational CountsAt(const Rational& iPosition, Time_EType iType) const
    {
        if (iType != Time_EType::kTick)
            return iPosition / PerCount(iType);
        const Stretch& stretch = LastBefore(iPosition, &Stretch::mStart);
        return stretch.mTick + (iPosition - stretch.mStart) / stretch.mPerTick;
    }

    Time_Typed NearestTime(const Rational& iPosition, Time_EType iType) const
    {
        return {SaturatedFloor(CountsAt(iPosition, iType) + Rational(1, 2)), iType};
    }

    static std::int64_t SaturatedFloor(const Rational& iCount)
    {
        if (iCount < Time_Packed::kMinCount || iCount > Time_Packed::kMaxCount)
            return iCount < 0 ? Time_Packed::kMinCount : Time_Packed::kMaxCount;
        const auto quotient = static_cast<std::int64_t>(numerator(iCount) / denominator(iCount));
        return quotient > iCount ? quotient - 1 : quotient;
    }

private:
    // Ticks of one tempo. The first stretch goes back for ever.
    struct Stretch
    {
        Rational mTick, mStart, mPerTick;
    };

    const Stretch& LastBefore(const Rational& iValue, Rational Stretch::*iBeginP) const
    {
        const auto hasBegun = [&](const Stretch& iStretch) { return iStretch.*iBeginP <= iValue; };
        const auto last = std::find_if(mStretches.rbegin(), mStretches.rend(), hasBegun);
        return last == mStretches.rend() ? mStretches.front() : *last;
    }

    Rational PositionOfTick(const Rational& iTick) const
    {
        const Stretch& stretch = LastBefore(iTick, &Stretch::mTick);
        return stretch.mStart + (iTick - stretch.mTick) * stretch.mPerTick;
    }

    Rational PerCount(Time_EType iType) const { return iType == Time_EType::kSample ? mPerSample : Rational(1); }

    Rational mPerSample;
    std::vector<Stretch> mStretches;
};

inline rc::Gen<std::int64_t> AnyCount()
{
    constexpr std::int64_t kMin = Time_Packed::kMinCount;
    constexpr std::int64_t kMax = Time_Packed::kMaxCount;
    return rc::gen::oneOf(rc::gen::inRange<std::int64_t>(-50, 51), rc::gen::inRange<std::int64_t>(-1 << 24, 1 << 24),
                          rc::gen::inRange<std::int64_t>(kMin, kMax + 1), rc::gen::element(kMin, kMax - 1, kMax));
}

inline rc::Gen<Time_EType> AnyType()
{
    return rc::gen::element(Time_EType::kSample, Time_EType::kTick, Time_EType::kMicrosecond);
}

template <>
struct rc::Arbitrary<Time_Typed>
{
    static Gen<Time_Typed> arbitrary() { return gen::construct<Time_Typed>(AnyCount(), AnyType()); }
};

template <>
struct rc::Arbitrary<Time_Context>
{
    static Gen<Time_Context> arbitrary()
    {
        const auto tick = gen::oneOf(gen::just<std::int64_t>(0), gen::inRange<std::int64_t>(0, 20'000'000),
                                     gen::inRange<std::int64_t>(0, Time_Packed::kMaxCount));
        const auto tempo = gen::oneOf(gen::element(1, 3, 500'000), gen::inRange(1, std::numeric_limits<int>::max()));
        const auto rate = gen::oneOf(gen::element(1, 44'100, 48'000, 1'000'000, Time_Context::kMaxSampleRate),
                                     gen::inRange(1, Time_Context::kMaxSampleRate));
        return gen::apply(MakeContext, gen::container<Tempos>(tick, tempo), rate, AnyCount());
    }
};
