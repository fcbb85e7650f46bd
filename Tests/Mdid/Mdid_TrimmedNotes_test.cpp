#include "MFnd/TimeModel.h"
#include "MFnd/Time_Convert.h"
#include "MFnd/Time_Globals.h"
#include "Mdid/TestChunk.h"
#include "Support/AllocationCounter.h"
#include "Support/RecordingAssertHandler.h"
#include "Support/ScopedAllowMPE.h"

#include <rapidcheck/gtest.h>

#include <sstream>

namespace
{

using Context = Mdid_NoteListTrimmedNotesContext;
using enum Time_EType;
constexpr int kHead = Context::kHead, kTail = Context::kTail, kBoth = Context::kBoth;

constexpr auto Clip = [](int i) { return Sys_UUID(0, static_cast<std::uint64_t>(i)); };

// "120x10 -20+20@7 ": start, duration, and, of what was trimmed off, the deltas and the number of the clip.
template <class Notes>
std::string Tell(const Notes& iNotes)
{
    std::ostringstream text;
    for (const Note& note : iNotes)
        if (text << note.GetTime().AsInt64() << 'x' << note.GetDuration().AsInt64() << ' ';
            const auto* const i = note.GetTrimExtension())
            text << i->mLeftUntrimmedDelta << '+' << i->mRightUntrimmedDelta << '@' << i->mClipUUID.GetLow() << ' ';
    return text.str();
}

constexpr auto Trimmed = [](Note io, std::int64_t iLeft, std::int64_t iRight, int iClip) {
    return io.SetTrimExtension({iLeft, iRight, Clip(iClip)}), io;
};

// Exactly, if it is of one kind of time; otherwise to one unit of the coarsest: at tempos of less than a second
// samples, then microseconds.
bool IsAsBefore(const Note& iNote, const Note& iBefore)
{
    const Time_EType kind = iBefore.GetDuration().GetType();
    const std::array kinds{iBefore.GetTime().GetType(), kind, iBefore.GetOriginalDuration().GetType()};
    const auto coarsest = std::ranges::max(kinds, {}, [](auto i) { return i == kSample ? 3 : static_cast<int>(i); });
    const auto in = [](Time_EType iKind, Time_Typed i) { return Time_Convert::ToType(i, iKind); };
    const auto start = in(coarsest, iNote.GetTime()) - in(coarsest, iBefore.GetTime());
    const auto endOf = [&](const Note& i) { return in(coarsest, in(kind, i.GetTime()) + i.GetDuration()); };
    const int tolerance = std::ranges::count(kinds, kind) == 3 ? 0 : 1;
    return std::max(std::abs(start.AsInt64()), std::abs((endOf(iNote) - endOf(iBefore)).AsInt64())) <= tolerance;
}

RC_GTEST_PROP(Mdid_TrimmedNotes, WhateverIsTrimmedOffComesBack, ())
{
    const Time_Globals::ScopedContext tempos(MakeContext({{0, 500'000}, {50'000, 123'457}}, 44'100, 7));
    const auto any = [](int iEnd) { return *rc::gen::inRange(0, iEnd); };
    const bool isMixed = any(2) == 1;
    const auto anyKind = [&] { return isMixed ? Time_EType(any(3)) : kTick; };
    const auto anyTime = [&] { return Time_Convert::ToType(Ticks(any(150'000)), anyKind()); };
    const auto chunk = MakeChunk({});
    Mdid_NoteListBase& list = *chunk->GetNoteList();
    list.SetClip(Clip(7)), list.SetLongNoteDuration(TickLength(1000));
    std::vector<Note> notes;
    for (signed char i = 0; i < 12; ++i)
    {
        const Time_TypedLength duration(1 + any(*rc::gen::element(2, 2'000, 80'000)), anyKind()), played(9, anyKind());
        const Mdid_NoteWithDurationEvent event(0, i, duration, 9, 64), original(0, i, played, 9, 64);
        list.AddNote(notes.emplace_back(anyTime(), event, false, Time_TypedLength(), original));
    }
    Context foreign(list, Ndo_Object::kNotUndoable), &own = *list.GetTrimmedNotesContext();
    foreign.SetClipUUID(Clip(9)), Ndo_gManager.DropHistory();
    std::vector<std::string> steps{Tell(list)};
    for (int i = any(25); i > 0; --i)
    {
        Ndo_Step step("edit");
        Context& context = any(4) == 0 ? foreign : own;
        const Time_Typed time = anyTime(), later = time + Time_TypedLength(any(9'000), anyKind());
        const boost::function<void()> kEdits[] = {
            [&] { context.TrimOverlappingNotes<kHead>(time), context.TrimOverlappingNotes<kTail>(later); },
            [&] { context.UntrimOverlappingNotes<kHead>(time); },
            [&] { context.UntrimOverlappingNotesInRange<kTail>(time, later); },
            [&] { list.SetClip(Clip(any(3))); },
            [&] { list.ReplaceData(Read(Saved(*chunk))->GetNoteList()); },
        };
        kEdits[any(5)]();
        if (step.Commit(); Ndo_gManager.GetStepCount() == steps.size())
            steps.push_back(Tell(list));
    }
    for (std::size_t i = steps.size() - 1; i-- > 0;)
        RC_ASSERT(Ndo_gManager.Undo() && Tell(list) == steps[i] && list.CheckInvariants());
    for (std::size_t i = 1; i < steps.size(); ++i)
        RC_ASSERT(Ndo_gManager.Redo() && Tell(list) == steps[i] && list.CheckInvariants());
    Ndo_gManager.DropHistory();
    for (Context* const contextP : {&own, &foreign})
        contextP->UntrimOverlappingNotesInRange<kBoth>(Ticks(-1), Ticks(1 << 30));
    RC_ASSERT(!own.ListHasTrimmedNotes() && list.Size() == notes.size() && list.CheckInvariants());
    for (const Note& note : list)
        RC_ASSERT(!note.HasTrimExtension() && IsAsBefore(note, notes[static_cast<std::size_t>(note.GetPitch())]));
}

TEST(Mdid_TrimmedNotes, CutsLieStrictlyInsideAndAreGivenBackToTheirClip)
{
    const Mdid_TrimmedNotesNoContext nobody;
    std::vector notes(3, MakeNote(100, 60, 50));
    notes[0].GetNote().SetDuration({50, kSample}), notes[0].TrimNote(Ticks(100), Ticks(101), &nobody); // of one sample
    notes[1].TrimNote(Ticks(101), Ticks(149), nullptr), notes[2].TrimNote(Ticks(120), Ticks(120), &nobody);
    EXPECT_EQ(Tell(notes), "100x50 101x48 -1+1@0 120x30 -20+0@0 ");
    for (const std::int64_t left : {INT64_MIN, INT64_MAX, std::int64_t{1} << 61, std::int64_t{5}}) // as no cut leaves
    {
        notes = {2, Trimmed(MakeNote(100, 60, 50), left, left == INT64_MIN ? left : -left, 0)};
        notes[0].TrimNote(Ticks(110), Ticks(120), nullptr), notes[0].UntrimTail(nullptr), notes[0].UntrimHead(nullptr);
        EXPECT_TRUE(notes[0].GetDuration().AsInt64() >= 1 && !notes[0].HasTrimExtension());
        notes[1].UntrimHead(nullptr), notes[1].UntrimTail(nullptr), notes.erase(notes.begin());
        EXPECT_EQ(Tell(notes), "100x50 ");
    }
    const std::int64_t nearEnd = Time_Packed::kMaxCount - 100; // the end of such a note is beyond all times
    notes = {MakeNote(nearEnd, 60, 500)}, notes[0].TrimNote(Ticks(nearEnd + 9), Ticks(nearEnd + 50), nullptr);
    EXPECT_TRUE(notes[0].GetDuration() == TickLength(41) && notes[0].UntrimHead(nullptr) &&
                notes[0].UntrimTail(nullptr) && notes[0].GetDuration() == TickLength(500));
    ChunkNotes list{MakeNote(100, 60, 50), MakeNote(100, 61, 2000), MakeNote(150, 62, 50)};
    Context& context = *list.GetTrimmedNotesContext();
    context.TrimOverlappingNotes<kTail>(Ticks(150)), context.TrimOverlappingNotes<kHead>(Ticks(120));
    EXPECT_EQ(Tell(list) + Tell(context.TrimmedNotesView()),
              "120x30 -20+0@7 120x30 -20+1950@7 150x50 100x50 100x2000 150x50 ");
    context.UntrimOverlappingNotes<kTail>(Ticks(150)); // kept: it does not sound there
    list.SetClip(Clip(8)), list.SetClip(Clip(9)), list.SetClip(Clip(10));
    EXPECT_EQ(Tell(list), "120x30 -20+0@10 120x30 -20+1950@10 150x50 ");
    Context foreign(list, Ndo_Object::kNotUndoable);
    foreign.SetClipUUID(Clip(11)), foreign.UntrimOverlappingNotesInRange<kBoth>(Ticks(-1), Ticks(1 << 30));
    foreign.ResetUntrimmedDeltasOnOverlappingNotes<kBoth>(Ticks(149)), foreign.ResetAllUntrimmedDeltas();
    notes = {list[0]}, notes[0].TrimNote(Ticks(121), Ticks(149), &foreign), foreign.SetClipUUID(Clip(12));
    EXPECT_EQ(Tell(notes) + Tell(foreign.TrimmedNotesView()), "120x30 -20+0@10 120x30 120x30 150x50 ");
    foreign.TrimOverlappingNotes<kTail>(Ticks(140)); // takes over what the other one cut off
    EXPECT_EQ(Tell(list), "120x20 -20+10@12 120x20 -20+1960@12 150x50 ");
    foreign.ResetUntrimmedDeltasOnOverlappingNotesInRange<kHead>(Ticks(0), Ticks(121));
    foreign.UntrimOverlappingNotes<kBoth>(Ticks(139)); // one unit before the cut
    context.TrimOverlappingNotes<kHead>(Ticks(140)), context.ResetAllUntrimmedDeltas();
    EXPECT_EQ(Tell(list), "140x10 140x1960 150x50 ");
}

TEST(Mdid_TrimmedNotes, ExpressionStaysWhereItIsHeard)
{
    const ScopedAllowMPE allow(true);
    ChunkNotes list{MakeNote(100, 60, 50)};
    AddLane(list, 0, Mdie_SubStream::PitchBend());
    Mdid_BorrowedElement element = list.Borrow(list[0]);
    for (const std::int64_t time : {10, 30}) // counted from the start
        element.mElement.WritePerNoteControllers()->begin()->AddBreakpoint(Ticks(time), static_cast<int>(time));
    list.Return(std::move(element));
    list.GetTrimmedNotesContext()->TrimOverlappingNotes<kHead>(Ticks(120));
    const Note cut = list[0];
    list.GetTrimmedNotesContext()->ResetAllUntrimmedDeltas();
    EXPECT_EQ(Describe(*cut.GetPerNoteControllers()->begin()), " 0.0.0 1=0 10=10 30=30");
    EXPECT_EQ(Describe(*list[0].GetPerNoteControllers()->begin()), " 0.0.0 0=10 10=30");
}

TEST(Mdid_TrimmedNotes, EveryWayIntoAListFiltersByClipAndEdges)
{
    const TickTimesMatter::Scoped matters(true);
    const auto edges = [](const Sys_UUID&, Context::Side i) { return Ticks(i == kTail ? 3000 : 1400); };
    const std::tuple<bool, Note, const char*> kCases[] = {
        {false, Trimmed(MakeNote(5, 60, 9), -1, 1, 7), "5x9 -1+1@7 "}, // no edges are known
        {false, Trimmed(MakeNote(5, 60, 9), -1, 1, 6), "5x9 -1+1@6 "}, // of the clip before
        {false, Trimmed(MakeNote(5, 60, 9), -1, 1, 5), "5x9 "},
        {true, Trimmed(MakeNote(1400, 60, 1600), -1, 1, 6), "1400x1600 -1+1@6 "},
        {true, Trimmed(MakeNote(1000, 60, 1601), -1, 1, 7), "1000x1601 -1+0@7 "}, // where the edge is snapped to
        {true, Trimmed(MakeNote(1401, 60, 1599), -1, 1, 7), "1401x1599 0+1@7 "},
    };
    for (const auto& [hasEdges, note, expected] : kCases)
    {
        Mdid_NoteList source(Ndo_Object::kNotUndoable, false), added(Ndo_Object::kNotUndoable, true), copied(source);
        const Ndo_AutoPtr<Mdid_NoteList> takenP(new Mdid_NoteList(Ndo_Object::kUndoable, true));
        added.SetClip(Clip(6)), hasEdges ? added.SetClip(Clip(7), edges) : added.SetClip(Clip(7));
        Mdid_NoteList merged(added), moved(std::move(merged));
        copied = moved, merged = moved, *takenP = std::move(moved), source.AddNote(note), takenP->AddNote(note);
        added.AddNote(note), merged.Merge(&source), source.CopyTimeRange(&copied, Ticks(5), Ticks(1402));
        for (const Mdid_NoteListBase* const listP : {&added, &merged, &copied, takenP.Get()})
            EXPECT_EQ(Tell(*listP), expected);
    }
    ChunkNotes saved, list{MakeNote(0, 60, 5)};
    saved.SetClip(Clip(7)), saved.AddNote(Trimmed(MakeNote(3, 60, 9), -1, 0, 7)), list.SetClip(Clip(7), {});
    EXPECT_THROW(list.AddNote(saved[0]), boost::bad_function_call);
    EXPECT_THROW(list.Merge(&saved), boost::bad_function_call);
    EXPECT_THROW(saved.CopyTimeRange(&list, Ticks(0), Ticks(9)), boost::bad_function_call);
    EXPECT_EQ(Describe(list), "0:60x5 | ");
    for (const int i : {1, 2})
    {
        const FailingAllocation failing(i);
        EXPECT_THROW(saved.GetTrimmedNotesContext()->TrimOverlappingNotes<kTail>(Ticks(6)), std::bad_alloc);
    }
    EXPECT_EQ(Tell(saved), "3x9 -1+0@7 ");
}

TEST(Mdid_TrimmedNotes, TheClipOfAChunkComesBackWithUndo)
{
    RecordingAssertHandler asserts;
    static std::uint64_t sCalls;
    const auto edges = [](const Sys_UUID&, Context::Side) { return ++sCalls, Ticks(0); };
    Mdid_Chunk* chunkP = MakeChunk({MakeNote(0, 60, 50)}).release();
    const Ndo_ObjectID id = chunkP->NdoGetID();
    for (const int i : {7, 8, 9})
    {
        Ndo_Step step("edit");
        (i < 9 ? chunkP->SetClip(Clip(i), edges) : chunkP->NdoDelete()), step.Commit();
    }
    const auto clip = [&] // and one more if it filters by the edges; 0 without a context
    {
        chunkP = static_cast<Mdid_Chunk*>(Ndo_gManager.LookupObject(id));
        Context* const contextP = chunkP ? chunkP->GetNoteList()->GetTrimmedNotesContext() : nullptr;
        Note note = Trimmed(MakeNote(0, 60, 1), -1, 0, 8);
        if (sCalls = 0; contextP)
            contextP->UntrimOverlappingNotes<kHead>(Ticks(1)), contextP->FilterNote(note); // the list is there
        return sCalls + (contextP ? contextP->GetClipUUID().GetLow() : 0);
    };
    for (const std::uint64_t expected : {9u, 7u, 0u})
        EXPECT_TRUE(Ndo_gManager.Undo() && clip() == expected);
    for (const std::uint64_t expected : {7u, 9u, 0u})
        EXPECT_TRUE(Ndo_gManager.Redo() && clip() == expected);
    EXPECT_TRUE(Ndo_gManager.Undo() && clip() == 9 && asserts.Take().empty());
    chunkP->GetNoteList()->GetTrimmedNotesContext()->NdoRestoreState(nullptr);
    EXPECT_TRUE(asserts.Take().at(0).starts_with("state && state->mNoteList.Get() != nullptr") && clip() == 9);
    Ndo_gManager.DropHistory(), chunkP->NdoDelete();
}

} // namespace
