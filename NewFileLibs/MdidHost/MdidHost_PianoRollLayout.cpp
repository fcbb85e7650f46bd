#include "MdidHost/MdidHost_PianoRollLayout_Private.h"

#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_NoteListIterators.h"
#include "MdidHost/MdidHost_PianoRollContents_Private.h"
#include "MdidHost/MdidHost_Text.h"
#include "MdidHost/MdidHost_Wording_Private.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace MdidHost_Roll
{

namespace
{

using Note = Mdid_NoteListBase::Note;

constexpr int kLowestPitch = 0;
constexpr int kHighestPitch = 127;
constexpr int kMinRows = 13;
constexpr double kMinRowHeight = 5.5;
constexpr double kMaxRowHeight = 11;
constexpr double kRollHeight = 400; // that rows share, as far as their bounds let them

// Of a quarter note (of half a second, where there are none), and of a short note.
constexpr double kMinQuarter = 24;
constexpr double kMaxQuarter = 64;
constexpr double kEmptyQuarter = 40;
constexpr double kShortNote = 9;
constexpr std::int64_t kHalfSecond = Time_Context::kMicrosecondsPerSecond / 2;

// A system may be longer than it should by this share, which is the rounding of its bar lines.
constexpr double kTolerance = 0.002;

constexpr double kBarDistance = 7;
constexpr double kBeatDistance = 9;
constexpr double kBarNameDistance = 32;
constexpr double kClockNameDistance = 64;
constexpr double kLabelSpace = 10;
constexpr std::size_t kLabelRows = 2;

constexpr int kMaxNameWidth = 28;
constexpr int kMaxMarkerWidth = 40;
constexpr std::size_t kMaxHandsInLegend = 48;
constexpr double kLegendRow = 16;

std::string Shortened(const std::string& iText, int iWidth)
{
    const std::string text = MdidHost_Printable(iText);
    return MdidHost_WidthOf(text) <= iWidth ? text : MdidHost_Column(text, iWidth - 1) + "\u2026";
}

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

// Rows of texts that do not touch one another, filled from the lowest one.
class LabelRows
{
public:
    LabelRows(std::size_t iMaxRows, double iLeft, double iRight) : mRows(iMaxRows), mLeft(iLeft), mRight(iRight) {}

    // The row and the left end. None when there is no room.
    std::optional<std::pair<std::size_t, double>> Place(double iX, double iWidth)
    {
        const double left = std::min(iX, mRight - iWidth);
        for (std::size_t row = 0; row < mRows.size() && left >= mLeft; ++row)
        {
            const auto next = std::ranges::lower_bound(mRows[row], left, {}, &Span::first);
            const bool isFree = (next == mRows[row].end() || left + iWidth + kLabelSpace <= next->first) &&
                                (next == mRows[row].begin() || std::prev(next)->second + kLabelSpace <= left);
            if (!isFree)
                continue;
            mRows[row].insert(next, {left, left + iWidth});
            mUsed = std::max(mUsed, row + 1);
            return std::pair(row, left);
        }
        return {};
    }

    std::size_t GetNumUsed() const { return mUsed; }

private:
    using Span = std::pair<double, double>;
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
    bool mIsTempoOnly;
};

} // namespace

Layout::Layout(const MdidHost_Session& iSession, const MdidHost_PianoRoll& iRoll, double iPageHeight,
               TextWidth iTextWidth)
    : mSession(iSession),
      mRoll(iRoll),
      mPageHeight(iPageHeight),
      mTextWidth(std::move(iTextWidth)),
      mGrid(iSession),
      mKind(iSession.mDivision.GetKind()),
      mContentWidth(iRoll.mWidth - 2 * kMargin - kGutter)
{
    if (iRoll.mWidth < MdidHost_PianoRoll::kMinWidth || iRoll.mWidth > MdidHost_PianoRoll::kMaxWidth)
        throw std::invalid_argument("no width of a piano roll: " + std::to_string(iRoll.mWidth));
    FindHands();
    FindRange();
    MakeSurvey();
    FindPitches();
    FindScale();
    BreakIntoSystems();
    MakeHead();
    SetHeights();
}

void Layout::FindHands()
{
    const auto& tracks = mSession.mTracks;
    if (mRoll.mTrack && (*mRoll.mTrack < 1 || *mRoll.mTrack > std::ssize(tracks)))
        throw std::invalid_argument("there is no track " + std::to_string(*mRoll.mTrack));
    for (int number = 1; number <= std::ssize(tracks); ++number)
    {
        const MdidHost_Track& track = tracks[static_cast<std::size_t>(number - 1)];
        if (!track.mChunk || (mRoll.mTrack && *mRoll.mTrack != number))
            continue;
        const std::string& name = track.mName.empty() ? track.mInstrument : track.mName;
        mHands.push_back({number, &track, track.mChunk.Get(),
                          name.empty() ? "track " + std::to_string(number) : Shortened(name, kMaxNameWidth)});
    }
}

// What clips have cut off is in the picture, where there is room for it.
void Layout::FindRange()
{
    std::optional<Time_Typed> first;
    std::optional<Time_Typed> last;
    const auto takeIn = [&](Time_Typed iFirst, Time_Typed iLast)
    {
        first = first ? std::min(*first, ToKind(iFirst)) : ToKind(iFirst);
        last = last ? std::max(*last, ToKind(iLast)) : ToKind(iLast);
    };
    if (!mRoll.mStart || !mRoll.mEnd)
        for (const Hand& hand : mHands)
            for (const Note& note : *hand.mChunkP->GetNoteList())
            {
                const WholeNote whole(note);
                takeIn(whole.GetStart(), whole.GetEnd());
            }
    if (!first)
        for (const Hand& hand : mHands)
            ForLanesOf(hand, mRoll.mLanes,
                       [&](const Mdid_ContinuousDataStream& lane)
                       { takeIn(lane.GetSegments().front().mTime, lane.GetSegments().back().mTime); });

    mStart = mRoll.mStart ? ToKind(*mRoll.mStart) : mGrid.FindBarAt(first.value_or(Time_Typed(0, mKind)));
    mEnd = mRoll.mEnd ? ToKind(*mRoll.mEnd) : mGrid.FindBarAtOrBehind(last.value_or(mStart));
    if (!mRoll.mEnd && mEnd <= mStart)
        mEnd = mStart + mGrid.GetBarLength(mStart);
    if (!mRoll.mStart && mEnd <= mStart)
        mStart = mGrid.FindBarAt(mEnd - Time_TypedLength(1, mKind));
    if (mEnd <= mStart)
        throw std::invalid_argument("a piano roll ends behind its start");
}

void Layout::SurveyNote(const Note& iNote, std::vector<std::int64_t>& ioDurations)
{
    if (++mSurvey.mNumNotes > kMaxNotes)
        throw std::length_error("more than " + std::to_string(kMaxNotes) +
                                " notes make no readable piano roll: choose a part of it");
    ioDurations.push_back(CountOf(iNote.GetEndTime()) - CountOf(iNote.GetTime()));
    mSurvey.mHasMuted |= iNote.IsMuted();
    mSurvey.mHasCut |= iNote.HasTrimExtension();
    const auto [lowest, highest] = BendsOf(iNote);
    const int pitch = std::clamp<int>(iNote.GetPitch(), kLowestPitch, kHighestPitch);
    mSurvey.mHasBends |= lowest != 0 || highest != 0;
    mSurvey.mLowestPitch = std::min(mSurvey.mLowestPitch, pitch + static_cast<int>(std::floor(SemitonesOf(lowest))));
    mSurvey.mHighestPitch = std::max(mSurvey.mHighestPitch, pitch + static_cast<int>(std::ceil(SemitonesOf(highest))));
}

void Layout::MakeSurvey()
{
    std::vector<std::int64_t> durations;
    for (Hand& hand : mHands)
        for (const Note& note : hand.mChunkP->GetNoteList()->GetOverlappingNotesInRange(mStart, mEnd))
        {
            SurveyNote(note, durations);
            hand.mHasNotes = true;
        }
    if (!durations.empty())
    {
        const auto tenth = durations.begin() + std::ssize(durations) / 10;
        std::ranges::nth_element(durations, tenth);
        mSurvey.mShortDuration = *tenth;
    }
    if (!mRoll.mTrack)
        std::erase_if(mHands,
                      [this](const Hand& hand)
                      {
                          bool isShown = hand.mHasNotes;
                          ForLanesOf(hand, mRoll.mLanes, [&](const auto&) { isShown = true; });
                          return !isShown;
                      });
}

void Layout::FindPitches()
{
    int& lowest = mSurvey.mLowestPitch;
    int& highest = mSurvey.mHighestPitch;
    if (mSurvey.mNumNotes == 0)
        lowest = highest = 60;
    lowest = std::max(lowest - 1, kLowestPitch);
    highest = std::min(highest + 1, kHighestPitch);
    while (highest - lowest + 1 < kMinRows)
    {
        highest = std::min(highest + 1, kHighestPitch);
        lowest = std::max(lowest - 1, kLowestPitch);
    }
}

// So that short notes can be seen, and systems have whole bars, about as many each.
void Layout::FindScale()
{
    const auto quarter = static_cast<double>(mKind == Time_EType::kTick ? Time_Context::kTicksPerQuarter : kHalfSecond);
    double unitsPerPixel = quarter / kEmptyQuarter;
    if (mSurvey.mNumNotes > 0)
        unitsPerPixel = std::clamp(static_cast<double>(mSurvey.mShortDuration) / kShortNote, quarter / kMaxQuarter,
                                   quarter / kMinQuarter);
    const auto total = static_cast<double>((mEnd - mStart).AsInt64());
    double units = std::min(total, unitsPerPixel * mContentWidth);
    if (total > units)
    {
        const double bar = static_cast<double>(mGrid.GetBarLength(mStart).AsInt64());
        const double systems = std::ceil(total / std::max(std::floor(units / bar) * bar, units / 2));
        if (units >= bar)
            units = std::min(std::floor(units / bar), std::ceil(total / systems / bar)) * bar;
    }
    if (total / units > static_cast<double>(kMaxSystems))
        throw std::length_error("too long for a readable piano roll: choose a part of it");
    mUnitsPerPixel = units / mContentWidth;
}

void Layout::BreakIntoSystems()
{
    const double units = mUnitsPerPixel * mContentWidth;
    const Time_TypedLength longest(static_cast<std::int64_t>(units * (1 + kTolerance)), mKind);
    for (Time_Typed start = mStart; start < mEnd; start = mSystems.back().mEnd)
    {
        System system;
        system.mStart = start;
        const Time_Typed limit = start + std::max(longest, Time_TypedLength(1, mKind));
        system.mEnd = limit >= mEnd ? mEnd : mGrid.FindBreak(start, limit);
        const auto length = static_cast<double>((system.mEnd - start).AsInt64());
        system.mFrame.mLeft = kMargin + kGutter;
        system.mFrame.mRight = system.mFrame.mLeft + mContentWidth * std::min(1.0, length / units);
        AddLabels(system);
        mSystems.push_back(std::move(system));
    }
}

Time_Typed Layout::ToKind(Time_Typed iTime) const
{
    return mSession.mContext.ToType(iTime, mKind);
}

Time_TypedLength Layout::LengthOf(double iPixels) const
{
    return {std::max<std::int64_t>(1, static_cast<std::int64_t>(iPixels * mUnitsPerPixel)), mKind};
}

double Layout::XOf(const System& iSystem, Time_Typed iTime) const
{
    const auto length = static_cast<double>((iSystem.mEnd - iSystem.mStart).AsInt64());
    const auto count = static_cast<double>((ToKind(iTime) - iSystem.mStart).AsInt64());
    return iSystem.mFrame.mLeft + count / length * iSystem.mFrame.Width();
}

Box Layout::RowOf(const System& iSystem, int iPitch) const
{
    const double top = iSystem.mFrame.mTop + (mSurvey.mHighestPitch - iPitch) * mRowHeight;
    return {iSystem.mFrame.mLeft, top, iSystem.mFrame.mRight, top + mRowHeight};
}

std::vector<GridLine> Layout::MakeLines(const System& iSystem) const
{
    std::vector<GridLine> lines;
    const MdidHost_PianoRollGrid::Distances distances{LengthOf(kBarDistance), LengthOf(kBeatDistance), LengthOf(1)};
    for (const auto& line : mGrid.GetLines(iSystem.mStart, iSystem.mEnd, distances))
        lines.push_back({XOf(iSystem, line.mTime), line.mIsBar});
    return lines;
}

namespace
{

// Meters, keys and tempos in [iStart, iEnd), those in force at the start of the picture too; in a session without bars
// none of them means anything.
std::vector<Change> FindChanges(const MdidHost_Session& iSession, Time_Typed iStart, Time_Typed iEnd, bool iIsFirst)
{
    std::vector<Change> changes;
    const auto addAll = [&](const auto& iItems, bool iIsTempo, auto iTimeOf, auto iTextOf)
    {
        auto item = std::ranges::lower_bound(iItems, iStart, {}, iTimeOf);
        if (iIsFirst && item != iItems.begin() && (item == iItems.end() || iTimeOf(*item) > iStart))
            changes.push_back({iStart, iTextOf(*std::prev(item)), iIsTempo});
        for (; item != iItems.end() && iTimeOf(*item) < iEnd; ++item)
            if (std::next(item) == iItems.end() || iTimeOf(*std::next(item)) != iTimeOf(*item)) // the last one counts
                changes.push_back({iTimeOf(*item), iTextOf(*item), iIsTempo});
    };
    if (iSession.mDivision.IsSMPTE())
        return changes;
    const auto timeOf = [](const auto& iItem) { return iItem.mTime; };
    addAll(iSession.mMeters, false, timeOf, MeterText);
    addAll(iSession.mKeys, false, timeOf, [](const MdidHost_Key& iKey) { return MdidHost_NameOfKey(iKey.mKey); });
    addAll(
        iSession.mContext.GetTempoMap().GetEntries(), true,
        [](const auto& iEntry) -> Time_Typed { return iEntry.mTick; },
        [](const auto& iEntry) { return TempoText(iEntry.mMicrosecondsPerQuarter); });
    std::ranges::stable_sort(changes, {}, &Change::mTime);

    std::vector<Change> merged;
    for (const Change& change : changes)
        if (!merged.empty() && merged.back().mTime == change.mTime)
        {
            merged.back().mText += "   " + change.mText;
            merged.back().mIsTempoOnly &= change.mIsTempoOnly;
        }
        else
            merged.push_back(change);
    return merged;
}

} // namespace

// From the frame upward: bar numbers, changes, markers; each as far as there is room.
void Layout::AddLabels(System& ioSystem) const
{
    const double left = ioSystem.mFrame.mLeft;
    const double right = left + mContentWidth;
    std::size_t rowsBelow = 0;
    const auto add = [&](LabelRows& ioRows, Label::Kind iKind, Time_Typed iTime, const std::string& iText)
    {
        const double x = XOf(ioSystem, iTime);
        const double width = mTextWidth(iText, kTextSize);
        if (const auto place = ioRows.Place(x, width))
        {
            const double bottom = -static_cast<double>(rowsBelow + place->first) * kLabelHeight;
            ioSystem.mLabels.push_back(
                {iKind, iText, {place->second, bottom - kLabelHeight, place->second + width, bottom}, x});
        }
    };

    LabelRows bars(1, left, right);
    const double nameDistance = mSession.mDivision.IsSMPTE() ? kClockNameDistance : kBarNameDistance;
    const MdidHost_PianoRollGrid::Distances distances{LengthOf(kBarDistance), mEnd - mStart, LengthOf(nameDistance)};
    const auto lines = mGrid.GetLines(ioSystem.mStart, ioSystem.mEnd, distances);
    if (lines.empty() || lines.front().mTime != ioSystem.mStart)
        add(bars, Label::Kind::kBar, ioSystem.mStart, mGrid.Format(ioSystem.mStart));
    for (const auto& line : lines)
        if (!line.mName.empty())
            add(bars, Label::Kind::kBar, line.mTime, line.mName);
    rowsBelow += bars.GetNumUsed();

    LabelRows rows(kLabelRows, left, right);
    const auto changes = FindChanges(mSession, ioSystem.mStart, ioSystem.mEnd, mSystems.empty());
    for (const bool isTempoOnly : {false, true})
        for (const Change& change : changes)
            if (change.mIsTempoOnly == isTempoOnly)
                add(rows, Label::Kind::kChange, change.mTime, change.mText);
    rowsBelow += rows.GetNumUsed();

    LabelRows markers(kLabelRows, left, right);
    auto marker = std::ranges::lower_bound(mSession.mMarkers, ioSystem.mStart, {}, &MdidHost_Marker::mTime);
    for (; marker != mSession.mMarkers.end() && marker->mTime < ioSystem.mEnd; ++marker)
        add(markers, Label::Kind::kMarker, marker->mTime, Shortened(marker->mText, kMaxMarkerWidth));
    rowsBelow += markers.GetNumUsed();

    // The top of the system is that of the highest row.
    const double top = static_cast<double>(rowsBelow) * kLabelHeight;
    for (Label& label : ioSystem.mLabels)
    {
        label.mBox.mTop += top;
        label.mBox.mBottom += top;
    }
    ioSystem.mFrame.mTop = top;
}

// On pages of a given height rows are as high as it takes to fill them with as many systems as they can hold.
void Layout::SetHeights()
{
    const double rows = mSurvey.mHighestPitch - mSurvey.mLowestPitch + 1;
    const double lanes = static_cast<double>(mRoll.mLanes.size()) * (kLaneHeight + kLaneSpace);
    double labels = 0;
    for (const System& system : mSystems)
        labels = std::max(labels, system.mFrame.mTop);
    mRowHeight = std::clamp(std::floor(kRollHeight / rows), kMinRowHeight, kMaxRowHeight);
    const double room = mPageHeight - mHeadHeight - kFooter - kMargin + kSystemSpace;
    for (std::size_t number = mSystems.size(); mPageHeight > 0 && number > 0; --number)
    {
        const double height = (room / static_cast<double>(number) - kSystemSpace - labels - lanes) / rows;
        mRowHeight = std::clamp(height, kMinRowHeight, kMaxRowHeight);
        if (height >= kMinRowHeight)
            break;
    }
    for (System& system : mSystems)
    {
        system.mFrame.mBottom = system.mFrame.mTop + rows * mRowHeight;
        system.mHeight = system.mFrame.mBottom + lanes;
    }
}

// Title, subtitle, the hands as far as they can be told apart, and the signs.
void Layout::MakeHead()
{
    const auto clock = [this](Time_Typed iTime)
    { return MdidHost_MinutesAndSeconds(mGrid.GetTimes().ToMicroseconds(iTime)); };
    mSubtitle = mSession.mDivision.IsSMPTE() ? "" : mGrid.Format(mStart) + " to " + mGrid.Format(mEnd) + ",  ";
    mSubtitle += clock(mStart) + " to " + clock(mEnd) + ",  " + MdidHost_Counted(mSurvey.mNumNotes, "note");

    double x = kMargin;
    double y = kSubtitleBaseline + 12;
    for (std::size_t i = 0; i < mHands.size(); ++i)
    {
        const auto isNamedSo = [&](const Hand& hand) { return hand.mTrackP->mName == mHands[i].mTrackP->mName; };
        if (!mHands[i].mTrackP->mName.empty() && i < kMaxHandsInLegend && std::ranges::count_if(mHands, isNamedSo) > 1)
            mHands[i].mName += ", track " + std::to_string(mHands[i].mNumber);
    }
    if (mHands.size() > kMaxHandsInLegend)
        mHands[kMaxHandsInLegend - 1].mName = "and " + std::to_string(mHands.size() - kMaxHandsInLegend + 1) + " more";
    for (std::size_t i = 0; i < std::min(mHands.size(), kMaxHandsInLegend); ++i)
    {
        const double width = kSwatch + 5 + mTextWidth(mHands[i].mName, kTextSize);
        if (x > kMargin && x + width > mRoll.mWidth - kMargin)
        {
            x = kMargin;
            y += kLegendRow;
        }
        mHands[i].mPlace = {x, y};
        x += width + 18;
    }
    mSignsPlace = {kMargin, y + (mHands.empty() ? 0 : kLegendRow)};
    mHeadHeight = mSignsPlace.mY + (mSurvey.mNumNotes > 0 ? kLegendRow : 0) + 10;
}

std::vector<Page> Layout::MakePages() const
{
    double height = mPageHeight;
    for (std::size_t i = 0; i < mSystems.size() && mPageHeight > 0; ++i)
        height = std::max(height, (i == 0 ? mHeadHeight : kMargin) + mSystems[i].mHeight + kFooter + kMargin);

    std::vector<Page> pages(1);
    double y = mHeadHeight;
    for (std::size_t i = 0; i < mSystems.size(); ++i)
    {
        if (mPageHeight > 0 && !pages.back().mTops.empty() && y + mSystems[i].mHeight + kFooter + kMargin > height)
        {
            pages.push_back({i, {}, height});
            y = kMargin;
        }
        pages.back().mTops.push_back(y);
        y += mSystems[i].mHeight + kSystemSpace;
    }
    pages.front().mHeight = mPageHeight > 0 ? height : std::ceil(y - kSystemSpace + kMargin);
    return pages;
}

} // namespace MdidHost_Roll
