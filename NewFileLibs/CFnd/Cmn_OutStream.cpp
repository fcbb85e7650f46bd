#include "CFnd/Cmn_OutStream.h"

#include "CFnd/Sys_StreamException.h"

#include <algorithm>

namespace
{

constexpr std::size_t kFirstCapacity = 256;

} // namespace

Cmn_OutStream::Cmn_OutStream() = default;

Cmn_OutStream::~Cmn_OutStream() = default;

void Cmn_OutStream::MakeRoomAhead(std::size_t /*iWanted*/) {}

void Cmn_OutStream::Patch(std::int64_t iPosition, Bytes iBytes)
{
    if (iPosition < 0 || std::ssize(iBytes) > GetPosition() - iPosition)
        throw Sys_StreamException(Sys_StreamException::kBadPosition, {}, iPosition);

    const std::int64_t drained = std::clamp<std::int64_t>(mBufferPosition - iPosition, 0, std::ssize(iBytes));
    const Bytes before = iBytes.first(static_cast<std::size_t>(drained));
    const Bytes inBuffer = iBytes.subspan(before.size());
    if (!before.empty())
        PatchDrained(iPosition, before);
    if (!inBuffer.empty())
        std::ranges::copy(inBuffer, mBuffer.data() + (iPosition + drained - mBufferPosition));
}

void Cmn_OutStream::SetBuffer(std::span<unsigned char> iBuffer, std::int64_t iPosition, std::size_t iUsed)
{
    mBuffer = iBuffer;
    mBufferPosition = iPosition;
    mCursorP = mBuffer.data() + iUsed;
    mEndP = mBuffer.data() + mBuffer.size();
}

void Cmn_OutStream::WriteAcrossBuffers(const void* iBytes, std::size_t iCount)
{
    const auto* sourceP = static_cast<const unsigned char*>(iBytes);
    while (iCount > 0)
    {
        if (mCursorP == mEndP)
            MakeRoom(iCount);
        const std::size_t count = std::min(iCount, static_cast<std::size_t>(mEndP - mCursorP));
        std::memcpy(mCursorP, sourceP, count);
        mCursorP += count;
        sourceP += count;
        iCount -= count;
    }
}

Sys_MemoryOutStream::Sys_MemoryOutStream() = default;

Sys_MemoryOutStream::~Sys_MemoryOutStream() = default;

void Sys_MemoryOutStream::MakeRoom(std::size_t iWanted)
{
    const Bytes written = GetPending();
    const std::size_t capacity = std::max({kFirstCapacity, 2 * mCapacity, written.size() + iWanted});
    // Left uninitialised: every byte is written before it is seen.
    std::unique_ptr<unsigned char[]> bytes(new unsigned char[capacity]);
    std::ranges::copy(written, bytes.get());
    SetBuffer({bytes.get(), capacity}, 0, written.size());
    mBytes = std::move(bytes);
    mCapacity = capacity;
}

void Sys_MemoryOutStream::MakeRoomAhead(std::size_t iWanted)
{
    MakeRoom(iWanted);
}

// Nothing ever leaves the buffer of a memory stream.
void Sys_MemoryOutStream::PatchDrained(std::int64_t iPosition, Bytes)
{
    throw Sys_StreamException(Sys_StreamException::kBadPosition, {}, iPosition);
}
