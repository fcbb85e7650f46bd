#pragma once

#include "CFnd/CFnd_Export.h"

#include <chrono>
#include <cstddef>

// Objects that a playback thread may still be reading when their last owner lets go: they are set aside, and deleted
// when the host knows that nobody can be reading them any more.
class CFND_EXPORT Sys_DelayedDeletionObject
{
public:
    Sys_DelayedDeletionObject(const Sys_DelayedDeletionObject&) = delete;
    Sys_DelayedDeletionObject& operator=(const Sys_DelayedDeletionObject&) = delete;

    // Sets the object aside; its memory stays readable until a purge. Once for each object.
    // Any thread, playback included: lock-free, no memory is taken.
    void DelayedDelete();

protected:
    Sys_DelayedDeletionObject() = default;
    virtual ~Sys_DelayedDeletionObject();

private:
    friend class Sys_DelayedDeletion;

    Sys_DelayedDeletionObject* mNextP = nullptr;
    std::chrono::steady_clock::time_point mSince;
};

// The process's set-aside objects. What is left when the foundation is unloaded is deleted then.
class CFND_EXPORT Sys_DelayedDeletion
{
public:
    // Deletes what was set aside at least iAge ago, with age 0 also what destructors set aside meanwhile, and returns
    // how many objects that were. For the host, when idle; any thread but a playback thread. Linear in the objects set
    // aside.
    static std::size_t Purge(std::chrono::milliseconds iAge);

private:
    friend class Sys_DelayedDeletionObject;
    static void SetAside(Sys_DelayedDeletionObject* iFirstP, Sys_DelayedDeletionObject* iLastP);
};
