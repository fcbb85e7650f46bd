#include "CFnd/Cmn_RefCountObject.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace
{

std::atomic<int> sAlive = 0;

struct Counted : Sys_ThreadSafeRefCountObject
{
    Counted() { ++sAlive; }
    ~Counted() override { --sAlive; }
};

} // namespace

TEST(Sys_ThreadSafeRefCountObject, OwnersOnManyThreadsLetGoInAnyOrder)
{
    for (int round = 0; round < 200; ++round)
    {
        const Cmn_AliasedRefCountPtr<Sys_ThreadSafeRefCountObject> ownerP(new Counted);
        const auto copyOften = [ownerP] { const std::vector copies(50, ownerP); };
        const std::jthread threads[] = {std::jthread(copyOften), std::jthread(copyOften), std::jthread(copyOften)};
    }
    EXPECT_EQ(sAlive, 0);
}
