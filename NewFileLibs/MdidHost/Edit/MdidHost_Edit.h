#pragma once

#include "MdidHost/Session/MdidHost_Session.h"

#include <cstdint>
#include <optional>
#include <string>

// One edit of a session, as a person asks for it.
struct MdidHost_EditRequest
{
    enum class Kind
    {
        // Notes, and the pressure of single keys, by mSemitones. What would leave 0 to 127 is refused. The drum channel
        // (10) is left alone, unless its track is named: its pitches are instruments.
        kTranspose,
        // Everything by mLength, of either sign. What would come before 0 is refused. When mLength is of another kind
        // than the times, what a change of tempo would bring to one time in a lane, or among the controllers of the
        // parameter numbers, stays apart and in order: one unit.
        kShift,
        // The starts of notes to the nearest multiple of mLength (above 0) from tick 0, halves upward. Durations stay;
        // the quantize delta leads back to where the note was played.
        kQuantize,
        // What stands in [mStart, mEnd) again, from mTarget on, between what is there already. A breakpoint replaces
        // one at its time. Across a change of tempo as kShift has it.
        kCopy,
        // What stands in [mStart, mEnd), of notes by their starts. Kept: system-exclusive events at mEnd go too.
        kErase
    };

    Kind mKind = Kind::kTranspose;
    int mSemitones = 0;
    Time_TypedLength mLength;
    Time_Typed mStart;
    Time_Typed mEnd;
    Time_Typed mTarget;
    std::optional<int> mTrack; // from 1, in the order of the session; none: all
};

// For menus: "Transpose by -3 semitones", "Shift", "Quantize", "Copy", "Erase".
std::string MdidHost_NameOf(const MdidHost_EditRequest& iRequest);

// Edits within one undo step of that name, in the session's context of time; where chunks are not undoable, for good.
// Returns how many notes, breakpoints and events were changed, made or removed. "AllowMPE" has to be on for sessions
// with per-note data. Throws std::invalid_argument for a track that is not there and for what is refused: then nothing
// has changed. Linear, but for the sorting of what changes places.
std::int64_t MdidHost_ApplyEdit(MdidHost_Session& ioSession, const MdidHost_EditRequest& iRequest);
