#include "Mdid/Mdid_ExtendedEvent.h"

#include "Mdid/EventsOfAllTypes.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "Mdid/Mdie_SubStream.h"
#include "Support/AllocationCounter.h"
#include "Support/RecordingAssertHandler.h"
#include "Support/ScopedAllowMPE.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{

using Note = Mdid_NoteWithDurationExtendedEvent;
constexpr auto kTick = Time_EType::kTick;

Note MakeNote(std::int64_t iTime, signed char iPitch, bool iMuted = false)
{
    return {{iTime, kTick}, Mdid_NoteWithDurationEvent(0, iPitch, {10, kTick}, 90, 64), iMuted};
}

TEST(Mdid_ExtendedEvent, CopiesShareControllersAndOwnTheirTrimExtension)
{
    const ScopedAllowMPE allow(true);
    Note note = MakeNote(1, 60);
    note.SetPerNoteControllers();
    const Mdid_PerNoteControllerList* const listP = note.GetPerNoteControllers();
    note.SetTrimExtension({-1, 2, Sys_UUID(3, 4)});
    Note copy = note;
    EXPECT_TRUE(copy.IsIdenticalTo(note) && copy == note && copy.GetTrimExtension() != note.GetTrimExtension());
    copy.WritePerNoteControllers()->InsertStream(Mdie_SubStream::PitchBend(), false);
    EXPECT_TRUE(copy.GetPerNoteControllers()->size() == 1 && listP->empty());
    EXPECT_FALSE(listP->IsShared() || copy == note); // kept: notes are equal only with the very same list
    EXPECT_EQ(Note::NoteCompare(note, copy), std::less<>()(listP, copy.GetPerNoteControllers())); // kept: by address
    EXPECT_NE(Note::NoteCompare(note, copy), Note::NoteCompare(copy, note));
    copy = note;
    EXPECT_TRUE((copy = *&copy).IsIdenticalTo(note));
    const AllocationCounter counter;
    Mdid_ExtendedEvent moved = std::move(note);
    const Note plain = copy = MakeNote(1, 60);
    EXPECT_EQ(counter.GetCount(), 0); // moves and plain copies take no memory
    EXPECT_TRUE(moved.HasTrimExtension() && moved.GetPerNoteControllers() == listP && !listP->IsShared());
    EXPECT_TRUE(note.GetExtensionType() + note.GetEvent().GetType() == 0 && !note.HasPerNoteControllers()); // NOLINT
}

TEST(Mdid_ExtendedEvent, WhatCannotBeWrittenIsReported)
{
    RecordingAssertHandler asserts;
    Note note = MakeNote(1, 60);
    note.SetPerNoteControllers();
    EXPECT_EQ(note.WritePerNoteControllers(), nullptr);
    const ScopedAllowMPE allow(true);
    EXPECT_EQ(note.WritePerNoteControllers(), nullptr);
    note.AdjustQuantizeTimeDelta({7, Time_EType::kSample});
    EXPECT_EQ(note.GetQuantizeTimeDelta().AsInt64(), 0);
    const std::string where = "@$^$@NewFileLibs/Mdid/Mdid_ExtendedEvent";
    EXPECT_EQ(asserts.Take(), (std::vector{"sAllowMPE && mU.mBase.mType == kNoteWithDurationExtEvent" + where,
                                           "thisList" + where, "!bFail" + where}));
}

TEST(Mdid_ExtendedEvent, NothingThatIsStoredEscapesTheTestForIdentity)
{
    const ScopedAllowMPE allow(true);
    Note note = MakeNote(40, 60);
    note.SetTrimExtension({-1, 2, {}});
    const Time_Typed samePosition(1, Time_EType::kSample);
    const std::function<void(Note&)> kChanges[] = {
        [&](Note& i) { i.SetTime(samePosition); },
        [&](Note& i) { i.GetNote().SetDuration(samePosition - Time_Typed()); },
        [](Note& i) { i.SetIsMuted(true); },
        [](Note& i) { i.SetAsPerformedEvent(MakeNote(40, 61).GetNote()); },
        [](Note& i) { i.ResetQuantizeTimeDelta(Time_EType::kSample); },
        [](Note& i) { i.SetPerNoteControllers(); },
        [](Note& i) { i.GetTrimExtension()->mClipUUID = Sys_UUID(1, 1); },
    };
    for (const auto& change : kChanges)
    {
        Note changed = note;
        change(changed);
        EXPECT_FALSE(changed.IsIdenticalTo(note)) << &change - kChanges;
    }
}

TEST(Mdid_ExtendedEvent, NotesHaveOneOrderWithPitchToMIDINotesAmongThem)
{
    RecordingAssertHandler asserts;
    Note pitch({1, kTick}, Mdid_PitchToMIDINoteWithDuration(0, 1, {10, kTick}, 90, 64, 0), false), otherPitch = pitch;
    otherPitch.GetNote().SetPitch(2);
    const Note kOrder[] = {MakeNote(1, 60), MakeNote(1, 61), MakeNote(1, 61, true), pitch, MakeNote(2, 0)};
    for (const Note& left : kOrder)
        for (const Note& right : kOrder)
            EXPECT_TRUE(Note::NoteCompare(left, right) == (&left < &right) && (left == right) == (&left == &right));
    EXPECT_TRUE(otherPitch == pitch && !Note::NoteCompare(pitch, otherPitch));
    Note released = MakeNote(1, 60);
    released.GetNote().SetOffVelocity(1);
    EXPECT_TRUE(Note::EquivalentNoteOnCompare(released, MakeNote(1, 60))); // kept
    EXPECT_EQ(asserts.Take().size(), 0u);
}

} // namespace
