// The notices of ChangeState, sent by hand as the sections would send them: the
// listener, the record states shared by the process, and what each notice writes
// into the measurement file, above all the length and offset of a stopped record.
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include <filesystem>

#include "support/CapturedDiagnostics.h"
#include "tree/TreeTestSupport.h"

using namespace zsff;
using namespace zsff_test;
using Param = Tree::CChangeActionParam_t;

namespace {

constexpr long long kStart = 133000000000000000LL;  // a file time in 2022
constexpr long long kTicksPerSecond = 10000000LL;

class Notices : public TreeTest {
 protected:
  // A new measurement with a base chosen by the test, so that the states of the
  // process stay apart between tests.
  std::unique_ptr<Tree> Make(const std::string& name, unsigned int base) {
    auto tree = Tree::CreateSignalTree(m_Dir.Wide(), W(name), kNoStore, false);
    EXPECT_TRUE(tree);
    EXPECT_TRUE(tree->SetRecordBase(base));
    m_Bases.push_back(base);
    return tree;
  }
  fs::path Dir(const std::string& name) const { return m_Dir.Path() / name; }

  void TearDown() override {
    for (unsigned int base : m_Bases)
      for (unsigned short number = 0; number < 4; ++number)
        RecordSignalTreeProbe::Forget(CRecordId(base, number));
  }

  std::vector<unsigned int> m_Bases;
};

TEST_F(Notices, ListenerHearsEveryNoticeFirstAndStatesFollow) {
  auto tree = Make("m", 1001);
  RecordingListener listener;
  tree->SetChangeStateCallBack(&listener);
  CRecordId section(1001, 1);
  section.SetPartNumber(5);
  const CRecordId key(1001, 1);

  tree->ChangeState(section, Tree::ChangeRecordCreated, nullptr);
  ASSERT_TRUE(RecordSignalTreeProbe::State(key));
  EXPECT_EQ(RecordSignalTreeProbe::State(key)->UseCount, 1);
  EXPECT_TRUE(tree->IsUsed());

  tree->ChangeState(section, Tree::ChangeReadStarted, nullptr);
  EXPECT_TRUE(tree->IsReading());
  EXPECT_TRUE(tree->IsReading(CRecordId(1001, 0)));  // number 0: any record of the base
  EXPECT_FALSE(tree->IsReading(CRecordId(1001, 2)));
  tree->ChangeState(section, Tree::ChangeReadStopped, nullptr);
  EXPECT_FALSE(tree->IsReading());

  tree->ChangeState(section, Tree::ChangeRecordStarted, nullptr);
  EXPECT_TRUE(tree->IsRecording(false));
  EXPECT_TRUE(tree->IsRecording(section, false));
  EXPECT_FALSE(tree->IsRecording(CRecordId(1001, 2), false));
  tree->ChangeState(section, Tree::ChangeRecordWriting, nullptr);
  tree->ChangeState(section, Tree::ChangeRecordStopped, nullptr);
  EXPECT_FALSE(tree->IsRecording(false));

  // An action the tree doesn't know reaches the listener and nothing else.
  tree->ChangeState(section, static_cast<Tree::ChangeAction_t>(9), nullptr);
  EXPECT_EQ(RecordSignalTreeProbe::State(key)->UseCount, 1);

  tree->ChangeState(section, Tree::ChangeRecordClosed, nullptr);
  EXPECT_FALSE(RecordSignalTreeProbe::State(key));
  EXPECT_FALSE(tree->IsUsed());

  const std::vector<Tree::ChangeAction_t> expected{Tree::ChangeRecordCreated,
                                                   Tree::ChangeReadStarted,
                                                   Tree::ChangeReadStopped,
                                                   Tree::ChangeRecordStarted,
                                                   Tree::ChangeRecordWriting,
                                                   Tree::ChangeRecordStopped,
                                                   static_cast<Tree::ChangeAction_t>(9),
                                                   Tree::ChangeRecordClosed};
  EXPECT_EQ(listener.Actions(), expected);
  for (const Notice& notice : listener.Notices) {
    EXPECT_EQ(notice.Key, key);
    EXPECT_EQ(notice.Handle, 0);
    EXPECT_FALSE(notice.HasParam);
  }
  // Notices without detail never touch the metadata.
  EXPECT_FALSE(fs::exists(Dir("m") / "Record_1001.zsfh"));
}

TEST_F(Notices, CreatedAgainAddsAnOpenerAndWritesNothing) {
  auto tree = Make("m", 1002);
  const CRecordId key(1002, 1);
  Param param;
  param.RecordNumber = 1;
  tree->ChangeState(key, Tree::ChangeRecordCreated, &param);
  std::vector<MetaDataRecord> list = RecordList(Dir("m"), 1002);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].RecordId(), key.RecordId());
  EXPECT_TRUE(list[0].Recording());
  EXPECT_EQ(tree->RecordNumber(key), 1u);

  Param other = param;
  other.FirstPart = 3;
  other.Duration = 8.0;
  tree->ChangeState(key, Tree::ChangeRecordCreated, &other);
  EXPECT_EQ(RecordSignalTreeProbe::State(key)->UseCount, 2);
  list = RecordList(Dir("m"), 1002);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].Duration(), 0.0);

  tree->ChangeState(key, Tree::ChangeRecordReleased, nullptr);
  EXPECT_TRUE(RecordSignalTreeProbe::IsUsed(*tree, key));
  tree->ChangeState(key, Tree::ChangeRecordClosed, nullptr);
  EXPECT_FALSE(RecordSignalTreeProbe::IsUsed(*tree, key));
  EXPECT_EQ(tree->RecordNumber(key), 0u);
}

TEST_F(Notices, AStopFinishesItsRecordOnce) {
  zsff_test::CapturedDiagnostics diagnostics;
  auto tree = Make("m", 1003);
  const CRecordId key(1003, 1);
  Param created;
  created.RecordNumber = 1;
  tree->ChangeState(key, Tree::ChangeRecordCreated, &created);
  Param started = created;
  started.PartLength = 10.0;
  started.AbsDate = kStart;
  tree->ChangeState(key, Tree::ChangeRecordStarted, &started);
  std::vector<MetaDataRecord> list = RecordList(Dir("m"), 1003);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].PartLength(), 10.0);
  EXPECT_TRUE(list[0].Recording());

  Param stopped = started;
  stopped.Duration = 12.5;
  stopped.FileSize = 3072;
  stopped.LastPart = 1;
  tree->ChangeState(key, Tree::ChangeRecordStopped, &stopped);
  MetaDataContainer metaData = LoadMeasurement(Dir("m"), 1003);
  list = MetaDataMeasurementReader(metaData).GetRecordsVect();
  ASSERT_EQ(list.size(), 1u);
  EXPECT_FALSE(list[0].Recording());
  EXPECT_EQ(list[0].Duration(), 12.5);
  EXPECT_EQ(list[0].LastPartNumber(), 1);
  EXPECT_EQ(list[0].AbsDate(), kStart);
  long long kib = 0;
  double duration = 0.0;
  EXPECT_TRUE(MetaDataMeasurementReader(metaData).FilesSize(kib));
  EXPECT_TRUE(MetaDataMeasurementReader(metaData).Duration(duration));
  EXPECT_EQ(kib, 3);
  EXPECT_EQ(duration, 12.5);
  EXPECT_EQ(tree->RecordLength(), 12.5);
  EXPECT_FALSE(tree->IsRecording(false));
  EXPECT_EQ(tree->RecordNumber(key), 2u);

  // The same record number again refreshes the summary and leaves the record.
  Param again = stopped;
  again.Duration = 99.0;
  tree->ChangeState(key, Tree::ChangeRecordStopped, &again);
  metaData = LoadMeasurement(Dir("m"), 1003);
  list = MetaDataMeasurementReader(metaData).GetRecordsVect();
  EXPECT_EQ(list[0].Duration(), 12.5);
  EXPECT_TRUE(MetaDataMeasurementReader(metaData).FilesSize(kib));
  EXPECT_EQ(kib, 6);
  EXPECT_EQ(tree->RecordLength(), 12.5);

  // Another number finds the last record stopped: its length counts again in the
  // tree's total, and the file isn't written.
  const CRecordId second(1003, 2);
  tree->ChangeState(second, Tree::ChangeRecordCreated, nullptr);
  Param late = stopped;
  late.RecordNumber = 2;
  tree->ChangeState(second, Tree::ChangeRecordStopped, &late);
  const std::string printed = diagnostics.Take();
  EXPECT_NE(printed.find("CRecordSignalTree::UpdateMetaDataMeasurement(UMFinishCurrentRecord) last "
                         "record is already stopped, duration = "),
            std::string::npos);
  EXPECT_EQ(tree->RecordLength(), 25.0);
  EXPECT_TRUE(MetaDataMeasurementReader(LoadMeasurement(Dir("m"), 1003)).FilesSize(kib));
  EXPECT_EQ(kib, 6);
}

// One record created at `entryPart`, started and stopped with `stop`.
struct StopCase {
  const char* Name;
  float FrontEndRate;  // 0: the measurement doesn't say
  unsigned short EntryPart;
  Param Stop;
  double Kept;
  long long Offset;
  unsigned short PartAfter;
};

Param MakeStop(double duration, double timeToStop, double partLength, unsigned short blockSize,
               unsigned short firstPart, unsigned short lastPart) {
  Param param;
  param.RecordNumber = 1;
  param.Duration = duration;
  param.TimeToStop = timeToStop;
  param.PartLength = partLength;
  param.BlockSize = blockSize;
  param.FirstPart = firstPart;
  param.LastPart = lastPart;
  return param;
}

TEST_F(Notices, StopKeepsTheLengthAndTheOffsetOfTheStopTime) {
  const StopCase cases[] = {
      // Without a stop time the duration counts from part 0: parts 0 to 2 are gone.
      {"ringless", 0.0f, 3, MakeStop(100.0, 0.0, 10.0, 0, 3, 9), 70.0, 0, 3},
      // 10 s beyond the stop time are exactly the first part, of 256000 samples,
      // which the ring kept: the window begins at its end.
      {"onePartOver", 0.0f, 0, MakeStop(60.0, 50.0, 10.0, 1024, 0, 5), 50.0, 256000, 0},
      {"shortOfStop", 0.0f, 0, MakeStop(40.0, 50.0, 10.0, 1024, 0, 3), 40.0, 0, 0},
      // 3.3 s over: 84479 samples at 25600 Hz and 168959 at 51200, in whole blocks.
      {"defaultRate", 0.0f, 0, MakeStop(53.3, 50.0, 10.0, 1024, 0, 5), 50.0, 83968, 0},
      {"ownRate", 51200.0f, 0, MakeStop(53.3, 50.0, 10.0, 1024, 0, 5), 50.0, 167936, 0},
      // 640000 samples over, two whole parts dropped.
      {"twoPartsOver", 0.0f, 0, MakeStop(75.0, 50.0, 10.0, 1000, 0, 7), 50.0, 128000, 0},
      // The ring wrapped: the entry moves to the first part still there.
      {"wrapped", 0.0f, 0, MakeStop(105.0, 100.0, 10.0, 512, 4, 13), 100.0, 128000, 4},
  };
  unsigned int base = 1100;
  for (const StopCase& c : cases) {
    SCOPED_TRACE(c.Name);
    ++base;
    auto tree = Make(c.Name, base);
    if (c.FrontEndRate != 0.0f) {
      MetaDataContainer settings = Measurement();
      CMetaDataMeasurementWriter(settings).SamplingFrontEnd(c.FrontEndRate);
      SaveMeasurement(Dir(c.Name), base, settings);
    }
    const CRecordId key(base, 1);
    Param created;
    created.RecordNumber = 1;
    created.FirstPart = c.EntryPart;
    tree->ChangeState(key, Tree::ChangeRecordCreated, &created);
    tree->ChangeState(key, Tree::ChangeRecordStarted, &created);
    tree->ChangeState(key, Tree::ChangeRecordStopped, &c.Stop);

    const MetaDataContainer metaData = LoadMeasurement(Dir(c.Name), base);
    const std::vector<MetaDataRecord> list = MetaDataMeasurementReader(metaData).GetRecordsVect();
    ASSERT_EQ(list.size(), 1u);
    CRecordId expectedId(base, 1);
    expectedId.SetPartNumber(c.PartAfter);
    EXPECT_EQ(list[0].RecordId(), expectedId.RecordId());
    EXPECT_DOUBLE_EQ(list[0].Duration(), c.Kept);
    EXPECT_EQ(list[0].OffsetTimeToStop(), c.Offset);
    EXPECT_EQ(list[0].LastPartNumber(), c.Stop.LastPart);
    EXPECT_EQ(list[0].PartLength(), c.Stop.PartLength);
    EXPECT_FALSE(list[0].Recording());
    std::string mode;
    EXPECT_EQ(MetaDataMeasurementReader(metaData).Mode(mode), c.Stop.TimeToStop > 0);
    if (c.Stop.TimeToStop > 0) {
      EXPECT_EQ(mode, "Time to stop");
    }
    tree->ChangeState(key, Tree::ChangeRecordClosed, nullptr);
  }
}

TEST_F(Notices, StopDatesEverySectionOfItsRecord) {
  // Record 1 in two sections: parts 0 and 1 finished, parts 2 on still recording.
  const unsigned int base = 1201;
  auto tree = Make("m", base);
  CRecordId first(base, 1), second(base, 1);
  second.SetPartNumber(2);
  MetaDataContainer metaData = Measurement();
  metaData.AddRecord(first.RecordId(), 1, 0, 20.0, false, 10.0, 12800);
  metaData.AddRecord(second.RecordId(), 2, 0, 0.0, true, 10.0, 0);
  SaveMeasurement(Dir("m"), base, metaData);

  tree->ChangeState(first, Tree::ChangeRecordCreated, nullptr);
  Param stop = MakeStop(45.0, 0.0, 10.0, 0, 2, 4);
  stop.AbsDate = kStart;
  tree->ChangeState(first, Tree::ChangeRecordStopped, &stop);

  const MetaDataContainer stored = LoadMeasurement(Dir("m"), base);
  const std::vector<MetaDataRecord> list = MetaDataMeasurementReader(stored).GetRecordsVect();
  ASSERT_EQ(list.size(), 2u);
  // The first section starts half a second (12800 samples) in.
  EXPECT_EQ(list[0].AbsDate(), kStart + kTicksPerSecond / 2);
  EXPECT_EQ(list[0].Duration(), 20.0);
  EXPECT_FALSE(list[0].Recording());
  EXPECT_EQ(list[1].RecordId(), second.RecordId());
  EXPECT_EQ(list[1].AbsDate(), kStart + 20 * kTicksPerSecond);
  EXPECT_EQ(list[1].Duration(), 25.0);
  EXPECT_EQ(list[1].LastPartNumber(), 4);
  EXPECT_EQ(list[1].RelDate(), 20.0);
  EXPECT_FALSE(list[1].Recording());
  // Both sections count in the measurement's length.
  double duration = 0.0;
  EXPECT_TRUE(MetaDataMeasurementReader(stored).Duration(duration));
  EXPECT_EQ(duration, 45.0);
  EXPECT_EQ(tree->RecordLength(), 45.0);
}

TEST_F(Notices, FinishingAnEmptyListFailsWithoutWriting) {
  zsff_test::CapturedDiagnostics diagnostics;
  auto tree = Make("m", 1301);
  auto lock = tree->CreateMetaDataLock(MetaDataFileLock::LockTryOnce);
  ASSERT_TRUE(lock);
  const Param stop = MakeStop(10.0, 0.0, 10.0, 0, 0, 0);
  EXPECT_FALSE(RecordSignalTreeProbe::Update(*tree, nullptr, Tree::UMCreateNewRecord, &stop));
  EXPECT_FALSE(
      RecordSignalTreeProbe::Update(*tree, lock.get(), Tree::UMFinishCurrentRecord, &stop));
  EXPECT_EQ(diagnostics.Take(),
            "CRecordSignalTree::UpdateMetaDataMeasurement(UMFinishCurrentRecord) records list is "
            "empty\n");
  EXPECT_FALSE(fs::exists(Dir("m") / "Record_1301.zsfh"));

  // A record number already listed can't be added twice.
  ASSERT_TRUE(RecordSignalTreeProbe::Update(*tree, lock.get(), Tree::UMCreateNewRecord, &stop));
  EXPECT_FALSE(RecordSignalTreeProbe::Update(*tree, lock.get(), Tree::UMCreateNewRecord, &stop));
  EXPECT_NE(diagnostics.Take().find("AddRecord of record"), std::string::npos);
  // Removing it takes it out of the list.
  EXPECT_TRUE(RecordSignalTreeProbe::Update(*tree, lock.get(), Tree::UMRemoveRecord, &stop));
  EXPECT_TRUE(RecordList(Dir("m"), 1301).empty());
  EXPECT_FALSE(RecordSignalTreeProbe::Update(*tree, lock.get(), Tree::UMRemoveRecord, &stop));
}

TEST_F(Notices, CleaningStartsTheRecordAgainFromPartZero) {
  auto tree = Make("m", 1302);
  const CRecordId key(1302, 1);
  Param created;
  created.RecordNumber = 1;
  tree->ChangeState(key, Tree::ChangeRecordCreated, &created);
  tree->ChangeState(key, Tree::ChangeRecordStarted, &created);
  Param stop = MakeStop(30.0, 0.0, 10.0, 0, 0, 2);
  stop.AbsDate = kStart;
  stop.FileSize = 4096;
  tree->ChangeState(key, Tree::ChangeRecordStopped, &stop);
  ASSERT_EQ(tree->RecordLength(), 30.0);

  tree->ChangeState(key, Tree::ChangeRecordCleaned, &stop);
  EXPECT_EQ(tree->RecordLength(), 0.0);
  const MetaDataContainer metaData = LoadMeasurement(Dir("m"), 1302);
  const std::vector<MetaDataRecord> list = MetaDataMeasurementReader(metaData).GetRecordsVect();
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].RecordId(), key.RecordId());
  EXPECT_TRUE(list[0].Recording());
  EXPECT_EQ(list[0].LastPartNumber(), 0);
  long long kib = -1;
  EXPECT_TRUE(MetaDataMeasurementReader(metaData).FilesSize(kib));
  EXPECT_EQ(kib, 0);
}

TEST_F(Notices, ATreeWithoutItsOwnMetadataOnlyCountsTheLength) {
  auto store = std::make_shared<RootedStore>(m_Dir.Path() / "store");
  fs::create_directories(m_Dir.Path() / "store" / "Record_1401");
  auto tree = Tree::OpenSignalTree(u"", u"Record_1401", Tree::TreeOpenRead, store, false,
                                   u"Record_1401", false);
  ASSERT_TRUE(tree);
  auto lock = tree->CreateMetaDataLock(MetaDataFileLock::LockNone);
  ASSERT_TRUE(lock);
  const Param stop = MakeStop(7.5, 0.0, 10.0, 0, 0, 0);
  EXPECT_TRUE(RecordSignalTreeProbe::Update(*tree, lock.get(), Tree::UMFinishCurrentRecord, &stop));
  EXPECT_TRUE(RecordSignalTreeProbe::Update(*tree, lock.get(), Tree::UMCreateNewRecord, &stop));
  EXPECT_EQ(tree->RecordLength(), 7.5);
  EXPECT_FALSE(fs::exists(m_Dir.Path() / "store" / "Record_1401" / "Record_1401.zsfh"));
}

}  // namespace
