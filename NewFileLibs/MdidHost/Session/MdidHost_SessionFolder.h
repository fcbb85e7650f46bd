#pragma once

#include "CFnd/Cmn_InStream.h"
#include "MFnd/Ndo_Object.h"
#include "MdidHost/File/MdidHost_FileError.h"
#include "MdidHost/Session/MdidHost_Session.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

// A session is a folder with session.json, and one chunk file (.mdchun) for each track, which session.json names. Each
// save writes chunk files of new names, synced, then session.json, by rename; the files that no session.json names go
// afterwards. Whoever reads at any moment, after a crash too, finds the old session or the new one, whole.
//
// Makes the folder if need be, but not what it is in. What is there and is neither a session of a known format nor left
// by a killed save is not written into; other files beside a session stay. Texts that are no UTF-8 are saved with
// U+FFFD for what is wrong. One save at a time: a second one is refused meanwhile. A session of this folder (mOrigin)
// does not replace what another program has saved there since. Throws MdidHost_FileError, also when the session, or the
// one that is there, has per-note data and "AllowMPE" is off. Before session.json has its name, a failure leaves the
// old session; only a failure to sync the folder is reported after that.
//
// Returns the origin that the session has now: whoever goes on with the session gives it that.
MdidHost_Session::Origin MdidHost_SaveSession(const MdidHost_Session& iSession, const std::string& iFolder);

// The chunks are made with this flag, and read with "AllowMPE" on, which stays on only when the session says that it
// has per-note data; one that has such data without saying so is refused. Everything is validated. Throws
// MdidHost_FileError.
MdidHost_Session MdidHost_LoadSession(const std::string& iFolder, Ndo_Object::EUndoFlag iUndoFlag);

// One chunk file as a session of one track on channel 0, at 120 beats a minute. It is read with "AllowMPE" on, which
// stays on only when some note turns out to have per-note lanes: the track is an MPE zone of all channels then. Throws
// MdidHost_FileError.
MdidHost_Session MdidHost_LoadChunkFile(const std::string& iFile, Ndo_Object::EUndoFlag iUndoFlag);
// From a stream that iFile names in messages.
MdidHost_Session MdidHost_LoadChunkFile(Cmn_InStream& ioStream, const std::string& iFile,
                                        Ndo_Object::EUndoFlag iUndoFlag);

// Whether this is how a chunk file begins. A stream stands at its begin before and afterwards; for it, throws
// Sys_StreamException.
bool MdidHost_BeginsLikeChunk(std::string_view iBytes);
bool MdidHost_BeginsLikeChunk(Cmn_InStream& ioStream);

// Whether a folder has a session.json, sound or not.
bool MdidHost_IsSessionFolder(const std::string& iFolder);

// Calls iRead with the paths of the chunk files that a session consists of, in the order of its tracks; when it throws
// MdidHost_FileError and a save has replaced the session meanwhile, again with the new ones. Throws MdidHost_FileError.
void MdidHost_ReadChunkFiles(const std::string& iFolder,
                             const std::function<void(const std::vector<std::string>&)>& iRead);
