#include "MdidHost/File/MdidHost_FileDump.h"

#include "MdidHost/Text/MdidHost_Text.h"

#include <ostream>

namespace
{

// "name value, name value"
class TextFields
{
public:
    void Add(const char* iName, const std::string& iText) { AddRaw(iName, '"' + MdidHost_Printable(iText) + '"'); }
    void Add(const char* iName, std::same_as<bool> auto iValue) { AddRaw(iName, iValue ? "yes" : "no"); }
    void Add(const char* iName, MdidHost_Number auto iNumber) { AddRaw(iName, std::to_string(iNumber)); }

    const std::string& GetText() const { return mText; }

private:
    void AddRaw(const char* iName, const std::string& iValue)
    {
        mText += mText.empty() ? " " : ", ";
        ((mText += iName) += ' ') += iValue;
    }

    std::string mText;
};

template <class Fields>
void AddFields(Fields&)
{
}

template <class Fields, class Value, class... Rest>
void AddFields(Fields& ioFields, const char* iName, const Value& iValue, const Rest&... iRest)
{
    ioFields.Add(iName, iValue);
    AddFields(ioFields, iRest...);
}

} // namespace

template <class... NamesAndValues>
void MdidHost_FileDump::Write(const char* iCallback, const NamesAndValues&... iNamesAndValues)
{
    if (mFormat == Format::kText)
    {
        TextFields fields;
        AddFields(fields, iNamesAndValues...);
        mStream << iCallback << fields.GetText() << '\n';
        return;
    }
    MdidHost_JsonLine line;
    line.Add("cb", iCallback);
    AddFields(line, iNamesAndValues...);
    mStream << line.GetText() << '\n';
}

void MdidHost_FileDump::WriteError(const std::string& iText)
{
    if (mFormat == Format::kText)
        return;
    MdidHost_JsonLine line;
    line.Add("error", iText);
    mStream << line.GetText() << '\n';
}

void MdidHost_FileDump::SetFormat(unsigned short iFormat)
{
    Write("SetFormat", "format", iFormat);
}
void MdidHost_FileDump::SetNumTracks(unsigned short iCount)
{
    Write("SetNumTracks", "count", iCount);
}

void MdidHost_FileDump::SetTicksPerQuarterNote(short iTicks)
{
    Write("SetTicksPerQuarterNote", "ticks", iTicks);
}

void MdidHost_FileDump::SetSMPTETicks(short iFramesPerSecond, bool iDropFrame, short iTicksPerFrame)
{
    Write("SetSMPTETicks", "fps", iFramesPerSecond, "drop", iDropFrame, "ticks", iTicksPerFrame);
}

void MdidHost_FileDump::BeginMapPass()
{
    Write("BeginMapPass");
}
void MdidHost_FileDump::EndMapPass()
{
    Write("EndMapPass");
}
void MdidHost_FileDump::AbortMapPass()
{
    Write("AbortMapPass");
}
void MdidHost_FileDump::BeginGlobalPass()
{
    Write("BeginGlobalPass");
}
void MdidHost_FileDump::EndGlobalPass()
{
    Write("EndGlobalPass");
}
void MdidHost_FileDump::AbortGlobalPass()
{
    Write("AbortGlobalPass");
}
void MdidHost_FileDump::AbortTrack()
{
    Write("AbortTrack");
}
void MdidHost_FileDump::BeginTrack()
{
    Write("BeginTrack");
}
void MdidHost_FileDump::EndTrack()
{
    Write("EndTrack");
}
void MdidHost_FileDump::Complete()
{
    Write("Complete");
}

void MdidHost_FileDump::RxMidiEvent(int iTime, const Mdid_Event& iEvent, short iChannel)
{
    if (mFormat == Format::kText)
    {
        // People count channels from 1; a sysex has none.
        mStream << "RxMidiEvent time " << iTime;
        if (!iEvent.IsMessageSysex(0))
            mStream << ", channel " << iChannel + 1;
        mStream << ", " << MdidHost_DescriptionOf(iEvent) << '\n';
        return;
    }
    Write("RxMidiEvent", "time", iTime, "type", int{iEvent.GetType()}, "channel", int{iEvent.GetChannel()},
          "statusChannel", iChannel, "bytes", MdidHost_HexOfMessages(iEvent));
}

void MdidHost_FileDump::RxTrackComment(const std::string& iText)
{
    Write("RxTrackComment", "text", iText);
}
void MdidHost_FileDump::RxTrackName(const std::string& iText)
{
    Write("RxTrackName", "text", iText);
}

void MdidHost_FileDump::RxTrackInstrumentName(const std::string& iText)
{
    Write("RxTrackInstrumentName", "text", iText);
}

void MdidHost_FileDump::RxChannel(unsigned char iChannel)
{
    Write("RxChannel", "channel", mFormat == Format::kText ? iChannel + 1 : int{iChannel});
}

void MdidHost_FileDump::RxEndOfTrack(int iTime)
{
    Write("RxEndOfTrack", "time", iTime);
}

void MdidHost_FileDump::RxTempo(int iTime, int iMicrosecondsPerQuarter)
{
    Write("RxTempo", "time", iTime, "usPerQuarter", iMicrosecondsPerQuarter);
}

void MdidHost_FileDump::RxMeter(int iTime, int iNumerator, int iDenominator, int iClocks, int iThirtySeconds)
{
    Write("RxMeter", "time", iTime, "numerator", iNumerator, "denominator", iDenominator, "clocks", iClocks,
          "thirtySeconds", iThirtySeconds);
}

void MdidHost_FileDump::RxKey(int iTime, Time_KeySignature& iKey)
{
    Write("RxKey", "time", iTime, "accidentals", iKey.GetNumAccidentals(), "sharps", iKey.GetIsSharps(), "major",
          iKey.GetIsMajor());
}

void MdidHost_FileDump::RxSMPTEOffset(const Mdi_MidiFileParserClient_Timecode& iTimecode)
{
    Write("RxSMPTEOffset", "rate", iTimecode.mFrameRate, "h", iTimecode.mHours, "m", iTimecode.mMinutes, "s",
          iTimecode.mSeconds, "f", iTimecode.mFrames, "hundredths", iTimecode.mHundredths);
}

void MdidHost_FileDump::RxMarker(int iTime, const std::string& iText)
{
    Write("RxMarker", "time", iTime, "text", iText);
}

void MdidHost_FileDump::RxUnknownMetaEvent(int iTime, unsigned char iType, int iLength)
{
    Write("RxUnknownMetaEvent", "time", iTime, "type", iType, "length", iLength);
}
