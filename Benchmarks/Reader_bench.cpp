// Reading a Standard MIDI File, against a scan of the same bytes that only steps over them.

#include "MidiFileOfEvents.h"
#include "RatioReporter.h"

#include "CFnd/Cmn_InStream.h"
#include "Mdid/Mdi_MidiFileParser.h"
#include "Mdid/Mdie_TimedEvent.h"

#include <cstdint>
#include <vector>

namespace
{

using namespace MidiFileOfEvents;

constexpr int kNumEvents = kMillion;

struct CountingClient : Mdi_MidiFileParserClient
{
    void RxMidiEvent(int, const Mdid_Event&, short) override { ++mCount; }

    std::int64_t mCount = 0;
};

struct StoringClient : Mdi_MidiFileParserClient
{
    explicit StoringClient(std::vector<Mdie_TimedEvent>& oEvents) : mEvents(oEvents) {}

    void RxMidiEvent(int iTime, const Mdid_Event& iEvent, short) override
    {
        mEvents.emplace_back(Time_Typed(iTime, Time_EType::kTick), iEvent);
    }

    std::vector<Mdie_TimedEvent>& mEvents;
};

struct Record
{
    std::int64_t mTime;
    std::array<unsigned char, 32> mData;
};
static_assert(sizeof(Record) == 40);

void BM_ReadAndCount(benchmark::State& ioState)
{
    const Bytes& file = OfAMillion();
    for (auto _ : ioState)
    {
        Sys_MemoryInStream stream(file);
        CountingClient client;
        Mdi_MidiFileParser(stream, client).Parse();
        benchmark::DoNotOptimize(client.mCount);
    }
    ioState.SetItemsProcessed(ioState.iterations() * kNumEvents);
}

void BM_ScanAndCount(benchmark::State& ioState)
{
    const Bytes& file = OfAMillion();
    for (auto _ : ioState)
    {
        std::int64_t count = 0;
        Scan(file, [&](std::uint32_t, unsigned char, const unsigned char*) { ++count; });
        benchmark::DoNotOptimize(count);
    }
    ioState.SetItemsProcessed(ioState.iterations() * kNumEvents);
}

void BM_ReadAndStore(benchmark::State& ioState)
{
    const Bytes& file = OfAMillion();
    std::vector<Mdie_TimedEvent> events;
    events.reserve(kNumEvents + kNumTracks);
    for (auto _ : ioState)
    {
        events.clear();
        Sys_MemoryInStream stream(file);
        StoringClient client(events);
        Mdi_MidiFileParser(stream, client).Parse();
        benchmark::DoNotOptimize(events.data());
    }
    ioState.SetItemsProcessed(ioState.iterations() * kNumEvents);
}

void BM_ScanAndStore(benchmark::State& ioState)
{
    const Bytes& file = OfAMillion();
    std::vector<Record> records;
    records.reserve(kNumEvents + kNumTracks);
    for (auto _ : ioState)
    {
        records.clear();
        Scan(file,
             [&](std::uint32_t time, unsigned char status, const unsigned char* data) {
                 records.push_back({static_cast<std::int64_t>(time), {status, data[0], data[1]}});
             });
        benchmark::DoNotOptimize(records.data());
    }
    ioState.SetItemsProcessed(ioState.iterations() * kNumEvents);
}

const Ratio sCount("Reader/count", 2.0, BM_ReadAndCount, BM_ScanAndCount);
const Ratio sStore("Reader/store", 2.0, BM_ReadAndStore, BM_ScanAndStore);

} // namespace
