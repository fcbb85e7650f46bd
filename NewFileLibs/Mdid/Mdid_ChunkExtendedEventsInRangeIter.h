#pragma once

#include "Mdid/Mdid_ContinuousDataStream.h"
#include "Mdid/Mdid_EventStream.h"
#include "Mdid/Mdid_NoteListIterators.h"

#include <cstdint>
#include <iterator>
#include <vector>

class Mdid_Chunk;
class Mdie_Filter;

// The breakpoints of one lane in [start, end), or all, as events on the lane's channel. Any change of the lane ends its
// validity.
class MDID_EXPORT Mdid_LaneExtendedEventsInRangeIter
{
public:
    using Segment = Mdid_ContinuousDataStreamCore::Segment;

    explicit Mdid_LaneExtendedEventsInRangeIter(const Mdid_ContinuousDataStreamCore& iLane);
    Mdid_LaneExtendedEventsInRangeIter(const Mdid_ContinuousDataStreamCore& iLane, Time_Typed iStart, Time_Typed iEnd);

    bool IsMore() const { return mCurrent != mEnd; }

    // These only while IsMore().
    Mdid_LaneExtendedEventsInRangeIter& operator++()
    {
        ++mCurrent;
        return *this;
    }
    Mdid_ExtendedEvent operator*() const;
    Time_Typed GetTime() const { return mCurrent->mTime; }

    const Mdid_ContinuousDataStreamCore& GetLane() const { return *mLaneP; }

private:
    using SegmentIter = std::vector<Segment>::const_iterator;

    const Mdid_ContinuousDataStreamCore* mLaneP;
    SegmentIter mCurrent;
    SegmentIter mEnd;
};

// All events of a chunk in a range of time, merged: by time; at equal times by Mdid_Event::GetPlaybackPriority, then
// lanes in the order of their list, then the event stream, then notes. Every part keeps its own order, also where that
// is not the one of playback. Made by Mdid_Chunk::GetRange or MakeRange.
//
// A step costs O(log k) for k parts with events in the range, and takes no memory. A change of the chunk ends its
// validity. An input iterator; the events are made on the way and come as values.
class MDID_EXPORT Mdid_ChunkExtendedEventsInRangeIter
{
public:
    using iterator_concept = std::input_iterator_tag;
    using value_type = Mdid_ExtendedEvent;
    using difference_type = std::ptrdiff_t;

    struct EndSentinel
    {
    };

    // As Mdid_Chunk::GetRange, and as Mdid_Chunk::MakeRange.
    Mdid_ChunkExtendedEventsInRangeIter(const Mdid_Chunk& iChunk, Time_Typed iStart, Time_Typed iEnd,
                                        Time_TypedLength iOffset, bool iRoundUp, const Mdie_Filter& iFilter);
    explicit Mdid_ChunkExtendedEventsInRangeIter(const Mdid_Chunk& iChunk);

    bool IsMore() const { return mHeads.front().mTime != kNoTime; }

    // All of these only while IsMore().
    Mdid_ExtendedEvent operator*() const;
    Time_Typed GetTime() const { return TimeOf(mHeads.front()); }
    // The lane that the current event stands in, or null.
    const Mdid_ContinuousDataStreamCore* GetLane() const;
    // The note that the current event is, in its list, or null.
    const Mdid_NoteWithDurationExtendedEvent* GetNote() const;
    Mdid_ChunkExtendedEventsInRangeIter& operator++();
    void operator++(int) { ++*this; }

    bool operator==(EndSentinel) const { return !IsMore(); }

    using Range = Mdid_IteratorRange<Mdid_ChunkExtendedEventsInRangeIter>;

private:
    // What the next event of a part is compared by.
    struct Head
    {
        std::uint64_t mTime;  // as in Time_Packed, ascending without a sign
        std::uint64_t mOrder; // the playback priority, then in the low half the place of the part
    };

    static constexpr std::uint64_t kSignBit = std::uint64_t{1} << 63;
    static constexpr std::uint64_t kNoTime = ~std::uint64_t{0}; // later than all, and of no kind

    static std::uint64_t PackedTime(Time_Typed iTime);
    static Time_Typed TimeOf(const Head& iHead);
    static bool IsBefore(const Head& iA, const Head& iB);
    static bool IsBeforeOfOtherKind(const Head& iA, const Head& iB);

    std::size_t GetPlace() const { return mHeads.front().mOrder & 0xFFFF'FFFF; }
    std::size_t GetEventStreamPlace() const { return mLanes.size(); }
    std::size_t GetNotePlace() const { return mLanes.size() + 1; }
    static Head MakeHead(Time_Typed iTime, const Mdid_Event& iEvent, std::size_t iPlace);
    Head MakeEventStreamHead() const;
    Head MakeNoteHead() const;
    void BuildTree();

    // The parts, each at its place: the lanes with events in the range, the event stream, the notes.
    std::vector<Mdid_LaneExtendedEventsInRangeIter> mLanes;
    Mdid_EventStreamExtendedEventsInRangeIter mEvents;
    Mdid_NoteListBase::NotesExtendedEventInRangeIter mNotes;

    // A tree of losers: the part at place p enters at (p + count of parts) / 2 and moves to half of that; the first
    // head is the one that won everywhere. One comparison a level, half of what a heap takes.
    std::vector<Head> mHeads;
};
