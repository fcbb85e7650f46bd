// A saved session: the text of session.json, a zero byte, and the bytes of the chunk files "a.mdchun" and "b.mdchun".
// Whatever they are, loading ends, as does the dump of a chunk file's records, and every failure is a
// MdidHost_FileError; what could be loaded can be saved, and comes back equal; and it can be played and scrubbed.

#include "FuzzSupport.h"

#include "CFnd/Sys_DelayedDeletion.h"
#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_Options.h"
#include "MdidHost/Edit/MdidHost_Diff.h"
#include "MdidHost/Play/MdidHost_Player.h"
#include "MdidHost/Play/MdidHost_Scrub.h"
#include "MdidHost/Session/MdidHost_RecordDump.h"
#include "MdidHost/Session/MdidHost_SessionFolder.h"
#include "QuorPlatformSupport/SPSStartupOption.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;

// In memory where there is such a file system; it goes with the process.
class WorkFolder
{
public:
    WorkFolder()
    {
        const fs::path memory = "/dev/shm";
        const fs::path parent = fs::is_directory(memory) ? memory : fs::temp_directory_path();
        mPath = parent / ("mdid_session_fuzz_" + std::to_string(::getpid()));
        fs::create_directories(mPath / "in");
    }
    ~WorkFolder()
    {
        std::error_code ignored;
        fs::remove_all(mPath, ignored);
    }
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;

    void Write(const char* iName, std::string_view iBytes) const
    {
        std::ofstream file(mPath / "in" / iName, std::ios::binary);
        file.write(iBytes.data(), static_cast<std::streamsize>(iBytes.size()));
    }
    std::string GetInput() const { return (mPath / "in").string(); }

    // A folder that is not there yet.
    std::string NewOutput(const char* iName) const
    {
        fs::remove_all(mPath / iName);
        return (mPath / iName).string();
    }

private:
    fs::path mPath;
};

std::optional<MdidHost_Session> Load(const std::string& iFolder)
{
    try
    {
        return MdidHost_LoadSession(iFolder, Ndo_Object::kNotUndoable);
    }
    catch (const MdidHost_FileError&)
    {
        return {};
    }
}

void DumpRecords(const std::string& iFile)
{
    std::ostringstream text;
    try
    {
        MdidHost_WriteRecords(text, iFile);
    }
    catch (const MdidHost_FileError&)
    {
    }
}

MdidHost_Session SaveAndLoad(const MdidHost_Session& iSession, const std::string& iFolder)
{
    MdidHost_SaveSession(iSession, iFolder);
    auto session = Load(iFolder);
    Require(session.has_value(), "what was saved cannot be loaded");
    return std::move(*session);
}

void RequireEqual(const MdidHost_Session& iA, const MdidHost_Session& iB)
{
    std::ostringstream text;
    if (MdidHost_WriteDifferences(text, iA, iB) != 0)
        std::cerr << text.str();
    Require(text.str().empty(), "what was loaded is not what was saved");
    const MdidHost_Session::Scope scope(iA);
    const bool areChunksEqual = std::ranges::equal(iA.mTracks, iB.mTracks,
                                                   [](const MdidHost_Track& iLeft, const MdidHost_Track& iRight)
                                                   { return *iLeft.mChunk == *iRight.mChunk; });
    Require(areChunksEqual, "a chunk is not what was saved");
}

struct Keys : MdidHost_PlaySink
{
    std::map<std::array<int, 3>, int> mNumDown; // by track, channel and pitch
    std::int64_t mElapsed = 0;

    void Receive(const MdidHost_PlayedEvent& i) override
    {
        Require(i.mElapsed >= std::exchange(mElapsed, i.mElapsed), "time went back");
        if (i.mEvent.GetType() == Mdid_Event::kNoteOn)
            ++mNumDown[{i.mTrack, i.mEvent.GetChannel(), i.mEvent.As<Mdid_NoteOnEvent>().GetPitch()}];
        else if (i.mEvent.GetType() == Mdid_Event::kNoteOff)
            Require(--mNumDown[{i.mTrack, i.mEvent.GetChannel(), i.mEvent.As<Mdid_NoteOffEvent>().GetPitch()}] >= 0,
                    "a note ended that had not begun");
    }
};

void Play(const MdidHost_Session& iSession)
{
    constexpr std::int64_t kLast = MdidHost_PlayOptions::kMaxPosition;
    MdidHost_PlayOptions options;
    options.mBlockSize = 1 + kLast / 3;
    options.mStart = -kLast;
    options.mJumps = {{0, 100'000}, {kLast / 2, -1}, {kLast / 2, 48'000}};
    options.mLoops = {{-100, 24'000, 3}};
    MdidHost_Player player(iSession, options);
    Keys keys;
    for (bool isMuted = true; player.Render(keys); isMuted = !isMuted)
        player.SetMuted(0, isMuted);
    Require(std::ranges::all_of(keys.mNumDown, [](const auto& key) { return key.second == 0; }), "a note hangs");
}

void Scrub(const MdidHost_Session& iSession)
{
    MdidHost_Scrub scrub(iSession, {}, -1);
    const std::size_t numPassed = scrub.MoveTo(MdidHost_PlayOptions::kMaxPosition).size();
    Require(scrub.MoveTo(-1).size() == numPassed, "not as much is passed on the way back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iData, std::size_t iSize)
{
    static const WorkFolder folder;
    const SilentAssertHandler silence;
    Mdid_AllowMPE().Set(false);
    const std::string_view input(reinterpret_cast<const char*>(iData), iSize);
    const std::size_t separator = std::min(input.find('\0'), iSize);
    const std::string_view chunk = input.substr(std::min(separator + 1, iSize));
    folder.Write("session.json", input.substr(0, separator));
    folder.Write("a.mdchun", chunk);
    folder.Write("b.mdchun", chunk);
    DumpRecords(folder.GetInput() + "/a.mdchun");
    if (const auto session = Load(folder.GetInput()))
    {
        // Lanes that no writer makes come to rest when they have been saved and loaded once.
        Play(*session);
        Scrub(*session);
        const MdidHost_Session settled = SaveAndLoad(*session, folder.NewOutput("once"));
        RequireEqual(settled, SaveAndLoad(settled, folder.NewOutput("twice")));
    }
    Sys_DelayedDeletion::Purge(std::chrono::milliseconds(0));
    return 0;
}
