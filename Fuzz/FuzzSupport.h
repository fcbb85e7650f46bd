#pragma once

#include "CFnd/Cmn_Assert.h"
#include "CFnd/Cmn_InStream.h"
#include "CFnd/Cmn_OutStream.h"
#include "CFnd/Sys_TypedStream.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <new>
#include <stdexcept>
#include <string_view>
#include <vector>

// A broken property is a finding like a crash.
inline void Require(bool iCondition, const char* iWhat)
{
    if (iCondition)
        return;
    std::cerr << "broken: " << iWhat << '\n';
    std::abort();
}

// Takes assertions in silence: bad input may raise them, and execution goes on.
class SilentAssertHandler : public Cmn_Assert::Handler
{
public:
    SilentAssertHandler() { Cmn_Assert::SetHandler(this); }
    ~SilentAssertHandler() override { Cmn_Assert::SetHandler(nullptr); }
    void Report(const char*, int) override {}
};

// Shows its bytes through windows of one to seven bytes, so that every read crosses a border somewhere.
class TinyWindowInStream : public Cmn_InStream
{
public:
    explicit TinyWindowInStream(Bytes iBytes) : Cmn_InStream(std::ssize(iBytes)), mBytes(iBytes) {}

private:
    Bytes FillWindow(std::int64_t iPosition) override
    {
        const Bytes rest = mBytes.subspan(static_cast<std::size_t>(iPosition));
        return rest.first(std::min<std::size_t>(rest.size(), 1 + static_cast<std::size_t>(iPosition) % 7));
    }

    Bytes mBytes;
};

// A running hash of everything that is told to it: two runs that tell the same have the same hash.
class Digest
{
public:
    void Add(std::uint64_t iNumber) { mHash = (mHash ^ iNumber) * 0x100000001B3u + (mHash >> 29); }
    void Add(std::string_view iText)
    {
        Add(iText.size());
        for (const char c : iText)
            Add(static_cast<unsigned char>(c));
    }

    bool operator==(const Digest&) const = default;

private:
    std::uint64_t mHash = 0xCBF29CE484222325u;
};

// Runs a reader: false when it ends in one of the documented errors. Everything else is a finding.
template <class Reader>
bool ReadsWell(Reader iReader)
{
    try
    {
        iReader();
        return true;
    }
    catch (const std::runtime_error&) // a Sys_StreamException among them
    {
    }
    catch (const std::length_error&)
    {
    }
    catch (const std::bad_alloc&)
    {
    }
    return false;
}

// What iWriter(typed stream) writes.
template <class Writer>
std::vector<unsigned char> BytesOf(Writer iWriter)
{
    Sys_MemoryOutStream stream;
    Sys_TypedOutStream typed(stream);
    iWriter(typed);
    const auto bytes = stream.GetBytes();
    return {bytes.begin(), bytes.end()};
}
