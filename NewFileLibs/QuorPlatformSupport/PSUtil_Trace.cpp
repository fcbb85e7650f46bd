#include "QuorPlatformSupport/PSUtil_Trace.h"

#include "QuorPlatformSupport/PSUtil_Module.h"

constinit bool PSUtil_Trace::sIsPresent = false;
constinit PSUtil_Trace::IsActiveFunc* PSUtil_Trace::sIsActiveFuncP = nullptr;
constinit PSUtil_Trace::FormatFunc* PSUtil_Trace::sFormatFuncP = nullptr;

// The libraries above this one are initialised after it, so their first line finds the hookup made.
const bool PSUtil_Trace::sIsHookedUpAtLoad = PSUtil_Trace::HookUp();

bool PSUtil_Trace::HookUp()
{
    const auto module = PSUtil_Module::Load("QuorTrace", {}, PSUtil_Module::ELifetime::kProcess);
    sIsActiveFuncP = module.GetFunction<IsActiveFunc>("QuorTraceIsActiveFunc");
    sFormatFuncP = module.GetFunction<FormatFunc>("QuorTraceFormat");
    sIsPresent = sIsActiveFuncP && sFormatFuncP;
    return sIsPresent;
}
