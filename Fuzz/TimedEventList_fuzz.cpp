// A saved list of timed events: whatever the bytes, reading ends; what could be read is written and read back the same.

#include "FuzzSupport.h"

#include "CFnd/Sys_DelayedDeletion.h"
#include "CFnd/Sys_StdStreamHeader.h"
#include "Mdid/Mdie_TimedEvent.h"

#include <vector>

namespace
{

bool Read(Cmn_InStream& ioStream, Mdie_TimedEventList& oList)
{
    Sys_TypedInStream typed(ioStream);
    return ReadsWell([&] { oList.StreamIn(typed); });
}

std::vector<unsigned char> Write(const Mdie_TimedEventList& iList)
{
    return BytesOf([&](Sys_TypedOutStream& ioTyped) { iList.StreamOut(ioTyped); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iData, std::size_t iSize)
{
    const SilentAssertHandler silence;
    Sys_MemoryInStream whole({iData, iSize});
    TinyWindowInStream tiny({iData, iSize});
    Mdie_TimedEventList list;
    Mdie_TimedEventList fromTiny;
    const bool isRead = Read(whole, list);
    Require(Read(tiny, fromTiny) == isRead && fromTiny.size() == list.size(), "the list depends on the windows");

    if (isRead)
    {
        const std::vector<unsigned char> bytes = Write(list);
        Sys_MemoryInStream stream(bytes);
        Mdie_TimedEventList again;
        Require(Read(stream, again) && Write(again) == bytes, "what is written is not read back");
    }
    Sys_DelayedDeletion::Purge(std::chrono::milliseconds(0));
    return 0;
}
