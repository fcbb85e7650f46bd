#pragma once

#include "CFnd/Cmn_OutStream.h"

#include <cstddef>
#include <cstdint>
#include <span>

// The bytes of one track of a Standard MIDI File, collected in memory, with running status.
//
// Times are in ticks of the file from the start of the track and ascend. A gap that is longer than a delta time can say
// is bridged by empty events for a sequencer, which mean nothing to any.
// Throws std::runtime_error when the track gets longer than its length field can say.
class MdidHost_ExportTrackWriter
{
public:
    using Bytes = std::span<const unsigned char>;

    // What a variable-length quantity can say: the longest delta time, and the longest data of one event.
    static constexpr std::int64_t kMaxQuantity = 0x0FFFFFFF;

    // The header of the file, before its tracks. iDivision: as MdidHost_Division::AsHeaderField has it.
    static void WriteFileHeader(int iFormat, std::size_t iNumTracks, std::uint16_t iDivision, Cmn_OutStream& ioStream);

    // A channel message.
    void AddMessage(std::int64_t iTick, unsigned char iStatus, Bytes iData);

    // iBody: without F0 and F7, shorter than kMaxQuantity.
    void AddSysex(std::int64_t iTick, Bytes iBody);

    // A message of the system, from F1 on, as it is; shorter than kMaxQuantity.
    void AddEscape(std::int64_t iTick, Bytes iMessage);

    // iType: one of Mdi_Meta. iData: at most kMaxQuantity bytes.
    void AddMeta(std::int64_t iTick, unsigned char iType, Bytes iData);

    // The last call: ends the track at iEnd, or with its last event if that is later, and writes the whole chunk.
    void Finish(std::int64_t iEnd, Cmn_OutStream& ioStream);

    std::int64_t GetSize() const { return mBytes.GetPosition(); } // of the events so far, in bytes

private:
    void AddDelta(std::int64_t iTick);
    void AddQuantity(std::int64_t iValue);
    void AddByte(unsigned char iByte) { mBytes.WriteBlock(&iByte, 1); }
    void CheckRoom(std::size_t iCount) const;

    Sys_MemoryOutStream mBytes;
    std::int64_t mTick = 0;
    unsigned char mRunningStatus = 0; // 0: none
};
