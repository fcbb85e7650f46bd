#pragma once

#include "Mdid/Mdid_ExtendedEvent.h"

// An event as it is stored beside the event as it is shown, after MIDI property processing.
class MDID_EXPORT Mdid_DisplayItem
{
public:
    Mdid_DisplayItem() = default;

    // iDisplayedTime: where the stored event is shown; the others show it at its own time.
    // iFlag, iNumber: the caller's, carried untouched.
    Mdid_DisplayItem(Time_Typed iDisplayedTime, const Mdie_TimedEvent& iNewEvent, const Mdid_ExtendedEvent& iStored,
                     bool iFlag, int iNumber);
    Mdid_DisplayItem(const Mdie_TimedEvent& iNewEvent, const Mdid_ExtendedEvent& iStored, int iNumber);
    Mdid_DisplayItem(const Mdid_NoteWithDurationExtendedEvent& iStored, const Mdid_NoteWithDurationExtendedEvent& iNew,
                     bool iFlag, int iNumber);

    // Whether displays show the effects of MIDI properties. False at load; editing thread.
    static bool sMIDIDisplayPropertyEffects;

    const Mdid_ExtendedEvent& GetStoredEvent() const { return mStored; }
    const Mdie_TimedEvent& GetNewEvent() const { return mNew; }
    bool GetFlag() const { return mFlag; }
    int GetNumber() const { return mNumber; }

    // Of the new event when sMIDIDisplayPropertyEffects, otherwise of the stored one as it was placed.
    // Kept: a stored pitch-to-MIDI note always shows the values of its new event. Pitch and velocity are those of
    // notes, 0 for other events; the duration of other events is zero.
    Time_Typed GetDisplayedTime() const;
    signed char GetDisplayedPitch() const;
    signed char GetDisplayedVelocity() const;
    Time_TypedLength GetDisplayedDuration() const;

    // The stored event or, when sMIDIDisplayPropertyEffects, the new one, a note as GetNewNote has it.
    // Kept: here a stored pitch-to-MIDI note is the stored event, whatever sMIDIDisplayPropertyEffects.
    Mdid_ExtendedEvent GetDisplayedEvent() const;

    // Time and event from the new event; originals, muted flag, deltas and lists from the stored one, or, when that has
    // no note extension, as for a note that is new.
    Mdid_NoteWithDurationExtendedEvent GetNewNote() const;

    bool IsNote() const { return mStored.IsNoteWithDurationExtendedEvent(); }

    // A strict weak order over events of all types: displayed time, playback priority and type tag of the stored
    // events, then the new events within their type.
    static bool PlaybackOrdering(const Mdid_DisplayItem& iA, const Mdid_DisplayItem& iB);

private:
    bool ShowsNewEvent() const;
    const Mdie_TimedEvent& GetShownEvent() const;

    Time_Typed mDisplayedTime;
    Mdid_ExtendedEvent mStored;
    Mdie_TimedEvent mNew;
    bool mFlag = false;
    int mNumber = 0;
};
