// Dragging the position over a scrub list.

#include "RatioReporter.h"

#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_ScrubList.h"
#include "Mdid/Mdie_TimedEvent.h"

#include <algorithm>
#include <chrono>
#include <random>

namespace
{

constexpr auto kTick = Time_EType::kTick;
constexpr std::int64_t kSpacing = 60000;
constexpr int kNumTurns = 100;

// Notes that overlap a few others each, and a pitch bend for every fourth of them.
Mdid_ScrubList MakeList(int iNumNotes)
{
    std::mt19937 random(1);
    std::uniform_int_distribution<std::int64_t> duration(1, 8 * kSpacing);
    Mdid_ScrubList list;
    for (int i = 0; i < iNumNotes; ++i)
    {
        const Time_Typed time(i * kSpacing, kTick);
        list.AddNote({time, Mdid_NoteWithDurationEvent(0, 60, {duration(random), kTick}, 80, 64)}, true);
        if (i % 4 == 0)
            list.AddPitchBend({time, Mdid_PitchBendEvent(0, 0)}, 100, true);
    }
    return list;
}

// Forth by a tenth of the list and back by half of that, until the end is reached, then all the way back.
int DragOver(Mdid_ScrubList& ioList, int iNumNotes)
{
    int numCalls = 0;
    const auto drag = [&](std::int64_t iTime)
    {
        do
            ++numCalls;
        while (ioList.MoveTowards(Time_Typed(iTime, kTick)) != nullptr);
    };
    const std::int64_t tenth = iNumNotes * kSpacing / 10;
    for (std::int64_t time = tenth; time <= iNumNotes * kSpacing; time += tenth / 2)
    {
        drag(time);
        drag(time - tenth / 2);
    }
    drag(0);
    return numCalls;
}

// Of five runs: the rest is noise of the machine.
template <int kNumNotes>
double NanosecondsACall()
{
    using Clock = std::chrono::steady_clock;
    Mdid_ScrubList list = MakeList(kNumNotes);
    double best = 1e18;
    for (int i = 0; i < 5; ++i)
    {
        const auto start = Clock::now();
        int numCalls = 0;
        for (int turn = 0; turn < kNumTurns * 1000 / kNumNotes; ++turn)
            numCalls += DragOver(list, kNumNotes);
        best = std::min(best, std::chrono::duration<double, std::nano>(Clock::now() - start).count() / numCalls);
    }
    return best;
}

const Bound sThousand("Scrub/a step among 1,000 notes, ns", 10.0, NanosecondsACall<1'000>);
const Bound sHundredThousand("Scrub/a step among 100,000 notes, ns", 10.0, NanosecondsACall<100'000>);

} // namespace
