#include "MFnd/Time_Context.h"

#include "CFnd/Cmn_Assert.h"

namespace
{

// In units of 1/(960,000 x sample rate) microseconds from sample 0. A tick lasts at most 2^31 x 2^24 of them and a
// sample or a microsecond at most 2^44, so that 2^61 of any kind, twice over, stay far below 2^127.
using Position = Time_Int128;

constexpr Position FloorDivide(Position iNumerator, Position iDenominator)
{
    const Position quotient = iNumerator / iDenominator;
    return iNumerator - quotient * iDenominator < 0 ? quotient - 1 : quotient;
}

constexpr std::int64_t SaturateCount(Time_Int128 iCount)
{
    return static_cast<std::int64_t>(
        std::clamp(iCount, Time_Int128{Time_Packed::kMinCount}, Time_Int128{Time_Packed::kMaxCount}));
}

// The time line of a context, with tick 0 at a position that may differ from the context's own.
class TimeLine
{
public:
    TimeLine(const Time_Context& iContext, Time_Sample iTickOrigin)
        : mTempoMap(iContext.GetTempoMap()),
          mSampleRate(iContext.GetSampleRate()),
          mTickOrigin(iTickOrigin.AsInt64() * UnitsOf(Time_EType::kSample))
    {
    }

    // Exact.
    Position PositionOf(std::int64_t iCount, Time_EType iType) const
    {
        if (iType != Time_EType::kTick)
            return iCount * UnitsOf(iType);
        const auto& entry = mTempoMap.GetEntryAt(Time_Tick(iCount));
        return StartOf(entry) + (iCount - entry.mTick.AsInt64()) * UnitsOfTick(entry);
    }

    // Rounds to the nearest count, halves upward.
    std::int64_t NearestCount(Position iPosition, Time_EType iType) const
    {
        if (iType != Time_EType::kTick)
            return SaturateCount(FloorDivide(iPosition + UnitsOf(iType) / 2, UnitsOf(iType)));
        const auto& entry = EntryAt(iPosition);
        const Position units = UnitsOfTick(entry);
        const Position ticks = FloorDivide(2 * (iPosition - StartOf(entry)) + units, 2 * units);
        return SaturateCount(entry.mTick.AsInt64() + ticks);
    }

    // The end of a length that begins at a position. Ticks that begin between two ticks and cross a change of tempo
    // may end between two units; they are cut to the lower one. That changes no count of samples or microseconds
    // taken from it: these last an even number of units, so that the half at which they round is a whole unit too.
    Position EndOf(Position iStart, std::int64_t iCount, Time_EType iType) const
    {
        if (iType != Time_EType::kTick)
            return iStart + iCount * UnitsOf(iType);

        const auto& first = EntryAt(iStart);
        const Position units = UnitsOfTick(first);
        const Position wholeTicks = FloorDivide(iStart - StartOf(first), units);
        const Position rest = iStart - StartOf(first) - wholeTicks * units;
        const Time_Int128 endTick = first.mTick.AsInt64() + wholeTicks + iCount;

        // Where the tempo changes on the way, endTick is within 2^62 of 0, because an entry lies between both ends.
        const auto& last = mTempoMap.GetEntryAt(Time_Tick(SaturateCount(endTick)));
        return StartOf(last) + (endTick - last.mTick.AsInt64()) * UnitsOfTick(last) +
               rest * last.mMicrosecondsPerQuarter / first.mMicrosecondsPerQuarter;
    }

private:
    Position UnitsOf(Time_EType iType) const
    {
        const bool isSample = iType == Time_EType::kSample;
        return Position{Time_Context::kTicksPerQuarter} *
               (isSample ? Time_Context::kMicrosecondsPerSecond : mSampleRate);
    }

    Position UnitsOfTick(const Time_TempoMap::Entry& iEntry) const
    {
        return Position{iEntry.mMicrosecondsPerQuarter} * mSampleRate;
    }

    Position StartOf(const Time_TempoMap::Entry& iEntry) const { return mTickOrigin + iEntry.mOffset * mSampleRate; }

    const Time_TempoMap::Entry& EntryAt(Position iPosition) const
    {
        return mTempoMap.GetEntryAtOffset(FloorDivide(iPosition - mTickOrigin, mSampleRate));
    }

    const Time_TempoMap& mTempoMap;
    std::int64_t mSampleRate;
    Position mTickOrigin;
};

TimeLine PointsOf(const Time_Context& iContext)
{
    return {iContext, iContext.GetSessionStart()};
}

// Lengths begin at tick 0, so here all kinds count from there.
TimeLine LengthsOf(const Time_Context& iContext)
{
    return {iContext, Time_Sample(0)};
}

std::weak_ordering Order(Position iLeft, Position iRight)
{
    if (iLeft == iRight)
        return std::weak_ordering::equivalent;
    return iLeft < iRight ? std::weak_ordering::less : std::weak_ordering::greater;
}

// iLengthCount is not saturated: it may be one beyond MaxTime, the opposite of MinTime.
Time_Packed Add(const TimeLine& iTimeLine, Time_Packed iStart, std::int64_t iLengthCount, Time_EType iLengthType)
{
    const Time_EType type = iStart.GetType();
    if (type == iLengthType)
        return {iStart.GetCount() + iLengthCount, type};
    const Position start = iTimeLine.PositionOf(iStart.GetCount(), type);
    return {iTimeLine.NearestCount(iTimeLine.EndOf(start, iLengthCount, iLengthType), type), type};
}

} // namespace

bool Time_Context::SetSampleRate(std::int64_t iSampleRate)
{
    if (!CMN_VERIFY(iSampleRate >= 1 && iSampleRate <= kMaxSampleRate))
        return false;
    mSampleRate = static_cast<std::int32_t>(iSampleRate);
    return true;
}

Time_Typed Time_Context::ToType(Time_Typed iTime, Time_EType iType) const
{
    if (iTime.GetType() == iType)
        return iTime;
    const TimeLine points = PointsOf(*this);
    return {points.NearestCount(points.PositionOf(iTime.AsInt64(), iTime.GetType()), iType), iType};
}

Time_Sample Time_Context::ToSampleUpward(Time_Typed iTime) const
{
    const Time_Typed nearest = ToType(iTime, Time_EType::kSample);
    const bool isEarlier = Compare(nearest, iTime) < 0;
    return Time_Sample(nearest.AsInt64() + (isEarlier ? 1 : 0));
}

std::weak_ordering Time_Context::Compare(Time_Typed iLeft, Time_Typed iRight) const
{
    const TimeLine points = PointsOf(*this);
    return Order(points.PositionOf(iLeft.AsInt64(), iLeft.GetType()),
                 points.PositionOf(iRight.AsInt64(), iRight.GetType()));
}

std::weak_ordering Time_Context::Compare(Time_TypedLength iLeft, Time_TypedLength iRight) const
{
    const TimeLine lengths = LengthsOf(*this);
    return Order(lengths.PositionOf(iLeft.AsInt64(), iLeft.GetType()),
                 lengths.PositionOf(iRight.AsInt64(), iRight.GetType()));
}

Time_Typed Time_Context::Add(Time_Typed iTime, Time_TypedLength iLength) const
{
    return Time_Typed(::Add(PointsOf(*this), iTime.GetPacked(), iLength.AsInt64(), iLength.GetType()));
}

Time_Typed Time_Context::Subtract(Time_Typed iTime, Time_TypedLength iLength) const
{
    return Time_Typed(::Add(PointsOf(*this), iTime.GetPacked(), -iLength.AsInt64(), iLength.GetType()));
}

Time_TypedLength Time_Context::Subtract(Time_Typed iLeft, Time_Typed iRight) const
{
    return iLeft - ToType(iRight, iLeft.GetType());
}

Time_TypedLength Time_Context::Add(Time_TypedLength iLeft, Time_TypedLength iRight) const
{
    return Time_TypedLength(::Add(LengthsOf(*this), iLeft.GetPacked(), iRight.AsInt64(), iRight.GetType()));
}

Time_TypedLength Time_Context::Subtract(Time_TypedLength iLeft, Time_TypedLength iRight) const
{
    return Time_TypedLength(::Add(LengthsOf(*this), iLeft.GetPacked(), -iRight.AsInt64(), iRight.GetType()));
}
