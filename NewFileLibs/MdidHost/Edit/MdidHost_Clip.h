#pragma once

#include "MdidHost/Session/MdidHost_Session.h"

#include <cstdint>

// What a clip [from, to) of a session leaves of it.
struct MdidHost_ClipCounts
{
    std::int64_t mNotes = 0;      // that sound in it
    std::int64_t mCutAtStart = 0; // of these, those that sound across its start
    std::int64_t mCutAtEnd = 0;   // and across its end
    std::int64_t mNotesLeftOut = 0;
    std::int64_t mEventsLeftOut = 0; // events of the event streams, and breakpoints
};

// Makes of every chunk what a clip [iFrom, iTo) plays; nothing is shifted. Notes that do not sound in it go, as do
// events and breakpoints that do not stand in it, and lanes that are empty then. Notes that sound across an edge are
// cut there, by a clip of its own in each chunk (Mdid_Chunk::SetClip), and remember what was cut off, also after they
// have been saved; what an earlier clip cut off stays remembered with it. Their per-note lanes stay whole. An edge is
// exact for what sounds and stands where; a note is cut to the nearest unit of its own kinds of time, but lasts one at
// least. Everything else of the session stays: tempos, meters, keys, markers, tracks.
//
// Times of any kind; in chunks that quantize they are snapped as their notes are. Within one undo step "Clip", in the
// session's context of time; where chunks are not undoable, for good. "AllowMPE" has to be on for sessions with
// per-note data. Throws std::invalid_argument when iFrom is not before iTo: then nothing has changed. Linear.
MdidHost_ClipCounts MdidHost_ClipSession(MdidHost_Session& ioSession, Time_Typed iFrom, Time_Typed iTo);

// Gives back to every note, where it stands now, what clips have cut off it: those of the session's chunks, and those
// that cut it before it was loaded. Notes, events and breakpoints that were left out stay away. Within one undo step
// "Widen", as above. Returns how many notes were cut.
std::int64_t MdidHost_WidenSession(MdidHost_Session& ioSession);
