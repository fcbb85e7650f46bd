#include "MdidHost/Session/MdidHost_SessionFolder.h"

#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_PerNoteControllerList.h"
#include "MdidHost/Import/MdidHost_OpenSession.h"
#include "MdidHost/Session/MdidHost_RecordDump.h"
#include "Support/ScopedAllowMPE.h"
#include "Support/SmfBuilder.h"
#include "Support/TemporaryFolder.h"

#include <csignal>
#include <functional>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <set>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;
using Set = std::set<std::string>;

constexpr const char* kGolden =
    R"({"formatVersion":1,"generation":1,"fileFormat":0,"division":{"ticksPerQuarter":96},"kind":"ticks",)"
    R"("sampleRate":44100,"sessionStart":-5,"tempoMap":[{"tick":0,"microsecondsPerQuarter":400000},)"
    R"({"tick":960000,"microsecondsPerQuarter":600000}],"meters":[{"time":0,"numerator":6,"denominator":8,)"
    R"("clocksPerClick":36,"thirtySecondsPerQuarter":7}],"keys":[{"time":0,"accidentals":3,"sharps":true,)"
    R"("major":true}],"markers":[{"time":-3,"text":"Ü\"\n"}],"smpteOffset":{"frameRate":286,"hours":1,)"
    R"("minutes":2,"seconds":3,"frames":29,"hundredths":5},"perNoteData":false,"tracks":[{"name":"N",)"
    R"("instrument":"I","comments":["a",""],"fileTrack":1,"channel":0,"mpeMembers":0,"file":"g000001-t01.mdchun"},)"
    R"({"name":"","instrument":"","comments":[],"fileTrack":2,"channel":null,"mpeMembers":0,)"
    R"("file":"g000001-t02.mdchun"}]})";

// Two tracks of so many notes, which have per-note lanes when "AllowMPE" is on.
MdidHost_Session MakeSession(int iCount)
{
    const Mdid_NoteWithDurationEvent event(0, 60, Time_TickLength(480), 9, 64);
    Mdid_NoteWithDurationExtendedEvent note(Time_Tick(5), event, false);
    note.SetPerNoteControllers();
    if (note.HasPerNoteControllers())
        note.WritePerNoteControllers()
            ->InsertStream({Mdie_SubStream::kOfNote, Mdid_Event::kPitchBend, 0}, false)
            ->AddBreakpoint({}, 5);
    MdidHost_Track track;
    track.mChunk = Mdid_ChunkRef(Mdid_Chunk::New(Ndo_Object::kNotUndoable, false));
    for (int i = 0; i < iCount; ++i)
        track.mChunk->AddEvent(note, Mdie_SubStream::kOrdinary);
    MdidHost_Session session;
    session.mTracks = {track, track};
    return session;
}

// A session with everything that session.json holds is there at first.
class MdidHost_SessionFolder : public testing::Test
{
protected:
    MdidHost_SessionFolder()
    {
        Save(MakeSession(2));
        Write("session.json", kGolden);
    }

    std::string PathOf(const std::string& iName) const { return (mSession / iName).string(); }
    void Write(const std::string& iName, const std::string& i) const { std::ofstream(PathOf(iName)) << i; }
    void Save(const MdidHost_Session& iSession) const { MdidHost_SaveSession(iSession, mSession.string()); }
    MdidHost_Session Load() const { return MdidHost_LoadSession(mSession.string(), Ndo_Object::kNotUndoable); }

    Set Names() const
    {
        Set names;
        for (const auto& entry : fs::directory_iterator(mSession))
            names.insert(entry.path().filename());
        return names;
    }

    // "session.json@12: reason"
    static std::string ErrorOf(const std::function<void()>& iOperation)
    {
        try
        {
            iOperation();
        }
        catch (const MdidHost_FileError& error)
        {
            const std::string place = error.GetPosition() < 0 ? "" : '@' + std::to_string(error.GetPosition());
            return fs::path(error.GetFile()).filename().string() + place + ": " + error.what();
        }
        return "";
    }
    std::string LoadError() const { return ErrorOf(std::bind_front(&MdidHost_SessionFolder::Load, this)); }
    std::string SaveError(const MdidHost_Session& iSession, const char* iPath) const
    {
        return ErrorOf([&] { MdidHost_SaveSession(iSession, PathOf(iPath)); });
    }

    TemporaryFolder mFolder;
    const fs::path mSession = mFolder.GetPath() / "session";
};

} // namespace

TEST_F(MdidHost_SessionFolder, WhatIsLoadedIsSavedAlike)
{
    MdidHost_Session session = Load();
    EXPECT_EQ(session.mMeters, (std::vector<MdidHost_Meter>{{{0, Time_EType::kTick}, 6, 8, 36, 7}}));
    fs::remove_all(mSession);
    Save(session);
    EXPECT_EQ(nlohmann::ordered_json::parse(mFolder.ReadFile("session/session.json")).dump(), kGolden);

    session.mDivision = MdidHost_Division::SMPTE(30, true, 80);
    session.mMarkers = {{{0, Time_EType::kSample}, "a\xFF"}}; // no UTF-8
    Save(session);
    EXPECT_EQ(Load().mMarkers, (std::vector<MdidHost_Marker>{{{0, Time_EType::kMicrosecond}, "a\xEF\xBF\xBD"}}));
}

TEST_F(MdidHost_SessionFolder, SavingLeavesOneSessionAndWhatIsNotItsOwn)
{
    const std::string gone = ".saving-2147483647-3.tmp"; // of a process that cannot be
    const std::string alive = ".saving-" + std::to_string(::getpid()) + "-77777.tmp";
    for (const std::string& name : {gone, alive, std::string("g000002-t01.mdchun"), std::string("g000002-t9.mdchun")})
        Write(name, "x");
    Save(MakeSession(1));
    EXPECT_EQ(Names(), (Set{alive, "g000002-t9.mdchun", "g000003-t01.mdchun", "g000003-t02.mdchun", "session.json"}));

    fs::remove(PathOf("session.json")); // what a first save leaves when it is killed
    fs::remove(PathOf("g000002-t9.mdchun"));
    EXPECT_EQ(LoadError(), "session: this folder is no session: it has no session.json");
    Save({});
    EXPECT_EQ(Names(), (Set{alive, "session.json"}));
}

TEST_F(MdidHost_SessionFolder, WhatAnotherProgramHasSavedSinceIsNotReplaced)
{
    MdidHost_Session mine = Load(), other = mine;
    for (int i = 0; i < 2; ++i)
        other.mOrigin = MdidHost_SaveSession(other, mSession.string());
    EXPECT_EQ(SaveError(mine, "."), ".: changed by another program since it was loaded");
    EXPECT_EQ(SaveError(MakeSession(1), "."), ""); // one that has just been made
}

TEST_F(MdidHost_SessionFolder, WhatIsNoSessionIsNeitherReplacedNorSaved)
{
    MdidHost_Session session = MakeSession(1);
    Write("session.json", R"({"windows":[]})");
    EXPECT_EQ(SaveError(session, "."), "session.json: formatVersion: missing");
    fs::rename(PathOf("session.json"), PathOf("song.mid"));
    EXPECT_EQ(SaveError(session, "."), ".: this folder has other files and no session: it is left alone");
    session.mTracks[1].mChannel = 16;
    EXPECT_EQ(SaveError(session, "new"), "session.json: tracks[1].channel: not a channel: 16");
    EXPECT_FALSE(fs::exists(PathOf("new")));
}

TEST_F(MdidHost_SessionFolder, EveryFieldIsChecked)
{
    std::string manyObjects = "[";
    for (int i = 0; i < 3'000'000; ++i)
        manyObjects += "{},";
    const std::tuple<const char*, std::string, const char*> kCases[] = {
        {R"(Version":1)", R"(Version":2)", "formatVersion: made by a newer version: 2, 1 is known here"},
        {"44100", "18446744073709551615", "sampleRate: not a sample rate: 18446744073709551615"},
        {R"([{"time":-3)", R"([{"time":9,"text":""},{"time":-3)", "markers[1].time: earlier than the one before"},
        {R"("channel":0)", R"("channel":17)", "tracks[0].channel: not a channel: 17"},
        {"g000001-t01", "../g000001-t01", R"(tracks[0].file: not a file of this folder: "../g000001-t01.mdchun")"},
        {"g000001-t01", "g000001-t02", "tracks[1].file: the file of another track too"},
        {R"("perNoteData":false)", R"("kind":"ticks")", R"(twice in one object: "kind")"},
        {R"(["a",""])", std::string(100'000, '['), "nested too deep"},
        {R"(["a",""])", manyObjects, "more than 3000000 values"}, // soon, and without keeping them
        {":-5", ":1e999", "@136: not valid JSON: number overflow"},
    };
    for (const auto& [find, replacement, error] : kCases)
    {
        std::string text = kGolden;
        Write("session.json", text.replace(text.find(find), std::string_view(find).size(), replacement));
        EXPECT_EQ(LoadError().find(std::string("session.json").append(*error == '@' ? "" : ": ").append(error)), 0u)
            << LoadError() << error;
    }
    fs::resize_file(PathOf("session.json"), (64 << 20) + 1);
    EXPECT_EQ(LoadError(), "session.json: too large for a session");
}

TEST_F(MdidHost_SessionFolder, IsOpenedAsChunkFilesAndMidiFilesAre)
{
    MdidHost_ImportReport report;
    const auto open = [&](const char* iName) { return MdidHost_OpenSession(PathOf(iName), {}, report); };
    const auto smf = SmfBuilder().Track("00 903c40 60 803c40 10 b00702 00 ff2f00").Build();
    Write("song", {smf.begin(), smf.end()});
    Write("short", "\x06Md");
    fs::rename(PathOf("g000001-t02.mdchun"), PathOf("chunk.mid"));
    EXPECT_EQ(open("song").GetEnd().AsInt64(), 1'120'000); // the controller, behind the note
    EXPECT_EQ(*open("chunk.mid").mTracks.at(0).mChunk, *MakeSession(2).mTracks[0].mChunk);
    EXPECT_FALSE(Mdid_AllowMPE()); // no lane of the chunk asks for it
    EXPECT_EQ(ErrorOf([&] { open("short"); }).find("short"), 0u);
}

TEST_F(MdidHost_SessionFolder, DamageIsNamedWithItsPlace)
{
    for (const std::string& name : Names())
    {
        const std::string good = mFolder.ReadFile("session/" + name);
        for (std::size_t length = good.size(); length-- > 0;)
        {
            fs::resize_file(PathOf(name), length);
            ASSERT_EQ(LoadError().find(name + '@'), 0u) << length;
        }
        Write(name, good + 'x');
        EXPECT_EQ(LoadError().find(name + '@' + std::to_string(good.size()) + ": "), 0u) << LoadError();
        Write(name, good);
    }
    fs::remove(PathOf("g000001-t01.mdchun"));
    fs::create_symlink("g000001-t02.mdchun", PathOf("g000001-t01.mdchun"));
    EXPECT_EQ(LoadError(), "g000001-t01.mdchun: not a regular file");
}

TEST_F(MdidHost_SessionFolder, PerNoteDataIsNeverLostWithoutAWord)
{
    const ScopedAllowMPE option(true);
    const MdidHost_Session session = MakeSession(2);
    Save(session); // its flag says nothing yet
    Mdid_AllowMPE().Set(false);
    EXPECT_EQ(SaveError(session, "new"), "new: the session has per-note data: \"AllowMPE\" has to be on");
    EXPECT_EQ(SaveError({}, "."), ".: the session that is there has per-note data: replace it with "
                                  "\"AllowMPE\" on (MDID_OPTION_ALLOWMPE=1), or save to another folder");
    EXPECT_EQ(*Load().mTracks.at(0).mChunk, *session.mTracks[0].mChunk);
    EXPECT_TRUE(Mdid_AllowMPE());
    Mdid_AllowMPE().Set(false);
    MdidHost_LoadChunkFile(PathOf("g000002-t01.mdchun"), Ndo_Object::kNotUndoable);
    EXPECT_TRUE(Mdid_AllowMPE());
    Mdid_AllowMPE().Set(false);
    std::string text = mFolder.ReadFile("session/session.json");
    Write("session.json", text.replace(text.find("Data\": true"), 11, "Data\": false"));
    EXPECT_EQ(LoadError(), "session.json: perNoteData: false, but g000002-t01.mdchun has per-note data");
    Write("g000002-t01.mdchun", "x");
    EXPECT_NE(LoadError(), "");
    EXPECT_FALSE(Mdid_AllowMPE()); // what failed has not switched it on
}

// Whoever loads while a child saves one session after the other, or when it has been killed, finds one, whole.
TEST_F(MdidHost_SessionFolder, AKillAtAnyMomentLeavesAWholeSession)
{
    const auto save = [&](int iCount)
    {
        MdidHost_Session session = MakeSession(iCount);
        session.mMarkers = {{{}, std::string(static_cast<std::size_t>(iCount), 'x')}};
        Save(session);
    };
    const auto start = std::chrono::steady_clock::now();
    save(0);
    const auto expectWholeAfter = [&, duration = std::chrono::steady_clock::now() - start](int iPercent)
    {
        std::this_thread::sleep_for(duration * iPercent / 100);
        const MdidHost_Session session = Load();
        for (const MdidHost_Track& track : session.mTracks)
            EXPECT_EQ(track.mChunk->GetNoteList()->Size(), session.mMarkers.at(0).mText.size());
        std::ostringstream records;
        const auto dump = [&](const std::string& i) { MdidHost_WriteRecords(records, i); };
        MdidHost_ReadChunkFiles(mSession.string(), [&](const auto& i) { std::ranges::for_each(i, dump); });
    };
    for (int round = 0; round < 40; ++round)
    {
        const pid_t child = ::fork();
        int count = 0;
        if (child == 0)
            for (;;)
                save(++count);
        ASSERT_GT(child, 0);
        std::shared_ptr<void> killer(nullptr, [=](void*) { ::kill(child, SIGKILL), ::waitpid(child, nullptr, 0); });
        expectWholeAfter(round * 37 % 200);
        killer.reset();
        expectWholeAfter(0);
    }
    Save({});
    EXPECT_EQ(Names(), Set{"session.json"});
}
