#include "MFnd/Ndo_Object.h"

#include "MFnd/Ndo_History_Private.h"

std::uint64_t Ndo_Object::sNdoEpoch = 1;

Ndo_State::~Ndo_State() = default;

void Ndo_State::NdoShrink(const Ndo_Object& /*iObject*/) {}

Ndo_Object::Ndo_Object(EUndoFlag iUndoFlag)
{
    if (iUndoFlag != kNotUndoable)
        Ndo_gManager.mImplP->Register(*this);
}

Ndo_Object::~Ndo_Object()
{
    if (NdoIsUndoable())
        Ndo_gManager.mImplP->Forget(*this);
}

void Ndo_Object::NdoDelete() noexcept
{
    if (!NdoIsUndoable() || Ndo_gManager.mImplP->PrepareToDelete(*this))
        delete this;
}

void Ndo_Object::NdoCleanup() {}

void Ndo_Object::NdoReportUnsavedChange() noexcept
{
    Ndo_gManager.mImplP->ReportUnsavedChange(*this);
}

void Ndo_Object::NdoSaveState()
{
    Ndo_gManager.mImplP->SaveState(*this);
}
