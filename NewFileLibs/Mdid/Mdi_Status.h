#pragma once

// The status bytes of MIDI.
namespace Mdi_Status
{

// Channel messages, on the first channel; everything below the first is data.
inline constexpr unsigned char kNoteOff = 0x80;
inline constexpr unsigned char kNoteOn = 0x90;
inline constexpr unsigned char kPolyPressure = 0xA0;
inline constexpr unsigned char kController = 0xB0;
inline constexpr unsigned char kProgram = 0xC0;
inline constexpr unsigned char kMonoPressure = 0xD0;
inline constexpr unsigned char kPitchBend = 0xE0;

inline constexpr unsigned char kSysexStart = 0xF0;
inline constexpr unsigned char kTimecode = 0xF1;
inline constexpr unsigned char kSongPointer = 0xF2;
inline constexpr unsigned char kSongSelect = 0xF3;
inline constexpr unsigned char kTuneRequest = 0xF6;
inline constexpr unsigned char kSysexEnd = 0xF7;

inline constexpr unsigned char kTimingClock = 0xF8;
inline constexpr unsigned char kStart = 0xFA;
inline constexpr unsigned char kContinue = 0xFB;
inline constexpr unsigned char kStop = 0xFC;
inline constexpr unsigned char kMeta = 0xFF; // in a file; a system reset elsewhere

inline constexpr unsigned char kFirst = kNoteOff;
inline constexpr unsigned char kFirstSystem = kSysexStart;
inline constexpr unsigned char kFirstRealTime = kTimingClock;

constexpr int KindOf(unsigned char iStatus)
{
    return iStatus & 0xF0;
}

} // namespace Mdi_Status
