// The recording path against the disk's own speed: 8 channels of 32-bit floats at
// 51200 samples per second, written in blocks of 4096 samples through a record
// section (signal part files of 64 s and their min/max pyramid, no tree), and the
// same bytes written with plain write() to one file per channel, in the same run.
// The section should keep at least 0.8 of the plain writes' throughput while the
// page cache absorbs both.
//
// Both sides write fresh files: every kBlocksPerRecording blocks (80 s of signal,
// so one part boundary is crossed) the files are removed and a new recording
// begins, outside the timed region.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/RecordSection.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bench/PlainWriteBaseline.h"
#include "foundation/LocalFileAccess.h"

// The benchmark makes sections as the tree does, through the tests' friend.
namespace zsff_test {
class RecordSectionProbe {
 public:
  static std::unique_ptr<zsff::CRecordSection> Open(const std::u16string& measurementPath,
                                                    const zsff::CRecordId& id,
                                                    zsff::CAbstractFileAccess* access) {
    return std::unique_ptr<zsff::CRecordSection>(new zsff::CRecordSection(
        static_cast<zsff::CRecordSignalTree*>(nullptr), measurementPath, id, 0,
        zsff::CAbstractRecordSection::OpenCreate, false, 0.0, 0, access, 0));
  }
};
}  // namespace zsff_test

namespace {

constexpr int kChannels = 8;
constexpr float kRate = 51200.0f;
constexpr unsigned long long kBlock = 4096;
constexpr unsigned long long kBlockBytes = kBlock * sizeof(float);
constexpr long kBlocksPerRecording = 1000;

using zsff_bench::Scratch;

std::vector<float> Signal() {
  std::vector<float> samples(kBlock);
  for (unsigned long long i = 0; i < kBlock; ++i) {
    samples[i] = static_cast<float>((i * 7919) % 1000) * 0.001f - 0.5f;
  }
  return samples;
}

zsff::CChannelID ChannelOf(int index) {
  return zsff::CChannelID(static_cast<unsigned short>(index + 1), 0, 1);
}

// A section armed and started on a fresh record, as a host sets one up.
std::unique_ptr<zsff::CRecordSection> StartRecording(const Scratch& scratch,
                                                     zsff::CAbstractFileAccess& store) {
  auto section =
      zsff_test::RecordSectionProbe::Open(scratch.Wide(), zsff::CRecordId(1000, 1), &store);
  zsff::MetaDataContainer metaData;
  metaData.AddMetadata("SamplingRate", kRate);
  std::map<zsff::CChannelID, zsff::TAG_RECORD_INFO> info;
  for (int c = 0; c < kChannels; ++c) {
    if (!section->AddChannel(ChannelOf(c), metaData)) std::abort();
    info[ChannelOf(c)].AbsoluteDate = 132000000000000000LL;
  }
  if (!section->ArmRecord(0.0, zsff::PartLengthShort, false)) std::abort();
  if (!section->StartRecord(info)) std::abort();
  return section;
}

// Argument 1: the pyramid is fed with each block, as a host records; 0: raw part
// files alone, which shows what the pyramid costs.
void BM_SectionRecording(benchmark::State& state) {
  const bool compress = state.range(0) != 0;
  Scratch scratch;
  zsff::CLocalFileAccess store;
  const std::vector<float> samples = Signal();
  std::unique_ptr<zsff::CRecordSection> section = StartRecording(scratch, store);
  long blocks = 0;
  for (auto _ : state) {
    for (int c = 0; c < kChannels; ++c) {
      if (!section->WriteSampleBlock(ChannelOf(c), samples.data(), kBlock, compress)) {
        std::abort();
      }
    }
    if (++blocks == kBlocksPerRecording) {
      state.PauseTiming();
      section.reset();
      scratch.Empty();
      section = StartRecording(scratch, store);
      blocks = 0;
      state.ResumeTiming();
    }
  }
  section.reset();
  state.SetBytesProcessed(state.iterations() * kChannels * static_cast<long long>(kBlockBytes));
}

void BM_PlainWrite(benchmark::State& state) {
  Scratch scratch;
  const std::vector<float> samples = Signal();
  std::vector<int> files = zsff_bench::CreatePlainFiles(scratch, kChannels, "plain_");
  long blocks = 0;
  for (auto _ : state) {
    for (int fd : files) zsff_bench::WriteAll(fd, samples.data(), kBlockBytes);
    if (++blocks == kBlocksPerRecording) {
      state.PauseTiming();
      zsff_bench::ClosePlainFiles(files);
      scratch.Empty();
      files = zsff_bench::CreatePlainFiles(scratch, kChannels, "plain_");
      blocks = 0;
      state.ResumeTiming();
    }
  }
  zsff_bench::ClosePlainFiles(files);
  state.SetBytesProcessed(state.iterations() * kChannels * static_cast<long long>(kBlockBytes));
}

BENCHMARK(BM_PlainWrite)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_SectionRecording)->ArgName("pyramid")->Arg(1)->Arg(0)->UseRealTime()->MinTime(2.0);

// Prints the usual table, then each section run's throughput as a share of the
// plain writes' (all move the same bytes per iteration), by wall-clock time and by
// the process's CPU time (which a machine busy with other work disturbs less).
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      const std::string name = run.benchmark_name();
      if (name.rfind("BM_PlainWrite", 0) == 0) {
        m_Plain = run;
        m_HavePlain = true;
      } else if (name.rfind("BM_SectionRecording", 0) == 0) {
        m_Sections.push_back(run);
      }
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    if (!m_HavePlain) return;
    for (const Run& run : m_Sections) {
      std::printf("%s / plain write(): %.3f of the throughput (wall), %.3f (CPU)\n",
                  run.benchmark_name().c_str(),
                  m_Plain.GetAdjustedRealTime() / run.GetAdjustedRealTime(),
                  m_Plain.GetAdjustedCPUTime() / run.GetAdjustedCPUTime());
    }
  }

 private:
  Run m_Plain;
  bool m_HavePlain = false;
  std::vector<Run> m_Sections;
};

}  // namespace

int main(int argc, char** argv) {
  RatioReporter reporter;
  return zsff_bench::RunBenchmarks(argc, argv, reporter);
}
