#pragma once

#include "Mdid/Mdie_TimedEvent.h"

// A walk over timed events. Valid until what it walks over changes.
class MDID_EXPORT Mdie_TimedEventIterator
{
public:
    virtual ~Mdie_TimedEventIterator();

    virtual bool IsMore() const = 0;

    // Both only while IsMore().
    virtual Mdie_TimedEventIterator& operator++() = 0;
    virtual Mdie_TimedEvent operator*() const = 0;

protected:
    Mdie_TimedEventIterator() = default;
    Mdie_TimedEventIterator(const Mdie_TimedEventIterator&) = default;
    Mdie_TimedEventIterator& operator=(const Mdie_TimedEventIterator&) = default;
};
