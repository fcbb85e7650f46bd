#include "MdidHost/Export/MdidHost_ExportTrackWriter_Private.h"

#include "Mdid/Mdi_Meta.h"
#include "Mdid/Mdi_Status.h"

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>

namespace
{

// Delta time, status and length of any event.
constexpr std::size_t kMaxEventHeader = 16;

} // namespace

void MdidHost_ExportTrackWriter::WriteFileHeader(int iFormat, std::size_t iNumTracks, std::uint16_t iDivision,
                                                 Cmn_OutStream& ioStream)
{
    const auto high = [](std::size_t i) { return static_cast<unsigned char>(i >> 8); };
    const auto low = [](std::size_t i) { return static_cast<unsigned char>(i & 0xFF); };
    const std::array<unsigned char, 14> header = {'M',
                                                  'T',
                                                  'h',
                                                  'd',
                                                  0,
                                                  0,
                                                  0,
                                                  6,
                                                  0,
                                                  static_cast<unsigned char>(iFormat),
                                                  high(iNumTracks),
                                                  low(iNumTracks),
                                                  high(iDivision),
                                                  low(iDivision)};
    ioStream.WriteBlock(header.data(), header.size());
}

void MdidHost_ExportTrackWriter::AddMessage(std::int64_t iTick, unsigned char iStatus, Bytes iData)
{
    CheckRoom(iData.size());
    AddDelta(iTick);
    if (iStatus != mRunningStatus)
        AddByte(iStatus);
    mRunningStatus = iStatus;
    mBytes.WriteBlock(iData.data(), iData.size());
}

void MdidHost_ExportTrackWriter::AddSysex(std::int64_t iTick, Bytes iBody)
{
    CheckRoom(iBody.size());
    AddDelta(iTick);
    mRunningStatus = 0;
    AddByte(Mdi_Status::kSysexStart);
    AddQuantity(std::ssize(iBody) + 1);
    mBytes.WriteBlock(iBody.data(), iBody.size());
    AddByte(Mdi_Status::kSysexEnd);
}

void MdidHost_ExportTrackWriter::AddEscape(std::int64_t iTick, Bytes iMessage)
{
    CheckRoom(iMessage.size());
    AddDelta(iTick);
    mRunningStatus = 0;
    AddByte(Mdi_Status::kSysexEnd); // without a start of its own
    AddQuantity(std::ssize(iMessage));
    mBytes.WriteBlock(iMessage.data(), iMessage.size());
}

void MdidHost_ExportTrackWriter::AddMeta(std::int64_t iTick, unsigned char iType, Bytes iData)
{
    CheckRoom(iData.size());
    AddDelta(iTick);
    mRunningStatus = 0;
    AddByte(Mdi_Status::kMeta);
    AddByte(iType);
    AddQuantity(std::ssize(iData));
    mBytes.WriteBlock(iData.data(), iData.size());
}

void MdidHost_ExportTrackWriter::Finish(std::int64_t iEnd, Cmn_OutStream& ioStream)
{
    AddMeta(std::max(iEnd, mTick), Mdi_Meta::kEndOfTrack, {});
    const Bytes track = mBytes.GetBytes();
    const auto length = static_cast<std::uint32_t>(track.size());
    const std::array<unsigned char, 8> header = {'M',
                                                 'T',
                                                 'r',
                                                 'k',
                                                 static_cast<unsigned char>(length >> 24),
                                                 static_cast<unsigned char>(length >> 16),
                                                 static_cast<unsigned char>(length >> 8),
                                                 static_cast<unsigned char>(length)};
    ioStream.WriteBlock(header.data(), header.size());
    ioStream.WriteBlock(track.data(), track.size());
}

void MdidHost_ExportTrackWriter::AddDelta(std::int64_t iTick)
{
    while (iTick - mTick > kMaxQuantity)
        AddMeta(mTick + kMaxQuantity, Mdi_Meta::kSequencerSpecific, {});
    AddQuantity(iTick - mTick);
    mTick = iTick;
}

// Seven bits a byte, the highest first; all but the last byte have the highest bit set.
void MdidHost_ExportTrackWriter::AddQuantity(std::int64_t iValue)
{
    for (int shift = 21; shift > 0; shift -= 7)
        if (iValue >> shift != 0)
            AddByte(static_cast<unsigned char>(0x80 | (iValue >> shift)));
    AddByte(static_cast<unsigned char>(iValue & 0x7F));
}

void MdidHost_ExportTrackWriter::CheckRoom(std::size_t iCount) const
{
    constexpr std::size_t kMaxLength = std::numeric_limits<std::int32_t>::max();
    // Room for the end of the track is kept too.
    if (iCount + 2 * kMaxEventHeader > kMaxLength - static_cast<std::size_t>(mBytes.GetPosition()))
        throw std::runtime_error("a track is longer than a MIDI file can say");
}
