#pragma once

#include "MdidHost/Play/MdidHost_Player.h"

#include <string>

// Plays in real time to a MIDI output (see MidiPort). The keyboard's interrupt, a hang-up and a request to end stop
// play with everything at rest; where the output does not take that within two seconds, the program ends as it is. The
// player's blocks are those of live play. std::runtime_error: the output is not there, or not there any more.
void PlayToPort(MdidHost_Player& ioPlayer, const std::string& iPort);
