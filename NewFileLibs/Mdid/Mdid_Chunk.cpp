#include "Mdid/Mdid_Chunk.h"

#include "CFnd/Cmn_Assert.h"
#include "MFnd/Time_Convert.h"
#include "MFnd/Time_Globals.h"
#include "Mdid/Mdi_Controller.h"
#include "Mdid/Mdid_ChunkRef.h"
#include "Mdid/Mdid_PerNoteControllerList.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

namespace
{

using LanePtr = Mdid_ContinuousDataStream::TrackedPtr;

// A note of this length or longer is looked up in the list of long notes.
constexpr Time_TickLength kLongNoteInTicks(3'840'000); // four quarters
constexpr Time_SampleLength kLongNoteInSamples(96'000);
constexpr Time_TypedLength kLongNoteInMicroseconds(2'000'000, Time_EType::kMicrosecond);

constexpr std::ptrdiff_t kLastPlace = std::numeric_limits<std::uint16_t>::max();

// Where the lanes of one index are told from one another by their keys' ==, as they are in a list of one stream type.
bool IsUniqueByEquality(Mdie_SubStream::EStreamType iStreamType)
{
    return iStreamType == Mdie_SubStream::kOrdinary || iStreamType == Mdie_SubStream::kPerChannel ||
           iStreamType == Mdie_SubStream::kOfNote;
}

bool IsLaneOf(const LanePtr& iLaneP, const Mdie_SubStream& iKey)
{
    return iLaneP && iLaneP->GetSubStream() == iKey;
}

// What == says of the stream types that IsUniqueByEquality names, without a call.
bool IsPlainlyLaneOf(const LanePtr& iLaneP, const Mdie_SubStream& iKey)
{
    if (!iLaneP)
        return false;
    const Mdie_SubStream& key = iLaneP->GetSubStream();
    return &key.GetDataType() == &iKey.GetDataType() && key.GetSubType() == iKey.GetSubType() &&
           key.GetStreamType() == iKey.GetStreamType() &&
           (iKey.GetStreamType() != Mdie_SubStream::kPerChannel || key.GetChannel() == iKey.GetChannel());
}

// Where lanes of several stream types share an index, which the order does not provide for, the lane may stand anywhere
// among those of its index.
LanePtr* FindAmongItsIndex(Mdid_ContinuousDataStreamList& ioLanes, LanePtr* iPlace, const Mdie_SubStream& iKey)
{
    const auto hasItsIndex = [index = iKey.GetDataTypeIndex()](const LanePtr& iLaneP)
    { return !iLaneP || iLaneP->GetSubStream().GetDataTypeIndex() == index; };
    LanePtr* const endP = ioLanes.data() + ioLanes.size();
    while (iPlace != ioLanes.data() && hasItsIndex(iPlace[-1]))
        --iPlace;
    LanePtr* const lastP = std::find_if_not(iPlace, endP, hasItsIndex);
    LanePtr* const foundP =
        std::find_if(iPlace, lastP, [&iKey](const LanePtr& iLaneP) { return IsLaneOf(iLaneP, iKey); });
    return foundP == lastP ? endP : foundP;
}

// Whether the lane is one of iChannel among many, and sets a value before the note ends, or just when it starts.
bool IsHeardInNote(const LanePtr& iLaneP, const Mdie_TimedEvent& iNote, signed char iChannel)
{
    if (!iLaneP || iLaneP->GetSubStream().GetStreamType() != Mdie_SubStream::kPerChannel ||
        iLaneP->GetSubStream().GetChannel() != iChannel || iLaneP->IsEmpty())
        return false;
    const Time_Typed first = iLaneP->GetSegments().front().mTime;
    return first <= iNote.GetTime() || first < iNote.GetEndTime();
}

// The value in force at the start of the note, and what follows before its end, counted from its start.
void CopySpanOfNote(const Mdid_ContinuousDataStreamCore& iLane, const Mdie_TimedEvent& iNote,
                    Mdid_ContinuousDataStreamCore& oLane)
{
    const Time_Typed start = iNote.GetTime();
    const Time_EType kind = start.GetType();
    const auto& segments = iLane.GetSegments();
    auto next = std::ranges::upper_bound(segments, start, {}, &Mdid_ContinuousDataStreamCore::Segment::mTime);
    if (next != segments.begin())
        oLane.AddBreakpoint(Time_Typed(0, kind), std::prev(next)->mValue);
    for (const Time_Typed end = iNote.GetEndTime(); next != segments.end() && next->mTime < end; ++next)
    {
        const Time_TypedLength sinceStart = Time_Convert::ToType(next->mTime, kind) - start;
        oLane.AddBreakpoint(Time_Typed(sinceStart.AsInt64(), kind), next->mValue);
    }
}

} // namespace

// Which parts the chunk has; they have states of their own. The quantize flag and the clip boundaries are for a chunk
// that was deleted.
class Mdid_Chunk_NdoState : public Ndo_State
{
public:
    explicit Mdid_Chunk_NdoState(const Mdid_Chunk& iChunk)
        : mNoteList(iChunk.mNoteListP.Get()),
          mEventStream(iChunk.mEventStreamP.Get()),
          mUID(iChunk.mUID),
          mIsLocal(iChunk.mIsLocal),
          mQuantizeContents(iChunk.mQuantizeContents),
          mClipBoundaryMap(iChunk.mClipBoundaryMap)
    {
        mLanes.reserve(iChunk.mContinuousListP->size());
        for (const LanePtr& laneP : *iChunk.mContinuousListP)
            mLanes.push_back(Ndo_StateRef<Mdid_ContinuousDataStream>(laneP.Get()));
    }

    std::unique_ptr<Ndo_Object> NdoRecreate() const override
    {
        return std::unique_ptr<Ndo_Object>(new Mdid_Chunk(Mdid_Chunk::ReCreate()));
    }

    std::size_t NdoGetSize() const override
    {
        // A node of the map holds three pointers and a colour beside its value.
        constexpr std::size_t sizeOfNode = sizeof(Mdid_Chunk::ClipBoundaryMap::value_type) + 4 * sizeof(void*);
        return sizeof *this + mLanes.size() * sizeof mLanes[0] + mClipBoundaryMap.size() * sizeOfNode;
    }

    void RestoreInto(Mdid_Chunk& ioChunk, bool iIsBeingRecreated) const
    {
        auto lanesP = std::make_unique<Mdid_ContinuousDataStreamList>();
        lanesP->reserve(mLanes.size());
        for (const auto& lane : mLanes)
            lanesP->push_back(lane.Get());
        // Neither is undoable: what they are in a chunk that exists is newer than the state.
        if (iIsBeingRecreated)
        {
            ioChunk.mClipBoundaryMap = mClipBoundaryMap;
            ioChunk.mQuantizeContents = mQuantizeContents;
        }
        ioChunk.mNoteListP = mNoteList.Get();
        ioChunk.mEventStreamP = mEventStream.Get();
        ioChunk.mContinuousListP = std::move(lanesP);
        ioChunk.mUID = mUID;
        ioChunk.mIsLocal = mIsLocal;
        ioChunk.DropSortedList();
    }

private:
    Ndo_StateRef<Mdid_NoteList> mNoteList;
    Ndo_StateRef<Mdid_EventStream> mEventStream;
    Cmn_PolyVector<Ndo_StateRef<Mdid_ContinuousDataStream>> mLanes;
    Sys_Umid mUID;
    bool mIsLocal;
    bool mQuantizeContents;
    Mdid_Chunk::ClipBoundaryMap mClipBoundaryMap;
};

Mdid_Chunk* Mdid_Chunk::New(EUndoFlag iUndoFlag, bool iQuantizeContents)
{
    return new Mdid_Chunk(iUndoFlag, iQuantizeContents);
}

Ndo_unique_ptr<Mdid_Chunk> Mdid_Chunk::MakeUnique(EUndoFlag iUndoFlag, bool iQuantizeContents)
{
    return Ndo_unique_ptr<Mdid_Chunk>(New(iUndoFlag, iQuantizeContents));
}

Ndo_unique_ptr<Mdid_Chunk> Mdid_Chunk::Clone() const
{
    auto chunkP = MakeUnique(GetUndoFlag(), mQuantizeContents);
    chunkP->ReplaceData(this);
    return chunkP;
}

Mdid_Chunk::Mdid_Chunk(EUndoFlag iUndoFlag, bool iQuantizeContents)
    : Ndo_Object(iUndoFlag),
      mContinuousListP(std::make_unique<Mdid_ContinuousDataStreamList>()),
      mUID(Sys_Umid::Create()),
      mQuantizeContents(iQuantizeContents)
{
    Ndo_unique_ptr<Mdid_NoteList> notesP(new Mdid_NoteList(iUndoFlag, iQuantizeContents));
    Ndo_AutoPtr<Mdid_NoteListBase> longNotesP(new Mdid_NoteList(iUndoFlag, iQuantizeContents));
    notesP->SetLongNoteList(std::move(longNotesP), kLongNoteInTicks, kLongNoteInSamples);
    notesP->SetLongNoteDuration(kLongNoteInMicroseconds);
    mEventStreamP = new Mdid_EventStream(iUndoFlag, iQuantizeContents);
    mNoteListP = notesP.release();
}

Mdid_Chunk::Mdid_Chunk(ReCreate) : Ndo_Object(kNotUndoable) {}

Mdid_Chunk::~Mdid_Chunk()
{
    Mdid_ChunkRefCounter::ForgetChunk(mFirstCounterP);
    mNoteListP.NdoDelete();
    mEventStreamP.NdoDelete();
    if (mContinuousListP)
        for (LanePtr& laneP : *mContinuousListP)
            laneP.NdoDelete();
    DropSortedList();
}

void Mdid_Chunk::DropSortedList()
{
    delete std::exchange(mSortedEventListP, nullptr);
}

void Mdid_Chunk::SetUID(const Sys_Umid& iUID)
{
    NdoAboutToModify();
    mUID = iUID;
}

void Mdid_Chunk::SetIsLocal(bool iIsLocal)
{
    NdoAboutToModify();
    mIsLocal = iIsLocal;
}

void Mdid_Chunk::SetClip(const Sys_UUID& iClipUUID, ClipEdgeFunction iClipEdgeFunction)
{
    const EditScope scope(*this);
    mNoteListP->SetClip(iClipUUID, std::move(iClipEdgeFunction));
}

bool Mdid_Chunk::IsMPE() const
{
    return mNoteListP->IsMPE();
}

Time_Typed Mdid_Chunk::QuantizeTime(Time_Typed iTime) const
{
    const bool isSnapping = mQuantizeContents && iTime.GetType() == Time_EType::kTick && TickTimesMatter::Active();
    return isSnapping ? Time_Convert::SnapToCoarseInternalTick(iTime) : iTime;
}

void Mdid_Chunk::AddEvent(const Mdid_ExtendedEvent& iEvent, Mdie_SubStream::EStreamType iStreamType)
{
    const EditScope scope(*this); // Kept: the sorted list goes also when nothing is added.
    const Time_Typed time = QuantizeTime(iEvent.GetTime());
    switch (iEvent.GetEvent().GetType())
    {
    case Mdid_Event::kNoteWithDuration:
    case Mdid_Event::kPitchToMIDINoteWithDuration:
        if (iEvent.IsNoteWithDurationExtendedEvent())
        {
            Mdid_NoteWithDurationExtendedEvent note = iEvent.AsNote();
            note.SetTime(time);
            mNoteListP->AddNote(std::move(note));
        }
        break;
    case Mdid_Event::kPitchBend:
    case Mdid_Event::kController:
    case Mdid_Event::kProgram:
    case Mdid_Event::kMonoPressure:
    case Mdid_Event::kPolyPressure:
        AddToLane(time, iEvent.GetEvent(), iStreamType);
        break;
    case Mdid_Event::kSysex:
    case Mdid_Event::kLongSysex:
        mEventStreamP->AddEvent({time, iEvent.GetEvent(), iEvent.GetSourceStamp()});
        break;
    default: // Kept: everything else has no place in a chunk.
        break;
    }
}

// Lanes of the other stream types are never found again by a key, so that every event would make one.
void Mdid_Chunk::AddToLane(Time_Typed iTime, const Mdid_Event& iEvent, Mdie_SubStream::EStreamType iStreamType)
{
    const bool isFiled = CMN_VERIFY(IsUniqueByEquality(iStreamType));
    const Mdie_SubStream key(iEvent, isFiled ? iStreamType : Mdie_SubStream::kOrdinary);
    if (Mdid_ContinuousDataStream* const laneP = FindOrCreateContinuousStream(key))
        laneP->AddBreakpoint(iTime, key.GetValueFromEvent(iEvent));
}

void Mdid_Chunk::EraseEvent(const Mdie_TimedEvent& iEvent)
{
    const EditScope scope(*this);
    switch (iEvent.GetEvent().GetType())
    {
    case Mdid_Event::kNoteWithDuration:
        mNoteListP->EraseNote(iEvent);
        break;
    case Mdid_Event::kSysex:
    case Mdid_Event::kLongSysex:
        mEventStreamP->EraseEvent(iEvent);
        break;
    default: // Kept: a pitch-to-MIDI note comes in by AddEvent, but does not go out here.
        if (auto* const laneP = FindContinuousStream({iEvent.GetEvent(), Mdie_SubStream::kOrdinary}))
        {
            laneP->EraseEvent(iEvent);
            if (laneP->IsEmpty())
                RemoveLane(static_cast<std::size_t>(std::ranges::find(*mContinuousListP, laneP, &LanePtr::Get) -
                                                    mContinuousListP->begin()));
        }
        break;
    }
}

void Mdid_Chunk::EraseRange(Time_Typed iStart, Time_Typed iEnd)
{
    const EditScope scope(*this);
    mNoteListP->EraseTimeRange(iStart, iEnd);
    // Kept: here the end belongs to the range.
    mEventStreamP->EraseRange(iStart, iEnd);
    EditLanes([&](Mdid_ContinuousDataStream& ioLane) { ioLane.EraseRange(iStart, iEnd); });
}

void Mdid_Chunk::Clear()
{
    const EditScope scope(*this);
    mNoteListP->Clear();
    mEventStreamP->Clear();
    EditLanes([](Mdid_ContinuousDataStream& ioLane) { ioLane.Clear(); });
}

void Mdid_Chunk::RemoveLane(std::size_t iIndex)
{
    NdoAboutToModify();
    (*mContinuousListP)[iIndex].NdoDelete();
    mContinuousListP->erase(mContinuousListP->begin() + static_cast<std::ptrdiff_t>(iIndex));
}

Mdid_ContinuousDataStream* Mdid_Chunk::FindContinuousStream(const Mdie_SubStream& iSubStream) const
{
    if (!iSubStream.IsLane())
        return nullptr;
    Mdid_ContinuousDataStreamList& lanes = *mContinuousListP;
    LanePtr* const endP = lanes.data() + lanes.size();
    if (!IsUniqueByEquality(iSubStream.GetStreamType()))
    {
        const LanePtr* const placeP = lanes.FindStream(iSubStream);
        return placeP != endP && IsLaneOf(*placeP, iSubStream) ? placeP->Get() : nullptr;
    }
    // Events come by the million, and mostly for lanes that are where they were.
    std::uint16_t& place = mPlaces[static_cast<std::size_t>(iSubStream.GetDataTypeIndex())];
    if (place < lanes.size() && IsPlainlyLaneOf(lanes[place], iSubStream))
        return lanes[place].Get();
    const LanePtr* const foundP = FindAmongItsIndex(lanes, lanes.FindStream(iSubStream), iSubStream);
    if (foundP == endP)
        return nullptr;
    place = static_cast<std::uint16_t>(std::min<std::ptrdiff_t>(foundP - lanes.data(), kLastPlace));
    return foundP->Get();
}

Mdid_ContinuousDataStream* Mdid_Chunk::FindOrCreateContinuousStream(const Mdie_SubStream& iSubStream)
{
    if (Mdid_ContinuousDataStream* const laneP = FindContinuousStream(iSubStream))
        return laneP;
    return iSubStream.IsLane() ? &InsertLane(iSubStream) : nullptr;
}

Mdid_ContinuousDataStream& Mdid_Chunk::InsertLane(const Mdie_SubStream& iKey)
{
    Ndo_unique_ptr<Mdid_ContinuousDataStream> laneP(
        new Mdid_ContinuousDataStream(iKey, GetUndoFlag(), mQuantizeContents));
    NdoAboutToModify();
    Mdid_ContinuousDataStreamList& lanes = *mContinuousListP;
    lanes.insert(lanes.begin() + (lanes.FindStream(iKey) - lanes.data()), laneP.get());
    return *laneP.release();
}

void Mdid_Chunk::FindMIDIControllersInUse(bool* ioInUse) const
{
    mNoteListP->FindPerNoteControllersInUse(ioInUse);
    for (const LanePtr& laneP : *mContinuousListP)
    {
        const int index = laneP ? laneP->GetSubStream().GetDataTypeIndex() : 0;
        if (index >= Mdi_Controller::kFirstLane && index <= Mdi_Controller::kLastLane)
            ioInUse[index] = true;
    }
}

bool Mdid_Chunk::HasControllersForNote(const Mdie_TimedEvent& iNote) const
{
    return std::any_of(mContinuousListP->begin(), mContinuousListP->end(),
                       [&](const LanePtr& iLaneP)
                       { return IsHeardInNote(iLaneP, iNote, iNote.GetEvent().GetChannel()); });
}

void Mdid_Chunk::AddControllersForNote(const Mdie_TimedEvent& iNote, Mdid_ExtendedEvent& ioNote,
                                       signed char iChannel) const
{
    for (const LanePtr& laneP : *mContinuousListP)
    {
        if (!iNote.IsNoteWithDurationEvent() || !IsHeardInNote(laneP, iNote, iChannel))
            continue;
        ioNote.SetPerNoteControllers();
        auto* const noteLanesP = ioNote.HasPerNoteControllers() ? ioNote.WritePerNoteControllers() : nullptr;
        if (noteLanesP == nullptr)
            return;
        Mdie_SubStream key = laneP->GetSubStream();
        key.LinkToNote(iNote);
        key.SetStreamType(Mdie_SubStream::kOfNote);
        key.SetChannel(iChannel);
        const auto placeP = noteLanesP->FindStream(key);
        const bool isThere = placeP != noteLanesP->end() && placeP->GetSubStream() == key;
        if (isThere)
            continue;
        Mdid_PerNoteDataStream& noteLane = *noteLanesP->InsertStream(key, mQuantizeContents);
        CopySpanOfNote(*laneP, iNote, noteLane);
        // They count from where the note starts without the cut of a clip.
        if (ioNote.HasTrimExtension())
            noteLane.OffsetTimes(ioNote.GetTime() - ioNote.AsNote().GetUntrimmedStart());
    }
}

std::unique_ptr<Ndo_State> Mdid_Chunk::NdoGetState() const
{
    return std::make_unique<Mdid_Chunk_NdoState>(*this);
}

void Mdid_Chunk::NdoRestoreState(Ndo_State* iStateP)
{
    // Kept: a state of another class is ignored in silence.
    if (const auto* const stateP = dynamic_cast<const Mdid_Chunk_NdoState*>(iStateP))
        stateP->RestoreInto(*this, NdoIsBeingRecreated());
}
