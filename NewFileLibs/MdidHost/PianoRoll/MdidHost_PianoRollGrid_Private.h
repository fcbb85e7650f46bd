#pragma once

#include "MdidHost/Session/MdidHost_MusicalTime.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Where the lines of a piano roll are: bars and their beats, in sessions without bars seconds and their tenths.
class MdidHost_PianoRollGrid
{
public:
    // The session must outlive this.
    explicit MdidHost_PianoRollGrid(const MdidHost_Session& iSession) : mSession(iSession), mTimes(iSession) {}

    struct Line
    {
        Time_Typed mTime;
        bool mIsBar = false;
        std::string mName = {}; // of some bars: the number, or the second
    };

    // What lies closer together than these is thinned out: bars, and their names, to every second, fifth, tenth; beats
    // altogether. A bar at the start has a name.
    struct Distances
    {
        Time_TypedLength mBars, mBeats, mNames;
    };

    // In [iStart, iEnd), ascending; how many is bounded by the range through the distance of bars.
    std::vector<Line> GetLines(Time_Typed iStart, Time_Typed iEnd, const Distances& iDistances) const;

    // The last line of a bar in (iStart, iLimit]; where there is none, that of a beat; or iLimit.
    Time_Typed FindBreak(Time_Typed iStart, Time_Typed iLimit) const;

    // The line of the bar in which a time is, and the next one at or behind it.
    Time_Typed FindBarAt(Time_Typed iTime) const;
    Time_Typed FindBarAtOrBehind(Time_Typed iTime) const;
    // Of the bar in which the time is, and of its first beat; at least 1.
    Time_TypedLength GetBarLength(Time_Typed iTime) const;
    Time_TypedLength GetBeatLength(Time_Typed iTime) const;

    // "3:2:120", of a session without bars "0:05.529".
    std::string Format(Time_Typed iTime) const;
    // The same, but of the line of a bar only its number.
    std::string NameOf(Time_Typed iTime) const;

    const MdidHost_MusicalTime& GetTimes() const { return mTimes; }

private:
    struct Place
    {
        std::int64_t mBar = 0;
        int mBeat = 1;
    };
    Place PlaceOf(Time_Typed iTime) const;
    std::int64_t NumberAt(Time_Typed iTime) const { return PlaceOf(iTime).mBar; }
    // None beyond all that can be said.
    std::optional<Time_Typed> TimeOf(std::int64_t iBar) const;
    std::optional<Time_Typed> TimeOfBeat(std::int64_t iBar, int iBeat) const;
    void AddBeats(std::vector<Line>& ioLines, std::int64_t iBar, Time_Typed iEnd, Time_TypedLength iDistance) const;
    bool HasBars() const { return !mSession.mDivision.IsSMPTE(); }

    const MdidHost_Session& mSession;
    MdidHost_MusicalTime mTimes;
};
