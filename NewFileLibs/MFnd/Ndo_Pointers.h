#pragma once

#include "MFnd/Ndo_Manager.h"

#include <memory>
#include <utility>

// An object and its id, not owned. The pointer is what counts; the id is what a saved state keeps of it.
// An owner that holds its parts this way deletes them with NdoDelete() of this pointer: when undo takes the making of
// both back, a part may be gone before its owner, and then the pointer must not be followed.
template <class T>
class Ndo_TrackedPtr
{
public:
    Ndo_TrackedPtr() = default;
    Ndo_TrackedPtr(T* iObjectP) : mObjectP(iObjectP), mID(iObjectP ? iObjectP->NdoGetID() : kNdo_InvalidID) {}

    T* Get() const { return mObjectP; }
    Ndo_ObjectID GetID() const { return mID; } // kNdo_InvalidID for null and for objects that are not undoable
    T* operator->() const { return mObjectP; }
    T& operator*() const { return *mObjectP; }
    explicit operator bool() const { return mObjectP != nullptr; }

    bool operator==(const Ndo_TrackedPtr& iOther) const { return mObjectP == iOther.mObjectP; }

    // Deletes the object, if it still exists, and is null afterwards.
    void NdoDelete() noexcept
    {
        T* const objectP = std::exchange(mObjectP, nullptr);
        const Ndo_ObjectID id = std::exchange(mID, kNdo_InvalidID);
        if (Ndo_Object* const existingP = id == kNdo_InvalidID ? objectP : Ndo_gManager.LookupObject(id))
            existingP->NdoDelete();
    }

private:
    T* mObjectP = nullptr;
    Ndo_ObjectID mID = kNdo_InvalidID;
};

// What a saved state keeps of an object that it refers to: the id.
template <class T>
class Ndo_StateRef
{
public:
    Ndo_StateRef() = default;
    explicit Ndo_StateRef(const T* iObjectP) : mID(iObjectP ? iObjectP->NdoGetID() : kNdo_InvalidID) {}

    Ndo_ObjectID GetID() const { return mID; }

    // Looks it up. Null when there is none, or when it is not a T.
    T* Get() const { return dynamic_cast<T*>(Ndo_gManager.LookupObject(mID)); }

    bool operator==(const Ndo_StateRef&) const = default;

private:
    Ndo_ObjectID mID = kNdo_InvalidID;
};

struct Ndo_Deleter
{
    void operator()(Ndo_Object* iObjectP) const { iObjectP->NdoDelete(); }
};

// An owner outside of the undoable world that deletes through NdoDelete, so that undo can bring the object back. It
// must have let go of an object when the step that made it is undone or rolled back.
template <class T>
using Ndo_unique_ptr = std::unique_ptr<T, Ndo_Deleter>;

// The owner of an object that belongs to another undoable object, and is undoable itself: deletes through NdoDelete,
// and is re-attached by id when its owner is restored.
template <class T>
class Ndo_AutoPtr
{
public:
    Ndo_AutoPtr() = default;
    explicit Ndo_AutoPtr(T* iObjectP) : mObject(iObjectP) {}
    Ndo_AutoPtr(Ndo_AutoPtr&& ioOther) noexcept : mObject(std::exchange(ioOther.mObject, {})) {}
    Ndo_AutoPtr& operator=(Ndo_AutoPtr&& ioOther) noexcept
    {
        Reset(ioOther.Release());
        return *this;
    }
    ~Ndo_AutoPtr() { mObject.NdoDelete(); }

    T* Get() const { return mObject.Get(); }
    T* operator->() const { return Get(); }
    T& operator*() const { return *Get(); }
    explicit operator bool() const { return Get() != nullptr; }

    // Lets go without deleting.
    T* Release() noexcept { return std::exchange(mObject, {}).Get(); }
    void Reset(T* iObjectP = nullptr) noexcept
    {
        Ndo_TrackedPtr<T> old = std::exchange(mObject, Ndo_TrackedPtr<T>(iObjectP));
        // An object may lie where one that is gone has lain.
        if (!(old == mObject) || old.GetID() != mObject.GetID())
            old.NdoDelete();
    }

    // For NdoRestoreState: owns what the state refers to. What was owned before belongs to the history.
    void Restore(const Ndo_StateRef<T>& iRef) { mObject = iRef.Get(); }

private:
    Ndo_TrackedPtr<T> mObject;
};

// A reference from outside of the undoable world: null while its object is deleted, valid again after undo. An object
// that is not undoable must outlive it.
class MFND_EXPORT Ndo_ExternalRefBase
{
public:
    Ndo_ExternalRefBase() = default;
    explicit Ndo_ExternalRefBase(Ndo_Object* iObjectP);

    Ndo_Object* GetObjPtr() const;
    void SetObjPtr(Ndo_Object* iObjectP);

private:
    Ndo_Object* mObjectP = nullptr; // looked up by id where there is one
    Ndo_ObjectID mID = kNdo_InvalidID;
};
