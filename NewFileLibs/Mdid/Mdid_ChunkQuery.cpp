// What a chunk holds, and whether two hold the same.

#include "Mdid/Mdid_Chunk.h"

#include "CFnd/Cmn_Assert.h"
#include "MFnd/Time_Convert.h"
#include "Mdid/Mdid_ChunkFilter_Private.h"
#include "Mdid/Mdid_IRTProperties.h"
#include "Mdid/Mdid_NoteListIterators.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "Mdid/Mdid_SysexEvent.h"
#include "Mdid/Mdie_ChaseTracker.h"
#include "Mdid/Mdie_TraceUtil.h"
#include "Mdid/Mdie_TrackState.h"

#include <algorithm>
#include <bit>
#include <compare>
#include <iterator>
#include <ostream>
#include <span>
#include <tuple>

namespace
{

using Core = Mdid_ContinuousDataStreamCore;
using LanePtr = Mdid_ContinuousDataStream::TrackedPtr;
using Segment = Core::Segment;
using Note = Mdid_NoteListBase::Note;

// The order of these functions is total over values, so that sorting brings together what is equal.

template <class Range, class Compare>
std::weak_ordering CompareAll(const Range& iA, const Range& iB, Compare iCompare)
{
    return std::lexicographical_compare_three_way(iA.begin(), iA.end(), iB.begin(), iB.end(), iCompare);
}

std::weak_ordering CompareSegments(const Segment& iA, const Segment& iB)
{
    return iA.mTime != iB.mTime ? iA.mTime <=> iB.mTime : iA.mValue <=> iB.mValue;
}

std::weak_ordering CompareStreams(const Mdid_PerNoteDataStream& iA, const Mdid_PerNoteDataStream& iB)
{
    const auto key = [](const Mdid_PerNoteDataStream& iLane)
    {
        const Mdie_SubStream& subStream = iLane.GetSubStream();
        return std::tuple(subStream.GetDataTypeIndex(), subStream.GetStreamType(), iLane.GetSnapToCoarseTicks());
    };
    const std::weak_ordering byKey = key(iA) <=> key(iB);
    return byKey != 0 ? byKey : CompareAll(iA.GetSegments(), iB.GetSegments(), CompareSegments);
}

// An empty list is none.
const Mdid_PerNoteControllerList* LanesOf(const Note& iNote)
{
    const auto* const listP = iNote.GetPerNoteControllers();
    return listP == nullptr || listP->empty() ? nullptr : listP;
}

std::weak_ordering CompareLanes(const Note& iA, const Note& iB)
{
    const auto* const lanesA = LanesOf(iA);
    const auto* const lanesB = LanesOf(iB);
    if (lanesA == lanesB)
        return std::weak_ordering::equivalent;
    if (lanesA == nullptr || lanesB == nullptr)
        return (lanesA != nullptr) <=> (lanesB != nullptr);
    return CompareAll(*lanesA, *lanesB, CompareStreams);
}

// Each number of a note, but its time and what takes no part.
auto NumbersOf(const Note& iNote)
{
    const Mdid_NoteWithDurationBase& note = iNote.GetNote();
    const bool hasFraction = note.GetType() == Mdid_Event::kPitchToMIDINoteWithDuration;
    const float fraction = hasFraction ? note.As<Mdid_PitchToMIDINoteWithDuration>().GetFractionalPitch() : 0;
    const auto* const trimP = iNote.GetTrimExtension();
    return std::tuple(note.GetType(), note.GetChannel(), note.GetPitch(), note.GetVelocity(), note.GetOffVelocity(),
                      note.GetDuration(), std::bit_cast<std::uint32_t>(fraction), iNote.GetOriginalPitch(),
                      iNote.GetOriginalOnVelocity(), iNote.GetOriginalOffVelocity(), iNote.GetOriginalDuration(),
                      iNote.IsMuted(), iNote.GetQuantizeTimeDelta(), trimP ? trimP->mLeftUntrimmedDelta : 0,
                      trimP ? trimP->mRightUntrimmedDelta : 0);
}

bool ValueLess(const Note* iA, const Note* iB)
{
    const auto numbersA = NumbersOf(*iA);
    const auto numbersB = NumbersOf(*iB);
    return numbersA == numbersB ? CompareLanes(*iA, *iB) < 0 : numbersA < numbersB;
}

bool HaveEqualValues(const Note& iA, const Note& iB)
{
    if (iA.GetTime() != iB.GetTime() || NumbersOf(iA) != NumbersOf(iB))
        return false;
    const auto* const lanesA = LanesOf(iA);
    const auto* const lanesB = LanesOf(iB);
    return lanesA == lanesB || (lanesA != nullptr && lanesB != nullptr && lanesA->IsEqualTo(*lanesB));
}

// The order of a list goes by the addresses of per-note lanes, too: the notes of one time are compared as a set.
bool HaveEqualNotes(const Mdid_NoteListBase& iA, const Mdid_NoteListBase& iB)
{
    if (iA.Size() != iB.Size())
        return false;
    std::vector<const Note*> notesA;
    std::vector<const Note*> notesB;
    for (std::size_t first = 0; first < iA.Size();)
    {
        const Time_Typed time = iA[first].GetTime();
        std::size_t last = first;
        notesA.clear();
        notesB.clear();
        for (; last < iA.Size() && iA[last].GetTime() == time; ++last)
        {
            notesA.push_back(&iA[last]);
            notesB.push_back(&iB[last]);
        }
        std::ranges::sort(notesA, ValueLess);
        std::ranges::sort(notesB, ValueLess);
        if (!std::ranges::equal(notesA, notesB,
                                [](const Note* iNoteA, const Note* iNoteB)
                                { return HaveEqualValues(*iNoteA, *iNoteB); }))
            return false;
        first = last;
    }
    return true;
}

// A long one from F0 to F7.
std::span<const unsigned char> LongSysexBytesOf(const Mdid_Event& iEvent)
{
    return {iEvent.AsSysex().GetDirectDataPtr(), static_cast<std::size_t>(iEvent.AsSysexPacket().GetLength())};
}

bool HaveEqualContents(const Mdie_TimedEvent& iA, const Mdie_TimedEvent& iB)
{
    const Mdid_Event& eventA = iA.GetEvent();
    const Mdid_Event& eventB = iB.GetEvent();
    if (iA.GetTime() != iB.GetTime() || eventA.GetType() != eventB.GetType())
        return false;
    return eventA.GetType() == Mdid_Event::kLongSysex
               ? std::ranges::equal(LongSysexBytesOf(eventA), LongSysexBytesOf(eventB))
               : eventA == eventB;
}

auto WholeKeyOf(const Core* iLaneP)
{
    const Mdie_SubStream& key = iLaneP->GetSubStream();
    return std::tuple(key.GetDataTypeIndex(), key.GetStreamType(), key.GetChannel(), key.GetPitch(), key.GetVelocity(),
                      key.GetTime().GetPacked().GetRaw());
}

// Those with breakpoints. Lists of several stream types are not ordered by their keys alone.
std::vector<const Core*> SortedLanes(const Mdid_ContinuousDataStreamList& iLanes)
{
    std::vector<const Core*> lanes;
    for (const LanePtr& laneP : iLanes)
        if (laneP && !laneP->IsEmpty())
            lanes.push_back(laneP.Get());
    std::ranges::stable_sort(lanes, {}, WholeKeyOf);
    return lanes;
}

bool HaveEqualData(const Core* iA, const Core* iB)
{
    return iA->GetSubStream().IsIdenticalTo(iB->GetSubStream()) && iA->GetSegments() == iB->GetSegments();
}

void DeliverNotes(const Mdid_NoteListBase& iNotes, const Mdid_ChunkQuery& iQuery, Mdid_EventListWrapper& ioWrapper)
{
    constexpr int kEveryEvent = 4;
    const Time_EType type = ioWrapper.IsDisplayList() ? iQuery.mOffset.GetType() : iQuery.mType;
    for (Mdid_NoteListBase::NotesInRangeIter iter(iNotes, iQuery.mStart, iQuery.mEnd); iter.IsMore(); ++iter)
    {
        Note note = *iter;
        if (!note.IsNoteWithDurationExtendedEvent() || !iQuery.mFilter.FilterEvent(&note.GetEvent()))
            continue; // not one that is borrowed
        const Time_Typed time = std::max(note.GetTime() - iQuery.mOffset, iQuery.mClampTime);
        note.SetTime(Time_Convert::ToType(time, type));
        if (iQuery.mPropsP != nullptr)
            iQuery.mPropsP->Apply(note, kEveryEvent);
        if (iQuery.mWindowStart <= time && time < iQuery.mWindowEnd)
            ioWrapper.Deliver(note, iQuery.mFlag, iQuery.mNumber);
    }
}

void Print(const Mdie_TimedEventList& iEvents, const char* iTitle, std::ostream& ioStream)
{
    ioStream << iTitle << '\n';
    Mdie_TraceUtil::PrintTimedEventList(&iEvents, ioStream);
}

} // namespace

bool Mdid_Chunk::IsEventInChunk(const Mdie_TimedEvent& iEvent) const
{
    const Time_Typed time = iEvent.GetTime();
    switch (iEvent.GetEvent().GetType())
    {
    case Mdid_Event::kNoteWithDuration:
    case Mdid_Event::kPitchToMIDINoteWithDuration:
        return mNoteListP->FindNote(iEvent) != mNoteListP->end();
    case Mdid_Event::kSysex:
    case Mdid_Event::kLongSysex:
    {
        Mdid_EventStreamTimedEventsInRangeIter event(mEventStreamP.Get(), time, time);
        while (event.IsMore() && !(*event == iEvent))
            ++event;
        return event.IsMore();
    }
    default:
        break;
    }
    const Core* const laneP = FindContinuousStream({iEvent.GetEvent(), Mdie_SubStream::kOrdinary});
    if (laneP == nullptr)
        return false;
    const Time_Typed end = time + Time_TypedLength(1, time.GetType());
    const int value = laneP->GetSubStream().GetValueFromEvent(iEvent.GetEvent());
    const auto& segments = laneP->GetSegments();
    const auto first = std::ranges::lower_bound(segments, time, {}, &Segment::mTime);
    return std::any_of(first, std::ranges::lower_bound(first, segments.end(), end, {}, &Segment::mTime),
                       [value](const Segment& iSegment) { return iSegment.mValue == value; });
}

std::optional<Mdie_TimedEvent> Mdid_Chunk::GetFirstEvent() const
{
    const RangeIter first = begin();
    if (!first.IsMore())
        return std::nullopt;
    return *first;
}

bool Mdid_Chunk::empty() const
{
    return mNoteListP->empty() && mEventStreamP->empty() &&
           std::all_of(mContinuousListP->begin(), mContinuousListP->end(),
                       [](const LanePtr& iLaneP) { return !iLaneP || iLaneP->IsEmpty(); });
}

Mdid_Chunk::RangeIter::Range Mdid_Chunk::GetRange(Time_Typed iStart, Time_Typed iEnd, Time_TypedLength iOffset,
                                                  bool iRoundUp, const Mdie_Filter& iFilter) const
{
    return RangeIter::Range(RangeIter(*this, iStart, iEnd, iOffset, iRoundUp, iFilter));
}

Mdid_Chunk::RangeIter::Range Mdid_Chunk::MakeRange() const
{
    return RangeIter::Range(RangeIter(*this));
}

// The parts deliver in the order of the merged walk at equal times, which a stable sort keeps.
void Mdid_Chunk::GetMidiEventsInRange(Mdid_EventListWrapper* oWrapperP, const Mdid_ChunkQuery& iQuery) const
{
    if (!CMN_VERIFY(oWrapperP))
        return;
    const std::size_t sizeBefore = oWrapperP->size();
    for (const LanePtr& laneP : *mContinuousListP)
        if (laneP && iQuery.mFilter.FilterSubStream(laneP->GetSubStream()))
            laneP->GetMidiEventsInRange(oWrapperP, iQuery.mStart, iQuery.mEnd, iQuery.mWindowStart, iQuery.mWindowEnd,
                                        iQuery.mTrackerP, iQuery.mOffset, iQuery.mClampTime, iQuery.mType,
                                        iQuery.mPropsP, iQuery.mFlag, iQuery.mNumber);
    const Mdid_EventStream events(
        kNotUndoable, false, Mdid_FilteredEvents(*mEventStreamP, iQuery.mStart, iQuery.mEnd, iQuery.mFilter, false));
    events.GetEventsInRange(oWrapperP, iQuery.mStart, iQuery.mEnd, iQuery.mWindowStart, iQuery.mWindowEnd,
                            iQuery.mOffset, iQuery.mClampTime, iQuery.mType, iQuery.mPropsP, iQuery.mFlag,
                            iQuery.mNumber);
    DeliverNotes(*mNoteListP, iQuery, *oWrapperP);
    oWrapperP->sort(sizeBefore);
}

void Mdid_Chunk::AddChaseStateAtTime(Mdie_ChaseView* ioTrackerP, Time_Typed iTime, Time_Typed iEarliest,
                                     Time_TypedLength iOffset) const
{
    if (!CMN_VERIFY(ioTrackerP))
        return;
    for (const LanePtr& laneP : *mContinuousListP)
        if (laneP)
            laneP->AccumulateChaseStateAtTime(ioTrackerP, laneP->GetSubStream().GetNoteIndex(), iTime, iEarliest,
                                              iOffset);
}

void Mdid_Chunk::GetChaseStateAtTime(Mdie_ChaseTracker* ioTrackerP, Time_Typed iTime, Time_Typed iEarliest,
                                     Time_TypedLength iOffset) const
{
    if (!CMN_VERIFY(ioTrackerP))
        return;
    ioTrackerP->Clear();
    AddChaseStateAtTime(ioTrackerP, iTime, iEarliest, iOffset);
}

void Mdid_Chunk::AddNoteStateAtTime(Mdie_TrackState* ioStateP, Time_Typed iTime, Time_TypedLength iOffset) const
{
    if (!CMN_VERIFY(ioStateP))
        return;
    for (const Note& note : mNoteListP->GetSustainingNotes(iTime))
    {
        const bool isNote = note.IsNoteWithDurationEvent(); // not one that is borrowed
        if (!isNote || note.IsMuted() || note.GetNote().GetVelocity() <= 0)
            continue;
        // Pitch-to-MIDI notes (22) are tracked as others are.
        const Mdid_NoteWithDurationBase& played = note.GetNote();
        const Mdid_NoteWithDurationEvent event(played.GetChannel(), played.GetPitch(), played.GetDuration(),
                                               played.GetVelocity(), played.GetOffVelocity());
        ioStateP->ReceiveEvent(Mdie_TimedEvent(note.GetTime() + iOffset, event), note.GetPerNoteControllers());
    }
}

void Mdid_Chunk::PrintContents(std::ostream& ioStream) const
{
    ioStream << "Notes:\n";
    mNoteListP->PrintList(ioStream);
    ioStream << '\n';
    for (const LanePtr& laneP : *mContinuousListP)
        if (laneP)
            ioStream << laneP->PrintContents();

    Mdie_TimedEventList events;
    for (const Mdie_TimedEvent& event : *mEventStreamP)
        events.push_back(event);
    Print(events, "Events:", ioStream);
    events.clear();
    if (mSortedEventListP != nullptr)
        for (const Mdid_DisplayItem& item : *mSortedEventListP)
            events.push_back({item.GetDisplayedTime(), item.GetDisplayedEvent().GetEvent()});
    Print(events, "Sorted list:", ioStream);
}

bool operator==(const Mdid_Chunk& iA, const Mdid_Chunk& iB)
{
    return HaveEqualNotes(*iA.mNoteListP, *iB.mNoteListP) &&
           std::equal(iA.mEventStreamP->begin(), iA.mEventStreamP->end(), iB.mEventStreamP->begin(),
                      iB.mEventStreamP->end(), HaveEqualContents) &&
           std::ranges::equal(SortedLanes(*iA.mContinuousListP), SortedLanes(*iB.mContinuousListP), HaveEqualData);
}
