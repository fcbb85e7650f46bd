// Random programs of edits, in steps that are kept, cancelled or left by an exception, over everything that is
// undoable: at each stop of undo and redo the contents are what they were then, and what is saved is read back.

#include "Mdid/Mdid_ContinuousDataStream.h"
#include "Mdid/Mdid_EventStream.h"
#include "Mdid/Mdid_NoteList.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "Mdid/Mdid_SysexEvent.h"

#include "CFnd/Cmn_OutStream.h"
#include "CFnd/Sys_TypedStream.h"
#include "MFnd/Ndo_Manager.h"
#include "MFnd/Time_Globals.h"
#include "Support/RecordingAssertHandler.h"
#include "Support/ScopedAllowMPE.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <set>
#include <sstream>

namespace
{

using Note = Mdid_NoteWithDurationExtendedEvent;
using enum Time_EType;

// An edit: which, and three numbers to it.
using Edit = std::array<unsigned, 4>;

Time_Typed TimeOf(unsigned iNumber)
{
    return Time_Typed(iNumber % 40 * 300, kTick);
}

Time_TypedLength LengthOf(unsigned iNumber)
{
    return Time_TypedLength(static_cast<std::int64_t>(iNumber % 9) * 250 - 750, kTick);
}

Note NoteOf(const Edit& iEdit)
{
    const auto pitch = static_cast<signed char>(60 + iEdit[2] % 3);
    const Time_TypedLength duration(iEdit[3] % 8 * 500, kTick);
    Note note(TimeOf(iEdit[1]), Mdid_NoteWithDurationEvent(0, pitch, duration, 80, 64), iEdit[3] % 5 == 0);
    if (iEdit[2] % 7 == 0)
        note.SetTrimExtension({-250, 500, Sys_UUID(1, iEdit[2])});
    if (iEdit[2] % 4 == 0)
    {
        note.SetPerNoteControllers();
        note.WritePerNoteControllers()
            ->InsertStream(Mdie_SubStream(Mdie_SubStream::kOfNote, Mdid_Event::kPitchBend, 0), false)
            ->AddBreakpoint(TimeOf(iEdit[3]), 5);
    }
    return note;
}

Mdid_Event EventOf(unsigned iNumber)
{
    if (iNumber % 3 == 0)
        return Mdid_ProgramEvent(0, static_cast<signed char>(iNumber % 5), 0);
    Cmn_PolyVector<unsigned char> bytes;
    bytes.append(std::vector<unsigned char>(iNumber % 20 + 1, 7));
    return Mdid_SysexEvent(&bytes);
}

// Contents as a text that tells everything.
void Describe(std::ostream& ioText, const Mdid_ContinuousDataStreamCore& iLane)
{
    ioText << iLane.GetSubStream().Describe() << iLane.GetSnapToCoarseTicks();
    for (const auto& segment : iLane.GetSegments())
        ioText << ' ' << segment.mTime.GetPacked().GetRaw() << '=' << segment.mValue;
    ioText << '\n';
}

void Describe(std::ostream& ioText, const Mdie_TimedEvent& iEvent)
{
    ioText << iEvent.GetTime().GetPacked().GetRaw() << ' ' << int{iEvent.GetEvent().GetType()};
    for (int i = 0; i < iEvent.GetEvent().GetNumMessages(); ++i)
    {
        std::vector<unsigned char> bytes(static_cast<std::size_t>(iEvent.GetEvent().GetMessageLength(i)));
        iEvent.GetEvent().GetMessageData(bytes.data(), i);
        for (const unsigned char byte : bytes)
            ioText << ' ' << int{byte};
    }
    ioText << '\n';
}

void Describe(std::ostream& ioText, const Note& iNote)
{
    const auto& note = iNote.GetNote();
    ioText << iNote.GetTime().GetPacked().GetRaw() << ' ' << int{note.GetPitch()} << ' '
           << note.GetDuration().GetPacked().GetRaw() << ' ' << int{iNote.GetOriginalPitch()} << ' '
           << iNote.GetOriginalDuration().GetPacked().GetRaw() << ' ' << iNote.GetQuantizeTimeDelta().AsInt64()
           << iNote.IsMuted();
    if (const auto* const extensionP = iNote.GetTrimExtension())
        ioText << " trim " << extensionP->mRightUntrimmedDelta << extensionP->mClipUUID.GetLow();
    ioText << '\n';
    if (iNote.HasPerNoteControllers())
        for (const auto& lane : *iNote.GetPerNoteControllers())
            Describe(ioText << "    ", lane);
}

template <class Elements>
void DescribeAll(std::ostream& ioText, const Elements& iElements)
{
    for (const auto& element : iElements)
        Describe(ioText, element);
}

// With a list of long notes, as a chunk has it.
class Notes : public Mdid_NoteList
{
public:
    Notes() : Mdid_NoteList(kUndoable, true)
    {
        SetLongNoteList(Ndo_AutoPtr<Mdid_NoteListBase>(new Mdid_NoteList(kUndoable, true)), Time_TickLength(1500),
                        Time_SampleLength(96'000));
    }
};

// A few undoable objects, known by their ids; those that an edit needs are made.
class World
{
public:
    World() = default;
    World(const World&) = delete;
    World& operator=(const World&) = delete;
    ~World()
    {
        Ndo_gManager.DropHistory();
        for (const auto& [place, id] : mIDs)
            if (Ndo_Object* const objectP = Ndo_gManager.LookupObject(id))
                objectP->NdoDelete();
    }

    struct Snapshot
    {
        std::map<int, Ndo_ObjectID> mIDs;
        std::string mText;

        bool operator==(const Snapshot&) const = default;
    };

    Snapshot TakeSnapshot() const
    {
        std::ostringstream text;
        for (const auto& [place, id] : mIDs)
        {
            text << place << ":\n";
            DescribeObject(text, Ndo_gManager.LookupObject(id));
        }
        return {mIDs, text.str()};
    }

    // Which object stands where is the program's business: it follows the snapshots.
    void FollowIDs(const Snapshot& iSnapshot) { mIDs = iSnapshot.mIDs; }

    void Run(const Edit& iEdit)
    {
        const int place = static_cast<int>(iEdit[0] % 4);
        const unsigned which = iEdit[0] / 4;
        if (which % 23 == 22)
            DeleteObject(place);
        else if (place <= 1)
            RunOnNotes(which, iEdit, Get<Mdid_NoteListBase>(0, [] { return new Notes; }));
        else if (place == 2)
            RunOnEvents(which, iEdit,
                        Get<Mdid_EventStream>(2, [] { return new Mdid_EventStream(Ndo_Object::kUndoable, true); }));
        else
            RunOnLane(which, iEdit,
                      Get<Mdid_ContinuousDataStream>(3,
                                                     [] {
                                                         return new Mdid_ContinuousDataStream(
                                                             Mdie_SubStream::Controller(7), Ndo_Object::kUndoable,
                                                             true);
                                                     }));
    }

    // Cheap enough to be asked after every edit.
    bool IsSound() const
    {
        for (const auto& [place, id] : mIDs)
            if (const auto* const notesP = dynamic_cast<Mdid_NoteListBase*>(Ndo_gManager.LookupObject(id)))
                if (!notesP->CheckInvariants())
                    return false;
        return true;
    }

    // The object at a place, or null.
    template <class T>
    T* Find(int iPlace) const
    {
        const auto found = mIDs.find(iPlace);
        return found == mIDs.end() ? nullptr : dynamic_cast<T*>(Ndo_gManager.LookupObject(found->second));
    }

private:
    static void DescribeObject(std::ostream& ioText, const Ndo_Object* iObjectP)
    {
        if (const auto* const notesP = dynamic_cast<const Mdid_NoteListBase*>(iObjectP))
        {
            ioText << notesP->IsMPE() << notesP->GetLongNoteDuration(kTick).AsInt64() << '\n';
            DescribeAll(ioText, *notesP);
            DescribeAll(ioText << "long\n", *notesP->GetLongNoteList());
        }
        else if (const auto* const eventsP = dynamic_cast<const Mdid_EventStream*>(iObjectP))
            DescribeAll(ioText, *eventsP);
        else if (const auto* const laneP = dynamic_cast<const Mdid_ContinuousDataStream*>(iObjectP))
            Describe(ioText, static_cast<const Mdid_ContinuousDataStreamCore&>(*laneP));
    }

    template <class T, class Make>
    T& Get(int iPlace, Make iMake)
    {
        const auto found = mIDs.find(iPlace);
        if (found != mIDs.end())
            return dynamic_cast<T&>(*Ndo_gManager.LookupObject(found->second));
        T* const madeP = iMake();
        mIDs[iPlace] = madeP->NdoGetID();
        return *madeP;
    }

    void DeleteObject(int iPlace)
    {
        const auto found = mIDs.find(iPlace);
        if (found == mIDs.end())
            return;
        Ndo_gManager.LookupObject(found->second)->NdoDelete();
        mIDs.erase(found);
    }

    static void RunOnNotes(unsigned iWhich, const Edit& iEdit, Mdid_NoteListBase& ioNotes)
    {
        const Time_Typed start = TimeOf(iEdit[1]);
        const Time_Typed end = TimeOf(iEdit[2]);
        Mdid_NoteList other(Ndo_Object::kNotUndoable, false);
        switch (iWhich % 16)
        {
        case 0:
            return ioNotes.EraseNote(NoteOf(iEdit));
        case 1:
            return ioNotes.EraseTimeRange(start, end);
        case 2:
            ioNotes.CopyTimeRange(&other, start, end);
            return ioNotes.Erase(&other);
        case 3:
            ioNotes.CopyTimeRange(&other, start, end);
            other.OffsetTimes(LengthOf(iEdit[3]));
            return ioNotes.Merge(&other);
        case 4:
            return iEdit[1] % 4 == 0 ? ioNotes.CopyTimeRange(&ioNotes, start, end) : ioNotes.OffsetStarts(LengthOf(1));
        case 5:
            return iEdit[1] % 8 == 0 ? ioNotes.Clear() : ioNotes.OffsetPitches(LengthOf(iEdit[2]));
        case 6:
            return ioNotes.OffsetTimes(LengthOf(iEdit[1]));
        case 7:
            return ioNotes.OffsetDurations(LengthOf(iEdit[1]));
        case 8:
        case 9:
            return EditNotes(iEdit, ioNotes);
        case 10:
            ioNotes.CopyTimeRange(&other, TimeOf(0), end);
            other.AddNote(NoteOf(iEdit));
            return ioNotes.ReplaceData(&other);
        default:
            ioNotes.AddNote(NoteOf(iEdit));
        }
    }

    // Two notes in one batch: one moved, one with expression.
    static void EditNotes(const Edit& iEdit, Mdid_NoteListBase& ioNotes)
    {
        if (ioNotes.empty())
            return;
        auto batch = ioNotes.ModificationBatch();
        Mdid_BorrowedElement moved = ioNotes.Borrow(ioNotes[iEdit[1] % ioNotes.Size()]);
        moved.mElement.SetTime(TimeOf(iEdit[3]));
        batch.Return(std::move(moved));
        Mdid_BorrowedElement expressive = ioNotes.Borrow(ioNotes[iEdit[2] % ioNotes.Size()]);
        expressive.mElement.SetPerNoteControllers();
        auto& lanes = *expressive.mElement.WritePerNoteControllers();
        if (lanes.empty())
            lanes.InsertStream(Mdie_SubStream(Mdie_SubStream::kOfNote, Mdid_Event::kMonoPressure, 0), false);
        lanes.begin()->AddBreakpoint(TimeOf(iEdit[3]), static_cast<int>(iEdit[1] % 128));
        batch.Return(std::move(expressive));
    }

    static void RunOnEvents(unsigned iWhich, const Edit& iEdit, Mdid_EventStream& ioEvents)
    {
        const Time_Typed start = TimeOf(iEdit[1]);
        const Time_Typed end = TimeOf(iEdit[2]);
        Mdid_EventStream other(ioEvents);
        switch (iWhich % 9)
        {
        case 0:
            return ioEvents.EraseEvent(Mdie_TimedEvent(start, EventOf(iEdit[2])));
        case 1:
            return ioEvents.EraseRange(start, end);
        case 2:
            return ioEvents.AddFromStream(iEdit[3] % 2 == 0 ? &ioEvents : &other, start, end, LengthOf(iEdit[3]));
        case 3:
            return ioEvents.EraseFromStream(iEdit[3] % 2 == 0 ? &ioEvents : &other, start, end, LengthOf(iEdit[3]));
        case 4:
            other.AddEvent(Mdie_TimedEvent(end, EventOf(iEdit[3])));
            return iEdit[1] % 4 == 0 ? ioEvents.Clear() : ioEvents.ReplaceData(&other);
        case 5:
            ioEvents.AddEvent(Mdie_TimedEvent(start, EventOf(iEdit[2]))); // saves what OffsetTimes does not
            return ioEvents.OffsetTimes(LengthOf(iEdit[3]));
        default:
            return ioEvents.AddEvent(Mdie_TimedEvent(start, EventOf(iEdit[2])));
        }
    }

    static void RunOnLane(unsigned iWhich, const Edit& iEdit, Mdid_ContinuousDataStream& ioLane)
    {
        const Time_Typed start = TimeOf(iEdit[1]);
        const Time_Typed end = TimeOf(iEdit[2]);
        Mdid_ContinuousDataStreamCore other(ioLane);
        const auto* const sourceP = iEdit[3] % 2 == 0 ? &ioLane : &other;
        switch (iWhich % 11)
        {
        case 0:
            return ioLane.EraseEvent(Mdie_TimedEvent(start, ioLane.GetSubStream().MakeEvent(1)));
        case 1:
            return ioLane.EraseRange(start, end);
        case 2:
            return ioLane.AddFromStream(sourceP, start, end, LengthOf(iEdit[3]));
        case 3:
            return ioLane.EraseFromStream(sourceP, start, end, LengthOf(iEdit[3]));
        case 4:
            return ioLane.AddAllFromStream(sourceP, LengthOf(iEdit[3]));
        case 5:
            other.AddBreakpoint(start, 3);
            return iEdit[1] % 4 == 0 ? ioLane.Clear() : ioLane.ReplaceData(&other);
        case 6:
            return ioLane.OffsetTimes(LengthOf(iEdit[3]));
        case 7:
            return ioLane.ConvertTimes(LengthOf(iEdit[1]), Time_TypedLength(0, kTick));
        default:
            return ioLane.AddBreakpoint(start, static_cast<int>(iEdit[2] % 128));
        }
    }

    std::map<int, Ndo_ObjectID> mIDs;
};

// Saved and read back

// Only system-exclusive events are saved whole; the others leave a null event.
void ExpectReadBack(const Mdid_EventStream& iEvents)
{
    Mdid_EventStream expected(Ndo_Object::kNotUndoable, false);
    for (auto i = iEvents.end(); i != iEvents.begin();) // from behind: of equal times the last goes to the front
    {
        --i;
        const bool isSysex =
            i->GetEvent().GetType() == Mdid_Event::kSysex || i->GetEvent().GetType() == Mdid_Event::kLongSysex;
        expected.AddEvent(isSysex ? *i : Mdie_TimedEvent(i->GetTime(), {}));
    }
    Sys_MemoryOutStream saved;
    Sys_TypedOutStream typedOut(saved);
    iEvents.StreamOut(typedOut);
    Sys_MemoryInStream stream(saved.GetBytes());
    Sys_TypedInStream typed(stream);
    Mdid_EventStream again(Ndo_Object::kNotUndoable, false);
    again.StreamIn(typed);
    std::ostringstream was, is;
    DescribeAll(was, expected);
    DescribeAll(is, again);
    RC_ASSERT(is.str() == was.str());
}

// As a chunk holds and saves them.
class NotesAndLanes
{
public:
    NotesAndLanes() = default;
    explicit NotesAndLanes(const World& iWorld)
    {
        if (const auto* const notesP = iWorld.Find<Mdid_NoteListBase>(0))
            mNotes.ReplaceData(notesP);
        if (const auto* const laneP = iWorld.Find<Mdid_ContinuousDataStream>(3))
            mLanes.InsertStream(new Mdid_ContinuousDataStream(*laneP));
    }
    NotesAndLanes(const NotesAndLanes&) = delete;
    NotesAndLanes& operator=(const NotesAndLanes&) = delete;
    ~NotesAndLanes()
    {
        std::ranges::for_each(mLanes, [](auto& ioLane) { ioLane.NdoDelete(); });
    }

    std::vector<unsigned char> Save() const
    {
        Sys_MemoryOutStream stream;
        Sys_TypedOutStream typed(stream);
        Mdid_ContinuousDataStreamList lanes = mLanes;
        mNotes.StreamOut(typed, lanes);
        for (auto* cursor = lanes.data(); cursor != lanes.data() + lanes.size();)
            (*cursor)->StreamOut(typed, lanes, cursor);
        for (auto& lane : lanes)
            if (std::ranges::find(mLanes, lane) == mLanes.end())
                lane.NdoDelete();
        return {stream.GetBytes().begin(), stream.GetBytes().end()};
    }

    void Load(const std::vector<unsigned char>& iBytes)
    {
        Sys_MemoryInStream stream(iBytes);
        Sys_TypedInStream typed(stream);
        mNotes.StreamIn(typed);
        Mdid_NoteListBase::ReadingScope reading(mNotes);
        while (!stream.IsAtEnd())
        {
            auto laneP = std::make_unique<Mdid_ContinuousDataStream>(Ndo_Object::kNotUndoable);
            bool isInserted = false;
            laneP->StreamIn(typed, false, mLanes, mNotes, isInserted);
            if (isInserted)
                static_cast<void>(laneP.release());
        }
        reading.Complete();
    }

    // Every note with its originals; what is too short to be heard has a default length, and nothing is trimmed.
    std::string DescribeNotes() const
    {
        std::ostringstream text;
        for (Note note : mNotes)
        {
            if (note.GetDuration().AsInt64() < 1)
                note.GetNote().SetDuration(Time_TypedLength(1000, kTick));
            note.ClearTrimExtension();
            note.ClearPerNoteControllers();
            Describe(text, note);
        }
        return text.str();
    }

    // The lanes of all notes. Which of several equal note-ons has one, the saved form does not always tell.
    std::multiset<std::string> DescribeLanesOfNotes() const
    {
        std::multiset<std::string> lanes;
        for (const Note& note : mNotes)
            if (note.HasPerNoteControllers())
                for (const auto& lane : *note.GetPerNoteControllers())
                {
                    std::ostringstream text;
                    text << note.GetTime().AsInt64() << ' ' << int{note.GetPitch()} << ' ';
                    text << lane.GetSubStream().GetDataTypeIndex();
                    for (const auto& segment : lane.GetSegments())
                        text << ' ' << segment.mTime.AsInt64() << '=' << segment.mValue;
                    lanes.insert(text.str());
                }
        return lanes;
    }

    // Of the ordinary lane: nothing before 0, and of equal times the last.
    std::map<std::int64_t, int> GetValues() const
    {
        std::map<std::int64_t, int> values;
        for (const auto& lane : mLanes)
            if (lane->GetSubStream().GetStreamType() == Mdie_SubStream::kOrdinary)
                for (const auto& segment : lane->GetSegments())
                    values[std::max<std::int64_t>(segment.mTime.AsInt64(), 0)] = segment.mValue;
        return values;
    }

private:
    Mdid_NoteList mNotes{Ndo_Object::kNotUndoable, false};
    Mdid_ContinuousDataStreamList mLanes;
};

RC_GTEST_PROP(EditPrograms, WhatIsSavedIsReadBack, (bool iWriteMPE, bool iReadMPE))
{
    const auto edits = *rc::gen::resize(400, rc::gen::arbitrary<std::vector<Edit>>());
    const RecordingAssertHandler asserts; // of lanes that begin before 0
    const ScopedAllowMPE allow(true);
    World world;
    for (const Edit& edit : edits)
        world.Run(edit);
    if (const auto* const eventsP = world.Find<Mdid_EventStream>(2))
        ExpectReadBack(*eventsP);

    const NotesAndLanes saved(world);
    Mdid_AllowMPE().Set(iWriteMPE);
    const auto bytes = saved.Save();
    Mdid_AllowMPE().Set(iReadMPE);
    NotesAndLanes loaded;
    loaded.Load(bytes);
    RC_ASSERT(loaded.DescribeNotes() == saved.DescribeNotes());
    RC_ASSERT(loaded.GetValues() == saved.GetValues());
    if (iWriteMPE && iReadMPE)
        RC_ASSERT(loaded.DescribeLanesOfNotes() == saved.DescribeLanesOfNotes());
    else
        RC_ASSERT(loaded.DescribeLanesOfNotes().empty());
}

// The first number of a step's first edit says how the step ends.
enum EEnd
{
    kCancelled = 0,
    kThrown = 1,
    kInnerThrown = 2
};

void RunStep(World& ioWorld, const std::vector<Edit>& iEdits)
{
    const unsigned end = iEdits.empty() ? 9 : iEdits.front()[3] % 12;
    Ndo_Step step("Edit");
    {
        Ndo_Step inner("Inner");
        for (const Edit& edit : iEdits)
        {
            ioWorld.Run(edit);
            RC_ASSERT(ioWorld.IsSound());
        }
        if (end == kInnerThrown)
            throw std::runtime_error("inner");
        inner.Commit();
    }
    if (end == kThrown)
        throw std::runtime_error("outer");
    if (end != kCancelled)
        step.Commit();
}

void Expect(World& ioWorld, const World::Snapshot& iSnapshot)
{
    ioWorld.FollowIDs(iSnapshot);
    RC_ASSERT(ioWorld.TakeSnapshot() == iSnapshot);
    RC_ASSERT(ioWorld.IsSound());
}

RC_GTEST_PROP(EditPrograms, EveryStopIsWhatItWas, (const std::vector<std::vector<Edit>>& iSteps, bool iSnap))
{
    const ScopedAllowMPE allow(true);
    const TickTimesMatter::Scoped snapping(iSnap);
    World world;
    std::vector<World::Snapshot> stops{world.TakeSnapshot()};
    for (const auto& edits : iSteps)
    {
        const std::size_t stepsBefore = Ndo_gManager.GetStepCount();
        try
        {
            RunStep(world, edits);
        }
        catch (const std::runtime_error&)
        {
        }
        if (Ndo_gManager.GetStepCount() > stepsBefore)
            stops.push_back(world.TakeSnapshot());
        else
            Expect(world, stops.back());
    }

    for (std::size_t stop = stops.size() - 1; stop-- > 0;)
    {
        RC_ASSERT(Ndo_gManager.Undo());
        Expect(world, stops[stop]);
    }
    RC_ASSERT(!Ndo_gManager.CanUndo());
    for (std::size_t stop = 1; stop < stops.size(); ++stop)
    {
        RC_ASSERT(Ndo_gManager.Redo());
        Expect(world, stops[stop]);
    }
    RC_ASSERT(!Ndo_gManager.CanRedo());
}

// A saved state holds only what differs from the contents that it knows.
TEST(EditPrograms, AChangeThatSavesNoStateDropsTheHistory)
{
    Mdid_EventStream events(Ndo_Object::kUndoable, false);
    const auto change = {+[](Mdid_EventStream& ioEvents)
                         { ioEvents = Mdid_EventStream(Ndo_Object::kNotUndoable, false); },
                         +[](Mdid_EventStream& ioEvents) { ioEvents.OffsetTimes(LengthOf(0)); }};
    for (const auto changeUnsaved : change)
    {
        RecordingAssertHandler asserts;
        Ndo_Step step("Add");
        events.AddEvent(Mdie_TimedEvent(TimeOf(1), EventOf(1)));
        changeUnsaved(events); // saved in this step
        EXPECT_TRUE(step.Commit() && Ndo_gManager.CanUndo());
        changeUnsaved(events);
        EXPECT_EQ(asserts.Take().size(), 1u);
        EXPECT_FALSE(Ndo_gManager.CanUndo());
    }
}

// What was edited is what the history costs.
TEST(EditPrograms, AThousandSmallStepsInALongListHoldLittle)
{
    Mdid_NoteList notes(Ndo_Object::kUndoable, false);
    for (int i = 0; i < 20'000; ++i)
        notes.AddNote(Note(Time_Typed(i * 100, kTick),
                           Mdid_NoteWithDurationEvent(0, 60, Time_TypedLength(50, kTick), 80, 64), false));
    for (int i = 0; i < 1000; ++i)
    {
        Ndo_Step step("Add");
        notes.AddNote(Note(Time_Typed(i * 1999, kTick),
                           Mdid_NoteWithDurationEvent(0, 61, Time_TypedLength(50, kTick), 80, 64), false));
        step.Commit();
    }
    EXPECT_EQ(Ndo_gManager.GetStepCount(), 1000u);
    EXPECT_LT(Ndo_gManager.GetBytesHeld(), 2'000'000u);
    while (Ndo_gManager.Undo())
        ;
    EXPECT_EQ(notes.Size(), 20'000u);
    Ndo_gManager.DropHistory();
}

} // namespace
