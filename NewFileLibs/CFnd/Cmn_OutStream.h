#pragma once

#include "CFnd/CFnd_Export.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>

// Bytes to write, to a file or to memory, through a buffer: writing a field costs a virtual call only when the buffer
// is full. Failures are Sys_StreamException or std::bad_alloc. One thread at a time.
class CFND_EXPORT Cmn_OutStream
{
public:
    using Bytes = std::span<const unsigned char>;

    virtual ~Cmn_OutStream();
    Cmn_OutStream(const Cmn_OutStream&) = delete;
    Cmn_OutStream& operator=(const Cmn_OutStream&) = delete;

    std::int64_t GetPosition() const { return mBufferPosition + (mCursorP - mBuffer.data()); }

    // iBytes may be null when there is nothing to write.
    void WriteBlock(const void* iBytes, std::size_t iCount)
    {
        if (iCount > static_cast<std::size_t>(mEndP - mCursorP)) [[unlikely]]
            WriteAcrossBuffers(iBytes, iCount);
        else if (iCount > 0)
        {
            std::memcpy(mCursorP, iBytes, iCount);
            mCursorP += iCount;
        }
    }

    // So many bytes are about to be written: what collects them takes the room at once instead of piece by piece.
    // Throws std::bad_alloc.
    void Expect(std::size_t iCount)
    {
        if (iCount > static_cast<std::size_t>(mEndP - mCursorP))
            MakeRoomAhead(iCount);
    }

    // Writes over bytes that were written before; the position stays. Past what was written: Sys_StreamException.
    void Patch(std::int64_t iPosition, Bytes iBytes);

protected:
    Cmn_OutStream();

    // Makes room for at least one more byte, iWanted of them if it can: through SetBuffer.
    virtual void MakeRoom(std::size_t iWanted) = 0;

    // The same before the buffer is full, where that saves something.
    virtual void MakeRoomAhead(std::size_t iWanted);

    // Writes over bytes that left the buffer.
    virtual void PatchDrained(std::int64_t iPosition, Bytes iBytes) = 0;

    // The bytes that wait in the buffer.
    Bytes GetPending() const { return {mBuffer.data(), mCursorP}; }

    // iBuffer begins at iPosition of the stream; the first iUsed bytes of it are written already.
    void SetBuffer(std::span<unsigned char> iBuffer, std::int64_t iPosition, std::size_t iUsed);

private:
    void WriteAcrossBuffers(const void* iBytes, std::size_t iCount);

    unsigned char* mCursorP = nullptr;
    unsigned char* mEndP = nullptr;
    std::span<unsigned char> mBuffer;
    std::int64_t mBufferPosition = 0;
};

// Collects what is written; the room grows by doubling.
class CFND_EXPORT Sys_MemoryOutStream : public Cmn_OutStream
{
public:
    Sys_MemoryOutStream();
    ~Sys_MemoryOutStream() override;

    // Everything written so far. Valid until the next write.
    Bytes GetBytes() const { return GetPending(); }

private:
    void MakeRoom(std::size_t iWanted) override;
    void MakeRoomAhead(std::size_t iWanted) override;
    void PatchDrained(std::int64_t iPosition, Bytes iBytes) override;

    std::unique_ptr<unsigned char[]> mBytes;
    std::size_t mCapacity = 0;
};
