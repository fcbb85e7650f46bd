#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_IRTProperties.h"
#include "Mdid/Mdid_SysexEvent.h"
#include "Mdid/TestNotes.h"

#include "MFnd/Time_Globals.h"
#include "Support/ScopedAllowMPE.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>

namespace
{

using enum Time_EType;

struct Chunk : Ndo_unique_ptr<Mdid_Chunk>
{
    Chunk() : Ndo_unique_ptr<Mdid_Chunk>(Mdid_Chunk::MakeUnique(Ndo_Object::kNotUndoable, false)) {}
    void Add(const Mdid_ExtendedEvent& iEvent) const { get()->AddEvent(iEvent, Mdie_SubStream::kOrdinary); }
    void AddOneOfEach(Time_Typed iTime) const
    {
        Add({iTime, Mdid_PitchBendEvent(0, 5)});
        Add({iTime, Sysex(3)});
        Add(Note(iTime, Mdid_NoteWithDurationEvent(0, 60, TickLength(5), 9, 64), false));
    }
    static Mdid_SysexEvent Sysex(int iLength)
    {
        return {iLength, std::vector<unsigned char>(static_cast<std::size_t>(iLength), 7).data()};
    }
};
constexpr auto Sysex = Chunk::Sysex;

template <class Events>
std::string Listed(const Events& iEvents)
{
    std::string text;
    for (const Mdie_TimedEvent& event : iEvents)
        text += std::to_string(event.GetTime().AsInt64()) + ":" + std::to_string(event.GetEvent().GetType()) + " ";
    return text;
}

TEST(Mdid_ChunkQuery, TheWalkOverAllYieldsEachEventOnceWhateverItsKindOfTime)
{
    const Chunk chunk;
    std::vector<Time_Typed> times = {Ticks(960'000), {23'999, kSample}, {500'000, kMicrosecond}};
    for (const Time_EType kind : {kSample, kTick, kMicrosecond})
        times.insert(times.end(), {Time_Typed::MinTime(kind), Time_Typed::MaxTime(kind)});
    std::ranges::for_each(times, [&](Time_Typed i) { chunk.AddOneOfEach(i); });
    std::ptrdiff_t count = 0;
    for (auto event = chunk->begin(), next = event; event.IsMore(); ++event, ++count)
        EXPECT_FALSE((++next).IsMore() && Mdie_TimedEvent::PlaybackOrdering(*next, *event));
    EXPECT_EQ(count, 3 * std::ssize(times) - 1); // at 0.5 seconds two bends met
    // The kind that reaches furthest: of what stands at its end, only the event stream's belongs to the range.
    for (const Mdid_ExtendedEvent& event : chunk->GetRange(Time_Typed::MinTime(kSample), Time_Typed::MaxTime(kSample),
                                                           TickLength(700), true, Mdie_Filter().SetAll()))
        count -= static_cast<int>(event.GetEvent().GetType() != Mdid_Event::kNullEvent);
    EXPECT_EQ(count, 2);
}

struct Properties : Mdid_IRTProperties
{
    void Apply(Mdid_ExtendedEvent& i, int iFlag) const override { mAsked += i.GetEvent().GetType() * iFlag; }
    mutable int mAsked = 0;
};

TEST(Mdid_ChunkQuery, AtOneTimeThePriorityDecidesThenThePartAndAPartKeepsItsOrder)
{
    const Chunk chunk;
    const Mdid_PitchToMIDINoteWithDuration pitchToMidi(0, 60, TickLength(5), 80, 64, 0);
    chunk.Add(Note(Ticks(0), pitchToMidi, false)); // played before the note of channel 5, but stored behind it
    chunk.Add(MakeNote(0, 60, 5, 5));
    for (const Mdid_Event& event : std::initializer_list<Mdid_Event>{
             Sysex(3), Mdid_MonoPressureEvent(0, 1), Mdid_ProgramEvent(0, 1, 0), Mdid_PitchBendEvent(0, 1),
             Mdid_ControllerEvent(0, 9, 1), Mdid_ControllerEvent(1, 7, 1)})
        chunk.Add({Ticks(0), event});
    EXPECT_EQ(Listed(chunk->MakeRange()), "0:6 0:5 0:5 0:4 0:7 0:14 0:3 0:22 ");
    const Properties properties;
    Mdid_DisplayItemList items;
    Mdid_EventListWrapper wrapper(items);
    chunk->GetMidiEventsInRange(&wrapper, {.mOffset = {0, kSample}, .mPropsP = &properties, .mNumber = 9});
    EXPECT_TRUE(items[6].GetNumber() == 9 && items[7].GetStoredEvent().GetEvent().GetChannel() == 5);
    EXPECT_EQ(items[6].GetDisplayedTime().GetType(), kSample); // the kind of the offset
    EXPECT_EQ(properties.mAsked, 4 * (6 + 5 + 5 + 4 + 7 + 14 + 22 + 3));
}

// 40 ticks are a sample.
TEST(Mdid_ChunkQuery, TheEndsOfARangeBecomeSamples)
{
    const Chunk chunk;
    for (const int tick : {0, 70, 100, 120})
        chunk.AddOneOfEach(Ticks(tick));
    const auto walk = [&](bool iRoundUp)
    { return Listed(chunk->GetRange(Ticks(55), Ticks(105), TickLength(10), iRoundUp, Mdie_Filter().SetAll())); };
    EXPECT_EQ(walk(false), "70:4 70:14 70:3 ");          // the samples 1 to 2
    EXPECT_EQ(walk(true), "100:4 100:14 100:3 120:14 "); // 2 to 3; of the event stream the end belongs to it
    const TickTimesMatter::Scoped matter(true);          // the notes then stand by their ticks
    EXPECT_EQ(walk(false), "70:4 70:14 70:3 100:3 ");
}

TEST(Mdid_ChunkQuery, ChunksAreEqualByValue)
{
    const ScopedAllowMPE allow(true);
    const auto note = [](int iValue)
    {
        Note expressive = MakeNote(100, 60, 5);
        expressive.SetPerNoteControllers();
        const Mdie_SubStream bend(Mdie_SubStream::kOfNote, Mdid_Event::kPitchBend, 0);
        expressive.WritePerNoteControllers()->InsertStream(bend, false)->AddBreakpoint(Ticks(1), iValue);
        return expressive;
    };
    using NoteEdit = std::function<void(Note&)>;
    const auto isEqualAfter = [&](const NoteEdit& iEdit, const Mdid_ExtendedEvent& iAdded = {})
    {
        const Chunk chunk, other;
        for (int i = 0; i < 6; ++i) // by address they come to stand in any order
            chunk.Add(note(i)), other.Add(note(5 - i));
        chunk.Add({Ticks(200), Sysex(30)}), other.Add({Ticks(200), Sysex(30)});
        other.Add(iAdded);
        auto borrowed = other->GetNoteList()->Borrow((*other->GetNoteList())[2]);
        iEdit(borrowed.mElement);
        other->GetNoteList()->Return(std::move(borrowed));
        other->FindOrCreateContinuousStream(Mdie_SubStream::PitchBend()); // an empty lane is none
        return *chunk == *other && *other == *chunk;
    };
    const NoteEdit none = [](Note&) {};
    EXPECT_TRUE(isEqualAfter(none));
    EXPECT_FALSE(isEqualAfter(none, {Ticks(200), Mdid_ControllerEvent(0, 7, 4)}));
    EXPECT_FALSE(isEqualAfter(none, {Ticks(200), Sysex(30)}));
    for (const NoteEdit& edit :
         std::initializer_list<NoteEdit>{
             [](Note& io) { io.SetIsMuted(true); }, [](Note& io) { io.SetQuantizeTimeDelta(TickLength(1)); },
             [](Note& io) { io.SetUntrimmedLeftDelta(-1, nullptr); }, [&](Note& io) { io = note(9); },
             [](Note& io) { io.GetNote().SetDuration(Time_TypedLength(5, kSample)); },
             [](Note& io) { io.SetAsPerformedEvent(MakeNote(0, 61, 5).GetNote()); }})
        EXPECT_FALSE(isEqualAfter(edit));
}

TEST(Mdid_ChunkQuery, EventsAreFoundByTimeAndValue)
{
    const Chunk chunk;
    EXPECT_TRUE(chunk->empty() && !chunk->GetFirstEvent());
    chunk.AddOneOfEach(Ticks(40));
    EXPECT_TRUE(!chunk->empty() && chunk->GetFirstEvent()->GetEvent() == Mdid_PitchBendEvent(0, 5));
    const auto isThere = [&](int iTick, const Mdid_Event& i)
    { return chunk->IsEventInChunk(Mdie_TimedEvent(Ticks(iTick), i)); };
    EXPECT_TRUE(isThere(40, Mdid_PitchBendEvent(0, 5)) && !isThere(40, Mdid_PitchBendEvent(0, 4)));
    EXPECT_TRUE(isThere(40, Sysex(3)) && !isThere(39, Sysex(3)));
    EXPECT_TRUE(isThere(40, Mdid_NoteWithDurationEvent(0, 60, TickLength(9), 9, 1))); // the note-on counts
    EXPECT_FALSE(isThere(40, Mdid_NoteWithDurationEvent(0, 60, TickLength(5), 8, 64)));
    std::ostringstream text;
    chunk->PrintContents(text);
    EXPECT_TRUE(text.str().starts_with("Notes:\n") && text.str().ends_with("\nSorted list:\n")) << text.str();
}

} // namespace
