#include "CFnd/Sys_DelayedDeletion.h"

#include <atomic>
#include <utility>

namespace
{

// Objects are pushed one by one and only ever taken all at once, so a plain linked stack is safe without tags.
std::atomic<Sys_DelayedDeletionObject*> sSetAsideP{nullptr};

// Set at unload: from then on nobody purges any more, and no playback thread runs.
std::atomic<bool> sUnloading{false};

struct PurgeAtUnload
{
    ~PurgeAtUnload()
    {
        Sys_DelayedDeletion::Purge(std::chrono::milliseconds(0));
        sUnloading.store(true, std::memory_order_relaxed);
    }
};
const PurgeAtUnload sPurgeAtUnload;

} // namespace

Sys_DelayedDeletionObject::~Sys_DelayedDeletionObject() = default;

void Sys_DelayedDeletionObject::DelayedDelete()
{
    if (sUnloading.load(std::memory_order_relaxed))
    {
        delete this;
        return;
    }
    mSince = std::chrono::steady_clock::now();
    Sys_DelayedDeletion::SetAside(this, this);
}

void Sys_DelayedDeletion::SetAside(Sys_DelayedDeletionObject* iFirstP, Sys_DelayedDeletionObject* iLastP)
{
    Sys_DelayedDeletionObject* headP = sSetAsideP.load(std::memory_order_relaxed);
    do
        iLastP->mNextP = headP;
    while (!sSetAsideP.compare_exchange_weak(headP, iFirstP, std::memory_order_release, std::memory_order_relaxed));
}

std::size_t Sys_DelayedDeletion::Purge(std::chrono::milliseconds iAge)
{
    std::size_t deleted = 0;
    Sys_DelayedDeletionObject* firstKeptP = nullptr;
    Sys_DelayedDeletionObject* lastKeptP = nullptr;
    // Round by round and not by recursion, because destructors set aside what their objects own, in long chains too.
    while (Sys_DelayedDeletionObject* nextP = sSetAsideP.exchange(nullptr, std::memory_order_acquire))
    {
        const auto now = std::chrono::steady_clock::now();
        while (nextP != nullptr)
        {
            Sys_DelayedDeletionObject* const objectP = std::exchange(nextP, nextP->mNextP);
            // In whole milliseconds, because an age of many years does not fit the clock's unit.
            if (std::chrono::floor<std::chrono::milliseconds>(now - objectP->mSince) >= iAge)
            {
                delete objectP;
                ++deleted;
                continue;
            }
            objectP->mNextP = std::exchange(firstKeptP, objectP);
            if (lastKeptP == nullptr)
                lastKeptP = objectP;
        }
    }
    if (firstKeptP != nullptr)
        SetAside(firstKeptP, lastKeptP);
    return deleted;
}
