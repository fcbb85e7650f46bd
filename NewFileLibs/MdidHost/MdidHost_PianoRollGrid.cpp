#include "MdidHost/MdidHost_PianoRollGrid_Private.h"

#include "MdidHost/MdidHost_Wording_Private.h"

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

std::int64_t MdidHost_PianoRollGrid::NumberAt(Time_Typed iTime) const
{
    if (!HasBars())
        return FloorDivide(mTimes.ToMicroseconds(iTime), kSecond);
    const std::string text = mTimes.FormatBar(iTime);
    std::int64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
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

Time_Typed MdidHost_PianoRollGrid::FindBreak(Time_Typed iStart, Time_Typed iLimit) const
{
    const auto bar = TimeOf(NumberAt(iLimit));
    return bar && iStart < *bar && *bar <= iLimit ? *bar : iLimit;
}

std::string MdidHost_PianoRollGrid::Format(Time_Typed iTime) const
{
    return HasBars() ? mTimes.FormatBar(iTime) : MdidHost_MinutesAndSeconds(mTimes.ToMicroseconds(iTime));
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
        if (iBar % nameStride != 0 && !lines.empty())
            return std::string();
        return HasBars() ? std::to_string(iBar) : MdidHost_MinutesAndSeconds(mTimes.ToMicroseconds(iTime));
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
