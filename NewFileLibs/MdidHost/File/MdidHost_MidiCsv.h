#pragma once

#include "CFnd/Cmn_InStream.h"

#include <iosfwd>

// Every event of a Standard MIDI File as a line of comma-separated values: track, time, type, fields; in the dialect
// that tools for this purpose have settled on ("1, 0, Note_on_c, 0, 60, 64"). What a damaged file has left is written;
// throws like MdidHost_RepairingStream where nothing is.
void MdidHost_WriteMidiCsv(std::ostream& ioStream, Cmn_InStream& ioFile);
