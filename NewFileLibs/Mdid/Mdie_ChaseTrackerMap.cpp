#include "Mdid/Mdie_ChaseTrackerMap.h"

#include "Mdid/Mdi_Controller.h"

namespace
{

constexpr int kSustain = 64;

// The lines that reports of a lane appended twice have always named.
constexpr int kChasingLine = 160;
constexpr int kReleasingLine = 138;

} // namespace

Mdie_ChaseTrackerMap::Mdie_ChaseTrackerMap()
{
    ForgetLanes();
    mEntries.reserve(mTable.size());
    for (int controller = Mdi_Controller::kFirstLane; controller <= Mdi_Controller::kLastLane; ++controller)
    {
        const Mdie_SubStream lane = Mdie_SubStream::Controller(controller);
        if (controller == kSustain)
            AppendReleasingEntry(lane, 0, false);
        else
            AppendEntry(lane, controller == Mdi_Controller::kTimbre);
    }
    AppendReleasingEntry(Mdie_SubStream::PitchBend(), 0, true);
    AppendReleasingEntry(Mdie_SubStream::MonoPressure(), 0, true);
    AppendEntry(Mdie_SubStream::Program(), false);
    DoneAddingChasingEntries();
}

void Mdie_ChaseTrackerMap::AppendEntry(const Mdie_SubStream& iSubStream, bool iPerNote)
{
    Append({iSubStream, iPerNote, false, 0}, kChasingLine);
}

void Mdie_ChaseTrackerMap::AppendReleasingEntry(const Mdie_SubStream& iSubStream, int iReleaseValue, bool iPerNote)
{
    Append({iSubStream, iPerNote, true, iReleaseValue}, kReleasingLine);
}

void Mdie_ChaseTrackerMap::DoneAddingChasingEntries()
{
    mNumChasingIndices = GetNumIndices();
}

void Mdie_ChaseTrackerMap::SetStandardReleasingNoChasing()
{
    ForgetLanes();
    mNumChasingIndices = GetNumIndices();
    AddStandardReleasingEntries();
}

void Mdie_ChaseTrackerMap::Clear()
{
    mNumChasingIndices = 0;
    ForgetLanes(); // Kept: not the entries.
}

void Mdie_ChaseTrackerMap::AddStandardReleasingEntries()
{
    AppendReleasingEntry(Mdie_SubStream::PitchBend(), 0, true);
    AppendReleasingEntry(Mdie_SubStream::Controller(kSustain), 0, false);
    AppendReleasingEntry(Mdie_SubStream::MonoPressure(), 0, true);
}

void Mdie_ChaseTrackerMap::Append(const Mdie_ChaseTrackerMap_Entry& iEntry, int iLine)
{
    if (!CMN_VERIFY(iEntry.mSubStream.IsLane()))
        return;
    mEntries.push_back(iEntry);
    int& mapRef = mTable[static_cast<std::size_t>(iEntry.mSubStream.GetDataTypeIndex())];
    const bool isNew = mapRef == kNullIndex;
    mapRef = GetNumIndices() - 1; // Kept: the later entry wins.
    mEventTable[PlaceOf(iEntry.mSubStream.MakeEvent(iEntry.mSubStream.GetValueRange().mMinimum))] = mapRef;
    Cmn_Assert::HandleMagicAssert(isNew, "mapRef == kNullIndex@$^$@NewFileLibs/Mdid/Mdie_ChaseTrackerMap", iLine);
}

void Mdie_ChaseTrackerMap::ForgetLanes()
{
    mTable.fill(kNullIndex);
    mEventTable.fill(kNullIndex);
}
