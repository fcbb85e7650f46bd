#pragma once

#include "CFnd/Cmn_InStream.h"

#include <algorithm>
#include <vector>

// Reads bytes that the caller owns through windows of at most iSize bytes. Every window is a copy of its own size, so
// that a sanitizer sees a read past its end.
struct WindowedInStream : Cmn_InStream
{
    WindowedInStream(Bytes iFile, std::size_t iSize) : Cmn_InStream(std::ssize(iFile)), mFile(iFile), mSize(iSize) {}

private:
    Bytes FillWindow(std::int64_t iPosition) override
    {
        const Bytes rest = mFile.subspan(static_cast<std::size_t>(iPosition));
        const Bytes window = rest.first(std::min(mSize, rest.size()));
        return mWindow = std::vector<unsigned char>(window.begin(), window.end());
    }

    const Bytes mFile;
    const std::size_t mSize;
    std::vector<unsigned char> mWindow;
};
