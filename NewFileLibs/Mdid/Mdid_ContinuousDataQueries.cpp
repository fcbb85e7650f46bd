#include "Mdid/Mdid_ContinuousDataStreamCore.h"

#include "CFnd/Cmn_Assert.h"
#include "MFnd/Time_Convert.h"
#include "Mdid/Mdid_ExtendedEventList.h"
#include "Mdid/Mdid_IRTProperties.h"
#include "Mdid/Mdie_ChaseView.h"
#include "QuorPlatformSupport/PSUtil_Trace.h"

#include <iterator>

namespace
{

// What the host's real-time properties are asked for.
constexpr int kPolyPressureFlag = 16;
constexpr int kAnyEventFlag = 4;

// Collects the breakpoints as plain timed events.
class BasicEventFiler : public Mdid_ContinuousData_OutputIter
{
public:
    explicit BasicEventFiler(const Mdie_SubStream& iSubStream) : mSubStream(iSubStream) {}

    void PutValue(Time_Typed iTime, int iValue) override { mEvents.emplace_back(iTime, mSubStream.MakeEvent(iValue)); }

    const std::vector<Mdie_TimedEvent>& GetEvents() const { return mEvents; }

private:
    const Mdie_SubStream& mSubStream;
    std::vector<Mdie_TimedEvent> mEvents;
};

// How the events of a query are made.
struct EventRules
{
    const Mdie_SubStream& mSubStream;
    Time_TypedLength mOffset;
    Time_Typed mClampTime;
    Time_Typed mWindowStart;
    Time_Typed mWindowEnd;
    Time_EType mType;
    const Mdid_IRTProperties* mPropsP; // may be null
    bool mFlag;
    int mNumber;

    // No event outside of the window; the properties see it all the same.
    std::optional<Mdid_ExtendedEvent> MakeEvent(Time_Typed iTime, int iValue) const
    {
        const Time_Typed time = std::max(iTime - mOffset, mClampTime);
        Mdid_ExtendedEvent event(time, mSubStream.MakeEvent(iValue));
        if (mPropsP != nullptr)
        {
            if (event.GetEvent().GetType() == Mdid_Event::kPolyPressure)
                mPropsP->Apply(event, kPolyPressureFlag);
            mPropsP->Apply(event, kAnyEventFlag);
        }
        if (time < mWindowStart || time >= mWindowEnd)
            return std::nullopt;
        event.SetTime(Time_Convert::ToType(event.GetTime(), mType));
        return event;
    }
};

// Files the events into whatever a wrapper wraps.
class EventFiler : public Mdid_ContinuousData_OutputIter
{
public:
    EventFiler(Mdid_EventListWrapper& ioWrapper, const EventRules& iRules) : mWrapper(ioWrapper), mRules(iRules) {}

    void PutValue(Time_Typed iTime, int iValue) override
    {
        if (const auto event = mRules.MakeEvent(iTime, iValue))
            mWrapper.Deliver(*event, mRules.mFlag, mRules.mNumber);
    }

private:
    Mdid_EventListWrapper& mWrapper;
    EventRules mRules;
};

// Files them as display items.
class EventPairFiler : public Mdid_ContinuousData_OutputIter
{
public:
    EventPairFiler(Mdid_DisplayItemList& ioList, const EventRules& iRules) : mList(ioList), mRules(iRules) {}

    void PutValue(Time_Typed iTime, int iValue) override
    {
        if (const auto event = mRules.MakeEvent(iTime, iValue))
            mList.push_back(Mdid_MakeDisplayItem(*event, mRules.mFlag, mRules.mNumber));
    }

private:
    Mdid_DisplayItemList& mList;
    EventRules mRules;
};

} // namespace

Mdid_ContinuousData_OutputIter::~Mdid_ContinuousData_OutputIter() = default;

int Mdid_ContinuousDataStreamCore::GetValueAtTime(const Time_Typed& iTime) const
{
    const auto i = UpperBound(iTime);
    if (!CMN_VERIFY(i != mSegments.begin()))
        return 0;
    return std::prev(i)->mValue;
}

bool Mdid_ContinuousDataStreamCore::GetLastValueChangeBeforeTime(Time_Typed* oTimeP, int* oValueP,
                                                                 Time_Typed iTime) const
{
    const auto i = LowerBound(iTime);
    if (i == mSegments.begin())
        return false;
    *oTimeP = std::prev(i)->mTime;
    *oValueP = std::prev(i)->mValue;
    return true;
}

bool Mdid_ContinuousDataStreamCore::IsEventInRange(Time_Typed iStart, Time_Typed iEnd) const
{
    const auto i = LowerBound(iEnd);
    return i != mSegments.begin() && std::prev(i)->mTime >= iStart;
}

void Mdid_ContinuousDataStreamCore::GetFirstValue(Mdid_ContinuousData_OutputIter& ioOut) const
{
    if (!mSegments.empty())
        ioOut.PutValue(mSegments.front().mTime, mSegments.front().mValue);
}

void Mdid_ContinuousDataStreamCore::GetValuesInRange(Mdid_ContinuousData_OutputIter& ioOut, Time_Typed iStart,
                                                     Time_Typed iEnd, Time_TypedLength iOffset) const
{
    const Time_Typed end = iEnd - iOffset;
    for (auto i = LowerBound(iStart - iOffset); i != mSegments.end() && i->mTime < end; ++i)
        ioOut.PutValue(i->mTime + iOffset, i->mValue);
}

std::optional<Mdie_TimedEvent> Mdid_ContinuousDataStreamCore::GetFirstEvent() const
{
    BasicEventFiler filer(mSubStream);
    GetFirstValue(filer);
    if (filer.GetEvents().empty())
        return std::nullopt;
    return filer.GetEvents().front();
}

// Whether a chase has delivered the value in force at this time already.
bool Mdid_ContinuousDataStreamCore::HoldsChasedValueAt(Time_Typed iTime, const Mdie_ChaseView& iTracker) const
{
    Mdie_ChaseTracker_ChasingEntry entry;
    if (!iTracker.GetChasingEntry(&entry, mSubStream, mSubStream.GetNoteIndex()) || !entry.mIsActive)
        return false;
    const auto i = UpperBound(iTime);
    return i != mSegments.begin() && std::prev(i)->mValue == entry.mValue;
}

void Mdid_ContinuousDataStreamCore::GetMidiEventsInRange(Mdid_EventListWrapper* oWrapperP, Time_Typed iStart,
                                                         Time_Typed iEnd, Time_Typed iWindowStart,
                                                         Time_Typed iWindowEnd, const Mdie_ChaseView* iTrackerP,
                                                         Time_TypedLength iOffset, Time_Typed iClampTime,
                                                         Time_EType iType, const Mdid_IRTProperties* iPropsP,
                                                         bool iFlag, int iNumber) const
{
    const Time_EType type = oWrapperP->IsDisplayList() ? iOffset.GetType() : iType;
    EventFiler filer(*oWrapperP,
                     {mSubStream, iOffset, iClampTime, iWindowStart, iWindowEnd, type, iPropsP, iFlag, iNumber});
    const bool isHeld = iTrackerP != nullptr && HoldsChasedValueAt(iStart, *iTrackerP);
    for (auto i = isHeld ? UpperBound(iStart) : LowerBound(iStart); i != mSegments.end() && i->mTime < iEnd; ++i)
        filer.PutValue(i->mTime, i->mValue);
}

void Mdid_ContinuousDataStreamCore::GetMidiEventsInRange(Mdid_DisplayItemList* oListP, Time_Typed iStart,
                                                         Time_Typed iEnd, Time_Typed iWindowStart,
                                                         Time_Typed iWindowEnd, Time_TypedLength iOffset,
                                                         Time_Typed iClampTime, Time_EType iType,
                                                         const Mdid_IRTProperties* iPropsP, bool iFlag,
                                                         int iNumber) const
{
    EventPairFiler filer(*oListP,
                         {mSubStream, iOffset, iClampTime, iWindowStart, iWindowEnd, iType, iPropsP, iFlag, iNumber});
    GetValuesInRange(filer, iStart, iEnd, Time_TypedLength(0, iStart.GetType()));
}

void Mdid_ContinuousDataStreamCore::GetMidiEventsInRange(Mdid_EventListWrapper* oWrapperP, Time_Typed iStart,
                                                         Time_Typed iEnd, Time_Typed iWindowStart,
                                                         Time_Typed iWindowEnd, const Mdie_ChaseView* iTrackerP,
                                                         const Mdid_IRTProperties* iPropsP, bool iFlag,
                                                         int iNumber) const
{
    const Time_EType type = iStart.GetType();
    GetMidiEventsInRange(oWrapperP, iStart, iEnd, iWindowStart, iWindowEnd, iTrackerP, Time_TypedLength(0, type),
                         Time_Typed::MinTime(type), type, iPropsP, iFlag, iNumber);
}

void Mdid_ContinuousDataStreamCore::AccumulateChaseStateAtTime(Mdie_ChaseView* ioTrackerP, int iIndex, Time_Typed iTime,
                                                               Time_Typed iEarliest, Time_TypedLength iOffset) const
{
    if (!ioTrackerP->IsChasing(mSubStream))
        return;
    const auto i = UpperBound(iTime);
    if (i != mSegments.begin() && std::prev(i)->mTime >= iEarliest)
        ioTrackerP->SetActiveValueIfLater(mSubStream, std::prev(i)->mValue, std::prev(i)->mTime + iOffset, iIndex);
}

void Mdid_ContinuousDataStreamCore::DumpSegments() const
{
    for (const Segment& segment : mSegments)
        PSUTIL_TRACE(kTraceDiagnostics, "%lld %d", static_cast<long long>(segment.mTime.AsInt64()), segment.mValue);
}

std::string Mdid_ContinuousDataStreamCore::DescribeSegments() const
{
    std::string text;
    for (const Segment& segment : mSegments)
        text.append(std::to_string(segment.mTime.AsInt64()))
            .append(" ")
            .append(std::to_string(segment.mValue))
            .append("\n");
    return text;
}
