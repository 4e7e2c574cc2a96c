// What the zoomer adds to a view of a finished measurement: 10 minutes of one
// channel of 32-bit floats at 51200 Hz in 64 s parts, asked for 1000 (min, max)
// points over 1 s and over the whole record, warm. Next to each, in the same run,
// the floor: the same pyramid level read straight through the signal module's
// compressed file reader, part by part, with the points the section gives each
// part. The zoomer should cost no more than a small multiple of that floor.
#include <benchmark/benchmark.h>
#include <zsff/RecordSignalTree.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/PlainWriteBaseline.h"
#include "bench/ZoomMeasurement.h"
#include "foundation/LocalFileAccess.h"
#include "signal/CompressedSignalFileReader.h"

namespace {

using Tree = zsff::CRecordSignalTree;

constexpr float kRate = zsff_bench::kZoomRate;
constexpr double kSeconds = 600.0;
constexpr double kPartSeconds = 64.0;
constexpr unsigned long long kPoints = 1000;
const zsff::CChannelID kChannel(1, 0, 4711);

struct Span {
  double Start;
  double Stop;
};
const Span kSpans[] = {{300.0, 301.0}, {0.0, kSeconds}};
const char* const kSpanNames[] = {"1 s", "whole"};

// The measurement, recorded through a tree once per run into a scratch directory.
class Measurement {
 public:
  Measurement() {
    zsff_bench::RecordRamp(m_Scratch.Wide(), u"minutes", kChannel,
                           static_cast<unsigned long long>(kSeconds * kRate));
    // A finished measurement has stood a while: a reader trusts the time of a
    // metadata file that has just been written only once it has settled.
    std::this_thread::sleep_for(std::chrono::seconds(3));
  }

  std::unique_ptr<Tree> Open() const {
    auto tree = Tree::OpenSignalTree(m_Scratch.Wide(), u"minutes", Tree::TreeOpenRead, nullptr,
                                     false, u"", false);
    if (!tree) std::abort();
    return tree;
  }

  // The directory of the channel's part files.
  std::string ChannelDirectory() const {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_Scratch.Dir())) {
      if (entry.path().extension() == ".zpr") return entry.path().parent_path().string();
    }
    std::abort();
  }

 private:
  zsff_bench::Scratch m_Scratch;
};

const Measurement& TheMeasurement() {
  static const Measurement measurement;
  return measurement;
}

void BM_Zoomer(benchmark::State& state) {
  const Span span = kSpans[state.range(0)];
  auto tree = TheMeasurement().Open();
  zsff_bench::TimeZoomer(state, *tree, kChannel, span.Start, span.Stop, kPoints,
                         kSpanNames[state.range(0)]);
}

// The span cut along the parts as the section cuts it, each piece read from the
// level its reader plans, with the readers kept from one view to the next.
void BM_PyramidLevel(benchmark::State& state) {
  const Span span = kSpans[state.range(0)];
  zsff::CLocalFileAccess store;
  const std::string directory = TheMeasurement().ChannelDirectory();
  const zsff::CRecordId record(zsff::CRecordId::RecordNameToId(
      std::filesystem::path(directory).parent_path().filename().u16string()));
  struct Piece {
    std::unique_ptr<zsff::CCompressedSignalFileReader> Reader;
    float Start, Stop;
    unsigned long long Points;
  };
  std::vector<Piece> pieces;
  const double secondsPerPoint = (span.Stop - span.Start) / static_cast<double>(kPoints);
  for (double position = span.Start; position < span.Stop;) {
    const auto part = static_cast<unsigned short>(position / kPartSeconds);
    const double partStart = part * kPartSeconds;
    const double start = static_cast<double>(static_cast<long long>(position - partStart));
    const double stop = std::min({span.Stop - partStart, kPartSeconds, kSeconds - partStart});
    const auto points = std::max(1ULL, static_cast<unsigned long long>(
                                           (stop - start) / secondsPerPoint + 0.1));
    pieces.push_back({std::make_unique<zsff::CCompressedSignalFileReader>(
                          directory, record.IdToSignalPartName_utf8(false, part), &store, 0, 4,
                          zsff::SIFloat, kRate, nullptr, kPartSeconds, zsff::SIFloat, part),
                      static_cast<float>(start), static_cast<float>(stop), points});
    position = partStart + stop;
  }
  std::vector<float> output;
  for (auto _ : state) {
    output.clear();
    for (Piece& piece : pieces) {
      zsff::CompressedSignalPlan_t plan =
          piece.Reader->Plan(piece.Start, piece.Stop, piece.Points, 0);
      if (plan.UseRawSignal || !piece.Reader->LevelRequest(piece.Start, piece.Stop, piece.Points, plan))
        std::abort();
      const std::size_t at = output.size();
      output.resize(at + piece.Reader->ResultSize());
      if (piece.Reader->Get(output.data() + at, plan) != zsff::CompressReady) std::abort();
    }
    benchmark::DoNotOptimize(output.data());
  }
  state.counters["pairs"] = static_cast<double>(output.size() / 2);
  state.SetLabel(kSpanNames[state.range(0)]);
}

BENCHMARK(BM_Zoomer)->DenseRange(0, 1)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_PyramidLevel)->DenseRange(0, 1)->Unit(benchmark::kMicrosecond)->UseRealTime();

// The console report, then the zoomer beside the direct read of its level, in µs
// (the medians when runs are repeated), and their ratio.
class SideBySideReporter : public zsff_bench::TimesReporter {
 public:
  void Finalize() override {
    ConsoleReporter::Finalize();
    for (int span = 0; span < 2; ++span) {
      const double zoom = Micros("BM_Zoomer", span);
      const double level = Micros("BM_PyramidLevel", span);
      std::printf("%-6s zoomer %8.1f us   pyramid level read %8.1f us   zoomer/level %.2f\n",
                  kSpanNames[span], zoom, level, level > 0.0 ? zoom / level : 0.0);
    }
  }
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  SideBySideReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
