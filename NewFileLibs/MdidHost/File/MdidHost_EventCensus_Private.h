#pragma once

#include "MdidHost/File/MdidHost_FileBytes_Private.h"
#include "MdidHost/File/MdidHost_Findings.h"
#include "MdidHost/File/MdidHost_RepairingStream.h"
#include "MdidHost/File/MdidHost_TrackScanner_Private.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

// What the reader does not deliver, or not all of it.
enum class MdidHost_LossKind
{
    kChannelMode,
    kEscape,
    kUnfinishedSysex,
    kSequenceNumber,
    kCopyright,
    kLyric,
    kCuePoint,
    kProgramName,
    kDeviceName,
    kOtherText,
    kPort,
    kSequencerSpecific,
    kOtherMeta,
    kTempo, // these only in tracks where the reader does not look
    kMeter,
    kKey,
    kMarker,
    kSMPTEOffset,
    kReplacedSMPTEOffset, // delivered, but not as the file has it
    kSMPTEOffsetTime,
    kNameTime,
    kTextTime,
    kCutText,
    kClick,
    kPacketTime
};

// Counts what the events of a file mean beyond their places.
class MdidHost_EventCensus
{
public:
    static constexpr int kNumLossKinds = 25;

    void BeginTrack(bool iIsFirst);
    void OnEvent(const MdidHost_TrackEvent& iEvent, MdidHost_FileBytes& ioBytes);
    void OnController(int iStatus, int iNumber, int iValue);
    void EndTrack() { CloseSysex(); }
    bool IsSysexOpen() const { return mIsSysexOpen; }

    // A text, name, marker or meter that is delivered.
    void OnText(std::int64_t iPayload, std::int64_t iLength, MdidHost_FileBytes& ioBytes);
    void OnMeter(int iClocksPerClick, int iThirtySecondsPerQuarter);

    std::vector<MdidHost_Loss> GetLosses() const;
    MdidHost_RepairingStream::MPEZones GetZones() const;

    void Count(MdidHost_LossKind iKind, std::int64_t iCount = 1) { mLosses[static_cast<std::size_t>(iKind)] += iCount; }

private:
    void OnMeta(const MdidHost_TrackEvent& iEvent, MdidHost_FileBytes& ioBytes);
    void OnSMPTEOffset(std::int64_t iTime);
    void OnSysex(const MdidHost_TrackEvent& iEvent, MdidHost_FileBytes& ioBytes);
    void CloseSysex();

    // The parameter number that is selected on a master channel: 0 and 6 are the MPE configuration.
    struct Zone
    {
        int mParameterMsb = -1;
        int mParameterLsb = -1;
        int mNumMembers = 0;
    };

    std::array<std::int64_t, kNumLossKinds> mLosses{};
    Zone mLower, mUpper;
    bool mIsFirstTrack = true;
    bool mHasSMPTEOffset = false;
    bool mIsSysexOpen = false;
    std::int64_t mPacketTime = 0;   // of the last one of an open message
    std::int64_t mTimedPackets = 0; // of it, with times of their own
};
