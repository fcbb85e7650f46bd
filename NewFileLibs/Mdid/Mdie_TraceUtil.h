#pragma once

#include "Mdid/Mdid_Export.h"

#include "MFnd/Time_FixedKind.h"

#include <cstdint>
#include <iosfwd>

class Mdi_AppCallback;
class Mdid_Event;
class Mdie_TimedEvent;
class Mdie_TimedEventList;
class Mdie_TrackState;

// Events as short texts for logs and terminals. The channel is never part of a text.
//
// Formatting writes at most iSize characters, the terminating 0 included: a text that is longer is cut. 200 characters
// hold any text; a long sysex shows its head and its last four bytes. A size of 0 or less writes nothing.
// Formatting takes no memory and may be called on any thread.
class MDID_EXPORT Mdie_TraceUtil
{
public:
    // "NoteOn(60, 100)"
    static void FormatMidiEvent(char* oBuffer, int iSize, const Mdid_Event& iEvent);

    // "[seconds.milliseconds.tenths, sample]". Kept: of the seconds only the last figure.
    static void FormatMidiTimestamp(char* oBuffer, int iSize, std::int64_t iMicroseconds, Time_Sample iSample);

    // "<sample: 44100> NoteOn(60, 100)", whatever the kind of the time.
    static void FormatTimedMidiEvent(char* oBuffer, int iSize, const Mdie_TimedEvent& iEvent);

    static void PrintMidiEvent(const Mdid_Event& iEvent, std::ostream& ioStream);

    // One line an event: the count of its time, "t" for ticks and microseconds or "s" for samples, the event.
    static void PrintTimedEventList(const Mdie_TimedEventList* iListP, std::ostream& ioStream);

    // A head line, then one line a note in progress: channel, pitch, velocity and the count of its release time.
    // Kept: all but the time as raw characters.
    static void PrintTrackState(const Mdie_TrackState* iStateP, std::ostream& ioStream);

    // Kept: formats every event and puts out nothing.
    static void TraceMidiEventList(const Mdie_TimedEventList* iListP);

    // Stored for the host; nothing here calls it.
    static void SetCallback(Mdi_AppCallback* iCallbackP);
};
