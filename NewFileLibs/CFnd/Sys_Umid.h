#pragma once

#include "CFnd/CFnd_Export.h"

#include <array>
#include <compare>
#include <cstddef>
#include <string>

// The identity of a piece of material: 16 bytes that are saved as they are. Default: no identity.
class CFND_EXPORT Sys_Umid
{
public:
    static constexpr std::size_t kNumBytes = 16;
    using Bytes = std::array<unsigned char, kNumBytes>;

    constexpr Sys_Umid() = default;
    explicit constexpr Sys_Umid(const Bytes& iBytes) : mBytes(iBytes) {}

    // A new one, like no other. Any thread but a playback one.
    static Sys_Umid Create();

    // All bytes 0.
    static constexpr Sys_Umid NoID() { return {}; }

    constexpr const Bytes& GetBytes() const { return mBytes; }

    // 32 lower-case digits, in the order of the bytes.
    std::string AsHexString() const;

    constexpr auto operator<=>(const Sys_Umid&) const = default;

private:
    Bytes mBytes{};
};
