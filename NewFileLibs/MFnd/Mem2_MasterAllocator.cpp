#include "MFnd/Mem2_MasterAllocator.h"

#include "CFnd/Cmn_Assert.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <limits>
#include <new>

namespace
{

struct alignas(Mem2_MasterAllocator::kAlignment) Cell
{
    std::byte mBytes[Mem2_MasterAllocator::kAlignment];
};

constexpr std::size_t CellsFor(std::size_t iSize)
{
    return iSize / sizeof(Cell) + (iSize % sizeof(Cell) != 0 ? 1 : 0);
}

// What a block's link holds besides the index of the next free block.
constexpr std::uint32_t kEndOfList = 0xFFFFFFFF;
constexpr std::uint32_t kInUse = 0xFFFFFFFE;
constexpr std::uint32_t kMaxCount = kInUse;

std::size_t CellsFor(const Mem2_MasterAllocator::SizeClass& iSizeClass)
{
    const std::size_t cellsPerBlock = CellsFor(iSizeClass.mBlockSize);
    if (iSizeClass.mCount > std::numeric_limits<std::ptrdiff_t>::max() / sizeof(Cell) / cellsPerBlock)
        throw std::bad_alloc();
    return cellsPerBlock * iSizeClass.mCount;
}

} // namespace

// The blocks of one size. The free ones form a stack through their links, which lie apart from the blocks, so that a
// thread that follows a link late reads no memory that belongs to a block's user.
//
// The head holds the index of the top block, and above it a tag that every change counts up: a thread that was held up
// between reading and swapping the head finds it changed even when the same block is on top again.
//
// The links are atomics, as those of Boost's lock-free stack are not: a late reader races with whoever pushes.
class Mem2_MasterAllocator::Pool
{
public:
    explicit Pool(SizeClass iSizeClass)
        : mSizeClass(iSizeClass),
          mCellsPerBlock(CellsFor(iSizeClass.mBlockSize)),
          mCells(CellsFor(iSizeClass)),
          mLinks(iSizeClass.mCount)
    {
        for (std::uint32_t i = 0; i < iSizeClass.mCount; ++i)
            mLinks[i].store(i + 1 < iSizeClass.mCount ? i + 1 : kEndOfList, std::memory_order_relaxed);
    }

    std::size_t GetBlockSize() const { return mSizeClass.mBlockSize; }

    bool Owns(const void* iBlockP) const { return OffsetOf(iBlockP) < mCells.size() * sizeof(Cell); }

    void* Pop()
    {
        std::uint64_t head = mHead.load(std::memory_order_acquire);
        for (;;)
        {
            const std::uint32_t index = IndexIn(head);
            if (index == kEndOfList)
                return nullptr;
            // Stale when another thread has taken the block; then the tag has moved on and the swap fails.
            const std::uint32_t next = mLinks[index].load(std::memory_order_relaxed);
            if (mHead.compare_exchange_weak(head, Successor(head, next), std::memory_order_acq_rel,
                                            std::memory_order_acquire))
            {
                mLinks[index].store(kInUse, std::memory_order_relaxed);
                return mCells.data() + index * mCellsPerBlock;
            }
        }
    }

    // False when the pointer is not the beginning of a block in use. The block must lie in this pool.
    bool Push(const void* iBlockP)
    {
        const std::size_t blockBytes = mCellsPerBlock * sizeof(Cell);
        const std::size_t offset = OffsetOf(iBlockP);
        if (offset % blockBytes != 0)
            return false;

        const auto index = static_cast<std::uint32_t>(offset / blockBytes);
        std::uint32_t inUse = kInUse;
        // Of two threads that free the same block, one gets through.
        if (!mLinks[index].compare_exchange_strong(inUse, kEndOfList, std::memory_order_relaxed))
            return false;

        std::uint64_t head = mHead.load(std::memory_order_relaxed);
        do
            mLinks[index].store(IndexIn(head), std::memory_order_relaxed);
        while (!mHead.compare_exchange_weak(head, Successor(head, index), std::memory_order_release,
                                            std::memory_order_relaxed));
        return true;
    }

    Usage GetUsage() const
    {
        const auto inUse = std::ranges::count_if(mLinks, [](const auto& iLink)
                                                 { return iLink.load(std::memory_order_relaxed) == kInUse; });
        return {mSizeClass.mBlockSize, mSizeClass.mCount, static_cast<std::uint32_t>(inUse)};
    }

private:
    static constexpr std::size_t kCacheLine = 64;

    static std::uint32_t IndexIn(std::uint64_t iHead) { return static_cast<std::uint32_t>(iHead); }

    static std::uint64_t Successor(std::uint64_t iHead, std::uint32_t iIndex)
    {
        const std::uint64_t tag = (iHead >> 32) + 1;
        return tag << 32 | iIndex;
    }

    // Beyond the end for a pointer below the beginning as well.
    std::size_t OffsetOf(const void* iBlockP) const
    {
        return reinterpret_cast<std::uintptr_t>(iBlockP) - reinterpret_cast<std::uintptr_t>(mCells.data());
    }

    SizeClass mSizeClass;
    std::size_t mCellsPerBlock;
    std::vector<Cell> mCells;
    std::vector<std::atomic<std::uint32_t>> mLinks;
    alignas(kCacheLine) std::atomic<std::uint64_t> mHead{0};
    static_assert(std::atomic<std::uint64_t>::is_always_lock_free);
};

Mem2_MasterAllocator::Mem2_MasterAllocator(std::span<const SizeClass> iSizeClasses)
{
    mPools.reserve(iSizeClasses.size());
    for (const SizeClass& sizeClass : iSizeClasses)
    {
        if (!CMN_VERIFY(sizeClass.mBlockSize > 0 && sizeClass.mCount > 0 && sizeClass.mCount < kMaxCount))
            continue;
        const auto place = std::ranges::lower_bound(mPools, sizeClass.mBlockSize, {}, &Pool::GetBlockSize);
        const bool isNewSize = place == mPools.end() || (*place)->GetBlockSize() != sizeClass.mBlockSize;
        if (CMN_VERIFY(isNewSize))
            mPools.insert(place, std::make_unique<Pool>(sizeClass));
    }
}

Mem2_MasterAllocator::~Mem2_MasterAllocator()
{
    const bool isUnused =
        std::ranges::all_of(mPools, [](const auto& iPoolP) { return iPoolP->GetUsage().mInUse == 0; });
    CMN_VERIFY(isUnused);
}

void* Mem2_MasterAllocator::Alloc(std::size_t iSize, const void* /*iOwner*/, int /*iTag*/)
{
    if (iSize == 0)
        return nullptr;
    const auto pool = std::ranges::lower_bound(mPools, iSize, {}, &Pool::GetBlockSize);
    return pool == mPools.end() ? nullptr : (*pool)->Pop();
}

void Mem2_MasterAllocator::Free(void* iBlockP, const void* /*iOwner*/, int /*iTag*/)
{
    if (iBlockP == nullptr)
        return;
    const auto pool = std::ranges::find_if(mPools, [=](const auto& iPoolP) { return iPoolP->Owns(iBlockP); });
    const bool isBlockInUse = pool != mPools.end() && (*pool)->Push(iBlockP);
    CMN_VERIFY(isBlockInUse);
}

std::vector<Mem2_MasterAllocator::Usage> Mem2_MasterAllocator::GetUsage() const
{
    std::vector<Usage> usage;
    usage.reserve(mPools.size());
    std::ranges::transform(mPools, std::back_inserter(usage), [](const auto& iPoolP) { return iPoolP->GetUsage(); });
    return usage;
}
