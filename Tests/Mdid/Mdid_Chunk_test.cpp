#include "Mdid/TestChunk.h"

#include "MFnd/Ndo_Manager.h"
#include "MFnd/Time_Globals.h"
#include "Support/RecordingAssertHandler.h"

namespace
{

using Edit = void (*)(Mdid_Chunk&);

Ndo_unique_ptr<Mdid_Chunk> MakeFilledChunk()
{
    return MakeChunk({MakeNote(0, 60, 500), PitchToMIDI(5), MakeNote(10, 61, 3'840'000), Controller(10, 7, 1),
                      Controller(20, 7, 2), Controller(20, 10, 3), Sysex(20)});
}
constexpr char kFilled[] = "0:60x500 5:60x5 10:61x3840000 | 10:61x3840000 / 7.0.0 10=1 20=2 10.0.0 20=3 / 20";

void Act(Mdid_Chunk& ioChunk, Edit iEdit)
{
    Ndo_Step step("edit");
    iEdit(ioChunk);
    step.Commit();
}

TEST(Mdid_Chunk, AnEventGoesToThePartOfItsType)
{
    const std::tuple<Mdid_ExtendedEvent, Mdie_SubStream::EStreamType, std::string> kCases[] = {
        {MakeNote(1499, 60, 7), kOrdinary, "1000:60x7 | / /"}, // on the coarse grid
        {MakeNote(1500, 60, 3'840'000), kOrdinary, "2000:60x3840000 | 2000:60x3840000 / /"},
        {PitchToMIDI(0), kOrdinary, "0:60x5 | / /"},
        {At(0, MakeNote(0, 60, 7).GetEvent()), kOrdinary, "| / /"}, // kept: a note without extension
        {At(0, Mdid_NoteOnEvent(0, 60, 9)), kOrdinary, "| / /"},    // kept: a host pairs note-ons and note-offs
        {Bend(600, -7, 3), kOrdinary, "| / 0.0.3 1000=-7 /"},
        {{Time_Sample(600), Mdid_PitchBendEvent(3, -7)}, kPerChannel, "| / 0.2.3 600=-7 /"},
        {Controller(0, 1, 2), kOfNote, "| / 1.3.0 0=2 /"},
        {Controller(0, 119, 2), kPerNote, "| / 119.0.0 0=2 /"}, // reported
        {Controller(0, 0, 2), kOrdinary, "| / /"},              // kept: a bank
        {Controller(0, 120, 2), kOrdinary, "| / /"},            // kept: a channel mode
        {Sysex(400, 50), kOrdinary, "| / / 0"},
        {At(0, BareEvent(Mdid_Event::kStart)), kOrdinary, "| / /"},
    };
    const TickTimesMatter::Scoped ticksMatter(true);
    RecordingAssertHandler asserts;
    Mdid_DisplayItemList stays;
    for (const auto& [event, streamType, expected] : kCases)
    {
        const auto chunk = MakeChunk({});
        chunk->StoreSortedEventList(&stays);
        chunk->StoreSortedEventList(new Mdid_DisplayItemList); // kept: the first one is not destroyed
        chunk->AddEvent(event, streamType);
        EXPECT_TRUE(Describe(*chunk) == expected && chunk->GetSortedEventList() == nullptr) << Describe(*chunk);
        EXPECT_EQ(asserts.Take().size(), streamType == kPerNote ? 1u : 0u) << expected;
    }
}

TEST(Mdid_Chunk, LanesOfEveryStreamTypeAreFoundAgain)
{
    const auto chunk = MakeChunk({});
    for (const auto& event :
         {Controller(1, 7, 5, 1), Controller(0, 7, 5, 0), Controller(2, 7, 5, 2), Controller(1, 7, 5, 1)})
        for (const auto streamType : {kOrdinary, kPerChannel, kOfNote})
            chunk->AddEvent(event, streamType);
    EXPECT_EQ(chunk->GetContinuousList()->size(), 5u);
    // Kept: channels share an ordinary lane, where the last value at a time stays.
    chunk->AddEvent(Controller(1, 7, 6, 4), kOrdinary);
    EXPECT_EQ(Describe(*chunk->FindContinuousStream(Mdie_SubStream::Controller(7))), " 7.0.1 0=5 1=6 2=5");
}

TEST(Mdid_Chunk, EveryEditGoesBackAndForthAndTakesAStepOnlyForAChange)
{
    const std::string notes = "0:60x500 5:60x5 10:61x3840000 | 10:61x3840000 ";
    const std::string lanes = "/ 7.0.0 10=1 20=2 10.0.0 20=3 /";
    const std::tuple<Edit, bool, std::string> kCases[] = {
        {[](auto& i) { i.AddEvent(Bend(5, 1, 0), kOrdinary); }, true, notes + "/ 0.0.0 5=1" + lanes.substr(1) + " 20"},
        {[](auto& i) { i.EraseEvent(PitchToMIDI(5)); }, false, kFilled}, // kept: it comes in, but does not go out
        {[](auto& i) { i.EraseEvent(i.GetNoteList()->Last()); }, true, "0:60x500 5:60x5 | " + lanes + " 20"},
        {[](auto& i) { i.EraseEvent((*i.GetEventStream())[0]); }, true, notes + lanes},
        {[](auto& i) { i.EraseEvent(Controller(20, 10, 99)); }, true, notes + "/ 7.0.0 10=1 20=2 / 20"},
        // Kept: the end belongs to the range of the event stream, but not to those of the notes and lanes.
        {[](auto& i) { i.EraseRange(Ticks(0), Ticks(10)); }, true, "10:61x3840000 | 10:61x3840000 " + lanes + " 20"},
        {[](auto& i) { i.EraseRange(Ticks(11), Ticks(20)); }, true, notes + lanes},
        {[](auto& i) { i.EraseRange(Ticks(20), Ticks(0)); }, false, kFilled},
        {[](auto& i) { i.Clear(); }, true, "| / /"},
        {[](auto& i) { i.SetUID(Sys_Umid::Create()); }, true, kFilled},
        {[](auto& i) { i.SetIsLocal(false); }, true, kFilled},
        {[](auto& i) { i.AddClipBoundary(3, 4); }, false, kFilled}, // kept
    };
    const auto all = [](const auto& i) { return Describe(i) + i.GetUID().AsHexString() + (i.IsLocal() ? "l" : ""); };
    for (const auto& [edit, saves, expected] : kCases)
    {
        const auto chunk = MakeFilledChunk();
        const std::string before = all(*chunk);
        Act(*chunk, edit);
        const std::string after = all(*chunk);
        EXPECT_TRUE(Describe(*chunk) == expected && (before != after) == saves && Ndo_gManager.CanUndo() == saves)
            << after;
        for (int i = 0; saves && i < 2; ++i)
        {
            EXPECT_TRUE(Ndo_gManager.Undo() && all(*chunk) == before) << all(*chunk);
            EXPECT_TRUE(Ndo_gManager.Redo() && all(*chunk) == after) << all(*chunk);
        }
        Ndo_gManager.DropHistory();
    }
}

TEST(Mdid_Chunk, ADeletedChunkComesBackWholeAndAsUndoableAsBefore)
{
    Ndo_Step making("make");
    auto made = MakeFilledChunk();
    const Ndo_ExternalRefBase ref(made.get());
    making.Commit();
    made->AddClipBoundary(3, 4), made->AddClipBoundary(3, 5);
    const Sys_Umid uid = made->GetUID();
    Act(*made.release(), [](Mdid_Chunk& i) { i.SetIsLocal(false), i.NdoDelete(); });

    const auto chunk = [&] { return static_cast<Mdid_Chunk*>(ref.GetObjPtr()); };
    const auto isWhole = [&]
    {
        const Mdid_NoteListBase& notes = *chunk()->GetNoteList();
        using enum Time_EType;
        return Describe(*chunk()) == kFilled && chunk()->GetUID() == uid && chunk()->IsLocal() &&
               chunk()->QuantizeContents() && notes.GetLongNoteDuration(kTick).AsInt64() == 3'840'000 &&
               notes.GetLongNoteDuration(kSample).AsInt64() == 96'000 && notes.GetLongNoteList()->NdoIsUndoable() &&
               notes.GetLongNoteDuration(kMicrosecond).AsInt64() == 2'000'000;
    };
    ASSERT_TRUE(!chunk() && Ndo_gManager.Undo() && chunk() && isWhole());
    EXPECT_EQ(chunk()->GetClipBoundaryMap(), (Mdid_Chunk::ClipBoundaryMap{{3, 5}})); // kept: the second value
    ASSERT_TRUE(Ndo_gManager.Redo() && !chunk() && Ndo_gManager.Undo() && isWhole());
    ASSERT_TRUE(Ndo_gManager.Undo() && !chunk() && Ndo_gManager.Redo() && isWhole()); // the making
    Act(*chunk(), [](Mdid_Chunk& i) { i.AddEvent(Controller(0, 1, 1), kOrdinary); });
    EXPECT_TRUE((*chunk()->GetContinuousList())[0]->NdoIsUndoable());
    chunk()->AddClipBoundary(8, 8);
    chunk()->StoreSortedEventList(new Mdid_DisplayItemList);
    EXPECT_TRUE(Ndo_gManager.Undo() && isWhole() && chunk()->GetSortedEventList() == nullptr);
    EXPECT_EQ(chunk()->GetClipBoundaryMap().size(), 2u); // newer than the state
    Ndo_gManager.DropHistory();
    chunk()->NdoDelete();
}

TEST(Mdid_Chunk, ALongNoteSavesTheListOfLongNotesToo)
{
    const auto heldByAdding = [](std::int64_t iDuration)
    {
        auto chunk = MakeChunk({MakeNote(0, 60, 9)});
        Ndo_gManager.DropHistory();
        Ndo_Step step("add");
        chunk->AddEvent(MakeNote(9, 60, iDuration), kOrdinary);
        step.Commit();
        const std::size_t held = Ndo_gManager.GetBytesHeld();
        Ndo_gManager.DropHistory();
        return held;
    };
    EXPECT_GE(heldByAdding(3'840'000), heldByAdding(3'839'999) + Ndo_Manager::kBytesOfRecord);
}

TEST(Mdid_Chunk, NullsAmongTheLanesArePassedOver)
{
    const auto chunk = MakeFilledChunk();
    Mdid_ContinuousDataStreamList& lanes = *chunk->GetContinuousList();
    lanes.insert(lanes.insert(lanes.begin() + 1, nullptr), nullptr); // undo of what is not undoable leaves such
    chunk->AddEvent(Controller(5, 8, 1), kOrdinary);
    chunk->EraseEvent(Controller(20, 10, 0));
    bool inUse[120] = {};
    chunk->FindMIDIControllersInUse(inUse);
    EXPECT_TRUE(inUse[7] && inUse[8] && !inUse[10] && !Saved(*chunk).empty());
    chunk->Clear();
    chunk->NdoRestoreState(chunk->GetNoteList()->NdoGetState().get()); // kept: of another class, ignored in silence
    EXPECT_EQ(Describe(*chunk), "| / null null /");
}

} // namespace
