// The queries of the note list against an implicit interval tree over the same
// notes, against a scan of all of them, and against themselves at a hundredth
// of the size; and what a clip's edge costs against a copy of the notes.

#include "RatioReporter.h"

#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_NoteListIterators.h"
#include "Mdid/Mdid_NoteListTrimmedNotesContext.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <random>
#include <vector>

namespace
{

using Note = Mdid_NoteWithDurationExtendedEvent;
using Notes = std::vector<Note>;

constexpr std::int64_t kTicksPerBar = 3'840'000;
constexpr std::int64_t kLongNote = 3'840'000; // from here on a chunk takes a note for long
constexpr std::int64_t kSpacing = 122'500;    // 5.6 notes sound at a time, on the average
constexpr std::size_t kMany = 1'000'000;
constexpr std::size_t kFew = 10'000;
constexpr std::size_t kNumQueries = 100'000;

Time_Typed Tick(std::int64_t iTick)
{
    return Time_Typed(iTick, Time_EType::kTick);
}

// Up to a quarter long; one in a hundred lasts one to ten bars.
std::int64_t RandomDuration(std::mt19937& ioRandom)
{
    if (ioRandom() % 100 == 0)
        return std::uniform_int_distribution<std::int64_t>(kLongNote, 10 * kLongNote)(ioRandom);
    return std::uniform_int_distribution<std::int64_t>(1, 960'000)(ioRandom);
}

Ndo_unique_ptr<Mdid_Chunk> MakeChunk(std::size_t iNumNotes)
{
    std::mt19937 random(1);
    std::uniform_int_distribution<std::int64_t> gap(0, 2 * kSpacing);
    auto chunkP = Mdid_Chunk::MakeUnique(Ndo_Object::kNotUndoable, false);
    chunkP->GetNoteList()->Reserve(iNumNotes + 1);
    std::int64_t start = 0;
    for (std::size_t i = 0; i < iNumNotes; ++i)
    {
        const Time_TypedLength duration(RandomDuration(random), Time_EType::kTick);
        const Mdid_NoteWithDurationEvent event(0, static_cast<signed char>(i % 120), duration, 80, 64);
        chunkP->GetNoteList()->AddNote(Note(Tick(start), event, false));
        start += gap(random);
    }
    chunkP->SetClip(Sys_UUID(1, 2), [](const Sys_UUID&, Mdid_TrimmedNotesContext::Side) { return Time_Typed(); });
    return chunkP;
}

Mdid_NoteListBase& ManyNotes()
{
    static const auto chunkP = MakeChunk(kMany);
    return *chunkP->GetNoteList();
}

const Mdid_NoteListBase& FewNotes()
{
    static const auto chunkP = MakeChunk(kFew);
    return *chunkP->GetNoteList();
}

std::vector<Time_Typed> RandomTimes(const Mdid_NoteListBase& iNotes)
{
    std::mt19937 random(2);
    std::uniform_int_distribution<std::int64_t> tick(0, iNotes.Last().GetTime().AsInt64());
    std::vector<Time_Typed> times(kNumQueries);
    std::ranges::generate(times, [&] { return Tick(tick(random)); });
    return times;
}

const std::vector<Time_Typed>& TimesInMany()
{
    static const std::vector<Time_Typed> times = RandomTimes(ManyNotes());
    return times;
}

// Where a query ends that asks for the notes that sound at a time, and for
// those that overlap a bar.
constexpr Time_TypedLength kNothing(0, Time_EType::kTick);
constexpr Time_TypedLength kBar(kTicksPerBar, Time_EType::kTick);

// What a query finds, read as its user would.
struct Found
{
    std::size_t mCount = 0;
    std::int64_t mSumOfPitches = 0;

    void Add(const Note& iNote)
    {
        ++mCount;
        mSumOfPitches += iNote.GetPitch();
    }
    bool operator==(const Found&) const = default;
};

// Three ways to find the notes that sound in [iStart, iStart + iLength), or at
// iStart when there is no length.

class Queries
{
public:
    explicit Queries(const Mdid_NoteListBase& iNotes) : mNotes(iNotes) {}

    void Find(Time_Typed iStart, Time_TypedLength iLength, Found& ioFound) const
    {
        if (iLength == kNothing)
            for (const Note& note : mNotes.GetSustainingNotes(iStart))
                ioFound.Add(note);
        else
            for (const Note& note : mNotes.GetOverlappingNotesInRange(iStart, iStart + iLength))
                ioFound.Add(note);
    }

private:
    const Mdid_NoteListBase& mNotes;
};

// A balanced tree in the order of the notes: the node of a part is its middle,
// and knows the latest end in the part.
class IntervalTree
{
public:
    explicit IntervalTree(const Mdid_NoteListBase& iNotes) : mNotes(iNotes)
    {
        mNodes.reserve(iNotes.Size());
        for (const Note& note : iNotes)
            mNodes.push_back({note.GetTime().AsInt64(), note.GetEndTime().AsInt64(), 0});
        SetLatestEnds(0, mNodes.size());
    }

    void Find(Time_Typed iStart, Time_TypedLength iLength, Found& ioFound) const
    {
        FindInPart(0, mNodes.size(), iStart.AsInt64(), iStart.AsInt64() + iLength.AsInt64(), ioFound);
    }

private:
    struct Node
    {
        std::int64_t mStart;
        std::int64_t mEnd;
        std::int64_t mLatestEnd;
    };

    static std::size_t MiddleOf(std::size_t iFirst, std::size_t iLast) { return iFirst + (iLast - iFirst) / 2; }

    std::int64_t SetLatestEnds(std::size_t iFirst, std::size_t iLast)
    {
        if (iFirst == iLast)
            return std::numeric_limits<std::int64_t>::min();
        const std::size_t middle = MiddleOf(iFirst, iLast);
        return mNodes[middle].mLatestEnd =
                   std::max({mNodes[middle].mEnd, SetLatestEnds(iFirst, middle), SetLatestEnds(middle + 1, iLast)});
    }

    void FindInPart(std::size_t iFirst, std::size_t iLast, std::int64_t iStart, std::int64_t iEnd, Found& ioFound) const
    {
        while (iFirst < iLast)
        {
            const std::size_t middle = MiddleOf(iFirst, iLast);
            const Node& node = mNodes[middle];
            if (node.mLatestEnd <= iStart)
                return;
            FindInPart(iFirst, middle, iStart, iEnd, ioFound);
            if (node.mStart >= iEnd)
                return;
            if (node.mEnd > iStart)
                ioFound.Add(mNotes[middle]);
            iFirst = middle + 1;
        }
    }

    const Mdid_NoteListBase& mNotes;
    std::vector<Node> mNodes;
};

class Scan
{
public:
    explicit Scan(const Mdid_NoteListBase& iNotes) : mNotes(iNotes) {}

    void Find(Time_Typed iStart, Time_TypedLength iLength, Found& ioFound) const
    {
        const Time_Typed end = iStart + iLength;
        for (const Note& note : mNotes)
            if (note.GetTime() < end && note.GetEndTime() > iStart)
                ioFound.Add(note);
    }

private:
    const Mdid_NoteListBase& mNotes;
};

const IntervalTree& TreeOfMany()
{
    static const IntervalTree tree(ManyNotes());
    return tree;
}

template <class Finder>
Found FindAll(const Finder& iFinder, const std::vector<Time_Typed>& iTimes, std::size_t iCount,
              Time_TypedLength iLength)
{
    Found found;
    for (std::size_t i = 0; i < iCount; ++i)
        iFinder.Find(iTimes[i], iLength, found);
    return found;
}

// Numbers about different notes would say nothing.
void RequireTheSame(bool iCondition)
{
    if (iCondition)
        return;
    std::fputs("the queries do not find the same notes\n", stderr);
    std::abort();
}

// Through the list, and through the tree

template <const Time_TypedLength& kLength>
void BM_Query(benchmark::State& ioState)
{
    const Queries queries(ManyNotes());
    const Found found = FindAll(queries, TimesInMany(), kNumQueries, kLength);
    RequireTheSame(found == FindAll(TreeOfMany(), TimesInMany(), kNumQueries, kLength));
    for (auto _ : ioState)
        benchmark::DoNotOptimize(FindAll(queries, TimesInMany(), kNumQueries, kLength).mCount);
    ioState.SetItemsProcessed(ioState.iterations() * static_cast<std::int64_t>(kNumQueries));
    ioState.counters["hits"] = static_cast<double>(found.mCount) / kNumQueries;
}

template <const Time_TypedLength& kLength>
void BM_QueryTree(benchmark::State& ioState)
{
    for (auto _ : ioState)
        benchmark::DoNotOptimize(FindAll(TreeOfMany(), TimesInMany(), kNumQueries, kLength).mCount);
    ioState.SetItemsProcessed(ioState.iterations() * static_cast<std::int64_t>(kNumQueries));
}

const Ratio sSounding("Queries/notes sounding at a time", 4.0, BM_Query<kNothing>, BM_QueryTree<kNothing>);
const Ratio sOverlapping("Queries/notes overlapping a bar", 4.0, BM_Query<kBar>, BM_QueryTree<kBar>);

// Medians of what takes turns, so that all of it has the same luck with the
// machine.

template <std::size_t kCount, class... Functions>
std::array<double, kCount> MediansOf(Functions... iFunctions)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::size_t kNumRounds = 9;
    std::array<std::vector<double>, kCount> nanoseconds;
    const auto time = [](auto function)
    {
        const auto start = Clock::now();
        function();
        return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
    };
    for (std::size_t round = 0; round < kNumRounds; ++round)
    {
        std::size_t i = 0;
        (nanoseconds[i++].push_back(time(iFunctions)), ...);
    }
    std::array<double, kCount> medians{};
    std::ranges::transform(nanoseconds, medians.begin(),
                           [](std::vector<double>& ioTimes)
                           {
                               std::ranges::nth_element(ioTimes, ioTimes.begin() + kNumRounds / 2);
                               return ioTimes[kNumRounds / 2];
                           });
    return medians;
}

// In thousandths of the time of a scan of all notes.

template <const Time_TypedLength& kLength>
double ThousandthsOfScan()
{
    constexpr std::size_t kNumScans = 10;
    const Queries queries(ManyNotes());
    const Scan scan(ManyNotes());
    RequireTheSame(FindAll(queries, TimesInMany(), kNumScans, kLength) ==
                   FindAll(scan, TimesInMany(), kNumScans, kLength));
    const auto run = [](const auto& finder, std::size_t count)
    { return [&, count] { benchmark::DoNotOptimize(FindAll(finder, TimesInMany(), count, kLength).mCount); }; };
    const auto [query, scanned] = MediansOf<2>(run(queries, kNumQueries), run(scan, kNumScans));
    return 1000 * (query / kNumQueries) / (scanned / kNumScans);
}

const Bound sSoundingByScan("Queries/notes sounding at a time, thousandths of a scan", 10.0,
                            ThousandthsOfScan<kNothing>);
const Bound sOverlappingByScan("Queries/notes overlapping a bar, thousandths of a scan", 10.0, ThousandthsOfScan<kBar>);

// Growth from 10,000 notes to 1,000,000, as a multiple of that of a binary
// search.

void SearchAll(const Mdid_NoteListBase& iNotes, const std::vector<Time_Typed>& iTimes)
{
    for (const Time_Typed time : iTimes)
        benchmark::DoNotOptimize(std::ranges::lower_bound(iNotes, time, {}, &Note::GetTime));
}

template <const Time_TypedLength& kLength>
double GrowthOfQuery()
{
    const std::vector<Time_Typed> timesInFew = RandomTimes(FewNotes());
    const auto query = [](const Mdid_NoteListBase& notes, const std::vector<Time_Typed>& times)
    { return [&] { benchmark::DoNotOptimize(FindAll(Queries(notes), times, kNumQueries, kLength).mCount); }; };
    const auto search = [](const Mdid_NoteListBase& notes, const std::vector<Time_Typed>& times)
    { return [&] { SearchAll(notes, times); }; };
    const auto [queryMany, queryFew, searchMany, searchFew] =
        MediansOf<4>(query(ManyNotes(), TimesInMany()), query(FewNotes(), timesInFew),
                     search(ManyNotes(), TimesInMany()), search(FewNotes(), timesInFew));
    return queryMany / queryFew / (searchMany / searchFew);
}

const Bound sSoundingGrowth("Queries/notes sounding at a time, growth by lower_bound's", 2.0, GrowthOfQuery<kNothing>);
const Bound sOverlappingGrowth("Queries/notes overlapping a bar, growth by lower_bound's", 2.0, GrowthOfQuery<kBar>);

// The first query after an edit gathers where the long notes end. The edits, at
// the end, take next to nothing.

void BM_FirstQuery(benchmark::State& ioState)
{
    Mdid_NoteListBase& notes = ManyNotes();
    const Note last = notes.Last();
    for (auto _ : ioState)
    {
        notes.Erase(notes.AddNote(last));
        benchmark::DoNotOptimize(notes.GetSustainingNotes(TimesInMany()[0]).empty());
    }
}

void BM_GatherLongNotes(benchmark::State& ioState)
{
    const Mdid_NoteListBase& notes = ManyNotes();
    Notes longNotes;
    longNotes.reserve(notes.GetLongNoteList()->Size());
    for (auto _ : ioState)
    {
        longNotes.clear();
        std::ranges::copy_if(notes, std::back_inserter(longNotes),
                             [](const Note& i) { return i.GetDuration().AsInt64() >= kLongNote; });
        benchmark::DoNotOptimize(longNotes.data());
    }
}

const Ratio sFirst("Queries/first query after an edit", 3.0, BM_FirstQuery, BM_GatherLongNotes);

// A clip's edge goes to a time, and away again: two edits, each of which puts
// the list in order.

void BM_TrimAndUntrim(benchmark::State& ioState)
{
    Mdid_NoteListTrimmedNotesContext& context = *ManyNotes().GetTrimmedNotesContext();
    std::size_t i = 0;
    for (auto _ : ioState)
    {
        const Time_Typed time = TimesInMany()[i++ % kNumQueries];
        context.TrimOverlappingNotes<Mdid_TrimmedNotesContext::kHead>(time);
        context.UntrimOverlappingNotes<Mdid_TrimmedNotesContext::kHead>(time);
    }
    RequireTheSame(!context.ListHasTrimmedNotes());
}

void BM_CopyTwice(benchmark::State& ioState)
{
    const Notes notes(ManyNotes().begin(), ManyNotes().end());
    Notes copy(notes);
    for (auto _ : ioState)
        for (int i = 0; i < 2; ++i)
        {
            copy = notes;
            benchmark::DoNotOptimize(copy.data());
        }
}

const Ratio sTrim("Queries/trim and untrim, by two copies", 2.0, BM_TrimAndUntrim, BM_CopyTwice);

} // namespace
