#include "Mdid/Mdi_MidiFileParser.h"

#include "Support/AllocationCounter.h"
#include "Support/CallbackLog.h"
#include "Support/ScopedAllowMPE.h"
#include "Support/SmfBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <tuple>

namespace
{

using Bytes = SmfBuilder::Bytes;
using Lines = std::vector<std::string>;

// Lines that are passed over: of the header, of the two passes over a first track that has nothing for them, and of
// that track when it is empty.
constexpr int kHeader = 3;
constexpr int kFirstPasses = kHeader + 4;
constexpr int kFirstTrack = kFirstPasses + 2;

std::string Told(const SmfBuilder& iFile, std::ptrdiff_t iFirstLine = 0, std::size_t iWindowSize = SIZE_MAX)
{
    const Lines lines = ReadToLog(iFile.Build(), iWindowSize);
    return Join({lines.begin() + std::min(iFirstLine, std::ssize(lines)), lines.end()});
}

// "abort track": what must follow when these lines are all; "" when no pass was begun and not left.
std::string AbortOf(const Lines& iLines)
{
    const auto isBorder = [](const std::string& iLine)
    { return iLine.starts_with("begin ") || iLine.starts_with("end "); };
    const auto last = std::find_if(iLines.rbegin(), iLines.rend(), isBorder);
    return last != iLines.rend() && last->starts_with("begin ") ? "abort " + last->substr(6) : "";
}

// A bit of everything, in 3 tracks.
SmfBuilder RichFile()
{
    return SmfBuilder(1, 96, 8)
        .Raw("aabb")
        .Track("00 ff0305 5469746c65  00 ff5103 07a120  00 ff5804 06031808  00 ff5902 fd01  00 ff5405 2000000000"
               "00 ff0602 4131  83 60 ff2001 05  00 ff7f03 010203  00 f003 7d0102  10 f703 0304f7  00 f703 f301f8"
               "00 ff0602 4232  8100 ff2f00")
        .Track("00 ff0104 54657874  00 ff0403 4f7267  00 c105  00 b1077f 00 0a40 00 7b00  00 913c40 60 3e40 60 3c00"
               "00 f012 01020304050607080910111213141516f7  00 a13c22  00 d133 00 34  00 e10040 00 7f7f  ffff7f 813c3f"
               "00 ff2f00")
        .Track("00 903c40 818080 8000 803c40 81808000 913c40 81808000 923c40 00 ff2f00 00 3c41");
}

Bytes ReadShippedSong()
{
    std::ifstream file(MDID_EXAMPLES "/Song/canon.mid", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// How reading ends when the file is cut there: behind a track it is no damage.
std::string EndOfCutFile(const Bytes& iFile, std::size_t iLength)
{
    const std::string rest(iFile.begin() + static_cast<std::ptrdiff_t>(iLength), iFile.end());
    const bool isBehindTrack = rest.empty() || (rest.starts_with("MTrk") && iLength > 16);
    return isBehindTrack ? "complete" : "end of stream";
}

TEST(Mdi_MidiFileParser, HeadersAndTracksAreTakenAsTheyAre)
{
    // What is told, from a line on.
    const std::tuple<const char*, SmfBuilder, int, const char*> kCases[] = {
        {"the first track is read three times, the others once",
         SmfBuilder(1, 480).Track("60 ff5103 07a120 60 ff2f00").Track("00 ff0301 41 60 ff5103 07a120"), 0,
         "format 1, tracks 2, ticks 480, begin map, 96 tempo 500000, 192 end of track, end map, "
         "begin global, 192 end of track, end global, begin track, 192 end of track, end track, "
         "begin track, name 'A', end track, complete"},
        {"no tracks", SmfBuilder(0, 0x7FFF), 0, "format 0, tracks 0, ticks 32767, complete"},
        {"format 3", SmfBuilder(3), 0, "MIDI file format unknown"},
        {"kept: a negative format", SmfBuilder(-2), 0, "format 65534, tracks 0, ticks 96, complete"},
        {"25 frames", SmfBuilder(1, 0xE7A8), 2, "smpte 25 0 168, complete"},
        {"kept: 29 frames are 30 with drop frame", SmfBuilder(1, 0xE350), 2, "smpte 30 1 80, complete"},
        {"a short header", SmfBuilder(1, 96, 5), 0, "bad header length encountered"},
        {"tracks count without sign", SmfBuilder().Announce(0xFFFF), 1, "tracks 65535, ticks 96, end of stream"},
        {"fewer tracks than announced", SmfBuilder().Announce(9).Track(""), kFirstTrack, "complete"},
        {"more tracks than announced", SmfBuilder().Announce(1).Track("").Track(""), kFirstTrack, "complete"},
        {"anything behind the last track", SmfBuilder().Track("").Raw("00"), kFirstTrack, "complete"},
        {"another chunk", SmfBuilder().Raw("58465949").Announce(1), kHeader, "bad header type encountered"},
        {"running status, sysex and time begin anew with a track",
         SmfBuilder().Track("10 903c40 10 f00101").Track("01 f702 02f7 01 3c40 913d40"), kFirstPasses,
         "begin track, 16 on 0 #1 0 90 3c 40, end track, begin track, 2 on 1 #1 0 90 3d 40, end track, complete"},
        {"an event that reaches beyond its track moves the next", SmfBuilder().Track("00 c005", 2).Track(""),
         kFirstPasses, "begin track, 0 on 0 #6 0 c0 05, end track, begin track, end track, complete"},
        {"an event behind the end is not begun", SmfBuilder().Track("00 c005 00 06", 1).Track(""), kFirstPasses,
         "begin track, 0 on 0 #6 0 c0 05, end track, bad header type encountered"},
        {"of many, the third is not", SmfBuilder(0).Track("00 c005 00 06 00 07 00 08 00 09 00 0a", 5), kFirstPasses,
         "begin track, 0 on 0 #6 0 c0 05, 0 on 0 #6 0 c0 06, end track, complete"},
        {"a negative length", SmfBuilder().Track("", INT32_MIN), kFirstTrack, "complete"},
        {"a length that would be negative", SmfBuilder().Track("00 ff7f 8fffffff78 00 ff2f00"), kHeader,
         "begin map, 0 meta 127 -8, abort map, end of stream"},
        {"an escape that would", SmfBuilder().Track("00 f7 8fffffff78 00 ff2f00"), kHeader,
         "begin map, abort map, end of stream"},
    };
    for (const auto& [what, file, firstLine, told] : kCases)
        EXPECT_EQ(Told(file, firstLine), told) << what;
    EXPECT_EQ(Join(ReadToLog(FromHex("52494646 00000000"))), "bad header type encountered");
}

TEST(Mdi_MidiFileParser, EventsBecomeCallbacksOfTheirPasses)
{
    const struct
    {
        const char* mWhat;
        const char* mEvents;
        const char* mTrack;
        const char* mGlobal = "";
        const char* mMap = "";
    } kCases[] = {
        {"every channel message", "00 893c3f 01 993c01 02 a93c02 03 b90703 04 c905 05 d906 06 e90140",
         "0 on 9 #2 0 80 3c 3f, 1 on 9 #1 0 90 3c 01, 3 on 9 #8 0 a0 3c 02, 6 on 9 #5 0 b0 07 03, "
         "10 on 9 #6 0 c0 05, 15 on 9 #7 0 d0 06, 21 on 9 #4 0 e0 01 40"},
        {"kept: a note on of velocity 0 is a note off of 64", "00 923c00", "0 on 2 #2 0 90 3c 00"},
        {"channel mode is consumed, its status runs", "00 b07800 00 7b00 00 7702", "0 on 0 #5 0 b0 77 02"},
        {"kept: running status survives meta and sysex events", "00 c001 00 ff010141 00 02 00 f001f7 00 03",
         "0 on 0 #6 0 c0 01, comment 'A', 0 on 0 #6 0 c0 02, 0 on 0 #14 0 f0 f7, 0 on 0 #6 0 c0 03"},
        {"data without a status is passed over", "00 3c40 903c40", "0 on 0 #1 0 90 3c 40"},
        {"deltas of any length", "ffffff7f c001 8180808000 02 8080808080808001 03",
         "268435455 on 0 #6 0 c0 01, 536870911 on 0 #6 0 c0 02, 536870912 on 0 #6 0 c0 03"},
        {"times wrap at 32 bits", "8fffffff7f c001 02 02", "-1 on 0 #6 0 c0 01, 1 on 0 #6 0 c0 02"},
        {"a sysex in packets", "05 f00101 10 f7020203 10 f700 10 f701f7 10 c005",
         "5 on 0 #14 0 f0 01 02 03 f7, 69 on 0 #6 0 c0 05"},
        {"F7 inside of a packet is data", "00 f000 00 f703f70102 00 f702f8f7", "0 on 0 #14 0 f0 f7 01 02 f8 f7"},
        {"meta events between packets", "00 f00101 10 ff010141 00 f70202f7", "comment 'A', 0 on 0 #14 0 f0 01 02 f7"},
        {"kept: a channel event drops a sysex without F7", "00 f00101 00 c001 00 f70202f7", "0 on 0 #6 0 c0 01"},
        {"... and so does the next one", "00 f00101 10 f00202f7", "16 on 0 #14 0 f0 02 f7"},
        {"kept: an escape is passed over", "00 f703f301f8 05 f701f7 00 f700", ""},
        {"texts", "00 ff0101 41 00 ff0301 42 00 ff0401 43 00 ff0300", "comment 'A', name 'B', instrument 'C', name ''"},
        {"markers", "00 ff0601 41 10 ff0601 42", "", "0 marker 'A', 16 marker 'B'"},
        {"a channel prefix", "00 ff200105 00 ff2001ff", "channel 5, channel 255", "channel 5, channel 255"},
        {"tempo", "00 ff5103000001 10 ff5103ffffff", "", "", "0 tempo 1, 16 tempo 16777215"},
        {"meter", "00 ff580406031808 00 ff5804ff1effff 00 ff5804041f0105", "", "",
         "0 meter 6 8 64 8, 0 meter 255 1073741824 21675 255, 0 meter 4 0 1 5"},
        {"key", "00 ff59020000 00 ff59020301 00 ff5902f902", "", "", "0 key 0 1 1, 0 key 3 1 0, 0 key 7 0 0"},
        {"SMPTE offset", "00 ff5405173b3b1763 00 ff54052000001800 00 ff54055701021d03 00 ff5405f701021d03", "", "",
         "offset 24 23 59 59 23 99, offset 25 0 0 0 24 0, offset 286 23 1 2 29 3, offset 30 23 1 2 29 3"},
        {"unknown types", "00 ff0201bb 00 ffff00", "0 meta 2 1, 0 meta 255 0", "0 meta 2 1, 0 meta 255 0",
         "0 meta 2 1, 0 meta 255 0"},
        {"kept: events behind the end of track", "00 ff2f00 10 c005", "0 end of track, 16 on 0 #6 0 c0 05",
         "0 end of track", "0 end of track"},
        {"lengths wrap at 32 bits", "00 ff0190808080 0141 00 f09080808002 01f7", "comment 'A', 0 on 0 #14 0 f0 01 f7"},
    };
    const auto pass = [](const std::string& iName, const std::string& iLines)
    { return "begin " + iName + ", " + iLines + (iLines.empty() ? "end " : ", end ") + iName + ", "; };
    for (const auto& [what, events, track, global, map] : kCases)
    {
        // With bytes behind the track the last events, too, lie whole in the window of the stream.
        const auto file = SmfBuilder(0).Track(events).Raw("ffffffffffffffff");
        const std::string told = pass("map", map) + pass("global", global) + pass("track", track) + "complete";
        EXPECT_EQ(Told(file, kHeader), told) << what;
        EXPECT_EQ(Told(file, kHeader, 1), told) << what;
    }
}

TEST(Mdi_MidiFileParser, EventsKeepTheirChannelsWhenMPEIsAllowed)
{
    const ScopedAllowMPE option(true);
    EXPECT_EQ(Told(SmfBuilder().Track("00 993c40 00 3c00 00 c905"), kFirstPasses + 1),
              "0 on 9 #1 9 99 3c 40, 0 on 9 #2 9 99 3c 00, 0 on 9 #6 9 c9 05, end track, complete");
}

TEST(Mdi_MidiFileParser, EveryFailureHasItsTextItsTypeAndItsAbort)
{
    constexpr const char* kOffset = "string: Bad SMPTE offset"; // kept: a bare text
    const struct
    {
        const char* mEvents;
        bool mInEveryTrack; // otherwise in the first one alone
        const char* mFailure;
        const char* mBefore = "begin map, abort map, "; // the failure of the first track
    } kCases[] = {
        {"00 f100", true, "bad first byte of event encountered"},
        {"00 f00101 00 fe00", true, "bad first byte of event encountered"},
        {"00 ff2f01 00", true, "bad length for End of Track meta-event encountered"},
        {"00 ff2000", true, "unknown length for MIDI channel meta-event encountered",
         "begin map, end map, begin global, abort global, "},
        {"00 ff5102 0000", false, "unknown length for tempo meta-event encountered"},
        {"00 ff5104 00000000", false, "unknown length for tempo meta-event encountered"},
        {"00 ff5406 000000000000", false, "string: unknown length for SMPTE Offset meta-event"},
        {"00 ff5405 1800000000", false, kOffset}, // hours
        {"00 ff5405 003c000000", false, kOffset}, // minutes
        {"00 ff5405 00003c0000", false, kOffset}, // seconds
        {"00 ff5405 0000001800", false, kOffset}, // frames of 24
        {"00 ff5405 4000001e00", false, kOffset}, // frames of 30 drop
        {"00 ff5405 0000000064", false, kOffset}, // hundredths
        {"00 ff5803 000000", false, "unknown length for Time Signature meta-event encountered"},
        {"00 ff5903 000000", false, "unknown length for Key Signature meta-event encountered"},
        {"00 90f0 00", true, "bad MIDI event encountered"},
        {"00 903cf8 40", true, "bad MIDI event encountered"}, // real time has no place in a file
    };
    for (const auto& [events, inEveryTrack, failure, before] : kCases)
    {
        EXPECT_EQ(Told(SmfBuilder().Track(events), kHeader), std::string(before) + failure) << events;
        const std::string inSecond = inEveryTrack ? std::string("abort track, ") + failure : "end track, complete";
        EXPECT_EQ(Told(SmfBuilder().Track("").Track(events), kFirstTrack), "begin track, " + inSecond) << events;
    }
}

TEST(Mdi_MidiFileParser, MarkersAreToldOnlyWhenTheyMayBeImported)
{
    const Bytes file = SmfBuilder().Track("00 ff0601 41").Build();
    Sys_MemoryInStream stream(file);
    CallbackLog log;
    Mdi_MidiFileParser(stream, log).Parse();
    EXPECT_EQ(std::ranges::count(log.mLines, "0 marker 'A'"), 0);
}

TEST(Mdi_MidiFileParser, TextsAreCutAndConverted)
{
    const auto read = [](const std::string& iLengthAndText)
    { return Told(SmfBuilder().Track("00 ff01" + iLengthAndText + "00 c005"), kFirstPasses + 1); };
    const std::string rest = "', 0 on 0 #6 0 c0 05, end track, complete";
    EXPECT_EQ(read("822c" + std::string(2 * 300, '4')), "comment '" + std::string(255, 'D') + rest);
    EXPECT_EQ(read("04 41420043"), "comment 'AB" + rest);
    EXPECT_EQ(read("04 48c3a46e"), "comment 'H\u00E4n" + rest);    // UTF-8 stays
    EXPECT_EQ(read("03 48e480"), "comment 'H\u00E4\u20AC" + rest); // all else is Windows-1252
}

TEST(Mdi_MidiFileParser, WhatTheClientThrowsLeavesThroughTheAbortOfThePass)
{
    const Bytes file = RichFile().Build();
    const Lines all = ReadToLog(file);
    for (auto line = all.begin(); line != all.end(); ++line)
    {
        CallbackLog log;
        log.mThrowsAt = static_cast<std::size_t>(line - all.begin());
        Sys_MemoryInStream stream(file);
        EXPECT_THROW(ReadMidiFile(stream, log), int);

        Lines expected(all.begin(), line + 1);
        const bool isEnd = line->starts_with("end "); // one that fails is none
        if (const std::string abort = AbortOf({all.begin(), isEnd ? line : line + 1}); !abort.empty())
            expected.push_back(abort);
        EXPECT_EQ(log.mLines, expected);
    }
}

// Windows of less than an event hide the short way through whole events, and those of a few events cut it anywhere.
TEST(Mdi_MidiFileParser, TheWindowsOfTheStreamMakeNoDifference)
{
    const Bytes rich = RichFile().Build();
    ASSERT_EQ(ReadToLog(rich).back(), "complete");
    std::vector<Bytes> files{rich, ReadShippedSong()};
    for (std::size_t i = 0; i < rich.size(); ++i)
    {
        for (const int damage : {0x00, 0x7F, 0x80, 0xFF})
        {
            files.push_back(rich);
            files.back()[i] = static_cast<unsigned char>(damage);
        }
    }
    for (const Bytes& file : files)
        for (const std::size_t size : {1u, 7u, 8u, 9u, 11u, 14u, 18u})
            ASSERT_EQ(ReadToLog(file, size), ReadToLog(file)) << "windows of " << size << ", file " << ToHex(file);
}

TEST(Mdi_MidiFileParser, EveryTruncationEndsInACleanError)
{
    const Bytes rich = RichFile().Build();
    const Lines all = ReadToLog(rich);
    for (std::size_t length = 0; length < rich.size(); ++length)
    {
        SCOPED_TRACE(length);
        Lines lines = ReadToLog({rich.data(), length});
        EXPECT_EQ(lines.back(), EndOfCutFile(rich, length));
        lines.pop_back();
        // What was told before the cut is what the whole file tells.
        const auto common = std::ranges::mismatch(lines, all).in1;
        EXPECT_EQ(Join({common, lines.end()}), AbortOf({lines.begin(), common}));
    }

    const Bytes song = ReadShippedSong();
    ASSERT_FALSE(song.empty());
    for (std::size_t length = 0; length <= song.size(); ++length)
    {
        Mdi_MidiFileParserClient client;
        Sys_MemoryInStream stream({song.data(), length});
        const std::string failure = ReadMidiFile(stream, client);
        ASSERT_EQ(failure.empty() ? "complete" : failure, EndOfCutFile(song, length)) << length;
    }
}

// The client keeps nothing; what has been delivered is not held any longer.
TEST(Mdi_MidiFileParser, TakesLittleMoreMemoryThanTheLongestSysex)
{
    struct Counter : Mdi_MidiFileParserClient
    {
        int mEvents = 0;
        void RxMidiEvent(int, const Mdid_Event&, short) override { ++mEvents; }
    };
    const struct
    {
        std::string mEvents;
        int mRepeats;
        int mNumEvents;
        std::int64_t mMost; // bytes, besides a megabyte
        const char* mFailure = "";
    } kCases[] = {
        {"00 f0 82b19640" + std::string(2 * 4'999'999, '1') + "f7", 3, 3, 4 * 5'000'000},
        {"00 f010 0102030405060708090a0b0c0d0e0ff7", 50'000, 50'000, 0},
        {"00 903c40 60 3c00 00 ff0103 616263 00 ff7f01aa", 50'000, 100'000, 0},
        {"00 f0 8fffffff7f 01", 1, 0, 0, "end of stream"}, // a length takes no memory before its bytes are there
    };
    for (const auto& [events, repeats, numEvents, most, failure] : kCases)
    {
        std::string track;
        for (int i = 0; i < repeats; ++i)
            track += events;
        const Bytes file = SmfBuilder().Track("").Track(track).Build();
        Counter client;
        const AllocationCounter counter;
        WindowedInStream stream(file, 0x10000);
        EXPECT_EQ(ReadMidiFile(stream, client), failure);
        EXPECT_EQ(client.mEvents, numEvents);
        EXPECT_LT(counter.GetPeakBytes(), most + 0x100000);
    }
}

} // namespace
