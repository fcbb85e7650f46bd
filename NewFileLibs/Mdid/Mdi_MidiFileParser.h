#pragma once

#include "CFnd/Cmn_PolyVector.h"
#include "CFnd/Sys_TypedStream.h"
#include "MFnd/Time_KeySignature.h"
#include "Mdid/Mdi_Parse.h"

#include <string>

// Where the piece begins on a time code clock.
struct Mdi_MidiFileParserClient_Timecode
{
    static constexpr std::uint16_t kDrop30 = 286; // 30 drop-frame; its low byte is 30

    std::uint16_t mFrameRate = 0; // 24, 25, 30 or kDrop30
    std::uint8_t mHours = 0;
    std::uint8_t mMinutes = 0;
    std::uint8_t mSeconds = 0;
    std::uint8_t mFrames = 0;
    std::uint8_t mHundredths = 0; // of a frame
};

// What a Standard MIDI File holds, told in the order of the file. A client overrides what it needs.
//
// Times are in ticks of the file from the start of the track; they wrap at 32 bits. References are valid during the
// call. An operation may throw, also one that begins or ends a pass: the abort operation of the running pass is called,
// and the exception leaves Parse. The stream is read ahead: during a call its position tells nothing.
class MDID_EXPORT Mdi_MidiFileParserClient
{
public:
    virtual ~Mdi_MidiFileParserClient();

    virtual void SetFormat(unsigned short iFormat);
    virtual void SetNumTracks(unsigned short iCount); // as announced

    // One of the two. iFramesPerSecond: 30 with iDropFrame is 29.97.
    virtual void SetTicksPerQuarterNote(short iTicks);
    virtual void SetSMPTETicks(short iFramesPerSecond, bool iDropFrame, short iTicksPerFrame);

    // First track only: tempo, meter, key, SMPTE offset.
    virtual void BeginMapPass();
    virtual void EndMapPass();
    virtual void AbortMapPass();
    // First track only: markers, channel prefixes.
    virtual void BeginGlobalPass();
    virtual void EndGlobalPass();
    virtual void AbortGlobalPass();
    // Each track: events, texts, channel prefixes.
    virtual void AbortTrack();
    virtual void BeginTrack();
    virtual void EndTrack();
    // The whole file was read.
    virtual void Complete();

    // iChannel: of the status byte, 0 to 15, whatever channel the event was put on; 0 for system-exclusive.
    virtual void RxMidiEvent(int iTime, const Mdid_Event& iEvent, short iChannel);
    virtual void RxTrackComment(const std::string& iText);
    virtual void RxTrackName(const std::string& iText);
    virtual void RxTrackInstrumentName(const std::string& iText);
    virtual void RxChannel(unsigned char iChannel);
    virtual void RxEndOfTrack(int iTime); // in every pass
    virtual void RxTempo(int iTime, int iMicrosecondsPerQuarter);
    // iClocks: MIDI clocks a click times thirty-seconds a quarter, divided by 3. iThirtySeconds: a quarter.
    virtual void RxMeter(int iTime, int iNumerator, int iDenominator, int iClocks, int iThirtySeconds);
    virtual void RxKey(int iTime, Time_KeySignature& iKey);
    virtual void RxSMPTEOffset(const Mdi_MidiFileParserClient_Timecode& iTimecode);
    virtual void RxMarker(int iTime, const std::string& iText);
    // iLength: of the data, which is skipped. In every pass.
    virtual void RxUnknownMetaEvent(int iTime, unsigned char iType, int iLength);
};

// Reads a Standard MIDI File in one go: the first track twice for what concerns the whole piece, then every track.
//
// The file is streamed: beyond a system-exclusive message under assembly nothing of it is held.
// Texts are UTF-8, converted from I18N_Utils::GetNativeTextEncodingForCurrentLanguage(), cut after 255 bytes of the
// file and at a NUL.
class MDID_EXPORT Mdi_MidiFileParser final : private Mdi_Parse
{
public:
    // Both must outlive the parser. Events are put on their channels as Mdi_Parse does.
    Mdi_MidiFileParser(Cmn_InStream& iStream, Mdi_MidiFileParserClient& iClient);
    ~Mdi_MidiFileParser() override;

    // Markers are reported only when this is set.
    void SetCanImportMarkers(bool iCanImport) { mCanImportMarkers = iCanImport; }

    // From the stream's position to the end of the last track. Linear in the size of the file.
    // Throws std::runtime_error with a text of the message table (102 to 114), a std::string with such a text for a bad
    // SMPTE offset (kept: hosts catch both), Sys_StreamException when the file ends early, std::bad_alloc.
    void Parse();

private:
    enum EPass
    {
        kMapPass = 0,
        kGlobalPass = 1,
        kTrackPass = 2
    };

    void ReadHeader();
    void ReadDivision();
    void ReadFirstTrackTwice();
    void ReadTracks();

    void ReadTrack(EPass iPass);
    void BeginPass();
    void EndPass();
    void AbortPass();
    void ReadEvents(std::int64_t iLength);
    std::int64_t ReadChannelEventsInWindow(std::int64_t iLength);
    void ReadEvent();
    std::uint32_t ReadVariableLength();

    void ReadMidiEvent(unsigned char iByte);
    bool Deliver(const unsigned char* iBytes);
    void DeliverPlain(std::uint32_t iTime, Mdi_ChannelMessage iMessage);

    void BeginSysex();
    void ReadSysexData();
    void AppendToSysex(std::uint32_t iLength);
    void DeliverSysex();
    void DropSysex();

    void ReadMetaEvent();
    void ReadTextMetaEvent(unsigned char iType, std::uint32_t iLength);
    std::string ReadText255(std::uint32_t iLength);
    void ReadChannelPrefix(std::uint32_t iLength);
    void ReadMapMetaEvent(unsigned char iType, std::uint32_t iLength);
    static void CheckLength(std::uint32_t iLength, std::uint32_t iExpected, unsigned int iMessage);
    void ReadTempo();
    void ReadSMPTEOffset();
    void ReadMeter();
    void ReadKey();

    int Now() const { return static_cast<int>(mTime); }

    bool ParseSysEx(const unsigned char* iBytes, short iLength) override;
    bool ParseNoteOff(const unsigned char* iBytes) override;
    bool ParseNoteOn(const unsigned char* iBytes) override;
    bool ParsePolyPressure(const unsigned char* iBytes) override;
    bool ParseChannelMode(const unsigned char* iBytes) override;
    bool ParseController(const unsigned char* iBytes) override;
    bool ParseProgramChange(const unsigned char* iBytes) override;
    bool ParseChannelPressure(const unsigned char* iBytes) override;
    bool ParsePitchBend(const unsigned char* iBytes) override;

    Sys_BigEndianInStream mStream;
    Mdi_MidiFileParserClient& mClient;
    std::int16_t mFormat = 0;
    std::uint16_t mNumTracks = 0;
    EPass mPass = kMapPass;
    std::uint32_t mTime = 0;
    bool mCanImportMarkers = false;
    bool mIsSysexInProgress = false;
    std::uint32_t mSysexTime = 0;
    Cmn_PolyVector<unsigned char> mSysex; // behind its F0
};
