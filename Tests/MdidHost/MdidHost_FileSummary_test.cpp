#include "MdidHost/File/MdidHost_FileSummary.h"

#include "Support/SmfBuilder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>

namespace
{

using Summary = MdidHost_FileSummary;

Summary Read(const SmfBuilder& iFile, bool iMarkers = false)
{
    const auto bytes = iFile.Build();
    Sys_MemoryInStream stream(bytes);
    Summary summary;
    Mdi_MidiFileParser parser(stream, summary);
    parser.SetCanImportMarkers(iMarkers);
    parser.Parse();
    return summary;
}

struct Change
{
    int mTime;
    int mFirst; // numerator, or microseconds a quarter
    int mSecond = 0;
};

Summary WithMeters(int iDivision, const std::vector<Change>& iMeters)
{
    Summary summary;
    summary.SetTicksPerQuarterNote(static_cast<short>(iDivision));
    for (const auto& [time, numerator, denominator] : iMeters)
        summary.RxMeter(time, numerator, denominator, 24, 8);
    return summary;
}

Summary WithTempos(int iDivision, const std::vector<Change>& iTempos)
{
    Summary summary;
    summary.SetTicksPerQuarterNote(static_cast<short>(iDivision));
    for (const Change& tempo : iTempos)
        summary.RxTempo(tempo.mTime, tempo.mFirst);
    return summary;
}

// Two tracks: tempo, meter, key and names; notes and one of everything else.
SmfBuilder SmallSong()
{
    return SmfBuilder(1, 96)
        .Track("00 ff03 05 536f6e671b  00 ff51 03 07a120  00 ff58 04 06 03 24 08  00 ff59 02 fd 00"
               "00 ff54 05 21 02 03 04 05  00 ff06 01 41  8240 ff51 03 0f4240  8240 ff58 04 03 02 18 08  00 ff2f 00")
        .Track("00 ff04 02 c3bc  10 903c40 10 3c00  00 913c40 00 b00740 00 e00040 00 d040 00 a03c40 00 c205"
               "00 f0 03 7e01f7  8600 813c40  00 ff2f 00");
}

std::string AsText(const std::string& iName, const Summary& iSummary)
{
    std::ostringstream stream;
    MdidHost_WriteSummaryAsText(stream, iName, iSummary);
    return stream.str();
}

std::string AsJson(const std::string& iName, const Summary& iSummary)
{
    std::ostringstream stream;
    MdidHost_WriteSummaryAsJson(stream, iName, iSummary);
    return stream.str();
}

} // namespace

TEST(MdidHost_FileSummary, BarsFollowTheMeters)
{
    const struct
    {
        int mDivision;
        std::vector<Change> mMeters;
        std::int64_t mTime, mBars, mTicks;
    } kCases[] = {
        {96, {}, 0, 0, 0},
        {96, {}, 383, 0, 383}, // 4/4 where the file says nothing
        {96, {}, 384, 1, 0},
        {96, {{0, 6, 8}}, 288 * 3 + 7, 3, 7},
        {96, {{0, 3, 4}, {576, 4, 4}}, 576, 2, 0},
        {96, {{0, 3, 4}, {576, 4, 4}}, 960, 3, 0},
        {96, {{100, 3, 4}}, 99, 0, 99},
        {96, {{100, 3, 4}}, 100, 1, 0}, // in mid-bar: the change begins a bar
        {96, {{100, 3, 4}}, 388, 2, 0},
        {96, {{100, 3, 4}, {100, 2, 4}}, 292, 2, 0}, // the later of two at one time
        {5, {{0, 3, 8}}, 7, 0, 7},                   // a bar of 7 1/2 ticks
        {5, {{0, 3, 8}}, 8, 1, 0},
        {5, {{0, 3, 8}}, 15, 2, 0},
        {5, {{0, 3, 8}, {8, 4, 4}}, 28, 2, 0},       // a bar line between ticks, written to the next one
        {5, {{0, 3, 8}, {7, 4, 4}}, 27, 2, 0},       // and to the one before
        {96, {{0, 0, 4}, {0, 3, 0}}, 384, 1, 0},     // no meters
        {96, {{1000, 3, 4}, {0, 4, 4}}, 1000, 3, 0}, // a time that wrapped
        {96, {{-5, 3, 4}}, 288, 1, 0},
        {32767, {{0, 255, 1}}, 0x7FFFFFFF, 64, 0x7FFFFFFF - std::int64_t{64} * 4 * 255 * 32767},
        {32767, {{0, 1, 1 << 30}}, 0x7FFFFFFF, 17592722923520, 0},
    };
    for (const auto& [division, meters, time, bars, ticks] : kCases)
    {
        const auto found = WithMeters(division, meters).GetBarsAt(time);
        ASSERT_TRUE(found);
        EXPECT_EQ(found->mWholeBars, bars) << "division " << division << ", time " << time;
        EXPECT_EQ(found->mTicksLeft, ticks) << "division " << division << ", time " << time;
    }
    EXPECT_FALSE(WithMeters(0, {{0, 4, 4}}).GetBarsAt(1));
    EXPECT_FALSE(Summary().GetBarsAt(0));
}

TEST(MdidHost_FileSummary, MicrosecondsFollowTheTempos)
{
    const struct
    {
        int mDivision;
        std::vector<Change> mTempos;
        std::int64_t mTime, mMicroseconds;
    } kCases[] = {
        {96, {}, 96, 500000},
        {96, {{0, 1000000}}, 1, 10417},      // 10,416 2/3
        {96, {{96, 1000000}}, 144, 1000000}, // 120 BPM before the first one
        {96, {{0, 250000}, {0, 1000000}}, 96, 1000000},
        {7, {{1, 100}, {2, 300}, {3, 100}}, 4, 71500},  // 500,000/7 + 500/7
        {96, {{0, 0}, {96, 0}}, 192, 1000000},          // no tempos
        {96, {{960, 1000000}, {-1, 1}}, 1056, 6000000}, // a time that wrapped
        {1, {{0, 0xFFFFFF}}, 0x7FFFFFFF, std::int64_t{0x7FFFFFFF} * 0xFFFFFF},
    };
    for (const auto& [division, tempos, time, microseconds] : kCases)
        EXPECT_EQ(WithTempos(division, tempos).GetMicrosecondsAt(time), microseconds)
            << "division " << division << ", time " << time;
    EXPECT_FALSE(WithTempos(0, {}).GetMicrosecondsAt(1));
}

TEST(MdidHost_FileSummary, FramesHaveTheirOwnTime)
{
    const struct
    {
        short mFrames;
        bool mIsDropFrame;
        short mTicks;
        std::int64_t mTime;
        std::optional<std::int64_t> mMicroseconds;
    } kCases[] = {
        {24, false, 40, 960, 1000000},   {24, false, 80, 1, 521},                   // 520.83
        {25, false, 40, 1000, 1000000},  {30, true, 80, 2400, 1001000},             // 29.97
        {30, false, 80, 2400, 1000000},  {30, true, 1, 0x7FFFFFFF, 71654371021567}, // 2^31 - 1 frames
        {25, false, 0, 1, std::nullopt},
    };
    for (const auto& [frames, isDropFrame, ticks, time, microseconds] : kCases)
    {
        Summary summary;
        summary.SetSMPTETicks(frames, isDropFrame, ticks);
        EXPECT_EQ(summary.GetMicrosecondsAt(time), microseconds) << frames << ' ' << ticks;
        EXPECT_FALSE(summary.GetBarsAt(time));
    }
}

TEST(MdidHost_FileSummary, ManyChangesInAnyOrderTakeNoTime)
{
    // A map that is kept sorted would move a million entries a hundred thousand times.
    Summary summary;
    summary.SetTicksPerQuarterNote(96);
    for (int i = 1; i <= 1'000'000; ++i)
        summary.RxTempo(i, 500'000);
    for (int i = 0; i < 100'000; ++i)
        summary.RxTempo(-1, 1);
    EXPECT_EQ(summary.GetMicrosecondsAt(96'000'000), 500'000'000'000);
}

TEST(MdidHost_FileSummary, ATrackCountsWhatItHolds)
{
    const Summary summary = Read(SmallSong());
    ASSERT_EQ(summary.mTracks.size(), 2u);
    const Summary::Track& track = summary.mTracks[1];
    EXPECT_EQ(track.mCounts, (std::array<std::int64_t, Summary::kNumCounts>{2, 1, 1, 2, 1, 1}));
    EXPECT_EQ(track.mChannels, 0b111u); // of the status bytes
    EXPECT_EQ(track.mFirstTime, 16);
    EXPECT_EQ(track.mLastTime, 32 + 768);
    EXPECT_FALSE(summary.mTracks[0].mFirstTime);
    EXPECT_EQ(summary.GetLength(), 800);
    EXPECT_EQ(Read(SmfBuilder().Track("8700 ff2f00").Track("00 903c40")).GetLength(), 896); // an end counts too
    EXPECT_TRUE(summary.mMarkers.empty());
}

TEST(MdidHost_FileSummary, TextIsForPeople)
{
    EXPECT_EQ(AsText("a\nb.mid", Read(SmallSong(), true)),
              "a\\x0ab.mid\n"
              "  format  1, 2 tracks, 96 ticks a quarter note\n"
              "  length  800 ticks, 3 bars + 160 ticks, 0:06.667\n"
              "  tempo   120 at bar 1, 60 at bar 2 + 32 ticks\n"
              "  meter   6/8 at bar 1, 3/4 at bar 4\n"
              "  key     E flat major at bar 1\n"
              "  markers \"A\" at bar 1\n"
              "  track  name      channels  notes  controllers  bends  pressure  programs  sysex  first  last\n"
              "      1  Song\\x1b         -      0            0      0         0         0      0      -     -\n"
              "      2  ü              1-3      2            1      1         2         1      1     16   800\n");
    EXPECT_EQ(AsText("-", Read(SmfBuilder(0, -25 * 256 + 40).Announce(0))),
              "-\n"
              "  format  0, 0 tracks, 25 frames a second, 40 ticks a frame\n"
              "  length  0 ticks, 0:00.000\n");
}

TEST(MdidHost_FileSummary, LongListsAreCutForPeople)
{
    Summary summary = WithTempos(96, {{0, 0}});
    for (int i = 0; i < 9; ++i)
        summary.RxTempo(0, 480'000);
    const std::string text = AsText("", summary);
    EXPECT_NE(text.find("  tempo   (tempo 0) at bar 1, 125 at bar 1, "), std::string::npos) << text;
    EXPECT_NE(text.find(", and 6 more\n"), std::string::npos) << text;
}

TEST(MdidHost_FileSummary, JsonHoldsTheSame)
{
    const std::string line = AsJson("b\xff.mid", Read(SmallSong(), true));
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    const auto json = nlohmann::json::parse(line);
    const auto expected = nlohmann::json::parse(R"({
        "file": "b\ufffd.mid", "format": 1, "announcedTracks": 2, "division": {"ticksPerQuarter": 96},
        "ticks": 800, "bars": 3, "ticksBehindLastBar": 160, "us": 6666667,
        "tempos": [{"time": 0, "usPerQuarter": 500000}, {"time": 320, "usPerQuarter": 1000000}],
        "meters": [{"time": 0, "numerator": 6, "denominator": 8}, {"time": 640, "numerator": 3, "denominator": 4}],
        "keys": [{"time": 0, "key": "E flat major"}], "markers": [{"time": 0, "text": "A"}],
        "smpteOffset": {"rate": 25, "h": 1, "m": 2, "s": 3, "f": 4, "hundredths": 5},
        "tracks": [
            {"name": "Song\u001b", "instrument": "", "channels": [], "notes": 0, "controllers": 0, "bends": 0,
             "pressure": 0, "programs": 0, "sysex": 0, "first": null, "last": null},
            {"name": "", "instrument": "ü", "channels": [0, 1, 2], "notes": 2, "controllers": 1, "bends": 1,
             "pressure": 2, "programs": 1, "sysex": 1, "first": 16, "last": 800}]})");
    EXPECT_EQ(json, expected) << json.dump(1);

    const auto smpte = nlohmann::json::parse(AsJson("", Read(SmfBuilder(0, -29 * 256 + 4).Announce(0))));
    EXPECT_EQ(smpte["division"], (nlohmann::json{{"fps", 30}, {"drop", true}, {"ticksPerFrame", 4}}));
    EXPECT_TRUE(smpte["bars"].is_null());
}
