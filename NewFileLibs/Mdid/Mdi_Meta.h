#pragma once

// The types of the meta events of Standard MIDI Files.
namespace Mdi_Meta
{

inline constexpr unsigned char kSequenceNumber = 0x00;
inline constexpr unsigned char kText = 0x01;
inline constexpr unsigned char kCopyright = 0x02;
inline constexpr unsigned char kTrackName = 0x03;
inline constexpr unsigned char kInstrumentName = 0x04;
inline constexpr unsigned char kLyric = 0x05;
inline constexpr unsigned char kMarker = 0x06;
inline constexpr unsigned char kCuePoint = 0x07;
inline constexpr unsigned char kProgramName = 0x08;
inline constexpr unsigned char kDeviceName = 0x09;
inline constexpr unsigned char kChannelPrefix = 0x20;
inline constexpr unsigned char kPort = 0x21;
inline constexpr unsigned char kEndOfTrack = 0x2F;
inline constexpr unsigned char kTempo = 0x51;
inline constexpr unsigned char kSMPTEOffset = 0x54;
inline constexpr unsigned char kMeter = 0x58;
inline constexpr unsigned char kKey = 0x59;
inline constexpr unsigned char kSequencerSpecific = 0x7F;

} // namespace Mdi_Meta
