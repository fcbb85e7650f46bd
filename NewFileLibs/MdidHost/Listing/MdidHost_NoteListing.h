#pragma once

#include "MdidHost/Listing/MdidHost_EventListing.h"

#include <cstdint>
#include <iosfwd>
#include <optional>

// Which notes of a session are listed, and how.
struct MdidHost_NoteListing
{
    enum class Which
    {
        kStarting,   // that start in [mStart, mEnd)
        kSounding,   // that sound at mStart: they start before it and end behind it; mEnd takes no part
        kOverlapping // that sound anywhere in [mStart, mEnd)
    };

    MdidHost_EventListing::Format mFormat = MdidHost_EventListing::Format::kText;
    std::optional<int> mTrack = std::nullopt; // of the session, from 1; none: all
    Which mWhich = Which::kStarting;

    // Of any kind of time. A range that ends before it starts has no notes.
    Time_Typed mStart = {};
    Time_Typed mEnd = {};
};

// The notes track by track, each in the order of its note list; of those that overlap a range first those that sound
// across its start. A line of MdidHost_ListEvents each, with these fields behind it: "end" (the tick; as text a bar),
// "muted", and, of notes that a clip has cut, "trimmedLeft" and "trimmedRight", each where there is some: how many
// ticks of the session's division are cut off at that side (as text, too).
//
// A MdidHost_Session::Scope of the session must be open. Returns how many notes were listed; ends early when the
// stream fails. Throws std::invalid_argument for a track that is not there. The first query of a track's notes is
// linear in its long notes, all others find what they list.
std::int64_t MdidHost_ListNotes(std::ostream& ioStream, const MdidHost_Session& iSession,
                                const MdidHost_NoteListing& iListing);
