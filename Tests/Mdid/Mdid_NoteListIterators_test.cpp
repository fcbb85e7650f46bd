#include "Mdid/Mdid_NoteListIterators.h"

#include "MFnd/Ndo_Manager.h"
#include "MFnd/TimeModel.h"
#include "MFnd/Time_Convert.h"
#include "MFnd/Time_Globals.h"
#include "Mdid/EventsOfAllTypes.h"
#include "Mdid/TestNotes.h"
#include "Support/AllocationCounter.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

namespace
{

using enum Time_EType;
using List = Mdid_NoteListBase;
constexpr Time_EType kKinds[] = {kSample, kTick, kMicrosecond};

template <class Iter>
constexpr bool kIsForward = std::forward_iterator<Iter>&& std::sentinel_for<typename Iter::EndSentinel, Iter>&&
    std::ranges::forward_range<typename Iter::Range>;
static_assert(kIsForward<List::NotesInRangeIter> && kIsForward<List::SustainingNoteIter> &&
              kIsForward<List::OverlappingNotesInRangeIter> && kIsForward<List::NotesExtendedEventInRangeIter>);

using Places = std::vector<std::ptrdiff_t>;
using Predicate = std::function<bool(const Note&)>;

// Of the very notes, those of a query or those of a naive scan.
template <class Range>
Places PlacesOf(const List& iList, const Range& iRange, const Predicate& iIsMeant = {})
{
    Places places;
    for (const Note& note : iRange)
        if (!iIsMeant || iIsMeant(note))
            places.push_back(&note - &iList[0]);
    return places;
}

const auto Sounding = [](const List& i, std::int64_t iTick) { return PlacesOf(i, i.GetSustainingNotes(Ticks(iTick))); };

void CheckQueries(const List& iList, Time_Typed iStart, Time_Typed iEnd)
{
    Time_Typed lookBack = iStart;
    for (const Time_EType kind : kKinds)
        if (iList.GetLongNoteDuration(kind).AsInt64() > 0)
            lookBack = std::min(lookBack, iStart - iList.GetLongNoteDuration(kind));
    lookBack += Time_TypedLength(2, iStart.GetType());
    const Predicate sounds = [&](const Note& i)
    { return i.GetTime() < iStart && i.GetEndTime() > iStart && (iList.GetLongNoteList() || i.GetTime() >= lookBack); };
    const Predicate starts = [&](const Note& i) { return i.GetTime() >= iStart && i.GetTime() < iEnd; };
    const Predicate overlaps = [&](const Note& i) { return iStart <= iEnd && (sounds(i) || starts(i)); };
    RC_ASSERT(PlacesOf(iList, iList.GetSustainingNotes(iStart)) == PlacesOf(iList, iList, sounds));
    RC_ASSERT(PlacesOf(iList, iList.GetOverlappingNotesInRange(iStart, iEnd)) == PlacesOf(iList, iList, overlaps));
    RC_ASSERT(PlacesOf(iList, List::NotesInRangeIter::Range({iList, iStart, iEnd})) == PlacesOf(iList, iList, starts));
}

const auto Any = [](int iEnd) { return *rc::gen::inRange(0, iEnd); };
const auto AnyTimeOr = [](Time_Typed iTime) { return Any(5) ? Time_Typed(Any(130) - 15, *AnyType()) : iTime; };

// Times and durations often meet.
Note AnyNote(Time_EType iStartKind, Time_EType iDurationKind)
{
    const Time_TypedLength duration(Any(3) ? Any(30) - 3 : Any(4) * 100, iDurationKind);
    const Mdid_NoteWithDurationEvent event(0, static_cast<signed char>(Any(2)), duration, 9, 64);
    return {Time_Typed(Any(20) * 5 - 10, iStartKind), event, Any(5) == 0};
}

void Edit(List& ioList, Note iNote)
{
    Ndo_Step step("edit");
    const auto place = ioList.begin() + Any(static_cast<int>(ioList.Size()));
    const int edit = Any(7);
    if (edit == 1)
        ioList.EraseNote(*place);
    else if (edit == 2)
        ioList.Erase(place);
    else if (edit == 3)
    {
        Mdid_BorrowedElement element = ioList.Borrow(place);
        CheckQueries(ioList, AnyTimeOr({}), AnyTimeOr({}));
        element.mElement = std::move(iNote), ioList.Return(std::move(element));
    }
    else
        ioList.AddNote(edit == 4 ? *place : iNote); // one more, identical
    if (step.Commit() && Any(4) == 0)
        Ndo_gManager.Undo();
}

RC_GTEST_PROP(Mdid_NoteListIterators, QueriesFindWhatANaiveScanFinds, (Time_Typed iAnyTime))
{
    // A microsecond, a sample, and a tick of an even tempo last as long, so that rounding shows.
    const Time_Context even = MakeContext({{0, 960'000}}, 1'000'000, 3);
    const Time_Context uneven = MakeContext({{0, 960'000}, {20, 1'700'000}, {40, 300'000}}, 1'000'000, 3);
    const Time_Globals::ScopedContext context(uneven);
    const bool areStartsMixed = Any(2), areDurationsMixed = Any(2), isOneKind = !areStartsMixed && !areDurationsMixed;
    const auto anyNote = [&]
    { return AnyNote(areStartsMixed ? *AnyType() : kTick, areDurationsMixed ? *AnyType() : kTick); };
    const Ndo_AutoPtr<List> list(Any(4) ? static_cast<List*>(new ChunkNotes(Ndo_Object::kUndoable))
                                        : new Mdid_NoteList(Ndo_Object::kUndoable, false));
    for (const Time_EType kind : kKinds)
        list->SetLongNoteDuration({isOneKind && kind != kTick ? 0 : Any(20), kind}); // of 0: all are long
    for (int i = Any(80); i >= 0; --i)
        list->AddNote(anyNote());
    for (int i = Any(60); i > 0 && !list->empty(); --i)
    {
        if (Any(3) == 0)
            Edit(*list, anyNote());
        const Time_Typed start = AnyTimeOr(list->GetLongNoteList() ? iAnyTime : Ticks(0));
        CheckQueries(*list, start, AnyTimeOr(start));
        if (!areStartsMixed && Any(4) == 0)
            Time_Globals::SetContext(Any(2) ? even : uneven); // which leaves the order as it is
    }
    Ndo_gManager.DropHistory();
}

// A note's end is rounded to the kind of its start: one of these samples lasts 192,000 ticks.
RC_GTEST_PROP(Mdid_NoteListIterators, RoundingHidesNoNoteThatIsNotLong, (const Time_Context& iContext, Time_Typed i))
{
    const Time_Globals::ScopedContext context(Any(2) ? iContext : MakeContext({{0, 500'000}}, 10, 0));
    const Time_TypedLength duration(Any(1 << 24), *AnyType());
    ChunkNotes list;
    for (const Time_EType kind : kKinds)
        list.SetLongNoteDuration({kind == duration.GetType() ? duration.AsInt64() + 1 : 0, kind});
    list.AddNote({i, Mdid_NoteWithDurationEvent(0, 60, duration, 9, 64), false});
    for (const Time_EType kind : kKinds)
        CheckQueries(list, {Time_Convert::ToType(list[0].GetEndTime(), kind).AsInt64() - 1, kind}, i);
}

TEST(Mdid_NoteListIterators, OnlyWhatSoundsBeforeAndAfterATimeSustains)
{
    Mdid_NoteList bare(Ndo_Object::kNotUndoable, false);
    ChunkNotes list{MakeNote(4001, 0, 1000), MakeNote(4002, 1, 999),  MakeNote(4500, 2, 500),
                    MakeNote(4500, 3, 0),    MakeNote(5000, 4, 1000), MakeNote(5001, 5, -2)};
    bare.Merge(&list);
    EXPECT_EQ(Sounding(bare, 5000), Places()); // kept: with neither threshold nor list
    bare.SetLongNoteDuration(TickLength(1000));
    EXPECT_EQ(Sounding(bare, 5000), Places({1}));    // kept: back by two units less than the threshold
    EXPECT_EQ(Sounding(list, 5000), Places({0, 1})); // kept: neither one that ends there nor one that starts there
    const std::int64_t first = Time_Packed::kMinCount, last = Time_Packed::kMaxCount;
    const ChunkNotes far{MakeNote(first, 0, 500), MakeNote(first, 1, 5000), MakeNote(last - 5, 2, 900)};
    EXPECT_EQ(Sounding(far, first + 499), Places({0, 1}));
    EXPECT_EQ(Sounding(far, last - 1), Places({2})); // which is cut short
}

struct StreamedNotes : ChunkNotes
{
    void StreamOut(Sys_TypedOutStream& ioStream) const { ChunkNotes::StreamOut(ioStream, mLanes); }
    mutable Mdid_ContinuousDataStreamList mLanes;
};

TEST(Mdid_NoteListIterators, LongNotesAreFoundAtTheirOwnPlaces)
{
    // Of one note-on, the first has ended and the others sound.
    ChunkNotes list{MakeNote(0, 60, 1500), MakeNote(0, 60, 4000), MakeNote(0, 60, 4000), MakeNote(0, 61, 700)};
    EXPECT_EQ(Sounding(list, 2000), Places({1, 2}));
    for (int i = 0; i < 20'000; ++i)
        list.AddNote(MakeNote(9000, 60, i / 50 * 10 + 1)); // fifty of each
    EXPECT_EQ(Sounding(list, 12'000).size(), 5000u);
    // Which notes are long is as an older threshold had it.
    list.SetLongNoteDuration(TickLength(100));
    EXPECT_EQ(Sounding(list, 650), Places({0, 1, 2}));
    list.SetLongNoteDuration(TickLength(9000));
    EXPECT_EQ(Sounding(list, 650), Places({0, 1, 2, 3}));
    StreamedNotes saved, read;
    saved.AddNote(MakeNote(0, 60, 4000, 9));
    Load(read, Saved(saved));
    EXPECT_EQ(Sounding(read, 3000), Places({0}));
}

TEST(Mdid_NoteListIterators, NothingIsLostWhileTheLongNotesLagBehind)
{
    const Time_Context fast = MakeContext({{0, 500'000}}, 48'000, 0), slow = MakeContext({{0, 2'000'000}}, 48'000, 0);
    const Time_Globals::ScopedContext context(fast);
    ChunkNotes mixed{MakeNote(960'000, 60, 10), MakeNote(1'920'000, 61, 500'000)};
    const Mdid_NoteWithDurationEvent event(0, 62, {48'000, kSample}, 9, 64);
    mixed.AddNote({Time_Typed(30'000, kSample), event, false}); // between the others, but not when these are slow
    Time_Globals::SetContext(slow);
    EXPECT_LE(Sounding(mixed, 2'000'000).size(), 2u);
    Time_Globals::SetContext(fast);
    EXPECT_EQ(Sounding(mixed, 2'000'000), Places({1, 2}));

    ChunkNotes list{MakeNote(0, 60, 3000), MakeNote(10, 61, 2000), MakeNote(20, 62, 2000)};
    auto batch = list.ModificationBatch();
    Mdid_BorrowedElement element = list.Borrow(list[1]);
    element.mElement.SetIsMuted(true), batch.Return(std::move(element));
    EXPECT_EQ(Sounding(list, 1500), Places({0, 1, 2}));
    EXPECT_EQ(list.Erase(list.begin()), list.begin()); // the one that waits has another place now
    static_cast<void>(list.Borrow(list[1])), list.Erase(list.begin() + 1);
    batch.Complete(), list.AddNote(MakeNote(5, 63, 1));
    EXPECT_TRUE(Describe(list) == "5:63x1 10:61x2000 | 10:61x2000 " && list.CheckInvariants());
}

TEST(Mdid_NoteListIterators, TheyServeAlgorithmsAndEdits)
{
    ChunkNotes list{MakeNote(0, 60, 3000), MakeNote(10, 61, 2000), MakeNote(1500, 62, 1000), MakeNote(1600, 63, 1)};
    const auto range = list.GetOverlappingNotesInRange(Ticks(1000), Ticks(1600));
    EXPECT_EQ(std::ranges::count_if(range, [](const Note& i) { return i.GetPitch() > 60; }), 2);
    const auto last = std::ranges::max_element(range.begin(), range.end(), {}, &Note::GetPitch);
    EXPECT_TRUE(last->GetPitch() == 62 && std::ranges::next(last) == range.end() && last != range.begin());
    EXPECT_EQ(list.Erase(last)->GetPitch(), 63);
    List::OverlappingNotesInRangeIter iter(list, Ticks(9), Ticks(5)), none;
    EXPECT_FALSE(iter.IsMore() || none.IsMore());
    iter.SetRange(Ticks(2000), Ticks(2001));
    EXPECT_EQ(list.Borrow(++iter).mElement.GetPitch(), 61);
    const FailingAllocation failure(2);
    EXPECT_THROW(list.GetSustainingNotes(Ticks(1700)).begin(), std::bad_alloc);
    EXPECT_EQ(Sounding(list, 1700), Places({0})); // the other one is out
}

} // namespace
