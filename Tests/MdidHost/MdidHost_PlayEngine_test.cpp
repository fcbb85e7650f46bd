#include "Mdid/Mdid_Chunk.h"
#include "MdidHost/Edit/MdidHost_Clip.h"
#include "MdidHost/Import/MdidHost_OpenSession.h"
#include "MdidHost/Play/MdidHost_Player.h"
#include "MdidHost/Text/MdidHost_Text.h"
#include "Support/AllocationCounter.h"
#include "Support/ScopedAllowMPE.h"

#include <gtest/gtest.h>
#include <map>
#include <stdexcept>

namespace
{

constexpr auto Samples = [](std::int64_t i) { return Time_Typed(i, Time_EType::kSample); };

MdidHost_Session SessionWithOneTrack()
{
    MdidHost_Session session;
    MdidHost_Track& track = session.mTracks.emplace_back();
    track.mChannel = 0;
    track.mChunk = Mdid_ChunkRef(Mdid_Chunk::New(Ndo_Object::kNotUndoable, false));
    return session;
}

void AddNote(MdidHost_Session& ioSession, std::int64_t iStart, std::int64_t iEnd, int iPitch, int iChannel = 0)
{
    const Mdid_NoteWithDurationEvent note(static_cast<signed char>(iChannel), static_cast<signed char>(iPitch),
                                          {iEnd - iStart, Time_EType::kSample}, 80, 64);
    ioSession.mTracks[0].mChunk->AddEvent(Mdid_NoteWithDurationExtendedEvent(Samples(iStart), note, false),
                                          Mdie_SubStream::kOrdinary);
}

// An instrument whose keys do not count.
struct Keys : MdidHost_PlaySink
{
    std::map<std::pair<int, int>, bool> mIsDown;
    std::vector<std::int64_t> mOns;
    std::int64_t mElapsed = 0;

    void Receive(const MdidHost_PlayedEvent& i) override
    {
        EXPECT_GE(i.mElapsed, std::exchange(mElapsed, i.mElapsed));
        if (i.mEvent.GetType() == Mdid_Event::kNoteOff)
            mIsDown[{i.mEvent.GetChannel(), i.mEvent.As<Mdid_NoteOffEvent>().GetPitch()}] = false;
        if (i.mEvent.GetType() == Mdid_Event::kNoteOn)
        {
            mIsDown[{i.mEvent.GetChannel(), i.mEvent.As<Mdid_NoteOnEvent>().GetPitch()}] = true;
            mOns.push_back(i.mSample);
        }
    }
    std::ptrdiff_t CountDown() const
    {
        return std::ranges::count_if(mIsDown, [](const auto& key) { return key.second; });
    }
};

TEST(MdidHost_PlayEngine, TakesNoMemoryAndNoLockThroughWholeSongs)
{
    struct : MdidHost_PlaySink
    {
        void Receive(const MdidHost_PlayedEvent&) override { ++mCount; }
        int mCount = 0;
    } sink;
    const ScopedAllowMPE option(true);
    for (const bool isMPE : {false, true})
    {
        MdidHost_ImportReport report;
        MdidHost_Session session = MdidHost_OpenSession(MDID_EXAMPLES "/Song/canon.mid", {false, isMPE}, report);
        if (isMPE)
            MdidHost_ClipSession(session, Samples(500'001), Samples(2'000'003));
        MdidHost_PlayOptions options;
        options.mJumps = {{400'000, 1'500'000}, {1'600'000, 300'000}, {900'001, 50'000}};
        options.mLoops = {{600'000, 700'077, 4}, {1'900'000, 3'000'000, 2}};
        MdidHost_Player player(session, options);
        const AllocationCounter counter;
        for (int block = 0; player.Render(sink); ++block)
            player.SetMuted(static_cast<std::size_t>(block / 16 % 7), block / 112 % 2 == 0);
        EXPECT_EQ(counter.GetSystemCalls() + counter.GetCount(), 0);
        EXPECT_GT(std::exchange(sink.mCount, 0), 1000);
    }
}

TEST(MdidHost_PlayEngine, LoopsAndJumpsFromBehindEverythingAndAcrossAStop)
{
    MdidHost_Session session = SessionWithOneTrack();
    AddNote(session, 10, 50, 60);
    MdidHost_PlayOptions options;
    options.mBlockSize = 100;
    options.mLoops = {{0, 200, 3}};
    MdidHost_Player player(session, options);
    Keys keys;
    EXPECT_EQ(player.GetEnd(), 200);
    for (int i = 0; player.Render(keys); ++i)
        if (i == 1) // a block has ended where the loop ends
            player.Stop(keys);
    EXPECT_EQ(keys.mOns, (std::vector<std::int64_t>{10, 10, 10}));
    EXPECT_EQ(player.GetElapsed(), 600);
}

// Records all, and throws at one.
struct ThrowingSink : MdidHost_PlaySink
{
    using Played = std::tuple<std::int64_t, std::int64_t, int, std::string>; // sample, elapsed, track, bytes
    std::vector<Played> mPlayed;
    std::size_t mThrowAt = 0; // 0: at none

    void Receive(const MdidHost_PlayedEvent& i) override
    {
        mPlayed.emplace_back(i.mSample, i.mElapsed, i.mTrack, MdidHost_HexOfMessages(i.mEvent));
        if (mPlayed.size() == mThrowAt)
            throw std::runtime_error("no");
    }
};

TEST(MdidHost_PlayEngine, GoesOnBehindWhatASinkThrewAt)
{
    MdidHost_Session session = SessionWithOneTrack();
    for (const int number : {7, 64, 101, 6})
        session.mTracks[0].mChunk->AddEvent(
            {Samples(number), Mdid_ControllerEvent(0, static_cast<signed char>(number), 9)}, Mdie_SubStream::kOrdinary);
    for (int i = 0; i < 4; ++i)
    {
        AddNote(session, 10 + i, 120, 60 + i);
        AddNote(session, 60, 200 + i, 70 + i);
    }
    session.mTracks.push_back(session.mTracks[0]);
    std::vector<ThrowingSink::Played> plain;
    for (std::size_t throwAt = 0; throwAt <= plain.size(); ++throwAt)
    {
        MdidHost_Player player(session,
                               {.mBlockSize = 1, .mStart = 110, .mJumps = {{150, 30}}, .mLoops = {{3, 100, 2}}});
        ThrowingSink sink;
        sink.mThrowAt = throwAt;
        std::int64_t stop = 0; // elapsed
        for (bool isPlaying = true; isPlaying;)
            try
            {
                if (player.GetPosition() == 100 && player.GetElapsed() != std::exchange(stop, player.GetElapsed()))
                    player.Stop(sink); // where the loop ends
                isPlaying = player.Render(sink);
            }
            catch (const std::runtime_error&)
            {
                EXPECT_EQ(sink.mPlayed.size(), throwAt);
            }
        if (throwAt == 0)
            plain = sink.mPlayed;
        EXPECT_EQ(sink.mPlayed, plain) << throwAt;
    }
    EXPECT_GT(plain.size(), 60U);
}

TEST(MdidHost_PlayEngine, AJumpAmongMoreNotesThanATransitionPairsKeepsTheirKeysDown)
{
    MdidHost_Session session = SessionWithOneTrack();
    session.mTracks[0].mMPEMembers = 4;
    for (int i = 0; i < 384; ++i)
        for (const int start : {0, 1'000})
            AddNote(session, start, start + 500 + i % 7, i % 128, 1 + i / 128);
    MdidHost_Player player(session, {.mBlockSize = 400, .mEnd = 1'400, .mJumps = {{400, 1'100}}});
    Keys keys;
    EXPECT_TRUE(player.Render(keys) && keys.CountDown() == 384);
    keys.mIsDown.clear();
    EXPECT_TRUE(player.Render(keys));
    EXPECT_EQ(keys.CountDown(), 0) << "at the end";
    EXPECT_EQ(std::ranges::count(keys.mOns, 1'100), 384);
}

} // namespace
