#pragma once

#include "CFnd/Cmn_XMLNode.h"
#include "MFnd/MFnd_Export.h"
#include "MFnd/Time_Typed.h"

// A node of this name with the children "nKind" (the number of the kind) and "nCount".
MFND_EXPORT Cmn_AliasedRefCountPtr<Cmn_XMLNode> Time_CreateXMLNode(std::string_view iName, Time_Typed iTime);
MFND_EXPORT Cmn_AliasedRefCountPtr<Cmn_XMLNode> Time_CreateXMLNode(std::string_view iName, Time_TypedLength iLength);
