// What a player needs of the time that a block of sound lasts.

#include "RatioReporter.h"

#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_EventTypes.h"
#include "MdidHost/Play/MdidHost_Player.h"

#include <algorithm>
#include <ctime>
#include <random>

namespace
{

constexpr int kNumTracks = 64;
constexpr int kNumEvents = 1'000'000;
constexpr int kBlockSize = 512;
constexpr std::int64_t kSampleRate = 48'000;
constexpr std::int64_t kLength = 300 * kSampleRate;
constexpr std::int64_t kTicksBetween = kLength * 40 / (kNumEvents / kNumTracks); // the events of a track
constexpr double kNanosecondsOfBlock = 1e9 * kBlockSize / kSampleRate;

// Half of them notes of up to a second, half of them values of ten lanes.
MdidHost_Session MakeSession()
{
    std::mt19937 random(1);
    MdidHost_Session session;
    for (int i = 0; i < kNumTracks; ++i)
    {
        MdidHost_Track& track = session.mTracks.emplace_back();
        track.mChannel = i % 16;
        track.mChunk = Mdid_ChunkRef(Mdid_Chunk::New(Ndo_Object::kNotUndoable, false));
        for (int n = 0; n < kNumEvents / kNumTracks; ++n)
        {
            const Time_Typed time(n * kTicksBetween + static_cast<int>(random() % 20), Time_EType::kTick);
            const auto value = static_cast<signed char>(1 + random() % 127);
            const Time_TypedLength duration(static_cast<int>(random() % 1'920'000), Time_EType::kTick);
            if (n % 2 == 0)
                track.mChunk->AddEvent(Mdid_NoteWithDurationExtendedEvent(
                                           time, Mdid_NoteWithDurationEvent(0, value, duration, 80, 64), false),
                                       Mdie_SubStream::kOrdinary);
            else
                track.mChunk->FindOrCreateContinuousStream(Mdie_SubStream::Controller(1 + n / 2 % 10))
                    ->AddBreakpoint(time, value);
        }
    }
    return session;
}

class Counter : public MdidHost_PlaySink
{
public:
    void Receive(const MdidHost_PlayedEvent& iEvent) override { mSum += iEvent.mSample; }
    std::int64_t mSum = 0;
};

// Of the thread: what others do meanwhile does not count.
double ThreadNanoseconds()
{
    std::timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return 1e9 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec);
}

// In percent; the best of three, as the rest is noise of the machine.
double WorstBlock(const MdidHost_PlayOptions& iOptions)
{
    static const MdidHost_Session session = MakeSession();
    double best = 1e9;
    for (int round = 0; round < 3; ++round)
    {
        MdidHost_Player player(session, iOptions);
        Counter counter;
        double worst = 0;
        double before = ThreadNanoseconds();
        while (player.Render(counter))
        {
            const double now = ThreadNanoseconds();
            worst = std::max(worst, now - before);
            before = now;
        }
        benchmark::DoNotOptimize(counter.mSum);
        best = std::min(best, worst);
    }
    return 100 * best / kNanosecondsOfBlock;
}

double WorstBlockOfPlay()
{
    MdidHost_PlayOptions options;
    options.mBlockSize = kBlockSize;
    return WorstBlock(options);
}

double WorstBlockWithJump()
{
    MdidHost_PlayOptions options;
    options.mBlockSize = kBlockSize;
    options.mStart = kLength / 2;
    options.mEnd = options.mStart + 10 * kSampleRate;
    options.mLoops = {{options.mStart, options.mStart + kSampleRate, 20}};
    return WorstBlock(options);
}

const Bound sPlay("Player/worst block of 64 tracks with 1,000,000 events, % of its time", 5.0, WorstBlockOfPlay);
const Bound sJump("Player/worst block with a jump, % of its time", 15.0, WorstBlockWithJump);

} // namespace
