// Pieces shared by the benchmark programs.
#ifndef BORVANE_BENCH_BENCH_SUPPORT_H_
#define BORVANE_BENCH_BENCH_SUPPORT_H_

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace borvane::bench {

// Keeps each benchmark's median time per iteration over its repetitions, for the ratios printed
// at the end: on a shared machine single runs move by a third. With `cpu_time` the medians are
// of the process's CPU time, which another process's load on the machine moves far less than
// the wall-clock time, for single-threaded code.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  explicit RatioReporter(bool cpu = false) : cpu_time(cpu) {}
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs)
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
        times[run.run_name.function_name] =
            cpu_time ? run.GetAdjustedCPUTime() : run.GetAdjustedRealTime();
    ConsoleReporter::ReportRuns(runs);
  }
  bool cpu_time;
  std::map<std::string, double> times;
};

}  // namespace borvane::bench

#endif  // BORVANE_BENCH_BENCH_SUPPORT_H_
