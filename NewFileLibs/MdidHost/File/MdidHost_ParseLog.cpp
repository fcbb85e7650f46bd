#include "MdidHost/File/MdidHost_ParseLog.h"

#include "MdidHost/Text/MdidHost_Text.h"

#include <ostream>

namespace
{

MdidHost_JsonLine JsonOf(const Mdid_Event& iEvent)
{
    MdidHost_JsonLine line;
    line.Add("type", int{iEvent.GetType()});
    line.Add("channel", int{iEvent.GetChannel()});
    line.Add("bytes", MdidHost_HexOfMessages(iEvent));
    line.Add("text", MdidHost_DescriptionOf(iEvent));
    return line;
}

} // namespace

MdidHost_ParseLog::MdidHost_ParseLog(std::ostream& ioStream) : mStream(ioStream)
{
    SetEventReceiver(this);
}

template <class Parse>
bool MdidHost_ParseLog::Log(const char* iOperation, const unsigned char* iBytes, std::size_t iLength, Parse iParse)
{
    mEvent = Mdid_Event();
    const bool consumed = iParse();

    MdidHost_JsonLine line;
    line.Add("op", iOperation);
    line.Add("bytes", MdidHost_HexOf({iBytes, iLength}));
    if (mEvent.GetType() != Mdid_Event::kNullEvent)
        line.Add("event", JsonOf(mEvent));
    else
        line.AddNull("event");
    mStream << line.GetText() << '\n';
    return consumed;
}

bool MdidHost_ParseLog::ParseRealTime(const unsigned char* iBytes)
{
    return Log("ParseRealTime", iBytes, 1, [=, this] { return Mdi_ParseToEventReceiver::ParseRealTime(iBytes); });
}
bool MdidHost_ParseLog::ParseSysEx(const unsigned char* iBytes, short iLength)
{
    return Log("ParseSysEx", iBytes, static_cast<std::size_t>(iLength),
               [=, this] { return Mdi_ParseToEventReceiver::ParseSysEx(iBytes, iLength); });
}
bool MdidHost_ParseLog::ParseNoteOff(const unsigned char* iBytes)
{
    return Log("ParseNoteOff", iBytes, 3, [=, this] { return Mdi_ParseToEventReceiver::ParseNoteOff(iBytes); });
}
bool MdidHost_ParseLog::ParseNoteOn(const unsigned char* iBytes)
{
    return Log("ParseNoteOn", iBytes, 3, [=, this] { return Mdi_ParseToEventReceiver::ParseNoteOn(iBytes); });
}
bool MdidHost_ParseLog::ParsePolyPressure(const unsigned char* iBytes)
{
    return Log("ParsePolyPressure", iBytes, 3,
               [=, this] { return Mdi_ParseToEventReceiver::ParsePolyPressure(iBytes); });
}
bool MdidHost_ParseLog::ParseChannelMode(const unsigned char* iBytes)
{
    return Log("ParseChannelMode", iBytes, 3, [=, this] { return Mdi_ParseToEventReceiver::ParseChannelMode(iBytes); });
}
bool MdidHost_ParseLog::ParseController(const unsigned char* iBytes)
{
    return Log("ParseController", iBytes, 3, [=, this] { return Mdi_ParseToEventReceiver::ParseController(iBytes); });
}
bool MdidHost_ParseLog::ParseProgramChange(const unsigned char* iBytes)
{
    return Log("ParseProgramChange", iBytes, 2,
               [=, this] { return Mdi_ParseToEventReceiver::ParseProgramChange(iBytes); });
}
bool MdidHost_ParseLog::ParseChannelPressure(const unsigned char* iBytes)
{
    return Log("ParseChannelPressure", iBytes, 2,
               [=, this] { return Mdi_ParseToEventReceiver::ParseChannelPressure(iBytes); });
}
bool MdidHost_ParseLog::ParsePitchBend(const unsigned char* iBytes)
{
    return Log("ParsePitchBend", iBytes, 3, [=, this] { return Mdi_ParseToEventReceiver::ParsePitchBend(iBytes); });
}
bool MdidHost_ParseLog::ParseTimecode(const unsigned char* iBytes)
{
    return Log("ParseTimecode", iBytes, 2, [=, this] { return Mdi_ParseToEventReceiver::ParseTimecode(iBytes); });
}
bool MdidHost_ParseLog::ParseSongPointer(const unsigned char* iBytes)
{
    return Log("ParseSongPointer", iBytes, 3, [=, this] { return Mdi_ParseToEventReceiver::ParseSongPointer(iBytes); });
}
bool MdidHost_ParseLog::ParseSongSelect(const unsigned char* iBytes)
{
    return Log("ParseSongSelect", iBytes, 2, [=, this] { return Mdi_ParseToEventReceiver::ParseSongSelect(iBytes); });
}
bool MdidHost_ParseLog::ParseTuneRequest(const unsigned char* iBytes)
{
    return Log("ParseTuneRequest", iBytes, 1, [=, this] { return Mdi_ParseToEventReceiver::ParseTuneRequest(iBytes); });
}
