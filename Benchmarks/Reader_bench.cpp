// Reading a Standard MIDI File, against a scan of the same bytes that only steps over them.

#include "RatioReporter.h"

#include "CFnd/Cmn_InStream.h"
#include "Mdid/Mdi_MidiFileParser.h"
#include "Mdid/Mdie_TimedEvent.h"

#include <cstdint>
#include <random>
#include <vector>

namespace
{

using Bytes = std::vector<unsigned char>;

constexpr int kNumTracks = 16;
constexpr int kNumEvents = 1'000'000;

void AppendBigEndian(Bytes& ioBytes, std::uint32_t iValue, int iSize)
{
    for (int shift = 8 * (iSize - 1); shift >= 0; shift -= 8)
        ioBytes.push_back(static_cast<unsigned char>(iValue >> shift));
}

void AppendVariableLength(Bytes& ioBytes, std::uint32_t iValue)
{
    for (int shift = 21; shift > 0; shift -= 7)
        if (iValue >> shift != 0)
            ioBytes.push_back(static_cast<unsigned char>(0x80 | (iValue >> shift & 0x7F)));
    ioBytes.push_back(static_cast<unsigned char>(iValue & 0x7F));
}

// Notes mostly, some controllers, bends and pressure, running status wherever it can be.
Bytes MakeTrack(int iNumEvents, std::mt19937& ioRandom)
{
    static constexpr std::array<unsigned char, 16> kStatuses{0x90, 0x90, 0x90, 0x90, 0x90, 0x90, 0x90, 0x80,
                                                             0x80, 0x80, 0xB0, 0xB0, 0xB0, 0xE0, 0xD0, 0xC0};
    Bytes track;
    unsigned char runningStatus = 0;
    for (int i = 0; i < iNumEvents; ++i)
    {
        const auto longest = ioRandom() % 4 == 0 ? 2000 : 100;
        AppendVariableLength(track, static_cast<std::uint32_t>(ioRandom() % longest));
        const unsigned char status = kStatuses[ioRandom() % kStatuses.size()];
        if (status != runningStatus)
            track.push_back(runningStatus = status);
        track.push_back(static_cast<unsigned char>(ioRandom() % 120));
        if ((status & 0xE0) != 0xC0)
            track.push_back(static_cast<unsigned char>(ioRandom() % 128));
    }
    track.insert(track.end(), {0x00, 0xFF, 0x2F, 0x00});
    return track;
}

const Bytes& File()
{
    static const Bytes file = []
    {
        std::mt19937 random(1);
        Bytes bytes{'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 1, 0, kNumTracks, 1, 0xE0};
        for (int i = 0; i < kNumTracks; ++i)
        {
            const Bytes track = MakeTrack(kNumEvents / kNumTracks, random);
            bytes.insert(bytes.end(), {'M', 'T', 'r', 'k'});
            AppendBigEndian(bytes, static_cast<std::uint32_t>(track.size()), 4);
            bytes.insert(bytes.end(), track.begin(), track.end());
        }
        return bytes;
    }();
    return file;
}

// The least that any reader must do: deltas, running status, lengths. It trusts the file.
template <class OnEvent>
void Scan(const Bytes& iFile, OnEvent iOnEvent)
{
    const unsigned char* p = iFile.data() + 14;
    const unsigned char* const endP = iFile.data() + iFile.size();
    while (p < endP)
    {
        const std::uint32_t length = static_cast<std::uint32_t>(p[4]) << 24 | p[5] << 16 | p[6] << 8 | p[7];
        p += 8;
        const unsigned char* const trackEndP = p + length;
        std::uint32_t time = 0;
        unsigned char status = 0;
        while (p < trackEndP)
        {
            std::uint32_t delta = 0;
            unsigned char byte = 0;
            do
            {
                byte = *p++;
                delta = delta << 7 | (byte & 0x7Fu);
            } while (byte >= 0x80);
            time += delta;
            if (*p == 0xFF)
            {
                p += 3 + p[2];
                continue;
            }
            if (*p >= 0x80)
                status = *p++;
            iOnEvent(time, status, p);
            p += (status & 0xE0) == 0xC0 ? 1 : 2;
        }
    }
}

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
    const Bytes& file = File();
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
    const Bytes& file = File();
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
    const Bytes& file = File();
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
    const Bytes& file = File();
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
