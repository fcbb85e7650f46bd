#include "MdidHost/Edit/MdidHost_Diff.h"

#include "MdidHost/Edit/MdidHost_DiffItems_Private.h"
#include "MdidHost/Text/MdidHost_Text.h"
#include "MdidHost/Text/MdidHost_Wording_Private.h"

#include <iomanip>
#include <optional>
#include <ostream>
#include <sstream>

namespace
{

using namespace MdidHost_DiffItems;

Time_EType CommonKindOf(const MdidHost_Session& iLeft, const MdidHost_Session& iRight)
{
    const Time_EType left = iLeft.mDivision.GetKind();
    return left == iRight.mDivision.GetKind() ? left : Time_EType::kMicrosecond;
}

// Walks two sorted lists in step.
template <class Item, class Compare, class OnlyLeft, class OnlyRight, class Both>
void Merge(const std::vector<Item>& iLeft, const std::vector<Item>& iRight, Compare iCompare, OnlyLeft iOnlyLeft,
           OnlyRight iOnlyRight, Both iBoth)
{
    auto left = iLeft.begin();
    auto right = iRight.begin();
    while (left != iLeft.end() || right != iRight.end())
    {
        const Order order = left == iLeft.end()     ? Order::greater
                            : right == iRight.end() ? Order::less
                                                    : iCompare(*left, *right);
        if (order < 0)
            iOnlyLeft(*left++);
        else if (order > 0)
            iOnlyRight(*right++);
        else
            iBoth(*left++, *right++);
    }
}

// Only what changes the tempo: a map may say what holds anyway.
std::vector<TextItem> TemposOf(const Side& iSide)
{
    std::vector<TextItem> items;
    std::int32_t inForce = Time_TempoMap::kDefaultMicrosecondsPerQuarter;
    for (const auto& entry : iSide.GetSession().mContext.GetTempoMap().GetEntries())
    {
        if (entry.mMicrosecondsPerQuarter != inForce)
            items.push_back({iSide.PositionOf(entry.mTick), entry.mTick,
                             MdidHost_BeatsPerMinute(entry.mMicrosecondsPerQuarter) + " bpm (" +
                                 std::to_string(entry.mMicrosecondsPerQuarter) + " us)"});
        inForce = entry.mMicrosecondsPerQuarter;
    }
    return items;
}

template <class Elements, class Describe>
std::vector<TextItem> TextsOf(const Side& iSide, const Elements& iElements, Describe iDescribe)
{
    std::vector<TextItem> items;
    items.reserve(iElements.size());
    for (const auto& element : iElements)
        items.push_back({iSide.PositionOf(element.mTime), element.mTime, iDescribe(element)});
    SortBy(items, CompareTexts);
    return items;
}

std::string DescribeMeter(const MdidHost_Meter& iMeter)
{
    return std::to_string(iMeter.mNumerator) + '/' + std::to_string(iMeter.mDenominator) + ", " +
           MdidHost_Counted(iMeter.mClocksPerClick, "clock") + " a click, " +
           MdidHost_Counted(iMeter.mThirtySecondsPerQuarter, "thirty-second") + " a quarter note";
}

std::string DescribeDivision(const MdidHost_Division& iDivision)
{
    if (!iDivision.IsSMPTE())
        return MdidHost_Counted(iDivision.GetTicksPerQuarter(), "tick") + " a quarter note";
    return std::to_string(iDivision.GetFramesPerSecond()) + (iDivision.IsDropFrame() ? " drop" : "") +
           " frames a second, " + MdidHost_Counted(iDivision.GetTicksPerFrame(), "tick") + " a frame";
}

std::string DescribeOffset(const MdidHost_Session& iSession)
{
    if (!iSession.mSMPTEOffset)
        return {};
    const Mdi_MidiFileParserClient_Timecode& code = *iSession.mSMPTEOffset;
    std::ostringstream text;
    text << std::setfill('0');
    for (const int part : {int{code.mHours}, int{code.mMinutes}, int{code.mSeconds}, int{code.mFrames}})
        text << std::setw(2) << part << ':';
    text << std::setw(2) << int{code.mHundredths} << " at ";
    const bool isDrop = code.mFrameRate == Mdi_MidiFileParserClient_Timecode::kDrop30;
    text << (isDrop ? 30 : int{code.mFrameRate}) << (isDrop ? " drop frames" : " frames");
    return text.str();
}

// Writes the lines of one comparison.
class Comparison
{
public:
    Comparison(std::ostream& ioStream, const MdidHost_Session& iLeft, const MdidHost_Session& iRight)
        : mStream(ioStream),
          mLeft(iLeft, CommonKindOf(iLeft, iRight)),
          mRight(iRight, CommonKindOf(iLeft, iRight))
    {
    }

    std::int64_t Run()
    {
        const MdidHost_Session& left = mLeft.GetSession();
        const MdidHost_Session& right = mRight.GetSession();
        CompareValues("division ", DescribeDivision(left.mDivision), DescribeDivision(right.mDivision));
        CompareValues("sample rate ", std::to_string(left.mContext.GetSampleRate()),
                      std::to_string(right.mContext.GetSampleRate()));
        CompareValues("session start ", std::to_string(left.mContext.GetSessionStart().AsInt64()),
                      std::to_string(right.mContext.GetSessionStart().AsInt64()));
        CompareValues("SMPTE offset ", DescribeOffset(left), DescribeOffset(right));
        CompareTimedTexts("tempo ", TemposOf(mLeft), TemposOf(mRight));
        CompareTimedTexts("meter ", TextsOf(mLeft, left.mMeters, DescribeMeter),
                          TextsOf(mRight, right.mMeters, DescribeMeter));
        const auto keyText = [](const MdidHost_Key& iKey) { return MdidHost_NameOfKey(iKey.mKey); };
        CompareTimedTexts("key ", TextsOf(mLeft, left.mKeys, keyText), TextsOf(mRight, right.mKeys, keyText));
        const auto markerText = [](const MdidHost_Marker& iMarker) { return iMarker.mText; };
        CompareTimedTexts("marker ", TextsOf(mLeft, left.mMarkers, markerText),
                          TextsOf(mRight, right.mMarkers, markerText));
        CompareTracks();
        return mCount;
    }

private:
    void WriteLine(char iSign, const std::string& iText)
    {
        mStream << iSign << ' ' << iText << '\n';
        ++mCount;
    }
    void WriteLine(char iSign, const Side&, const std::string& iText) { WriteLine(iSign, iText); }
    void WriteLine(char iSign, const TrackView& iView, const std::string& iText)
    {
        WriteLine(iSign, "track " + std::to_string(iView.mNumber) + ": " + iText);
    }

    void CompareValues(const std::string& iWhat, const std::string& iLeft, const std::string& iRight)
    {
        if (iLeft == iRight)
            return;
        if (!iLeft.empty())
            WriteLine('-', iWhat + iLeft);
        if (!iRight.empty())
            WriteLine('+', iWhat + iRight);
    }

    // Of two sorted lists. iDescribe(view, item). At each position what is gone comes first. Of what is only on one
    // side there, iTellApart(left items, right items) may tell some in another way, and take it from the lists.
    template <class View, class Item, class Compare, class Describe, class TellApart>
    void CompareItems(const View& iLeft, const std::vector<Item>& iLeftItems, const View& iRight,
                      const std::vector<Item>& iRightItems, Compare iCompare, Describe iDescribe, TellApart iTellApart)
    {
        std::vector<const Item*> onlyLeft; // all at one position, as the right ones
        std::vector<const Item*> onlyRight;
        const auto write = [&]
        {
            iTellApart(onlyLeft, onlyRight);
            for (const Item* const itemP : onlyLeft)
                WriteLine('-', iLeft, iDescribe(iLeft, *itemP));
            for (const Item* const itemP : onlyRight)
                WriteLine('+', iRight, iDescribe(iRight, *itemP));
            onlyLeft.clear();
            onlyRight.clear();
        };
        std::optional<Position> place;
        const auto hold = [&](std::vector<const Item*>& ioList, const Item& iItem)
        {
            if (place && *place != PlaceOf(iItem))
                write();
            place = PlaceOf(iItem);
            ioList.push_back(&iItem);
        };
        Merge(
            iLeftItems, iRightItems, iCompare, [&](const Item& i) { hold(onlyLeft, i); },
            [&](const Item& i) { hold(onlyRight, i); }, [](const Item&, const Item&) {});
        write();
    }

    template <class View, class Item, class Compare, class Describe>
    void CompareItems(const View& iLeft, const std::vector<Item>& iLeftItems, const View& iRight,
                      const std::vector<Item>& iRightItems, Compare iCompare, Describe iDescribe)
    {
        CompareItems(iLeft, iLeftItems, iRight, iRightItems, iCompare, iDescribe, [](auto&, auto&) {});
    }

    static Position PlaceOf(const std::string&) { return {}; }
    static Position PlaceOf(const auto& iItem) { return iItem.mPosition; }

    void CompareTimedTexts(const char* iWhat, const std::vector<TextItem>& iLeft, const std::vector<TextItem>& iRight)
    {
        const auto describe = [=](const Side& iSide, const TextItem& iItem)
        { return iWhat + iSide.Format(iItem.mTime) + ' ' + MdidHost_Printable(iItem.mText); };
        CompareItems(mLeft, iLeft, mRight, iRight, CompareTexts, describe);
    }

    static auto KeyOf(const TrackView& iView)
    {
        return std::tie(iView.mTrack.mFileTrack, iView.mTrack.mChannel, iView.mTrack.mMPEMembers);
    }

    static Order CompareKeys(const TrackView* const& iLeftP, const TrackView* const& iRightP)
    {
        return KeyOf(*iLeftP) <=> KeyOf(*iRightP);
    }

    static std::vector<TrackView> ViewsOf(const Side& iSide)
    {
        std::vector<TrackView> views;
        int number = 0;
        for (const MdidHost_Track& track : iSide.GetSession().mTracks)
            if (++number; track.mChunk)
                views.push_back({iSide, track, number});
        return views;
    }

    static std::vector<const TrackView*> SortedByKey(const std::vector<TrackView>& iViews)
    {
        std::vector<const TrackView*> sorted;
        sorted.reserve(iViews.size());
        for (const TrackView& view : iViews)
            sorted.push_back(&view);
        SortBy(sorted, CompareKeys);
        return sorted;
    }

    void CompareTracks()
    {
        const std::vector<TrackView> left = ViewsOf(mLeft);
        const std::vector<TrackView> right = ViewsOf(mRight);
        Merge(
            SortedByKey(left), SortedByKey(right), CompareKeys,
            [&](const TrackView* iP) { WriteLine('-', *iP, DescribeTrack(*iP)); },
            [&](const TrackView* iP) { WriteLine('+', *iP, DescribeTrack(*iP)); },
            [&](const TrackView* iLeftP, const TrackView* iRightP) { CompareTrack(*iLeftP, *iRightP); });
    }

    void CompareTrack(const TrackView& iLeft, const TrackView& iRight)
    {
        CompareWords("name ", iLeft, {iLeft.mTrack.mName}, iRight, {iRight.mTrack.mName});
        CompareWords("instrument ", iLeft, {iLeft.mTrack.mInstrument}, iRight, {iRight.mTrack.mInstrument});
        CompareWords("comment ", iLeft, iLeft.mTrack.mComments, iRight, iRight.mTrack.mComments);
        CompareWords("end of the file's track ", iLeft, EndOf(iLeft), iRight, EndOf(iRight));
        CompareNoteLists(iLeft, iRight);
        CompareLanes(iLeft, iRight);
        CompareItems(iLeft, EventsOf(iLeft), iRight, EventsOf(iRight), CompareTexts, DescribeEvent);
    }

    static std::vector<std::string> EndOf(const TrackView& iView)
    {
        const std::optional<Time_Typed>& end = iView.mTrack.mFileTrackEnd;
        return end ? std::vector{iView.Format(*end)} : std::vector<std::string>();
    }

    void CompareWords(const std::string& iWhat, const TrackView& iLeftView, std::vector<std::string> iLeft,
                      const TrackView& iRightView, std::vector<std::string> iRight)
    {
        std::ranges::sort(iLeft);
        std::ranges::sort(iRight);
        CompareItems(
            iLeftView, iLeft, iRightView, iRight,
            [](const std::string& iA, const std::string& iB) { return iA <=> iB; },
            [&](const TrackView&, const std::string& i) { return iWhat + '"' + MdidHost_Printable(i) + '"'; });
    }

    void CompareNoteLists(const TrackView& iLeft, const TrackView& iRight)
    {
        CompareItems(
            iLeft, NotesOf(iLeft), iRight, NotesOf(iRight),
            [&](const NoteItem& iA, const NoteItem& iB) { return CompareNotes(iLeft, iA, iRight, iB); },
            [](const TrackView& iView, const NoteItem& iItem) { return DescribeNote(iView, *iItem.mNoteP); },
            [&](std::vector<const NoteItem*>& ioLeft, std::vector<const NoteItem*>& ioRight)
            { CompareExpressions(iLeft, ioLeft, iRight, ioRight); });
    }

    // Of notes that differ in their lanes alone, what is in the lanes.
    void CompareExpressions(const TrackView& iLeft, std::vector<const NoteItem*>& ioLeft, const TrackView& iRight,
                            std::vector<const NoteItem*>& ioRight)
    {
        std::vector<const NoteItem*> onlyLeft;
        std::vector<const NoteItem*> onlyRight;
        Merge(
            ioLeft, ioRight,
            [&](const NoteItem* iAP, const NoteItem* iBP) { return CompareNotesAlone(iLeft, *iAP, iRight, *iBP); },
            [&](const NoteItem* iP) { onlyLeft.push_back(iP); }, [&](const NoteItem* iP) { onlyRight.push_back(iP); },
            [&](const NoteItem* iAP, const NoteItem* iBP)
            { CompareExpression(iLeft, *iAP->mNoteP, iRight, *iBP->mNoteP); });
        ioLeft = std::move(onlyLeft);
        ioRight = std::move(onlyRight);
    }

    void CompareExpression(const TrackView& iLeft, const Note& iLeftNote, const TrackView& iRight,
                           const Note& iRightNote)
    {
        static const Lane kNone;
        const auto compare = [&](const Lane& iLeftLane, const Lane& iRightLane)
        {
            const Mdie_SubStream& key = (iLeftLane.IsEmpty() ? iRightLane : iLeftLane).GetSubStream();
            CompareItems(iLeft, PointsOf(iLeft, iLeftNote, iLeftLane), iRight, PointsOf(iRight, iRightNote, iRightLane),
                         ComparePoints,
                         [&](const TrackView& iView, const PointItem& i)
                         {
                             const Note& note = &iView == &iLeft ? iLeftNote : iRightNote;
                             const int channel = iView.ChannelOf(note.GetNote().GetChannel());
                             return DescribePoint(iView, key, channel, i) + ", of the note " +
                                    MdidHost_NameOfPitch(note.GetPitch()) + " at " + iView.Format(note.GetTime());
                         });
        };
        Merge(
            ExpressionOf(iLeftNote), ExpressionOf(iRightNote),
            [](const ExpressionItem& iA, const ExpressionItem& iB) -> Order { return iA.mIndex <=> iB.mIndex; },
            [&](const ExpressionItem& i) { compare(*i.mLaneP, kNone); },
            [&](const ExpressionItem& i) { compare(kNone, *i.mLaneP); },
            [&](const ExpressionItem& iA, const ExpressionItem& iB) { compare(*iA.mLaneP, *iB.mLaneP); });
    }

    // A lane that the other side does not have is compared with nothing.
    void CompareLanes(const TrackView& iLeft, const TrackView& iRight)
    {
        static const Lane kNone;
        Merge(
            LanesOf(iLeft), LanesOf(iRight),
            [](const LaneItem& iA, const LaneItem& iB) { return Order(iA.mKey <=> iB.mKey); },
            [&](const LaneItem& i) { ComparePointsOf(iLeft, *i.mLaneP, iRight, kNone); },
            [&](const LaneItem& i) { ComparePointsOf(iLeft, kNone, iRight, *i.mLaneP); },
            [&](const LaneItem& iA, const LaneItem& iB) { ComparePointsOf(iLeft, *iA.mLaneP, iRight, *iB.mLaneP); });
    }

    void ComparePointsOf(const TrackView& iLeft, const Lane& iLeftLane, const TrackView& iRight, const Lane& iRightLane)
    {
        const Mdie_SubStream& key = (iLeftLane.IsEmpty() ? iRightLane : iLeftLane).GetSubStream();
        CompareItems(iLeft, PointsOf(iLeft, iLeftLane), iRight, PointsOf(iRight, iRightLane), ComparePoints,
                     [&](const TrackView& iView, const PointItem& i)
                     { return DescribePoint(iView, key, iView.ChannelOf(key.GetChannel()), i); });
    }

    std::ostream& mStream;
    const Side mLeft;
    const Side mRight;
    std::int64_t mCount = 0;
};

} // namespace

std::int64_t MdidHost_WriteDifferences(std::ostream& ioStream, const MdidHost_Session& iLeft,
                                       const MdidHost_Session& iRight)
{
    return Comparison(ioStream, iLeft, iRight).Run();
}
