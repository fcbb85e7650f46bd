#include "MFnd/TimeModel.h"
#include "Support/RecordingAssertHandler.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

namespace
{

RC_GTEST_PROP(Time_TempoMap, EditsInAnyOrderLeaveWhatAscendingOnesBuild, ())
{
    Time_TempoMap tempoMap;
    Tempos model;
    const auto edits = *rc::gen::container<std::vector<std::pair<int, int>>>(
        rc::gen::pair(rc::gen::inRange(0, 8), rc::gen::inRange(0, 4)));
    for (const auto& [place, tempo] : edits)
    {
        const std::int64_t tick = place * 1'000'000'000'000;
        if (tempo == 0)
            RC_ASSERT(tempoMap.Remove(Time_Tick(tick)) == (model.erase(tick) == 1));
        else
            RC_ASSERT(tempoMap.Set(Time_Tick(tick), model[tick] = tempo * 300'000'000));
        RC_ASSERT(tempoMap == MakeContext(model, 1, 0).GetTempoMap());
    }
}

TEST(Time_TempoMap, EntriesOutsideTheRangeAreRefused)
{
    RecordingAssertHandler asserts;
    Time_TempoMap tempoMap;
    EXPECT_FALSE(tempoMap.Set(Time_Tick(-1), 500'000) || tempoMap.Set(Time_Tick(0), 0));
    EXPECT_FALSE(tempoMap.Set(Time_Tick(0), 1LL << 31) || tempoMap.Set(Time_Tick(0), 1LL << 32));
    EXPECT_EQ(asserts.Take().size(), 4u);
    EXPECT_TRUE(tempoMap.Set(Time_Tick(0), 1) && tempoMap.Set(Time_Tick(Time_Packed::kMaxCount), (1LL << 31) - 1));
    EXPECT_EQ(tempoMap.GetEntries().size(), 2u);
}

} // namespace
