#pragma once

#include "MFnd/Ndo_Object.h"
#include "Mdid/Mdid_ExtendedEvent.h"
#include "Mdid/Mdid_ExtendedEventIterator.h"
#include "Mdid/Mdie_TimedEventIterator.h"

#include <cstddef>
#include <memory>
#include <vector>

class Mdid_DisplayItemList;
class Mdid_EventListWrapper;
class Mdid_EventStream_NdoState;
class Mdid_IRTProperties;

// The events of one chunk that are neither notes nor continuous data, ascending by time: program changes,
// system-exclusive messages and the like. Events at equal times keep the order in which the operations placed them.
//
// Owned by its chunk, disposed of with NdoDelete. Undo: a saved state holds a copy of all events.
// Ranges are half-open unless they say otherwise, and empty when they end before they start.
// Threads: one at a time; nothing is locked.
class MDID_EXPORT Mdid_EventStream : public Ndo_Object
{
public:
    using const_iterator = std::vector<Mdie_TimedEvent>::const_iterator;

    // iQuantizeContents: what OffsetTimes and AddFromStream shift goes to the coarse tick grid afterwards, when tick
    // times matter.
    Mdid_EventStream(EUndoFlag iUndoFlag, bool iQuantizeContents);
    // iEvents: ascending by time.
    Mdid_EventStream(EUndoFlag iUndoFlag, bool iQuantizeContents, std::vector<Mdie_TimedEvent> iEvents);
    Mdid_EventStream(const Mdid_EventStream&) = default;
    Mdid_EventStream(Mdid_EventStream&&) noexcept = default;
    Mdid_EventStream& operator=(const Mdid_EventStream&) = default;
    Mdid_EventStream& operator=(Mdid_EventStream&&) noexcept = default;
    ~Mdid_EventStream() override;

    std::size_t size() const { return mEvents.size(); }
    std::size_t Size() const { return mEvents.size(); }
    bool empty() const { return mEvents.empty(); }
    const Mdie_TimedEvent& front() const { return mEvents.front(); }
    const Mdie_TimedEvent& back() const { return mEvents.back(); }
    const Mdie_TimedEvent& at(std::size_t iIndex) const { return mEvents.at(iIndex); } // throws std::out_of_range
    const Mdie_TimedEvent& operator[](std::size_t iIndex) const { return mEvents[iIndex]; }
    const_iterator begin() const { return mEvents.begin(); }
    const_iterator end() const { return mEvents.end(); }

    // Inserts before the events that already have this time. Always saves undo state.
    void AddEvent(const Mdie_TimedEvent& iEvent);

    // Removes the first event of this time that equals iEvent's; a long sysex equals only copies of itself.
    void EraseEvent(const Mdie_TimedEvent& iEvent);

    // Removes the events with iStart <= time <= iEnd: here both ends belong to the range.
    void EraseRange(Time_Typed iStart, Time_Typed iEnd);
    void Clear();

    // Copies the source's events in [iStart, iEnd), shifted by iOffset; at equal times they go before the ones here.
    // The source may be this stream; null is no source. Linear in both.
    void AddFromStream(const Mdid_EventStream* iSrc, Time_Typed iStart, Time_Typed iEnd, Time_TypedLength iOffset);

    // For every event of the source in [iStart, iEnd), removes one event here that equals it at its time + iOffset
    // (not snapped). Saves undo state when the source has an event in the range. Linear in both; different events at
    // one time are compared one by one.
    // Kept: null events in the region that is walked go too.
    void EraseFromStream(const Mdid_EventStream* iSrc, Time_Typed iStart, Time_Typed iEnd, Time_TypedLength iOffset);

    // Saves undo state, for what does not do so itself.
    void AboutToModify() { NdoAboutToModify(); }

    // Shifts every event. Saves nothing: the caller has, by AboutToModify. Restores no order, should snapping or mixed
    // kinds disturb it.
    void OffsetTimes(Time_TypedLength iLength);

    // Takes over the source's events, not its flag. Always saves undo state, from itself too.
    void ReplaceData(const Mdid_EventStream* iSrc);

    // Delivers the events in [iSearchStart, iSearchEnd) at their time - iOffset, but not before iMinTime, as far as
    // that lies in [iWindowStart, iWindowEnd), in the kind iType; to a display item list in the kind of iOffset.
    // iPropsP, if given, sees every event found, also those before the window. iFlag, iNumber: carried by display
    // items.
    void GetEventsInRange(Mdid_EventListWrapper* oWrapperP, Time_Typed iSearchStart, Time_Typed iSearchEnd,
                          Time_Typed iWindowStart, Time_Typed iWindowEnd, Time_TypedLength iOffset, Time_Typed iMinTime,
                          Time_EType iType, const Mdid_IRTProperties* iPropsP, bool iFlag, int iNumber) const;
    void GetEventsInRange(Mdid_DisplayItemList* oListP, Time_Typed iSearchStart, Time_Typed iSearchEnd,
                          Time_Typed iWindowStart, Time_Typed iWindowEnd, Time_TypedLength iOffset, Time_Typed iMinTime,
                          Time_EType iType, const Mdid_IRTProperties* iPropsP, bool iFlag, int iNumber) const;

    // Unshifted and unclamped, in the kind of iSearchStart.
    void GetEventsInRange(Mdid_EventListWrapper* oWrapperP, Time_Typed iSearchStart, Time_Typed iSearchEnd,
                          Time_Typed iWindowStart, Time_Typed iWindowEnd, const Mdid_IRTProperties* iPropsP,
                          int iNumber) const;

    // Only system-exclusive events are saved whole. The flag is not saved.
    void StreamOut(Sys_TypedOutStream& ioStream) const;

    // Replaces the events, without saving undo state. Throws what Mdie_TimedEventList::StreamIn does; the stream then
    // holds what was read before.
    void StreamIn(Sys_TypedInStream& ioStream);

    std::unique_ptr<Ndo_State> NdoGetState() const override;
    void NdoRestoreState(Ndo_State* iStateP) override;

private:
    friend class Mdid_EventStream_NdoState;

    std::vector<Mdie_TimedEvent> mEvents;
    bool mQuantizeContents;
};

// The events, pair by pair; nothing else takes part. A saved long sysex is not equal to the one that was read back.
MDID_EXPORT bool operator==(const Mdid_EventStream& iA, const Mdid_EventStream& iB);

// The events of a stream, or those with iStart <= time <= iEnd: both ends belong to the range.
class MDID_EXPORT Mdid_EventStreamTimedEventsInRangeIter : public Mdie_TimedEventIterator
{
public:
    Mdid_EventStreamTimedEventsInRangeIter() = default;
    explicit Mdid_EventStreamTimedEventsInRangeIter(const Mdid_EventStream* iStreamP);
    Mdid_EventStreamTimedEventsInRangeIter(const Mdid_EventStream* iStreamP, Time_Typed iStart, Time_Typed iEnd);

    bool IsMore() const override { return mCurrent != mEnd; }
    Mdid_EventStreamTimedEventsInRangeIter& operator++() override;
    Mdie_TimedEvent operator*() const override { return *mCurrent; }

private:
    Mdid_EventStream::const_iterator mCurrent{};
    Mdid_EventStream::const_iterator mEnd{};
};

// The same ranges as extended events without extension.
class MDID_EXPORT Mdid_EventStreamExtendedEventsInRangeIter
{
public:
    Mdid_EventStreamExtendedEventsInRangeIter() = default;
    explicit Mdid_EventStreamExtendedEventsInRangeIter(const Mdid_EventStream* iStreamP);
    Mdid_EventStreamExtendedEventsInRangeIter(const Mdid_EventStream* iStreamP, Time_Typed iStart, Time_Typed iEnd);

    bool IsMore() const { return mCurrent != mEnd; }
    Mdid_EventStreamExtendedEventsInRangeIter& operator++();
    Mdid_ExtendedEvent operator*() const;
    const Mdie_TimedEvent& GetTimedEvent() const { return *mCurrent; } // as it is stored

private:
    Mdid_EventStream::const_iterator mCurrent{};
    Mdid_EventStream::const_iterator mEnd{};
};

extern template class MDID_EXPORT Mdid_ExtendedEventIteratorInterface<Mdid_EventStreamExtendedEventsInRangeIter>;
