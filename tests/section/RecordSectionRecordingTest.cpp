// A recording through a section, checked on disk: part files cut exactly at their
// ends, the ring's bound, the temporary record files that mark an unfinished
// record, their removal and the completed metadata at stop, and the notices the
// tree hears on the way.
#include <gtest/gtest.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileReader.h>
#include <zsff/RecordSection.h>
#include <zsff/TmpRecordFile.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "section/RecordSectionProbe.h"

namespace fs = std::filesystem;
using namespace zsff;
using zsff_test::ChannelMetaData;
using zsff_test::FakeTree;
using zsff_test::Ramp;
using zsff_test::ReadSamples;
using zsff_test::RecordSectionProbe;
using zsff_test::TempDir;

namespace {

const CRecordId kRecord(1000, 1);
const CChannelID kFirst(1, 0, 77);
const CChannelID kSecond(2, 0, 77);
constexpr long long kDate = 132000000000000000LL;

std::string Narrow(const std::u16string& text) { return std::string(text.begin(), text.end()); }

fs::path ChannelDir(const TempDir& dir, const CChannelID& id) {
  return dir.Path() / "Record_1000_1" / Narrow(id.ToFilePath());
}

TAG_RECORD_INFO Info(long long date) {
  TAG_RECORD_INFO info;
  info.AbsoluteDate = date;
  info.TimeStep = 1;
  return info;
}

// Writes `total` ramp samples to each channel in blocks of `block`.
void WriteRamp(CRecordSection& section, const std::vector<CChannelID>& channels,
               unsigned long long total, unsigned long long block, bool compress) {
  for (unsigned long long done = 0; done < total; done += block) {
    const unsigned long long count = std::min(block, total - done);
    const std::vector<float> samples = Ramp(count, done);
    for (const CChannelID& id : channels) {
      ASSERT_TRUE(section.WriteSampleBlock(id, samples.data(), count, compress))
          << Narrow(section.LastErrorString());
    }
  }
}

const FakeTree::Notice* Find(const FakeTree& tree, CRecordSignalTree::ChangeAction_t action) {
  for (const FakeTree::Notice& notice : tree.notices) {
    if (notice.action == action) return &notice;
  }
  return nullptr;
}

TEST(RecordSectionRecording, PartsAreCutExactlyAndStopCompletesTheRecord) {
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  FakeTree tree(store, dir.Wide());
  tree.recordCounter = 3;
  auto section = RecordSectionProbe::Open(tree.Owner(), dir.Wide(), kRecord,
                                          CAbstractRecordSection::OpenCreate, store.get());
  ASSERT_TRUE(section->AddChannel(kFirst, ChannelMetaData(1024.0f)));
  ASSERT_TRUE(section->AddChannel(kSecond, ChannelMetaData(1024.0f)));
  ASSERT_TRUE(section->ArmRecord(0.0, PartLengthShort, false));
  EXPECT_EQ(section->PartLength(), 64.0);
  EXPECT_EQ(section->MaxRecordLength(), 0.0);
  // Each channel keeps its own date when the first entry carries one.
  ASSERT_TRUE(section->StartRecord({{kFirst, Info(kDate)}, {kSecond, Info(kDate + 5)}}));

  // 64 s at 1024 Hz is 65536 samples a part; blocks of 5000 straddle both ends.
  WriteRamp(*section, {kFirst, kSecond}, 150000, 5000, true);
  const fs::path channel = ChannelDir(dir, kFirst);
  EXPECT_TRUE(fs::exists(channel / "TmpRecord.zrm"));
  const std::vector<float> part0 = ReadSamples(channel / "Part_0.zrs");
  const std::vector<float> part1 = ReadSamples(channel / "Part_1.zrs");
  const std::vector<float> part2 = ReadSamples(channel / "Part_2.zrs");
  ASSERT_EQ(part0.size(), 65536u);
  ASSERT_EQ(part1.size(), 65536u);
  ASSERT_EQ(part2.size(), 150000u - 2 * 65536u);
  EXPECT_EQ(part0.back(), 65535.0f);
  EXPECT_EQ(part1.front(), 65536.0f);
  EXPECT_EQ(part2.front(), 131072.0f);
  EXPECT_EQ(part2.back(), 149999.0f);
  EXPECT_FALSE(fs::exists(channel / "Part_3.zrs"));

  double length = 0.0;
  long long endDate = 0;
  ASSERT_TRUE(section->RecordLengthAndAbsoluteDate(length, endDate));
  EXPECT_DOUBLE_EQ(length, 150000.0 / 1024.0);
  EXPECT_GT(endDate, kDate);

  ASSERT_TRUE(section->StopRecord());
  EXPECT_EQ(section->State(), CAbstractRecordSection::SectionStopped);
  EXPECT_FALSE(section->IsUsed());
  EXPECT_FALSE(section->DeleteRecord());
  for (const CChannelID& id : {kFirst, kSecond}) {
    const fs::path path = ChannelDir(dir, id);
    EXPECT_FALSE(fs::exists(path / "TmpRecord.zrm"));
    EXPECT_FALSE(fs::exists(dir.Path() / "Metadata.lock"));
    MetaDataContainer metaData;
    CMetaDataFileReader reader(store.get());
    const std::u16string directory = dir.Wide("Record_1000_1/" + Narrow(id.ToFilePath()));
    ASSERT_TRUE(reader.Load(metaData, id.ToFileName() + u".zrm", directory));
    double duration = 0.0;
    ASSERT_TRUE(metaData.FindMetadata("RecordDuration", duration));
    EXPECT_NEAR(duration, 150000.0 / 1024.0, 1e-6);
    long long start = 0;
    ASSERT_TRUE(metaData.FindMetadata("RecordStartDate", start));
    EXPECT_EQ(start, id == kFirst ? kDate : kDate + 5);
    float partLength = 0.0f;
    ASSERT_TRUE(metaData.FindMetadata("PartLength", partLength));
    EXPECT_EQ(partLength, 64.0f);
  }

  ASSERT_EQ(tree.notices.size(), 3u);
  const FakeTree::Notice& started = tree.notices[0];
  EXPECT_EQ(started.action, CRecordSignalTree::ChangeRecordStarted);
  ASSERT_TRUE(started.withParam);
  EXPECT_EQ(started.param.RecordNumber, 3);
  EXPECT_EQ(started.param.PartLength, 64.0);
  EXPECT_EQ(started.param.TimeToStop, 0.0);
  const FakeTree::Notice& writing = tree.notices[1];
  EXPECT_EQ(writing.action, CRecordSignalTree::ChangeRecordWriting);
  EXPECT_TRUE(writing.listenerOnly);
  EXPECT_FALSE(writing.withParam);
  EXPECT_EQ(writing.id, CRecordId(1000, 1));
  const FakeTree::Notice& stopped = tree.notices[2];
  EXPECT_EQ(stopped.action, CRecordSignalTree::ChangeRecordStopped);
  ASSERT_TRUE(stopped.withParam);
  // The tree updates the measurement under the lock itself.
  EXPECT_FALSE(stopped.lockFilePresent);
  EXPECT_DOUBLE_EQ(stopped.param.Duration, 150000.0 / 1024.0);
  EXPECT_GE(stopped.param.FileSize, 2 * 150000LL * 4);
  EXPECT_EQ(stopped.param.FirstPart, 0);
  EXPECT_EQ(stopped.param.LastPart, 2);
  EXPECT_EQ(stopped.param.RecordNumber, 3);

  section.reset();
  EXPECT_TRUE(fs::exists(ChannelDir(dir, kFirst) / "Part_2.zrs"));
}

TEST(RecordSectionRecording, RingKeepsItsBoundAndTheNewestSamples) {
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  FakeTree tree(store, dir.Wide());
  auto section = RecordSectionProbe::Open(tree.Owner(), dir.Wide(), kRecord,
                                          CAbstractRecordSection::OpenCreate, store.get());
  ASSERT_TRUE(section->AddChannel(kFirst, ChannelMetaData(1000.0f)));
  // A ring of 8 s gets parts of 4 s: 4000 samples.
  ASSERT_TRUE(section->ArmRecord(8.0, PartLengthAuto, false));
  ASSERT_EQ(section->PartLength(), 4.0);
  ASSERT_EQ(section->MaxRecordLength(), 8.0);
  ASSERT_TRUE(section->StartRecord({{kFirst, Info(kDate)}}));
  WriteRamp(*section, {kFirst}, 30000, 1000, true);

  const fs::path channel = ChannelDir(dir, kFirst);
  EXPECT_FALSE(fs::exists(channel / "Part_0.zrs"));
  unsigned long long kept = 0;
  int oldest = -1;
  for (int part = 0; part <= 8; ++part) {
    const std::vector<float> samples =
        ReadSamples(channel / ("Part_" + std::to_string(part) + ".zrs"));
    if (samples.empty()) continue;
    if (oldest < 0) oldest = part;
    // What remains is one unbroken stretch of the signal.
    EXPECT_EQ(samples.front(), static_cast<float>(part * 4000));
    kept += samples.size();
  }
  EXPECT_FALSE(fs::exists(channel / "Part_8.zrs"));
  EXPECT_GE(kept, 8000u);
  EXPECT_LE(kept, 12000u);
  EXPECT_EQ(ReadSamples(channel / "Part_7.zrs").back(), 29999.0f);

  ASSERT_TRUE(section->StopRecord());
  EXPECT_FALSE(fs::exists(channel / "TmpRecord.zrm"));
  const FakeTree::Notice* stopped = Find(tree, CRecordSignalTree::ChangeRecordStopped);
  ASSERT_NE(stopped, nullptr);
  EXPECT_EQ(stopped->param.FirstPart, oldest);
  EXPECT_EQ(stopped->param.LastPart, 7);
  EXPECT_DOUBLE_EQ(stopped->param.TimeToStop, 8.0);
}

TEST(RecordSectionRecording, OneDateForAllChannelsWhenTheFirstEntryHasNone) {
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  auto section = RecordSectionProbe::Open(nullptr, dir.Wide(), kRecord,
                                          CAbstractRecordSection::OpenCreate, store.get());
  ASSERT_TRUE(section->AddChannel(kFirst, ChannelMetaData(1000.0f)));
  ASSERT_TRUE(section->AddChannel(kSecond, ChannelMetaData(1000.0f)));
  ASSERT_TRUE(section->ArmRecord(0.0, PartLengthNone, false));
  ASSERT_TRUE(section->StartRecord({{kFirst, Info(0)}, {kSecond, Info(kDate)}}));

  CTmpRecordFile first(ChannelDir(dir, kFirst).string(), store.get());
  CTmpRecordFile second(ChannelDir(dir, kSecond).string(), store.get());
  ASSERT_TRUE(first.Read());
  ASSERT_TRUE(second.Read());
  // The clock's date, given to both, the second entry's own date overridden.
  EXPECT_NE(first.RecordInfo().AbsoluteDate, kDate);
  EXPECT_GT(first.RecordInfo().AbsoluteDate, kDate);
  EXPECT_EQ(second.RecordInfo().AbsoluteDate, first.RecordInfo().AbsoluteDate);
}

TEST(RecordSectionRecording, WithoutTreeOrLockStopRecordKeepsEverythingOpen) {
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  const std::vector<float> samples = Ramp(100);

  // No tree: no lock can be had, so the record can't be closed.
  auto orphan = RecordSectionProbe::Open(nullptr, dir.Wide(), CRecordId(1000, 2),
                                         CAbstractRecordSection::OpenCreate, store.get());
  ASSERT_TRUE(orphan->AddChannel(kFirst, ChannelMetaData(1000.0f)));
  ASSERT_TRUE(orphan->ArmRecord(0.0, PartLengthNone, false));
  ASSERT_TRUE(orphan->StartRecord({{kFirst, Info(kDate)}}));
  ASSERT_TRUE(orphan->WriteSampleBlock(kFirst, samples.data(), 100, true));
  EXPECT_FALSE(orphan->StopRecord());
  EXPECT_TRUE(orphan->LastErrorString().empty());
  EXPECT_EQ(orphan->State(), CAbstractRecordSection::SectionRecording);
  EXPECT_TRUE(fs::exists(dir.Path() / "Record_1000_2" / "Channel_1_0_77" / "TmpRecord.zrm"));

  // A tree whose lock is taken: the stop can be tried again once it is free.
  FakeTree tree(store, dir.Wide());
  auto section = RecordSectionProbe::Open(tree.Owner(), dir.Wide(), kRecord,
                                          CAbstractRecordSection::OpenCreate, store.get());
  ASSERT_TRUE(section->AddChannel(kFirst, ChannelMetaData(1000.0f)));
  ASSERT_TRUE(section->ArmRecord(0.0, PartLengthNone, false));
  ASSERT_TRUE(section->StartRecord({{kFirst, Info(kDate)}}));
  ASSERT_TRUE(section->WriteSampleBlock(kFirst, samples.data(), 100, true));
  tree.lockAvailable = false;
  EXPECT_FALSE(section->StopRecord());
  EXPECT_NE(section->LastErrorString().find(dir.Wide() + u"/Metadata.lock"), std::u16string::npos);
  EXPECT_EQ(section->State(), CAbstractRecordSection::SectionRecording);
  EXPECT_EQ(Find(tree, CRecordSignalTree::ChangeRecordStopped), nullptr);
  ASSERT_TRUE(section->WriteSampleBlock(kFirst, samples.data(), 100, true));
  tree.lockAvailable = true;
  ASSERT_TRUE(section->StopRecord());
  EXPECT_EQ(ReadSamples(ChannelDir(dir, kFirst) / "Part_0.zrs").size(), 200u);
  EXPECT_FALSE(fs::exists(ChannelDir(dir, kFirst) / "TmpRecord.zrm"));
}

TEST(RecordSectionRecording, RecordsWithoutSamplesAreDeletedWhenTheSectionGoes) {
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  FakeTree tree(store, dir.Wide());
  auto open = [&](unsigned short number) {
    return RecordSectionProbe::Open(tree.Owner(), dir.Wide(), CRecordId(1000, number),
                                    CAbstractRecordSection::OpenCreate, store.get());
  };
  const fs::path base = dir.Path();

  // Made and left empty.
  open(1).reset();
  EXPECT_FALSE(fs::exists(base / "Record_1000_1"));

  // With a channel it is kept, and a section made on it later doesn't mark it.
  auto configured = open(2);
  ASSERT_TRUE(configured->AddChannel(kFirst, ChannelMetaData(1000.0f)));
  EXPECT_FALSE(configured->DeleteRecord());
  configured.reset();
  ASSERT_TRUE(fs::exists(base / "Record_1000_2"));
  open(2).reset();
  EXPECT_TRUE(fs::exists(base / "Record_1000_2" / "Channel_1_0_77"));

  // Armed, or started and stopped, without a sample.
  auto armed = open(3);
  ASSERT_TRUE(armed->AddChannel(kFirst, ChannelMetaData(1000.0f)));
  ASSERT_TRUE(armed->ArmRecord(0.0, PartLengthNone, false));
  armed.reset();
  EXPECT_FALSE(fs::exists(base / "Record_1000_3"));

  auto stopped = open(4);
  ASSERT_TRUE(stopped->AddChannel(kFirst, ChannelMetaData(1000.0f)));
  ASSERT_TRUE(stopped->ArmRecord(0.0, PartLengthNone, false));
  ASSERT_TRUE(stopped->StartRecord({{kFirst, Info(kDate)}}));
  ASSERT_TRUE(stopped->StopRecord());
  EXPECT_EQ(stopped->State(), CAbstractRecordSection::SectionStopped);
  // The tree keeps a record by reading the mark, which the reading clears.
  EXPECT_TRUE(stopped->DeleteRecord());
  EXPECT_FALSE(stopped->DeleteRecord());
  stopped.reset();
  EXPECT_TRUE(fs::exists(base / "Record_1000_4"));

  auto dropped = open(5);
  ASSERT_TRUE(dropped->AddChannel(kFirst, ChannelMetaData(1000.0f)));
  ASSERT_TRUE(dropped->ArmRecord(0.0, PartLengthNone, false));
  ASSERT_TRUE(dropped->StartRecord({{kFirst, Info(kDate)}}));
  ASSERT_TRUE(dropped->StopRecord());
  dropped.reset();
  EXPECT_FALSE(fs::exists(base / "Record_1000_5"));
}

}  // namespace
