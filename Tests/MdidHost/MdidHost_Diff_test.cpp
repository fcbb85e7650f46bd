#include "MdidHost/Edit/MdidHost_Diff.h"

#include "CFnd/Cmn_OutStream.h"
#include "CFnd/Sys_TypedStream.h"
#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "Mdid/Mdid_SysexEvent.h"
#include "MdidHost/Session/MdidHost_RecordDump.h"
#include "MdidHost/Session/MdidHost_SessionFolder.h"
#include "Support/ScopedAllowMPE.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>

namespace
{

using enum Time_EType;
using Note = Mdid_NoteWithDurationExtendedEvent;

constexpr auto MakeNote = [](Time_Typed iTime, Time_TypedLength iDuration)
{ return Note(iTime, Mdid_NoteWithDurationEvent(0, 60, iDuration, 100, 64), false); };

// One track with two notes that are alike, a controller and a system-exclusive event.
MdidHost_Session MakeSession()
{
    MdidHost_Session session;
    MdidHost_Track& track = session.mTracks.emplace_back();
    track.mChunk = Mdid_ChunkRef(Mdid_Chunk::New(Ndo_Object::kNotUndoable, false));
    track.mChunk->SetUID(Sys_Umid::NoID());
    const Note note = MakeNote({960'000, kTick}, {480'000, kTick});
    const Mdid_ExtendedEvent controller({0, kTick}, Mdid_ControllerEvent(0, 7, 100));
    const Mdid_ExtendedEvent sysex({0, kTick}, Mdid_SysexEvent(1, std::array<unsigned char, 1>{2}.data()));
    for (const Mdid_ExtendedEvent& event : {Mdid_ExtendedEvent(note), Mdid_ExtendedEvent(note), controller, sysex})
        track.mChunk->AddEvent(event, Mdie_SubStream::kOrdinary);
    return session;
}

TEST(MdidHost_Diff, TellsEveryDifferenceAndNothingElse)
{
    const MdidHost_Session left = MakeSession();
    MdidHost_Session right = MakeSession();
    right.mFormat = 0;
    right.mMarkers.push_back({Time_Typed(960'000, kTick), "B"});
    right.mSMPTEOffset = {25, 1, 2, 3, 4, 5};
    right.mTracks[0].mComments.push_back("new");
    Mdid_Chunk& chunk = *right.mTracks[0].mChunk;
    Mdid_BorrowedElement element = chunk.GetNoteList()->Borrow(chunk.GetNoteList()->at(0));
    element.mElement.SetIsMuted(true);
    element.mElement.SetQuantizeTimeDelta({2001, kTick});
    chunk.GetNoteList()->Return(std::move(element));
    left.mTracks[0].mChunk->GetNoteList()->AddNote(MakeNote({1'920'000, kTick}, {480'000, kTick}));
    chunk.GetNoteList()->AddNote(MakeNote({48'000, kSample}, {250'000, kMicrosecond})); // the same
    left.mTracks[0].mChunk->GetNoteList()->AddNote(MakeNote({2'880'000, kTick}, {480'000, kTick}));
    chunk.GetNoteList()->AddNote(MakeNote({72'001, kSample}, {12'000, kSample})); // a sample later
    (*chunk.GetContinuousList())[0]->AddBreakpoint({0, kTick}, 90);
    chunk.GetEventStream()->Clear();
    right.mTracks.push_back(MakeSession().mTracks[0]);
    right.mTracks[1].mFileTrack = 2;

    std::ostringstream text;
    EXPECT_EQ(MdidHost_WriteDifferences(text, left, right), 11);
    EXPECT_EQ(text.str(), "+ SMPTE offset 01:02:03:04:05 at 25 frames\n"
                          "+ marker 1:2:000 B\n"
                          "+ track 1: comment \"new\"\n"
                          "- track 1: note 1:2:000 C4 velocity 100/64 to 1:2:240\n"
                          "+ track 1: note 1:2:000 C4 velocity 100/64 to 1:2:240, muted, played 1:2:001+1 C4 velocity "
                          "100/64 to 1:2:241+1\n"
                          "- track 1: note 1:4:000 C4 velocity 100/64 to 1:4:240\n"
                          "+ track 1: note 1:4:000+40 C4 velocity 100/64 to 1:4:240+40\n"
                          "- track 1: controller 1:1:000 7 = 100\n"
                          "+ track 1: controller 1:1:000 7 = 90\n"
                          "- track 1: sysex 1:1:000 f0 02 f7\n"
                          "+ track 2: of file track 2 \"\": 2 notes, 1 breakpoint, 1 event\n");
}

TEST(MdidHost_Diff, NamesWhatNotesDifferInBehindTheirFields)
{
    const ScopedAllowMPE option(true);
    MdidHost_Session left = MakeSession(), right = MakeSession();
    for (const auto& [session, value] : {std::pair(&left, 7), {&right, 8}})
    {
        Note note = MakeNote({480'000, kTick}, {480'000, kTick});
        note.SetPerNoteControllers();
        note.WritePerNoteControllers()
            ->InsertStream({Mdie_SubStream::kOfNote, Mdid_Event::kMonoPressure, 0}, false)
            ->AddBreakpoint({240'000, kTick}, value);
        session->mTracks[0].mChunk->GetNoteList()->AddNote(note);
    }
    std::ostringstream text;
    EXPECT_EQ(MdidHost_WriteDifferences(text, left, right), 2);
    EXPECT_EQ(text.str(), "- track 1: pressure 1:1:360 7, of the note C4 at 1:1:240\n"
                          "+ track 1: pressure 1:1:360 8, of the note C4 at 1:1:240\n");
}

TEST(MdidHost_RecordDump, SaysWhatIsWellAndWhereTheDamageBegins)
{
    Sys_MemoryOutStream stream;
    Sys_TypedOutStream typed(stream);
    MakeSession().mTracks[0].mChunk->StreamOut(typed);
    const TemporaryFolder folder;
    const std::string bytes(stream.GetBytes().begin(), stream.GetBytes().end());
    const std::string path = folder.GetPath() / "a.mdchun";
    std::ostringstream text;
    const auto dump = [&](const std::string& iBytes)
    {
        std::ofstream(path, std::ios::binary) << iBytes;
        text.str("");
        MdidHost_WriteRecords(text, path);
    };
    const std::string whole = "MdChun version 1, offset 0, 314 bytes\n"
                              "  MdNLB version 3, offset 17, 150 bytes: 2 notes\n"
                              "  1 record of lanes\n"
                              "  MdCDS version 2, offset 187, 51 bytes\n"
                              "    Mdss version 1, offset 203, 5 bytes: controller 7\n"
                              "    MdCD version 1, offset 223, 16 bytes: 1 breakpoint\n"
                              "  MdES version 1, offset 254, 45 bytes\n"
                              "    MdTEL version 1, offset 269, 29 bytes: 1 event\n"
                              "      \"\" version 1, offset 297, 6 bytes: 1 byte of system-exclusive data\n"
                              "  identity 00000000000000000000000000000000\n"
                              "  local\n";
    dump(bytes + "xy");
    EXPECT_EQ(text.str(), whole + "2 bytes behind the record\n");
    EXPECT_THROW(dump(std::string(bytes).replace(204, 1, "X")), MdidHost_FileError); // the tag of the key
    EXPECT_EQ(text.str(), whole.substr(0, whole.find("    Mdss")));
    for (std::size_t i = 0; i < bytes.size(); ++i)
        EXPECT_THROW(dump(bytes.substr(0, i)), MdidHost_FileError) << i;
}

} // namespace
