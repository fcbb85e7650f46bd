#pragma once

#include "MdidHost/Session/MdidHost_Session.h"

#include <bitset>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string_view>

// Which events of a session are listed, and how. As it comes: all, as text.
struct MdidHost_EventListing
{
    enum class Format
    {
        kText, // for people: a line an event under a line of titles; channels count from 1
        kJson, // one object a line: {"track":1,"tick":960,"us":1000000,"bar":"1:3:000","type":"note","channel":0,...}
        kCsv   // the same values under a line of titles; what an event does not have is empty
    };

    enum EKind
    {
        kNotes,
        kControllers,
        kBends,
        kPrograms,
        kPressure,
        kPolyPressure,
        kSysex,
        kNumKinds
    };
    using Kinds = std::bitset<kNumKinds>;

    Format mFormat = Format::kText;
    std::optional<int> mTrack = std::nullopt; // of the session, from 1; none: all
    Kinds mKinds = Kinds().set();

    // Events that begin in [mStart, mEnd), of any kind of time; none: no bound.
    std::optional<Time_Typed> mStart = std::nullopt;
    std::optional<Time_Typed> mEnd = std::nullopt;

    // "notes,controllers,bends,programs,pressure,polyPressure,sysex" or some of them. None when a word is none of
    // these.
    static std::optional<Kinds> ParseKinds(std::string_view iText);
};

// The events of all chunks by time; at one time by track, and within one as its chunk merges them. A note is one event.
// Per-note data stands among the rest at its own time, also where its note begins before the range, and names its note:
// in JSON "note":{"tick":960,"pitch":60}. Of a note that a clip has cut it is what the clip plays: at the start the
// value in force there, and what stands between the cuts.
//
// In JSON and CSV ticks and durations are in the session's division, channels those that the events play on, from 0;
// system-exclusive messages have none (null). Parts of a program change that are disabled are null.
//
// A MdidHost_Session::Scope of the session must be open. Returns how many events were listed; ends early when the
// stream fails. Throws std::invalid_argument for a track that is not there.
std::int64_t MdidHost_ListEvents(std::ostream& ioStream, const MdidHost_Session& iSession,
                                 const MdidHost_EventListing& iListing);
