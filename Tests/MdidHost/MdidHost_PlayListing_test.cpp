#include "MdidHost/Import/MdidHost_OpenSession.h"
#include "MdidHost/Play/MdidHost_Player.h"
#include "MdidHost/Play/MdidHost_Scrub.h"

#include <gtest/gtest.h>
#include <map>
#include <random>
#include <vector>

namespace
{

using State = std::map<std::pair<int, int>, int>; // by track and pitch, that of bends -1; at rest: 0

struct ChasedState : MdidHost_PlaySink
{
    State mState;
    void Receive(const MdidHost_PlayedEvent& i) override
    {
        if (i.mWhy == i.kChase && i.mEvent.GetType() == Mdid_Event::kNoteOn)
            ++mState[{i.mTrack, i.mEvent.As<Mdid_NoteOnEvent>().GetPitch()}];
        if (i.mWhy == i.kChase && i.mEvent.GetType() == Mdid_Event::kPitchBend)
            mState[{i.mTrack, -1}] = i.mEvent.As<Mdid_PitchBendEvent>().GetBendValue();
    }
};

struct SamplesOfBends : MdidHost_PlaySink
{
    std::vector<std::int64_t> mSamples;
    void Receive(const MdidHost_PlayedEvent& i) override
    {
        if (i.mWhy == i.kEvent && i.mEvent.GetType() == Mdid_Event::kPitchBend)
            mSamples.push_back(i.mSample);
    }
};

ChasedState StateAt(const MdidHost_Session& iSession, std::int64_t iStart)
{
    MdidHost_PlayOptions options;
    options.mStart = iStart;
    options.mEnd = iStart + 1;
    ChasedState chased;
    EXPECT_TRUE(MdidHost_Player(iSession, options).Render(chased));
    return chased;
}

TEST(MdidHost_Scrub, EndsAsPlayThatBeginsThereDoes)
{
    MdidHost_ImportReport report;
    const MdidHost_Session session = MdidHost_OpenSession(MDID_EXAMPLES "/Song/canon.mid", {}, report);
    SamplesOfBends bends;
    EXPECT_TRUE(MdidHost_Player(session, {.mBlockSize = 100'000'000}).Render(bends));
    ASSERT_GT(bends.mSamples.size(), 20U);
    MdidHost_Scrub scrub(session, {}, 0);
    State state;
    std::mt19937 random(1);
    for (int i = 0; i < 300; ++i)
    {
        const std::int64_t start = i % 3 == 0 ? static_cast<std::int64_t>(random() % 10'000'000)
                                              : bends.mSamples[random() % bends.mSamples.size()] + i % 4 / 2;
        for (const auto& passed : scrub.MoveTo(start))
        {
            const auto kind = passed.mEvent.mKind;
            int& value = state[{passed.mTrack, kind % 3 == 0 ? passed.mEvent.mValue : -1}];
            value = kind % 3 != 0 ? passed.mEvent.mValue : value + ((kind == 3) == passed.mIsForward ? 1 : -1);
        }
        ChasedState chased = StateAt(session, start);
        for (State* const stateP : {&state, &chased.mState})
            std::erase_if(*stateP, [](const auto& entry) { return entry.second == 0; });
        ASSERT_EQ(state, chased.mState) << start;
    }
}

} // namespace
