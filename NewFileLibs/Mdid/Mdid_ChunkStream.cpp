// Chunks in records, and as XML.

#include "Mdid/Mdid_Chunk.h"

#include "CFnd/Cmn_Assert.h"
#include "CFnd/Cmn_XMLNode.h"
#include "CFnd/Sys_StdStreamHeader.h"
#include "Mdid/Mdid_Messages.h"
#include "Mdid/Mdid_Options.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "QuorPlatformSupport/SPSStartupOption.h"

#include <algorithm>
#include <limits>

namespace
{

using LanePtr = Mdid_ContinuousDataStream::TrackedPtr;
using Note = Mdid_NoteListBase::Note;

constexpr char kTag[] = "MdChun";
constexpr std::int16_t kVersion = 1;

// How a chunk without a note list is reported.
constexpr char kNoNoteListMessage[] = "mNoteListP.Get()@$^$@NewFileLibs/Mdid/Mdid_Chunk";
constexpr int kNoNoteListLine = 1258;

// A lane's record is no shorter than its frame.
constexpr std::int64_t kSmallestLane = 16;

// Whether a lane of a note, in the chunk's own list, finds its note when it is read. The note must be there, without
// such a lane: what has no place is dropped by the reader, and spoils the lanes behind it.
bool HasPlaceAtNote(const Mdie_SubStream& iKey, Mdid_NoteListBase& iNotes)
{
    if (iKey.GetPitch() < 0)
        return false;
    Mdie_SubStream keyInNote = iKey;
    keyInNote.SetStreamType(Mdie_SubStream::kOfNote);
    Mdie_TimedEvent noteOn;
    iKey.MakeNoteEvent(noteOn);
    return iNotes.FindNoteForLane(noteOn, keyInNote) != nullptr;
}

bool AreOfOneNote(const Mdie_SubStream& iA, const Mdie_SubStream& iB)
{
    return iA.GetDataTypeIndex() == iB.GetDataTypeIndex() && iA.GetChannel() == iB.GetChannel() &&
           iA.GetTime() == iB.GetTime() && iA.GetPitch() == iB.GetPitch() && iA.GetVelocity() == iB.GetVelocity();
}

bool IsOrdinaryOfIndexOf(const Mdie_SubStream& iSubStream, const Mdie_SubStream& iKey)
{
    const auto type = iSubStream.GetStreamType();
    return iSubStream.GetDataTypeIndex() == iKey.GetDataTypeIndex() &&
           (type == Mdie_SubStream::kOrdinary || type == Mdie_SubStream::kPerChannel);
}

// Ordinary lanes and those of channels count as equal where they meet, and would change places with every writing: of
// adjacent lanes of one index, those of channels go last.
void SortWithinIndices(Mdid_ContinuousDataStreamList& ioLanes)
{
    const auto indexOf = [](const LanePtr& iLaneP) { return iLaneP->GetSubStream().GetDataTypeIndex(); };
    const auto placeOf = [](const LanePtr& iLaneP)
    {
        const bool isPerChannel = iLaneP->GetSubStream().GetStreamType() == Mdie_SubStream::kPerChannel;
        return isPerChannel ? iLaneP->GetSubStream().GetChannel() : std::numeric_limits<int>::min();
    };
    for (auto first = ioLanes.begin(); first != ioLanes.end();)
    {
        const auto last = std::find_if(
            first, ioLanes.end(), [index = indexOf(*first), indexOf](const LanePtr& i) { return indexOf(i) != index; });
        std::ranges::stable_sort(first, last, {}, placeOf);
        first = last;
    }
}

// The lanes to be written: the chunk's own, and the temporary ones that its notes add, which go with the scope.
class WorkingList
{
public:
    WorkingList(const Mdid_ContinuousDataStreamList& iLanes, Mdid_NoteListBase& iNotes)
    {
        mOwn.reserve(iLanes.size());
        for (const LanePtr& laneP : iLanes)
            if (laneP && (!Mdid_AllowMPE() || CanBeRead(laneP->GetSubStream(), iLanes, iNotes)))
                mOwn.push_back(laneP);
        SortWithinIndices(mOwn);
        mLanes = mOwn;
    }
    WorkingList(const WorkingList&) = delete;
    WorkingList& operator=(const WorkingList&) = delete;

    // The notes' lanes have been merged in between the own ones, whatever these are.
    ~WorkingList()
    {
        auto own = mOwn.begin();
        for (LanePtr& laneP : mLanes)
        {
            if (own != mOwn.end() && *own == laneP)
                ++own;
            else
                laneP.NdoDelete();
        }
    }

    Mdid_ContinuousDataStreamList& GetLanes() { return mLanes; }

    // Runs of lanes of one index: each makes one record.
    std::int32_t CountRecords() const
    {
        std::int32_t count = 0;
        int previous = -1;
        for (const LanePtr& laneP : mLanes)
        {
            const int index = laneP->GetSubStream().GetDataTypeIndex();
            count += index != previous;
            previous = index;
        }
        return count;
    }

private:
    // With "AllowMPE", stream types are saved, and lanes are read by them. A lane of a note stands in a chunk's own
    // list when the chunk was read without the option.
    bool CanBeRead(const Mdie_SubStream& iKey, const Mdid_ContinuousDataStreamList& iLanes,
                   Mdid_NoteListBase& iNotes) const
    {
        switch (iKey.GetStreamType())
        {
        case Mdie_SubStream::kOrdinary:
        case Mdie_SubStream::kPerChannel:
            return true;
        case Mdie_SubStream::kOfNote: // comes back as an ordinary lane, beside which there can be no other
            return std::none_of(iLanes.begin(), iLanes.end(),
                                [&iKey](const LanePtr& i)
                                { return i && IsOrdinaryOfIndexOf(i->GetSubStream(), iKey); });
        case Mdie_SubStream::kPerNote:
            return !HoldsEquivalent(iKey) && HasPlaceAtNote(iKey, iNotes);
        default:
            return false;
        }
    }

    // Lanes of one note-on may be told apart by its velocity, which the order does not know.
    bool HoldsEquivalent(const Mdie_SubStream& iKey) const
    {
        for (std::size_t i = mOwn.size(); i-- > 0 && !(mOwn[i]->GetSubStream() < iKey);)
            if (AreOfOneNote(mOwn[i]->GetSubStream(), iKey))
                return true;
        return false;
    }

    Mdid_ContinuousDataStreamList mOwn;
    Mdid_ContinuousDataStreamList mLanes;
};

// A lane while it is read: once it is inserted, it belongs to the list, also when an exception leaves.
struct LaneInReading
{
    Ndo_unique_ptr<Mdid_ContinuousDataStream> mLaneP;
    bool mIsInserted = false;

    explicit LaneInReading(Ndo_Object::EUndoFlag iUndoFlag) : mLaneP(new Mdid_ContinuousDataStream(iUndoFlag)) {}
    LaneInReading(const LaneInReading&) = delete;
    LaneInReading& operator=(const LaneInReading&) = delete;
    ~LaneInReading()
    {
        if (mIsInserted)
            static_cast<void>(mLaneP.release());
    }
};

} // namespace

// "MdChun", version 1:
//   "MdNLB"   the notes (Mdid_NoteListBase)
//   int32     count
//   count times:  "MdCDS", the lanes of one index, the per-note lanes among them (Mdid_ContinuousDataStream)
//   "MdES"    the event stream (Mdid_EventStream); older writers end before it
//   16 bytes  identity; older writers end before it
//   bool      local flag
void Mdid_Chunk::StreamOut(Sys_TypedOutStream& ioStream) const
{
    Sys_StdStreamHeaderWriter header(ioStream, kTag, kVersion);
    Cmn_Assert::HandleMagicAssert(mNoteListP.Get() != nullptr, kNoNoteListMessage, kNoNoteListLine);
    // An empty list in its place, so that the rest can be read.
    Mdid_NoteList noNotes(kNotUndoable, mQuantizeContents);
    Mdid_NoteListBase& notes = mNoteListP ? *mNoteListP : noNotes;

    WorkingList workingList(*mContinuousListP, notes);
    Mdid_ContinuousDataStreamList& lanes = workingList.GetLanes();
    notes.StreamOut(ioStream, lanes);
    ioStream.Write(workingList.CountRecords());
    for (LanePtr* cursorP = lanes.data(); cursorP != lanes.data() + lanes.size();)
        (*cursorP)->StreamOut(ioStream, lanes, cursorP);

    mEventStreamP->StreamOut(ioStream);
    ioStream.WriteBlock(mUID.GetBytes().data(), Sys_Umid::kNumBytes);
    ioStream.Write(mIsLocal);
    header.PatchSize();
}

Mdid_Chunk* Mdid_Chunk::StreamIn(Sys_TypedInStream& ioStream, EUndoFlag iUndoFlag, bool iQuantizeContents)
{
    Sys_StdStreamHeaderReader header(ioStream, kTag);
    header.CheckVersion(kVersion, kVersion);
    auto chunkP = MakeUnique(iUndoFlag, iQuantizeContents);
    chunkP->mNoteListP->StreamIn(ioStream);
    chunkP->StreamInLanes(ioStream);
    if (header.IsMoreLeft())
        chunkP->mEventStreamP->StreamIn(ioStream);
    chunkP->mUID = Sys_Umid::NoID();
    if (header.IsMoreLeft())
    {
        Sys_Umid::Bytes bytes;
        ioStream.ReadBlock(bytes.data(), bytes.size());
        chunkP->mUID = Sys_Umid(bytes);
        ioStream.Read(chunkP->mIsLocal);
    }
    header.SkipTheRest();
    return chunkP.release();
}

void Mdid_Chunk::StreamInLanes(Sys_TypedInStream& ioStream)
{
    const auto count = ioStream.Read<std::int32_t>();
    if (count < 0)
        Mdid_ThrowMessage(100); // "bad data encountered"
    mContinuousListP->reserve(
        static_cast<std::size_t>(std::min<std::int64_t>(count, ioStream.GetBytesLeft() / kSmallestLane)));
    Mdid_NoteListBase::ReadingScope scope(*mNoteListP);
    for (std::int32_t i = 0; i < count; ++i)
    {
        LaneInReading lane(GetUndoFlag());
        lane.mLaneP->StreamIn(ioStream, mQuantizeContents, *mContinuousListP, *mNoteListP, lane.mIsInserted);
    }
    scope.Complete();
}

Cmn_AliasedRefCountPtr<Cmn_XMLNode> Mdid_Chunk::GetAsXML() const
{
    auto nodeP = Cmn_CreateXMLNode("MIDI_Chunk");
    nodeP->AddChild(mNoteListP->GetAsXML());
    nodeP->AddChild(Cmn_CreateXMLNode("NumContinuousControllerDataStreams", mContinuousListP->size()));
    nodeP->AddChild(Cmn_CreateXMLNode("UID", mUID.AsHexString()));
    return nodeP;
}
