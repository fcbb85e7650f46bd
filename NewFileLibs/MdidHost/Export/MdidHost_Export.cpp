#include "MdidHost/Export/MdidHost_Export.h"

#include "CFnd/I18N_Utils.h"
#include "Mdid/Mdi_Controller.h"
#include "Mdid/Mdi_Meta.h"
#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_EventTypes.h"
#include "MdidHost/Export/MdidHost_ExportTrackEvents_Private.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <stdexcept>

namespace
{

using Writer = MdidHost_ExportTrackWriter;
using Group = std::vector<std::size_t>; // places of session tracks that make one track of the file

constexpr int kMaxTracks = std::numeric_limits<std::uint16_t>::max();
constexpr int kMaxEmptyTracks = 1000; // more than these come from no file
constexpr int kMaxTempo = 0xFFFFFF;

std::string BytesOf(std::initializer_list<int> iBytes)
{
    std::string bytes;
    std::ranges::transform(iBytes, std::back_inserter(bytes), [](int iByte) { return static_cast<char>(iByte); });
    return bytes;
}

int ClipTo(int iMinimum, int iMaximum, int iValue, bool& oIsClipped)
{
    const int clipped = std::clamp(iValue, iMinimum, iMaximum);
    oIsClipped |= clipped != iValue;
    return clipped;
}

// In the encoding in which the reader of files expects them, which finds out about UTF-8 itself.
std::string EncodedText(const std::string& iText)
{
    const std::string encoding = I18N_Utils::GetNativeTextEncodingForCurrentLanguage();
    const bool isDetected = encoding == I18N_Utils::kDetectEncoding;
    const std::string text = isDetected ? iText : I18N_Utils::ChangeTextEncoding(iText, "UTF-8", encoding);
    return text.substr(0, static_cast<std::size_t>(Writer::kMaxQuantity));
}

// nn, dd (the denominator as a power of two), clocks a click, thirty-seconds a quarter.
std::string BytesOf(const MdidHost_Meter& iMeter, bool& oIsClipped)
{
    const auto denominator = static_cast<unsigned>(std::max(iMeter.mDenominator, 1));
    oIsClipped = iMeter.mDenominator < 1 || !std::has_single_bit(denominator);
    const auto power = static_cast<int>(std::bit_width(denominator)) - 1;
    return BytesOf({ClipTo(0, 255, iMeter.mNumerator, oIsClipped), power,
                    ClipTo(0, 255, iMeter.mClocksPerClick, oIsClipped),
                    ClipTo(0, 255, iMeter.mThirtySecondsPerQuarter, oIsClipped)});
}

std::string BytesOf(const Time_KeySignature& iKey, bool& oIsClipped)
{
    const int accidentals = ClipTo(0, 7, iKey.GetNumAccidentals(), oIsClipped);
    return BytesOf({iKey.GetIsSharps() ? accidentals : -accidentals, iKey.GetIsMajor() ? 0 : 1});
}

// None when it is no time code.
std::optional<std::string> BytesOf(const Mdi_MidiFileParserClient_Timecode& i)
{
    constexpr std::array<int, 4> kRates = {24, 25, Mdi_MidiFileParserClient_Timecode::kDrop30, 30};
    const auto rate = std::ranges::find(kRates, int{i.mFrameRate});
    const int framesPerSecond = i.mFrameRate & 0xFF;
    if (rate == kRates.end() || i.mHours >= 24 || i.mMinutes >= 60 || i.mSeconds >= 60 ||
        i.mFrames >= framesPerSecond || i.mHundredths >= 100)
        return {};
    const auto code = static_cast<int>(rate - kRates.begin());
    return BytesOf({code << 5 | i.mHours, i.mMinutes, i.mSeconds, i.mFrames, i.mHundredths});
}

// Whether the lanes configure a zone: the parameter that their first data entry sets is the configuration.
bool HoldsConfiguration(const Mdid_Chunk& iChunk)
{
    const auto find = [&](int iController)
    { return iChunk.FindContinuousStream(Mdie_SubStream::Controller(iController)); };
    const Mdid_ContinuousDataStream* entriesP = find(Mdi_Controller::kDataEntryMSB);
    if (!entriesP || entriesP->IsEmpty())
        return false;
    const Time_Typed first = entriesP->GetSegments().front().mTime;
    const auto holds = [&](int iController, int iNumber)
    {
        const Mdid_ContinuousDataStream* laneP = find(iController);
        return laneP && !laneP->IsEmpty() && laneP->GetSegments().front().mTime <= first &&
               laneP->GetValueAtTime(first) == iNumber;
    };
    return holds(Mdi_Controller::kParameterMSB, 0) &&
           holds(Mdi_Controller::kParameterLSB, Mdi_Controller::kMPEConfiguration);
}

class Exporter
{
public:
    Exporter(const MdidHost_Session& iSession, int iFormat, const MdidHost_Division& iDivision,
             const MdidHost_ExportClock& iClock, const MdidHost_ExportNoteChannels& iNoteChannels,
             std::vector<MdidHost_Loss>& ioLosses)
        : mSession(iSession),
          mFormat(iFormat == 0 ? 0 : 1),
          mDivision(iDivision),
          mClock(iClock),
          mNoteChannels(iNoteChannels),
          mLosses(ioLosses)
    {
    }

    void Write(Cmn_OutStream& ioStream)
    {
        const std::vector<Group> groups = GroupTracks();
        MdidHost_ExportTrackWriter::WriteFileHeader(mFormat, groups.size(), mDivision.AsHeaderField(), ioStream);
        if (mSession.mFormat == 2)
            AddLoss("sequences that stood for themselves, now side by side", std::ssize(groups));
        for (std::size_t i = 0; i < groups.size(); ++i)
            WriteTrack(groups[i], i == 0, ioStream);
    }

private:
    void AddLoss(const char* iWhat, std::int64_t iCount = 1)
    {
        if (iCount > 0)
            MdidHost_AddLoss(mLosses, iWhat, iCount);
    }

    std::vector<Group> GroupTracks();
    void WriteTrack(const Group& iGroup, bool iIsFirst, Cmn_OutStream& ioStream);
    void AddTexts(const Group& iGroup, MdidHost_ExportTrackEvents& ioEvents);
    void AddOneText(const Group& iGroup, std::string MdidHost_Track::*iTextP, unsigned char iType, const char* iLoss,
                    MdidHost_ExportTrackEvents& ioEvents);
    void AddConductor(MdidHost_ExportTrackEvents& ioEvents);
    void AddConfiguration(const Group& iGroup, MdidHost_ExportTrackEvents& ioEvents) const;
    Time_Typed GetStart() const { return {0, mDivision.GetKind()}; }

    const MdidHost_Session& mSession;
    const int mFormat;
    const MdidHost_Division& mDivision;
    const MdidHost_ExportClock& mClock;
    const MdidHost_ExportNoteChannels& mNoteChannels;
    std::vector<MdidHost_Loss>& mLosses;
};

// By the number of the file's track. The numbers are kept, with empty tracks in between, unless that would make more
// of these than a file plausibly had. There is always a first track.
std::vector<Group> Exporter::GroupTracks()
{
    Group order(mSession.mTracks.size());
    for (std::size_t i = 0; std::size_t & place : order)
        place = i++;
    if (mFormat == 0)
        return {order};

    const auto fileTrackOf = [&](std::size_t i) { return mSession.mTracks[i].mFileTrack; };
    std::ranges::stable_sort(order, {}, fileTrackOf);
    const bool areNumbersKept =
        order.empty() ||
        (fileTrackOf(order.front()) >= 1 &&
         fileTrackOf(order.back()) <= std::min<std::int64_t>(kMaxTracks, std::ssize(order) + kMaxEmptyTracks));
    if (!areNumbersKept)
        AddLoss("numbers of tracks, which were too far apart", std::ssize(order));

    std::vector<Group> groups(areNumbersKept && !order.empty() ? static_cast<std::size_t>(fileTrackOf(order.back()))
                                                               : 1);
    for (std::size_t i = 0, group = 0; i < order.size(); ++i)
    {
        if (areNumbersKept)
            group = static_cast<std::size_t>(fileTrackOf(order[i])) - 1;
        else if (i > 0 && fileTrackOf(order[i]) != fileTrackOf(order[i - 1]))
            ++group;
        if (group >= groups.size())
            groups.resize(group + 1);
        groups[group].push_back(order[i]);
    }
    if (std::ssize(groups) > kMaxTracks)
        throw std::runtime_error("more tracks than a MIDI file can say");
    return groups;
}

void Exporter::WriteTrack(const Group& iGroup, bool iIsFirst, Cmn_OutStream& ioStream)
{
    MdidHost_ExportTrackEvents events(mClock, mNoteChannels, mLosses);
    if (iIsFirst && mSession.mSMPTEOffset)
    {
        const std::optional<std::string> bytes = BytesOf(*mSession.mSMPTEOffset);
        if (bytes)
            events.AddMeta(GetStart(), Mdi_Meta::kSMPTEOffset, *bytes);
        else
            AddLoss("time code offsets that a file cannot say");
    }
    AddTexts(iGroup, events);
    if (iIsFirst)
        AddConductor(events);
    AddConfiguration(iGroup, events);
    for (const std::size_t track : iGroup)
        events.AddTrack(mSession.mTracks[track], track);
    events.Write(ioStream);
}

void Exporter::AddTexts(const Group& iGroup, MdidHost_ExportTrackEvents& ioEvents)
{
    AddOneText(iGroup, &MdidHost_Track::mName, Mdi_Meta::kTrackName, "names of tracks beside another one", ioEvents);
    AddOneText(iGroup, &MdidHost_Track::mInstrument, Mdi_Meta::kInstrumentName,
               "names of instruments beside another one", ioEvents);
    for (const std::size_t track : iGroup)
        for (const std::string& comment : mSession.mTracks[track].mComments)
            ioEvents.AddMeta(GetStart(), Mdi_Meta::kText, EncodedText(comment));
}

// A track of a file has one name: the first there is.
void Exporter::AddOneText(const Group& iGroup, std::string MdidHost_Track::*iTextP, unsigned char iType,
                          const char* iLoss, MdidHost_ExportTrackEvents& ioEvents)
{
    const std::string* writtenP = nullptr;
    for (const std::size_t track : iGroup)
    {
        const std::string& text = mSession.mTracks[track].*iTextP;
        if (text.empty())
            continue;
        if (!writtenP)
            ioEvents.AddMeta(GetStart(), iType, EncodedText(*(writtenP = &text)));
        else if (text != *writtenP)
            AddLoss(iLoss);
    }
}

// What holds for the whole piece.
void Exporter::AddConductor(MdidHost_ExportTrackEvents& ioEvents)
{
    for (const auto& entry : mSession.mContext.GetTempoMap().GetEntries())
    {
        const int tempo = std::min(entry.mMicrosecondsPerQuarter, kMaxTempo);
        if (tempo != entry.mMicrosecondsPerQuarter)
            AddLoss("tempos slower than a file can say");
        ioEvents.AddMeta(entry.mTick, Mdi_Meta::kTempo, BytesOf({tempo >> 16, tempo >> 8, tempo}));
    }
    for (const MdidHost_Meter& meter : mSession.mMeters)
    {
        bool isClipped = false;
        ioEvents.AddMeta(meter.mTime, Mdi_Meta::kMeter, BytesOf(meter, isClipped));
        AddLoss("meters that a file cannot say", isClipped);
    }
    for (const MdidHost_Key& key : mSession.mKeys)
    {
        bool isClipped = false;
        ioEvents.AddMeta(key.mTime, Mdi_Meta::kKey, BytesOf(key.mKey, isClipped));
        AddLoss("keys that a file cannot say", isClipped);
    }
    for (const MdidHost_Marker& marker : mSession.mMarkers)
        ioEvents.AddMeta(marker.mTime, Mdi_Meta::kMarker, EncodedText(marker.mText));
}

// The zone that was made for notes with per-note lanes is configured where the first of them are.
void Exporter::AddConfiguration(const Group& iGroup, MdidHost_ExportTrackEvents& ioEvents) const
{
    const auto& zone = mNoteChannels.GetMadeZone();
    const std::size_t first = mNoteChannels.GetFirstTrackOfMadeZone();
    if (!zone || std::ranges::find(iGroup, first) == iGroup.end())
        return;
    const MdidHost_Track& track = mSession.mTracks[first];
    if (MdidHost_ExportChannel(track, 0) == zone->mMaster && HoldsConfiguration(*track.mChunk))
        return;
    const auto master = static_cast<signed char>(zone->mMaster);
    ioEvents.AddFirstMessage(Mdid_ControllerEvent(master, Mdi_Controller::kParameterMSB, 0));
    ioEvents.AddFirstMessage(
        Mdid_ControllerEvent(master, Mdi_Controller::kParameterLSB, Mdi_Controller::kMPEConfiguration));
    ioEvents.AddFirstMessage(
        Mdid_ControllerEvent(master, Mdi_Controller::kDataEntryMSB, static_cast<signed char>(zone->mNumMembers)));
}

} // namespace

MdidHost_ExportReport MdidHost_ExportMidiFile(const MdidHost_Session& iSession, const MdidHost_ExportOptions& iOptions,
                                              Cmn_OutStream& ioStream)
{
    const MdidHost_Session::Scope scope(iSession);
    MdidHost_ExportReport report;
    const MdidHost_Division division = iOptions.mDivision.value_or(iSession.mDivision);
    const MdidHost_ExportClock clock(division, iSession.mContext);
    const MdidHost_ExportNoteChannels noteChannels(iSession, clock, report.mLosses);
    Exporter(iSession, iOptions.mFormat, division, clock, noteChannels, report.mLosses).Write(ioStream);
    return report;
}
