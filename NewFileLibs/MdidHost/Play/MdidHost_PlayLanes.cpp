#include "MdidHost/Play/MdidHost_PlayLanes_Private.h"

#include "MFnd/Time_Convert.h"
#include "MdidHost/Play/MdidHost_PlaySettingsMove_Private.h"

#include <algorithm>
#include <optional>

namespace
{

using Settings = MdidHost_PlaySettings;

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
}

MdidHost_PlayLanes::MdidHost_PlayLanes(const MdidHost_PlayMaps& iMaps, bool iIsMPE)
    : mTracker(&iMaps.GetMap(iIsMPE), iIsMPE ? kNumChannels : 1, false),
      mIsMPE(iIsMPE)
{
}

void MdidHost_PlayLanes::Clear()
{
    mTracker.Clear();
    mCounts.fill(0);
    mLanesP = nullptr;
}

// A chunk's queries do not know the lanes of notes by their channels.
void MdidHost_PlayLanes::Chase(const TrackLanes& iLanes, std::int64_t iSample)
{
    Clear();
    mLanesP = &iLanes;
    std::ranges::transform(iLanes.mHistories, mCounts.begin(),
                           [iSample](const MdidHost_PlayHistory& iHistory) { return iHistory.CountBefore(iSample); });
    const LatestCounts latest({iSample - 1, Time_EType::kSample});
    for (const MdidHost_PlaySchedule::ChaseLane& lane : iLanes.mLanes)
    {
        const auto isInForce = [&latest](const auto& iSegment) { return latest.Reach(iSegment.mTime); };
        const auto next = std::ranges::partition_point(*lane.mSegmentsP, isInForce);
        if (next == lane.mSegmentsP->begin())
            continue;
        const auto& segment = *(next - 1);
        const Mdie_SubStream_ValueRange range = lane.mKey.GetValueRange();
        mTracker.SetActiveValueIfLater(lane.mKey, std::clamp(segment.mValue, range.mMinimum, range.mMaximum),
                                       segment.mTime, SlotOf(lane.mChannel));
    }
}

void MdidHost_PlayLanes::Track(const Mdie_SubStream& iKey, int iValue, signed char iChannel)
{
    const int slot = SlotOf(iChannel);
    if (!Settings::IsSetting(iKey.GetDataTypeIndex()))
        return mTracker.TrackValue(iKey, iValue, slot);
    const auto history = static_cast<std::size_t>(slot);
    if (history < GetNumHistories())
        mCounts[history] = std::min(mCounts[history] + 1, mLanesP->mHistories[history].GetCount());
}

void MdidHost_PlayLanes::MoveFrom(MdidHost_PlayLanes& ioFrom, MdidHost_PlayOrder& ioOrder)
{
    SendSettings(ioFrom.mLanesP == mLanesP ? &ioFrom.mCounts : nullptr, ioOrder);
    mTracker.ChaseAndRelease(&ioFrom.mTracker, &ioOrder);
}

void MdidHost_PlayLanes::TakeOver(const MdidHost_PlayLanes& iOther)
{
    Clear();
    mTracker.DoMutedUpdate(&iOther.mTracker);
    mLanesP = iOther.mLanesP;
    mCounts = iOther.mCounts;
}

void MdidHost_PlayLanes::Prepare(MdidHost_PlayOrder& ioOrder)
{
    SendSettings(nullptr, ioOrder);
    mTracker.DoUnMute(&ioOrder);
}

bool MdidHost_PlayLanes::IsAtRest(const Mdid_Event& iEvent) const
{
    const Mdie_SubStream key(iEvent, Mdie_SubStream::kOrdinary);
    return mTracker.IsReleasing(nullptr, key) && !mTracker.IsActive(key, SlotOf(iEvent.GetChannel()));
}

void MdidHost_PlayLanes::SendSettings(const Counts* iFromP, MdidHost_PlayOrder& ioOrder) const
{
    for (std::size_t i = 0; i < GetNumHistories(); ++i)
    {
        if (iFromP != nullptr && (*iFromP)[i] == mCounts[i])
            continue;
        MdidHost_PlaySettingsMove move(mLanesP->mHistories[i],
                                       iFromP == nullptr ? std::nullopt : std::optional((*iFromP)[i]), mCounts[i],
                                       static_cast<int>(i), ioOrder);
        move.SendProgram();
        move.SendParameters();
    }
}
