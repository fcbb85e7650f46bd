// Importing a Standard MIDI File into chunks, against a scan of the same bytes, and how it grows.

#include "MidiFileOfEvents.h"
#include "RatioReporter.h"

#include "MdidHost/Import/MdidHost_Import.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <numeric>

namespace
{

using namespace MidiFileOfEvents;

// Returns the notes and breakpoints, so that nothing is left out.
std::size_t Import(const Bytes& iFile)
{
    MdidHost_ImportReport report;
    const MdidHost_Session session = MdidHost_ImportMidiFile(std::make_unique<Sys_MemoryInStream>(iFile), {}, report);
    return session.mTracks.size();
}

void BM_Import(benchmark::State& ioState)
{
    const Bytes& file = OfAMillion();
    for (auto _ : ioState)
        benchmark::DoNotOptimize(Import(file));
    ioState.SetItemsProcessed(ioState.iterations() * kMillion);
}

void BM_Scan(benchmark::State& ioState)
{
    const Bytes& file = OfAMillion();
    for (auto _ : ioState)
    {
        std::int64_t sum = 0;
        Scan(file, [&](std::uint32_t time, unsigned char status, const unsigned char* data)
             { sum += time + status + data[0]; });
        benchmark::DoNotOptimize(sum);
    }
    ioState.SetItemsProcessed(ioState.iterations() * kMillion);
}

const Ratio sImport("Import/a million events, by a scan", 30.0, BM_Import, BM_Scan);

double SecondsFor(const Bytes& iFile)
{
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    benchmark::DoNotOptimize(Import(iFile));
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The best of three: the rest is noise of the machine.
double BestSecondsFor(const Bytes& iFile)
{
    return std::min({SecondsFor(iFile), SecondsFor(iFile), SecondsFor(iFile)});
}

// Time an event at 10,000,000 events by time an event at 1,000,000: 1 is linear.
double GrowthToTenMillion()
{
    return BestSecondsFor(Make(10 * kMillion)) / BestSecondsFor(OfAMillion()) / 10;
}

// All notes of one track begin first and end in an order of their own; twice the notes by once the notes, halved.
Bytes MakeNested(int iNumNotes)
{
    Bytes track;
    for (const unsigned char status : Bytes{0x90, 0x80})
        for (int i = 0; i < iNumNotes; ++i)
        {
            track.push_back(1);
            track.push_back(status);
            const int number = status == 0x90 ? i : iNumNotes - 1 - i;
            track.push_back(static_cast<unsigned char>(number % 128));
            track.push_back(64);
        }
    track.insert(track.end(), {0x00, 0xFF, 0x2F, 0x00});
    Bytes bytes{'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 0, 0, 1, 1, 0xE0, 'M', 'T', 'r', 'k'};
    AppendBigEndian(bytes, static_cast<std::uint32_t>(track.size()), 4);
    bytes.insert(bytes.end(), track.begin(), track.end());
    return bytes;
}

double GrowthOfNestedNotes()
{
    constexpr int kNotes = kMillion / 2;
    return BestSecondsFor(MakeNested(4 * kNotes)) / BestSecondsFor(MakeNested(kNotes)) / 4;
}

const Bound sGrowth("Import/time an event, 10,000,000 by 1,000,000", 2.0, GrowthToTenMillion);
const Bound sNested("Import/all notes sound at once, time a note, 4 times as many", 2.0, GrowthOfNestedNotes);

} // namespace
