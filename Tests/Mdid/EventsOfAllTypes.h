#pragma once

#include "CFnd/Sys_TypedStream.h"
#include "MFnd/Mem2_MasterAllocator.h"
#include "Mdid/Mdid_EventTypes.h"
#include "Mdid/Mdid_SysexEvent.h"
#include "Support/Hex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

// Events that have no constructor of their own: type 19, and tags that no event has.
struct BareEvent : Mdid_Event
{
    explicit BareEvent(int iType, int iValue = 0) : Mdid_Event(Type(iType), 0) { mU.mValue32.mValue = iValue; }
};

// A pool of ten blocks for long sysex data of up to 256 bytes, and of ten for the objects over them.
struct SysexPool : Mem2_MasterAllocator
{
    static constexpr SizeClass kClasses[] = {{48, 10}, {256, 10}};
    SysexPool() : Mem2_MasterAllocator(kClasses) {}
    std::uint32_t CountInUse() const { return GetUsage()[0].mInUse + GetUsage()[1].mInUse; }
};

using ByteVector = std::vector<unsigned char>;

// The data bytes 01, 02, ...
inline ByteVector CountingBytes(int iLength)
{
    ByteVector bytes(static_cast<std::size_t>(iLength));
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
    return bytes;
}

inline Mdid_SysexEvent MakeSysex(const ByteVector& iBody)
{
    return {static_cast<int>(iBody.size()), iBody.data()};
}

inline Mdid_SysexPacketEvent MakePacket(const ByteVector& iBytes, Mem2_MasterAllocator& iPool)
{
    return {static_cast<int>(iBytes.size()), iBytes.data(), &iPool};
}

// The bytes of a sysex event as they travel.
inline std::string BytesOf(const Mdid_Event& iEvent)
{
    const auto& packet = iEvent.AsSysexPacket();
    ByteVector bytes(static_cast<std::size_t>(packet.GetLength()));
    packet.GetData(bytes.data(), 0, packet.GetLength() - 1);
    return ToHex(bytes);
}

// A record from its tag and version, and its body of less than 256 bytes.
inline ByteVector Record(const char* iHead, const ByteVector& iBody)
{
    ByteVector record = FromHex(iHead);
    record.insert(record.end(), {static_cast<unsigned char>(iBody.size()), 0, 0, 0, 0, 0, 0, 0});
    record.insert(record.end(), iBody.begin(), iBody.end());
    return record;
}

template <class T>
ByteVector Saved(const T& iObject)
{
    Sys_MemoryOutStream stream;
    Sys_TypedOutStream typed(stream);
    iObject.StreamOut(typed);
    return {stream.GetBytes().begin(), stream.GetBytes().end()};
}

// The record must be read to its end.
template <class T>
void Load(T& oObject, const ByteVector& iRecord)
{
    Sys_MemoryInStream stream(iRecord);
    Sys_TypedInStream typed(stream);
    oObject.StreamIn(typed);
    EXPECT_TRUE(stream.IsAtEnd());
}
