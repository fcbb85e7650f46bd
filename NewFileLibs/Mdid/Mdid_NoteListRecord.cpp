// Note lists in records, as XML, and as text.

#include "Mdid/Mdid_NoteList.h"

#include "CFnd/Cmn_XMLNode.h"
#include "CFnd/Sys_StdStreamHeader.h"
#include "CFnd/Sys_StreamException.h"
#include "MFnd/Time_Convert.h"
#include "MFnd/Time_TypedDefs.h"
#include "MFnd/Time_XML.h"
#include "Mdid/Mdid_ContinuousDataStream.h"
#include "Mdid/Mdid_Messages.h"
#include "Mdid/Mdid_NoteListTrimmedNotesContext.h"
#include "Mdid/Mdid_NoteOnKey_Private.h"
#include "Mdid/Mdid_Notifications.h"
#include "Mdid/Mdid_Options.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "QuorPlatformSupport/PSUtil_Trace.h"
#include "QuorPlatformSupport/SPSStartupOption.h"

#include <algorithm>
#include <functional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

namespace
{

using Note = Mdid_NoteListBase::Note;

constexpr char kTag[] = "MdNLB";
constexpr std::int16_t kVersion = 3;
constexpr std::int16_t kVersionWithDeltas = 2;
constexpr std::int16_t kVersionWithOriginals = 3;

constexpr std::size_t kNoteSize = 35;
constexpr std::size_t kNoteSizeWithoutDeltas = 19;
constexpr std::int32_t kOriginalSize = 11;
constexpr std::int32_t kFlagsSize = 18;
constexpr std::size_t kDeltasSize = 16;
constexpr std::int16_t kNumFlagFields = 3;
constexpr std::size_t kSizeInAll = kNoteSize + kOriginalSize + kFlagsSize;
constexpr std::size_t kSizeOfCounts = 4 + 8 + 10;

// Lines in the trace are cut at a kilobyte.
constexpr std::size_t kTraceLineLength = 900;

// The fields of one element, put together to be written at once.
template <std::size_t kSize>
class FieldWriter
{
public:
    template <Sys_StreamInteger T>
    FieldWriter& operator<<(T iValue)
    {
        const auto bytes = Sys_ToBytes<std::endian::little>(iValue);
        std::memcpy(mBytes.data() + mSize, bytes.data(), bytes.size());
        mSize += bytes.size();
        return *this;
    }
    FieldWriter& operator<<(Time_Typed iTime) { return *this << Time_TypedDefs::GetRawDataForSave(iTime); }
    FieldWriter& operator<<(Time_TypedLength iLength) { return *this << Time_TypedDefs::GetRawDataForSave(iLength); }

    void WriteTo(Sys_TypedOutStream& ioStream) const { ioStream.WriteBlock(mBytes.data(), mSize); }

private:
    std::array<unsigned char, kSize> mBytes;
    std::size_t mSize = 0;
};

// The fields of one element, read at once.
template <std::size_t kMaxSize>
class FieldReader
{
public:
    FieldReader(Sys_TypedInStream& ioStream, std::size_t iSize) { ioStream.ReadBlock(mBytes.data(), iSize); }

    template <class T>
    T Get()
    {
        if constexpr (std::integral<T>)
        {
            std::array<unsigned char, sizeof(T)> bytes;
            std::memcpy(bytes.data(), mBytes.data() + mPosition, sizeof(T));
            mPosition += sizeof(T);
            return Sys_FromBytes<std::endian::little, T>(bytes);
        }
        else
        {
            T time;
            if (!Time_TypedDefs::SetFromRawSavedData(Get<std::int64_t>(), time)) [[unlikely]]
                Mdid_ThrowMessage(100); // "bad data encountered"
            return time;
        }
    }

private:
    std::array<unsigned char, kMaxSize> mBytes;
    std::size_t mPosition = 0;
};

// As long as a note at least is.
Time_TypedLength Audible(Time_TypedLength iDuration)
{
    if (iDuration.AsInt64() >= 1)
        return iDuration;
    return {iDuration.GetType() == Time_EType::kTick ? 1000 : 1, iDuration.GetType()};
}

// In the kind of the duration.
Time_TypedLength DurationDeltaFromOriginal(const Note& iNote)
{
    const Time_TypedLength duration = iNote.GetNote().GetDuration();
    return duration - (Time_TypedLength(0, duration.GetType()) + iNote.GetOriginalDuration());
}

std::int64_t InThousandTicks(Time_Typed iTime)
{
    return Time_Convert::ToTick(iTime).AsInt64() / 1000;
}

std::string InThousandTicks(Time_Typed iStart, Time_Typed iEnd)
{
    return "[" + std::to_string(InThousandTicks(iStart)) + ":" + std::to_string(InThousandTicks(iEnd)) + "]";
}

bool IsTrimmed(const Note& iNote)
{
    return iNote.HasTrimExtension() && !iNote.GetTrimExtension()->Empty();
}

// Moves past all elements of a section; false when they reach past the end of the record.
bool SkipSection(Sys_TypedInStream& ioStream, std::int64_t iCount, std::int64_t iSize)
{
    if (iSize < 0 || iCount * iSize > ioStream.GetBytesLeft())
        return false;
    ioStream.GetStream().Skip(iCount * iSize);
    return true;
}

// An empty lane of a note that has none of its index.
struct StandIn
{
    std::size_t mNote;
    Mdie_SubStream mKey;
};

struct NoteOnPlace
{
    Mdid_NoteOnKey mKey;
    std::size_t mNote;
};

// The notes of one time, those of one note-on together and in order.
std::vector<NoteOnPlace> SortedNoteOns(const std::vector<Note>& iNotes, std::size_t iFirst, std::size_t iLast)
{
    std::vector<NoteOnPlace> places;
    places.reserve(iLast - iFirst);
    for (std::size_t i = iFirst; i < iLast; ++i)
        places.push_back({Mdid_NoteOnKey::AsReadBack(iNotes[i]), i});
    std::ranges::stable_sort(places, std::less<Mdid_NoteOnKey>(), &NoteOnPlace::mKey);
    return places;
}

// Adds the indices of the note's lanes that are new.
void SeeLanes(const Note& iNote, std::vector<Mdie_SubStream>& ioSeen)
{
    if (!iNote.HasPerNoteControllers())
        return;
    for (const Mdid_PerNoteDataStream& lane : *iNote.GetPerNoteControllers())
        if (std::ranges::find(ioSeen, lane.GetSubStream()) == ioSeen.end())
            ioSeen.push_back(lane.GetSubStream());
}

void AddStandInsOfOneTime(const std::vector<Note>& iNotes, const std::vector<NoteOnPlace>& iPlaces,
                          std::vector<StandIn>& ioStandIns)
{
    std::vector<Mdie_SubStream> seen; // of the notes before
    for (std::size_t i = 0; i < iPlaces.size(); ++i)
    {
        if (i > 0 && iPlaces[i - 1].mKey < iPlaces[i].mKey)
            seen.clear();
        const Note& note = iNotes[iPlaces[i].mNote];
        for (const Mdie_SubStream& key : seen)
            if (!Mdid_HasLane(note, key))
                ioStandIns.push_back({iPlaces[i].mNote, key});
        SeeLanes(note, seen);
    }
}

// Saved lanes of equal note-ons know their notes by their number alone: the first one is the last note's. So a note
// without a lane gets an empty one when a note before it has one. Ascending by note.
std::vector<StandIn> FindStandIns(const std::vector<Note>& iNotes)
{
    std::vector<StandIn> standIns;
    for (std::size_t first = 0, last = 0; first < iNotes.size(); first = last)
    {
        bool isAnyWithLanes = false;
        for (; last < iNotes.size() && iNotes[last].GetTime() == iNotes[first].GetTime(); ++last)
            isAnyWithLanes |= iNotes[last].HasPerNoteControllers();
        if (isAnyWithLanes && last > first + 1)
            AddStandInsOfOneTime(iNotes, SortedNoteOns(iNotes, first, last), standIns);
    }
    std::ranges::stable_sort(standIns, {}, &StandIn::mNote);
    return standIns;
}

} // namespace

// "MdNLB", version 3:
//   int32  N
//   N times (35 bytes):  int64 time, int8 pitch, int64 duration, int8 on velocity, int8 off velocity,
//                        int64 quantize time delta, int64 duration - original duration (both since version 2)
// since version 3, the originals:
//   int32  N, int32 size of each = 11
//   N times:  int8 pitch, int64 duration, int8 on velocity, int8 off velocity
// and:
//   int32  N, int16 fields of each = 3, int32 size of each = 18
//   N times:  bool muted, int8 channel, int64 left untrimmed delta and int64 right untrimmed delta (plain counts)
// Times and lengths as Time_TypedDefs::GetRawDataForSave has them.
void Mdid_NoteListBase::StreamOut(Sys_TypedOutStream& ioStream, Mdid_ContinuousDataStreamList& ioLanes) const
{
    Sys_StdStreamHeaderWriter header(ioStream, kTag, kVersion);
    StreamOutNotes(ioStream);
    header.PatchSize();
    // A receiver may throw: before there are lanes that nobody owns yet.
    if (std::ranges::any_of(mNotes, IsTrimmed))
        Cmn_N10nCenter::GetSender()->Post(Mdid_N10n_MIDISerializingTrimmedNotes());
    StreamOutLanes(ioLanes);
}

void Mdid_NoteListBase::StreamOutNotes(Sys_TypedOutStream& ioStream) const
{
    const auto count = static_cast<std::int32_t>(mNotes.size());
    ioStream.GetStream().Expect(mNotes.size() * kSizeInAll + kSizeOfCounts);
    ioStream.Write(count);
    for (const Note& note : mNotes)
    {
        const Mdid_NoteWithDurationBase& event = note.GetNote();
        FieldWriter<kNoteSize> fields;
        fields << note.GetTime() << event.GetPitch() << event.GetDuration() << event.GetVelocity()
               << event.GetOffVelocity() << note.GetQuantizeTimeDelta() << DurationDeltaFromOriginal(note);
        fields.WriteTo(ioStream);
    }

    ioStream.Write(count);
    ioStream.Write(kOriginalSize);
    for (const Note& note : mNotes)
    {
        FieldWriter<kOriginalSize> fields;
        fields << note.GetOriginalPitch() << note.GetOriginalDuration() << note.GetOriginalOnVelocity()
               << note.GetOriginalOffVelocity();
        fields.WriteTo(ioStream);
    }

    ioStream.Write(count);
    ioStream.Write(kNumFlagFields);
    ioStream.Write(kFlagsSize);
    for (const Note& note : mNotes)
    {
        const bool isSaved = mTrimmedNotesContextP && note.HasTrimExtension();
        const Mdid_TrimmedNoteExtension trimmed = isSaved ? *note.GetTrimExtension() : Mdid_TrimmedNoteExtension();
        FieldWriter<kFlagsSize> fields;
        fields << static_cast<unsigned char>(note.IsMuted() ? 1 : 0) << note.GetEvent().GetChannel()
               << trimmed.mLeftUntrimmedDelta << trimmed.mRightUntrimmedDelta;
        fields.WriteTo(ioStream);
    }
}

Mdid_NoteListBase::Lanes Mdid_NoteListBase::MakeLanes() const
{
    Lanes lanes;
    const auto add = [&lanes](const Note& iNote, Mdie_SubStream iKey, bool iSnapToCoarseTicks)
    {
        iKey.LinkToNote(iNote);
        iKey.SetChannel(Mdid_NoteOnKey::ChannelReadBack(iKey.GetChannel()));
        // Not undoable: saving leaves no traces in the history.
        lanes.push_back(Lanes::value_type(new Mdid_ContinuousDataStream(iKey, kNotUndoable, iSnapToCoarseTicks)));
        return lanes.back().get();
    };
    const std::vector<StandIn> standIns = FindStandIns(mNotes);
    auto standIn = standIns.begin();
    for (std::size_t i = 0; i < mNotes.size(); ++i)
    {
        if (mNotes[i].HasPerNoteControllers())
            for (const Mdid_PerNoteDataStream& stream : *mNotes[i].GetPerNoteControllers())
                add(mNotes[i], stream.GetSubStream(), stream.GetSnapToCoarseTicks())->ReplaceData(&stream);
        for (; standIn != standIns.end() && standIn->mNote == i; ++standIn)
            add(mNotes[i], standIn->mKey, mSnapToCoarseTicks);
    }
    // Lanes with one key, of equal note-ons, stand in the reverse order of their notes.
    std::ranges::reverse(lanes);
    std::ranges::stable_sort(lanes,
                             [](const auto& iA, const auto& iB) { return iA->GetSubStream() < iB->GetSubStream(); });
    return lanes;
}

void Mdid_NoteListBase::StreamOutLanes(Mdid_ContinuousDataStreamList& ioLanes) const
{
    if (!Mdid_AllowMPE())
        return;
    Lanes lanes = MakeLanes();
    // Merged, not inserted: the keys of the notes of one time count as equal when they are not, and every note has
    // lanes.
    Mdid_ContinuousDataStreamList merged;
    merged.reserve(ioLanes.size() + lanes.size());
    auto own = ioLanes.begin();
    for (const auto& laneP : lanes)
    {
        for (; own != ioLanes.end() && (!*own || (*own)->GetSubStream() < laneP->GetSubStream()); ++own)
            merged.push_back(*own);
        merged.push_back(laneP.get());
    }
    merged.append({own, ioLanes.end()});
    ioLanes = std::move(merged);
    for (auto& laneP : lanes)
        static_cast<void>(laneP.release()); // the caller's now
}

void Mdid_NoteListBase::StreamIn(Sys_TypedInStream& ioStream)
{
    AboutToEdit();
    ForgetReturns();
    mNotes.clear();
    mIsMPE = false;
    if (iLongNoteListP)
        iLongNoteListP->Clear();
    try
    {
        StreamInSections(ioStream);
    }
    catch (...)
    {
        RegenerateLongNoteList();
        throw;
    }
    RegenerateLongNoteList();
}

void Mdid_NoteListBase::StreamInSections(Sys_TypedInStream& ioStream)
{
    Sys_StdStreamHeaderReader header(ioStream, kTag);
    header.CheckVersion(1, kVersion);
    StreamInNotes(ioStream, header.GetVersion() >= kVersionWithDeltas);
    const bool hasOriginals = header.GetVersion() >= kVersionWithOriginals && header.IsMoreLeft();
    if ((!hasOriginals || StreamInOriginals(ioStream)) && header.IsMoreLeft())
        StreamInFlags(ioStream);
    header.SkipTheRest();
}

void Mdid_NoteListBase::StreamInNotes(Sys_TypedInStream& ioStream, bool iHasDeltas)
{
    const auto count = ioStream.Read<std::int32_t>();
    if (count < 0)
        Mdid_ThrowMessage(100); // "bad data encountered"
    const std::size_t size = iHasDeltas ? kNoteSize : kNoteSizeWithoutDeltas;
    mNotes.reserve(std::min(static_cast<std::size_t>(count), static_cast<std::size_t>(ioStream.GetBytesLeft()) / size));
    for (std::int32_t i = 0; i < count; ++i)
    {
        FieldReader<kNoteSize> fields(ioStream, size);
        const auto time = fields.Get<Time_Typed>();
        const auto pitch = fields.Get<signed char>();
        const auto duration = fields.Get<Time_TypedLength>();
        const auto onVelocity = fields.Get<signed char>();
        const auto offVelocity = fields.Get<signed char>();
        const auto quantizeDelta = iHasDeltas ? fields.Get<Time_TypedLength>() : Time_TypedLength(0, time.GetType());
        const auto original = iHasDeltas ? duration - fields.Get<Time_TypedLength>() : duration;

        Mdid_NoteWithDurationEvent event(0, pitch, Audible(duration), onVelocity, offVelocity);
        const Mdid_NoteWithDurationEvent performed(0, pitch, Audible(original), onVelocity, offVelocity);
        mNotes.emplace_back(time, event, false, quantizeDelta, performed);
        ++mRevision; // receivers may ask for notes
        if (onVelocity == 0)
            Cmn_N10nCenter::GetSender()->Post(Mdid_N10n_MIDIZeroOnVelocitiesFound());
    }
}

// False when it cannot be told where the next section begins.
bool Mdid_NoteListBase::StreamInOriginals(Sys_TypedInStream& ioStream)
{
    if (ioStream.Read<std::int32_t>() != std::ssize(mNotes))
        return false;
    const auto size = ioStream.Read<std::int32_t>();
    if (size != kOriginalSize || std::ssize(mNotes) * size > ioStream.GetBytesLeft())
        return SkipSection(ioStream, std::ssize(mNotes), size);
    for (Note& note : mNotes)
    {
        FieldReader<kOriginalSize> fields(ioStream, kOriginalSize);
        const auto pitch = fields.Get<signed char>();
        const auto duration = fields.Get<Time_TypedLength>();
        const auto onVelocity = fields.Get<signed char>();
        const auto offVelocity = fields.Get<signed char>();
        note.SetAsPerformedEvent(Mdid_NoteWithDurationEvent(0, pitch, duration, onVelocity, offVelocity));
    }
    return true;
}

void Mdid_NoteListBase::StreamInFlags(Sys_TypedInStream& ioStream)
{
    if (ioStream.Read<std::int32_t>() != std::ssize(mNotes))
        return;
    const auto numFields = ioStream.Read<std::int16_t>();
    const auto size = ioStream.Read<std::int32_t>();
    const std::int32_t knownSize = numFields >= kNumFlagFields ? kFlagsSize : std::max<std::int32_t>(numFields, 0);
    if (size < knownSize || std::ssize(mNotes) * size > ioStream.GetBytesLeft())
        return;
    for (Note& note : mNotes)
    {
        if (numFields >= 1)
            note.SetIsMuted(ioStream.Read<bool>());
        if (numFields >= 2)
            note.GetEvent().SetChannel(Mdid_NoteOnKey::ChannelReadBack(ioStream.Read<signed char>()));
        if (numFields >= kNumFlagFields)
        {
            FieldReader<kDeltasSize> fields(ioStream, kDeltasSize);
            const auto left = fields.Get<std::int64_t>();
            const auto right = fields.Get<std::int64_t>();
            if (left != 0 || right != 0)
                SetTrimmedOff(note, {left, right, {}});
        }
        ioStream.GetStream().Skip(size - knownSize);
    }
}

void Mdid_NoteListBase::SetTrimmedOff(Note& ioNote, const Mdid_TrimmedNoteExtension& iExtension)
{
    RecreateTrimmedNotesContext();
    ioNote.SetTrimExtension(iExtension);
    mTrimmedNotesContextP->AttachContextToNote(ioNote);
    mTrimmedNotesContextP->FilterNote(ioNote);
}

Cmn_AliasedRefCountPtr<Cmn_XMLNode> Mdid_NoteListBase::GetAsXML() const
{
    auto root = Cmn_CreateXMLNode("NoteList");
    root->AddChild(Cmn_CreateXMLNode("nNumNotes", mNotes.size()));
    for (const Note& note : mNotes)
    {
        const Mdid_NoteWithDurationBase& event = note.GetNote();
        auto node = Cmn_CreateXMLNode("Note");
        node->AddChild(Time_CreateXMLNode("Time", note.GetTime()));
        node->AddChild(Cmn_CreateXMLNode("nPitch", event.GetPitch()));
        node->AddChild(Time_CreateXMLNode("Duration", event.GetDuration()));
        node->AddChild(Cmn_CreateXMLNode("nOnVel", event.GetVelocity()));
        node->AddChild(Cmn_CreateXMLNode("nOffVel", event.GetOffVelocity()));
        node->AddChild(Time_CreateXMLNode("QuantizeTimeDelta", note.GetQuantizeTimeDelta()));
        node->AddChild(Time_CreateXMLNode("DurationDeltaFromOriginal", DurationDeltaFromOriginal(note)));
        node->AddChild(Cmn_CreateXMLNode("nOriginalPitch", note.GetOriginalPitch()));
        node->AddChild(Time_CreateXMLNode("OriginalDuration", note.GetOriginalDuration()));
        node->AddChild(Cmn_CreateXMLNode("nOriginalOnVel", note.GetOriginalOnVelocity()));
        node->AddChild(Cmn_CreateXMLNode("nOriginalOffVel", note.GetOriginalOffVelocity()));
        root->AddChild(node);
    }
    return root;
}

void Mdid_NoteListBase::PrintList(std::ostream& ioStream) const
{
    ioStream << "NoteList at " << static_cast<const void*>(this) << "\nNotes: ";
    for (const Note& note : mNotes)
        ioStream << InThousandTicks(note.GetTime(), note.GetEndTime()) << " ("
                 << InThousandTicks(note.GetTime() + note.GetQuantizeTimeDelta()) << ") "
                 << std::to_string(note.GetPitch()) << ", ";
    ioStream << "\nOriginal notes: ";
    for (const Note& note : mNotes)
        ioStream << InThousandTicks(note.GetTime(), note.GetTime() + note.GetOriginalDuration()) << ' '
                 << std::to_string(note.GetOriginalPitch()) << ", ";
    ioStream << "\nLong notes: ";
    if (iLongNoteListP)
        for (const Note& note : *iLongNoteListP)
            ioStream << InThousandTicks(note.GetTime(), note.GetEndTime()) << ' ' << std::to_string(note.GetPitch())
                     << ", ";
}

void Mdid_NoteListBase::PrintList() const
{
    if (!PSUtil_Trace::IsActive(kTraceDiagnostics))
        return;
    std::ostringstream text;
    PrintList(text);
    std::istringstream lines(text.str());
    for (std::string line; std::getline(lines, line);)
        for (std::size_t i = 0; i < line.size(); i += kTraceLineLength)
            PSUTIL_TRACE(kTraceDiagnostics, "%s", line.substr(i, kTraceLineLength).c_str());
}
