#pragma once

#include "MdidHost/Session/MdidHost_Session.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Times as people write them, everywhere the same:
//   3:2:120    bar, beat, tick: from 1, 1, 0, along the session's meters; the beat is the meter's denominator, the tick
//              one of the session's division; "3:2", "3"
//   480t       ticks of the session's division
//   48000s     samples
//   1.5sec     seconds, to the nearest microsecond
// "end" is the session's end. A minus sign goes before the numbers of the last three. Samples and seconds count from
// sample 0, ticks and bars from the session's start.
//
// A change of meter begins a bar; one that comes less than a tick behind a bar line is rounding, and makes no bar of
// its own. A meter of 0, and one before 0, mean nothing. Sessions in frames of time code (SMPTE) have no bars.
class MdidHost_MusicalTime
{
public:
    // The session must outlive this; its meters and division may not change meanwhile. Linear in the meters.
    explicit MdidHost_MusicalTime(const MdidHost_Session& iSession);

    // In the kind in which it is written (bars and ticks: the session's kind). None when it is no time: a beat that the
    // meter does not have, or a place behind a bar that a change of meter cuts short, is none either; nor is
    // a number beyond 63 bits. What is beyond all times becomes the last one. Logarithmic in the meters; "end" is
    // linear in the session.
    std::optional<Time_Typed> Parse(std::string_view iText) const;

    // The same for the end of a range, which does not belong to it: "end" takes in what stands at the session's end.
    std::optional<Time_Typed> ParseEnd(std::string_view iText) const;

    struct Range
    {
        Time_Typed mStart;
        Time_Typed mEnd;
    };
    // "A..B". None when it is no range, or ends before it starts.
    std::optional<Range> ParseRange(std::string_view iText) const;

    // A length: "1:2:0" is one bar, two beats (counted from 0, by the first meter), "480t", "48000s", "1.5sec"; for
    // grids also "1/16": a fraction of a whole note, in ticks. A minus sign before it all makes it negative.
    std::optional<Time_TypedLength> ParseLength(std::string_view iText) const;

    // "3:2:120", three digits of ticks at least; in SMPTE sessions "-". By the nearest tick of the division. Below zero
    // the first meter goes on. Logarithmic in the meters.
    std::string FormatBar(Time_Typed iTime) const;

    // In file ticks of the session's division, and in microseconds from sample 0.
    std::int64_t ToFileTick(Time_Typed iTime) const;
    std::int64_t ToMicroseconds(Time_Typed iTime) const;

private:
    // Where a meter holds; all but the first begin at or after 0. Ascending by tick, and by bar.
    struct Span
    {
        std::int64_t mFirstTick; // of the file
        std::int64_t mFirstBar;  // from 0
        std::int64_t mNumerator;
        std::int64_t mDenominator;
    };
    // Bar, beat, tick: as many as are written, the others 0.
    struct Numbers
    {
        std::int64_t mBar = 0;
        std::int64_t mBeat = 0;
        std::int64_t mTick = 0;
        int mCount = 0;
    };

    static std::optional<Numbers> ParseNumbers(std::string_view iText);
    std::optional<Time_TypedLength> ParseCount(std::string_view iText) const;
    std::optional<Time_Typed> ParseBar(std::string_view iText) const;
    std::optional<Time_TypedLength> ParseBars(std::string_view iText) const;
    std::int64_t GetUnitsPerBeat() const { return std::int64_t{4} * mSession.mDivision.GetTicksPerQuarter(); }
    std::int64_t GetUnitsPerBar(const Span& iSpan) const { return iSpan.mNumerator * GetUnitsPerBeat(); }

    const MdidHost_Session& mSession;
    std::vector<Span> mSpans; // none for SMPTE
};
