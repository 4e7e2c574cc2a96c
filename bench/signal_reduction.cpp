// How fast the first stage of the pyramid reduces recorded samples, next to how fast the
// machine can merely move them. The recording path runs the block reduction over every
// sample, so its speed is measured on each kernel against the memory read bandwidth of the
// same buffer (samples far larger than the caches), and against memcpy of a buffer that
// stays in a core's cache: the summary at the end gives both in GB/s (10^9 bytes per
// second) and their ratios.
//
//   bench_signal_reduction [--benchmark_repetitions=N] [any Google Benchmark flag]
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "signal/BlockReduction.h"
#include "signal/ReductionKernel.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

using namespace zsff;

constexpr std::size_t kSamples = 100000000;
// Bytes of the buffer that stays in the cache: a quarter of a core's second-level cache.
constexpr std::size_t kCachedBytes = 128 * 1024;
constexpr unsigned long long kFactor = 32;

// A noisy sine, as a measured channel looks; built once per format and shared by the
// bandwidth and the reduction runs so that both read the very same memory.
template <typename T>
const std::vector<T>& Samples() {
  static const std::vector<T> samples = [] {
    std::vector<T> v(kSamples);
    std::mt19937 rng(2024);
    std::normal_distribution<double> noise(0.0, 0.05);
    for (std::size_t i = 0; i < v.size(); ++i) {
      const double x = std::sin(static_cast<double>(i) * 0.001) + noise(rng);
      v[i] = std::is_floating_point<T>::value ? static_cast<T>(x) : static_cast<T>(x * 30000.0);
    }
    return v;
  }();
  return samples;
}

// Reads every byte once with as little work per byte as the machine allows: 64-bit adds
// in several independent chains, so that only memory limits it.
unsigned long long SumBytes(const void* data, std::size_t bytes) {
  const auto* p = static_cast<const unsigned char*>(data);
  std::size_t i = 0;
  unsigned long long total = 0;
#ifdef __SSE2__
  __m128i a = _mm_setzero_si128(), b = a, c = a, d = a;
  for (; i + 64 <= bytes; i += 64) {
    a = _mm_add_epi64(a, _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i)));
    b = _mm_add_epi64(b, _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i + 16)));
    c = _mm_add_epi64(c, _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i + 32)));
    d = _mm_add_epi64(d, _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i + 48)));
  }
  unsigned long long lanes[2];
  _mm_storeu_si128(reinterpret_cast<__m128i*>(lanes),
                   _mm_add_epi64(_mm_add_epi64(a, b), _mm_add_epi64(c, d)));
  total = lanes[0] + lanes[1];
#else
  unsigned long long a = 0, b = 0, c = 0, d = 0, w[4];
  for (; i + 32 <= bytes; i += 32) {
    std::memcpy(w, p + i, 32);
    a += w[0];
    b += w[1];
    c += w[2];
    d += w[3];
  }
  total = a + b + c + d;
#endif
  for (; i < bytes; ++i) total += p[i];
  return total;
}

template <typename T>
void ReadBandwidth(benchmark::State& state) {
  const std::vector<T>& samples = Samples<T>();
  for (auto _ : state) {
    unsigned long long sum = SumBytes(samples.data(), samples.size() * sizeof(T));
    benchmark::DoNotOptimize(sum);
  }
  state.SetBytesProcessed(static_cast<long long>(state.iterations()) *
                          static_cast<long long>(samples.size() * sizeof(T)));
}

// Copies a buffer that stays in the cache into another: the in-cache yardstick.
template <typename T>
void CachedCopy(benchmark::State& state) {
  const std::vector<T> source(Samples<T>().begin(),
                              Samples<T>().begin() + kCachedBytes / sizeof(T));
  std::vector<T> copy(source.size());
  for (auto _ : state) {
    std::memcpy(copy.data(), source.data(), kCachedBytes);
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<long long>(state.iterations()) *
                          static_cast<long long>(kCachedBytes));
}

// The reduction of `samples` samples, again and again, on `kernel`.
template <typename T>
void BlockReduction(benchmark::State& state, reduction::ReductionKernel_t kernel,
                    std::size_t samples) {
  if (!reduction::SelectKernel(kernel)) {
    state.SkipWithError("the processor lacks this kernel");
    return;
  }
  const T* data = Samples<T>().data();
  std::vector<T> pairs(reduction::ReducedSize(samples, kFactor));
  for (auto _ : state) {
    unsigned long long missing = 0;
    double minimum = 0.0, maximum = 0.0;
    reduction::ReduceBlock(pairs.data(), pairs.size(), data, samples, kFactor, missing, minimum,
                           maximum);
    benchmark::DoNotOptimize(pairs.data());
    benchmark::ClobberMemory();
  }
  reduction::SelectKernel(reduction::ReductionKernelAuto);
  state.SetBytesProcessed(static_cast<long long>(state.iterations()) *
                          static_cast<long long>(samples * sizeof(T)));
}

// The console output as usual, plus the best rate of each run kept for the summary: the
// best of several runs is the one least disturbed by whatever else the machine does. When
// only aggregates are reported, the medians stand in.
class SummaryReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const bool single = run.run_type == Run::RT_Iteration;
      if (run.error_occurred || (!single && run.aggregate_name != "median")) continue;
      const auto rate = run.counters.find("bytes_per_second");
      if (rate == run.counters.end()) continue;
      double& best = (single ? m_Best : m_Median)[run.run_name.function_name];
      best = std::max(best, static_cast<double>(rate->second));
    }
    ConsoleReporter::ReportRuns(runs);
  }

  void PrintSummary() const {
    std::printf("\n%-8s %-9s %10s %14s %6s %12s %16s %6s\n", "format", "kernel", "read GB/s",
                "reduce (RAM)", "ratio", "memcpy GB/s", "reduce (cache)", "ratio");
    for (const char* format : {"float32", "int16"}) {
      for (const char* kernel : {"baseline", "avx2"}) {
        const std::string name = std::string("reduce/") + format + "/" + kernel;
        const double read = Find(std::string("read/") + format);
        const double copy = Find(std::string("memcpy/") + format);
        const double ram = Find(name + "/ram");
        const double cache = Find(name + "/cache");
        if (read <= 0.0 || copy <= 0.0 || ram <= 0.0 || cache <= 0.0) continue;
        std::printf("%-8s %-9s %10.2f %14.2f %6.2f %12.2f %16.2f %6.2f\n", format, kernel,
                    read / 1e9, ram / 1e9, ram / read, copy / 1e9, cache / 1e9, cache / copy);
      }
    }
  }

 private:
  double Find(const std::string& name) const {
    const auto best = m_Best.find(name);
    if (best != m_Best.end()) return best->second;
    const auto median = m_Median.find(name);
    return median == m_Median.end() ? 0.0 : median->second;
  }
  std::map<std::string, double> m_Best, m_Median;
};

template <typename T>
void Register(const std::string& format) {
  benchmark::RegisterBenchmark(("read/" + format).c_str(), ReadBandwidth<T>)
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark(("memcpy/" + format).c_str(), CachedCopy<T>);
  const std::pair<const char*, reduction::ReductionKernel_t> kernels[] = {
      {"baseline", reduction::ReductionKernelBaseline}, {"avx2", reduction::ReductionKernelAvx2}};
  for (const auto& kernel : kernels) {
    const std::string name = "reduce/" + format + "/" + kernel.first;
    benchmark::RegisterBenchmark((name + "/ram").c_str(), BlockReduction<T>, kernel.second,
                                 kSamples)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((name + "/cache").c_str(), BlockReduction<T>, kernel.second,
                                 kCachedBytes / sizeof(T));
  }
}

}  // namespace

int main(int argc, char** argv) {
  Register<float>("float32");
  Register<std::int16_t>("int16");
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  SummaryReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintSummary();
  benchmark::Shutdown();
  return 0;
}
