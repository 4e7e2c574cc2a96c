// What a recording through the tree costs next to writing the same bytes with
// plain write(): the demo workload, 8 channels of 32-bit floats at 51200 Hz in
// blocks of 4096 samples, with the min/max pyramid, from CreateSignalTree to
// CloseSignalTree, against 8 files written block by block in the same run. The
// ratio of the two times is printed at the end.
//
// The argument is the local store's sync interval in milliseconds (0: none, as
// by default). The run records 10 s of signal far faster than real time: at 2000
// it syncs only once, when the tree closes its files; at 20 it syncs about as
// many times as a recording of 10 s in real time at the usual 2 s would (five),
// each sync with some 2 s of signal to write, so its difference to 0 is what
// those syncs cost.
//
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/RecordSignalTree.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/PlainWriteBaseline.h"

namespace {

constexpr int kChannels = 8;
constexpr double kRate = 51200.0;
constexpr unsigned long long kBlock = 4096;
constexpr double kSeconds = 10.0;
const unsigned long long kBlocks = static_cast<unsigned long long>(kSeconds * kRate) / kBlock;

using zsff_bench::Scratch;

// One block per channel, a tone of its own frequency, written again and again.
std::vector<std::vector<float>> Blocks() {
  std::vector<std::vector<float>> blocks(kChannels, std::vector<float>(kBlock));
  for (int channel = 0; channel < kChannels; ++channel)
    for (unsigned long long i = 0; i < kBlock; ++i)
      blocks[channel][i] = static_cast<float>(std::sin(0.001 * (channel + 1) * i));
  return blocks;
}

zsff::MetaDataContainer ChannelMetaData(int channel) {
  zsff::MetaDataContainer metaData;
  metaData.AddMetadata("SamplingRate", static_cast<float>(kRate));
  metaData.AddMetadata("DataFormat", std::u16string(u"SIFloat"));
  metaData.AddMetadata("Name", u"Channel " + std::u16string(1, u'1' + channel));
  return metaData;
}

void BM_TreeRecording(benchmark::State& state) {
  Scratch scratch;
  const auto blocks = Blocks();
  std::vector<zsff::CChannelID> ids;
  for (int channel = 0; channel < kChannels; ++channel)
    ids.emplace_back(static_cast<unsigned short>(channel + 1), 0, 4711);
  const std::shared_ptr<zsff::CAbstractFileAccess> noStore;

  for (auto _ : state) {
    auto tree = zsff::CRecordSignalTree::CreateSignalTree(scratch.Wide(), u"bench", noStore, false);
    if (!tree) std::abort();
    tree->SetSyncInterval(std::chrono::milliseconds(state.range(0)));
    int handle = tree->CreateRecord(0);
    zsff::CAbstractRecordSection& section = tree->wRecord(handle);
    std::map<zsff::CChannelID, zsff::TAG_RECORD_INFO> infos;
    for (int channel = 0; channel < kChannels; ++channel) {
      if (!section.AddChannel(ids[channel], ChannelMetaData(channel))) std::abort();
      infos[ids[channel]] = zsff::TAG_RECORD_INFO();
    }
    if (!section.ArmRecord(0.0, zsff::PartLengthShort, true) || !section.StartRecord(infos))
      std::abort();
    for (unsigned long long block = 0; block < kBlocks; ++block)
      for (int channel = 0; channel < kChannels; ++channel)
        if (!section.WriteSampleBlock(ids[channel], blocks[channel].data(), kBlock, true))
          std::abort();
    if (!section.StopRecord()) std::abort();
    tree->CloseRecord(handle, true);
    zsff::CRecordSignalTree::CloseSignalTree(tree);

    state.PauseTiming();
    scratch.Empty();
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * kBlocks * kChannels * kBlock * sizeof(float));
}

void BM_PlainWrite(benchmark::State& state) {
  Scratch scratch;
  const auto blocks = Blocks();
  for (auto _ : state) {
    std::vector<int> files = zsff_bench::CreatePlainFiles(scratch, kChannels, "plain");
    const size_t bytes = kBlock * sizeof(float);
    for (unsigned long long block = 0; block < kBlocks; ++block)
      for (int channel = 0; channel < kChannels; ++channel)
        zsff_bench::WriteAll(files[channel], blocks[channel].data(), bytes);
    zsff_bench::ClosePlainFiles(files);

    state.PauseTiming();
    scratch.Empty();
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * kBlocks * kChannels * kBlock * sizeof(float));
}

BENCHMARK(BM_TreeRecording)
    ->Arg(0)
    ->Arg(2000)
    ->Arg(20)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_PlainWrite)->Unit(benchmark::kMillisecond)->UseRealTime();

// The console report, and the ratios of the tree's mean times to the plain
// writes', over every repetition (or from the means when only those are reported).
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      const bool mean = run.run_type == Run::RT_Aggregate && run.aggregate_name == "mean";
      if (run.run_type != Run::RT_Iteration && !mean) continue;
      Totals& totals = m_Totals[run.run_name.str() + (mean ? "/mean" : "")];
      totals.Real += run.real_accumulated_time;
      totals.Cpu += run.cpu_accumulated_time;
      totals.Iterations += static_cast<double>(run.iterations);
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    const Totals plain = Mean("BM_PlainWrite/real_time");
    for (const char* interval : {"0", "2000", "20"}) {
      const Totals tree = Mean(std::string("BM_TreeRecording/") + interval + "/real_time");
      if (tree.Iterations > 0.0 && plain.Iterations > 0.0)
        std::printf(
            "tree recording, sync interval %s ms / plain write(): %.2f real time, %.2f CPU time\n",
            interval, (tree.Real / tree.Iterations) / (plain.Real / plain.Iterations),
            (tree.Cpu / tree.Iterations) / (plain.Cpu / plain.Iterations));
    }
  }

 private:
  struct Totals {
    double Real = 0.0;
    double Cpu = 0.0;
    double Iterations = 0.0;
  };
  Totals Mean(const std::string& name) const {
    auto found = m_Totals.find(name);
    if (found == m_Totals.end()) found = m_Totals.find(name + "/mean");
    return found == m_Totals.end() ? Totals() : found->second;
  }
  std::map<std::string, Totals> m_Totals;
};

}  // namespace

int main(int argc, char** argv) {
  RatioReporter reporter;
  return zsff_bench::RunBenchmarks(argc, argv, reporter);
}
