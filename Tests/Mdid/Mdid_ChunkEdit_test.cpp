#include "Mdid/Mdid_Chunk.h"
#include "Mdid/TestNotes.h"

#include "MFnd/Ndo_Manager.h"
#include "MFnd/Time_Globals.h"

#include <gtest/gtest.h>

namespace
{

constexpr auto kOrdinary = Mdie_SubStream::kOrdinary;

TEST(Mdid_ChunkEdit, WhatChangesNothingLeavesNoStepButReplaceData)
{
    const TickTimesMatter::Scoped matter(true);
    const auto chunk = Mdid_Chunk::MakeUnique(Ndo_Object::kUndoable, true);
    chunk->AddEvent(MakeNote(1000, 60, 7), kOrdinary);
    chunk->AddEvent({Time_Typed(7, Time_EType::kSample), Mdid_ControllerEvent(0, 7, 3)}, kOrdinary);
    const auto other = chunk->Clone();
    other->AddEvent({Time_Typed(7, Time_EType::kSample), Mdid_ControllerEvent(0, 7, 4)}, kOrdinary);
    const Mdie_Filter noNotes = Mdie_Filter().SetAll().Set(Mdie_Filter::kNotes, false);
    Ndo_Step step("Nothing");
    chunk->QuantizeEventsForTTM();
    chunk->AddEventsFromChunk(other.get(), Ticks(0), Ticks(2000), TickLength(0), Mdie_Filter());
    chunk->EraseEventsFromChunk(other.get(), Ticks(0), Ticks(2000), TickLength(0), noNotes);
    step.Commit();
    EXPECT_FALSE(Ndo_gManager.CanUndo());
    Ndo_Step second("Replace");
    chunk->ReplaceData(chunk.get());
    EXPECT_TRUE(second.Commit() && Ndo_gManager.CanUndo());
    Ndo_gManager.DropHistory();
    other->SetIsLocal(false);
    other->AddClipBoundary(1, 2);
    chunk->ReplaceData(other.get());
    EXPECT_TRUE(*chunk == *other && chunk->IsLocal() && chunk->GetUID() != other->GetUID());
    EXPECT_EQ(chunk->GetClipBoundaryMap(), other->GetClipBoundaryMap());
}

TEST(Mdid_ChunkEdit, PerNoteLanesAreMergedByTheirPitchAlthoughTheirKeysEqualThoseOfOthers)
{
    const auto chunk = Mdid_Chunk::MakeUnique(Ndo_Object::kNotUndoable, false);
    const auto other = Mdid_Chunk::MakeUnique(Ndo_Object::kNotUndoable, false);
    for (const int pitch : {64, 60})
    {
        const Mdie_SubStream key(Mdid_PitchBendEvent(0, 1), MakeNote(0, pitch, 5));
        auto laneP = std::make_unique<Mdid_ContinuousDataStream>(key, Ndo_Object::kNotUndoable, false);
        laneP->AddBreakpoint(Ticks(pitch), pitch);
        auto& lanes = *other->GetContinuousList();
        lanes.insert(lanes.begin(), laneP.release());
    }
    const Mdie_Filter all = Mdie_Filter().SetAll();
    for (int i = 0; i < 2; ++i)
        chunk->AddEventsFromChunk(other.get(), Ticks(0), Ticks(100), TickLength(0), all);
    EXPECT_TRUE(*chunk == *other && chunk->GetContinuousList()->size() == 2);
    chunk->EraseEventsFromChunk(other.get(), Ticks(0), Ticks(64), TickLength(0), all);
    EXPECT_EQ(chunk->GetContinuousList()->size(), 1u);
}

} // namespace
