#include "Mdid/Mdid_ChunkExtendedEventsInRangeIter.h"

#include "MFnd/Time_Convert.h"
#include "Mdid/Mdid_Chunk.h"

#include <algorithm>
#include <utility>

namespace
{

using Segment = Mdid_ContinuousDataStreamCore::Segment;

// The ends of a kind's range are no bounds.
bool IsUnbounded(Time_Typed iTime)
{
    return iTime == Time_Typed::MinTime(iTime.GetType()) || iTime == Time_Typed::MaxTime(iTime.GetType());
}

std::pair<Time_Typed, Time_Typed> SampleBased(Time_Typed iStart, Time_Typed iEnd, Time_TypedLength iOffset,
                                              bool iRoundUp)
{
    Time_Typed start = iStart - iOffset;
    Time_Typed end = iEnd - iOffset;
    Time_Convert::MakeTickRangeSampleBased(start, end, iRoundUp);
    return {IsUnbounded(iStart) ? iStart : start + iOffset, IsUnbounded(iEnd) ? iEnd : end + iOffset};
}

} // namespace

Mdid_LaneExtendedEventsInRangeIter::Mdid_LaneExtendedEventsInRangeIter(const Mdid_ContinuousDataStreamCore& iLane)
    : mLaneP(&iLane),
      mCurrent(iLane.GetSegments().begin()),
      mEnd(iLane.GetSegments().end())
{
}

Mdid_LaneExtendedEventsInRangeIter::Mdid_LaneExtendedEventsInRangeIter(const Mdid_ContinuousDataStreamCore& iLane,
                                                                       Time_Typed iStart, Time_Typed iEnd)
    : mLaneP(&iLane),
      mCurrent(std::ranges::lower_bound(iLane.GetSegments(), iStart, {}, &Segment::mTime)),
      mEnd(std::max(mCurrent, std::ranges::lower_bound(iLane.GetSegments(), iEnd, {}, &Segment::mTime)))
{
}

Mdid_ExtendedEvent Mdid_LaneExtendedEventsInRangeIter::operator*() const
{
    return {mCurrent->mTime, mLaneP->GetSubStream().MakeEvent(mCurrent->mValue)};
}

Mdid_ChunkExtendedEventsInRangeIter::Mdid_ChunkExtendedEventsInRangeIter(const Mdid_Chunk& iChunk, Time_Typed iStart,
                                                                         Time_Typed iEnd, Time_TypedLength iOffset,
                                                                         bool iRoundUp, const Mdie_Filter& iFilter)
{
    const auto [start, end] = SampleBased(iStart, iEnd, iOffset, iRoundUp);
    for (const auto& laneP : *iChunk.mContinuousListP)
        if (laneP && laneP->IsEventInRange(start, end) && iFilter.FilterSubStream(laneP->GetSubStream()))
            mLanes.emplace_back(*laneP, start, end);
    if (iFilter.Get(Mdie_Filter::kSysex))
        mEvents = Mdid_EventStreamExtendedEventsInRangeIter(iChunk.GetEventStream(), start, end);
    if (iFilter.Get(Mdie_Filter::kNotes) && iChunk.GetNoteList())
        mNotes = {*iChunk.GetNoteList(), iOffset, iStart, iEnd, iRoundUp};
    BuildTree();
}

Mdid_ChunkExtendedEventsInRangeIter::Mdid_ChunkExtendedEventsInRangeIter(const Mdid_Chunk& iChunk)
    : mEvents(iChunk.GetEventStream())
{
    for (const auto& laneP : *iChunk.mContinuousListP)
        if (laneP && !laneP->IsEmpty())
            mLanes.emplace_back(*laneP);
    if (iChunk.GetNoteList())
        mNotes = Mdid_NoteListBase::NotesExtendedEventInRangeIter::MakeRange(*iChunk.GetNoteList()).begin();
    BuildTree();
}

Mdid_ExtendedEvent Mdid_ChunkExtendedEventsInRangeIter::operator*() const
{
    const std::size_t place = GetPlace();
    if (place < mLanes.size())
        return *mLanes[place];
    return place == GetEventStreamPlace() ? *mEvents : *mNotes;
}

const Mdid_ContinuousDataStreamCore* Mdid_ChunkExtendedEventsInRangeIter::GetLane() const
{
    const std::size_t place = GetPlace();
    return place < mLanes.size() ? &mLanes[place].GetLane() : nullptr;
}

const Mdid_NoteWithDurationExtendedEvent* Mdid_ChunkExtendedEventsInRangeIter::GetNote() const
{
    return GetPlace() == GetNotePlace() ? &*mNotes.GetUnderlyingIter() : nullptr;
}

Mdid_ChunkExtendedEventsInRangeIter& Mdid_ChunkExtendedEventsInRangeIter::operator++()
{
    const std::size_t place = GetPlace();
    Head winner = mHeads.front();
    if (place < mLanes.size())
    {
        // All events of a lane have one priority.
        auto& lane = ++mLanes[place];
        winner.mTime = lane.IsMore() ? PackedTime(lane.GetTime()) : kNoTime;
    }
    else if (place == GetEventStreamPlace())
    {
        ++mEvents;
        winner = MakeEventStreamHead();
    }
    else
    {
        ++mNotes;
        winner = MakeNoteHead();
    }

    for (std::size_t node = (place + mHeads.size()) / 2; node != 0; node /= 2)
    {
        // Which one wins cannot be predicted: they change places without a branch.
        Head& head = mHeads[node];
        const std::uint64_t mask = 0 - static_cast<std::uint64_t>(IsBefore(head, winner));
        const std::uint64_t timeChange = (head.mTime ^ winner.mTime) & mask;
        const std::uint64_t orderChange = (head.mOrder ^ winner.mOrder) & mask;
        head = {head.mTime ^ timeChange, head.mOrder ^ orderChange};
        winner = {winner.mTime ^ timeChange, winner.mOrder ^ orderChange};
    }
    mHeads.front() = winner;
    return *this;
}

Time_Typed Mdid_ChunkExtendedEventsInRangeIter::TimeOf(const Head& iHead)
{
    const auto raw = static_cast<std::int64_t>(iHead.mTime - kSignBit);
    return {raw >> 2, static_cast<Time_EType>(raw & 3)};
}

std::uint64_t Mdid_ChunkExtendedEventsInRangeIter::PackedTime(Time_Typed iTime)
{
    return static_cast<std::uint64_t>(iTime.GetPacked().GetRaw()) + kSignBit;
}

bool Mdid_ChunkExtendedEventsInRangeIter::IsBefore(const Head& iA, const Head& iB)
{
    if (((iA.mTime ^ iB.mTime) & 3) != 0) [[unlikely]]
        return IsBeforeOfOtherKind(iA, iB);
    const bool isEarlier = iA.mTime < iB.mTime;
    const bool isAtOnce = iA.mTime == iB.mTime;
    const bool isFirst = iA.mOrder < iB.mOrder;
    return static_cast<bool>(static_cast<int>(isEarlier) | (static_cast<int>(isAtOnce) & static_cast<int>(isFirst)));
}

bool Mdid_ChunkExtendedEventsInRangeIter::IsBeforeOfOtherKind(const Head& iA, const Head& iB)
{
    if (iA.mTime == kNoTime || iB.mTime == kNoTime)
        return iB.mTime == kNoTime;
    const Time_Typed timeA = TimeOf(iA);
    const Time_Typed timeB = TimeOf(iB);
    return timeA == timeB ? iA.mOrder < iB.mOrder : timeA < timeB;
}

Mdid_ChunkExtendedEventsInRangeIter::Head
Mdid_ChunkExtendedEventsInRangeIter::MakeHead(Time_Typed iTime, const Mdid_Event& iEvent, std::size_t iPlace)
{
    const auto priority = static_cast<std::uint64_t>(iEvent.GetPlaybackPriority()); // never below 0
    return {PackedTime(iTime), priority << 32 | iPlace};
}

Mdid_ChunkExtendedEventsInRangeIter::Head Mdid_ChunkExtendedEventsInRangeIter::MakeEventStreamHead() const
{
    if (!mEvents.IsMore())
        return {kNoTime, GetEventStreamPlace()};
    const Mdie_TimedEvent& event = mEvents.GetTimedEvent();
    return MakeHead(event.GetTime(), event.GetEvent(), GetEventStreamPlace());
}

Mdid_ChunkExtendedEventsInRangeIter::Head Mdid_ChunkExtendedEventsInRangeIter::MakeNoteHead() const
{
    if (!mNotes.IsMore())
        return {kNoTime, GetNotePlace()};
    return MakeHead(mNotes->GetTime(), mNotes->GetEvent(), GetNotePlace());
}

void Mdid_ChunkExtendedEventsInRangeIter::BuildTree()
{
    const std::size_t count = mLanes.size() + 2;
    std::vector<Head> winners(2 * count);
    for (std::size_t place = 0; place < mLanes.size(); ++place)
        winners[count + place] = MakeHead(mLanes[place].GetTime(), (*mLanes[place]).GetEvent(), place);
    winners[count + GetEventStreamPlace()] = MakeEventStreamHead();
    winners[count + GetNotePlace()] = MakeNoteHead();

    mHeads.resize(count);
    for (std::size_t node = count - 1; node != 0; --node)
    {
        const Head& left = winners[2 * node];
        const Head& right = winners[2 * node + 1];
        const bool isLeft = IsBefore(left, right);
        winners[node] = isLeft ? left : right;
        mHeads[node] = isLeft ? right : left;
    }
    mHeads.front() = winners[1];
}
