#pragma once

#include "Mdid/Mdid_Event.h"

#include <array>

struct Mdi_ChannelMessage;

// Receives events one by one: from the byte parser, and on the playback side.
class MDID_EXPORT Mdie_EventReceiver
{
public:
    virtual ~Mdie_EventReceiver();

    // iEvent is valid during the call; a copy may be kept.
    virtual void ReceiveEvent(const Mdid_Event& iEvent) = 0;
};

// A raw MIDI byte stream, in pieces of any size, becomes whole messages: running status, system-exclusive data and
// real-time bytes between any others are sorted out here, and every message goes to one of the Parse operations.
//
// Nothing is ever reported as an error: bytes that make no sense are dropped. No memory is taken.
// One thread at a time. An operation may throw; the parser then goes on behind the message.
class MDID_EXPORT Mdi_Parse
{
public:
    // Takes the AllowMPE option as it is now: with it off, all events go to channel 0.
    Mdi_Parse();
    virtual ~Mdi_Parse();
    Mdi_Parse(const Mdi_Parse&) = delete;
    Mdi_Parse& operator=(const Mdi_Parse&) = delete;

    // Feeds iLength bytes; less than one does nothing. Returns what the last operation called meanwhile returned,
    // false when none was called.
    bool MidiStream(const unsigned char* iBytes, short iLength);

    // Forgets running status and the message under assembly.
    void Reset();
    void ClearRunningStatus() { Reset(); }

    // Of the running status, 0 to 15, whatever the option says; -1 without one.
    short GetChannel() const
    {
        return static_cast<short>(mRunningStatus != 0 ? mRunningStatus & 0x0F : Mdid_Event::kNoChannel);
    }

    // The channel that an event gets: iChannel, or 0 with the option off.
    signed char InputChannel(signed char iChannel) const
    {
        return static_cast<signed char>(mPreservesChannels ? iChannel : 0);
    }

    // Of channel messages, behind the status: one for C0 to DF, two for all others. Worked out without a branch, which
    // nobody could foretell: bit n tells it for the statuses whose highest bits are n.
    static constexpr int NumDataBytes(unsigned char iStatus) { return 2 - ((1 << 6) >> (iStatus >> 5) & 1); }

    // One for each kind of message. iBytes: the whole message, status first, valid until the operation returns or feeds
    // the parser. True when the message was consumed. The base versions do nothing and return false.
    virtual bool ParseRealTime(const unsigned char* iBytes);             // F8 to FF, between any two other bytes
    virtual bool ParseSysEx(const unsigned char* iBytes, short iLength); // F0 ... F7, at most 257 bytes
    virtual bool ParseNoteOff(const unsigned char* iBytes);              // 8n, and 9n with velocity 0 as 8n with 64
    virtual bool ParseNoteOn(const unsigned char* iBytes);               // 9n
    virtual bool ParsePolyPressure(const unsigned char* iBytes);         // An
    virtual bool ParseChannelMode(const unsigned char* iBytes);          // Bn, controllers from 120 on
    virtual bool ParseController(const unsigned char* iBytes);           // Bn, controllers below 120
    virtual bool ParseProgramChange(const unsigned char* iBytes);        // Cn
    virtual bool ParseChannelPressure(const unsigned char* iBytes);      // Dn
    virtual bool ParsePitchBend(const unsigned char* iBytes);            // En
    virtual bool ParseTimecode(const unsigned char* iBytes);             // F1
    virtual bool ParseSongPointer(const unsigned char* iBytes);          // F2
    virtual bool ParseSongSelect(const unsigned char* iBytes);           // F3
    virtual bool ParseTuneRequest(const unsigned char* iBytes);          // F6

protected:
    unsigned char GetRunningStatus() const { return mRunningStatus; }

    // For a parser that decodes some messages by itself.
    void SetRunningStatus(unsigned char iStatus) { mRunningStatus = iStatus; }

private:
    static constexpr int kMaxSysexLength = 256; // without its F7

    const unsigned char* ParseNotes(const unsigned char* iBytes, const unsigned char* iEndP, bool& oResult);
    int ParseWholeChannelMessage(const unsigned char* iBytes, std::ptrdiff_t iLength, bool& oResult);
    void ParseByte(const unsigned char* iByteP, bool& oResult);
    void AddDataByte(unsigned char iByte, bool& oResult);
    void Dispatch(bool& oResult);
    bool SendDirectly(Mdi_ChannelMessage iMessage);
    bool CallChannelOperation(Mdi_ChannelMessage iMessage);
    bool CallNoteOn(Mdi_ChannelMessage iMessage);
    const unsigned char* PutMessage(Mdi_ChannelMessage iMessage);
    void DispatchSystemCommon(bool& oResult);

    friend class Mdi_ParseToEventReceiver;

    // Takes the events of channel messages in place of their operations, where these would do nothing else.
    Mdie_EventReceiver* mDirectReceiverP = nullptr;
    bool mPreservesChannels;
    bool mReportsZeroVelocityAsNoteOff = true;
    unsigned char mRunningStatus = 0; // 0: none
    short mCount = 0;
    std::array<unsigned char, kMaxSysexLength + 1> mBuffer{};
};

// Channel messages become events; all other messages are consumed.
class MDID_EXPORT Mdi_ParseToEventReceiver : public Mdi_Parse
{
public:
    ~Mdi_ParseToEventReceiver() override;

    // Not owned. Without a receiver events are dropped, and their messages still count as consumed.
    void SetEventReceiver(Mdie_EventReceiver* iReceiverP);

    bool ParseRealTime(const unsigned char* iBytes) override;
    bool ParseSysEx(const unsigned char* iBytes, short iLength) override;
    bool ParseNoteOff(const unsigned char* iBytes) override;
    bool ParseNoteOn(const unsigned char* iBytes) override;
    bool ParsePolyPressure(const unsigned char* iBytes) override;
    bool ParseChannelMode(const unsigned char* iBytes) override;
    bool ParseController(const unsigned char* iBytes) override;
    bool ParseProgramChange(const unsigned char* iBytes) override;
    bool ParseChannelPressure(const unsigned char* iBytes) override;
    bool ParsePitchBend(const unsigned char* iBytes) override;
    bool ParseTimecode(const unsigned char* iBytes) override;
    bool ParseSongPointer(const unsigned char* iBytes) override;
    bool ParseSongSelect(const unsigned char* iBytes) override;
    bool ParseTuneRequest(const unsigned char* iBytes) override;

private:
    template <unsigned char kStatus>
    bool Send(const unsigned char* iBytes);

    Mdie_EventReceiver* mReceiverP = nullptr;
};

// Decodes the first channel event in iBytes. oChannelP and oCountP may be null; they get the channel of its status byte
// (-1 when no event was completed) and the count of bytes used.
// A real-time byte or a finished system-exclusive message ends the scan too: with a null event, as does the end.
MDID_EXPORT Mdid_Event Mdi_ParseSingleEvent(signed char* oChannelP, int* oCountP, const unsigned char* iBytes,
                                            int iLength);
