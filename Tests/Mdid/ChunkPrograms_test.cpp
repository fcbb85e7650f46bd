// Random programs of edits over a chunk, in undo steps, against a model of sorted rows: at each stop of undo and redo
// the contents are what they were then, and what is saved is read back.

#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_SysexEvent.h"
#include "Mdid/TestNotes.h"

#include "CFnd/Sys_TypedStream.h"
#include "MFnd/Ndo_Manager.h"
#include "MFnd/Time_Convert.h"
#include "MFnd/Time_Globals.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <array>
#include <set>
#include <tuple>

namespace
{

using Edit = std::array<unsigned, 4>; // which, and three numbers to it
constexpr auto kOrdinary = Mdie_SubStream::kOrdinary;
constexpr auto TimeOf = [](unsigned iNumber) -> std::int64_t { return iNumber % 40 * 300; };

Mdid_ExtendedEvent EventOf(const Edit& iEdit)
{
    static const std::vector<unsigned char> sBytes(20, 7);
    static const Mdid_SysexEvent sShort(1, sBytes.data());
    static const Mdid_SysexEvent sLong(20, sBytes.data()); // copies share its block
    const Time_Typed time = Ticks(TimeOf(iEdit[1]));
    const auto value = static_cast<signed char>(iEdit[3] % 4);
    const unsigned kind = iEdit[2] % 8;
    if (kind < 2)
        return {time, kind == 0 ? sShort : sLong};
    if (kind < 4)
        return {time, (kind == 2 ? Mdie_SubStream::Controller(7) : Mdie_SubStream::PitchBend()).MakeEvent(value)};
    const auto pitch = static_cast<signed char>(55 + kind);
    return Note(time, Mdid_NoteWithDurationEvent(0, pitch, TickLength(value + 1), pitch, 64), iEdit[3] % 5 == 0);
}

// Part (a lane's index, or one of these), time, and a value, or a length, or a note's pitch, velocity, duration, muted.
using Row = std::array<std::int64_t, 6>;
using Rows = std::multiset<Row>;
constexpr int kSysexPart = 300, kNotePart = 400;

Row RowOf(const Mdid_ExtendedEvent& iEvent)
{
    const std::int64_t time = iEvent.GetTime().AsInt64();
    const Mdie_SubStream key(iEvent.GetEvent(), kOrdinary);
    if (!key.IsNull())
        return {key.GetDataTypeIndex(), time, key.GetValueFromEvent(iEvent.GetEvent())};
    if (!iEvent.IsNoteWithDurationExtendedEvent())
        return {kSysexPart, time, iEvent.GetEvent().AsSysex().GetLength()};
    const auto& note = iEvent.AsNote().GetNote();
    const std::int64_t duration = note.GetDuration().AsInt64();
    return {kNotePart, time, note.GetPitch(), note.GetVelocity(), duration, iEvent.AsNote().IsMuted()};
}

// All of them, which must come in the order of playback.
template <class Events>
Rows RowsOf(const Events& iEvents)
{
    Rows rows;
    Mdid_ExtendedEvent previous(Time_Typed::MinTime(Time_EType::kTick), {});
    for (const Mdid_ExtendedEvent& event : iEvents)
    {
        RC_ASSERT(!Mdie_TimedEvent::PlaybackOrdering(event, previous));
        previous = event;
        rows.insert(RowOf(event));
    }
    return rows;
}

// Those that have as many of the numbers, all or the first.
void Erase(Rows& ioRows, const Row& iRow, std::ptrdiff_t iCount, bool iAll)
{
    const auto isAlike = [&](const Row& i) { return std::equal(i.begin(), i.begin() + iCount, iRow.begin()); };
    if (const auto found = std::ranges::find_if(ioRows, isAlike); !iAll && found != ioRows.end())
        ioRows.erase(found);
    else
        std::erase_if(ioRows, isAlike);
}

void Add(Rows& ioRows, Row iRow, std::int64_t iOffset = 0, bool iHasVelocity = true)
{
    const Time_Typed time = Ticks(iRow[1] + iOffset);
    iRow[1] = (TickTimesMatter::Active() ? Time_Convert::SnapToCoarseInternalTick(time) : time).AsInt64();
    iRow[3] = iHasVelocity || iRow[0] != kNotePart ? iRow[3] : 64;
    if (iRow[0] < kSysexPart)
        Erase(ioRows, iRow, 2, true); // replaced
    ioRows.insert(iRow);
}

void EraseRange(Rows& ioRows, Time_Typed iStart, Time_Typed iEnd)
{
    std::erase_if(ioRows,
                  [&](const Row& i) {
                      return Ticks(i[1]) >= iStart && Ticks(i[1] - (i[0] == kSysexPart)) < iEnd;
                  }); // sysexes at the end, too
}

Rows InRange(const Rows& iRows, Time_Typed iStart, Time_Typed iEnd)
{
    Rows rows;
    std::ranges::copy_if(iRows, std::inserter(rows, rows.end()),
                         [&](const Row& i) { return Ticks(i[1]) >= iStart && Ticks(i[1]) < iEnd; });
    return rows;
}

struct World // a chunk that the history knows, another one, and what they should hold
{
    using Stop = std::tuple<Ndo_ObjectID, Rows, Ndo_unique_ptr<Mdid_Chunk>>; // a copy knows what the rows leave out

    Ndo_ObjectID mID = Mdid_Chunk::New(Ndo_Object::kUndoable, true)->NdoGetID();
    Rows mRows;
    Ndo_unique_ptr<Mdid_Chunk> mOther = Mdid_Chunk::MakeUnique(Ndo_Object::kNotUndoable, true);
    Rows mOtherRows;

    World()
    {
        for (unsigned i = 0; i < 100; ++i)
            mOther->AddEvent(EventOf({0, i * 7, i, i / 3}), kOrdinary);
        mOtherRows = RowsOf(mOther->MakeRange());
    }
    ~World()
    {
        Ndo_gManager.DropHistory();
        Get().NdoDelete();
    }

    Mdid_Chunk& Get() const { return dynamic_cast<Mdid_Chunk&>(*Ndo_gManager.LookupObject(mID)); }
    Stop TakeStop() const { return {mID, mRows, Get().Clone()}; }

    void Expect(const Stop& iStop)
    {
        mID = std::get<0>(iStop); // which chunk it is is the program's business
        RC_ASSERT(RowsOf(Get().MakeRange()) == std::get<1>(iStop));
        RC_ASSERT(Get() == *std::get<2>(iStop));
        RC_ASSERT(Get().GetNoteList()->CheckInvariants());
    }

    void Run(const Edit& iEdit)
    {
        Mdid_Chunk& chunk = Get();
        const Mdid_Chunk& source = iEdit[1] % 2 == 0 ? chunk : *mOther;
        const Rows& sourceRows = iEdit[1] % 2 == 0 ? mRows : mOtherRows;
        const Time_Typed start = Ticks(TimeOf(iEdit[1]));
        const Time_Typed end = Ticks(TimeOf(iEdit[2]));
        const std::int64_t offset = iEdit[3] % 9 * 250 - (start < Ticks(1000) ? 0 : 1000);
        const bool hasVelocities = iEdit[3] % 3 != 0;
        const auto filter = Mdie_Filter().SetAll().Set(Mdie_Filter::kOnVelocities, hasVelocities);
        const Row row = RowOf(EventOf(iEdit));
        switch (iEdit[0] % 11)
        {
        case 0:
            chunk.EraseEvent(EventOf(iEdit));
            return Erase(mRows, row, row[0] == kNotePart ? 4 : row[0] == kSysexPart ? 3 : 2, false);
        case 1:
            chunk.EraseRange(start, end);
            return EraseRange(mRows, start, end);
        case 2:
            if (mRows.size() > 200)
                return chunk.Clear(), mRows.clear();
            chunk.AddEventsFromChunk(&source, start, end, TickLength(offset), filter);
            // From behind: of two breakpoints that snapping brings together, the earlier stays.
            for (Rows part = InRange(sourceRows, start, end); !part.empty(); part.erase(std::prev(part.end())))
                Add(mRows, *part.rbegin(), offset, hasVelocities);
            return;
        case 3:
            chunk.EraseEventsFromChunk(&source, start, end, TickLength(offset), filter);
            for (const Row& i : InRange(sourceRows, start, end))
                Erase(mRows, {i[0], i[1] + offset, i[2], i[3], i[4]}, 5, i[0] == kNotePart);
            return;
        case 4: // the chunk gives way to a copy
            chunk.ReplaceData(&source);
            mRows = sourceRows;
            mID = chunk.Clone().release()->NdoGetID();
            return chunk.NdoDelete();
        case 5:
            chunk.QuantizeEventsForTTM();
            for (const Row& i : std::exchange(mRows, {}))
                Add(mRows, i);
            return;
        case 6: // parts by themselves
            for (auto& laneP : *chunk.GetContinuousList())
                laneP->EraseRange(start, end);
            chunk.GetNoteList()->EraseTimeRange(start, end);
            chunk.GetEventStream()->EraseRange(start, end);
            return EraseRange(mRows, start, end);
        default:
            chunk.AddEvent(EventOf(iEdit), kOrdinary);
            return Add(mRows, row);
        }
    }
};

void ExpectReadBack(const Mdid_Chunk& iChunk)
{
    Sys_MemoryOutStream saved;
    Sys_TypedOutStream out(saved);
    iChunk.StreamOut(out);
    Sys_MemoryInStream stream(saved.GetBytes());
    Sys_TypedInStream in(stream);
    const Ndo_unique_ptr<Mdid_Chunk> loadedP(Mdid_Chunk::StreamIn(in, Ndo_Object::kNotUndoable, true));
    RC_ASSERT(*loadedP == iChunk);
}

void ExpectQuery(const Mdid_Chunk& iChunk, const Rows& iRows, Time_Typed iStart, Time_Typed iEnd)
{
    Mdid_ExtendedEventList found;
    Mdid_EventListWrapper wrapper(found);
    iChunk.GetMidiEventsInRange(&wrapper, {iStart, iEnd, Mdie_Filter().SetAll(), TickLength(2000), Ticks(1000)});
    Rows expected;
    for (const Row& i : InRange(iRows, iStart, iEnd))
        expected.insert({i[0], std::max<std::int64_t>(i[1] - 2000, 1000), i[2], i[3], i[4], i[5]});
    RC_ASSERT(RowsOf(found) == expected);
}

RC_GTEST_PROP(ChunkPrograms, EveryStopIsWhatItWas, (bool iSnap))
{
    const TickTimesMatter::Scoped snapping(iSnap);
    const auto steps = *rc::gen::resize(50, rc::gen::arbitrary<std::vector<std::vector<Edit>>>());
    World world;
    std::vector<World::Stop> stops;
    stops.push_back(world.TakeStop());
    for (const auto& edits : steps)
    {
        const std::size_t stepsBefore = Ndo_gManager.GetStepCount();
        Ndo_Step step("Edit");
        std::ranges::for_each(edits, [&](const Edit& i) { world.Run(i); });
        step.Commit();
        if (Ndo_gManager.GetStepCount() > stepsBefore)
            stops.push_back(world.TakeStop());
        world.Expect(stops.back());
        if (edits.size() % 4 == 1)
            ExpectReadBack(world.Get());
        ExpectQuery(world.Get(), world.mRows, Ticks(3000), Ticks(static_cast<int>(edits.size()) * 500));
    }
    for (std::size_t stop = stops.size() - 1; stop-- > 0; world.Expect(stops[stop]))
        RC_ASSERT(Ndo_gManager.Undo());
    for (std::size_t stop = 1; stop < stops.size(); world.Expect(stops[stop++]))
        RC_ASSERT(Ndo_gManager.Redo());
}

} // namespace
