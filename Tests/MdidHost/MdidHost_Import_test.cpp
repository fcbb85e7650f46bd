#include "MdidHost/Import/MdidHost_Import.h"

#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "Mdid/Mdid_SysexEvent.h"
#include "Support/ScopedAllowMPE.h"
#include "Support/SmfBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>

namespace
{

// In file ticks; "+n" for the internal units beyond one.
std::string At(const MdidHost_Division& iDivision, Time_Typed iTime)
{
    const std::int64_t tick = iDivision.ToFileTick(iTime, {});
    const std::int64_t beyond = (iTime - iDivision.ToTime(tick)).AsInt64();
    return std::to_string(tick) + (beyond != 0 ? "+" + std::to_string(beyond) : "");
}

std::string LaneText(const MdidHost_Division& iDivision, const Mdid_ContinuousDataStreamCore& iLane)
{
    std::ostringstream out;
    out << iLane.GetSubStream().GetDataTypeIndex() << ':';
    for (const auto& segment : iLane.GetSegments())
        out << ' ' << At(iDivision, segment.mTime) << '=' << std::hex << segment.mValue << std::dec;
    return out.str();
}

// "1/0 Piano "text": 0-96:60 64/40#1 {0: 0=5}; 7: 0=7f; sysex 0 of 2 | ...": file track, channel, texts; notes by
// start, end, pitch and both velocities, with member channel and lanes; lanes by index, with values in hex.
std::string TextOf(const MdidHost_Session& iSession)
{
    std::ostringstream out;
    const MdidHost_Division& division = iSession.mDivision;
    for (const MdidHost_Track& track : iSession.mTracks)
    {
        out << (&track == &iSession.mTracks[0] ? "" : " | ") << track.mFileTrack << '/' << track.mChannel
            << (track.mMPEMembers > 0 ? "+" + std::to_string(track.mMPEMembers) : "")
            << (track.mName.empty() ? "" : " ") << track.mName << track.mInstrument;
        for (const std::string& comment : track.mComments)
            out << " \"" << comment << '"';
        out << ':';
        for (const auto& note : *track.mChunk->GetNoteList())
        {
            const auto& event = note.GetNote();
            out << ' ' << At(division, note.GetTime()) << '-' << At(division, note.GetEndTime()) << ':'
                << int{event.GetPitch()} << ' ' << int{event.GetVelocity()} << '/' << int{event.GetOffVelocity()};
            if (event.GetChannel() > 0)
                out << '#' << int{event.GetChannel()};
            if (note.HasPerNoteControllers())
                for (const auto& lane : *note.GetPerNoteControllers())
                    out << " {" << LaneText(division, lane) << '}';
        }
        for (const auto& lane : *track.mChunk->GetContinuousList())
            out << "; " << LaneText(division, *lane);
        for (const auto& event : *track.mChunk->GetEventStream())
            out << "; sysex " << At(division, event.GetTime()) << " of " << event.GetEvent().AsSysex().GetLength();
        if (track.mFileTrackEnd)
            out << "; ends at " << At(division, *track.mFileTrackEnd);
    }
    return out.str();
}

struct Imported
{
    SmfBuilder::Bytes mFile;
    MdidHost_ImportReport mReport;
    MdidHost_Session mSession;

    explicit Imported(const SmfBuilder& iFile, const MdidHost_ImportOptions& iOptions = {})
        : mFile(iFile.Build()),
          mSession(MdidHost_ImportMidiFile(std::make_unique<Sys_MemoryInStream>(mFile), iOptions, mReport))
    {
    }

    const Mdid_Chunk& Chunk() const { return *mSession.mTracks[0].mChunk; }
};

std::string TextOf(const std::vector<MdidHost_Loss>& iLosses)
{
    std::string text;
    for (const MdidHost_Loss& loss : iLosses)
        text.append(std::to_string(loss.mCount)).append(" ").append(loss.mWhat).append("; ");
    return text;
}

const MdidHost_ImportOptions kStrict{.mIsStrict = true}, kMPE{.mIsMPE = true};

// Events, without the end of track; what becomes of them; losses.
using Case = std::array<std::string, 3>;

void Check(const MdidHost_ImportOptions& iOptions, std::initializer_list<Case> iCases)
{
    for (const auto& [events, tracks, losses] : iCases)
    {
        const Imported imported(SmfBuilder().Track(events + " 00 ff2f00"), iOptions);
        EXPECT_EQ(TextOf(imported.mSession), tracks) << events;
        EXPECT_EQ(TextOf(imported.mReport.mLosses), losses) << events;
    }
}

TEST(MdidHost_Import, FilesWhatATrackHoldsByChannel)
{
    const ScopedAllowMPE allow(true);
    Check({}, {
                  // Each channel and pitch for itself.
                  {"00 913c40 00 903c41 00 913d42 05 903c00 05 913d00 05 3c00",
                   "1/1: 0-15:60 64/64 0-10:61 66/64 | 1/0: 0-5:60 65/64"},
                  // Without length, left open, alone.
                  {"05 903c40 00 803c07 00 903d40 00 803e40 0a ff2f00", "1/0: 5-6:60 64/7 5-15:61 64/64",
                   "1 note-offs without a note-on; 1 notes left open, which end with their track; "
                   "1 notes of no length, which last one tick; "},
                  // Within one tick: a lane, parameter numbers, the bank in force, system-exclusive messages.
                  {"00 b00701 00 0702 00 e00000 00 b00740 01 0703", "1/0:; 0: 0=ffffe000; 7: 0=1 0+1=2 0+2=40 1=3"},
                  {"00 b06500 00 6400 00 060c 00 0705 00 6501 00 6401 00 0640",
                   "1/0:; 6: 0+2=c 0+5=40; 7: 0=5; 100: 0+1=0 0+4=1; 101: 0=0 0+3=1"},
                  {"00 c005 00 b00001 00 2002 00 c005 0a 06 0a b00003 00 c006 00 b00005 00 2006 00 2007",
                   "1/0:; 121: 0=c00005 0+1=8205 10=8206 20=18206",
                   "3 bank selects without a program change behind them; "},
                  {"05 f0027df7 00 f0037d01f7", "1/-1:; sysex 5 of 1; sysex 5+1 of 2"},
                  // System-exclusive messages and texts go with the first channel; a message began when it did.
                  {"00 ff03014e 00 ff010163 00 ff040149 00 f0027df7 00 914000 0a f0037d01f7 00 c002 00 d103 00 a13d06",
                   "1/0 NI \"c\":; 121: 10=c00002; sysex 0 of 1; sysex 10 of 2 | 1/1 NI:; 120: 10=3; 183: 10=6",
                   "1 note-offs without a note-on; "},
                  {"05 f00101 05 ff0500 05 f70202f7 05 c002", "1/0:; 121: 20=c00002; sysex 5 of 2",
                   "1 lyrics; 1 times of packets of system-exclusive messages; "},
                  // Nothing but a name; too much of it.
                  {"00 ff03014e", "1/-1 N:"},
                  {"00 ff010161 00 ff03014e 05 903c40 05 ff010162 00 903c00 00 ff200101 00 ff03014e",
                   "1/0 N \"a\" \"b\": 5-10:60 64/64",
                   "1 further names of one track; 1 channel prefixes; 1 names whose times are not kept; "
                   "1 texts whose times are not kept; "},
              });
}

TEST(MdidHost_Import, GivesNotesTheExpressionOfTheirMemberChannels)
{
    const ScopedAllowMPE allow(false);
    Check(
        kMPE,
        {
            // What no note takes keeps its channel.
            {"00 e10040 00 b14a10 00 913c40 05 d120 00 e00050 00 b10740 00 c203 05 e17f7f 00 813c40 05 d130",
             "1/0+15: 0-10:60 64/64#1 {0: 0=0} {74: 0=10} {120: 5=20}; 0: 5=800 | 1/1:; 7: 5=40 | 1/2:; 121: 5=c00003",
             "2 expression events of MPE channels that no note hears; "},
            // The value in force at the start is all that is heard of it before.
            {"00 e10000 05 e10040 05 e10041 00 913c40 05 3c00", "1/0+15: 10-15:60 64/64#1 {0: 0=80}",
             "2 expression events of MPE channels that no note hears; "},
            {"00 e10041 05 913c40 05 3c00", "1/0+15: 5-10:60 64/64#1 {0: 0=80}",
             "1 expression events that move to the start of their note; "},
            // A chord on one channel, another note on the master's.
            {"00 913c40 00 3e40 00 903d40 05 d120 05 913e00 05 3c00 05 903d00",
             "1/0+15: 0-20:61 64/64 0-15:60 64/64#1 {120: 5=20} 0-10:62 64/64#1 {120: 5=20}"},
        });
    EXPECT_TRUE(Mdid_AllowMPE());
    // Zones that the file configures: two members above channel 0, one below channel 15.
    Check({}, {{"00 b06500 00 6406 00 0602 00 bf6500 00 6406 00 0601 00 913c40 00 d305 00 9e3d41 05 de07 05 8e3d00 "
                "00 813c00",
                "1/0+2: 0-10:60 64/0#1; 6: 0+2=2; 100: 0+1=6; 101: 0=0 | "
                "1/15+1: 0-10:61 65/0#14 {120: 5=7}; 6: 0+2=1; 100: 0+1=6; 101: 0=0 | 1/3:; 120: 0=5"}});
}

// 300 notes that sound at once would take 90,000 copies of 300 bends.
TEST(MdidHost_Import, CopiesExpressionNoOftenerThanAnInstrumentNeeds)
{
    const ScopedAllowMPE allow(false);
    std::string events;
    for (int i = 0; i < 600; ++i)
        events += i < 300 ? "00 913c40 " : "01 e10041 ";
    const Imported imported(SmfBuilder().Track(events + "01 ff2f00"), kMPE);
    EXPECT_TRUE(imported.mSession.mHasPerNoteData);
    EXPECT_EQ(TextOf(imported.mReport.mLosses), "300 notes left open, which end with their track; "
                                                "284 notes with more expression than is copied to them; ");
}

TEST(MdidHost_Import, ReadsWhatHoldsForThePiece)
{
    const Imported imported(SmfBuilder()
                                .Track("00 ff510307a120 00 ff580406030c08 00 ff58040604 0000 60 ff51030f4240 "
                                       "00 ff5103030d40 00 ff5902fd01 00 ff0603414243 00 ff54056001020304 "
                                       "01 ff5103000000 00 ff580400021808 00 ff2f00")
                                .Track("00 ff2f00")
                                .Track("00 c000 00 ff2f00")
                                .Track("00 ff2f00"),
                            kStrict);
    const MdidHost_Session& session = imported.mSession;
    const Time_Typed zero(0, Time_EType::kTick);
    const Time_Typed quarter(960'000, Time_EType::kTick);
    Time_TempoMap tempos;
    tempos.Set(Time_Tick(0), 500'000);
    tempos.Set(Time_Tick(960'000), 200'000);
    EXPECT_EQ(session.mContext.GetTempoMap(), tempos);
    EXPECT_EQ(session.mMeters, (std::vector<MdidHost_Meter>{{zero, 6, 8, 12, 8}, {zero, 6, 16, 0, 0}}));
    EXPECT_EQ(session.mKeys.at(0).mKey.GetNumAccidentals(), 3);
    EXPECT_EQ(session.mMarkers, (std::vector<MdidHost_Marker>{{quarter, "ABC"}}));
    EXPECT_EQ(session.mSMPTEOffset.value().mMinutes, 1);
    EXPECT_EQ(TextOf(imported.mSession), "3/0:; 121: 0=c00000");
    EXPECT_EQ(TextOf(imported.mReport.mLosses), "1 tempos of 0; 1 tempos that another one at the same time replaces; "
                                                "1 meters that do not exist; 1 tracks at the end without contents; "
                                                "1 SMPTE offsets whose times are not kept; ");
}

// Also when something of a later track is moved behind it. What the end of a track is behind stands in all of it.
TEST(MdidHost_Import, KeepsWhereATrackEnds)
{
    const Imported imported(SmfBuilder()
                                .Track("00 903c40 05 b10701 05 ff2f00")
                                .Track("00 ff2f00")
                                .Track("00 913c40 05 3c00 05 c202 05 ff060141 05 ff2f00")
                                .Track("05 ff2f00"));
    EXPECT_EQ(TextOf(imported.mSession),
              "1/0: 0-10:60 64/64 | 1/1:; 7: 5=1 | 3/1: 0-5:60 64/64; ends at 20 | 3/2:; 121: 10=c00002");
    const Imported alone(SmfBuilder().Track("00 d005 05 ff060141 05 ff2f00"));
    EXPECT_EQ(TextOf(alone.mSession), "1/0:; 120: 0=5; ends at 10");
}

TEST(MdidHost_Import, PutsTempoBesideTimesThatAreMicroseconds)
{
    const Imported imported(SmfBuilder(1, 0xE728)
                                .Track("00 ff510307a120 8768 ff51 0303d090 8768 ff510307a120 00 ff2f00")
                                .Track("28 903c40 28 3c00 00 ff2f00"));
    const auto entries = imported.mSession.mContext.GetTempoMap().GetEntries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[1].mTick, Time_Tick(1'920'000));
    EXPECT_EQ(entries[2].mTick, Time_Tick(5'760'000));
    EXPECT_EQ(TextOf(imported.mSession), "2/0: 40-80:60 64/64");
    EXPECT_EQ(imported.Chunk().GetNoteList()->Last().GetTime().GetType(), Time_EType::kMicrosecond);
}

// A tick of 29 units has room for 15 events that come back as the same tick. The reader's times wrap at 32 bits.
TEST(MdidHost_Import, KeepsTheOrderOfWhatATickHasNoRoomFor)
{
    std::string events = "01 d000";
    for (int i = 1; i < 40; ++i)
        events += " 00 d0" + ToHex(std::vector{static_cast<unsigned char>(i)});
    for (int i = 0; i < 20; ++i)
        events += " ffffff7f d000";
    const Imported imported(SmfBuilder(1, 32767).Track(events + " 00 ff2f00"), kStrict);
    const auto& segments = (*imported.Chunk().GetContinuousList())[0]->GetSegments();
    for (int i = 0; i < 40; ++i)
        EXPECT_EQ(segments.at(static_cast<std::size_t>(i)),
                  (Mdid_ContinuousDataStreamCore::Segment{Time_Typed(29 + i, Time_EType::kTick), i}));
    EXPECT_EQ(segments.back().mTime, imported.mSession.mDivision.ToTime(1 + 20 * ((std::int64_t{1} << 28) - 1)));
    EXPECT_EQ(TextOf(imported.mReport.mLosses), "25 events too many for their tick, which come later; ");
}

TEST(MdidHost_Import, ReportsHowFarItCame)
{
    MdidHost_ImportReport report;
    const auto file = SmfBuilder().Track("00 803c40 00 ff2f00").Track("00 903c40 00 f4").Build();
    EXPECT_THROW(MdidHost_ImportMidiFile(std::make_unique<Sys_MemoryInStream>(file), kStrict, report),
                 std::runtime_error);
    EXPECT_EQ(report.mGrade, MdidHost_Grade::kUnreadable);
    EXPECT_EQ(TextOf(report.mLosses), "1 note-offs without a note-on; ");
    MdidHost_ImportMidiFile(std::make_unique<Sys_MemoryInStream>(file), {}, report);
    EXPECT_EQ(report.mGrade, MdidHost_Grade::kRepaired);
    EXPECT_FALSE(report.mFindings.empty());
}

// Random notes against the plainest search for the first one that is open.
TEST(MdidHost_Import, KeepsEveryNoteAtItsTicks)
{
    using Note = std::array<std::int64_t, 5>; // start, pitch, velocity, end (0: open), off velocity
    std::mt19937 random(1);
    for (const int division : {7, 96, 1024, 32767, 0xE350})
    {
        std::string events;
        std::vector<Note> notes;
        unsigned char delta = 1;
        std::int64_t tick = 0;
        for (int i = 0; i < 600; ++i, delta = static_cast<unsigned char>(random() % 3))
        {
            const auto pitch = static_cast<unsigned char>(random() % 4);
            const auto velocity = static_cast<unsigned char>(random() % 127 + 1);
            const unsigned char status = random() % 2 == 0 ? 0x90 : 0x80;
            events += ToHex(std::vector{delta, status, pitch, velocity}) + ' ';
            tick += delta;
            const auto isOpen = [&](const Note& iNote) { return iNote[1] == pitch && iNote[3] == 0; };
            const auto open = std::ranges::find_if(notes, isOpen);
            if (status == 0x90)
                notes.push_back({tick, pitch, velocity, 0, 64});
            else if (open != notes.end())
                *open = {(*open)[0], pitch, (*open)[2], std::max(tick, (*open)[0] + 1), velocity};
        }
        for (Note& note : notes)
            note[3] = note[3] > 0 ? note[3] : std::max(tick, note[0] + 1);

        const Imported imported(SmfBuilder(1, division).Track(events + "00 ff2f00"));
        const auto tickOf = [&](Time_Typed iTime) { return imported.mSession.mDivision.ToFileTick(iTime, {}); };
        std::vector<Note> importedNotes;
        for (const auto& note : *imported.Chunk().GetNoteList())
            importedNotes.push_back({tickOf(note.GetTime()), note.GetPitch(), note.GetNote().GetVelocity(),
                                     tickOf(note.GetEndTime()), note.GetNote().GetOffVelocity()});
        EXPECT_TRUE(std::ranges::is_permutation(importedNotes, notes)) << division;
    }
}

} // namespace
