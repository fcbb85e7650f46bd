#pragma once

#include "CFnd/Cmn_PolyVector.h"
#include "MFnd/Time_Typed.h"
#include "Mdid/Mdid_Event.h"

#include <span>
#include <utility>
#include <vector>

// Where an event came from: two numbers that belong to whoever fills them; the library only copies them.
struct Mdie_SourceStamp
{
    std::uint64_t mFirst = 0;
    std::uint64_t mSecond = 0;

    bool operator==(const Mdie_SourceStamp&) const = default;
};

// An event at a time.
class MDID_EXPORT Mdie_TimedEvent
{
public:
    // Time zero, null event.
    Mdie_TimedEvent() = default;
    Mdie_TimedEvent(Time_Typed iTime, Mdid_Event iEvent, Mdie_SourceStamp iStamp = {})
        : mTime(iTime),
          mEvent(std::move(iEvent)),
          mSourceStamp(iStamp)
    {
    }

    Time_Typed GetTime() const { return mTime; }
    void SetTime(Time_Typed iTime) { mTime = iTime; }
    const Mdid_Event& GetEvent() const { return mEvent; }
    Mdid_Event& GetEvent() { return mEvent; }
    Mdie_SourceStamp GetSourceStamp() const { return mSourceStamp; }

    // Types 3 and 22.
    bool IsNoteWithDurationEvent() const;

    // Of a note; for any other event zero, in the kind of the time.
    Time_TypedLength GetDuration() const;
    Time_Typed GetEndTime() const { return mTime + GetDuration(); }

    // By time, then as Mdid_Event::operator< has it: no strict weak ordering for all types.
    bool operator<(const Mdie_TimedEvent& iOther) const;

    // Nothing at all tells the two apart: stricter than ==, the kind of the time and the stamp count.
    bool IsIdenticalTo(const Mdie_TimedEvent& iOther) const
    {
        return mTime.GetPacked().GetRaw() == iOther.mTime.GetPacked().GetRaw() && mEvent.IsIdenticalTo(iOther.mEvent) &&
               mSourceStamp == iOther.mSourceStamp;
    }

    // The order in which events are sent: by time, then by playback priority.
    static bool PlaybackOrdering(const Mdie_TimedEvent& iA, const Mdie_TimedEvent& iB);

private:
    Time_Typed mTime;
    Mdid_Event mEvent;
    Mdie_SourceStamp mSourceStamp;
};

// The source stamp takes no part.
MDID_EXPORT bool operator==(const Mdie_TimedEvent& iA, const Mdie_TimedEvent& iB);

// Timed events in the order in which they were added.
class MDID_EXPORT Mdie_TimedEventList : public Cmn_PolyVector<Mdie_TimedEvent>
{
public:
    // The latest end of a note, in samples; time zero when there is none.
    // Kept: pitch-to-MIDI notes (22) are passed over.
    Time_Typed GetLatestNoteOff() const;

    // Only system-exclusive events are saved whole (Mdid_Event::StreamOut); source stamps are not saved.
    void StreamOut(Sys_TypedOutStream& ioStream) const;

    // Replaces the list. Throws Sys_StreamException, std::runtime_error with message 100 for a time of no known kind,
    // std::length_error for a negative count, std::bad_alloc; the list then holds what was read before.
    void StreamIn(Sys_TypedInStream& ioStream);

    // The same record for events that are kept elsewhere.
    static void StreamOut(std::span<const Mdie_TimedEvent> iEvents, Sys_TypedOutStream& ioStream);
    static void StreamIn(std::vector<Mdie_TimedEvent>& oEvents, Sys_TypedInStream& ioStream);
};

// The notes that sound as one chord, gathered in order of time.
class MDID_EXPORT Mdie_Chord : public Cmn_PolyVector<Mdie_TimedEvent>
{
public:
    bool InChord(const Mdie_TimedEvent& iEvent) const;

    // Whether a note belongs to the chord: it sounds together with the last one added for three quarters of the longer
    // of both, or starts soon after it: within half a quarter note and a quarter of its duration.
    // Only the last member is asked; an empty chord accepts any note.
    bool CanAdd(const Mdie_TimedEvent& iCandidate) const;
};
