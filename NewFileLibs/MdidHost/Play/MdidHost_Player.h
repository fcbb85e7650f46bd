#pragma once

#include "Mdid/Mdid_Event.h"
#include "Mdid/Mdie_Filter.h"
#include "MdidHost/Session/MdidHost_Session.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

class MdidHost_PlayEngine;

// What a player sends.
struct MdidHost_PlayedEvent
{
    enum Why
    {
        kChase,     // what was in force before: values, programs, and note-ons of notes that sound already
        kEvent,     // it stands here
        kNoteOff,   // a note ends, or is ended by a stop or a mute
        kRelease,   // a lane goes back to rest
        kTransition // a note that a jump ends or begins
    };

    std::int64_t mSample =
        0;          // on the session's timeline: goes back at a jump; what a jump brings stands where it leads
    int mTrack = 0; // its index in the session
    Why mWhy = kEvent;
    Mdid_Event mEvent;         // on the channel that the track plays on; never a note with a duration
    std::int64_t mElapsed = 0; // samples played since construction; never goes back
};

// Playback thread.
class MdidHost_PlaySink
{
public:
    virtual ~MdidHost_PlaySink() = default;

    // iEvent is valid during the call. The sink must not call the player.
    virtual void Receive(const MdidHost_PlayedEvent& iEvent) = 0;

protected:
    MdidHost_PlaySink() = default;
    MdidHost_PlaySink(const MdidHost_PlaySink&) = default;
    MdidHost_PlaySink& operator=(const MdidHost_PlaySink&) = default;
};

// What is played, and in which order. Positions are samples.
struct MdidHost_PlayOptions
{
    // Positions beyond it, on either side of 0, are taken for it; what stands there is not played.
    static constexpr std::int64_t kMaxPosition = (std::int64_t{1} << 60) - 2;

    // When play comes to mAt, whether by playing or by a jump, it goes to mTo instead; once.
    struct Jump
    {
        std::int64_t mAt = 0;
        std::int64_t mTo = 0;
    };
    // [mStart, mEnd) is played that many times in all before play goes on: each time but the last that playing, and no
    // jump, comes to mEnd, it goes back to mStart.
    struct Loop
    {
        std::int64_t mStart = 0;
        std::int64_t mEnd = 0;
        int mRounds = 3;
    };

    std::int64_t mBlockSize = 512; // in samples
    std::int64_t mStart = 0;
    std::optional<std::int64_t> mEnd = {};        // exclusive; none: behind everything, and every way back
    std::vector<Jump> mJumps = {};                // of those at one sample the first that is left, and before loops
    std::vector<Loop> mLoops = {};                // of those with one end the first that has rounds left
    Mdie_Filter mFilter = Mdie_Filter().SetAll(); // by the channel that a track plays on
};

// Plays a session in blocks, as the engine of a workstation does: from anywhere, with jumps, loops, mutes and solos,
// so that every track's instrument is always as if all had been played from the beginning, and nothing hangs.
//
// An event is played at the first sample that is not earlier than it; what comes before the first sample of play is
// chased: every lane with its value in force, in the order in which an instrument needs it (bank and program,
// parameter numbers with the one selected last behind the other, their data, other controllers, bend, pressure), then
// the notes that sound across that sample. Each track has an instrument of its own, also where tracks share a channel.
// What happens at one sample goes by playback priority, then time, then track; but no note ends before it began,
// however short it is. When play stops, no key is down and every lane that is released (bend, pedal, pressure) at rest.
//
// Played are the lanes of chunks that are none of a note, system-exclusive and transport events, and notes that are not
// muted, those of member channels in MPE tracks with their lanes (but for what clips cut off). Tracks without a channel
// play no channel events.
//
// A program is chased in the bank in which it was selected, and behind it the bank that waits for the next one. Data
// entry is chased for each parameter that it was played to, and the number selected last comes last; where data would
// go nowhere from the beginning, the null number is selected before. Of steps (controllers 96, 97) only the last of
// each kind and parameter is chased. A bank that has no value yet stays as it was left.
//
// All is prepared at construction: O(n log n) in the events, which throws std::bad_alloc; from then on no heap, no
// lock, and nothing is thrown but what a sink throws: that event counts as sent, and the next call goes on behind it.
// The session is only read; it must outlive the player, and must not change meanwhile. For its life the player makes
// the session's context of time that of the process, and installs the pool of notes in progress: a process has one
// player at a time, and a new one can only be made when the last one is gone. The rest is called on one thread at a
// time, the playback thread.
class MdidHost_Player
{
public:
    using Options = MdidHost_PlayOptions;

    // std::invalid_argument: a block without samples, a loop without length or rounds. std::logic_error: there is
    // another player.
    MdidHost_Player(const MdidHost_Session& iSession, const Options& iOptions);
    ~MdidHost_Player();
    MdidHost_Player(const MdidHost_Player&) = delete;
    MdidHost_Player& operator=(const MdidHost_Player&) = delete;

    // Plays the next block; less where the end comes first, with the stop. False when play is at its end: nothing is
    // sent then, but what a sink that threw has not got. Where it has not begun, or was stopped, it begins with a
    // chase. A jump that a block comes to with its last sample is made by the next one.
    //
    // Linear in what is played, and for each note in those of its track that sound. A chase and a jump: for each track
    // O(log n) a lane and a parameter, and O(m log m) in the m notes that sound there; linear in the options' jumps.
    bool Render(MdidHost_PlaySink& ioSink);

    // From the next block on: go there; a track is silent, or not (solo: all others are, and mute goes first). A muted
    // track goes on in silence, and what it missed is chased when it is heard again. An index without track: nothing.
    void Jump(std::int64_t iSample);
    void SetMuted(std::size_t iTrack, bool iIsMuted);
    void SetSolo(std::size_t iTrack, bool iIsSolo);

    // Brings everything to rest, at the current position. The next block goes on from there.
    void Stop(MdidHost_PlaySink& ioSink);

    bool IsPlaying() const;           // from the first block to a stop or the end
    std::int64_t GetPosition() const; // the sample that is played next, if no jump is made there
    std::int64_t GetEnd() const;      // as given, or behind everything and every way back
    std::int64_t GetElapsed() const;  // samples played since construction
    std::int64_t GetBlockSize() const;
    std::int32_t GetSampleRate() const; // of the session, in Hz

private:
    // Of the process.
    struct Place
    {
        Place();
        ~Place();
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;
    };

    Place mPlace;
    MdidHost_Session::Scope mScope;
    std::unique_ptr<MdidHost_PlayEngine> mEngineP;
};
