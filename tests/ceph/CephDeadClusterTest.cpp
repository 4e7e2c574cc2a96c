// A cluster that stops under a reader: the store gives up on it after its call
// timeout, with words that say so, instead of holding the reader for good. The
// cluster is one of the test's own, since it is killed.
#include <gtest/gtest.h>
#include <zsff/RecordSignalTree.h>

#include <cstdlib>

#include "TempDir.h"
#include "ceph/CephCluster.h"
#include "tree/SurgeryTestSupport.h"

using namespace zsff;
using namespace zsff_test;

TEST(CephDeadCluster, AReaderGetsAnErrorOnceTheCallTimeoutHasPassed) {
  TempDir dir;
  const std::string cluster = (dir.Path() / "cluster").string();
  const std::string script = ZSFF_CEPH_CLUSTER_SCRIPT;
  ASSERT_EQ(std::system((script + " start " + cluster).c_str()), 0) << "see " << cluster << "/log";
  CephLocation location;
  location.ConfigPath = cluster + "/ceph.conf";
  CephOptions options;
  options.CallTimeout = 3;
  {
    auto writer = std::make_shared<CCephFileAccess>(location, options);
    ASSERT_TRUE(writer->Mount()) << writer->LastErrorText();
    auto tree = Tree::CreateSignalTree(u"", u"m", nullptr, false, writer);
    ASSERT_TRUE(tree && tree->SetRecordBase(72)) << N(Tree::LastErrorString());
    int handle = tree->CreateRecord(0);
    StartTwoChannels(tree->wRecord(handle));
    WriteRamp(tree->wRecord(handle), 0, 100000);
    ASSERT_TRUE(tree->wRecord(handle).StopRecord());
    ASSERT_TRUE(tree->CloseRecord(handle, true));
  }
  auto store = std::make_shared<CCephFileAccess>(location, options);
  ASSERT_TRUE(store->Mount()) << store->LastErrorText();
  auto reader = Tree::OpenSignalTree(u"", u"m", Tree::TreeOpenRead, nullptr, false, u"", false,
                                     store);
  std::vector<CRecordId> records;
  ASSERT_TRUE(reader && reader->ListRecords(records, false) && records.size() == 1u);
  int handle = reader->OpenRecord(records[0], Tree::TreeOpenRead, 0);
  ASSERT_NE(handle, 0) << N(Tree::LastErrorString());
  std::vector<float> block(1000);
  ASSERT_EQ(reader->wRecord(handle).ReadRawSampleBlock(kLeft, block.data(), block.size()),
            block.size());

  ASSERT_EQ(std::system((script + " stop " + cluster).c_str()), 0);
  EXPECT_LT(ReadAll(reader->wRecord(handle), kRight).size(), 100000u);
  EXPECT_NE(store->LastErrorText().find("didn't answer within 3 s: the store gave up on it"),
            std::string::npos)
      << store->LastErrorText();
  // Given up, the store fails at once, also when the tree lets its files go.
  EXPECT_FALSE(store->FileExists(u"m"));
  reader->CloseRecord(handle, false);
}
