#pragma once

#include "CFnd/Cmn_InStream.h"
#include "CFnd/Cmn_OutStream.h"

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>

// A bool is no integer here: not every byte is one.
template <class T>
concept Sys_StreamInteger = std::integral<T> && !std::same_as<T, bool>;

// An integer as its bytes in the given order, and back.
template <std::endian kOrder, Sys_StreamInteger T>
std::array<unsigned char, sizeof(T)> Sys_ToBytes(T iValue)
{
    auto bytes = std::bit_cast<std::array<unsigned char, sizeof(T)>>(iValue);
    if constexpr (kOrder != std::endian::native)
        std::ranges::reverse(bytes);
    return bytes;
}

template <std::endian kOrder, Sys_StreamInteger T>
T Sys_FromBytes(std::array<unsigned char, sizeof(T)> iBytes)
{
    if constexpr (kOrder != std::endian::native)
        std::ranges::reverse(iBytes);
    return std::bit_cast<T>(iBytes);
}

// The fields of records: little-endian, of fixed width, a bool in one byte.
// Binds a stream that must outlive it.
class Sys_TypedInStream
{
public:
    explicit Sys_TypedInStream(Cmn_InStream& iStream) : mStream(iStream) {}

    // T: an integer of 8, 16, 32 or 64 bits.
    template <Sys_StreamInteger T>
    void Read(T& oValue)
    {
        std::array<unsigned char, sizeof(T)> bytes;
        mStream.ReadBlock(bytes.data(), bytes.size());
        oValue = Sys_FromBytes<std::endian::little, T>(bytes);
    }

    // Anything but 0 and 1 is corrupt: Sys_StreamException.
    CFND_EXPORT void Read(bool& oValue);

    template <std::integral T>
    T Read()
    {
        T value;
        Read(value);
        return value;
    }

    void ReadBlock(void* oBytes, std::size_t iCount) { mStream.ReadBlock(oBytes, iCount); }

    // Bytes from here to the end of the innermost record, or of the stream: the bound of every count in the data.
    std::int64_t GetBytesLeft() const { return mStream.GetBytesLeft(); }
    std::int64_t GetPosition() const { return mStream.GetPosition(); }
    Cmn_InStream& GetStream() const { return mStream; }

private:
    Cmn_InStream& mStream;
};

class Sys_TypedOutStream
{
public:
    explicit Sys_TypedOutStream(Cmn_OutStream& iStream) : mStream(iStream) {}

    // As for Read. Nothing converts on the way: an enumerator or a floating-point number does not compile.
    template <Sys_StreamInteger T>
    void Write(T iValue)
    {
        const auto bytes = Sys_ToBytes<std::endian::little>(iValue);
        mStream.WriteBlock(bytes.data(), bytes.size());
    }

    void Write(std::same_as<bool> auto iValue) { Write(static_cast<unsigned char>(iValue ? 1 : 0)); }

    void WriteBlock(const void* iBytes, std::size_t iCount) { mStream.WriteBlock(iBytes, iCount); }

    std::int64_t GetPosition() const { return mStream.GetPosition(); }
    Cmn_OutStream& GetStream() const { return mStream; }

private:
    Cmn_OutStream& mStream;
};

// The fields of Standard MIDI Files: big-endian.
class Sys_BigEndianInStream
{
public:
    explicit Sys_BigEndianInStream(Cmn_InStream& iStream) : mStream(iStream) {}

    template <Sys_StreamInteger T>
    T Read()
    {
        std::array<unsigned char, sizeof(T)> bytes;
        mStream.ReadBlock(bytes.data(), bytes.size());
        return Sys_FromBytes<std::endian::big, T>(bytes);
    }

    void ReadBlock(void* oBytes, std::size_t iCount) { mStream.ReadBlock(oBytes, iCount); }
    void Skip(std::int64_t iCount) { mStream.Skip(iCount); }
    std::int64_t GetPosition() const { return mStream.GetPosition(); }
    void SetPosition(std::int64_t iPosition) { mStream.SetPosition(iPosition); }
    bool IsAtEnd() const { return mStream.IsAtEnd(); }
    Cmn_InStream& GetStream() const { return mStream; }

private:
    Cmn_InStream& mStream;
};
