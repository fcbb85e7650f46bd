// The notes in progress of a track: taking note of events as they are sent, and the transition at a jump.

#include "RatioReporter.h"

#include "MFnd/Mem2_MasterAllocator.h"
#include "Mdid/Mdi_Parse.h"
#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdie_NoteInProgress.h"
#include "Mdid/Mdie_TimedEvent.h"
#include "Mdid/Mdie_TrackState.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <random>
#include <vector>

namespace
{

// The pool of all notes in progress while one benchmark runs.
class NotePool
{
public:
    NotePool() { Mdie_NoteInProgress::SetAllocator(&mAllocator); }
    ~NotePool() { Mdie_NoteInProgress::SetAllocator(nullptr); }
    NotePool(const NotePool&) = delete;
    NotePool& operator=(const NotePool&) = delete;

private:
    Mem2_MasterAllocator mAllocator{std::array{Mem2_MasterAllocator::SizeClass{sizeof(Mdie_NoteInProgress), 20'000}}};
};

Time_Typed Ticks(std::int64_t iCount)
{
    return {iCount, Time_EType::kTick};
}

Mdie_TimedEvent MakeNote(int iChannel, int iPitch, std::int64_t iStart, std::int64_t iDuration)
{
    return {Ticks(iStart),
            Mdid_NoteWithDurationEvent(static_cast<signed char>(iChannel), static_cast<signed char>(iPitch),
                                       {iDuration, Time_EType::kTick}, 80, 64)};
}

// Feeding

constexpr int kNumSounding = 16;
constexpr int kNumFed = 1'000'000;

// Note-offs of random notes among 16, each with a note of random duration that takes its place.
std::vector<Mdie_TimedEvent> MakeFeed()
{
    std::mt19937 random(1);
    std::vector<Mdie_TimedEvent> feed;
    while (static_cast<int>(feed.size()) < kNumFed)
    {
        const auto pitch = static_cast<signed char>(random() % kNumSounding);
        const auto time = static_cast<std::int64_t>(feed.size()) * 100;
        feed.emplace_back(Ticks(time), Mdid_NoteOffEvent(0, pitch, 64));
        feed.push_back(MakeNote(0, pitch, time, static_cast<std::int64_t>(random() % 480'000)));
    }
    return feed;
}

double NanosecondsAnEvent()
{
    const NotePool pool;
    const std::vector<Mdie_TimedEvent> feed = MakeFeed();
    Mdie_TrackState state;
    for (int pitch = 0; pitch < kNumSounding; ++pitch)
        state.ReceiveEvent(MakeNote(0, pitch, 0, 480'000), nullptr);
    double best = 1e18; // of five runs: the rest is noise of the machine
    for (int i = 0; i < 5; ++i)
    {
        const auto start = std::chrono::steady_clock::now();
        for (const Mdie_TimedEvent& event : feed)
            state.ReceiveEvent(event, nullptr);
        benchmark::DoNotOptimize(state.NextNoteOff());
        const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - start;
        best = std::min(best, took.count());
    }
    return best / kNumFed;
}

const Bound sReceive("Track state/ReceiveEvent with 16 notes sounding, ns", 40.0, NanosecondsAnEvent);

// Transitions, against sorting nothing but the keys of the notes

constexpr std::size_t kNumNotes = 200;
constexpr std::size_t kNumTransitions = 1'000;
constexpr unsigned kNumStates = 64; // with few, the processor learns the order of their notes by heart

struct Sound
{
    signed char mChannel;
    signed char mPitch;
    auto operator<=>(const Sound&) const = default;
};
using Sounds = std::array<Sound, kNumNotes>;

Sounds MakeSounds(unsigned iSeed)
{
    std::mt19937 random(iSeed);
    Sounds sounds;
    for (Sound& sound : sounds)
        sound = {static_cast<signed char>(random() % 16), static_cast<signed char>(random() % 128)};
    return sounds;
}

Mdie_TrackState MakeState(unsigned iSeed)
{
    Mdie_TrackState state;
    std::int64_t duration = kNumNotes;
    for (const Sound& sound : MakeSounds(iSeed))
        state.ReceiveEvent(MakeNote(sound.mChannel, sound.mPitch, 0, duration--), nullptr);
    return state;
}

class Counter : public Mdie_EventReceiver
{
public:
    void ReceiveEvent(const Mdid_Event& iEvent) override { mSum += iEvent.GetType(); }
    int mSum = 0;
};

void BM_Transition(benchmark::State& ioState)
{
    const NotePool pool;
    std::vector<Mdie_TrackState> states;
    for (unsigned i = 0; i < kNumStates; ++i)
        states.push_back(MakeState(i));
    Counter counter;
    for (auto _ : ioState)
        for (std::size_t i = 0; i < kNumTransitions; ++i)
            states[i % kNumStates].ComputeNoteTransitions(&states[(i + 1) % kNumStates], &counter,
                                                          Mdie_TrackState::kPlainMIDI, Ticks(0));
    benchmark::DoNotOptimize(counter.mSum);
}

void BM_SortBoth(benchmark::State& ioState)
{
    std::vector<Sounds> sounds;
    for (unsigned i = 0; i < kNumStates; ++i)
        sounds.push_back(MakeSounds(i));
    for (auto _ : ioState)
        for (std::size_t i = 0; i < kNumTransitions; ++i)
            for (Sounds copy : {sounds[i % kNumStates], sounds[(i + 1) % kNumStates]})
            {
                std::ranges::sort(copy);
                benchmark::DoNotOptimize(copy.data());
            }
}

const Ratio sTransition("Track state/transition, 200 against 200 notes", 2.0, BM_Transition, BM_SortBoth);

} // namespace
