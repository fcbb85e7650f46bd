#include "MdidHost/Session/MdidHost_SessionFolder.h"

#include "CFnd/Sys_FileStream.h"
#include "CFnd/Sys_TypedStream.h"
#include "Mdid/Mdid_Chunk.h"
#include "Mdid/Mdid_Options.h"
#include "MdidHost/File/MdidHost_FileErrors_Private.h"
#include "MdidHost/Session/MdidHost_SessionJson_Private.h"
#include "QuorPlatformSupport/SPSStartupOption.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <set>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;

constexpr const char* kSessionFile = "session.json";
constexpr int kMaxLoads = 20; // of a session that is being saved all the time
constexpr bool kQuantizeContents = false;

// The head of a chunk's record: the length of its tag, and the tag.
constexpr std::string_view kChunkHead = "\x06MdChun";

std::string PathOf(const std::string& iFolder, const std::string& iName)
{
    return (fs::path(iFolder) / iName).string();
}

[[noreturn]] void Fail(const std::string& iFile, int iError)
{
    throw MdidHost_FileError(iFile, std::generic_category().message(iError));
}

// "AllowMPE" as it was comes back, unless it is kept.
class AllowMPEScope
{
public:
    explicit AllowMPEScope(bool iAllow) { Mdid_AllowMPE().Set(iAllow); }
    ~AllowMPEScope() { Mdid_AllowMPE().Set(mAfterwards); }
    AllowMPEScope(const AllowMPEScope&) = delete;
    AllowMPEScope& operator=(const AllowMPEScope&) = delete;

    void Keep() { mAfterwards = Mdid_AllowMPE(); }

private:
    bool mAfterwards = Mdid_AllowMPE();
};

// Takes digits off the front of the text. None without any, or when there are too many.
std::optional<int> TakeNumber(std::string_view& ioText)
{
    int number = 0;
    const auto [end, error] = std::from_chars(ioText.data(), ioText.data() + ioText.size(), number);
    if (error != std::errc() || number < 0)
        return {};
    ioText.remove_prefix(static_cast<std::size_t>(end - ioText.data()));
    return number;
}

bool Take(std::string_view& ioText, std::string_view iPrefix)
{
    if (!ioText.starts_with(iPrefix))
        return false;
    ioText.remove_prefix(iPrefix.size());
    return true;
}

// "g000007-t01.mdchun": the first track of the seventh save.
std::string ChunkFileName(int iGeneration, std::size_t iTrack)
{
    std::array<char, 64> name;
    std::snprintf(name.data(), name.size(), "g%06d-t%02zu.mdchun", iGeneration, iTrack + 1);
    return name.data();
}

std::optional<int> GenerationOf(std::string_view iName)
{
    std::string_view rest = iName;
    const auto generation = Take(rest, "g") ? TakeNumber(rest) : std::nullopt;
    const auto track = generation && Take(rest, "-t") ? TakeNumber(rest) : std::nullopt;
    const bool isNamed =
        track && *track > 0 && iName == ChunkFileName(*generation, static_cast<std::size_t>(*track) - 1);
    return isNamed ? generation : std::nullopt;
}

// ".saving-PID-N.tmp": what Sys_FileOutStream calls a file that has not been committed. Returns the process.
std::optional<int> ProcessOfTemporary(std::string_view iName)
{
    const auto process = Take(iName, ".saving-") ? TakeNumber(iName) : std::nullopt;
    const bool isNamed = process && *process > 0 && Take(iName, "-") && TakeNumber(iName) && iName == ".tmp";
    return isNamed ? process : std::nullopt;
}

// What is in a folder.
struct Contents
{
    bool mHasSession = false;
    bool mHasOthers = false;
    std::vector<std::string> mChunkFiles;
    std::set<int> mGenerations;            // of these
    std::vector<std::string> mTemporaries; // that a process has left which is no more
};

Contents List(const std::string& iFolder)
{
    Contents contents;
    std::error_code error;
    for (fs::directory_iterator entry(iFolder, error); !error && entry != fs::directory_iterator();
         entry.increment(error))
    {
        const std::string name = entry->path().filename().string();
        if (const auto generation = GenerationOf(name))
        {
            contents.mChunkFiles.push_back(name);
            contents.mGenerations.insert(*generation);
        }
        else if (const auto process = ProcessOfTemporary(name))
        {
            if (::kill(*process, 0) != 0 && errno == ESRCH)
                contents.mTemporaries.push_back(name);
        }
        else
            (name == kSessionFile ? contents.mHasSession : contents.mHasOthers) = true;
    }
    if (error)
        Fail(iFolder, error.value());
    return contents;
}

// Ends in time: a folder has fewer files than there are generations.
int GenerationAfter(int iLast, const Contents& iContents)
{
    int generation = iLast;
    do
        generation = generation < MdidHost_SessionJson::kMaxGeneration ? generation + 1 : 1;
    while (iContents.mGenerations.contains(generation));
    return generation;
}

// One program at a time saves into a folder; whoever dies lets go. Where a file system has no locks, nothing is locked.
Sys_FileDescriptor LockFolder(const std::string& iFolder)
{
    Sys_FileDescriptor folder(::open(iFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.Get() < 0)
        Fail(iFolder, errno);
    if (::flock(folder.Get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        throw MdidHost_FileError(iFolder, "another program is saving this session");
    return folder;
}

// A new folder must survive a power failure too.
void MakeFolder(const std::string& iFolder)
{
    if (::mkdir(iFolder.c_str(), 0777) != 0 && errno != EEXIST)
        Fail(iFolder, errno);
    const Sys_FileDescriptor parent(::open(PathOf(iFolder, "..").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (parent.Get() >= 0)
        ::fsync(parent.Get());
}

// Failures are no matter: the next save tries again.
void Remove(const std::string& iFolder, const std::vector<std::string>& iNames)
{
    for (const std::string& name : iNames)
        ::unlink(PathOf(iFolder, name).c_str());
}

void CheckIsRegular(const std::string& iFile)
{
    std::error_code ignored;
    const fs::file_type type = fs::symlink_status(iFile, ignored).type();
    if (type != fs::file_type::regular && type != fs::file_type::not_found)
        throw MdidHost_FileError(iFile, "not a regular file");
}

std::string ReadSessionFile(const std::string& iFolder)
{
    const std::string file = PathOf(iFolder, kSessionFile);
    std::error_code error;
    if (!fs::is_directory(iFolder, error))
        Fail(iFolder, error && error.value() != 0 ? error.value() : ENOTDIR);
    if (fs::status(file, error).type() == fs::file_type::not_found)
        throw MdidHost_FileError(iFolder, "this folder is no session: it has no session.json");
    return MdidHost_WithErrorsOf(file,
                                 [&]
                                 {
                                     Sys_FileInStream stream(file);
                                     if (stream.GetLength() > std::int64_t{MdidHost_SessionJson::kMaxSize})
                                         throw MdidHost_FileError(file, "too large for a session");
                                     std::string text(static_cast<std::size_t>(stream.GetLength()), '\0');
                                     stream.ReadBlock(text.data(), text.size());
                                     return text;
                                 });
}

MdidHost_SessionJson ReadSession(const std::string& iFolder, std::string_view iText)
{
    return MdidHost_SessionJson::Read(iText, PathOf(iFolder, kSessionFile));
}

// iFile names the stream.
Mdid_ChunkRef ReadChunk(Cmn_InStream& ioStream, const std::string& iFile, Ndo_Object::EUndoFlag iUndoFlag)
{
    return MdidHost_WithErrorsOf(
        iFile,
        [&]
        {
            Sys_TypedInStream fields(ioStream);
            Mdid_ChunkRef chunk(Mdid_Chunk::StreamIn(fields, iUndoFlag, kQuantizeContents));
            if (!ioStream.IsAtEnd())
                throw MdidHost_FileError(iFile, "bytes behind the chunk", ioStream.GetPosition());
            return chunk;
        },
        [&] { return ioStream.GetPosition(); });
}

Mdid_ChunkRef ReadChunkFile(const std::string& iFile, Ndo_Object::EUndoFlag iUndoFlag)
{
    return MdidHost_WithErrorsOf(iFile,
                                 [&]
                                 {
                                     Sys_FileInStream stream(iFile);
                                     return ReadChunk(stream, iFile, iUndoFlag);
                                 });
}

bool HasPerNoteData(const MdidHost_Track& iTrack)
{
    MdidHost_Session session;
    session.mTracks.push_back(iTrack);
    return session.FindPerNoteData();
}

// Runs iUse(text of session.json) again while that fails because a save has taken the chunk files away, which
// session.json says.
template <class Use>
auto WithRetries(const std::string& iFolder, Use iUse)
{
    for (int loads = 1;; ++loads)
    {
        const std::string text = ReadSessionFile(iFolder);
        try
        {
            return iUse(text);
        }
        catch (const MdidHost_FileError&)
        {
            if (loads == kMaxLoads || ReadSessionFile(iFolder) == text)
                throw;
        }
    }
}

MdidHost_Session::Origin OriginOf(const std::string& iFolder, int iGeneration)
{
    std::error_code error;
    const fs::path folder = fs::canonical(iFolder, error);
    return {error ? iFolder : folder.string(), iGeneration};
}

MdidHost_Session Load(const std::string& iFolder, std::string_view iText, Ndo_Object::EUndoFlag iUndoFlag)
{
    MdidHost_SessionJson json = ReadSession(iFolder, iText);
    MdidHost_Session& session = json.mSession;
    // Read with the option on, a chunk shows whether it needs it: its per-note lanes are with their notes then.
    AllowMPEScope option(true);
    const MdidHost_Session::Scope scope(session);
    for (std::size_t i = 0; i < json.mFiles.size(); ++i)
    {
        const std::string file = PathOf(iFolder, json.mFiles[i]);
        CheckIsRegular(file);
        session.mTracks[i].mChunk = ReadChunkFile(file, iUndoFlag);
        if (!session.mHasPerNoteData && HasPerNoteData(session.mTracks[i]))
            throw MdidHost_FileError(PathOf(iFolder, kSessionFile),
                                     "perNoteData: false, but " + json.mFiles[i] + " has per-note data");
    }
    if (session.mHasPerNoteData)
        option.Keep();
    session.mOrigin = OriginOf(iFolder, json.mGeneration);
    return std::move(session);
}

std::vector<std::string> ChunkFileNames(int iGeneration, std::size_t iCount)
{
    std::vector<std::string> names;
    for (std::size_t i = 0; i < iCount; ++i)
        names.push_back(ChunkFileName(iGeneration, i));
    return names;
}

// Nothing is saved that could not be loaded.
void CheckMayBeSaved(const MdidHost_SessionJson& iJson, const std::string& iFolder)
{
    if (iJson.mSession.mHasPerNoteData && !Mdid_AllowMPE())
        throw MdidHost_FileError(iFolder, "the session has per-note data: \"AllowMPE\" has to be on");
    for (std::size_t i = 0; i < iJson.mSession.mTracks.size(); ++i)
        if (!iJson.mSession.mTracks[i].mChunk)
            throw MdidHost_FileError(iFolder, "tracks[" + std::to_string(i) + "]: no chunk");
    const std::string text = iJson.Write();
    if (text.size() > MdidHost_SessionJson::kMaxSize)
        throw MdidHost_FileError(iFolder, "too much for session.json");
    ReadSession(iFolder, text);
}

// The generation of the session that is there; 0 without one. What is there and is no session that may be replaced is
// refused, and what another program has made of iOrigin.
int GenerationToReplace(const std::string& iFolder, const Contents& iContents, const MdidHost_Session::Origin& iOrigin)
{
    if (!iContents.mHasSession && iContents.mHasOthers)
        throw MdidHost_FileError(iFolder, "this folder has other files and no session: it is left alone");
    if (!iContents.mHasSession)
        return 0;
    const MdidHost_SessionJson previous = ReadSession(iFolder, ReadSessionFile(iFolder));
    if (previous.mSession.mHasPerNoteData && !Mdid_AllowMPE())
        throw MdidHost_FileError(iFolder, "the session that is there has per-note data: replace it with "
                                          "\"AllowMPE\" on (MDID_OPTION_ALLOWMPE=1), or save to another folder");
    std::error_code ignored;
    const bool isOrigin = iOrigin.mGeneration != 0 && fs::equivalent(iFolder, iOrigin.mFolder, ignored);
    if (isOrigin && iOrigin.mGeneration != previous.mGeneration)
        throw MdidHost_FileError(iFolder, "changed by another program since it was loaded");
    return previous.mGeneration;
}

void WriteChunk(const Mdid_Chunk& iChunk, const std::string& iFile)
{
    MdidHost_WithErrorsOf(iFile,
                          [&]
                          {
                              Sys_FileOutStream stream(iFile);
                              Sys_TypedOutStream fields(stream);
                              iChunk.StreamOut(fields);
                              stream.Commit();
                          });
}

void WriteChunks(const MdidHost_SessionJson& iJson, const std::string& iFolder)
{
    try
    {
        for (std::size_t i = 0; i < iJson.mFiles.size(); ++i)
            WriteChunk(*iJson.mSession.mTracks[i].mChunk, PathOf(iFolder, iJson.mFiles[i]));
    }
    catch (...)
    {
        Remove(iFolder, iJson.mFiles);
        throw;
    }
}

// When this fails, the new name may be there all the same, so the new chunks stay.
void WriteSessionFile(const std::string& iText, const std::string& iFolder)
{
    const std::string file = PathOf(iFolder, kSessionFile);
    MdidHost_WithErrorsOf(file,
                          [&]
                          {
                              Sys_FileOutStream stream(file);
                              stream.WriteBlock(iText.data(), iText.size());
                              stream.Commit();
                          });
}

} // namespace

MdidHost_Session::Origin MdidHost_SaveSession(const MdidHost_Session& iSession, const std::string& iFolder)
{
    const MdidHost_Session::Scope scope(iSession);
    const std::size_t numTracks = iSession.mTracks.size();
    MdidHost_SessionJson json{iSession, ChunkFileNames(1, numTracks), 1};
    json.mSession.mHasPerNoteData = iSession.mHasPerNoteData || iSession.FindPerNoteData();
    CheckMayBeSaved(json, iFolder);

    MakeFolder(iFolder);
    const Sys_FileDescriptor lock = LockFolder(iFolder);
    Contents contents = List(iFolder);
    json.mGeneration = GenerationAfter(GenerationToReplace(iFolder, contents, iSession.mOrigin), contents);
    json.mFiles = ChunkFileNames(json.mGeneration, numTracks);

    WriteChunks(json, iFolder);
    WriteSessionFile(json.Write(), iFolder);
    Remove(iFolder, contents.mChunkFiles);
    Remove(iFolder, contents.mTemporaries);
    return OriginOf(iFolder, json.mGeneration);
}

MdidHost_Session MdidHost_LoadSession(const std::string& iFolder, Ndo_Object::EUndoFlag iUndoFlag)
{
    return WithRetries(iFolder, [&](const std::string& text) { return Load(iFolder, text, iUndoFlag); });
}

MdidHost_Session MdidHost_LoadChunkFile(const std::string& iFile, Ndo_Object::EUndoFlag iUndoFlag)
{
    return MdidHost_WithErrorsOf(iFile,
                                 [&]
                                 {
                                     Sys_FileInStream stream(iFile);
                                     return MdidHost_LoadChunkFile(stream, iFile, iUndoFlag);
                                 });
}

MdidHost_Session MdidHost_LoadChunkFile(Cmn_InStream& ioStream, const std::string& iFile,
                                        Ndo_Object::EUndoFlag iUndoFlag)
{
    AllowMPEScope option(true);
    MdidHost_Session session;
    const MdidHost_Session::Scope scope(session);
    MdidHost_Track track;
    track.mChannel = 0;
    track.mChunk = ReadChunk(ioStream, iFile, iUndoFlag);
    session.mTracks.push_back(track);
    session.mHasPerNoteData = session.FindPerNoteData();
    if (session.mHasPerNoteData)
    {
        session.mTracks.front().mMPEMembers = 15;
        option.Keep();
    }
    return session;
}

bool MdidHost_BeginsLikeChunk(std::string_view iBytes)
{
    return iBytes.starts_with(kChunkHead);
}

bool MdidHost_BeginsLikeChunk(Cmn_InStream& ioStream)
{
    std::string head(kChunkHead.size(), '\0');
    if (ioStream.GetLength() < std::ssize(head))
        return false;
    ioStream.ReadBlock(head.data(), head.size());
    ioStream.SetPosition(0);
    return head == kChunkHead;
}

bool MdidHost_IsSessionFolder(const std::string& iFolder)
{
    std::error_code ignored;
    return fs::is_regular_file(PathOf(iFolder, kSessionFile), ignored);
}

void MdidHost_ReadChunkFiles(const std::string& iFolder,
                             const std::function<void(const std::vector<std::string>&)>& iRead)
{
    WithRetries(iFolder,
                [&](const std::string& text)
                {
                    std::vector<std::string> files = ReadSession(iFolder, text).mFiles;
                    for (std::string& file : files)
                        file = PathOf(iFolder, file);
                    iRead(files);
                });
}
