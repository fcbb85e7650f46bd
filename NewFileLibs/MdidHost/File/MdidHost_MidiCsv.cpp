#include "MdidHost/File/MdidHost_MidiCsv.h"

#include "Mdid/Mdid_Messages.h"
#include "MdidHost/File/MdidHost_FileScan_Private.h"

#include <algorithm>
#include <charconv>
#include <ostream>
#include <string>
#include <string_view>

namespace
{

using Event = MdidHost_TrackEvent;

const char* NameOfChannelMessage(unsigned char iStatus)
{
    switch (iStatus & 0xF0)
    {
    case 0x80:
        return "Note_off_c";
    case 0x90:
        return "Note_on_c";
    case 0xA0:
        return "Poly_aftertouch_c";
    case 0xB0:
        return "Control_c";
    case 0xC0:
        return "Program_c";
    case 0xD0:
        return "Channel_aftertouch_c";
    default:
        return "Pitch_bend_c";
    }
}

// Null for what is no text.
const char* NameOfText(unsigned char iType)
{
    static constexpr const char* kNames[] = {nullptr,   "Text_t",   "Copyright_t", "Title_t", "Instrument_name_t",
                                             "Lyric_t", "Marker_t", "Cue_point_t"};
    return iType < std::size(kNames) ? kNames[iType] : nullptr;
}

class CsvWriter
{
public:
    CsvWriter(std::ostream& ioStream, MdidHost_FileBytes& ioFile) : mStream(ioStream), mFile(ioFile) {}

    void Line(std::int64_t iTrack, std::int64_t iTime, const char* iType)
    {
        Number(iTrack);
        Field(iTime);
        Field(iType);
    }
    void EndLine()
    {
        mText += '\n';
        if (mText.size() >= kFlushSize)
            Flush();
    }
    void Field(std::int64_t iNumber)
    {
        mText += ", ";
        Number(iNumber);
    }
    void Field(const char* iName) { (mText += ", ") += iName; }

    void Write(std::int64_t iTrack, const Event& iEvent);
    void Flush()
    {
        mStream.write(mText.data(), std::ssize(mText));
        mText.clear();
    }

private:
    static constexpr std::size_t kFlushSize = std::size_t{1} << 16;

    void Number(std::int64_t iNumber)
    {
        std::array<char, 24> digits;
        const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), iNumber);
        mText.append(digits.data(), result.ptr);
    }

    // Each byte with its place.
    template <class Operation>
    void ForEachByte(const Event& iEvent, Operation iOperation)
    {
        for (std::int64_t i = 0; i < iEvent.mLength; ++i)
        {
            iOperation(mFile.At(iEvent.mPayload + i));
            if (mText.size() >= kFlushSize)
                Flush();
        }
    }

    void ChannelMessage(const Event& iEvent);
    void Meta(std::int64_t iTrack, const Event& iEvent);
    void FixedMeta(const Event& iEvent);
    void Text(const Event& iEvent);
    void Character(int iByte);
    void Data(const Event& iEvent);
    void BigEndian(const Event& iEvent, int iNumBytes)
    {
        Field(mFile.BigEndian(iEvent.mPayload, static_cast<int>(std::min<std::int64_t>(iNumBytes, iEvent.mLength))));
    }

    std::ostream& mStream;
    MdidHost_FileBytes& mFile;
    std::string mText;
};

void CsvWriter::Write(std::int64_t iTrack, const Event& iEvent)
{
    if (iEvent.IsChannelMessage())
    {
        Line(iTrack, iEvent.mTime, NameOfChannelMessage(iEvent.mStatus));
        ChannelMessage(iEvent);
    }
    else if (iEvent.IsMeta())
        Meta(iTrack, iEvent);
    else
    {
        Line(iTrack, iEvent.mTime, iEvent.mStatus == 0xF0 ? "System_exclusive" : "System_exclusive_packet");
        Data(iEvent);
    }
    EndLine();
}

void CsvWriter::ChannelMessage(const Event& iEvent)
{
    const auto& bytes = iEvent.mData.mBytes;
    Field(iEvent.mStatus & 0x0F);
    if (iEvent.mStatus >= 0xE0)
        return Field(bytes[0] | bytes[1] << 7);
    for (std::size_t i = 0; i < static_cast<std::size_t>(iEvent.mLength); ++i)
        Field(bytes[i]);
}

void CsvWriter::Meta(std::int64_t iTrack, const Event& iEvent)
{
    using namespace Mdi_Meta;
    if (const char* const name = NameOfText(iEvent.mType))
    {
        Line(iTrack, iEvent.mTime, name);
        return Text(iEvent);
    }
    static constexpr std::pair<unsigned char, const char*> kFixed[] = {
        {kChannelPrefix, "Channel_prefix"}, {kEndOfTrack, "End_track"}, {kTempo, "Tempo"},
        {kSMPTEOffset, "SMPTE_offset"},     {kMeter, "Time_signature"}, {kKey, "Key_signature"}};
    const auto fixed = std::ranges::find(kFixed, iEvent.mType, &std::pair<unsigned char, const char*>::first);
    if (fixed != std::end(kFixed))
    {
        Line(iTrack, iEvent.mTime, fixed->second);
        return FixedMeta(iEvent);
    }
    switch (iEvent.mType)
    {
    case kSequenceNumber:
        Line(iTrack, iEvent.mTime, "Sequence_number");
        return BigEndian(iEvent, 2);
    case kPort:
        Line(iTrack, iEvent.mTime, "MIDI_port");
        return BigEndian(iEvent, 1);
    case kSequencerSpecific:
        Line(iTrack, iEvent.mTime, "Sequencer_specific");
        return Data(iEvent);
    default:
        Line(iTrack, iEvent.mTime, "Unknown_meta_event");
        Field(iEvent.mType);
        return Data(iEvent);
    }
}

void CsvWriter::FixedMeta(const Event& iEvent)
{
    const auto& bytes = iEvent.mData.mBytes;
    if (iEvent.mType == Mdi_Meta::kTempo)
        return Field(bytes[0] << 16 | bytes[1] << 8 | bytes[2]);
    if (iEvent.mType == Mdi_Meta::kKey)
    {
        Field(static_cast<signed char>(bytes[0]));
        return Field(bytes[1] == 0 ? "\"major\"" : "\"minor\"");
    }
    for (std::size_t i = 0; i < static_cast<std::size_t>(iEvent.mLength); ++i)
        Field(bytes[i]);
}

void CsvWriter::Text(const Event& iEvent)
{
    mText += ", \"";
    ForEachByte(iEvent, [this](int iByte) { Character(iByte); });
    mText += '"';
}

// Latin 1 goes out as it is, but for its control characters and the non-breaking space.
void CsvWriter::Character(int iByte)
{
    static constexpr int kFirstControl = 0x7F;
    static constexpr int kLastControl = 0xA0;
    if (iByte < ' ' || (iByte >= kFirstControl && iByte <= kLastControl))
    {
        mText += '\\';
        for (const int shift : {6, 3, 0})
            mText += static_cast<char>('0' + (iByte >> shift & 7));
        return;
    }
    const char c = static_cast<char>(iByte);
    mText += c;
    if (c == '"' || c == '\\')
        mText += c;
}

void CsvWriter::Data(const Event& iEvent)
{
    Field(iEvent.mLength);
    ForEachByte(iEvent, [this](int iByte) { Field(iByte); });
}

} // namespace

void MdidHost_WriteMidiCsv(std::ostream& ioStream, Cmn_InStream& ioFile)
{
    MdidHost_FileScan scan(ioFile, MdidHost_RepairingStream::Mode::kRepair);
    if (!scan.HasMidi())
        Mdid_ThrowMessage(102); // "bad header type encountered"

    CsvWriter writer(ioStream, scan.GetBytes());
    writer.Line(0, 0, "Header");
    writer.Field(scan.GetHeader().mFormat);
    writer.Field(std::ssize(scan.GetTracks()));
    writer.Field(static_cast<std::int16_t>(scan.GetHeader().mDivision));
    writer.EndLine();
    std::int64_t number = 0;
    for (const MdidHost_FileScan::Track& track : scan.GetTracks())
    {
        writer.Line(++number, 0, "Start_track");
        writer.EndLine();
        MdidHost_TrackScanner scanner = scan.MakeScanner(track);
        for (Event event; scanner.Next(event);)
            writer.Write(number, event);
    }
    writer.Line(0, 0, "End_of_file");
    writer.EndLine();
    writer.Flush();
}
