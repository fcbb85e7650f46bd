#include "Mdid/Mdi_Parse.h"

#include "Mdid/Mdi_ChannelEvent_Private.h"
#include "Mdid/Mdi_Status.h"
#include "Mdid/Mdid_Options.h"
#include "QuorPlatformSupport/SPSStartupOption.h"

#include <algorithm>
#include <typeinfo>
#include <utility>

namespace
{

bool IsData(unsigned char iByte)
{
    return iByte < Mdi_Status::kFirst;
}

} // namespace

Mdie_EventReceiver::~Mdie_EventReceiver() = default;

Mdi_Parse::Mdi_Parse() : mPreservesChannels(Mdid_AllowMPE()) {}

Mdi_Parse::~Mdi_Parse() = default;

// What the operations of Mdi_ParseToEventReceiver do, in one go.
inline bool Mdi_Parse::SendDirectly(Mdi_ChannelMessage iMessage)
{
    const signed char channel = InputChannel(static_cast<signed char>(iMessage.mStatus & 0x0F));
    mDirectReceiverP->ReceiveEvent(Mdi_ChannelEvent(iMessage, channel));
    return true;
}

// Calls the operation for a whole channel message; a second data byte that it does not have takes no part.
inline bool Mdi_Parse::CallChannelOperation(Mdi_ChannelMessage iMessage)
{
    if (mDirectReceiverP != nullptr)
    {
        if (mReportsZeroVelocityAsNoteOff)
            iMessage.ZeroVelocityToNoteOff();
        return iMessage.IsChannelMode() || SendDirectly(iMessage);
    }
    const unsigned char* const bytesP = PutMessage(iMessage);
    switch (Mdi_Status::KindOf(iMessage.mStatus))
    {
    case Mdi_Status::kNoteOff:
        return ParseNoteOff(bytesP);
    case Mdi_Status::kNoteOn:
        return CallNoteOn(iMessage);
    case Mdi_Status::kPolyPressure:
        return ParsePolyPressure(bytesP);
    case Mdi_Status::kController:
        return iMessage.mData1 >= Mdi_ChannelMessage::kFirstChannelMode ? ParseChannelMode(bytesP)
                                                                        : ParseController(bytesP);
    case Mdi_Status::kProgram:
        return ParseProgramChange(bytesP);
    case Mdi_Status::kMonoPressure:
        return ParseChannelPressure(bytesP);
    default:
        return ParsePitchBend(bytesP);
    }
}

inline bool Mdi_Parse::CallNoteOn(Mdi_ChannelMessage iMessage)
{
    const bool isNoteOff = iMessage.mData2 == 0 && mReportsZeroVelocityAsNoteOff;
    if (isNoteOff)
        iMessage.ZeroVelocityToNoteOff();
    if (mDirectReceiverP != nullptr)
        return SendDirectly(iMessage);
    return isNoteOff ? ParseNoteOff(PutMessage(iMessage)) : ParseNoteOn(PutMessage(iMessage));
}

inline const unsigned char* Mdi_Parse::PutMessage(Mdi_ChannelMessage iMessage)
{
    mBuffer[0] = iMessage.mStatus;
    mBuffer[1] = iMessage.mData1;
    mBuffer[2] = iMessage.mData2;
    return mBuffer.data();
}

// The short way for a channel message that lies whole in the bytes: returns the bytes used, 0 when it does not.
inline int Mdi_Parse::ParseWholeChannelMessage(const unsigned char* iBytes, std::ptrdiff_t iLength, bool& oResult)
{
    const bool isRunning = IsData(*iBytes);
    const unsigned char status = isRunning ? mRunningStatus : *iBytes;
    const int numData = NumDataBytes(status);
    const unsigned char* const dataP = iBytes + (isRunning ? 0 : 1);
    if (mCount != 0 || status < Mdi_Status::kFirst || status >= Mdi_Status::kFirstSystem ||
        iBytes + iLength - dataP < numData || !IsData(dataP[0] | dataP[numData - 1]))
        return 0;

    if (!isRunning)
        mRunningStatus = status;
    oResult = CallChannelOperation({status, dataP[0], dataP[numData - 1]});
    return numData + (isRunning ? 0 : 1);
}

// Notes that follow each other under running status, of which most streams consist: nothing is asked again but what an
// operation could have changed. Returns where they end.
inline const unsigned char* Mdi_Parse::ParseNotes(const unsigned char* iBytes, const unsigned char* iEndP,
                                                  bool& oResult)
{
    const unsigned char status = mRunningStatus;
    if (Mdi_Status::KindOf(status) != Mdi_Status::kNoteOn)
        return iBytes;
    while (iEndP - iBytes >= 2 && IsData(iBytes[0] | iBytes[1]) && mRunningStatus == status && mCount == 0)
    {
        oResult = CallNoteOn({status, iBytes[0], iBytes[1]});
        iBytes += 2;
    }
    return iBytes;
}

bool Mdi_Parse::MidiStream(const unsigned char* iBytes, short iLength)
{
    bool result = false;
    const unsigned char* const endP = iBytes + std::max<short>(iLength, 0);
    while (iBytes < endP)
    {
        const int used = ParseWholeChannelMessage(iBytes, endP - iBytes, result);
        if (used == 0)
            ParseByte(iBytes, result);
        iBytes = ParseNotes(iBytes + std::max(used, 1), endP, result);
    }
    return result;
}

void Mdi_Parse::Reset()
{
    mRunningStatus = 0;
    mCount = 0;
}

void Mdi_Parse::ParseByte(const unsigned char* iByteP, bool& oResult)
{
    const unsigned char byte = *iByteP;
    if (byte >= Mdi_Status::kFirstRealTime)
        oResult = ParseRealTime(iByteP);
    else if (IsData(byte))
        AddDataByte(byte, oResult);
    else if (byte == Mdi_Status::kSysexEnd && mCount > 0 && mBuffer[0] == Mdi_Status::kSysexStart)
    {
        mBuffer[static_cast<std::size_t>(mCount)] = byte;
        const auto length = static_cast<short>(std::exchange(mCount, short{0}) + 1);
        oResult = ParseSysEx(mBuffer.data(), length);
    }
    else
    {
        // System common messages end running status.
        mRunningStatus = byte < Mdi_Status::kFirstSystem ? byte : 0;
        mBuffer[0] = byte;
        mCount = 1;
        Dispatch(oResult);
    }
}

void Mdi_Parse::AddDataByte(unsigned char iByte, bool& oResult)
{
    if (mCount == 0)
    {
        if (mRunningStatus == 0)
            return;
        mBuffer[0] = mRunningStatus;
        mCount = 1;
    }
    mBuffer[static_cast<std::size_t>(mCount++)] = iByte;
    Dispatch(oResult);
}

// Calls the operation when the message is complete. The count is cleared before the call, so that an operation that
// throws, or feeds the parser, finds it ready for the next message.
void Mdi_Parse::Dispatch(bool& oResult)
{
    const unsigned char status = mBuffer[0];
    if (status >= Mdi_Status::kFirstSystem)
        DispatchSystemCommon(oResult);
    else if (mCount == 1 + NumDataBytes(status))
    {
        mCount = 0;
        oResult = CallChannelOperation({status, mBuffer[1], mBuffer[2]});
    }
}

void Mdi_Parse::DispatchSystemCommon(bool& oResult)
{
    const unsigned char* const bytesP = mBuffer.data();
    switch (bytesP[0])
    {
    case Mdi_Status::kSysexStart:
        if (mCount > kMaxSysexLength)
            mCount = 0;
        return;
    case Mdi_Status::kTimecode:
    case Mdi_Status::kSongSelect:
        if (mCount < 2)
            return;
        mCount = 0;
        oResult = bytesP[0] == Mdi_Status::kTimecode ? ParseTimecode(bytesP) : ParseSongSelect(bytesP);
        return;
    case Mdi_Status::kSongPointer:
        if (mCount < 3)
            return;
        mCount = 0;
        oResult = ParseSongPointer(bytesP);
        return;
    case Mdi_Status::kTuneRequest:
        mCount = 0;
        oResult = ParseTuneRequest(bytesP);
        return;
    default: // F4, F5, and an F7 that ends nothing
        mCount = 0;
        return;
    }
}

bool Mdi_Parse::ParseRealTime(const unsigned char*)
{
    return false;
}
bool Mdi_Parse::ParseSysEx(const unsigned char*, short)
{
    return false;
}
bool Mdi_Parse::ParseNoteOff(const unsigned char*)
{
    return false;
}
bool Mdi_Parse::ParseNoteOn(const unsigned char*)
{
    return false;
}
bool Mdi_Parse::ParsePolyPressure(const unsigned char*)
{
    return false;
}
bool Mdi_Parse::ParseChannelMode(const unsigned char*)
{
    return false;
}
bool Mdi_Parse::ParseController(const unsigned char*)
{
    return false;
}
bool Mdi_Parse::ParseProgramChange(const unsigned char*)
{
    return false;
}
bool Mdi_Parse::ParseChannelPressure(const unsigned char*)
{
    return false;
}
bool Mdi_Parse::ParsePitchBend(const unsigned char*)
{
    return false;
}
bool Mdi_Parse::ParseTimecode(const unsigned char*)
{
    return false;
}
bool Mdi_Parse::ParseSongPointer(const unsigned char*)
{
    return false;
}
bool Mdi_Parse::ParseSongSelect(const unsigned char*)
{
    return false;
}
bool Mdi_Parse::ParseTuneRequest(const unsigned char*)
{
    return false;
}

Mdi_ParseToEventReceiver::~Mdi_ParseToEventReceiver() = default;

void Mdi_ParseToEventReceiver::SetEventReceiver(Mdie_EventReceiver* iReceiverP)
{
    mReceiverP = iReceiverP;
    // No subclass has a say in what becomes of the messages: half the time goes into asking the operations.
    mDirectReceiverP = typeid(*this) == typeid(Mdi_ParseToEventReceiver) ? iReceiverP : nullptr;
}

template <unsigned char kStatus>
bool Mdi_ParseToEventReceiver::Send(const unsigned char* iBytes)
{
    if (mReceiverP != nullptr)
    {
        const signed char channel = InputChannel(static_cast<signed char>(iBytes[0] & 0x0F));
        mReceiverP->ReceiveEvent(Mdi_ChannelEvent::OfKind<kStatus>(iBytes, channel));
    }
    return true;
}

bool Mdi_ParseToEventReceiver::ParseRealTime(const unsigned char*)
{
    return true;
}
bool Mdi_ParseToEventReceiver::ParseSysEx(const unsigned char*, short)
{
    return true;
}
bool Mdi_ParseToEventReceiver::ParseNoteOff(const unsigned char* iBytes)
{
    return Send<Mdi_Status::kNoteOff>(iBytes);
}
bool Mdi_ParseToEventReceiver::ParseNoteOn(const unsigned char* iBytes)
{
    return Send<Mdi_Status::kNoteOn>(iBytes);
}
bool Mdi_ParseToEventReceiver::ParsePolyPressure(const unsigned char* iBytes)
{
    return Send<Mdi_Status::kPolyPressure>(iBytes);
}
bool Mdi_ParseToEventReceiver::ParseChannelMode(const unsigned char*)
{
    return true;
}
bool Mdi_ParseToEventReceiver::ParseController(const unsigned char* iBytes)
{
    return Send<Mdi_Status::kController>(iBytes);
}
bool Mdi_ParseToEventReceiver::ParseProgramChange(const unsigned char* iBytes)
{
    return Send<Mdi_Status::kProgram>(iBytes);
}
bool Mdi_ParseToEventReceiver::ParseChannelPressure(const unsigned char* iBytes)
{
    return Send<Mdi_Status::kMonoPressure>(iBytes);
}
bool Mdi_ParseToEventReceiver::ParsePitchBend(const unsigned char* iBytes)
{
    return Send<Mdi_Status::kPitchBend>(iBytes);
}
bool Mdi_ParseToEventReceiver::ParseTimecode(const unsigned char*)
{
    return true;
}
bool Mdi_ParseToEventReceiver::ParseSongPointer(const unsigned char*)
{
    return true;
}
bool Mdi_ParseToEventReceiver::ParseSongSelect(const unsigned char*)
{
    return true;
}
bool Mdi_ParseToEventReceiver::ParseTuneRequest(const unsigned char*)
{
    return true;
}
