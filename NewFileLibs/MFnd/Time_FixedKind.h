#pragma once

#include "MFnd/Time_Typed.h"

// A length whose kind is fixed when the program is compiled; wherever a Time_TypedLength is taken, it fits.
template <Time_EType kKind>
class Time_FixedLength
{
public:
    constexpr Time_FixedLength() = default;
    constexpr explicit Time_FixedLength(std::int64_t iCount)
        : mCount(std::clamp(iCount, Time_Packed::kMinCount, Time_Packed::kMaxCount))
    {
    }

    constexpr operator Time_TypedLength() const { return {mCount, kKind}; }
    constexpr std::int64_t AsInt64() const { return mCount; }

    constexpr auto operator<=>(const Time_FixedLength&) const = default;

    constexpr Time_FixedLength& operator+=(Time_FixedLength iLength) { return *this = *this + iLength; }
    constexpr Time_FixedLength& operator-=(Time_FixedLength iLength) { return *this = *this - iLength; }
    constexpr Time_FixedLength operator-() const { return Time_FixedLength(-mCount); }

    friend constexpr Time_FixedLength operator+(Time_FixedLength iLeft, Time_FixedLength iRight)
    {
        return Time_FixedLength(iLeft.mCount + iRight.mCount);
    }

    friend constexpr Time_FixedLength operator-(Time_FixedLength iLeft, Time_FixedLength iRight)
    {
        return Time_FixedLength(iLeft.mCount - iRight.mCount);
    }

private:
    std::int64_t mCount = 0;
};

// A point whose kind is fixed when the program is compiled; wherever a Time_Typed is taken, it fits.
template <Time_EType kKind>
class Time_FixedPoint
{
public:
    using Length = Time_FixedLength<kKind>;

    constexpr Time_FixedPoint() = default;
    constexpr explicit Time_FixedPoint(std::int64_t iCount)
        : mCount(std::clamp(iCount, Time_Packed::kMinCount, Time_Packed::kMaxCount))
    {
    }

    constexpr operator Time_Typed() const { return {mCount, kKind}; }
    constexpr std::int64_t AsInt64() const { return mCount; }

    constexpr auto operator<=>(const Time_FixedPoint&) const = default;

    constexpr Time_FixedPoint& operator+=(Length iLength) { return *this = *this + iLength; }
    constexpr Time_FixedPoint& operator-=(Length iLength) { return *this = *this - iLength; }

    friend constexpr Time_FixedPoint operator+(Time_FixedPoint iTime, Length iLength)
    {
        return Time_FixedPoint(iTime.mCount + iLength.AsInt64());
    }

    friend constexpr Time_FixedPoint operator-(Time_FixedPoint iTime, Length iLength)
    {
        return Time_FixedPoint(iTime.mCount - iLength.AsInt64());
    }

    friend constexpr Length operator-(Time_FixedPoint iLeft, Time_FixedPoint iRight)
    {
        return Length(iLeft.mCount - iRight.mCount);
    }

private:
    std::int64_t mCount = 0;
};

using Time_Tick = Time_FixedPoint<Time_EType::kTick>;
using Time_TickLength = Time_FixedLength<Time_EType::kTick>;
using Time_Sample = Time_FixedPoint<Time_EType::kSample>;
using Time_SampleLength = Time_FixedLength<Time_EType::kSample>;
