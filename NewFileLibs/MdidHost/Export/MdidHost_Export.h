#pragma once

#include "CFnd/Cmn_OutStream.h"
#include "MdidHost/File/MdidHost_Findings.h"
#include "MdidHost/Session/MdidHost_Session.h"

#include <optional>

struct MdidHost_ExportOptions
{
    int mFormat = 1;                            // 0: all tracks in one; any other: 1
    std::optional<MdidHost_Division> mDivision; // the session's, when there is none
};

// What an export could not write as it is.
struct MdidHost_ExportReport
{
    std::vector<MdidHost_Loss> mLosses;
};

// The session as a Standard MIDI File, with running status. Times are rounded from the total; what falls on one file
// tick is in playback priority, and within one in time order. What lies before the start of the file moves there.
// Session tracks go back to the tracks of the file that they name, with empty ones in between; tempo, meters, keys,
// markers and the time code offset go into the first. Texts are at the start of their track.
//
// Notes last at least one tick. Muted notes and those of velocity 0 are left out. Notes with per-note lanes play on
// member channels, one note at a time where there are enough: of their track's zone, or, when it has none, of one that
// is made of unused channels and configured at the start of the track. Bank select goes before the program changes
// that need it.
//
// The session is not changed; its context is that of the process meanwhile. Throws Sys_StreamException, and
// std::runtime_error when a track gets longer, or there are more tracks, than a file can say. One track of the file is
// held in memory at a time. Linear, but for sorting.
MdidHost_ExportReport MdidHost_ExportMidiFile(const MdidHost_Session& iSession, const MdidHost_ExportOptions& iOptions,
                                              Cmn_OutStream& ioStream);
