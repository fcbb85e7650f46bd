#include "MdidHost/Listing/MdidHost_EventWalk_Private.h"

#include "MFnd/Time_Convert.h"

#include <algorithm>

namespace
{

using Note = Mdid_NoteWithDurationExtendedEvent;

// A chunk takes its ranges in samples, rounded: one sample more at either side has all of the window.
Mdid_Chunk::RangeIter MergedWalk(const Mdid_Chunk& iChunk, const MdidHost_EventWindow& iWindow,
                                 const Mdie_Filter& iFilter)
{
    const Time_TypedLength oneSample(1, Time_EType::kSample);
    const auto toSample = [](Time_Typed time) { return Time_Convert::ToType(time, Time_EType::kSample); };
    const Time_Typed start = iWindow.mStart ? toSample(*iWindow.mStart) - oneSample : MdidHost_FirstOfAllTimes();
    const Time_Typed end = iWindow.mEnd ? toSample(*iWindow.mEnd) + oneSample : MdidHost_LastOfAllTimes();
    return iChunk.GetRange(start, end, Time_TypedLength(0, start.GetType()), false, iFilter).begin();
}

} // namespace

Time_Typed MdidHost_FirstOfAllTimes()
{
    using enum Time_EType;
    return std::min({Time_Typed::MinTime(kTick), Time_Typed::MinTime(kSample), Time_Typed::MinTime(kMicrosecond)});
}

Time_Typed MdidHost_LastOfAllTimes()
{
    using enum Time_EType;
    return std::max({Time_Typed::MaxTime(kTick), Time_Typed::MaxTime(kSample), Time_Typed::MaxTime(kMicrosecond)});
}

MdidHost_PerNoteWalk::MdidHost_PerNoteWalk(const Mdid_NoteListBase& iNotes, const MdidHost_EventWindow& iWindow,
                                           const Mdie_Filter& iFilter)
    : mNextNote(iNotes.begin()),
      mLastNote(iNotes.end()),
      mWindow(iWindow),
      mFilter(iFilter)
{
    OpenLanes();
}

Mdid_Event MdidHost_PerNoteWalk::MakeEvent() const
{
    const Lane& lane = mLanes.front();
    const auto& segment = lane.mLaneP->GetSegments()[lane.mNext];
    return lane.mLaneP->GetSubStream().MakeEvent(segment.mValue, lane.mTimes.GetNote().GetEvent().GetChannel());
}

void MdidHost_PerNoteWalk::Next()
{
    std::ranges::pop_heap(mLanes, IsLater);
    Lane lane = mLanes.back();
    mLanes.pop_back();
    ++lane.mNext;
    Push(lane);
    OpenLanes();
}

void MdidHost_PerNoteWalk::Push(Lane iLane)
{
    const auto& segments = iLane.mLaneP->GetSegments();
    if (iLane.mNext >= segments.size())
        return;
    iLane.mTime = iLane.mTimes.TimeOf(segments[iLane.mNext]);
    if (mWindow.IsBehind(iLane.mTime) || iLane.mTimes.IsCutOff(iLane.mTime))
        return;
    mLanes.push_back(iLane);
    std::ranges::push_heap(mLanes, IsLater);
}

void MdidHost_PerNoteWalk::OpenLanes()
{
    for (; mNextNote != mLastNote && !mWindow.IsBehind(mNextNote->GetTime()); ++mNextNote)
    {
        if (IsMore() && GetTime() < mNextNote->GetTime())
            return;
        if (mNextNote->HasPerNoteControllers())
            OpenLanesOf(*mNextNote);
    }
}

void MdidHost_PerNoteWalk::OpenLanesOf(const Note& iNote)
{
    const MdidHost_NoteLaneTimes times(iNote);
    const auto isBefore = [&](const auto& segment) { return mWindow.IsBefore(times.TimeOf(segment)); };
    for (const Mdid_PerNoteDataStream& stream : *iNote.GetPerNoteControllers())
    {
        if (!mFilter.FilterSubStream(stream.GetSubStream()))
            continue;
        const auto& segments = stream.GetSegments();
        const auto next = std::ranges::partition_point(times.FindFirst(segments), segments.end(), isBefore);
        Push({{}, times, &stream, static_cast<std::size_t>(next - segments.begin()), mPlaces++});
    }
}

MdidHost_TrackWalk::MdidHost_TrackWalk(const MdidHost_Track& iTrack, int iNumber, const MdidHost_EventWindow& iWindow,
                                       const Mdie_Filter& iFilter)
    : mTrack(iTrack),
      mNumber(iNumber),
      mWindow(iWindow),
      mEvents(MergedWalk(*iTrack.mChunk, iWindow, iFilter)),
      mExpression(*iTrack.mChunk->GetNoteList(), iWindow, iFilter)
{
    while (mEvents.IsMore() && mWindow.IsBefore(mEvents.GetTime()))
        ++mEvents;
    Choose();
}

MdidHost_ListedEvent MdidHost_TrackWalk::Get() const
{
    if (mFrom == From::kEvents)
        return {mEvents.GetTime(), (*mEvents).GetEvent(), nullptr};
    return {mExpression.GetTime(), mExpression.MakeEvent(), &mExpression.GetNote()};
}

void MdidHost_TrackWalk::Next()
{
    if (mFrom == From::kEvents)
        ++mEvents;
    else
        mExpression.Next();
    Choose();
}

void MdidHost_TrackWalk::Choose()
{
    const bool hasEvent = mEvents.IsMore() && !mWindow.IsBehind(mEvents.GetTime());
    if (hasEvent && (!mExpression.IsMore() || IsEventFirst()))
        mFrom = From::kEvents;
    else
        mFrom = mExpression.IsMore() ? From::kExpression : From::kNothing;
}

bool MdidHost_TrackWalk::IsEventFirst() const
{
    if (mEvents.GetTime() != mExpression.GetTime())
        return mEvents.GetTime() < mExpression.GetTime();
    return (*mEvents).GetEvent().GetPlaybackPriority() <= mExpression.MakeEvent().GetPlaybackPriority();
}
