#include "bench/medians.h"

#include <benchmark/benchmark.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace {

using Medians = std::map<std::string, double>;

class MedianReporter : public benchmark::ConsoleReporter {
  public:
    MedianReporter() : ConsoleReporter(OO_Tabular) {}
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                medians[run.run_name.function_name] = run.GetAdjustedRealTime();
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    Medians medians;
};

}  // namespace

void chooseProcessors(int* argc, char** argv) {
    if (*argc > 1 && argv[1] == std::string("--two-processors")) {
        std::rotate(argv + 1, argv + 2, argv + (*argc)--);
        return;
    }
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    sched_setaffinity(0, sizeof(one), &one);
}

Median runForMedians(int argc, char** argv) {
    // Turns of the peers are mixed, so that what else the machine does meets all of them.
    std::vector<std::string> words = {
            argv[0], "--benchmark_repetitions=15", "--benchmark_enable_random_interleaving=true",
            "--benchmark_report_aggregates_only=true", "--benchmark_min_time=0.2"};
    words.insert(words.end(), argv + 1, argv + argc);
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) exit(2);

    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printf("\nOf the median times:\n");
    return [medians = reporter.medians](const char* name) mutable { return medians[name]; };
}
