#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

// A measured claim: this code takes at most a given multiple of the time of a floor, on the same data in the same run.
//
//     const Ratio sRatio("Reader/count", 2.0, BM_ReadAndCount, BM_ScanAndCount);
class Ratio
{
public:
    using Function = void(benchmark::State&);

    enum class Clock
    {
        kProcessor,
        kWall // for what waits for a disk
    };

    Ratio(const std::string& iName, double iLimit, Function* iOurs, Function* iFloor, Clock iClock = Clock::kProcessor);
};

// A measured claim about something else than time: the number that a function, run once, returns is at most this.
class Bound
{
public:
    using Function = double();

    Bound(const std::string& iName, double iLimit, Function* iMeasure);
};

// Prints Google Benchmark's own table, then a row for every ratio: the medians, their quotient and the limit,
// and one for every bound.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    RatioReporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& iRuns) override;
    void Finalize() override;
};
