#include "CFnd/Cmn_Assert.h"

#include "Support/RecordingAssertHandler.h"

#include <gtest/gtest.h>

TEST(Cmn_Assert, AReportNamesTheExpressionAndTheSource)
{
    RecordingAssertHandler handler;
    int evaluations = 0;
    EXPECT_TRUE(CMN_VERIFY(++evaluations == 1));
    EXPECT_FALSE(CMN_VERIFY(evaluations % 2 == 0));
    EXPECT_EQ(handler.Take(), std::vector<std::string>{"evaluations % 2 == 0@$^$@Tests/CFnd/Cmn_Assert_test"});

    EXPECT_FALSE(Cmn_Assert::Verify(false, std::string(2000, 'x').c_str(), "/home/me/NewFileLibs/Mdid/A.cpp", 1));
    const std::string message = handler.Take().at(0);
    EXPECT_EQ(message.substr(message.find('@')), "@$^$@NewFileLibs/Mdid/A") << "cut off behind a long expression";
}
