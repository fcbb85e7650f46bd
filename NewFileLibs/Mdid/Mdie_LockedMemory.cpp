#include "Mdid/Mdie_LockedMemory.h"

#include "QuorPlatformSupport/PSUtil_VMLock.h"

#include <new>

namespace
{

constexpr std::align_val_t kAlignment{Mdie_LockedMemory::kPageSize};

constexpr std::size_t InWholePages(std::size_t iSizeInBytes)
{
    return (iSizeInBytes + Mdie_LockedMemory::kPageSize - 1) / Mdie_LockedMemory::kPageSize *
           Mdie_LockedMemory::kPageSize;
}

} // namespace

void* Mdie_LockedMemory::Allocate(std::size_t iSizeInBytes)
{
    const std::size_t size = InWholePages(iSizeInBytes);
    void* const memoryP = ::operator new(size, kAlignment);
    PSUtil_VMLock(memoryP, size);
    return memoryP;
}

void Mdie_LockedMemory::Free(void* iMemoryP, std::size_t iSizeInBytes) noexcept
{
    PSUtil_VMUnlock(iMemoryP, InWholePages(iSizeInBytes));
    ::operator delete(iMemoryP, kAlignment);
}

Mdie_LockedMemory::ObjectLock::ObjectLock(const void* iObjectP, std::size_t iSizeInBytes)
    : mObjectP(iObjectP),
      mSizeInBytes(iSizeInBytes)
{
    PSUtil_VMLock(mObjectP, mSizeInBytes);
}

Mdie_LockedMemory::ObjectLock::~ObjectLock()
{
    PSUtil_VMUnlock(mObjectP, mSizeInBytes);
}
