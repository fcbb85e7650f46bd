#pragma once

#include "Mdid/Mdid_ExtendedEvent.h"
#include "MdidHost/PianoRoll/MdidHost_PianoRoll.h"
#include "MdidHost/PianoRoll/MdidHost_PianoRollGrid_Private.h"

#include <functional>
#include <limits>
#include <string>
#include <vector>

// Where everything of a piano roll goes, in pixels, with x to the right and y downward; nothing is drawn here.
namespace MdidHost_Roll
{

constexpr double kMargin = 24;
constexpr double kGutter = 62;     // the keyboard, and the names of lanes
constexpr double kLaneHeight = 48; // and the space above it
constexpr double kLaneSpace = 8;
constexpr double kLabelHeight = 14;
constexpr double kSystemSpace = 20;
constexpr double kFooter = 18;
constexpr double kTitleBaseline = kMargin + 14;
constexpr double kSubtitleBaseline = kTitleBaseline + 18;
constexpr double kTextSize = 10;
constexpr double kTitleSize = 18;
constexpr double kSmallSize = 9;
constexpr double kSwatch = 12;
constexpr double kLegendSwatch = kSwatch + 5; // and the space behind it

constexpr double kBarDistance = 7; // at least, between lines

// Bounds of what still makes a picture.
constexpr std::int64_t kMaxNotes = 200'000;
constexpr std::int64_t kMaxSystems = 2'000;

// How many pixels wide a text is in a size.
using TextWidth = std::function<double(const std::string&, double)>;

// Printable, and no wider than so many characters, with three dots for what is cut off.
std::string Shortened(const std::string& iText, int iWidth);

struct Point
{
    double mX = 0;
    double mY = 0;
};

struct Box
{
    double mLeft = 0;
    double mTop = 0;
    double mRight = 0;
    double mBottom = 0;

    double Width() const { return mRight - mLeft; }
    double Height() const { return mBottom - mTop; }
    double Middle() const { return (mTop + mBottom) / 2; }
};

// A text above the notes.
struct Label
{
    enum class Kind
    {
        kBar,
        kChange, // of meter, key, tempo
        kMarker
    };

    Kind mKind;
    std::string mText;
    Box mBox;     // of the text
    double mX;    // where its time is
    double mFoot; // a line from the box down to here tells mX; none where it is the bottom of the box
};

// Where a change or a marker is, whether or not there is room for its text.
struct Mark
{
    Label::Kind mKind;
    double mX;
};

struct GridLine
{
    double mX;
    bool mIsBar;
};

// One row of the picture. All places are relative to its upper left corner.
struct System
{
    Time_Typed mStart;
    Time_Typed mEnd; // does not belong to it
    Box mFrame;      // of the notes
    double mHeight = 0;
    std::vector<Label> mLabels;
    std::vector<Mark> mMarks;
};

// A track that is shown.
struct Hand
{
    int mNumber; // of the session, from 1
    const MdidHost_Track* mTrackP;
    const Mdid_Chunk* mChunkP;
    std::string mName;
    bool mHasNotes = false;
    bool mHasSwatch = true; // in the head of the picture; not where the name stands for all that have no room there
    Point mPlace{};         // of the swatch
};

// A note as far as it lies in a system.
struct NoteBar
{
    std::size_t mHand;
    int mPitch;
    int mVelocity;
    bool mIsMuted;
    Box mBox;
    bool mBeginsHere; // and not to the left of the frame
    bool mEndsHere;
    bool mIsHeadCut; // by a clip, at the left end of the box
    bool mIsTailCut;
    double mWholeLeft; // with what is cut off, as far as it lies in the frame
    double mWholeRight;
    std::vector<Point> mBend; // steps; empty when it is never bent in the picture
    int mNumCovering = 0;     // from this one on so many in a row lie upon others, for lack of room
};

// The values of a lane of one track, or of one note.
struct Curve
{
    std::size_t mHand;
    std::vector<Point> mPoints; // steps
};

struct LaneStrip
{
    std::string mName;        // "CC 1"
    std::string mDescription; // "modulation"; may be empty
    Mdie_SubStream_ValueRange mRange;
    bool mHasMiddle; // bend: values are around 0
    Box mBox;
    std::vector<Curve> mCurves;
};

// One page, and the top of each of its systems.
struct Page
{
    std::size_t mFirstSystem = 0;
    std::vector<double> mTops;
    double mHeight = 0;
};

// What is in the range at all, found in one walk over its notes.
struct Survey
{
    std::int64_t mNumNotes = 0;
    int mLowestPitch = std::numeric_limits<int>::max(); // with bends
    int mHighestPitch = std::numeric_limits<int>::min();
    std::int64_t mShortDuration = 0; // a tenth of the notes are shorter; in the session's kind
    bool mHasMuted = false;
    bool mHasCut = false;
    bool mHasBends = false;
};

// The session and the roll must outlive it, unchanged; a scope of the session must be open.
class Layout
{
public:
    // iPageHeight: where a system needs more, all pages are so high; 0: one page, as high as it gets. Throws what
    // MdidHost_DrawPianoRoll throws. Linear in the notes of the range.
    Layout(const MdidHost_Session& iSession, const MdidHost_PianoRoll& iRoll, double iPageHeight, TextWidth iTextWidth);

    double GetWidth() const { return mRoll.mWidth; }
    double GetHeadHeight() const { return mHeadHeight; }
    const std::string& GetSubtitle() const { return mSubtitle; }
    const std::vector<Hand>& GetHands() const { return mHands; }
    Point GetSignsPlace() const { return mSignsPlace; } // of the legend of signs
    const Survey& GetSurvey() const { return mSurvey; }
    const std::vector<System>& GetSystems() const { return mSystems; }
    int GetLowestPitch() const { return mSurvey.mLowestPitch; }
    int GetHighestPitch() const { return mSurvey.mHighestPitch; }
    double GetRowHeight() const { return mRowHeight; }
    Box RowOf(const System& iSystem, int iPitch) const;

    // These are made anew by each call: a system at a time is all that has to be in memory.
    std::vector<GridLine> MakeLines(const System& iSystem) const;
    std::vector<NoteBar> MakeNotes(const System& iSystem) const;
    std::vector<LaneStrip> MakeLanes(const System& iSystem) const;

    std::vector<Page> MakePages() const;

private:
    friend class NoteMaker;
    friend class LaneMaker;
    friend class LabelMaker;

    void FindHands();
    void FindRange();
    void MakeSurvey();
    void SurveyNote(const Mdid_NoteWithDurationExtendedEvent& iNote, std::vector<std::int64_t>& ioDurations);
    void FindPitches();
    void FindScale();
    void BreakIntoSystems();
    void AddLabels(System& ioSystem) const;
    void MakeHead();
    void NameHands();
    Point PlaceHands(Point iPlace);
    void SetHeights();

    Time_Typed ToKind(Time_Typed iTime) const;
    std::int64_t CountOf(Time_Typed iTime) const { return ToKind(iTime).AsInt64(); }
    Time_TypedLength LengthOf(double iPixels) const;
    double XOf(const System& iSystem, Time_Typed iTime) const;

    const MdidHost_Session& mSession;
    const MdidHost_PianoRoll& mRoll;
    double mPageHeight;
    TextWidth mTextWidth;
    MdidHost_PianoRollGrid mGrid;
    Time_EType mKind;
    Time_Typed mStart;
    Time_Typed mEnd;
    Survey mSurvey;
    double mContentWidth;
    double mUnitsPerPixel = 1;
    double mRowHeight = 0;
    double mHeadHeight = 0;
    std::string mSubtitle;
    Point mSignsPlace;
    std::vector<Hand> mHands;
    std::vector<System> mSystems;
};

} // namespace MdidHost_Roll
