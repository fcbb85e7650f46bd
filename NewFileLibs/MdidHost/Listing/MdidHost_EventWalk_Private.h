#pragma once

#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "MdidHost/Session/MdidHost_NoteLaneTimes_Private.h"
#include "MdidHost/Session/MdidHost_Session.h"

#include <optional>
#include <vector>

// What a listing of events is about: the events of a track in a window of time, in order of time. A change of the
// chunk ends the validity of a walk; the track must outlive it.

// Nothing is before the one or behind the other, whatever its kind: the kinds do not reach equally far.
Time_Typed MdidHost_FirstOfAllTimes();
Time_Typed MdidHost_LastOfAllTimes();

// One bound or both may be missing.
struct MdidHost_EventWindow
{
    std::optional<Time_Typed> mStart;
    std::optional<Time_Typed> mEnd;

    bool IsBefore(Time_Typed iTime) const { return mStart && iTime < *mStart; }
    bool IsBehind(Time_Typed iTime) const { return mEnd && iTime >= *mEnd; }
};

// The per-note lanes of a note list in a window, merged by time: open lanes in a heap, opened as their notes begin.
class MdidHost_PerNoteWalk
{
public:
    MdidHost_PerNoteWalk(const Mdid_NoteListBase& iNotes, const MdidHost_EventWindow& iWindow,
                         const Mdie_Filter& iFilter);

    bool IsMore() const { return !mLanes.empty(); }
    Time_Typed GetTime() const { return mLanes.front().mTime; }
    const Mdid_NoteWithDurationExtendedEvent& GetNote() const { return mLanes.front().mTimes.GetNote(); }
    Mdid_Event MakeEvent() const;
    void Next();

private:
    struct Lane
    {
        Time_Typed mTime;
        MdidHost_NoteLaneTimes mTimes;
        const Mdid_PerNoteDataStream* mLaneP;
        std::size_t mNext;
        std::size_t mPlace; // tells lanes of one time apart
    };

    static bool IsLater(const Lane& iA, const Lane& iB)
    {
        return iA.mTime != iB.mTime ? iB.mTime < iA.mTime : iB.mPlace < iA.mPlace;
    }

    void Push(Lane iLane);
    void OpenLanes();
    void OpenLanesOf(const Mdid_NoteWithDurationExtendedEvent& iNote);

    Mdid_NoteListBase::const_iterator mNextNote;
    Mdid_NoteListBase::const_iterator mLastNote;
    MdidHost_EventWindow mWindow;
    Mdie_Filter mFilter;
    std::vector<Lane> mLanes;
    std::size_t mPlaces = 0;
};

// One event, and, of per-note data, its note.
struct MdidHost_ListedEvent
{
    Time_Typed mTime;
    Mdid_Event mEvent;
    const Mdid_NoteWithDurationExtendedEvent* mNoteP; // or null
};

// One track: what its chunk merges, and per-note data, which at one time comes by its playback priority, last of its
// kind.
class MdidHost_TrackWalk
{
public:
    MdidHost_TrackWalk(const MdidHost_Track& iTrack, int iNumber, const MdidHost_EventWindow& iWindow,
                       const Mdie_Filter& iFilter);

    bool IsMore() const { return mFrom != From::kNothing; }
    Time_Typed GetTime() const { return mFrom == From::kEvents ? mEvents.GetTime() : mExpression.GetTime(); }
    int GetNumber() const { return mNumber; }
    const MdidHost_Track& GetTrack() const { return mTrack; }

    MdidHost_ListedEvent Get() const;
    void Next();

private:
    enum class From
    {
        kNothing,
        kEvents,
        kExpression
    };

    void Choose();
    bool IsEventFirst() const;

    const MdidHost_Track& mTrack;
    int mNumber;
    MdidHost_EventWindow mWindow;
    Mdid_Chunk::RangeIter mEvents;
    MdidHost_PerNoteWalk mExpression;
    From mFrom = From::kNothing;
};
