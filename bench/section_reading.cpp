// What reading a whole channel back through a section costs against plain read()
// of its part files: 10 minutes of 32-bit floats at 51200 Hz in 64 s parts,
// written once at start-up into a scratch directory, then read start to end in
// blocks of 65536 samples as stored, as volts, and with plain read() of the same
// part files in the same block size. Volts of a channel without a sensitivity
// are the stored values; a second channel with a sensitivity and an offset
// takes the arithmetic, in blocks of 65536 and in blocks of 4 MiB, larger than
// a core's cache. The files sit in the page cache (every case reads them before
// it is timed), so the figures are of the library's work. The medians and their
// ratios are printed at the end; run with
//   --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true
// to interleave the cases.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/RecordSection.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/MedianReporter.h"
#include "bench/SineRecord.h"
#include "foundation/TextConversion.h"

namespace {

using zsff_bench::SineRecord;
constexpr unsigned long long kSamples = SineRecord::kSamples;
constexpr unsigned long long kBlock = 65536;
constexpr unsigned long long kLargeBlock = 1 << 20;
const zsff::CChannelID kChannel(1, 0, 77);
const zsff::CChannelID kScaledChannel(2, 0, 77);

zsff::MetaDataContainer Scaled() {
  zsff::MetaDataContainer metaData;
  metaData.AddMetadata("Sensitivity", 0.5f);
  metaData.AddMetadata("Offset", 0.25f);
  return metaData;
}

// The signal part files of the unscaled channel, in time order ("Part_<n>.zrs");
// the pyramid's files beside them are not read here.
std::vector<std::string> FindPartFiles(const zsff_bench::Scratch& files) {
  std::vector<std::string> parts;
  const std::string channelDirectory = zsff::WideToUtf8(kChannel.ToFilePath());
  for (unsigned short part = 0; part <= SineRecord::LastPart(); ++part) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(files.Dir())) {
      if (entry.path().filename() == "Part_" + std::to_string(part) + ".zrs" &&
          entry.path().parent_path().filename() == channelDirectory)
        parts.push_back(entry.path().string());
    }
  }
  if (parts.size() != SineRecord::LastPart() + 1u) std::abort();
  return parts;
}

struct Record {
  SineRecord Sine{{{kChannel, zsff::MetaDataContainer()}, {kScaledChannel, Scaled()}}};
  std::vector<std::string> PartFiles = FindPartFiles(Sine.Files());
  zsff::CRecordSection& Section() { return Sine.Section(); }
};

Record& TheRecord() {
  static Record record;
  return record;
}

constexpr long long kChannelBytes = static_cast<long long>(kSamples * sizeof(float));

// The whole channel through the section, from its start to EndOfReading.
template <typename Read>
unsigned long long ReadChannel(zsff::CRecordSection& section, const zsff::CChannelID& channel,
                               float* block, Read read) {
  if (!section.SetReadPos(channel, 0.0)) return 0;
  unsigned long long total = 0;
  zsff::CAbstractRecordSection::ReadState_t state;
  while (!section.EndOfReading(channel, state)) {
    const unsigned long long got = read(section, block);
    if (got == 0) break;
    total += got;
    benchmark::DoNotOptimize(block);
  }
  return total;
}

template <typename Read>
void ThroughSection(benchmark::State& state, const zsff::CChannelID& channel,
                    unsigned long long blockSize, Read read) {
  zsff::CRecordSection& section = TheRecord().Section();
  std::vector<float> block(blockSize);
  if (ReadChannel(section, channel, block.data(), read) != kSamples) {  // warms the page cache
    state.SkipWithError("the channel did not read back whole");
    return;
  }
  for (auto _ : state) {
    if (ReadChannel(section, channel, block.data(), read) != kSamples) {
      state.SkipWithError("the channel did not read back whole");
      break;
    }
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kChannelBytes);
}

void BM_SectionRaw(benchmark::State& state) {
  ThroughSection(state, kChannel, kBlock, [](zsff::CRecordSection& section, float* block) {
    return section.ReadRawSampleBlock(kChannel, block, kBlock);
  });
}

void BM_SectionVolts(benchmark::State& state) {
  ThroughSection(state, kChannel, kBlock, [](zsff::CRecordSection& section, float* block) {
    return section.ReadSampleBlock(kChannel, block, kBlock, zsff::SampleReadVolt);
  });
}

void BM_SectionVoltsScaled(benchmark::State& state) {
  ThroughSection(state, kScaledChannel, kBlock, [](zsff::CRecordSection& section, float* block) {
    return section.ReadSampleBlock(kScaledChannel, block, kBlock, zsff::SampleReadVolt);
  });
}

void BM_SectionVoltsScaledLarge(benchmark::State& state) {
  ThroughSection(
      state, kScaledChannel, kLargeBlock, [](zsff::CRecordSection& section, float* block) {
        return section.ReadSampleBlock(kScaledChannel, block, kLargeBlock, zsff::SampleReadVolt);
      });
}

// The part files read with plain read() in blocks of the section's size, each
// block handed to `afterRead` with its sample count.
template <typename AfterRead>
long long ReadPlain(const std::vector<std::string>& files, float* block, AfterRead afterRead) {
  long long total = 0;
  for (const std::string& path : files) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return -1;
    ssize_t got;
    while ((got = ::read(fd, block, kBlock * sizeof(float))) > 0) {
      total += got;
      afterRead(block, static_cast<std::size_t>(got) / sizeof(float));
      benchmark::DoNotOptimize(block);
    }
    ::close(fd);
    if (got < 0) return -1;
  }
  return total;
}

template <typename AfterRead>
void PlainReads(benchmark::State& state, AfterRead afterRead) {
  const std::vector<std::string>& files = TheRecord().PartFiles;
  std::vector<float> block(kBlock);
  if (ReadPlain(files, block.data(), afterRead) != kChannelBytes) {  // warms the page cache
    state.SkipWithError("the part files are not the channel's size");
    return;
  }
  for (auto _ : state) {
    if (ReadPlain(files, block.data(), afterRead) != kChannelBytes) {
      state.SkipWithError("plain read failed");
      break;
    }
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * kChannelBytes);
}

void BM_PlainRead(benchmark::State& state) {
  PlainReads(state, [](float*, std::size_t) {});
}

// What any scaled read through read() costs at least: the plain reads, each block
// scaled in place right after its read, while it is still in the cache. The
// library's scaled reads are measured against this floor too.
void BM_PlainReadScaled(benchmark::State& state) {
  PlainReads(state, [](float* block, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) block[i] = block[i] * 0.5f + 0.25f;
  });
}

BENCHMARK(BM_PlainRead)->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_SectionRaw)->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_SectionVolts)->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_SectionVoltsScaled)->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_SectionVoltsScaledLarge)->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_PlainReadScaled)->UseRealTime()->Unit(benchmark::kMillisecond)->MinTime(1.0);

// The medians over the repetitions of each run's throughput in GB/s and of the
// section's reads as a share of the plain reads' (all move the same bytes per
// iteration).
class RatioReporter : public zsff_bench::MedianReporter {
 public:
  void Finalize() override {
    MedianReporter::Finalize();
    PrintLoadAverage();
    Medians plain;
    const bool hasPlain = Find("BM_PlainRead/min_time:1.000/real_time", plain);
    for (const auto& [name, run] : All()) {
      std::printf("%-44s medians of %zu: %.3f GB/s", name.c_str(), run.Repetitions,
                  kChannelBytes / run.Real / 1e9);
      if (hasPlain)
        std::printf(", %.3f of plain read() (wall), %.3f (CPU)", plain.Real / run.Real,
                    plain.Cpu / run.Cpu);
      std::printf("\n");
    }
  }
};

}  // namespace

int main(int argc, char** argv) {
  RatioReporter reporter;
  return zsff_bench::RunBenchmarks(argc, argv, reporter);
}
