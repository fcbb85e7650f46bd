#pragma once

#include "Mdid/Mdid_Export.h"

class SPSStartupOptionBool; // QuorPlatformSupport/SPSStartupOption.h, for those who read or set it

// "AllowMPE", default off: whether per-note expression (MPE) is read, kept and written. It is made when the library is
// loaded, out of the environment variable MDID_OPTION_ALLOWMPE; a host may set it. A parser keeps what it read when it
// was made. Any thread.
MDID_EXPORT SPSStartupOptionBool& Mdid_AllowMPE();
