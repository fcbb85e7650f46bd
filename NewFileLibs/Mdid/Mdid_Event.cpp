#include "Mdid/Mdid_Event.h"

#include "CFnd/Cmn_Assert.h"
#include "CFnd/Sys_StdStreamHeader.h"
#include "Mdid/Mdi_Status.h"
#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_SysexEvent.h"
#include "Mdid/Mdie_SysexDataBase.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <limits>
#include <new>

namespace
{

constexpr int kControllerBankMSB = 0x00;
constexpr int kControllerBankLSB = 0x20;
constexpr int kControllerAllNotesOff = 0x7B;
constexpr int kDefaultReleaseVelocity = 64;

constexpr std::int16_t kRecordVersion = 1;

std::atomic<signed char> sDefaultVelocity{80};

// Events without a channel go out on the first, as their playback priority has it.
int ChannelBits(signed char iChannel)
{
    return iChannel == Mdid_Event::kNoChannel ? 0 : iChannel & 0x0F;
}

} // namespace

// A message other than system-exclusive.
struct Mdid_Event::ShortMessage
{
    std::array<unsigned char, 3> mBytes{};
    int mLength = 0;

    ShortMessage() = default;
    explicit ShortMessage(int iStatus) : mBytes{static_cast<unsigned char>(iStatus)}, mLength(1) {}
    ShortMessage(int iStatus, int iData1)
        : mBytes{static_cast<unsigned char>(iStatus), static_cast<unsigned char>(iData1)},
          mLength(2)
    {
    }
    // Data bytes have seven bits.
    ShortMessage(int iStatus, int iData1, int iData2)
        : mBytes{static_cast<unsigned char>(iStatus), static_cast<unsigned char>(iData1 & 0x7F),
                 static_cast<unsigned char>(iData2 & 0x7F)},
          mLength(3)
    {
    }
};

// For the comparisons, which report under the name of this file.
void Mdid_Event::ReportUnknownType()
{
    CMN_VERIFY(false);
}

void Mdid_Event::AddBlockReference() const
{
    mU.mLongSysex.mBlockP->AddReference();
}

void Mdid_Event::DropBlock() const
{
    mU.mLongSysex.mBlockP->Release();
}

void Mdid_Event::AssignWithBlocks(const Mdid_Event& iOther)
{
    const bool sameBlock = OwnsBlock() && iOther.OwnsBlock() && mU.mLongSysex.mBlockP == iOther.mU.mLongSysex.mBlockP;
    if (!sameBlock)
    {
        if (iOther.OwnsBlock())
            iOther.AddBlockReference();
        ReleaseBlock();
    }
    mU = iOther.mU;
}

int Mdid_Event::GetNumMessages() const
{
    switch (GetType())
    {
    case kNullEvent:
    case kNoteWithDuration:
    case kSysexPacket:
    case kValue32Event:
        return 0;
    case kNoteOn:
    case kNoteOff:
    case kPitchBend:
    case kController:
    case kMonoPressure:
    case kPolyPressure:
    case kSongPosition:
    case kStart:
    case kContinue:
    case kStop:
    case kTimingClock:
    case kSysex:
    case kAllNotesOff:
    case kQuarterFrame:
        return 1;
    case kProgram:
    {
        const auto& program = As<Mdid_ProgramEvent>();
        return program.IsMSBBankEnabled() + program.IsLSBBankEnabled() + program.IsProgramEnabled();
    }
    case kLongSysex:
        return IsCompleteLongSysex() ? 1 : 0;
    default:
        CMN_VERIFY(false);
        return 0;
    }
}

int Mdid_Event::GetMessageLength(int iIndex) const
{
    if (GetType() == kSysex || GetType() == kLongSysex)
        return AsSysexPacket().GetLength();
    return GetShortMessage(iIndex).mLength;
}

void Mdid_Event::GetMessageData(unsigned char* oBytes, int iIndex) const
{
    GetPartialMessageData(oBytes, iIndex, 0, std::numeric_limits<int>::max());
}

void Mdid_Event::GetPartialMessageData(unsigned char* oBytes, int iIndex, int iFrom, int iTo) const
{
    if (GetType() == kSysex || GetType() == kLongSysex)
    {
        AsSysexPacket().GetData(oBytes, iFrom, iTo);
        return;
    }
    const ShortMessage message = GetShortMessage(iIndex);
    const int last = std::min(iTo, message.mLength - 1);
    for (int i = std::max(iFrom, 0); i <= last; ++i)
        oBytes[std::ptrdiff_t{i} - iFrom] = message.mBytes[static_cast<std::size_t>(i)];
}

Mdid_Event::ShortMessage Mdid_Event::GetShortMessage(int iIndex) const
{
    const int channel = ChannelBits(GetChannel());
    const Voice& voice = mU.mVoice;
    switch (GetType())
    {
    case kNullEvent:
    case kNoteWithDuration:
    case kValue32Event:
        return {};
    case kNoteOn:
        return {Mdi_Status::kNoteOn | channel, voice.mData1, voice.mData2};
    case kNoteOff:
        // Kept: a release with the default velocity goes out as a note on of velocity 0, for running status.
        if (voice.mData2 == kDefaultReleaseVelocity)
            return {Mdi_Status::kNoteOn | channel, voice.mData1, 0};
        return {Mdi_Status::kNoteOff | channel, voice.mData1, voice.mData2};
    case kPitchBend:
        return {Mdi_Status::kPitchBend | channel, mU.mPitchBend.mBend, (mU.mPitchBend.mBend + 8192) >> 7};
    case kController:
        return {Mdi_Status::kController | channel, voice.mData1, voice.mData2};
    case kProgram:
        return GetProgramMessage(iIndex);
    case kMonoPressure:
        return {Mdi_Status::kMonoPressure | channel, voice.mData2 & 0x7F};
    case kPolyPressure:
        return {Mdi_Status::kPolyPressure | channel, voice.mData1, voice.mData2};
    case kSongPosition:
        return {Mdi_Status::kSongPointer, mU.mSongPosition.mPosition, mU.mSongPosition.mPosition >> 7};
    case kStart:
        return ShortMessage(Mdi_Status::kStart);
    case kContinue:
        return ShortMessage(Mdi_Status::kContinue);
    case kStop:
        return ShortMessage(Mdi_Status::kStop);
    case kTimingClock:
        return ShortMessage(Mdi_Status::kTimingClock);
    case kAllNotesOff:
        // Kept: always on the first channel.
        return {Mdi_Status::kController, kControllerAllNotesOff, 0};
    case kQuarterFrame:
        return {Mdi_Status::kTimecode, mU.mQuarterFrame.mByte};
    default:
        CMN_VERIFY(false);
        return {};
    }
}

// Bank MSB, bank LSB, program; what is disabled takes no index.
Mdid_Event::ShortMessage Mdid_Event::GetProgramMessage(int iIndex) const
{
    const auto& program = As<Mdid_ProgramEvent>();
    const int channel = ChannelBits(GetChannel());
    if (iIndex < 0)
        return {};
    if (program.IsMSBBankEnabled() && iIndex-- == 0)
        return {Mdi_Status::kController | channel, kControllerBankMSB, program.GetMSBBank()};
    if (program.IsLSBBankEnabled() && iIndex-- == 0)
        return {Mdi_Status::kController | channel, kControllerBankLSB, program.GetLSBBank()};
    if (program.IsProgramEnabled() && iIndex == 0)
        return {Mdi_Status::kProgram | channel, program.GetProgram()};
    return {};
}

bool Mdid_Event::IsMessageSysex(int) const
{
    return GetType() == kSysex || GetType() == kLongSysex;
}

bool Mdid_Event::IsCompleteLongSysex() const
{
    return GetType() == kLongSysex && AsSysexPacket().IsComplete();
}

int Mdid_Event::GetPlaybackPriority() const
{
    static constexpr std::array<int, kClip + 1> kWeights = []
    {
        std::array<int, kClip + 1> weights{};
        weights[kNoteOn] = weights[kNoteWithDuration] = weights[kPitchToMIDINoteWithDuration] = 100;
        weights[kNoteOff] = 90;
        weights[kPitchBend] = weights[kMonoPressure] = weights[kPolyPressure] = 50;
        weights[kSysex] = weights[kLongSysex] = weights[kSysexPacket] = 50;
        weights[kController] = 30;
        weights[kProgram] = 20;
        weights[kValue32Event] = 10;
        return weights;
    }();
    const auto type = static_cast<std::size_t>(GetType());
    return ChannelBits(GetChannel()) + 16 * (type < kWeights.size() ? kWeights[type] : 0);
}

// A record with an empty tag, version 1:
//   int8   0; anything else: no event
//   int32  N, bytes of the body
//   N bytes: the body, without F0 and F7
void Mdid_Event::StreamOut(Sys_TypedOutStream& ioStream) const
{
    Sys_StdStreamHeaderWriter header(ioStream, "", kRecordVersion);
    if (CMN_VERIFY(GetType() == kSysex || GetType() == kLongSysex))
    {
        const std::span<const unsigned char> body = AsSysex().GetBody();
        ioStream.Write(std::int8_t{0});
        ioStream.Write(static_cast<std::int32_t>(body.size()));
        ioStream.WriteBlock(body.data(), body.size());
    }
    header.PatchSize();
}

void Mdid_Event::StreamIn(Sys_TypedInStream& ioStream)
{
    Sys_StdStreamHeaderReader header(ioStream, "");
    header.CheckVersion(1, kRecordVersion);
    if (!header.IsMoreLeft() || ioStream.Read<std::int8_t>() != 0)
        *this = Mdid_Event();
    else
    {
        const auto length = ioStream.Read<std::int32_t>();
        // No room is taken for bytes that are not there.
        if (length < 0 || length > ioStream.GetBytesLeft())
            throw std::bad_alloc();
        AsSysex().ReadBody(ioStream, length);
    }
    header.SkipTheRest();
}

signed char Mdid_NoteOnEvent::GetDefaultVelocity()
{
    return sDefaultVelocity.load(std::memory_order_relaxed);
}

void Mdid_NoteOnEvent::SetDefaultVelocity(signed char iVelocity)
{
    sDefaultVelocity.store(iVelocity, std::memory_order_relaxed);
}

void Mdid_ProgramEvent::SetProgramEnable(bool iEnable)
{
    mU.mProgram.mProgram =
        static_cast<unsigned char>((mU.mProgram.mProgram & ~kProgramDisabled) | (iEnable ? 0 : kProgramDisabled));
}

void Mdid_ProgramEvent::SetBankBit(std::uint16_t iDisabledBit, bool iEnable)
{
    mU.mProgram.mBank = static_cast<std::uint16_t>((mU.mProgram.mBank & ~iDisabledBit) | (iEnable ? 0 : iDisabledBit));
}

std::uint32_t Mdid_ProgramEvent::GetOMSPatchNum() const
{
    const auto msb = static_cast<std::uint32_t>(IsMSBBankEnabled() ? GetMSBBank() : 0);
    const auto lsb = static_cast<std::uint32_t>(IsLSBBankEnabled() ? GetLSBBank() : 0);
    return 0xFF000000u | msb << 16 | lsb << 8 | mU.mProgram.mProgram;
}
