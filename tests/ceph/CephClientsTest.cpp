// Clients in processes of their own on one measurement on CephFS: a reader
// following a recording, writers racing for the metadata lock, and a recorder
// killed, evicted and its measurement ended up. Each other client is a process
// started by fork and exec (tests/ceph/child).
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include "ceph/CephCluster.h"
#include "tree/SurgeryTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

// What the child writes a step: one block on each channel.
constexpr unsigned long long kBlock = 1024;

class CephClients : public ::testing::Test {
 protected:
  void SetUp() override {
    m_Store = NewCephStore();
    ASSERT_TRUE(m_Store);
    Tree::LastErrorString();
  }
  const std::string& Root() const { return m_Store->Location().Path; }
  std::unique_ptr<Tree> Open(Tree::TreeOpenMode_t mode) {
    return Tree::OpenSignalTree(u"", u"m", mode, nullptr, false, u"", false, m_Store);
  }
  // The samples of the one record that a reader finds now.
  std::vector<float> Samples(Tree& tree) {
    std::vector<CRecordId> records;
    if (!tree.ListRecords(records, false) || records.size() != 1) return {};
    int handle = tree.OpenRecord(records[0], Tree::TreeOpenRead, 0);
    if (handle == 0) return {};
    std::vector<float> samples = ReadAll(tree.wRecord(handle), kRight);
    tree.CloseRecord(handle, false);
    return samples;
  }

  std::shared_ptr<CCephFileAccess> m_Store;
};

TEST_F(CephClients, AReaderFollowsWhatAnotherProcessRecords) {
  ChildClient recorder("record", Root(), 4);
  std::unique_ptr<Tree> reader;
  for (unsigned long long step = 1; step <= 4; ++step) {
    ASSERT_TRUE(recorder.Stepped()) << "the recorder ended with " << recorder.Wait();
    if (!reader) reader = Open(Tree::TreeOpenRead);
    ASSERT_TRUE(reader) << N(Tree::LastErrorString());
    const std::vector<float> samples = Samples(*reader);
    ASSERT_EQ(samples.size(), step * kBlock) << "after step " << step;
    for (std::size_t i = 0; i < samples.size(); ++i) ASSERT_EQ(samples[i], static_cast<float>(i));
    ASSERT_TRUE(recorder.Go());
  }
  EXPECT_EQ(recorder.Wait(), 0);
  std::vector<MetaDataRecord> records;
  ASSERT_TRUE(reader->GetRecordsVect(records));
  ASSERT_EQ(records.size(), 1u);
  EXPECT_FALSE(records[0].Recording());
}

TEST_F(CephClients, TwoProcessesTakeTheMetadataLockInTurnAndLoseNoUpdate) {
  {
    auto tree = Tree::CreateSignalTree(u"", u"m", nullptr, false, m_Store);
    ASSERT_TRUE(tree && tree->SetRecordBase(82));
    MetaDataContainer metaData;
    metaData.AddMetadata("Counter", 0LL);
    auto lock = tree->CreateMetaDataLock(MetaDataFileLock::LockWait);
    ASSERT_TRUE(lock && tree->SaveMetaDataMeasurement(lock.get(), metaData, false));
  }
  constexpr unsigned long long kUpdates = 100;
  ChildClient first("update", Root(), kUpdates), second("update", Root(), kUpdates);
  EXPECT_EQ(first.Wait(), 0);
  EXPECT_EQ(second.Wait(), 0);
  auto tree = Open(Tree::TreeOpenRead);
  MetaDataContainer metaData;
  long long counter = 0;
  ASSERT_TRUE(tree && tree->LoadMetaDataMeasurement(metaData));
  ASSERT_TRUE(metaData.FindMetadata("Counter", counter));
  EXPECT_EQ(counter, static_cast<long long>(2 * kUpdates));
  EXPECT_FALSE(m_Store->FileExists(u"m/Metadata.lock"));
}

TEST_F(CephClients, ARecorderKilledIsEvictedAndItsMeasurementEndedUp) {
  {
    // Its writes reach the cluster before they return: nothing is lost with it.
    ChildClient recorder("record-through", Root(), 10);
    for (int step = 0; step < 3; ++step) {
      ASSERT_TRUE(recorder.Stepped());
      if (step < 2) {
        ASSERT_TRUE(recorder.Go());
      }
    }
    const pid_t pid = recorder.Pid();
    recorder.Kill();
    recorder.Wait();
    // Without the eviction its files stay held until its session times out.
    EXPECT_TRUE(EvictClient(pid));
  }
  unsigned int handle = 0;
  ASSERT_TRUE(m_Store->OpenFile(u"m/Record_81.zff", FileModeCreate, handle));
  ASSERT_TRUE(m_Store->CloseFile(handle, true));
  std::shared_ptr<CAbstractFileAccess> store = m_Store;
  std::vector<Tree::RecordEndUp_t> repaired;
  std::vector<std::string> errors;
  EXPECT_TRUE(Tree::RecordEndUp(u"", store, false, repaired, errors))
      << (errors.empty() ? "" : errors.front());
  EXPECT_EQ(repaired.size(), 1u);
  auto tree = Open(Tree::TreeOpenRead);
  ASSERT_TRUE(tree);
  std::vector<MetaDataRecord> records;
  ASSERT_TRUE(tree->GetRecordsVect(records));
  ASSERT_EQ(records.size(), 1u);
  EXPECT_FALSE(records[0].Recording());
  EXPECT_EQ(Samples(*tree).size(), 3 * kBlock);
}

}  // namespace
