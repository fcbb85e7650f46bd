#pragma once

#include "CFnd/CFnd_Export.h"

#include <compare>
#include <cstdint>
#include <string>

// A 128-bit identity. Default: the null identity.
class CFND_EXPORT Sys_UUID
{
public:
    constexpr Sys_UUID() = default;
    constexpr Sys_UUID(std::uint64_t iHigh, std::uint64_t iLow) : mHigh(iHigh), mLow(iLow) {}

    // A random one (RFC 4122, version 4), never null. Any thread but a playback one.
    static Sys_UUID Create();

    constexpr bool IsNull() const { return mHigh == 0 && mLow == 0; }
    constexpr std::uint64_t GetHigh() const { return mHigh; }
    constexpr std::uint64_t GetLow() const { return mLow; }

    // "01234567-89ab-cdef-0123-456789abcdef"
    std::string AsString() const;

    constexpr auto operator<=>(const Sys_UUID&) const = default;

private:
    std::uint64_t mHigh = 0;
    std::uint64_t mLow = 0;
};
