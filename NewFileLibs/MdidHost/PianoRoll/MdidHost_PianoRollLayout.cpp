#include "MdidHost/PianoRoll/MdidHost_PianoRollLayout_Private.h"

#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_NoteListIterators.h"
#include "MdidHost/PianoRoll/MdidHost_PianoRollContents_Private.h"
#include "MdidHost/Text/MdidHost_Text.h"
#include "MdidHost/Text/MdidHost_Wording_Private.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
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

constexpr double kBeatDistance = 9;

constexpr int kMaxNameWidth = 28;
constexpr std::size_t kMaxHandsInLegend = 48;
constexpr double kLegendRow = 16;
constexpr double kLegendSpace = 18;

const std::string& NameOf(const MdidHost_Track& iTrack)
{
    return iTrack.mName.empty() ? iTrack.mInstrument : iTrack.mName;
}

} // namespace

std::string Shortened(const std::string& iText, int iWidth)
{
    const std::string text = MdidHost_Printable(iText);
    return MdidHost_WidthOf(text) <= iWidth ? text : MdidHost_Column(text, iWidth - 1) + "\u2026";
}

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
    if (!std::ranges::all_of(iRoll.mLanes, MdidHost_PianoRoll::IsLane))
        throw std::invalid_argument("a piano roll has lanes of controllers, bend and pressure only");
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
        const std::string& name = NameOf(track);
        mHands.push_back({number, &track, track.mChunk.Get(),
                          name.empty() ? "track " + std::to_string(number) : Shortened(name, kMaxNameWidth)});
    }
}

// What clips have cut off is in the picture, where there is room for it.
void Layout::FindRange()
{
    std::optional<Time_Typed> first;
    std::optional<Time_Typed> last;
    const auto takeIn = [&](Time_Typed iFirst, Time_Typed iLast) // at least a unit, of notes without length, too
    {
        const Time_Typed start = ToKind(iFirst);
        const Time_Typed end = std::max(ToKind(iLast), start + Time_TypedLength(1, mKind));
        first = std::min(first.value_or(start), start);
        last = std::max(last.value_or(end), end);
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
                       {
                           for (const auto& segment : {lane.GetSegments().front(), lane.GetSegments().back()})
                               takeIn(segment.mTime, segment.mTime);
                       });

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
    const auto [lowest, highest] = BendsOf(iNote, mStart, mEnd);
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

// So that short notes can be seen, and systems have whole bars, about as many each; or beats, of bars too long for one.
void Layout::FindScale()
{
    const auto quarter = static_cast<double>(mKind == Time_EType::kTick ? Time_Context::kTicksPerQuarter : kHalfSecond);
    double unitsPerPixel = quarter / kEmptyQuarter;
    if (mSurvey.mNumNotes > 0)
        unitsPerPixel = std::clamp(static_cast<double>(mSurvey.mShortDuration) / kShortNote, quarter / kMaxQuarter,
                                   quarter / kMinQuarter);
    const auto total = static_cast<double>((mEnd - mStart).AsInt64());
    double units = std::min(total, unitsPerPixel * mContentWidth);
    const auto bar = static_cast<double>(mGrid.GetBarLength(mStart).AsInt64());
    const bool hasBars = units >= bar;
    const double step = hasBars ? bar : static_cast<double>(mGrid.GetBeatLength(mStart).AsInt64());
    if (total > units && units >= step)
    {
        const double most = std::floor(units / step);
        const double steps = std::ceil((hasBars ? total : std::min(total, bar)) / step);
        units = std::ceil(steps / std::ceil(steps / most)) * step;
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

    NameHands();
    mSignsPlace = PlaceHands({kMargin, kSubtitleBaseline + 12});
    mHeadHeight = mSignsPlace.mY + (mSurvey.mNumNotes > 0 ? kLegendRow : 0) + 10;
}

// So that those which have room differ.
void Layout::NameHands()
{
    std::vector<std::string> names;
    std::ranges::transform(mHands, std::back_inserter(names), &Hand::mName);
    for (std::size_t i = 0; i < std::min(mHands.size(), kMaxHandsInLegend); ++i)
        if (!NameOf(*mHands[i].mTrackP).empty() && std::ranges::count(names, names[i]) > 1)
            mHands[i].mName += ", track " + std::to_string(mHands[i].mNumber);
    if (mHands.size() <= kMaxHandsInLegend)
        return;
    Hand& last = mHands[kMaxHandsInLegend - 1];
    last.mName = "and " + std::to_string(mHands.size() - kMaxHandsInLegend + 1) + " more";
    last.mHasSwatch = false;
}

// In columns, where they need more than one row. Returns the place underneath.
Point Layout::PlaceHands(Point iPlace)
{
    const std::size_t number = std::min(mHands.size(), kMaxHandsInLegend);
    std::vector<double> widths;
    for (std::size_t i = 0; i < number; ++i)
        widths.push_back(kLegendSwatch + mTextWidth(mHands[i].mName, kTextSize) + kLegendSpace);
    const double room = mRoll.mWidth - 2 * kMargin + kLegendSpace;
    const double sum = std::accumulate(widths.begin(), widths.end(), 0.0);
    if (sum > room)
        std::ranges::fill(widths, std::ranges::max(widths));

    Point place = iPlace;
    for (std::size_t i = 0; i < number; ++i)
    {
        if (i > 0 && place.mX + widths[i] > iPlace.mX + room)
            place = {iPlace.mX, place.mY + kLegendRow};
        mHands[i].mPlace = place;
        place.mX += widths[i];
    }
    return {iPlace.mX, place.mY + (number > 0 ? kLegendRow : 0)};
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
