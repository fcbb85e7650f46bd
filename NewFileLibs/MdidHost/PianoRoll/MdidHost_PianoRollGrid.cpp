#include "MdidHost/PianoRoll/MdidHost_PianoRollGrid_Private.h"

#include "MdidHost/Text/MdidHost_Wording_Private.h"

#include <algorithm>
#include <charconv>

namespace
{

constexpr std::int64_t kSecond = Time_Context::kMicrosecondsPerSecond;
constexpr int kTenths = 10;

// Of any sign; how many of the second fit into the first.
std::int64_t FloorDivide(std::int64_t iDividend, std::int64_t iDivisor)
{
    return iDividend / iDivisor - (iDividend % iDivisor < 0 ? 1 : 0);
}

bool IsShorter(Time_TypedLength iA, Time_TypedLength iB)
{
    return iA.AsInt64() < iB.AsInt64();
}

// As many bars as people count by that reach as far as the distance.
std::int64_t StrideFor(Time_TypedLength iBar, Time_TypedLength iDistance)
{
    constexpr std::int64_t kMost = std::int64_t{1} << 40;
    for (std::int64_t tens = 1; tens < kMost; tens *= 10)
        for (const int step : {1, 2, 5})
            if (static_cast<double>(step * tens) * static_cast<double>(iBar.AsInt64()) >=
                static_cast<double>(iDistance.AsInt64()))
                return step * tens;
    return kMost;
}

} // namespace

MdidHost_PianoRollGrid::Place MdidHost_PianoRollGrid::PlaceOf(Time_Typed iTime) const
{
    Place place;
    if (!HasBars())
    {
        const std::int64_t microseconds = mTimes.ToMicroseconds(iTime);
        place.mBar = FloorDivide(microseconds, kSecond);
        place.mBeat = static_cast<int>((microseconds - place.mBar * kSecond) / (kSecond / kTenths)) + 1;
        return place;
    }
    const std::string text = mTimes.FormatBar(iTime);
    const char* const endP = text.data() + text.size();
    const auto [restP, error] = std::from_chars(text.data(), endP, place.mBar);
    if (restP != endP)
        std::from_chars(restP + 1, endP, place.mBeat);
    return place;
}

// Before the first bar its meter goes on.
std::optional<Time_Typed> MdidHost_PianoRollGrid::TimeOf(std::int64_t iBar) const
{
    if (!HasBars())
        return Time_Typed(static_cast<std::int64_t>(std::clamp(static_cast<Time_Int128>(iBar) * kSecond,
                                                               Time_Int128{Time_Packed::kMinCount},
                                                               Time_Int128{Time_Packed::kMaxCount})),
                          Time_EType::kMicrosecond);
    if (iBar >= 1)
        return mTimes.Parse(std::to_string(iBar));
    const auto first = mTimes.Parse("1");
    const auto back = mTimes.ParseLength('-' + std::to_string(1 - iBar) + ":0:0");
    return first && back ? std::optional(*first + *back) : std::nullopt;
}

std::optional<Time_Typed> MdidHost_PianoRollGrid::TimeOfBeat(std::int64_t iBar, int iBeat) const
{
    const auto bar = TimeOf(iBar);
    if (!bar)
        return {};
    if (!HasBars())
        return iBeat <= kTenths
                   ? std::optional(*bar + Time_TypedLength((iBeat - 1) * (kSecond / kTenths), Time_EType::kMicrosecond))
                   : std::nullopt;
    if (iBar >= 1)
        return mTimes.Parse(std::to_string(iBar) + ':' + std::to_string(iBeat));
    const auto beats = mTimes.ParseLength("0:" + std::to_string(iBeat - 1) + ":0");
    return beats ? std::optional(*bar + *beats) : std::nullopt;
}

Time_Typed MdidHost_PianoRollGrid::FindBarAt(Time_Typed iTime) const
{
    const auto bar = TimeOf(NumberAt(iTime));
    return bar ? std::min(*bar, iTime) : iTime;
}

Time_Typed MdidHost_PianoRollGrid::FindBarAtOrBehind(Time_Typed iTime) const
{
    const std::int64_t number = NumberAt(iTime);
    for (const std::int64_t bar : {number, number + 1})
        if (const auto time = TimeOf(bar); time && *time >= iTime)
            return *time;
    return iTime;
}

Time_TypedLength MdidHost_PianoRollGrid::GetBarLength(Time_Typed iTime) const
{
    const std::int64_t number = NumberAt(iTime);
    const auto bar = TimeOf(number);
    const auto next = TimeOf(number + 1);
    const std::int64_t length = bar && next ? (*next - *bar).AsInt64() : 1;
    return {std::max<std::int64_t>(length, 1), iTime.GetType()};
}

Time_TypedLength MdidHost_PianoRollGrid::GetBeatLength(Time_Typed iTime) const
{
    const std::int64_t number = NumberAt(iTime);
    const auto bar = TimeOf(number);
    const auto second = TimeOfBeat(number, 2);
    return bar && second && *bar < *second ? *second - *bar : GetBarLength(iTime);
}

// The place of the limit is rounded, perhaps beyond it: then it is the bar or the beat before that.
Time_Typed MdidHost_PianoRollGrid::FindBreak(Time_Typed iStart, Time_Typed iLimit) const
{
    const auto [number, beat] = PlaceOf(iLimit);
    const auto isIn = [=](std::optional<Time_Typed> iTime) { return iTime && iStart < *iTime && *iTime <= iLimit; };
    for (const std::int64_t bar : {number, number - 1})
        if (const auto time = TimeOf(bar); isIn(time))
            return *time;
    for (const int last : {beat, beat - 1})
        if (const auto time = last > 1 ? TimeOfBeat(number, last) : std::nullopt; isIn(time))
            return *time;
    return iLimit;
}

std::string MdidHost_PianoRollGrid::Format(Time_Typed iTime) const
{
    return HasBars() ? mTimes.FormatBar(iTime) : MdidHost_MinutesAndSeconds(mTimes.ToMicroseconds(iTime));
}

std::string MdidHost_PianoRollGrid::NameOf(Time_Typed iTime) const
{
    return HasBars() && FindBarAt(iTime) == iTime ? std::to_string(NumberAt(iTime)) : Format(iTime);
}

void MdidHost_PianoRollGrid::AddBeats(std::vector<Line>& ioLines, std::int64_t iBar, Time_Typed iEnd,
                                      Time_TypedLength iDistance) const
{
    const auto bar = TimeOf(iBar);
    const auto next = TimeOf(iBar + 1);
    const auto second = TimeOfBeat(iBar, 2);
    if (!bar || !next || !second || IsShorter(*second - *bar, iDistance))
        return;
    auto beat = second;
    for (int number = 2; beat && *beat < *next && *beat < iEnd; beat = TimeOfBeat(iBar, ++number))
        ioLines.push_back({*beat});
}

std::vector<MdidHost_PianoRollGrid::Line> MdidHost_PianoRollGrid::GetLines(Time_Typed iStart, Time_Typed iEnd,
                                                                           const Distances& iDistances) const
{
    std::vector<Line> lines;
    const Time_TypedLength length = GetBarLength(iStart);
    const std::int64_t stride = StrideFor(length, iDistances.mBars);
    const std::int64_t nameStride = StrideFor(length, iDistances.mNames);
    const auto nameOf = [&](std::int64_t iBar, Time_Typed iTime)
    {
        if (iBar % nameStride != 0 && iTime != iStart)
            return std::string();
        return HasBars() ? std::to_string(iBar) : Format(iTime);
    };
    std::int64_t bar = FloorDivide(NumberAt(iStart), stride) * stride;
    std::optional<Time_Typed> last;
    for (auto time = TimeOf(bar); time && *time < iEnd; time = TimeOf(bar))
    {
        const bool isTooClose = last && (*time <= *last || IsShorter(*time - *last, iDistances.mBars));
        if (*time >= iStart && !isTooClose)
            lines.push_back({*time, true, nameOf(bar, *time)});
        if (stride == 1)
            AddBeats(lines, bar, iEnd, iDistances.mBeats);
        // Where bars become much shorter, straight to the first that is far enough away.
        const Time_Typed near = std::max(*time, last.value_or(*time)) + iDistances.mBars;
        last = isTooClose ? last : time;
        bar = std::max(bar + stride, FloorDivide(NumberAt(near) - 1, stride) * stride);
    }
    std::erase_if(lines, [&](const Line& line) { return line.mTime < iStart; });
    return lines;
}
