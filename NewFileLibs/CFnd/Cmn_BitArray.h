#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// N bits in words of 32, all clear at first. A bit that is not among them reads as clear and is not set.
template <std::size_t N>
class Cmn_BitArray
{
public:
    static constexpr std::size_t kNumWords = (N + 31) / 32;

    static constexpr std::size_t size() { return N; }

    constexpr bool Get(std::size_t iBit) const { return iBit < N && (mWords[iBit / 32] & MaskOf(iBit)) != 0; }

    constexpr void Set(std::size_t iBit, bool iValue)
    {
        if (iBit >= N)
            return;
        std::uint32_t& word = mWords[iBit / 32];
        word = iValue ? word | MaskOf(iBit) : word & ~MaskOf(iBit);
    }

    constexpr void ClearAll() { mWords = {}; }

    constexpr void SetAll()
    {
        ClearAll();
        Invert();
    }

    constexpr void Invert()
    {
        for (std::uint32_t& word : mWords)
            word = ~word;
        if constexpr (N % 32 != 0)
            mWords.back() &= MaskOf(N) - 1;
    }

    // Bit n of the array is bit n % 32 of word n / 32; the bits behind the last one are clear.
    constexpr const std::array<std::uint32_t, kNumWords>& GetWords() const { return mWords; }

    constexpr bool operator==(const Cmn_BitArray&) const = default;

private:
    static_assert(N > 0);

    static constexpr std::uint32_t MaskOf(std::size_t iBit) { return std::uint32_t{1} << (iBit % 32); }

    std::array<std::uint32_t, kNumWords> mWords{};
};
