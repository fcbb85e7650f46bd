#pragma once

#include "QuorPlatformSupport/QuorPlatformSupport_Export.h"

// Facilities: what a trace line is about, so that one kind can be switched on alone.
inline constexpr int kTraceSysexMemory = 0x2000F27; // blocks of long system-exclusive data, taken and given back
inline constexpr int kTraceDiagnostics = 0x4000E0F; // everything else

// The hookup of the trace module "QuorTrace", which is looked for when this library is loaded. Most processes run
// without it; then, and while a facility is not active, a trace line costs a test and its arguments are not evaluated.
//
//     PSUTIL_TRACE(kTraceDiagnostics, "%s %d segments", name, count);
//
// Threads: any, the playback thread too. While inactive nothing allocates, locks or calls the system.
class PLATFORMSUPPORT_EXPORT PSUtil_Trace
{
public:
    // The entry points, looked up by name: QuorTraceIsActiveFunc and QuorTraceFormat.
    using IsActiveFunc = int(int iFacility);
    using FormatFunc = void(int iFacility, const char* iFormat, ...);

    // Whether the module was found, with both entry points.
    static bool IsPresent() noexcept { return sIsPresent; }

    static bool IsActive(int iFacility) noexcept { return sIsPresent && sIsActiveFuncP(iFacility) != 0; }

    // Called through PSUTIL_TRACE, and only while the facility is active; null without the module.
    __attribute__((format(printf, 2, 3))) static FormatFunc* sFormatFuncP;

private:
    static bool HookUp();

    static bool sIsPresent;
    static IsActiveFunc* sIsActiveFuncP;
    static const bool sIsHookedUpAtLoad;
};

// PSUTIL_TRACE(facility, format, arguments...): one line, format and arguments as for printf.
#define PSUTIL_TRACE(iFacility, ...)                                                                                   \
    do                                                                                                                 \
    {                                                                                                                  \
        if (PSUtil_Trace::IsActive(iFacility)) [[unlikely]]                                                            \
            PSUtil_Trace::sFormatFuncP(iFacility, __VA_ARGS__);                                                        \
    } while (false)
