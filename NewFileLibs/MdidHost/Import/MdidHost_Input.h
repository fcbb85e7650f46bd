#pragma once

#include "CFnd/Cmn_InStream.h"

#include <memory>
#include <string>
#include <vector>

// Opens what a command line names. "-" is standard input. A regular file is streamed; anything else (a pipe, a
// terminal) is read to its end into a temporary file without a name first, because a MIDI file is read in several
// passes; only what holds no chunk, and no MIDI where MdidHost_RepairingStream looks for it, is cut there, so that no
// endless pipe is waited for in vain. Throws Sys_StreamException.
std::unique_ptr<Cmn_InStream> MdidHost_OpenInput(const std::string& iPath);

// The MIDI files that a command line names: a folder stands for the .mid, .midi and .smf files below it, a pattern
// with * ? [ for what it matches; any other name, a folder without such a file, a session's folder and a pattern
// without match included, for itself. In ascending order within one name.
std::vector<std::string> MdidHost_ExpandInputs(const std::vector<std::string>& iNames);
