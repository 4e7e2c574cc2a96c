// Copying a measurement to another directory, and sending it to a remote store
// and fetching it back: every file arrives as it was, a download cut short
// resumes without fetching again what is there, and what can't be had or doesn't
// pass the check is reported.
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "support/FileContents.h"
#include "tree/SurgeryTestSupport.h"
#include "tree/TreeTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

void Write(const fs::path& path, const std::string& text) { std::ofstream(path) << text; }

class RecordTransfer : public TreeTest {
 protected:
  fs::path Dir(const std::string& name) {
    fs::create_directories(m_Dir.Path() / name);
    return m_Dir.Path() / name;
  }
};

TEST_F(RecordTransfer, CopiesEveryFileAndRenamesTheHostsOwnAfterTheCopy) {
  MakeMeasurement(m_Dir.Path(), 51, 2, 5000);
  const fs::path source = m_Dir.Path() / "m";
  Write(source / "m.prj", "host");
  fs::create_directories(source / "Notes");
  Write(source / "Notes" / "a.txt", "note");
  auto tree = Tree::OpenSignalTree(m_Dir.Wide(), u"m", Tree::TreeOpenRead, kNoStore, false, u"",
                                   false);
  ASSERT_TRUE(tree);

  ASSERT_TRUE(tree->CopyRecords(m_Dir.Wide("m"), m_Dir.Wide("c"), false));
  std::map<std::string, std::string> expected = FilesBelow(source);
  expected["c.prj"] = expected["m.prj"];
  expected.erase("m.prj");
  EXPECT_EQ(FilesBelow(m_Dir.Path() / "c"), expected);
  auto copy = Tree::OpenSignalTree(m_Dir.Wide(), u"c", Tree::TreeOpenRead, kNoStore, false, u"",
                                   false);
  std::vector<CRecordId> records;
  ASSERT_TRUE(copy && copy->ListRecords(records, false));
  EXPECT_EQ(records.size(), 2u);

  // One record comes with the measurement's own files alone.
  ASSERT_TRUE(tree->CopyRecord(u"Record_51_2", m_Dir.Wide("one")));
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(m_Dir.Path() / "one"))
    names.insert(entry.path().filename().string());
  EXPECT_EQ(names, (std::set<std::string>{"Record_51.zsfh", "Record_51_2"}));
  EXPECT_FALSE(tree->CopyRecord(u"Record_51_2", u""));
}

TEST_F(RecordTransfer, CopiesNothingWhileARecordIsRecording) {
  auto tree = Tree::CreateSignalTree(m_Dir.Wide(), u"m", kNoStore, false);
  ASSERT_TRUE(tree && tree->SetRecordBase(52));
  int handle = tree->CreateRecord(0);
  StartTwoChannels(tree->wRecord(handle));
  EXPECT_FALSE(tree->CopyRecords(m_Dir.Wide("m"), m_Dir.Wide("c"), false));
  EXPECT_FALSE(tree->CopyRecord(u"Record_52_1", m_Dir.Wide("c")));
  EXPECT_FALSE(fs::exists(m_Dir.Path() / "c"));
  tree->wRecord(handle).StopRecord();
}

// A measurement of two records in "local/m" with one analyzer, and the store in
// "store".
class RemoteTransfer : public RecordTransfer {
 protected:
  void SetUp() override {
    RecordTransfer::SetUp();
    MakeMeasurement(Dir("local"), 53, 2, 5000);
    MetaDataContainer metaData = LoadMeasurement(Local(), 53);
    CMetaDataMeasurementWriter(metaData).AddAnalyzer("4711", "A1", "DISK-A", "Disk A");
    CMetaDataMeasurementWriter(metaData).ProjectName(u"Dam");
    CMetaDataMeasurementWriter(metaData).SignalFileName(u"Record_53");
    SaveMeasurement(Local(), 53, metaData);
    m_Store = std::make_shared<RootedStore>(Dir("store"));
    m_Store->DiskIds = {u"DISK-A"};
  }
  fs::path Local() { return m_Dir.Path() / "local" / "m"; }
  fs::path Remote() { return m_Dir.Path() / "store" / "Record_53"; }
  fs::path Copy() { return m_Dir.Path() / "copy" / "Record_53"; }
  // The files of a measurement but its metadata file, whose summary the check of a
  // download writes anew.
  std::map<std::string, std::string> DataFiles(const fs::path& directory) {
    std::map<std::string, std::string> files = FilesBelow(directory);
    files.erase("Record_53.zsfh");
    return files;
  }

  void Upload() {
    auto tree = Tree::OpenSignalTree(m_Dir.Wide("local"), u"m", Tree::TreeOpenRead, m_Store, true,
                                     u"", false);
    ASSERT_TRUE(tree && tree->UploadRecords(0));
  }
  // Downloads into "copy/Record_53".
  bool Download(std::vector<std::u16string>& messages, std::set<unsigned int>& codes) {
    fs::create_directories(Copy());
    auto tree = Tree::OpenSignalTree(m_Dir.Wide("copy"), u"Record_53", Tree::TreeOpenRead, m_Store,
                                     true, u"Record_53", false);
    return tree && tree->DownloadRecords(messages, codes, false, 0);
  }

  std::shared_ptr<RootedStore> m_Store;
};

TEST_F(RemoteTransfer, UploadsOneRecordOrAllThenDownloadsEveryFileAndResumes) {
  Write(Local() / "Record_53.zwarn", "local only");
  {
    auto tree = Tree::OpenSignalTree(m_Dir.Wide("local"), u"m", Tree::TreeOpenRead, m_Store, true,
                                     u"", false);
    ASSERT_TRUE(tree);
    EXPECT_TRUE(tree->UploadRecords(7));  // no such record: nothing goes
    EXPECT_TRUE(FilesBelow(Remote()).empty());
    ASSERT_TRUE(tree->UploadRecords(2));
    EXPECT_TRUE(fs::exists(Remote() / "Record_53_2"));
    EXPECT_FALSE(fs::exists(Remote() / "Record_53_1"));
    ASSERT_TRUE(tree->UploadRecords(0));
  }
  fs::remove(Local() / "Record_53.zwarn");
  const std::map<std::string, std::string> measurement = FilesBelow(Local());
  EXPECT_EQ(FilesBelow(Remote()), measurement);

  // A clean download takes the warning of an earlier one away.
  fs::create_directories(Copy());
  Write(Copy() / "Record_53.zwarn", "earlier");
  std::vector<std::u16string> messages;
  std::set<unsigned int> codes;
  ASSERT_TRUE(Download(messages, codes));
  EXPECT_TRUE(messages.empty()) << N(messages.front());
  EXPECT_TRUE(codes.empty());
  EXPECT_EQ(DataFiles(Copy()), DataFiles(Local()));
  EXPECT_EQ(RecordList(Copy(), 53).size(), 2u);

  // A download cut short fetches only what is missing.
  const std::string part = "Record_53_2/" + N(kLeft.ToFilePath()) + "/Part_1.zrs";
  fs::resize_file(Copy() / part, 10);
  fs::remove(Copy() / "Record_53.zsfh");
  m_Store->Fetched.clear();
  ASSERT_TRUE(Download(messages, codes));
  EXPECT_EQ(m_Store->Fetched, (std::vector<std::string>{"Record_53.zsfh", "Part_1.zrs"}));
  EXPECT_EQ(DataFiles(Copy()), DataFiles(Local()));
}

TEST_F(RemoteTransfer, WarnsOfADiskOutOfReachUnlessTheCopyHoldsItsAnalyzer) {
  Upload();
  m_Store->DiskIds.clear();
  fs::create_directories(Copy());
  Write(Copy() / "Record_53.zwarn", "earlier");
  std::vector<std::u16string> messages;
  std::set<unsigned int> codes;
  EXPECT_TRUE(Download(messages, codes));
  EXPECT_EQ(messages, std::vector<std::u16string>{
                          u"Warning: missing harddisk 'Disk A' (SN: 'DISK-A') located on "
                          u"analyzer: 'A1' (SN: '4711')"});
  EXPECT_EQ(codes, std::set<unsigned int>{Tree::DownloadDiskUnreachable});
  EXPECT_TRUE(fs::exists(Copy() / "Record_53.zwarn"));

  // The copy now holds the channels of analyzer 4711.
  EXPECT_TRUE(Download(messages, codes));
  EXPECT_TRUE(messages.empty());
  EXPECT_FALSE(fs::exists(Copy() / "Record_53.zwarn"));
}

TEST_F(RemoteTransfer, ReportsACopyTheCheckRefusesAndAMissingStore) {
  Upload();
  // A measurement file on the store that lists no record.
  MetaDataContainer metaData = LoadMeasurement(Remote(), 53);
  for (const MetaDataRecord& record : MetaDataMeasurementReader(metaData).GetRecordsVect())
    CMetaDataMeasurementWriter(metaData).RemoveRecord(record.RecordId());
  SaveMeasurement(Remote(), 53, metaData);
  std::vector<std::u16string> messages;
  std::set<unsigned int> codes;
  EXPECT_FALSE(Download(messages, codes));
  EXPECT_EQ(codes, std::set<unsigned int>{Tree::DownloadCheckFailed});
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0], u"Error, record \"" + W(Copy().string()) +
                             u"\" does not contain any valid signal subdirectories");

  auto local = Tree::OpenSignalTree(m_Dir.Wide("local"), u"m", Tree::TreeOpenRead, kNoStore, false,
                                    u"", false);
  EXPECT_FALSE(local->DownloadRecords(messages, codes, false, 0));
  EXPECT_EQ(messages, std::vector<std::u16string>{u"Unable to access to record: " +
                                                  W(Local().string())});
  EXPECT_FALSE(local->UploadRecords(0));
}

}  // namespace
