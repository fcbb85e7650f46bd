// How lanes are written and read. A lane and the per-note lanes of the same index share a record, because readers that
// know no per-note lanes find the ordinary one first.

#include "Mdid/Mdid_ContinuousDataStream.h"

#include "CFnd/Sys_StdStreamHeader.h"
#include "MFnd/Time_Convert.h"
#include "Mdid/Mdid_Messages.h"
#include "Mdid/Mdid_NoteList.h"
#include "Mdid/Mdid_Options.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "QuorPlatformSupport/SPSStartupOption.h"

#include <algorithm>

namespace
{

using Note = Mdid_NoteListBase::Note;
using Segment = Mdid_ContinuousDataStreamCore::Segment;
using TrackedPtr = Mdid_ContinuousDataStream::TrackedPtr;

constexpr char kTag[] = "MdCDS";
constexpr std::int16_t kVersion = 2;

constexpr signed char kNoPitch = -1; // of ordinary lanes

bool IsNotNull(const TrackedPtr& iStreamP)
{
    return static_cast<bool>(iStreamP);
}

// Past the lanes of the index of the one at iFirst; a null does not end them.
TrackedPtr* EndOfIndex(TrackedPtr* iFirst, TrackedPtr* iEnd)
{
    const int index = (*iFirst)->GetSubStream().GetDataTypeIndex();
    return std::find_if(iFirst, iEnd,
                        [index](const TrackedPtr& iStreamP)
                        { return iStreamP && iStreamP->GetSubStream().GetDataTypeIndex() != index; });
}

TrackedPtr* NextLane(TrackedPtr* iLane, TrackedPtr* iEnd)
{
    return std::find_if(iLane + 1, iEnd, IsNotNull);
}

// At the head of a group the reader could not tell it from a placeholder.
bool IsEmptyOrdinaryHead(const Mdid_ContinuousDataStream& iStream)
{
    return iStream.IsEmpty() && iStream.GetSubStream().GetSubType() == 0 && !iStream.GetSubStream().IsPerNote();
}

// Times of two kinds with one count, which the reader would take for one time.
bool HoldsMistakableTimes(const std::vector<Segment>& iSegments)
{
    const auto areMistaken = [](const Segment& iA, const Segment& iB)
    { return iA.mTime.AsInt64() == iB.mTime.AsInt64() && iA.mTime != iB.mTime; };
    return std::ranges::adjacent_find(iSegments, areMistaken) != iSegments.end();
}

// In one kind, ascending from 0, the later value at one time.
std::vector<Segment> MakeReadable(std::vector<Segment> iSegments)
{
    const Time_EType type = iSegments.front().mTime.GetType();
    for (Segment& segment : iSegments)
        segment.mTime = Time_Convert::ToType(segment.mTime, type);
    std::ranges::stable_sort(iSegments, {}, &Segment::mTime);
    for (Segment& segment : iSegments)
        segment.mTime = std::max(segment.mTime, Time_Typed(0, type));
    const auto last = std::unique(iSegments.rbegin(), iSegments.rend(),
                                  [](const Segment& iA, const Segment& iB) { return iA.mTime == iB.mTime; });
    iSegments.erase(iSegments.begin(), last.base());
    return iSegments;
}

std::int32_t ReadCount(Sys_TypedInStream& ioStream)
{
    const auto count = ioStream.Read<std::int32_t>();
    if (count < 0)
        Mdid_ThrowMessage(100); // "bad data encountered"
    return count;
}

bool IsPerNoteKey(const Mdie_SubStream& iSubStream)
{
    return iSubStream.GetStreamType() == Mdie_SubStream::kPerNote;
}

// What the head of a group was, which its own key does not tell, by the entries behind it: the lanes of a list are all
// ordinary or all per channel. Where both came together nevertheless, the head becomes what no entry is yet.
class HeadType
{
public:
    explicit HeadType(signed char iChannel) : mChannel(iChannel) {}

    void See(const Mdie_SubStream& iEntry)
    {
        const bool isPerChannel = iEntry.GetStreamType() == Mdie_SubStream::kPerChannel;
        mHasOrdinary |= iEntry.GetStreamType() == Mdie_SubStream::kOrdinary;
        mHasPerChannel |= isPerChannel;
        mHasItsChannel |= isPerChannel && iEntry.GetChannel() == mChannel;
    }

    Mdie_SubStream::EStreamType Get() const
    {
        const bool isPerChannel = mHasOrdinary || (mHasPerChannel && !mHasItsChannel);
        return isPerChannel ? Mdie_SubStream::kPerChannel : Mdie_SubStream::kOrdinary;
    }

private:
    signed char mChannel;
    bool mHasOrdinary = false;
    bool mHasPerChannel = false;
    bool mHasItsChannel = false;
};

// An empty head of another kind is a lane without breakpoints.
bool CanBePlaceholder(const Mdie_SubStream& iSubStream)
{
    const int kind = iSubStream.GetDataType().GetDataType();
    return kind == Mdie_SubStreamDataType::kController || kind == Mdie_SubStreamDataType::kPolyPressure;
}

// A new lane in the note's own list; null without "AllowMPE".
Mdid_ContinuousDataStreamCore* AddLane(Note& ioNote, const Mdie_SubStream& iSubStream, bool iSnapToCoarseTicks)
{
    ioNote.SetPerNoteControllers();
    Mdid_PerNoteControllerList* const lanesP = ioNote.WritePerNoteControllers();
    return lanesP == nullptr ? nullptr : lanesP->InsertStream(iSubStream, iSnapToCoarseTicks);
}

} // namespace

// "MdCDS", version 2:
//   lane             "Mdss" (Mdie_SubStream), "MdCD" (Mdid_ContinuousDataStreamCore)
// and when its stream type is 1, the head of a group:
//   int32            count
//   count times:     lane
//
// The head stands for an ordinary lane, or, with a pitch, for a per-note lane. The lanes of an index that has a subtype
// are all behind the head, which is an empty placeholder then: it has their kind, and subtype 0.
void Mdid_ContinuousDataStream::StreamOut(Sys_TypedOutStream& ioStream, Mdid_ContinuousDataStreamList& ioList,
                                          TrackedPtr*& ioCursorP) const
{
    const bool allowMPE = Mdid_AllowMPE();
    TrackedPtr* const end = EndOfIndex(ioCursorP, ioList.data() + ioList.size());
    TrackedPtr* headP = ioCursorP;
    if (allowMPE)
        while (IsEmptyOrdinaryHead(**headP) && NextLane(headP, end) != end)
            headP = NextLane(headP, end);

    Sys_StdStreamHeaderWriter header(ioStream, kTag, kVersion);
    const bool isGroup = (*headP)->GetSubStream().GetSubType() != 0 || NextLane(headP, end) != end;
    if (allowMPE && isGroup)
        (*headP)->EncapsulateDataType(ioStream, ioList, headP);
    else
        (*headP)->WriteLane(ioStream);
    header.PatchSize();
    ioCursorP = end;
}

void Mdid_ContinuousDataStream::EncapsulateDataType(Sys_TypedOutStream& ioStream, Mdid_ContinuousDataStreamList& ioList,
                                                    TrackedPtr*& ioCursorP) const
{
    TrackedPtr* const end = EndOfIndex(ioCursorP, ioList.data() + ioList.size());
    mSubStream.AsGroupHead().StreamOut(ioStream);
    if (mSubStream.GetSubType() != 0)
        WriteSegments(ioStream, {});
    else
    {
        WriteCore(ioStream);
        ++ioCursorP;
    }

    ioStream.Write(static_cast<std::int32_t>(std::count_if(ioCursorP, end, IsNotNull)));
    for (; ioCursorP != end; ++ioCursorP)
        if (*ioCursorP)
            (*ioCursorP)->WriteLane(ioStream);
}

void Mdid_ContinuousDataStream::WriteLane(Sys_TypedOutStream& ioStream) const
{
    mSubStream.StreamOut(ioStream);
    WriteCore(ioStream);
}

// A lane that could not be read back would take the whole chunk with it.
void Mdid_ContinuousDataStream::WriteCore(Sys_TypedOutStream& ioStream) const
{
    const bool isReadable = VerifyTimesAscend() && !HoldsMistakableTimes(mSegments);
    WriteSegments(ioStream, isReadable ? mSegments : MakeReadable(mSegments));
}

void Mdid_ContinuousDataStream::StreamIn(Sys_TypedInStream& ioStream, bool iSnapToCoarseTicks,
                                         Mdid_ContinuousDataStreamList& ioList, Mdid_NoteListBase& ioNotes,
                                         bool& oInserted)
{
    oInserted = false;
    NdoChangesWithoutState();
    Sys_StdStreamHeaderReader header(ioStream, kTag);
    try
    {
        header.CheckVersion(kVersion, kVersion);
        ReadBody(ioStream, {iSnapToCoarseTicks, ioList, ioNotes, oInserted});
        header.SkipTheRest();
    }
    catch (...)
    {
        SkipTheRest(header);
        throw;
    }
}

void Mdid_ContinuousDataStream::ReadBody(Sys_TypedInStream& ioStream, const Target& iTarget)
{
    mSubStream.StreamIn(ioStream, true);
    const auto streamType = mSubStream.GetStreamType();
    const bool allowMPE = Mdid_AllowMPE();
    if (streamType == Mdie_SubStream::kGroupHead && allowMPE)
        ReadGroup(ioStream, iTarget);
    else if (streamType == Mdie_SubStream::kGroupHead)
        ReadGroupWithoutMPE(ioStream, iTarget);
    else if (streamType == Mdie_SubStream::kPerNote && allowMPE && !mSubStream.IsNull())
        ReadPerNoteLane(mSubStream, ioStream, iTarget);
    else
        ReadLane(ioStream, iTarget);
}

void Mdid_ContinuousDataStream::ReadGroup(Sys_TypedInStream& ioStream, const Target& iTarget)
{
    ReadCore(ioStream, iTarget);
    const bool isLane = mSubStream.IsLane() && (!IsEmpty() || !CanBePlaceholder(mSubStream));
    const bool isPerNote = mSubStream.GetPitch() != kNoPitch;
    const bool isOrdinaryLane = isLane && !isPerNote && !IsEmpty();
    // Before the entries: of equal note-ons, the last takes the first lane.
    if (isLane && isPerNote)
        if (auto* const laneP = MoveMPEStreamToNote(mSubStream, iTarget.mSnapToCoarseTicks, iTarget.mNotes))
            laneP->ReplaceData(this);

    const auto count = ReadCount(ioStream);
    HeadType typeOfHead(mSubStream.GetChannel());
    for (std::int32_t i = 0; i < count; ++i)
    {
        Mdie_SubStream subStream;
        subStream.StreamIn(ioStream);
        typeOfHead.See(subStream);
        if (subStream.GetStreamType() == Mdie_SubStream::kPerNote && !subStream.IsNull())
            ReadPerNoteLane(subStream, ioStream, iTarget);
        else
            ReadEntry(subStream, ioStream, iTarget, !isOrdinaryLane);
    }
    if (isOrdinaryLane)
    {
        mSubStream.SetStreamType(typeOfHead.Get());
        InsertThis(iTarget);
    }
}

// The ordinary lanes of a group; nothing of it that belongs to a note.
void Mdid_ContinuousDataStream::ReadGroupWithoutMPE(Sys_TypedInStream& ioStream, const Target& iTarget)
{
    ReadCore(ioStream, iTarget);
    if (!IsEmpty())
    {
        const bool isPerNote = mSubStream.GetPitch() != kNoPitch;
        mSubStream.SetStreamType(isPerNote ? Mdie_SubStream::kPerNote : Mdie_SubStream::kOrdinary);
        InsertThis(iTarget);
        return;
    }
    const auto count = ReadCount(ioStream);
    for (std::int32_t i = 0; i < count; ++i)
    {
        Mdie_SubStream subStream;
        subStream.StreamIn(ioStream);
        if (subStream.GetStreamType() != Mdie_SubStream::kOrdinary)
            return;
        ReadEntry(subStream, ioStream, iTarget, true);
    }
}

// Kept: without its note, the breakpoints of a lane are left unread; behind them no further entry can be read.
void Mdid_ContinuousDataStream::ReadPerNoteLane(Mdie_SubStream& ioSubStream, Sys_TypedInStream& ioStream,
                                                const Target& iTarget)
{
    if (auto* const laneP = MoveMPEStreamToNote(ioSubStream, iTarget.mSnapToCoarseTicks, iTarget.mNotes))
        laneP->StreamIn(ioStream);
}

// The first lane to keep is this one, as long as it is free; every further one is made.
void Mdid_ContinuousDataStream::ReadEntry(const Mdie_SubStream& iSubStream, Sys_TypedInStream& ioStream,
                                          const Target& iTarget, bool iThisIsFree)
{
    if (iThisIsFree && !iTarget.mIsThisInserted)
    {
        mSubStream = iSubStream;
        ReadLane(ioStream, iTarget);
        return;
    }
    const EUndoFlag undoFlag = NdoIsUndoable() ? kUndoable : kNotUndoable;
    Ndo_unique_ptr<Mdid_ContinuousDataStream> streamP(
        new Mdid_ContinuousDataStream(iSubStream, undoFlag, iTarget.mSnapToCoarseTicks));
    bool isInserted = false;
    streamP->ReadLane(ioStream, {iTarget.mSnapToCoarseTicks, iTarget.mList, iTarget.mNotes, isInserted});
    if (isInserted)
        static_cast<void>(streamP.release()); // the list's now
}

void Mdid_ContinuousDataStream::ReadLane(Sys_TypedInStream& ioStream, const Target& iTarget)
{
    ReadCore(ioStream, iTarget);
    InsertThis(iTarget);
}

void Mdid_ContinuousDataStream::ReadCore(Sys_TypedInStream& ioStream, const Target& iTarget)
{
    Mdid_ContinuousDataStreamCore::StreamIn(ioStream);
    mSnapToCoarseTicks = iTarget.mSnapToCoarseTicks;
}

// What is no lane is dropped: a list could not be ordered by it.
void Mdid_ContinuousDataStream::InsertThis(const Target& iTarget)
{
    if (!mSubStream.IsLane())
        return;
    // No list is ordered by keys of the other types.
    if (mSubStream.GetStreamType() != Mdie_SubStream::kPerChannel && !IsPerNoteKey(mSubStream))
        mSubStream.SetStreamType(Mdie_SubStream::kOrdinary);
    if (mSubStream.GetStreamType() == Mdie_SubStream::kOrdinary)
        mSubStream.mPitch = mSubStream.mVelocity = kNoPitch;
    iTarget.mList.InsertStream(this);
    iTarget.mIsThisInserted = true;
}

Mdid_ContinuousDataStreamCore* Mdid_ContinuousDataStream::MoveMPEStreamToNote(Mdie_SubStream& ioSubStream,
                                                                              bool iSnapToCoarseTicks,
                                                                              Mdid_NoteListBase& ioNotes)
{
    ioSubStream.SetStreamType(Mdie_SubStream::kOfNote);
    // A note without channel is read back on channel 0.
    if (ioSubStream.GetChannel() == Mdid_Event::kNoChannel)
        ioSubStream.SetChannel(0);
    Mdie_TimedEvent probe;
    ioSubStream.MakeNoteEvent(probe);

    const Note* noteP = ioNotes.FindNoteForLane(probe, ioSubStream);
    if (noteP == nullptr)
    {
        // A lane before this one may have brought the note to the grid.
        probe.SetTime(ioNotes.QuantizeTimeConditional(probe.GetTime()));
        noteP = ioNotes.FindNoteForLane(probe, ioSubStream);
    }
    if (noteP == nullptr)
        return nullptr;

    Mdid_BorrowedElement borrowed = ioNotes.Borrow(*noteP);
    Mdid_ContinuousDataStreamCore* laneP = nullptr;
    try
    {
        laneP = AddLane(borrowed.mElement, ioSubStream, iSnapToCoarseTicks);
    }
    catch (...)
    {
        ioNotes.ReturnToken(borrowed);
        ioNotes.CompleteBatch();
        throw;
    }
    if (laneP != nullptr)
        ioNotes.SetIsMPE(true);
    ioNotes.ReturnToken(borrowed);
    ioNotes.CompleteBatch();
    return laneP;
}
