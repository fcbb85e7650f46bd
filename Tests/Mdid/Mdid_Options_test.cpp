#include "Mdid/Mdid_Options.h"

#include "QuorPlatformSupport/SPSStartupOption.h"
#include "Support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

TEST(Mdid_Options, AllowMPEComesFromTheEnvironment)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a process of its own
    for (const int value : {0, 1})
    {
        const ScopedEnvironment environment("MDID_OPTION_ALLOWMPE", std::to_string(value));
        EXPECT_EXIT(std::exit(Mdid_AllowMPE() ? 1 : 0), testing::ExitedWithCode(value), "");
    }
}
