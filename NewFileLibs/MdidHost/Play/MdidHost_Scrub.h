#pragma once

#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_ScrubList.h"
#include "MdidHost/Session/MdidHost_Session.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <utility>
#include <vector>

class MdidHost_PlaySchedule;

// A position that is dragged over a session: tells what it passes, in either direction. That is the notes and pitch
// bends that a player plays, those of notes in MPE tracks included.
//
// Note starts and ends are the host's to turn into sound and back. Bends are not: the values of all that is passed, one
// after the other, leave the channel bent as a player that begins at the position finds it. What a bend is undone to is
// therefore the bend before its sample. A note lasts at least one sample.
class MdidHost_Scrub
{
public:
    struct Passed
    {
        int mTrack;      // its index in the session
        int mChannel;    // that it plays on, 0 to 15
        bool mIsForward; // how it was passed
        Mdid_ScrubEvent mEvent;
    };

    // Stands at iStart, in samples. iTrack: an index; none: all tracks. O(n log n) in the events; throws
    // std::bad_alloc. The session is read here only.
    MdidHost_Scrub(const MdidHost_Session& iSession, std::optional<std::size_t> iTrack, std::int64_t iStart);

    // Moves to a sample. What is passed, in the order in which it is passed: forward by time, kind and track, backward
    // the other way round. Valid until the next call.
    const std::vector<Passed>& MoveTo(std::int64_t iSample);

private:
    struct SampleWithBends
    {
        std::int64_t mSample;
        short mBendBefore;
    };

    struct Channel
    {
        Mdid_ScrubList mList;
        std::vector<SampleWithBends> mBends; // by sample
        short mLastBend = 0;                 // that was added

        void AddBend(std::int64_t iSample, const Mdid_PitchBendEvent& iEvent);
        short BendBefore(std::int64_t iSample) const; // where there are bends
    };
    using ChannelKey = std::pair<int, int>; // track, channel

    void AddNotesAndBends(const MdidHost_PlaySchedule& iSchedule, std::optional<std::size_t> iTrack);
    void AddNote(Channel& ioChannel, std::int64_t iStart, std::int64_t iEnd, const Mdid_NoteWithDurationBase& iNote);
    void Pass(ChannelKey iKey, Channel& ioChannel, std::int64_t iSample, bool iIsForward);

    std::map<ChannelKey, Channel> mChannels;
    std::vector<Passed> mPassed;
    std::int64_t mPosition = 0;
};

// Where a position is dragged along, and how what it passes is listed.
struct MdidHost_ScrubListing
{
    bool mIsJson = false;
    std::optional<int> mTrack;       // from 1; none: all
    std::vector<std::int64_t> mPath; // samples; it begins at the first one
};

// A line for each record that is passed. As JSON lines:
//   {"sample":0,"us":0,"track":1,"channel":0,"direction":"forward","kind":"noteStart","pitch":60,"velocity":64,
//    "offVelocity":64}
// with kind one of noteStart, noteEnd, and bend and bendBack, which have a value instead; tracks from 1, channels from
// 0. As text below a line of titles, with channels from 1. Works in the session's context of time.
void MdidHost_ListScrub(std::ostream& ioStream, const MdidHost_Session& iSession,
                        const MdidHost_ScrubListing& iListing);
