#pragma once

#include "Mdid/Mdie_ChaseTrackerMap.h"
#include "Mdid/Mdie_ChaseView.h"

#include <vector>

class Mdie_EventReceiver;

// What a chase tracker knows of one released lane.
struct Mdie_ChaseTracker_ReleasingEntry
{
    int mReleaseValue = 0;
    Mdie_SubStream mSubStream;
    int mKey = 0;
};

// The state of the lanes of a map as playback has left them, or would have: of each lane whether it is active, that is
// has been seen, and of a chased lane its latest value and the time of it. Sends what brings an instrument there, and
// what brings it back to rest.
//
// Each entry of the map has a number of slots, which keep its per-note lanes apart by their key
// (Mdie_SubStream::GetNoteIndex); an ordinary lane has key 0. What is sent for an entry that exists per note goes to
// the channel with the number of the slot, everything else to channel 0. Entries are walked in the order of the map,
// slots ascending; slots other than 0 of an entry that does not exist per note are never chased.
//
// Playback thread: all memory is taken, and locked, at construction; then no heap, no lock, and nothing is thrown but
// what a receiver throws. A null sub-stream, or one that the map does not know, changes nothing; where there is a bool
// to return, it is false. A slot beyond the arrays, as by a map that was changed meanwhile, is reported and passed
// over. So is a null receiver: nothing is sent then.
class MDID_EXPORT __attribute__((aligned(Mdie_LockedMemory::kPageSize))) Mdie_ChaseTracker final : public Mdie_ChaseView
{
public:
    enum EReleaseMode
    {
        kClearActive = 0,
        kKeepActive = 1 // as is every other number
    };

    static constexpr int kMaxSlotsPerEntry = 256; // keys are signed bytes

    // iMapP: not owned, and not changed while the tracker lives; null is reported, and knows no lane. iSlotsPerEntry: a
    // power of two up to the maximum; another number is reported, and the next lower one taken. iFlag: kept for the
    // host. Throws std::bad_alloc.
    Mdie_ChaseTracker(const Mdie_ChaseTrackerMap* iMapP, int iSlotsPerEntry, bool iFlag);
    // The same state in memory of its own.
    Mdie_ChaseTracker(const Mdie_ChaseTracker& iOther);
    Mdie_ChaseTracker& operator=(const Mdie_ChaseTracker&) = delete;
    ~Mdie_ChaseTracker() override;

    // Nothing is active any more.
    // Kept: values, times and changed flags stay, so that a lane that an event makes active again still compares with
    // the time of before.
    void Clear();

    // An event of a lane, as an ordinary one, is played.
    // Kept: a released lane that is active already does not count as changed.
    void TrackEvent(const Mdid_Event& iEvent);
    void TrackValue(const Mdie_SubStream& iSubStream, int iValue, int iKey); // changed flags stay
    void ChaseEvent(const Mdid_Event& iEvent);                               // changed flags stay

    // Of chased lanes only; the times stay.
    void SetActiveValue(const Mdie_SubStream& iSubStream, int iValue, int iKey);
    // Of chased lanes only, and unless the lane is active with a value of a later time.
    void SetActiveValueIfLater(const Mdie_SubStream& iSubStream, int iValue, Time_Typed iTime, int iKey) override;

    bool IsTracking(const Mdie_SubStream& iSubStream) const;
    bool IsChasing(const Mdie_SubStream& iSubStream) const override;
    // oReleaseValueP is written for a released lane only.
    bool IsReleasing(int* oReleaseValueP, const Mdie_SubStream& iSubStream) const;
    bool IsActive(const Mdie_SubStream& iSubStream, int iKey) const;
    void ClearActiveFlag(const Mdie_SubStream& iSubStream, int iKey);
    // Played, by TrackEvent, since its value was sent last.
    bool IsChanged(const Mdie_SubStream& iSubStream, int iKey) const;

    // The sub-stream is the map's. The second by Mdie_SubStream::GetDataTypeIndex.
    bool GetChasingEntry(Mdie_ChaseTracker_ChasingEntry* oEntryP, const Mdie_SubStream& iSubStream,
                         int iKey) const override;
    bool GetChasingEntry(Mdie_ChaseTracker_ChasingEntry* oEntryP, int iSubStreamIndex, int iKey) const;

    // The slot of a key among all slots.
    int GetChasingEntryIndex(int iEntry, int iKey) const { return iEntry * mSlotsPerEntry + SlotOf(iKey); }

    // Sends the event that sets the entry's lane to the value. An entry that the map does not have is reported.
    void OutputForEntry(int iEntry, Mdie_EventReceiver* iReceiverP, int iValue, int iChannel) const;

    // Sends the value of each active chased lane.
    void Prep(Mdie_EventReceiver* iReceiverP);
    // As Prep, but without those that are released too.
    void DoCurrentPositionChase(Mdie_EventReceiver* iReceiverP);

    // Sends the release value of each active released lane, which is then no longer active, unless the mode keeps it.
    void Release(Mdie_EventReceiver* iReceiverP, EReleaseMode iMode);

    // Moves an instrument that is in the state of ioOtherP to this one with the fewest events: sends the values that
    // it does not have, then the release values of what only ioOtherP holds active. ioOtherP forgets all that it shares
    // with this tracker, and what was released. Null is reported, and taken for one that holds nothing.
    // The other should have the same map and as many slots: slots are compared by their numbers.
    void ChaseAndRelease(Mdie_ChaseTracker* ioOtherP, Mdie_EventReceiver* iReceiverP);

    // Mute: releases the instrument, if the bool is set, and keeps the state. Unmute: Prep.
    void DoMute(Mdie_EventReceiver* iReceiverP, bool iReleases) const;
    void DoUnMute(Mdie_EventReceiver* iReceiverP);
    // While muted: adds to this state the lanes that are active in the other one, with their values and times. What is
    // active here alone stays (Clear before to take over the other's state and nothing else). Null is reported.
    void DoMutedUpdate(const Mdie_ChaseTracker* iOtherP);
    // ChaseAndRelease.
    void DoUnMutedUpdate(Mdie_ChaseTracker* ioOtherP, Mdie_EventReceiver* iReceiverP);

    bool GetFlag() const { return mFlag; } // the host's

private:
    friend class Mdie_ChaseTracker_ActiveIterator;
    friend class Mdie_ChaseTracker_ActiveChasingIterator;
    friend class Mdie_ChaseTracker_ActiveReleasingIterator;

    template <class T>
    using LockedArray = std::vector<T, Mdie_LockedAllocator<T>>;

    int SlotOf(int iKey) const { return iKey & (mSlotsPerEntry - 1); }
    int GetNumEntries() const { return mNumIndices / mSlotsPerEntry; }
    int GetNumChasingEntries() const { return mNumChasingIndices / mSlotsPerEntry; }
    int GetEndSlot(int iEntry) const;
    template <class Visit>
    void ForEachActive(int iEndEntry, Visit iVisit) const;

    bool Find(int* oEntryP, const Mdie_SubStream& iSubStream) const;
    bool FindChasing(int* oEntryP, const Mdie_SubStream& iSubStream) const;

    // Whether the arrays have the slot; reported when not. The functions below ask first.
    bool HasFlags(int chasingEntryIndex) const;
    bool HasValue(int chasingEntryIndex) const;
    bool IsSlotActive(int iIndex) const;
    bool HoldsValue(int iIndex, int iValue) const;
    bool Activate(int iIndex);
    void ClearActive(int iIndex);
    void StoreValue(int iIndex, int iValue);
    bool ReadEntry(Mdie_ChaseTracker_ChasingEntry* oEntryP, int iEntry, int iKey) const;

    void TrackEvent(const Mdid_Event& iEvent, bool iMayBeChange);
    void SendValue(int iEntry, int iSlot, Mdie_EventReceiver* iReceiverP);
    void SendReleaseValues(Mdie_EventReceiver* iReceiverP) const;

    LockedArray<int> mValues;            // of the slots of chased entries
    LockedArray<Time_Typed> mTimes;      // of the values
    LockedArray<unsigned char> mActive;  // of all slots, 0 or 1
    LockedArray<unsigned char> mChanged; // of all slots, 0 or 1
    const Mdie_ChaseTrackerMap* mMapP;   // null only without slots
    bool mIsClean = true;                // since construction or Clear
    bool mFlag;
    int mSlotsPerEntry;
    int mNumChasingIndices = 0; // how many values and times there are
    int mNumIndices = 0;        // how many flags there are
    Mdie_LockedMemory::ObjectLock mLock{this};
};

// Walks the active slots of a tracker; slots other than 0 only of entries that exist per note. The tracker may change
// meanwhile, but must live. Takes no memory.
class MDID_EXPORT Mdie_ChaseTracker_ActiveIterator
{
public:
    bool AtEnd() const { return mEntry >= mEndEntry; }

protected:
    Mdie_ChaseTracker_ActiveIterator(const Mdie_ChaseTracker& iTracker, int iEndEntry, bool iIsReleasing);

    void Step();

    const Mdie_ChaseTracker* mTrackerP;
    int mEntry = 0;
    int mSlot = 0;

private:
    bool IsWanted() const;

    int mEndEntry;
    bool mIsReleasing; // passes over entries that are not released
};

// The chased ones. The key is the slot's.
class MDID_EXPORT Mdie_ChaseTracker_ActiveChasingIterator : public Mdie_ChaseTracker_ActiveIterator
{
public:
    explicit Mdie_ChaseTracker_ActiveChasingIterator(const Mdie_ChaseTracker& iTracker);

    // At the end: reported, and an empty entry.
    Mdie_ChaseTracker_ChasingEntry operator*() const;
    Mdie_ChaseTracker_ActiveChasingIterator& operator++();
};

// The released ones, chased or not. The key is the slot's.
class MDID_EXPORT Mdie_ChaseTracker_ActiveReleasingIterator : public Mdie_ChaseTracker_ActiveIterator
{
public:
    explicit Mdie_ChaseTracker_ActiveReleasingIterator(const Mdie_ChaseTracker& iTracker);

    // At the end: reported, and an empty entry.
    Mdie_ChaseTracker_ReleasingEntry operator*() const;
    Mdie_ChaseTracker_ActiveReleasingIterator& operator++();
};
