#pragma once

#include "CFnd/Sys_StreamException.h"
#include "Mdid/Mdi_MidiFileParser.h"
#include "Support/Hex.h"
#include "Support/WindowedInStream.h"

#include <boost/algorithm/string/join.hpp>

#include <cstdint>
#include <string>
#include <vector>

// "a, b, c".
inline std::string Join(const std::vector<std::string>& iLines)
{
    return boost::algorithm::join(iLines, ", ");
}

// "b0 00 03 | c0 05": the MIDI messages that an event makes.
inline std::string MessagesToHex(const Mdid_Event& iEvent)
{
    std::string text;
    for (int i = 0; i < iEvent.GetNumMessages(); ++i)
    {
        std::vector<unsigned char> message(static_cast<std::size_t>(iEvent.GetMessageLength(i)));
        iEvent.GetMessageData(message.data(), i);
        text += (i > 0 ? " | " : "") + ToHex(message);
    }
    return text;
}

// "#1 0 90 3c 40": type, channel, and what goes out.
inline std::string EventToText(const Mdid_Event& iEvent)
{
    const std::string channel = std::to_string(iEvent.GetChannel());
    return "#" + std::to_string(iEvent.GetType()) + " " + channel + " " + MessagesToHex(iEvent);
}

// A client that writes each callback of the file reader as one line. What happens at a time begins with the time:
//   format 1 | tracks 2 | ticks 96 | smpte 30 1 80 | begin map | abort track | complete
//   0 on 9 #1 0 90 3c 40     an event: channel of the status byte, type, channel, bytes
//   name 'Piano' | 0 tempo 500000 | 0 meter 6 8 64 8 | 0 key 3 1 0 | 0 meta 127 3
struct CallbackLog : Mdi_MidiFileParserClient
{
    std::vector<std::string> mLines;
    std::size_t mThrowsAt = SIZE_MAX; // the callback that throws an int

    void SetFormat(unsigned short iFormat) override { Tell("format", iFormat); }
    void SetNumTracks(unsigned short iCount) override { Tell("tracks", iCount); }
    void SetTicksPerQuarterNote(short iTicks) override { Tell("ticks", iTicks); }
    void SetSMPTETicks(short iFrames, bool iDrop, short iTicks) override { Tell("smpte", iFrames, iDrop, iTicks); }

    void BeginMapPass() override { Tell("begin map"); }
    void EndMapPass() override { Tell("end map"); }
    void AbortMapPass() override { Tell("abort map"); }
    void BeginGlobalPass() override { Tell("begin global"); }
    void EndGlobalPass() override { Tell("end global"); }
    void AbortGlobalPass() override { Tell("abort global"); }
    void AbortTrack() override { Tell("abort track"); }
    void BeginTrack() override { Tell("begin track"); }
    void EndTrack() override { Tell("end track"); }
    void Complete() override { Tell("complete"); }

    void RxMidiEvent(int iTime, const Mdid_Event& i, short iFrom) override { Tell(iTime, "on", iFrom, EventToText(i)); }
    void RxTrackComment(const std::string& iText) override { Tell("comment '" + iText + "'"); }
    void RxTrackName(const std::string& iText) override { Tell("name '" + iText + "'"); }
    void RxTrackInstrumentName(const std::string& iText) override { Tell("instrument '" + iText + "'"); }
    void RxChannel(unsigned char iChannel) override { Tell("channel", iChannel); }
    void RxEndOfTrack(int iTime) override { Tell(iTime, "end of track"); }
    void RxTempo(int iTime, int iTempo) override { Tell(iTime, "tempo", iTempo); }
    void RxMeter(int iTime, int iNumerator, int iDenominator, int iClocks, int iThirtySeconds) override
    {
        Tell(iTime, "meter", iNumerator, iDenominator, iClocks, iThirtySeconds);
    }
    void RxKey(int iTime, Time_KeySignature& iKey) override
    {
        Tell(iTime, "key", iKey.GetNumAccidentals(), iKey.GetIsSharps(), iKey.GetIsMajor());
    }
    void RxSMPTEOffset(const Mdi_MidiFileParserClient_Timecode& i) override
    {
        Tell("offset", i.mFrameRate, i.mHours, i.mMinutes, i.mSeconds, i.mFrames, i.mHundredths);
    }
    void RxMarker(int iTime, const std::string& iText) override { Tell(iTime, "marker '" + iText + "'"); }
    void RxUnknownMetaEvent(int iTime, unsigned char iType, int iSize) override { Tell(iTime, "meta", iType, iSize); }

private:
    static std::string ToText(std::string iText) { return iText; }
    static std::string ToText(int iNumber) { return std::to_string(iNumber); }

    template <class First, class... Words>
    void Tell(First iFirst, Words... iWords)
    {
        mLines.push_back((ToText(iFirst) + ... + (" " + ToText(iWords))));
        if (mLines.size() > mThrowsAt)
            throw 42;
    }
};

// Reads the stream into the client. Returns "" or the text that was thrown, behind "string: " when it was thrown bare.
// Of the stream's own failures the reason alone. Anything else passes through.
inline std::string ReadMidiFile(Cmn_InStream& iStream, Mdi_MidiFileParserClient& iClient)
{
    try
    {
        Mdi_MidiFileParser parser(iStream, iClient);
        parser.SetCanImportMarkers(true);
        parser.Parse();
    }
    catch (const Sys_StreamException& error)
    {
        return error.GetReason();
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
    catch (const std::string& text)
    {
        return "string: " + text;
    }
    return {};
}

// All callbacks, and the failure as the last line. The stream has windows of at most iWindowSize bytes.
inline std::vector<std::string> ReadToLog(Cmn_InStream::Bytes iFile, std::size_t iWindowSize = SIZE_MAX)
{
    CallbackLog log;
    WindowedInStream stream(iFile, iWindowSize);
    const std::string failure = ReadMidiFile(stream, log);
    if (!failure.empty())
        log.mLines.push_back(failure);
    return log.mLines;
}
