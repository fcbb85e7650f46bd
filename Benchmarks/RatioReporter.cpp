#include "RatioReporter.h"

#include <cstdio>
#include <map>

namespace
{

struct Claim
{
    std::string mName;
    double mLimit;
};

std::vector<Claim>& Claims()
{
    static std::vector<Claim> claims;
    return claims;
}

std::map<std::string, double>& MediansByName()
{
    static std::map<std::string, double> medians;
    return medians;
}

} // namespace

Ratio::Ratio(const std::string& iName, double iLimit, Function* iOurs, Function* iFloor)
{
    Claims().push_back({iName, iLimit});
    benchmark::RegisterBenchmark((iName + "/ours").c_str(), iOurs)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((iName + "/floor").c_str(), iFloor)->Unit(benchmark::kMillisecond);
}

void RatioReporter::ReportRuns(const std::vector<Run>& iRuns)
{
    for (const Run& run : iRuns)
        if (run.aggregate_name == "median")
            MediansByName()[run.run_name.function_name] = run.GetAdjustedCPUTime();
    ConsoleReporter::ReportRuns(iRuns);
}

void RatioReporter::Finalize()
{
    std::printf("\n%-36s %12s %12s %8s %8s\n", "medians", "ours, ms", "floor, ms", "ratio", "at most");
    for (const Claim& claim : Claims())
    {
        const double ours = MediansByName()[claim.mName + "/ours"];
        const double floor = MediansByName()[claim.mName + "/floor"];
        if (floor > 0)
            std::printf("%-36s %12.3f %12.3f %8.2f %8.2f%s\n", claim.mName.c_str(), ours, floor, ours / floor,
                        claim.mLimit, ours <= claim.mLimit * floor ? "" : "  OVER");
    }
    ConsoleReporter::Finalize();
}
