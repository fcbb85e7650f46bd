#include "MdidHost/PianoRoll/MdidHost_PianoRollLayout_Private.h"
#include "MdidHost/Text/MdidHost_Text.h"
#include "MdidHost/Text/MdidHost_Wording_Private.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace MdidHost_Roll
{

namespace
{

constexpr double kBarNameDistance = 32;
constexpr double kClockNameDistance = 64;
constexpr double kLabelSpace = 10;
constexpr double kLeaderSpace = 3; // on either side
constexpr double kMarkDistance = 0.5;
constexpr std::size_t kLabelRows = 2;

constexpr int kMaxMarkerWidth = 40;
constexpr int kMinMarkerWidth = 6;
constexpr double kMinMarkerRoom = 20;

// "69", "92.3".
std::string TempoText(int iMicrosecondsPerQuarter)
{
    if (iMicrosecondsPerQuarter <= 0)
        return {};
    std::string text = MdidHost_Formatted("%.1f", 60e6 / iMicrosecondsPerQuarter);
    return (text.ends_with(".0") ? text.substr(0, text.size() - 2) : text) + " bpm";
}

std::string MeterText(const MdidHost_Meter& iMeter)
{
    return std::to_string(iMeter.mNumerator) + '/' + std::to_string(iMeter.mDenominator);
}

// Rows of texts that do not touch one another, from the lowest one. In the rows below a text nothing crosses the line
// that leads down from its time, but a text of the same time, on which the line ends.
class LabelRows
{
public:
    LabelRows(std::size_t iMaxRows, double iLeft, double iRight) : mRows(iMaxRows), mLeft(iLeft), mRight(iRight) {}

    struct Place
    {
        std::size_t mRow;
        double mLeft;
    };

    // In the lowest row, or the highest one, that has room. None when there is none.
    std::optional<Place> Take(double iX, double iWidth, bool iIsHigh = false)
    {
        const double left = std::min(iX, mRight - iWidth);
        for (std::size_t i = 0; i < mRows.size() && left >= mLeft; ++i)
        {
            const std::size_t row = iIsHigh ? mRows.size() - 1 - i : i;
            const Span text{left, left + iWidth, false};
            if (!IsFree(row, text) || !IsFreeBelow(row, iX))
                continue;
            Insert(row, text);
            for (std::size_t below = 0; below < row; ++below)
                if (const Span leader{iX, iX, true}; IsFree(below, leader))
                    Insert(below, leader);
            mUsed = std::max(mUsed, row + 1);
            return Place{row, left};
        }
        return {};
    }

    // For a text that begins there: in the lowest row that has at least so much. 0 where none has.
    double GetRoomAt(double iX, double iLeast) const
    {
        for (std::size_t row = 0; row < mRows.size(); ++row)
        {
            const auto next = FindNext(row, iX);
            const double room = (next == mRows[row].end() ? mRight : next->mLeft - GapOf(false, next->mIsLeader)) - iX;
            if (room >= iLeast && IsFree(row, {iX, iX, false}) && IsFreeBelow(row, iX))
                return room;
        }
        return 0;
    }

    std::size_t GetNumUsed() const { return mUsed; }

private:
    struct Span
    {
        double mLeft;
        double mRight;
        bool mIsLeader; // the line of a text above
    };

    static double GapOf(bool iIsLeader, bool iIsOtherLeader)
    {
        return iIsLeader || iIsOtherLeader ? kLeaderSpace : kLabelSpace;
    }

    std::vector<Span>::const_iterator FindNext(std::size_t iRow, double iX) const
    {
        return std::ranges::lower_bound(mRows[iRow], iX, {}, &Span::mLeft);
    }

    bool IsFree(std::size_t iRow, Span iSpan) const
    {
        const auto& row = mRows[iRow];
        const auto isApart = [](const Span& iA, const Span& iB)
        { return iA.mRight + GapOf(iA.mIsLeader, iB.mIsLeader) <= iB.mLeft; };
        const auto next = FindNext(iRow, iSpan.mLeft);
        return (next == row.end() || isApart(iSpan, *next)) &&
               (next == row.begin() || isApart(*std::prev(next), iSpan));
    }

    bool IsFreeBelow(std::size_t iRow, double iX) const
    {
        const auto endsOnText = [&](std::size_t row)
        {
            const auto next = FindNext(row, iX);
            return next != mRows[row].end() && next->mLeft == iX && !next->mIsLeader;
        };
        for (std::size_t row = 0; row < iRow; ++row)
            if (!IsFree(row, {iX, iX, true}) && !endsOnText(row))
                return false;
        return true;
    }

    void Insert(std::size_t iRow, Span iSpan) { mRows[iRow].insert(FindNext(iRow, iSpan.mLeft), iSpan); }

    std::vector<std::vector<Span>> mRows; // each ascending
    double mLeft;
    double mRight;
    std::size_t mUsed = 0;
};

// What changes at one time.
struct Change
{
    Time_Typed mTime;
    std::string mText;
    std::string mTextWithoutTempo; // empty where nothing else changes
};

// Meters, keys and tempos in [iStart, iEnd), those in force at the start of the picture too; in a session without bars
// none of them means anything.
std::vector<Change> FindChanges(const MdidHost_Session& iSession, Time_Typed iStart, Time_Typed iEnd, bool iIsFirst)
{
    std::vector<Change> changes;
    const auto addAll = [&](const auto& iItems, auto iTimeOf, auto iMakeChange)
    {
        auto item = std::ranges::lower_bound(iItems, iStart, {}, iTimeOf);
        if (iIsFirst && item != iItems.begin() && (item == iItems.end() || iTimeOf(*item) > iStart))
            changes.push_back(iMakeChange(iStart, *std::prev(item)));
        for (; item != iItems.end() && iTimeOf(*item) < iEnd; ++item)
            if (std::next(item) == iItems.end() || iTimeOf(*std::next(item)) != iTimeOf(*item)) // the last one counts
                changes.push_back(iMakeChange(iTimeOf(*item), *item));
    };
    if (iSession.mDivision.IsSMPTE())
        return changes;
    const auto timeOf = [](const auto& iItem) { return iItem.mTime; };
    addAll(iSession.mMeters, timeOf,
           [](Time_Typed iTime, const auto& iMeter) {
               return Change{iTime, MeterText(iMeter), MeterText(iMeter)};
           });
    addAll(iSession.mKeys, timeOf,
           [](Time_Typed iTime, const auto& iKey)
           {
               const std::string name = MdidHost_NameOfKey(iKey.mKey);
               return Change{iTime, name, name};
           });
    addAll(
        iSession.mContext.GetTempoMap().GetEntries(), [](const auto& iEntry) -> Time_Typed { return iEntry.mTick; },
        [](Time_Typed iTime, const auto& iEntry) {
            return Change{iTime, TempoText(iEntry.mMicrosecondsPerQuarter), {}};
        });
    std::ranges::stable_sort(changes, {}, &Change::mTime);

    std::vector<Change> merged;
    const auto append = [](std::string& ioText, const std::string& iMore)
    { ioText += (ioText.empty() || iMore.empty() ? "" : "   ") + iMore; };
    for (const Change& change : changes)
        if (!merged.empty() && merged.back().mTime == change.mTime)
        {
            append(merged.back().mText, change.mText);
            append(merged.back().mTextWithoutTempo, change.mTextWithoutTempo);
        }
        else
            merged.push_back(change);
    return merged;
}

} // namespace

// The texts above one system, from the frame upward: bars, changes, markers; each as far as there is room. Changes and
// markers are taken from the right to the left, so that of two that are close the first one is above the other.
class LabelMaker
{
public:
    LabelMaker(const Layout& iLayout, System& ioSystem)
        : mLayout(iLayout),
          mSystem(ioSystem),
          mLeft(ioSystem.mFrame.mLeft),
          mRight(mLeft + iLayout.mContentWidth)
    {
    }

    void Make(bool iIsFirst)
    {
        AddBars();
        AddChanges(FindChanges(mLayout.mSession, mSystem.mStart, mSystem.mEnd, iIsFirst));
        AddMarkers();

        // The top of the system is that of the highest row.
        for (Label& label : mSystem.mLabels)
            for (double* const yP : {&label.mBox.mTop, &label.mBox.mBottom, &label.mFoot})
                *yP += mHeight;
        mSystem.mFrame.mTop = mHeight;
    }

private:
    double XOf(Time_Typed iTime) const { return mLayout.XOf(mSystem, iTime); }
    double WidthOf(const std::string& iText) const { return mLayout.mTextWidth(iText, kTextSize); }

    bool Add(LabelRows& ioRows, Label::Kind iKind, double iX, const std::string& iText, bool iIsHigh = false)
    {
        const double width = WidthOf(iText);
        const auto place = iText.empty() ? std::nullopt : ioRows.Take(iX, width, iIsHigh);
        if (!place)
            return false;
        const double bottom = -mHeight - static_cast<double>(place->mRow) * kLabelHeight;
        const Box box{place->mLeft, bottom - kLabelHeight, place->mLeft + width, bottom};
        mSystem.mLabels.push_back({iKind, iText, box, iX, -mHeight});
        return true;
    }

    void AddMark(Label::Kind iKind, double iX)
    {
        const auto& marks = mSystem.mMarks;
        if (marks.empty() || marks.back().mKind != iKind || marks.back().mX - iX >= kMarkDistance)
            mSystem.mMarks.push_back({iKind, iX});
    }

    void Finish(const LabelRows& iRows) { mHeight += static_cast<double>(iRows.GetNumUsed()) * kLabelHeight; }

    void AddBars()
    {
        LabelRows rows(1, mLeft, mRight);
        const double nameDistance = mLayout.mSession.mDivision.IsSMPTE() ? kClockNameDistance : kBarNameDistance;
        const MdidHost_PianoRollGrid::Distances distances{mLayout.LengthOf(kBarDistance), mLayout.mEnd - mLayout.mStart,
                                                          mLayout.LengthOf(nameDistance)};
        Add(rows, Label::Kind::kBar, mLeft, mLayout.mGrid.NameOf(mSystem.mStart));
        for (const auto& line : mLayout.mGrid.GetLines(mSystem.mStart, mSystem.mEnd, distances))
            if (!line.mName.empty())
                Add(rows, Label::Kind::kBar, XOf(line.mTime), line.mName);
        Finish(rows);
    }

    struct Entry
    {
        double mX;
        std::string mText;
        std::string mShortText; // where there is no room for the other; may be empty
        int mRank;              // low ones go first
    };

    // Meters and keys go before tempos.
    void AddChanges(const std::vector<Change>& iChanges)
    {
        std::vector<Entry> entries;
        entries.reserve(iChanges.size());
        for (const auto& [time, text, textWithoutTempo] : iChanges)
            entries.push_back({XOf(time), text, textWithoutTempo, textWithoutTempo.empty() ? 2 : 1});
        AddEntries(Label::Kind::kChange, std::move(entries));
    }

    void AddMarkers()
    {
        const auto& markers = mLayout.mSession.mMarkers;
        std::vector<Entry> entries;
        auto marker = std::ranges::lower_bound(markers, mSystem.mStart, {}, &MdidHost_Marker::mTime);
        for (; marker != markers.end() && marker->mTime < mSystem.mEnd; ++marker)
            entries.push_back({XOf(marker->mTime), Shortened(marker->mText, kMaxMarkerWidth), {}, 1});
        AddEntries(Label::Kind::kMarker, std::move(entries));
    }

    // What is at the start goes before all. A low rank with a higher one close behind is high up, to leave it the room.
    void AddEntries(Label::Kind iKind, std::vector<Entry> iEntries)
    {
        LabelRows rows(kLabelRows, mLeft, mRight);
        std::vector<std::size_t> order(iEntries.size());
        std::iota(order.rbegin(), order.rend(), std::size_t{0});
        for (const std::size_t i : order)
            AddMark(iKind, iEntries[i].mX);
        if (!iEntries.empty() && iEntries.front().mX <= mLeft)
            iEntries.front().mRank = 0;
        std::ranges::stable_sort(order, {}, [&](std::size_t i) { return iEntries[i].mRank; });
        for (const std::size_t i : order)
        {
            const auto& [x, text, shortText, rank] = iEntries[i];
            const bool isHigh = i + 1 < iEntries.size() && rank < iEntries[i + 1].mRank &&
                                iEntries[i + 1].mX < x + WidthOf(text) + kLabelSpace;
            if (!Add(rows, iKind, x, text, isHigh))
                Add(rows, iKind, x, iKind == Label::Kind::kMarker ? FittingPartOf(text, rows, x) : shortText, isHigh);
        }
        Finish(rows);
    }

    // At least half of it; otherwise nothing.
    std::string FittingPartOf(const std::string& iText, const LabelRows& iRows, double iX) const
    {
        if (iRows.GetRoomAt(iX, kMinMarkerRoom) == 0)
            return {};
        const int least = std::max(kMinMarkerWidth, MdidHost_WidthOf(iText) / 2);
        const double room = iRows.GetRoomAt(iX, WidthOf(Shortened(iText, least)));
        for (int width = MdidHost_WidthOf(iText) - 1; room > 0 && width >= least; --width)
            if (std::string text = Shortened(iText, width); WidthOf(text) <= room)
                return text;
        return {};
    }

    const Layout& mLayout;
    System& mSystem;
    double mLeft;
    double mRight;
    double mHeight = 0; // of the rows that are done
};

void Layout::AddLabels(System& ioSystem) const
{
    LabelMaker(*this, ioSystem).Make(mSystems.empty());
}

} // namespace MdidHost_Roll
