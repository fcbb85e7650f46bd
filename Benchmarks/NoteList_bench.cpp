// The note list against plain vectors of the same notes, and its record against a hand-written loop over the fields.

#include "RatioReporter.h"

#include "CFnd/Cmn_OutStream.h"
#include "CFnd/Sys_TypedStream.h"
#include "MFnd/Ndo_Manager.h"
#include "MFnd/Time_TypedDefs.h"
#include "Mdid/Mdid_ContinuousDataStream.h"
#include "Mdid/Mdid_NoteList.h"

#include <algorithm>
#include <memory>
#include <random>
#include <span>
#include <vector>

namespace
{

using Note = Mdid_NoteWithDurationExtendedEvent;

constexpr std::size_t kNumNotes = 1'000'000;
constexpr std::size_t kNumLookups = 100'000;

Note MakeNote(std::int64_t iTick, std::size_t iNumber)
{
    const auto pitch = static_cast<signed char>(iNumber % 120);
    const Time_TypedLength duration(480'000, Time_EType::kTick);
    return Note(Time_Typed(iTick, Time_EType::kTick), Mdid_NoteWithDurationEvent(0, pitch, duration, 80, 64), false);
}

// In time order, 240 ticks apart.
std::vector<Note> SortedNotes(std::size_t iCount)
{
    std::vector<Note> notes;
    notes.reserve(iCount);
    for (std::size_t i = 0; i < iCount; ++i)
        notes.push_back(MakeNote(static_cast<std::int64_t>(i) * 240, i));
    return notes;
}

std::vector<std::int64_t> RandomTicks(std::size_t iCount, std::size_t iNumNotes)
{
    std::mt19937 random(1);
    std::uniform_int_distribution<std::int64_t> tick(0, static_cast<std::int64_t>(iNumNotes) * 240);
    std::vector<std::int64_t> ticks(iCount);
    std::ranges::generate(ticks, [&] { return tick(random); });
    return ticks;
}

const std::vector<Note>& MillionNotes()
{
    static const std::vector<Note> notes = SortedNotes(kNumNotes);
    return notes;
}

Mdid_NoteList MakeList(const std::vector<Note>& iNotes, Ndo_Object::EUndoFlag iUndoFlag = Ndo_Object::kNotUndoable)
{
    Mdid_NoteList list(iUndoFlag, false);
    list.Reserve(iNotes.size());
    for (const Note& note : iNotes)
        list.AddNote(note);
    return list;
}

// Adding

void BM_AddInOrder(benchmark::State& ioState)
{
    const std::vector<Note>& notes = MillionNotes();
    for (auto _ : ioState)
    {
        Mdid_NoteList list(Ndo_Object::kNotUndoable, false);
        for (const Note& note : notes)
            list.AddNote(note);
        benchmark::DoNotOptimize(list.Size());
    }
}

void BM_PushBack(benchmark::State& ioState)
{
    const std::vector<Note>& notes = MillionNotes();
    for (auto _ : ioState)
    {
        std::vector<Note> list;
        for (const Note& note : notes)
            list.push_back(note);
        benchmark::DoNotOptimize(list.data());
    }
}

constexpr std::size_t kNumFewNotes = 10'000;
constexpr std::size_t kNumInsertions = 2'000;

void BM_AddAnywhere(benchmark::State& ioState)
{
    const Mdid_NoteList start = MakeList(SortedNotes(kNumFewNotes));
    const std::vector<std::int64_t> ticks = RandomTicks(kNumInsertions, kNumFewNotes);
    for (auto _ : ioState)
    {
        ioState.PauseTiming();
        Mdid_NoteList list(start);
        list.Reserve(kNumFewNotes + kNumInsertions);
        ioState.ResumeTiming();
        for (const std::int64_t tick : ticks)
            list.AddNote(MakeNote(tick, 1));
        benchmark::DoNotOptimize(list.Size());
    }
}

void BM_InsertAnywhere(benchmark::State& ioState)
{
    const std::vector<Note> start = SortedNotes(kNumFewNotes);
    const std::vector<std::int64_t> ticks = RandomTicks(kNumInsertions, kNumFewNotes);
    for (auto _ : ioState)
    {
        ioState.PauseTiming();
        std::vector<Note> list(start);
        list.reserve(kNumFewNotes + kNumInsertions);
        ioState.ResumeTiming();
        for (const std::int64_t tick : ticks)
            list.insert(list.begin() + tick / 240, MakeNote(tick, 1));
        benchmark::DoNotOptimize(list.data());
    }
}

// Every note moves to a random time.
void BM_SortThroughBatch(benchmark::State& ioState)
{
    const Mdid_NoteList start = MakeList(MillionNotes());
    const std::vector<std::int64_t> ticks = RandomTicks(kNumNotes, kNumNotes);
    for (auto _ : ioState)
    {
        ioState.PauseTiming();
        Mdid_NoteList list(start);
        ioState.ResumeTiming();
        auto batch = list.ModificationBatch();
        for (std::size_t i = 0; i < kNumNotes; ++i)
        {
            Mdid_BorrowedElement borrowed = list.Borrow(list[i]);
            borrowed.mElement.SetTime(Time_Typed(ticks[i], Time_EType::kTick));
            batch.Return(std::move(borrowed));
        }
        batch.Complete();
        benchmark::DoNotOptimize(list.Size());
    }
}

void BM_StableSort(benchmark::State& ioState)
{
    std::vector<Note> start = MillionNotes();
    const std::vector<std::int64_t> ticks = RandomTicks(kNumNotes, kNumNotes);
    for (std::size_t i = 0; i < kNumNotes; ++i)
        start[i].SetTime(Time_Typed(ticks[i], Time_EType::kTick));
    for (auto _ : ioState)
    {
        ioState.PauseTiming();
        std::vector<Note> list(start);
        ioState.ResumeTiming();
        std::ranges::stable_sort(list, Note::NoteCompare);
        benchmark::DoNotOptimize(list.data());
    }
}

const Ratio sAddInOrder("Notes/add in order", 2.0, BM_AddInOrder, BM_PushBack);
const Ratio sAddAnywhere("Notes/add anywhere", 1.5, BM_AddAnywhere, BM_InsertAnywhere);
const Ratio sBatch("Notes/unsorted through a batch", 2.0, BM_SortThroughBatch, BM_StableSort);

// Finding

std::vector<Mdie_TimedEvent> Probes()
{
    std::vector<Mdie_TimedEvent> probes;
    for (const std::int64_t tick : RandomTicks(kNumLookups, kNumNotes - 1))
        probes.push_back(MillionNotes()[static_cast<std::size_t>(tick / 240)]);
    return probes;
}

void BM_IsNoteInList(benchmark::State& ioState)
{
    const Mdid_NoteList list = MakeList(MillionNotes());
    const std::vector<Mdie_TimedEvent> probes = Probes();
    for (auto _ : ioState)
        for (const Mdie_TimedEvent& probe : probes)
            benchmark::DoNotOptimize(list.IsNoteInList(probe));
}

void BM_LowerBound(benchmark::State& ioState)
{
    const std::vector<Note>& notes = MillionNotes();
    const std::vector<Mdie_TimedEvent> probes = Probes();
    for (auto _ : ioState)
        for (const Mdie_TimedEvent& probe : probes)
            benchmark::DoNotOptimize(std::ranges::lower_bound(notes, probe.GetTime(), {}, &Note::GetTime));
}

const Ratio sFind("Notes/is in list", 1.5, BM_IsNoteInList, BM_LowerBound);

// The record

void BM_Write(benchmark::State& ioState)
{
    const Mdid_NoteList list = MakeList(MillionNotes());
    for (auto _ : ioState)
    {
        Sys_MemoryOutStream stream;
        Sys_TypedOutStream typed(stream);
        Mdid_ContinuousDataStreamList lanes;
        list.StreamOut(typed, lanes);
        benchmark::DoNotOptimize(stream.GetBytes().data());
    }
}

// Puts fields one behind the other into memory of the right size.
class PlainWriter
{
public:
    explicit PlainWriter(std::size_t iSize) : mSize(iSize), mBytes(new unsigned char[iSize]), mCursorP(mBytes.get()) {}

    template <class... Fields>
    void Write(Fields... iFields)
    {
        ((std::memcpy(mCursorP, &iFields, sizeof iFields), mCursorP += sizeof iFields), ...);
    }
    std::span<const unsigned char> GetBytes() const { return {mBytes.get(), mSize}; }

private:
    std::size_t mSize;
    std::unique_ptr<unsigned char[]> mBytes;
    unsigned char* mCursorP;
};

constexpr std::size_t kSizeOfRecord = kNumNotes * (35 + 11 + 18) + 4 + 8 + 10;

std::int64_t Raw(Time_TypedLength iLength)
{
    return Time_TypedDefs::GetRawDataForSave(iLength);
}

void WritePlainly(const std::vector<Note>& iNotes, PlainWriter& ioWriter)
{
    const auto count = static_cast<std::int32_t>(iNotes.size());
    ioWriter.Write(count);
    for (const Note& note : iNotes)
        ioWriter.Write(Time_TypedDefs::GetRawDataForSave(note.GetTime()), note.GetPitch(), Raw(note.GetDuration()),
                       note.GetNote().GetVelocity(), note.GetNote().GetOffVelocity(), Raw(note.GetQuantizeTimeDelta()),
                       Raw(note.GetDuration() - note.GetOriginalDuration()));
    ioWriter.Write(count, std::int32_t{11});
    for (const Note& note : iNotes)
        ioWriter.Write(note.GetOriginalPitch(), Raw(note.GetOriginalDuration()), note.GetOriginalOnVelocity(),
                       note.GetOriginalOffVelocity());
    ioWriter.Write(count, std::int16_t{3}, std::int32_t{18});
    for (const Note& note : iNotes)
        ioWriter.Write(note.IsMuted(), note.GetNote().GetChannel(), std::int64_t{0}, std::int64_t{0});
}

void BM_WritePlainly(benchmark::State& ioState)
{
    for (auto _ : ioState)
    {
        PlainWriter writer(kSizeOfRecord);
        WritePlainly(MillionNotes(), writer);
        benchmark::DoNotOptimize(writer.GetBytes().data());
    }
}

void BM_Read(benchmark::State& ioState)
{
    Sys_MemoryOutStream stream;
    Sys_TypedOutStream typed(stream);
    Mdid_ContinuousDataStreamList lanes;
    MakeList(MillionNotes()).StreamOut(typed, lanes);
    for (auto _ : ioState)
    {
        Sys_MemoryInStream in(stream.GetBytes());
        Sys_TypedInStream typedIn(in);
        Mdid_NoteList list(Ndo_Object::kNotUndoable, false);
        list.StreamIn(typedIn);
        benchmark::DoNotOptimize(list.Size());
    }
}

class PlainReader
{
public:
    explicit PlainReader(std::span<const unsigned char> iBytes) : mCursorP(iBytes.data()) {}

    template <class T>
    T Read()
    {
        T value;
        std::memcpy(&value, mCursorP, sizeof value);
        mCursorP += sizeof value;
        return value;
    }
    Time_TypedLength ReadLength()
    {
        Time_TypedLength length;
        Time_TypedDefs::SetFromRawSavedData(Read<std::int64_t>(), length);
        return length;
    }

private:
    const unsigned char* mCursorP;
};

Note ReadNotePlainly(PlainReader& ioReader)
{
    Time_Typed start;
    Time_TypedDefs::SetFromRawSavedData(ioReader.Read<std::int64_t>(), start);
    const auto pitch = ioReader.Read<signed char>();
    const Time_TypedLength duration = ioReader.ReadLength();
    const auto onVelocity = ioReader.Read<signed char>();
    const auto offVelocity = ioReader.Read<signed char>();
    const Time_TypedLength delta = ioReader.ReadLength();
    const Time_TypedLength original = duration - ioReader.ReadLength();
    return Note(start, Mdid_NoteWithDurationEvent(0, pitch, duration, onVelocity, offVelocity), false, delta,
                Mdid_NoteWithDurationEvent(0, pitch, original, onVelocity, offVelocity));
}

std::vector<Note> ReadPlainly(std::span<const unsigned char> iBytes)
{
    PlainReader reader(iBytes);
    const auto count = static_cast<std::size_t>(reader.Read<std::int32_t>());
    std::vector<Note> notes;
    notes.reserve(count);
    while (notes.size() < count)
        notes.push_back(ReadNotePlainly(reader));
    reader.Read<std::int64_t>();
    for (Note& note : notes)
    {
        const auto pitch = reader.Read<signed char>();
        const Time_TypedLength duration = reader.ReadLength();
        const auto onVelocity = reader.Read<signed char>();
        note.SetAsPerformedEvent(
            Mdid_NoteWithDurationEvent(0, pitch, duration, onVelocity, reader.Read<signed char>()));
    }
    reader.Read<std::array<unsigned char, 10>>();
    for (Note& note : notes)
    {
        note.SetIsMuted(reader.Read<signed char>() != 0);
        note.GetNote().SetChannel(reader.Read<signed char>());
        reader.Read<std::array<std::int64_t, 2>>();
    }
    return notes;
}

void BM_ReadPlainly(benchmark::State& ioState)
{
    PlainWriter writer(kSizeOfRecord);
    WritePlainly(MillionNotes(), writer);
    for (auto _ : ioState)
        benchmark::DoNotOptimize(ReadPlainly(writer.GetBytes()).data());
}

const Ratio sWrite("Notes/write", 2.0, BM_Write, BM_WritePlainly);
const Ratio sRead("Notes/read", 3.0, BM_Read, BM_ReadPlainly);

// Undo

constexpr std::size_t kNumUndoNotes = 100'000;

void BM_StepOfOneNote(benchmark::State& ioState)
{
    Mdid_NoteList list(Ndo_Object::kUndoable, false);
    for (const Note& note : SortedNotes(kNumUndoNotes))
        list.AddNote(note);
    std::int64_t tick = 0;
    for (auto _ : ioState)
    {
        Ndo_Step step("Add Note");
        tick = (tick + 7'654'321) % (static_cast<std::int64_t>(kNumUndoNotes) * 240);
        list.AddNote(MakeNote(tick, 1));
        step.Commit();
    }
    Ndo_gManager.DropHistory();
}

void BM_CopyList(benchmark::State& ioState)
{
    const Mdid_NoteList list = MakeList(SortedNotes(kNumUndoNotes));
    for (auto _ : ioState)
    {
        const Mdid_NoteList copy(list);
        benchmark::DoNotOptimize(copy.Size());
    }
}

const Ratio sStep("Undo/step of one note in 100,000", 3.0, BM_StepOfOneNote, BM_CopyList);

class Touched : public Ndo_Object
{
public:
    Touched() : Ndo_Object(kUndoable) {}
    void Touch() { NdoAboutToModify(); }
    std::unique_ptr<Ndo_State> NdoGetState() const override { return nullptr; }
    void NdoRestoreState(Ndo_State*) override {}
};

constexpr int kNumTouches = 1'000'000;

void BM_TouchAgain(benchmark::State& ioState)
{
    Ndo_Step step("Touch");
    Touched touched;
    Touched* touchedP = &touched;
    for (auto _ : ioState)
        for (int i = 0; i < kNumTouches; ++i)
        {
            benchmark::DoNotOptimize(touchedP);
            touchedP->Touch();
        }
}

[[gnu::noinline]] void CallNothing(Touched* ioTouchedP)
{
    benchmark::DoNotOptimize(ioTouchedP);
}

void BM_Call(benchmark::State& ioState)
{
    Touched touched;
    for (auto _ : ioState)
        for (int i = 0; i < kNumTouches; ++i)
            CallNothing(&touched);
}

const Ratio sTouch("Undo/saved already, by a function call", 1.0, BM_TouchAgain, BM_Call);

// What a thousand steps of one note each hold in a list of a million.
double HeldByThousandSteps()
{
    Ndo_gManager.DropHistory();
    Mdid_NoteList list(Ndo_Object::kUndoable, false);
    for (const Note& note : MillionNotes())
        list.AddNote(note);
    for (const std::int64_t tick : RandomTicks(1000, kNumNotes))
    {
        Ndo_Step step("Add Note");
        list.AddNote(MakeNote(tick, 1));
        step.Commit();
    }
    const auto held = static_cast<double>(Ndo_gManager.GetBytesHeld());
    Ndo_gManager.DropHistory();
    return held / 1e6;
}

const Bound sHeld("Undo/1,000 steps in 1,000,000 notes, MB", 2.0, HeldByThousandSteps);

} // namespace
