#include "MFnd/Mem2_MasterAllocator.h"

#include "Support/AllocationCounter.h"
#include "Support/RecordingAssertHandler.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <random>
#include <set>
#include <thread>

namespace
{

constexpr Mem2_MasterAllocator::SizeClass kClasses[] = {{200, 3}, {24, 2}, {64, 4}};

class Mem2_MasterAllocatorTest : public ::testing::Test
{
protected:
    void* Alloc(std::size_t iSize) { return mAllocator.Alloc(iSize, this, 0); }
    void Free(void* iBlockP) { mAllocator.Free(iBlockP, this, 0); }

    // How many different blocks the class of a size has left. They are given back.
    std::size_t CountLeft(std::size_t iSize)
    {
        std::multiset<void*> blocks;
        while (void* const blockP = Alloc(iSize))
            blocks.insert(blockP);
        for (void* const blockP : blocks)
            Free(blockP);
        return std::set<void*>(blocks.begin(), blocks.end()).size();
    }

    RecordingAssertHandler mAsserts;
    Mem2_MasterAllocator mAllocator{kClasses};
};

TEST_F(Mem2_MasterAllocatorTest, ABlockComesFromTheSmallestClassThatHoldsIt)
{
    const std::pair<std::size_t, std::size_t> table[] = {
        {0, 0},    {1, 24},    {24, 24}, {25, 64}, // even where the alignment leaves room
        {65, 200}, {200, 200}, {201, 0}, {static_cast<std::size_t>(-1), 0},
    };
    for (const auto& [size, expectedClass] : table)
    {
        void* const blockP = Alloc(size);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(blockP) % Mem2_MasterAllocator::kAlignment, 0u);
        for (const auto& usage : mAllocator.GetUsage())
            EXPECT_EQ(usage.mInUse, usage.mBlockSize == expectedClass ? 1u : 0u) << size;
        Free(blockP);
    }
    EXPECT_EQ(CountLeft(10), 2u) << "an exhausted class does not borrow from a larger one";
    EXPECT_TRUE(mAsserts.Take().empty());
}

TEST_F(Mem2_MasterAllocatorTest, WrongFreesAreReportedAndChangeNothing)
{
    auto* const blockP = static_cast<std::byte*>(Alloc(64));
    std::byte foreign{};
    for (std::byte* const wrongP : {&foreign, blockP + 16, blockP + 1})
        Free(wrongP);
    EXPECT_EQ(mAsserts.Take().size(), 3u);
    EXPECT_EQ(CountLeft(64), 3u);
    Free(nullptr);
    Free(blockP);
    EXPECT_TRUE(mAsserts.Take().empty());
    Free(blockP);
    EXPECT_EQ(mAsserts.Take().size(), 1u);
    EXPECT_EQ(CountLeft(64), 4u);
}

TEST_F(Mem2_MasterAllocatorTest, ClassesThatMakeNoSenseAndBlocksThatAreNotGivenBackAreReported)
{
    {
        constexpr Mem2_MasterAllocator::SizeClass kOdd[] = {{0, 5}, {32, 0}, {16, 1}, {16, 9}};
        Mem2_MasterAllocator allocator(kOdd);
        EXPECT_EQ(mAsserts.Take().size(), 3u);
        EXPECT_NE(allocator.Alloc(1, this, 0), nullptr);
    }
    EXPECT_EQ(mAsserts.Take().size(), 1u);
}

// Threads take blocks, fill them, and pass them on through shared places, where any thread picks them up, checks and
// frees them. A block that has two owners, or overlaps another one, is spoiled.
TEST_F(Mem2_MasterAllocatorTest, EveryBlockHasOneOwnerAtATimeAndTheHeapTakesNoPart)
{
    using Content = std::array<unsigned, 6>;
    std::array<std::atomic<Content*>, 4> places{};
    std::atomic<int> spoiled{0};
    const auto release = [&](Content* iContentP)
    {
        if (iContentP != nullptr)
            spoiled += std::count(iContentP->begin(), iContentP->end(), iContentP->front()) != std::ssize(*iContentP);
        Free(iContentP);
    };
    const auto work = [&](unsigned iSeed)
    {
        const AllocationCounter allocations;
        std::minstd_rand random(iSeed);
        for (unsigned round = 0; round < 50'000; ++round)
        {
            auto* const contentP = static_cast<Content*>(Alloc(random() % 2 == 0 ? 24 : 64));
            if (contentP != nullptr)
                contentP->fill(iSeed + round);
            release(places[random() % places.size()].exchange(contentP));
        }
        EXPECT_EQ(allocations.GetCount(), 0);
    };
    std::vector<std::jthread> threads;
    for (unsigned thread = 1; thread <= 4; ++thread)
        threads.emplace_back(work, thread * 100'000);
    threads.clear();
    for (auto& place : places)
        release(place);

    EXPECT_EQ(spoiled, 0);
    EXPECT_TRUE(mAsserts.Take().empty());
    EXPECT_TRUE(CountLeft(24) == 2 && CountLeft(64) == 4) << "a block was lost or doubled on the way";
}

} // namespace
