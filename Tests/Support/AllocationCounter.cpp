#include "Support/AllocationCounter.h"

#include <algorithm>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace
{

using std::align_val_t;
using std::nothrow_t;
using std::size_t;

constexpr align_val_t kDefault{__STDCPP_DEFAULT_NEW_ALIGNMENT__};

thread_local AllocationCounter::Totals sTotals;
thread_local int sUntilFailure = 0; // 0: none is planned

void* Allocate(size_t iSize, align_val_t iAlignment) noexcept
{
    if (sUntilFailure > 0 && --sUntilFailure == 0)
        return nullptr;
    // No byte more than asked for: a sanitizer then sees every step beyond the end.
    void* memoryP = nullptr;
    const auto alignment = static_cast<size_t>(std::max(iAlignment, kDefault));
    if (::posix_memalign(&memoryP, alignment, std::max<size_t>(iSize, 1)) != 0)
        return nullptr;
    ++sTotals.mCount;
    ++sTotals.mLive;
    sTotals.mBytes += iSize;
    sTotals.mLiveBytes += static_cast<std::int64_t>(::malloc_usable_size(memoryP));
    sTotals.mPeakBytes = std::max(sTotals.mPeakBytes, sTotals.mLiveBytes);
    return memoryP;
}

void* AllocateOrThrow(size_t iSize, align_val_t iAlignment)
{
    if (void* const memoryP = Allocate(iSize, iAlignment))
        return memoryP;
    throw std::bad_alloc();
}

void Free(void* iMemoryP) noexcept
{
    if (iMemoryP == nullptr)
        return;
    --sTotals.mLive;
    sTotals.mLiveBytes -= static_cast<std::int64_t>(::malloc_usable_size(iMemoryP));
    std::free(iMemoryP);
}

} // namespace

AllocationCounter::AllocationCounter() : mBefore(sTotals)
{
    sTotals.mPeakBytes = sTotals.mLiveBytes;
}

const AllocationCounter::Totals& AllocationCounter::GetTotals()
{
    return sTotals;
}

FailingAllocation::FailingAllocation(int iNumber)
{
    sUntilFailure = iNumber;
}

FailingAllocation::~FailingAllocation()
{
    sUntilFailure = 0;
}

// Every form is replaced, so that none is paired with one of a sanitizer's own.
// clang-format off
void* operator new(size_t n) { return AllocateOrThrow(n, kDefault); }
void* operator new[](size_t n) { return AllocateOrThrow(n, kDefault); }
void* operator new(size_t n, align_val_t a) { return AllocateOrThrow(n, a); }
void* operator new[](size_t n, align_val_t a) { return AllocateOrThrow(n, a); }
void* operator new(size_t n, const nothrow_t&) noexcept { return Allocate(n, kDefault); }
void* operator new[](size_t n, const nothrow_t&) noexcept { return Allocate(n, kDefault); }
void* operator new(size_t n, align_val_t a, const nothrow_t&) noexcept { return Allocate(n, a); }
void* operator new[](size_t n, align_val_t a, const nothrow_t&) noexcept { return Allocate(n, a); }

void operator delete(void* p) noexcept { Free(p); }
void operator delete[](void* p) noexcept { Free(p); }
void operator delete(void* p, size_t) noexcept { Free(p); }
void operator delete[](void* p, size_t) noexcept { Free(p); }
void operator delete(void* p, align_val_t) noexcept { Free(p); }
void operator delete[](void* p, align_val_t) noexcept { Free(p); }
void operator delete(void* p, size_t, align_val_t) noexcept { Free(p); }
void operator delete[](void* p, size_t, align_val_t) noexcept { Free(p); }
void operator delete(void* p, const nothrow_t&) noexcept { Free(p); }
void operator delete[](void* p, const nothrow_t&) noexcept { Free(p); }
void operator delete(void* p, align_val_t, const nothrow_t&) noexcept { Free(p); }
void operator delete[](void* p, align_val_t, const nothrow_t&) noexcept { Free(p); }
