#include "MdidHost/Export/MdidHost_Export.h"

#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "Mdid/Mdid_SysexEvent.h"
#include "MdidHost/Import/MdidHost_Import.h"
#include "Support/ScopedAllowMPE.h"
#include "Support/SmfBuilder.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <iterator>
#include <sstream>

namespace
{

using Key = Mdie_SubStream;
using Division = MdidHost_Division;
using rc::gen::inRange;

// A session in file ticks. What is added goes to the last track.
struct TestSession : MdidHost_Session
{
    explicit TestSession(Division iDivision = Division::TicksPerQuarter(96)) { mDivision = iDivision; }

    Time_Typed At(int iTick) const { return mDivision.ToTime(iTick); }

    void AddTrack(int iChannel = 0, int iFileTrack = 1, int iMembers = 0)
    {
        const Mdid_ChunkRef chunk(Mdid_Chunk::New(Ndo_Object::kNotUndoable, false));
        mTracks.push_back({"", "", {}, iFileTrack, iChannel, iMembers, {}, chunk});
    }

    // Events, with a ';' between them. Lanes: 0 pitch bend, 1 to 119 controllers, 120 pressure, 121 program.
    //   TICK lane LANE VALUE
    //   TICK sysex BYTES (decimal)
    //   TICK note|muted END PITCH VELOCITY OFF CHANNEL [LANE TICKS VALUE]...
    void Add(const std::string& iEvents)
    {
        std::istringstream lines(iEvents);
        for (std::string line; std::getline(lines, line, ';');)
        {
            std::istringstream words(line);
            int tick = 0;
            std::string kind;
            words >> tick >> kind;
            AddEvent(tick, kind, {std::istream_iterator<int>(words), {}});
        }
    }

    static Key KeyOf(int iLane)
    {
        const Key lanes[] = {Key::PitchBend(), Key::MonoPressure(), Key::Program()};
        return iLane > 0 && iLane < 120 ? Key::Controller(iLane) : lanes[iLane % 119];
    }

    void AddEvent(int iTick, const std::string& iKind, const std::vector<int>& i)
    {
        const auto byte = [&](std::size_t iIndex) { return static_cast<signed char>(i.at(iIndex)); };
        const auto add = [&](const Mdid_Event& iEvent) {
            mTracks.back().mChunk->AddEvent({At(iTick), iEvent}, Key::kOrdinary);
        };
        if (iKind == "lane")
            add(KeyOf(i.at(0)).MakeEvent(i.at(1)));
        else if (iKind == "sysex")
            add(Mdid_SysexEvent(static_cast<int>(i.size()), std::vector<unsigned char>(i.begin(), i.end()).data()));
        else
        {
            const Mdid_NoteWithDurationEvent event(byte(4), byte(1), At(i.at(0)) - At(iTick), byte(2), byte(3));
            Mdid_NoteWithDurationExtendedEvent note(At(iTick), event, iKind == "muted");
            for (std::size_t lane = 5; lane < i.size(); lane += 3)
            {
                note.SetPerNoteControllers();
                auto& lanes = *note.WritePerNoteControllers();
                Key key = KeyOf(i.at(lane));
                key.SetStreamType(Key::kOfNote);
                const auto place = lanes.FindStream(key);
                const bool isThere = place != lanes.end() && place->GetSubStream() == key;
                auto& breakpoints = isThere ? *place : *lanes.InsertStream(key, false);
                breakpoints.AddBreakpoint(At(i.at(lane + 1)), i.at(lane + 2));
            }
            mTracks.back().mChunk->AddEvent(note, Key::kOrdinary);
        }
    }
};

// The file in hex, and "muted notes 1, ...".
using Exported = std::pair<std::string, std::string>;

Exported Export(const MdidHost_Session& iSession, int iFormat = 1, std::optional<Division> iDivision = {})
{
    Sys_MemoryOutStream stream;
    std::string losses;
    for (const auto& [what, count] : MdidHost_ExportMidiFile(iSession, {iFormat, iDivision}, stream).mLosses)
        losses += (losses.empty() ? "" : ", ") + what + ' ' + std::to_string(count);
    return {ToHex(stream.GetBytes()), losses};
}
std::string Smf(std::initializer_list<std::string> iTracks, int iFormat = 1, int iDivision = 96)
{
    SmfBuilder file(iFormat, iDivision);
    for (const std::string& track : iTracks)
        file.Track(track + " 00 ff2f00");
    return ToHex(file.Build());
}

TEST(MdidHost_Export, EventsOfATrackAsBytes)
{
    const ScopedAllowMPE mpe(true);
    const struct
    {
        const char* mWhat;
        const char* mEvents;
        const char* mTrack;
        const char* mLosses = "";
        int mMembers = 0;
        int mOther = 0; // channels on which other tracks play: this one and the last
    } table[] = {
        {"a note ends before the next begins; a release of 64 keeps the running status",
         "0 note 10 60 64 64 0; 10 note 20 60 100 30 0", "00 903c40 0a 3c00 00 3c64 0a 803c1e"},
        {"of what starts together the first to end goes first", "0 note 20 60 10 1 0; 0 note 10 60 99 2 0",
         "00 903c63 00 3c0a 0a 803c02 0a 3c01"},
        {"a note inside another one", "0 note 20 60 64 64 0; 5 note 10 60 64 64 0; 20 note 21 60 64 64 0",
         "00 903c40 05 3c40 05 3c00 0a 3c00 00 3c40 01 3c00",
         "notes within others of their pitch, with which they change ends 1"},
        {"no length lasts a tick", "5 note 5 60 64 64 0", "05 903c40 01 3c00"},
        {"what does not sound", "0 muted 1 60 64 64 0; 0 note 1 60 0 64 0", "", "notes of velocity 0 1, muted notes 1"},
        {"before the start", "-5 note 5 60 64 64 0; -1 lane 0 1", "00 e00140 00 903c40 05 3c00",
         "events before the start or after the last time of the file 2"},
        {"a bank where it changes, the disabled part never",
         "0 lane 121 66305; 1 lane 121 66308; 2 lane 121 67077; 3 lane 121 4456455", // 2/3/1, 2/3/4, 2/6/5, 8/-/7
         "00 b00002 00 2003 00 c001 01 04 01 b00002 00 2006 00 c005 01 b00008 00 c007"},
        {"system-exclusive and no running status behind it",
         "0 note 1 60 64 64 0; 0 lane 1 2; 0 sysex 126 9 1; 1 sysex 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15",
         "00 b00102 00 f0047e0901f7 00 903c40 01 f0100102030405060708090a0b0c0d0e0ff7 00 903c00"},
        {"a gap longer than a delta time", "268435457 note 268435458 60 64 64 0", "ffffff7f ff7f00 02 903c40 01 3c00"},
        {"a note that joins another repeats nothing; a note without lanes finds its channel at rest",
         "0 note 4 60 64 64 2 0 0 100 0 2 200 0 9 7; 3 note 6 60 64 64 2 0 0 200 74 0 1; 8 note 9 60 64 64 2",
         "00 e26440 00 923c40 02 e24841 01 b24a01 00 923c40 01 3c00 02 3c00 02 e20040 00 b24a40 00 923c40 01 3c00",
         "values of per-note lanes at or after the end of their note 1", 3},
        {"a zone is made of what is free, and configured",
         "0 note 4 60 64 64 0 0 0 100 0 2 200; 0 note 4 62 64 64 0 0 0 9; 1 note 2 60 64 64 0;"
         "1 note 2 64 64 64 0 0 0 8",
         "00 b06500 00 6406 00 0602 00 e16440 00 e20940 00 913c40 00 923e40"
         "01 e10840 00 903c40 00 914040 01 e14841 00 903c00 00 914000 02 3c00 00 923e00",
         "notes that share a member channel with others 1", 0, 3},
        {"no channel is free", "0 note 1 60 64 64 0 0 0 9", "00 e00940 00 903c40 01 3c00",
         "notes that have no member channel for their per-note lanes 1", 0, 1},
    };
    for (const auto& [what, events, track, losses, members, other] : table)
    {
        TestSession session;
        session.AddTrack(0, 1, members);
        session.Add(events);
        if (other > 0)
            session.AddTrack(other), session.AddTrack(15);
        EXPECT_EQ(Export(session), Exported(Smf({track}), losses)) << what;
    }
}

TEST(MdidHost_Export, TheFirstTrackTellsWhatHoldsForTheWholePiece)
{
    TestSession session;
    Time_TempoMap tempos;
    tempos.Set(Time_Tick(0), 600'000);
    tempos.Set(Time_Tick(960'000), 0x1000000);
    session.mContext.SetTempoMap(tempos);
    session.mMeters = {{session.At(0), 6, 8, 36, 8}, {session.At(96), 3, 5}};
    session.mKeys.resize(1);
    session.mKeys[0].mKey.SetNumAccidentals(3);
    session.mKeys[0].mKey.SetIsSharps(false);
    session.mMarkers = {{session.At(96), "m"}};
    session.mSMPTEOffset = {Mdi_MidiFileParserClient_Timecode::kDrop30, 1, 2, 3, 4, 5};
    const auto expected = Smf({"00 ff54054102030405 00 ff51030927c0 00 ff580406032408 00 ff5902fd00"
                               "60 ff5103ffffff 00 ff580403021808 00 ff06016d"});
    const char* const kLosses = "tempos slower than a file can say 1, meters that a file cannot say 1";
    EXPECT_EQ(Export(session), Exported(expected, kLosses));
}

TEST(MdidHost_Export, TracksKeepTheirNumbersAsFarAsAFilePlausiblyHasThem)
{
    TestSession session;
    session.AddTrack(1, 3), session.Add("2 lane 120 1");
    session.AddTrack(MdidHost_Track::kNoChannel, 1), session.Add("0 lane 120 1");
    session.AddTrack(2, 3), session.Add("3 lane 120 1");
    auto& tracks = session.mTracks;
    tracks[0].mComments = {"a"}, tracks[2].mComments = {"b"}, tracks[2].mName = "n";
    tracks[0].mInstrument = "i", tracks[2].mInstrument = "j";
    const std::string texts = "00 ff03016e 00 ff040169 00 ff010161 00 ff010162";
    const std::string losses = "names of instruments beside another one 1";
    EXPECT_EQ(Export(session), Exported(Smf({"00 d001", "", texts + "02 d101 01 d201"}), losses));
    EXPECT_EQ(Export(session, 0), Exported(Smf({texts + "00 d001 02 d101 01 d201"}, 0), losses));

    tracks[0].mFileTrack = tracks[2].mFileTrack = 2'000'000'000;
    session.mFormat = 2;
    const std::string more = "numbers of tracks, which were too far apart 3, "
                             "sequences that stood for themselves, now side by side 2, ";
    EXPECT_EQ(Export(session), Exported(Smf({"00 d001", texts + "02 d101 01 d201"}), more + losses));
}

TEST(MdidHost_Export, InAnotherDivisionPlaybackPriorityDecidesWithinATickThenTime)
{
    TestSession session;
    session.AddTrack();
    session.Add("0 note 96 60 64 64 0; 0 lane 0 -8192; 2 lane 6 1; 1 lane 100 2; 3 lane 6 128; 0 lane 101 4;"
                "0 lane 120 5; 4 lane 121 12582918");
    const auto expected = Smf({"00 c006 00 b06504 00 6402 00 0601 00 0600 00 e00000 00 d005 00 903c40 01 3c00"}, 1, 1);
    EXPECT_EQ(Export(session, 1, Division::TicksPerQuarter(1)),
              Exported(expected, "values beyond what MIDI can say 1"));
}

RC_GTEST_PROP(MdidHost_Export, WhatIsImportedAgainIsEqual, ())
{
    const Division divisions[] = {Division::TicksPerQuarter(96), Division::TicksPerQuarter(1),
                                  Division::TicksPerQuarter(32767), Division::SMPTE(25, false, 40),
                                  Division::SMPTE(30, true, 80)};
    TestSession session(divisions[*inRange(0, 5)]);
    for (int track = 1, last = *inRange(1, 4); track <= last; ++track)
    {
        session.AddTrack(*inRange(0, 16), track);
        session.Add("0 lane 7 100; 31 sysex 1 2 3; 32 sysex 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15");
        const int bank = *rc::gen::element(0x0123, 0xC000, 0x4280, 0x8012);
        for (int i = *inRange(0, 8); i > 0; --i)
        {
            const int value = *inRange(0, 128), tick = *inRange(0, 30);
            session.AddEvent(tick, "lane", {tick % 2 == 0 ? 6 : 101, value});
            session.AddEvent(tick, "lane", {0, 64 * value - 4096});
            session.AddEvent(tick, "lane", {121, bank << 8 | value});
        }
        // None within another of its pitch: whoever pairs first in, first out agrees.
        for (const int pitch : {60, 61})
            for (int start = 0, end = 0, i = *inRange(0, 5); i > 0; --i)
            {
                start += *inRange(0, 10);
                end = std::max(end, start + *inRange(1, 20));
                session.AddEvent(start, "note", {end, pitch, *inRange(1, 128), *inRange(0, 128), 0});
            }
    }
    MdidHost_ImportReport report;
    const auto file = FromHex(Export(session).first);
    const auto again = MdidHost_ImportMidiFile(std::make_unique<Sys_MemoryInStream>(file), {}, report);
    RC_ASSERT(again.mTracks.size() == session.mTracks.size());
    for (std::size_t i = 0; i < again.mTracks.size(); ++i)
        RC_ASSERT(*again.mTracks[i].mChunk == *session.mTracks[i].mChunk);
}

} // namespace
