#pragma once

#include "MFnd/Time_Typed.h"
#include "Mdid/Mdid_Export.h"

class Mdid_PerNoteControllerList;
class Mem2_MasterAllocator;

// One sounding note of a track state: a node of its list, in a block of the pool that the host installs.
// Playback thread; nothing here takes memory from the general heap, locks or throws.
class MDID_EXPORT Mdie_NoteInProgress
{
public:
    Mdie_NoteInProgress() noexcept = default;

    // All fields but the place in a list: a copy stands in none, and what is assigned to stays in its own. A move is a
    // copy.
    Mdie_NoteInProgress(const Mdie_NoteInProgress& iOther) noexcept;
    Mdie_NoteInProgress& operator=(const Mdie_NoteInProgress& iOther) noexcept;
    ~Mdie_NoteInProgress() = default;

    // The pool of all notes in progress, with blocks of sizeof(Mdie_NoteInProgress); not owned. Installed before
    // playback starts, and replaced (null: removed) only while no note is in progress.
    static void SetAllocator(Mem2_MasterAllocator* iAllocatorP) noexcept;

    // A fresh note; null when the pool is exhausted, and without a pool.
    static Mdie_NoteInProgress* Alloc() noexcept;

    // Ends a note that Alloc made.
    void Free() noexcept;

    // The note that ends next after this one, null behind the last.
    const Mdie_NoteInProgress* GetNext() const noexcept { return mNextP; }

    signed char mChannel = 0;
    signed char mPitch = 0;
    signed char mVelocity = 0;
    signed char mOffVelocity = 0;
    Time_Typed mStartTime;
    Time_Typed mReleaseTime{0, Time_EType::kTick}; // start + duration, moved by Mdie_TrackState::OffsetTimes

    // The note's expression, or null. Neither owned nor counted: who edits the lanes of a note that may be sounding
    // first lets playback pass on to a state without it.
    const Mdid_PerNoteControllerList* mPerNoteControllersP = nullptr;

private:
    friend class Mdie_TrackState;

    Mdie_NoteInProgress* mNextP = nullptr;
};
