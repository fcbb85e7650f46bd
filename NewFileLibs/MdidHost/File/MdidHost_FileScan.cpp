#include "MdidHost/File/MdidHost_FileScan_Private.h"

#include "Mdid/Mdi_Meta.h"

#include <algorithm>
#include <limits>
#include <map>
#include <string>
#include <tuple>

namespace
{

using Severity = MdidHost_Severity;
using Kind = MdidHost_LossKind;
using Mode = MdidHost_TrackScanner::Mode;
using Event = MdidHost_TrackEvent;

constexpr int kDefaultDivision = 480;
constexpr int kMaxFormat = 2;
constexpr std::size_t kMaxTracks = 0xFFFF;

std::string Count(std::int64_t iCount, const char* iOne, const char* iMany)
{
    return std::to_string(iCount).append(" ").append(iCount == 1 ? iOne : iMany);
}

const char* NamesOf(unsigned char iType, bool iIsOne)
{
    switch (iType)
    {
    case Mdi_Meta::kTempo:
        return iIsOne ? "tempo" : "tempos";
    case Mdi_Meta::kMeter:
        return iIsOne ? "meter" : "meters";
    case Mdi_Meta::kKey:
        return iIsOne ? "key" : "keys";
    default:
        return iIsOne ? "marker" : "markers";
    }
}

// Equal for events that say the same at the same time.
auto MeaningOf(const MdidHost_FileScan::MapEvent& i)
{
    return std::tuple(i.mTime, i.mType, i.mContent, i.mLength);
}

} // namespace

MdidHost_FileScan::MdidHost_FileScan(Cmn_InStream& ioFile, MdidHost_RepairingStream::Mode iMode)
    : mBytes(ioFile),
      mMode(iMode),
      mFindings(MdidHost_RepairingStream::kMaxFindings),
      mLookAheadLeft(ioFile.GetLength())
{
    Unwrap();
    FindHeader();
    ReadChunks();
    if (!HasMidi())
        return;
    CheckTracks();
    SettleMapEvents();
}

// A header alone is a file when it announces nothing more.
bool MdidHost_FileScan::HasMidi() const
{
    return mTracks.empty() ? mHeader.mNumTracks == 0 : mHasHeader || mHasEvents;
}

void MdidHost_FileScan::Report(std::int64_t iOffset, Severity iSeverity, std::string_view iText)
{
    mFindings.Add(iOffset, iSeverity, iText);
}

void MdidHost_FileScan::AddFinding(std::size_t iTrack, std::int64_t iOffset, const char* iText)
{
    mFindings.SetContext("track " + std::to_string(iTrack + 1) + ": ");
    Report(iOffset, Severity::kError, iText);
    mFindings.SetContext({});
}

// A Standard MIDI File as the "data" chunk of a RIFF file, whose lengths have their lowest byte first.
void MdidHost_FileScan::Unwrap()
{
    static constexpr std::int64_t kFirstChunk = 12;
    if (!mBytes.Holds(0, "RIFF") || !mBytes.Holds(8, "RMID"))
        return;
    Report(0, Severity::kNote, "wrapped up in RIFF: unwrapped");
    for (std::int64_t offset = kFirstChunk; offset + kChunkHeaderLength <= mBytes.GetEnd();)
    {
        std::int64_t length = 0;
        for (int i = 3; i >= 0; --i)
            length = length << 8 | mBytes.At(offset + 4 + i);
        const std::int64_t start = offset + kChunkHeaderLength;
        if (mBytes.Holds(offset, "data"))
        {
            mHeader.mOffset = start;
            if (start + length <= mBytes.GetEnd())
                mBytes.SetEnd(start + length);
            else
                Report(offset + 4, Severity::kWarning, "RIFF: the length reaches beyond the file: corrected");
            return;
        }
        offset = start + length + (length & 1);
    }
    Report(kFirstChunk, Severity::kWarning, "RIFF: there is no data chunk: searched for");
}

void MdidHost_FileScan::FindHeader()
{
    const std::int64_t begin = mHeader.mOffset;
    const std::int64_t limit = std::min(mBytes.GetEnd(), begin + MdidHost_RepairingStream::kMaxBytesBeforeFile);
    const std::int64_t found = mBytes.Find("MThd", begin, limit);
    const std::int64_t track = mBytes.Find("MTrk", begin, found); // found: not before the header
    // A header with damaged letters is known by its length.
    const std::int64_t damaged = track - kChunkHeaderLength - kHeaderLength;
    const bool isDamaged = track < found && damaged >= begin && mBytes.BigEndian(damaged + 4, 4) == kHeaderLength;
    mHasHeader = isDamaged || (track == found && found < limit);
    if (!mHasHeader)
    {
        const bool hasTrack = track < limit;
        mHeader = {begin, hasTrack ? track : mBytes.GetEnd(), 1, kNotSaid, kDefaultDivision, false};
        if (hasTrack)
            Report(begin, Severity::kError, "no header: 480 ticks a quarter assumed");
        return;
    }
    mHeader.mOffset = isDamaged ? damaged : found;
    if (mHeader.mOffset > begin)
        Report(begin, Severity::kWarning,
               Count(mHeader.mOffset - begin, "byte", "bytes") + " before the header: skipped");
    if (isDamaged)
        Report(damaged, Severity::kWarning, "the header does not begin with \"MThd\": corrected");
    mHeader.mIsSound = !isDamaged;
    ReadHeader();
}

void MdidHost_FileScan::ReadHeader()
{
    const std::int64_t start = mHeader.mOffset + kChunkHeaderLength;
    SkipToTracks();
    const std::int64_t numBytes = mHeader.mEnd - start;
    mHeader.mFormat = numBytes < 2 ? 1 : static_cast<int>(mBytes.BigEndian(start, 2));
    mHeader.mNumTracks = numBytes < 4 ? kNotSaid : static_cast<int>(mBytes.BigEndian(start + 2, 2));
    mHeader.mDivision = numBytes < kHeaderLength ? 0 : static_cast<int>(mBytes.BigEndian(start + 4, 2));
    CheckHeader();
}

// Where the header ends: where its length says, if tracks begin there; otherwise where they do begin.
void MdidHost_FileScan::SkipToTracks()
{
    const std::int64_t start = mHeader.mOffset + kChunkHeaderLength;
    const std::int64_t length = mBytes.BigEndian(mHeader.mOffset + 4, 4);
    mHeader.mEnd = std::min(start + length, mBytes.GetEnd());
    const bool isSane = length >= kHeaderLength && start + length <= mBytes.GetEnd();
    if (isSane && mBytes.Holds(mHeader.mEnd, "MTrk"))
        return;
    const std::int64_t track = mBytes.Find("MTrk", std::min(start, mBytes.GetEnd()), mBytes.GetEnd());
    // Another chunk may stand before the tracks, or the letters of the first one be damaged.
    if (isSane && track >= mHeader.mEnd)
        return;
    mHeader.mIsSound = false;
    mHeader.mEnd = track < mBytes.GetEnd() ? track : std::min(start + kHeaderLength, mBytes.GetEnd());
    Report(mHeader.mOffset + 4, Severity::kWarning,
           "the header says that it is " + Count(length, "byte", "bytes") + " long, the tracks begin after " +
               std::to_string(mHeader.mEnd - start) + ": corrected");
}

void MdidHost_FileScan::CheckHeader()
{
    const std::int64_t start = mHeader.mOffset + kChunkHeaderLength;
    if (mHeader.mFormat > kMaxFormat)
    {
        Report(start, Severity::kWarning, "format " + std::to_string(mHeader.mFormat) + ": taken as 1");
        mHeader.mFormat = 1;
        mHeader.mIsSound = false;
    }
    const bool isSMPTE = mHeader.mDivision >= 0x8000;
    if (mHeader.mDivision == 0 || (isSMPTE && (mHeader.mDivision & 0xFF) == 0))
    {
        Report(start + 4, Severity::kWarning,
               isSMPTE ? "no ticks a frame: 480 a quarter assumed" : "no ticks a quarter: 480 assumed");
        mHeader.mDivision = kDefaultDivision;
        mHeader.mIsSound = false;
    }
}

void MdidHost_FileScan::ReadChunks()
{
    std::int64_t offset = mHeader.mEnd;
    while (offset < mBytes.GetEnd())
    {
        if (!IsTrackHeader(offset))
        {
            SkipAlien(offset);
            continue;
        }
        if (mTracks.size() == kMaxTracks)
            return Report(offset, Severity::kError, "more than 65535 tracks: the rest is dropped");
        ReadTrack(offset);
        offset = mTracks.back().mEnd;
    }
}

// Also with damaged letters, when events follow.
bool MdidHost_FileScan::IsTrackHeader(std::int64_t iOffset)
{
    static constexpr int kEnoughLetters = 2;
    if (mBytes.Holds(iOffset, "MTrk"))
        return true;
    const std::int64_t start = iOffset + kChunkHeaderLength;
    return mBytes.CountEqual(iOffset, "MTrk") >= kEnoughLetters && start < mBytes.GetEnd() &&
           MdidHost_TrackScanner(mBytes, {start, start + mBytes.BigEndian(iOffset + 4, 4)}, Mode::kRepair, nullptr)
               .LooksLikeEvents();
}

// Other chunks are allowed; what is no chunk goes until the next track.
void MdidHost_FileScan::SkipAlien(std::int64_t& ioOffset)
{
    static constexpr int kTypeLength = 4;
    std::string type;
    for (int i = 0; i < kTypeLength; ++i)
        type += static_cast<char>(std::max(mBytes.At(ioOffset + i), 0));
    const std::int64_t end = ioOffset + kChunkHeaderLength + mBytes.BigEndian(ioOffset + 4, 4);
    const bool isChunk = std::ranges::all_of(type, [](char c) { return c >= ' ' && c <= '~'; }) &&
                         (end == mBytes.GetEnd() || mBytes.Holds(end, "MTrk") ||
                          (end < mBytes.GetEnd() && mBytes.At(end) >= ' ' && mBytes.At(end) <= '~'));
    if (isChunk)
    {
        Report(ioOffset, Severity::kNote, "a chunk \"" + type + "\": skipped");
        ioOffset = end;
        return;
    }
    const std::int64_t next = mBytes.Find("MTrk", ioOffset, mBytes.GetEnd());
    Report(ioOffset, Severity::kWarning, Count(next - ioOffset, "byte", "bytes") + " between the chunks: skipped");
    ioOffset = next;
}

void MdidHost_FileScan::ReadTrack(std::int64_t iOffset)
{
    const std::int64_t start = std::min(iOffset + kChunkHeaderLength, mBytes.GetEnd());
    Track track;
    track.mHeader = iOffset;
    track.mExtent = {start, iOffset + kChunkHeaderLength + mBytes.BigEndian(iOffset + 4, 4)};
    mFindings.SetContext("track " + std::to_string(mTracks.size() + 1) + ": ");

    const bool hasLetters = mBytes.Holds(iOffset, "MTrk");
    if (!hasLetters)
        Report(iOffset, Severity::kWarning, "it does not begin with \"MTrk\": corrected");
    std::int64_t reached = start;
    if (!ReadSoundTrack(track, reached))
    {
        MdidHost_TrackScanner scanner(mBytes, track.mExtent, Mode::kRepair, &mFindings);
        TakeEvents(scanner);
        track.mEnd = scanner.GetPosition();
        mLookAheadLeft -= std::max<std::int64_t>(reached - track.mEnd, 0);
    }
    track.mMayCopy = track.mIsSound && hasLetters;
    mTracks.push_back(track);
    mFindings.SetContext({});
}

// Takes nothing when the track is not sound. A damaged length may have led far into other tracks by then; that such
// walks cost no more than the file is long, all together, keeps a hostile file from making many of them.
bool MdidHost_FileScan::ReadSoundTrack(Track& ioTrack, std::int64_t& oReached)
{
    const auto [start, end] = ioTrack.mExtent;
    if (end > mBytes.GetEnd() || end - start > MdidHost_TrackScanner::kMaxLength ||
        (mLookAheadLeft < 0 && mBytes.FindTrack(start) < end))
        return false;
    const MdidHost_EventCensus census = mCensus;
    const auto numMapEvents = mMapEvents.size();
    const auto [numSequence, firstSequence, hasEvents] =
        std::tuple(mNumSequenceMapEvents, mFirstSequenceMapEvent, mHasEvents);

    MdidHost_TrackScanner scanner(mBytes, ioTrack.mExtent, Mode::kSound, nullptr);
    TakeEvents(scanner);
    oReached = ioTrack.mEnd = scanner.GetPosition();
    ioTrack.mIsSound = scanner.IsSound();
    if (ioTrack.mIsSound)
        return true;
    mCensus = census;
    mMapEvents.resize(numMapEvents);
    std::tie(mNumSequenceMapEvents, mFirstSequenceMapEvent, mHasEvents) =
        std::tie(numSequence, firstSequence, hasEvents);
    return false;
}

void MdidHost_FileScan::TakeEvents(MdidHost_TrackScanner& ioScanner)
{
    const bool isFirst = mTracks.empty();
    mCensus.BeginTrack(isFirst);
    for (Event event;;)
    {
        if (!mCensus.IsSysexOpen())
            ioScanner.SkipChannelMessages([this](int iStatus, int iNumber, int iValue)
                                          { mCensus.OnController(iStatus, iNumber, iValue); });
        if (!ioScanner.Next(event))
            break;
        mHasEvents = mHasEvents || !event.IsEndOfTrack();
        mCensus.OnEvent(event, mBytes);
        if (!isFirst && IsMapEvent(event))
            TakeMapEvent(event);
    }
    mHasEvents = mHasEvents || ioScanner.IsSound();
    mCensus.EndTrack();
}

bool MdidHost_FileScan::IsMapEvent(const MdidHost_TrackEvent& iEvent)
{
    using namespace Mdi_Meta;
    return iEvent.IsMeta() &&
           (iEvent.mType == kTempo || iEvent.mType == kMeter || iEvent.mType == kKey || iEvent.mType == kMarker);
}

// In a later track.
void MdidHost_FileScan::TakeMapEvent(const MdidHost_TrackEvent& iEvent)
{
    using namespace Mdi_Meta;
    if (mMode == MdidHost_RepairingStream::Mode::kRepair && mHeader.mFormat < kMaxFormat)
    {
        mMapEvents.push_back(MakeMapEvent(iEvent, mTracks.size()));
        return;
    }
    mCensus.Count(iEvent.mType == kTempo   ? Kind::kTempo
                  : iEvent.mType == kMeter ? Kind::kMeter
                  : iEvent.mType == kKey   ? Kind::kKey
                                           : Kind::kMarker);
    if (mNumSequenceMapEvents++ == 0)
        mFirstSequenceMapEvent = iEvent.mOffset;
}

MdidHost_FileScan::MapEvent MdidHost_FileScan::MakeMapEvent(const MdidHost_TrackEvent& iEvent, std::size_t iTrack)
{
    static constexpr std::uint64_t kHashStart = 14695981039346656037u;
    static constexpr std::uint64_t kHashFactor = 1099511628211u;
    MapEvent event{iEvent.mTime,
                   iEvent.mOffset,
                   iEvent.mPayload,
                   0,
                   static_cast<std::uint32_t>(iEvent.mLength),
                   static_cast<std::uint16_t>(iTrack),
                   iEvent.mType};
    if (!iEvent.mIsInFile)
    {
        for (std::size_t i = 0; i < event.mLength; ++i)
            event.mContent = event.mContent << 8 | iEvent.mData.mBytes[i];
        return event;
    }
    event.mContent = kHashStart;
    for (std::int64_t i = 0; i < iEvent.mLength; ++i)
        event.mContent = (event.mContent ^ static_cast<std::uint64_t>(mBytes.At(iEvent.mPayload + i))) * kHashFactor;
    return event;
}

void MdidHost_FileScan::CheckTracks()
{
    const auto numTracks = static_cast<int>(mTracks.size());
    const std::int64_t start = mHeader.mOffset + kChunkHeaderLength;
    if (mHeader.mNumTracks != kNotSaid && numTracks != mHeader.mNumTracks)
    {
        mHeader.mIsSound = false;
        Report(start + 2, numTracks < mHeader.mNumTracks ? Severity::kError : Severity::kWarning,
               "the header announces " + Count(mHeader.mNumTracks, "track", "tracks") + ", there are " +
                   std::to_string(numTracks) + ": corrected");
    }
    if (mHeader.mFormat == 0 && numTracks > 1)
    {
        mHeader.mIsSound = false;
        mHeader.mFormat = 1;
        Report(start, Severity::kWarning, "format 0 with more than one track: taken as 1");
    }
    if (mNumSequenceMapEvents > 0 && mMode == MdidHost_RepairingStream::Mode::kRepair)
        Report(mFirstSequenceMapEvent, Severity::kError,
               "format 2: the tempos, meters, keys and markers of later tracks (" +
                   std::to_string(mNumSequenceMapEvents) + ") are not read");
}

// The order of the tracks decides between events that say different things at one time, as it does when they are read
// one after another.
void MdidHost_FileScan::SettleMapEvents()
{
    if (mMapEvents.empty())
        return;
    const auto isLess = [](const MapEvent& a, const MapEvent& b) { return MeaningOf(a) < MeaningOf(b); };
    const auto isEqual = [](const MapEvent& a, const MapEvent& b) { return MeaningOf(a) == MeaningOf(b); };
    std::ranges::stable_sort(mMapEvents, isLess);
    mMapEvents.erase(std::unique(mMapEvents.begin(), mMapEvents.end(), isEqual), mMapEvents.end());
    DropMapEventsOfFirstTrack();
    std::ranges::stable_sort(mMapEvents, {}, [](const MapEvent& i) { return std::tuple(i.mTime, i.mOffset); });
    ReportMapEvents();
    CountMapEvents();
}

void MdidHost_FileScan::CountMapEvents()
{
    for (const MapEvent& event : mMapEvents)
    {
        if (event.mType == Mdi_Meta::kMarker)
            mCensus.OnText(event.mPayload, event.mLength, mBytes);
        if (event.mType == Mdi_Meta::kMeter)
            mCensus.OnMeter(static_cast<int>(event.mContent >> 8 & 0xFF), static_cast<int>(event.mContent & 0xFF));
    }
}

void MdidHost_FileScan::DropMapEventsOfFirstTrack()
{
    static constexpr unsigned char kDropped = Mdi_Meta::kEndOfTrack;
    std::vector<bool> isDropped(mMapEvents.size());
    MdidHost_TrackScanner scanner = MakeScanner(mTracks.front());
    for (Event event; scanner.Next(event);)
    {
        if (!IsMapEvent(event))
            continue;
        const MapEvent wanted = MakeMapEvent(event, 0);
        const auto found =
            std::lower_bound(mMapEvents.begin(), mMapEvents.end(), wanted,
                             [](const MapEvent& a, const MapEvent& b) { return MeaningOf(a) < MeaningOf(b); });
        if (found != mMapEvents.end() && MeaningOf(*found) == MeaningOf(wanted))
            isDropped[static_cast<std::size_t>(found - mMapEvents.begin())] = true;
    }
    for (std::size_t i = 0; i < mMapEvents.size(); ++i)
        if (isDropped[i])
            mMapEvents[i].mType = kDropped;
    std::erase_if(mMapEvents, [](const MapEvent& i) { return i.mType == kDropped; });
}

// One finding a kind and track.
void MdidHost_FileScan::ReportMapEvents()
{
    struct Group
    {
        std::int64_t mOffset = std::numeric_limits<std::int64_t>::max();
        std::int64_t mCount = 0;
    };
    std::map<std::pair<std::uint16_t, unsigned char>, Group> groups;
    for (const MapEvent& event : mMapEvents)
    {
        Group& group = groups[{event.mTrack, event.mType}];
        group.mOffset = std::min(group.mOffset, event.mOffset);
        ++group.mCount;
    }
    for (const auto& [key, group] : groups)
        Report(group.mOffset, Severity::kNote,
               "track " + std::to_string(key.first + 1) + ": " +
                   Count(group.mCount, NamesOf(key.second, true), NamesOf(key.second, false)) +
                   " moved into the first track");
}

MdidHost_TrackScanner MdidHost_FileScan::MakeScanner(const Track& iTrack)
{
    return {mBytes, iTrack.mExtent, iTrack.mIsSound ? Mode::kSound : Mode::kRepair, nullptr};
}
