// Measurements recorded onto CephFS through trees that take the file system for
// their disk, read back by another client, ended up after a crash, and given to
// a remote-store tree's upload.
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include "TempDir.h"
#include "ceph/CephCluster.h"
#include "support/FileContents.h"
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
  // A second client of the same directory, as on another machine.
  std::shared_ptr<CCephFileAccess> OtherClient() const {
    auto other = std::make_shared<CCephFileAccess>(m_Store->Location());
    EXPECT_TRUE(other->Mount()) << other->LastErrorText();
    return other;
  }

  TempDir m_Local;
  std::shared_ptr<CCephFileAccess> m_Store;
};

TEST_F(CephRecording, RecordsOntoTheFileSystemAndAnotherClientReadsBack) {
  auto tree = Tree::CreateSignalTree(u"", u"m", nullptr, false, m_Store);
  ASSERT_TRUE(tree && tree->SetRecordBase(71)) << N(Tree::LastErrorString());
  int handle = tree->CreateRecord(0);
  ASSERT_NE(handle, 0) << N(Tree::LastErrorString());
  StartTwoChannels(tree->wRecord(handle));
  WriteRamp(tree->wRecord(handle), 0, 10000);
  ASSERT_TRUE(tree->wRecord(handle).StopRecord());
  ASSERT_TRUE(tree->CloseRecord(handle, true));
  // The directory is the tree's: a second creator is refused.
  EXPECT_FALSE(Tree::CreateSignalTree(u"", u"m", nullptr, false, m_Store));

  auto reader =
      Tree::OpenSignalTree(u"", u"m", Tree::TreeOpenRead, nullptr, false, u"", false, OtherClient());
  std::vector<CRecordId> records;
  ASSERT_TRUE(reader && reader->ListRecords(records, false)) << N(Tree::LastErrorString());
  ASSERT_EQ(records.size(), 1u);
  int read = reader->OpenRecord(records[0], Tree::TreeOpenRead, 0);
  ASSERT_NE(read, 0) << N(Tree::LastErrorString());
  const std::vector<float> samples = ReadAll(reader->wRecord(read), kRight);
  ASSERT_EQ(samples.size(), 10000u);
  for (std::size_t i = 0; i < samples.size(); ++i) ASSERT_EQ(samples[i], static_cast<float>(i));
}

TEST_F(CephRecording, EndsUpARecordingLeftThereAndARenameCutShort) {
  {
    auto tree = Tree::CreateSignalTree(u"", u"m", nullptr, false, m_Store);
    ASSERT_TRUE(tree && tree->SetRecordBase(74));
    int handle = tree->CreateRecord(0);
    ASSERT_NE(handle, 0);
    StartTwoChannels(tree->wRecord(handle));
    WriteRamp(tree->wRecord(handle), 0, 5000);
    MetaDataContainer metaData;
    ASSERT_TRUE(tree->LoadMetaDataMeasurement(metaData));
    CMetaDataMeasurementWriter writer(metaData);
    writer.ProjectName(u"Fleet");
    writer.MeasurementName(u"m");
    writer.SignalFileName(u"Record_74.zff");
    auto lock = tree->CreateMetaDataLock(MetaDataFileLock::LockWait);
    ASSERT_TRUE(tree->SaveMetaDataMeasurement(lock.get(), metaData, false));
  }  // gone with its record recording, as a process that dies leaves it
  unsigned int handle = 0;
  ASSERT_TRUE(m_Store->OpenFile(u"m/Record_74.zff", FileModeCreate, handle));
  ASSERT_TRUE(m_Store->CloseFile(handle, true));
  // An end-up before died between the link and the unlink of the header's rename.
  const std::string measurement = m_Store->Location().Path + "/m/Record_74";
  ASSERT_TRUE(HardLink(measurement + ".zff", measurement + ".zxf"));

  std::shared_ptr<CAbstractFileAccess> store = OtherClient();
  std::vector<Tree::RecordEndUp_t> repaired;
  std::vector<std::string> errors;
  EXPECT_TRUE(Tree::RecordEndUp(u"", store, false, repaired, errors))
      << (errors.empty() ? "" : errors.front());
  EXPECT_EQ(repaired.size(), 1u);
  EXPECT_FALSE(m_Store->FileExists(u"m/Record_74.zff"));
  EXPECT_TRUE(m_Store->FileExists(u"m/Record_74.zxf"));

  auto reader =
      Tree::OpenSignalTree(u"", u"m", Tree::TreeOpenRead, nullptr, false, u"", false, m_Store);
  std::vector<MetaDataRecord> records;
  ASSERT_TRUE(reader && reader->GetRecordsVect(records));
  ASSERT_EQ(records.size(), 1u);
  EXPECT_FALSE(records[0].Recording());
  EXPECT_DOUBLE_EQ(records[0].Duration(), 5000 / kSurgeryRate);
}

TEST_F(CephRecording, TakesAMeasurementUploadedFromTheLocalDiskAndGivesItBack) {
  MakeMeasurement(m_Local.Path(), 72, 2, 5000);
  auto local = Tree::OpenSignalTree(m_Local.Wide(), u"m", Tree::TreeOpenRead, m_Store, true, u"",
                                    false);
  ASSERT_TRUE(local && local->UploadRecords(0)) << m_Store->LastErrorText();
  ASSERT_TRUE(m_Store->DownloadDirectory(u"Record_72", m_Local.Wide("back")));
  EXPECT_EQ(FilesBelow(m_Local.Path() / "back"), FilesBelow(m_Local.Path() / "m"));
}

}  // namespace
