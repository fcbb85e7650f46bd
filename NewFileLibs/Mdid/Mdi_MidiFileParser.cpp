#include "Mdid/Mdi_MidiFileParser.h"

#include "CFnd/Cmn_Assert.h"
#include "CFnd/I18N_Utils.h"
#include "CFnd/Sys_StreamException.h"
#include "Mdid/Mdi_ChannelEvent_Private.h"
#include "Mdid/Mdi_Meta.h"
#include "Mdid/Mdi_Status.h"
#include "Mdid/Mdid_Messages.h"
#include "Mdid/Mdid_SysexEvent.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <new>
#include <string_view>

namespace
{

constexpr std::int32_t kHeaderLength = 6;
constexpr std::int16_t kNumFormats = 3;
constexpr std::uint32_t kMaxTextLength = 255;

// A delta of four bytes, a status and two data bytes.
constexpr std::ptrdiff_t kLongestPlainEvent = 7;

void CheckChunkType(Sys_BigEndianInStream& ioStream, std::string_view iType)
{
    std::array<char, 4> type;
    ioStream.ReadBlock(type.data(), type.size());
    if (std::string_view(type.data(), type.size()) != iType)
        Mdid_ThrowMessage(102); // "bad header type encountered"
}

// Where reading stands among whole channel messages.
struct PlainEvents
{
    const unsigned char* mP; // behind the message
    std::uint32_t mTime;
    Mdi_ChannelMessage mMessage; // its status is the running one for the next

    // Goes on to the next message; false, with nothing changed, when anything else or a delta of more than four bytes
    // comes next. kLongestPlainEvent bytes must be readable.
    //
    // Nobody can foretell whether a message repeats its status and how long it is, so neither is asked in a branch.
    bool Next()
    {
        const unsigned char* p = mP;
        const unsigned char* const lastDeltaP = p + 3;
        std::uint32_t delta = *p & 0x7Fu;
        while (*p >= 0x80 && p < lastDeltaP)
            delta = delta << 7 | (*++p & 0x7Fu);
        if (*p++ >= 0x80)
            return false;

        const int hasStatus = *p >> 7;
        const unsigned char status = hasStatus != 0 ? *p : mMessage.mStatus;
        p += hasStatus;
        const int isLong = Mdi_Parse::NumDataBytes(status) - 1;
        const int dataBits = p[0] | (p[1] & -isLong);
        if (status < Mdi_Status::kFirst || status >= Mdi_Status::kFirstSystem || dataBits >= 0x80)
            return false;
        *this = {p + 1 + isLong, mTime + delta, {status, p[0], p[1]}};
        return true;
    }
};

} // namespace

Mdi_MidiFileParser::Mdi_MidiFileParser(Cmn_InStream& iStream, Mdi_MidiFileParserClient& iClient)
    : mStream(iStream),
      mClient(iClient)
{
}

Mdi_MidiFileParser::~Mdi_MidiFileParser() = default;

void Mdi_MidiFileParser::Parse()
{
    ReadHeader();
    if (mNumTracks > 0)
        ReadFirstTrackTwice();
    ReadTracks();
    mClient.Complete();
}

void Mdi_MidiFileParser::ReadHeader()
{
    CheckChunkType(mStream, "MThd");
    const auto length = mStream.Read<std::int32_t>();
    if (length < kHeaderLength)
        Mdid_ThrowMessage(103); // "bad header length encountered"
    mFormat = mStream.Read<std::int16_t>();
    // Kept: the number is signed, so a negative one is accepted.
    if (mFormat >= kNumFormats)
        Mdid_ThrowMessage(104); // "MIDI file format unknown"
    mClient.SetFormat(static_cast<unsigned short>(mFormat));
    mNumTracks = mStream.Read<std::uint16_t>();
    mClient.SetNumTracks(mNumTracks);
    ReadDivision();
    mStream.Skip(length - kHeaderLength);
}

void Mdi_MidiFileParser::ReadDivision()
{
    const auto division = mStream.Read<std::int16_t>();
    if (division >= 0)
    {
        mClient.SetTicksPerQuarterNote(division);
        return;
    }
    const int frames = -(division >> 8);
    const bool isDropFrame = frames == 29;
    mClient.SetSMPTETicks(static_cast<short>(isDropFrame ? 30 : frames), isDropFrame,
                          static_cast<short>(division & 0xFF));
}

void Mdi_MidiFileParser::ReadFirstTrackTwice()
{
    const std::int64_t start = mStream.GetPosition();
    for (const EPass pass : {kMapPass, kGlobalPass})
    {
        ReadTrack(pass);
        mStream.SetPosition(start);
    }
}

// A file may hold fewer tracks than it announces.
void Mdi_MidiFileParser::ReadTracks()
{
    for (std::uint16_t read = 0; read < mNumTracks;)
    {
        ReadTrack(kTrackPass);
        ++read;
        if (mStream.IsAtEnd())
            mNumTracks = read;
    }
}

void Mdi_MidiFileParser::ReadTrack(EPass iPass)
{
    CheckChunkType(mStream, "MTrk");
    const auto length = mStream.Read<std::int32_t>();
    mPass = iPass;
    try
    {
        BeginPass();
        Reset();
        DropSysex();
        mTime = 0;
        ReadEvents(length);
        EndPass();
    }
    catch (...) // a std::string, too; and whatever the client throws, also when it begins or ends a pass
    {
        AbortPass();
        throw;
    }
}

void Mdi_MidiFileParser::BeginPass()
{
    switch (mPass)
    {
    case kMapPass:
        return mClient.BeginMapPass();
    case kGlobalPass:
        return mClient.BeginGlobalPass();
    case kTrackPass:
        return mClient.BeginTrack();
    default:
        CMN_VERIFY(false);
    }
}

void Mdi_MidiFileParser::EndPass()
{
    switch (mPass)
    {
    case kMapPass:
        return mClient.EndMapPass();
    case kGlobalPass:
        return mClient.EndGlobalPass();
    case kTrackPass:
        return mClient.EndTrack();
    default:
        CMN_VERIFY(false);
    }
}

void Mdi_MidiFileParser::AbortPass()
{
    switch (mPass)
    {
    case kMapPass:
        return mClient.AbortMapPass();
    case kGlobalPass:
        return mClient.AbortGlobalPass();
    case kTrackPass:
        return mClient.AbortTrack();
    default:
        CMN_VERIFY(false);
    }
}

// Events begin within the length of the track; the last one may reach beyond it. The end-of-track event ends nothing.
void Mdi_MidiFileParser::ReadEvents(std::int64_t iLength)
{
    while (iLength > 0)
    {
        iLength -= ReadChannelEventsInWindow(iLength);
        if (iLength <= 0)
            return;
        const std::int64_t start = mStream.GetPosition();
        ReadEvent();
        iLength -= mStream.GetPosition() - start;
    }
}

// Sends a message that the byte parser has not seen: what it does on the way is done here, with one branch, for the
// messages that are rare.
inline void Mdi_MidiFileParser::DeliverPlain(std::uint32_t iTime, Mdi_ChannelMessage iMessage)
{
    if (iMessage.IsChannelMode())
        return;
    iMessage.ZeroVelocityToNoteOff();
    const auto channel = static_cast<signed char>(iMessage.mStatus & 0x0F);
    mClient.RxMidiEvent(static_cast<int>(iTime), Mdi_ChannelEvent(iMessage, InputChannel(channel)), channel);
}

// The short way for the events that most files consist of: whole channel messages that lie ready in the stream's
// window, up to the first event that is anything else. Returns the bytes read.
std::int64_t Mdi_MidiFileParser::ReadChannelEventsInWindow(std::int64_t iLength)
{
    if (mIsSysexInProgress)
        return 0;
    Cmn_InStream& stream = mStream.GetStream();
    const Cmn_InStream::Bytes window = stream.GetWindow();
    if (std::ssize(window) < kLongestPlainEvent)
        return 0;

    const unsigned char* const beginP = window.data();
    const unsigned char* const lastStartP =
        beginP + std::min<std::int64_t>(std::ssize(window) - kLongestPlainEvent, iLength - 1);
    // The client may throw: the parser then stands behind the event.
    struct WriteBack
    {
        Mdi_MidiFileParser& mParser;
        const unsigned char* mBeginP;
        PlainEvents mEvents;
        ~WriteBack()
        {
            mParser.mStream.GetStream().Advance(static_cast<std::size_t>(mEvents.mP - mBeginP));
            mParser.mTime = mEvents.mTime;
            mParser.SetRunningStatus(mEvents.mMessage.mStatus);
        }
    } reading{*this, beginP, {beginP, mTime, {GetRunningStatus(), 0, 0}}};

    PlainEvents& events = reading.mEvents;
    const bool isTrackPass = mPass == kTrackPass;
    while (events.mP <= lastStartP && events.Next())
        if (isTrackPass)
            DeliverPlain(events.mTime, events.mMessage);
    return events.mP - beginP;
}

void Mdi_MidiFileParser::ReadEvent()
{
    mTime += ReadVariableLength();
    const auto status = mStream.Read<unsigned char>();
    switch (status)
    {
    case Mdi_Status::kSysexStart:
        BeginSysex();
        return ReadSysexData();
    case Mdi_Status::kSysexEnd:
        return ReadSysexData();
    case Mdi_Status::kMeta:
        return ReadMetaEvent();
    default:
        DropSysex();
        if (status >= Mdi_Status::kFirstSystem)
            Mdid_ThrowMessage(105); // "bad first byte of event encountered"
        ReadMidiEvent(status);
    }
}

// Seven bits a byte, the highest first; what does not fit into 32 bits is lost.
std::uint32_t Mdi_MidiFileParser::ReadVariableLength()
{
    std::uint32_t value = 0;
    unsigned char byte = 0;
    do
    {
        byte = mStream.Read<unsigned char>();
        value = value << 7 | (byte & 0x7Fu);
    } while (byte >= 0x80);
    return value;
}

// The byte parser sorts out running status, and bytes that make no sense.
void Mdi_MidiFileParser::ReadMidiEvent(unsigned char iByte)
{
    while (!MidiStream(&iByte, 1))
    {
        iByte = mStream.Read<unsigned char>();
        if (iByte >= Mdi_Status::kFirstSystem)
            Mdid_ThrowMessage(114); // "bad MIDI event encountered"
    }
}

// A whole channel message, as the byte parser hands it over. In the passes over the first track it is only consumed.
bool Mdi_MidiFileParser::Deliver(const unsigned char* iBytes)
{
    if (mPass == kTrackPass)
    {
        const auto channel = static_cast<signed char>(iBytes[0] & 0x0F);
        mClient.RxMidiEvent(Now(), Mdi_ChannelEvent({iBytes[0], iBytes[1], iBytes[2]}, InputChannel(channel)), channel);
    }
    return true;
}

void Mdi_MidiFileParser::BeginSysex()
{
    mSysex.clear();
    mIsSysexInProgress = true;
    mSysexTime = mTime;
}

// An F7 event, or what follows F0: a piece of a message under assembly, or bytes that nobody waits for.
void Mdi_MidiFileParser::ReadSysexData()
{
    const std::uint32_t length = ReadVariableLength();
    if (mPass != kTrackPass || !mIsSysexInProgress)
    {
        mStream.Skip(length);
        mIsSysexInProgress = mIsSysexInProgress && mPass == kTrackPass;
        return;
    }
    AppendToSysex(length);
    if (!mSysex.empty() && mSysex.back() == Mdi_Status::kSysexEnd)
        DeliverSysex();
}

// Piece by piece, so that no more memory is taken than the file has bytes.
void Mdi_MidiFileParser::AppendToSysex(std::uint32_t iLength)
{
    Cmn_InStream& stream = mStream.GetStream();
    if (iLength > stream.GetBytesLeft())
        stream.Fail(Sys_StreamException::kEndOfStream);
    while (iLength > 0)
    {
        const Cmn_InStream::Bytes window = stream.GetWindow();
        if (window.empty())
            stream.Fail(Sys_StreamException::kEndOfStream);
        const Cmn_InStream::Bytes piece = window.first(std::min<std::size_t>(iLength, window.size()));
        mSysex.append(piece);
        stream.Advance(piece.size());
        iLength -= static_cast<std::uint32_t>(piece.size());
    }
}

void Mdi_MidiFileParser::DeliverSysex()
{
    mSysex.pop_back();
    Mdid_SysexEvent event(&mSysex);
    if (event.GetType() == Mdid_Event::kNullEvent) // a message must not get lost in silence
        throw std::bad_alloc();
    mSysex.clear();
    mIsSysexInProgress = false;
    mClient.RxMidiEvent(static_cast<int>(mSysexTime), event, 0);
    // Unless the client kept a copy, nobody can be reading the block: a file full of sysex must not pile them up.
    event.ReleaseUnseen();
}

void Mdi_MidiFileParser::DropSysex()
{
    mSysex.clear();
    mIsSysexInProgress = false;
}

void Mdi_MidiFileParser::ReadMetaEvent()
{
    const auto type = mStream.Read<unsigned char>();
    const std::uint32_t length = ReadVariableLength();
    switch (type)
    {
    case Mdi_Meta::kText:
    case Mdi_Meta::kTrackName:
    case Mdi_Meta::kInstrumentName:
    case Mdi_Meta::kMarker:
        return ReadTextMetaEvent(type, length);
    case Mdi_Meta::kChannelPrefix:
        return ReadChannelPrefix(length);
    case Mdi_Meta::kEndOfTrack:
        CheckLength(length, 0, 107); // "bad length for End of Track meta-event encountered"
        return mClient.RxEndOfTrack(Now());
    case Mdi_Meta::kTempo:
    case Mdi_Meta::kSMPTEOffset:
    case Mdi_Meta::kMeter:
    case Mdi_Meta::kKey:
        // Kept: a pass that does not want them does not look at their length either.
        return mPass == kMapPass ? ReadMapMetaEvent(type, length) : mStream.Skip(length);
    default:
        mClient.RxUnknownMetaEvent(Now(), type, static_cast<int>(length));
        mStream.Skip(length);
    }
}

void Mdi_MidiFileParser::ReadTextMetaEvent(unsigned char iType, std::uint32_t iLength)
{
    const bool isWanted = iType == Mdi_Meta::kMarker ? mPass == kGlobalPass && mCanImportMarkers : mPass == kTrackPass;
    if (!isWanted)
        return mStream.Skip(iLength);

    const std::string text = ReadText255(iLength);
    switch (iType)
    {
    case Mdi_Meta::kText:
        return mClient.RxTrackComment(text);
    case Mdi_Meta::kTrackName:
        return mClient.RxTrackName(text);
    case Mdi_Meta::kInstrumentName:
        return mClient.RxTrackInstrumentName(text);
    default:
        return mClient.RxMarker(Now(), text);
    }
}

std::string Mdi_MidiFileParser::ReadText255(std::uint32_t iLength)
{
    std::array<char, kMaxTextLength> bytes;
    const std::uint32_t length = std::min(iLength, kMaxTextLength);
    mStream.ReadBlock(bytes.data(), length);
    mStream.Skip(iLength - length);
    const auto end = std::find(bytes.begin(), bytes.begin() + length, '\0');
    return I18N_Utils::ChangeTextEncoding(std::string(bytes.begin(), end),
                                          I18N_Utils::GetNativeTextEncodingForCurrentLanguage(), "UTF-8");
}

void Mdi_MidiFileParser::ReadChannelPrefix(std::uint32_t iLength)
{
    if (mPass == kMapPass)
        return mStream.Skip(iLength);
    CheckLength(iLength, 1, 108); // "unknown length for MIDI channel meta-event encountered"
    mClient.RxChannel(mStream.Read<unsigned char>());
}

void Mdi_MidiFileParser::ReadMapMetaEvent(unsigned char iType, std::uint32_t iLength)
{
    switch (iType)
    {
    case Mdi_Meta::kTempo:
        CheckLength(iLength, 3, 109); // "unknown length for tempo meta-event encountered"
        return ReadTempo();
    case Mdi_Meta::kSMPTEOffset:
        if (iLength != 5)
            throw Mdid_LoadMessage(110); // "unknown length for SMPTE Offset meta-event"
        return ReadSMPTEOffset();
    case Mdi_Meta::kMeter:
        CheckLength(iLength, 4, 112); // "unknown length for Time Signature meta-event encountered"
        return ReadMeter();
    default:
        CheckLength(iLength, 2, 113); // "unknown length for Key Signature meta-event encountered"
        return ReadKey();
    }
}

void Mdi_MidiFileParser::CheckLength(std::uint32_t iLength, std::uint32_t iExpected, unsigned int iMessage)
{
    if (iLength != iExpected)
        Mdid_ThrowMessage(iMessage);
}

void Mdi_MidiFileParser::ReadTempo()
{
    std::array<unsigned char, 3> bytes;
    mStream.ReadBlock(bytes.data(), bytes.size());
    mClient.RxTempo(Now(), bytes[0] << 16 | bytes[1] << 8 | bytes[2]);
}

void Mdi_MidiFileParser::ReadSMPTEOffset()
{
    static constexpr std::array<std::uint16_t, 4> kRates{24, 25, Mdi_MidiFileParserClient_Timecode::kDrop30, 30};
    std::array<unsigned char, 5> bytes;
    mStream.ReadBlock(bytes.data(), bytes.size());

    Mdi_MidiFileParserClient_Timecode timecode;
    timecode.mFrameRate = kRates[(bytes[0] >> 5) & 3];
    timecode.mHours = bytes[0] & 0x1F;
    timecode.mMinutes = bytes[1];
    timecode.mSeconds = bytes[2];
    timecode.mFrames = bytes[3];
    timecode.mHundredths = bytes[4];
    const bool isValid = timecode.mHours < 24 && timecode.mMinutes < 60 && timecode.mSeconds < 60 &&
                         timecode.mFrames < (timecode.mFrameRate & 0xFF) && timecode.mHundredths <= 99;
    // Kept: the two failures of this event are thrown as the bare text.
    if (!isValid)
        throw Mdid_LoadMessage(111); // "Bad SMPTE offset"
    mClient.RxSMPTEOffset(timecode);
}

void Mdi_MidiFileParser::ReadMeter()
{
    std::array<unsigned char, 4> bytes;
    mStream.ReadBlock(bytes.data(), bytes.size());
    const int denominator = bytes[1] < 31 ? 1 << bytes[1] : 0;
    mClient.RxMeter(Now(), bytes[0], denominator, bytes[2] * bytes[3] / 3, bytes[3]);
}

void Mdi_MidiFileParser::ReadKey()
{
    const int sharps = mStream.Read<signed char>();
    const auto mode = mStream.Read<unsigned char>();
    Time_KeySignature key;
    key.SetNumAccidentals(std::abs(sharps));
    key.SetIsSharps(sharps >= 0);
    key.SetIsMajor(mode == 0);
    mClient.RxKey(Now(), key);
}

// The byte parser consumes these without a word.
bool Mdi_MidiFileParser::ParseSysEx(const unsigned char*, short)
{
    return true;
}
bool Mdi_MidiFileParser::ParseChannelMode(const unsigned char*)
{
    return true;
}

bool Mdi_MidiFileParser::ParseNoteOff(const unsigned char* iBytes)
{
    return Deliver(iBytes);
}
bool Mdi_MidiFileParser::ParseNoteOn(const unsigned char* iBytes)
{
    return Deliver(iBytes);
}
bool Mdi_MidiFileParser::ParsePolyPressure(const unsigned char* iBytes)
{
    return Deliver(iBytes);
}
bool Mdi_MidiFileParser::ParseController(const unsigned char* iBytes)
{
    return Deliver(iBytes);
}
bool Mdi_MidiFileParser::ParseProgramChange(const unsigned char* iBytes)
{
    return Deliver(iBytes);
}
bool Mdi_MidiFileParser::ParseChannelPressure(const unsigned char* iBytes)
{
    return Deliver(iBytes);
}
bool Mdi_MidiFileParser::ParsePitchBend(const unsigned char* iBytes)
{
    return Deliver(iBytes);
}

Mdi_MidiFileParserClient::~Mdi_MidiFileParserClient() = default;

// A client overrides what it needs.
void Mdi_MidiFileParserClient::SetFormat(unsigned short) {}
void Mdi_MidiFileParserClient::SetNumTracks(unsigned short) {}
void Mdi_MidiFileParserClient::SetTicksPerQuarterNote(short) {}
void Mdi_MidiFileParserClient::SetSMPTETicks(short, bool, short) {}
void Mdi_MidiFileParserClient::BeginMapPass() {}
void Mdi_MidiFileParserClient::EndMapPass() {}
void Mdi_MidiFileParserClient::AbortMapPass() {}
void Mdi_MidiFileParserClient::BeginGlobalPass() {}
void Mdi_MidiFileParserClient::EndGlobalPass() {}
void Mdi_MidiFileParserClient::AbortGlobalPass() {}
void Mdi_MidiFileParserClient::AbortTrack() {}
void Mdi_MidiFileParserClient::BeginTrack() {}
void Mdi_MidiFileParserClient::EndTrack() {}
void Mdi_MidiFileParserClient::Complete() {}
void Mdi_MidiFileParserClient::RxMidiEvent(int, const Mdid_Event&, short) {}
void Mdi_MidiFileParserClient::RxTrackComment(const std::string&) {}
void Mdi_MidiFileParserClient::RxTrackName(const std::string&) {}
void Mdi_MidiFileParserClient::RxTrackInstrumentName(const std::string&) {}
void Mdi_MidiFileParserClient::RxChannel(unsigned char) {}
void Mdi_MidiFileParserClient::RxEndOfTrack(int) {}
void Mdi_MidiFileParserClient::RxTempo(int, int) {}
void Mdi_MidiFileParserClient::RxMeter(int, int, int, int, int) {}
void Mdi_MidiFileParserClient::RxKey(int, Time_KeySignature&) {}
void Mdi_MidiFileParserClient::RxSMPTEOffset(const Mdi_MidiFileParserClient_Timecode&) {}
void Mdi_MidiFileParserClient::RxMarker(int, const std::string&) {}
void Mdi_MidiFileParserClient::RxUnknownMetaEvent(int, unsigned char, int) {}
