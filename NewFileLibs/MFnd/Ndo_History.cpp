#include "MFnd/Ndo_History_Private.h"

#include "CFnd/Cmn_Assert.h"

#include <algorithm>
#include <iterator>
#include <utility>

// While objects go from one side of a step to the other.
class Ndo_Manager::Impl::MovingScope
{
public:
    MovingScope(Impl& ioImpl, const Records& iRecords) : mImpl(ioImpl) { mImpl.mMovingP = &iRecords; }

    ~MovingScope()
    {
        mImpl.mMovingP = nullptr;
        ++Ndo_Object::sNdoEpoch;
        if (std::exchange(mImpl.mDropsHistoryAfterwards, false))
            mImpl.DropHistory();
    }

    MovingScope(const MovingScope&) = delete;
    MovingScope& operator=(const MovingScope&) = delete;

private:
    Impl& mImpl;
};

namespace
{

std::unique_ptr<Ndo_State> StateOf(const Ndo_Object& iObject)
{
    auto stateP = iObject.NdoGetState();
    if (!CMN_VERIFY(stateP != nullptr))
        throw Cmn_AssertException("an object without a state");
    return stateP;
}

// A state that cannot shrink stays whole.
void Shrink(Ndo_State& ioState, const Ndo_Object* iObjectP) noexcept
{
    try
    {
        if (iObjectP != nullptr)
            ioState.NdoShrink(*iObjectP);
    }
    catch (...)
    {
        return;
    }
}

std::size_t BytesOf(const Ndo_State* iStateP)
{
    return Ndo_Manager::kBytesOfRecord + (iStateP ? iStateP->NdoGetSize() : 0);
}

void CallCleanup(Ndo_Object& ioObject) noexcept
{
    bool isCleanedUp = false;
    try
    {
        ioObject.NdoCleanup();
        isCleanedUp = true;
    }
    catch (...)
    {
        CMN_VERIFY(isCleanedUp);
    }
}

} // namespace

// Steps.

void Ndo_Manager::Impl::BeginStep(std::string iName)
{
    if (!CMN_VERIFY(!IsRestoring()))
        return;
    if (!IsInStep())
    {
        // All the memory that the step itself needs is taken here, so that its end cannot fail.
        mOpenStep.push_back({std::move(iName), {}});
        ++Ndo_Object::sNdoEpoch;
        mIsCancelled = false;
        mIsBroken = false;
    }
    ++mDepth;
}

bool Ndo_Manager::Impl::EndStep(bool iKeep)
{
    if (!CMN_VERIFY(IsInStep()))
        return false;
    mIsCancelled = mIsCancelled || !iKeep;
    if (--mDepth > 0)
        return !mIsCancelled;

    ++Ndo_Object::sNdoEpoch;
    Steps step = std::move(mOpenStep);
    mOpenStep.clear();
    if (!mIsCancelled)
    {
        if (!step.front().mRecords.empty())
            Keep(step);
        return true;
    }
    const bool isRolledBack = RollBack(step);
    Discard(step);
    if (!isRolledBack)
        DropHistory();
    CMN_VERIFY(isRolledBack);
    return false;
}

bool Ndo_Manager::Impl::RollBack(Steps& ioStep) noexcept
{
    if (mIsBroken)
        return false;
    Records& records = ioStep.front().mRecords;
    try
    {
        const MovingScope scope(*this, records);
        Move(records);
        return true;
    }
    catch (...)
    {
        return false;
    }
}

void Ndo_Manager::Impl::Keep(Steps& ioStep) noexcept
{
    Discard(mRedoSide);
    Seal(ioStep.front());
    mUndoSide.splice(mUndoSide.end(), ioStep);
    ApplyBounds();
}

void Ndo_Manager::Impl::Seal(Step& ioStep) noexcept
{
    std::size_t bytes = 0;
    for (const auto& [id, record] : ioStep.mRecords)
    {
        if (record.mStateP != nullptr && record.mKind == EKind::kChanged)
            Shrink(*record.mStateP, Lookup(id));
        bytes += BytesOf(record.mStateP.get());
    }
    mBytes += bytes - ioStep.mBytes;
    ioStep.mBytes = bytes;
}

void Ndo_Manager::Impl::ApplyBounds() noexcept
{
    while (mUndoSide.size() > 1 && (mUndoSide.size() > mMaxSteps || mBytes > mMaxBytes))
    {
        Steps oldest;
        oldest.splice(oldest.end(), mUndoSide, mUndoSide.begin());
        Discard(oldest);
    }
}

void Ndo_Manager::Impl::DropHistory() noexcept
{
    if (IsRestoring())
    {
        // The step that is at work is still needed.
        mDropsHistoryAfterwards = true;
        return;
    }
    Discard(mUndoSide);
    Discard(mRedoSide);
}

void Ndo_Manager::Impl::Discard(Steps& ioSteps) noexcept
{
    Steps steps;
    steps.swap(ioSteps);
    for (Step& step : steps)
    {
        Release(step.mRecords);
        mBytes -= step.mBytes;
    }
}

void Ndo_Manager::Impl::Release(Records& ioRecords) noexcept
{
    for (const auto& [id, record] : ioRecords)
        if (const auto entry = mObjects.find(id); --entry->second.mSteps == 0 && entry->second.mObjectP == nullptr)
            mObjects.erase(entry);
    ioRecords.clear();
}

std::size_t Ndo_Manager::Impl::GetBytesHeld() const
{
    std::size_t bytes = mBytes;
    for (const Step& step : mOpenStep)
        for (const auto& [id, record] : step.mRecords)
            bytes += BytesOf(record.mStateP.get());
    return bytes;
}

// Objects.

void Ndo_Manager::Impl::Register(Ndo_Object& ioObject)
{
    const auto entry = mObjects.emplace(mNextID, Entry{&ioObject, 0, IsRestoring()}).first;
    if (IsRecording())
    {
        try
        {
            OpenRecords().emplace(mNextID, Record{EKind::kMade, nullptr});
        }
        catch (...)
        {
            mObjects.erase(entry);
            throw;
        }
        ++entry->second.mSteps;
    }
    ioObject.mNdoID = mNextID++;
    ioObject.mNdoEpoch = Ndo_Object::sNdoEpoch;
}

void Ndo_Manager::Impl::SaveState(Ndo_Object& ioObject)
{
    const Ndo_ObjectID id = ioObject.mNdoID;
    const bool isChangedInsideAStep =
        IsRestoring() ? IsBeingRestored(ioObject) : IsInStep() || mObjects.at(id).mSteps == 0;
    if (!isChangedInsideAStep)
        DropHistory();
    else if (!IsRestoring() && IsRecording() && !OpenRecords().contains(id))
        Save(ioObject, EKind::kChanged);
    ioObject.mNdoEpoch = Ndo_Object::sNdoEpoch;
    CMN_VERIFY(isChangedInsideAStep);
}

void Ndo_Manager::Impl::ReportUnsavedChange(const Ndo_Object& iObject) noexcept
{
    const bool isStateSaved = IsBeingRestored(iObject) || mObjects.at(iObject.mNdoID).mSteps == 0;
    if (!isStateSaved)
        DropHistory();
    CMN_VERIFY(isStateSaved);
}

void Ndo_Manager::Impl::Save(Ndo_Object& ioObject, EKind iKind)
{
    OpenRecords().emplace(ioObject.mNdoID, Record{iKind, StateOf(ioObject)});
    ++mObjects.at(ioObject.mNdoID).mSteps;
}

bool Ndo_Manager::Impl::PrepareToDelete(Ndo_Object& ioObject) noexcept
{
    const bool isAnothersMatter = mIsCleaningUp && !mMovingP->contains(ioObject.mNdoID);
    if (IsRestoring() && !isAnothersMatter)
    {
        if (!HasToGo(ioObject.mNdoID))
            return false;
    }
    else if (IsRecording() && !IsRestoring())
        RecordDeletion(ioObject);
    else if (mObjects.at(ioObject.mNdoID).mSteps > 0)
        DropHistory();
    Unlink(ioObject);
    return true;
}

void Ndo_Manager::Impl::RecordDeletion(Ndo_Object& ioObject) noexcept
{
    const Ndo_ObjectID id = ioObject.mNdoID;
    if (const auto record = OpenRecords().find(id); record == OpenRecords().end())
    {
        try
        {
            Save(ioObject, EKind::kDeleted);
        }
        catch (...)
        {
            BreakStep();
            const bool isStateSaved = false;
            CMN_VERIFY(isStateSaved);
        }
    }
    else if (record->second.mKind == EKind::kMade)
    {
        OpenRecords().erase(record);
        --mObjects.at(id).mSteps;
    }
    else
        record->second.mKind = EKind::kDeleted; // the state stays that from the beginning of the step
}

void Ndo_Manager::Impl::Forget(Ndo_Object& ioObject) noexcept
{
    const Ndo_ObjectID id = ioObject.mNdoID;
    if (!IsRestoring() && IsRecording())
    {
        const auto record = OpenRecords().find(id);
        if (record != OpenRecords().end() && record->second.mKind == EKind::kMade)
            RecordDeletion(ioObject); // as when a constructor fails: nobody has to know of it
    }
    const bool isKnown = mObjects.at(id).mSteps > 0;
    Unlink(ioObject);
    if (isKnown)
        BreakStep();
}

void Ndo_Manager::Impl::BreakStep() noexcept
{
    DropHistory();
    if (!IsInStep())
        return;
    Release(OpenRecords());
    mIsBroken = true;
}

void Ndo_Manager::Impl::Unlink(Ndo_Object& ioObject) noexcept
{
    const auto entry = mObjects.find(ioObject.mNdoID);
    entry->second.mObjectP = nullptr;
    if (entry->second.mSteps == 0)
        mObjects.erase(entry);
    ioObject.mNdoID = kNdo_InvalidID;
}

Ndo_Object* Ndo_Manager::Impl::Lookup(Ndo_ObjectID iID) const
{
    const auto entry = mObjects.find(iID);
    return entry == mObjects.end() ? nullptr : entry->second.mObjectP;
}

// What is not in the step that is at work may be changed meanwhile only as it may outside of any step.
bool Ndo_Manager::Impl::IsBeingRestored(const Ndo_Object& iObject) const
{
    if (!IsRestoring())
        return false;
    return mMovingP->contains(iObject.mNdoID) || mObjects.at(iObject.mNdoID).mSteps == 0;
}

// What an owner that goes away deletes may have had another owner before the step, and then has to stay.
bool Ndo_Manager::Impl::HasToGo(Ndo_ObjectID iID) const
{
    const auto record = mMovingP->find(iID);
    return record == mMovingP->end() ? mObjects.at(iID).mIsMadeByRestoring : mGoing == record->second.mKind;
}

// Back and forth.

bool Ndo_Manager::Impl::Travel(Steps& ioFrom, Steps& ioTo)
{
    if (!CMN_VERIFY(!IsInStep() && !IsRestoring()) || ioFrom.empty())
        return false;
    Step& step = ioFrom.back();
    if (!CMN_VERIFY(AreObjectsAsRecorded(step.mRecords)))
    {
        DropHistory();
        return false;
    }
    const MovingScope scope(*this, step.mRecords);
    Move(step.mRecords);
    Seal(step);
    ioTo.splice(ioTo.end(), ioFrom, std::prev(ioFrom.end()));
    return true;
}

bool Ndo_Manager::Impl::AreObjectsAsRecorded(const Records& iRecords) const
{
    return std::ranges::all_of(
        iRecords, [this](const auto& iRecord)
        { return (Lookup(iRecord.first) != nullptr) == (iRecord.second.mKind != EKind::kDeleted); });
}

// Makes the objects what the records say, and the records the way back. When it throws, both are as they were.
void Ndo_Manager::Impl::Move(Records& ioRecords)
{
    Records wayBack = TakeWayBack(ioRecords);
    bool isAnyRestored = false;
    try
    {
        Recreate(ioRecords);
        isAnyRestored = true;
        RestoreStates(ioRecords);
    }
    catch (...)
    {
        if (isAnyRestored)
            TakeBack(ioRecords, wayBack);
        else
            Dispose(ioRecords, EKind::kDeleted);
        throw;
    }
    Dispose(ioRecords, EKind::kMade);
    CleanUp(ioRecords);
    ioRecords.swap(wayBack);
}

Ndo_Manager::Impl::Records Ndo_Manager::Impl::TakeWayBack(const Records& iRecords) const
{
    Records wayBack;
    for (const auto& [id, record] : iRecords)
    {
        Record& inverse = wayBack[id];
        inverse.mKind = record.mKind == EKind::kMade      ? EKind::kDeleted
                        : record.mKind == EKind::kDeleted ? EKind::kMade
                                                          : EKind::kChanged;
        if (record.mKind != EKind::kDeleted)
            inverse.mStateP = StateOf(*Lookup(id));
    }
    return wayBack;
}

void Ndo_Manager::Impl::Recreate(const Records& iRecords)
{
    for (const auto& [id, record] : iRecords)
    {
        if (record.mKind != EKind::kDeleted)
            continue;
        auto objectP = record.mStateP->NdoRecreate();
        if (!CMN_VERIFY(objectP != nullptr))
            throw Cmn_AssertException("an object that cannot be made again");
        if (!CMN_VERIFY(!objectP->NdoIsUndoable()))
            Unlink(*objectP);
        objectP->mNdoID = id;
        objectP->mNdoIsBeingRecreated = true;
        mObjects.at(id).mObjectP = objectP.release();
    }
}

void Ndo_Manager::Impl::RestoreStates(const Records& iRecords)
{
    for (const auto& [id, record] : iRecords)
        if (Ndo_Object* const objectP = Lookup(id); objectP != nullptr && record.mKind != EKind::kMade)
            objectP->NdoRestoreState(record.mStateP.get());
}

void Ndo_Manager::Impl::TakeBack(const Records& iRecords, const Records& iWayBack) noexcept
{
    if (LayBack(iWayBack))
    {
        Dispose(iRecords, EKind::kDeleted);
        CleanUp(iWayBack);
        return;
    }
    // What was made again stays, because what could not be put back may own it.
    for (const auto& [id, record] : iRecords)
        if (Ndo_Object* const objectP = Lookup(id))
            objectP->mNdoIsBeingRecreated = false;
    DropHistory();
}

// As many as can be.
bool Ndo_Manager::Impl::LayBack(const Records& iWayBack) noexcept
{
    bool isAllBack = true;
    for (const auto& [id, record] : iWayBack)
    {
        Ndo_Object* const objectP = Lookup(id);
        if (objectP == nullptr || record.mKind != EKind::kChanged)
            continue;
        try
        {
            objectP->NdoRestoreState(record.mStateP.get());
        }
        catch (...)
        {
            isAllBack = false;
        }
    }
    return isAllBack;
}

void Ndo_Manager::Impl::Dispose(const Records& iRecords, EKind iKind) noexcept
{
    mGoing = iKind;
    for (const auto& [id, record] : iRecords)
        if (record.mKind == iKind)
            if (Ndo_Object* const objectP = Lookup(id)) // or its owner has taken it along
                objectP->NdoDelete();
    mGoing.reset();
}

void Ndo_Manager::Impl::CleanUp(const Records& iRecords) noexcept
{
    mIsCleaningUp = true;
    for (const auto& [id, record] : iRecords)
        if (Ndo_Object* const objectP = Lookup(id))
        {
            CallCleanup(*objectP);
            objectP->mNdoIsBeingRecreated = false;
        }
    mIsCleaningUp = false;
}
