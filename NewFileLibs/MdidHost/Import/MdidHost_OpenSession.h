#pragma once

#include "MdidHost/Import/MdidHost_Import.h"
#include "MdidHost/Session/MdidHost_Session.h"

#include <string>

enum class MdidHost_InputKind
{
    kSessionFolder,
    kChunkFile, // by its first bytes
    kMidiFile   // anything else; "-" and pipes too, whatever comes from them
};
MdidHost_InputKind MdidHost_KindOf(const std::string& iPath);

// Opens whatever a command line names as a session: a session folder, a single chunk file, or a MIDI file, which is
// imported; from pipes a chunk file too. oReport: of that import; of the others "complete". Throws MdidHost_FileError,
// for all of them.
MdidHost_Session MdidHost_OpenSession(const std::string& iPath, const MdidHost_ImportOptions& iOptions,
                                      MdidHost_ImportReport& oReport);
