#include "Mdid/Mdie_TraceUtil.h"

#include "Mdid/EventsOfAllTypes.h"
#include "Mdid/Mdie_TimedEvent.h"

#include <gtest/gtest.h>

#include <sstream>
#include <tuple>

namespace
{

constexpr std::int64_t kFarthest = Time_Packed::kMinCount; // the time with the most characters

// What iFormat writes into a buffer of iSize characters; whatever lies outside must stay untouched.
template <class Format>
std::string Bounded(int iSize, const Format& iFormat)
{
    const std::string margin(16, '\x55');
    std::string memory = margin + std::string(static_cast<std::size_t>(std::max(iSize, 0)), '\x55') + margin;
    iFormat(memory.data() + 16, iSize);
    EXPECT_TRUE(memory.starts_with(margin) && memory.ends_with(margin)) << iSize;
    EXPECT_TRUE(iSize <= 0 || memory[memory.size() - 17] == '\0') << iSize;
    return iSize > 0 ? memory.data() + 16 : "";
}

std::string Text(const Mdid_Event& iEvent, int iSize)
{
    return Bounded(iSize, [&](char* oText, int iS) { Mdie_TraceUtil::FormatMidiEvent(oText, iS, iEvent); });
}

std::string TimedText(const Mdie_TimedEvent& iEvent, int iSize)
{
    return Bounded(iSize, [&](char* oText, int iS) { Mdie_TraceUtil::FormatTimedMidiEvent(oText, iS, iEvent); });
}

// " 01 02 03" for the counting bytes iFirst to iLast.
std::string Hex(int iFirst, int iLast)
{
    return " " + ToHex(CountingBytes(iLast)).substr(3 * static_cast<std::size_t>(iFirst - 1));
}

TEST(Mdie_TraceUtil, EveryTypeHasItsText)
{
    const std::pair<Mdid_Event, std::string> kCases[] = {
        {Mdid_NoteOnEvent(3, 60, 100), "NoteOn(60, 100)"}, // kept: the channel is not shown
        {Mdid_NoteOffEvent(3, -128, 64), "NoteOff(-128, 64)"},
        {Mdid_NoteWithDurationEvent(0, 64, {960, Time_EType::kTick}, 90, 64),
         "NoteWithDuration(p: 64, d: 960t, on: 90, off: 64)"},
        {Mdid_NoteWithDurationEvent(0, -128, {kFarthest, Time_EType::kSample}, -128, -128),
         "NoteWithDuration(p: -128, d: -2305843009213693952s, on: -128, off: -128)"},
        {Mdid_PitchBendEvent(0, -8192), "PitchBend(-8192)"},
        {Mdid_ControllerEvent(0, 7, 127), "Controller(7: 127)"},
        {Mdid_ProgramEvent(0, 5, 0x4080), "Program(5, bank 128 MSB)"},
        {Mdid_ProgramEvent(0, 5, 0x8003), "Program(5, bank 3 LSB)"},
        {Mdid_MonoPressureEvent(0, 99), "MonoPressure(99)"},
        {Mdid_PolyPressureEvent(0, 60, 99), "PolyPressure(60: 99)"},
        {Mdid_SongPositionEvent(-3), "Song Position(-3)"},
        {Mdid_StartEvent(), "Start"},
        {Mdid_ContinueEvent(), "Continue"},
        {Mdid_StopEvent(), "Stop"},
        {Mdid_TimingClockEvent(), "TimingClock"},
        {BareEvent(-128), "UnknownEvent(-128)"},
    };
    for (const auto& [event, text] : kCases)
    {
        const std::string timed = "<sample: -2305843009213693952> " + text;
        for (int size = -1; size <= 110; ++size)
        {
            const auto room = static_cast<std::size_t>(std::max(size - 1, 0));
            EXPECT_EQ(Text(event, size), text.substr(0, room));
            EXPECT_EQ(TimedText({{kFarthest, Time_EType::kTick}, event}, size), timed.substr(0, room));
        }
    }
}

TEST(Mdie_TraceUtil, ASysexIsShownWholeOrByHeadAndTail)
{
    SysexPool pool;
    const auto complete = [](int iLength) { return MakeSysex(CountingBytes(iLength - 2)); };
    const auto fragment = [&](int iLength) { return MakePacket(CountingBytes(iLength), pool); };
    const std::tuple<Mdid_Event, int, std::string> kCases[] = {
        {complete(4), 200, "Sysex - f0 01 02 f7"},
        {fragment(0), 200, "Sysex - INCOMPLETE"},
        {complete(55), 200, "Sysex - f0" + Hex(1, 53) + " f7"},
        // Kept: a message that ends just past the budget gets the dots too, and its last bytes again.
        {complete(56), 200, "Sysex - f0" + Hex(1, 54) + " f7 ..." + Hex(52, 54) + " f7"},
        {complete(127), 200, "Sysex - f0" + Hex(1, 55) + " ..." + Hex(123, 125) + " f7"},
        {fragment(100), 200, "Sysex - INCOMPLETE" + Hex(1, 49) + " ..." + Hex(97, 100)},
        {complete(4), 39, "Sysex - f0 01 02 ... f0 01 02 f7"},
        {fragment(3), 60, "Sysex - INCOMPLETE 01 02 ... 01 02 03"}, // less than the four bytes of a tail
        {complete(4), 28, "Sysex - f0 ..."},                        // no room for the tail
        {complete(4), 15, "Sysex - f0"},                            // nor for the dots
    };
    for (const auto& [event, size, text] : kCases)
    {
        EXPECT_EQ(Text(event, size), text) << size;
        for (int anySize = 0; anySize <= 120; ++anySize)
            TimedText({{kFarthest, Time_EType::kSample}, event}, anySize);
    }
}

TEST(Mdie_TraceUtil, TimestampsShowTheLastFigureOfTheSeconds)
{
    const auto format = [](char* oText, int iSize)
    { Mdie_TraceUtil::FormatMidiTimestamp(oText, iSize, 12345678, Time_Sample(44100)); };
    EXPECT_EQ(Bounded(200, format), "[2.345.6, 44100]"); // kept
    EXPECT_EQ(Bounded(6, format), "[2.34");
}

TEST(Mdie_TraceUtil, ListsArePrintedOneEventALine)
{
    Mdie_TimedEventList list;
    list.push_back({{-480, Time_EType::kTick}, Mdid_NoteOnEvent(3, 60, 100)});
    list.push_back({{48000, Time_EType::kSample}, MakeSysex({0x41})});
    std::ostringstream stream;
    stream << std::hex << std::showbase; // numbers are decimal all the same
    Mdie_TraceUtil::PrintTimedEventList(&list, stream);
    EXPECT_EQ(stream.str(), "-480t  NoteOn(60, 100)\n48000s  Sysex - f0 41 f7\n");

    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    Mdie_TraceUtil::TraceMidiEventList(&list); // kept: formats, and puts nothing out
    EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");
}

} // namespace
