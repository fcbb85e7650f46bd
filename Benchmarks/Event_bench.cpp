// Copying events, of which none is a long system-exclusive one, against copying their bytes.

#include "RatioReporter.h"

#include "Mdid/Mdid_EventTypes.h"

#include <cstring>
#include <memory>
#include <vector>

namespace
{

constexpr std::size_t kNumEvents = 1'000'000;

const std::vector<Mdid_Event>& Events()
{
    static const std::vector<Mdid_Event> events = []
    {
        std::vector<Mdid_Event> made;
        for (std::size_t i = 0; i < kNumEvents; ++i)
        {
            const auto number = static_cast<signed char>(i % 120);
            if (i % 3 == 0)
                made.push_back(Mdid_ControllerEvent(0, 7, number));
            else
                made.push_back(
                    Mdid_NoteWithDurationEvent(0, number, Time_TypedLength(480000, Time_EType::kTick), 80, 64));
        }
        return made;
    }();
    return events;
}

// None of the copies owns anything, so they need not be destroyed.
void BM_CopyConstruct(benchmark::State& ioState)
{
    const std::vector<Mdid_Event>& events = Events();
    const std::unique_ptr<unsigned char[]> memory(new unsigned char[kNumEvents * sizeof(Mdid_Event)]);
    for (auto _ : ioState)
    {
        std::uninitialized_copy(events.begin(), events.end(), reinterpret_cast<Mdid_Event*>(memory.get()));
        benchmark::DoNotOptimize(memory.get());
        benchmark::ClobberMemory();
    }
    ioState.SetItemsProcessed(ioState.iterations() * static_cast<std::int64_t>(kNumEvents));
}

void BM_Assign(benchmark::State& ioState)
{
    const std::vector<Mdid_Event>& events = Events();
    std::vector<Mdid_Event> copies(kNumEvents);
    for (auto _ : ioState)
    {
        copies.assign(events.begin(), events.end());
        benchmark::DoNotOptimize(copies.data());
        benchmark::ClobberMemory();
    }
    ioState.SetItemsProcessed(ioState.iterations() * static_cast<std::int64_t>(kNumEvents));
}

void BM_CopyBytes(benchmark::State& ioState)
{
    const std::vector<Mdid_Event>& events = Events();
    std::vector<unsigned char> copies(kNumEvents * sizeof(Mdid_Event));
    for (auto _ : ioState)
    {
        std::memcpy(copies.data(), events.data(), copies.size());
        benchmark::DoNotOptimize(copies.data());
        benchmark::ClobberMemory();
    }
    ioState.SetItemsProcessed(ioState.iterations() * static_cast<std::int64_t>(kNumEvents));
}

const Ratio sCopy("Events/copy", 1.5, BM_CopyConstruct, BM_CopyBytes);
const Ratio sAssign("Events/copy over others", 1.5, BM_Assign, BM_CopyBytes);

} // namespace
