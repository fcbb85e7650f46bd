#include "Mdid/Mdid_ChunkRef.h"

#include "Mdid/Mdid_ChunkWriter.h"
#include "Mdid/TestChunk.h"

#include "Support/AllocationCounter.h"
#include "Support/ScopedAllowMPE.h"

namespace
{

Mdid_ChunkRef MakeRef(Ndo_Object::EUndoFlag iUndoFlag = Ndo_Object::kNotUndoable)
{
    return Mdid_ChunkRef(Mdid_Chunk::New(iUndoFlag, false));
}

TEST(Mdid_ChunkRef, TheLastOneOfAllCopiesDeletesTheChunkOnce)
{
    const AllocationCounter counter;
    {
        Mdid_ChunkRef first = MakeRef();
        Mdid_ChunkRef second = std::move(first);
        EXPECT_TRUE(first.Get() == second.Get() && second.GetRefCount() == 2); // kept: a move is a copy
        second.AddToRealUsers(-2);
        EXPECT_EQ(first.GetNumRealUsers(), -2);
        Mdid_ChunkRef third = MakeRef();
        third = std::move(second);
        third = *&third;
        EXPECT_TRUE(second && first.GetRefCount() == 3);
        third = MakeRef();
        const Mdid_ChunkRef ofItsOwn(third.Get()), another(third.Get()); // share nothing, but the chunk goes once
        third = Mdid_ChunkRef();
        EXPECT_FALSE(ofItsOwn || another || third || first.GetRefCount() != 2);
    }
    EXPECT_EQ(counter.GetLive(), 0);
}

TEST(Mdid_ChunkRef, EmptyOnesAreNoChunkAndComeFirst)
{
    const Mdid_ChunkRef empty(nullptr), ref = MakeRef(), copy(ref), other = MakeRef();
    EXPECT_FALSE(empty || empty.IsSameChunkAs(empty) || ref < empty || empty < empty); // kept
    EXPECT_TRUE(empty < ref && (ref < other) != (other < ref));
    EXPECT_TRUE(ref.IsSameChunkAs(copy) && !ref.IsSameChunkAs(other));
}

TEST(Mdid_ChunkRef, AChunkThatUndoTookAwayIsBackAfterRedo)
{
    Ndo_Step step("make");
    Mdid_ChunkRef ref = MakeRef(Ndo_Object::kUndoable);
    const Mdid_ChunkRef other(ref.Get());
    step.Commit();
    EXPECT_TRUE(Ndo_gManager.Undo() && !ref && Ndo_gManager.Redo() && ref);
    Ndo_Step release("release");
    ref = Mdid_ChunkRef();
    release.Commit();
    EXPECT_TRUE(!other && Ndo_gManager.Undo() && other);
    Ndo_gManager.DropHistory();
}

TEST(Mdid_ChunkWriter, ForMPEOnlyTheExpressionOfOtherThanTheMasterChannelWaits)
{
    SysexPool pool;
    const ByteVector bytes = CountingBytes(20);
    const Mdid_ChunkRef target = MakeRef();
    Mdid_ChunkWriter writer;
    writer.SetImportAsMPE();
    writer.SetChunkRef(target);
    for (const Mdid_ExtendedEvent& event :
         {Bend(1, 7, 2), Bend(1, 8, 0), Controller(1, 74, 5, 2), PitchToMIDI(1), At(1, Mdid_MonoPressureEvent(15, 5)),
          At(1, Mdid_ProgramEvent(2, 0, 0)), At(1, Mdid_PolyPressureEvent(2, 0, 5)), At(1, MakePacket(bytes, pool))})
        Mdid_ChunkWriter(writer).ReceiveEvent(event);
    EXPECT_EQ(Describe(*target), "| / 0.0.0 1=8 121.0.2 1=0 122.0.2 1=5 / 1"); // kept: 6 and 8 of any channel
    EXPECT_EQ(BytesOf(target->GetEventStream()->front().GetEvent()), ToHex(bytes));
    EXPECT_EQ(pool.CountInUse(), 0u); // the block of an input thread does not stay
}

TEST(Mdid_ChunkWriter, ANoteTakesWhatItsChannelHoldsAsFarAsItHasCome)
{
    const std::tuple<int, int, std::string> kCases[] = {
        {0, 10, ""}, // start and duration; the end does not count
        {0, 11, " 0.3.1 10=1"},
        {10, 0, " 0.3.1 0=1"},
        {15, 15, " 0.3.1 0=1 5=2 74.3.1 10=9"},
        {40, 10, " 0.3.1 0=3 74.3.1 0=9"},
    };
    for (const bool isMPE : {true, false})
    {
        const ScopedAllowMPE allow(isMPE);
        const Mdid_ChunkRef target = MakeRef();
        Mdid_ChunkWriter writer;
        const auto lanesOf = [&](const Note& iNote)
        {
            target->Clear();
            writer.ReceiveEvent(iNote);
            const Note& note = target->GetNoteList()->Last();
            std::string text;
            for (int i = 0; note.HasPerNoteControllers() && i < std::ssize(*note.GetPerNoteControllers()); ++i)
                text += Describe(note.GetPerNoteControllers()->begin()[i]);
            // The lanes' flags are those of the target, as they are when it is read. (No duration 0 comes back.)
            EXPECT_TRUE(iNote.GetDuration().AsInt64() == 0 || *Read(Saved(*target), false) == *target);
            return text;
        };
        writer.SetImportAsMPE();
        writer.SetChunkRef(target);
        EXPECT_EQ(lanesOf(MakeNote(40, 60, 10, 1)), ""); // kept: before its expression has come
        for (const auto& event : {Bend(10, 1, 1), Bend(20, 2, 1), Bend(30, 3, 1), Controller(25, 74, 9, 1)})
            writer.ReceiveEvent(event);
        for (const auto& [start, duration, expected] : kCases)
            EXPECT_EQ(lanesOf(MakeNote(start, 60, duration, 1)), isMPE ? expected : "");
        EXPECT_TRUE(lanesOf(MakeNote(40, 60, 10, 2)).empty()); // of another channel
        writer.SetChunkRef(target);                            // nothing waits any more
        EXPECT_EQ(lanesOf(MakeNote(40, 60, 10, 1)), "");
    }
}

} // namespace
