#include "MdidHost/File/MdidHost_MetaEvent_Private.h"

#include <algorithm>
#include <bit>

namespace MdidHost_Meta
{

namespace
{

// That of 1/32768: shorter beats are shorter than any tick.
constexpr int kMaxDenominatorPower = 15;
constexpr int kMaxMistakenDenominator = 64;
constexpr unsigned char kDefaultClocks = 24;       // a click each quarter
constexpr unsigned char kDefaultThirtySeconds = 8; // a quarter
constexpr int kMaxAccidentals = 7;
constexpr unsigned char kNumChannels = 16;

bool CorrectTempo(Data& io)
{
    auto& bytes = io.mBytes;
    // Four bytes with a zero in front are the same number in 32 bits.
    if (io.mLength == 4 && bytes[0] == 0)
        std::ranges::copy(bytes.begin() + 1, bytes.begin() + 4, bytes.begin());
    return io.mLength >= 3 && (bytes[0] | bytes[1] | bytes[2]) != 0;
}

bool CorrectMeter(Data& io)
{
    auto& [numerator, power, clocks, thirtySeconds, unused] = io.mBytes;
    if (io.mLength < 3)
        clocks = kDefaultClocks;
    if (io.mLength < 4 || thirtySeconds == 0)
        thirtySeconds = kDefaultThirtySeconds;
    // 16 to 64 are denominators that should have been powers of two.
    if (power > kMaxDenominatorPower && power <= kMaxMistakenDenominator && std::has_single_bit(power))
        power = static_cast<unsigned char>(std::countr_zero(power));
    return io.mLength >= 2 && numerator != 0 && power <= kMaxDenominatorPower;
}

bool CorrectKey(Data& io)
{
    auto& mode = io.mBytes[1];
    mode = std::min<unsigned char>(io.mLength < 2 ? 0 : mode, 1);
    const int sharps = static_cast<signed char>(io.mBytes[0]);
    return io.mLength >= 1 && sharps >= -kMaxAccidentals && sharps <= kMaxAccidentals;
}

// Frames and their hundredths may be missing.
bool CorrectSMPTEOffset(Data& io)
{
    static constexpr std::array<int, 4> kFrames{24, 25, 30, 30};
    auto& [hours, minutes, seconds, frames, hundredths] = io.mBytes;
    hours &= 0x7F;
    return io.mLength >= 3 && (hours & 0x1F) < 24 && minutes < 60 && seconds < 60 && frames < kFrames[hours >> 5] &&
           hundredths < 100;
}

bool CorrectContent(unsigned char iType, Data& io)
{
    switch (iType)
    {
    case Mdi_Meta::kChannelPrefix:
        return io.mLength >= 1 && io.mBytes[0] < kNumChannels;
    case Mdi_Meta::kTempo:
        return CorrectTempo(io);
    case Mdi_Meta::kSMPTEOffset:
        return CorrectSMPTEOffset(io);
    case Mdi_Meta::kMeter:
        return CorrectMeter(io);
    case Mdi_Meta::kKey:
        return CorrectKey(io);
    default:
        return true;
    }
}

} // namespace

int LengthOf(unsigned char iType)
{
    switch (iType)
    {
    case Mdi_Meta::kChannelPrefix:
        return 1;
    case Mdi_Meta::kEndOfTrack:
        return 0;
    case Mdi_Meta::kTempo:
        return 3;
    case Mdi_Meta::kSMPTEOffset:
        return 5;
    case Mdi_Meta::kMeter:
        return 4;
    case Mdi_Meta::kKey:
        return 2;
    default:
        return -1;
    }
}

const char* NameOf(unsigned char iType)
{
    switch (iType)
    {
    case Mdi_Meta::kChannelPrefix:
        return "a channel prefix";
    case Mdi_Meta::kEndOfTrack:
        return "an end of track";
    case Mdi_Meta::kTempo:
        return "a tempo";
    case Mdi_Meta::kSMPTEOffset:
        return "an SMPTE offset";
    case Mdi_Meta::kMeter:
        return "a meter";
    case Mdi_Meta::kKey:
        return "a key";
    default:
        return "a meta event";
    }
}

bool Correct(unsigned char iType, Data& ioData)
{
    const bool isGood = CorrectContent(iType, ioData);
    ioData.mLength = LengthOf(iType);
    std::fill(ioData.mBytes.begin() + ioData.mLength, ioData.mBytes.end(), static_cast<unsigned char>(0));
    return isGood;
}

} // namespace MdidHost_Meta
