// What playback costs a chase tracker for each event and each lane.

#include "RatioReporter.h"

#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdie_ChaseTracker.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace
{

constexpr int kNumTracked = 10'000'000;
constexpr int kNumRounds = 5;

const Mdie_ChaseTrackerMap& Map()
{
    static const Mdie_ChaseTrackerMap map;
    return map;
}

// Nanoseconds for one call of iTrack(n), the best of several rounds.
template <class Track>
double NanosecondsOf(Track iTrack)
{
    using Clock = std::chrono::steady_clock;
    double best = 1e9;
    for (int round = 0; round < kNumRounds; ++round)
    {
        const auto start = Clock::now();
        for (int i = 0; i < kNumTracked; ++i)
            iTrack(static_cast<unsigned>(i));
        const std::chrono::duration<double, std::nano> spent = Clock::now() - start;
        best = std::min(best, spent.count() / kNumTracked);
    }
    return best;
}

double TrackEvent()
{
    const std::array<Mdid_Event, 8> events = {Mdid_ControllerEvent(0, 1, 5),    Mdid_PitchBendEvent(0, 100),
                                              Mdid_ControllerEvent(0, 64, 127), Mdid_ProgramEvent(0, 5, 0),
                                              Mdid_MonoPressureEvent(0, 7),     Mdid_NoteOnEvent(0, 60, 80),
                                              Mdid_ControllerEvent(0, 119, 9),  Mdid_PolyPressureEvent(0, 1, 2)};
    Mdie_ChaseTracker tracker(&Map(), 16, false);
    return NanosecondsOf(
        [&](unsigned i)
        {
            tracker.TrackEvent(events[i % events.size()]);
            benchmark::ClobberMemory();
        });
}

double SetActiveValueIfLater()
{
    std::array<Mdie_SubStream, 8> lanes = {
        Mdie_SubStream::Controller(1), Mdie_SubStream::PitchBend(),      Mdie_SubStream::Controller(64),
        Mdie_SubStream::Program(),     Mdie_SubStream::MonoPressure(),   Mdie_SubStream::Controller(7),
        Mdie_SubStream::Controller(0), Mdie_SubStream::PolyPressure(60),
    };
    Mdie_ChaseTracker tracker(&Map(), 16, false);
    Mdie_ChaseView& view = tracker; // as lanes see it
    return NanosecondsOf(
        [&](unsigned i)
        {
            const Time_Typed time(i ^ 0x55, Time_EType::kTick);
            view.SetActiveValueIfLater(lanes[i % lanes.size()], static_cast<int>(i & 0x7F), time, 0);
            benchmark::ClobberMemory();
        });
}

const Bound sTrackEvent("Chase/track an event, ns", 10.0, TrackEvent);
const Bound sSetActiveValueIfLater("Chase/set a value if it is later, ns", 10.0, SetActiveValueIfLater);

} // namespace
