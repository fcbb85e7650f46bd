#pragma once

#include "MdidHost/Play/MdidHost_Player.h"
#include "MdidHost/Session/MdidHost_MusicalTime.h"

#include <cstdint>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class Cmn_OutStream;
class MdidHost_ExportTrackWriter;

// What is listed of what is played, and how.
struct MdidHost_PlayListingOptions
{
    bool mIsJson = false;
    std::optional<int> mTrack; // from 1; none: all
    bool mIsChaseOnly = false; // what was in force before, and nothing that is played
};

// Lists what is played, a line for each MIDI message: a program with its bank makes up to three. As JSON lines:
//   {"sample":24000,"us":500000,"track":1,"channel":0,"why":"event","bytes":"90 3c 40"}
// with why one of chase, event, noteOff, release, transition; tracks from 1, channels from 0, null for those that
// system-exclusive messages do not have. As text below a line of titles, with channels from 1.
class MdidHost_PlayListing : public MdidHost_PlaySink
{
public:
    using Options = MdidHost_PlayListingOptions;

    // Stream and session have to outlive the listing. Lines go out when there are some, and at destruction.
    MdidHost_PlayListing(std::ostream& ioStream, const MdidHost_Session& iSession, const Options& iOptions);
    ~MdidHost_PlayListing() override;
    MdidHost_PlayListing(const MdidHost_PlayListing&) = delete;
    MdidHost_PlayListing& operator=(const MdidHost_PlayListing&) = delete;

    // Takes memory.
    void Receive(const MdidHost_PlayedEvent& iEvent) override;

    static std::string_view NameOf(MdidHost_PlayedEvent::Why iWhy);

private:
    void AddLine(const MdidHost_PlayedEvent& iEvent, const std::vector<unsigned char>& iMessage);
    void Flush();

    std::ostream& mStream;
    MdidHost_MusicalTime mTimes;
    Options mOptions;
    std::string mText;
    std::vector<unsigned char> mMessage;
};

// Collects what is played as a Standard MIDI File of format 1, with a track for each of the session. Events stand where
// they were played, counted in samples from the first one of play, so that loops and jumps are laid out in a row.
//
// The tempo is 120 quarter notes a minute. Of a rate that is even and at most 65534 Hz a tick is one sample (24000
// ticks a quarter at 48 kHz), of an odd one up to 32767 Hz half a sample: no position is lost. Beyond these a quarter
// has 32767 ticks, the most that a file can say, and positions go to the nearest one.
class MdidHost_PlayedFile : public MdidHost_PlaySink
{
public:
    // std::runtime_error: more tracks than a file can say.
    explicit MdidHost_PlayedFile(const MdidHost_Session& iSession);
    ~MdidHost_PlayedFile() override;
    MdidHost_PlayedFile(const MdidHost_PlayedFile&) = delete;
    MdidHost_PlayedFile& operator=(const MdidHost_PlayedFile&) = delete;

    // Takes memory, up to 2 GB in all. std::runtime_error: more than that, or than a file can say.
    void Receive(const MdidHost_PlayedEvent& iEvent) override;

    // The last call. The tracks end when so many samples were played, or with the last event if that is later.
    // std::runtime_error: that is longer than a file can say.
    void Write(Cmn_OutStream& ioStream, std::int64_t iElapsed = 0);

private:
    void Add(MdidHost_ExportTrackWriter& ioTrack, std::span<const unsigned char> iMessage) const;
    std::int64_t GetTick(std::int64_t iElapsed) const;

    std::int64_t mSampleRate;
    int mTicksPerQuarter;
    std::vector<MdidHost_ExportTrackWriter> mTracks;
    std::int64_t mLastTick = 0;
    std::int64_t mSize = 0; // of the events of all tracks
    std::vector<unsigned char> mMessage;
};
