#include "CFnd/Cmn_InStream.h"

#include "CFnd/Sys_StreamException.h"

#include <algorithm>

Cmn_InStream::Cmn_InStream(std::int64_t iLength) : mLength(iLength), mScope{iLength, {}} {}

Cmn_InStream::~Cmn_InStream() = default;

void Cmn_InStream::SetPosition(std::int64_t iPosition)
{
    if (iPosition < 0 || iPosition > mLength)
        Fail(Sys_StreamException::kBadPosition);

    const std::int64_t offset = iPosition - mWindowPosition;
    if (offset < 0 || offset > std::ssize(mWindow))
    {
        SetWindow({}, iPosition);
        return;
    }
    mCursorP = mWindow.data() + offset;
    ClipWindow();
}

void Cmn_InStream::Skip(std::int64_t iCount)
{
    CheckBytesLeft(iCount);
    SetPosition(GetPosition() + iCount);
}

void Cmn_InStream::SetScope(const Scope& iScope)
{
    mScope = iScope;
    ClipWindow();
}

void Cmn_InStream::Fail(std::string_view iReason) const
{
    throw Sys_StreamException(iReason, mScope.mTag, GetPosition());
}

void Cmn_InStream::SetWindow(Bytes iWindow, std::int64_t iPosition)
{
    mWindow = iWindow;
    mWindowPosition = iPosition;
    mCursorP = mWindow.data();
    ClipWindow();
}

// The scope may end inside of the window, or lie before the position where a repositioning left it.
void Cmn_InStream::ClipWindow()
{
    const std::int64_t inWindow = std::ssize(mWindow) - (mCursorP - mWindow.data());
    mEndP = mCursorP + std::min(GetBytesLeft(), inWindow);
}

void Cmn_InStream::NextWindow()
{
    if (GetBytesLeft() == 0)
        return;
    const std::int64_t position = GetPosition();
    // The old window goes first: its bytes are lost even when filling the new one fails.
    SetWindow({}, position);
    SetWindow(FillWindow(position), position);
    if (BytesInWindow() == 0)
        Fail(Sys_StreamException::kEndOfStream);
}

void Cmn_InStream::CheckBytesLeft(std::int64_t iCount) const
{
    if (iCount < 0)
        Fail(Sys_StreamException::kBadPosition);
    if (iCount > GetBytesLeft())
        Fail(mScope.mEnd < mLength ? Sys_StreamException::kEndOfRecord : Sys_StreamException::kEndOfStream);
}

void Cmn_InStream::ReadAcrossWindows(void* oBytes, std::size_t iCount)
{
    CheckBytesLeft(static_cast<std::int64_t>(iCount));
    auto* destP = static_cast<unsigned char*>(oBytes);
    while (iCount > 0)
    {
        const Bytes window = GetWindow();
        const std::size_t count = std::min(iCount, window.size());
        std::memcpy(destP, window.data(), count);
        Advance(count);
        destP += count;
        iCount -= count;
    }
}

Sys_MemoryInStream::Sys_MemoryInStream(Bytes iBytes) : Cmn_InStream(std::ssize(iBytes)), mBytes(iBytes) {}

Sys_MemoryInStream::~Sys_MemoryInStream() = default;

Cmn_InStream::Bytes Sys_MemoryInStream::FillWindow(std::int64_t iPosition)
{
    return mBytes.subspan(static_cast<std::size_t>(iPosition));
}
