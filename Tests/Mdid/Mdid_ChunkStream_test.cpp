#include "Mdid/TestChunk.h"

#include "CFnd/Cmn_XMLNode.h"
#include "CFnd/Sys_DelayedDeletion.h"
#include "Support/AllocationCounter.h"
#include "Support/FailureOf.h"
#include "Support/ScopedAllowMPE.h"

namespace
{

constexpr const char* kHead = "06 4d644368756e 0100"; // "MdChun", version
constexpr std::size_t kHeadSize = 17;
constexpr std::size_t kCountPlace = kHeadSize + 38; // behind an empty note list

const Mdie_SubStream kBendOfNote(Mdie_SubStream::kOfNote, Mdid_Event::kPitchBend, 0);

// Chords on one channel, the higher note first, and two equal note-ons, all with lanes of their own.
Ndo_unique_ptr<Mdid_Chunk> MakeFullChunk()
{
    const Note inSamples(Time_Sample(48'000), MakeNote(0, 61, 9, 3).GetNote(), true);
    auto chunk = MakeChunk({MakeNote(0, 64, 9), MakeNote(0, 60, 9), MakeNote(7, 60, 3), MakeNote(7, 60, 4),
                            MakeNote(9, 60, 3'840'000), inSamples, Controller(5, 74, 3), Controller(6, 7, 1),
                            Bend(8, -5, 0), At(8, Mdid_ProgramEvent(0, 3, 4)), At(9, Mdid_PolyPressureEvent(0, 60, 1)),
                            Sysex(5), Sysex(6, 100)});
    for (int i = 0; Mdid_AllowMPE() && i < 6; ++i)
        for (const auto type : {Mdid_Event::kPitchBend, Mdid_Event::kMonoPressure, Mdid_Event::kController})
            AddLane(*chunk->GetNoteList(), i, Mdie_SubStream(kOfNote, type, 74));
    return chunk;
}

TEST(Mdid_ChunkStream, TheRecordIsReadAndWrittenToTheLetter)
{
    const std::string lanes = "054d644e4c42 0300 1600000000000000 00000000 00000000 0b000000 00000000 0300 12000000"
                              "01000000" // the number of lane records
                              "054d64434453 0200 3300000000000000 044d647373 0100 0500000000000000 02 07000000"
                              "044d644344 0100 1000000000000000 01000000 1500000000000000 01000000";
    const std::string events = "044d644553 0100 1400000000000000 054d6454454c 0100 0400000000000000 00000000";
    const std::string uid = "ab010200000000000000000000000000";
    const std::tuple<std::string, bool, std::string> kCases[] = {
        {lanes, true, std::string(32, '0')}, // kept: local and without identity, where an older writer ended
        {lanes + events, true, std::string(32, '0')},
        {lanes + events + uid + "00", false, uid},
        {lanes + events + uid + "00 ffff", false, uid}, // of a newer writer
    };
    for (const auto& [body, isLocal, expectedUID] : kCases)
    {
        const auto chunk = Read(Record(kHead, FromHex(body)));
        EXPECT_TRUE(Describe(*chunk) == "| / 7.0.0 5=1 /" && chunk->IsLocal() == isLocal) << body;
        const auto node = chunk->GetAsXML();
        EXPECT_TRUE(node->GetName() == "MIDI_Chunk" && node->GetChildren().front()->GetName() == "NoteList");
        const std::string numLanes = node->FindChild("NumContinuousControllerDataStreams")->GetValue();
        EXPECT_EQ(numLanes + node->FindChild("UID")->GetValue(), "1" + expectedUID);
        EXPECT_TRUE(isLocal || Saved(*chunk) == Record(kHead, FromHex(lanes + events + uid + "00")));
    }
}

TEST(Mdid_ChunkStream, WhatIsReadBackEqualsAndIsWrittenTheSame)
{
    for (const bool isMPE : {false, true})
    {
        const ScopedAllowMPE allow(isMPE);
        const auto chunk = MakeFullChunk();
        const ByteVector bytes = Saved(*chunk);
        const auto read = Read(bytes);
        EXPECT_TRUE(*read == *chunk && Saved(*read) == bytes) << Describe(*read) << "\n" << Describe(*chunk);
        EXPECT_TRUE((*read->GetContinuousList())[0]->NdoIsUndoable() && read->GetNoteList()->CheckInvariants());
    }
}

TEST(Mdid_ChunkStream, ARecordIsCountedForEachRunOfLanesOfOneIndex)
{
    const auto chunk = MakeChunk({Controller(0, 7, 1), Controller(0, 10, 1)});
    Mdid_ContinuousDataStreamList& lanes = *chunk->GetContinuousList();
    lanes.push_back(lanes[0]);
    EXPECT_EQ(Saved(*chunk)[kCountPlace], 3); // kept: the same index apart counts twice
    std::swap(lanes[1], lanes[2]);
    EXPECT_EQ(Saved(*chunk)[kCountPlace], 2);
    lanes.erase(lanes.begin());
}

TEST(Mdid_ChunkStream, DamageIsRefusedWithoutALeakAndWithoutRoomForWhatIsNotThere)
{
    const ScopedAllowMPE allow(true);
    const ByteVector record = Saved(*MakeFullChunk());
    ByteVector empty = Saved(*MakeChunk({}));
    Sys_DelayedDeletion::Purge(std::chrono::milliseconds(0));
    const AllocationCounter counter;
    for (const std::uint32_t count : {0xFFFFFFFFu, 0x7FFFFFFFu, 1u})
    {
        std::ranges::copy(Sys_ToBytes<std::endian::little>(count), empty.begin() + kCountPlace);
        EXPECT_THROW(Read(empty), std::runtime_error) << count;
    }
    EXPECT_LT(counter.GetPeakBytes(), 10'000);
    int numWhole = 0;
    for (std::size_t size = kHeadSize; size < record.size(); ++size)
    {
        ByteVector cut(record.data(), record.data() + size);
        EXPECT_THROW(Read(cut), Sys_StreamException);
        std::ranges::copy(Sys_ToBytes<std::endian::little>(size - kHeadSize), cut.begin() + kHeadSize - 8);
        numWhole += FailureOf([&cut] { Read(cut); }).empty();
    }
    EXPECT_EQ(numWhole, 2); // to the ends of the lanes and of the events
    Sys_DelayedDeletion::Purge(std::chrono::milliseconds(0));
    EXPECT_EQ(counter.GetLive(), 0);
}

TEST(Mdid_ChunkStream, LanesOfNotesInTheChunksOwnListAreSavedWhereTheyFindTheirNotes)
{
    const ScopedAllowMPE allow(true);
    auto chunk = MakeChunk({MakeNote(0, 64, 9), MakeNote(0, 60, 9), Controller(0, 7, 1)});
    AddLane(*chunk->GetNoteList(), 0, kBendOfNote);
    AddLane(*chunk->GetNoteList(), 1, kBendOfNote);
    const ByteVector record = Saved(*chunk);
    Mdid_AllowMPE().Set(false);
    chunk = Read(record); // the head of the group is of pitch 60
    const std::string opened = "0:60x9 0:64x9 | / 0.4.0 1=0 7.0.0 0=1 /";
    EXPECT_EQ(Describe(*chunk), opened);
    EXPECT_EQ(Describe(*Read(Saved(*chunk))), "0:60x9 0:64x9 | / 0.0.0 1=0 7.0.0 0=1 /"); // as an ordinary one
    Mdid_AllowMPE().Set(true);
    const auto again = Read(Saved(*chunk));
    const Mdid_NoteListBase& notes = *again->GetNoteList();
    EXPECT_TRUE(notes[0].HasPerNoteControllers() && !notes[1].HasPerNoteControllers());
    EXPECT_EQ(Describe(*again), "0:60x9 0:64x9 | / 7.0.0 0=1 /");
    EXPECT_TRUE(Saved(*chunk) == Saved(*chunk) && Describe(*chunk) == opened); // no lane of the chunk is deleted
    AddLane(*chunk->GetNoteList(), 0, kBendOfNote);
    AddLane(*chunk->GetNoteList(), 1, kBendOfNote);
    EXPECT_EQ(Saved(*Read(Saved(*chunk))), record); // the notes have lanes of their own now
}

} // namespace
