#pragma once

#include "MFnd/MFnd_Export.h"

#include <algorithm>
#include <compare>
#include <cstdint>

// The kinds of time. The numbers are saved in files.
enum class Time_EType : std::int8_t
{
    kSample = 0,
    kTick = 1, // 1/960,000 of a quarter note
    kMicrosecond = 2,
};

inline constexpr Time_EType kTime_AllKinds[] = {Time_EType::kSample, Time_EType::kTick, Time_EType::kMicrosecond};

// A count and its kind in 64 bits, in the form in which they are saved: (count << 2) | kind.
// Counts reach from kMinCount to kMaxCount, and everything saturates there.
class Time_Packed
{
public:
    static constexpr std::int64_t kMinCount = -(std::int64_t{1} << 61);
    static constexpr std::int64_t kMaxCount = (std::int64_t{1} << 61) - 1;

    constexpr Time_Packed() = default;

    // A kind without a name is reported, and counts as samples.
    constexpr Time_Packed(std::int64_t iCount, Time_EType iType)
        : mRaw(std::clamp(iCount, kMinCount, kMaxCount) * 4 + KindBits(iType))
    {
    }

    constexpr std::int64_t GetRaw() const { return mRaw; }
    constexpr std::int64_t GetCount() const { return mRaw >> 2; }
    constexpr Time_EType GetType() const { return static_cast<Time_EType>(mRaw & 3); }
    constexpr bool HasKindOf(Time_Packed iOther) const { return ((mRaw ^ iOther.mRaw) & 3) == 0; }

    // Both sides must be of one kind. A saved form leaves 64 bits exactly where its count leaves the range.
    constexpr Time_Packed Plus(Time_Packed iOther) const
    {
        Time_Packed sum;
        if (__builtin_add_overflow(mRaw, iOther.mRaw & ~std::int64_t{3}, &sum.mRaw)) [[unlikely]]
            return {iOther.mRaw < 0 ? kMinCount : kMaxCount, GetType()};
        return sum;
    }

    constexpr Time_Packed Minus(Time_Packed iOther) const
    {
        Time_Packed difference;
        if (__builtin_sub_overflow(mRaw, iOther.mRaw & ~std::int64_t{3}, &difference.mRaw)) [[unlikely]]
            return {iOther.mRaw < 0 ? kMaxCount : kMinCount, GetType()};
        return difference;
    }

private:
    static constexpr std::int64_t KindBits(Time_EType iType)
    {
        const auto kind = static_cast<std::int64_t>(iType);
        if (kind < 0 || kind > 2) [[unlikely]]
            return ReportUnknownKind(iType);
        return kind;
    }

    MFND_EXPORT static std::int64_t ReportUnknownKind(Time_EType iType);

    std::int64_t mRaw = 0;
};

// A span of time in one of the kinds, of either sign. Default: zero samples.
class Time_TypedLength
{
public:
    constexpr Time_TypedLength() = default;
    constexpr Time_TypedLength(std::int64_t iCount, Time_EType iType) : mPacked(iCount, iType) {}
    constexpr explicit Time_TypedLength(Time_Packed iPacked) : mPacked(iPacked) {}

    constexpr std::int64_t AsInt64() const { return mPacked.GetCount(); }
    constexpr Time_EType GetType() const { return mPacked.GetType(); }
    constexpr Time_Packed GetPacked() const { return mPacked; }

    constexpr Time_TypedLength& operator+=(Time_TypedLength iLength);
    constexpr Time_TypedLength& operator-=(Time_TypedLength iLength);

private:
    Time_Packed mPacked;
};

// A point in time in one of the kinds. Default: zero samples.
//
// Points and lengths are a small algebra: point - point = length, point +/- length = point, length +/- length,
// -length; nothing else compiles. Counts saturate at MinTime and MaxTime.
//
// Operands of one kind work on their counts alone. Operands of different kinds meet on the one time line that
// Time_Globals describes: they compare exactly, so that 960,000 ticks == 24,000 samples at the default 120 BPM and
// 48,000 Hz, and a sum or a difference has the left operand's kind. That path searches the tempo map (O(log n)) and
// may run on a playback thread.
class Time_Typed
{
public:
    constexpr Time_Typed() = default;
    constexpr Time_Typed(std::int64_t iCount, Time_EType iType) : mPacked(iCount, iType) {}
    constexpr explicit Time_Typed(Time_Packed iPacked) : mPacked(iPacked) {}

    // The ends of a kind's range, -2^61 and 2^61 - 1. They are positions like all others: the ends of two kinds differ.
    static constexpr Time_Typed MinTime(Time_EType iType) { return {Time_Packed::kMinCount, iType}; }
    static constexpr Time_Typed MaxTime(Time_EType iType) { return {Time_Packed::kMaxCount, iType}; }

    constexpr std::int64_t AsInt64() const { return mPacked.GetCount(); }
    constexpr Time_EType GetType() const { return mPacked.GetType(); }
    constexpr Time_Packed GetPacked() const { return mPacked; }

    constexpr Time_Typed& operator+=(Time_TypedLength iLength);
    constexpr Time_Typed& operator-=(Time_TypedLength iLength);

private:
    Time_Packed mPacked;
};

// The operators below for operands of different kinds, by the current Time_Globals; Time_Context says what they do.
struct MFND_EXPORT Time_MixedKinds
{
    static std::weak_ordering Compare(Time_Typed iLeft, Time_Typed iRight);
    static std::weak_ordering Compare(Time_TypedLength iLeft, Time_TypedLength iRight);
    static Time_Typed Add(Time_Typed iTime, Time_TypedLength iLength);
    static Time_Typed Subtract(Time_Typed iTime, Time_TypedLength iLength);
    static Time_TypedLength Subtract(Time_Typed iLeft, Time_Typed iRight);
    static Time_TypedLength Add(Time_TypedLength iLeft, Time_TypedLength iRight);
    static Time_TypedLength Subtract(Time_TypedLength iLeft, Time_TypedLength iRight);
};

// Points are ordered by their positions. The ordering is weak because equal points may differ in kind.
constexpr bool operator==(Time_Typed iLeft, Time_Typed iRight)
{
    if (iLeft.GetPacked().HasKindOf(iRight.GetPacked())) [[likely]]
        return iLeft.GetPacked().GetRaw() == iRight.GetPacked().GetRaw();
    return Time_MixedKinds::Compare(iLeft, iRight) == 0;
}

constexpr std::weak_ordering operator<=>(Time_Typed iLeft, Time_Typed iRight)
{
    if (iLeft.GetPacked().HasKindOf(iRight.GetPacked())) [[likely]]
        return iLeft.GetPacked().GetRaw() <=> iRight.GetPacked().GetRaw();
    return Time_MixedKinds::Compare(iLeft, iRight);
}

// Lengths are ordered by the positions that they reach from tick 0; the session start takes no part.
constexpr bool operator==(Time_TypedLength iLeft, Time_TypedLength iRight)
{
    if (iLeft.GetPacked().HasKindOf(iRight.GetPacked())) [[likely]]
        return iLeft.GetPacked().GetRaw() == iRight.GetPacked().GetRaw();
    return Time_MixedKinds::Compare(iLeft, iRight) == 0;
}

constexpr std::weak_ordering operator<=>(Time_TypedLength iLeft, Time_TypedLength iRight)
{
    if (iLeft.GetPacked().HasKindOf(iRight.GetPacked())) [[likely]]
        return iLeft.GetPacked().GetRaw() <=> iRight.GetPacked().GetRaw();
    return Time_MixedKinds::Compare(iLeft, iRight);
}

constexpr Time_Typed operator+(Time_Typed iTime, Time_TypedLength iLength)
{
    if (iTime.GetPacked().HasKindOf(iLength.GetPacked())) [[likely]]
        return Time_Typed(iTime.GetPacked().Plus(iLength.GetPacked()));
    return Time_MixedKinds::Add(iTime, iLength);
}

constexpr Time_Typed operator-(Time_Typed iTime, Time_TypedLength iLength)
{
    if (iTime.GetPacked().HasKindOf(iLength.GetPacked())) [[likely]]
        return Time_Typed(iTime.GetPacked().Minus(iLength.GetPacked()));
    return Time_MixedKinds::Subtract(iTime, iLength);
}

constexpr Time_TypedLength operator-(Time_Typed iLeft, Time_Typed iRight)
{
    if (iLeft.GetPacked().HasKindOf(iRight.GetPacked())) [[likely]]
        return Time_TypedLength(iLeft.GetPacked().Minus(iRight.GetPacked()));
    return Time_MixedKinds::Subtract(iLeft, iRight);
}

constexpr Time_TypedLength operator+(Time_TypedLength iLeft, Time_TypedLength iRight)
{
    if (iLeft.GetPacked().HasKindOf(iRight.GetPacked())) [[likely]]
        return Time_TypedLength(iLeft.GetPacked().Plus(iRight.GetPacked()));
    return Time_MixedKinds::Add(iLeft, iRight);
}

constexpr Time_TypedLength operator-(Time_TypedLength iLeft, Time_TypedLength iRight)
{
    if (iLeft.GetPacked().HasKindOf(iRight.GetPacked())) [[likely]]
        return Time_TypedLength(iLeft.GetPacked().Minus(iRight.GetPacked()));
    return Time_MixedKinds::Subtract(iLeft, iRight);
}

constexpr Time_TypedLength operator-(Time_TypedLength iLength)
{
    return {-iLength.AsInt64(), iLength.GetType()};
}

constexpr Time_Typed& Time_Typed::operator+=(Time_TypedLength iLength)
{
    return *this = *this + iLength;
}

constexpr Time_Typed& Time_Typed::operator-=(Time_TypedLength iLength)
{
    return *this = *this - iLength;
}

constexpr Time_TypedLength& Time_TypedLength::operator+=(Time_TypedLength iLength)
{
    return *this = *this + iLength;
}

constexpr Time_TypedLength& Time_TypedLength::operator-=(Time_TypedLength iLength)
{
    return *this = *this - iLength;
}
