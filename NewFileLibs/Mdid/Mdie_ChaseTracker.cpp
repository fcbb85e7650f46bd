#include "Mdid/Mdie_ChaseTracker.h"

#include "CFnd/Cmn_Assert.h"
#include "Mdid/Mdi_Parse.h"

#include <algorithm>
#include <bit>

namespace
{

int PowerOfTwo(int iSlotsPerEntry)
{
    constexpr int kMax = Mdie_ChaseTracker::kMaxSlotsPerEntry;
    const auto slots = static_cast<unsigned>(std::clamp(iSlotsPerEntry, 1, kMax));
    CMN_VERIFY(std::has_single_bit(slots) && static_cast<int>(slots) == iSlotsPerEntry);
    return static_cast<int>(std::bit_floor(slots));
}

std::size_t At(int iIndex)
{
    return static_cast<std::size_t>(iIndex);
}

} // namespace

Mdie_ChaseTracker::Mdie_ChaseTracker(const Mdie_ChaseTrackerMap* iMapP, int iSlotsPerEntry, bool iFlag)
    : mMapP(iMapP),
      mFlag(iFlag),
      mSlotsPerEntry(PowerOfTwo(iSlotsPerEntry))
{
    if (!CMN_VERIFY(iMapP != 0))
        return;
    mNumChasingIndices = mSlotsPerEntry * iMapP->GetNumChasingIndices();
    mNumIndices = mSlotsPerEntry * iMapP->GetNumIndices();
    mValues.resize(At(mNumChasingIndices));
    mTimes.resize(At(mNumChasingIndices));
    mActive.resize(At(mNumIndices));
    mChanged.resize(At(mNumIndices));
}

Mdie_ChaseTracker::Mdie_ChaseTracker(const Mdie_ChaseTracker& iOther)
    : Mdie_ChaseView(iOther),
      mValues(iOther.mValues),
      mTimes(iOther.mTimes),
      mActive(iOther.mActive),
      mChanged(iOther.mChanged),
      mMapP(iOther.mMapP),
      mIsClean(iOther.mIsClean),
      mFlag(iOther.mFlag),
      mSlotsPerEntry(iOther.mSlotsPerEntry),
      mNumChasingIndices(iOther.mNumChasingIndices),
      mNumIndices(iOther.mNumIndices)
{
}

Mdie_ChaseTracker::~Mdie_ChaseTracker() = default;

void Mdie_ChaseTracker::Clear()
{
    if (mIsClean)
        return; // Kept: and otherwise nothing but the active flags is cleared.
    std::ranges::fill(mActive, 0);
    mIsClean = true;
}

void Mdie_ChaseTracker::TrackEvent(const Mdid_Event& iEvent)
{
    TrackEvent(iEvent, true);
}

void Mdie_ChaseTracker::TrackValue(const Mdie_SubStream& iSubStream, int iValue, int iKey)
{
    int entry;
    if (!Find(&entry, iSubStream))
        return;
    const int index = GetChasingEntryIndex(entry, iKey);
    if (Activate(index) && mMapP->GetEntryIsChasing(entry))
        StoreValue(index, iValue);
}

void Mdie_ChaseTracker::ChaseEvent(const Mdid_Event& iEvent)
{
    TrackEvent(iEvent, false);
}

void Mdie_ChaseTracker::SetActiveValue(const Mdie_SubStream& iSubStream, int iValue, int iKey)
{
    if (IsChasing(iSubStream))
        TrackValue(iSubStream, iValue, iKey);
}

void Mdie_ChaseTracker::SetActiveValueIfLater(const Mdie_SubStream& iSubStream, int iValue, Time_Typed iTime, int iKey)
{
    int entry;
    if (!FindChasing(&entry, iSubStream))
        return;
    const int index = GetChasingEntryIndex(entry, iKey);
    if (!HasValue(index) || (IsSlotActive(index) && iTime < mTimes[At(index)]))
        return;
    mValues[At(index)] = iValue;
    mTimes[At(index)] = iTime;
    Activate(index);
}

bool Mdie_ChaseTracker::IsTracking(const Mdie_SubStream& iSubStream) const
{
    int entry;
    return Find(&entry, iSubStream);
}

bool Mdie_ChaseTracker::IsChasing(const Mdie_SubStream& iSubStream) const
{
    int entry;
    return FindChasing(&entry, iSubStream);
}

bool Mdie_ChaseTracker::IsReleasing(int* oReleaseValueP, const Mdie_SubStream& iSubStream) const
{
    int entry;
    if (!Find(&entry, iSubStream) || !mMapP->GetEntryIsReleasing(entry))
        return false;
    if (oReleaseValueP != nullptr)
        *oReleaseValueP = mMapP->GetEntryReleaseValue(entry);
    return true;
}

bool Mdie_ChaseTracker::IsActive(const Mdie_SubStream& iSubStream, int iKey) const
{
    int entry;
    return Find(&entry, iSubStream) && IsSlotActive(GetChasingEntryIndex(entry, iKey));
}

void Mdie_ChaseTracker::ClearActiveFlag(const Mdie_SubStream& iSubStream, int iKey)
{
    int entry;
    if (Find(&entry, iSubStream))
        ClearActive(GetChasingEntryIndex(entry, iKey));
}

bool Mdie_ChaseTracker::IsChanged(const Mdie_SubStream& iSubStream, int iKey) const
{
    int entry;
    if (!Find(&entry, iSubStream))
        return false;
    const int index = GetChasingEntryIndex(entry, iKey);
    return HasFlags(index) && mChanged[At(index)] != 0;
}

bool Mdie_ChaseTracker::GetChasingEntry(Mdie_ChaseTracker_ChasingEntry* oEntryP, const Mdie_SubStream& iSubStream,
                                        int iKey) const
{
    int entry;
    return Find(&entry, iSubStream) && ReadEntry(oEntryP, entry, iKey);
}

bool Mdie_ChaseTracker::GetChasingEntry(Mdie_ChaseTracker_ChasingEntry* oEntryP, int iSubStreamIndex, int iKey) const
{
    int entry;
    return mMapP != nullptr && mMapP->GetIndexForSubStreamIndex(&entry, iSubStreamIndex) &&
           ReadEntry(oEntryP, entry, iKey);
}

void Mdie_ChaseTracker::OutputForEntry(int iEntry, Mdie_EventReceiver* iReceiverP, int iValue, int iChannel) const
{
    if (!CMN_VERIFY(iReceiverP) || !CMN_VERIFY(iEntry >= 0 && iEntry < GetNumEntries()))
        return;
    iReceiverP->ReceiveEvent(mMapP->GetEntrySubStream(iEntry).MakeEvent(iValue, static_cast<signed char>(iChannel)));
}

// The active slots of the first entries, slots other than 0 only where the entry exists per note: their number is the
// channel, too.
template <class Visit>
void Mdie_ChaseTracker::ForEachActive(int iEndEntry, Visit iVisit) const
{
    for (int entry = 0; entry < iEndEntry; ++entry)
        for (int slot = 0, endSlot = GetEndSlot(entry); slot < endSlot; ++slot)
            if (mActive[At(GetChasingEntryIndex(entry, slot))] != 0)
                iVisit(entry, slot);
}

void Mdie_ChaseTracker::Prep(Mdie_EventReceiver* iReceiverP)
{
    if (!CMN_VERIFY(iReceiverP))
        return;
    ForEachActive(GetNumChasingEntries(), [&](int iEntry, int iSlot) { SendValue(iEntry, iSlot, iReceiverP); });
}

void Mdie_ChaseTracker::DoCurrentPositionChase(Mdie_EventReceiver* iReceiverP)
{
    if (!CMN_VERIFY(iReceiverP))
        return;
    ForEachActive(GetNumChasingEntries(),
                  [&](int iEntry, int iSlot)
                  {
                      if (!mMapP->GetEntryIsReleasing(iEntry))
                          SendValue(iEntry, iSlot, iReceiverP);
                  });
}

void Mdie_ChaseTracker::Release(Mdie_EventReceiver* iReceiverP, EReleaseMode iMode)
{
    if (!CMN_VERIFY(iReceiverP))
        return;
    SendReleaseValues(iReceiverP);
    if (iMode != kClearActive)
        return;
    for (int entry = 0; entry < GetNumEntries(); ++entry)
        if (mMapP->GetEntryIsReleasing(entry))
            std::fill_n(mActive.begin() + GetChasingEntryIndex(entry, 0), mSlotsPerEntry, 0);
}

void Mdie_ChaseTracker::ChaseAndRelease(Mdie_ChaseTracker* ioOtherP, Mdie_EventReceiver* iReceiverP)
{
    if (!CMN_VERIFY(iReceiverP) || ioOtherP == this) // its own state is there already
        return;
    if (!CMN_VERIFY(ioOtherP != nullptr))
    {
        Prep(iReceiverP);
        return;
    }
    ForEachActive(GetNumEntries(),
                  [&](int iEntry, int iSlot)
                  {
                      // What is only released has no value: that the other one no longer holds it is all.
                      const int index = GetChasingEntryIndex(iEntry, iSlot);
                      if (index < mNumChasingIndices && !ioOtherP->HoldsValue(index, mValues[At(index)]))
                          SendValue(iEntry, iSlot, iReceiverP);
                      ioOtherP->ClearActive(index);
                  });
    ioOtherP->Release(iReceiverP, kClearActive);
}

void Mdie_ChaseTracker::DoMute(Mdie_EventReceiver* iReceiverP, bool iReleases) const
{
    if (iReleases && CMN_VERIFY(iReceiverP))
        SendReleaseValues(iReceiverP);
}

void Mdie_ChaseTracker::DoUnMute(Mdie_EventReceiver* iReceiverP)
{
    Prep(iReceiverP);
}

void Mdie_ChaseTracker::DoMutedUpdate(const Mdie_ChaseTracker* iOtherP)
{
    if (!CMN_VERIFY(iOtherP != nullptr))
        return;
    for (int index = 0; index < iOtherP->mNumIndices; ++index)
    {
        if (!iOtherP->IsSlotActive(index) || !Activate(index) || index >= iOtherP->mNumChasingIndices)
            continue;
        StoreValue(index, iOtherP->mValues[At(index)]);
        if (index < mNumChasingIndices)
            mTimes[At(index)] = iOtherP->mTimes[At(index)];
    }
}

void Mdie_ChaseTracker::DoUnMutedUpdate(Mdie_ChaseTracker* ioOtherP, Mdie_EventReceiver* iReceiverP)
{
    ChaseAndRelease(ioOtherP, iReceiverP);
}

int Mdie_ChaseTracker::GetEndSlot(int iEntry) const
{
    return mMapP->GetEntryPerNote(iEntry) ? mSlotsPerEntry : 1;
}

bool Mdie_ChaseTracker::Find(int* oEntryP, const Mdie_SubStream& iSubStream) const
{
    return mMapP != nullptr && mMapP->GetIndexForSubStream(oEntryP, iSubStream);
}

bool Mdie_ChaseTracker::FindChasing(int* oEntryP, const Mdie_SubStream& iSubStream) const
{
    return Find(oEntryP, iSubStream) && mMapP->GetEntryIsChasing(*oEntryP);
}

bool Mdie_ChaseTracker::HasFlags(int chasingEntryIndex) const
{
    return CMN_VERIFY(chasingEntryIndex < mNumIndices);
}

bool Mdie_ChaseTracker::HasValue(int chasingEntryIndex) const
{
    return CMN_VERIFY(chasingEntryIndex < mNumChasingIndices);
}

bool Mdie_ChaseTracker::IsSlotActive(int iIndex) const
{
    return HasFlags(iIndex) && mActive[At(iIndex)] != 0;
}

bool Mdie_ChaseTracker::HoldsValue(int iIndex, int iValue) const
{
    return IsSlotActive(iIndex) && HasValue(iIndex) && mValues[At(iIndex)] == iValue;
}

bool Mdie_ChaseTracker::Activate(int iIndex)
{
    if (!HasFlags(iIndex))
        return false;
    mActive[At(iIndex)] = 1;
    mIsClean = false;
    return true;
}

void Mdie_ChaseTracker::ClearActive(int iIndex)
{
    if (HasFlags(iIndex))
        mActive[At(iIndex)] = 0;
}

void Mdie_ChaseTracker::StoreValue(int iIndex, int iValue)
{
    if (HasValue(iIndex))
        mValues[At(iIndex)] = iValue;
}

bool Mdie_ChaseTracker::ReadEntry(Mdie_ChaseTracker_ChasingEntry* oEntryP, int iEntry, int iKey) const
{
    const int index = GetChasingEntryIndex(iEntry, iKey);
    if (!mMapP->GetEntryIsChasing(iEntry) || !HasValue(index))
        return false;
    *oEntryP = {IsSlotActive(index), mValues[At(index)], mMapP->GetEntrySubStream(iEntry), iKey};
    return true;
}

// The event is one of an ordinary lane, whose key is 0.
void Mdie_ChaseTracker::TrackEvent(const Mdid_Event& iEvent, bool iMayBeChange)
{
    int entry;
    if (mMapP == nullptr || !mMapP->GetIndexForEvent(&entry, iEvent))
        return;
    const int index = GetChasingEntryIndex(entry, 0);
    const bool isRepeatedRelease = mMapP->GetEntryIsReleasing(entry) && IsSlotActive(index);
    if (!Activate(index))
        return;
    if (iMayBeChange && !isRepeatedRelease) // Kept: a pedal that is down already does not change.
        mChanged[At(index)] = 1;
    if (mMapP->GetEntryIsChasing(entry))
        StoreValue(index, mMapP->GetEntrySubStream(entry).GetValueFromEvent(iEvent));
}

void Mdie_ChaseTracker::SendValue(int iEntry, int iSlot, Mdie_EventReceiver* iReceiverP)
{
    const int index = GetChasingEntryIndex(iEntry, iSlot);
    OutputForEntry(iEntry, iReceiverP, mValues[At(index)], iSlot);
    mChanged[At(index)] = 0;
}

// All slots are asked: what is not chased may have been played.
void Mdie_ChaseTracker::SendReleaseValues(Mdie_EventReceiver* iReceiverP) const
{
    for (int entry = 0; entry < GetNumEntries(); ++entry)
    {
        if (!mMapP->GetEntryIsReleasing(entry))
            continue;
        for (int slot = 0; slot < mSlotsPerEntry; ++slot)
            if (mActive[At(GetChasingEntryIndex(entry, slot))] != 0)
                OutputForEntry(entry, iReceiverP, mMapP->GetEntryReleaseValue(entry),
                               mMapP->GetEntryPerNote(entry) ? slot : 0);
    }
}

Mdie_ChaseTracker_ActiveIterator::Mdie_ChaseTracker_ActiveIterator(const Mdie_ChaseTracker& iTracker, int iEndEntry,
                                                                   bool iIsReleasing)
    : mTrackerP(&iTracker),
      mEndEntry(iEndEntry),
      mIsReleasing(iIsReleasing)
{
    if (!AtEnd() && !IsWanted())
        Step();
}

void Mdie_ChaseTracker_ActiveIterator::Step()
{
    while (!AtEnd())
    {
        if (++mSlot >= mTrackerP->GetEndSlot(mEntry))
        {
            mSlot = 0;
            ++mEntry;
        }
        if (!AtEnd() && IsWanted())
            return;
    }
}

bool Mdie_ChaseTracker_ActiveIterator::IsWanted() const
{
    return mTrackerP->mActive[At(mTrackerP->GetChasingEntryIndex(mEntry, mSlot))] != 0 &&
           (!mIsReleasing || mTrackerP->mMapP->GetEntryIsReleasing(mEntry));
}

Mdie_ChaseTracker_ActiveChasingIterator::Mdie_ChaseTracker_ActiveChasingIterator(const Mdie_ChaseTracker& iTracker)
    : Mdie_ChaseTracker_ActiveIterator(iTracker, iTracker.GetNumChasingEntries(), false)
{
}

Mdie_ChaseTracker_ChasingEntry Mdie_ChaseTracker_ActiveChasingIterator::operator*() const
{
    Mdie_ChaseTracker_ChasingEntry entry;
    if (CMN_VERIFY(!AtEnd()))
        mTrackerP->ReadEntry(&entry, mEntry, mSlot);
    return entry;
}

Mdie_ChaseTracker_ActiveChasingIterator& Mdie_ChaseTracker_ActiveChasingIterator::operator++()
{
    Step();
    return *this;
}

Mdie_ChaseTracker_ActiveReleasingIterator::Mdie_ChaseTracker_ActiveReleasingIterator(const Mdie_ChaseTracker& iTracker)
    : Mdie_ChaseTracker_ActiveIterator(iTracker, iTracker.GetNumEntries(), true)
{
}

Mdie_ChaseTracker_ReleasingEntry Mdie_ChaseTracker_ActiveReleasingIterator::operator*() const
{
    if (!CMN_VERIFY(!AtEnd()))
        return {};
    const Mdie_ChaseTrackerMap& map = *mTrackerP->mMapP;
    return {map.GetEntryReleaseValue(mEntry), map.GetEntrySubStream(mEntry), mSlot};
}

Mdie_ChaseTracker_ActiveReleasingIterator& Mdie_ChaseTracker_ActiveReleasingIterator::operator++()
{
    Step();
    return *this;
}
