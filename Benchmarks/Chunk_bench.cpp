// The chunk: saved and loaded against the same bytes copied, its merged walk against std::merge, its range query
// against itself at a hundredth of the size.

#include "RatioReporter.h"

#include "CFnd/Sys_FileStream.h"
#include "CFnd/Sys_TypedStream.h"
#include "Mdid/Mdid_Chunk.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{

constexpr int kMillion = 1'000'000;
constexpr std::int64_t kTicksPerBar = 3'840'000;
constexpr std::int64_t kSpacing = kTicksPerBar / 10; // ten notes and ten breakpoints a bar

Time_Typed Tick(std::int64_t iTick)
{
    return Time_Typed(iTick, Time_EType::kTick);
}

void AddNotes(Mdid_Chunk& ioChunk, int iCount)
{
    for (int i = 0; i < iCount; ++i)
    {
        const Mdid_NoteWithDurationEvent note(0, static_cast<signed char>(i % 120),
                                              Time_TypedLength(480'000, Time_EType::kTick), 80, 64);
        ioChunk.AddEvent(Mdid_NoteWithDurationExtendedEvent(Tick(i * kSpacing), note, false),
                         Mdie_SubStream::kOrdinary);
    }
}

void AddBreakpoints(Mdid_Chunk& ioChunk, int iNumLanes, int iCount)
{
    for (int i = 0; i < iCount; ++i)
    {
        const Mdid_ControllerEvent event(0, static_cast<signed char>(1 + i % iNumLanes),
                                         static_cast<signed char>(i % 128));
        ioChunk.AddEvent(Mdid_ExtendedEvent(Tick(i * kSpacing), event), Mdie_SubStream::kOrdinary);
    }
}

Ndo_unique_ptr<Mdid_Chunk> MakeChunk(int iNumNotes, int iNumLanes, int iNumBreakpoints)
{
    auto chunk = Mdid_Chunk::MakeUnique(Ndo_Object::kNotUndoable, false);
    AddNotes(*chunk, iNumNotes);
    AddBreakpoints(*chunk, iNumLanes, iNumBreakpoints);
    return chunk;
}

// Saving and loading

class File
{
public:
    explicit File(const std::string& iName)
        : mPath(std::filesystem::temp_directory_path() / (iName + std::to_string(::getpid()) + ".mdchun"))
    {
    }
    ~File() { std::filesystem::remove(mPath); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    std::string GetPath() const { return mPath.string(); }

private:
    std::filesystem::path mPath;
};

void Save(const Mdid_Chunk& iChunk, const std::string& iPath)
{
    Sys_FileOutStream stream(iPath);
    Sys_TypedOutStream typed(stream);
    iChunk.StreamOut(typed);
    stream.Commit();
}

Mdid_Chunk& BigChunk()
{
    static const auto chunk = MakeChunk(kMillion, 32, kMillion);
    return *chunk;
}

// BigChunk, saved.
const File& BigFile()
{
    static const File file("mdid_bench_whole");
    static const bool isSaved = (Save(BigChunk(), file.GetPath()), true);
    static_cast<void>(isSaved);
    return file;
}

using Buffer = std::unique_ptr<unsigned char[]>;

Buffer ReadWhole(const std::string& iPath, std::size_t& oSize)
{
    Sys_FileInStream stream(iPath);
    oSize = static_cast<std::size_t>(stream.GetLength());
    Buffer bytes(new unsigned char[oSize]);
    stream.ReadBlock(bytes.get(), oSize);
    return bytes;
}

Buffer CopyOf(const Buffer& iBytes, std::size_t iSize)
{
    Buffer copy(new unsigned char[iSize]);
    std::memcpy(copy.get(), iBytes.get(), iSize);
    return copy;
}

void BM_Save(benchmark::State& ioState)
{
    const File file("mdid_bench_saved");
    const Mdid_Chunk& chunk = BigChunk();
    for (auto _ : ioState)
        Save(chunk, file.GetPath());
}

void BM_CopyAndWrite(benchmark::State& ioState)
{
    std::size_t size = 0;
    const Buffer bytes = ReadWhole(BigFile().GetPath(), size);
    const File file("mdid_bench_saved");
    for (auto _ : ioState)
    {
        const Buffer copy = CopyOf(bytes, size);
        Sys_FileOutStream stream(file.GetPath());
        stream.WriteBlock(copy.get(), size);
        stream.Commit();
    }
}

void BM_Load(benchmark::State& ioState)
{
    const std::string path = BigFile().GetPath();
    for (auto _ : ioState)
    {
        Sys_FileInStream stream(path);
        Sys_TypedInStream typed(stream);
        const Ndo_unique_ptr<Mdid_Chunk> chunk(Mdid_Chunk::StreamIn(typed, Ndo_Object::kNotUndoable, false));
        benchmark::DoNotOptimize(chunk->GetNoteList()->Size());
    }
}

void BM_ReadAndCopy(benchmark::State& ioState)
{
    const std::string path = BigFile().GetPath();
    for (auto _ : ioState)
    {
        std::size_t size = 0;
        const Buffer bytes = ReadWhole(path, size);
        const Buffer copy = CopyOf(bytes, size);
        benchmark::DoNotOptimize(copy[size - 1]);
    }
}

const Ratio sSave("Chunk/save, by copy and write", 3.0, BM_Save, BM_CopyAndWrite, Ratio::Clock::kWall);
const Ratio sLoad("Chunk/load, by read and copy", 3.0, BM_Load, BM_ReadAndCopy, Ratio::Clock::kWall);

// The merged walk

const Mdid_Chunk& LanesOnly()
{
    static const auto chunk = MakeChunk(0, 32, kMillion);
    return *chunk;
}

std::int64_t WalkAll(const Mdid_Chunk& iChunk)
{
    std::int64_t sum = 0;
    for (auto iter = iChunk.begin(); iter != iChunk.end(); ++iter)
    {
        const Mdid_ExtendedEvent event = *iter;
        sum += event.GetTime().AsInt64() + event.GetEvent().GetType();
    }
    return sum;
}

void BM_Walk(benchmark::State& ioState)
{
    const Mdid_Chunk& chunk = LanesOnly();
    for (auto _ : ioState)
        benchmark::DoNotOptimize(WalkAll(chunk));
    ioState.SetItemsProcessed(ioState.iterations() * kMillion);
}

void BM_MergeTwoHalves(benchmark::State& ioState)
{
    std::vector<Mdid_ExtendedEvent> halves[2];
    int number = 0;
    for (const Mdid_ExtendedEvent& event : LanesOnly().MakeRange())
        halves[number++ % 2].push_back(event);
    std::vector<Mdid_ExtendedEvent> merged(static_cast<std::size_t>(number));
    for (auto _ : ioState)
    {
        std::merge(halves[0].begin(), halves[0].end(), halves[1].begin(), halves[1].end(), merged.begin(),
                   [](const Mdie_TimedEvent& iA, const Mdie_TimedEvent& iB) { return iA.GetTime() < iB.GetTime(); });
        benchmark::DoNotOptimize(merged.data());
    }
    ioState.SetItemsProcessed(ioState.iterations() * kMillion);
}

const Ratio sWalk("Chunk/merged walk over 32 lanes", 6.0, BM_Walk, BM_MergeTwoHalves);

// Of five runs: the rest is noise of the machine.
template <class Function>
double BestNanosecondsOf(Function iFunction)
{
    using Clock = std::chrono::steady_clock;
    double best = 1e18;
    for (int i = 0; i < 5; ++i)
    {
        const auto start = Clock::now();
        iFunction();
        best = std::min(best, std::chrono::duration<double, std::nano>(Clock::now() - start).count());
    }
    return best;
}

double NanosecondsAnEvent()
{
    return BestNanosecondsOf([] { benchmark::DoNotOptimize(WalkAll(LanesOnly())); }) / kMillion;
}

const Bound sWalkStep("Chunk/merged walk over 32 lanes, ns an event", 60.0, NanosecondsAnEvent);

// One bar

constexpr int kNumQueries = 1000;
constexpr int kNumEventsInBar = 20;

// Bars all over the chunk.
void QueryBars(const Mdid_Chunk& iChunk, int iNumEvents)
{
    const std::int64_t numBars = iNumEvents / kNumEventsInBar;
    Mdid_ExtendedEventList list;
    for (int i = 0; i < kNumQueries; ++i)
    {
        list.clear();
        Mdid_EventListWrapper wrapper(list);
        const std::int64_t bar = i * 7919LL % numBars;
        Mdid_ChunkQuery query;
        query.mStart = Tick(bar * kTicksPerBar);
        query.mEnd = Tick((bar + 1) * kTicksPerBar);
        iChunk.GetMidiEventsInRange(&wrapper, query);
        benchmark::DoNotOptimize(list.size());
    }
}

// The least that finds the same: two binary searches in each list.
void SearchBars(const Mdid_Chunk& iChunk, int iNumEvents)
{
    using Segment = Mdid_ContinuousDataStreamCore::Segment;
    const std::int64_t numBars = iNumEvents / kNumEventsInBar;
    for (int i = 0; i < kNumQueries; ++i)
    {
        const std::int64_t bar = i * 7919LL % numBars;
        std::ptrdiff_t count = 0;
        for (const Time_Typed end : {Tick(bar * kTicksPerBar), Tick((bar + 1) * kTicksPerBar)})
        {
            count += &*std::ranges::lower_bound(*iChunk.GetNoteList(), end, {}, &Mdie_TimedEvent::GetTime) -
                     &*iChunk.GetNoteList()->begin();
            for (const auto& lane : *iChunk.GetContinuousList())
                count += std::ranges::lower_bound(lane->GetSegments(), end, {}, &Segment::mTime) -
                         lane->GetSegments().begin();
        }
        benchmark::DoNotOptimize(count);
    }
}

const Mdid_Chunk& ChunkOfBars()
{
    static const auto chunk = MakeChunk(kMillion / 2, 10, kMillion / 2);
    return *chunk;
}

void BM_QueryBars(benchmark::State& ioState)
{
    const Mdid_Chunk& chunk = ChunkOfBars();
    for (auto _ : ioState)
        QueryBars(chunk, kMillion);
    ioState.SetItemsProcessed(ioState.iterations() * kNumQueries);
}

void BM_SearchBars(benchmark::State& ioState)
{
    const Mdid_Chunk& chunk = ChunkOfBars();
    for (auto _ : ioState)
        SearchBars(chunk, kMillion);
    ioState.SetItemsProcessed(ioState.iterations() * kNumQueries);
}

const Ratio sBar("Chunk/a bar of 1,000,000, by searches", 4.0, BM_QueryBars, BM_SearchBars);

double MicrosecondsABar()
{
    return BestNanosecondsOf([] { QueryBars(ChunkOfBars(), kMillion); }) / kNumQueries / 1000;
}

const Bound sBarTime("Chunk/a bar of 1,000,000, microseconds", 20.0, MicrosecondsABar);

} // namespace
