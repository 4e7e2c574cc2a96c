// The end-up of measurements that a crash left unfinished: found by their ".zff"
// header, their records told as their files hold them, records and measurements
// without any sample removed, the header renamed; on the local disk and on a
// remote store.
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include <filesystem>
#include <fstream>

#include "foundation/LocalFileAccess.h"
#include "support/FaultInjectingFileAccess.h"
#include "tree/SurgeryTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

void MarkUnfinished(Tree& tree, const fs::path& parent, const std::u16string& name, long base);

// A measurement `name` of base `base` under `parent`, with a header that marks it
// unfinished: a finished record of `finished` samples on each channel (none when
// 0), then one of `crashed` samples left recording, as a process that dies
// leaves it.
void Crash(const fs::path& parent, const std::u16string& name, long base,
           unsigned long long finished, unsigned long long crashed,
           const std::shared_ptr<CAbstractFileAccess>& store = kNoStore) {
  auto tree = Tree::CreateSignalTree(W(parent.string()), name, store, store != nullptr);
  ASSERT_TRUE(tree);
  ASSERT_TRUE(tree->SetRecordBase(base));
  if (finished != 0) {
    int handle = tree->CreateRecord(0);
    ASSERT_NE(handle, 0);
    StartTwoChannels(tree->wRecord(handle));
    WriteRamp(tree->wRecord(handle), 0, finished);
    ASSERT_TRUE(tree->wRecord(handle).StopRecord());
    ASSERT_TRUE(tree->CloseRecord(handle, true));
  }
  const int handle = tree->CreateRecord(0);
  ASSERT_NE(handle, 0);
  StartTwoChannels(tree->wRecord(handle));
  WriteRamp(tree->wRecord(handle), 0, crashed);
  MarkUnfinished(*tree, parent, name, base);
}

// What a host writes into the measurement before it records, and the header
// that marks the measurement unfinished.
void MarkUnfinished(Tree& tree, const fs::path& parent, const std::u16string& name, long base) {
  MetaDataContainer metaData;
  ASSERT_TRUE(tree.LoadMetaDataMeasurement(metaData));
  CMetaDataMeasurementWriter writer(metaData);
  writer.ProjectName(u"Bench");
  writer.MeasurementName(name);
  writer.SignalFileName(CRecordId(base, 0).IdToRecordNameBase() + u".zff");
  auto lock = tree.CreateMetaDataLock(MetaDataFileLock::LockWait);
  ASSERT_TRUE(tree.SaveMetaDataMeasurement(lock.get(), metaData, true));
  std::ofstream(parent / N(name) / ("Record_" + std::to_string(base) + ".zff")) << "header";
}

// The lines of a walk over `parent` that has to go without a failure.
std::vector<Tree::RecordEndUp_t> EndUpAll(const fs::path& parent) {
  std::shared_ptr<CAbstractFileAccess> store;
  std::vector<Tree::RecordEndUp_t> repaired;
  std::vector<std::string> errors;
  EXPECT_TRUE(Tree::RecordEndUp(W(parent.string()), store, false, repaired, errors));
  EXPECT_TRUE(errors.empty()) << errors.front();
  return repaired;
}

// Record `id` of measurement "m" in `parent` holds the ramp 0 .. count - 1 on
// both channels.
void ExpectRamp(const fs::path& parent, const CRecordId& id, std::size_t count) {
  auto tree = Tree::OpenSignalTree(W(parent.string()), u"m", Tree::TreeOpenRead, kNoStore, false,
                                   u"", false);
  ASSERT_TRUE(tree);
  int handle = tree->OpenRecord(id, Tree::TreeOpenRead, 0);
  ASSERT_NE(handle, 0);
  for (const CChannelID& channel : {kLeft, kRight}) {
    const std::vector<float> samples = ReadAll(tree->wRecord(handle), channel);
    ASSERT_EQ(samples.size(), count);
    for (std::size_t i = 0; i < samples.size(); ++i) ASSERT_EQ(samples[i], i) << i;
  }
  tree->CloseRecord(handle, false);
}

class EndUp : public TreeTest {};

TEST_F(EndUp, CrashedRecordIsFinishedWithEverySampleAndTheHeaderRenamed) {
  Crash(m_Dir.Path(), u"m", 4301, 4096, 5000);
  const fs::path measurement = m_Dir.Path() / "m";

  const std::vector<Tree::RecordEndUp_t> lines = EndUpAll(m_Dir.Path());
  ASSERT_EQ(lines.size(), 1u);
  const Tree::RecordEndUp_t& line = lines.front();
  EXPECT_EQ(line.ProjectName, u"Bench");
  EXPECT_EQ(line.MeasurementName, u"m");
  EXPECT_EQ(line.SignalFileName, u"Record_4301");
  EXPECT_EQ(line.Date, 133000000000000000LL);
  EXPECT_FALSE(line.RemoteMirror);
  EXPECT_FALSE(fs::exists(measurement / "Record_4301.zff"));
  EXPECT_TRUE(fs::exists(measurement / "Record_4301.zxf"));
  EXPECT_FALSE(fs::exists(measurement / "Metadata.lock"));

  const std::vector<MetaDataRecord> records = RecordList(measurement, 4301);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_FALSE(records[1].Recording());
  EXPECT_EQ(records[1].LastPartNumber(), 1);
  EXPECT_DOUBLE_EQ(records[1].Duration(), 5000 / kSurgeryRate);
  double duration = 0.0;
  EXPECT_TRUE(MetaDataMeasurementReader(LoadMeasurement(measurement, 4301)).Duration(duration));
  EXPECT_DOUBLE_EQ(duration, (4096 + 5000) / kSurgeryRate);

  ExpectRamp(m_Dir.Path(), CRecordId(4301, 2), 5000);

  // Finished: the next walk passes it over.
  EXPECT_TRUE(EndUpAll(m_Dir.Path()).empty());
}

TEST_F(EndUp, AStopThatCouldNotCompleteItsFilesSaysWhyAndLeavesTheRecordToTheEndUp) {
  // The saves of the stop are moves of beside-files over their files: a channel's
  // metadata, one per channel, then the measurement file's record list.
  const struct {
    unsigned long Rename;
    bool Sticky;  // the close's second try fails too
    std::u16string Stop, Close;
    bool TmpRecordKept;
  } kCases[] = {
      {1, true, u"CRecordSection::StopRecord unable to close channel: ",
       u"CRecordSignalTree::CloseRecord unable to stop the record: ", true},
      {3, false,
       u"CRecordSection::StopRecord unable to finish the record's entry: "
       u"CRecordSignalTree::ChangeState unable to update the record list of ",
       u"", false},
  };
  long base = 4305;
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.Rename);
    const fs::path parent = m_Dir.Path() / std::to_string(base);
    fs::create_directory(parent);
    auto tree = Tree::CreateSignalTree(W(parent.string()), u"m", kNoStore, false);
    ASSERT_TRUE(tree && tree->SetRecordBase(base));
    auto store = std::make_shared<FaultInjectingFileAccess>(std::make_shared<CLocalFileAccess>());
    RecordSignalTreeProbe::UseStore(*tree, store);
    int handle = tree->CreateRecord(0);
    ASSERT_NE(handle, 0);
    StartTwoChannels(tree->wRecord(handle));
    WriteRamp(tree->wRecord(handle), 0, 5000);
    MarkUnfinished(*tree, parent, u"m", base);
    store->FailAt(FaultInjectingFileAccess::Rename, c.Rename, c.Sticky);
    EXPECT_FALSE(tree->wRecord(handle).StopRecord());
    EXPECT_EQ(tree->wRecord(handle).LastErrorString().rfind(c.Stop, 0), 0u);
    EXPECT_EQ(tree->CloseRecord(handle, true), c.Close.empty());
    EXPECT_EQ(Tree::LastErrorString().rfind(c.Close, 0), 0u);
    tree.reset();
    const fs::path record = parent / "m" / ("Record_" + std::to_string(base) + "_1");
    EXPECT_EQ(fs::exists(record / "Channel_1_0_4711" / "TmpRecord.zrm"), c.TmpRecordKept);
    EXPECT_TRUE(RecordList(parent / "m", base).at(0).Recording());

    ASSERT_EQ(EndUpAll(parent).size(), 1u);
    ExpectRamp(parent, CRecordId(base, 1), 5000);
    ++base;
  }
}

TEST_F(EndUp, RecordsAndMeasurementsWithoutASampleGo) {
  // Record 2 was started and died before its first block: it leaves list and disk.
  Crash(m_Dir.Path(), u"some", 4302, 4096, 0);
  EXPECT_EQ(EndUpAll(m_Dir.Path()).size(), 1u);
  EXPECT_EQ(RecordList(m_Dir.Path() / "some", 4302).size(), 1u);
  EXPECT_FALSE(fs::exists(m_Dir.Path() / "some" / "Record_4302_2"));

  // A measurement whose only record holds nothing goes whole, with no line.
  TempDir other;
  Crash(other.Path(), u"none", 4303, 0, 0);
  EXPECT_TRUE(EndUpAll(other.Path()).empty());
  EXPECT_FALSE(fs::exists(other.Path() / "none" / "Record_4303.zsfh"));
  EXPECT_FALSE(fs::exists(other.Path() / "none" / "Record_4303_1"));
}

TEST_F(EndUp, TheWalkPassesOverWhatIsNoUnfinishedMeasurementAndSaysWhatFails) {
  // Without a header the record stays recording; without metadata it is no
  // measurement at all.
  Crash(m_Dir.Path(), u"unmarked", 4304, 0, 100);
  fs::remove(m_Dir.Path() / "unmarked" / "Record_4304.zff");
  fs::create_directory(m_Dir.Path() / "plain");
  std::shared_ptr<CAbstractFileAccess> local;
  std::vector<Tree::RecordEndUp_t> repaired;
  std::vector<std::string> errors;
  EXPECT_TRUE(Tree::RecordEndUp(m_Dir.Wide(), local, false, repaired, errors));
  EXPECT_TRUE(repaired.empty() && errors.empty());
  EXPECT_TRUE(std::dynamic_pointer_cast<CLocalFileAccess>(local));
  EXPECT_TRUE(RecordList(m_Dir.Path() / "unmarked", 4304).front().Recording());

  std::shared_ptr<CAbstractFileAccess> none;
  EXPECT_FALSE(Tree::RecordEndUp(m_Dir.Wide(), none, true, repaired, errors));
  EXPECT_FALSE(Tree::RecordEndUp(m_Dir.Wide("missing"), local, false, repaired, errors));
  const std::vector<std::string> expected = {
      "Error no file access object",
      "Error to access signal directory contents: " + m_Dir.Path().string() + "/missing"};
  EXPECT_EQ(errors, expected);

  // A ".zxf" in the way: repaired, but the header can't be renamed, and says so.
  errors.clear();
  std::ofstream(m_Dir.Path() / "unmarked" / "Record_4304.zff") << "header";
  std::ofstream(m_Dir.Path() / "unmarked" / "Record_4304.zxf") << "older";
  EXPECT_FALSE(Tree::RecordEndUp(m_Dir.Wide(), local, false, repaired, errors));
  EXPECT_EQ(repaired.size(), 1u);
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors.front(), "Error, in record \"" + (m_Dir.Path() / "unmarked").string() +
                                "\" unable to rename zxf header file");
  EXPECT_TRUE(fs::exists(m_Dir.Path() / "unmarked" / "Record_4304.zff"));
  EXPECT_FALSE(RecordList(m_Dir.Path() / "unmarked", 4304).front().Recording());
}

TEST_F(EndUp, CrashedRecordReadsLiveUntilItsEndUpThenFinishedToItsLastWholeSample) {
  Crash(m_Dir.Path(), u"m", 4306, 0, 5000);
  // The crash tore the last sample of one channel in half.
  const fs::path lastPart =
      m_Dir.Path() / "m" / "Record_4306_1" / N(kLeft.ToFilePath()) / "Part_1.zrs";
  ASSERT_TRUE(fs::exists(lastPart));
  std::ofstream(lastPart, std::ios::app | std::ios::binary) << "ab";

  for (const bool endedUp : {false, true}) {
    if (endedUp) {
      EXPECT_EQ(EndUpAll(m_Dir.Path()).size(), 1u);
    }
    auto tree =
        Tree::OpenSignalTree(m_Dir.Wide(), u"m", Tree::TreeOpenRead, kNoStore, false, u"", false);
    ASSERT_TRUE(tree);
    EXPECT_EQ(tree->IsRecording(true), !endedUp);
    int handle = tree->OpenRecord(CRecordId(4306, 1), Tree::TreeOpenRead, 0);
    ASSERT_NE(handle, 0);
    for (const CChannelID& channel : {kLeft, kRight}) {
      EXPECT_EQ(ReadAll(tree->wRecord(handle), channel).size(), 5000u) << endedUp;
      CAbstractRecordSection::ReadState_t state = CAbstractRecordSection::ReadStateNone;
      EXPECT_TRUE(tree->wRecord(handle).EndOfReading(channel, state));
      EXPECT_EQ(state, endedUp ? CAbstractRecordSection::ReadStateEnd
                               : CAbstractRecordSection::ReadStateLiveEnd);
    }
    tree->CloseRecord(handle, false);
  }
}

TEST_F(EndUp, SavesACrashCutShortAreFinishedWholeOrDropped) {
  Crash(m_Dir.Path(), u"m", 4307, 0, 100);
  const fs::path measurement = m_Dir.Path() / "m";
  // The measurement file's newest save lies whole beside it, a channel file's is cut short.
  MetaDataContainer newest = LoadMeasurement(measurement, 4307);
  CMetaDataMeasurementWriter(newest).Comment(u"newest");
  SaveMeasurement(measurement, 4307, newest);
  fs::rename(measurement / "Record_4307.zsfh", measurement / "Record_4307.zsfh.new");
  std::ofstream(measurement / "Record_4307.zsfh") << "{\"Version\": 1}";
  const fs::path channel = measurement / "Record_4307_1" / N(kLeft.ToFilePath());
  std::ofstream(channel / "Channel_1.zrm.new") << "{\"Vers";

  EXPECT_EQ(EndUpAll(m_Dir.Path()).size(), 1u);
  std::u16string comment;
  EXPECT_TRUE(MetaDataMeasurementReader(LoadMeasurement(measurement, 4307)).Comment(comment));
  EXPECT_EQ(comment, u"newest");
  for (const auto& entry : fs::recursive_directory_iterator(measurement))
    EXPECT_NE(entry.path().extension(), ".new") << entry.path();
  EXPECT_DOUBLE_EQ(RecordList(measurement, 4307).front().Duration(), 100 / kSurgeryRate);
}

// A remote analyzer's disk that, as one, lists the paths it was asked for.
class RemoteDisk : public RootedStore {
 public:
  using RootedStore::RootedStore;
  bool ListDirectory(const std::u16string& directory, std::vector<std::u16string>& directories,
                     std::vector<std::u16string>& files, const std::u16string& pattern) override {
    if (!RootedStore::ListDirectory(directory, directories, files, pattern)) return false;
    for (auto* list : {&directories, &files})
      for (std::u16string& path : *list)
        path = JoinPath(directory, fs::path(N(path)).filename().string());
    return true;
  }

 private:
  static std::u16string JoinPath(const std::u16string& parent, const std::string& name) {
    return parent.empty() ? W(name) : parent + u"/" + W(name);
  }
};

TEST_F(EndUp, MeasurementOnARemoteStoreIsRepairedThere) {
  const fs::path disk = m_Dir.Path() / "disk";
  fs::create_directory(disk);
  std::shared_ptr<CAbstractFileAccess> store = std::make_shared<RemoteDisk>(disk);
  // The tree mirrors the store into a local directory; records lie on the store.
  Crash(m_Dir.Path(), u"Record_4305", 4305, 0, 5000, store);
  fs::rename(m_Dir.Path() / "Record_4305" / "Record_4305.zff",
             disk / "Record_4305" / "Record_4305.zff");
  fs::create_directory(disk / "foreign");

  std::vector<Tree::RecordEndUp_t> repaired;
  std::vector<std::string> errors;
  EXPECT_TRUE(Tree::RecordEndUp(u"", store, true, repaired, errors))
      << (errors.empty() ? "" : errors.front());
  ASSERT_EQ(repaired.size(), 1u);
  EXPECT_TRUE(repaired.front().RemoteMirror);
  EXPECT_TRUE(fs::exists(disk / "Record_4305" / "Record_4305.zxf"));
  const std::vector<MetaDataRecord> records = RecordList(disk / "Record_4305", 4305);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_FALSE(records.front().Recording());
  EXPECT_DOUBLE_EQ(records.front().Duration(), 5000 / kSurgeryRate);
}

}  // namespace
