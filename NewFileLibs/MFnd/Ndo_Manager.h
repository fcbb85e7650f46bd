#pragma once

#include "MFnd/MFnd_Export.h"
#include "MFnd/Ndo_Object.h"

#include <cstddef>
#include <limits>
#include <memory>
#include <string>

// The history of one process: which objects are undoable, what they were, and the way back and forth.
//
// Edits are grouped in named steps. A step holds one state for each object that it changed, taken before the first
// change, and none for an object that it made: undo deletes that one. Steps nest by joining the outermost, whose name
// counts. A step in which nothing was saved leaves no trace. When a step with changes ends, the redo side goes.
//
// A registered object that some step knows must be changed inside a step: a change outside is reported as an
// assertion, stands, and drops the history, because no saved state may be laid over a change that it does not know.
// The history is dropped, too, when an object that it knows is destroyed in another way than by NdoDelete in a step; if
// that happens inside a step, the step can be neither undone nor rolled back any more: its changes stand.
//
// A part is best made in the step that gives it to its owner: undo leaves one that was made before without an owner.
// What an object makes while it is restored stays with that object.
//
// Threads: editing; one at a time.
class MFND_EXPORT Ndo_Manager
{
public:
    static constexpr std::size_t kNoBound = std::numeric_limits<std::size_t>::max();

    Ndo_Manager(const Ndo_Manager&) = delete;
    Ndo_Manager& operator=(const Ndo_Manager&) = delete;

    // iName: for menus, UTF-8. While restoring: reported, no step begins. Throws std::bad_alloc.
    void BeginStep(std::string iName);

    // Ends the innermost step; at the outermost the states shrink and the bounds are applied. False when the step was
    // cancelled, by itself or from within, and has been rolled back or will be with its outer one. Without a step:
    // reported, false. Does not throw. Linear in the size of the objects that were changed.
    bool EndStep();

    // Ends the innermost step and rolls it back. A nested step has joined its outer one and cannot be taken out of it:
    // the whole is rolled back, as soon as the outermost step ends. Without a step: reported. Does not throw: when
    // there is no memory to roll back, the changes stand, which is reported, and the history is dropped.
    void CancelStep();

    bool IsInStep() const;

    // While an undo, a redo or a cancelled step is at work, saving states is off.
    bool IsRestoring() const;

    // Takes back the newest step, or does it again. Two sweeps: every object that must exist again is made and
    // registered under its old id; then every state is restored, in any order; then the objects that must not exist
    // are destroyed, and NdoCleanup is called on the rest. False when there is nothing to do. Inside of a step, or
    // while restoring: reported, false. Whatever a state or an object throws (std::bad_alloc) passes through and leaves
    // everything as it was; if even that fails, the history is dropped.
    bool Undo();
    bool Redo();
    bool CanUndo() const; // neither inside of a step nor while restoring
    bool CanRedo() const;

    // Of the step that Undo or Redo would take next; empty when there is none.
    const std::string& GetUndoName() const;
    const std::string& GetRedoName() const;

    // Forgets all steps that have ended. The objects stay.
    void DropHistory();

    // Oldest steps go first, when a step has ended and its states have shrunk; the newest one always stays.
    // Without bounds at first; a new bound takes effect at the end of the next step.
    void SetMaxSteps(std::size_t iSteps);
    void SetMaxBytes(std::size_t iBytes);
    std::size_t GetStepCount() const; // undo side and redo side

    // By both sides and the open step, in which it is linear: the states' NdoGetSize, and kBytesOfRecord for each
    // object in a step.
    std::size_t GetBytesHeld() const;
    static constexpr std::size_t kBytesOfRecord = 64;

    // Null when no object with this id exists now. Constant time.
    Ndo_Object* LookupObject(Ndo_ObjectID iID) const;

private:
    friend class Ndo_Object;
    friend struct Ndo_ManagerLifetime;

    Ndo_Manager();
    ~Ndo_Manager();

    class Impl;
    std::unique_ptr<Impl> mImplP;
};

// The process's manager, the only one: made when the library is loaded. It outlives every object; the history is
// dropped when the library is unloaded.
MFND_EXPORT extern Ndo_Manager& Ndo_gManager;

// The step that lasts as long as the scope: rolled back when it is left by an exception, or without Commit.
//
//     Ndo_Step step("Quantize");
//     ...
//     step.Commit();
class MFND_EXPORT Ndo_Step
{
public:
    explicit Ndo_Step(std::string iName); // as BeginStep
    ~Ndo_Step();
    Ndo_Step(const Ndo_Step&) = delete;
    Ndo_Step& operator=(const Ndo_Step&) = delete;

    // Once. False when a nested step was cancelled: then this one has been rolled back, or will be with its outer one.
    bool Commit();

private:
    bool mIsOpen = true;
};
