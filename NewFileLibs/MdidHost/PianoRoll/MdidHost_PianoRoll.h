#pragma once

#include "CFnd/Cmn_OutStream.h"
#include "Mdid/Mdie_SubStream.h"
#include "MdidHost/Session/MdidHost_Session.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What a piano roll shows of a session, and how wide. As it comes: all notes of all tracks, without lanes.
struct MdidHost_PianoRoll
{
    static constexpr int kMinWidth = 400;
    static constexpr int kMaxWidth = 8000;

    std::string mTitle = {};
    std::optional<int> mTrack = std::nullopt; // of the session, from 1; none: all

    // Of any kind of time; none: from the bar of the first note on, to the end of the bar in which the last one ends.
    std::optional<Time_Typed> mStart = std::nullopt;
    std::optional<Time_Typed> mEnd = std::nullopt; // does not belong to it

    std::vector<Mdie_SubStream> mLanes = {}; // underneath, from above
    int mWidth = 1200;                       // in pixels, kMinWidth to kMaxWidth

    enum class Format
    {
        kSVG, // one picture, as high as it gets, as are those of PNG
        kPNG,
        kPDF // pages of A4, landscape; higher ones where a system needs it
    };

    // By the ending of a file's name, in capitals or not. None when it is none of these.
    static std::optional<Format> FormatOf(std::string_view iFile);

    // "1,7,74,bend,pressure": controllers 1 to 119 and the two others; what is named twice counts once. None when a
    // word is none of these.
    static std::optional<std::vector<Mdie_SubStream>> ParseLanes(std::string_view iText);

    // Controllers 1 to 119, bend, pressure, also that of one key: what can be among mLanes.
    static bool IsLane(const Mdie_SubStream& iLane);
};

// Draws the notes in systems, one below the other, of whole bars where bars are short enough. Bends of single notes are
// drawn on them by the bend range of MPE, 48 semitones up and down, whatever range is set by messages in the session.
//
// The session's context is that of the process meanwhile. Throws std::invalid_argument for a track that is not there, a
// width out of range, a lane that is none (IsLane), or an end that is not behind the start; std::length_error, which
// tells what to do, for what makes no readable picture: too long, too high, too many notes or pages. What it takes of
// memory is bounded by these. Throws what the stream throws, std::runtime_error for what the drawing library cannot do.
// Linear, but for sorting.
void MdidHost_DrawPianoRoll(const MdidHost_Session& iSession, const MdidHost_PianoRoll& iRoll,
                            MdidHost_PianoRoll::Format iFormat, Cmn_OutStream& ioStream);
