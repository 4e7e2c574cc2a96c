// The console report, keeping each run's time per iteration over the repetitions,
// so that a benchmark can print the medians and their ratios to its baseline at
// the end, beside the load average the machine had.
#pragma once

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace zsff_bench {

class MedianReporter : public benchmark::ConsoleReporter {
 public:
  struct Medians {
    std::size_t Repetitions = 0;
    double Real = 0.0;  // seconds per iteration
    double Cpu = 0.0;
  };

  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      const double iterations = static_cast<double>(run.iterations);
      Times& times = m_Times[run.run_name.str()];
      times.Real.push_back(run.real_accumulated_time / iterations);
      times.Cpu.push_back(run.cpu_accumulated_time / iterations);
      for (const auto& counter : run.counters) m_Counters[counter.first] = counter.second;
    }
  }

 protected:
  // The medians of the run named `name` (as "BM_Name/arg/real_time"); false when
  // it did not run.
  bool Find(const std::string& name, Medians& medians) const {
    const auto times = m_Times.find(name);
    if (times == m_Times.end()) return false;
    medians = {times->second.Real.size(), Median(times->second.Real), Median(times->second.Cpu)};
    return true;
  }
  // Every run's name with its medians, in the order of the names.
  std::map<std::string, Medians> All() const {
    std::map<std::string, Medians> all;
    for (const auto& entry : m_Times) Find(entry.first, all[entry.first]);
    return all;
  }
  const benchmark::Counter* Counter(const std::string& name) const {
    const auto counter = m_Counters.find(name);
    return counter == m_Counters.end() ? nullptr : &counter->second;
  }
  static void PrintLoadAverage() {
    double load[3] = {0.0, 0.0, 0.0};
    if (::getloadavg(load, 3) == 3)
      std::printf("load average at the end: %.2f, %.2f, %.2f\n", load[0], load[1], load[2]);
  }

 private:
  struct Times {
    std::vector<double> Real;
    std::vector<double> Cpu;
  };
  static double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2.0;
  }
  std::map<std::string, Times> m_Times;
  std::map<std::string, benchmark::Counter> m_Counters;
};

}  // namespace zsff_bench
