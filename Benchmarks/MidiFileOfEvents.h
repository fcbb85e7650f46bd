#pragma once

#include <array>
#include <cstdint>
#include <random>
#include <vector>

// A Standard MIDI File of many events to read, and the least that any reader of it must do.
namespace MidiFileOfEvents
{

using Bytes = std::vector<unsigned char>;

inline constexpr int kNumTracks = 16;
inline constexpr int kMillion = 1'000'000;

inline void AppendBigEndian(Bytes& ioBytes, std::uint32_t iValue, int iSize)
{
    for (int shift = 8 * (iSize - 1); shift >= 0; shift -= 8)
        ioBytes.push_back(static_cast<unsigned char>(iValue >> shift));
}

inline void AppendVariableLength(Bytes& ioBytes, std::uint32_t iValue)
{
    for (int shift = 21; shift > 0; shift -= 7)
        if (iValue >> shift != 0)
            ioBytes.push_back(static_cast<unsigned char>(0x80 | (iValue >> shift & 0x7F)));
    ioBytes.push_back(static_cast<unsigned char>(iValue & 0x7F));
}

// Notes mostly, some controllers, bends and pressure, running status wherever it can be.
inline Bytes MakeTrack(int iNumEvents, std::mt19937& ioRandom)
{
    static constexpr std::array<unsigned char, 16> kStatuses{0x90, 0x90, 0x90, 0x90, 0x90, 0x90, 0x90, 0x80,
                                                             0x80, 0x80, 0xB0, 0xB0, 0xB0, 0xE0, 0xD0, 0xC0};
    Bytes track;
    unsigned char runningStatus = 0;
    for (int i = 0; i < iNumEvents; ++i)
    {
        const auto longest = ioRandom() % 4 == 0 ? 2000 : 100;
        AppendVariableLength(track, static_cast<std::uint32_t>(ioRandom() % longest));
        const unsigned char status = kStatuses[ioRandom() % kStatuses.size()];
        if (status != runningStatus)
            track.push_back(runningStatus = status);
        track.push_back(static_cast<unsigned char>(ioRandom() % 120));
        if ((status & 0xE0) != 0xC0)
            track.push_back(static_cast<unsigned char>(ioRandom() % 128));
    }
    track.insert(track.end(), {0x00, 0xFF, 0x2F, 0x00});
    return track;
}

// The same file for the same count.
inline Bytes Make(int iNumEvents)
{
    std::mt19937 random(1);
    Bytes bytes{'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 1, 0, kNumTracks, 1, 0xE0};
    for (int i = 0; i < kNumTracks; ++i)
    {
        const Bytes track = MakeTrack(iNumEvents / kNumTracks, random);
        bytes.insert(bytes.end(), {'M', 'T', 'r', 'k'});
        AppendBigEndian(bytes, static_cast<std::uint32_t>(track.size()), 4);
        bytes.insert(bytes.end(), track.begin(), track.end());
    }
    return bytes;
}

inline const Bytes& OfAMillion()
{
    static const Bytes file = Make(kMillion);
    return file;
}

// Deltas, running status, lengths. It trusts the file. iOnEvent(time, status, data).
template <class OnEvent>
void Scan(const Bytes& iFile, OnEvent iOnEvent)
{
    const unsigned char* p = iFile.data() + 14;
    const unsigned char* const endP = iFile.data() + iFile.size();
    while (p < endP)
    {
        const std::uint32_t length = static_cast<std::uint32_t>(p[4]) << 24 | p[5] << 16 | p[6] << 8 | p[7];
        p += 8;
        const unsigned char* const trackEndP = p + length;
        std::uint32_t time = 0;
        unsigned char status = 0;
        while (p < trackEndP)
        {
            std::uint32_t delta = 0;
            unsigned char byte = 0;
            do
            {
                byte = *p++;
                delta = delta << 7 | (byte & 0x7Fu);
            } while (byte >= 0x80);
            time += delta;
            if (*p == 0xFF)
            {
                p += 3 + p[2];
                continue;
            }
            if (*p >= 0x80)
                status = *p++;
            iOnEvent(time, status, p);
            p += (status & 0xE0) == 0xC0 ? 1 : 2;
        }
    }
}

} // namespace MidiFileOfEvents
