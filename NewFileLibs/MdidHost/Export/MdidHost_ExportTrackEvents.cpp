#include "MdidHost/Export/MdidHost_ExportTrackEvents_Private.h"

#include "Mdid/Mdi_Status.h"
#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "Mdid/Mdid_SysexEvent.h"
#include "MdidHost/Export/MdidHost_ExportItemWriter_Private.h"
#include "MdidHost/Session/MdidHost_NoteLaneTimes_Private.h"

#include <algorithm>
#include <array>

namespace
{

constexpr int kMetaPriority = 0;
constexpr int kFirstMessagePriority = 1; // below that of any event that makes MIDI
constexpr unsigned char kProgramDisabled = 0x80;

bool IsSameNoteKey(const Mdid_NoteWithDurationExtendedEvent& iA, const Mdid_NoteWithDurationExtendedEvent& iB)
{
    return iA.GetTime() == iB.GetTime() && iA.GetNote().GetChannel() == iB.GetNote().GetChannel() &&
           iA.GetPitch() == iB.GetPitch();
}

bool IsChannelMessage(signed char iType)
{
    return iType >= Mdid_Event::kNoteOn && iType <= Mdid_Event::kPolyPressure && iType != Mdid_Event::kNoteWithDuration;
}

std::size_t CountItems(const Mdid_Chunk& iChunk)
{
    std::size_t count = 2 * iChunk.GetNoteList()->Size() + iChunk.GetEventStream()->size();
    for (const auto& lane : *iChunk.GetContinuousList())
        count += lane ? lane->NumSegments() : 0;
    return count;
}

} // namespace

void MdidHost_ExportTrackEvents::AddMeta(Time_Typed iTime, unsigned char iType, std::string iData)
{
    Item item;
    item.SetPlace(GetTick(iTime), kMetaPriority);
    item.mTime = iTime;
    item.mNumber = std::ssize(mMetaData);
    item.mKind = Item::kMeta;
    item.mStatus = iType;
    mItems.push_back(item);
    mMetaData.push_back(std::move(iData));
}

void MdidHost_ExportTrackEvents::AddFirstMessage(const Mdid_Event& iEvent)
{
    AddEvent(Time_Typed::MinTime(Time_EType::kTick), 0, iEvent, Item::kMessage).SetPlace(0, kFirstMessagePriority);
}

void MdidHost_ExportTrackEvents::AddTrack(const MdidHost_Track& iTrack, std::size_t iIndex)
{
    const Mdid_Chunk* chunkP = iTrack.mChunk.Get();
    if (!chunkP)
        return;
    mItems.reserve(mItems.size() + CountItems(*chunkP));
    if (iTrack.mFileTrackEnd)
        mEnd = std::max(mEnd, GetTick(*iTrack.mFileTrackEnd));
    // In the order of the chunk's merged walk at equal times.
    for (const auto& lane : *chunkP->GetContinuousList())
        if (lane)
            AddLane(iTrack, *lane);
    for (const Mdie_TimedEvent& event : *chunkP->GetEventStream())
        AddStreamEvent(iTrack, event);
    AddNotes(iTrack, iIndex);
}

void MdidHost_ExportTrackEvents::AddLane(const MdidHost_Track& iTrack, const Mdid_ContinuousDataStreamCore& iLane)
{
    const Mdie_SubStream& key = iLane.GetSubStream();
    if (!key.IsLane())
        return;
    if (key.IsPerNote() || key.GetStreamType() == Mdie_SubStream::kGroupHead)
    {
        AddLoss("values of per-note lanes without their note", iLane.NumSegments());
        return;
    }
    const auto channel = static_cast<signed char>(MdidHost_ExportChannel(iTrack, key.GetChannel()));
    const Mdie_SubStream_ValueRange range = key.GetValueRange();
    const auto index = static_cast<unsigned char>(key.GetDataTypeIndex());
    for (const auto& segment : iLane.GetSegments())
        AddEvent(segment.mTime, GetTick(segment.mTime), key.MakeEvent(Clip(segment.mValue, range), channel),
                 Item::kMessage)
            .mLane = index;
}

void MdidHost_ExportTrackEvents::AddStreamEvent(const MdidHost_Track& iTrack, const Mdie_TimedEvent& iEvent)
{
    const signed char type = iEvent.GetEvent().GetType();
    if (IsChannelMessage(type))
    {
        Mdid_Event event = iEvent.GetEvent();
        event.SetChannel(static_cast<signed char>(MdidHost_ExportChannel(iTrack, event.GetChannel())));
        const Mdie_SubStream key(event, Mdie_SubStream::kOrdinary);
        Item& item = AddEvent(iEvent.GetTime(), GetTick(iEvent.GetTime()), event, Item::kMessage);
        if (key.IsLane())
            item.mLane = static_cast<unsigned char>(key.GetDataTypeIndex());
        return;
    }
    const bool isSysex = type == Mdid_Event::kSysex || iEvent.GetEvent().IsCompleteLongSysex();
    if (!isSysex || iEvent.GetEvent().AsSysex().GetLength() >= MdidHost_ExportTrackWriter::kMaxQuantity)
    {
        AddLoss(isSysex ? "system-exclusive messages longer than a file can say" : "events that no file can hold");
        return;
    }
    Item item;
    item.SetPlace(GetTick(iEvent.GetTime()), iEvent.GetEvent().GetPlaybackPriority());
    item.mTime = iEvent.GetTime();
    item.mSysexP = &iEvent.GetEvent();
    item.mKind = Item::kSysex;
    mItems.push_back(item);
}

// Who reads a file pairs the first note-on of a pitch with its first note-off: of notes that start together the one
// that ends first goes first. The note-offs of one time keep this order.
void MdidHost_ExportTrackEvents::AddNotes(const MdidHost_Track& iTrack, std::size_t iIndex)
{
    const Mdid_NoteListBase& notes = *iTrack.mChunk->GetNoteList();
    std::vector<std::size_t> together;
    for (std::size_t first = 0; first < notes.Size(); first += together.size())
    {
        together.clear();
        for (std::size_t i = first; i < notes.Size() && IsSameNoteKey(notes[first], notes[i]); ++i)
            together.push_back(i);
        if (together.size() > 1)
            std::ranges::stable_sort(together, {}, [&](std::size_t i) { return mClock.GetEndTick(notes[i]); });
        for (const std::size_t i : together)
            AddNote(notes[i], mNoteChannels.GetChannel(iIndex, i), mNoteChannels.IsMember(iIndex, i));
    }
}

void MdidHost_ExportTrackEvents::AddNote(const Note& iNote, int iChannel, bool iIsMember)
{
    if (!MdidHost_IsSounding(iNote))
    {
        AddLoss(iNote.IsMuted() ? "muted notes" : "notes of velocity 0");
        return;
    }
    const auto channel = static_cast<signed char>(iChannel);
    const Mdid_NoteWithDurationBase& note = iNote.GetNote();
    const signed char pitch = ClipData(note.GetPitch());
    const std::int64_t start = GetTick(iNote.GetTime());
    const std::int64_t end = mClock.GetEndTick(iNote, start);

    if (iNote.HasPerNoteControllers())
        for (const Mdid_PerNoteDataStream& lane : *iNote.GetPerNoteControllers())
            AddNoteLane(iNote, {start, end}, channel, lane);
    AddEvent(iNote.GetTime(), start, Mdid_NoteOnEvent(channel, pitch, note.GetVelocity()),
             iIsMember ? Item::kMemberNoteOn : Item::kNoteOn)
        .mNumber = end;
    AddEvent(iNote.GetEndTime(), end, Mdid_NoteOffEvent(channel, pitch, ClipData(note.GetOffVelocity())),
             Item::kMessage);
}

// What happens before the note ends stays before its end when both are rounded to one tick: the channel may be
// another note's from there on.
void MdidHost_ExportTrackEvents::AddNoteLane(const Note& iNote, TickRange iTicks, signed char iChannel,
                                             const Mdid_ContinuousDataStreamCore& iLane)
{
    const Mdie_SubStream& key = iLane.GetSubStream();
    if (!key.IsLane())
        return;
    const Mdie_SubStream_ValueRange range = key.GetValueRange();
    const auto index = static_cast<unsigned char>(key.GetDataTypeIndex());
    const MdidHost_NoteLaneTimes times(iNote);
    const auto& segments = iLane.GetSegments();
    for (auto segment = times.FindFirst(segments); segment != segments.end(); ++segment)
    {
        const bool isStart = times.IsAtStart(*segment);
        const Time_Typed time = isStart ? iNote.GetTime() : times.TimeOf(*segment);
        if (!isStart && time >= iNote.GetEndTime())
        {
            // What a clip has cut off is not lost.
            if (time >= times.GetUntrimmedEnd())
                AddLoss("values of per-note lanes at or after the end of their note");
            continue;
        }
        const std::int64_t tick = std::clamp(mClock.GetTick(time), iTicks.mStart, iTicks.mEnd - 1);
        AddEvent(time, tick, key.MakeEvent(Clip(segment->mValue, range), iChannel),
                 isStart ? Item::kNoteLaneStart : Item::kNoteLane)
            .mLane = index;
    }
}

MdidHost_ExportItem& MdidHost_ExportTrackEvents::AddEvent(Time_Typed iTime, std::int64_t iTick,
                                                          const Mdid_Event& iEvent, Item::EKind iKind)
{
    Item item;
    item.SetPlace(iTick, iEvent.GetPlaybackPriority());
    item.mTime = iTime;
    item.mKind = iKind;
    if (iEvent.GetType() == Mdid_Event::kProgram)
    {
        const auto& program = iEvent.As<Mdid_ProgramEvent>();
        item.mKind = Item::kProgram;
        item.mStatus = static_cast<unsigned char>(Mdi_Status::kProgram | (iEvent.GetChannel() & 0x0F));
        item.mData[0] =
            static_cast<unsigned char>(program.GetProgram() | (program.IsProgramEnabled() ? 0 : kProgramDisabled));
        item.mNumber = program.GetFullBank();
    }
    else
    {
        std::array<unsigned char, 3> message{};
        iEvent.GetMessageData(message.data(), 0);
        item.mStatus = message[0];
        item.mData = {message[1], message[2]};
    }
    mItems.push_back(item);
    return mItems.back();
}

int MdidHost_ExportTrackEvents::Clip(int iValue, Mdie_SubStream_ValueRange iRange)
{
    const int clipped = std::clamp(iValue, iRange.mMinimum, iRange.mMaximum);
    mNumClipped += clipped != iValue;
    return clipped;
}

void MdidHost_ExportTrackEvents::Write(Cmn_OutStream& ioStream)
{
    std::ranges::stable_sort(mItems, std::less<>());
    MdidHost_ExportTrackWriter bytes;
    MdidHost_ExportItemWriter writer(bytes, mMetaData);
    for (const Item& item : mItems)
        writer.Write(item);
    bytes.Finish(mEnd, ioStream);

    AddLoss("events before the start or after the last time of the file", mNumMoved);
    AddLoss("values beyond what MIDI can say", mNumClipped);
    AddLoss("notes within others of their pitch, with which they change ends", writer.GetNumNestedNotes());
}

void MdidHost_ExportTrackEvents::AddLoss(const char* iWhat, std::int64_t iCount)
{
    if (iCount > 0)
        MdidHost_AddLoss(mLosses, iWhat, iCount);
}
