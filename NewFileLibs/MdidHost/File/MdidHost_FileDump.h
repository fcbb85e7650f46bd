#pragma once

#include "Mdid/Mdi_MidiFileParser.h"

#include <iosfwd>

// Writes every callback of the file reader as one line, in the order in which they are made.
class MdidHost_FileDump : public Mdi_MidiFileParserClient
{
public:
    enum class Format
    {
        kText, // for people: "RxTempo time 0, usPerQuarter 500000"
        kJson  // {"cb":"RxTempo","time":0,"usPerQuarter":500000}
    };

    // ioStream must outlive the dump.
    MdidHost_FileDump(std::ostream& ioStream, Format iFormat) : mStream(ioStream), mFormat(iFormat) {}

    // The line that ends the dump of a file which could not be read whole.
    void WriteError(const std::string& iText);

    void SetFormat(unsigned short iFormat) override;
    void SetNumTracks(unsigned short iCount) override;
    void SetTicksPerQuarterNote(short iTicks) override;
    void SetSMPTETicks(short iFramesPerSecond, bool iDropFrame, short iTicksPerFrame) override;
    void BeginMapPass() override;
    void EndMapPass() override;
    void AbortMapPass() override;
    void BeginGlobalPass() override;
    void EndGlobalPass() override;
    void AbortGlobalPass() override;
    void AbortTrack() override;
    void BeginTrack() override;
    void EndTrack() override;
    void Complete() override;
    void RxMidiEvent(int iTime, const Mdid_Event& iEvent, short iChannel) override;
    void RxTrackComment(const std::string& iText) override;
    void RxTrackName(const std::string& iText) override;
    void RxTrackInstrumentName(const std::string& iText) override;
    void RxChannel(unsigned char iChannel) override;
    void RxEndOfTrack(int iTime) override;
    void RxTempo(int iTime, int iMicrosecondsPerQuarter) override;
    void RxMeter(int iTime, int iNumerator, int iDenominator, int iClocks, int iThirtySeconds) override;
    void RxKey(int iTime, Time_KeySignature& iKey) override;
    void RxSMPTEOffset(const Mdi_MidiFileParserClient_Timecode& iTimecode) override;
    void RxMarker(int iTime, const std::string& iText) override;
    void RxUnknownMetaEvent(int iTime, unsigned char iType, int iLength) override;

private:
    // Values are numbers, bools or texts; the names are the keys in JSON and go before the values in text.
    template <class... NamesAndValues>
    void Write(const char* iCallback, const NamesAndValues&... iNamesAndValues);

    std::ostream& mStream;
    Format mFormat;
};
