#include "MdidHost/File/MdidHost_EventCensus_Private.h"

#include "Mdid/Mdi_Controller.h"
#include "Mdid/Mdi_Meta.h"
#include "Mdid/Mdi_Status.h"
#include "MdidHost/File/MdidHost_Clicks_Private.h"

#include <algorithm>

namespace
{

using Kind = MdidHost_LossKind;

constexpr std::array<const char*, MdidHost_EventCensus::kNumLossKinds> kLossNames{
    "channel mode messages",
    "escapes",
    "unfinished system-exclusive messages",
    "sequence numbers",
    "copyright notices",
    "lyrics",
    "cue points",
    "program names",
    "device names",
    "other texts",
    "port numbers",
    "sequencer-specific events",
    "other meta events",
    "tempos outside of the first track",
    "meters outside of the first track",
    "keys outside of the first track",
    "markers outside of the first track",
    "SMPTE offsets outside of the first track",
    "SMPTE offsets that another one replaces",
    "SMPTE offsets whose times are not kept",
    "names whose times are not kept",
    "texts whose times are not kept",
    "texts cut at 255 bytes or at a zero",
    "meters whose click is not kept",
    "times of packets of system-exclusive messages"};

} // namespace

void MdidHost_EventCensus::BeginTrack(bool iIsFirst)
{
    mIsFirstTrack = iIsFirst;
    mIsSysexOpen = false;
    for (Zone* const zoneP : {&mLower, &mUpper})
        zoneP->mParameterMsb = zoneP->mParameterLsb = -1;
}

void MdidHost_EventCensus::CloseSysex()
{
    if (mIsSysexOpen)
        Count(Kind::kUnfinishedSysex);
    mIsSysexOpen = false;
}

// As the reader takes them: a channel message or a new begin ends a system-exclusive message, a meta event does not.
void MdidHost_EventCensus::OnEvent(const MdidHost_TrackEvent& iEvent, MdidHost_FileBytes& ioBytes)
{
    if (iEvent.IsMeta())
        return OnMeta(iEvent, ioBytes);
    if (!iEvent.IsChannelMessage())
        return OnSysex(iEvent, ioBytes);
    CloseSysex();
    if (Mdi_Status::KindOf(iEvent.mStatus) == Mdi_Status::kController)
        OnController(iEvent.mStatus, iEvent.mData.mBytes[0], iEvent.mData.mBytes[1]);
}

void MdidHost_EventCensus::OnSysex(const MdidHost_TrackEvent& iEvent, MdidHost_FileBytes& ioBytes)
{
    if (iEvent.mStatus == Mdi_Status::kSysexStart)
    {
        CloseSysex();
        mTimedPackets = 0;
    }
    else if (!mIsSysexOpen)
        return Count(Kind::kEscape);
    else if (iEvent.mTime != mPacketTime)
        ++mTimedPackets;
    mPacketTime = iEvent.mTime;
    mIsSysexOpen = iEvent.mLength == 0 || ioBytes.At(iEvent.mPayload + iEvent.mLength - 1) != Mdi_Status::kSysexEnd;
    if (!mIsSysexOpen)
        Count(Kind::kPacketTime, mTimedPackets);
}

void MdidHost_EventCensus::OnText(std::int64_t iPayload, std::int64_t iLength, MdidHost_FileBytes& ioBytes)
{
    static constexpr std::int64_t kMaxDelivered = 255;
    bool isCut = iLength > kMaxDelivered;
    for (std::int64_t i = 0; i < iLength && !isCut; ++i)
        isCut = ioBytes.At(iPayload + i) == 0;
    Count(Kind::kCutText, isCut ? 1 : 0);
}

void MdidHost_EventCensus::OnMeter(int iClocksPerClick, int iThirtySecondsPerQuarter)
{
    const int delivered = MdidHost_ClocksOfReader(iClocksPerClick, iThirtySecondsPerQuarter);
    const bool isKept = MdidHost_ClocksPerClick(delivered, iThirtySecondsPerQuarter) == iClocksPerClick;
    Count(Kind::kClick, isKept ? 0 : 1);
}

void MdidHost_EventCensus::OnSMPTEOffset(std::int64_t iTime)
{
    if (!mIsFirstTrack)
        return Count(Kind::kSMPTEOffset);
    Count(Kind::kReplacedSMPTEOffset, mHasSMPTEOffset ? 1 : 0);
    Count(Kind::kSMPTEOffsetTime, iTime > 0 ? 1 : 0);
    mHasSMPTEOffset = true;
}

void MdidHost_EventCensus::OnMeta(const MdidHost_TrackEvent& iEvent, MdidHost_FileBytes& ioBytes)
{
    using namespace Mdi_Meta;
    switch (iEvent.mType)
    {
    case kText:
    case kTrackName:
    case kInstrumentName:
        if (iEvent.mTime > 0)
            Count(iEvent.mType == kText ? Kind::kTextTime : Kind::kNameTime);
        return OnText(iEvent.mPayload, iEvent.mLength, ioBytes);
    case kMarker:
        return mIsFirstTrack ? OnText(iEvent.mPayload, iEvent.mLength, ioBytes) : void();
    case kMeter:
        return mIsFirstTrack ? OnMeter(iEvent.mData.mBytes[2], iEvent.mData.mBytes[3]) : void();
    case kChannelPrefix:
    case kEndOfTrack:
    case kTempo:
    case kKey:
        return;
    case kSMPTEOffset:
        return OnSMPTEOffset(iEvent.mTime);
    case kSequenceNumber:
        return Count(Kind::kSequenceNumber);
    case kCopyright:
        return Count(Kind::kCopyright);
    case kLyric:
        return Count(Kind::kLyric);
    case kCuePoint:
        return Count(Kind::kCuePoint);
    case kProgramName:
        return Count(Kind::kProgramName);
    case kDeviceName:
        return Count(Kind::kDeviceName);
    case kPort:
        return Count(Kind::kPort);
    case kSequencerSpecific:
        return Count(Kind::kSequencerSpecific);
    default:
        return Count(iEvent.mType < 0x10 ? Kind::kOtherText : Kind::kOtherMeta);
    }
}

void MdidHost_EventCensus::OnController(int iStatus, int iNumber, int iValue)
{
    using namespace Mdi_Controller;
    if (iNumber >= kFirstChannelMode)
        return Count(Kind::kChannelMode);
    const int channel = iStatus & 0x0F;
    if (channel != 0 && channel != 15)
        return;
    Zone& zone = channel == 0 ? mLower : mUpper;
    if (iNumber == kParameterMSB)
        zone.mParameterMsb = iValue;
    else if (iNumber == kParameterLSB)
        zone.mParameterLsb = iValue;
    else if (iNumber == kOtherParameterLSB || iNumber == kOtherParameterMSB)
        zone.mParameterMsb = zone.mParameterLsb = -1;
    else if (iNumber == kDataEntryMSB && zone.mParameterMsb == 0 && zone.mParameterLsb == kMPEConfiguration)
        zone.mNumMembers = std::max(zone.mNumMembers, iValue);
}

std::vector<MdidHost_Loss> MdidHost_EventCensus::GetLosses() const
{
    std::vector<MdidHost_Loss> losses;
    for (std::size_t i = 0; i < mLosses.size(); ++i)
        if (mLosses[i] > 0)
            losses.push_back({kLossNames[i], mLosses[i]});
    return losses;
}

MdidHost_RepairingStream::MPEZones MdidHost_EventCensus::GetZones() const
{
    const int lower = std::min(mLower.mNumMembers, Mdi_Controller::kMaxLowerMembers);
    const int upper = std::min(mUpper.mNumMembers, std::max(Mdi_Controller::kMaxUpperMembers - lower, 0));
    return {lower, upper};
}
