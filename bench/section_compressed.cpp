// What a display pays for one screen of a long record: a min/max view of 1000
// points, requested and fetched through a section, over 1 s and over the whole of
// a 10-minute record of 32-bit floats at 51200 Hz in 64 s parts (written once,
// before the timing, into a scratch directory). The 1 s view is served from the
// first pyramid level, the whole record from the second; a third case of 0.5 s
// takes the raw samples (ratio below 32). The files sit in the page cache, so the
// figures are of the library's work, not of the disk.
#include <benchmark/benchmark.h>
#include <zsff/LocalFileAccess.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/RecordSection.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

// Sections are made as the tree makes them, with the tests' stand-in for the tree
// so that the record is stopped and complete.
#include "tests/section/RecordSectionProbe.h"

namespace {

constexpr float kRate = 51200.0f;
constexpr double kSeconds = 600.0;
constexpr unsigned long long kBlock = 51200;
constexpr unsigned long long kPoints = 1000;
const zsff::CRecordId kRecord(1000, 1);
const zsff::CChannelID kChannel(1, 0, 77);

class Record {
 public:
  Record() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zsff-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    m_Dir = pattern;
    m_Store = std::make_shared<zsff::CLocalFileAccess>();
    m_Tree = std::make_unique<zsff_test::FakeTree>(m_Store, Wide());
    Write();
    m_Section = zsff_test::RecordSectionProbe::Open(m_Tree->Tree(), Wide(), kRecord,
                                                    zsff::CAbstractRecordSection::OpenRead,
                                                    m_Store.get(), false, LastPart());
  }
  ~Record() {
    m_Section.reset();
    std::filesystem::remove_all(m_Dir);
  }

  zsff::CRecordSection& Section() { return *m_Section; }

 private:
  std::u16string Wide() const {
    const std::string path = m_Dir.string();
    return std::u16string(path.begin(), path.end());  // the scratch path is ASCII
  }
  static unsigned short LastPart() {
    return static_cast<unsigned short>(std::ceil(kSeconds / 64.0) - 1);
  }

  void Write() {
    auto writer = zsff_test::RecordSectionProbe::Open(
        m_Tree->Tree(), Wide(), kRecord, zsff::CAbstractRecordSection::OpenCreate, m_Store.get());
    zsff::MetaDataContainer metaData;
    metaData.AddMetadata("SamplingRate", kRate);
    zsff::TAG_RECORD_INFO info;
    info.AbsoluteDate = 132000000000000000LL;
    if (!writer->AddChannel(kChannel, metaData) ||
        !writer->ArmRecord(0.0, zsff::PartLengthShort, false) ||
        !writer->StartRecord({{kChannel, info}})) {
      std::abort();
    }
    std::vector<float> block(kBlock);
    const unsigned long long total = static_cast<unsigned long long>(kSeconds * kRate);
    for (unsigned long long done = 0; done < total; done += kBlock) {
      for (unsigned long long i = 0; i < kBlock; ++i) {
        block[i] = static_cast<float>(std::sin(static_cast<double>(done + i) * 0.001));
      }
      if (!writer->WriteSampleBlock(kChannel, block.data(), kBlock, true)) std::abort();
    }
    if (!writer->StopRecord()) std::abort();
  }

  std::filesystem::path m_Dir;
  std::shared_ptr<zsff::CLocalFileAccess> m_Store;
  std::unique_ptr<zsff_test::FakeTree> m_Tree;
  std::unique_ptr<zsff::CRecordSection> m_Section;
};

Record& TheRecord() {
  static Record record;
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
  View(state, 0.0f, static_cast<float>(kSeconds));
}
void BM_ViewRawHalfSecond(benchmark::State& state) { View(state, 300.0f, 300.5f); }

BENCHMARK(BM_View1Second)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ViewWholeRecord)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ViewRawHalfSecond)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
