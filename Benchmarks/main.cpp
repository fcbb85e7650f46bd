#include "RatioReporter.h"

#include <vector>

// The two sides of each ratio run in turn, in random order, so that a machine that speeds up or slows down meanwhile
// does so for both.
int main(int iArgc, char** iArgv)
{
    char interleaving[] = "--benchmark_enable_random_interleaving=true";
    char repetitions[] = "--benchmark_repetitions=9";
    char minTime[] = "--benchmark_min_time=0.05";
    char aggregates[] = "--benchmark_display_aggregates_only=true";
    // What the caller says comes later and wins.
    std::vector<char*> arguments{iArgv[0], interleaving, repetitions, minTime, aggregates};
    arguments.insert(arguments.end(), iArgv + 1, iArgv + iArgc);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 2;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
