#pragma once

#include "CFnd/Cmn_InStream.h"
#include "MFnd/Ndo_Object.h"
#include "MdidHost/File/MdidHost_Findings.h"
#include "MdidHost/Session/MdidHost_Session.h"

#include <memory>
#include <vector>

struct MdidHost_ImportOptions
{
    bool mIsStrict = false; // nothing is repaired
    bool mIsMPE = false;    // channel 0 is the master of all others, unless the file says itself what is MPE
    Ndo_Object::EUndoFlag mUndoFlag = Ndo_Object::kNotUndoable;
};

// How an import went.
struct MdidHost_ImportReport
{
    MdidHost_Grade mGrade = MdidHost_Grade::kUnreadable;
    std::vector<MdidHost_Finding> mFindings;
    std::vector<MdidHost_Loss> mLosses; // what the session does not hold
};

// A Standard MIDI File as a session: one track for each channel used in each track of the file, in the order in which
// the channels appear. System-exclusive messages and texts go with the first of them; a track of the file that has
// nothing else, or only a name, becomes a track without channel. All tracks of the session that come from one track of
// the file have its name. Of a file of format 2, whose tracks are pieces of their own, they all begin at 0, with the
// tempo, meters, keys and markers of the first.
//
// Notes begin and end first in, first out; notes of no length last one file tick, notes left open end with their track,
// where that ended before anything of later tracks was moved behind it.
// Bank select goes into the program changes behind it on the same channel of the same track (tracks of one channel may
// be for different ports). What happens in a lane, with the parameter numbers of a channel, or as system-exclusive
// messages of a track within one file tick is set one internal tick apart, in file order; what does not fit comes
// later, and is counted. Before a first tempo later than 0 it is 120 beats a minute.
// With MPE zones (configured by the file, or asked for) a zone is one track of the session for each track of the file;
// its member channels' notes carry their expression, whatever else is on these channels goes to tracks of their own.
// "AllowMPE" is switched on then, and stays on.
//
// oReport is filled as far as reading got. Throws what MdidHost_RepairingStream does, and Sys_StreamException with the
// text of what Mdi_MidiFileParser::Parse throws and the place where it stopped; the grade is "unreadable" then. Linear
// in the size of the file, but for the sorting of notes that start together. Sets TickTimesMatter aside while it runs.
MdidHost_Session MdidHost_ImportMidiFile(std::unique_ptr<Cmn_InStream> iFileP, const MdidHost_ImportOptions& iOptions,
                                         MdidHost_ImportReport& oReport);
