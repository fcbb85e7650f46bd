#pragma once

#include "Mdid/Mdid_Options.h"
#include "QuorPlatformSupport/SPSStartupOption.h"

// Sets the AllowMPE option for its scope.
struct ScopedAllowMPE
{
    explicit ScopedAllowMPE(bool iAllow) { Mdid_AllowMPE().Set(iAllow); }
    ~ScopedAllowMPE() { Mdid_AllowMPE().Set(mPrevious); }
    const bool mPrevious = Mdid_AllowMPE();
};
