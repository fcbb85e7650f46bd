#pragma once

#include "MFnd/MFnd_Export.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

// Blocks of a few fixed sizes for threads that must not wait on the general heap, nor on each other.
//
// All memory is taken, and touched, at construction. Alloc and Free may then be called from any thread, a playback
// thread included: no heap, no lock, a bounded walk over the size classes. Blocks are aligned to 16 bytes.
//
// The allocator must outlive its blocks; one that is still in use when the allocator goes is reported.
class MFND_EXPORT Mem2_MasterAllocator
{
public:
    static constexpr std::size_t kAlignment = 16;

    struct SizeClass
    {
        std::size_t mBlockSize; // in bytes
        std::uint32_t mCount;
    };

    // In any order. A class without size or blocks, or of a size that there is already, is reported and left out.
    // Throws std::bad_alloc when there is not as much memory.
    explicit Mem2_MasterAllocator(std::span<const SizeClass> iSizeClasses);
    ~Mem2_MasterAllocator();
    Mem2_MasterAllocator(const Mem2_MasterAllocator&) = delete;
    Mem2_MasterAllocator& operator=(const Mem2_MasterAllocator&) = delete;

    // A block of the smallest class that holds iSize bytes, uninitialised. Null when that class is exhausted (larger
    // ones are not asked), when no class holds the size, and for size 0.
    //
    // iOwner and iTag name who asks, for a debugger at the call; they are not stored, and Free does not compare them.
    void* Alloc(std::size_t iSize, const void* iOwner, int iTag);

    // Gives a block back; null is ignored. What is no block of this allocator, or is free already, is reported and
    // ignored.
    void Free(void* iBlockP, const void* iOwner, int iTag);

    struct Usage
    {
        std::size_t mBlockSize;
        std::uint32_t mCount;
        std::uint32_t mInUse;
    };

    // One for each class, by ascending size; a snapshot while other threads go on. Linear in the number of blocks, and
    // takes memory from the general heap: for hosts, not for playback.
    std::vector<Usage> GetUsage() const;

private:
    class Pool;

    std::vector<std::unique_ptr<Pool>> mPools; // by ascending block size
};
