// What a recording onto CephFS through the tree costs next to writing the same
// bytes through libcephfs directly: 8 channels of 32-bit floats at 51200 Hz for
// 60 s in blocks of 4096 samples, the tree taking the file system for its disk
// (with the min/max pyramid, the temporary record file and the metadata),
// against one file per channel written block by block with ceph_write() on the
// same mount, in the same run. The medians of the repetitions and their ratio
// are printed at the end; run with
//   --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true
// With ZSFF_CEPH_CONF naming a cluster's config it runs there; otherwise it
// starts a throwaway one (tests/ceph/cluster.sh) and kills it at the end.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>
#include <zsff/CephFileAccess.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/RecordSignalTree.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/MedianReporter.h"

namespace {

constexpr int kChannels = 8;
constexpr double kRate = 51200.0;
constexpr double kSeconds = 60.0;
constexpr unsigned long long kBlock = 4096;
constexpr unsigned long long kBlocks = static_cast<unsigned long long>(kSeconds * kRate) / kBlock;

// The cluster the run writes to, started here when none is named.
class Cluster {
 public:
  Cluster() {
    if (const char* conf = std::getenv("ZSFF_CEPH_CONF")) {
      m_Config = conf;
      return;
    }
    char pattern[] = "/tmp/zsff-bench-ceph-XXXXXX";
    if (mkdtemp(pattern) == nullptr) std::abort();
    m_Dir = pattern;
    if (std::system((std::string(ZSFF_CEPH_CLUSTER_SCRIPT) + " start " + m_Dir).c_str()) != 0)
      std::abort();
    m_Config = m_Dir + "/ceph.conf";
  }
  ~Cluster() {
    if (!m_Dir.empty())
      std::system((std::string(ZSFF_CEPH_CLUSTER_SCRIPT) + " stop " + m_Dir).c_str());
  }
  const std::string& Config() const { return m_Config; }

 private:
  std::string m_Dir, m_Config;
};

Cluster& TheCluster() {
  static Cluster cluster;
  return cluster;
}

// One store, mounted once, for both sides.
zsff::CCephFileAccess& Store() {
  static zsff::CCephFileAccess* store = [] {
    zsff::CephLocation location;
    location.ConfigPath = TheCluster().Config();
    auto* mounted = new zsff::CCephFileAccess(location);
    if (!mounted->Mount()) {
      std::fprintf(stderr, "%s\n", mounted->LastErrorText().c_str());
      std::abort();
    }
    return mounted;
  }();
  return *store;
}

std::vector<std::vector<float>> ChannelBlocks() {
  std::vector<std::vector<float>> blocks(kChannels, std::vector<float>(kBlock));
  for (int channel = 0; channel < kChannels; ++channel)
    for (unsigned long long i = 0; i < kBlock; ++i)
      blocks[channel][i] = static_cast<float>(std::sin(0.001 * (channel + 1) * i));
  return blocks;
}

// A fresh directory of the file system for a round, "/bench-<n>".
std::u16string NewDirectory() {
  static int s_Rounds = 0;
  const std::string name = "/bench-" + std::to_string(getpid()) + "-" + std::to_string(++s_Rounds);
  const std::u16string wide(name.begin(), name.end());
  if (!Store().CreateDirectory(wide)) std::abort();
  return wide;
}

void BM_TreeOntoCephFS(benchmark::State& state) {
  const auto blocks = ChannelBlocks();
  std::shared_ptr<zsff::CAbstractFileAccess> disk(&Store(), [](zsff::CAbstractFileAccess*) {});
  std::vector<zsff::CChannelID> ids;
  for (int channel = 0; channel < kChannels; ++channel)
    ids.emplace_back(static_cast<unsigned short>(channel + 1), 0, 4711);
  for (auto _ : state) {
    state.PauseTiming();
    const std::u16string directory = NewDirectory();
    state.ResumeTiming();
    auto tree = zsff::CRecordSignalTree::CreateSignalTree(directory, u"bench", nullptr, false, disk);
    if (!tree) std::abort();
    int handle = tree->CreateRecord(0);
    zsff::CAbstractRecordSection& section = tree->wRecord(handle);
    std::map<zsff::CChannelID, zsff::TAG_RECORD_INFO> infos;
    for (int channel = 0; channel < kChannels; ++channel) {
      zsff::MetaDataContainer metaData;
      metaData.AddMetadata("SamplingRate", static_cast<float>(kRate));
      metaData.AddMetadata("DataFormat", std::u16string(u"SIFloat"));
      if (!section.AddChannel(ids[channel], metaData)) std::abort();
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
  }
  state.SetBytesProcessed(state.iterations() * kBlocks * kChannels * kBlock * sizeof(float));
}

void BM_PlainCephWrite(benchmark::State& state) {
  const auto blocks = ChannelBlocks();
  for (auto _ : state) {
    state.PauseTiming();
    const std::u16string directory = NewDirectory();
    state.ResumeTiming();
    std::vector<unsigned int> files(kChannels);
    for (int channel = 0; channel < kChannels; ++channel) {
      const std::u16string path = directory + u"/plain" + std::u16string(1, u'0' + channel);
      if (!Store().OpenFile(path, zsff::FileModeCreate, files[channel])) std::abort();
    }
    for (unsigned long long block = 0; block < kBlocks; ++block)
      for (int channel = 0; channel < kChannels; ++channel) {
        unsigned int written = 0;
        if (!Store().WriteFile(files[channel], blocks[channel].data(), kBlock * sizeof(float),
                               written))
          std::abort();
      }
    for (unsigned int file : files) Store().CloseFile(file, true);
  }
  state.SetBytesProcessed(state.iterations() * kBlocks * kChannels * kBlock * sizeof(float));
}

BENCHMARK(BM_TreeOntoCephFS)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PlainCephWrite)->Unit(benchmark::kMillisecond)->UseRealTime();

class RatioReporter : public zsff_bench::MedianReporter {
 public:
  void Finalize() override {
    MedianReporter::Finalize();
    PrintLoadAverage();
    Medians tree, plain;
    if (!Find("BM_TreeOntoCephFS/real_time", tree) || !Find("BM_PlainCephWrite/real_time", plain))
      return;
    std::printf(
        "8 channels of float32 at 51200 Hz, %.0f s onto CephFS, medians of %zu: tree %.1f ms, "
        "plain writes %.1f ms: plain/tree %.2f (the tree's speed relative to the plain writes)\n",
        kSeconds, tree.Repetitions, tree.Real * 1e3, plain.Real * 1e3, plain.Real / tree.Real);
  }
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  TheCluster();
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
