#include "MFnd/Time_Convert.h"
#include "MFnd/Time_Globals.h"
#include "Mdid/TestNotes.h"
#include "Support/RecordingAssertHandler.h"
#include "Support/ScopedAllowMPE.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <functional>

namespace
{

RC_GTEST_PROP(Mdid_NoteList, SearchesAndReleaseQueriesFollowTheModel, ())
{
    const auto any = [](int iEnd) { return *rc::gen::inRange(0, iEnd); };
    const auto anyNote = [&] { return MakeNote(any(60) * 100, any(3), any(20) * 100 + 1); };
    std::vector<Note> model;
    ChunkNotes list;
    for (int i = any(40); i > 0; --i)
        list.AddNote(model.emplace_back(anyNote()));
    std::ranges::stable_sort(model, Note::NoteCompare);
    const Note probe = anyNote();
    const auto found = std::ranges::find_if(model, std::bind_front(Note::EquivalentNoteOnCompare, probe));
    RC_ASSERT(list.IsNoteInList(probe) == (found != model.end()));
    list.EraseNote(probe);
    model.erase(found, found + (found != model.end()));
    const Time_Typed start = Ticks(any(60) * 100), end = Ticks(any(60) * 100); // the end may come first
    Time_Typed earliest = end, last = start, latest = start;
    for (const Note& note : model)
        if (const Time_Typed release = note.GetEndTime(); note.GetTime() < end)
        {
            earliest = release > start ? std::min(earliest, release) : earliest;
            last = release < end ? std::max(last, release) : last;
            latest = note.GetTime() >= start - TickLength(1000) ? std::max(latest, release) : latest; // kept
        }
    RC_ASSERT(list.GetEarliestReleaseTimeForNotesInRange(start, end) == earliest);
    RC_ASSERT(list.GetLastReleaseTimeForNotesInRange(start, end) == last);
    RC_ASSERT(list.GetLatestReleaseTimeForNotesInRange(start, end) == latest);
    list.EraseTimeRange(start, end);
    std::erase_if(model, [&](const Note& i) { return i.GetTime() >= start && i.GetTime() < end; });
    RC_ASSERT(list.CheckInvariants() && std::equal(list.begin(), list.end(), model.begin(), model.end()));
}

TEST(Mdid_NoteList, EditsKeepTheOrderAndTheLongNotesRight)
{
    const TickTimesMatter::Scoped matters(true);
    const ChunkNotes other{MakeNote(100, 64, 900), MakeNote(140, 60, 999), MakeNote(140, 60, 1500)};
    const std::pair<boost::function<void(ChunkNotes&)>, const char*> kCases[] = {
        {[](auto& io) {
             io.EraseNote({Ticks(140), Mdid_NoteWithDurationEvent(0, 60, TickLength(7), 9, 1)});
         },
         "100:64x900 | "}, // kept: duration and off velocity take no part
        {[](auto& io) { io.OffsetTimes(TickLength(360)); }, "460:64x900 500:60x1000 | 500:60x1000 "}, // never snaps
        {[](auto& io) { io.OffsetStarts(TickLength(360)); }, "0:64x1000 1000:60x140 | 0:64x1000 "},
        {[](auto& io) { io.OffsetStarts({}); }, "0:60x1140 0:64x1000 | 0:60x1140 0:64x1000 "}, // in order again
        {[](auto& io) { io.OffsetDurations(TickLength(99)); }, "100:64x999 140:60x1099 | 140:60x1099 "},
        {[](auto& io) { io.OffsetPitches(TickLength(5)); }, "100:63x900 140:59x1000 | 140:59x1000 "}, // kept: inverted
        {[](auto& io) { io.AddNote(MakeNote(150, 0, 1)), io.OffsetPitches(TickLength(5)); },
         "100:64x900 140:60x1000 150:0x1 | 140:60x1000 "}, // kept: all or none
        {[](auto& io) { io.SetLongNoteDuration(TickLength(1)); }, "100:64x900 140:60x1000 | 140:60x1000 "}, // kept
        {[&](auto& io) { io.Erase(&other); }, "140:60x1000 | 140:60x1000 "}, // by start and whole event
        {[&](auto& io) { io.EraseTimeRange(Ticks(0), Ticks(140)), io.Merge(&other), io.EraseNote(other[0]); },
         "140:60x999 140:60x1000 140:60x1500 | 140:60x1000 140:60x1500 "},
        {[](auto& io) { io.Merge(&io), io.CopyTimeRange(&io, Ticks(100), Ticks(140)); }, "100:64x900 100:64x900 | "},
        {[](auto& io) { io.Merge(&io), io.Erase(&io), io.Merge(&io); }, "| "},
        {[&](auto& io) { io = other; }, "100:64x900 140:60x999 140:60x1500 | 140:60x1500 "},
    };
    for (const auto& [edit, notes] : kCases)
    {
        ChunkNotes list({MakeNote(100, 64, 900), MakeNote(140, 60, 1000)}, true); // 1000 is long
        edit(list);
        EXPECT_EQ(Describe(list), notes);
    }
    ChunkNotes list(other);
    const auto added = list.AddNote(other[0]);
    EXPECT_EQ(added, list.begin() + 1);                                        // of equal notes the new one comes last
    EXPECT_FALSE(list.IsNoteInList({Ticks(100), Mdid_NoteOnEvent(0, 64, 9)})); // kept: type 3 only
}

TEST(Mdid_NoteList, BorrowedNotesComeBackInOrderAndBrokenContractsAreReported)
{
    RecordingAssertHandler asserts;
    ChunkNotes list{MakeNote(0, 60, 1), MakeNote(10, 61, 2000), MakeNote(20, 62, 1), MakeNote(30, 63, 1)};
    auto batch = list.ModificationBatch();
    auto waiting = list.Borrow(list[0]), element = list.Borrow(list[3]);
    waiting.mElement.SetTime(Ticks(35)), element.mElement.SetTime(Ticks(5));
    batch.Return(std::move(element)), list.EraseTimeRange(Ticks(20), Ticks(21)), list.AddNote(MakeNote(-1, 64, 1));
    batch.Return(std::move(waiting)), batch.Return(list.Borrow(list[3])), batch.Complete();
    EXPECT_EQ(Describe(list), "-1:64x1 5:63x1 10:61x2000 35:60x1 | 10:61x2000 ");
    auto moved = list.Borrow(list[0]);
    moved.mElement.SetTime(Ticks(50)), batch.Return(std::move(moved));
    list.EraseNote(list[1]); // which moves before it is erased
    EXPECT_EQ(Describe(list), "10:61x2000 35:60x1 50:64x1 | 10:61x2000 ");
    ChunkNotes chord{MakeNote(0, 66, 1), MakeNote(0, 67, 1), MakeNote(0, 68, 1)};
    auto middle = chord.Borrow(chord[1]), last = chord.Borrow(chord[2]);
    middle.mElement.GetNote().SetPitch(65), chord.Return(std::move(middle)), chord.Return(std::move(last));
    EXPECT_EQ(Describe(chord), "0:65x1 0:66x1 0:68x1 | ");
    last = chord.Borrow(chord[2]), chord.AddNote(MakeNote(0, 61, 1)), chord.Return(std::move(last));
    EXPECT_TRUE(chord.CheckInvariants());
    auto lost = list.Borrow(list[0]);
    list.Clear(), list.Return(std::move(lost)), list.Return(list.Borrow(MakeNote(1, 64, 1))); // neither is its own
    EXPECT_THROW(list.CopyTimeRange(nullptr, Ticks(0), Ticks(1)), Cmn_AssertException);
    Ndo_AutoPtr<Mdid_NoteListBase> undoable(new Mdid_NoteList(Ndo_Object::kUndoable, false));
    EXPECT_THROW(list.SetLongNoteList(std::move(undoable), {}, {}), Cmn_AssertException);
    EXPECT_TRUE(asserts.Take().size() == 5 && list.empty());
}

TEST(Mdid_NoteList, WhileReadingNotesStayWhereTheyAre)
{
    const ScopedAllowMPE allow(true);
    const TickTimesMatter::Scoped matters(true);
    const Note note = MakeNote(1450, 60, 1);
    ChunkNotes list({MakeNote(1400, 64, 1), note, note, note, MakeNote(9100, 60, 1)}, true);
    {
        const Mdid_NoteListBase::ReadingScope outer(list), inner(list);
        for (const int i : {3, 1, 11, 2, 0}) // so that neither rising nor falling addresses of lanes are in order
            AddLane(list, i % 10, Mdie_SubStream::Controller(i + 1));
        EXPECT_EQ(Describe(list), "1400:64x1 1450:60x1 1450:60x1 1450:60x1 9100:60x1 | ");
    }
    EXPECT_EQ(Describe(list), "1000:60x1 1000:60x1 1000:60x1 1000:64x1 9100:60x1 | "); // unless borrowed, not snapped
    for (const std::size_t i : {0u, 1u, 2u})                                           // and ties stay
        EXPECT_EQ(list[i].GetPerNoteControllers()->begin()->GetSubStream().GetSubType(), static_cast<int>(i) + 2);
    ChunkNotes merged, copied;
    merged.Merge(&list), list.CopyTimeRange(&copied, Ticks(0), Ticks(1001));
    bool inUse[120] = {};
    copied.FindPerNoteControllersInUse(inUse);
    EXPECT_TRUE(inUse[12] && !inUse[10] && list.IsMPE() && merged.IsMPE() && copied.IsMPE());
    const auto snaps = Time_Convert::GetSnapCallCount();
    list.Return(list.Borrow(*list.AddNote(Note(Time_Typed(1, Time_EType::kSample), list[0].GetNote(), false))));
    EXPECT_EQ(Time_Convert::GetSnapCallCount(), snaps + 1); // kept: whatever the kind of the time
}

TEST(Mdid_NoteList, UndoBringsAListBackWithAllThatBelongsToIt)
{
    const auto isUndone = [](auto iEdit)
    {
        Ndo_Step step("edit");
        return iEdit(), step.Commit() && Ndo_gManager.Undo();
    };
    auto* const listP = new ChunkNotes(Ndo_Object::kUndoable);
    const Ndo_ObjectID id = listP->NdoGetID();
    const ChunkNotes other;
    listP->AddNote(MakeNote(0, 0, 2000));
    EXPECT_FALSE(
        isUndone([&] { listP->EraseNote(MakeNote(0, 0, 2000, 1)), listP->EraseTimeRange(Ticks(6), Ticks(-5)); }));
    EXPECT_FALSE(isUndone([&] { listP->Erase(&other), listP->Merge(&other), listP->OffsetPitches(TickLength(1)); }));
    EXPECT_TRUE(isUndone([&] { listP->AddNote(MakeNote(1, 60, 700)), listP->SetLongNoteDuration(TickLength(600)); }));
    EXPECT_EQ(listP->GetLongNoteDuration(Time_EType::kTick), TickLength(600)); // kept: undo leaves the thresholds
    EXPECT_TRUE(isUndone([&] { listP->NdoDelete(); }));
    const Ndo_AutoPtr<Mdid_NoteList> plainP(new Mdid_NoteList(Ndo_Object::kUndoable, false));
    EXPECT_TRUE(isUndone([&] { *plainP = other; })); // its parts go with the step
    EXPECT_TRUE(!plainP->GetLongNoteList() && !plainP->GetTrimmedNotesContext());
    Ndo_gManager.DropHistory(), *plainP = ChunkNotes{MakeNote(0, 60, 2000)};
    EXPECT_TRUE(isUndone([&] { *plainP = Mdid_NoteList(Ndo_Object::kNotUndoable, false); })); // with what they hold
    EXPECT_TRUE(Describe(*plainP) == "0:60x2000 | 0:60x2000 " && plainP->GetTrimmedNotesContext());
    auto* const againP = dynamic_cast<Mdid_NoteList*>(Ndo_gManager.LookupObject(id));
    ASSERT_TRUE(againP && againP->GetTrimmedNotesContext());
    EXPECT_EQ(againP->GetLongNoteDuration(Time_EType::kTick), TickLength(600)); // or the long notes would be wrong
    const Mdid_NoteList moved(std::move(*againP));                              // what is registered does not move
    EXPECT_TRUE(Describe(moved) == "0:0x2000 | 0:0x2000 " && !moved.GetLongNoteList()->NdoIsUndoable());
    Ndo_gManager.DropHistory(), againP->NdoDelete(); // NOLINT(bugprone-use-after-move): still an empty list
}

} // namespace
