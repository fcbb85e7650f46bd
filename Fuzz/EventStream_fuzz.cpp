// A saved event stream: whatever the bytes, reading ends; what could be read is written and read back the same.

#include "FuzzSupport.h"

#include "CFnd/Sys_DelayedDeletion.h"
#include "Mdid/Mdid_EventStream.h"

namespace
{

bool Read(Cmn_InStream& ioStream, Mdid_EventStream& oEvents)
{
    Sys_TypedInStream typed(ioStream);
    return ReadsWell([&] { oEvents.StreamIn(typed); });
}

std::vector<unsigned char> Write(const Mdid_EventStream& iEvents)
{
    return BytesOf([&](Sys_TypedOutStream& ioTyped) { iEvents.StreamOut(ioTyped); });
}

// Edits on events as they came, sorted or not.
void Edit(Mdid_EventStream& ioEvents)
{
    const Time_Typed middle = ioEvents.empty() ? Time_Typed() : ioEvents[ioEvents.size() / 2].GetTime();
    const Time_TypedLength length(1000, Time_EType::kTick);
    ioEvents.AddFromStream(&ioEvents, middle, middle + length, length);
    ioEvents.EraseFromStream(&ioEvents, middle, middle + length, Time_TypedLength());
    ioEvents.EraseRange(middle - length, middle);
    ioEvents.OffsetTimes(length);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iData, std::size_t iSize)
{
    const SilentAssertHandler silence;
    Sys_MemoryInStream whole({iData, iSize});
    TinyWindowInStream tiny({iData, iSize});
    {
        Mdid_EventStream events(Ndo_Object::kNotUndoable, false);
        Mdid_EventStream fromTiny(Ndo_Object::kNotUndoable, false);
        const bool isRead = Read(whole, events);
        Require(Read(tiny, fromTiny) == isRead && fromTiny.size() == events.size(), "the events depend on the windows");
        if (isRead)
        {
            const std::vector<unsigned char> bytes = Write(events);
            Sys_MemoryInStream stream(bytes);
            Mdid_EventStream again(Ndo_Object::kNotUndoable, false);
            Require(Read(stream, again) && Write(again) == bytes, "what is written is not read back");
        }
        Edit(events);
    }
    Sys_DelayedDeletion::Purge(std::chrono::milliseconds(0));
    return 0;
}
