#pragma once

#include "CFnd/CFnd_Export.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

// Bytes to read, from a file or from memory, through a window: reading a field costs a virtual call only when the
// window is used up. Failures are Sys_StreamException; a read or skip past the end fails before it consumes anything.
// One thread at a time.
class CFND_EXPORT Cmn_InStream
{
public:
    using Bytes = std::span<const unsigned char>;

    virtual ~Cmn_InStream();
    Cmn_InStream(const Cmn_InStream&) = delete;
    Cmn_InStream& operator=(const Cmn_InStream&) = delete;

    std::int64_t GetPosition() const { return mWindowPosition + (mCursorP - mWindow.data()); }

    // Total bytes of the stream, known from the start.
    std::int64_t GetLength() const { return mLength; }
    bool IsAtEnd() const { return GetPosition() >= mLength; }

    // Bytes from here to the end of the innermost record, or of the stream; none when a SetPosition went past it.
    std::int64_t GetBytesLeft() const { return std::max<std::int64_t>(mScope.mEnd - GetPosition(), 0); }

    // iPosition: 0 to GetLength(), whatever record is being read. Costs nothing inside of the window.
    void SetPosition(std::int64_t iPosition);

    // oBytes may be null when there is nothing to read.
    void ReadBlock(void* oBytes, std::size_t iCount)
    {
        if (iCount > BytesInWindow()) [[unlikely]]
            ReadAcrossWindows(oBytes, iCount);
        else if (iCount > 0)
        {
            std::memcpy(oBytes, mCursorP, iCount);
            mCursorP += iCount;
        }
    }

    // iCount: not negative.
    void Skip(std::int64_t iCount);

    // The bytes that lie ready at the position; empty only at the end of the record or stream. Valid until the next
    // call of anything but Advance.
    Bytes GetWindow()
    {
        if (BytesInWindow() == 0)
            NextWindow();
        return {mCursorP, BytesInWindow()};
    }

    // Consumes bytes of the window: at most as many as it holds.
    void Advance(std::size_t iCount) { mCursorP += iCount; }

    // What is read now: a record that ends at mEnd, or the whole stream. Set by the reader of record headers.
    struct Scope
    {
        std::int64_t mEnd = 0;
        std::string_view mTag;
    };
    const Scope& GetScope() const { return mScope; }

    // iScope ends inside of the stream; its tag must live as long as the scope is set.
    void SetScope(const Scope& iScope);

    [[noreturn]] void Fail(std::string_view iReason) const;

protected:
    explicit Cmn_InStream(std::int64_t iLength);

    // Returns the bytes from iPosition (0 to GetLength() - 1) on: at least one, or none when the stream has become
    // shorter than it was.
    virtual Bytes FillWindow(std::int64_t iPosition) = 0;

private:
    std::size_t BytesInWindow() const { return static_cast<std::size_t>(mEndP - mCursorP); }
    void SetWindow(Bytes iWindow, std::int64_t iPosition);
    void ClipWindow();
    void NextWindow();
    void CheckBytesLeft(std::int64_t iCount) const;
    void ReadAcrossWindows(void* oBytes, std::size_t iCount);

    const unsigned char* mCursorP = nullptr;
    const unsigned char* mEndP = nullptr; // of the window, or of the scope when that comes first
    Bytes mWindow;
    std::int64_t mWindowPosition = 0;
    std::int64_t mLength;
    Scope mScope;
};

// Reads bytes that the caller owns and keeps alive; nothing is copied.
class CFND_EXPORT Sys_MemoryInStream : public Cmn_InStream
{
public:
    explicit Sys_MemoryInStream(Bytes iBytes);
    ~Sys_MemoryInStream() override;

private:
    Bytes FillWindow(std::int64_t iPosition) override;

    Bytes mBytes;
};
