// The pyramid files against references computed here from the recorded samples, the
// planner's choice of level, and the ways a request is served or refused.
#include <gtest/gtest.h>
#include <zsff/TmpRecordFile.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "signal/BlockReduction.h"
#include "signal/CompressedSignalFileReader.h"
#include "signal/CompressedSignalFileWriter.h"
#include "support/FaultInjectingFileAccess.h"
#include "support/SampleFormatOf.h"

namespace fs = std::filesystem;
using namespace zsff;
using zsff_test::FaultInjectingFileAccess;
using zsff_test::SampleFormatOf;
using zsff_test::TempDir;

namespace {

const std::string kPart = "Part_3";

fs::path LevelPath(const TempDir& dir, int level) {
  return dir.Path() / (kPart + "_" + std::to_string(level) + ".zpr");
}

template <typename T>
std::vector<T> ReadValues(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
  std::vector<T> values(bytes.size() / sizeof(T));
  std::memcpy(values.data(), bytes.data(), values.size() * sizeof(T));
  return values;
}

// Samples that fit every format, with no signed zeros or NaNs, so that a min or max
// is one well-defined value.
template <typename T>
std::vector<T> Noise(std::size_t count, std::uint32_t seed) {
  std::vector<T> samples(count);
  for (T& sample : samples) {
    seed = seed * 1664525u + 1013904223u;
    sample = static_cast<T>(static_cast<int>(seed >> 16) % 30001 - 15000);
  }
  return samples;
}

// One (min, max) pair per group of `factor` samples from the block's start; the last
// group may be short.
template <typename T>
void AppendBlockPairs(std::vector<T>& out, const T* block, std::size_t count, std::size_t factor) {
  for (std::size_t i = 0; i < count; i += factor) {
    const auto range = std::minmax_element(block + i, block + std::min(count, i + factor));
    out.push_back(*range.first);
    out.push_back(*range.second);
  }
}

// One pair per complete group of `factor` pairs, over the whole stream of a level.
template <typename T>
std::vector<T> NextLevel(const std::vector<T>& values, std::size_t factor) {
  std::vector<T> out;
  for (std::size_t at = 0; at + 2 * factor <= values.size(); at += 2 * factor) {
    T low = values[at], high = values[at + 1];
    for (std::size_t k = 0; k < factor; ++k) {
      low = std::min(low, values[at + 2 * k]);
      high = std::max(high, values[at + 2 * k + 1]);
    }
    out.push_back(low);
    out.push_back(high);
  }
  return out;
}

template <typename T>
class PyramidFormatTest : public ::testing::Test {
 protected:
  static constexpr SampleFormat_t kFormat = SampleFormatOf<T>::kValue;

  std::unique_ptr<CCompressedSignalFileWriter> Writer(CAbstractFileAccess& access) {
    return std::make_unique<CCompressedSignalFileWriter>(m_Dir.Path().string(), kPart, &access,
                                                         sizeof(T), kFormat, nullptr);
  }
  std::unique_ptr<CCompressedSignalFileReader> Reader(float rate, double duration) {
    return std::make_unique<CCompressedSignalFileReader>(m_Dir.Path().string(), kPart, &m_Access, 0,
                                                         sizeof(T), kFormat, rate, nullptr,
                                                         duration, kFormat, 3);
  }

  TempDir m_Dir;
  CLocalFileAccess m_Access;
};

using SampleTypes = ::testing::Types<float, double, std::int16_t, std::int32_t>;
TYPED_TEST_SUITE(PyramidFormatTest, SampleTypes);

TYPED_TEST(PyramidFormatTest, LevelFilesHoldTheCascadeOfBlocksOfOddSizes) {
  using T = TypeParam;
  const std::vector<std::size_t> sizes{1, 7, 33, 100, 31, 64, 1000, 2049, 5, 32};
  std::vector<std::size_t> blocks;
  for (int round = 0; round < 320; ++round) {
    blocks.insert(blocks.end(), sizes.begin(), sizes.end());
    if (round == 100) blocks.push_back(100003);  // beyond the buffers made at open
  }
  std::size_t total = 0;
  for (std::size_t size : blocks) total += size;
  const std::vector<T> samples = Noise<T>(total, 7);

  auto writer = this->Writer(this->m_Access);
  ASSERT_TRUE(writer->OpenLevelFiles());
  std::vector<T> level1;
  std::size_t at = 0;
  for (std::size_t size : blocks) {
    ASSERT_TRUE(writer->WriteRawBlock(samples.data() + at, size)) << "block at " << at;
    AppendBlockPairs(level1, samples.data() + at, size, 32);
    at += size;
  }
  EXPECT_TRUE(writer->Flush());
  writer->Close(true);
  EXPECT_EQ(writer->OpenLevels(), 0u);

  const std::vector<T> level2 = NextLevel(level1, 32);
  const std::vector<T> level3 = NextLevel(level2, 32);
  const std::vector<T> level4 = NextLevel(level3, 32);
  ASSERT_FALSE(level4.empty());  // the stream is long enough to reach the last level
  EXPECT_EQ(ReadValues<T>(LevelPath(this->m_Dir, 1)), level1);
  EXPECT_EQ(ReadValues<T>(LevelPath(this->m_Dir, 2)), level2);
  EXPECT_EQ(ReadValues<T>(LevelPath(this->m_Dir, 3)), level3);
  EXPECT_EQ(ReadValues<T>(LevelPath(this->m_Dir, 4)), level4);
}

TYPED_TEST(PyramidFormatTest, LevelsNeverReachedAreDeletedAtClose) {
  using T = TypeParam;
  const std::vector<T> samples = Noise<T>(20 * 32 * 32, 11);

  auto shortPart = this->Writer(this->m_Access);
  ASSERT_TRUE(shortPart->OpenLevelFiles());
  for (int level = 1; level <= 4; ++level) EXPECT_TRUE(fs::exists(LevelPath(this->m_Dir, level)));
  ASSERT_TRUE(shortPart->WriteRawBlock(samples.data(), 20));
  shortPart->Close(true);
  std::vector<T> pair;
  AppendBlockPairs(pair, samples.data(), 20, 32);
  EXPECT_EQ(ReadValues<T>(LevelPath(this->m_Dir, 1)), pair);
  for (int level = 2; level <= 4; ++level) EXPECT_FALSE(fs::exists(LevelPath(this->m_Dir, level)));

  // 20 pairs of level 2 reach level 2 but not level 3.
  auto longer = this->Writer(this->m_Access);
  ASSERT_TRUE(longer->OpenLevelFiles());
  ASSERT_TRUE(longer->WriteRawBlock(samples.data(), samples.size()));
  longer->Close(true);
  EXPECT_EQ(fs::file_size(LevelPath(this->m_Dir, 1)), 20u * 32 * 2 * sizeof(T));
  EXPECT_EQ(fs::file_size(LevelPath(this->m_Dir, 2)), 20u * 2 * sizeof(T));
  EXPECT_FALSE(fs::exists(LevelPath(this->m_Dir, 3)));
  EXPECT_FALSE(fs::exists(LevelPath(this->m_Dir, 4)));
}

TYPED_TEST(PyramidFormatTest, LevelReadsMatchTheFilesAtAndAboveTheFactor) {
  using T = TypeParam;
  // 64 s at 1024 Hz: levels of 2048, 64 and 2 pairs; no fourth level.
  const std::vector<T> samples = Noise<T>(65536, 5);
  auto writer = this->Writer(this->m_Access);
  ASSERT_TRUE(writer->OpenLevelFiles());
  for (std::size_t at = 0; at < samples.size(); at += 4096) {
    ASSERT_TRUE(writer->WriteRawBlock(samples.data() + at, 4096));
  }
  writer->Close(true);
  const std::vector<T> level1 = ReadValues<T>(LevelPath(this->m_Dir, 1));
  const std::vector<T> level2 = ReadValues<T>(LevelPath(this->m_Dir, 2));
  ASSERT_EQ(level1.size(), 4096u);
  ASSERT_EQ(level2.size(), 128u);

  auto reader = this->Reader(1024.0f, 64.0);
  // 16 s to 48 s in 32 points is exactly 1024 samples a point: level 2 as it stands.
  CompressedSignalPlan_t plan = reader->Plan(16.0f, 48.0f, 32, 0);
  ASSERT_EQ(plan.Divider, 1024u);
  ASSERT_EQ(plan.RemainingRatio, 1.0);
  ASSERT_TRUE(reader->LevelRequest(16.0f, 48.0f, 32, plan));
  EXPECT_EQ(reader->Status(), CompressPending);
  ASSERT_EQ(reader->ResultSize(), 64u);
  std::vector<T> result(64 + 4, T(99));  // guard values behind the result
  ASSERT_EQ(reader->Get(result.data(), plan), CompressReady);
  EXPECT_EQ(std::vector<T>(result.begin(), result.begin() + 64),
            std::vector<T>(level2.begin() + 32, level2.begin() + 96));
  EXPECT_EQ(result[64], T(99));
  EXPECT_DOUBLE_EQ(reader->Ratio(), 1024.0);

  // 8 s to 40 s in 100 points: level 1 with a remaining ratio of 10.24, reduced here.
  plan = reader->Plan(8.0f, 40.0f, 100, 0);
  ASSERT_EQ(plan.Divider, 32u);
  EXPECT_DOUBLE_EQ(plan.RemainingRatio, 10.24);
  ASSERT_EQ(plan.PairsToRead, 1024u);
  ASSERT_TRUE(reader->LevelRequest(8.0f, 40.0f, 100, plan));
  ASSERT_EQ(reader->ResultSize(), 200u);
  std::vector<T> expected(200, T(0));
  reduction::ReduceProportional(expected.data(), 200, level1.data() + 512, 2048);
  result.assign(200 + 4, T(99));
  ASSERT_EQ(reader->Get(result.data(), plan), CompressReady);
  EXPECT_EQ(std::vector<T>(result.begin(), result.begin() + 200), expected);
  EXPECT_EQ(result[200], T(99));
  EXPECT_DOUBLE_EQ(reader->Ratio(), 10.0 * 32);
}

TYPED_TEST(PyramidFormatTest, ReaderOfThePartBeingRecordedCompletesGatheredLevels) {
  using T = TypeParam;
  // 96 s at 1024 Hz in blocks of 4096: the levels went out at 64 s with 2048, 64 and
  // 2 pairs; the 1024, 32 and 1 pairs made since are still gathered. The samples go
  // to the part file before the pyramid, as a recorder writes them.
  const std::vector<T> samples = Noise<T>(98304, 9);
  auto writer = this->Writer(this->m_Access);
  ASSERT_TRUE(writer->OpenLevelFiles());
  std::ofstream part(this->m_Dir.Path() / (kPart + ".zrs"), std::ios::binary);
  std::vector<T> level1;
  for (std::size_t at = 0; at < samples.size(); at += 4096) {
    part.write(reinterpret_cast<const char*>(samples.data() + at), 4096 * sizeof(T));
    part.flush();
    ASSERT_TRUE(writer->WriteRawBlock(samples.data() + at, 4096));
    AppendBlockPairs(level1, samples.data() + at, 4096, 32);
  }
  ASSERT_EQ(fs::file_size(LevelPath(this->m_Dir, 1)), 2048 * 2 * sizeof(T));
  ASSERT_EQ(fs::file_size(LevelPath(this->m_Dir, 2)), 64 * 2 * sizeof(T));
  const std::vector<T> level2 = NextLevel(level1, 32);
  const std::vector<T> level3 = NextLevel(level2, 32);

  CTmpRecordFile tmp(this->m_Dir.Path().string(), &this->m_Access);
  tmp.SetParts(0, 3);
  ASSERT_TRUE(tmp.Write());
  CCompressedSignalFileReader reader(this->m_Dir.Path().string(), kPart, &this->m_Access, 0,
                                     sizeof(T), this->kFormat, 1024.0f, &tmp, 96.0,
                                     this->kFormat, 3);
  const auto view = [&](float start, unsigned long long points, unsigned long long divider) {
    const CompressedSignalPlan_t plan = reader.Plan(start, 96.0f, points, 0);
    EXPECT_EQ(plan.Divider, divider);
    std::vector<T> values(2 * points);
    EXPECT_TRUE(reader.LevelRequest(start, 96.0f, points, plan));
    EXPECT_EQ(reader.Get(values.data(), plan), CompressReady);
    return values;
  };
  // From 60 s the view straddles what level 1's file holds and what it lacks.
  EXPECT_EQ(view(60.0f, 1152, 32), std::vector<T>(level1.begin() + 2 * 1920, level1.end()));
  EXPECT_EQ(view(0.0f, 96, 1024), level2);
  EXPECT_EQ(view(0.0f, 3, 32768), level3);
  writer->Close(true);
  EXPECT_EQ(ReadValues<T>(LevelPath(this->m_Dir, 1)), level1);
  EXPECT_EQ(ReadValues<T>(LevelPath(this->m_Dir, 2)), level2);
  EXPECT_EQ(ReadValues<T>(LevelPath(this->m_Dir, 3)), level3);
}

TYPED_TEST(PyramidFormatTest, RawBlocksOfOneRequestJoinThroughTheCarry) {
  using T = TypeParam;
  const std::vector<T> samples = Noise<T>(2000, 3);
  auto reader = this->Reader(1000.0f, 2.0);  // no level files: planned on raw samples

  // 1005 samples for 100 points: groups of 10, the last 5 samples wait in the carry.
  ASSERT_TRUE(reader->RawRequest(0.0f, 1.005f, 100, samples.data(), 1005, false));
  EXPECT_EQ(reader->Status(), CompressReady);
  ASSERT_EQ(reader->ResultSize(), 200u);
  // 995 more for 99 points: the open group takes the first samples of this block.
  ASSERT_TRUE(reader->RawRequest(1.005f, 2.0f, 99, samples.data() + 1005, 995, true));
  ASSERT_EQ(reader->ResultSize(), 398u);
  EXPECT_EQ(reader->Points(), 199u);
  EXPECT_NEAR(reader->Span(), 2.0, 1e-6);

  // An open group stays open for a whole group after it resumes, so the group that
  // spans the two blocks covers 20 samples.
  std::vector<T> expected;
  AppendBlockPairs(expected, samples.data(), 1000, 10);
  AppendBlockPairs(expected, samples.data() + 1000, 20, 20);
  AppendBlockPairs(expected, samples.data() + 1020, 980, 10);
  std::vector<T> result(398 + 2, T(77));
  CompressedSignalPlan_t unused;
  ASSERT_EQ(reader->Get(result.data(), unused), CompressReady);
  EXPECT_EQ(std::vector<T>(result.begin(), result.begin() + 398), expected);
  EXPECT_EQ(result[398], T(77));

  EXPECT_FALSE(reader->RawRequest(0.0f, 1.0f, 10, samples.data(), 0, false));
  EXPECT_FALSE(reader->RawRequest(0.0f, 1.0f, 10, nullptr, 10, false));
  EXPECT_EQ(reader->ResultSize(), 398u);
}

TEST(CompressedSignalFileTest, PlannerTakesTheCoarsestLevelWithEnoughPairs) {
  TempDir dir;
  CLocalFileAccess access;
  // 64 s at 1024 Hz gives levels of 2048, 64 and 2 pairs.
  std::vector<float> samples(65536);
  for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<float>(i % 977);
  CCompressedSignalFileWriter writer(dir.Path().string(), kPart, &access, 4, SIFloat, nullptr);
  ASSERT_TRUE(writer.OpenLevelFiles());
  ASSERT_TRUE(writer.WriteRawBlock(samples.data(), samples.size()));
  writer.Close(true);

  CCompressedSignalFileReader reader(dir.Path().string(), kPart, &access, 0, 4, SIFloat, 1024.0f,
                                     nullptr, 64.0, SIFloat, 3);
  // Below the factor: no level helps, raw samples are reduced.
  CompressedSignalPlan_t plan = reader.Plan(0.0f, 64.0f, 2114, 0);
  EXPECT_TRUE(plan.UseRawSignal);
  EXPECT_EQ(plan.Divider, 1u);
  EXPECT_EQ(plan.PointsGiven, 2114u);
  EXPECT_EQ(plan.PairsToRead, plan.PointsGiven);
  ASSERT_EQ(reader.LevelCount(), 3u);
  EXPECT_EQ(reader.LevelPairCount(0), 2048u);
  EXPECT_EQ(reader.LevelPairCount(2), 2u);

  // Exactly the factor: level 1, nothing left to reduce.
  plan = reader.Plan(0.0f, 64.0f, 2048, 0);
  EXPECT_FALSE(plan.UseRawSignal);
  EXPECT_EQ(plan.Level, 0u);
  EXPECT_EQ(plan.Divider, 32u);
  EXPECT_EQ(plan.RemainingRatio, 1.0);
  EXPECT_EQ(plan.PairsToRead, 2048u);
  EXPECT_EQ(plan.PointsGiven, 2048u);

  // Just below a level's divider the finer level stays, with a ratio under 32.
  plan = reader.Plan(0.0f, 64.0f, 65, 0);
  EXPECT_EQ(plan.Level, 0u);
  EXPECT_DOUBLE_EQ(plan.RemainingRatio, 65536.0 / 65 / 32);
  plan = reader.Plan(0.0f, 64.0f, 64, 0);
  EXPECT_EQ(plan.Level, 1u);
  EXPECT_EQ(plan.Divider, 1024u);

  // The coarsest level in the table, with the rest of the ratio left over.
  plan = reader.Plan(0.0f, 64.0f, 1, 0);
  EXPECT_EQ(plan.Level, 2u);
  EXPECT_EQ(plan.Divider, 32768u);
  EXPECT_EQ(plan.RemainingRatio, 2.0);
  EXPECT_EQ(plan.PairsToRead, 2u);
  EXPECT_EQ(plan.PointsGiven, 1u);

  // A span that runs past the level's end reads only what is there.
  plan = reader.Plan(48.0f, 80.0f, 32, 0);
  EXPECT_EQ(plan.Divider, 1024u);
  EXPECT_EQ(plan.PairsToRead, 16u);
  plan = reader.Plan(100.0f, 132.0f, 32, 0);
  EXPECT_EQ(plan.PairsToRead, 0u);
}

TEST(CompressedSignalFileTest, RecordWithoutLevelsPlansNothing) {
  TempDir dir;
  CLocalFileAccess access;
  CCompressedSignalFileReader reader(dir.Path().string(), kPart, &access, 0, 4, SIFloat, 100.0f,
                                     nullptr, 0.0, SIFloat, 0);
  EXPECT_FALSE(reader.LevelFileExists());
  const CompressedSignalPlan_t plan = reader.Plan(0.0f, 10.0f, 50, 0);
  EXPECT_EQ(reader.LevelCount(), 0u);
  EXPECT_EQ(plan.Divider, 0u);
  EXPECT_FALSE(plan.UseRawSignal);
  EXPECT_EQ(plan.PointsGiven, 50u);
  EXPECT_EQ(plan.RemainingRatio, 20.0);

  // A plan without level can't be read from a file.
  EXPECT_FALSE(reader.LevelRequest(0.0f, 10.0f, 50, plan));
  EXPECT_EQ(reader.Status(), CompressFailed);
  float value = 0;
  EXPECT_EQ(reader.Get(&value, plan), CompressFailed);
}

TEST(CompressedSignalFileTest, BlankValuesDependOnTheBlankFormat) {
  TempDir dir;
  CLocalFileAccess access;
  for (SampleFormat_t blank : {SIFloat, SIDouble, Compact16, Raw32}) {
    CCompressedSignalFileReader reader(dir.Path().string(), kPart, &access, 0, 4, Raw32, 1000.0f,
                                       nullptr, 1.0, blank, 0);
    ASSERT_TRUE(reader.BlankRequest(0.5f, 0.75f, 1000));
    EXPECT_EQ(reader.Status(), CompressReady);
    ASSERT_EQ(reader.ResultSize(), 500u);  // 250 samples, fewer than the points
    EXPECT_EQ(reader.Ratio(), 1.0);
    EXPECT_DOUBLE_EQ(reader.Span(), 0.25);
    std::vector<std::int32_t> values(501, 5);
    CompressedSignalPlan_t unused;
    ASSERT_EQ(reader.Get(values.data(), unused), CompressReady);
    const std::int32_t expected = blank == Raw32 ? -1 : 0;
    EXPECT_EQ(std::count(values.begin(), values.begin() + 500, expected), 500);
    EXPECT_EQ(values[500], 5);

    ASSERT_TRUE(reader.BlankRequest(0.0f, 1.0f, 10));
    EXPECT_EQ(reader.ResultSize(), 20u);
    ASSERT_TRUE(reader.BlankRequest(0.75f, 0.5f, 10));  // start after stop
    EXPECT_EQ(reader.ResultSize(), 0u);
  }
}

// A pyramid of 64 s at 1024 Hz written into `dir`: levels of 2048, 64 and 2 pairs.
std::vector<std::int16_t> WritePyramid(const TempDir& dir, CAbstractFileAccess& access) {
  std::vector<std::int16_t> samples = Noise<std::int16_t>(65536, 21);
  CCompressedSignalFileWriter writer(dir.Path().string(), kPart, &access, 2, Compact16, nullptr);
  EXPECT_TRUE(writer.OpenLevelFiles());
  EXPECT_TRUE(writer.WriteRawBlock(samples.data(), samples.size()));
  writer.Close(true);
  return samples;
}

TEST(CompressedSignalFileTest, MissingEmptyOrShortLevelFilesGiveWayOrFail) {
  TempDir dir;
  CLocalFileAccess access;
  WritePyramid(dir, access);
  const std::vector<std::int16_t> level1 = ReadValues<std::int16_t>(LevelPath(dir, 1));
  const auto reader = [&] {
    return std::make_unique<CCompressedSignalFileReader>(
        dir.Path().string(), kPart, &access, 0, 2, Compact16, 1024.0f, nullptr, 64.0, Raw32, 3);
  };

  // Level 2 gone while level 3 exists: the table ends at level 1.
  fs::rename(LevelPath(dir, 2), dir.Path() / "aside.zpr");
  auto withoutSecond = reader();
  CompressedSignalPlan_t plan = withoutSecond->Plan(0.0f, 64.0f, 2, 0);
  EXPECT_EQ(withoutSecond->LevelCount(), 1u);
  EXPECT_EQ(plan.Divider, 32u);
  EXPECT_EQ(plan.RemainingRatio, 1024.0);
  fs::rename(dir.Path() / "aside.zpr", LevelPath(dir, 2));

  // Level 1 gone, or empty, below existing levels: it stays in the table but is
  // passed over, for raw samples where it was wanted and for level 2 above it.
  for (const bool empty : {false, true}) {
    fs::rename(LevelPath(dir, 1), dir.Path() / "aside.zpr");
    if (empty) std::ofstream(LevelPath(dir, 1), std::ios::binary);
    auto withoutFirst = reader();
    plan = withoutFirst->Plan(0.0f, 64.0f, 2048, 0);
    ASSERT_EQ(withoutFirst->LevelCount(), 3u);
    EXPECT_EQ(withoutFirst->LevelMissing(0), !empty);
    EXPECT_TRUE(withoutFirst->LevelFileExists());
    EXPECT_TRUE(plan.UseRawSignal);
    plan = withoutFirst->Plan(0.0f, 64.0f, 64, 0);
    EXPECT_EQ(plan.Level, 1u);
    EXPECT_EQ(plan.Divider, 1024u);
    fs::remove(LevelPath(dir, 1));
    fs::rename(dir.Path() / "aside.zpr", LevelPath(dir, 1));
  }

  // Level 1 shorter than its pair count: a span behind its end fails; one inside it still reads.
  fs::resize_file(LevelPath(dir, 1), 1024 * 2 * 2);
  auto truncated = reader();
  plan = truncated->Plan(48.0f, 64.0f, 512, 0);
  ASSERT_EQ(plan.Divider, 32u);
  ASSERT_TRUE(truncated->LevelRequest(48.0f, 64.0f, 512, plan));
  std::vector<std::int16_t> values(1024 + 2, 5);
  EXPECT_EQ(truncated->Get(values.data(), plan), CompressFailed);
  EXPECT_EQ(values[1024], 5);
  plan = truncated->Plan(0.0f, 16.0f, 512, 0);
  ASSERT_TRUE(truncated->LevelRequest(0.0f, 16.0f, 512, plan));
  ASSERT_EQ(truncated->Get(values.data(), plan), CompressReady);
  EXPECT_TRUE(std::equal(values.begin(), values.begin() + 1024, level1.begin()));
}

TEST(CompressedSignalFileTest, RequestsThatDontFitTheBufferOrTheFileStayInBounds) {
  TempDir dir;
  CLocalFileAccess access;
  WritePyramid(dir, access);
  CCompressedSignalFileReader reader(dir.Path().string(), kPart, &access, 0, 2, Compact16, 1024.0f,
                                     nullptr, 64.0, Compact16, 3);

  // A get with a plan larger than the request it was sized for is refused.
  const CompressedSignalPlan_t small = reader.Plan(0.0f, 64.0f, 1, 0);
  const CompressedSignalPlan_t large = reader.Plan(0.0f, 64.0f, 2048, 0);
  ASSERT_TRUE(reader.LevelRequest(0.0f, 64.0f, 1, small));
  ASSERT_EQ(reader.ResultSize(), 2u);
  std::vector<std::int16_t> values(2 + 8, 5);
  EXPECT_EQ(reader.Get(values.data(), large), CompressFailed);
  EXPECT_EQ(std::count(values.begin() + 2, values.end(), std::int16_t(5)), 8);

  // A span behind the end of the part reads nothing, and writes nothing.
  const CompressedSignalPlan_t beyond = reader.Plan(100.0f, 132.0f, 32, 0);
  ASSERT_TRUE(reader.LevelRequest(100.0f, 132.0f, 32, beyond));
  values.assign(reader.ResultSize() + 8, 5);
  EXPECT_EQ(reader.Get(values.data(), beyond), CompressReady);
  EXPECT_EQ(std::count(values.begin(), values.end(), std::int16_t(5)),
            static_cast<long>(values.size()));

  // Start after stop plans on the length of the span, read from `start` on.
  const CompressedSignalPlan_t reversed = reader.Plan(32.0f, 0.0f, 32, 0);
  EXPECT_EQ(reversed.Divider, 1024u);
  ASSERT_TRUE(reader.LevelRequest(32.0f, 0.0f, 32, reversed));
  values.assign(reader.ResultSize() + 8, 5);
  EXPECT_EQ(reader.Get(values.data(), reversed), CompressReady);
  EXPECT_EQ(std::count(values.end() - 8, values.end(), std::int16_t(5)), 8);
}

TEST(CompressedSignalFileTest, PartBeingRecordedIsMeasuredAndReadEveryTimeAFinishedOneOnce) {
  TempDir dir;
  FaultInjectingFileAccess store(std::make_shared<CLocalFileAccess>());
  WritePyramid(dir, store);
  const std::vector<std::int16_t> level1 = ReadValues<std::int16_t>(LevelPath(dir, 1));
  CTmpRecordFile tmp(dir.Path().string(), &store);
  TAG_RECORD_INFO info;
  info.AbsoluteDate = 1;
  tmp.SetRecordInfo(info);
  tmp.SetParts(0, 3);
  ASSERT_TRUE(tmp.Write());

  // The duration says 1 s; the part being recorded (3) counts what its files hold, a
  // finished one (2) is estimated from the duration.
  const struct {
    unsigned short part;
    unsigned long long firstPairs, secondPairs;
  } parts[] = {{3, 2048, 64}, {2, 32, 1}};
  for (const auto& p : parts) {
    SCOPED_TRACE(p.part);
    CCompressedSignalFileReader reader(dir.Path().string(), kPart, &store, 0, 2, Compact16,
                                       1024.0f, &tmp, 1.0, Compact16, p.part);
    reader.Plan(0.0f, 1.0f, 10, 0);
    ASSERT_EQ(reader.LevelCount(), 3u);
    EXPECT_EQ(reader.LevelPairCount(0), p.firstPairs);
    EXPECT_EQ(reader.LevelPairCount(1), p.secondPairs);
    EXPECT_EQ(reader.InProgress(), p.part == 3);
  }

  // 2048 pairs of level 1 per 64 s; one point per pair reads that level as it is.
  const auto view = [](CCompressedSignalFileReader& reader, float start, float stop) {
    const unsigned long long points = static_cast<unsigned long long>((stop - start) * 32.0f);
    const CompressedSignalPlan_t plan = reader.Plan(start, stop, points, 0);
    EXPECT_EQ(plan.Divider, 32u);
    std::vector<std::int16_t> values(2 * points, 7);
    EXPECT_TRUE(reader.LevelRequest(start, stop, points, plan));
    EXPECT_EQ(reader.Get(values.data(), plan), CompressReady);
    return values;
  };
  const auto levelSlice = [&](std::size_t from, std::size_t count) {
    return std::vector<std::int16_t>(level1.begin() + from, level1.begin() + from + count);
  };

  // Part 2 is finished: its level is read on the first view only, and every
  // later view, anywhere in the part, comes from what was read.
  CCompressedSignalFileReader finished(dir.Path().string(), kPart, &store, 0, 2, Compact16, 1024.0f,
                                       &tmp, 64.0, Compact16, 2);
  const unsigned long opensBefore = store.Calls(FaultInjectingFileAccess::Open);
  EXPECT_EQ(view(finished, 0.0f, 4.0f), levelSlice(0, 256));
  EXPECT_EQ(store.Calls(FaultInjectingFileAccess::Open), opensBefore + 1);
  EXPECT_EQ(view(finished, 60.0f, 64.0f), levelSlice(3840, 256));
  EXPECT_EQ(view(finished, 10.0f, 12.0f), levelSlice(640, 128));
  EXPECT_EQ(store.Calls(FaultInjectingFileAccess::Open), opensBefore + 1);

  // Part 3 is being recorded: each view reads its file and sees it grow.
  CCompressedSignalFileReader recording(dir.Path().string(), kPart, &store, 0, 2, Compact16,
                                        1024.0f, &tmp, 64.0, Compact16, 3);
  EXPECT_EQ(view(recording, 60.0f, 64.0f), levelSlice(3840, 256));
  const std::vector<std::int16_t> more = {-3, 4, -5, 6};
  {
    std::ofstream out(LevelPath(dir, 1), std::ios::binary | std::ios::app);
    out.write(reinterpret_cast<const char*>(more.data()), 8);
  }
  std::vector<std::int16_t> grown = levelSlice(3844, 252);
  grown.insert(grown.end(), more.begin(), more.end());
  EXPECT_EQ(view(recording, 60.0625f, 64.0625f), grown);
}

TEST(CompressedSignalFileTest, WriterFailuresCutTheLevelsBackAndEndThePartsPyramid) {
  TempDir dir;
  FaultInjectingFileAccess store(std::make_shared<CLocalFileAccess>());
  const std::vector<float> samples(32 * 32 * 3, 1.0f);

  CCompressedSignalFileWriter failedOpen(dir.Path().string(), kPart, &store, 4, SIFloat, nullptr);
  store.FailAt(FaultInjectingFileAccess::Open, 3);
  EXPECT_FALSE(failedOpen.OpenLevelFiles());
  EXPECT_EQ(failedOpen.OpenLevels(), 2u);
  failedOpen.Close(false);
  EXPECT_FALSE(fs::exists(LevelPath(dir, 1)));  // opened but never written

  // A block that makes the gathered levels go out: 2144 pairs of level 1, 67 of
  // level 2, 2 of level 3, each in one write. One that fails, even part-way,
  // leaves its level at the whole writes before (0: no file), and no later block
  // lands out of place.
  struct Case {
    int write;
    bool shortWrite;
    unsigned long long level1, level2, level3;
  };
  const std::vector<float> large(32 * 32 * CCompressedSignalFileWriter::kGatheredPairs, 1.0f);
  for (const Case& c : {Case{1, true, 0, 67, 2}, Case{2, true, 2144, 0, 2},
                        Case{3, false, 2144, 67, 0}}) {
    SCOPED_TRACE(c.write);
    CCompressedSignalFileWriter writer(dir.Path().string(), kPart, &store, 4, SIFloat, nullptr);
    EXPECT_FALSE(writer.WriteRawBlock(samples.data(), samples.size()));  // not open
    ASSERT_TRUE(writer.OpenLevelFiles());
    ASSERT_TRUE(writer.WriteRawBlock(samples.data(), samples.size()));
    if (c.shortWrite)
      store.ShortWriteAt(c.write);
    else
      store.FailAt(FaultInjectingFileAccess::Write, c.write);
    EXPECT_FALSE(writer.WriteRawBlock(large.data(), large.size()));
    store.Reset();
    EXPECT_FALSE(writer.WriteRawBlock(samples.data(), 64));
    EXPECT_TRUE(writer.Close(true));
    const unsigned long long expected[] = {c.level1, c.level2, c.level3, 0};
    for (int level = 1; level <= 4; ++level) {
      const fs::path path = LevelPath(dir, level);
      EXPECT_EQ(fs::exists(path) ? fs::file_size(path) : 0u, expected[level - 1] * 2 * 4u) << level;
    }
  }

  // A close that fails, or a write of what was gathered at the close, is told.
  for (const FaultInjectingFileAccess::Operation op :
       {FaultInjectingFileAccess::Close, FaultInjectingFileAccess::Write}) {
    CCompressedSignalFileWriter writer(dir.Path().string(), kPart, &store, 4, SIFloat, nullptr);
    ASSERT_TRUE(writer.OpenLevelFiles());
    ASSERT_TRUE(writer.WriteRawBlock(samples.data(), samples.size()));
    store.FailAt(op, 1);
    EXPECT_FALSE(writer.Close(true));
    store.Reset();
  }

  CCompressedSignalFileWriter noPyramid(dir.Path().string(), "Part_4", &store, 4, SIFloat, nullptr);
  noPyramid.SetNumberOfLevels(0);
  ASSERT_TRUE(noPyramid.OpenLevelFiles());
  EXPECT_TRUE(noPyramid.WriteRawBlock(samples.data(), samples.size()));
  noPyramid.Close(true);
  EXPECT_FALSE(fs::exists(dir.Path() / "Part_4_1.zpr"));
}

TEST(CompressedSignalFileTest, LevelsAreGatheredWhileBlocksAreWholeGroups) {
  TempDir dir;
  FaultInjectingFileAccess store(std::make_shared<CLocalFileAccess>());
  CCompressedSignalFileWriter writer(dir.Path().string(), kPart, &store, 8, SIDouble, nullptr);
  ASSERT_TRUE(writer.OpenLevelFiles());
  // Each block makes 1024 pairs of level 1, 32 of level 2 and one of level 3.
  const std::vector<double> samples = Noise<double>(32 * 32 * 32, 1);
  const auto writes = [&] { return store.Calls(FaultInjectingFileAccess::Write); };
  const auto block = [&](std::size_t count) {
    const unsigned long before = writes();
    EXPECT_TRUE(writer.WriteRawBlock(samples.data(), count));
    return writes() - before;
  };

  EXPECT_EQ(block(samples.size()), 0u);
  EXPECT_EQ(block(samples.size()), 3u);  // 64 pairs of level 2: one write a level
  EXPECT_EQ(block(samples.size()), 0u);
  unsigned long before = writes();
  ASSERT_TRUE(writer.Flush());
  EXPECT_EQ(writes() - before, 3u);
  // A block with a short group ends the gathering of level 1, not of the others.
  EXPECT_EQ(block(5), 1u);
  EXPECT_EQ(block(samples.size()), 1u);
  writer.Close(true);
  EXPECT_EQ(fs::file_size(LevelPath(dir, 1)), (4 * 1024 + 1) * 2 * 8u);
}

TEST(CompressedSignalFileTest, HostReducedPairsGoStraightToTheFirstLevel) {
  TempDir dir;
  CLocalFileAccess access;
  const std::vector<std::int32_t> pairs = Noise<std::int32_t>(70, 9);
  CCompressedSignalFileWriter writer(dir.Path().string(), kPart, &access, 4, Raw32, nullptr);
  ASSERT_TRUE(writer.OpenLevelFiles());
  ASSERT_TRUE(writer.WriteCompressedBlock(pairs.data(), 40));
  ASSERT_TRUE(writer.WriteCompressedBlock(pairs.data() + 40, 30));
  writer.Close(true);
  EXPECT_EQ(ReadValues<std::int32_t>(LevelPath(dir, 1)), pairs);
  EXPECT_EQ(ReadValues<std::int32_t>(LevelPath(dir, 2)), NextLevel(pairs, 32));
}

}  // namespace
