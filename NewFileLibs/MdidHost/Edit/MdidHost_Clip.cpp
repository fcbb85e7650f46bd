#include "MdidHost/Edit/MdidHost_Clip.h"

#include "CFnd/Sys_UUID.h"
#include "MFnd/Ndo_Manager.h"
#include "MFnd/Time_Convert.h"
#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_NoteListIterators.h"
#include "Mdid/Mdid_NoteListTrimmedNotesContext.h"
#include "MdidHost/Listing/MdidHost_EventWalk_Private.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace
{

using Note = Mdid_NoteListBase::Note;
using Context = Mdid_NoteListTrimmedNotesContext;

// Two tracks may have one chunk.
std::vector<Mdid_Chunk*> ChunksOf(const MdidHost_Session& iSession)
{
    std::vector<Mdid_Chunk*> chunks;
    for (const MdidHost_Track& track : iSession.mTracks)
        if (track.mChunk)
            chunks.push_back(track.mChunk.Get());
    std::ranges::sort(chunks);
    chunks.erase(std::unique(chunks.begin(), chunks.end()), chunks.end());
    return chunks;
}

Time_TypedLength OneUnit(Time_EType iKind)
{
    return {1, iKind};
}

// A clip of one chunk.
class Clipper
{
public:
    Clipper(Mdid_Chunk& ioChunk, Time_Typed iFrom, Time_Typed iTo, MdidHost_ClipCounts& ioCounts)
        : mChunk(ioChunk),
          mNotes(*ioChunk.GetNoteList()),
          mFrom(mNotes.QuantizeTimeConditional(iFrom)),
          mTo(mNotes.QuantizeTimeConditional(iTo)),
          mCounts(ioCounts)
    {
    }

    void Run()
    {
        mChunk.DropSortedList(); // the parts are edited directly
        DropNotes();
        const auto edgeOf = [from = mFrom, to = mTo](const Sys_UUID&, Context::Side iSide)
        { return iSide == Context::kHead ? from : to; };
        mChunk.SetClip(Sys_UUID::Create(), edgeOf);
        CutNotes<Context::kHead>(mFrom);
        CutNotes<Context::kTail>(mTo);
        DropEvents();
        for (const auto& laneP : *mChunk.GetContinuousList())
            if (laneP && !laneP->IsEmpty())
                DropBreakpoints(*laneP);
        mChunk.EraseRange({1, Time_EType::kTick}, {0, Time_EType::kTick}); // nothing, and lanes that are empty with it
    }

private:
    bool IsInside(Time_Typed iTime) const { return mFrom <= iTime && iTime < mTo; }
    // Nothing does where both edges are snapped to one time.
    bool Sounds(const Note& iNote) const
    {
        return mFrom < mTo && (IsInside(iNote.GetTime()) || iNote.SoundsAcross(mFrom));
    }

    void DropNotes()
    {
        Mdid_NoteList kept(Ndo_Object::kNotUndoable, mChunk.QuantizeContents());
        for (const Note& note : mNotes)
        {
            if (!Sounds(note))
                continue;
            mCounts.mCutAtStart += note.SoundsAcross(mFrom);
            mCounts.mCutAtEnd += note.SoundsAcross(mTo);
            kept.AddNote(note);
        }
        mCounts.mNotes += static_cast<std::int64_t>(kept.Size());
        mCounts.mNotesLeftOut += static_cast<std::int64_t>(mNotes.Size() - kept.Size());
        if (kept.Size() == mNotes.Size())
            return;
        kept.SetIsMPE(mNotes.IsMPE());
        mNotes.ReplaceData(&kept);
    }

    template <int kSide>
    void CutNotes(Time_Typed iEdge)
    {
        mNotes.GetTrimmedNotesContext()->TrimOverlappingNotes<kSide>(iEdge);

        // What would not last a unit of its own kinds is left whole by that. Here it keeps one.
        std::vector<std::size_t> whole;
        for (auto note = mNotes.GetSustainingNotes(iEdge).begin(); note.IsMore(); ++note)
            if (IsWhole<kSide>(*note, iEdge))
                whole.push_back(static_cast<std::size_t>(note.GetUnderlyingIter() - mNotes.begin()));
        auto batch = mNotes.ModificationBatch();
        for (const std::size_t place : whole)
        {
            Note note = mNotes[place];
            CutToOneUnit<kSide>(note);
            Mdid_BorrowedElement element = mNotes.Borrow(mNotes[place]);
            element.mElement = std::move(note);
            batch.Return(std::move(element));
        }
        batch.Complete();
    }

    // Whether more of it lies beyond the edge than within: where it has been cut, less than a unit does.
    template <int kSide>
    static bool IsWhole(const Note& iNote, Time_Typed iEdge)
    {
        const auto countOf = [iEdge](Time_Typed iTime)
        { return Time_Convert::ToType(iTime, iEdge.GetType()).AsInt64(); };
        const std::int64_t before = iEdge.AsInt64() - countOf(iNote.GetTime());
        const std::int64_t behind = countOf(iNote.GetEndTime()) - iEdge.AsInt64();
        return kSide == Context::kHead ? before > behind : behind > before;
    }

    template <int kSide>
    void CutToOneUnit(Note& ioNote) const
    {
        const Time_TypedLength unit = OneUnit(ioNote.GetNote().GetDuration().GetType());
        const Time_TypedLength unitOfStart = OneUnit(ioNote.GetTime().GetType());
        const Time_Typed end = ioNote.GetEndTime();
        if constexpr (kSide == Context::kHead)
            ioNote.TrimHead(std::min(end - unit, end - unitOfStart), nullptr);
        else
            ioNote.TrimTail(std::max(ioNote.GetTime() + unit, ioNote.GetTime() + unitOfStart), nullptr);
        mNotes.GetTrimmedNotesContext()->AttachContextToNote(ioNote);
    }

    void DropEvents()
    {
        Mdid_EventStream& events = *mChunk.GetEventStream();
        std::vector<Mdie_TimedEvent> inside;
        std::ranges::copy_if(events, std::back_inserter(inside),
                             [this](const Mdie_TimedEvent& iEvent) { return IsInside(iEvent.GetTime()); });
        if (inside.size() == events.size())
            return;
        mCounts.mEventsLeftOut += std::ssize(events) - std::ssize(inside);
        const Mdid_EventStream kept(Ndo_Object::kNotUndoable, mChunk.QuantizeContents(), std::move(inside));
        events.ReplaceData(&kept);
    }

    void DropBreakpoints(Mdid_ContinuousDataStream& ioLane)
    {
        const unsigned before = ioLane.NumSegments();
        const Time_Typed first = ioLane.GetSegments().front().mTime;
        const Time_Typed last = ioLane.GetSegments().back().mTime;
        ioLane.EraseRange(first, mFrom);
        ioLane.EraseRange(mTo, last + OneUnit(last.GetType()));
        mCounts.mEventsLeftOut += before - ioLane.NumSegments();
    }

    Mdid_Chunk& mChunk;
    Mdid_NoteListBase& mNotes;
    const Time_Typed mFrom;
    const Time_Typed mTo;
    MdidHost_ClipCounts& mCounts;
};

std::int64_t Widen(Mdid_Chunk& ioChunk)
{
    Mdid_NoteListBase& notes = *ioChunk.GetNoteList();
    const auto count = std::ranges::count_if(notes, &Note::HasTrimExtension);
    if (count == 0)
        return 0;
    ioChunk.DropSortedList(); // the parts are edited directly
    if (!notes.GetTrimmedNotesContext())
        notes.SetClip({}); // that of notes which were trimmed without a clip
    notes.GetTrimmedNotesContext()->UntrimOverlappingNotesInRange<Context::kBoth>(MdidHost_FirstOfAllTimes(),
                                                                                  MdidHost_LastOfAllTimes());
    return count - std::ranges::count_if(notes, &Note::HasTrimExtension);
}

} // namespace

MdidHost_ClipCounts MdidHost_ClipSession(MdidHost_Session& ioSession, Time_Typed iFrom, Time_Typed iTo)
{
    const MdidHost_Session::Scope scope(ioSession);
    if (iFrom >= iTo)
        throw std::invalid_argument("a clip has to begin before it ends");
    Ndo_Step step("Clip");
    MdidHost_ClipCounts counts;
    for (Mdid_Chunk* const chunkP : ChunksOf(ioSession))
        Clipper(*chunkP, iFrom, iTo, counts).Run();
    step.Commit();
    return counts;
}

std::int64_t MdidHost_WidenSession(MdidHost_Session& ioSession)
{
    const MdidHost_Session::Scope scope(ioSession);
    Ndo_Step step("Widen");
    std::int64_t count = 0;
    for (Mdid_Chunk* const chunkP : ChunksOf(ioSession))
        count += Widen(*chunkP);
    step.Commit();
    return count;
}
