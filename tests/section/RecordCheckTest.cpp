// The check of a record left by a crash: the truth about its parts, length and
// date from what lies on disk, written into each channel's metadata only under a
// lock, and the temporary record files gone once it is.
#include <gtest/gtest.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/RecordSection.h>

#include <filesystem>
#include <memory>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "section/RecordSectionProbe.h"

namespace fs = std::filesystem;
using namespace zsff;
using namespace zsff_test;

namespace {

const CRecordId kRecord(1000, 1);
const CChannelID kOne(1, 0, 77), kTwo(2, 0, 77);
constexpr long long kStart = 132000000000000000LL;

// A record of two channels at 1000 Hz in parts of 64 s, `samples` written on
// each, left without a stop as a crash leaves it.
void Crash(const TempDir& dir, CAbstractFileAccess* store, unsigned long long samples) {
  auto section =
      RecordSectionProbe::Open(nullptr, dir.Wide(), kRecord, CAbstractRecordSection::OpenCreate, store);
  std::map<CChannelID, TAG_RECORD_INFO> infos;
  for (const CChannelID& id : {kOne, kTwo}) {
    ASSERT_TRUE(section->AddChannel(id, ChannelMetaData(1000.0f)));
    infos[id].AbsoluteDate = kStart;
  }
  ASSERT_TRUE(section->ArmRecord(0.0, PartLengthShort, true));
  ASSERT_TRUE(section->StartRecord(infos));
  const std::vector<float> ramp = Ramp(samples);
  for (const CChannelID& id : {kOne, kTwo})
    ASSERT_TRUE(section->WriteSampleBlock(id, ramp.data(), ramp.size(), true));
}

TEST(RecordCheck, CrashedRecordIsToldAndMendedOnlyUnderALock) {
  const struct {
    unsigned long long samples;
    bool locked;
    bool ok;
    double duration;
    unsigned short lastPart;
    std::size_t failed;
    bool secondNeverStarted;  // the crash came before its temporary file was written
    // Checked again as the record's entry still stands: a crash came after the
    // channels were finished (by a stop or an end-up) and before the entry was.
    bool again;
    // The size of the last part's level 1 after the crash, -1 when whole: the
    // crash came between the last block's samples and its pyramid, or before
    // the pyramid's gathered pairs were first written.
    long long pyramidSize;
  } cases[] = {
      {100000, false, false, 0.0, 0, 0, false, false, -1},  // a look without writing can't pass
      {100000, true, true, 100.0, 1, 0, false, false, -1},
      {100000, true, true, 100.0, 1, 0, false, true, -1},
      {100000, true, true, 100.0, 1, 0, false, false, 4000},
      {100000, true, true, 100.0, 1, 0, false, false, 0},
      {0, true, true, 0.0, 0, 2, false, false, -1},  // started, nothing written: both without signal
      {0, true, true, 0.0, 0, 2, true, false, -1},
  };
  for (const auto& c : cases) {
    TempDir dir;
    auto store = std::make_shared<CLocalFileAccess>();
    Crash(dir, store.get(), c.samples);
    const fs::path tmp = dir.Path() / "Record_1000_1" / "Channel_1_0_77" / "TmpRecord.zrm";
    ASSERT_TRUE(fs::exists(tmp));
    if (c.secondNeverStarted) {
      ASSERT_TRUE(fs::remove(dir.Path() / "Record_1000_1" / "Channel_2_0_77" / "TmpRecord.zrm"));
    }
    // The last part's 36000 samples make 1125 pairs of 8 bytes.
    const fs::path pyramid = tmp.parent_path() / "Part_1_1.zpr";
    if (c.pyramidSize >= 0) fs::resize_file(pyramid, c.pyramidSize);

    auto lock = c.locked ? MetaDataLockIn(store, dir.Wide(), MetaDataFileLock::LockNone) : nullptr;
    auto section = RecordSectionProbe::Open(nullptr, dir.Wide(), kRecord,
                                            CAbstractRecordSection::OpenRead, store.get(), true);
    std::vector<std::string> errors;
    unsigned long long channels = 99;
    CheckRecordRet result = RecordSectionProbe::Check(*section, lock.get(), errors, channels);
    if (c.again) {
      section = RecordSectionProbe::Open(nullptr, dir.Wide(), kRecord,
                                         CAbstractRecordSection::OpenRead, store.get(), true);
      result = RecordSectionProbe::Check(*section, lock.get(), errors, channels);
    }
    EXPECT_EQ(result.Ok, c.ok) << c.samples;
    EXPECT_EQ(errors.empty(), c.ok);
    EXPECT_EQ(fs::exists(tmp), !c.ok);
    if (!c.ok) {
      EXPECT_EQ(errors.front(), "Error: unable to check channel (clean the temporary file).");
      continue;
    }
    EXPECT_DOUBLE_EQ(result.Duration, c.duration);
    EXPECT_EQ(result.FirstPart, 0);
    EXPECT_EQ(result.LastPart, c.lastPart);
    EXPECT_TRUE(result.HasParts);
    EXPECT_EQ(result.PartLength, 64.0);
    EXPECT_EQ(result.Date, kStart);
    EXPECT_EQ(result.FailedChannels.size(), c.failed);
    EXPECT_EQ(channels, 2 - c.failed);
    if (c.samples != 0) {
      EXPECT_EQ(fs::file_size(pyramid), 9000u);
    }

    // The channels' metadata now tells the length: the record is finished.
    section.reset();
    section = RecordSectionProbe::Open(nullptr, dir.Wide(), kRecord,
                                       CAbstractRecordSection::OpenRead, store.get(), false,
                                       c.lastPart);
    MetaDataContainer metaData;
    TAG_RECORD_INFO info;
    ASSERT_TRUE(section->ReadChannelMetaData(kTwo, metaData, info, true));
    double length = -1.0;
    EXPECT_TRUE(CMetaDataChannelReader(metaData).RecordLength(length));
    EXPECT_DOUBLE_EQ(length, c.duration);
  }
}

}  // namespace
