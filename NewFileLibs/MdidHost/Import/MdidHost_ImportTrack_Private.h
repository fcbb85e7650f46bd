#pragma once

#include "MFnd/Ndo_Object.h"
#include "Mdid/Mdid_ChunkWriter.h"
#include "MdidHost/Import/MdidHost_ImportExpression_Private.h"
#include "MdidHost/Import/MdidHost_ImportLosses_Private.h"
#include "MdidHost/Import/MdidHost_NotePairing_Private.h"
#include "MdidHost/Session/MdidHost_Session.h"

#include <cstdint>

// A track of the session in the making. What goes into lanes is filed as it comes; notes when the track of the file
// ends: with all expression behind them, and in the order in which a note list takes each in constant time.
//
// Used again for one track of the file after the other.
class MdidHost_ImportTrack
{
public:
    using Note = MdidHost_NotePairing::Note;

    // iMPEMembers: above 0 for MPE, with iChannel the master channel.
    void Set(int iChannel, int iMPEMembers)
    {
        mChannel = iChannel;
        mMPEMembers = iMPEMembers;
    }

    // Between Open and Close there is a chunk.
    bool IsOpen() const { return mIsOpen; }
    void Open(Time_EType iKind, Ndo_Object::EUndoFlag iUndoFlag);

    MdidHost_NotePairing& GetNotes() { return mNotes; }

    // A copy of the event on another channel.
    void AddEvent(std::int64_t iTime, const Mdid_Event& iEvent, signed char iChannel);

    // An event of the expression of a member channel, which stays its channel.
    void AddExpression(std::int64_t iTime, const Mdid_Event& iEvent, signed char iChannel,
                       MdidHost_ImportExpression::ELane iLane);

    // What is open ends at iEnd, or, where it starts there, at iEndOfShortest.
    MdidHost_Track Close(std::int64_t iEnd, std::int64_t iEndOfShortest, MdidHost_ImportLosses& ioLosses);

    // Once it is closed: when the last of it happens or ends.
    std::int64_t GetEnd() const { return mEnd; }

private:
    Mdie_TimedEvent TimedNote(const Note& iNote) const;
    void FileNotes();
    void FileNotesWithExpression(MdidHost_ImportLosses& ioLosses);

    int mChannel = MdidHost_Track::kNoChannel;
    int mMPEMembers = 0;
    Time_EType mKind = Time_EType::kTick;
    bool mIsOpen = false;
    std::int64_t mEnd = 0;
    Mdid_ChunkRef mChunk;
    Mdid_ChunkWriter mWriter;
    MdidHost_NotePairing mNotes;
    MdidHost_ImportExpression mExpression;
};
