#include "Support/AllocationCounter.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <malloc.h>
#include <new>
#include <pthread.h>

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

#if defined(__has_feature)
#define HAS_SANITIZER (__has_feature(address_sanitizer) || __has_feature(thread_sanitizer))
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define HAS_SANITIZER 1
#else
#define HAS_SANITIZER 0
#endif

#if !HAS_SANITIZER
#pragma GCC visibility push(default)
extern "C"
{
void* __libc_malloc(size_t n);
void* __libc_calloc(size_t n, size_t size);
void* __libc_realloc(void* p, size_t n);
void* __libc_memalign(size_t a, size_t n);
void __libc_free(void* p);

void* malloc(size_t n) { return ++sTotals.mSystemCalls, __libc_malloc(n); }
void* calloc(size_t n, size_t size) { return ++sTotals.mSystemCalls, __libc_calloc(n, size); }
void* realloc(void* p, size_t n) { return ++sTotals.mSystemCalls, __libc_realloc(p, n); }
void* memalign(size_t a, size_t n) { return ++sTotals.mSystemCalls, __libc_memalign(a, n); }
void* aligned_alloc(size_t a, size_t n) { return memalign(a, n); }
int posix_memalign(void** oP, size_t a, size_t n) { return (*oP = memalign(a, n)) != nullptr ? 0 : ENOMEM; }

void free(void* p) { if (p != nullptr) ++sTotals.mSystemCalls; __libc_free(p); }

// The function of that name in the library that it belongs to.
#define MDID_COUNTED(name, result, parameters, arguments)                                                              \
    result name parameters                                                                                             \
    {                                                                                                                  \
        static result(*sNextP) parameters = nullptr;                                                                   \
        if (sNextP == nullptr)                                                                                         \
            sNextP = reinterpret_cast<result(*) parameters>(dlsym(RTLD_NEXT, #name));                                  \
        ++sTotals.mSystemCalls;                                                                                        \
        return sNextP arguments;                                                                                       \
    }
MDID_COUNTED(pthread_mutex_lock, int, (pthread_mutex_t * p), (p))
MDID_COUNTED(pthread_mutex_trylock, int, (pthread_mutex_t * p), (p))
MDID_COUNTED(pthread_rwlock_rdlock, int, (pthread_rwlock_t * p), (p))
MDID_COUNTED(pthread_rwlock_wrlock, int, (pthread_rwlock_t * p), (p))
MDID_COUNTED(__cxa_guard_acquire, int, (__cxxabiv1::__guard * p), (p))
}
#pragma GCC visibility pop
#endif
