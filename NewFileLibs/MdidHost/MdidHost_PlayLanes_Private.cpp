#include "MdidHost/MdidHost_PlayLanes_Private.h"

#include "MFnd/Time_Convert.h"
#include "Mdid/Mdi_Controller.h"
#include "Mdid/Mdid_EventTypes.h"

#include <algorithm>
#include <tuple>

namespace
{

constexpr int kNumChannels = 16;

using ESelection = MdidHost_PlayLanes::ESelection;

ESelection SelectionOf(int iController)
{
    if (iController < Mdi_Controller::kOtherParameterLSB || iController > Mdi_Controller::kParameterMSB)
        return MdidHost_PlayLanes::kNone;
    return iController < Mdi_Controller::kParameterLSB ? MdidHost_PlayLanes::kNonRegistered
                                                       : MdidHost_PlayLanes::kRegistered;
}

bool IsController(const Mdie_SubStream& iKey)
{
    return iKey.GetDataType().GetDataType() == Mdie_SubStreamDataType::kController;
}

// Where an event stands among those that bring an instrument to a state.
enum EPlace
{
    kBank,
    kProgram,
    kOtherNumber,
    kSelectedNumber,
    kData,
    kStep, // up or down from the data
    kController,
    kBend,
    kPressure
};

EPlace PlaceOfController(int iController, ESelection iSelection)
{
    if (iController == Mdi_Controller::kBankLSB)
        return kBank;
    if (const ESelection selection = SelectionOf(iController); selection != MdidHost_PlayLanes::kNone)
        return selection == iSelection ? kSelectedNumber : kOtherNumber;
    if (iController == Mdi_Controller::kDataEntryMSB || iController == Mdi_Controller::kDataEntryLSB)
        return kData;
    return iController == Mdi_Controller::kDataIncrement || iController == Mdi_Controller::kDataDecrement ? kStep
                                                                                                          : kController;
}

EPlace PlaceOf(const Mdid_Event& iEvent, ESelection iSelection)
{
    switch (iEvent.GetType())
    {
    case Mdid_Event::kProgram:
        return kProgram;
    case Mdid_Event::kController:
        return PlaceOfController(iEvent.As<Mdid_ControllerEvent>().GetController(), iSelection);
    case Mdid_Event::kPitchBend:
        return kBend;
    default:
        return kPressure;
    }
}

// A time in each kind: times are compared with it by their counts.
class LatestCounts
{
public:
    explicit LatestCounts(Time_Typed iTime)
    {
        for (const Time_EType kind : kTime_AllKinds)
        {
            const Time_Typed nearest = Time_Convert::ToType(iTime, kind);
            mCounts[static_cast<std::size_t>(kind)] = nearest.AsInt64() - (nearest > iTime ? 1 : 0);
        }
    }

    // Whether the time is not later.
    bool Reach(Time_Typed iTime) const { return iTime.AsInt64() <= mCounts[static_cast<std::size_t>(iTime.GetType())]; }

private:
    std::array<std::int64_t, 3> mCounts{};
};

const std::array<Mdie_SubStream, 6>& ParameterKeys()
{
    static const std::array<Mdie_SubStream, 6> keys = {Mdie_SubStream::Controller(Mdi_Controller::kOtherParameterLSB),
                                                       Mdie_SubStream::Controller(Mdi_Controller::kOtherParameterMSB),
                                                       Mdie_SubStream::Controller(Mdi_Controller::kParameterLSB),
                                                       Mdie_SubStream::Controller(Mdi_Controller::kParameterMSB),
                                                       Mdie_SubStream::Controller(Mdi_Controller::kDataEntryMSB),
                                                       Mdie_SubStream::Controller(Mdi_Controller::kDataEntryLSB)};
    return keys;
}

} // namespace

MdidHost_PlayMaps::MdidHost_PlayMaps()
{
    for (int pitch = 0; pitch < 128; ++pitch)
        mMap.AppendEntry(Mdie_SubStream::PolyPressure(pitch), true);
    mMap.DoneAddingChasingEntries();

    // On a member channel other lanes than those of expression may be played, too.
    mMPEMap.Clear();
    for (int i = 0; i < mMap.GetNumIndices(); ++i)
        if (mMap.GetEntryIsReleasing(i))
            mMPEMap.AppendReleasingEntry(mMap.GetEntrySubStream(i), mMap.GetEntryReleaseValue(i), true);
        else
            mMPEMap.AppendEntry(mMap.GetEntrySubStream(i), true);
    mMPEMap.DoneAddingChasingEntries();
    ParameterKeys(); // made here
}

MdidHost_PlayOrder::MdidHost_PlayOrder()
{
    constexpr std::size_t kValuesAndReleases = 2;
    mSent.resize(kValuesAndReleases * Mdie_SubStream::GetNumIndices() * kNumChannels); // touched, too
    mSent.clear();
}

void MdidHost_PlayOrder::ReceiveEvent(const Mdid_Event& iEvent)
{
    mSent.push_back({0, mSent.size(), iEvent});
}

const std::vector<MdidHost_PlayOrder::Sent>& MdidHost_PlayOrder::Sort(const Selections& iSelections)
{
    for (Sent& sent : mSent)
        sent.mPlace = PlaceOf(sent.mEvent,
                              static_cast<ESelection>(iSelections[static_cast<std::size_t>(sent.mEvent.GetChannel())]));
    std::ranges::sort(mSent, {}, [](const Sent& iSent) { return std::tuple(iSent.mPlace, iSent.mNumber); });
    return mSent;
}

MdidHost_PlayLanes::MdidHost_PlayLanes(const MdidHost_PlayMaps& iMaps, bool iIsMPE)
    : mTracker(&iMaps.GetMap(iIsMPE), iIsMPE ? kNumChannels : 1, false),
      mIsMPE(iIsMPE)
{
}

void MdidHost_PlayLanes::Clear()
{
    mTracker.Clear();
    mSelections.fill(kNone);
}

// The lane queries of a chunk count in whole samples, and so would take what stands within the last one.
void MdidHost_PlayLanes::Chase(const std::vector<ChaseLane>& iLanes, std::int64_t iSample)
{
    Clear();
    std::array<Time_Typed, kNumChannels> selectionTimes;
    const LatestCounts latest({iSample - 1, Time_EType::kSample});
    for (const ChaseLane& lane : iLanes)
    {
        const auto isInForce = [&latest](const auto& iSegment) { return latest.Reach(iSegment.mTime); };
        const auto next = std::ranges::partition_point(*lane.mSegmentsP, isInForce);
        if (next == lane.mSegmentsP->begin())
            continue;
        const auto& segment = *(next - 1);
        const Mdie_SubStream_ValueRange range = lane.mKey.GetValueRange();
        const int slot = SlotOf(lane.mChannel);
        mTracker.SetActiveValueIfLater(lane.mKey, std::clamp(segment.mValue, range.mMinimum, range.mMaximum),
                                       segment.mTime, slot);
        Time_Typed& selectionTime = selectionTimes[static_cast<std::size_t>(slot)];
        const bool isSelection = IsController(lane.mKey) && SelectionOf(lane.mKey.GetSubType()) != kNone;
        if (isSelection && (mSelections[static_cast<std::size_t>(slot)] == kNone || segment.mTime >= selectionTime))
        {
            selectionTime = segment.mTime;
            Select(lane.mKey, slot);
        }
    }
}

void MdidHost_PlayLanes::Track(const Mdie_SubStream& iKey, int iValue, signed char iChannel)
{
    const int slot = SlotOf(iChannel);
    int value = iValue;
    Mdie_ChaseTracker_ChasingEntry before;
    const bool isProgram = iKey.GetDataType().GetDataType() == Mdie_SubStreamDataType::kProgram;
    if (isProgram && mTracker.GetChasingEntry(&before, iKey, slot) && before.mIsActive)
        value = MdidHost_PlaySchedule::CompleteProgram(value, before.mValue);
    mTracker.TrackValue(iKey, value, slot);
    Select(iKey, slot);
}

void MdidHost_PlayLanes::MoveFrom(MdidHost_PlayLanes& ioFrom, MdidHost_PlayOrder& ioOrder)
{
    const int numSlots = mIsMPE ? kNumChannels : 1;
    for (int slot = 0; slot < numSlots; ++slot)
        if (HasOtherParameters(ioFrom, slot))
            for (const Mdie_SubStream& key : ParameterKeys())
                ioFrom.mTracker.ClearActiveFlag(key, slot);
    mTracker.ChaseAndRelease(&ioFrom.mTracker, &ioOrder);
}

void MdidHost_PlayLanes::TakeOver(const MdidHost_PlayLanes& iOther)
{
    Clear();
    mTracker.DoMutedUpdate(&iOther.mTracker);
    mSelections = iOther.mSelections;
}

bool MdidHost_PlayLanes::IsActive(const Mdid_Event& iEvent) const
{
    return mTracker.IsActive(Mdie_SubStream(iEvent, Mdie_SubStream::kOrdinary), SlotOf(iEvent.GetChannel()));
}

void MdidHost_PlayLanes::Select(const Mdie_SubStream& iKey, int iSlot)
{
    const ESelection selection = IsController(iKey) ? SelectionOf(iKey.GetSubType()) : kNone;
    if (selection != kNone)
        mSelections[static_cast<std::size_t>(iSlot)] = selection;
}

bool MdidHost_PlayLanes::HasOtherParameters(const MdidHost_PlayLanes& iOther, int iSlot) const
{
    const auto channel = static_cast<std::size_t>(iSlot);
    const auto differs = [&](const Mdie_SubStream& iKey)
    {
        Mdie_ChaseTracker_ChasingEntry ours;
        Mdie_ChaseTracker_ChasingEntry theirs;
        mTracker.GetChasingEntry(&ours, iKey, iSlot);
        iOther.mTracker.GetChasingEntry(&theirs, iKey, iSlot);
        return ours.mIsActive && !(theirs.mIsActive && theirs.mValue == ours.mValue);
    };
    if (mSelections[channel] == kNone)
        return false;
    return mSelections[channel] != iOther.mSelections[channel] || std::ranges::any_of(ParameterKeys(), differs);
}
