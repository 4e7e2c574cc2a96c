// Binding a measurement's records to the zoomer: each record opened once and laid
// end to end on the axis, rebinding that gives the old handles back, Clean with
// and without the tree, a copy holding the same records, and the lines reported
// when there is nothing to bind or to ask.
#include <zsff/RecordZoomer.h>

#include <vector>

#include "support/CapturedDiagnostics.h"
#include "zoom/ZoomTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

TEST_F(RecordZoomerTest, BindsEachRecordOnceEndToEnd) {
  zsff_test::CapturedDiagnostics diagnostics;
  const int lengths[] = {10, 6, 8};
  for (int r = 0; r < 3; ++r) {
    int handle = StartRecord(0.0, PartLengthShort);
    Write(handle, lengths[r], r);
    Stop(handle);
  }
  EXPECT_FALSE(tree->IsUsed());

  CRecordZoomer zoomer;
  ASSERT_TRUE(zoomer.Init(tree.get(), kChannel));
  const std::vector<CRecordZoomer::RecordInfo_t>& records = zoomer.VectRecordInfo();
  ASSERT_EQ(records.size(), 3u);
  const unsigned int base = tree->RecordBase().RecordBase();
  double start = 0.0;
  for (int r = 0; r < 3; ++r) {
    EXPECT_EQ(records[r].Name,
              CRecordId(base, static_cast<unsigned short>(r + 1)).IdToRecordName());
    EXPECT_EQ(tree->RecordName(records[r].Handle), records[r].Name);
    EXPECT_EQ(records[r].Start, start);
    EXPECT_EQ(records[r].Duration, lengths[r]);
    EXPECT_EQ(records[r].End, start + lengths[r]);
    EXPECT_EQ(records[r].RequestPoints, 0u);
    start += lengths[r];
  }
  EXPECT_FALSE(zoomer.WasRunning());
  EXPECT_TRUE(tree->IsUsed());

  // Bound again: the records before are given back, so each stays open once.
  const int old = records[0].Handle;
  ASSERT_TRUE(zoomer.Init(tree.get(), kChannel));
  ASSERT_EQ(records.size(), 3u);
  EXPECT_NE(records[0].Handle, old);
  EXPECT_TRUE(tree->RecordName(old).empty());

  // A copy holds the same records and the same tree.
  {
    CRecordZoomer copy(zoomer);
    ASSERT_EQ(copy.VectRecordInfo().size(), 3u);
    EXPECT_EQ(copy.VectRecordInfo()[2].Handle, records[2].Handle);
    EXPECT_EQ(copy.VectRecordInfo()[2].End, 24.0);
  }

  // Cleaned, the records are given back; the tree, kept, still can't be asked
  // until it is bound again.
  ASSERT_TRUE(zoomer.Init(tree.get(), kChannel));
  zoomer.Clean(false);
  EXPECT_TRUE(zoomer.VectRecordInfo().empty());
  EXPECT_FALSE(tree->IsUsed());
  std::vector<float> view;
  EXPECT_FALSE(zoomer.GetCompressedSignal(kChannel, 0.0f, 10.0f, 10, false, 0, view));
  zoomer.Clean(true);
  EXPECT_FALSE(zoomer.GetCompressedSignal(kChannel, 0.0f, 10.0f, 10, false, 0, view));
  EXPECT_FALSE(zoomer.Init(nullptr, kChannel));
  EXPECT_EQ(diagnostics.Take(),
            "CRecordZoomer::GetCompressedSignal() : error m_VectRecordInfo is empty\n"
            "CRecordZoomer::GetCompressedSignal: Error record tree not open\n"
            "CRecordZoomer::Init: invalid record tree\n");
  ASSERT_TRUE(zoomer.Init(tree.get(), kChannel));
  EXPECT_EQ(zoomer.VectRecordInfo().size(), 3u);
}

TEST_F(RecordZoomerTest, TreeWithoutRecordsDoesNotBind) {
  zsff_test::CapturedDiagnostics diagnostics;
  CRecordZoomer zoomer;
  EXPECT_FALSE(zoomer.Init(tree.get(), kChannel));
  EXPECT_EQ(diagnostics.Take(), "CRecordZoomer::Init: unable to get records list (0)\n");
  EXPECT_TRUE(zoomer.VectRecordInfo().empty());
}

}  // namespace
