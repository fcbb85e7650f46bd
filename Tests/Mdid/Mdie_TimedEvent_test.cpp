#include "Mdid/Mdie_TimedEvent.h"

#include "CFnd/Sys_StreamException.h"
#include "Mdid/EventsOfAllTypes.h"
#include "Support/AllocationCounter.h"
#include "Support/RecordingAssertHandler.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <tuple>

namespace
{

constexpr auto kTick = Time_EType::kTick;
constexpr auto kSample = Time_EType::kSample;

// At 120 beats a minute and 48,000 Hz, which hold here, 40 ticks are a sample.
Time_Typed Ticks(std::int64_t iCount)
{
    return {iCount, kTick};
}
Time_Typed Samples(std::int64_t iCount)
{
    return {iCount, kSample};
}

// iDuration: in the kind of the time.
Mdie_TimedEvent Note(Time_Typed iTime, std::int64_t iDuration)
{
    return {iTime, Mdid_NoteWithDurationEvent(0, 60, {iDuration, iTime.GetType()}, 90, 64)};
}

TEST(Mdie_TimedEvent, IsOrderedByTimeAndThenWithinItsType)
{
    const auto on = Mdid_NoteOnEvent(0, 60, 9);
    // What holds: equal, less, greater, plays before, plays after.
    const std::tuple<Mdie_TimedEvent, Mdie_TimedEvent, const char*> kCases[] = {
        {{Ticks(1), on}, {Ticks(2), Mdid_ProgramEvent()}, "<["},  // time comes first
        {{Ticks(40), on, {1, 2}}, {Samples(1), on, {3, 4}}, "="}, // kept: stamps take no part
        {{Ticks(40), on}, {Ticks(40), Mdid_NoteOffEvent(0, 60, 9)}, "]"},
        {{Ticks(40), Mdid_ControllerEvent(0, 7, 1)}, {Samples(1), on}, "["},
        {{Ticks(1), Mdid_NoteOnEvent(0, 61, 9)}, {Ticks(1), on}, ">"},
        {{Ticks(1), Mdid_NoteOnEvent(1, 60, 9)}, {Ticks(1), on}, ">]"}, // the channel plays
    };
    for (const auto& [left, right, holds] : kCases)
    {
        const auto plays = Mdie_TimedEvent::PlaybackOrdering;
        const std::string order =
            std::string(left == right ? "=" : "") + (left < right ? "<" : "") + (right < left ? ">" : "");
        EXPECT_EQ(order + (plays(left, right) ? "[" : "") + (plays(right, left) ? "]" : ""), holds);
    }
}

TEST(Mdie_TimedEvent, OnlyNotesHaveADuration)
{
    const Mdid_PitchToMIDINoteWithDuration pitchNote(0, 60, {1, kSample}, 90, 64, 60.5f);
    EXPECT_EQ(Mdie_TimedEvent(Ticks(40), pitchNote).GetEndTime(), Ticks(80));
    const Mdid_ClearNoteInProgressEvent clear(0, 60, {7, kTick}, 1, 2);
    EXPECT_EQ(Mdie_TimedEvent(Ticks(5), clear).GetEndTime(), Ticks(5));

    Mdie_TimedEventList list; // its latest note off is in samples
    list.push_back(Note(Samples(-100), 10));
    list.push_back({Samples(100), pitchNote}); // kept: passed over, although a note
    EXPECT_EQ(list.GetLatestNoteOff().AsInt64(), 0);
    list.push_back(Note(Ticks(4000), 4000));
    list.push_back(Note(Samples(1), 1));
    EXPECT_EQ(list.GetLatestNoteOff().AsInt64(), 200);
    EXPECT_EQ(list.GetLatestNoteOff().GetType(), kSample);
}

// Two events in 65 bytes.
constexpr const char* kHead = "05 4d 64 54 45 4c 01 00";                    // "MdTEL", version
constexpr const char* kBody = "02 00 00 00"                                 // events
                              "01 98 3a 00 00 00 00 00"                     // 960,000 << 2 | ticks
                              "00 01 00 0700000000000000 00 02000000 41 10" // a sysex event
                              "fc ff ff ff ff ff ff ff"                     // -1 << 2 | samples
                              "00 01 00 0000000000000000";                  // an event that is not saved

TEST(Mdie_TimedEventList, TheRecordIsWrittenToTheLetter)
{
    RecordingAssertHandler asserts;
    Mdie_TimedEventList list;
    list.push_back({Ticks(960000), MakeSysex({0x41, 0x10}), {1, 2}});
    list.push_back({Samples(-1), Mdid_NoteOnEvent(0, 60, 1)});
    EXPECT_EQ(ToHex(Saved(list)), ToHex(Record(kHead, FromHex(kBody))));
    EXPECT_EQ(asserts.Take().size(), 1u); // of the note

    Mdie_TimedEventList loaded;
    loaded.push_back(Note(Ticks(1), 1));                             // goes
    Load(loaded, Record(kHead, FromHex(kBody + std::string("99")))); // appended by a newer writer
    ASSERT_EQ(loaded.size(), 2u);
    EXPECT_TRUE(loaded[0] == list[0]);
    EXPECT_EQ(loaded[0].GetSourceStamp(), Mdie_SourceStamp()); // kept: not saved
    EXPECT_EQ(loaded[1].GetTime().AsInt64(), -1);
    EXPECT_EQ(loaded[1].GetEvent().GetType(), Mdid_Event::kNullEvent);
}

TEST(Mdie_TimedEventList, DamageIsRefusedAndWhatWasReadBeforeIsKept)
{
    const ByteVector body = FromHex(kBody);
    const ByteVector whole = Record(kHead, body);
    for (std::ptrdiff_t length = 0; length < std::ssize(body); ++length)
    {
        Mdie_TimedEventList list;
        EXPECT_THROW(Load(list, {whole.begin(), whole.begin() + 16 + length}), Sys_StreamException);
        EXPECT_ANY_THROW(Load(list, Record(kHead, {body.begin(), body.begin() + length}))) << length;
        EXPECT_EQ(list.size(), length < 30 ? 0u : 1u) << length; // the first event ends there
    }
    const AllocationCounter counter;
    Mdie_TimedEventList list;
    EXPECT_THROW(Load(list, Record("054d6454454c 0200", body)), Sys_StreamException);
    EXPECT_THROW(Load(list, Record(kHead, FromHex("ffffffff"))), std::length_error); // no array can hold that
    EXPECT_THROW(Load(list, Record(kHead, FromHex("ffffff7f"))), Sys_StreamException);
    const ByteVector ofNoKind = FromHex("01000000 0300000000000000 0001000000000000000000"); // its time
    EXPECT_THROW(Load(list, Record(kHead, ofNoKind)), std::runtime_error);
    EXPECT_LT(counter.GetPeakBytes(), 10000); // no room is taken for events that are not there
}

TEST(Mdie_Chord, TakesNotesThatSoundTogetherOrStartSoonAfter)
{
    const std::tuple<Mdie_TimedEvent, Mdie_TimedEvent, bool> kCases[] = {
        // Three quarters of the longer note, wherever it starts.
        {Note(Ticks(0), 960), Note(Ticks(240), 960), true},
        {Note(Ticks(0), 960), Note(Ticks(241), 960), false},
        {Note(Ticks(300), 720), Note(Ticks(300), 960), true}, // the candidate is the longer one
        {Note(Ticks(0), 7), Note(Ticks(2), 7), true},         // 21 / 4 is 5
        {Note(Ticks(0), 7), Note(Ticks(3), 7), false},
        // Otherwise a start within a quarter of the last note, rounded ...
        {Note(Ticks(0), 960), Note(Ticks(239), 1), true},
        {Note(Ticks(0), 960), Note(Ticks(240), 1), false},
        {Note(Ticks(0), 958), Note(Ticks(239), 1), true}, // 239.5 is 240
        {Note(Ticks(0), 957), Note(Ticks(239), 1), false},
        {Note(Ticks(0), 960), Note(Ticks(-500), 10), true}, // also before it
        // ... and within half a quarter note.
        {Note(Ticks(0), 9600000), Note(Ticks(479999), 1), true},
        {Note(Ticks(0), 9600000), Note(Ticks(480000), 1), false},
        // Kinds mix.
        {Note(Samples(0), 96000), Note(Samples(12000), 1), false},
        {Note(Samples(0), 24000), Note(Ticks(240000), 960000), true},
        {Note(Samples(0), 24000), Note(Ticks(240040), 960000), false},
    };
    for (const auto& [last, candidate, canAdd] : kCases)
    {
        Mdie_Chord chord;
        EXPECT_TRUE(chord.CanAdd(candidate)); // whatever it is
        chord.push_back(Note(Ticks(-1000000), 10));
        chord.push_back(last); // kept: it alone is asked
        EXPECT_EQ(chord.CanAdd(candidate), canAdd) << candidate.GetTime().AsInt64();
        EXPECT_TRUE(chord.InChord(last) && !chord.InChord(candidate));
    }
}

} // namespace
