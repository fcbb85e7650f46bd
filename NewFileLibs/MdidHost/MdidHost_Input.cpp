#include "MdidHost/MdidHost_Input.h"

#include "CFnd/Sys_FileStream.h"
#include "CFnd/Sys_StreamException.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <glob.h>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;

using ByteVector = std::vector<unsigned char>;

// Keeps the bytes that it reads.
class SpooledInStream : public Sys_MemoryInStream
{
public:
    explicit SpooledInStream(std::unique_ptr<ByteVector> iBytes)
        : Sys_MemoryInStream(*iBytes),
          mBytes(std::move(iBytes))
    {
    }

private:
    std::unique_ptr<ByteVector> mBytes;
};

[[noreturn]] void FailToRead(const std::string& iName, int iError)
{
    throw Sys_StreamException("cannot read '" + iName + "': " + std::generic_category().message(iError), {},
                              Sys_StreamException::kNoPosition);
}

// The reader refuses anything else at its first four bytes.
bool BeginsLikeMidiFile(const ByteVector& iBytes)
{
    static constexpr std::string_view kStart = "MThd";
    const auto count = static_cast<std::ptrdiff_t>(std::min(iBytes.size(), kStart.size()));
    return std::equal(iBytes.begin(), iBytes.begin() + count, kStart.begin());
}

std::unique_ptr<Cmn_InStream> Spool(int iDescriptor, const std::string& iName)
{
    auto bytes = std::make_unique<ByteVector>();
    std::array<unsigned char, std::size_t{64} * 1024> buffer;
    for (;;)
    {
        const ssize_t count = ::read(iDescriptor, buffer.data(), buffer.size());
        if (count < 0 && errno != EINTR)
            FailToRead(iName, errno);
        bytes->insert(bytes->end(), buffer.begin(), buffer.begin() + std::max<ssize_t>(count, 0));
        if (count == 0 || !BeginsLikeMidiFile(*bytes))
            return std::make_unique<SpooledInStream>(std::move(bytes));
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

// Folders that cannot be read are passed over; the walk does not follow links to folders, so it ends.
std::vector<std::string> MidiFilesBelow(const std::string& iFolder)
{
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
