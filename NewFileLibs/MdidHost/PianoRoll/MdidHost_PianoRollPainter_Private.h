#pragma once

#include "MdidHost/PianoRoll/MdidHost_PianoRollLayout_Private.h"

#include <cairo.h>

#include <string>

namespace MdidHost_Roll
{

// Draws a layout, page by page.
class Painter
{
public:
    // All must outlive it.
    Painter(cairo_t& ioCairo, const Layout& iLayout, const std::string& iTitle)
        : mCairo(ioCairo),
          mLayout(iLayout),
          mTitle(iTitle)
    {
    }

    // iNumPages above 1: with its number at the foot.
    void PaintPage(const Page& iPage, std::size_t iNumber, std::size_t iNumPages);

    static double WidthOf(cairo_t& ioCairo, const std::string& iText, double iSize);

private:
    struct Color
    {
        double mRed, mGreen, mBlue;
    };
    static Color HueOf(std::size_t iHand);
    static Color Mix(Color iA, Color iB, double iShareOfB);
    static Color ShadeOf(std::size_t iHand, int iVelocity);

    void PaintHead();
    void PaintSigns();
    void PaintSystem(const System& iSystem);
    void PaintRows(const System& iSystem);
    void PaintKeyboard(const System& iSystem);
    void PaintKey(const System& iSystem, int iPitch);
    void PaintLines(const System& iSystem, double iTop, double iBottom);
    void PaintLabels(const System& iSystem);
    void PaintNotes(const System& iSystem);
    static Box BodyOf(const NoteBar& iBar);
    void PaintCutOff(const NoteBar& iBar);
    void PaintNote(const NoteBar& iBar);
    double PaintNumber(int iNumber, double iX, double iMiddle);
    void PaintBend(const NoteBar& iBar);
    void PaintLane(const System& iSystem, const LaneStrip& iStrip);

    enum class Align
    {
        kLeft,
        kRight,
        kCenter
    };
    void SetColor(Color iColor, double iAlpha = 1);
    double Text(double iX, double iBaseline, const std::string& iText, double iSize, Color iColor,
                Align iAlign = Align::kLeft, bool iIsBold = false);
    void Fill(const Box& iBox, Color iColor);
    void Line(double iX1, double iY1, double iX2, double iY2, Color iColor, double iWidth);
    void Outline(const Box& iBox, Color iColor);
    void NotePath(const Box& iBox, bool iIsLeftRound, bool iIsRightRound);
    void StrokePath(const std::vector<Point>& iPoints, Color iColor, double iWidth);

    cairo_t& mCairo;
    const Layout& mLayout;
    const std::string& mTitle;
    bool mHasNumbers = false; // of notes that lie upon others, so far
};

} // namespace MdidHost_Roll
