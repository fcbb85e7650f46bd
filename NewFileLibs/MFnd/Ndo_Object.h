#pragma once

#include "MFnd/MFnd_Export.h"

#include <cstddef>
#include <cstdint>
#include <memory>

class Ndo_Object;

// Names an undoable object for as long as the process runs: through deletion, undo and redo.
using Ndo_ObjectID = std::int64_t;
inline constexpr Ndo_ObjectID kNdo_InvalidID = -1;

// What an object was before a step first changed it. Made by NdoGetState, owned by the history.
class MFND_EXPORT Ndo_State
{
public:
    // A default object of the owner's class, made with undo flag 0, never null; the manager registers it under its old
    // id. Throws std::bad_alloc.
    virtual std::unique_ptr<Ndo_Object> NdoRecreate() const = 0;
    virtual ~Ndo_State();
    Ndo_State(const Ndo_State&) = delete;
    Ndo_State& operator=(const Ndo_State&) = delete;

    // Bytes of memory held, near enough for a bound on the history. Must not throw.
    virtual std::size_t NdoGetSize() const = 0;

    // Called once when the step has ended, if the object still exists: the state may give up what is the same in the
    // object as it is now. Whoever restores it later does so onto an object with exactly these contents. What it throws
    // is ignored; the state then has to be as it was.
    virtual void NdoShrink(const Ndo_Object& iObject);

protected:
    Ndo_State() = default;
};

// The base of everything that can be undone.
//
// An edit calls NdoAboutToModify just before its first real change. Copying, moving and assigning never call it, and
// never hand on a registration: a copy is not undoable, and assignment keeps what the target is. Assigning to or moving
// from an object that the history knows, without a state saved in the same step, is reported and drops the history.
// Threads: editing.
class MFND_EXPORT Ndo_Object
{
public:
    enum EUndoFlag : int
    {
        kNotUndoable = 0, // never registered: every undo call is free
        kUndoable = 1     // registered with Ndo_gManager until it is destroyed
    };

    // A registered object that the history knows, or that owns undoable parts, is deleted with NdoDelete, not
    // destroyed; destroying one that the history knows drops it.
    virtual ~Ndo_Object();

    // Inside a step keeps the object's state and id and destroys the object; undo makes it again. Outside of a step,
    // or when it is not undoable, destroys it at once; a history that knows it is dropped. Never fails: without memory
    // for the state, the object goes all the same, and the step can be neither undone nor rolled back, which is
    // reported; the history is dropped then.
    // While an undo, a redo or a rollback is at work, the history decides who goes: an object that it is going to
    // destroy, or that has to exist afterwards, is left alone by any other call.
    virtual void NdoDelete() noexcept;

    // A copy of everything that undo has to bring back, never null. Throws std::bad_alloc.
    virtual std::unique_ptr<Ndo_State> NdoGetState() const = 0;

    // Lays a state of this class over the object; the state stays as it is. Other objects may be looked up by id, but
    // need not be restored yet. An object of this class that is let go of is released, not deleted. May throw; the
    // object must then still take another state.
    virtual void NdoRestoreState(Ndo_State* iStateP) = 0;

    // Called last, on every object that an undo, a redo or a cancelled step restored, when all of them are. For what
    // follows from the contents: what a state holds must not change here. What it throws is reported and ignored.
    virtual void NdoCleanup();

    bool NdoIsUndoable() const { return mNdoID != kNdo_InvalidID; }
    Ndo_ObjectID NdoGetID() const { return mNdoID; }

protected:
    explicit Ndo_Object(EUndoFlag iUndoFlag); // throws std::bad_alloc
    Ndo_Object(const Ndo_Object&) noexcept {}
    Ndo_Object(Ndo_Object&& ioOther) noexcept { ioOther.NdoChangesWithoutState(); }
    Ndo_Object& operator=(const Ndo_Object&) noexcept
    {
        NdoChangesWithoutState();
        return *this;
    }
    Ndo_Object& operator=(Ndo_Object&& ioOther) noexcept
    {
        NdoChangesWithoutState();
        ioOther.NdoChangesWithoutState();
        return *this;
    }

    // Saves the object's state, once a step; later calls cost a comparison. Throws std::bad_alloc, and has then saved
    // nothing: the edit must not take place.
    void NdoAboutToModify()
    {
        if (mNdoEpoch != sNdoEpoch && NdoIsUndoable()) [[unlikely]]
            NdoSaveState();
    }

    // For a change that saves no state, before it. When none has been saved in this step and an earlier step knows the
    // object, it is reported and drops the history.
    void NdoChangesWithoutState() noexcept
    {
        if (mNdoEpoch != sNdoEpoch && NdoIsUndoable()) [[unlikely]]
            NdoReportUnsavedChange();
    }

    // True while the object is being made again, from NdoRecreate's return to the end of NdoCleanup: what no state of
    // an existing object may overwrite is restored only then.
    bool NdoIsBeingRecreated() const { return mNdoIsBeingRecreated; }

private:
    friend class Ndo_Manager;

    void NdoSaveState();
    void NdoReportUnsavedChange() noexcept;

    // Changes whenever saved states stop counting: when a step begins or ends, at undo and redo. Starts at 1.
    static std::uint64_t sNdoEpoch;

    Ndo_ObjectID mNdoID = kNdo_InvalidID;
    std::uint64_t mNdoEpoch = 0; // the one in which this object needs no further state
    bool mNdoIsBeingRecreated = false;
};
