#include "Mdid/Mdid_Event.h"

#include "Mdid/EventsOfAllTypes.h"
#include "Support/CallbackLog.h"
#include "Support/RecordingAssertHandler.h"

#include <gtest/gtest.h>

#include <climits>
#include <tuple>

namespace
{

using Program = Mdid_ProgramEvent;
using Note = Mdid_NoteWithDurationEvent;

constexpr std::uint16_t kNoBank = Program::kBankDisabled;
constexpr std::uint16_t kOnlyMSB = 0x4000;
constexpr std::uint16_t kOnlyLSB = 0x8000;
constexpr signed char kNoProgram = -128;

const Time_TypedLength kTicks(960, Time_EType::kTick);

TEST(Mdid_Event, EveryTypeMakesItsBytes)
{
    RecordingAssertHandler asserts;
    SysexPool pool;
    const std::pair<Mdid_Event, const char*> kCases[] = {
        {Mdid_Event(), ""},
        {Mdid_NoteOnEvent(2, 60, 1), "92 3c 01"},
        {Mdid_NoteOnEvent(15, 127), "9f 7f 50"},    // the default velocity
        {Mdid_NoteOnEvent(-1, 60, 1), "90 3c 01"},  // no channel: the first
        {Mdid_NoteOffEvent(0, 60, 64), "90 3c 00"}, // kept, for running status
        {Mdid_NoteOffEvent(3, 60, 63), "83 3c 3f"},
        {Mdid_PitchBendEvent(9, -1), "e9 7f 3f"},
        {Mdid_PitchBendEvent(0, 8191), "e0 7f 7f"},
        {Mdid_ControllerEvent(4, 7, 100), "b4 07 64"},
        {Program(), ""}, // kept: nothing is enabled
        {Program(3, 5, kOnlyMSB | 3 << 7), "b3 00 03 | c3 05"},
        {Program(3, kNoProgram, 3 << 7 | 9), "b3 00 03 | b3 20 09"},
        {Program(3, 127, 3 << 7 | 9), "b3 00 03 | b3 20 09 | c3 7f"},
        {Mdid_MonoPressureEvent(5, 99), "d5 63"},
        {Mdid_PolyPressureEvent(6, 60, 98), "a6 3c 62"},
        {Mdid_SongPositionEvent(0x54321), "f2 21 06"}, // the low 16 bits count
        {Mdid_StartEvent(), "fa"},
        {Mdid_ContinueEvent(), "fb"},
        {Mdid_StopEvent(), "fc"},
        {Mdid_TimingClockEvent(), "f8"},
        {MakeSysex({0x41, 0x10}), "f0 41 10 f7"},
        {MakeSysex(CountingBytes(15)), "f0 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f f7"},
        {MakePacket(CountingBytes(15), pool), ""}, // a fragment is not sent as a message
        {Mdid_AllNotesOffEvent(5), "b0 7b 00"},    // kept: on the first channel, always
        {Mdid_QuarterFrameEvent(Mdid_QuarterFrameEvent::kMinutesLow, 7), "f1 47"},
    };
    for (const auto& [event, messages] : kCases)
        EXPECT_EQ(MessagesToHex(event), messages) << "type " << int{event.GetType()};
    EXPECT_TRUE(asserts.Take().empty());
}

std::string PartOf(const Mdid_Event& iEvent, int iIndex, int iFrom, int iTo)
{
    ByteVector bytes(5, 0xEE);
    iEvent.GetPartialMessageData(bytes.data(), iIndex, iFrom, iTo);
    return ToHex(bytes);
}

TEST(Mdid_Event, AMessageIsGivenInPartsAndOneThatIsNotThereIsEmpty)
{
    const Program program(3, 5, 9);
    EXPECT_EQ(PartOf(program, 1, 1, INT_MAX), "20 09 ee ee ee");
    EXPECT_EQ(PartOf(program, 1, -1, 1), "ee b3 20 ee ee");
    EXPECT_EQ(PartOf(program, 3, 0, 2) + PartOf(program, INT_MIN, 0, 2), "ee ee ee ee eeee ee ee ee ee");
    const auto shortSysex = MakeSysex({0x41, 0x10});
    EXPECT_EQ(PartOf(shortSysex, 0, -1, INT_MAX), "ee f0 41 10 f7");
    EXPECT_EQ(PartOf(shortSysex, 0, 1, 2) + PartOf(shortSysex, 0, INT_MAX, INT_MAX), "41 10 ee ee eeee ee ee ee ee");
    const auto longSysex = MakeSysex(CountingBytes(15));
    EXPECT_EQ(PartOf(longSysex, 0, -2, 1) + PartOf(longSysex, 0, 15, INT_MAX), "ee ee f0 01 ee0f f7 ee ee ee");
}

TEST(Mdid_Event, WhatATypeCannotHaveIsReported)
{
    const std::string report = "false@$^$@NewFileLibs/Mdid/Mdid_Event";
    RecordingAssertHandler asserts;
    for (const int type : {17, 18, 22, 23, 24, -1})
    {
        const BareEvent event(type);
        unsigned char untouched = 0xEE;
        EXPECT_EQ(event.GetNumMessages() + event.GetMessageLength(0), 0);
        event.GetMessageData(&untouched, 0);
        EXPECT_EQ(untouched, 0xEE);
        EXPECT_EQ(asserts.Take(), std::vector(3, report)) << type;
    }
    for (const int type : {22, 23, 24, -1}) // kept: equal and less
    {
        EXPECT_TRUE(BareEvent(type, 1) == BareEvent(type, 2) && BareEvent(type, 1) < BareEvent(type, 2));
        EXPECT_EQ(asserts.Take(), std::vector(2, report)) << type;
    }
    EXPECT_FALSE(BareEvent(Mdid_Event::kSysexPacket).IsMessageSysex(0)); // kept
    EXPECT_TRUE(MakeSysex({}).IsMessageSysex(7));
}

TEST(Mdid_Event, PriorityIsTheWeightOfTheTypeAndThenTheChannel)
{
    static constexpr int kWeights[] = {
        0, 100, 90, 100, 50, 30, 20, 50, 50, 0,   0, 0, 0,
        0, 50,  0,  50,  0,  0,  10, 0,  0,  100, 0, 0}; // 15: below; 24: no event has it
    for (int type = 0; type < 25; ++type)
    {
        BareEvent event(type == Mdid_Event::kLongSysex ? 0 : type);
        event.SetChannel(9);
        EXPECT_EQ(event.GetPlaybackPriority(), 16 * kWeights[type] + 9) << type;
    }
    EXPECT_EQ(MakeSysex(CountingBytes(15)).GetPlaybackPriority(), 800);
    EXPECT_EQ(Mdid_NoteOffEvent(-1, 60, 1).GetPlaybackPriority(), 1440); // no channel: the first
}

TEST(Mdid_Event, ComparesWithinItsType)
{
    using Add = Mdid_AddNoteInProgressEvent;
    const Time_TypedLength samples(960, Time_EType::kSample);
    const Time_TypedLength shorter(-9, Time_EType::kTick);
    const auto* const listP = reinterpret_cast<const Mdid_PerNoteControllerListBase*>(&samples);
    SysexPool pool;
    // '<': only the left one is less; '=' and '!': neither is; '*': equal, and each is less.
    const std::tuple<Mdid_Event, Mdid_Event, char> kCases[] = {
        {Mdid_NoteOnEvent(1, 60, 9), Mdid_NoteOnEvent(1, 60, 9), '='},
        {Mdid_NoteOnEvent(1, 60, 9), Mdid_NoteOnEvent(2, 0, 0), '<'},   // channel first
        {Mdid_NoteOnEvent(1, 59, 9), Mdid_NoteOnEvent(1, 60, 0), '<'},  // then pitch
        {Mdid_NoteOnEvent(1, 60, -1), Mdid_NoteOnEvent(1, 60, 0), '<'}, // signed
        {Mdid_PitchBendEvent(1, -8192), Mdid_PitchBendEvent(1, 0), '<'},
        {Mdid_PitchBendEvent(1, 0), Mdid_PitchBendEvent(2, 0), '<'},
        {Mdid_SongPositionEvent(-1), Mdid_SongPositionEvent(0), '<'},
        {Mdid_QuarterFrameEvent(0x7F), Mdid_QuarterFrameEvent(0x80), '<'}, // unsigned
        {BareEvent(19, -5), BareEvent(19, 4), '<'},

        {Note(0, 1, kTicks, 2, 3), Note(0, 1, samples, 2, 3), '='}, // kept: the kind takes no part
        {Note(0, 1, kTicks, 9, 9), Note(0, 2, kTicks, 2, 3), '<'},
        {Note(0, 1, kTicks, 2, 3), Note(0, 1, shorter, 2, 4), '<'},
        {Note(0, 1, shorter, 2, 3), Note(0, 1, kTicks, 2, 3), '<'},
        {Add(0, 60, kTicks, 1, 2, nullptr), Add(0, 60, kTicks, 1, 2, listP), '='}, // kept: the list is not stored
        {Add(0, 60, kTicks, 1, 2, nullptr), Mdid_ClearNoteInProgressEvent(0, 60, kTicks, 1, 2), '!'},

        {Mdid_AllNotesOffEvent(1), Mdid_AllNotesOffEvent(2), '*'},
        {Mdid_NoteOnEvent(0, 60, 9), Mdid_NoteOffEvent(0, 60, 9), '!'}, // kept: never less across types

        {Program(1, 5, kNoBank), Program(2, 5, kNoBank | 77), '='}, // kept: the channel takes no part
        {Program(1, 5, kNoBank), Program(1, 6, kNoBank), '<'},
        {Program(), Program(0, kNoProgram | 5, kNoBank), '*'},        // kept
        {Program(1, 5, kNoBank), Program(), '<'},                     // enabled before disabled
        {Program(1, 5, 3 << 7 | 9), Program(1, 6, 3 << 7 | 10), '!'}, // kept: stops at the first enabled field
        {Program(1, 6, 3 << 7 | 9), Program(1, 5, 4 << 7 | 1), '<'},
        {Program(1, 5, kNoBank), Program(1, 5, kOnlyMSB), '!'}, // enabled states that differ

        {MakeSysex({9}), MakeSysex({1, 2}), '<'}, // the shorter first
        {MakeSysex({1, 2}), MakeSysex({1, 0xFF}), '<'},
        {MakePacket({1, 2}, pool), MakePacket({1, 3}, pool), '<'},
        {MakeSysex(CountingBytes(15)), MakeSysex(CountingBytes(15)), '!'}, // kept: equal is the same block
        {MakeSysex(CountingBytes(15)), MakeSysex(ByteVector(15, 0x7F)), '<'},
    };
    RecordingAssertHandler asserts;
    for (const auto& [left, right, order] : kCases)
    {
        const auto row = "type " + std::to_string(left.GetType()) + order;
        EXPECT_EQ(left == right, order == '=' || order == '*') << row;
        EXPECT_EQ(left < right, order == '<' || order == '*') << row;
        EXPECT_EQ(right < left, order == '*') << row;
    }
    for (const int type : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 16, 17, 18, 19, 20, 21})
    {
        const BareEvent event(type);
        EXPECT_TRUE(event == event) << type;
        EXPECT_EQ(event < event, type == 0 || (type >= 10 && type <= 13) || type == 20) << type; // kept: always less
    }
    EXPECT_TRUE(asserts.Take().empty());
}

TEST(Mdid_Event, ProgramFieldsKeepTheirBits)
{
    // The program byte and the bank word, with the enabling bits, which are inverted.
    const std::pair<void (*)(Program&), unsigned> kCases[] = {
        {[](Program&) {}, 0x80'C000},
        {[](Program& io) { io.SetProgram(5); }, 0x85'C000},
        {[](Program& io) { io.SetProgram(5), io.SetProgramEnable(true); }, 0x05'C000},
        {[](Program& io) { io.SetProgramEnable(true), io.SetProgram(-1); }, 0xFF'C000}, // kept: ored in
        {[](Program& io) { io.SetBank(0x0185); }, 0x80'C185},
        {[](Program& io) { io.SetFullBank(0), io.SetBank(-1); }, 0x80'FFFF}, // kept: ored in
        {[](Program& io) { io.SetMSBBankEnable(true), io.SetLSBBankEnable(true); }, 0x80'0000},
        {[](Program& io) { io.SetFullBank(0x3FFF), io.SetMSBBankEnable(false); }, 0x80'BFFF},
        {[](Program& io) { io.SetFullBank(0x407F), io.SetMSBBank(0x55); }, 0x80'6AFF},
        {[](Program& io) { io.SetFullBank(0x3FFF), io.SetLSBBank(0x12); }, 0x80'3F92},
        {[](Program& io) { io.SetFullBank(0), io.SetLSBBank(-1); }, 0x80'FFFF}, // kept: sign-extended
    };
    for (const auto& [edit, fields] : kCases)
    {
        Program event;
        edit(event);
        EXPECT_EQ((event.GetOMSPatchNum() & 0xFF) << 16 | event.GetFullBank(), fields); // kept: the whole byte
    }
    EXPECT_EQ(Program(0, 5, 3 << 7 | 9).GetOMSPatchNum(), 0xFF030905u);
    EXPECT_EQ(Program(0, kNoProgram | 5, kOnlyLSB | 3 << 7 | 9).GetOMSPatchNum(), 0xFF000985u);
}

} // namespace
