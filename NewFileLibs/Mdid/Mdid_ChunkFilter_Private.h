#pragma once

#include "Mdid/Mdid_EventStream.h"
#include "Mdid/Mdie_Filter.h"

#include <algorithm>
#include <vector>

// The events of a stream in [iStart, iEnd) that pass, as the filter lets them through, or as they are stored.
inline std::vector<Mdie_TimedEvent> Mdid_FilteredEvents(const Mdid_EventStream& iStream, Time_Typed iStart,
                                                        Time_Typed iEnd, const Mdie_Filter& iFilter, bool iAsStored)
{
    std::vector<Mdie_TimedEvent> events;
    const auto timeOf = [](const Mdie_TimedEvent& iEvent) { return iEvent.GetTime(); };
    for (auto event = std::ranges::lower_bound(iStream, iStart, {}, timeOf);
         event != iStream.end() && event->GetTime() < iEnd; ++event)
    {
        Mdie_TimedEvent passed = *event;
        if (iFilter.FilterEvent(&passed.GetEvent()))
            events.push_back(iAsStored ? *event : passed);
    }
    return events;
}
