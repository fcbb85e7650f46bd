#pragma once

#include "MdidHost/Session/MdidHost_Session.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// The text of session.json: a session without its chunks, and the files that hold them.
//
// Keys in this order; times are counts, in the kind that "kind" names:
//   formatVersion        1; newer ones are refused
//   generation           1 to kMaxGeneration: the save that wrote it
//   fileFormat           0 to 2
//   division             { ticksPerQuarter } or { framesPerSecond, dropFrame, ticksPerFrame }
//   kind                 "ticks", or "microseconds" for frames
//   sampleRate           in Hz
//   sessionStart         in samples
//   tempoMap             [ { tick, microsecondsPerQuarter } ], ticks of 960,000 a quarter
//   meters               [ { time, numerator, denominator, clocksPerClick, thirtySecondsPerQuarter } ]
//   keys                 [ { time, accidentals, sharps, major } ]
//   markers              [ { time, text } ]
//   smpteOffset          { frameRate, hours, minutes, seconds, frames, hundredths }; missing when there is none
//   perNoteData          bool
//   tracks               [ { name, instrument, comments, fileTrack, channel (null: none), mpeMembers,
//                            fileTrackEnd (missing: none), file } ]
struct MdidHost_SessionJson
{
    static constexpr int kFormatVersion = 1;
    static constexpr int kMaxGeneration = 999'999'999;
    static constexpr std::size_t kMaxSize = std::size_t{64} << 20; // bytes
    static constexpr std::size_t kMaxValues = 3'000'000;           // a million tempos; so many take 300 MB at most

    MdidHost_Session mSession;
    std::vector<std::string> mFiles; // of each track, plain names
    int mGeneration = 1;

    // What is no UTF-8 becomes U+FFFD.
    std::string Write() const;

    // The tracks have no chunks. Keys that are not in the table are passed over. Throws MdidHost_FileError, for iFile,
    // which names the field. Linear.
    static MdidHost_SessionJson Read(std::string_view iText, const std::string& iFile);
};
