#include "MdidHost/Import/MdidHost_Input.h"

#include "CFnd/Sys_FileStream.h"
#include "CFnd/Sys_StreamException.h"
#include "MdidHost/File/MdidHost_RepairingStream.h"
#include "MdidHost/Session/MdidHost_SessionFolder.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <glob.h>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace
{

namespace fs = std::filesystem;

constexpr std::size_t kBufferSize = std::size_t{64} * 1024;

[[noreturn]] void FailToRead(const std::string& iName, int iError)
{
    throw Sys_StreamException("cannot read '" + iName + "': " + std::generic_category().message(iError), {},
                              Sys_StreamException::kNoPosition);
}

[[noreturn]] void FailToSpool(const std::string& iName)
{
    throw Sys_StreamException("cannot spool '" + iName + "': " + std::generic_category().message(errno), {},
                              Sys_StreamException::kNoPosition);
}

// A file without a name, which is gone with the process however that ends.
Sys_FileDescriptor MakeTemporary(const std::string& iName)
{
    std::error_code error;
    const fs::path folder = fs::temp_directory_path(error);
    std::string path = ((error ? fs::path("/tmp") : folder) / "mdid-input-XXXXXX").string();
    Sys_FileDescriptor file(::mkostemp(path.data(), O_CLOEXEC));
    if (file.Get() < 0)
        FailToSpool(iName);
    ::unlink(path.c_str());
    return file;
}

// Reads what was spooled.
class SpooledInStream : public Cmn_InStream
{
public:
    SpooledInStream(Sys_FileDescriptor iFile, std::int64_t iLength)
        : Cmn_InStream(iLength),
          mFile(std::move(iFile)),
          mBuffer(kBufferSize)
    {
    }

private:
    Bytes FillWindow(std::int64_t iPosition) override
    {
        ssize_t count = -1;
        do
            count = ::pread(mFile.Get(), mBuffer.data(), mBuffer.size(), iPosition);
        while (count < 0 && errno == EINTR);
        if (count < 0)
            Fail(Sys_StreamException::kReadFailed);
        return {mBuffer.data(), static_cast<std::size_t>(count)};
    }

    const Sys_FileDescriptor mFile;
    std::vector<unsigned char> mBuffer;
};

// Whether a MIDI file begins in these bytes, alone or wrapped up, or may still begin behind them; or a chunk file.
bool MayBeWanted(std::string_view iStart)
{
    return MdidHost_BeginsLikeChunk(iStart) || std::ssize(iStart) < MdidHost_RepairingStream::kMaxBytesBeforeFile ||
           iStart.starts_with("RIFF") || iStart.find("MThd") != std::string_view::npos ||
           iStart.find("MTrk") != std::string_view::npos;
}

void Write(int iDescriptor, std::string_view iBytes, const std::string& iName)
{
    while (!iBytes.empty())
    {
        const ssize_t count = ::write(iDescriptor, iBytes.data(), iBytes.size());
        if (count < 0 && errno != EINTR)
            FailToSpool(iName);
        iBytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
}

std::unique_ptr<Cmn_InStream> Spool(int iDescriptor, const std::string& iName)
{
    Sys_FileDescriptor file = MakeTemporary(iName);
    std::vector<char> buffer(kBufferSize);
    std::string start; // as much as tells whether the rest is worth waiting for
    std::int64_t length = 0;
    for (;;)
    {
        const ssize_t count = ::read(iDescriptor, buffer.data(), buffer.size());
        if (count < 0 && errno != EINTR)
            FailToRead(iName, errno);
        const std::string_view bytes(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        Write(file.Get(), bytes, iName);
        length += std::ssize(bytes);
        const bool isStart = length <= MdidHost_RepairingStream::kMaxBytesBeforeFile + std::ssize(bytes);
        if (isStart)
            start += bytes;
        if (count == 0 || (isStart && !MayBeWanted(start)))
            return std::make_unique<SpooledInStream>(std::move(file), length);
    }
}

std::unique_ptr<Cmn_InStream> SpoolFile(const std::string& iPath)
{
    const Sys_FileDescriptor file(::open(iPath.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (file.Get() < 0)
        FailToRead(iPath, errno);
    return Spool(file.Get(), iPath);
}

bool IsMidiFile(const fs::path& iPath)
{
    std::string extension = iPath.extension().string();
    std::ranges::transform(extension, extension.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : c; });
    return extension == ".mid" || extension == ".midi" || extension == ".smf";
}

// A pipe or device in a folder, which nobody named, must not be waited for. A broken link is reported as unreadable.
bool MayBeRead(const fs::directory_entry& iEntry)
{
    std::error_code ignored;
    return !iEntry.is_directory(ignored) && !iEntry.is_other(ignored);
}

// A session is one thing to work on, whatever else lies in its folder. Folders that cannot be read are passed over; the
// walk does not follow links to folders, so it ends.
std::vector<std::string> MidiFilesBelow(const std::string& iFolder)
{
    if (MdidHost_IsSessionFolder(iFolder))
        return {};
    std::vector<std::string> files;
    std::error_code error;
    fs::recursive_directory_iterator walk(iFolder, fs::directory_options::skip_permission_denied, error);
    for (; !error && walk != fs::recursive_directory_iterator(); walk.increment(error))
        if (IsMidiFile(walk->path()) && MayBeRead(*walk))
            files.push_back(walk->path().string());
    std::ranges::sort(files);
    return files;
}

std::vector<std::string> Matches(const std::string& iPattern)
{
    glob_t result = {};
    std::vector<std::string> names;
    if (::glob(iPattern.c_str(), 0, nullptr, &result) == 0)
        names.assign(result.gl_pathv, result.gl_pathv + result.gl_pathc);
    ::globfree(&result);
    return names;
}

std::vector<std::string> ExpandPattern(const std::string& iName)
{
    std::error_code ignored;
    if (iName.find_first_of("*?[") == std::string::npos || fs::exists(iName, ignored))
        return {iName};
    std::vector<std::string> names = Matches(iName);
    return names.empty() ? std::vector{iName} : names;
}

} // namespace

std::unique_ptr<Cmn_InStream> MdidHost_OpenInput(const std::string& iPath)
{
    if (iPath == "-")
        return Spool(STDIN_FILENO, "standard input");
    std::error_code ignored;
    const fs::file_type type = fs::status(iPath, ignored).type();
    if (type == fs::file_type::fifo || type == fs::file_type::character || type == fs::file_type::socket)
        return SpoolFile(iPath);
    return std::make_unique<Sys_FileInStream>(iPath);
}

std::vector<std::string> MdidHost_ExpandInputs(const std::vector<std::string>& iNames)
{
    std::vector<std::string> files;
    for (const std::string& name : iNames)
        for (const std::string& match : ExpandPattern(name))
        {
            std::error_code ignored;
            auto found = fs::is_directory(match, ignored) ? MidiFilesBelow(match) : std::vector<std::string>();
            if (found.empty())
                found = {match};
            files.insert(files.end(), found.begin(), found.end());
        }
    return files;
}
