#pragma once

#include "Mdid/Mdid_Event.h"

#include <vector>

// Gives iUse each message of an event, in bytes as they go to an instrument, in ioBytes: a program with its bank has
// three.
template <class Use>
void MdidHost_ForEachMessage(const Mdid_Event& iEvent, std::vector<unsigned char>& ioBytes, Use iUse)
{
    for (int i = 0; i < iEvent.GetNumMessages(); ++i)
    {
        ioBytes.resize(static_cast<std::size_t>(iEvent.GetMessageLength(i)));
        if (ioBytes.empty())
            continue;
        iEvent.GetMessageData(ioBytes.data(), i);
        iUse(ioBytes);
    }
}
