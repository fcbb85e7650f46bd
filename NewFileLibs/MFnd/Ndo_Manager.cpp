#include "MFnd/Ndo_Manager.h"

#include "CFnd/Cmn_Assert.h"
#include "MFnd/Ndo_History_Private.h"

#include <utility>

// The manager itself is never destroyed, so that objects may go as late as they like; only the history is dropped at
// unload, while the code that its states call is still there.
struct Ndo_ManagerLifetime
{
    static Ndo_Manager& Make() { return *new Ndo_Manager; }
    ~Ndo_ManagerLifetime() { Ndo_gManager.DropHistory(); }
};

Ndo_Manager& Ndo_gManager = Ndo_ManagerLifetime::Make();

namespace
{

const Ndo_ManagerLifetime sDropHistoryAtUnload;

} // namespace

Ndo_Manager::Ndo_Manager() : mImplP(std::make_unique<Impl>()) {}
Ndo_Manager::~Ndo_Manager() = default;

void Ndo_Manager::BeginStep(std::string iName)
{
    mImplP->BeginStep(std::move(iName));
}

bool Ndo_Manager::EndStep()
{
    return mImplP->EndStep(true);
}

void Ndo_Manager::CancelStep()
{
    mImplP->EndStep(false);
}

bool Ndo_Manager::IsInStep() const
{
    return mImplP->IsInStep();
}

bool Ndo_Manager::IsRestoring() const
{
    return mImplP->IsRestoring();
}

bool Ndo_Manager::Undo()
{
    return mImplP->Undo();
}

bool Ndo_Manager::Redo()
{
    return mImplP->Redo();
}

bool Ndo_Manager::CanUndo() const
{
    return !IsInStep() && !IsRestoring() && !mImplP->mUndoSide.empty();
}

bool Ndo_Manager::CanRedo() const
{
    return !IsInStep() && !IsRestoring() && !mImplP->mRedoSide.empty();
}

const std::string& Ndo_Manager::GetUndoName() const
{
    return mImplP->NextNameOf(mImplP->mUndoSide);
}

const std::string& Ndo_Manager::GetRedoName() const
{
    return mImplP->NextNameOf(mImplP->mRedoSide);
}

void Ndo_Manager::DropHistory()
{
    mImplP->DropHistory();
}

void Ndo_Manager::SetMaxSteps(std::size_t iSteps)
{
    mImplP->mMaxSteps = iSteps;
}

void Ndo_Manager::SetMaxBytes(std::size_t iBytes)
{
    mImplP->mMaxBytes = iBytes;
}

std::size_t Ndo_Manager::GetStepCount() const
{
    return mImplP->mUndoSide.size() + mImplP->mRedoSide.size();
}

std::size_t Ndo_Manager::GetBytesHeld() const
{
    return mImplP->GetBytesHeld();
}

Ndo_Object* Ndo_Manager::LookupObject(Ndo_ObjectID iID) const
{
    return mImplP->Lookup(iID);
}

Ndo_Step::Ndo_Step(std::string iName)
{
    Ndo_gManager.BeginStep(std::move(iName));
}

Ndo_Step::~Ndo_Step()
{
    if (mIsOpen)
        Ndo_gManager.CancelStep();
}

bool Ndo_Step::Commit()
{
    return CMN_VERIFY(std::exchange(mIsOpen, false)) && Ndo_gManager.EndStep();
}
