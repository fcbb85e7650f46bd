#include "MdidHost/Listing/MdidHost_EventListing.h"

#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "Mdid/Mdid_SysexEvent.h"
#include "Support/ScopedAllowMPE.h"

#include <gtest/gtest.h>
#include <sstream>

namespace
{

using Format = MdidHost_EventListing::Format;
using Lane = Mdie_SubStream;

// 480 file ticks a quarter note are 2000 internal ticks each.
const auto At = [](std::int64_t iFileTick) { return Time_Typed(iFileTick * 2000, Time_EType::kTick); };
const auto Only = [](const char* iKinds) { return MdidHost_EventListing::ParseKinds(iKinds).value(); };

Mdid_NoteWithDurationExtendedEvent MakeNote(std::int64_t iFileTick, signed char iPitch, signed char iChannel)
{
    return {At(iFileTick), Mdid_NoteWithDurationEvent(iChannel, iPitch, At(480) - At(0), 100, 64), false};
}

// Two tracks, of channels 0 and 9, in 3/4.
struct EventListing : testing::Test
{
    EventListing()
    {
        mSession.mMeters = {{At(0), 3, 4}};
        mSession.mTracks.resize(2);
        mSession.mTracks[0].mChannel = 0;
        mSession.mTracks[1].mChannel = 9;
        for (MdidHost_Track& track : mSession.mTracks)
            track.mChunk = Mdid_ChunkRef(Mdid_Chunk::New(Ndo_Object::kNotUndoable, false));
    }

    void Add(std::size_t i, const Mdid_ExtendedEvent& iEvent) { mSession.mTracks[i].mChunk->AddEvent(iEvent, {}); }
    void Add(std::size_t i, std::int64_t iFileTick, const Mdid_Event& iEvent) { Add(i, {At(iFileTick), iEvent}); }

    // With a bend at its start, and pressure 100 ticks behind it.
    void AddExpressiveNote(std::int64_t iFileTick, signed char iPitch, signed char iChannel)
    {
        auto note = MakeNote(iFileTick, iPitch, iChannel);
        note.SetPerNoteControllers();
        auto& lanes = *note.WritePerNoteControllers();
        lanes.InsertStream(Lane(Lane::kOfNote, Mdid_Event::kPitchBend, 0), false)->AddBreakpoint(At(0), -5);
        lanes.InsertStream(Lane(Lane::kOfNote, Mdid_Event::kMonoPressure, 0), false)->AddBreakpoint(At(100), 7);
        Add(0, note);
    }

    std::string List(const MdidHost_EventListing& iListing) const
    {
        const MdidHost_Session::Scope scope(mSession);
        std::ostringstream text;
        MdidHost_ListEvents(text << '\n', mSession, iListing);
        return text.str();
    }

    MdidHost_Session mSession;
};

TEST_F(EventListing, EveryKindOfEventIsALine)
{
    const unsigned char kBody[] = {0x7E, 0x01};
    Add(0, MakeNote(960, 60, 0));
    Add(0, 961, Mdid_ControllerEvent(0, 7, 101));
    Add(1, 962, Mdid_PitchBendEvent(0, -8192));
    Add(0, 963, Mdid_ProgramEvent(0, 5, 0x4000 | 3 << 7)); // a bank MSB, no LSB
    Add(0, 964, Mdid_MonoPressureEvent(0, 9));
    Add(0, 965, Mdid_PolyPressureEvent(0, 1, 12));
    Add(0, 1440, Mdid_SysexEvent(2, kBody));
    EXPECT_EQ(List({.mFormat = Format::kJson, .mKinds = Only("notes")}),
              "\n{\"track\":1,\"tick\":960,\"us\":1000000,\"bar\":\"1:3:000\",\"type\":\"note\",\"channel\":0,"
              R"("pitch":60,"name":"C4","velocity":100,"offVelocity":64,"duration":480})"
              "\n");
    EXPECT_EQ(List({.mFormat = Format::kJson, .mKinds = ~Only("notes")}), R"(
{"track":1,"tick":961,"us":1001042,"bar":"1:3:001","type":"controller","channel":0,"number":7,"value":101}
{"track":2,"tick":962,"us":1002083,"bar":"1:3:002","type":"bend","channel":9,"value":-8192}
{"track":1,"tick":963,"us":1003125,"bar":"1:3:003","type":"program","channel":0,"program":5,"bankMsb":3,"bankLsb":null}
{"track":1,"tick":964,"us":1004167,"bar":"1:3:004","type":"pressure","channel":0,"value":9}
{"track":1,"tick":965,"us":1005208,"bar":"1:3:005","type":"polyPressure","channel":0,"pitch":1,"name":"C#-1","value":12}
{"track":1,"tick":1440,"us":1500000,"bar":"2:1:000","type":"sysex","channel":null,"bytes":"f0 7e 01 f7"}
)");
    const std::string csv = List({.mFormat = Format::kCsv, .mKinds = Only("programs,notes")});
    EXPECT_EQ(csv.substr(csv.find("velocity")),
              R"(velocity,offVelocity,duration,number,value,program,bankMsb,bankLsb,bytes,noteTick,notePitch
1,960,1000000,1:3:000,note,0,60,C4,100,64,480,,,,,,,,
1,963,1003125,1:3:003,program,0,,,,,,,,5,3,,,,
)");
    EXPECT_THROW(List({.mTrack = 3}), std::invalid_argument);
}

// Notes of an MPE zone's member channels play on them, the rest on the master channel.
TEST_F(EventListing, PerNoteDataComesInOrderOfTimeAndNamesItsNote)
{
    const ScopedAllowMPE option(true);
    mSession.mTracks[0].mMPEMembers = 15;
    AddExpressiveNote(0, 60, 1);
    AddExpressiveNote(50, 64, 2);
    Add(0, 120, Mdid_PitchBendEvent(0, 3));
    const std::string early = R"(
{"track":1,"tick":0,"us":0,"bar":"1:1:000","type":"bend","channel":1,"value":-5,"note":{"tick":0,"pitch":60}}
{"track":1,"tick":50,"us":52083,"bar":"1:1:050","type":"bend","channel":2,"value":-5,"note":{"tick":50,"pitch":64}}
)";
    const std::string late = R"(
{"track":1,"tick":100,"us":104167,"bar":"1:1:100","type":"pressure","channel":1,"value":7,"note":{"tick":0,"pitch":60}}
{"track":1,"tick":120,"us":125000,"bar":"1:1:120","type":"bend","channel":0,"value":3}
{"track":1,"tick":150,"us":156250,"bar":"1:1:150","type":"pressure","channel":2,"value":7,"note":{"tick":50,"pitch":64}}
)";
    EXPECT_EQ(List({Format::kJson, 1, Only("bends,pressure"), {}, {}}), early + late.substr(1));
    EXPECT_EQ(List({Format::kJson, 1, Only("bends,pressure"), {}, At(100)}), early);
    EXPECT_EQ(List({Format::kJson, 1, Only("bends,pressure"), At(100), {}}), late); // of notes that began before
}

TEST_F(EventListing, TheEndsOfARangeAreExactThoughChunksRoundTheirsToSamples)
{
    mSession.mContext.SetSampleRate(23); // a sample is 41 file ticks
    for (const int tick : {99, 100, 101, 199, 200})
    {
        Add(0, MakeNote(tick, 60, 0));
        Add(1, tick, Mdid_ControllerEvent(0, 1, 1));
        Add(1, tick, Mdid_SysexEvent(1, std::array<unsigned char, 1>{1}.data()));
    }
    const auto count = [&](Time_Typed start, Time_Typed end)
    { return std::ranges::count(List({.mStart = start, .mEnd = end}), '\n') - 2; };
    EXPECT_EQ(count(At(100), At(200)), 9);
    EXPECT_EQ(count(At(101), At(199)), 3);
    EXPECT_EQ(count(At(200), At(100)), 0);
    EXPECT_EQ(count({104'168, Time_EType::kMicrosecond}, At(1000)), 9); // tick 100 is at 104,166.7
}

} // namespace
