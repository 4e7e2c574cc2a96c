// The measurement file (".zsfh") as the tree finds, reads, writes and uploads it,
// in each arrangement of local directory and remote store, and the record list it
// gives back, merged or not.
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include <filesystem>
#include <fstream>

#include "tree/TreeTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

const std::u16string kNoDirectory =
    u"CRecordSignalTree::MetaDataMeasurementExists() Cannot open directory or directory empty: ";

class MeasurementFile : public TreeTest {
 protected:
  fs::path Dir(const std::string& name) const { return m_Dir.Path() / name; }
  std::unique_ptr<Tree> Open(const std::string& name, bool merge = false) {
    fs::create_directories(Dir(name));
    return Tree::OpenSignalTree(m_Dir.Wide(), W(name), Tree::TreeOpenEdit, kNoStore, false, u"",
                                merge);
  }
};

TEST_F(MeasurementFile, SearchNeedsExactlyOneFileToLearnTheBase) {
  auto bare = Open("bare");
  for (auto mode : {Tree::SearchLocal, Tree::SearchRemote, Tree::SearchLocalThenRemote}) {
    EXPECT_FALSE(RecordSignalTreeProbe::Exists(*bare, mode));
    EXPECT_EQ(Tree::LastErrorString(), kNoDirectory + bare->FullRecordPath());
  }

  // Two measurement files: the base can't be told.
  fs::create_directories(Dir("twice"));
  std::ofstream(Dir("twice") / "Record_5.zsfh") << "{}";
  std::ofstream(Dir("twice") / "Record_6.zsfh") << "{}";
  auto twice = Open("twice");
  EXPECT_FALSE(RecordSignalTreeProbe::Exists(*twice, Tree::SearchLocal));
  EXPECT_EQ(Tree::LastErrorString(), kNoDirectory + twice->FullRecordPath());
  EXPECT_EQ(twice->RecordBase().RecordBase(), 0u);

  fs::create_directories(Dir("once"));
  std::ofstream(Dir("once") / "Record_9.zsfh") << "{}";
  auto once = Open("once");
  EXPECT_TRUE(RecordSignalTreeProbe::Exists(*once, Tree::SearchLocal));
  EXPECT_EQ(once->RecordBase().RecordBase(), 9u);
  EXPECT_EQ(once->RecordNameBase(), u"Record_9");
  // Without a store there is nothing remote to find.
  EXPECT_FALSE(RecordSignalTreeProbe::Exists(*once, Tree::SearchRemote));

  // With the base known, a missing file is a plain no.
  ASSERT_TRUE(bare->SetRecordBase(10));
  EXPECT_FALSE(RecordSignalTreeProbe::Exists(*bare, Tree::SearchLocal));
  EXPECT_EQ(Tree::LastErrorString(), u"");

  // The channel file search follows the same rule with ".zrm".
  fs::create_directories(Dir("channel"));
  std::ofstream(Dir("channel") / "Record_12.zrm") << "{}";
  auto channel = Open("channel");
  EXPECT_TRUE(RecordSignalTreeProbe::ChannelExists(*channel));
  EXPECT_EQ(channel->RecordBase().RecordBase(), 12u);
  EXPECT_FALSE(RecordSignalTreeProbe::ChannelExists(*bare));
}

TEST_F(MeasurementFile, LoadAndSaveOnTheLocalDisk) {
  auto bare = Open("bare");
  MetaDataContainer metaData;
  EXPECT_FALSE(bare->LoadMetaDataMeasurement(metaData));
  EXPECT_EQ(Tree::LastErrorString(),
            u"CRecordSignalTree::LoadMetaDataMeasurement() : metadata measurement does not exist");

  ASSERT_TRUE(bare->SetRecordBase(21));
  auto lock = bare->CreateMetaDataLock(MetaDataFileLock::LockTryOnce);
  ASSERT_TRUE(lock);
  EXPECT_TRUE(fs::exists(Dir("bare") / "Metadata.lock"));
  // A second lock on the same measurement can't be had.
  EXPECT_FALSE(bare->CreateMetaDataLock(MetaDataFileLock::LockTryOnce));

  CMetaDataMeasurementWriter(metaData).ProjectName(u"Bridge");
  EXPECT_FALSE(bare->SaveMetaDataMeasurement(nullptr, metaData, true));
  EXPECT_FALSE(fs::exists(Dir("bare") / "Record_21.zsfh"));
  EXPECT_TRUE(bare->SaveMetaDataMeasurement(lock.get(), metaData, true));
  lock.reset();
  EXPECT_FALSE(fs::exists(Dir("bare") / "Metadata.lock"));

  MetaDataContainer loaded;
  EXPECT_TRUE(bare->LoadMetaDataMeasurement(loaded));
  std::u16string project;
  EXPECT_TRUE(MetaDataMeasurementReader(loaded).ProjectName(project));
  EXPECT_EQ(project, u"Bridge");

  // Neither a local directory nor a store: nothing to write, and no failure.
  auto orphan = Tree::CreateSignalTree(m_Dir.Wide("missing"), u"m", kNoStore, false);
  ASSERT_TRUE(orphan);
  ASSERT_TRUE(orphan->SetRecordBase(22));
  auto none = orphan->CreateMetaDataLock(MetaDataFileLock::LockNone);
  ASSERT_TRUE(none);
  EXPECT_TRUE(orphan->SaveMetaDataMeasurement(none.get(), metaData, true));
  EXPECT_FALSE(fs::exists(Dir("missing")));
}

TEST_F(MeasurementFile, MirrorSavesLocallyAndUploadsOnlyWhenAsked) {
  auto store = std::make_shared<RootedStore>(Dir("store"));
  fs::create_directories(Dir("store"));
  fs::create_directories(Dir("local"));
  auto tree = Tree::CreateSignalTree(m_Dir.Wide("local"), u"m", store, true);
  ASSERT_TRUE(tree);
  ASSERT_TRUE(tree->SetRecordBase(31));

  // The two directories differ, so the lock is the local directory's.
  auto lock = tree->CreateMetaDataLock(MetaDataFileLock::LockTryOnce);
  ASSERT_TRUE(lock);
  EXPECT_TRUE(fs::exists(Dir("local") / "m" / "Metadata.lock"));

  MetaDataContainer metaData;
  CMetaDataMeasurementWriter(metaData).MeasurementName(u"Run");
  // The store has no directory for the measurement yet: only the local copy.
  EXPECT_TRUE(tree->SaveMetaDataMeasurement(lock.get(), metaData, true));
  EXPECT_TRUE(fs::exists(Dir("local") / "m" / "Record_31.zsfh"));
  EXPECT_EQ(RecordSignalTreeProbe::RemotePath(*tree), u"Record_31");
  EXPECT_TRUE(store->Uploads.empty());

  fs::create_directories(Dir("store") / "Record_31");
  EXPECT_TRUE(tree->SaveMetaDataMeasurement(lock.get(), metaData, false));
  EXPECT_TRUE(store->Uploads.empty());
  EXPECT_TRUE(tree->SaveMetaDataMeasurement(lock.get(), metaData, true));
  ASSERT_EQ(store->Uploads.size(), 1u);
  EXPECT_EQ(store->Uploads[0].SourceDirectory, m_Dir.Wide("local/m"));
  EXPECT_EQ(store->Uploads[0].FileName, u"Record_31.zsfh");
  EXPECT_EQ(store->Uploads[0].DestinationDirectory, u"Record_31");
  EXPECT_EQ(store->Uploads[0].Analyzer, 32767);
  EXPECT_TRUE(fs::exists(Dir("store") / "Record_31" / "Record_31.zsfh"));

  store->RefuseUploads = true;
  EXPECT_FALSE(tree->SaveMetaDataMeasurement(lock.get(), metaData, true));
  EXPECT_EQ(Tree::LastErrorString(),
            u"CRecordSignalTree::SaveMetaDataMeasurement() : Error in UploadFile(Record_31.zsfh) "
            u"from: " +
                m_Dir.Wide("local/m") + u" to: Record_31");

  // The local file goes; the store's copy is found through its analyzers.
  fs::remove(Dir("local") / "m" / "Record_31.zsfh");
  store->Analyzers = {3, 5};
  store->Selected.clear();
  MetaDataContainer loaded;
  EXPECT_TRUE(tree->LoadMetaDataMeasurement(loaded));
  EXPECT_EQ(store->Selected, std::vector<unsigned short>{3});
  std::u16string name;
  EXPECT_TRUE(MetaDataMeasurementReader(loaded).MeasurementName(name));
  EXPECT_EQ(name, u"Run");

  fs::remove(Dir("store") / "Record_31" / "Record_31.zsfh");
  store->Selected.clear();
  EXPECT_FALSE(tree->LoadMetaDataMeasurement(loaded));
  EXPECT_EQ(store->Selected, (std::vector<unsigned short>{3, 5}));
  store->Analyzers.clear();
  Tree::LastErrorString();
  EXPECT_FALSE(tree->LoadMetaDataMeasurement(loaded));
  EXPECT_EQ(Tree::LastErrorString(), u"");
}

TEST_F(MeasurementFile, StoreAloneIsWrittenDirectlyAndLockedWhenItIsTheOneDirectory) {
  auto store = std::make_shared<RootedStore>(Dir("store"));
  fs::create_directories(Dir("store") / "Record_41");

  // Without a mirror nothing lies locally: the store gets the file itself.
  auto reader = Tree::OpenSignalTree(u"", u"Record_41", Tree::TreeOpenRead, store, false,
                                     u"Record_41", false);
  ASSERT_TRUE(reader);
  auto none = reader->CreateMetaDataLock(MetaDataFileLock::LockNone);
  MetaDataContainer metaData;
  CMetaDataMeasurementWriter(metaData).Comment(u"remote");
  EXPECT_TRUE(reader->SaveMetaDataMeasurement(none.get(), metaData, true));
  EXPECT_TRUE(fs::exists(Dir("store") / "Record_41" / "Record_41.zsfh"));
  EXPECT_TRUE(store->Uploads.empty());

  // A tree whose local and remote directories are one name locks on the store.
  auto mirror =
      Tree::OpenSignalTree(u"", u"Record_41", Tree::TreeOpenRead, store, true, u"", false);
  ASSERT_TRUE(mirror);
  EXPECT_EQ(RecordSignalTreeProbe::RemotePath(*mirror), mirror->FullRecordPath());
  auto lock = mirror->CreateMetaDataLock(MetaDataFileLock::LockTryOnce);
  ASSERT_TRUE(lock);
  EXPECT_TRUE(fs::exists(Dir("store") / "Record_41" / "Metadata.lock"));
  lock.reset();
  EXPECT_FALSE(fs::exists(Dir("store") / "Record_41" / "Metadata.lock"));
}

TEST_F(MeasurementFile, RecordListMergesTheSectionsOfARecord) {
  fs::create_directories(Dir("m"));
  CRecordId oneA(51, 1), oneB(51, 1), two(51, 2), three(51, 3);
  oneB.SetPartNumber(5);
  two.SetPartNumber(2);
  MetaDataContainer metaData = Measurement();
  metaData.AddRecord(oneA.RecordId(), 4, 0, 10.0, false, 10.0, 0);
  metaData.AddRecord(oneB.RecordId(), 7, 0, 20.0, true, 10.0, 0);
  metaData.AddRecord(two.RecordId(), 3, 0, 5.0, false, 10.0, 0);
  metaData.AddRecord(three.RecordId(), 0, 0, 1.0, false, 10.0, 0);
  SaveMeasurement(Dir("m"), 51, metaData);

  std::vector<MetaDataRecord> list;
  auto plain = Open("m");
  ASSERT_TRUE(plain->GetRecordsVect(list));
  ASSERT_EQ(list.size(), 4u);
  EXPECT_EQ(list[1].Duration(), 20.0);

  auto merged = Open("m", true);
  ASSERT_TRUE(merged->GetRecordsVect(list));
  ASSERT_EQ(list.size(), 3u);
  EXPECT_EQ(list[0].RecordId(), oneA.RecordId());
  EXPECT_EQ(list[0].Duration(), 30.0);
  EXPECT_EQ(list[0].LastPartNumber(), 7);
  EXPECT_TRUE(list[0].Recording());
  // Parts dropped in front still count.
  EXPECT_EQ(list[1].RecordId(), two.RecordId());
  EXPECT_EQ(list[1].Duration(), 25.0);
  EXPECT_EQ(list[2].Duration(), 1.0);

  // A container given is read instead of the file.
  MetaDataContainer other;
  other.AddRecord(CRecordId(52, 1).RecordId(), 0, 0, 2.0, false, 0.0, 0);
  ASSERT_TRUE(merged->GetRecordsVect(list, &other));
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].RecordId(), CRecordId(52, 1).RecordId());
}

TEST_F(MeasurementFile, RecordListFailuresSayWhy) {
  std::vector<MetaDataRecord> list(1);
  auto bare = Open("bare");
  EXPECT_FALSE(bare->GetRecordsVect(list));
  EXPECT_TRUE(list.empty());
  // The search's own words are kept.
  EXPECT_EQ(Tree::LastErrorString(), kNoDirectory + bare->FullRecordPath());

  fs::create_directories(Dir("broken"));
  std::ofstream(Dir("broken") / "Record_61.zsfh") << "not json";
  auto broken = Open("broken");
  EXPECT_FALSE(broken->GetRecordsVect(list));
  // So are the reader's, which name the file.
  EXPECT_EQ(Tree::LastErrorString(),
            u"CMetaDataFileReader::Load(" + broken->FullRecordPath() +
                u"/Record_61.zsfh) Error: MetaDataContainerJson::FromJSONString parsing error: "
                u"Invalid value., at offset: 1");
}

TEST_F(MeasurementFile, HostUpdatesOfRecordsNamesAndProperties) {
  fs::create_directories(Dir("m"));
  MetaDataContainer metaData = Measurement();
  metaData.AddRecord(CRecordId(71, 1).RecordId(), 0, 0, 4.0, false, 0.0, 0);
  metaData.AddRecord(CRecordId(71, 2).RecordId(), 0, 0, 6.0, false, 0.0, 0);
  SaveMeasurement(Dir("m"), 71, metaData);
  auto tree = Open("m");

  {
    auto lock = tree->CreateMetaDataLock(MetaDataFileLock::LockTryOnce);
    ASSERT_TRUE(lock);
    const std::vector<MetaDataRecord> added{
        MetaDataRecord(CRecordId(71, 3).RecordId(), 2, 0, 0.0, 8.0, false, 10.0, 0)};
    EXPECT_TRUE(tree->UpdateRecordsVect(lock.get(), {CRecordId(71, 1)}, added));
  }
  std::vector<MetaDataRecord> list = RecordList(Dir("m"), 71);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[0].RecordId(), CRecordId(71, 2).RecordId());
  EXPECT_EQ(list[0].RelDate(), 0.0);
  EXPECT_EQ(list[1].RecordId(), CRecordId(71, 3).RecordId());
  EXPECT_EQ(list[1].RelDate(), 6.0);
  EXPECT_EQ(list[1].LastPartNumber(), 2);

  EXPECT_TRUE(tree->UpdateProjectAndMesureMetadata(u"Dam", u"Night run"));
  const std::vector<CPropertyValue> properties{
      CPropertyValue("site", u"Site", u"North pier", CPropertyValue::PropertyText)};
  EXPECT_TRUE(tree->AddPropertiesToMetaDataMeasurement(properties));
  MetaDataContainer stored = LoadMeasurement(Dir("m"), 71);
  std::u16string project, measurement;
  EXPECT_TRUE(MetaDataMeasurementReader(stored).ProjectName(project));
  EXPECT_TRUE(MetaDataMeasurementReader(stored).MeasurementName(measurement));
  EXPECT_EQ(project, u"Dam");
  EXPECT_EQ(measurement, u"Night run");
  std::vector<CPropertyValue> found;
  EXPECT_TRUE(MetaDataMeasurementReader(stored).GetMeasureProperties(found));
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].value(), u"North pier");
  EXPECT_FALSE(fs::exists(Dir("m") / "Metadata.lock"));

  // Names don't change while a record of the measurement is open anywhere.
  tree->ChangeState(CRecordId(71, 2), Tree::ChangeRecordCreated, nullptr);
  EXPECT_FALSE(tree->UpdateProjectAndMesureMetadata(u"Other", u"Other"));
  tree->ChangeState(CRecordId(71, 2), Tree::ChangeRecordClosed, nullptr);

  // Without a measurement file nothing is written.
  auto bare = Open("bare");
  auto lock = bare->CreateMetaDataLock(MetaDataFileLock::LockTryOnce);
  EXPECT_FALSE(bare->UpdateRecordsVect(lock.get(), {}, {}));
  lock.reset();
  ASSERT_TRUE(bare->SetRecordBase(72));
  EXPECT_FALSE(bare->UpdateProjectAndMesureMetadata(u"Dam", u"Run"));
  EXPECT_FALSE(bare->AddPropertiesToMetaDataMeasurement(properties));
  EXPECT_FALSE(fs::exists(Dir("bare") / "Record_72.zsfh"));
}

}  // namespace
