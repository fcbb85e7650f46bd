#include "MdidHost/PianoRoll/MdidHost_PianoRollPainter_Private.h"

#include "MdidHost/PianoRoll/MdidHost_PianoRollContents_Private.h"
#include "MdidHost/Text/MdidHost_Text.h"
#include "MdidHost/Text/MdidHost_Wording_Private.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace MdidHost_Roll
{

namespace
{

constexpr double kInk = 0.13;
constexpr double kKeyboardWidth = 38;
constexpr double kBlackKeyShare = 0.58;
constexpr double kTextDescent = 3.5;
constexpr double kCornerRadius = 2.5;
constexpr double kNarrowestLetter = 4; // of a title
constexpr double kNumberSize = 8;
constexpr double kMutedShare = 0.3; // of the height, above and below the gap
constexpr int kOctave = 12;

bool IsBlackKey(int iPitch)
{
    constexpr unsigned kBlack = 0b0101'0100'1010;
    return (kBlack >> (iPitch % kOctave) & 1U) != 0;
}

} // namespace

// Eight hues that people of any sight tell apart as well as may be, then some of a wheel.
Painter::Color Painter::HueOf(std::size_t iHand)
{
    static constexpr std::array<Color, 8> kHues{{{0.10, 0.38, 0.72},
                                                 {0.84, 0.37, 0.00},
                                                 {0.06, 0.55, 0.36},
                                                 {0.72, 0.12, 0.40},
                                                 {0.45, 0.30, 0.68},
                                                 {0.58, 0.42, 0.08},
                                                 {0.10, 0.58, 0.66},
                                                 {0.40, 0.42, 0.46}}};
    if (iHand < kHues.size())
        return kHues[iHand];
    const double angle = std::fmod(static_cast<double>(iHand) * std::numbers::phi, 1.0);
    const auto part = [&](double iOffset) { return 0.4 + 0.32 * std::cos(2 * std::numbers::pi * (angle + iOffset)); };
    return {part(0), part(2.0 / 3), part(1.0 / 3)};
}

Painter::Color Painter::Mix(Color iA, Color iB, double iShareOfB)
{
    const auto mix = [=](double iFrom, double iTo) { return iFrom + (iTo - iFrom) * iShareOfB; };
    return {mix(iA.mRed, iB.mRed), mix(iA.mGreen, iB.mGreen), mix(iA.mBlue, iB.mBlue)};
}

Painter::Color Painter::ShadeOf(std::size_t iHand, int iVelocity)
{
    return Mix({1, 1, 1}, HueOf(iHand), 0.25 + 0.75 * iVelocity / 127.0);
}

void Painter::SetColor(Color iColor, double iAlpha)
{
    cairo_set_source_rgba(&mCairo, iColor.mRed, iColor.mGreen, iColor.mBlue, iAlpha);
}

double Painter::WidthOf(cairo_t& ioCairo, const std::string& iText, double iSize)
{
    cairo_select_font_face(&ioCairo, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(&ioCairo, iSize);
    cairo_text_extents_t extents;
    cairo_text_extents(&ioCairo, iText.c_str(), &extents);
    return extents.x_advance;
}

// Returns where the text ends.
double Painter::Text(double iX, double iBaseline, const std::string& iText, double iSize, Color iColor, Align iAlign,
                     bool iIsBold)
{
    cairo_select_font_face(&mCairo, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           iIsBold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(&mCairo, iSize);
    cairo_text_extents_t extents;
    cairo_text_extents(&mCairo, iText.c_str(), &extents);
    const double share = iAlign == Align::kLeft ? 0 : iAlign == Align::kRight ? 1 : 0.5;
    const double x = iX - share * extents.x_advance;
    SetColor(iColor);
    cairo_move_to(&mCairo, x, iBaseline);
    cairo_show_text(&mCairo, iText.c_str());
    cairo_new_path(&mCairo);
    return x + extents.x_advance;
}

void Painter::Fill(const Box& iBox, Color iColor)
{
    SetColor(iColor);
    cairo_rectangle(&mCairo, iBox.mLeft, iBox.mTop, iBox.Width(), iBox.Height());
    cairo_fill(&mCairo);
}

void Painter::Line(double iX1, double iY1, double iX2, double iY2, Color iColor, double iWidth)
{
    SetColor(iColor);
    cairo_set_line_width(&mCairo, iWidth);
    cairo_move_to(&mCairo, iX1, iY1);
    cairo_line_to(&mCairo, iX2, iY2);
    cairo_stroke(&mCairo);
}

void Painter::Outline(const Box& iBox, Color iColor)
{
    SetColor(iColor);
    cairo_set_line_width(&mCairo, 1);
    cairo_rectangle(&mCairo, iBox.mLeft, iBox.mTop, iBox.Width(), iBox.Height());
    cairo_stroke(&mCairo);
}

// Round where the note begins and ends, straight where it goes on or is cut.
void Painter::NotePath(const Box& iBox, bool iIsLeftRound, bool iIsRightRound)
{
    const double most = std::min({kCornerRadius, iBox.Width() / 2, iBox.Height() / 2});
    const double left = iIsLeftRound ? most : 0;
    const double right = iIsRightRound ? most : 0;
    constexpr double kQuarterTurn = std::numbers::pi / 2;
    cairo_new_path(&mCairo);
    cairo_arc(&mCairo, iBox.mLeft + left, iBox.mTop + left, left, 2 * kQuarterTurn, 3 * kQuarterTurn);
    cairo_arc(&mCairo, iBox.mRight - right, iBox.mTop + right, right, -kQuarterTurn, 0);
    cairo_arc(&mCairo, iBox.mRight - right, iBox.mBottom - right, right, 0, kQuarterTurn);
    cairo_arc(&mCairo, iBox.mLeft + left, iBox.mBottom - left, left, kQuarterTurn, 2 * kQuarterTurn);
    cairo_close_path(&mCairo);
}

void Painter::StrokePath(const std::vector<Point>& iPoints, Color iColor, double iWidth)
{
    cairo_new_path(&mCairo);
    for (const Point& point : iPoints)
        cairo_line_to(&mCairo, point.mX, point.mY);
    SetColor(iColor);
    cairo_set_line_width(&mCairo, iWidth);
    cairo_set_line_join(&mCairo, CAIRO_LINE_JOIN_ROUND);
    cairo_stroke(&mCairo);
}

void Painter::PaintPage(const Page& iPage, std::size_t iNumber, std::size_t iNumPages)
{
    Fill({0, 0, mLayout.GetWidth(), iPage.mHeight}, {1, 1, 1});
    for (std::size_t i = 0; i < iPage.mTops.size(); ++i)
    {
        cairo_save(&mCairo);
        cairo_translate(&mCairo, 0, std::round(iPage.mTops[i]));
        PaintSystem(mLayout.GetSystems()[iPage.mFirstSystem + i]);
        cairo_restore(&mCairo);
    }
    if (iNumber == 1)
        PaintHead(); // after what it has the signs of
    if (iNumPages > 1)
        Text(mLayout.GetWidth() / 2, iPage.mHeight - kMargin + 4,
             std::to_string(iNumber) + " / " + std::to_string(iNumPages), kSmallSize, {0.4, 0.4, 0.4}, Align::kCenter);
}

void Painter::PaintHead()
{
    const Color ink{kInk, kInk, kInk};
    const double room = mLayout.GetWidth() - 2 * kMargin;
    std::string title = Shortened(mTitle, static_cast<int>(room / kNarrowestLetter));
    while (WidthOf(mCairo, title, kTitleSize) * 1.12 > room && MdidHost_WidthOf(title) > 2)
        title = MdidHost_Column(title, MdidHost_WidthOf(title) - 2) + "\u2026";
    Text(kMargin, kTitleBaseline, title, kTitleSize, ink, Align::kLeft, true);
    Text(kMargin, kSubtitleBaseline, mLayout.GetSubtitle(), kTextSize, {0.35, 0.35, 0.35});
    const auto& hands = mLayout.GetHands();
    for (std::size_t i = 0; i < hands.size() && hands[i].mPlace.mY > 0; ++i)
    {
        const auto [x, y] = hands[i].mPlace;
        if (hands[i].mHasSwatch)
        {
            NotePath({x, y, x + kSwatch, y + kSwatch - 3}, true, true);
            SetColor(HueOf(i));
            cairo_fill(&mCairo);
        }
        Text(hands[i].mHasSwatch ? x + kLegendSwatch : x, y + kSwatch - 3, hands[i].mName, kTextSize, ink);
    }
    PaintSigns();
}

// What shades, outlines and lines mean, as far as they occur.
void Painter::PaintSigns()
{
    const Survey& survey = mLayout.GetSurvey();
    if (survey.mNumNotes == 0)
        return;
    const Color ink{0.35, 0.35, 0.35};
    double x = mLayout.GetSignsPlace().mX;
    const double top = mLayout.GetSignsPlace().mY;
    const double bottom = top + kSwatch - 3;
    NoteBar bar{0, 0, 127, false, {}, true, true, false, false, 0, 0, {}};
    const auto addBar = [&](double iWidth, double iSpace)
    {
        bar.mBox = {x + iSpace, top, x + iSpace + iWidth, bottom};
        bar.mWholeLeft = x;
        bar.mWholeRight = bar.mBox.mRight;
        PaintCutOff(bar);
        PaintNote(bar);
        x = bar.mBox.mRight;
    };
    x = Text(x, bottom, "velocity", kTextSize, ink) + 5;
    for (const int velocity : {1, 32, 64, 96, 127})
    {
        bar.mVelocity = velocity;
        addBar(kSwatch, 0);
        x += 2;
    }
    const auto addText = [&](const std::string& iText) { x = Text(x + 5, bottom, iText, kTextSize, ink); };
    addText("1 to 127");
    bar.mVelocity = 80;
    if (survey.mHasMuted)
    {
        x += 18;
        bar.mIsMuted = true;
        addBar(1.5 * kSwatch, 0);
        bar.mIsMuted = false;
        addText("muted");
    }
    if (survey.mHasCut)
    {
        x += 18;
        bar.mIsHeadCut = true;
        addBar(1.5 * kSwatch, kSwatch);
        bar.mIsHeadCut = false;
        addText("cut off by a clip");
    }
    if (survey.mHasBends)
    {
        x += 18;
        bar.mBend = {{x, top + 4},      {x + 8, top + 4},  {x + 8, top - 1},
                     {x + 16, top - 1}, {x + 16, top + 4}, {x + 24, top + 4}};
        addBar(2 * kSwatch, 0);
        PaintBend(bar);
        addText("bend (range: 48 semitones)");
    }
    if (mHasNumbers)
    {
        x = PaintNumber(2, x + 18, (top + bottom) / 2);
        addText("more notes underneath");
    }
}

void Painter::PaintSystem(const System& iSystem)
{
    PaintRows(iSystem);
    PaintLines(iSystem, iSystem.mFrame.mTop, iSystem.mFrame.mBottom);
    PaintNotes(iSystem);
    Outline(iSystem.mFrame, {0.35, 0.35, 0.35});
    PaintKeyboard(iSystem);
    PaintLabels(iSystem);
    for (const LaneStrip& strip : mLayout.MakeLanes(iSystem))
        PaintLane(iSystem, strip);
}

void Painter::PaintRows(const System& iSystem)
{
    for (int pitch = mLayout.GetLowestPitch(); pitch <= mLayout.GetHighestPitch(); ++pitch)
    {
        const Box row = mLayout.RowOf(iSystem, pitch);
        if (IsBlackKey(pitch))
            Fill(row, {0.945, 0.95, 0.96});
        if (pitch % kOctave == 0)
            Line(row.mLeft, row.mBottom, row.mRight, row.mBottom, {0.72, 0.74, 0.78}, 0.8);
        else if (pitch % kOctave == 5) // between E and F
            Line(row.mLeft, row.mBottom, row.mRight, row.mBottom, {0.88, 0.89, 0.91}, 0.6);
    }
}

void Painter::PaintKeyboard(const System& iSystem)
{
    const Box& frame = iSystem.mFrame;
    const Box keys{frame.mLeft - kKeyboardWidth, frame.mTop, frame.mLeft, frame.mBottom};
    Fill(keys, {1, 1, 1});
    for (int pitch = mLayout.GetLowestPitch(); pitch <= mLayout.GetHighestPitch(); ++pitch)
        PaintKey(iSystem, pitch);
    Outline(keys, {0.35, 0.35, 0.35});
}

// A black key is short, and the two white ones meet behind it in the middle of its row.
void Painter::PaintKey(const System& iSystem, int iPitch)
{
    const Color line{0.6, 0.6, 0.62};
    const Box row = mLayout.RowOf(iSystem, iPitch);
    const double left = row.mLeft - kKeyboardWidth;
    if (IsBlackKey(iPitch))
    {
        const double right = left + kBlackKeyShare * kKeyboardWidth;
        Line(right, row.Middle(), row.mLeft, row.Middle(), line, 0.6);
        Fill({left, row.mTop + 0.4, right, row.mBottom - 0.4}, {0.2, 0.2, 0.22});
        return;
    }
    if (iPitch > mLayout.GetLowestPitch() && !IsBlackKey(iPitch - 1))
        Line(left, row.mBottom, row.mLeft, row.mBottom, line, 0.6);
    if (iPitch % kOctave == 0)
        Text(left - 3, row.mBottom, MdidHost_NameOfPitch(iPitch), kSmallSize, {kInk, kInk, kInk}, Align::kRight);
}

void Painter::PaintLines(const System& iSystem, double iTop, double iBottom)
{
    for (const GridLine& line : mLayout.MakeLines(iSystem))
        Line(line.mX, iTop, line.mX, iBottom, line.mIsBar ? Color{0.5, 0.51, 0.54} : Color{0.84, 0.85, 0.87},
             line.mIsBar ? 0.9 : 0.6);
}

void Painter::PaintLabels(const System& iSystem)
{
    const auto colorOf = [](Label::Kind iKind)
    {
        return iKind == Label::Kind::kBar      ? Color{0.4, 0.4, 0.42}
               : iKind == Label::Kind::kChange ? Color{kInk, kInk, kInk}
                                               : Color{0.55, 0.12, 0.12};
    };
    for (const Label& label : iSystem.mLabels)
    {
        const Box& box = label.mBox;
        const Color color = colorOf(label.mKind);
        if (box.mBottom < label.mFoot)
            Line(label.mX, box.mBottom - 1, label.mX, label.mFoot - 2, Mix(color, {1, 1, 1}, 0.4), 0.7);
        Text(box.mLeft, box.mBottom - kTextDescent, label.mText, kTextSize, color);
    }
    const double top = iSystem.mFrame.mTop;
    for (const Mark& mark : iSystem.mMarks)
        if (mark.mKind == Label::Kind::kMarker)
        {
            cairo_move_to(&mCairo, mark.mX - 3.5, top);
            cairo_line_to(&mCairo, mark.mX + 3.5, top);
            cairo_line_to(&mCairo, mark.mX, top + 6);
            cairo_close_path(&mCairo);
            SetColor(colorOf(mark.mKind));
            cairo_fill(&mCairo);
        }
        else
            Line(mark.mX, top, mark.mX, top + 4, colorOf(mark.mKind), 1);
}

void Painter::PaintNotes(const System& iSystem)
{
    const std::vector<NoteBar> bars = mLayout.MakeNotes(iSystem);
    for (const NoteBar& bar : bars)
        PaintCutOff(bar);
    for (const NoteBar& bar : bars)
        PaintNote(bar);
    for (const NoteBar& bar : bars)
        PaintBend(bar);
    for (const NoteBar& bar : bars)
        if (bar.mNumCovering > 0)
        {
            PaintNumber(bar.mNumCovering, bar.mBox.mLeft + 2, mLayout.RowOf(iSystem, bar.mPitch).Middle());
            mHasNumbers = true;
        }
}

Box Painter::BodyOf(const NoteBar& iBar)
{
    const double inset = std::min(0.5, iBar.mBox.Height() / 8);
    return {iBar.mBox.mLeft, iBar.mBox.mTop + inset, iBar.mBox.mRight, iBar.mBox.mBottom - inset};
}

// Of a note that a clip has cut.
void Painter::PaintCutOff(const NoteBar& iBar)
{
    const Color hue = HueOf(iBar.mHand);
    const Box box = BodyOf(iBar);
    const auto paint = [&](double iLeft, double iRight)
    {
        if (iRight - iLeft < 0.5)
            return;
        static constexpr std::array<double, 2> kDashes{2, 1.5};
        Fill({iLeft, box.mTop, iRight, box.mBottom}, Mix({1, 1, 1}, hue, 0.08));
        cairo_set_dash(&mCairo, kDashes.data(), static_cast<int>(kDashes.size()), 0);
        SetColor(hue, 0.65);
        cairo_set_line_width(&mCairo, std::min(0.7, box.Height() / 4));
        cairo_rectangle(&mCairo, iLeft, box.mTop, iRight - iLeft, box.Height());
        cairo_stroke(&mCairo);
        cairo_set_dash(&mCairo, nullptr, 0, 0);
    };
    if (iBar.mIsHeadCut)
        paint(iBar.mWholeLeft, box.mLeft);
    if (iBar.mIsTailCut)
        paint(box.mRight, iBar.mWholeRight);
}

void Painter::PaintNote(const NoteBar& iBar)
{
    const Color hue = HueOf(iBar.mHand);
    const Box box = BodyOf(iBar);
    const double outline = iBar.mIsMuted ? 1.1 : 0.6;
    if (iBar.mIsMuted && box.Width() < 3 * outline) // too narrow for an outline: a line with a gap
    {
        Fill(box, {1, 1, 1});
        Fill({box.mLeft, box.mTop, box.mRight, box.mTop + box.Height() * kMutedShare}, hue);
        Fill({box.mLeft, box.mBottom - box.Height() * kMutedShare, box.mRight, box.mBottom}, hue);
    }
    else
    {
        NotePath(box, iBar.mBeginsHere && !iBar.mIsHeadCut, iBar.mEndsHere && !iBar.mIsTailCut);
        SetColor(iBar.mIsMuted ? Color{1, 1, 1} : ShadeOf(iBar.mHand, iBar.mVelocity));
        cairo_fill_preserve(&mCairo);
        SetColor(iBar.mIsMuted ? hue : Mix(hue, {0, 0, 0}, 0.3));
        cairo_set_line_width(&mCairo, iBar.mBox.Height() < 3 ? outline / 3 : std::min(outline, box.Height() / 3));
        cairo_stroke(&mCairo);
    }
    for (const auto& [isCut, x] : {std::pair(iBar.mIsHeadCut, box.mLeft), {iBar.mIsTailCut, box.mRight}})
        if (isCut)
            Line(x, box.mTop - 1, x, box.mBottom + 1, {kInk, kInk, kInk}, 1.8);
}

// Returns where it ends.
double Painter::PaintNumber(int iNumber, double iX, double iMiddle)
{
    const std::string text = "+" + std::to_string(iNumber);
    const double width = WidthOf(mCairo, text, kNumberSize) + 2;
    const double left = std::min(iX, mLayout.GetWidth() - kMargin - 2 - width);
    SetColor({1, 1, 1}, 0.85);
    cairo_rectangle(&mCairo, left, iMiddle - kNumberSize / 2, width, kNumberSize);
    cairo_fill(&mCairo);
    return Text(left + 1, iMiddle + kNumberSize * 0.36, text, kNumberSize, {kInk, kInk, kInk}) + 1;
}

void Painter::PaintBend(const NoteBar& iBar)
{
    if (iBar.mBend.empty())
        return;
    const Color color = Mix(HueOf(iBar.mHand), {0, 0, 0}, 0.45);
    const Point& first = iBar.mBend.front();
    if (std::abs(first.mY - iBar.mBox.Middle()) > iBar.mBox.Height() / 2) // begins apart from its note
    {
        const double x = std::min(first.mX + 1.5, iBar.mBox.mRight); // and off bar lines
        Line(x, iBar.mBox.Middle(), x, first.mY, color, 0.7);
    }
    StrokePath(iBar.mBend, {1, 1, 1}, 3);
    StrokePath(iBar.mBend, color, 1.3);
}

void Painter::PaintLane(const System& iSystem, const LaneStrip& iStrip)
{
    const Box& box = iStrip.mBox;
    const Color ink{kInk, kInk, kInk};
    const Color gray{0.4, 0.4, 0.42};
    PaintLines(iSystem, box.mTop, box.mBottom);
    if (iStrip.mHasMiddle)
        Line(box.mLeft, box.Middle(), box.mRight, box.Middle(), {0.6, 0.6, 0.62}, 0.8);
    const bool isAlone = mLayout.GetHands().size() == 1 && !iStrip.mHasMiddle;
    for (const Curve& curve : iStrip.mCurves)
    {
        if (isAlone)
        {
            cairo_new_path(&mCairo);
            cairo_move_to(&mCairo, curve.mPoints.front().mX, box.mBottom);
            for (const Point& point : curve.mPoints)
                cairo_line_to(&mCairo, point.mX, point.mY);
            cairo_line_to(&mCairo, curve.mPoints.back().mX, box.mBottom);
            SetColor(HueOf(curve.mHand), 0.16);
            cairo_fill(&mCairo);
        }
        StrokePath(curve.mPoints, HueOf(curve.mHand), 1.2);
    }
    Outline(box, {0.55, 0.55, 0.57});
    const double right = box.mLeft - 4;
    Text(kMargin, box.mTop + 21, iStrip.mName, kTextSize, ink, Align::kLeft, true);
    Text(kMargin, box.mTop + 33, iStrip.mDescription, kSmallSize, gray);
    Text(right, box.mTop + 8, std::to_string(iStrip.mRange.mMaximum), kSmallSize - 1, gray, Align::kRight);
    Text(right, box.mBottom - 1, std::to_string(iStrip.mRange.mMinimum), kSmallSize - 1, gray, Align::kRight);
    if (iStrip.mHasMiddle)
        Text(right, box.Middle() + 3, "0", kSmallSize - 1, gray, Align::kRight);
}

} // namespace MdidHost_Roll
