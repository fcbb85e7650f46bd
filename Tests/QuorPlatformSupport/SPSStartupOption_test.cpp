#include "QuorPlatformSupport/SPSStartupOption.h"

#include "Support/ScopedEnvironment.h"

#include <gtest/gtest.h>

TEST(SPSStartupOptionBool, TheEnvironmentOverrulesTheDefaultOnlyWithAWordThatItKnows)
{
    static constexpr std::tuple<const char*, bool, bool> kTable[] = {
        {"1", true, true},   {"true", true, true},    {"On", true, true},    {"YES", true, true},
        {"0", false, false}, {"FALSE", false, false}, {"off", false, false}, {"No", false, false},
        {"", false, true},   {"2", false, true},      {" 1", false, true},   {"truely", false, true},
    };
    for (const auto& [text, whenDefaultIsFalse, whenDefaultIsTrue] : kTable)
    {
        const ScopedEnvironment environment("MDID_OPTION_PLAYLOUD2", text);
        EXPECT_EQ(SPSStartupOptionBool("PlayLoud2", "", false), whenDefaultIsFalse) << text;
        EXPECT_EQ(SPSStartupOptionBool("PlayLoud2", "", true), whenDefaultIsTrue) << text;
    }
}

TEST(SPSStartupOptionBool, AHostListsTheOptionsThatLiveAndSetsThem)
{
    const SPSStartupOptionBool first("First", "", false);
    SPSStartupOptionBool("Second", "", false);
    const SPSStartupOptionBool third("Third", "", false);
    std::string names;
    SPSStartupOptionBool::ForEach([&](SPSStartupOptionBool& iOption) { names += iOption.GetName(); });
    EXPECT_EQ(names, "FirstThird");
}
