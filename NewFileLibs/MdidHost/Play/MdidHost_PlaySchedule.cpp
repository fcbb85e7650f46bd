#include "MdidHost/Play/MdidHost_PlaySchedule_Private.h"

#include "MFnd/Time_Globals.h"
#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_NoteListIterators.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "MdidHost/Export/MdidHost_ExportNoteChannels_Private.h"

#include <algorithm>
#include <numeric>

namespace
{

bool PlaysBefore(const MdidHost_PlayItem& iA, const MdidHost_PlayItem& iB)
{
    if (iA.mSample != iB.mSample)
        return iA.mSample < iB.mSample;
    if (iA.mPriority != iB.mPriority)
        return iA.mPriority < iB.mPriority;
    return iA.mTime != iB.mTime ? iA.mTime < iB.mTime : iA.mTrack < iB.mTrack;
}

int Clip(int iValue, const Mdie_SubStream& iKey)
{
    const Mdie_SubStream_ValueRange range = iKey.GetValueRange();
    return std::clamp(iValue, range.mMinimum, range.mMaximum);
}

std::vector<Mdie_SubStream> MakeKeys()
{
    std::vector<Mdie_SubStream> keys{Mdie_SubStream::PitchBend()};
    for (int controller = 1; controller <= 119; ++controller)
        keys.push_back(Mdie_SubStream::Controller(controller));
    keys.push_back(Mdie_SubStream::MonoPressure());
    keys.push_back(Mdie_SubStream::Program());
    for (int pitch = 0; pitch < 128; ++pitch)
        keys.push_back(Mdie_SubStream::PolyPressure(pitch));
    return keys;
}

// Whether the lane is one of a note, whose times count from there.
bool IsOfNote(const Mdie_SubStream& iKey)
{
    return iKey.IsPerNote() || iKey.GetStreamType() == Mdie_SubStream::kGroupHead;
}

} // namespace

MdidHost_PlaySchedule::MdidHost_PlaySchedule(const MdidHost_Session& iSession, const Mdie_Filter& iFilter)
    : mSession(iSession),
      mFilter(iFilter),
      mKeys(MakeKeys()),
      mChaseLanes(iSession.mTracks.size())
{
    for (std::size_t track = 0; track < iSession.mTracks.size(); ++track)
        AddTrack(track);
    AddOwnLanes();
    CountNotes();
    std::ranges::stable_sort(mItems, PlaysBefore);
    AddHistories();
    if (!mItems.empty())
        mEnd = std::max(mEnd, mItems.back().mSample + 1);
}

const MdidHost_PlayItem* MdidHost_PlaySchedule::FindFirst(std::int64_t iSample) const
{
    const auto found = std::ranges::lower_bound(mItems, iSample, {}, &Item::mSample);
    return mItems.data() + (found - mItems.begin());
}

std::size_t MdidHost_PlaySchedule::GetMaxSettings() const
{
    std::size_t max = 0;
    for (const TrackLanes& track : mChaseLanes)
        max = std::max(max, std::accumulate(track.mHistories.begin(), track.mHistories.end(), std::size_t{0},
                                            [](std::size_t iSum, const MdidHost_PlayHistory& iHistory)
                                            { return iSum + iHistory.GetMaxEvents(); }));
    return max;
}

std::optional<Mdid_NoteWithDurationEvent> MdidHost_PlaySchedule::MakeNote(std::size_t iTrack, const Note& iNote) const
{
    // A null event holds the place of a note that is being edited.
    if (!iNote.IsNoteWithDurationEvent() || !MdidHost_IsSounding(iNote))
        return std::nullopt;
    const Mdid_NoteWithDurationBase& note = iNote.GetNote();
    const auto channel = FindChannel(iTrack, note.GetChannel());
    if (!channel)
        return std::nullopt;
    constexpr signed char kLowest = 0;
    Mdid_NoteWithDurationEvent event(*channel, std::max(note.GetPitch(), kLowest), note.GetDuration(),
                                     note.GetVelocity(), std::max(note.GetOffVelocity(), kLowest));
    if (!mFilter.FilterEvent(&event))
        return std::nullopt;
    return event;
}

std::int64_t MdidHost_PlaySchedule::SampleOf(Time_Typed iTime)
{
    return Time_Globals::GetContext().ToSampleUpward(iTime).AsInt64();
}

// None without a channel to play on.
std::optional<signed char> MdidHost_PlaySchedule::FindChannel(std::size_t iTrack, signed char iEventChannel) const
{
    const int channel = mSession.mTracks[iTrack].GetChannelOf(iEventChannel);
    if (channel == MdidHost_Track::kNoChannel)
        return std::nullopt;
    return static_cast<signed char>(channel & 0x0F);
}

MdidHost_PlayItem& MdidHost_PlaySchedule::Add(std::size_t iTrack, Time_Typed iTime, const Mdid_Event& iEvent,
                                              Item::EKind iKind)
{
    Item& item = mItems.emplace_back();
    item.mSample = SampleOf(iTime);
    item.mTime = iTime;
    item.mTrack = static_cast<std::int32_t>(iTrack);
    item.mPriority = static_cast<std::int16_t>(iEvent.GetPlaybackPriority());
    item.mKind = iKind;
    item.mChannel = iEvent.GetChannel();
    return item;
}

// In the order of the chunk's merged walk at equal times, which sorting keeps.
void MdidHost_PlaySchedule::AddTrack(std::size_t iTrack)
{
    const Mdid_Chunk* const chunkP = mSession.mTracks[iTrack].mChunk.Get();
    if (chunkP == nullptr)
        return;
    for (const auto& lane : *chunkP->GetContinuousList())
        if (lane)
            AddLane(iTrack, *lane);
    for (const Mdie_TimedEvent& event : *chunkP->GetEventStream())
        AddStreamEvent(iTrack, event);
    for (const Note& note : *chunkP->GetNoteList())
        AddNote(iTrack, note);
}

void MdidHost_PlaySchedule::AddLane(std::size_t iTrack, const Mdid_ContinuousDataStreamCore& iLane)
{
    if (!iLane.GetSubStream().IsLane() || IsOfNote(iLane.GetSubStream()))
        return;
    const auto channel = FindChannel(iTrack, iLane.GetSubStream().GetChannel());
    const int lane = iLane.GetSubStream().GetDataTypeIndex();
    Mdie_SubStream key = GetKey(lane);
    if (!channel)
        return;
    key.SetChannel(*channel);
    if (!mFilter.FilterSubStream(key))
        return;
    for (const Segment& segment : iLane.GetSegments())
        AddValue(iTrack, segment.mTime, key, segment.mValue, *channel);
    if (!MdidHost_PlaySettings::IsSetting(lane))
        mChaseLanes[iTrack].mLanes.push_back({key, *channel, &iLane.GetSegments()});
}

void MdidHost_PlaySchedule::AddValue(std::size_t iTrack, Time_Typed iTime, const Mdie_SubStream& iKey, int iValue,
                                     signed char iChannel)
{
    const int value = Clip(iValue, iKey);
    Item& item = Add(iTrack, iTime, iKey.MakeEvent(value, iChannel), Item::kLane);
    item.mValue = value;
    item.mLane = static_cast<unsigned char>(iKey.GetDataTypeIndex());
}

void MdidHost_PlaySchedule::AddStreamEvent(std::size_t iTrack, const Mdie_TimedEvent& iEvent)
{
    const signed char type = iEvent.GetEvent().GetType();
    const bool isTransport =
        (type >= Mdid_Event::kSongPosition && type <= Mdid_Event::kTimingClock) || type == Mdid_Event::kQuarterFrame;
    if (!isTransport && type != Mdid_Event::kSysex && !iEvent.GetEvent().IsCompleteLongSysex())
        return;
    Mdid_Event event = iEvent.GetEvent();
    if (mFilter.FilterEvent(&event))
        Add(iTrack, iEvent.GetTime(), event, Item::kEvent).mSourceP = &iEvent;
}

void MdidHost_PlaySchedule::AddNote(std::size_t iTrack, const Note& iNote)
{
    const auto note = MakeNote(iTrack, iNote);
    if (!note)
        return;
    const MdidHost_Track& track = mSession.mTracks[iTrack];
    if (track.mMPEMembers > 0 && iNote.GetNote().GetChannel() > 0 && iNote.HasPerNoteControllers())
    {
        const MdidHost_NoteLaneTimes times(iNote);
        for (const Mdid_PerNoteDataStream& lane : *iNote.GetPerNoteControllers())
            AddNoteLane(iTrack, times, note->GetChannel(), lane);
    }
    Item& item = Add(iTrack, iNote.GetTime(), *note, Item::kNote);
    item.mSourceP = &iNote;
    mStarts.push_back(item.mSample);
    const std::int64_t end = SampleOf(iNote.GetEndTime());
    mEnds.push_back(std::max(end, item.mSample + 1));
    mEnd = std::max(mEnd, end + 1);
}

void MdidHost_PlaySchedule::AddNoteLane(std::size_t iTrack, const MdidHost_NoteLaneTimes& iTimes, signed char iChannel,
                                        const Mdid_ContinuousDataStreamCore& iLane)
{
    if (!iLane.GetSubStream().IsLane())
        return;
    const int lane = iLane.GetSubStream().GetDataTypeIndex();
    Mdie_SubStream key = GetKey(lane);
    key.SetChannel(iChannel);
    if (!mFilter.FilterSubStream(key))
        return;
    const Segments& segments = iLane.GetSegments();
    for (auto segment = iTimes.FindFirst(segments); segment != segments.end(); ++segment)
    {
        const bool isAtStart = iTimes.IsAtStart(*segment);
        const Time_Typed time = isAtStart ? iTimes.GetNote().GetTime() : iTimes.TimeOf(*segment);
        if (!isAtStart && iTimes.IsCutOff(time))
            break;
        AddValue(iTrack, time, key, segment->mValue, iChannel);
        if (!MdidHost_PlaySettings::IsSetting(lane))
            mOwnLanes[{iTrack, lane, iChannel}].push_back({time, segment->mValue});
    }
}

void MdidHost_PlaySchedule::AddOwnLanes()
{
    for (auto& [place, segments] : mOwnLanes)
    {
        const auto& [track, lane, channel] = place;
        std::ranges::stable_sort(segments, {}, &Segment::mTime);
        mChaseLanes[track].mLanes.push_back({GetKey(lane), static_cast<signed char>(channel), &segments});
    }
}

// As the items are sorted: what they set depends on their order.
void MdidHost_PlaySchedule::AddHistories()
{
    constexpr std::size_t kNumChannels = 16;
    for (std::size_t track = 0; track < mChaseLanes.size(); ++track)
        mChaseLanes[track].mHistories.resize(mSession.mTracks[track].mMPEMembers > 0 ? kNumChannels : 1);
    for (const Item& item : mItems)
    {
        if (item.mKind != Item::kLane || !MdidHost_PlaySettings::IsSetting(item.mLane))
            continue;
        auto& histories = mChaseLanes[static_cast<std::size_t>(item.mTrack)].mHistories;
        const std::size_t slot = histories.size() > 1 ? static_cast<std::size_t>(item.mChannel) : 0;
        histories[slot].Add(item.mSample, item.mLane, item.mValue);
    }
}

void MdidHost_PlaySchedule::CountNotes()
{
    std::ranges::sort(mStarts);
    std::ranges::sort(mEnds);
    auto end = mEnds.begin();
    std::size_t numSounding = 0;
    for (const std::int64_t start : mStarts)
    {
        for (; *end <= start; ++end)
            --numSounding;
        mMaxNotes = std::max(mMaxNotes, ++numSounding);
    }
    mStarts = {};
    mEnds = {};
}
