#pragma once

#include "Mdid/Mdid_ExtendedEvent.h"

#include <utility>

// A walk over extended events. Valid until what it walks over changes.
class MDID_EXPORT Mdid_ExtendedEventIterator
{
public:
    virtual ~Mdid_ExtendedEventIterator();

    virtual bool IsMore() const = 0;

    // Both only while IsMore().
    virtual Mdid_ExtendedEventIterator& operator++() = 0;
    virtual Mdid_ExtendedEvent operator*() const = 0;

protected:
    Mdid_ExtendedEventIterator() = default;
    Mdid_ExtendedEventIterator(const Mdid_ExtendedEventIterator&) = default;
    Mdid_ExtendedEventIterator& operator=(const Mdid_ExtendedEventIterator&) = default;
};

// Any iterator with IsMore, ++ and * behind the interface above; ends where it equals an EndSentinel.
template <class Iterator>
class Mdid_ExtendedEventIteratorInterface : public Mdid_ExtendedEventIterator
{
public:
    struct EndSentinel
    {
    };

    Mdid_ExtendedEventIteratorInterface() = default;
    explicit Mdid_ExtendedEventIteratorInterface(Iterator iIterator) : mIterator(std::move(iIterator)) {}

    bool IsMore() const override { return mIterator.IsMore(); }
    Mdid_ExtendedEventIteratorInterface& operator++() override
    {
        ++mIterator;
        return *this;
    }
    Mdid_ExtendedEvent operator*() const override { return *mIterator; }

    bool operator==(EndSentinel) const { return !IsMore(); }

private:
    Iterator mIterator;
};

// What an iterator has yet to yield, for range-based loops. The iterator has IsMore and an EndSentinel.
template <class Iterator>
class Mdid_IteratorRange
{
public:
    explicit Mdid_IteratorRange(Iterator iBegin) : mBegin(std::move(iBegin)) {}

    Iterator begin() const { return mBegin; }
    typename Iterator::EndSentinel end() const { return {}; }
    bool empty() const { return !mBegin.IsMore(); }

private:
    Iterator mBegin;
};
