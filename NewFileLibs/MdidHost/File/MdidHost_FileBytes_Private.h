#pragma once

#include "CFnd/Cmn_InStream.h"

#include <cstdint>
#include <limits>
#include <string_view>
#include <vector>

// The bytes of a file by their offset, to look ahead and back in. Binds a stream that must outlive it and that nobody
// else reads meanwhile. Throws Sys_StreamException where the stream does.
class MdidHost_FileBytes
{
public:
    using Bytes = Cmn_InStream::Bytes;

    explicit MdidHost_FileBytes(Cmn_InStream& ioStream) : mStream(ioStream), mEnd(ioStream.GetLength()) {}

    // What lies behind is as if it were not there: a file within a file.
    void SetEnd(std::int64_t iEnd)
    {
        mEnd = iEnd;
        mWindow = {};
        mTracksSearchedFrom = kNowhere;
    }
    std::int64_t GetEnd() const { return mEnd; }

    // The byte, or -1 outside of the file. Costs little near the last one asked for.
    int At(std::int64_t iOffset)
    {
        const std::int64_t inWindow = iOffset - mWindowStart;
        if (inWindow >= 0 && inWindow < std::ssize(mWindow)) [[likely]]
            return mWindow[static_cast<std::size_t>(inWindow)];
        return AtAnew(iOffset);
    }

    // The bytes that lie ready from there on; none outside of the file. Valid until the next call of anything.
    Bytes WindowAt(std::int64_t iOffset);

    // A number of up to four bytes, the highest first; what lies outside of the file counts as zeros.
    std::uint32_t BigEndian(std::int64_t iOffset, int iNumBytes);

    bool Holds(std::int64_t iOffset, std::string_view iText);

    // How many of the four bytes from there on are those of the text.
    int CountEqual(std::int64_t iOffset, std::string_view iType);

    // Where the text of four bytes begins next, iFrom to iEnd; iEnd when it does not before.
    std::int64_t Find(std::string_view iType, std::int64_t iFrom, std::int64_t iEnd);

    // Where a track's "MTrk" begins next, from iFrom on; the end of the file when none does. Searches no byte twice as
    // long as what is asked for ascends.
    std::int64_t FindTrack(std::int64_t iFrom);

    // iCount bytes, which must lie within the file, go to the end of ioBytes.
    void Append(std::vector<unsigned char>& ioBytes, std::int64_t iOffset, std::int64_t iCount);

private:
    int AtAnew(std::int64_t iOffset);

    Cmn_InStream& mStream;
    std::int64_t mEnd;
    Bytes mWindow;
    std::int64_t mWindowStart = 0;

    // What was searched for tracks last, and the place found.
    static constexpr std::int64_t kNowhere = std::numeric_limits<std::int64_t>::max();
    std::int64_t mTracksSearchedFrom = kNowhere;
    std::int64_t mNextTrack = 0;
};

// A number in seven bits a byte, the highest first.
struct MdidHost_VariableLength
{
    static constexpr int kMaxBytes = 4;
    static constexpr std::int64_t kMaxValue = 0x0FFFFFFF;

    std::int64_t mValue = 0; // saturates beyond kMaxValue
    std::int64_t mEnd = 0;   // behind it
    bool mIsWhole = false;   // it ends
    bool mIsSound = false;   // whole, and of at most four bytes

    bool Fits() const { return mIsWhole && mValue <= kMaxValue; }

    // Not whole when it has more than iMaxBytes: a damaged file may stretch it.
    static MdidHost_VariableLength Read(MdidHost_FileBytes& ioBytes, std::int64_t iOffset, std::int64_t iMaxBytes);
};
