#pragma once

#include "Mdid/Mdid_Export.h"

#include <cstddef>

// Whole pages of memory that playback threads read and that never go to disk, so that no neighbour's unlock reaches
// them. A system that refuses the lock leaves them pageable. Not for playback threads.
class MDID_EXPORT Mdie_LockedMemory
{
public:
    // An object that is aligned to this has its pages to itself. Where the pages are larger, it shares them.
    static constexpr std::size_t kPageSize = 4096;

    // Throws std::bad_alloc. iSizeInBytes: the same for both.
    static void* Allocate(std::size_t iSizeInBytes);
    static void Free(void* iMemoryP, std::size_t iSizeInBytes) noexcept;

    // A member that keeps its object locked.
    class MDID_EXPORT ObjectLock
    {
    public:
        template <class T>
        explicit ObjectLock(const T* iObjectP) : ObjectLock(iObjectP, sizeof(T))
        {
            static_assert(alignof(T) >= kPageSize);
        }
        ~ObjectLock();
        ObjectLock(const ObjectLock&) = delete;
        ObjectLock& operator=(const ObjectLock&) = delete;

    private:
        ObjectLock(const void* iObjectP, std::size_t iSizeInBytes);

        const void* mObjectP;
        std::size_t mSizeInBytes;
    };
};

// For containers: each block of elements is locked, and has its pages to itself.
template <class T>
struct Mdie_LockedAllocator
{
    using value_type = T;

    Mdie_LockedAllocator() = default;
    template <class U>
    Mdie_LockedAllocator(
        const Mdie_LockedAllocator<U>&) noexcept // NOLINT(google-explicit-constructor): as containers do
    {
    }

    T* allocate(std::size_t iCount) { return static_cast<T*>(Mdie_LockedMemory::Allocate(iCount * sizeof(T))); }
    void deallocate(T* iElementsP, std::size_t iCount) noexcept
    {
        Mdie_LockedMemory::Free(iElementsP, iCount * sizeof(T));
    }

    bool operator==(const Mdie_LockedAllocator&) const = default;
};
