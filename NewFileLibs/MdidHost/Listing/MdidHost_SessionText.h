#pragma once

#include "MdidHost/Session/MdidHost_Session.h"

#include <iosfwd>
#include <string>

// What a session holds: its division, length, tempos, meters, keys and markers, and of each track the notes, lanes and
// system-exclusive messages with their numbers and ranges. Linear.
// A MdidHost_Session::Scope of the session must be open.

// As a person reads it; positions in bars, channels from 1. iName goes on top.
void MdidHost_WriteSessionAsText(std::ostream& ioStream, const std::string& iName, const MdidHost_Session& iSession);

// One JSON object on one line; times in ticks of the session's division, channels from 0.
void MdidHost_WriteSessionAsJson(std::ostream& ioStream, const std::string& iName, const MdidHost_Session& iSession);
