#pragma once

#include "CFnd/Cmn_Assert.h"
#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdie_LockedMemory.h"
#include "Mdid/Mdie_SubStream.h"

#include <array>
#include <vector>

// One lane of a chase tracker map.
struct Mdie_ChaseTrackerMap_Entry
{
    Mdie_SubStream mSubStream;
    bool mPerNote = false;   // the lane also exists per note
    bool mReleasing = false; // it goes back to its release value when playback stops
    int mReleaseValue = 0;
};

// Which lanes playback chases and which it releases: a number for each of them, dense from 0.
//
// Built at start-up, on any one thread; then only read, on all threads at once, and no more changed as long as there
// are chase trackers, which must not outlive it. Its memory is locked: reading it never waits for the disk.
class MDID_EXPORT __attribute__((aligned(Mdie_LockedMemory::kPageSize))) Mdie_ChaseTrackerMap
{
public:
    static constexpr int kNullIndex = -1;

    // The default map, all of whose 122 entries are chased: controllers 1 to 119, pitch bend, mono pressure, program.
    // Controller 64, pitch bend and mono pressure are released, to 0; controller 74, pitch bend and mono pressure
    // exist per note.
    Mdie_ChaseTrackerMap();
    Mdie_ChaseTrackerMap(const Mdie_ChaseTrackerMap&) = delete;
    Mdie_ChaseTrackerMap& operator=(const Mdie_ChaseTrackerMap&) = delete;

    // A lane that is there already is reported: its later entry is the one that lookups find. What is no lane
    // (Mdie_SubStream::IsLane) is reported, and not appended.
    void AppendEntry(const Mdie_SubStream& iSubStream, bool iPerNote);
    void AppendReleasingEntry(const Mdie_SubStream& iSubStream, int iReleaseValue, bool iPerNote);

    // The entries so far are chased, those that follow are not.
    void DoneAddingChasingEntries();

    // Forgets all lanes, and appends pitch bend, controller 64 and mono pressure as entries that are only released.
    void SetStandardReleasingNoChasing();

    // Forgets all lanes; nothing is chased.
    // Kept: the entries stay, so that SetStandardReleasingNoChasing counts them as chased ones.
    void Clear();

    // The number of the lane's entry; false, with the output untouched, when there is none. The entry's per-note flag
    // and the lane's stream type take no part. iSubStreamIndex: Mdie_SubStream::GetDataTypeIndex.
    bool GetIndexForSubStreamIndex(int* oIndexP, int iSubStreamIndex) const
    {
        if (iSubStreamIndex < 0 || iSubStreamIndex >= Mdie_SubStream::GetNumIndices())
            return false;
        const int index = mTable[static_cast<std::size_t>(iSubStreamIndex)];
        if (index == kNullIndex)
            return false;
        *oIndexP = index;
        return true;
    }
    bool GetIndexForSubStream(int* oIndexP, const Mdie_SubStream& iSubStream) const
    {
        return !iSubStream.IsNull() && FindLane(oIndexP, iSubStream.GetDataType(), iSubStream.GetSubType());
    }
    // Of the ordinary lane that an event belongs to: in a few nanoseconds, as playback asks for each event.
    bool GetIndexForEvent(int* oIndexP, const Mdid_Event& iEvent) const
    {
        const int index = mEventTable[PlaceOf(iEvent)];
        if (index == kNullIndex)
            return false;
        *oIndexP = index;
        return true;
    }

    int GetNumIndices() const { return static_cast<int>(mEntries.size()); } // of the entries
    int GetNumChasingIndices() const { return mNumChasingIndices; }

    // Of the entries 0 to GetNumIndices() - 1. Another number is reported: it is neither chased nor released, not per
    // note, its release value is 0 and its lane the null one.
    bool GetEntryIsChasing(int iEntry) const { return iEntry >= 0 && iEntry < mNumChasingIndices; }
    bool GetEntryIsReleasing(int iEntry) const { return EntryOrNull(iEntry).mReleasing; }
    bool GetEntryPerNote(int iEntry) const { return EntryOrNull(iEntry).mPerNote; }
    int GetEntryReleaseValue(int iEntry) const { return EntryOrNull(iEntry).mReleaseValue; }
    const Mdie_SubStream& GetEntrySubStream(int iEntry) const { return EntryOrNull(iEntry).mSubStream; }

private:
    void AddStandardReleasingEntries();
    void Append(const Mdie_ChaseTrackerMap_Entry& iEntry, int iLine);
    void ForgetLanes();

    static constexpr std::size_t kNumTypes = Mdid_Event::kPolyPressure - Mdid_Event::kPitchBend + 1;
    static constexpr std::size_t kNumSubTypes = 128;
    static constexpr std::size_t kNoPlace = kNumTypes * kNumSubTypes;

    // By its type, and by its controller or pitch.
    static std::size_t PlaceOf(const Mdid_Event& iEvent)
    {
        const int type = iEvent.GetType();
        int subType = 0;
        if (type == Mdid_Event::kController)
            subType = iEvent.As<Mdid_ControllerEvent>().GetController();
        else if (type == Mdid_Event::kPolyPressure)
            subType = iEvent.As<Mdid_PolyPressureEvent>().GetPitch();
        const bool isOfLane = type >= Mdid_Event::kPitchBend && type <= Mdid_Event::kPolyPressure && subType >= 0;
        return isOfLane ? static_cast<std::size_t>(type - Mdid_Event::kPitchBend) * kNumSubTypes +
                              static_cast<std::size_t>(subType)
                        : kNoPlace;
    }

    // A subtype that a kind does not have, as that of controller 0, may give the index of another kind's lane.
    bool FindLane(int* oIndexP, const Mdie_SubStreamDataType& iDataType, int iSubType) const
    {
        int index = 0;
        if (!GetIndexForSubStreamIndex(&index, iDataType.GetIndex(iSubType)) ||
            &GetEntrySubStream(index).GetDataType() != &iDataType)
            return false;
        *oIndexP = index;
        return true;
    }

    const Mdie_ChaseTrackerMap_Entry& EntryOrNull(int iEntry) const
    {
        return CMN_VERIFY(iEntry >= 0 && iEntry < GetNumIndices()) ? mEntries[static_cast<std::size_t>(iEntry)]
                                                                   : mNullEntry;
    }

    Mdie_LockedMemory::ObjectLock mLock{this};
    std::array<int, Mdie_SubStream::GetNumIndices()> mTable; // by the index of a lane
    std::array<int, kNoPlace + 1> mEventTable;               // by PlaceOf
    int mNumChasingIndices = 0;
    std::vector<Mdie_ChaseTrackerMap_Entry, Mdie_LockedAllocator<Mdie_ChaseTrackerMap_Entry>> mEntries;
    Mdie_ChaseTrackerMap_Entry mNullEntry;
};
