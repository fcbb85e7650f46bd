#include "MdidHost/Session/MdidHost_MusicalTime.h"

#include <gtest/gtest.h>
#include <sstream>

namespace
{

using Division = MdidHost_Division;

// In ticks of the division, where the time is in the session's kind.
template <class Time>
std::string Describe(const MdidHost_Session& iSession, const std::optional<Time>& iTime)
{
    if (iTime && iTime->GetType() == iSession.mDivision.GetKind())
        return std::to_string(iSession.mDivision.ToFileTick(Time_Typed(iTime->GetPacked()), iSession.mContext)) + 't';
    return iTime ? std::to_string(iTime->AsInt64()) + (iTime->GetType() == Time_EType::kSample ? "s" : "us") : "none";
}

template <class Function>
std::string All(const char* iWords, Function iFunction)
{
    std::istringstream words(iWords);
    std::string result;
    for (std::string word; words >> word;)
        result += iFunction(word) + std::string(" ");
    return result;
}

} // namespace

TEST(MdidHost_Division, FileTicksAreScaledExactlyAndComeBack)
{
    const std::tuple<Division, std::int64_t, std::int64_t, int> kCases[] = {
        {Division::TicksPerQuarter(7), 4, 548'571, 7}, // 548,571.43
        {Division::TicksPerQuarter(1), std::numeric_limits<std::int64_t>::min(), Time_Packed::kMinCount, 1},
        {Division::SMPTE(30, true, 255), 7'650'000, 1'001'000'000, 0xE3FF}, // 29.97 frames a second
    };
    for (const auto& [division, fileTick, count, header] : kCases)
    {
        EXPECT_EQ(division.ToTime(fileTick).AsInt64(), count) << fileTick;
        EXPECT_EQ(division.AsHeaderField(), header) << fileTick;
        for (const std::int64_t tick : {(std::int64_t{1} << 40) - 1, std::int64_t{-12'345'678'901}, std::int64_t{1}})
            EXPECT_EQ(division.ToFileTick(division.ToTime(tick), {}), tick);
    }
}

TEST(MdidHost_MusicalTime, IsReadAndWrittenAlongTheMeters)
{
    MdidHost_Session session; // of which a meter begins in the middle of a bar, and one has beats of 1.875 ticks
    for (const auto& [tick, numerator, denominator] :
         {std::array{0, 4, 4}, {1920, 3, 4}, {1920, 0, 4}, {4000, 6, 8}, {10000, 5, 16}, {12000, 7, 1024}})
        session.mMeters.push_back({session.mDivision.ToTime(tick), numerator, denominator, 24, 8});
    const MdidHost_MusicalTime time(session);
    const auto parse = [&](const std::string& iText) { return Describe(session, time.Parse(iText)); };
    const auto bar = [&](const std::string& iText) { return time.FormatBar(*time.Parse(iText)); };
    const auto length = [&](const std::string& iText) { return Describe(session, time.ParseLength(iText)); };
    const auto isRange = [&](const std::string& iText) { return time.ParseRange(iText) ? "yes" : "no"; };

    // The fourth bar cuts the third one short; below zero the first meter goes on; there is a last of all times.
    EXPECT_EQ(All("1 3:2:120 4 9:5:119 48000s -0.0000015sec end", parse), "0t 3960t 4000t 10599t 48000s -2us 0t ");
    EXPECT_EQ(All("3:2:120 4 9:5:119 -1921t 48000s", bar), "3:2:120 4:1:000 9:5:119 -1:4:479 1:3:000 ");
    EXPECT_EQ(All("99999999999999sec 9223372036854775807", parse), "2305843009213693951us 1152921504606847t ");
    EXPECT_EQ(All("1..2 480t..1.5sec 2..2 2..1 1.5sec..48000s 1.. 1 1..2..3", isRange), "yes yes yes no no no no no ");
    EXPECT_EQ(All("1:2:0 1 -0:0:60 1/16 -3/16 -240s 1/0 end", length), "2880t 1920t -60t 120t -360t -240s none none ");
    // A beat that the meter has not, the next beat's tick, a place that is cut off; what is no time.
    EXPECT_EQ(All("2:4 1:1:480 3:2:160 0 0:1:0 1:0:0 1:1:1:1 1: :1 1:1:-1 -1 +1 1t1 t s sec -sec --1t .5sec 1.sec 1.5s "
                  "1e3s 9223372036854775808t End",
                  [&](const std::string& iText) { return parse(iText) == "none" ? "" : iText; }),
              std::string(24, ' '));
    EXPECT_EQ(parse("") + parse(" 1"), "nonenone");
    for (int tick = 0; tick < 13'000; ++tick)
        ASSERT_EQ(parse(time.FormatBar(session.mDivision.ToTime(tick))), std::to_string(tick) + 't');

    session.mDivision = Division::SMPTE(25, false, 40); // has no bars
    const MdidHost_MusicalTime frames(session);
    EXPECT_FALSE(frames.Parse("1:1:000") || frames.ParseLength("1:1:000"));
    EXPECT_EQ(frames.FormatBar(*frames.Parse("1500t")), "-");
}
