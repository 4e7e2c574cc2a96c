// The zoomer on a measurement still being recorded: a running record as long as
// the request, its unrecorded seconds as NaN pairs, the rebinding when it stops,
// and a ring whose window each display context holds until it is reset.
#include <zsff/RecordZoomer.h>
#include <zsff/TmpRecordFile.h>

#include <cmath>
#include <filesystem>
#include <vector>

#include "foundation/LocalFileAccess.h"
#include "zoom/ZoomTestSupport.h"

namespace fs = std::filesystem;

using namespace zsff;
using namespace zsff_test;

namespace {

TEST_F(RecordZoomerTest, RunningRecordEndsInNaNAndStoppingRebinds) {
  int first = StartRecord(0.0, PartLengthShort);
  Write(first, 10, 0);
  Stop(first);
  int running = StartRecord(0.0, PartLengthShort);
  Write(running, 5, 1);

  CRecordZoomer zoomer;
  ASSERT_TRUE(zoomer.Init(tree.get(), kChannel));
  ASSERT_EQ(zoomer.VectRecordInfo().size(), 2u);
  EXPECT_EQ(zoomer.VectRecordInfo()[1].Duration, 5.0);
  const int bound = zoomer.VectRecordInfo()[1].Handle;

  // The running record is as long as the request: of its 50 points the 5 s not yet
  // recorded are 25 NaN pairs.
  std::vector<float> view;
  ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, 0.0f, 20.0f, 100, false, 0, view));
  EXPECT_TRUE(zoomer.WasRunning());
  EXPECT_EQ(zoomer.VectRecordInfo()[1].Duration, 10.0);
  EXPECT_EQ(zoomer.VectRecordInfo()[1].Handle, bound);
  ASSERT_EQ(view.size(), 200u);
  ExpectView(view, 0, 50, axis, 0.0, 10.0, "finished record");
  ExpectView(view, 50, 25, axis, 10.0, 15.0, "recorded part");
  for (std::size_t i = 150; i < 200; ++i) EXPECT_TRUE(std::isnan(view[i])) << i;

  // More seconds recorded: the same binding serves them.
  Write(running, 3, 1);
  ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, 10.0f, 20.0f, 50, false, 0, view));
  EXPECT_EQ(zoomer.VectRecordInfo()[1].Handle, bound);
  ASSERT_EQ(view.size(), 100u);
  ExpectView(view, 0, 40, axis, 10.0, 18.0, "grown");
  for (std::size_t i = 80; i < 100; ++i) EXPECT_TRUE(std::isnan(view[i])) << i;

  // Stopped: bound again, with the length the metadata now gives and no padding.
  Stop(running);
  ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, 10.0f, 20.0f, 50, false, 0, view));
  EXPECT_FALSE(zoomer.WasRunning());
  EXPECT_NE(zoomer.VectRecordInfo()[1].Handle, bound);
  EXPECT_EQ(zoomer.VectRecordInfo()[1].Duration, 8.0);
  ASSERT_EQ(view.size(), 100u);
  ExpectView(view, 0, 50, axis, 10.0, 18.0, "stopped");
}

TEST_F(RecordZoomerTest, OneRunningRecordIsTheFirstAndPadsItsTail) {
  int running = StartRecord(0.0, PartLengthShort);
  Write(running, 4, 0);

  CRecordZoomer zoomer;
  ASSERT_TRUE(zoomer.Init(tree.get(), kChannel));
  std::vector<float> view;
  ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, 2.0f, 8.0f, 60, false, 0, view));
  // Stop 8 against 4 s recorded: the tail is 4 / 8 of the points.
  ASSERT_EQ(view.size(), 120u);
  ExpectView(view, 0, 30, axis, 2.0, 4.0, "recorded");
  for (std::size_t i = 60; i < 120; ++i) EXPECT_TRUE(std::isnan(view[i])) << i;
}

TEST_F(RecordZoomerTest, RingWindowHeldPerContextUntilReset) {
  // A ring of 20 s in parts of 4 s: of 30 s written the record keeps 22.
  int ring = StartRecord(20.0, PartLengthAuto);
  ASSERT_EQ(tree->wRecord(ring).PartLength(), 4.0);
  Write(ring, 30, 0);

  CRecordZoomer zoomer;
  ASSERT_TRUE(zoomer.Init(tree.get(), kChannel));
  std::vector<float> held;
  ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, 0.0f, 20.0f, 40, true, 7, held));
  ASSERT_EQ(held.size(), 80u);
  ExpectView(held, 0, 40, axis, 10.0, 30.0, "window");

  // The recording moves on; context 7 keeps its window, a new context takes the
  // current one, and context 0 is never shifted.
  Write(ring, 1, 0);
  std::vector<float> view;
  ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, 0.0f, 20.0f, 40, true, 7, view));
  EXPECT_EQ(view, held);
  ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, 0.0f, 20.0f, 40, true, 3, view));
  ASSERT_EQ(view.size(), 80u);
  ExpectView(view, 0, 40, axis, 11.0, 31.0, "new context");
  ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, 12.0f, 20.0f, 16, true, 0, view));
  ASSERT_EQ(view.size(), 32u);
  ExpectView(view, 0, 16, axis, 12.0, 20.0, "context 0");

  zoomer.ResetZoomContext(7);
  ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, 0.0f, 20.0f, 40, true, 7, view));
  ExpectView(view, 0, 40, axis, 11.0, 31.0, "after reset");
  EXPECT_NE(view, held);

  // A copy holds the same windows and the same records.
  CRecordZoomer copy(zoomer);
  ASSERT_TRUE(copy.GetCompressedSignal(kChannel, 0.0f, 20.0f, 40, true, 3, held));
  ExpectView(held, 0, 40, axis, 11.0, 31.0, "copy");
}

}  // namespace

namespace {

TEST_F(RecordZoomerTest, RunningRecordWithoutItsFirstPartStartsWithZeros) {
  int running = StartRecord(0.0, PartLengthAuto);
  ASSERT_EQ(tree->wRecord(running).PartLength(), 640.0);
  Write(running, 1286, 0);
  // The record's first part is erased while it is recorded: its files go, and the
  // temporary record file says the parts now begin at 1.
  fs::path channel;
  for (const auto& entry : fs::recursive_directory_iterator(m_Dir.Path())) {
    if (entry.path().filename() == "TmpRecord.zrm") channel = entry.path().parent_path();
  }
  for (const char* name : {"Part_0.zrs", "Part_0_1.zpr", "Part_0_2.zpr", "Part_0_3.zpr"}) {
    ASSERT_TRUE(fs::remove(channel / name)) << name;
  }
  CLocalFileAccess store;
  CTmpRecordFile tmp(channel.string(), &store);
  ASSERT_TRUE(tmp.Read());
  tmp.SetParts(1, 2);
  ASSERT_TRUE(tmp.Write());

  // 1400 s in 140 points: the 640 s erased come first as zeros, the 114 s not yet
  // recorded last as NaN, and what the record holds in between.
  CRecordZoomer zoomer;
  ASSERT_TRUE(zoomer.Init(tree.get(), kChannel));
  std::vector<float> view;
  ASSERT_TRUE(zoomer.GetCompressedSignal(kChannel, 0.0f, 1400.0f, 140, false, 0, view));
  ASSERT_EQ(view.size(), 280u);
  for (std::size_t i = 0; i < 128; ++i) ASSERT_EQ(view[i], 0.0f) << i;
  std::size_t end = 128;
  while (end < view.size() && !std::isnan(view[end])) ++end;
  ASSERT_GT(end, 128u + 2 * 60);
  for (std::size_t i = end; i < view.size(); ++i) EXPECT_TRUE(std::isnan(view[i])) << i;
  ExpectView(view, 64, (end - 128) / 2, axis, 640.0, 1286.0, "kept parts");
}

}  // namespace
