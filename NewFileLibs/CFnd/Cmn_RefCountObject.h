#pragma once

#include "CFnd/CFnd_Export.h"
#include "CFnd/Sys_AtomicInt32.h"

#include <boost/smart_ptr/intrusive_ptr.hpp>

// Objects that count their owners and delete themselves with the last one. Made with `new`, held by
// Cmn_AliasedRefCountPtr; the count starts at zero and the first pointer makes it one.

// For objects that stay on one thread.
class CFND_EXPORT Cmn_RefCountObject
{
public:
    Cmn_RefCountObject(const Cmn_RefCountObject&) = delete;
    Cmn_RefCountObject& operator=(const Cmn_RefCountObject&) = delete;

    int GetReferenceCount() const { return mCount; }
    void AddReference() const { ++mCount; }
    void RemoveReference() const
    {
        if (--mCount == 0)
            delete this;
    }

protected:
    Cmn_RefCountObject() = default;
    virtual ~Cmn_RefCountObject();

private:
    mutable int mCount = 0;
};

// For objects whose owners live on several threads.
class CFND_EXPORT Sys_ThreadSafeRefCountObject
{
public:
    Sys_ThreadSafeRefCountObject(const Sys_ThreadSafeRefCountObject&) = delete;
    Sys_ThreadSafeRefCountObject& operator=(const Sys_ThreadSafeRefCountObject&) = delete;

    void AddReference() const { mCount.Increment(); }
    void RemoveReference() const
    {
        if (mCount.Decrement() == 0)
            delete this;
    }

protected:
    Sys_ThreadSafeRefCountObject() = default;
    virtual ~Sys_ThreadSafeRefCountObject();

private:
    mutable Sys_AtomicInt32 mCount;
};

template <class T>
concept Cmn_RefCounted = requires(const T& object)
{
    object.AddReference();
    object.RemoveReference();
};

template <Cmn_RefCounted T>
void intrusive_ptr_add_ref(const T* iObjectP)
{
    iObjectP->AddReference();
}

template <Cmn_RefCounted T>
void intrusive_ptr_release(const T* iObjectP)
{
    iObjectP->RemoveReference();
}

// An owner of a counted object.
template <class T>
using Cmn_AliasedRefCountPtr = boost::intrusive_ptr<T>;
