#include "MdidHost/PianoRoll/MdidHost_PianoRollContents_Private.h"

#include "Mdid/Mdid_NoteListIterators.h"
#include "MdidHost/Text/MdidHost_Wording_Private.h"

#include <array>
#include <cmath>
#include <numeric>
#include <span>

namespace MdidHost_Roll
{

namespace
{

using Note = WholeNote::Note;

constexpr double kMinNoteWidth = 1.5;
constexpr double kLaneInset = 3;

// Notes that sound at once on one row share its height, as far as that goes.
constexpr double kMinPartHeight = 1.5;

// So far apart are the numbers of those that lie upon others.
constexpr double kNumberDistance = 24;

// A bend beyond the keys stays off the outline of the frame.
constexpr double kBendInset = 2;

// A line of steps from iLeft on: what comes before it leaves there the value in force. What is nearer than half a pixel
// to the step before is drawn as the range of its values.
class Steps
{
public:
    explicit Steps(double iLeft) : mLeft(iLeft) {}

    void Add(double iX, double iY)
    {
        if (iX > mLeft && mBefore)
            AddStep(mLeft, *std::exchange(mBefore, std::nullopt));
        if (iX > mLeft)
            AddStep(iX, iY);
        else
            mBefore = iY;
    }

    // Where the last value ends.
    std::vector<Point> Finish(double iX)
    {
        if (mBefore)
            AddStep(mLeft, *mBefore);
        if (mPoints.empty())
            return {};
        Flush();
        mPoints.push_back({std::max(iX, mPoints.back().mX), mY});
        return std::move(mPoints);
    }

private:
    static constexpr double kColumn = 0.5;

    void AddStep(double iX, double iY)
    {
        if (!mPoints.empty() && iX - mColumn < kColumn)
            Widen(iY);
        else
        {
            Flush();
            if (!mPoints.empty())
                mPoints.push_back({iX, mY});
            mPoints.push_back({iX, iY});
            mColumn = iX;
        }
        mY = iY;
    }

    void Widen(double iY)
    {
        mTop = mIsWide ? std::min(mTop, iY) : std::min(mY, iY);
        mBottom = mIsWide ? std::max(mBottom, iY) : std::max(mY, iY);
        mIsWide = true;
    }

    void Flush()
    {
        if (!mIsWide)
            return;
        mPoints.push_back({mColumn, mTop});
        mPoints.push_back({mColumn, mBottom});
        mPoints.push_back({mColumn, mY});
        mIsWide = false;
    }

    double mLeft;
    std::optional<double> mBefore;
    std::vector<Point> mPoints;
    double mColumn = 0; // of the last step
    double mY = 0;      // in force
    bool mIsWide = false;
    double mTop = 0;
    double mBottom = 0;
};

const char* DescriptionOf(int iController)
{
    static constexpr std::array<std::pair<int, const char*>, 22> kNames{
        {{1, "modulation"},  {2, "breath"},     {4, "foot"},        {5, "glide time"},  {6, "data entry"},
         {7, "volume"},      {8, "balance"},    {10, "pan"},        {11, "expression"}, {64, "sustain"},
         {65, "portamento"}, {66, "sostenuto"}, {67, "soft pedal"}, {68, "legato"},     {71, "resonance"},
         {72, "release"},    {73, "attack"},    {74, "brightness"}, {84, "portamento"}, {91, "reverb"},
         {93, "chorus"},     {94, "detune"}}};
    const auto found = std::ranges::find(kNames, iController, [](const auto& iName) { return iName.first; });
    return found == kNames.end() ? "" : found->second;
}

// The heard part of a lane of a note, from iFirst on: calls iDo with times, ascending, and values.
template <class Do>
void ForHeard(const Note& iNote, const Mdid_PerNoteDataStream& iLane, Do iDo)
{
    const MdidHost_NoteLaneTimes times(iNote);
    const auto& segments = iLane.GetSegments();
    const Time_Typed end = iNote.GetEndTime();
    for (auto segment = times.FindFirst(segments); segment != segments.end(); ++segment)
    {
        const Time_Typed time = times.TimeOf(*segment);
        if (time >= end)
            return;
        iDo(time, segment->mValue);
    }
}

} // namespace

const Mdid_PerNoteDataStream* FindLaneOf(const Note& iNote, const Mdie_SubStream& iLane)
{
    if (!iNote.HasPerNoteControllers())
        return nullptr;
    for (const Mdid_PerNoteDataStream& lane : *iNote.GetPerNoteControllers())
        if (!lane.IsEmpty() && IsSameLane(lane.GetSubStream(), iLane))
            return &lane;
    return nullptr;
}

std::pair<int, int> BendsOf(const Note& iNote, Time_Typed iStart, Time_Typed iEnd)
{
    std::pair<int, int> bends;
    const auto takeIn = [&](Time_Typed iTime, int iValue)
    {
        if (iTime <= iStart) // what is in force there replaces what was
            bends = {};
        if (iTime < iEnd)
            bends = {std::min(bends.first, iValue), std::max(bends.second, iValue)};
    };
    if (const Mdid_PerNoteDataStream* const laneP = FindLaneOf(iNote, Mdie_SubStream::PitchBend()))
        ForHeard(iNote, *laneP, takeIn);
    return bends;
}

// The bars of the notes of one system.
class NoteMaker
{
public:
    NoteMaker(const Layout& iLayout, const System& iSystem) : mLayout(iLayout), mSystem(iSystem) {}

    std::vector<NoteBar> Make()
    {
        for (std::size_t hand = 0; hand < mLayout.mHands.size(); ++hand)
            for (const Note& note :
                 mLayout.mHands[hand].mChunkP->GetNoteList()->GetOverlappingNotesInRange(mSystem.mStart, mSystem.mEnd))
            {
                mBars.push_back(MakeBar(note, hand));
                mNotePs.push_back(&note);
            }
        ShareRows();
        for (std::size_t i = 0; i < mBars.size(); ++i)
            AddBend(mBars[i], *mNotePs[i]);
        return std::move(mBars);
    }

private:
    NoteBar MakeBar(const Note& iNote, std::size_t iHand) const
    {
        const Box& frame = mSystem.mFrame;
        const WholeNote whole(iNote);
        const Time_Typed start = mLayout.ToKind(iNote.GetTime());
        const Time_Typed end = mLayout.ToKind(iNote.GetEndTime());
        const int pitch = std::clamp<int>(iNote.GetPitch(), 0, 127);
        const double left = std::clamp(mLayout.XOf(mSystem, start), frame.mLeft, frame.mRight - kMinNoteWidth);
        const double right = std::clamp(mLayout.XOf(mSystem, end), left + kMinNoteWidth, frame.mRight);
        const Box row = mLayout.RowOf(mSystem, pitch);
        return {iHand,
                pitch,
                std::clamp<int>(iNote.GetNote().GetVelocity(), 0, 127),
                iNote.IsMuted(),
                {left, row.mTop, right, row.mBottom},
                start >= mSystem.mStart,
                end <= mSystem.mEnd,
                whole.IsHeadCut() && start >= mSystem.mStart,
                whole.IsTailCut() && end <= mSystem.mEnd,
                std::clamp(mLayout.XOf(mSystem, whole.GetStart()), frame.mLeft, left),
                std::clamp(mLayout.XOf(mSystem, whole.GetEnd()), right, frame.mRight),
                {}};
    }

    // Of the notes of a row that touch one another, each gets the first part of its height that is free.
    void ShareRows()
    {
        std::vector<std::size_t> order(mBars.size());
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::ranges::stable_sort(order, {},
                                 [this](std::size_t i) { return std::pair(mBars[i].mPitch, mBars[i].mBox.mLeft); });
        for (auto first = order.begin(); first != order.end();)
        {
            double right = mBars[*first].mBox.mRight;
            const auto isApart = [&](std::size_t iNext)
            {
                const NoteBar& bar = mBars[iNext];
                const bool touches = bar.mPitch == mBars[*first].mPitch && bar.mBox.mLeft < right - kTouch;
                right = std::max(right, bar.mBox.mRight);
                return !touches;
            };
            const auto next = std::find_if(first + 1, order.end(), isApart);
            ShareRow({first, next});
            first = next;
        }
    }

    void ShareRow(std::span<const std::size_t> iOrder)
    {
        std::vector<double> ends; // of the parts
        std::vector<std::size_t> parts;
        NoteBar* countingP = nullptr;
        for (const std::size_t i : iOrder)
        {
            const Box& box = mBars[i].mBox;
            const auto [part, isFree] = FindPart(ends, box.mLeft);
            parts.push_back(part);
            ends[part] = std::max(ends[part], box.mRight);
            if (isFree)
                continue;
            if (!countingP || box.mLeft > countingP->mBox.mLeft + kNumberDistance)
                countingP = &mBars[i];
            ++countingP->mNumCovering;
        }
        const double height = mLayout.GetRowHeight() / static_cast<double>(ends.size());
        for (std::size_t i = 0; i < iOrder.size(); ++i)
        {
            Box& box = mBars[iOrder[i]].mBox;
            box.mTop += static_cast<double>(parts[i]) * height;
            box.mBottom = box.mTop + height;
        }
    }

    // Where none is free any more, that which is so soonest.
    std::pair<std::size_t, bool> FindPart(std::vector<double>& ioEnds, double iLeft) const
    {
        const auto most = static_cast<std::size_t>(mLayout.GetRowHeight() / kMinPartHeight);
        const auto isFreeAt = [&](double iEnd) { return iEnd <= iLeft + kTouch; };
        auto part = std::ranges::find_if(ioEnds, isFreeAt);
        const bool isFree = part != ioEnds.end() || ioEnds.size() < most;
        if (part == ioEnds.end())
            part = isFree ? ioEnds.insert(part, iLeft) : std::ranges::min_element(ioEnds);
        return {static_cast<std::size_t>(part - ioEnds.begin()), isFree};
    }

    // By its own pitch, from the middle of the bar; it may leave the row, but not the frame.
    void AddBend(NoteBar& ioBar, const Note& iNote) const
    {
        const Mdid_PerNoteDataStream* const laneP = FindLaneOf(iNote, Mdie_SubStream::PitchBend());
        if (!laneP || BendsOf(iNote, mLayout.mStart, mLayout.mEnd) == std::pair(0, 0))
            return;
        const Box& frame = mSystem.mFrame;
        Steps steps(ioBar.mBox.mLeft);
        ForHeard(iNote, *laneP,
                 [&](Time_Typed iTime, int iValue)
                 {
                     const double x = mLayout.XOf(mSystem, iTime);
                     const double y = ioBar.mBox.Middle() - SemitonesOf(iValue) * mLayout.GetRowHeight();
                     if (x < ioBar.mBox.mRight)
                         steps.Add(x, std::clamp(y, frame.mTop + kBendInset, frame.mBottom - kBendInset));
                 });
        ioBar.mBend = steps.Finish(ioBar.mBox.mRight);
    }

    static constexpr double kTouch = 0.01; // pixels

    const Layout& mLayout;
    const System& mSystem;
    std::vector<NoteBar> mBars;
    std::vector<const Note*> mNotePs;
};

// The lanes of one system.
class LaneMaker
{
public:
    LaneMaker(const Layout& iLayout, const System& iSystem) : mLayout(iLayout), mSystem(iSystem) {}

    LaneStrip Make(const Mdie_SubStream& iLane, std::size_t iPlace)
    {
        const double top =
            mSystem.mFrame.mBottom + static_cast<double>(iPlace) * (kLaneHeight + kLaneSpace) + kLaneSpace;
        mStrip = NameOf(iLane);
        mStrip.mRange = iLane.GetValueRange();
        mStrip.mBox = {mSystem.mFrame.mLeft, top, mSystem.mFrame.mRight, top + kLaneHeight};
        for (std::size_t hand = 0; hand < mLayout.mHands.size(); ++hand)
        {
            ForLanesOf(mLayout.mHands[hand], {iLane},
                       [&](const Mdid_ContinuousDataStream& lane) { AddLane(hand, lane); });
            AddNoteLanes(hand, iLane);
        }
        return std::move(mStrip);
    }

private:
    static LaneStrip NameOf(const Mdie_SubStream& iLane)
    {
        Mdid_Event::Type type{};
        int controller = 0;
        iLane.GetInfo(type, controller);
        if (type == Mdid_Event::kController)
            return {"CC " + std::to_string(controller), DescriptionOf(controller), {}, false, {}, {}};
        if (type == Mdid_Event::kPitchBend)
            return {"bend", "", {}, true, {}, {}};
        const bool isOfKey = iLane.GetDataType().GetDataType() == Mdie_SubStreamDataType::kPolyPressure;
        return {"pressure", isOfKey ? "of " + MdidHost_NameOfPitch(iLane.GetSubType()) : "", {}, false, {}, {}};
    }

    double YOf(int iValue) const
    {
        const auto [lowest, highest] = mStrip.mRange;
        const double share = static_cast<double>(std::clamp(iValue, lowest, highest) - lowest) / (highest - lowest);
        const Box& box = mStrip.mBox;
        return box.mBottom - kLaneInset - share * (box.Height() - 2 * kLaneInset);
    }

    // From what is in force at the start of the system.
    void AddLane(std::size_t iHand, const Mdid_ContinuousDataStream& iLane)
    {
        using Segment = Mdid_ContinuousDataStreamCore::Segment;
        const auto& segments = iLane.GetSegments();
        auto segment = std::ranges::upper_bound(segments, mSystem.mStart, {}, &Segment::mTime);
        segment -= segment == segments.begin() ? 0 : 1;
        Steps steps(mStrip.mBox.mLeft);
        for (; segment != segments.end() && segment->mTime < mSystem.mEnd; ++segment)
            steps.Add(mLayout.XOf(mSystem, segment->mTime), YOf(segment->mValue));
        Add(iHand, steps.Finish(mStrip.mBox.mRight));
    }

    void AddNoteLanes(std::size_t iHand, const Mdie_SubStream& iLane)
    {
        const Mdid_NoteListBase& notes = *mLayout.mHands[iHand].mChunkP->GetNoteList();
        if (!notes.IsMPE())
            return;
        for (const Note& note : notes.GetOverlappingNotesInRange(mSystem.mStart, mSystem.mEnd))
            if (const Mdid_PerNoteDataStream* const laneP = FindLaneOf(note, iLane))
            {
                const double right = std::min(mLayout.XOf(mSystem, note.GetEndTime()), mStrip.mBox.mRight);
                Steps steps(mStrip.mBox.mLeft);
                ForHeard(note, *laneP,
                         [&](Time_Typed iTime, int iValue)
                         {
                             if (const double x = mLayout.XOf(mSystem, iTime); x < right)
                                 steps.Add(x, YOf(iValue));
                         });
                Add(iHand, steps.Finish(right));
            }
    }

    void Add(std::size_t iHand, std::vector<Point> iPoints)
    {
        if (!iPoints.empty())
            mStrip.mCurves.push_back({iHand, std::move(iPoints)});
    }

    const Layout& mLayout;
    const System& mSystem;
    LaneStrip mStrip{};
};

std::vector<NoteBar> Layout::MakeNotes(const System& iSystem) const
{
    return NoteMaker(*this, iSystem).Make();
}

std::vector<LaneStrip> Layout::MakeLanes(const System& iSystem) const
{
    std::vector<LaneStrip> strips;
    for (std::size_t i = 0; i < mRoll.mLanes.size(); ++i)
        strips.push_back(LaneMaker(*this, iSystem).Make(mRoll.mLanes[i], i));
    return strips;
}

} // namespace MdidHost_Roll
