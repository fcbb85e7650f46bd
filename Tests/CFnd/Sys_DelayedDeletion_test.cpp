#include "CFnd/Sys_DelayedDeletion.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace std::chrono_literals;

namespace
{

std::atomic<int> sDeletions = 0;

// Sets aside what it owns when it is deleted.
struct Object : Sys_DelayedDeletionObject
{
    explicit Object(Object* iOwnedP = nullptr) : mOwnedP(iOwnedP) {}
    ~Object() override
    {
        ++sDeletions;
        if (mOwnedP != nullptr)
            mOwnedP->DelayedDelete();
    }
    Object* const mOwnedP;
};

} // namespace

TEST(Sys_DelayedDeletion, OnlyWhatIsOldEnoughGoes)
{
    for (int i = 0; i < 3; ++i)
        (new Object)->DelayedDelete();
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(Sys_DelayedDeletion::Purge(std::chrono::milliseconds::max()), 0u);
    EXPECT_EQ(Sys_DelayedDeletion::Purge(20ms), 3u);
}

// By recursion, a chain of this length would overflow the stack.
TEST(Sys_DelayedDeletion, WhatDestructorsSetAsideGoesInTheSamePurge)
{
    Object* headP = nullptr;
    for (int i = 0; i < 300'000; ++i)
        headP = new Object(headP);
    headP->DelayedDelete();
    EXPECT_EQ(Sys_DelayedDeletion::Purge(0ms), 300'000u);
}

// A sanitizer sees an object that is deleted twice.
TEST(Sys_DelayedDeletion, EachObjectOfManyThreadsIsDeletedOnce)
{
    sDeletions = 0;
    const auto setAsideAndPurge = [](int iAgeInMilliseconds)
    {
        for (int i = 0; i < 3000; ++i)
        {
            (new Object)->DelayedDelete();
            Sys_DelayedDeletion::Purge(std::chrono::milliseconds(iAgeInMilliseconds));
        }
    };
    {
        const std::jthread rash(setAsideAndPurge, 0), alsoRash(setAsideAndPurge, 0), patient(setAsideAndPurge, 1000);
    }
    Sys_DelayedDeletion::Purge(0ms);
    EXPECT_EQ(sDeletions, 3 * 3000);
}
