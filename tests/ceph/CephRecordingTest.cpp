// Measurements recorded onto CephFS through a tree and read back, followed and
// ended up, as a host does on a local disk.
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include "TempDir.h"
#include "ceph/CephCluster.h"
#include "tree/SurgeryTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

class CephRecording : public ::testing::Test {
 protected:
  void SetUp() override {
    m_Store = NewCephStore();
    ASSERT_TRUE(m_Store);
    Tree::LastErrorString();
  }
  std::u16string Local(const std::string& name = "") const { return m_Local.Wide(name); }

  TempDir m_Local;
  std::shared_ptr<CCephFileAccess> m_Store;
};

TEST_F(CephRecording, RecordsOntoTheFileSystemAndReadsBack) {
  auto tree = Tree::CreateSignalTree(Local(), u"m", m_Store, true);
  ASSERT_TRUE(tree && tree->SetRecordBase(71));
  int handle = tree->CreateRecord(0);
  ASSERT_NE(handle, 0) << N(Tree::LastErrorString());
  StartTwoChannels(tree->wRecord(handle));
  WriteRamp(tree->wRecord(handle), 0, 10000);
  ASSERT_TRUE(tree->wRecord(handle).StopRecord());
  ASSERT_TRUE(tree->CloseRecord(handle, true));
  EXPECT_TRUE(m_Store->FileExists(u"Record_71/Record_71_1"));

  auto reader = Tree::OpenSignalTree(Local(), u"m", Tree::TreeOpenRead, m_Store, true, u"", false);
  std::vector<CRecordId> records;
  ASSERT_TRUE(reader && reader->ListRecords(records, false));
  ASSERT_EQ(records.size(), 1u);
  int read = reader->OpenRecord(records[0], Tree::TreeOpenRead, 0);
  ASSERT_NE(read, 0) << N(Tree::LastErrorString());
  const std::vector<float> samples = ReadAll(reader->wRecord(read), kRight);
  ASSERT_EQ(samples.size(), 10000u);
  for (std::size_t i = 0; i < samples.size(); ++i) ASSERT_EQ(samples[i], static_cast<float>(i));
}

TEST_F(CephRecording, EndsUpARecordingLeftThereAndARenameCutShort) {
  {
    auto tree = Tree::CreateSignalTree(Local(), u"m", m_Store, true);
    ASSERT_TRUE(tree && tree->SetRecordBase(74));
    int handle = tree->CreateRecord(0);
    ASSERT_NE(handle, 0);
    StartTwoChannels(tree->wRecord(handle));
    WriteRamp(tree->wRecord(handle), 0, 5000);
    MetaDataContainer metaData;
    ASSERT_TRUE(tree->LoadMetaDataMeasurement(metaData));
    CMetaDataMeasurementWriter writer(metaData);
    writer.ProjectName(u"Dam");
    writer.MeasurementName(u"m");
    writer.SignalFileName(u"Record_74");
    auto lock = tree->CreateMetaDataLock(MetaDataFileLock::LockWait);
    ASSERT_TRUE(tree->SaveMetaDataMeasurement(lock.get(), metaData, true)) << N(Tree::LastErrorString());
  }  // gone with its record recording, as a process that dies leaves it
  unsigned int handle = 0;
  ASSERT_TRUE(m_Store->OpenFile(u"Record_74/Record_74.zff", FileModeCreate, handle));
  ASSERT_TRUE(m_Store->CloseFile(handle, true));
  // An end-up before died between the link and the unlink of the header's rename.
  const std::string measurement = m_Store->Location().Path + "/Record_74/Record_74";
  ASSERT_TRUE(HardLink(measurement + ".zff", measurement + ".zxf"));

  std::shared_ptr<CAbstractFileAccess> store = m_Store;
  std::vector<Tree::RecordEndUp_t> repaired;
  std::vector<std::string> errors;
  EXPECT_TRUE(Tree::RecordEndUp(u"", store, true, repaired, errors))
      << (errors.empty() ? "" : errors.front());
  EXPECT_EQ(repaired.size(), 1u);
  EXPECT_FALSE(m_Store->FileExists(u"Record_74/Record_74.zff"));
  EXPECT_TRUE(m_Store->FileExists(u"Record_74/Record_74.zxf"));

  ASSERT_TRUE(m_Store->DownloadDirectory(u"Record_74", Local("copy")));
  const std::vector<MetaDataRecord> records = RecordList(m_Local.Path() / "copy", 74);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_FALSE(records[0].Recording());
  EXPECT_DOUBLE_EQ(records[0].Duration(), 5000 / kSurgeryRate);
}

}  // namespace
