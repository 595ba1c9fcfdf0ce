// Pieces shared by the benchmark programs.
#ifndef BORVANE_BENCH_BENCH_SUPPORT_H_
#define BORVANE_BENCH_BENCH_SUPPORT_H_

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace borvane::bench {

// Keeps each benchmark's median time per iteration over its repetitions, for the ratios printed
// at the end: on a shared machine single runs move by a third.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs)
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
        times[run.run_name.function_name] = run.GetAdjustedRealTime();
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> times;
};

}  // namespace borvane::bench

#endif  // BORVANE_BENCH_BENCH_SUPPORT_H_
