#include "MdidHost/Import/MdidHost_OpenSession.h"
#include "MdidHost/Play/MdidHost_LivePlay.h"

#include <chrono>
#include <gtest/gtest.h>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using Clock = std::chrono::steady_clock;

struct Recorder : MdidHost_MessageSink
{
    std::vector<std::vector<unsigned char>> mMessages;
    std::vector<Clock::time_point> mTimes;
    std::atomic<bool> mIsToStop = false;
    std::size_t mStopBehind = 0; // so many messages; 0: never
    bool mThrows = false;

    void Send(std::span<const unsigned char> i) override
    {
        mMessages.emplace_back(i.begin(), i.end());
        mTimes.push_back(Clock::now());
        if (mStopBehind == 0 || mMessages.size() != mStopBehind)
            return;
        mIsToStop = true;
        if (mThrows)
            throw std::runtime_error("the cable came off");
    }

    auto GetKeysDown() const
    {
        std::map<std::pair<int, int>, int> down;
        for (const auto& message : mMessages)
            if ((message[0] & 0xE0) == 0x80) // a key that was to go down may come up unheard
                down[{message[0] & 0x0F, message[1]}] += message[0] >= 0x90 && message[2] > 0 ? 1 : -1;
        std::erase_if(down, [](const auto& entry) { return entry.second <= 0; });
        return down;
    }
};

struct Elapsed : MdidHost_PlaySink
{
    std::vector<std::int64_t> mSamples; // of each message
    void Receive(const MdidHost_PlayedEvent& i) override
    {
        mSamples.insert(mSamples.end(), static_cast<std::size_t>(i.mEvent.GetNumMessages()), i.mElapsed);
    }
};

class MdidHost_LivePlay : public testing::Test
{
protected:
    // Of a fifth of a second with many notes.
    MdidHost_PlayOptions GetOptions() const
    {
        return {.mBlockSize = MdidHost_LiveBlockSize(48'000), .mStart = 1'000'000, .mEnd = 1'009'600};
    }

    MdidHost_ImportReport mReport;
    MdidHost_Session mSession = MdidHost_OpenSession(MDID_EXAMPLES "/Song/canon.mid", {}, mReport);
};

TEST_F(MdidHost_LivePlay, SendsAllWhenItIsDue)
{
    Recorder recorder;
    Elapsed atOnce;
    {
        MdidHost_Player player(mSession, GetOptions());
        while (player.Render(atOnce))
            continue;
    }
    MdidHost_Player player(mSession, GetOptions());
    const auto start = Clock::now();
    MdidHost_PlayLive(player, recorder, recorder.mIsToStop);
    const auto end = Clock::now();
    EXPECT_GE(end - start, std::chrono::milliseconds(200));
    EXPECT_TRUE(recorder.GetKeysDown().empty());
    ASSERT_EQ(recorder.mTimes.size(), atOnce.mSamples.size());
    for (std::size_t i = 0; i < atOnce.mSamples.size(); ++i)
        EXPECT_GE(recorder.mTimes[i] - start, std::chrono::microseconds(atOnce.mSamples[i] * 125 / 6)) << i;
}

TEST_F(MdidHost_LivePlay, LeavesNothingSoundingWhenItIsStoppedOrTheSinkFails)
{
    for (const bool throws : {false, true})
    {
        Recorder recorder;
        recorder.mStopBehind = 40;
        recorder.mThrows = throws;
        MdidHost_PlayOptions options = GetOptions();
        options.mEnd = 100'000'000;
        MdidHost_Player player(mSession, options);
        if (throws)
            EXPECT_THROW(MdidHost_PlayLive(player, recorder, recorder.mIsToStop), std::runtime_error);
        else
            MdidHost_PlayLive(player, recorder, recorder.mIsToStop);
        EXPECT_FALSE(player.IsPlaying());
        EXPECT_GT(recorder.mMessages.size(), recorder.mStopBehind);
        EXPECT_TRUE(recorder.GetKeysDown().empty());
    }
    Recorder recorder;
    MdidHost_Player slow(mSession, {});
    EXPECT_THROW(MdidHost_PlayLive(slow, recorder, recorder.mIsToStop), std::invalid_argument);
}

} // namespace
