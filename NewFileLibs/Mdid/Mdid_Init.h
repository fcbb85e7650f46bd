#pragma once

#include "Mdid/Mdid_Export.h"

// The library's initialisation. A host brackets its use of the library with Init and Free; both may be called again and
// again. What the library needs is set up when it is loaded, so they only note the state. One thread at a time.
class MDID_EXPORT Mdid_Init
{
public:
    static void Init();
    static void Free();

    static bool sIsInitialized; // false at load

private:
    // Nothing to do on this platform.
    static void PlatformInit();
};
