#include "QuorPlatformSupport/PSUtil_VMLock.h"

#include "QuorPlatformSupport/PSUtil_Trace.h"

#include <cerrno>
#include <sys/mman.h>
#include <system_error>

namespace
{

bool TraceRefusal(int iResult, const char* iWhat, const void* iMemoryP, std::size_t iSizeInBytes)
{
    if (iResult == 0)
        return true;
    const int error = errno;
    PSUTIL_TRACE(kTraceDiagnostics, "%s %p %zu refused: %s", iWhat, iMemoryP, iSizeInBytes,
                 std::generic_category().message(error).c_str());
    return false;
}

} // namespace

bool PSUtil_VMLock(const void* iMemoryP, std::size_t iSizeInBytes)
{
    return TraceRefusal(mlock(iMemoryP, iSizeInBytes), "PSUtil_VMLock", iMemoryP, iSizeInBytes);
}

bool PSUtil_VMUnlock(const void* iMemoryP, std::size_t iSizeInBytes)
{
    return TraceRefusal(munlock(iMemoryP, iSizeInBytes), "PSUtil_VMUnlock", iMemoryP, iSizeInBytes);
}
