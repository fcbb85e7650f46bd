#include "CFnd/Sys_FileStream.h"

#include "CFnd/Sys_StreamException.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace
{

constexpr std::size_t kBufferSize = std::size_t{64} * 1024;
constexpr mode_t kModeOfNewFile = 0666; // less what the process's mask takes away
constexpr mode_t kPermissions = 0777;
constexpr int kMaxLinks = 40;

std::string ErrorText(int iError)
{
    return std::generic_category().message(iError);
}

// "cannot open 'song.mid': No such file or directory"
std::string Describe(std::string_view iReason, const std::string& iPath, const std::string& iWhy)
{
    return std::string(iReason).append(" '").append(iPath).append("': ").append(iWhy);
}

[[noreturn]] void FailToOpen(const std::string& iPath, const std::string& iWhy)
{
    throw Sys_StreamException(Describe(Sys_StreamException::kOpenFailed, iPath, iWhy), {},
                              Sys_StreamException::kNoPosition);
}

// Makes a system call again as long as signals interrupt it.
template <class Call>
auto Retry(Call iCall)
{
    auto result = iCall();
    while (result < 0 && errno == EINTR)
        result = iCall();
    return result;
}

int Open(int iFolder, const std::string& iName, int iFlags, mode_t iMode = 0)
{
    return Retry([&] { return ::openat(iFolder, iName.c_str(), iFlags | O_CLOEXEC, iMode); });
}

void CheckIsRegular(mode_t iMode, const std::string& iPath)
{
    if (S_ISDIR(iMode))
        FailToOpen(iPath, ErrorText(EISDIR));
    if (!S_ISREG(iMode))
        FailToOpen(iPath, "not a regular file");
}

// Without waiting: a pipe would open only when somebody writes to it.
Sys_FileDescriptor OpenForReading(const std::string& iPath)
{
    Sys_FileDescriptor file(Open(AT_FDCWD, iPath, O_RDONLY | O_NONBLOCK | O_NOCTTY));
    if (file.Get() < 0)
        FailToOpen(iPath, ErrorText(errno));
    return file;
}

std::int64_t RegularFileSize(int iDescriptor, const std::string& iPath)
{
    struct stat status = {};
    if (::fstat(iDescriptor, &status) != 0)
        FailToOpen(iPath, ErrorText(errno));
    CheckIsRegular(status.st_mode, iPath);
    return status.st_size;
}

// The permissions of the file that is to be replaced; none when there is none yet.
std::optional<mode_t> PermissionsToKeep(int iFolder, const std::string& iName, int iFlags, const std::string& iPath)
{
    struct stat status = {};
    if (::fstatat(iFolder, iName.c_str(), &status, iFlags) == 0)
    {
        CheckIsRegular(status.st_mode, iPath);
        return status.st_mode & kPermissions;
    }
    if (errno != ENOENT)
        FailToOpen(iPath, ErrorText(errno));
    return std::nullopt;
}

std::string FolderOf(const std::string& iPath)
{
    const auto slash = iPath.rfind('/');
    return slash == std::string::npos ? "./" : iPath.substr(0, slash + 1);
}

std::string NameOf(const std::string& iPath)
{
    return iPath.substr(iPath.rfind('/') + 1);
}

// What a path leads to through links, be it there or not. Refuses what may not be replaced.
std::string ResolveTarget(std::string iPath)
{
    PermissionsToKeep(AT_FDCWD, iPath, 0, iPath);
    const std::string path = iPath;
    for (int links = 0; links < kMaxLinks; ++links)
    {
        std::error_code noLink;
        const std::filesystem::path target = std::filesystem::read_symlink(iPath, noLink);
        if (noLink)
            break;
        iPath = (FolderOf(iPath) / target).string();
    }
    if (NameOf(iPath).empty())
        FailToOpen(path, ErrorText(ENOENT));
    return iPath;
}

// A folder that may be written to but not listed serves as a place for names, and cannot be synced.
Sys_FileDescriptor OpenFolderOf(const std::string& iTarget, const std::string& iPath)
{
    const std::string folder = FolderOf(iTarget);
    int descriptor = Open(AT_FDCWD, folder, O_RDONLY | O_DIRECTORY);
    if (descriptor < 0 && errno == EACCES)
        descriptor = Open(AT_FDCWD, folder, O_PATH | O_DIRECTORY);
    if (descriptor < 0)
        FailToOpen(iPath, ErrorText(errno));
    return Sys_FileDescriptor(descriptor);
}

bool SyncFolder(int iFolder)
{
    return Retry([&] { return ::fsync(iFolder); }) == 0 || errno == EBADF || errno == EINVAL;
}

// Opened here and not by mkstemp, so that the file gets the mode that the process gives to its files. What replaces a
// private file is private from the start.
Sys_FileDescriptor CreateTemporary(int iFolder, mode_t iMode, const std::string& iPath, std::string& oName)
{
    static std::atomic<unsigned> sCounter{0};
    for (;;)
    {
        oName = ".saving-" + std::to_string(::getpid()) + '-' + std::to_string(++sCounter) + ".tmp";
        const int descriptor = Open(iFolder, oName, O_WRONLY | O_CREAT | O_EXCL, iMode);
        if (descriptor >= 0)
            return Sys_FileDescriptor(descriptor);
        if (errno != EEXIST)
            FailToOpen(iPath, ErrorText(errno));
    }
}

} // namespace

Sys_FileDescriptor::~Sys_FileDescriptor()
{
    if (mDescriptor >= 0)
        ::close(mDescriptor);
}

Sys_FileInStream::Sys_FileInStream(const std::string& iPath) : Sys_FileInStream(OpenForReading(iPath), iPath) {}

Sys_FileInStream::Sys_FileInStream(Sys_FileDescriptor iFile, const std::string& iPath)
    : Cmn_InStream(RegularFileSize(iFile.Get(), iPath)),
      mFile(std::move(iFile)),
      mBuffer(new unsigned char[kBufferSize])
{
}

Sys_FileInStream::~Sys_FileInStream() = default;

Cmn_InStream::Bytes Sys_FileInStream::FillWindow(std::int64_t iPosition)
{
    const ssize_t count = Retry([&] { return ::pread(mFile.Get(), mBuffer.get(), kBufferSize, iPosition); });
    if (count < 0)
        Fail(std::string(Sys_StreamException::kReadFailed).append(": ").append(ErrorText(errno)));
    return {mBuffer.get(), static_cast<std::size_t>(count)};
}

Sys_FileOutStream::Sys_FileOutStream(const std::string& iPath)
    : mPath(iPath),
      mTarget(ResolveTarget(iPath)),
      mBuffer(new unsigned char[kBufferSize]),
      mFolder(OpenFolderOf(mTarget, iPath)),
      mFile(CreateTemporary(
          mFolder.Get(),
          PermissionsToKeep(mFolder.Get(), NameOf(mTarget), AT_SYMLINK_NOFOLLOW, iPath).value_or(kModeOfNewFile), iPath,
          mTemporaryName))
{
    SetBuffer({mBuffer.get(), kBufferSize}, 0, 0);
}

Sys_FileOutStream::~Sys_FileOutStream()
{
    RemoveTemporary();
}

void Sys_FileOutStream::Commit()
{
    if (mTemporaryName.empty())
        Fail(ECANCELED, GetPosition());
    Drain();
    const std::string name = NameOf(mTarget);
    const auto permissions = PermissionsToKeep(mFolder.Get(), name, AT_SYMLINK_NOFOLLOW, mPath);
    if ((permissions && ::fchmod(mFile.Get(), *permissions) != 0) || Retry([&] { return ::fsync(mFile.Get()); }) != 0 ||
        ::renameat(mFolder.Get(), mTemporaryName.c_str(), mFolder.Get(), name.c_str()) != 0)
        Fail(errno, GetPosition());
    mTemporaryName.clear();
    // The rename itself must survive a power failure too.
    if (!SyncFolder(mFolder.Get()))
        Fail(errno, GetPosition());
}

void Sys_FileOutStream::MakeRoom(std::size_t)
{
    Drain();
}

void Sys_FileOutStream::PatchDrained(std::int64_t iPosition, Bytes iBytes)
{
    WriteAt(iPosition, iBytes);
}

void Sys_FileOutStream::Drain()
{
    const std::int64_t end = GetPosition();
    WriteAt(end - std::ssize(GetPending()), GetPending());
    SetBuffer({mBuffer.get(), kBufferSize}, end, 0);
}

void Sys_FileOutStream::WriteAt(std::int64_t iPosition, Bytes iBytes)
{
    while (!iBytes.empty())
    {
        const ssize_t count = Retry([&] { return ::pwrite(mFile.Get(), iBytes.data(), iBytes.size(), iPosition); });
        if (count <= 0)
            Fail(count < 0 ? errno : EIO, iPosition);
        iBytes = iBytes.subspan(static_cast<std::size_t>(count));
        iPosition += count;
    }
}

void Sys_FileOutStream::RemoveTemporary()
{
    if (!mTemporaryName.empty())
        ::unlinkat(mFolder.Get(), mTemporaryName.c_str(), 0);
    mTemporaryName.clear();
}

void Sys_FileOutStream::Fail(int iError, std::int64_t iPosition)
{
    RemoveTemporary();
    throw Sys_StreamException(Describe(Sys_StreamException::kWriteFailed, mPath, ErrorText(iError)), {}, iPosition);
}
