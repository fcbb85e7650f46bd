#pragma once

#include "Mdid/Mdid_ContinuousDataStreamCore.h"
#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_NoteList.h"
#include "Mdid/Mdie_Filter.h"
#include "MdidHost/Play/MdidHost_PlayHistory_Private.h"
#include "MdidHost/Session/MdidHost_NoteLaneTimes_Private.h"
#include "MdidHost/Session/MdidHost_Session.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

// Something that is played: a note or an event where the session has it, or a value of a lane.
struct MdidHost_PlayItem
{
    enum EKind : unsigned char
    {
        kNote,
        kEvent,
        kLane
    };

    std::int64_t mSample = 0;
    Time_Typed mTime;
    const Mdie_TimedEvent* mSourceP = nullptr; // null for a value; of a note, an Mdid_NoteListBase::Note
    std::int32_t mValue = 0;
    std::int32_t mTrack = 0;
    std::int16_t mPriority = 0;
    EKind mKind = kLane;
    unsigned char mLane = 0; // by Mdie_SubStream::GetDataTypeIndex
    signed char mChannel = 0;
};

// Everything that a session plays, in the order in which it is played, and what there is to chase. Reads the session,
// which must outlive it, in the current context of time.
class MdidHost_PlaySchedule
{
public:
    using Item = MdidHost_PlayItem;
    using Note = Mdid_NoteListBase::Note;
    using Segment = Mdid_ContinuousDataStreamCore::Segment;
    using Segments = std::vector<Segment>;

    // A lane that is played on a channel. Of several for one lane and channel the later value is in force, and at equal
    // times that of the later one.
    struct ChaseLane
    {
        Mdie_SubStream mKey;
        signed char mChannel;
        const Segments* mSegmentsP; // values may be beyond the range of the lane
    };

    // What there is to chase of a track.
    struct TrackLanes
    {
        std::vector<ChaseLane> mLanes;                // other than those of settings
        std::vector<MdidHost_PlayHistory> mHistories; // of settings: by channel in MPE tracks, otherwise one
    };

    MdidHost_PlaySchedule(const MdidHost_Session& iSession, const Mdie_Filter& iFilter);
    MdidHost_PlaySchedule(const MdidHost_PlaySchedule&) = delete;
    MdidHost_PlaySchedule& operator=(const MdidHost_PlaySchedule&) = delete;

    const std::vector<Item>& GetItems() const { return mItems; }
    const Item* FindFirst(std::int64_t iSample) const; // not before the sample; behind the last, when there is none
    const TrackLanes& GetChaseLanes(std::size_t iTrack) const { return mChaseLanes[iTrack]; }
    std::size_t GetMaxSettings() const; // events that make all settings of a track
    const Mdie_SubStream& GetKey(int iLane) const { return mKeys[static_cast<std::size_t>(iLane)]; }

    std::size_t GetMaxNotes() const { return mMaxNotes; } // that sound at one sample
    std::int64_t GetEnd() const { return mEnd; }          // the first sample behind everything

    // As it is played: on its channel, with what the filter makes of its velocities. None for a note that is not heard.
    std::optional<Mdid_NoteWithDurationEvent> MakeNote(std::size_t iTrack, const Note& iNote) const;

    static std::int64_t SampleOf(Time_Typed iTime);

private:
    using OwnLaneKey = std::tuple<std::size_t, int, int>; // track, lane, channel

    std::optional<signed char> FindChannel(std::size_t iTrack, signed char iEventChannel) const;
    Item& Add(std::size_t iTrack, Time_Typed iTime, const Mdid_Event& iEvent, Item::EKind iKind);
    void AddTrack(std::size_t iTrack);
    void AddLane(std::size_t iTrack, const Mdid_ContinuousDataStreamCore& iLane);
    void AddValue(std::size_t iTrack, Time_Typed iTime, const Mdie_SubStream& iKey, int iValue, signed char iChannel);
    void AddStreamEvent(std::size_t iTrack, const Mdie_TimedEvent& iEvent);
    void AddNote(std::size_t iTrack, const Note& iNote);
    void AddNoteLane(std::size_t iTrack, const MdidHost_NoteLaneTimes& iTimes, signed char iChannel,
                     const Mdid_ContinuousDataStreamCore& iLane);
    void AddOwnLanes();
    void AddHistories();
    void CountNotes();

    const MdidHost_Session& mSession;
    Mdie_Filter mFilter;
    std::vector<Mdie_SubStream> mKeys; // of all lanes
    std::vector<Item> mItems;
    std::vector<TrackLanes> mChaseLanes;      // by track
    std::map<OwnLaneKey, Segments> mOwnLanes; // of notes
    std::vector<std::int64_t> mStarts;        // of notes, until they are counted
    std::vector<std::int64_t> mEnds;          // behind their last samples
    std::size_t mMaxNotes = 0;
    std::int64_t mEnd = 0;
};
