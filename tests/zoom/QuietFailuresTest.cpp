// A host may print machine-readable text on standard output ("zsff zoom --json"):
// failures of the library report their lines to the diagnostic sink and leave
// standard output alone.
#include <zsff/RecordSignalTree.h>
#include <zsff/RecordZoomer.h>

#include <string>
#include <vector>

#include "support/CapturedDiagnostics.h"
#include "zoom/ZoomTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

TEST_F(RecordZoomerTest, FailedOpenAndZoomReportToTheSinkOnly) {
  int handle = StartRecord(0.0, PartLengthShort);
  Write(handle, 2, 0);
  Stop(handle);
  const CChannelID unknown(kChannel.ChannelNumber() + 1, 0, 4711);

  CapturedDiagnostics diagnostics;
  testing::internal::CaptureStdout();  // file descriptor 1 itself, not std::cout
  EXPECT_FALSE(Tree::OpenSignalTree(m_Dir.Wide(), u"missing", Tree::TreeOpenRead, kNoStore, false,
                                    u"", false));
  CRecordZoomer zoomer;
  std::vector<float> view;
  // The records bind from the metadata; the request then finds no such channel.
  zoomer.Init(tree.get(), unknown);
  EXPECT_FALSE(zoomer.GetCompressedSignal(unknown, 0.0f, 2.0f, 10, false, 0, view));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

  const std::string reported = diagnostics.Take();
  EXPECT_NE(reported.find("CRecordZoomer::CompressSignal("), std::string::npos) << reported;
  EXPECT_NE(reported.find("CRecordZoomer::GetCompressedSignal firstRecord=0"), std::string::npos)
      << reported;
}

}  // namespace
