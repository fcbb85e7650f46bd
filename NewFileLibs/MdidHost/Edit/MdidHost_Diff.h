#pragma once

#include "MdidHost/Session/MdidHost_Session.h"

#include <cstdint>
#include <iosfwd>

// Every difference between two sessions as a line: "- track 1: note 1:3:000 ch 1 C4 velocity 100/64 to 1:4:000" for
// what only the left one has, "+ ..." for what only the right one has; a change is one of each. Returns how many lines;
// 0: they hold the same.
//
// Compared are division, sample rate, session start, tempo (as it is in force), meters, keys, markers, SMPTE offset,
// and the tracks, matched by file track, channel and MPE members: names, comments, notes with all that belongs to them
// (those that differ in their per-note lanes alone: "- track 1: bend 1:3:010 ch 2 64, of the note C4 at 1:3:000"),
// lanes, and events by their bytes; each in any order. The format of the file and the identities of chunks take no
// part.
//
// Times are equal when they are the same count, exactly: of ticks, or of microseconds if one of the sessions is of
// SMPTE; other kinds become that along the map of their own session. Lines show bar:beat:tick, in SMPTE sessions ticks
// of the file ("480t"), by the session that they stand for; "+1" behind it is an internal count behind the tick.
//
// Linear, but for the sorting of what happens at one time.
std::int64_t MdidHost_WriteDifferences(std::ostream& ioStream, const MdidHost_Session& iLeft,
                                       const MdidHost_Session& iRight);
