#include "Mdid/Mdid_EventStream.h"

#include "CFnd/Cmn_Assert.h"
#include "CFnd/Sys_StdStreamHeader.h"
#include "MFnd/Ndo_SavedVector.h"
#include "MFnd/Time_Convert.h"
#include "MFnd/Time_Globals.h"
#include "Mdid/Mdid_ExtendedEventList.h"
#include "Mdid/Mdid_IRTProperties.h"
#include "Mdid/Mdid_SortIfNeeded_Private.h"
#include "Mdid/Mdid_SysexEvent.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <tuple>
#include <utility>

namespace
{

constexpr char kTag[] = "MdES";
constexpr std::int16_t kVersion = 1;

using Events = std::vector<Mdie_TimedEvent>;
using Iterator = Mdid_EventStream::const_iterator;

constexpr auto kTimeOf = [](const Mdie_TimedEvent& iEvent) { return iEvent.GetTime(); };

// The first event that is not earlier than iTime.
template <class Range>
auto LowerBound(Range& iEvents, Time_Typed iTime)
{
    return std::ranges::lower_bound(iEvents, iTime, {}, kTimeOf);
}

// The first event that is later than iTime.
template <class Range>
auto UpperBound(Range& iEvents, Time_Typed iTime)
{
    return std::ranges::upper_bound(iEvents, iTime, {}, kTimeOf);
}

// Ends where it begins when iLast comes first: a range that ends before it starts is empty.
std::pair<Iterator, Iterator> OrderedRange(Iterator iFirst, Iterator iLast)
{
    return {iFirst, std::max(iFirst, iLast)};
}

// iStart <= time < iEnd, copied, so that the source may be the stream that is changed.
Events CopyHalfOpen(const Mdid_EventStream* iSrc, Time_Typed iStart, Time_Typed iEnd)
{
    if (!iSrc)
        return {};
    const auto [first, last] = OrderedRange(LowerBound(*iSrc, iStart), LowerBound(*iSrc, iEnd));
    return {first, last};
}

// iStart <= time <= iEnd.
std::pair<Iterator, Iterator> ClosedRange(const Mdid_EventStream* iStreamP, Time_Typed iStart, Time_Typed iEnd)
{
    if (!iStreamP)
        return {};
    return OrderedRange(LowerBound(*iStreamP, iStart), UpperBound(*iStreamP, iEnd));
}

void ShiftTimes(Events& ioEvents, Time_TypedLength iOffset, bool iQuantizeContents)
{
    const bool snaps = TickTimesMatter::Active() && iQuantizeContents;
    for (Mdie_TimedEvent& event : ioEvents)
    {
        const Time_Typed time = event.GetTime() + iOffset;
        event.SetTime(snaps ? Time_Convert::SnapToCoarseInternalTick(time) : time);
    }
}

// Where one event equal to each source event, at its time + iOffset, has given way to a null event: from the first
// place that was looked at to the end of the last one. A source event finds no event that another one found before.
std::pair<Events::iterator, Events::iterator> MarkMatches(Events& ioEvents, const Events& iSource,
                                                          Time_TypedLength iOffset)
{
    const auto regionStart = LowerBound(ioEvents, iSource.front().GetTime() + iOffset);
    auto dst = regionStart;
    auto open = dst;
    for (auto src = iSource.begin(); src != iSource.end() && dst != ioEvents.end();)
    {
        const Time_Typed time = src->GetTime() + iOffset;
        if (dst->GetTime() < time)
        {
            ++dst;
            continue;
        }
        // The nulls in front match nothing but nulls: walked again for every source event, equal times would cost the
        // square.
        const bool isNull = src->GetEvent().GetType() == Mdid_Event::kNullEvent;
        open = std::max(open, dst);
        while (open != ioEvents.end() && open->GetTime() == time &&
               open->GetEvent().GetType() == Mdid_Event::kNullEvent)
            ++open;
        for (auto match = isNull ? dst : open; match != ioEvents.end() && match->GetTime() == time; ++match)
        {
            if (match->GetEvent() == src->GetEvent())
            {
                match->GetEvent() = Mdid_Event();
                break;
            }
        }
        ++src;
    }
    if (dst == ioEvents.end())
        return {regionStart, dst};
    const Time_Typed lastTime = dst->GetTime();
    return {regionStart,
            std::find_if(dst, ioEvents.end(), [&](const Mdie_TimedEvent& i) { return i.GetTime() != lastTime; })};
}

std::size_t BytesOfBlock(const Mdie_TimedEvent& iEvent)
{
    if (iEvent.GetEvent().GetType() != Mdid_Event::kLongSysex)
        return 0;
    return static_cast<std::size_t>(iEvent.GetEvent().AsSysex().GetLength());
}

} // namespace

// What undo brings back of an event stream.
class Mdid_EventStream_NdoState : public Ndo_State
{
public:
    explicit Mdid_EventStream_NdoState(const Mdid_EventStream& iStream)
        : mQuantizeContents(iStream.mQuantizeContents),
          mEvents(iStream.mEvents)
    {
    }

    std::unique_ptr<Ndo_Object> NdoRecreate() const override
    {
        return std::make_unique<Mdid_EventStream>(Ndo_Object::kNotUndoable, true);
    }

    std::size_t NdoGetSize() const override
    {
        // Every block counts, although the stream or another state may share it.
        const auto& events = mEvents.GetElements();
        return std::accumulate(events.begin(), events.end(), sizeof *this + events.size() * sizeof(Mdie_TimedEvent),
                               [](std::size_t iSum, const Mdie_TimedEvent& i) { return iSum + BytesOfBlock(i); });
    }

    void NdoShrink(const Ndo_Object& iObject) override
    {
        const auto* const streamP = dynamic_cast<const Mdid_EventStream*>(&iObject);
        if (CMN_VERIFY(streamP))
            mEvents.Shrink(streamP->mEvents,
                           [](const Mdie_TimedEvent& iA, const Mdie_TimedEvent& iB) { return iA.IsIdenticalTo(iB); });
    }

    void RestoreInto(Mdid_EventStream& ioStream) const
    {
        mEvents.RestoreInto(ioStream.mEvents);
        ioStream.mQuantizeContents = mQuantizeContents;
    }

private:
    bool mQuantizeContents;
    Ndo_SavedVector<Mdie_TimedEvent> mEvents;
};

Mdid_EventStream::Mdid_EventStream(EUndoFlag iUndoFlag, bool iQuantizeContents)
    : Mdid_EventStream(iUndoFlag, iQuantizeContents, {})
{
}

Mdid_EventStream::Mdid_EventStream(EUndoFlag iUndoFlag, bool iQuantizeContents, std::vector<Mdie_TimedEvent> iEvents)
    : Ndo_Object(iUndoFlag),
      mEvents(std::move(iEvents)),
      mQuantizeContents(iQuantizeContents)
{
}

Mdid_EventStream::~Mdid_EventStream() = default;

void Mdid_EventStream::AddEvent(const Mdie_TimedEvent& iEvent)
{
    NdoAboutToModify();
    mEvents.insert(LowerBound(mEvents, iEvent.GetTime()), iEvent);
}

void Mdid_EventStream::EraseEvent(const Mdie_TimedEvent& iEvent)
{
    const auto [first, last] = ClosedRange(this, iEvent.GetTime(), iEvent.GetTime());
    const auto match = std::find(first, last, iEvent);
    if (match == last)
        return;

    NdoAboutToModify();
    mEvents.erase(match);
}

void Mdid_EventStream::EraseRange(Time_Typed iStart, Time_Typed iEnd)
{
    const auto [first, last] = ClosedRange(this, iStart, iEnd);
    if (first == last)
        return;

    NdoAboutToModify();
    mEvents.erase(first, last);
}

void Mdid_EventStream::Clear()
{
    if (mEvents.empty())
        return;

    NdoAboutToModify();
    mEvents.clear();
}

// The shifted block is merged with all that it may have come to lie among, since snapping moves its ends.
void Mdid_EventStream::AddFromStream(const Mdid_EventStream* iSrc, Time_Typed iStart, Time_Typed iEnd,
                                     Time_TypedLength iOffset)
{
    Events block = CopyHalfOpen(iSrc, iStart, iEnd);
    if (block.empty())
        return;

    ShiftTimes(block, iOffset, mQuantizeContents);
    Mdid_SortIfNeeded(block, std::ranges::less(), kTimeOf); // kinds may have passed each other

    NdoAboutToModify();
    const auto count = std::ssize(block);
    const auto lastTime = block.back().GetTime();
    const auto first = mEvents.insert(LowerBound(mEvents, block.front().GetTime()),
                                      std::make_move_iterator(block.begin()), std::make_move_iterator(block.end()));
    const auto middle = first + count;
    const auto last = std::ranges::lower_bound(middle, mEvents.end(), lastTime, {}, kTimeOf);
    std::ranges::inplace_merge(first, middle, last, {}, kTimeOf);
}

void Mdid_EventStream::EraseFromStream(const Mdid_EventStream* iSrc, Time_Typed iStart, Time_Typed iEnd,
                                       Time_TypedLength iOffset)
{
    const Events source = CopyHalfOpen(iSrc, iStart, iEnd);
    if (source.empty())
        return;

    NdoAboutToModify();
    const auto [first, last] = MarkMatches(mEvents, source, iOffset);
    // Kept: null events that were in the region before go with the marked ones.
    const auto isNull = [](const Mdie_TimedEvent& i) { return i.GetEvent().GetType() == Mdid_Event::kNullEvent; };
    mEvents.erase(std::remove_if(first, last, isNull), last);
}

void Mdid_EventStream::OffsetTimes(Time_TypedLength iLength)
{
    NdoChangesWithoutState();
    ShiftTimes(mEvents, iLength, mQuantizeContents);
}

void Mdid_EventStream::ReplaceData(const Mdid_EventStream* iSrc)
{
    if (!iSrc)
        return;

    NdoAboutToModify();
    if (iSrc == this)
        return;
    Events events = iSrc->mEvents;
    mEvents.swap(events);
}

void Mdid_EventStream::GetEventsInRange(Mdid_EventListWrapper* oWrapperP, Time_Typed iSearchStart,
                                        Time_Typed iSearchEnd, Time_Typed iWindowStart, Time_Typed iWindowEnd,
                                        Time_TypedLength iOffset, Time_Typed iMinTime, Time_EType iType,
                                        const Mdid_IRTProperties* iPropsP, bool iFlag, int iNumber) const
{
    constexpr int kEveryEvent = 4;
    if (!CMN_VERIFY(oWrapperP))
        return;
    const Time_EType type = oWrapperP->IsDisplayList() ? iOffset.GetType() : iType;
    for (auto event = LowerBound(mEvents, iSearchStart); event != end() && event->GetTime() < iSearchEnd; ++event)
    {
        const Time_Typed displayTime = std::max(event->GetTime() - iOffset, iMinTime);
        Mdid_ExtendedEvent extended(Time_Convert::ToType(displayTime, type), event->GetEvent());
        if (iPropsP)
            iPropsP->Apply(extended, kEveryEvent);
        if (iWindowStart <= displayTime && displayTime < iWindowEnd)
            oWrapperP->Deliver(extended, iFlag, iNumber);
    }
}

void Mdid_EventStream::GetEventsInRange(Mdid_DisplayItemList* oListP, Time_Typed iSearchStart, Time_Typed iSearchEnd,
                                        Time_Typed iWindowStart, Time_Typed iWindowEnd, Time_TypedLength iOffset,
                                        Time_Typed iMinTime, Time_EType iType, const Mdid_IRTProperties* iPropsP,
                                        bool iFlag, int iNumber) const
{
    Mdid_EventListWrapper wrapper(oListP);
    GetEventsInRange(&wrapper, iSearchStart, iSearchEnd, iWindowStart, iWindowEnd, iOffset, iMinTime, iType, iPropsP,
                     iFlag, iNumber);
}

void Mdid_EventStream::GetEventsInRange(Mdid_EventListWrapper* oWrapperP, Time_Typed iSearchStart,
                                        Time_Typed iSearchEnd, Time_Typed iWindowStart, Time_Typed iWindowEnd,
                                        const Mdid_IRTProperties* iPropsP, int iNumber) const
{
    const Time_EType type = iSearchStart.GetType();
    GetEventsInRange(oWrapperP, iSearchStart, iSearchEnd, iWindowStart, iWindowEnd, Time_TypedLength(0, type),
                     Time_Typed::MinTime(type), type, iPropsP, false, iNumber);
}

// "MdES", version 1:
//   "MdTEL" record: the events in order
void Mdid_EventStream::StreamOut(Sys_TypedOutStream& ioStream) const
{
    Sys_StdStreamHeaderWriter header(ioStream, kTag, kVersion);
    Mdie_TimedEventList::StreamOut(mEvents, ioStream);
    header.PatchSize();
}

void Mdid_EventStream::StreamIn(Sys_TypedInStream& ioStream)
{
    NdoChangesWithoutState();
    Sys_StdStreamHeaderReader header(ioStream, kTag);
    header.CheckVersion(1, kVersion);
    Mdie_TimedEventList::StreamIn(mEvents, ioStream);
    header.SkipTheRest();
}

std::unique_ptr<Ndo_State> Mdid_EventStream::NdoGetState() const
{
    return std::make_unique<Mdid_EventStream_NdoState>(*this);
}

void Mdid_EventStream::NdoRestoreState(Ndo_State* iStateP)
{
    const auto* const state = dynamic_cast<const Mdid_EventStream_NdoState*>(iStateP);
    if (!state)
    {
        // The text and the line that this report is known by.
        Cmn_Assert::HandleMagicAssert(false, "state@$^$@NewFileLibs/Mdid/Mdid_EventStream", 173);
        return;
    }
    state->RestoreInto(*this);
}

bool operator==(const Mdid_EventStream& iA, const Mdid_EventStream& iB)
{
    return std::equal(iA.begin(), iA.end(), iB.begin(), iB.end());
}

Mdid_EventStreamTimedEventsInRangeIter::Mdid_EventStreamTimedEventsInRangeIter(const Mdid_EventStream* iStreamP)
{
    if (iStreamP)
        std::tie(mCurrent, mEnd) = std::pair(iStreamP->begin(), iStreamP->end());
}

Mdid_EventStreamTimedEventsInRangeIter::Mdid_EventStreamTimedEventsInRangeIter(const Mdid_EventStream* iStreamP,
                                                                               Time_Typed iStart, Time_Typed iEnd)
{
    std::tie(mCurrent, mEnd) = ClosedRange(iStreamP, iStart, iEnd);
}

Mdid_EventStreamTimedEventsInRangeIter& Mdid_EventStreamTimedEventsInRangeIter::operator++()
{
    ++mCurrent;
    return *this;
}

Mdid_EventStreamExtendedEventsInRangeIter::Mdid_EventStreamExtendedEventsInRangeIter(const Mdid_EventStream* iStreamP)
{
    if (iStreamP)
        std::tie(mCurrent, mEnd) = std::pair(iStreamP->begin(), iStreamP->end());
}

Mdid_EventStreamExtendedEventsInRangeIter::Mdid_EventStreamExtendedEventsInRangeIter(const Mdid_EventStream* iStreamP,
                                                                                     Time_Typed iStart, Time_Typed iEnd)
{
    std::tie(mCurrent, mEnd) = ClosedRange(iStreamP, iStart, iEnd);
}

Mdid_EventStreamExtendedEventsInRangeIter& Mdid_EventStreamExtendedEventsInRangeIter::operator++()
{
    ++mCurrent;
    return *this;
}

Mdid_ExtendedEvent Mdid_EventStreamExtendedEventsInRangeIter::operator*() const
{
    return {mCurrent->GetTime(), mCurrent->GetEvent()};
}

template class Mdid_ExtendedEventIteratorInterface<Mdid_EventStreamExtendedEventsInRangeIter>;
