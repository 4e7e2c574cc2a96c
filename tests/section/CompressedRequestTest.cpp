// Min/max views of a record written through a section in several parts, checked
// point by point against the samples that were written: spans inside one part and
// across parts, at and beyond the record's ends, with ratios that take the raw
// path, the first level exactly, and coarser levels; a part that is gone; the
// read position and the section's state around a request; a trigger channel.
#include <gtest/gtest.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/RecordSection.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "section/ViewTestSupport.h"
#include "support/ViewExpectations.h"

namespace fs = std::filesystem;
using namespace zsff;
using zsff_test::ChannelMetaData;
using zsff_test::ExpectView;
using zsff_test::Extremes;
using zsff_test::TriangleSample;
using zsff_test::View;
using zsff_test::Window;

namespace {

const CChannelID kData(1, 0, 77);
const CChannelID kTrigger(2, 0, 77);
constexpr float kRate = 1024.0f;
// 64 s parts of 65536 samples: two full parts and a shorter third.
constexpr unsigned long long kSamples = 150000;
constexpr unsigned long long kPartSamples = 65536;
constexpr double kLength = static_cast<double>(kSamples) / kRate;

std::string Narrow(const std::u16string& text) { return std::string(text.begin(), text.end()); }

// Long stretches of a trigger level below and above 0.
float TriggerSample(unsigned long long i) { return (i / 20000) % 2 == 0 ? -2.0f : 3.0f; }

class CompressedRequest : public zsff_test::ViewTest {
 protected:
  void SetUp() override {
    data.resize(kSamples);
    trigger.resize(kSamples);
    for (unsigned long long i = 0; i < kSamples; ++i) {
      data[i] = TriangleSample(i);
      trigger[i] = TriggerSample(i);
    }

    auto writer = OpenForWriting();
    ASSERT_TRUE(writer->AddChannel(kData, ChannelMetaData(kRate)));
    MetaDataContainer triggerMetaData = ChannelMetaData(kRate);
    CMetaDataChannelWriter(triggerMetaData).Type("Trigger");
    ASSERT_TRUE(writer->AddChannel(kTrigger, triggerMetaData));
    ASSERT_TRUE(writer->ArmRecord(0.0, PartLengthShort, false));
    ASSERT_TRUE(Start(*writer, {kData, kTrigger}));
    // Blocks of a multiple of 32 samples, as hosts deliver them: each block closes
    // its own first-level group, so other sizes would shift the pyramid against
    // the samples. 150000 isn't a multiple: the last block is short.
    constexpr unsigned long long kBlock = 4096;
    for (unsigned long long done = 0; done < kSamples; done += kBlock) {
      const unsigned long long n = std::min(kBlock, kSamples - done);
      ASSERT_TRUE(writer->WriteSampleBlock(kData, data.data() + done, n, true));
      ASSERT_TRUE(writer->WriteSampleBlock(kTrigger, trigger.data() + done, n, true));
    }
    ASSERT_TRUE(writer->StopRecord()) << Narrow(writer->LastErrorString());
    ASSERT_TRUE(fs::exists(ChannelDir(kData) / "Part_2.zrs"));
    ASSERT_FALSE(fs::exists(ChannelDir(kData) / "Part_3.zrs"));
  }

  fs::path ChannelDir(const CChannelID& id) const {
    return dir.Path() / "Record_1000_1" / Narrow(id.ToFilePath());
  }

  std::vector<float> data;
  std::vector<float> trigger;
};

TEST_F(CompressedRequest, ViewsMatchTheSamplesOnEveryPath) {
  auto section = OpenForReading();
  ASSERT_EQ(section->ChannelCount(), 2u);

  struct Case {
    const char* label;
    float start;
    float stop;
    unsigned long long points;
  };
  // Ratios of 10.24 and 5.12 take the raw path; 32 is the first level read
  // straight; the others are coarser levels reduced further in memory.
  const Case cases[] = {
      {"raw, inside a part", 10.0f, 20.0f, 1000},
      {"first level exactly", 0.0f, 32.0f, 1024},
      {"first level reduced", 2.0f, 62.0f, 100},
      {"raw, across parts", 60.0f, 70.0f, 2000},
      {"levels, across parts", 30.0f, 140.0f, 200},
      {"second level, whole record", 0.0f, static_cast<float>(kLength), 100},
      {"last part", 130.0f, static_cast<float>(kLength), 50},
  };
  for (const Case& c : cases) {
    const std::vector<float> view = View(*section, kData, c.start, c.stop, c.points);
    ASSERT_FALSE(view.empty()) << c.label << ": " << Narrow(section->LastErrorString());
    const CompressedSignalInfo_t info = section->GetCompressedSignalInfo(kData);
    EXPECT_EQ(info.Points, c.points) << c.label;
    EXPECT_EQ(info.SamplingRate, kRate) << c.label;
    // Each part's piece rounds its own points; together they come within one per
    // piece of what was asked, and never above it.
    EXPECT_LE(info.Size, 2 * c.points) << c.label;
    EXPECT_GE(info.Size + 6, 2 * c.points) << c.label;
    EXPECT_NEAR(info.Span, c.stop - c.start, 0.01) << c.label;
    const double count = (static_cast<double>(c.stop) - c.start) * kRate;
    const double samplesPerPoint = count / static_cast<double>(c.points);
    ExpectView(view, data, c.start * kRate, count, 2 * samplesPerPoint + 32, c.label);
  }

  // Swapped bounds are the same request.
  EXPECT_EQ(View(*section, kData, 70.0f, 60.0f, 2000), View(*section, kData, 60.0f, 70.0f, 2000));

  // The same view in doubles, and in volts (unscaled here), holds the same values.
  ASSERT_TRUE(section->RequestCompressedSignal(kData, 30.0f, 140.0f, 200, false));
  const CompressedSignalInfo_t info = section->GetCompressedSignalInfo(kData);
  std::vector<double> doubles(info.Size);
  ASSERT_EQ(section->GetCompressedSignal(kData, doubles.data(), SampleReadRecordedDouble),
            CompressReady);
  const std::vector<float> floats = View(*section, kData, 30.0f, 140.0f, 200);
  ASSERT_EQ(floats.size(), doubles.size());
  for (std::size_t i = 0; i < floats.size(); ++i) EXPECT_EQ(floats[i], doubles[i]);
  EXPECT_EQ(section->GetCompressedSignal(kData, doubles.data(), static_cast<SampleReadMode_t>(6)),
            CompressFailed);
}

TEST_F(CompressedRequest, BoundsCarryMarginsAndFailuresLeaveTheirText) {
  auto section = OpenForReading();
  const float end = static_cast<float>(kLength);

  // Before any request there is nothing to fetch.
  std::vector<float> view(400);
  EXPECT_EQ(section->GetCompressedSignal(kData, view.data(), SampleReadRecorded), CompressFailed);

  // Up to 0.1 s before the start and 0.4 s after the end are accepted; what lies
  // beyond the last sample simply isn't there.
  const std::vector<float> tail = View(*section, kData, 140.0f, end + 0.3f, 100);
  ASSERT_FALSE(tail.empty()) << Narrow(section->LastErrorString());
  const Extremes last = Window(data, 140.0 * kRate - 100, kSamples);
  for (const float value : tail) {
    EXPECT_GE(value, last.low);
    EXPECT_LE(value, last.high);
  }
  ASSERT_FALSE(View(*section, kData, -0.05f, 5.0f, 100).empty())
      << Narrow(section->LastErrorString());

  EXPECT_FALSE(section->RequestCompressedSignal(kData, 140.0f, end + 0.5f, 100, false));
  EXPECT_EQ(section->LastErrorString(),
            u"CRecordSection::RequestCompressedSignal() start or stop position out of bound");
  EXPECT_FALSE(section->RequestCompressedSignal(kData, -0.2f, 5.0f, 100, false));
  EXPECT_EQ(section->LastErrorString(),
            u"CRecordSection::RequestCompressedSignal() start or stop position out of bound");
  // A refused request leaves nothing to fetch from the one before.
  EXPECT_EQ(section->GetCompressedSignalInfo(kData).Size, 0u);
  EXPECT_EQ(section->GetCompressedSignal(kData, view.data(), SampleReadRecorded), CompressFailed);

  // No points: nothing is read, only the description is refreshed.
  ASSERT_FALSE(View(*section, kData, 0.0f, 10.0f, 100).empty());
  EXPECT_TRUE(section->RequestCompressedSignal(kData, 0.0f, 10.0f, 0, false));
  const CompressedSignalInfo_t none = section->GetCompressedSignalInfo(kData);
  EXPECT_EQ(none.Size, 0u);
  EXPECT_EQ(none.Points, 0u);
  EXPECT_EQ(none.TimeOffset, 0.0);
  EXPECT_EQ(section->GetCompressedSignal(kData, view.data(), SampleReadRecorded), CompressFailed);

  // An unknown channel.
  const CChannelID unknown(9, 0, 77);
  EXPECT_FALSE(section->RequestCompressedSignal(unknown, 0.0f, 10.0f, 100, false));
  EXPECT_EQ(section->LastErrorString(),
            u"CRecordSection::RequestCompressedSignal() Error channel not found: " +
                unknown.ToFileName());
  EXPECT_EQ(section->GetCompressedSignal(unknown, view.data(), SampleReadRecorded), CompressFailed);
  const CompressedSignalInfo_t nothing = section->GetCompressedSignalInfo(unknown);
  EXPECT_EQ(nothing.Size, 0u);
  EXPECT_EQ(nothing.SamplingRate, 0.0f);
}

TEST_F(CompressedRequest, MissingPartGivesBlanksBetweenItsNeighbours) {
  // The middle part's samples and pyramid are gone, as after a crash that took
  // them; the record's metadata still counts them.
  for (const auto& entry : fs::directory_iterator(ChannelDir(kData))) {
    if (entry.path().filename().string().rfind("Part_1", 0) == 0) fs::remove(entry.path());
  }
  std::vector<float> expected = data;
  std::fill(expected.begin() + kPartSamples, expected.begin() + 2 * kPartSamples, 0.0f);

  auto section = OpenForReading();
  const struct {
    const char* label;
    float start;
    float stop;
    unsigned long long points;
  } cases[] = {{"levels", 30.0f, 140.0f, 220}, {"raw", 60.0f, 70.0f, 2000}};
  for (const auto& c : cases) {
    const std::vector<float> view = View(*section, kData, c.start, c.stop, c.points);
    ASSERT_FALSE(view.empty()) << c.label << ": " << Narrow(section->LastErrorString());
    const double first = c.start * kRate;
    const double share = (c.stop - c.start) * kRate / static_cast<double>(view.size() / 2);
    const double slack = 2 * share + 32;
    int blanks = 0;
    for (std::size_t i = 0; i < view.size() / 2; ++i) {
      const double a = first + static_cast<double>(i) * share;
      const double b = a + share;
      // Points well inside the missing part are blank; points well away from it
      // are data.
      if (a - slack >= kPartSamples && b + slack <= 2 * kPartSamples) {
        EXPECT_EQ(view[2 * i], 0.0f) << c.label << " point " << i;
        EXPECT_EQ(view[2 * i + 1], 0.0f) << c.label << " point " << i;
        ++blanks;
      } else if (b + slack <= kPartSamples || a - slack >= 2 * kPartSamples) {
        const Extremes wide = Window(expected, a - slack, b + slack);
        EXPECT_GE(view[2 * i], wide.low) << c.label << " point " << i;
        EXPECT_LE(view[2 * i + 1], wide.high) << c.label << " point " << i;
        EXPECT_GT(view[2 * i + 1], 0.0f) << c.label << " point " << i;
      }
    }
    EXPECT_GT(blanks, 0) << c.label;
  }
}

TEST_F(CompressedRequest, LostOrEmptyLevelFilesGiveWayToTheLevelsOrSamplesThere) {
  // The middle part keeps its samples; its pyramid (three levels) loses files.
  const struct {
    const char* label;
    std::vector<const char*> removed;
    std::vector<const char*> emptied;
  } cases[] = {
      {"first level gone", {"Part_1_1.zpr"}, {}},
      {"first level empty", {}, {"Part_1_1.zpr"}},
      {"second level gone", {"Part_1_2.zpr"}, {}},
      {"second level empty", {}, {"Part_1_2.zpr"}},
      {"whole pyramid gone", {"Part_1_1.zpr", "Part_1_2.zpr", "Part_1_3.zpr"}, {}},
  };
  const fs::path channel = ChannelDir(kData);
  const fs::path intact = dir.Path() / "intact";
  fs::copy(channel, intact);
  for (const auto& c : cases) {
    fs::remove_all(channel);
    fs::copy(intact, channel);
    for (const char* name : c.removed) ASSERT_TRUE(fs::remove(channel / name)) << name;
    for (const char* name : c.emptied) fs::resize_file(channel / name, 0);
    auto section = OpenForReading();
    // The first view takes the first level, the second the second.
    for (const auto& span : {std::pair<float, float>(60.0f, 130.0f), {0.0f, kLength}}) {
      const unsigned long long points = 100;
      const std::vector<float> view = View(*section, kData, span.first, span.second, points);
      ASSERT_FALSE(view.empty()) << c.label << ": " << Narrow(section->LastErrorString());
      const double count = (static_cast<double>(span.second) - span.first) * kRate;
      ExpectView(view, data, span.first * kRate, count, 2 * count / points + 32, c.label);
    }
  }
}

TEST_F(CompressedRequest, RequestLeavesTheReaderAndTheSectionAsTheyWere) {
  auto section = OpenForReading();
  const CAbstractRecordSection::SingleRecordState_t opened = section->State();
  ASSERT_TRUE(section->RequestCompressedSignal(kData, 0.0f, 20.0f, 100, false));
  EXPECT_EQ(section->State(), opened);

  // The reader stands in the second part; raw-sample requests open the first and
  // the last.
  ASSERT_TRUE(section->SetReadPos(kData, 70.0)) << Narrow(section->LastErrorString());
  std::vector<float> samples(10);
  ASSERT_EQ(section->ReadRawSampleBlock(kData, samples.data(), 10), 10u);
  const unsigned long long position = section->GetReadPosSpl(kData);
  const CAbstractRecordSection::SingleRecordState_t reading = section->State();

  ASSERT_FALSE(View(*section, kData, 10.0f, 20.0f, 1000).empty());
  ASSERT_FALSE(View(*section, kData, 135.0f, 140.0f, 1000).empty());
  EXPECT_EQ(section->State(), reading);
  EXPECT_EQ(section->GetReadPosSpl(kData), position);
  ASSERT_EQ(section->ReadRawSampleBlock(kData, samples.data(), 10), 10u);
  for (unsigned long long i = 0; i < 10; ++i) EXPECT_EQ(samples[i], data[position + i]) << i;
}

TEST_F(CompressedRequest, TriggerChannelGivesOnAndOff) {
  auto section = OpenForReading();
  for (const unsigned long long points : {2000ULL, 200ULL}) {  // raw and levels
    const float start = points == 2000 ? 50.0f : 0.0f;
    const float stop = points == 2000 ? 60.0f : 140.0f;
    const std::vector<float> view = View(*section, kTrigger, start, stop, points);
    ASSERT_FALSE(view.empty()) << Narrow(section->LastErrorString());
    const double share = (stop - start) * kRate / static_cast<double>(view.size() / 2);
    const double slack = 2 * share + 32;
    int on = 0;
    int off = 0;
    for (std::size_t i = 0; i < view.size() / 2; ++i) {
      const float low = view[2 * i];
      const float high = view[2 * i + 1];
      EXPECT_TRUE(low == 0.0f || low == 1.0f) << low;
      EXPECT_TRUE(high == 0.0f || high == 1.0f) << high;
      const double a = start * kRate + static_cast<double>(i) * share;
      const Extremes wide = Window(trigger, a - slack, a + share + slack);
      if (wide.low > 0.0f) {
        EXPECT_EQ(low, 1.0f) << "point " << i;
        ++on;
      }
      if (wide.high < 0.0f) {
        EXPECT_EQ(high, 0.0f) << "point " << i;
        ++off;
      }
    }
    EXPECT_GT(on, 0);
    EXPECT_GT(off, 0);
  }
}

}  // namespace
