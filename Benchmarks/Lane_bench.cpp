// One lane of continuous data against the algorithms of the standard library on the same breakpoints.

#include "RatioReporter.h"

#include "Mdid/Mdid_ContinuousDataStreamCore.h"

#include <algorithm>
#include <random>
#include <vector>

namespace
{

using Segment = Mdid_ContinuousDataStreamCore::Segment;

constexpr std::int64_t kNumSegments = 1'000'000;
constexpr std::int64_t kNumCopied = 100'000;
constexpr std::int64_t kSpacing = 240;

Time_Typed Tick(std::int64_t iCount)
{
    return Time_Typed(iCount, Time_EType::kTick);
}

// iCount breakpoints over the same span, none at a time of a lane of another spacing.
Mdid_ContinuousDataStreamCore MakeLane(std::int64_t iCount, std::int64_t iPhase)
{
    Mdid_ContinuousDataStreamCore lane(false);
    lane.SetSubStream(Mdie_SubStream::Controller(7));
    for (std::int64_t i = 0; i < iCount; ++i)
        lane.AddBreakpoint(Tick(i * kSpacing * (kNumSegments / iCount) + iPhase), static_cast<int>(i % 128));
    return lane;
}

std::vector<Time_Typed> RandomTimes()
{
    std::mt19937 random(1);
    std::uniform_int_distribution<std::int64_t> tick(0, kNumSegments * kSpacing);
    std::vector<Time_Typed> times(100'000);
    std::ranges::generate(times, [&] { return Tick(tick(random)); });
    return times;
}

void BM_ValueAtTime(benchmark::State& ioState)
{
    const auto lane = MakeLane(kNumSegments, 0);
    const auto times = RandomTimes();
    for (auto _ : ioState)
        for (const Time_Typed time : times)
            benchmark::DoNotOptimize(lane.GetValueAtTime(time));
}

void BM_LowerBound(benchmark::State& ioState)
{
    const auto lane = MakeLane(kNumSegments, 0);
    const auto times = RandomTimes();
    for (auto _ : ioState)
        for (const Time_Typed time : times)
            benchmark::DoNotOptimize(std::ranges::lower_bound(lane.GetSegments(), time, {}, &Segment::mTime));
}

void BM_AddFromStream(benchmark::State& ioState)
{
    const auto start = MakeLane(kNumSegments, 0);
    const auto source = MakeLane(kNumCopied, 1);
    for (auto _ : ioState)
    {
        ioState.PauseTiming();
        auto lane = start;
        ioState.ResumeTiming();
        lane.AddFromStream(&source, Tick(0), Tick(kNumSegments * kSpacing), Time_TypedLength(0, Time_EType::kTick));
        benchmark::DoNotOptimize(lane.NumSegments());
    }
}

void BM_InplaceMerge(benchmark::State& ioState)
{
    const auto start = MakeLane(kNumSegments, 0);
    std::vector<Segment> both = MakeLane(kNumCopied, 1).GetSegments();
    both.insert(both.end(), start.GetSegments().begin(), start.GetSegments().end());
    for (auto _ : ioState)
    {
        ioState.PauseTiming();
        auto merged = both;
        ioState.ResumeTiming();
        std::ranges::inplace_merge(merged, merged.begin() + kNumCopied, {}, &Segment::mTime);
        benchmark::DoNotOptimize(merged.data());
    }
}

const Ratio sValue("Lane/value at a time", 1.5, BM_ValueAtTime, BM_LowerBound);
const Ratio sAdd("Lane/add from a lane", 2.0, BM_AddFromStream, BM_InplaceMerge);

} // namespace
