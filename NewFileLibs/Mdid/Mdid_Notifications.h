#pragma once

#include "CFnd/Cmn_N10nCenter.h"
#include "Mdid/Mdid_Export.h"

// What note lists tell the host through Cmn_N10nCenter, synchronously, on the thread that reads or writes.

// A note read from a stream has an on velocity of 0. One message each.
class MDID_EXPORT Mdid_N10n_MIDIZeroOnVelocitiesFound : public Cmn_MsgBase
{
public:
    static const Cmn_MsgId kId;
    Mdid_N10n_MIDIZeroOnVelocitiesFound();
};

// A note list was written in which something was trimmed off a note. One message a list.
class MDID_EXPORT Mdid_N10n_MIDISerializingTrimmedNotes : public Cmn_MsgBase
{
public:
    static const Cmn_MsgId kId;
    Mdid_N10n_MIDISerializingTrimmedNotes();
};
