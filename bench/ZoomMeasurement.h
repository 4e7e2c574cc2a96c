// What the zoom benchmarks share: a measurement of one channel of 32-bit floats
// at 51200 Hz in 64 s parts, recorded through a tree as a host records it, and a
// console report that keeps each benchmark's time for a summary printed after it.
#pragma once

#include <benchmark/benchmark.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/RecordSignalTree.h>
#include <zsff/RecordZoomer.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zsff_bench {

constexpr float kZoomRate = 51200.0f;

// `samples` of a ramp that wraps every 100000 samples (cheap to make, and every
// point of a view has extremes a reader can tell apart) as the one record of a new
// measurement `name` in `directory`.
inline void RecordRamp(const std::u16string& directory, const std::u16string& name,
                       const zsff::CChannelID& channel, unsigned long long samples) {
  using Tree = zsff::CRecordSignalTree;
  constexpr unsigned long long kBlock = 65536;
  auto tree = Tree::CreateSignalTree(directory, name, nullptr, false);
  if (!tree) std::abort();
  int handle = tree->CreateRecord(0);
  zsff::CAbstractRecordSection& section = tree->wRecord(handle);
  zsff::MetaDataContainer metaData;
  zsff::CMetaDataChannelWriter writer(metaData);
  writer.SamplingRate(kZoomRate);
  writer.Format("SIFloat");
  if (!section.AddChannel(channel, metaData)) std::abort();
  std::map<zsff::CChannelID, zsff::TAG_RECORD_INFO> infos;
  infos[channel] = zsff::TAG_RECORD_INFO();
  if (!section.ArmRecord(0.0, zsff::PartLengthShort, true) || !section.StartRecord(infos))
    std::abort();
  std::vector<float> block(kBlock);
  for (unsigned long long done = 0; done < samples; done += kBlock) {
    const unsigned long long count = std::min(kBlock, samples - done);
    for (unsigned long long i = 0; i < count; ++i)
      block[i] = static_cast<float>((done + i) % 100000);
    if (!section.WriteSampleBlock(channel, block.data(), count, true)) std::abort();
  }
  if (!section.StopRecord()) std::abort();
  tree->CloseRecord(handle, true);
  Tree::CloseSignalTree(tree);
}

// Times the zoomer's view of [start, stop] seconds of `channel` of `tree` in
// `points` points, warm: the first request opens and caches what the others find.
inline void TimeZoomer(benchmark::State& state, zsff::CRecordSignalTree& tree,
                       const zsff::CChannelID& channel, double start, double stop,
                       unsigned long long points, const char* label) {
  zsff::CRecordZoomer zoomer;
  if (!zoomer.Init(&tree, channel)) std::abort();
  std::vector<float> output;
  const auto view = [&]() {
    if (!zoomer.GetCompressedSignal(channel, static_cast<float>(start), static_cast<float>(stop),
                                    points, false, 0, output))
      std::abort();
  };
  view();
  for (auto _ : state) {
    view();
    benchmark::DoNotOptimize(output.data());
  }
  state.counters["pairs"] = static_cast<double>(output.size() / 2);
  state.SetLabel(label);
  zoomer.Clean(true);
}

// The console report, keeping the real time in µs of each single run, or the
// median of repeated ones, for the summary a subclass prints in Finalize.
class TimesReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
      if ((run.run_type != Run::RT_Iteration && !median) || run.iterations == 0) continue;
      m_Micros[run.run_name.str()] = run.GetAdjustedRealTime();  // the benchmarks count in µs
    }
  }

 protected:
  // The time of benchmark `name` with argument `argument`; 0 when it didn't run.
  double Micros(const std::string& name, int argument) const {
    const auto found = m_Micros.find(name + "/" + std::to_string(argument) + "/real_time");
    return found == m_Micros.end() ? 0.0 : found->second;
  }

 private:
  std::map<std::string, double> m_Micros;
};

}  // namespace zsff_bench
