// Whole measurements recorded through the tree, as a host drives them: records
// of channels armed, started, written and stopped, with the measurement file
// checked after each start and stop, a second tree watching, the listener
// hearing every notice, and the same on a remote store.
#include <zsff/ChannelMetaData.h>
#include <zsff/DateTime.h>
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include <filesystem>

#include "foundation/TextConversion.h"
#include "tree/TreeTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

constexpr float kRate = 1024.0f;
constexpr unsigned long long kBlock = 1024;  // one second
constexpr long long kStart = 133000000000000000LL;
constexpr long long kTicksPerSecond = 10000000LL;
const CChannelID kFirst(1, 0, 4711), kSecond(2, 0, 4711);

MetaDataContainer ChannelMetaData(const char16_t* name) {
  MetaDataContainer metaData;
  CMetaDataChannelWriter writer(metaData);
  writer.SamplingRate(kRate);
  writer.Name(name);
  writer.Format("SIFloat");
  writer.DeviceSN(u"4711");
  writer.DeviceDiskSN("DISK-A");
  return metaData;
}

// Arms, starts at `start` and writes `seconds` of a ramp on both channels.
void Record(CAbstractRecordSection& section, double maxLength, PartLength_t partLength, bool noRing,
            long long start, int seconds) {
  ASSERT_TRUE(section.ArmRecord(maxLength, partLength, noRing)) << N(section.LastErrorString());
  std::map<CChannelID, TAG_RECORD_INFO> infos;
  infos[kFirst].AbsoluteDate = start;
  infos[kSecond].AbsoluteDate = start;
  ASSERT_TRUE(section.StartRecord(infos)) << N(section.LastErrorString());
  std::vector<float> block(kBlock);
  for (int second = 0; second < seconds; ++second) {
    for (unsigned long long i = 0; i < kBlock; ++i) block[i] = static_cast<float>(second + i);
    ASSERT_TRUE(section.WriteSampleBlock(kFirst, block.data(), kBlock, true));
    ASSERT_TRUE(section.WriteSampleBlock(kSecond, block.data(), kBlock, true));
  }
}

const Notice& Last(const RecordingListener& listener, Tree::ChangeAction_t action) {
  for (auto it = listener.Notices.rbegin(); it != listener.Notices.rend(); ++it)
    if (it->Action == action) return *it;
  static const Notice none{};
  ADD_FAILURE() << "no notice " << action;
  return none;
}

class WholeMeasurement : public TreeTest {};

TEST_F(WholeMeasurement, RecordsOneAfterAnotherWithTheListInStep) {
  const fs::path dir = m_Dir.Path() / "m";
  auto tree = Tree::CreateSignalTree(m_Dir.Wide(), u"m", kNoStore, false);
  ASSERT_TRUE(tree);
  ASSERT_TRUE(tree->SetRecordBase(3001));
  RecordingListener listener;
  tree->SetChangeStateCallBack(&listener);

  // Record 1: two parts of 64 s, no ring.
  int first = tree->CreateRecord(0);
  ASSERT_NE(first, 0);
  CAbstractRecordSection& one = tree->wRecord(first);
  ASSERT_TRUE(one.AddChannel(kFirst, ChannelMetaData(u"Left")));
  ASSERT_TRUE(one.AddChannel(kSecond, ChannelMetaData(u"Right")));
  ASSERT_TRUE(one.ArmRecord(0.0, PartLengthShort, true));
  std::map<CChannelID, TAG_RECORD_INFO> infos;
  infos[kFirst].AbsoluteDate = kStart;
  infos[kSecond].AbsoluteDate = kStart;
  ASSERT_TRUE(one.StartRecord(infos));

  // Started: listed as recording with its part length, seen by a second tree.
  std::vector<MetaDataRecord> list = RecordList(dir, 3001);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].RecordId(), CRecordId(3001, 1).RecordId());
  EXPECT_TRUE(list[0].Recording());
  EXPECT_EQ(list[0].PartLength(), 64.0);
  EXPECT_EQ(tree->RecordStartDate(), kStart);
  auto watcher =
      Tree::OpenSignalTree(m_Dir.Wide(), u"m", Tree::TreeOpenRead, kNoStore, false, u"", false);
  ASSERT_TRUE(watcher);
  EXPECT_EQ(watcher->RecordNameBase(), u"Record_3001");
  EXPECT_TRUE(watcher->IsRecording(false));
  EXPECT_TRUE(watcher->IsRecording(true));
  EXPECT_EQ(watcher->CreateRecord(0), 0);
  int watched = watcher->OpenRecord(CRecordId(3001, 1), Tree::TreeOpenDefault, 0);
  ASSERT_NE(watched, 0);
  EXPECT_EQ(RecordSignalTreeProbe::State(CRecordId(3001, 1))->UseCount, 2);
  EXPECT_TRUE(watcher->CloseRecord(watched, true));

  std::vector<float> block(kBlock, 0.5f);
  for (int second = 0; second < 70; ++second) {
    ASSERT_TRUE(one.WriteSampleBlock(kFirst, block.data(), kBlock, true));
    ASSERT_TRUE(one.WriteSampleBlock(kSecond, block.data(), kBlock, true));
  }
  ASSERT_TRUE(one.StopRecord());
  const Notice stopOne = Last(listener, Tree::ChangeRecordStopped);
  EXPECT_EQ(stopOne.Param.Duration, 70.0);
  EXPECT_EQ(stopOne.Param.LastPart, 1);
  EXPECT_EQ(stopOne.Param.TimeToStop, 0.0);

  // Stopped: its length, its parts, its date; the summary follows.
  MetaDataContainer stored = LoadMeasurement(dir, 3001);
  list = MetaDataMeasurementReader(stored).GetRecordsVect();
  ASSERT_EQ(list.size(), 1u);
  EXPECT_FALSE(list[0].Recording());
  EXPECT_EQ(list[0].Duration(), 70.0);
  EXPECT_EQ(list[0].LastPartNumber(), 1);
  EXPECT_EQ(list[0].AbsDate(), kStart);
  EXPECT_EQ(list[0].OffsetTimeToStop(), 0);
  EXPECT_EQ(list[0].RelDate(), 0.0);
  EXPECT_EQ(tree->RecordLength(), 70.0);
  std::string date;
  EXPECT_TRUE(MetaDataMeasurementReader(stored).DateAndTime(date));
  EXPECT_EQ(date, WideToAnsi(FileTimeToString(kStart)));
  long long kib = 0;
  EXPECT_TRUE(MetaDataMeasurementReader(stored).FilesSize(kib));
  EXPECT_EQ(kib, stopOne.Param.FileSize >> 10);
  EXPECT_GT(kib, 0);
  EXPECT_FALSE(watcher->IsRecording(false));
  EXPECT_TRUE(tree->CloseRecord(first, true));

  // Record 2 starts with record 1's channels, in a ring of 20 s made of 4 s parts;
  // of the 30 s written the ring keeps parts 2 to 7, 22 s, 2 s beyond the stop time.
  int second = tree->CreateRecord(0);
  ASSERT_NE(second, 0);
  CAbstractRecordSection& two = tree->wRecord(second);
  EXPECT_EQ(two.ChannelCount(), 2u);
  Record(two, 20.0, PartLengthAuto, false, kStart + 100 * kTicksPerSecond, 30);
  list = RecordList(dir, 3001);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_TRUE(list[1].Recording());
  EXPECT_EQ(list[1].RelDate(), 70.0);
  ASSERT_TRUE(two.StopRecord());
  const Notice stopTwo = Last(listener, Tree::ChangeRecordStopped);
  EXPECT_EQ(stopTwo.Param.TimeToStop, 20.0);
  EXPECT_EQ(stopTwo.Param.Duration, 22.0);
  EXPECT_EQ(stopTwo.Param.PartLength, 4.0);
  EXPECT_EQ(stopTwo.Param.FirstPart, 2);
  EXPECT_EQ(stopTwo.Param.LastPart, 7);
  const unsigned short firstKept = stopTwo.Param.FirstPart;

  stored = LoadMeasurement(dir, 3001);
  list = MetaDataMeasurementReader(stored).GetRecordsVect();
  ASSERT_EQ(list.size(), 2u);
  CRecordId ringId(3001, 2);
  ringId.SetPartNumber(firstKept);
  EXPECT_EQ(list[1].RecordId(), ringId.RecordId());
  EXPECT_FALSE(list[1].Recording());
  EXPECT_EQ(list[1].Duration(), 20.0);
  EXPECT_EQ(list[1].LastPartNumber(), 7);
  EXPECT_EQ(list[1].RelDate(), 70.0);
  // 2 s over, counted at the front-end rate of 25600 Hz; the date moves by that and
  // by the parts in front of the first one kept.
  EXPECT_EQ(list[1].OffsetTimeToStop(), 51200);
  EXPECT_EQ(list[1].AbsDate(), stopTwo.Param.AbsDate + (2 + 4 * firstKept) * kTicksPerSecond);
  std::string mode;
  EXPECT_TRUE(MetaDataMeasurementReader(stored).Mode(mode));
  EXPECT_EQ(mode, "Time to stop");
  // The total is held to the stop time of the last record.
  EXPECT_EQ(tree->RecordLength(), 20.0);
  EXPECT_TRUE(MetaDataMeasurementReader(stored).FilesSize(kib));
  EXPECT_EQ(kib, (stopOne.Param.FileSize + stopTwo.Param.FileSize) >> 10);
  EXPECT_TRUE(tree->CloseRecord(second, true));

  const std::vector<Tree::ChangeAction_t> perRecord{
      Tree::ChangeRecordCreated, Tree::ChangeRecordStarted, Tree::ChangeRecordWriting,
      Tree::ChangeRecordStopped, Tree::ChangeRecordClosed};
  std::vector<Tree::ChangeAction_t> expected = perRecord;
  expected.insert(expected.end(), perRecord.begin(), perRecord.end());
  EXPECT_EQ(listener.Actions(), expected);
  for (size_t i = 0; i < listener.Notices.size(); ++i) {
    EXPECT_EQ(listener.Notices[i].Key, CRecordId(3001, i < 5 ? 1 : 2));
    EXPECT_EQ(listener.Notices[i].Handle, i < 5 ? 3001 : 3002);
  }

  // The disk and the list agree; the record's first part comes from the list.
  std::vector<CRecordId> records;
  ASSERT_TRUE(tree->ListRecords(records, false));
  EXPECT_EQ(records, (std::vector<CRecordId>{CRecordId(3001, 1), ringId}));
  std::map<unsigned short, CAnalyzerInfo> analyzers;
  ASSERT_TRUE(tree->ListAnalyzerInfo(analyzers));
  ASSERT_EQ(analyzers.size(), 1u);
  EXPECT_EQ(analyzers[0].DiskSN(), u"DISK-A");
  EXPECT_EQ(analyzers[0].ChannelList(), (std::set<unsigned short>{1, 2}));
  EXPECT_FALSE(tree->IsUsed());
  const Tree::SignalDirectoryInfo info =
      Tree::GetSignalDirectoryInfo(m_Dir.Wide(), u"m", kNoStore, false);
  EXPECT_TRUE(info.Valid);
  EXPECT_TRUE(info.HasLocalRecords);

  // Shown whole, the ring record counts the time it dropped.
  auto merged =
      Tree::OpenSignalTree(m_Dir.Wide(), u"m", Tree::TreeOpenRead, kNoStore, false, u"", true);
  ASSERT_TRUE(merged->GetRecordsVect(list));
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[1].Duration(), 20.0 + 4.0 * firstKept);
}

TEST_F(WholeMeasurement, RecordsLieOnTheStoreAndTheMetadataBesideIt) {
  auto store = std::make_shared<RootedStore>(m_Dir.Path() / "store");
  fs::create_directories(m_Dir.Path() / "store");
  fs::create_directories(m_Dir.Path() / "local");
  auto tree = Tree::CreateSignalTree(m_Dir.Wide("local"), u"m", store, true);
  ASSERT_TRUE(tree);
  ASSERT_TRUE(tree->SetRecordBase(3101));
  int handle = tree->CreateRecord(0);
  ASSERT_NE(handle, 0);
  EXPECT_EQ(store->Selected.front(), 32767);
  const fs::path remote = m_Dir.Path() / "store" / "Record_3101";
  EXPECT_TRUE(fs::is_directory(remote / "Record_3101_1"));

  CAbstractRecordSection& section = tree->wRecord(handle);
  ASSERT_TRUE(section.AddChannel(kFirst, ChannelMetaData(u"Left")));
  ASSERT_TRUE(section.AddChannel(kSecond, ChannelMetaData(u"Right")));
  Record(section, 0.0, PartLengthShort, true, kStart, 3);
  ASSERT_TRUE(section.StopRecord());
  EXPECT_TRUE(tree->CloseRecord(handle, true));

  // The samples went to the store, the record list stays local: notices don't upload.
  EXPECT_FALSE(fs::exists(m_Dir.Path() / "local" / "m" / "Record_3101_1"));
  std::vector<MetaDataRecord> list = RecordList(m_Dir.Path() / "local" / "m", 3101);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].Duration(), 3.0);
  EXPECT_TRUE(store->Uploads.empty());
  EXPECT_FALSE(fs::exists(remote / "Record_3101.zsfh"));

  // The host's own changes are sent to the store.
  EXPECT_TRUE(tree->UpdateProjectAndMesureMetadata(u"Dam", u"Remote run"));
  ASSERT_EQ(store->Uploads.size(), 1u);
  EXPECT_EQ(store->Uploads[0].Analyzer, 32767);
  EXPECT_EQ(RecordList(remote, 3101).size(), 1u);

  // A reader on the store alone finds the record there.
  auto reader =
      Tree::OpenSignalTree(u"", u"Record_3101", Tree::TreeOpenRead, store, true, u"", false);
  ASSERT_TRUE(reader);
  std::vector<CRecordId> records;
  ASSERT_TRUE(reader->ListRecords(records, false));
  EXPECT_EQ(records, std::vector<CRecordId>{CRecordId(3101, 1)});
  const Tree::SignalDirectoryInfo info =
      Tree::GetSignalDirectoryInfo(u"", u"Record_3101", store, true);
  EXPECT_TRUE(info.HasRemoteRecords);
}

TEST_F(WholeMeasurement, ARecordClosedWithoutAStopIsListedAsFinished) {
  const fs::path dir = m_Dir.Path() / "m";
  auto tree = Tree::CreateSignalTree(m_Dir.Wide(), u"m", kNoStore, false);
  ASSERT_TRUE(tree->SetRecordBase(3201));
  int handle = tree->CreateRecord(0);
  CAbstractRecordSection& section = tree->wRecord(handle);
  ASSERT_TRUE(section.AddChannel(kFirst, ChannelMetaData(u"Left")));
  ASSERT_TRUE(section.AddChannel(kSecond, ChannelMetaData(u"Right")));
  Record(section, 0.0, PartLengthShort, true, kStart, 2);
  ASSERT_TRUE(RecordList(dir, 3201)[0].Recording());

  // Closing stops what still records; the list then says it stopped.
  EXPECT_TRUE(tree->CloseRecord(handle, true));
  std::vector<MetaDataRecord> list = RecordList(dir, 3201);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_FALSE(list[0].Recording());
  EXPECT_EQ(list[0].Duration(), 2.0);
  EXPECT_FALSE(fs::exists(dir / "Metadata.lock"));

  // A tree that goes with its record still recording leaves it so, for the end-up.
  int left = tree->CreateRecord(0);
  ASSERT_NE(left, 0);
  CAbstractRecordSection& running = tree->wRecord(left);
  EXPECT_EQ(running.ChannelCount(), 2u);
  Record(running, 0.0, PartLengthShort, true, kStart, 1);
  tree.reset();
  list = RecordList(dir, 3201);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_TRUE(list[1].Recording());
  EXPECT_FALSE(RecordSignalTreeProbe::State(CRecordId(3201, 2)));
}

TEST_F(WholeMeasurement, AStopFindingTheMeasurementsBeginningErasedMovesTheChannelDates) {
  auto tree = Tree::CreateSignalTree(m_Dir.Wide(), u"m", kNoStore, false);
  ASSERT_TRUE(tree->SetRecordBase(3301));
  int recorded = tree->CreateRecord(0);
  CAbstractRecordSection& section = tree->wRecord(recorded);
  ASSERT_TRUE(section.AddChannel(kFirst, ChannelMetaData(u"Left")));
  ASSERT_TRUE(section.AddChannel(kSecond, ChannelMetaData(u"Right")));
  Record(section, 0.0, PartLengthShort, true, kStart, 200);  // parts 0 to 3 of 64 s
  ASSERT_TRUE(section.StopRecord());
  ASSERT_TRUE(tree->CloseRecord(recorded, true));

  // The list now says that the record begins at part 3, as after the first three
  // parts were cut off, and a reader holds it open under the tree's last handle.
  CRecordId cut(3301, 1);
  cut.SetPartNumber(3);
  {
    auto lock = tree->CreateMetaDataLock(MetaDataFileLock::LockTryOnce);
    ASSERT_TRUE(tree->UpdateRecordsVect(
        lock.get(), {CRecordId(3301, 1)},
        {MetaDataRecord(cut.RecordId(), 3, kStart, 0.0, 200.0, false, 64.0, 0)}));
  }
  int reader = tree->OpenRecord(cut, Tree::TreeOpenRead, 0);
  ASSERT_NE(reader, 0);
  MetaDataContainer before;
  TAG_RECORD_INFO info;
  ASSERT_TRUE(tree->wRecord(reader).ReadChannelMetaData(kSecond, before, info, false));
  long long relative = 0, start = 0;
  ASSERT_TRUE(CMetaDataChannelReader(before).RelativeDate(relative));
  ASSERT_TRUE(CMetaDataChannelReader(before).StartOfRecord(start));

  // A stop of that record, still listed as recording, without a stop time.
  {
    auto lock = tree->CreateMetaDataLock(MetaDataFileLock::LockTryOnce);
    ASSERT_TRUE(tree->UpdateRecordsVect(
        lock.get(), {cut}, {MetaDataRecord(cut.RecordId(), 3, kStart, 0.0, 200.0, true, 64.0, 0)}));
  }
  Tree::CChangeActionParam_t stop;
  stop.RecordNumber = 2;  // not the number of the last stop, so the record is finished
  stop.Duration = 200.0;
  stop.PartLength = 64.0;
  stop.FirstPart = 3;
  stop.LastPart = 3;
  stop.AbsDate = kStart;
  tree->ChangeState(CRecordId(3301, 1), Tree::ChangeRecordStopped, &stop);

  const std::vector<MetaDataRecord> list = RecordList(m_Dir.Path() / "m", 3301);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_FALSE(list[0].Recording());
  EXPECT_EQ(list[0].Duration(), 8.0);  // 200 s less the three parts of 64 s
  // Every channel moves on by the 192 s erased: 196608 samples in the fixed-point
  // form, twice over for the end.
  const long long shift = 196608LL << 16;
  for (const CChannelID& id : {kFirst, kSecond}) {
    MetaDataContainer after;
    ASSERT_TRUE(tree->wRecord(reader).ReadChannelMetaData(id, after, info, false));
    CMetaDataChannelReader channel(after);
    long long movedRelative = 0, movedEnd = 0, movedStart = 0;
    double length = 0.0;
    ASSERT_TRUE(channel.RelativeDate(movedRelative));
    ASSERT_TRUE(channel.RelativeDateEnd(movedEnd));
    ASSERT_TRUE(channel.StartOfRecord(movedStart));
    ASSERT_TRUE(channel.RecordLength(length));
    EXPECT_EQ(movedRelative, relative + shift);
    EXPECT_EQ(movedEnd, relative + 2 * shift);
    EXPECT_EQ(movedStart, start + 192 * kTicksPerSecond);
    EXPECT_EQ(length, 8.0);
  }
  EXPECT_TRUE(tree->CloseRecord(reader, true));
}

}  // namespace
