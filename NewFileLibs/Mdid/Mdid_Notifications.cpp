#include "Mdid/Mdid_Notifications.h"

const Cmn_MsgId Mdid_N10n_MIDIZeroOnVelocitiesFound::kId("Mdid_N10n_MIDIZeroOnVelocitiesFound");
const Cmn_MsgId Mdid_N10n_MIDISerializingTrimmedNotes::kId("Mdid_N10n_MIDISerializingTrimmedNotes");

Mdid_N10n_MIDIZeroOnVelocitiesFound::Mdid_N10n_MIDIZeroOnVelocitiesFound() : Cmn_MsgBase(kId) {}
Mdid_N10n_MIDISerializingTrimmedNotes::Mdid_N10n_MIDISerializingTrimmedNotes() : Cmn_MsgBase(kId) {}
