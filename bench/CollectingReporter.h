#pragma once

// A console reporter that also keeps each run's figures, so that a benchmark's
// main() can print the library's figure beside its reference's and the ratio.

#include <benchmark/benchmark.h>

#include <map>
#include <string>

class CollectingReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred)
                continue;
            const auto it = run.counters.find("items_per_second");
            if (it != run.counters.end())
                rates[run.benchmark_name()] = it->second.value;
            seconds[run.benchmark_name()]
                = run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
        }
    }
    /// Items per second of each run that counts items, by run name.
    std::map<std::string, double> rates;
    /// Real time of one iteration in seconds, by run name.
    std::map<std::string, double> seconds;
};
