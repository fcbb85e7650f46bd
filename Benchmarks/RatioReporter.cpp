#include "RatioReporter.h"

#include <algorithm>
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

constexpr char kMeasured[] = "measured";

std::vector<Claim>& Bounds()
{
    static std::vector<Claim> bounds;
    return bounds;
}

std::map<std::string, double>& MeasuredByName()
{
    static std::map<std::string, double> measured;
    return measured;
}

void PrintBound(const Claim& iBound)
{
    const auto found = MeasuredByName().find(iBound.mName);
    if (found != MeasuredByName().end())
        std::printf("%-66s %8.2f %8.2f%s\n", iBound.mName.c_str(), found->second, iBound.mLimit,
                    found->second <= iBound.mLimit ? "" : "  OVER");
}

} // namespace

Ratio::Ratio(const std::string& iName, double iLimit, Function* iOurs, Function* iFloor, Clock iClock)
{
    Claims().push_back({iName, iLimit});
    const auto add = [iClock](const std::string& name, Function* function)
    {
        auto* const addedP = benchmark::RegisterBenchmark(name.c_str(), function)->Unit(benchmark::kMillisecond);
        if (iClock == Clock::kWall)
            addedP->UseRealTime();
    };
    add(iName + "/ours", iOurs);
    add(iName + "/floor", iFloor);
}

Bound::Bound(const std::string& iName, double iLimit, Function* iMeasure)
{
    Bounds().push_back({iName, iLimit});
    const auto measure = [iMeasure](benchmark::State& ioState)
    {
        for (auto _ : ioState)
            ioState.counters[kMeasured] = iMeasure();
    };
    benchmark::RegisterBenchmark(iName.c_str(), measure)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(1);
}

void RatioReporter::ReportRuns(const std::vector<Run>& iRuns)
{
    for (const Run& run : iRuns)
        if (run.aggregate_name == "median")
            MediansByName()[run.run_name.function_name] =
                run.run_name.time_type.empty() ? run.GetAdjustedCPUTime() : run.GetAdjustedRealTime();
    for (const Run& run : iRuns)
        if (const auto found = run.counters.find(kMeasured); found != run.counters.end())
            MeasuredByName()[run.run_name.function_name] = found->second;
    ConsoleReporter::ReportRuns(iRuns);
}

void RatioReporter::Finalize()
{
    std::printf("\n%-40s %12s %12s %8s %8s\n", "medians", "ours, ms", "floor, ms", "ratio", "at most");
    for (const Claim& claim : Claims())
    {
        const double ours = MediansByName()[claim.mName + "/ours"];
        const double floor = MediansByName()[claim.mName + "/floor"];
        if (floor > 0)
            std::printf("%-40s %12.3f %12.3f %8.2f %8.2f%s\n", claim.mName.c_str(), ours, floor, ours / floor,
                        claim.mLimit, ours <= claim.mLimit * floor ? "" : "  OVER");
    }
    std::ranges::for_each(Bounds(), PrintBound);
    ConsoleReporter::Finalize();
}
