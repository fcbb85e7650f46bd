#pragma once

#include "MFnd/Time_Context.h"
#include "MFnd/Time_Globals.h"
#include "MFnd/Time_KeySignature.h"
#include "Mdid/Mdi_MidiFileParser.h"
#include "Mdid/Mdid_ChunkRef.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The unit in which a Standard MIDI File counts: ticks of a quarter note, or of a frame of time code.
class MdidHost_Division
{
public:
    MdidHost_Division() = default; // 480 ticks a quarter note
    // iTicks: 1 to 32767.
    static MdidHost_Division TicksPerQuarter(int iTicks);
    // iFramesPerSecond: 24, 25, 30; 30 with iIsDropFrame is 29.97. iTicksPerFrame: 1 to 255.
    static MdidHost_Division SMPTE(int iFramesPerSecond, bool iIsDropFrame, int iTicksPerFrame);

    bool IsSMPTE() const { return mFramesPerSecond != 0; }
    int GetTicksPerQuarter() const { return mTicksPerQuarter; } // 0 for SMPTE
    int GetFramesPerSecond() const { return mFramesPerSecond; } // 0 for ticks of a quarter
    bool IsDropFrame() const { return mIsDropFrame; }
    int GetTicksPerFrame() const { return mTicksPerFrame; }

    // The kind of time that a session of this division uses: ticks, or microseconds for SMPTE.
    Time_EType GetKind() const;

    // A running total of file ticks as a time of that kind, rounded once, halves upward; and the nearest file tick of a
    // time, converted along the tempo map where it is of another kind. One is the inverse of the other.
    Time_Typed ToTime(std::int64_t iFileTick) const;
    std::int64_t ToFileTick(Time_Typed iTime, const Time_Context& iContext) const;

    // The division field of a file's header.
    std::uint16_t AsHeaderField() const;

    bool operator==(const MdidHost_Division&) const = default;

private:
    int mTicksPerQuarter = 480;
    int mFramesPerSecond = 0;
    bool mIsDropFrame = false;
    int mTicksPerFrame = 0;
};

// Times of these three are in the session's kind.
struct MdidHost_Meter
{
    Time_Typed mTime;
    int mNumerator = 4;
    int mDenominator = 4;
    int mClocksPerClick = 24;
    int mThirtySecondsPerQuarter = 8;

    bool operator==(const MdidHost_Meter&) const = default;
};
struct MdidHost_Key
{
    Time_Typed mTime;
    Time_KeySignature mKey;
};
struct MdidHost_Marker
{
    Time_Typed mTime;
    std::string mText;

    bool operator==(const MdidHost_Marker&) const = default;
};

// One chunk of a session, and how it plays.
struct MdidHost_Track
{
    static constexpr int kNoChannel = -1;

    std::string mName;
    std::string mInstrument;
    std::vector<std::string> mComments;
    int mFileTrack = 1;        // the track of the file that it came from and goes back to, from 1
    int mChannel = kNoChannel; // that its events, which are on channel 0, play on: 0 to 15; none: no channel events
    // Above 0: MPE. mChannel is the master channel, 0 or 15. Notes on channels above 0 play on the channel that they
    // name, with their per-note lanes. At most Mdi_Controller::kMaxLowerMembers with master channel 0, else
    // kMaxUpperMembers: channel 0 is no member of the upper zone, its events are the master's here.
    int mMPEMembers = 0;
    // Where the track of the file ends, when that is behind all that is in it; of its first track here.
    std::optional<Time_Typed> mFileTrackEnd;
    Mdid_ChunkRef mChunk; // never empty

    // On which an event of the chunk plays.
    int GetChannelOf(signed char iEventChannel) const
    {
        return mMPEMembers > 0 && iEventChannel > 0 ? iEventChannel : mChannel;
    }
};

// A piece of music as a host keeps it: where it is in time, and a chunk for each channel of each track.
//
// A context of time belongs to the process while a session is worked on: MdidHost_Session::Scope sets it.
struct MdidHost_Session
{
    int mFormat = 1; // of the file that it came from: 0, 1 or 2
    MdidHost_Division mDivision;
    Time_Context mContext;               // tempo map, sample rate, session start
    std::vector<MdidHost_Meter> mMeters; // ascending by time, as are the next two
    std::vector<MdidHost_Key> mKeys;
    std::vector<MdidHost_Marker> mMarkers;
    std::optional<Mdi_MidiFileParserClient_Timecode> mSMPTEOffset;
    bool mHasPerNoteData = false; // "AllowMPE" has to be on while it is loaded, edited or saved
    std::vector<MdidHost_Track> mTracks;

    // The save that it came from or went to last.
    struct Origin
    {
        std::string mFolder;
        int mGeneration = 0; // 0: it has not been in a folder
    };
    Origin mOrigin;

    // Makes the session's tempo map, sample rate and start those of the process for a while.
    class Scope
    {
    public:
        explicit Scope(const MdidHost_Session& iSession) : mContext(iSession.mContext) {}

    private:
        Time_Globals::ScopedContext mContext;
    };

    // The end of the last event or note in any chunk, in the session's kind; 0 when there is none. Linear.
    Time_Typed GetEnd() const;

    // Whether some chunk has what is saved with "AllowMPE" only: notes with per-note lanes, and lanes of one channel
    // among others. Linear.
    bool FindPerNoteData() const;
};
