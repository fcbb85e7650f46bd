#pragma once

#include "CFnd/Cmn_InStream.h"

#include <iosfwd>
#include <string>

// The records of a chunk file, one a line, indented by their nesting: tag, version, offset in the file, bytes of the
// body, and what can be said of it: "  MdNLB version 3, offset 17, 512 bytes: 12 notes". The body of a version that is
// not known, and what a newer writer has appended, are passed over, and said.
//
// Throws MdidHost_FileError where the file is damaged, when all before it has been written. Takes no memory for what
// the file claims. Linear in the size of the file.
void MdidHost_WriteRecords(std::ostream& ioStream, const std::string& iFile);
// Of a stream that iFile names in messages.
void MdidHost_WriteRecords(std::ostream& ioStream, Cmn_InStream& ioFile, const std::string& iFile);
