// Taking records, measurements and channels out through the tree: each delete
// mode with the record list and "Duration" checked, sections of a split record,
// the measurement's own files, emptying a measurement, and a channel removed
// from every record, retried after a failure without being counted twice.
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include <filesystem>
#include <fstream>

#include "support/FaultInjectingFileAccess.h"
#include "tree/SurgeryTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

constexpr long kBase = 4201;
constexpr unsigned long long kTwoSeconds = 128;

class RecordDeletion : public TreeTest {
 protected:
  // Three records of two seconds, and an editing tree on them.
  void Make(int records = 3, unsigned long long samples = kTwoSeconds) {
    if (m_Parent.empty()) m_Parent = m_Dir.Path();
    fs::create_directories(m_Parent);
    MakeMeasurement(m_Parent, kBase, records, samples);
    m_Tree = Open(Tree::TreeOpenEdit);
    ASSERT_TRUE(m_Tree);
    RecordSignalTreeProbe::SetEditing(*m_Tree, true);
  }
  std::unique_ptr<Tree> Open(Tree::TreeOpenMode_t mode) {
    return Tree::OpenSignalTree(W(m_Parent.string()), u"m", mode, kNoStore, false, u"", false);
  }
  fs::path Measurement() const { return m_Parent / "m"; }
  bool RecordDirectory(int number) const {
    return fs::exists(Measurement() / N(CRecordId(kBase, number).IdToRecordName()));
  }
  double Duration() const {
    double duration = -1.0;
    MetaDataMeasurementReader(LoadMeasurement(Measurement(), kBase)).Duration(duration);
    return duration;
  }
  std::vector<int> Listed() const {
    std::vector<int> numbers;
    for (const MetaDataRecord& entry : RecordList(Measurement(), kBase))
      numbers.push_back(CRecordId(entry.RecordId()).RecordNumber());
    return numbers;
  }

  fs::path m_Parent;  // of the measurement; a case of a table takes one of its own
  std::unique_ptr<Tree> m_Tree;
};

TEST_F(RecordDeletion, DeleteRecordInEachModeCorrectsTheListAndDuration) {
  const struct {
    Tree::DeleteMode_t mode;
    std::vector<int> listed;
    double duration;
  } cases[] = {
      {Tree::DeleteKeepMetaData, {1, 2, 3}, 6.0},
      {Tree::DeleteWithMetaData, {1, 3}, 4.0},
      {Tree::DeleteWithDirectory, {1, 3}, 4.0},
  };
  for (const auto& c : cases) {
    m_Parent = m_Dir.Path() / std::to_string(c.mode);
    Make();
    ASSERT_EQ(Duration(), 6.0);
    ASSERT_TRUE(m_Tree->DeleteRecord(CRecordId(kBase, 2), c.mode, false)) << c.mode;
    EXPECT_FALSE(RecordDirectory(2)) << c.mode;
    EXPECT_TRUE(RecordDirectory(1) && RecordDirectory(3));
    EXPECT_EQ(Listed(), c.listed) << c.mode;
    EXPECT_EQ(Duration(), c.duration) << c.mode;
    m_Tree.reset();
  }
}

TEST_F(RecordDeletion, DeleteRecordRefusals) {
  Make(2);
  RecordSignalTreeProbe::SetEditing(*m_Tree, false);
  EXPECT_FALSE(m_Tree->DeleteRecord(CRecordId(kBase, 1), Tree::DeleteWithMetaData, false));
  RecordSignalTreeProbe::SetEditing(*m_Tree, true);
  int open = m_Tree->OpenRecord(CRecordId(kBase, 1), Tree::TreeOpenRead, 0);
  ASSERT_TRUE(m_Tree->wRecord(open).SetReadPos(0.0));
  EXPECT_FALSE(m_Tree->DeleteRecord(CRecordId(kBase, 1), Tree::DeleteWithMetaData, false));
  ASSERT_TRUE(m_Tree->CloseRecord(open, true));
  // A record the list calls recording stays.
  MetaDataContainer metaData = LoadMeasurement(Measurement(), kBase);
  CMetaDataMeasurementWriter writer(metaData);
  const MetaDataRecord second = RecordList(Measurement(), kBase)[1];
  writer.RemoveRecord(second.RecordId());
  writer.AddRecord(second.RecordId(), 0, second.AbsDate(), second.Duration(), true, 64.0, 0);
  SaveMeasurement(Measurement(), kBase, metaData);
  EXPECT_FALSE(m_Tree->DeleteRecord(CRecordId(kBase, 2), Tree::DeleteWithMetaData, false));
  EXPECT_EQ(Listed(), (std::vector<int>{1, 2}));
  EXPECT_TRUE(RecordDirectory(1) && RecordDirectory(2));
}

TEST_F(RecordDeletion, SectionsOfASplitRecordGoOneByOne) {
  Make(1, 2 * kPartSamples + 100);
  int edit = m_Tree->OpenRecord(CRecordId(kBase, 1), Tree::TreeOpenDefault, 0);
  const auto ids = m_Tree->wRecord(edit).Split(1);
  ASSERT_NE(ids.second.PartNumber(), 0);
  ASSERT_TRUE(m_Tree->CloseRecord(edit, true));

  // The first section goes: the directory stays for the second, whose samples
  // are all still there once the first's parts have gone.
  ASSERT_TRUE(m_Tree->DeleteRecord(ids.first, Tree::DeleteWithMetaData, false));
  ASSERT_TRUE(RecordDirectory(1));
  ASSERT_EQ(RecordList(Measurement(), kBase).size(), 1u);
  int read = m_Tree->OpenRecord(ids.second, Tree::TreeOpenRead, 0);
  ASSERT_NE(read, 0);
  const std::vector<std::string> files = ChannelFiles(Measurement(), kBase, 1, kLeft);
  EXPECT_EQ(std::count(files.begin(), files.end(), "Part_0.zrs"), 0);
  const std::vector<float> samples = ReadAll(m_Tree->wRecord(read), kLeft);
  ASSERT_EQ(samples.size(), kPartSamples + 100);
  EXPECT_EQ(samples.front(), static_cast<float>(kPartSamples));
  EXPECT_EQ(samples.back(), static_cast<float>(2 * kPartSamples + 99));
  ASSERT_TRUE(m_Tree->CloseRecord(read, true));

  // The last section takes the directory, and as the last record the
  // measurement's own file with it.
  ASSERT_TRUE(m_Tree->DeleteRecord(ids.second, Tree::DeleteWithMetaData, false));
  EXPECT_FALSE(RecordDirectory(1));
  EXPECT_FALSE(fs::exists(Measurement() / "Record_4201.zsfh"));
}

TEST_F(RecordDeletion, DeleteRecordsInEachMode) {
  const struct {
    Tree::DeleteMode_t mode;
    bool measurementFile, directory;
  } cases[] = {
      {Tree::DeleteKeepMetaData, true, true},
      {Tree::DeleteWithMetaData, false, true},
      {Tree::DeleteWithDirectory, false, false},
  };
  for (const auto& c : cases) {
    m_Parent = m_Dir.Path() / std::to_string(c.mode);
    Make(2);
    std::ofstream(Measurement() / "Record_4201.zff") << "x";
    int open = m_Tree->OpenRecord(CRecordId(kBase, 1), Tree::TreeOpenRead, 0);
    EXPECT_FALSE(m_Tree->DeleteRecords(c.mode));
    ASSERT_TRUE(m_Tree->CloseRecord(open, true));
    ASSERT_TRUE(m_Tree->DeleteRecords(c.mode)) << c.mode;
    EXPECT_FALSE(RecordDirectory(1) || RecordDirectory(2));
    EXPECT_EQ(fs::exists(Measurement() / "Record_4201.zsfh"), c.measurementFile) << c.mode;
    EXPECT_EQ(fs::exists(Measurement() / "Record_4201.zff"), c.measurementFile) << c.mode;
    EXPECT_EQ(fs::exists(Measurement()), c.directory) << c.mode;
    EXPECT_TRUE(m_Tree->DeleteRecordFile(u"Nothing.txt"));
    m_Tree.reset();
  }
}

TEST_F(RecordDeletion, DeleteRemoteRecordTakesTheWholeMeasurement) {
  fs::create_directories(m_Dir.Path() / "Record_77" / "Record_77_2");
  fs::create_directories(m_Dir.Path() / "Loose");
  std::shared_ptr<CAbstractFileAccess> store = std::make_shared<RootedStore>(m_Dir.Path());
  std::shared_ptr<CAbstractFileAccess> none;
  EXPECT_FALSE(Tree::DeleteRemoteRecord(u"Record_77_2", none));
  EXPECT_TRUE(Tree::DeleteRemoteRecord(u"Record_77_2", store));
  EXPECT_FALSE(fs::exists(m_Dir.Path() / "Record_77"));
  EXPECT_TRUE(Tree::DeleteRemoteRecord(u"Loose", store));
  EXPECT_FALSE(fs::exists(m_Dir.Path() / "Loose"));
}

TEST_F(RecordDeletion, CleanRecordLeavesAnEmptyRecordOne) {
  Make();
  m_Tree.reset();
  auto reader = Open(Tree::TreeOpenRead);
  EXPECT_FALSE(reader->CleanRecord());
  EXPECT_EQ(Tree::LastErrorString(),
            u"CRecordSignalTree::CleanRecord() record tree not open in write mode");

  // The recording tree: refused while its fourth record runs.
  auto tree = Open(Tree::TreeOpenEdit);
  int running = tree->OpenRecord(CRecordId(kBase, 3), Tree::TreeOpenDefault, 0);
  ASSERT_NE(running, 0);
  ASSERT_TRUE(tree->CloseRecord(running, false));
  running = tree->CreateRecord(0);
  ASSERT_NE(running, 0);
  StartTwoChannels(tree->wRecord(running));
  EXPECT_FALSE(tree->CleanRecord());
  EXPECT_EQ(Tree::LastErrorString(),
            u"CRecordSignalTree::CleanRecord() reading and/or writing in progress");
  WriteRamp(tree->wRecord(running), 0, kTwoSeconds);
  ASSERT_TRUE(tree->wRecord(running).StopRecord());
  ASSERT_TRUE(tree->CloseRecord(running, true));
  ASSERT_EQ(Listed(), (std::vector<int>{1, 2, 3, 4}));

  ASSERT_TRUE(tree->CleanRecord()) << N(Tree::LastErrorString());
  EXPECT_EQ(tree->RecordCounter(), 0);
  const std::vector<MetaDataRecord> list = RecordList(Measurement(), kBase);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].RecordId(), CRecordId(kBase, 1).RecordId());
  for (int number = 2; number <= 4; ++number) EXPECT_FALSE(RecordDirectory(number)) << number;
  EXPECT_EQ(ChannelFiles(Measurement(), kBase, 1, kLeft), std::vector<std::string>{"Channel_1.zrm"});
}

TEST_F(RecordDeletion, RemoveChannelFromEveryRecordCountsItOnceAndRetries) {
  Make(2);
  MetaDataContainer metaData = LoadMeasurement(Measurement(), kBase);
  CMetaDataMeasurementWriter(metaData).NumberOfChannels(2);
  SaveMeasurement(Measurement(), kBase, metaData);
  const auto counted = [&] {
    long channels = -1;
    MetaDataMeasurementReader(LoadMeasurement(Measurement(), kBase)).NumberOfChannels(channels);
    return channels;
  };
  const auto pending = [&] {
    std::vector<unsigned long long> channels;
    MetaDataMeasurementReader(LoadMeasurement(Measurement(), kBase)).ChannelsToRemove(channels);
    return channels;
  };

  // The second record's directory refuses to go: the channel stays listed.
  auto store = std::make_shared<FaultInjectingFileAccess>(std::make_shared<CLocalFileAccess>());
  RecordSignalTreeProbe::UseStore(*m_Tree, store);
  store->FailAt(FaultInjectingFileAccess::DeleteTree, 2);
  RecordSignalTreeProbe::SetEditing(*m_Tree, false);
  EXPECT_FALSE(m_Tree->RemoveChannel(kLeft));
  RecordSignalTreeProbe::SetEditing(*m_Tree, true);
  EXPECT_FALSE(m_Tree->RemoveChannel(kLeft));
  EXPECT_EQ(counted(), 1);
  EXPECT_EQ(pending(), std::vector<unsigned long long>{kLeft.Id()});
  EXPECT_TRUE(ChannelFiles(Measurement(), kBase, 1, kLeft).empty());
  EXPECT_FALSE(ChannelFiles(Measurement(), kBase, 2, kLeft).empty());

  // The next opening finishes it, without counting it again.
  int open = m_Tree->OpenRecord(CRecordId(kBase, 2), Tree::TreeOpenRead, 0);
  ASSERT_NE(open, 0);
  EXPECT_TRUE(ChannelFiles(Measurement(), kBase, 2, kLeft).empty());
  EXPECT_FALSE(ChannelFiles(Measurement(), kBase, 2, kRight).empty());
  EXPECT_EQ(counted(), 1);
  EXPECT_TRUE(pending().empty());
  EXPECT_EQ(m_Tree->wRecord(open).ChannelCount(), 1u);
  ASSERT_TRUE(m_Tree->CloseRecord(open, true));
}

}  // namespace

namespace {

TEST_F(RecordDeletion, ClosingARecordThatHoldsNothingDeletesItWhenAllowed) {
  for (const bool allowDelete : {true, false}) {
    m_Parent = m_Dir.Path() / (allowDelete ? "allowed" : "kept");
    fs::create_directories(m_Parent);
    auto tree = Tree::CreateSignalTree(W(m_Parent.string()), u"m", kNoStore, false);
    ASSERT_TRUE(tree->SetRecordBase(kBase));
    int handle = tree->CreateRecord(0);
    ASSERT_TRUE(RecordDirectory(1));
    ASSERT_EQ(Listed(), std::vector<int>{1});
    ASSERT_TRUE(tree->CloseRecord(handle, allowDelete));
    EXPECT_EQ(RecordDirectory(1), !allowDelete);
    EXPECT_EQ(Listed().empty(), allowDelete);
    EXPECT_FALSE(tree->IsEditing());
  }
}

}  // namespace
