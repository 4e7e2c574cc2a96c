// What a display's zoom costs on a long measurement: one hour of one channel of
// 32-bit floats at 51200 Hz, asked for 1000 (min, max) points over the whole hour,
// over one minute and over one second, warm. Next to each, in the same run, the
// plain way: reading the span's raw samples through a section and reducing them
// with a loop. The pyramid should make the hour cost about what the second costs.
//
// The hour (about 700 MB) is recorded once through the tree into a fixed
// directory and reused by later runs; a marker file says it was finished.
#include <benchmark/benchmark.h>
#include <zsff/RecordId.h>
#include <zsff/RecordSignalTree.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bench/ZoomMeasurement.h"

namespace {

using Tree = zsff::CRecordSignalTree;

constexpr double kRate = 51200.0;
constexpr unsigned long long kBlock = 65536;
constexpr unsigned long long kHourSamples = 3600ULL * 51200ULL;
constexpr unsigned long long kPoints = 1000;
const zsff::CChannelID kChannel(1, 0, 4711);
const std::shared_ptr<zsff::CAbstractFileAccess> kNoStore;
const char* const kDirectory = "/tmp/zsff-bench-hour";
const char16_t* const kName = u"hour";

std::u16string Ascii(const std::string& text) { return std::u16string(text.begin(), text.end()); }

std::string Marker() { return std::string(kDirectory) + "/complete"; }

void RecordHour() {
  namespace fs = std::filesystem;
  fs::remove_all(kDirectory);
  fs::create_directories(kDirectory);
  zsff_bench::RecordRamp(Ascii(kDirectory), kName, kChannel, kHourSamples);
  std::ofstream(Marker()) << "one hour\n";
}

// The measurement, recorded first when no finished one is there.
std::unique_ptr<Tree> OpenHour() {
  if (!std::filesystem::exists(Marker())) {
    std::printf("recording one hour into %s (once)\n", kDirectory);
    std::fflush(stdout);
    RecordHour();
  }
  auto tree = Tree::OpenSignalTree(Ascii(kDirectory), kName, Tree::TreeOpenRead, kNoStore, false,
                                   u"", false);
  if (!tree) std::abort();
  return tree;
}

struct Span {
  double Start;
  double Stop;
};
const Span kSpans[] = {{0.0, 3600.0}, {1800.0, 1860.0}, {1800.0, 1801.0}};
const char* const kSpanNames[] = {"hour", "minute", "second"};

void BM_Zoomer(benchmark::State& state) {
  const Span span = kSpans[state.range(0)];
  auto tree = OpenHour();
  zsff_bench::TimeZoomer(state, *tree, kChannel, span.Start, span.Stop, kPoints,
                         kSpanNames[state.range(0)]);
}

// The span's raw samples, block by block, into kPoints equal shares.
void BM_RawMinMax(benchmark::State& state) {
  const Span span = kSpans[state.range(0)];
  auto tree = OpenHour();
  int handle = tree->OpenRecord(zsff::CRecordId(1ULL), Tree::TreeOpenRead, 0);
  if (handle == 0) std::abort();
  zsff::CAbstractRecordSection& section = tree->wRecord(handle);
  const unsigned long long total =
      static_cast<unsigned long long>((span.Stop - span.Start) * kRate);
  std::vector<float> buffer(kBlock);
  std::vector<float> pairs(2 * kPoints);
  for (auto _ : state) {
    if (!section.SetReadPos(kChannel, span.Start)) std::abort();
    unsigned long long done = 0;
    unsigned long long point = 0;
    unsigned long long pointEnd = total / kPoints;
    float low = 0.0f;
    float high = 0.0f;
    bool empty = true;
    while (done < total) {
      const unsigned long long read =
          section.ReadRawSampleBlock(kChannel, buffer.data(), std::min(kBlock, total - done));
      if (read == 0) std::abort();
      for (unsigned long long i = 0; i < read; ++i) {
        const float value = buffer[i];
        if (empty) {
          low = high = value;
          empty = false;
        } else {
          low = std::min(low, value);
          high = std::max(high, value);
        }
        if (done + i + 1 == pointEnd) {
          pairs[2 * point] = low;
          pairs[2 * point + 1] = high;
          ++point;
          pointEnd = (point + 1) * total / kPoints;
          empty = true;
        }
      }
      done += read;
    }
    benchmark::DoNotOptimize(pairs.data());
    if (point != kPoints) std::abort();
  }
  state.SetLabel(kSpanNames[state.range(0)]);
  tree->CloseRecord(handle, false);
}

BENCHMARK(BM_Zoomer)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_RawMinMax)->DenseRange(0, 2)->Unit(benchmark::kMicrosecond)->UseRealTime();

// The console report, then each request's time in µs and the verdict on the hour
// against the second.
class SummaryReporter : public zsff_bench::TimesReporter {
 public:
  void Finalize() override {
    ConsoleReporter::Finalize();
    for (int span = 0; span < 3; ++span) {
      const double zoom = Micros("BM_Zoomer", span);
      const double raw = Micros("BM_RawMinMax", span);
      std::printf("%-6s zoomer %10.1f us   raw read + min/max %12.1f us   (%.0fx)\n",
                  kSpanNames[span], zoom, raw, zoom > 0.0 ? raw / zoom : 0.0);
    }
    const double hour = Micros("BM_Zoomer", 0);
    const double second = Micros("BM_Zoomer", 2);
    if (hour > 0.0 && second > 0.0)
      std::printf("hour / second request: %.2f; hour request %s 1 ms\n", hour / second,
                  hour < 1000.0 ? "under" : "NOT under");
  }
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  SummaryReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
