#pragma once

#include "MFnd/Time_Typed.h"
#include "Mdid/Mdie_NoteInProgress.h"

class Mdid_Event;
class Mdid_NoteWithDurationBase;
class Mdie_EventReceiver;
class Mdie_TimedEvent;
struct Mdie_ChaseSpec;

// Chooses a note in progress.
class MDID_EXPORT Mdie_TrackState_Matcher
{
public:
    virtual ~Mdie_TrackState_Matcher();

    virtual bool Matches(const Mdie_NoteInProgress& iNote) const = 0;

protected:
    Mdie_TrackState_Matcher() = default;
    Mdie_TrackState_Matcher(const Mdie_TrackState_Matcher&) = default;
    Mdie_TrackState_Matcher& operator=(const Mdie_TrackState_Matcher&) = default;
};

// The notes of one track that sound at the current playback position, ascending by release time; of equal release
// times the newest comes first.
//
// Playback thread, one at a time. Notes come from the pool of Mdie_NoteInProgress; no general heap, no lock, no throw
// of its own. When the pool is exhausted, a note is not tracked, without a message: the host counts its pool.
// Adding, removing and copying are linear in the notes in progress.
class MDID_EXPORT Mdie_TrackState
{
public:
    // What receives a transition. With any other value it gets note-offs only, and the note-ons beyond kMaxSorted.
    enum ETransitionMode : int
    {
        kTimedEvents = 0, // a sink of timed events: notes with their durations, note-in-progress events
        kPlainMIDI = 1    // a MIDI sink: note-ons and note-offs
    };

    // A transition sorts this many notes of each state; those that end later are switched off and on beforehand.
    static constexpr int kMaxSorted = 200;

    class MDID_EXPORT NoteInProgressFilter
    {
    public:
        virtual ~NoteInProgressFilter();

        virtual bool Keep(const Mdie_NoteInProgress& iNote) const = 0;

    protected:
        NoteInProgressFilter() = default;
        NoteInProgressFilter(const NoteInProgressFilter&) = default;
        NoteInProgressFilter& operator=(const NoteInProgressFilter&) = default;
    };

    Mdie_TrackState() noexcept = default;

    // Copies have notes of their own. Where the pool does not hold them all, those that end last are left out.
    Mdie_TrackState(const Mdie_TrackState& iOther) noexcept;
    Mdie_TrackState& operator=(const Mdie_TrackState& iOther) noexcept;
    ~Mdie_TrackState();

    // Takes note of an event that was sent. A note-off ends the note of its channel and pitch that is due first, and
    // only this one. Without a time a note-on is due one sample after sample 0, with off velocity 64.
    void ReceiveEvent(const Mdid_Event& iEvent) noexcept;

    // Notes with a duration and the two note-in-progress events; note-ons are ignored here. A note keeps
    // iPerNoteControllersP (may be null, must outlive the note in progress).
    // Kept: a note that an add-note-in-progress event brings has no per-note controllers, whatever is given.
    void ReceiveEvent(const Mdie_TimedEvent& iEvent, const Mdid_PerNoteControllerList* iPerNoteControllersP) noexcept;

    // The note that is due first, and by GetNext those after it; null when there is none. Valid until the state
    // changes.
    const Mdie_NoteInProgress* NextNoteOff() const noexcept { return mHeadP; }

    // Ends the note that is due first; without one nothing happens.
    void PopNoteOff() noexcept;

    // Moves the release times, by which notes may change places. Kept: start times stay.
    void OffsetTimes(Time_TypedLength iDelta) noexcept;

    // Ends the notes that the filter does not keep. Notes that turn out not to be in order, as after a change of the
    // tempo map below times of different kinds, are reported and stay where they are.
    void FilterNotesInProgress(const NoteInProgressFilter& iFilter);

    void Clear() noexcept;

    // Sends what turns this state's sound into that of iNewStateP (see ComputeNoteTransitions), and with iAdopt makes
    // this state a copy of it, without notes that the pool has no place for. Does nothing when iSpec is not enabled;
    // without an output nothing is sent, and a null state is not adopted.
    void ComputeTransitionToNewState(const Mdie_TrackState* iNewStateP, Mdie_EventReceiver* iOutputP,
                                     const Mdie_ChaseSpec& iSpec, bool iAdopt);

    // Notes of both states are paired by channel and pitch, several of one channel and pitch in the order of their
    // release. Ascending by channel and pitch:
    //   only in this state  a note-off, with the off velocity
    //   only in the new     MIDI: a note-on. Timed: a note with the duration that is left at iTime, if any is
    //   in both             MIDI: nothing, the note goes on. Timed: a clear and then an add event, with what is left
    // Of more notes of one sound in this state than in the new one, the note-offs come behind the pairs: what counts
    // the notes of a sound ends as it should, what ends the earliest of them may keep another one. Before all that come
    // the note-offs of this state's notes beyond kMaxSorted, and the note-ons of the new one's. A null output or state
    // is reported, and nothing is sent. Takes 20 KB of stack. The receiver may change the states while it gets the
    // paired notes, but not before.
    void ComputeNoteTransitions(const Mdie_TrackState* iNewStateP, Mdie_EventReceiver* iOutputP, ETransitionMode iMode,
                                Time_Typed iTime) const;

private:
    void AddNoteInProgress(Time_Typed iTime, const Mdid_NoteWithDurationBase& iNote,
                           const Mdid_PerNoteControllerList* iPerNoteControllersP) noexcept;
    void RemoveMatchingNoteInProgress(const Mdie_TrackState_Matcher& iMatcher,
                                      const Mdie_TrackState_Matcher* iSecondChoiceP = nullptr) noexcept;
    Mdie_NoteInProgress*& FindLink(const Mdie_TrackState_Matcher& iMatcher) noexcept; // to null: there is none
    void RestoreOrder() noexcept;

    // Frees the note that a link leads to, and closes the gap.
    static void FreeAt(Mdie_NoteInProgress*& ioLinkP) noexcept;

    Mdie_NoteInProgress* mHeadP = nullptr;
};
