// Edits of a chunk by the contents of another one, and those of all its times.

#include "Mdid/Mdid_Chunk.h"

#include "MFnd/Time_Convert.h"
#include "MFnd/Time_Globals.h"
#include "Mdid/Mdid_ChunkFilter_Private.h"
#include "Mdid/Mdid_NoteListIterators.h"
#include "Mdid/Mdid_SortIfNeeded_Private.h"

#include <algorithm>
#include <utility>

namespace
{

using Core = Mdid_ContinuousDataStreamCore;
using Lane = Mdid_ContinuousDataStream;
using LanePtr = Lane::TrackedPtr;
using Segment = Core::Segment;
using Note = Mdid_NoteListBase::Note;

constexpr auto kTimeOf = [](const Mdie_TimedEvent& iEvent) { return iEvent.GetTime(); };

Time_Typed OnGrid(Time_Typed iTime)
{
    const bool isOnGrid =
        iTime.GetType() != Time_EType::kTick || iTime.AsInt64() % Time_Globals::GetCoarseInternalTickGrid() == 0;
    return isOnGrid ? iTime : Time_Convert::SnapToCoarseInternalTick(iTime);
}

// Not so at the end of the range, where there is no more grid.
bool IsOffGrid(Time_Typed iTime)
{
    return OnGrid(iTime) != iTime;
}

// iAsStored: whatever the filter makes of what passes.
std::vector<Note> FilteredNotes(const Mdid_NoteListBase& iNotes, Time_Typed iStart, Time_Typed iEnd,
                                const Mdie_Filter& iFilter, bool iAsStored)
{
    std::vector<Note> notes;
    for (Mdid_NoteListBase::NotesInRangeIter note(iNotes, iStart, iEnd); note.IsMore(); ++note)
    {
        Mdid_Event event = note->GetEvent();
        if (!note->IsNoteWithDurationExtendedEvent() || !iFilter.FilterEvent(&event)) // not one that is borrowed
            continue;
        notes.push_back(*note);
        if (!iAsStored)
            notes.back().GetEvent() = event;
    }
    return notes;
}

// A list to merge or to erase by.
Mdid_NoteList ListOf(std::vector<Note> iNotes)
{
    Mdid_SortIfNeeded(iNotes, Note::NoteCompare); // kinds may have passed each other
    Mdid_NoteList list(Ndo_Object::kNotUndoable, false);
    list.Reserve(iNotes.size());
    for (Note& note : iNotes)
        list.AddNote(std::move(note));
    return list;
}

std::vector<const Core*> PassingLanes(const Mdid_ContinuousDataStreamList& iLanes, Time_Typed iStart, Time_Typed iEnd,
                                      const Mdie_Filter& iFilter)
{
    std::vector<const Core*> lanes;
    for (const LanePtr& laneP : iLanes)
        if (laneP && laneP->IsEventInRange(iStart, iEnd) && iFilter.FilterSubStream(laneP->GetSubStream()))
            lanes.push_back(laneP.Get());
    return lanes;
}

// Whether EraseFromStream would find anything: it saves undo state in any case.
bool HoldsAnyOf(const Core& iLane, const Core& iSource, Time_Typed iStart, Time_Typed iEnd, Time_TypedLength iOffset)
{
    const auto& sources = iSource.GetSegments();
    auto source = std::ranges::lower_bound(sources, iStart, {}, &Segment::mTime);
    const auto last = std::ranges::lower_bound(sources, iEnd, {}, &Segment::mTime);
    auto here = iLane.GetSegments().begin();
    if (source < last)
        here = std::ranges::lower_bound(iLane.GetSegments(), source->mTime + iOffset, {}, &Segment::mTime);
    while (source < last && here != iLane.GetSegments().end())
    {
        const Time_Typed time = source->mTime + iOffset;
        if (here->mTime == time && here->mValue == source->mValue)
            return true;
        if (time <= here->mTime)
            ++source;
        else
            ++here;
    }
    return false;
}

bool HoldsAnyOf(const Mdid_EventStream& iStream, const Mdid_EventStream& iSource, Time_TypedLength iOffset)
{
    auto here = iStream.begin();
    for (const Mdie_TimedEvent& source : iSource)
    {
        const Time_Typed time = source.GetTime() + iOffset;
        here = std::ranges::lower_bound(here, iStream.end(), time, {}, kTimeOf);
        for (auto match = here; match != iStream.end() && match->GetTime() == time; ++match)
            if (match->GetEvent() == source.GetEvent())
                return true;
    }
    return false;
}

void QuantizeNotes(Mdid_NoteListBase& ioNotes)
{
    auto batch = ioNotes.ModificationBatch();
    for (std::size_t i = 0; i < ioNotes.Size(); ++i)
    {
        if (!IsOffGrid(ioNotes[i].GetTime()))
            continue;
        Mdid_BorrowedElement note = ioNotes.Borrow(ioNotes[i]);
        note.mElement.SetTime(OnGrid(note.mElement.GetTime()));
        batch.Return(std::move(note));
    }
    batch.Complete();
}

void QuantizeEvents(Mdid_EventStream& ioStream)
{
    if (std::none_of(ioStream.begin(), ioStream.end(), [](const auto& i) { return IsOffGrid(i.GetTime()); }))
        return;
    std::vector<Mdie_TimedEvent> events(ioStream.begin(), ioStream.end());
    for (Mdie_TimedEvent& event : events)
        event.SetTime(OnGrid(event.GetTime()));
    Mdid_SortIfNeeded(events, std::ranges::less(), kTimeOf); // other kinds have not moved
    const Mdid_EventStream quantized(Ndo_Object::kNotUndoable, false, std::move(events));
    ioStream.ReplaceData(&quantized);
}

void QuantizeLane(Lane& ioLane)
{
    if (std::ranges::none_of(ioLane.GetSegments(), IsOffGrid, &Segment::mTime))
        return;
    Core quantized(ioLane.GetSnapToCoarseTicks());
    for (const Segment& segment : ioLane.GetSegments())
        quantized.AddBreakpoint(OnGrid(segment.mTime), segment.mValue); // the later one stays
    ioLane.ReplaceData(&quantized);
}

} // namespace

void Mdid_Chunk::ReplaceData(const Mdid_Chunk* iSrcP)
{
    if (iSrcP == nullptr)
        return;
    // Kept: saves from itself too, where nothing changes.
    NdoAboutToModify();
    if (iSrcP == this)
        return;
    const EditScope scope(*this);

    std::vector<Ndo_unique_ptr<Lane>> lanes;
    for (const LanePtr& sourceP : *iSrcP->mContinuousListP)
    {
        if (!sourceP)
            continue;
        Ndo_unique_ptr<Lane> laneP(new Lane(sourceP->GetSubStream(), GetUndoFlag(), mQuantizeContents));
        laneP->ReplaceData(sourceP.Get());
        laneP->SetSnapToCoarseTicks(mQuantizeContents);
        lanes.push_back(std::move(laneP));
    }
    auto listP = std::make_unique<Mdid_ContinuousDataStreamList>();
    listP->reserve(lanes.size());
    ClipBoundaryMap clipBoundaries = iSrcP->mClipBoundaryMap;
    mNoteListP->ReplaceData(iSrcP->GetNoteList());
    mNoteListP->SetSnapToCoarseTicks(mQuantizeContents);
    mEventStreamP->ReplaceData(iSrcP->GetEventStream());

    // Nothing fails from here on.
    for (auto& laneP : lanes)
        listP->push_back(laneP.release());
    mContinuousListP.swap(listP);
    for (LanePtr& oldP : *listP)
        oldP.NdoDelete();
    mClipBoundaryMap.swap(clipBoundaries);
}

void Mdid_Chunk::AddEventsFromChunk(const Mdid_Chunk* iSrcP, Time_Typed iStart, Time_Typed iEnd,
                                    Time_TypedLength iOffset, const Mdie_Filter& iFilter)
{
    if (iSrcP == nullptr)
        return;
    const EditScope scope(*this);
    std::vector<Note> notes = FilteredNotes(*iSrcP->mNoteListP, iStart, iEnd, iFilter, false);
    for (Note& note : notes)
        note.SetTime(QuantizeTime(note.GetTime() + iOffset));
    const Mdid_NoteList noteList = ListOf(std::move(notes));
    mNoteListP->Merge(&noteList);

    const Mdid_EventStream events(kNotUndoable, false,
                                  Mdid_FilteredEvents(*iSrcP->mEventStreamP, iStart, iEnd, iFilter, false));
    mEventStreamP->AddFromStream(&events, iStart, iEnd, iOffset);

    for (const Core* const sourceP : PassingLanes(*iSrcP->mContinuousListP, iStart, iEnd, iFilter))
    {
        Lane* const laneP = FindLaneLike(sourceP->GetSubStream());
        (laneP ? *laneP : InsertLane(sourceP->GetSubStream())).AddFromStream(sourceP, iStart, iEnd, iOffset);
    }
}

void Mdid_Chunk::EraseEventsFromChunk(const Mdid_Chunk* iSrcP, Time_Typed iStart, Time_Typed iEnd,
                                      Time_TypedLength iOffset, const Mdie_Filter& iFilter)
{
    if (iSrcP == nullptr)
        return;
    const EditScope scope(*this);
    std::vector<Note> notes = FilteredNotes(*iSrcP->mNoteListP, iStart, iEnd, iFilter, true);
    for (Note& note : notes)
        note.SetTime(note.GetTime() + iOffset);
    const Mdid_NoteList noteList = ListOf(std::move(notes));
    mNoteListP->Erase(&noteList);

    const Mdid_EventStream events(kNotUndoable, false,
                                  Mdid_FilteredEvents(*iSrcP->mEventStreamP, iStart, iEnd, iFilter, true));
    if (HoldsAnyOf(*mEventStreamP, events, iOffset))
        mEventStreamP->EraseFromStream(&events, iStart, iEnd, iOffset);

    std::vector<const Core*> emptied; // still there, because they may be sources
    for (const Core* const sourceP : PassingLanes(*iSrcP->mContinuousListP, iStart, iEnd, iFilter))
    {
        Lane* const laneP = FindLaneLike(sourceP->GetSubStream());
        if (!laneP || !HoldsAnyOf(*laneP, *sourceP, iStart, iEnd, iOffset))
            continue;
        laneP->EraseFromStream(sourceP, iStart, iEnd, iOffset);
        if (laneP->IsEmpty())
            emptied.push_back(laneP);
    }
    for (std::size_t i = mContinuousListP->size(); i-- > 0 && !emptied.empty();)
        if (std::ranges::find(emptied, (*mContinuousListP)[i].Get()) != emptied.end())
            RemoveLane(i);
}

void Mdid_Chunk::QuantizeEventsForTTM()
{
    if (!mQuantizeContents || !TickTimesMatter::Active())
        return;
    const EditScope scope(*this);
    QuantizeNotes(*mNoteListP);
    QuantizeEvents(*mEventStreamP);
    for (const LanePtr& laneP : *mContinuousListP)
        if (laneP)
            QuantizeLane(*laneP);
}

// The keys of some stream types count as equal when they are not: these are found by all that they say.
Mdid_ContinuousDataStream* Mdid_Chunk::FindLaneLike(const Mdie_SubStream& iKey) const
{
    const LanePtr* const endP = mContinuousListP->data() + mContinuousListP->size();
    for (const LanePtr* placeP = mContinuousListP->FindStream(iKey);
         placeP != endP && !(*placeP && iKey < (*placeP)->GetSubStream()); ++placeP)
        if (*placeP && (*placeP)->GetSubStream().IsIdenticalTo(iKey))
            return placeP->Get();
    switch (iKey.GetStreamType())
    {
    case Mdie_SubStream::kOrdinary:
    case Mdie_SubStream::kPerChannel:
    case Mdie_SubStream::kOfNote:
        return FindContinuousStream(iKey);
    default:
        return nullptr;
    }
}
