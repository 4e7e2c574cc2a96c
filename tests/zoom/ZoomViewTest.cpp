// One channel zoomed across finished records of a measurement recorded through
// the tree: spans inside one record, across two and past the end, the share of
// points that the ceilings push over the limit, and spans within a second down to
// a sample a point. Every view is checked point by point against the samples that
// were written.
#include <zsff/RecordZoomer.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "zoom/ZoomTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

// Finished records of 10, 6 and 8 s.
class ThreeRecords : public RecordZoomerTest {
 protected:
  void SetUp() override {
    RecordZoomerTest::SetUp();
    const int lengths[] = {10, 6, 8};
    for (int r = 0; r < 3; ++r) {
      int handle = StartRecord(0.0, PartLengthShort);
      Write(handle, lengths[r], r);
      Stop(handle);
    }
  }
};

TEST_F(ThreeRecords, SharesASpanOutOverTheRecordsItCrosses) {
  CRecordZoomer zoomer;
  ASSERT_TRUE(zoomer.Init(tree.get(), kChannel));
  const std::vector<CRecordZoomer::RecordInfo_t>& records = zoomer.VectRecordInfo();
  ASSERT_EQ(records.size(), 3u);
  const std::vector<int> handles{records[0].Handle, records[1].Handle, records[2].Handle};

  std::vector<float> view;
  // Inside the second record.
  ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, 11.0f, 15.0f, 40, false, 0, view));
  ASSERT_EQ(view.size(), 80u);
  ExpectView(view, 0, 40, axis, 11.0, 15.0, "inside");
  EXPECT_EQ(records[1].RequestStart, 1.0);
  EXPECT_EQ(records[1].RequestStop, 5.0);

  // Across the first two: half the seconds, half the points each.
  ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, 5.0f, 15.0f, 100, false, 0, view));
  ASSERT_EQ(view.size(), 200u);
  EXPECT_EQ(records[0].RequestPoints, 50u);
  EXPECT_EQ(records[1].RequestPoints, 50u);
  EXPECT_EQ(records[1].RequestStart, 0.0);
  EXPECT_EQ(records[1].RequestStop, 5.0);
  ExpectView(view, 0, 100, axis, 5.0, 15.0, "across two");

  // Past the end of the last record alone: it gives all the points to what it has.
  ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, 20.0f, 30.0f, 100, false, 0, view));
  ASSERT_EQ(view.size(), 200u);
  ExpectView(view, 0, 100, axis, 20.0, 24.0, "past the end of one");

  // Past the end across records: each gives its share of the 16 s asked, and the
  // view is as much shorter as the seconds that no record holds.
  ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, 14.0f, 30.0f, 160, false, 0, view));
  EXPECT_EQ(records[1].RequestPoints, 20u);
  EXPECT_EQ(records[2].RequestPoints, 80u);
  ASSERT_EQ(view.size(), 200u);
  ExpectView(view, 0, 100, axis, 14.0, 24.0, "past the end of two");

  // 3 + 6 + 3 seconds of 12 for 10 points: ceil(2.5) + 5 + ceil(2.5) = 11 points,
  // brought back to 10 without losing the extremes of the span.
  ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, 7.0f, 19.0f, 10, false, 0, view));
  EXPECT_EQ(records[0].RequestPoints + records[1].RequestPoints + records[2].RequestPoints, 11u);
  ASSERT_EQ(view.size(), 20u);
  const Extremes whole = Window(axis, 7.0 * kRate, 19.0 * kRate);
  float low = view[0], high = view[1];
  for (std::size_t i = 0; i < view.size(); i += 2) {
    EXPECT_LE(view[i], view[i + 1]) << i;
    low = std::min(low, view[i]);
    high = std::max(high, view[i + 1]);
  }
  EXPECT_EQ(low, whole.low);
  EXPECT_EQ(high, whole.high);
  // The first points come from the first record, the last ones from the third.
  EXPECT_LT(view[1], 20000.0f);
  EXPECT_GT(view[18], 40000.0f);

  // Nothing changed in the tree: the records were never reopened.
  EXPECT_EQ(handles, (std::vector<int>{records[0].Handle, records[1].Handle, records[2].Handle}));
}

TEST_F(ThreeRecords, NarrowSpansHoldTheSamplesOfTheirShare) {
  CRecordZoomer zoomer;
  ASSERT_TRUE(zoomer.Init(tree.get(), kChannel));

  // Spans in whole samples, none but the first starting on a second; the records
  // share the points of a span without rounding.
  const struct {
    const char* label;
    unsigned long long first;  // sample on the axis
    unsigned long long count;  // samples
    unsigned long long points;
  } cases[] = {
      {"whole measurement", 0, 24 * 512, 96},
      {"1 s across records, first level exactly", 4864, 512, 16},
      {"0.1 s, two samples a point", 5760, 50, 25},
      {"100 samples across records, a sample a point", 5070, 100, 100},
      {"fewer samples than points", 10496, 10, 40},
  };
  std::vector<float> view;
  for (const auto& c : cases) {
    const double a = static_cast<double>(c.first) / kRate;
    const double b = static_cast<double>(c.first + c.count) / kRate;
    ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, static_cast<float>(a), static_cast<float>(b),
                                           c.points, false, 0, view))
        << c.label;
    EXPECT_LE(view.size(), 2 * std::min(c.points, c.count)) << c.label;
    const std::size_t points = view.size() / 2;
    const double share = static_cast<double>(c.count) / static_cast<double>(points);
    ExpectView(view, 0, points, axis, a, b, c.label, share > 1.0 ? 2 * share : 0.0);
  }
}

TEST_F(RecordZoomerTest, SpikesAtTheEndsOfPartsShowInTheView) {
  // Parts of 4 s (2048 samples) in a ring of 60 s, filled in blocks that aren't a
  // multiple of the pyramid's factor, so that its pairs cover fewer samples each.
  int handle = StartRecord(60.0, PartLengthAuto);
  std::vector<float> samples(9 * kBlock, 0.0f);
  const struct {
    std::size_t index;
    float value;
  } spikes[] = {{2047, 5.0f}, {4095, 6.0f}, {4607, 7.0f}, {4600, -7.0f}};
  for (const auto& spike : spikes) samples[spike.index] = spike.value;
  for (std::size_t done = 0; done < samples.size(); done += 500) {
    const unsigned long long count = std::min<std::size_t>(500, samples.size() - done);
    ASSERT_TRUE(
        tree->wRecord(handle).WriteSampleBlock(kChannel, samples.data() + done, count, true));
  }
  Stop(handle);

  CRecordZoomer zoomer;
  ASSERT_TRUE(zoomer.Init(tree.get(), kChannel));
  std::vector<float> view;
  for (const unsigned long long points : {100ULL, 400ULL}) {  // a pyramid level, raw samples
    SCOPED_TRACE(points);
    ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, 0.0f, 9.0f, points, false, 0, view));
    for (const auto& spike : spikes) {
      EXPECT_NE(std::find(view.begin(), view.end(), spike.value), view.end())
          << "the spike at sample " << spike.index;
    }
  }
}

}  // namespace

namespace {

TEST_F(RecordZoomerTest, ErasedPartsDrawAsZeros) {
  // Three parts of 64 s; the middle one is erased once the record is finished.
  int handle = StartRecord(0.0, PartLengthShort);
  Write(handle, 192, 0);
  Stop(handle);
  ASSERT_TRUE(tree->StartEditing());
  ASSERT_TRUE(tree->IsEditing());
  std::vector<MetaDataRecord> records;
  ASSERT_TRUE(tree->GetRecordsVect(records));
  handle = tree->OpenRecord(CRecordId(records.at(0).RecordId()), Tree::TreeOpenEdit, 0);
  ASSERT_NE(handle, 0);
  ASSERT_TRUE(tree->wRecord(handle).EraseParts(kChannel, 1, 1));
  ASSERT_TRUE(tree->CloseRecord(handle, false));

  CRecordZoomer zoomer;
  ASSERT_TRUE(zoomer.Init(tree.get(), kChannel));
  std::vector<float> view;
  ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, 0.0f, 192.0f, 96, false, 0, view));
  ASSERT_EQ(view.size(), 192u);
  for (std::size_t i = 64; i < 128; ++i) ASSERT_EQ(view[i], 0.0f) << i;
  ExpectView(view, 0, 32, axis, 0.0, 64.0, "before the erased part");
  ExpectView(view, 64, 32, axis, 128.0, 192.0, "after it");
}

}  // namespace
