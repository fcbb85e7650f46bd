#pragma once

#include "CFnd/Cmn_InStream.h"
#include "CFnd/Cmn_OutStream.h"

#include <memory>
#include <string>
#include <utility>

// An open file; closed at destruction.
class CFND_EXPORT Sys_FileDescriptor
{
public:
    explicit Sys_FileDescriptor(int iDescriptor) : mDescriptor(iDescriptor) {}
    Sys_FileDescriptor(Sys_FileDescriptor&& iOther) noexcept : mDescriptor(std::exchange(iOther.mDescriptor, -1)) {}
    ~Sys_FileDescriptor();
    Sys_FileDescriptor(const Sys_FileDescriptor&) = delete;
    Sys_FileDescriptor& operator=(const Sys_FileDescriptor&) = delete;

    int Get() const { return mDescriptor; }

private:
    int mDescriptor;
};

// Reads a regular file through a buffer of 64 KiB, however large the file is. Anything that is not a regular file
// is refused when it is opened: Sys_StreamException, which names the file. A file that shrinks while it is read ends
// early, with the same exception.
class CFND_EXPORT Sys_FileInStream : public Cmn_InStream
{
public:
    explicit Sys_FileInStream(const std::string& iPath);
    ~Sys_FileInStream() override;

private:
    Sys_FileInStream(Sys_FileDescriptor iFile, const std::string& iPath);
    Bytes FillWindow(std::int64_t iPosition) override;

    Sys_FileDescriptor mFile;
    std::unique_ptr<unsigned char[]> mBuffer;
};

// Writes a file so that it is there whole or not at all: under a temporary name beside the target, which Commit syncs
// and renames over it. Without Commit nothing stays, and the file that was there is untouched.
//
// Only a regular file is replaced; its read, write and execute permissions are kept. Any other target (a folder, a
// device, a pipe) is refused when the stream is made. A symbolic link stays, and the file that it names is replaced.
// The folder is fixed then too: it may be moved, and the process change its own, meanwhile. All failures of the file
// are Sys_StreamException and name it.
class CFND_EXPORT Sys_FileOutStream : public Cmn_OutStream
{
public:
    explicit Sys_FileOutStream(const std::string& iPath);
    ~Sys_FileOutStream() override;

    // Once, as the last call; refused when a write has failed before, even if the caller went on. When it fails, the
    // target is untouched, except that a failure to sync the folder is reported after the file has got its name.
    void Commit();

private:
    void MakeRoom(std::size_t iWanted) override;
    void PatchDrained(std::int64_t iPosition, Bytes iBytes) override;
    void Drain();
    void WriteAt(std::int64_t iPosition, Bytes iBytes);
    void RemoveTemporary();
    [[noreturn]] void Fail(int iError, std::int64_t iPosition);

    const std::string mPath;   // as the caller gave it, for messages
    const std::string mTarget; // where it leads to through links
    const std::unique_ptr<unsigned char[]> mBuffer;
    const Sys_FileDescriptor mFolder; // all names are relative to it
    std::string mTemporaryName;       // empty once the file has its own name or is given up
    const Sys_FileDescriptor mFile;
};
