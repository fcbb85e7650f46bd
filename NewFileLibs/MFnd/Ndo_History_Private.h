#pragma once

#include "MFnd/Ndo_Manager.h"

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

// What stands behind Ndo_Manager: the registry of the objects, the open step and both sides of the history.
class Ndo_Manager::Impl
{
public:
    enum class EKind
    {
        kMade,
        kChanged,
        kDeleted
    };

    // What a step did to an object, and what the object was before; a made one was nothing.
    struct Record
    {
        EKind mKind;
        std::unique_ptr<Ndo_State> mStateP;
    };
    using Records = std::map<Ndo_ObjectID, Record>;

    struct Step
    {
        std::string mName;
        Records mRecords;
        std::size_t mBytes = 0; // of its states, once it has ended
    };
    using Steps = std::list<Step>; // newest last; a step goes from list to list without memory

    void BeginStep(std::string iName);
    bool EndStep(bool iKeep);
    bool Undo() { return Travel(mUndoSide, mRedoSide); }
    bool Redo() { return Travel(mRedoSide, mUndoSide); }
    void DropHistory() noexcept;

    // For Ndo_Object.
    void Register(Ndo_Object& ioObject);
    void SaveState(Ndo_Object& ioObject);
    void ReportUnsavedChange(const Ndo_Object& iObject) noexcept;
    bool PrepareToDelete(Ndo_Object& ioObject) noexcept; // false: it has to stay
    void Forget(Ndo_Object& ioObject) noexcept;          // it is destroyed without NdoDelete

    Ndo_Object* Lookup(Ndo_ObjectID iID) const;
    bool IsInStep() const { return mDepth > 0; }
    bool IsRestoring() const { return mMovingP != nullptr; }
    std::size_t GetBytesHeld() const;
    const std::string& NextNameOf(const Steps& iSide) const { return iSide.empty() ? mNoName : iSide.back().mName; }

    Steps mUndoSide;
    Steps mRedoSide;
    std::size_t mMaxSteps = kNoBound;
    std::size_t mMaxBytes = kNoBound;

private:
    struct Entry
    {
        Ndo_Object* mObjectP = nullptr; // null while it is deleted
        std::size_t mSteps = 0;         // that know it, the open one included
        bool mIsMadeByRestoring = false;
    };

    class MovingScope;

    bool IsRecording() const { return IsInStep() && !mIsBroken; }
    Records& OpenRecords() { return mOpenStep.front().mRecords; }
    void Save(Ndo_Object& ioObject, EKind iKind);
    void RecordDeletion(Ndo_Object& ioObject) noexcept;
    void BreakStep() noexcept;
    void Unlink(Ndo_Object& ioObject) noexcept;
    bool HasToGo(Ndo_ObjectID iID) const;
    bool IsBeingRestored(const Ndo_Object& iObject) const;

    bool RollBack(Steps& ioStep) noexcept;
    void Keep(Steps& ioStep) noexcept;
    void Seal(Step& ioStep) noexcept;
    void ApplyBounds() noexcept;
    void Discard(Steps& ioSteps) noexcept;
    void Release(Records& ioRecords) noexcept;

    bool Travel(Steps& ioFrom, Steps& ioTo);
    bool AreObjectsAsRecorded(const Records& iRecords) const;
    void Move(Records& ioRecords);
    Records TakeWayBack(const Records& iRecords) const;
    void Recreate(const Records& iRecords);
    void RestoreStates(const Records& iRecords);
    void TakeBack(const Records& iRecords, const Records& iWayBack) noexcept;
    bool LayBack(const Records& iWayBack) noexcept;
    void Dispose(const Records& iRecords, EKind iKind) noexcept;
    void CleanUp(const Records& iRecords) noexcept;

    std::unordered_map<Ndo_ObjectID, Entry> mObjects;
    Ndo_ObjectID mNextID = 1;
    const std::string mNoName;

    Steps mOpenStep; // one or none
    std::size_t mDepth = 0;
    bool mIsCancelled = false;
    bool mIsBroken = false; // the open step lost an object, so that it can be neither undone nor rolled back

    std::size_t mBytes = 0; // of both sides

    const Records* mMovingP = nullptr; // the step that is being undone, redone or rolled back
    std::optional<EKind> mGoing;       // the kind of its records whose objects are being disposed of
    bool mIsCleaningUp = false;
    bool mDropsHistoryAfterwards = false;
};
