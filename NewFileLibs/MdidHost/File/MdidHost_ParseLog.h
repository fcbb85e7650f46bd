#pragma once

#include "Mdid/Mdi_Parse.h"

#include <iosfwd>
#include <string>

// A byte parser that writes one JSON object, on a line of its own, for every Parse operation called: its name, the
// bytes of the message, and the event that it sends, or null.
class MdidHost_ParseLog : public Mdi_ParseToEventReceiver, private Mdie_EventReceiver
{
public:
    // ioStream must outlive the parser. Nothing is flushed.
    explicit MdidHost_ParseLog(std::ostream& ioStream);

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
    void ReceiveEvent(const Mdid_Event& iEvent) override { mEvent = iEvent; }

    // Lets iParse make its event, and writes the line.
    template <class Parse>
    bool Log(const char* iOperation, const unsigned char* iBytes, std::size_t iLength, Parse iParse);

    std::ostream& mStream;
    Mdid_Event mEvent;
};
