#pragma once

#include "Mdid/Mdid_Export.h"

#include <atomic>

// The expression of one note, shared by the copies of the note and counted. The count starts at 1: the maker's.
class MDID_EXPORT Mdid_PerNoteControllerListBase
{
public:
    virtual ~Mdid_PerNoteControllerListBase();

    virtual bool IsEqualTo(const Mdid_PerNoteControllerListBase& iOther) const = 0;

    void AddReference() const { mReferenceCount.fetch_add(1, std::memory_order_relaxed); }

    // The last one releases the object. Any thread, playback included.
    void RemoveReference()
    {
        if (mReferenceCount.fetch_sub(1, std::memory_order_acq_rel) == 1)
            Release();
    }
    bool IsShared() const { return mReferenceCount.load(std::memory_order_acquire) != 1; }

protected:
    // Disposes of the object when nobody can be reading it any more.
    virtual void Release() = 0;

    Mdid_PerNoteControllerListBase() = default;
    // A copy is counted anew.
    Mdid_PerNoteControllerListBase(const Mdid_PerNoteControllerListBase&) {}
    Mdid_PerNoteControllerListBase& operator=(const Mdid_PerNoteControllerListBase&) { return *this; }

private:
    mutable std::atomic<int> mReferenceCount{1};
};
