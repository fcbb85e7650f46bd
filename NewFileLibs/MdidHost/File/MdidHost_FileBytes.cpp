#include "MdidHost/File/MdidHost_FileBytes_Private.h"

#include <algorithm>

MdidHost_FileBytes::Bytes MdidHost_FileBytes::WindowAt(std::int64_t iOffset)
{
    const std::int64_t inWindow = iOffset - mWindowStart;
    if (inWindow >= 0 && inWindow < std::ssize(mWindow))
        return mWindow.subspan(static_cast<std::size_t>(inWindow));
    if (iOffset < 0 || iOffset >= mEnd)
        return {};
    mWindow = {};
    mStream.SetPosition(iOffset);
    const Bytes window = mStream.GetWindow();
    mWindow = window.first(static_cast<std::size_t>(std::min<std::int64_t>(std::ssize(window), mEnd - iOffset)));
    mWindowStart = iOffset;
    return mWindow;
}

int MdidHost_FileBytes::AtAnew(std::int64_t iOffset)
{
    const Bytes window = WindowAt(iOffset);
    return window.empty() ? -1 : window.front();
}

std::uint32_t MdidHost_FileBytes::BigEndian(std::int64_t iOffset, int iNumBytes)
{
    std::uint32_t value = 0;
    for (int i = 0; i < iNumBytes; ++i)
        value = value << 8 | static_cast<std::uint32_t>(std::max(At(iOffset + i), 0));
    return value;
}

bool MdidHost_FileBytes::Holds(std::int64_t iOffset, std::string_view iText)
{
    return std::ranges::all_of(iText, [&](char c) { return At(iOffset++) == static_cast<unsigned char>(c); });
}

int MdidHost_FileBytes::CountEqual(std::int64_t iOffset, std::string_view iType)
{
    return static_cast<int>(
        std::ranges::count_if(iType, [&](char c) { return At(iOffset++) == static_cast<unsigned char>(c); }));
}

std::int64_t MdidHost_FileBytes::Find(std::string_view iType, std::int64_t iFrom, std::int64_t iEnd)
{
    while (iFrom < iEnd)
    {
        const Bytes window = WindowAt(iFrom);
        const auto found = std::ranges::find(window, static_cast<unsigned char>(iType.front()));
        iFrom += found - window.begin();
        if (window.empty() || iFrom >= iEnd)
            return iEnd;
        if (found == window.end())
            continue;
        if (Holds(iFrom, iType))
            return iFrom;
        ++iFrom;
    }
    return iEnd;
}

std::int64_t MdidHost_FileBytes::FindTrack(std::int64_t iFrom)
{
    if (iFrom < mTracksSearchedFrom || iFrom > mNextTrack)
    {
        mTracksSearchedFrom = iFrom;
        mNextTrack = Find("MTrk", iFrom, mEnd);
    }
    return mNextTrack;
}

void MdidHost_FileBytes::Append(std::vector<unsigned char>& ioBytes, std::int64_t iOffset, std::int64_t iCount)
{
    while (iCount > 0)
    {
        const Bytes window = WindowAt(iOffset);
        if (window.empty())
            return;
        const Bytes piece = window.first(static_cast<std::size_t>(std::min<std::int64_t>(iCount, std::ssize(window))));
        ioBytes.insert(ioBytes.end(), piece.begin(), piece.end());
        iOffset += std::ssize(piece);
        iCount -= std::ssize(piece);
    }
}

MdidHost_VariableLength MdidHost_VariableLength::Read(MdidHost_FileBytes& ioBytes, std::int64_t iOffset,
                                                      std::int64_t iMaxBytes)
{
    MdidHost_VariableLength number;
    number.mEnd = iOffset;
    int byte = 0x80;
    while (byte >= 0x80)
    {
        byte = ioBytes.At(number.mEnd);
        if (byte < 0 || number.mEnd - iOffset >= iMaxBytes)
            return number;
        ++number.mEnd;
        if (number.mValue <= kMaxValue)
            number.mValue = number.mValue << 7 | (byte & 0x7F);
    }
    number.mIsWhole = true;
    number.mIsSound = number.mEnd - iOffset <= kMaxBytes;
    return number;
}
