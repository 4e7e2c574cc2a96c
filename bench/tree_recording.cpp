// What a recording through the tree costs next to writing the same bytes with
// plain write(): blocks of 4096 samples per channel, with the min/max pyramid,
// from CreateSignalTree to CloseSignalTree, against one file per channel written
// block by block in the same run. Three workloads of 60 s of signal: 8 channels
// of 32-bit floats at 51200 Hz (the demo's), 8 channels of 16-bit samples at the
// same rate, and one channel of floats at 1 MHz. The medians of the repetitions
// and their ratios are printed at the end; run with
//   --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true
// to interleave the two sides.
//
// Run it with TMPDIR=/dev/shm to measure the library rather than the file
// system's allocator: on an ext4 without a journal every file created skips, one
// by one, the inodes deleted in the last minute or so, and the cleanup between
// repetitions deletes the tree's hundred files each time, so that creating files
// grows to nearly half of a 10 s recording (perf: find_inode_bit and
// recently_deleted) while the plain side's eight files barely notice.
//
// The demo workload also runs for 10 s with the local store's sync interval at
// 0 (none, as by default), 2000 and 20 ms. The run records far faster than real
// time: at 2000 it syncs only once, when the tree closes its files; at 20 it
// syncs about as many times as a recording of 10 s in real time at the usual 2 s
// would (five), each sync with some 2 s of signal to write, so its difference to
// 0 is what those syncs cost.
//
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/RecordSignalTree.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/MedianReporter.h"
#include "bench/PlainWriteBaseline.h"

namespace {

constexpr unsigned long long kBlock = 4096;
constexpr double kLongSeconds = 1800.0;

using zsff_bench::Scratch;

struct Workload {
  const char* Name;
  int Channels;
  double Rate;
  const char16_t* DataFormat;
  std::size_t SampleBytes;
};

const Workload kWorkloads[] = {
    {"8 channels of float32 at 51200 Hz", 8, 51200.0, u"SIFloat", 4},
    {"8 channels of int16 at 51200 Hz", 8, 51200.0, u"Compact16", 2},
    {"1 channel of float32 at 1 MHz", 1, 1e6, u"SIFloat", 4},
};

// A run of the plain writes, and one of the tree with the plain run it compares with.
struct PlainCase {
  int Workload;
  double Seconds;
};
const PlainCase kPlainCases[] = {{0, 60.0}, {1, 60.0}, {2, 60.0}, {0, 10.0}};

struct TreeCase {
  int Plain;
  long long SyncMilliseconds;
};
const TreeCase kTreeCases[] = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {3, 2000}, {3, 20}};

unsigned long long Blocks(const Workload& workload, double seconds) {
  return static_cast<unsigned long long>(seconds * workload.Rate) / kBlock;
}

// One block per channel, a tone of its own frequency, written again and again.
std::vector<std::vector<unsigned char>> ChannelBlocks(const Workload& workload) {
  std::vector<std::vector<unsigned char>> blocks(workload.Channels);
  for (int channel = 0; channel < workload.Channels; ++channel) {
    blocks[channel].resize(kBlock * workload.SampleBytes);
    for (unsigned long long i = 0; i < kBlock; ++i) {
      const double x = std::sin(0.001 * (channel + 1) * static_cast<double>(i));
      unsigned char* at = blocks[channel].data() + i * workload.SampleBytes;
      if (workload.SampleBytes == 2) {
        const std::int16_t value = static_cast<std::int16_t>(x * 30000.0);
        std::memcpy(at, &value, sizeof value);
      } else {
        const float value = static_cast<float>(x);
        std::memcpy(at, &value, sizeof value);
      }
    }
  }
  return blocks;
}

zsff::MetaDataContainer ChannelMetaData(const Workload& workload, int channel) {
  zsff::MetaDataContainer metaData;
  metaData.AddMetadata("SamplingRate", static_cast<float>(workload.Rate));
  metaData.AddMetadata("DataFormat", std::u16string(workload.DataFormat));
  metaData.AddMetadata("Name", u"Channel " + std::u16string(1, u'1' + channel));
  return metaData;
}

// The process's resident size in bytes.
double ResidentBytes() {
  long pages = 0, resident = 0;
  std::FILE* statm = std::fopen("/proc/self/statm", "r");
  if (statm == nullptr) return 0.0;
  if (std::fscanf(statm, "%ld %ld", &pages, &resident) != 2) resident = 0;
  std::fclose(statm);
  return static_cast<double>(resident) * static_cast<double>(::sysconf(_SC_PAGESIZE));
}

// One whole recording of `seconds` of the workload into the scratch directory;
// `atBlock` is called after each block of all channels with the blocks written.
template <typename AtBlock>
void Record(const Scratch& scratch, const Workload& workload, double seconds,
            long long syncMilliseconds, AtBlock atBlock) {
  const auto blocks = ChannelBlocks(workload);
  std::vector<zsff::CChannelID> ids;
  for (int channel = 0; channel < workload.Channels; ++channel)
    ids.emplace_back(static_cast<unsigned short>(channel + 1), 0, 4711);
  const std::shared_ptr<zsff::CAbstractFileAccess> noStore;

  auto tree = zsff::CRecordSignalTree::CreateSignalTree(scratch.Wide(), u"bench", noStore, false);
  if (!tree) std::abort();
  tree->SetSyncInterval(std::chrono::milliseconds(syncMilliseconds));
  int handle = tree->CreateRecord(0);
  zsff::CAbstractRecordSection& section = tree->wRecord(handle);
  std::map<zsff::CChannelID, zsff::TAG_RECORD_INFO> infos;
  for (int channel = 0; channel < workload.Channels; ++channel) {
    if (!section.AddChannel(ids[channel], ChannelMetaData(workload, channel))) std::abort();
    infos[ids[channel]] = zsff::TAG_RECORD_INFO();
  }
  if (!section.ArmRecord(0.0, zsff::PartLengthShort, true) || !section.StartRecord(infos))
    std::abort();
  const unsigned long long count = Blocks(workload, seconds);
  for (unsigned long long block = 0; block < count; ++block) {
    for (int channel = 0; channel < workload.Channels; ++channel)
      if (!section.WriteSampleBlock(ids[channel], blocks[channel].data(), kBlock, true))
        std::abort();
    atBlock(block + 1);
  }
  if (!section.StopRecord()) std::abort();
  tree->CloseRecord(handle, true);
  zsff::CRecordSignalTree::CloseSignalTree(tree);
}

void BM_TreeRecording(benchmark::State& state) {
  const TreeCase& run = kTreeCases[state.range(0)];
  const PlainCase& plain = kPlainCases[run.Plain];
  const Workload& workload = kWorkloads[plain.Workload];
  Scratch scratch;
  for (auto _ : state) {
    Record(scratch, workload, plain.Seconds, run.SyncMilliseconds, [](unsigned long long) {});
    state.PauseTiming();
    scratch.Empty();
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * Blocks(workload, plain.Seconds) * workload.Channels *
                          kBlock * workload.SampleBytes);
}

void BM_PlainWrite(benchmark::State& state) {
  const PlainCase& plain = kPlainCases[state.range(0)];
  const Workload& workload = kWorkloads[plain.Workload];
  Scratch scratch;
  const auto blocks = ChannelBlocks(workload);
  const unsigned long long count = Blocks(workload, plain.Seconds);
  for (auto _ : state) {
    std::vector<int> files = zsff_bench::CreatePlainFiles(scratch, workload.Channels, "plain");
    for (unsigned long long block = 0; block < count; ++block)
      for (int channel = 0; channel < workload.Channels; ++channel)
        zsff_bench::WriteAll(files[channel], blocks[channel].data(), blocks[channel].size());
    zsff_bench::ClosePlainFiles(files);

    state.PauseTiming();
    scratch.Empty();
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * count * workload.Channels * kBlock *
                          workload.SampleBytes);
}

// 30 minutes of the demo workload, once, with the resident size after the first
// minute and at the end as counters (MiB).
void BM_ResidentSize(benchmark::State& state) {
  const Workload& workload = kWorkloads[0];
  const unsigned long long minute = Blocks(workload, 60.0);
  Scratch scratch;
  for (auto _ : state) {
    double afterMinute = 0.0;
    Record(scratch, workload, kLongSeconds, 0, [&](unsigned long long written) {
      if (written == minute) afterMinute = ResidentBytes();
      if (written == Blocks(workload, kLongSeconds))
        state.counters["resident_end_MiB"] = ResidentBytes() / (1 << 20);
    });
    state.counters["resident_1min_MiB"] = afterMinute / (1 << 20);
    state.PauseTiming();
    scratch.Empty();
    state.ResumeTiming();
  }
}

BENCHMARK(BM_TreeRecording)->DenseRange(0, 5)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PlainWrite)->DenseRange(0, 3)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ResidentSize)
    ->Iterations(1)
    ->Repetitions(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// For each run of the tree the median over the repetitions of its time per
// iteration and of its plain writes', and their ratio; then the resident sizes.
class RatioReporter : public zsff_bench::MedianReporter {
 public:
  void Finalize() override {
    MedianReporter::Finalize();
    PrintLoadAverage();
    for (std::size_t t = 0; t < sizeof kTreeCases / sizeof kTreeCases[0]; ++t) {
      const TreeCase& run = kTreeCases[t];
      const PlainCase& plainCase = kPlainCases[run.Plain];
      Medians tree, plain;
      if (!Find("BM_TreeRecording/" + std::to_string(t) + "/real_time", tree) ||
          !Find("BM_PlainWrite/" + std::to_string(run.Plain) + "/real_time", plain))
        continue;
      std::printf(
          "%s, %.0f s, sync interval %lld ms, medians of %zu: tree %.1f ms (CPU %.1f), plain "
          "write() %.1f ms (CPU %.1f): %.2f real time, %.2f CPU time\n",
          kWorkloads[plainCase.Workload].Name, plainCase.Seconds, run.SyncMilliseconds,
          tree.Repetitions, tree.Real * 1e3, tree.Cpu * 1e3, plain.Real * 1e3, plain.Cpu * 1e3,
          tree.Real / plain.Real, tree.Cpu / plain.Cpu);
    }
    const benchmark::Counter* minute = Counter("resident_1min_MiB");
    const benchmark::Counter* end = Counter("resident_end_MiB");
    if (minute != nullptr && end != nullptr)
      std::printf("resident size recording: %.1f MiB after 1 min, %.1f MiB after 30 min\n",
                  static_cast<double>(minute->value), static_cast<double>(end->value));
  }
};

}  // namespace

int main(int argc, char** argv) {
  RatioReporter reporter;
  return zsff_bench::RunBenchmarks(argc, argv, reporter);
}
