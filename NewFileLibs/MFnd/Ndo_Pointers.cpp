#include "MFnd/Ndo_Pointers.h"

Ndo_ExternalRefBase::Ndo_ExternalRefBase(Ndo_Object* iObjectP)
{
    SetObjPtr(iObjectP);
}

Ndo_Object* Ndo_ExternalRefBase::GetObjPtr() const
{
    return mID == kNdo_InvalidID ? mObjectP : Ndo_gManager.LookupObject(mID);
}

void Ndo_ExternalRefBase::SetObjPtr(Ndo_Object* iObjectP)
{
    mObjectP = iObjectP;
    mID = iObjectP ? iObjectP->NdoGetID() : kNdo_InvalidID;
}
