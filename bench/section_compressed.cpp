// What a display pays for one screen of a long record: a min/max view of 1000
// points, requested and fetched through a section, over 1 s and over the whole of
// a 10-minute record of 32-bit floats at 51200 Hz in 64 s parts (written once,
// before the timing, into a scratch directory). The 1 s view is served from the
// first pyramid level, the whole record from the second; a third case of 0.5 s
// takes the raw samples (ratio below 32). The files sit in the page cache, so the
// figures are of the library's work, not of the disk.
#include <benchmark/benchmark.h>
#include <zsff/RecordSection.h>

#include <vector>

#include "bench/SineRecord.h"

namespace {

constexpr unsigned long long kPoints = 1000;
const zsff::CChannelID kChannel(1, 0, 77);

zsff_bench::SineRecord& TheRecord() {
  static zsff_bench::SineRecord record({{kChannel, zsff::MetaDataContainer()}});
  return record;
}

void View(benchmark::State& state, float start, float stop) {
  zsff::CRecordSection& section = TheRecord().Section();
  std::vector<float> view(2 * kPoints);
  for (auto _ : state) {
    if (!section.RequestCompressedSignal(kChannel, start, stop, kPoints, false) ||
        section.GetCompressedSignal(kChannel, view.data(), zsff::SampleReadVolt) !=
            zsff::CompressReady) {
      state.SkipWithError("request failed");
      break;
    }
    benchmark::DoNotOptimize(view.data());
  }
  const zsff::CompressedSignalInfo_t info = section.GetCompressedSignalInfo(kChannel);
  state.counters["ratio"] = info.Ratio;
  state.counters["values"] = static_cast<double>(info.Size);
}

void BM_View1Second(benchmark::State& state) { View(state, 300.0f, 301.0f); }
void BM_ViewWholeRecord(benchmark::State& state) {
  View(state, 0.0f, static_cast<float>(zsff_bench::SineRecord::kSeconds));
}
void BM_ViewRawHalfSecond(benchmark::State& state) { View(state, 300.0f, 300.5f); }

BENCHMARK(BM_View1Second)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ViewWholeRecord)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ViewRawHalfSecond)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
