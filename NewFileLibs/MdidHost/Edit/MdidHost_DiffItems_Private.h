#pragma once

#include "Mdid/Mdid_Chunk.h"
#include "MdidHost/Session/MdidHost_MusicalTime.h"
#include "MdidHost/Session/MdidHost_Session.h"

#include <algorithm>
#include <compare>
#include <string>
#include <tuple>
#include <vector>

// What the comparison of two sessions is made of: what a track holds, in an order that does not depend on the session,
// and as text.
namespace MdidHost_DiffItems
{

using Note = Mdid_NoteListBase::Note;
using Segment = Mdid_ContinuousDataStreamCore::Segment;
using Lane = Mdid_ContinuousDataStreamCore;
using Order = std::strong_ordering;

// A time as both sessions see it.
struct Position
{
    std::int64_t mCount; // of the kind that both have, rounded
    std::int64_t mExact; // the packed time, in the first kind in which it is exact

    auto operator<=>(const Position&) const = default;
};

// One of the sessions.
class Side
{
public:
    Side(const MdidHost_Session& iSession, Time_EType iKind) : mSession(iSession), mMusicalTime(iSession), mKind(iKind)
    {
    }

    const MdidHost_Session& GetSession() const { return mSession; }

    Position PositionOf(Time_Typed iTime) const
    {
        if (iTime.GetType() == mKind) [[likely]]
            return {iTime.AsInt64(), iTime.GetPacked().GetRaw()};
        return PositionOfOtherKind(iTime);
    }
    Time_Typed Add(Time_Typed iTime, Time_TypedLength iLength) const { return mSession.mContext.Add(iTime, iLength); }
    Position EndOf(Time_Typed iStart, Time_TypedLength iLength) const { return PositionOf(Add(iStart, iLength)); }

    // "1:3:000", or "480t" without bars; then "+7", how many internal counts it is behind that.
    std::string Format(Time_Typed iTime) const;

private:
    Position PositionOfOtherKind(Time_Typed iTime) const;

    const MdidHost_Session& mSession;
    MdidHost_MusicalTime mMusicalTime;
    Time_EType mKind;
};

// A chunk as it plays.
struct TrackView
{
    const Side& mSide;
    const MdidHost_Track& mTrack;
    int mNumber; // from 1

    int ChannelOf(signed char iEventChannel) const { return mTrack.GetChannelOf(iEventChannel); }
    Position PositionOf(Time_Typed iTime) const { return mSide.PositionOf(iTime); }
    std::string Format(Time_Typed iTime) const { return mSide.Format(iTime); }
};

// Something at a time that a text tells whole: bytes that are shown elsewhere, or words.
struct TextItem
{
    Position mPosition;
    Time_Typed mTime;
    std::string mText;
};

inline Order CompareTexts(const TextItem& iLeft, const TextItem& iRight)
{
    return std::tie(iLeft.mPosition, iLeft.mText) <=> std::tie(iRight.mPosition, iRight.mText);
}

struct NoteItem
{
    Position mPosition;
    const Note* mNoteP;
};

// A lane of one note; its times count from where the note starts without the cuts of a clip.
struct ExpressionItem
{
    int mIndex;
    const Lane* mLaneP;
};

struct LaneItem
{
    // Index, stream type, channel; of a lane of a note also its key.
    std::tuple<int, int, int, int, int, Position> mKey;
    const Lane* mLaneP;
};

struct PointItem
{
    Position mPosition;
    Time_Typed mTime;
    int mValue;
};

// Mostly it is in order.
template <class Item, class Compare>
void SortBy(std::vector<Item>& ioItems, Compare iCompare)
{
    const auto isLess = [&](const Item& iA, const Item& iB) { return iCompare(iA, iB) < 0; };
    if (!std::ranges::is_sorted(ioItems, isLess))
        std::ranges::stable_sort(ioItems, isLess);
}

// All are in ascending order.
std::vector<NoteItem> NotesOf(const TrackView& iView);
std::vector<LaneItem> LanesOf(const TrackView& iView);       // those with breakpoints
std::vector<ExpressionItem> ExpressionOf(const Note& iNote); // with breakpoints, too
std::vector<PointItem> PointsOf(const TrackView& iView, const Lane& iLane);
std::vector<PointItem> PointsOf(const TrackView& iView, const Note& iNote, const Lane& iLane); // at absolute times
std::vector<TextItem> EventsOf(const TrackView& iView);                                        // by their bytes

// By all but their lanes; and by these too.
Order CompareNotesAlone(const TrackView& iLeftView, const NoteItem& iLeft, const TrackView& iRightView,
                        const NoteItem& iRight);
Order CompareNotes(const TrackView& iLeftView, const NoteItem& iLeft, const TrackView& iRightView,
                   const NoteItem& iRight);
Order ComparePoints(const PointItem& iLeft, const PointItem& iRight);

std::string DescribeNote(const TrackView& iView, const Note& iNote);
// iChannel: below 0 for none.
std::string DescribePoint(const TrackView& iView, const Mdie_SubStream& iKey, int iChannel, const PointItem& iPoint);
std::string DescribeEvent(const TrackView& iView, const TextItem& iItem);
std::string DescribeTrack(const TrackView& iView);

} // namespace MdidHost_DiffItems
