// Records behind handles: numbering of new records and of handles, finding
// existing records by id or position, closing, the null section for unknown
// handles, the listing of record directories, and the refusals with their words.
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "foundation/LocalFileAccess.h"
#include "support/CapturedDiagnostics.h"
#include "support/FaultInjectingFileAccess.h"
#include "tree/TreeTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

CRecordId Section(unsigned int base, unsigned short number, unsigned short part) {
  CRecordId id(base, number);
  id.SetPartNumber(part);
  return id;
}

class RecordHandles : public TreeTest {
 protected:
  fs::path Dir(const std::string& name) const { return m_Dir.Path() / name; }

  // A measurement with the records `sections` listed, each with a directory.
  void Prepare(const std::string& name, unsigned int base, const std::vector<CRecordId>& sections) {
    fs::create_directories(Dir(name));
    MetaDataContainer metaData = Measurement();
    for (const CRecordId& id : sections) {
      metaData.AddRecord(id.RecordId(), id.PartNumber(), 0, 10.0, false, 10.0, 0);
      fs::create_directories(Dir(name) / N(id.IdToRecordName()));
    }
    SaveMeasurement(Dir(name), base, metaData);
  }
  std::unique_ptr<Tree> Open(const std::string& name, Tree::TreeOpenMode_t mode,
                             bool merge = false) {
    return Tree::OpenSignalTree(m_Dir.Wide(), W(name), mode, kNoStore, false, u"", merge);
  }
};

TEST_F(RecordHandles, NewRecordsTakeTheNextNumberAndHandle) {
  auto tree = Tree::CreateSignalTree(m_Dir.Wide(), u"m", kNoStore, false);
  ASSERT_TRUE(tree->SetRecordBase(2001));
  RecordingListener listener;
  tree->SetChangeStateCallBack(&listener);

  int first = tree->CreateRecord(0);
  EXPECT_EQ(first, 2001);  // a tree's first handle is the measurement's base
  EXPECT_EQ(tree->RecordCounter(), 1);
  EXPECT_EQ(tree->CurrentRecordName(), u"Record_2001_1");
  EXPECT_EQ(tree->RecordName(first), u"Record_2001_1");
  EXPECT_EQ(tree->wRecord(first).RecordId(), CRecordId(2001, 1));
  EXPECT_EQ(tree->wRecord(first).OpenMode(), CAbstractRecordSection::OpenCreate);
  EXPECT_TRUE(RecordSignalTreeProbe::IsRecordSectionUsed(*tree, CRecordId(2001, 1)));
  ASSERT_EQ(listener.Notices.size(), 1u);
  EXPECT_EQ(listener.Notices[0].Action, Tree::ChangeRecordCreated);
  EXPECT_EQ(listener.Notices[0].Handle, first);
  ASSERT_TRUE(listener.Notices[0].HasParam);
  EXPECT_EQ(listener.Notices[0].Param.RecordNumber, 1);
  EXPECT_EQ(tree->RecordNumber(CRecordId(2001, 1)), 1u);

  int second = tree->CreateRecord(0);
  EXPECT_EQ(second, 2002);
  EXPECT_EQ(tree->CurrentRecordName(), u"Record_2001_2");
  EXPECT_EQ(tree->RecordNumber(CRecordId(2001, 0)), 2u);  // the largest of the base
  std::vector<MetaDataRecord> list = RecordList(Dir("m"), 2001);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[1].RecordId(), CRecordId(2001, 2).RecordId());
  EXPECT_TRUE(list[0].Recording());
  EXPECT_TRUE(list[1].Recording());

  // Sections that never stopped leave the list's last entry finished.
  EXPECT_TRUE(tree->CloseRecord(first, true));
  EXPECT_EQ(first, 0);
  EXPECT_FALSE(RecordSignalTreeProbe::State(CRecordId(2001, 1)));
  EXPECT_FALSE(RecordList(Dir("m"), 2001)[1].Recording());
  EXPECT_EQ(tree->RecordName(2001), u"");

  EXPECT_FALSE(tree->CloseRecord(first, true));
  EXPECT_EQ(Tree::LastErrorString(), u"CRecordSignalTree::CloseRecord invalid section record ID");
  EXPECT_TRUE(tree->CloseRecord(second, false));
  EXPECT_FALSE(tree->IsUsed());
  EXPECT_EQ(listener.Actions(), (std::vector<Tree::ChangeAction_t>{
                                    Tree::ChangeRecordCreated, Tree::ChangeRecordCreated,
                                    Tree::ChangeRecordClosed, Tree::ChangeRecordReleased}));

  // Handles are never reused, whatever was closed.
  int third = tree->CreateRecord(0);
  EXPECT_EQ(third, 2003);
  EXPECT_EQ(tree->CurrentRecordName(), u"Record_2001_3");
  tree->CloseAllRecord();
  EXPECT_EQ(tree->RecordName(third), u"");
}

TEST_F(RecordHandles, CreateRecordIsRefusedWhileReadingOrRecording) {
  fs::create_directories(Dir("m"));
  auto reader = Open("m", Tree::TreeOpenRead);
  EXPECT_EQ(reader->CreateRecord(0), 0);
  EXPECT_EQ(Tree::LastErrorString(),
            u"CRecordSignalTree::CreateRecord : record open in read mode or record in progress");
  EXPECT_EQ(reader->RecordCounter(), 0);

  auto recorder = Open("m", Tree::TreeOpenEdit);
  ASSERT_TRUE(recorder->SetRecordBase(2010));
  int handle = recorder->CreateRecord(0);
  ASSERT_NE(handle, 0);
  EXPECT_EQ(recorder->wRecord(handle).OpenMode(), CAbstractRecordSection::OpenEdit);
  recorder->ChangeState(CRecordId(2010, 1), Tree::ChangeRecordStarted, nullptr);

  // A second tree on the measurement sees the recording of the first.
  auto other = Open("m", Tree::TreeOpenEdit);
  EXPECT_EQ(other->RecordNameBase(), u"Record_2010");
  EXPECT_TRUE(other->IsRecording(false));
  EXPECT_TRUE(other->IsUsed());
  EXPECT_TRUE(other->IsRecording(true));  // and so does the measurement file
  EXPECT_TRUE(other->IsRecording(CRecordId(2010, 1), true));
  EXPECT_EQ(other->CreateRecord(0), 0);
  EXPECT_EQ(Tree::LastErrorString(),
            u"CRecordSignalTree::CreateRecord : record open in read mode or record in progress");
  EXPECT_EQ(recorder->CreateRecord(0), 0);
  // The base of a record in use can't be taken.
  EXPECT_FALSE(other->SetRecordBase(2010));
  auto third = Open("m", Tree::TreeOpenEdit);
  EXPECT_FALSE(third->SetRecordBase(2010));
  EXPECT_EQ(third->RecordBase().RecordBase(), 0u);

  recorder->ChangeState(CRecordId(2010, 1), Tree::ChangeRecordStopped, nullptr);
  EXPECT_FALSE(other->IsRecording(false));
  EXPECT_TRUE(recorder->CloseRecord(handle, true));
  EXPECT_FALSE(other->IsUsed());
  EXPECT_TRUE(third->SetRecordBase(2010));
}

TEST_F(RecordHandles, ARecordThatCannotBeEnteredInTheListIsNotMade) {
  auto tree = Tree::CreateSignalTree(m_Dir.Wide(), u"m", kNoStore, false);
  ASSERT_TRUE(tree && tree->SetRecordBase(2020));
  auto store = std::make_shared<FaultInjectingFileAccess>(std::make_shared<zsff::CLocalFileAccess>());
  RecordSignalTreeProbe::UseStore(*tree, store);
  store->FailAt(FaultInjectingFileAccess::Rename, 1);  // the measurement file's save
  EXPECT_EQ(tree->CreateRecord(0), 0);
  EXPECT_EQ(Tree::LastErrorString().rfind(
                u"CRecordSignalTree::CreateRecord unable to enter the record: ", 0),
            0u);
  EXPECT_FALSE(fs::exists(Dir("m") / "Record_2020_1"));
  EXPECT_FALSE(tree->IsUsed());
  EXPECT_NE(tree->CreateRecord(0), 0);
}

TEST_F(RecordHandles, OpenRecordFindsAnEntryByIdOrPosition) {
  Prepare("m", 2020, {Section(2020, 1, 0), Section(2020, 2, 3), Section(2020, 3, 0)});
  auto tree = Open("m", Tree::TreeOpenRead);
  RecordingListener listener;
  tree->SetChangeStateCallBack(&listener);

  // An id without a base is a position in the list.
  int second = tree->OpenRecord(CRecordId(2ULL), Tree::TreeOpenDefault, 0);
  ASSERT_EQ(second, 2020);
  EXPECT_EQ(tree->wRecord(second).RecordId(), Section(2020, 2, 3));
  EXPECT_EQ(tree->wRecord(second).OpenMode(), CAbstractRecordSection::OpenRead);
  EXPECT_EQ(tree->CurrentRecordName(), u"Record_2020_2");
  EXPECT_EQ(tree->RecordCounter(), 0);
  ASSERT_EQ(listener.Notices.size(), 1u);
  EXPECT_EQ(listener.Notices[0].Key, CRecordId(2020, 2));
  EXPECT_EQ(listener.Notices[0].Handle, second);
  EXPECT_FALSE(listener.Notices[0].HasParam);

  // Position 0 wraps round to no entry.
  EXPECT_EQ(tree->OpenRecord(CRecordId(0ULL), Tree::TreeOpenDefault, 0), 0);
  EXPECT_EQ(Tree::LastErrorString(),
            u"CRecordSignalTree::OpenRecord() Unable to found record Id: Record_0_0");
  // An id with a base must carry the entry's part number.
  EXPECT_EQ(tree->OpenRecord(CRecordId(2020, 2), Tree::TreeOpenDefault, 0), 0);
  EXPECT_EQ(Tree::LastErrorString(),
            u"CRecordSignalTree::OpenRecord() Unable to found record Id: Record_2020_2");

  int again = tree->OpenRecord(Section(2020, 2, 3), Tree::TreeOpenDefault, 0);
  EXPECT_EQ(again, second + 1);
  EXPECT_EQ(RecordSignalTreeProbe::State(CRecordId(2020, 2))->UseCount, 2);
  EXPECT_TRUE(tree->CloseRecord(second, true));
  EXPECT_EQ(RecordSignalTreeProbe::State(CRecordId(2020, 2))->UseCount, 1);
  EXPECT_TRUE(tree->CloseRecord(again, false));
  EXPECT_FALSE(RecordSignalTreeProbe::State(CRecordId(2020, 2)));

  // Opening for editing makes the record's number the tree's counter; for
  // information the section opens no channel.
  int edited = tree->OpenRecord(CRecordId(2020, 3), Tree::TreeOpenEdit, 0);
  ASSERT_NE(edited, 0);
  EXPECT_EQ(tree->RecordCounter(), 3);
  EXPECT_EQ(tree->wRecord(edited).OpenMode(), CAbstractRecordSection::OpenEdit);
  int info = tree->OpenRecord(CRecordId(2020, 1), Tree::TreeOpenInfo, 0);
  EXPECT_EQ(tree->wRecord(info).OpenMode(), CAbstractRecordSection::OpenInfo);
  tree->CloseAllRecord();
  EXPECT_FALSE(tree->IsUsed());

  // A merging tree opens the whole record.
  auto merged = Open("m", Tree::TreeOpenRead, true);
  int whole = merged->OpenRecord(Section(2020, 2, 3), Tree::TreeOpenDefault, 0);
  ASSERT_NE(whole, 0);
  EXPECT_EQ(merged->wRecord(whole).RecordId(), CRecordId(2020, 2));
  merged->CloseAllRecord();
}

TEST_F(RecordHandles, OpenRecordNeedsReadableMetadata) {
  fs::create_directories(Dir("bare"));
  auto bare = Open("bare", Tree::TreeOpenRead);
  EXPECT_EQ(bare->OpenRecord(CRecordId(1ULL), Tree::TreeOpenDefault, 0), 0);
  // The search said why first, and keeps its words.
  EXPECT_EQ(Tree::LastErrorString(),
            u"CRecordSignalTree::MetaDataMeasurementExists() Cannot open directory or directory "
            u"empty: " +
                bare->FullRecordPath());

  fs::create_directories(Dir("broken"));
  std::ofstream(Dir("broken") / "Record_2030.zsfh") << "[";
  auto broken = Open("broken", Tree::TreeOpenRead);
  EXPECT_EQ(broken->OpenRecord(CRecordId(1ULL), Tree::TreeOpenDefault, 0), 0);
  // The reader's words name the file.
  EXPECT_EQ(Tree::LastErrorString(),
            u"CMetaDataFileReader::Load(" + broken->FullRecordPath() +
                u"/Record_2030.zsfh) Error: MetaDataContainerJson::FromJSONString parsing error: "
                u"Invalid value., at offset: 1");
}

TEST_F(RecordHandles, AnUnknownHandleGivesTheNullSection) {
  zsff_test::CapturedDiagnostics diagnostics;
  auto tree = Tree::CreateSignalTree(m_Dir.Wide(), u"m", kNoStore, false);
  ASSERT_TRUE(tree->SetRecordBase(2040));
  const float sample = 1.0f;

  CAbstractRecordSection& none = tree->wRecord(5);
  EXPECT_EQ(diagnostics.Take(), "CRecordSignalTree::wRecord(5) m_OpenedRecordMap empty!!!\n");
  EXPECT_FALSE(none.WriteSampleBlock(CChannelID(1, 0, 0), &sample, 1, false));
  EXPECT_EQ(none.LastErrorString(), u"Invalid RecordId");

  int handle = tree->CreateRecord(0);
  ASSERT_NE(handle, 0);
  EXPECT_EQ(tree->wRecord(handle + 7).RecordId(), CRecordId(0ULL));
  EXPECT_EQ(diagnostics.Take(), "CRecordSignalTree::wRecord(" + std::to_string(handle + 7) +
                                    ") id not found in m_OpenedRecordMap !!!\n");
  EXPECT_EQ(tree->rRecord(handle + 7).LastErrorString(), u"Invalid RecordId");
  EXPECT_EQ(tree->rRecord(handle).RecordId(), CRecordId(2040, 1));
  EXPECT_EQ(diagnostics.Take(), "");
  tree->CloseAllRecord();
}

TEST_F(RecordHandles, CloseAllForgetsTheRecordsForEveryTree) {
  Prepare("m", 2050, {Section(2050, 1, 0)});
  auto mine = Open("m", Tree::TreeOpenRead);
  auto theirs = Open("m", Tree::TreeOpenRead);
  int handle = mine->OpenRecord(CRecordId(2050, 1), Tree::TreeOpenDefault, 0);
  int held = theirs->OpenRecord(CRecordId(2050, 1), Tree::TreeOpenDefault, 0);
  ASSERT_NE(handle, 0);
  ASSERT_NE(held, 0);
  EXPECT_EQ(RecordSignalTreeProbe::State(CRecordId(2050, 1))->UseCount, 2);

  mine->CloseAllRecord();
  EXPECT_EQ(mine->RecordName(handle), u"");
  EXPECT_FALSE(theirs->IsUsed());
  // The other tree's section is still there, and closes without a state.
  EXPECT_EQ(theirs->RecordName(held), u"Record_2050_1");
  EXPECT_TRUE(theirs->CloseRecord(held, true));
  EXPECT_FALSE(RecordSignalTreeProbe::State(CRecordId(2050, 1)));
}

TEST_F(RecordHandles, TheDestructorReleasesWhatIsStillOpen) {
  Prepare("m", 2055, {Section(2055, 1, 0)});
  RecordingListener listener;
  {
    auto tree = Open("m", Tree::TreeOpenRead);
    tree->SetChangeStateCallBack(&listener);
    ASSERT_NE(tree->OpenRecord(CRecordId(2055, 1), Tree::TreeOpenDefault, 0), 0);
    ASSERT_NE(tree->OpenRecord(CRecordId(2055, 1), Tree::TreeOpenDefault, 0), 0);
  }
  EXPECT_FALSE(RecordSignalTreeProbe::State(CRecordId(2055, 1)));
  EXPECT_EQ(listener.Actions(), (std::vector<Tree::ChangeAction_t>{
                                    Tree::ChangeRecordCreated, Tree::ChangeRecordCreated,
                                    Tree::ChangeRecordClosed, Tree::ChangeRecordClosed}));
}

TEST_F(RecordHandles, ListRecordsFollowsTheDiskWithTheMetadataParts) {
  Prepare("m", 2060, {Section(2060, 1, 0), Section(2060, 2, 4)});
  // Listed in the metadata but gone from the disk; on the disk but unknown.
  MetaDataContainer metaData = LoadMeasurement(Dir("m"), 2060);
  metaData.AddRecord(CRecordId(2060, 5).RecordId(), 0, 0, 1.0, false, 0.0, 0);
  SaveMeasurement(Dir("m"), 2060, metaData);
  fs::create_directories(Dir("m") / "Record_2060_7");
  fs::create_directories(Dir("m") / "Record_abc");
  fs::create_directories(Dir("m") / "Other");
  std::ofstream(Dir("m") / "Record_2060_9") << "a file, not a record";

  auto tree = Open("m", Tree::TreeOpenRead);
  std::vector<CRecordId> records{CRecordId(1ULL)};
  ASSERT_TRUE(tree->ListRecords(records, false));
  // A "Record_" name that doesn't parse stays, as id 0.
  const std::vector<CRecordId> expected{CRecordId(0ULL), CRecordId(2060, 1), Section(2060, 2, 4),
                                        CRecordId(2060, 7)};
  EXPECT_EQ(records, expected);

  fs::create_directories(Dir("bare"));
  auto bare = Open("bare", Tree::TreeOpenRead);
  EXPECT_FALSE(bare->ListRecords(records, true));
  EXPECT_TRUE(records.empty());
}

TEST_F(RecordHandles, ListRecordsOnTheStoreFallsBackOnTheLocalDisk) {
  auto store = std::make_shared<RootedStore>(Dir("store"));
  fs::create_directories(Dir("store") / "Record_2070");
  Prepare("Record_2070", 2070, {CRecordId(2070, 1)});
  SaveMeasurement(Dir("store") / "Record_2070", 2070, LoadMeasurement(Dir("Record_2070"), 2070));

  auto tree = Tree::OpenSignalTree(m_Dir.Wide(), u"Record_2070", Tree::TreeOpenRead, store, true,
                                   u"", false);
  ASSERT_TRUE(tree);
  ASSERT_TRUE(tree->InitFullRemoteRecordPath());
  std::vector<CRecordId> records;
  store->Selected.clear();
  EXPECT_TRUE(tree->ListRecords(records, false));
  EXPECT_TRUE(records.empty());
  EXPECT_EQ(store->Selected, std::vector<unsigned short>{32767});
  EXPECT_TRUE(tree->ListRecords(records, true));
  EXPECT_EQ(records, std::vector<CRecordId>{CRecordId(2070, 1)});
}

TEST_F(RecordHandles, TheBaseIsLearntFromTheMeasurementFile) {
  auto store = std::make_shared<RootedStore>(Dir("store"));
  fs::create_directories(Dir("m"));
  MetaDataContainer metaData = Measurement();
  CMetaDataMeasurementWriter writer(metaData);
  writer.SignalFileName(u"Record_2081");
  writer.AddAnalyzer("A1", "one", "DISK-1", "Disk one");
  writer.AddAnalyzer("A2", "two", "DISK-2", "Disk two");
  SaveMeasurement(Dir("m"), 2080, metaData);

  // The file's "SignalFileName" has the last word over its own name.
  auto tree = Tree::OpenSignalTree(m_Dir.Wide(), u"m", Tree::TreeOpenRead, store, true, u"", false);
  ASSERT_TRUE(tree);
  EXPECT_EQ(tree->RecordNameBase(), u"Record_2081");
  EXPECT_EQ(store->WantedDisks, (std::set<std::u16string>{u"DISK-1", u"DISK-2"}));
  EXPECT_EQ(RecordSignalTreeProbe::RemotePath(*tree), u"Record_2081");

  fs::create_directories(Dir("bare"));
  auto bare = Open("bare", Tree::TreeOpenRead);
  EXPECT_EQ(bare->RecordNameBase(), u"");
  EXPECT_FALSE(bare->InitFullRemoteRecordPath());
}

TEST_F(RecordHandles, CompressSampleBlockReducesToMinMaxPairs) {
  std::vector<float> samples(100);
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = std::sin(0.3f * i) * (i % 7);
  std::vector<float> pairs(8, -1.0f);
  unsigned long long missing = 0;
  double minimum = 0.0, maximum = 0.0;
  Tree::CompressSampleBlock(pairs.data(), pairs.size(), samples.data(), samples.size(), 32, SIFloat,
                            missing, minimum, maximum);
  EXPECT_EQ(missing, 0u);
  // Groups of 32, 32, 32 and the short last one of 4.
  for (size_t group = 0; group < 4; ++group) {
    const auto first = samples.begin() + group * 32;
    const auto last = group == 3 ? samples.end() : first + 32;
    EXPECT_EQ(pairs[2 * group], *std::min_element(first, last));
    EXPECT_EQ(pairs[2 * group + 1], *std::max_element(first, last));
  }
}

}  // namespace
