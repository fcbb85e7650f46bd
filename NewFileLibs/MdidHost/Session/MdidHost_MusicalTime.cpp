#include "MdidHost/Session/MdidHost_MusicalTime.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <iterator>

namespace
{

constexpr std::string_view kEnd = "end";

constexpr int kDecimals = 6; // of a second, down to microseconds
constexpr int kMaxNumerator = 255;

std::int64_t Saturate(Time_Int128 iCount)
{
    return static_cast<std::int64_t>(
        std::clamp(iCount, Time_Int128{Time_Packed::kMinCount}, Time_Int128{Time_Packed::kMaxCount}));
}

Time_Int128 FloorDivide(Time_Int128 iDividend, Time_Int128 iDivisor)
{
    return iDividend / iDivisor - (iDividend % iDivisor < 0 ? 1 : 0);
}

bool IsDigit(char iCharacter)
{
    return iCharacter >= '0' && iCharacter <= '9';
}

// The whole text, digits only.
std::optional<std::int64_t> ParseInteger(std::string_view iText)
{
    std::int64_t number = 0;
    const char* endP = iText.data() + iText.size();
    if (iText.empty() || !std::ranges::all_of(iText, IsDigit))
        return {};
    const auto [restP, error] = std::from_chars(iText.data(), endP, number);
    return error == std::errc() && restP == endP ? std::optional(number) : std::nullopt;
}

// "1.5" in microseconds. Digits beyond the sixth decimal round it.
std::optional<std::int64_t> ParseSeconds(std::string_view iText)
{
    const auto point = iText.find('.');
    const auto seconds = ParseInteger(iText.substr(0, point));
    std::string decimals(point == std::string_view::npos ? "0" : iText.substr(point + 1));
    if (!seconds || decimals.empty() || !std::ranges::all_of(decimals, IsDigit))
        return {};
    decimals.resize(kDecimals + 1, '0');
    const auto tenths = ParseInteger(decimals);
    return Saturate(Time_Int128{*seconds} * Time_Context::kMicrosecondsPerSecond + (*tenths + 5) / 10);
}

bool TakeSuffix(std::string_view& ioText, std::string_view iSuffix)
{
    if (!ioText.ends_with(iSuffix))
        return false;
    ioText.remove_suffix(iSuffix.size());
    return true;
}

bool TakeMinus(std::string_view& ioText)
{
    const bool isNegative = ioText.starts_with('-');
    ioText.remove_prefix(isNegative ? 1 : 0);
    return isNegative;
}

Time_TypedLength Signed(Time_TypedLength iLength, bool iIsNegative)
{
    return iIsNegative ? Time_TypedLength(-iLength.AsInt64(), iLength.GetType()) : iLength;
}

// "1/16" of a whole note.
std::optional<Time_TypedLength> ParseNote(std::string_view iText)
{
    const auto slash = iText.find('/');
    if (slash == std::string_view::npos)
        return {};
    const auto numerator = ParseInteger(iText.substr(0, slash));
    const auto denominator = ParseInteger(iText.substr(slash + 1));
    if (!numerator || !denominator || *denominator == 0)
        return {};
    const Time_Int128 ticks = Time_Int128{*numerator} * 4 * Time_Context::kTicksPerQuarter;
    return Time_TypedLength(Saturate(FloorDivide(2 * ticks + *denominator, Time_Int128{2} * *denominator)),
                            Time_EType::kTick);
}

} // namespace

// A bar's length in file ticks is numerator x 4 x division / denominator, and need not be whole: all counting is done
// in units of 1/denominator tick, of which a beat has 4 x division whatever the meter.
MdidHost_MusicalTime::MdidHost_MusicalTime(const MdidHost_Session& iSession) : mSession(iSession)
{
    if (iSession.mDivision.IsSMPTE())
        return;
    mSpans.push_back({0, 0, 4, 4});
    for (const MdidHost_Meter& meter : iSession.mMeters)
    {
        const Span& last = mSpans.back();
        const std::int64_t tick = ToFileTick(meter.mTime);
        const bool isMeter = meter.mNumerator >= 1 && meter.mNumerator <= kMaxNumerator && meter.mDenominator >= 1;
        if (!isMeter || tick < last.mFirstTick)
            continue;
        const Time_Int128 units = Time_Int128{tick - last.mFirstTick} * last.mDenominator;
        const Time_Int128 bars = units / GetUnitsPerBar(last);
        const bool isBarCut = units % GetUnitsPerBar(last) >= last.mDenominator;
        const Span next{tick, Saturate(last.mFirstBar + bars + (isBarCut ? 1 : 0)), meter.mNumerator,
                        meter.mDenominator};
        if (tick == last.mFirstTick)
            mSpans.back() = next;
        else
            mSpans.push_back(next);
    }
}

// At most three, with colons between them.
std::optional<MdidHost_MusicalTime::Numbers> MdidHost_MusicalTime::ParseNumbers(std::string_view iText)
{
    std::array<std::int64_t, 3> numbers{};
    int count = 0;
    for (bool isMore = true; isMore; ++count)
    {
        const auto colon = iText.find(':');
        const auto number = ParseInteger(iText.substr(0, colon));
        if (!number || count == std::ssize(numbers))
            return {};
        numbers[static_cast<std::size_t>(count)] = *number;
        isMore = colon != std::string_view::npos;
        iText.remove_prefix(isMore ? colon + 1 : 0);
    }
    return Numbers{numbers[0], numbers[1], numbers[2], count};
}

// What is the same in times and lengths.
std::optional<Time_TypedLength> MdidHost_MusicalTime::ParseCount(std::string_view iText) const
{
    const bool isNegative = TakeMinus(iText);
    std::optional<Time_TypedLength> length;
    if (TakeSuffix(iText, "sec"))
    {
        if (const auto microseconds = ParseSeconds(iText))
            length = Time_TypedLength(*microseconds, Time_EType::kMicrosecond);
    }
    else if (TakeSuffix(iText, "s"))
    {
        if (const auto samples = ParseInteger(iText))
            length = Time_TypedLength(*samples, Time_EType::kSample);
    }
    else if (TakeSuffix(iText, "t"))
    {
        if (const auto ticks = ParseInteger(iText))
            return Time_TypedLength(mSession.mDivision.ToTime(isNegative ? -*ticks : *ticks).GetPacked());
    }
    return length ? std::optional(Signed(*length, isNegative)) : std::nullopt;
}

std::optional<Time_Typed> MdidHost_MusicalTime::ParseBar(std::string_view iText) const
{
    const auto numbers = ParseNumbers(iText);
    if (!numbers || mSpans.empty() || numbers->mBar < 1 || (numbers->mCount > 1 && numbers->mBeat < 1))
        return {};
    const std::int64_t bar = numbers->mBar - 1;
    const std::int64_t beat = numbers->mCount > 1 ? numbers->mBeat - 1 : 0;
    const auto next = std::ranges::upper_bound(mSpans, bar, {}, &Span::mFirstBar);
    const Span& span = *std::prev(next);
    const Time_Int128 ticksPerBeat = FloorDivide(GetUnitsPerBeat() - 1, span.mDenominator) + 1;
    if (beat >= span.mNumerator || numbers->mTick >= ticksPerBeat)
        return {};

    const Time_Int128 units =
        Time_Int128{bar - span.mFirstBar} * GetUnitsPerBar(span) + Time_Int128{beat} * GetUnitsPerBeat();
    const Time_Int128 tick =
        span.mFirstTick + FloorDivide(units + span.mDenominator - 1, span.mDenominator) + numbers->mTick;
    if (next != mSpans.end() && tick >= next->mFirstTick)
        return {};
    return mSession.mDivision.ToTime(Saturate(tick));
}

std::optional<Time_TypedLength> MdidHost_MusicalTime::ParseBars(std::string_view iText) const
{
    const bool isNegative = TakeMinus(iText);
    const auto numbers = ParseNumbers(iText);
    if (!numbers || mSpans.empty())
        return {};
    const Span& first = mSpans.front();
    const Time_Int128 units = Time_Int128{numbers->mBar} * GetUnitsPerBar(first) +
                              Time_Int128{numbers->mBeat} * GetUnitsPerBeat() +
                              Time_Int128{numbers->mTick} * first.mDenominator;
    const Time_Int128 unitsPerQuarter = Time_Int128{first.mDenominator} * mSession.mDivision.GetTicksPerQuarter();
    const Time_Int128 ticks =
        FloorDivide(2 * units * Time_Context::kTicksPerQuarter + unitsPerQuarter, 2 * unitsPerQuarter);
    return Signed(Time_TypedLength(Saturate(ticks), Time_EType::kTick), isNegative);
}

std::optional<Time_Typed> MdidHost_MusicalTime::Parse(std::string_view iText) const
{
    if (iText == kEnd)
        return mSession.GetEnd();
    if (const auto count = ParseCount(iText))
        return Time_Typed(count->GetPacked());
    return ParseBar(iText);
}

std::optional<Time_Typed> MdidHost_MusicalTime::ParseEnd(std::string_view iText) const
{
    const auto end = Parse(iText);
    return end && iText == kEnd ? *end + Time_TypedLength(1, end->GetType()) : end;
}

std::optional<MdidHost_MusicalTime::Range> MdidHost_MusicalTime::ParseRange(std::string_view iText) const
{
    const auto dots = iText.find("..");
    if (dots == std::string_view::npos)
        return {};
    const auto start = Parse(iText.substr(0, dots));
    const auto end = ParseEnd(iText.substr(dots + 2));
    if (!start || !end || mSession.mContext.Compare(*end, *start) < 0)
        return {};
    return Range{*start, *end};
}

std::optional<Time_TypedLength> MdidHost_MusicalTime::ParseLength(std::string_view iText) const
{
    if (const auto count = ParseCount(iText))
        return count;
    std::string_view note = iText;
    const bool isNegative = TakeMinus(note);
    if (const auto length = ParseNote(note))
        return Signed(*length, isNegative);
    return ParseBars(iText);
}

std::string MdidHost_MusicalTime::FormatBar(Time_Typed iTime) const
{
    if (mSpans.empty())
        return "-";
    const std::int64_t tick = ToFileTick(iTime);
    const auto next = std::ranges::upper_bound(mSpans, tick, {}, &Span::mFirstTick);
    const Span& span = next == mSpans.begin() ? *next : *std::prev(next);

    const Time_Int128 units = Time_Int128{tick - span.mFirstTick} * span.mDenominator;
    const Time_Int128 bars = FloorDivide(units, GetUnitsPerBar(span));
    const Time_Int128 rest = units - bars * GetUnitsPerBar(span);
    const std::int64_t bar = Saturate(span.mFirstBar + bars) + 1;
    const auto beat = static_cast<long long>(rest / GetUnitsPerBeat()) + 1;
    const auto ticks = static_cast<long long>(rest % GetUnitsPerBeat() / span.mDenominator);
    std::array<char, 80> text;
    std::snprintf(text.data(), text.size(), "%lld:%lld:%03lld", static_cast<long long>(bar), beat, ticks);
    return text.data();
}

std::int64_t MdidHost_MusicalTime::ToFileTick(Time_Typed iTime) const
{
    return mSession.mDivision.ToFileTick(iTime, mSession.mContext);
}

std::int64_t MdidHost_MusicalTime::ToMicroseconds(Time_Typed iTime) const
{
    return mSession.mContext.ToType(iTime, Time_EType::kMicrosecond).AsInt64();
}
