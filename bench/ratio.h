// A console reporter that also remembers each benchmark's median real time, so a benchmark
// program can print the ratio of its own code to a baseline or a peer measured in the same run.
//
//   int main(int argc, char** argv) {
//     benchmark::Initialize(&argc, argv);
//     MedianReporter r;
//     benchmark::RunSpecifiedBenchmarks(&r);
//     r.PrintRatio("BM_Store", "BM_Memcpy");
//   }
// Run with --benchmark_repetitions=N for medians; with one repetition the single time is used.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

class MedianReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& r : runs) {
      const std::string name = r.run_name.str();
      if (r.aggregate_name == "median" || (r.aggregate_name.empty() && !medians_.count(name)))
        medians_[name] = r.GetAdjustedRealTime();
    }
    ConsoleReporter::ReportRuns(runs);
  }

  // Prints "name / base = ratio" when both were measured; returns the ratio or 0.
  double PrintRatio(const std::string& name, const std::string& base) const {
    const auto a = medians_.find(name), b = medians_.find(base);
    if (a == medians_.end() || b == medians_.end() || b->second <= 0) {
      std::printf("%s / %s: not measured\n", name.c_str(), base.c_str());
      return 0;
    }
    const double ratio = a->second / b->second;
    std::printf("%s / %s = %.2f (median times)\n", name.c_str(), base.c_str(), ratio);
    return ratio;
  }

 private:
  std::map<std::string, double> medians_;
};
