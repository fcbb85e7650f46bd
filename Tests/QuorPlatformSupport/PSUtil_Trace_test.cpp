#include "QuorPlatformSupport/PSUtil_Trace.h"

#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

TEST(PSUtil_Trace, OnlyActiveFacilitiesAreWrittenAndACallIsOneLineWhateverItsText)
{
    const TemporaryFolder folder;
    const ScopedEnvironment file("QUORTRACE_FILE", (folder.GetPath() / "trace").string());
    const ScopedEnvironment facilities("QUORTRACE_FACILITIES", "7,nonsense,0x2000F27x,010,-1,99999999999,0x4000E0F");
    const auto traceAndExit = [&]
    {
        int numEvaluated = 0;
        PSUTIL_TRACE(kTraceSysexMemory, "not active %d", ++numEvaluated);
        PSUTIL_TRACE(kTraceDiagnostics, "line %d of %s", ++numEvaluated, "two\nlines\tand\x7F\x01");
        EXPECT_EQ(numEvaluated, 1);
        EXPECT_TRUE(PSUtil_Trace::IsActive(7) && PSUtil_Trace::IsActive(8)); // 010 is octal
        EXPECT_FALSE(PSUtil_Trace::IsActive(-1) || PSUtil_Trace::IsActive(0));
        PSUTIL_TRACE(kTraceDiagnostics, "%s", std::string(5000, 'x').c_str());
        PSUTIL_TRACE(kTraceDiagnostics, "%s", "");
        std::filesystem::remove_all(folder.GetPath()); // the folder of that process outlives its object
        std::exit(HasFailure());
    };
    // The module reads its settings when it is loaded, so it traces in a process of its own.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(traceAndExit(), testing::ExitedWithCode(0), "");

    const std::string front = "[0-9]+\\.[0-9]{6} 0x4000E0F ";
    const testing::Matcher<const std::string&> isExpected = testing::MatchesRegex(
        front + "line 1 of two lines and  \n" + front + "x{900,1020}\n" + front + "\n"); // what is too long is cut
    const std::string trace = folder.ReadFile("trace");
    EXPECT_TRUE(isExpected.Matches(trace)) << trace;
}
