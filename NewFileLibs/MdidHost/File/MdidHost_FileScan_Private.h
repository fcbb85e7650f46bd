#pragma once

#include "MdidHost/File/MdidHost_EventCensus_Private.h"
#include "MdidHost/File/MdidHost_FileBytes_Private.h"
#include "MdidHost/File/MdidHost_Findings.h"
#include "MdidHost/File/MdidHost_RepairingStream.h"
#include "MdidHost/File/MdidHost_TrackScanner_Private.h"

#include <cstdint>
#include <vector>

// The chunks of a Standard MIDI File, as they are or as they must have been, and what its tracks hold.
class MdidHost_FileScan
{
public:
    struct Track
    {
        std::int64_t mHeader = 0; // offset of its "MTrk"
        MdidHost_TrackScanner::Extent mExtent;
        std::int64_t mEnd = 0; // of what belongs to it
        bool mIsSound = false; // all of its events are
        bool mMayCopy = false; // its header is, too
    };

    static constexpr int kNotSaid = -1;

    struct Header
    {
        std::int64_t mOffset = 0;
        std::int64_t mEnd = 0;
        int mFormat = 1;
        int mNumTracks = kNotSaid; // as announced
        int mDivision = 0;         // 16 bits
        bool mIsSound = true;
    };

    // An event of a later track that belongs into the first.
    struct MapEvent
    {
        std::int64_t mTime = 0;
        std::int64_t mOffset = 0;   // in the file
        std::int64_t mPayload = 0;  // of a marker, in the file
        std::uint64_t mContent = 0; // the data, highest byte first; of a marker a hash
        std::uint32_t mLength = 0;
        std::uint16_t mTrack = 0;
        unsigned char mType = 0;
    };

    // Scans the file, which must outlive this. Throws Sys_StreamException.
    MdidHost_FileScan(Cmn_InStream& ioFile, MdidHost_RepairingStream::Mode iMode);

    // Without, nothing else of this means anything.
    bool HasMidi() const;

    const Header& GetHeader() const { return mHeader; }
    const std::vector<Track>& GetTracks() const { return mTracks; }
    const MdidHost_FindingList& GetFindings() const { return mFindings; }
    const MdidHost_EventCensus& GetCensus() const { return mCensus; }

    // By time, then in the order of the file, without those that the first track has too.
    const std::vector<MapEvent>& GetLifted() const { return mMapEvents; }

    // To walk a track again: the same events, without findings.
    MdidHost_TrackScanner MakeScanner(const Track& iTrack);
    MdidHost_FileBytes& GetBytes() { return mBytes; }

    // Something that cannot be laid out is found while doing so.
    void AddFinding(std::size_t iTrack, std::int64_t iOffset, const char* iText);

private:
    static constexpr std::int64_t kHeaderLength = 6;
    static constexpr std::int64_t kChunkHeaderLength = 8;

    void Unwrap();
    void FindHeader();
    void ReadHeader();
    void SkipToTracks();
    void CheckHeader();
    void ReadChunks();
    bool IsTrackHeader(std::int64_t iOffset);
    void SkipAlien(std::int64_t& ioOffset);
    void ReadTrack(std::int64_t iOffset);
    bool ReadSoundTrack(Track& ioTrack, std::int64_t& oReached);
    void TakeEvents(MdidHost_TrackScanner& ioScanner);
    void TakeMapEvent(const MdidHost_TrackEvent& iEvent);
    static bool IsMapEvent(const MdidHost_TrackEvent& iEvent);
    MapEvent MakeMapEvent(const MdidHost_TrackEvent& iEvent, std::size_t iTrack);
    void CheckTracks();
    void SettleMapEvents();
    void DropMapEventsOfFirstTrack();
    void ReportMapEvents();
    void CountMapEvents();
    void Report(std::int64_t iOffset, MdidHost_Severity iSeverity, std::string_view iText);

    MdidHost_FileBytes mBytes;
    const MdidHost_RepairingStream::Mode mMode;
    MdidHost_FindingList mFindings;
    MdidHost_EventCensus mCensus;
    Header mHeader;
    bool mHasHeader = false;
    bool mHasEvents = false;
    std::vector<Track> mTracks;
    std::vector<MapEvent> mMapEvents;
    std::int64_t mNumSequenceMapEvents = 0; // of later tracks in format 2
    std::int64_t mFirstSequenceMapEvent = 0;
    std::int64_t mLookAheadLeft;
};
