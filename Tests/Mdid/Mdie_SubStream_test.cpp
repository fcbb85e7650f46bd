#include "Mdid/Mdie_SubStream.h"

#include "Mdid/EventsOfAllTypes.h"
#include "Mdid/Mdie_TimedEvent.h"
#include "Support/RecordingAssertHandler.h"
#include "Support/ScopedAllowMPE.h"

#include <gtest/gtest.h>

namespace
{

using Stream = Mdie_SubStream;

// A lane of a certain stream type, channel, pitch and time.
Stream Lane(Stream iLane, int iStreamType, signed char iChannel = 1, signed char iPitch = 60, std::int64_t iTime = 0)
{
    const Mdid_NoteWithDurationEvent note(iChannel, iPitch, {1, Time_EType::kTick}, 90, 64);
    iLane.LinkToNote({{iTime, Time_EType::kTick}, note});
    iLane.SetStreamType(static_cast<Stream::EStreamType>(iStreamType));
    return iLane;
}

constexpr const char* kHead = "04 4d647373 0100";        // "Mdss", version
constexpr const char* kBody = "02 07000000 04 03 3c 5a"  // controller, 7; stream type, channel, pitch, velocity
                              "a1 0f 00 00 00 00 00 00"; // 1000 << 2 | ticks

TEST(Mdie_SubStream, TheRecordIsWrittenToTheLetter)
{
    const Stream lane = Lane(Stream::Controller(7), Stream::kPerNote, 3, 60, 1000);
    for (const bool allowMPE : {false, true})
    {
        const ScopedAllowMPE option(allowMPE);
        ByteVector body = FromHex(kBody);
        body.resize(allowMPE ? body.size() : 5);
        EXPECT_EQ(ToHex(Saved(lane)), ToHex(Record(kHead, body)));
        const ScopedAllowMPE whenRead(!allowMPE); // kept: it takes no part, and what the record lacks stays
        Stream loaded = Lane(Stream::PolyPressure(1), Stream::kPerNotePitch, 9, 61, 7);
        Load(loaded, Record(kHead, body));
        EXPECT_TRUE(loaded.IsIdenticalTo(allowMPE ? lane : Lane(Stream::Controller(7), 0, 9, 61, 7)));
        Load(loaded, Record(kHead, FromHex(kBody + std::string("99")))); // appended by a newer writer
    }
    Mdie_TimedEvent note;
    lane.MakeNoteEvent(note);
    EXPECT_TRUE(lane.IsIdenticalTo(Stream(Mdid_ControllerEvent(9, 7, 1), note)));
    EXPECT_EQ(lane.Describe(), "data type 2 subtype 7 stream type 4 channel 3 pitch 60 velocity 90 time 1000");
}

std::string LoadFailure(const ByteVector& iRecord)
try
{
    Stream lane;
    Load(lane, iRecord);
    return "";
}
catch (const std::runtime_error& error)
{
    return error.what();
}

TEST(Mdie_SubStream, DamageIsRefused)
{
    const ByteVector body = FromHex(kBody);
    EXPECT_NE(LoadFailure(Record("04 4d647373 0200", body)), "");
    for (auto end = body.begin(); end != body.end(); ++end)
        EXPECT_EQ(LoadFailure(Record(kHead, {body.begin(), end})).empty(), end == body.begin() + 5); // the short form
    for (const char* const bytes : {"06 00000000", "ff 00000000", "01 00000000 00 00 ff ff 0300000000000000"})
        EXPECT_EQ(LoadFailure(Record(kHead, FromHex(bytes))), "bad data encountered") << bytes;
    for (const char* const bytes : {"02 00000000 01 00 ff ff 0000000000000000", "02 78000000", "05 80000000"})
        EXPECT_EQ(LoadFailure(Record(kHead, FromHex(bytes))), "bad subtype encountered") << bytes;
}

TEST(Mdie_SubStream, ComparesByWhatItsStreamTypeNeeds)
{
    const Stream bend = Stream::PitchBend();
    const std::tuple<Stream, Stream, const char*> kCases[] = {
        {bend, Stream::Controller(1), "<"},
        {Lane(bend, 0, 1, 60, 5), Lane(bend, 0, 2, 61, 6), "="}, // kept: nothing but the index
        {Lane(bend, 3, 1, 60, 5), Lane(bend, 3, 2, 61, 6), "="},
        {Lane(bend, 2, 1, 60, 5), Lane(bend, 2, 1, 61, 6), "="},
        {Lane(bend, 2, 1), Lane(bend, 2, 2), "<"},
        {Lane(bend, 4), Lane(bend, 4), ""}, // kept: not equal to itself
        {Lane(bend, 1, 1, 60), Lane(bend, 1, 1, 61), "=<"},
        {Lane(bend, 4, 1, 60), Lane(bend, 4, 1, 61), "=<"},
        {Lane(bend, 5, 1, 61), Lane(bend, 5, 1, 60), "=>"},
        {Lane(bend, 4, 1, 60, 6), Lane(bend, 4, 1, 61, 5), ">"},
        {Lane(bend, 4, 2, 60, 5), Lane(bend, 4, 1, 61, 6), ">"},
        {Lane(bend, 0, 9), Lane(bend, 4, 1), "<"},
        {Lane(bend, 0, 1), Lane(bend, 2, 2), ""},
    };
    for (const auto& [left, right, holds] : kCases)
        EXPECT_EQ(std::string(left == right ? "=" : "") + (left < right ? "<" : "") + (right < left ? ">" : ""), holds)
            << left.Describe() << " | " << right.Describe();
}

TEST(Mdie_SubStream, EveryKindMakesAndReadsItsEventsButTheNullKind)
{
    const std::tuple<Stream, Mdid_Event, int, int, int> kCases[] = {
        {Stream::PitchBend(), Mdid_PitchBendEvent(3, -8192), -8192, 0, 8191},
        {Stream::Controller(119), Mdid_ControllerEvent(3, 119, 127), 127, 119, 127},
        {Stream::Program(), Mdid_ProgramEvent(3, -1, 0xC001), 0xC001FF, 121, 0xFFFFFF}, // with its enabling bits
        {Stream::MonoPressure(), Mdid_MonoPressureEvent(3, 99), 99, 120, 127},
        {Stream::PolyPressure(127), Mdid_PolyPressureEvent(3, 127, 1), 1, 249, 127},
    };
    for (const auto& [made, event, value, index, maximum] : kCases)
    {
        const Stream lane(event, Stream::kOrdinary);
        EXPECT_TRUE(lane == made && lane.GetDataTypeIndex() == index && lane.GetChannel() == 3) << index;
        EXPECT_TRUE(lane.MakeEvent(value) == event && lane.GetValueFromEvent(event) == value) << index;
        Mdid_Event::Type type{};
        int subType = -5; // controllers alone write it
        lane.GetInfo(type, subType);
        EXPECT_TRUE(type == event.GetType() && subType == (index == 119 ? 119 : -5)) << index;
        EXPECT_EQ(lane.GetValueRange().mMaximum, maximum);
    }
    const std::pair<Stream, const char*> kNulls[] = {
        {Stream(Mdid_NoteOnEvent(5, 60, 1), Stream::kPerNote), "subtype 0 stream type 4 channel 0"},
        {Stream(Mdid_ControllerEvent(5, 0, 1), Stream::kPerNote), "subtype 0 stream type 4 channel 5"}, // kept
        {Stream(Stream::kPerNote, Mdid_Event::kController, 120), "subtype 120 stream type 4 channel 0"},
        {Stream(Stream::kPerNote, Mdid_Event::kPolyPressure, 60), "subtype 0 stream type 0 channel 0"}, // kept
        {Stream(Stream::kPerNote, Mdid_Event::kProgram, 0), "subtype 0 stream type 0 channel 0"},
    };
    for (const auto& [lane, text] : kNulls)
        EXPECT_EQ(lane.Describe(), std::string("data type 0 ") + text + " pitch -1 velocity -1 time 0");
    RecordingAssertHandler asserts;
    const Stream null;
    EXPECT_TRUE(null.IsNull() && null.GetDataTypeIndex() == 0 && null.GetDataType().IsValidSubType(-1));
    EXPECT_TRUE(null.MakeEvent(1) == Mdid_Event() && null.GetValueRange().mMaximum + null.GetValueFromEvent({}) == 0);
    EXPECT_EQ(asserts.Take(), std::vector<std::string>(5, "0@$^$@NewFileLibs/Mdid/Mdie_SubStream"));
}

} // namespace
