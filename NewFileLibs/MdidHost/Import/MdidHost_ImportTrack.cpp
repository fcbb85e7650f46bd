#include "MdidHost/Import/MdidHost_ImportTrack_Private.h"

#include "Mdid/Mdid_Chunk.h"

#include <algorithm>

namespace
{

// Notes that sound together on one channel each get a copy of its expression. This many copies of an event, on an
// average, are more than any instrument makes, and few enough that no file takes all memory.
constexpr std::int64_t kMaxCopies = 16;

} // namespace

void MdidHost_ImportTrack::Open(Time_EType iKind, Ndo_Object::EUndoFlag iUndoFlag)
{
    mKind = iKind;
    mChunk = Mdid_ChunkRef(Mdid_Chunk::New(iUndoFlag, false));
    mWriter = {};
    if (mMPEMembers > 0)
        mWriter.SetImportAsMPE();
    mWriter.SetChunkRef(mChunk);
    mNotes.Clear();
    mExpression.Clear();
    mEnd = 0;
    mIsOpen = true;
}

void MdidHost_ImportTrack::AddEvent(std::int64_t iTime, const Mdid_Event& iEvent, signed char iChannel)
{
    Mdie_TimedEvent event(Time_Typed(iTime, mKind), iEvent);
    if (event.GetEvent().GetChannel() != iChannel)
        event.GetEvent().SetChannel(iChannel);
    mEnd = std::max(mEnd, iTime);
    mWriter.ReceiveEvent(event);
}

void MdidHost_ImportTrack::AddExpression(std::int64_t iTime, const Mdid_Event& iEvent, signed char iChannel,
                                         MdidHost_ImportExpression::ELane iLane)
{
    mExpression.Add(iChannel, iLane, iTime);
    AddEvent(iTime, iEvent, iChannel);
}

Mdie_TimedEvent MdidHost_ImportTrack::TimedNote(const Note& iNote) const
{
    const Time_TypedLength duration(iNote.mEnd - iNote.mStart, mKind);
    return {Time_Typed(iNote.mStart, mKind),
            Mdid_NoteWithDurationEvent(iNote.mChannel, iNote.mPitch, duration, iNote.mVelocity, iNote.mOffVelocity)};
}

void MdidHost_ImportTrack::FileNotes()
{
    for (const Note& note : mNotes.GetNotes())
        mWriter.ReceiveEvent(TimedNote(note));
}

// The writer has all expression by now, and gives a note what its span holds.
void MdidHost_ImportTrack::FileNotesWithExpression(MdidHost_ImportLosses& ioLosses)
{
    Mdid_ChunkWriter plainWriter;
    plainWriter.SetChunkRef(mChunk);
    std::int64_t copiesLeft = kMaxCopies * mExpression.Size();
    for (const Note& note : mNotes.GetNotes())
    {
        const std::int64_t copies = mExpression.CountDuring(note);
        const bool isAffordable = copies <= copiesLeft;
        (isAffordable ? mWriter : plainWriter).ReceiveEvent(TimedNote(note));
        if (isAffordable)
            copiesLeft -= copies;
        else
            ioLosses.Add(MdidHost_ImportLosses::kNotesWithoutExpression);
    }
    const auto [moved, unheard] = mExpression.CountBetween(mNotes.GetNotes());
    ioLosses.Add(MdidHost_ImportLosses::kMovedExpression, moved);
    ioLosses.Add(MdidHost_ImportLosses::kUnheardExpression, unheard);
}

MdidHost_Track MdidHost_ImportTrack::Close(std::int64_t iEnd, std::int64_t iEndOfShortest,
                                           MdidHost_ImportLosses& ioLosses)
{
    ioLosses.Add(MdidHost_ImportLosses::kOpenNotes, mNotes.CloseAll(iEnd, iEndOfShortest));
    mNotes.SortTies();
    for (const Note& note : mNotes.GetNotes())
        mEnd = std::max(mEnd, note.mEnd);
    mChunk->GetNoteList()->Reserve(mNotes.GetNotes().size());
    if (mMPEMembers > 0)
        FileNotesWithExpression(ioLosses);
    else
        FileNotes();

    MdidHost_Track track;
    track.mChannel = mChannel;
    track.mMPEMembers = mMPEMembers;
    track.mChunk = mChunk;
    mWriter = {};
    mChunk = {};
    mIsOpen = false;
    return track;
}
