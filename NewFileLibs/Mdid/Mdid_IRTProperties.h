#pragma once

#include "Mdid/Mdid_Export.h"

class Mdid_ExtendedEvent;

// The host's real-time properties: what it does to events on their way out of a query.
class MDID_EXPORT Mdid_IRTProperties
{
public:
    virtual ~Mdid_IRTProperties();

    // iFlag: 4 for every event, 16 besides for poly pressure, and before it. The meaning is the host's.
    virtual void Apply(Mdid_ExtendedEvent& ioEvent, int iFlag) const = 0;

protected:
    Mdid_IRTProperties() = default;
    Mdid_IRTProperties(const Mdid_IRTProperties&) = default;
    Mdid_IRTProperties& operator=(const Mdid_IRTProperties&) = default;
};
