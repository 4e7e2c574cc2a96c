// A store that refuses to create, open or write: the section reports the failure
// in its words, keeps its state, and loses none of the samples already written.
#include <gtest/gtest.h>
#include <zsff/RecordSection.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "section/RecordSectionProbe.h"
#include "support/FaultInjectingFileAccess.h"

namespace fs = std::filesystem;
using namespace zsff;
using zsff_test::ChannelMetaData;
using zsff_test::FaultInjectingFileAccess;
using zsff_test::Ramp;
using zsff_test::ReadSamples;
using zsff_test::RecordSectionProbe;
using zsff_test::TempDir;

namespace {

const CRecordId kRecord(1000, 1);
const CChannelID kChannel(1, 0, 77);

TAG_RECORD_INFO Dated() {
  TAG_RECORD_INFO info;
  info.AbsoluteDate = 132000000000000000LL;
  return info;
}

struct Fixture {
  TempDir dir;
  std::shared_ptr<FaultInjectingFileAccess> store =
      std::make_shared<FaultInjectingFileAccess>(std::make_shared<CLocalFileAccess>());
  std::unique_ptr<CRecordSection> section = RecordSectionProbe::Open(
      nullptr, dir.Wide(), kRecord, CAbstractRecordSection::OpenCreate, store.get());
  fs::path channelDir = dir.Path() / "Record_1000_1" / "Channel_1_0_77";

  std::string Error() const {
    const std::u16string text = section->LastErrorString();
    return std::string(text.begin(), text.end());
  }
};

TEST(RecordSectionFaults, SetupFailuresKeepTheState) {
  Fixture f;
  f.store->FailAt(FaultInjectingFileAccess::CreateDir, 1);
  EXPECT_FALSE(f.section->AddChannel(kChannel, ChannelMetaData(1000.0f)));
  EXPECT_EQ(f.Error(), "CRecordSection::AddChannel unable to create channel directory");
  EXPECT_EQ(f.section->State(), CAbstractRecordSection::SectionCreated);
  EXPECT_FALSE(f.section->IsValidChannel(kChannel));

  ASSERT_TRUE(f.section->AddChannel(kChannel, ChannelMetaData(1000.0f)));
  // The channel's metadata, which alone tells readers the part length, and its
  // first part: an arming that can't write either fails.
  const struct {
    FaultInjectingFileAccess::Operation op;
    unsigned long n;
    const char* error;
  } armFaults[] = {
      {FaultInjectingFileAccess::Read, 1, "CRecordSection::ArmRecord unable to read channel metadata: "},
      {FaultInjectingFileAccess::Write, 1, "CRecordSection::ArmRecord unable to write channel metadata: "},
      {FaultInjectingFileAccess::Open, 3, "CRecordSection::ArmRecord unable to open signal file"},
  };
  for (const auto& c : armFaults) {
    f.store->Reset();
    f.store->FailAt(c.op, c.n, true);
    EXPECT_FALSE(f.section->ArmRecord(0.0, PartLengthShort, false));
    EXPECT_EQ(f.Error().rfind(c.error, 0), 0u) << f.Error();
    EXPECT_EQ(f.section->State(), CAbstractRecordSection::SectionConfigured);
  }
  EXPECT_FALSE(f.section->DeleteRecord());

  f.store->Reset();
  ASSERT_TRUE(f.section->ArmRecord(0.0, PartLengthShort, false));
  f.store->FailAt(FaultInjectingFileAccess::Open, 1, true);
  EXPECT_FALSE(f.section->StartRecord({{kChannel, Dated()}}));
  EXPECT_EQ(f.Error(), "CRecordSection::StartRecord unable to save record information");
  EXPECT_EQ(f.section->State(), CAbstractRecordSection::SectionArmed);
  f.store->Reset();
  EXPECT_TRUE(f.section->StartRecord({{kChannel, Dated()}}));
}

TEST(RecordSectionFaults, NextPartThatCannotBeOpenedKeepsTheFullParts) {
  Fixture f;
  ASSERT_TRUE(f.section->AddChannel(kChannel, ChannelMetaData(1000.0f)));
  ASSERT_TRUE(f.section->ArmRecord(0.0, PartLengthShort, false));
  ASSERT_TRUE(f.section->StartRecord({{kChannel, Dated()}}));
  // Exactly one part of 64000 samples.
  const std::vector<float> first = Ramp(64000);
  ASSERT_TRUE(f.section->WriteSampleBlock(kChannel, first.data(), first.size(), false));

  f.store->FailAt(FaultInjectingFileAccess::Open, 1, true);
  const std::vector<float> next = Ramp(1000, 64000);
  EXPECT_FALSE(f.section->WriteSampleBlock(kChannel, next.data(), next.size(), false));
  EXPECT_EQ(f.Error(),
            "CRecordSection::WriteSampleBlock unable to write signal block : "
            "CChannel::WriteSampleBlock error (block)");
  EXPECT_EQ(f.section->State(), CAbstractRecordSection::SectionRecording);
  EXPECT_EQ(ReadSamples(f.channelDir / "Part_0.zrs"), first);

  // The host may go on once the store recovers; the next part starts afresh.
  f.store->Reset();
  ASSERT_TRUE(f.section->WriteSampleBlock(kChannel, next.data(), next.size(), false));
  EXPECT_EQ(ReadSamples(f.channelDir / "Part_1.zrs"), next);
  EXPECT_EQ(ReadSamples(f.channelDir / "Part_0.zrs"), first);
}

TEST(RecordSectionFaults, FullDiskKeepsEveryBlockWrittenBeforeAndNothingOfTheFailedOne) {
  Fixture f;
  ASSERT_TRUE(f.section->AddChannel(kChannel, ChannelMetaData(51200.0f)));
  ASSERT_TRUE(f.section->ArmRecord(0.0, PartLengthNone, false));
  ASSERT_TRUE(f.section->StartRecord({{kChannel, Dated()}}));
  const std::vector<float> signal = Ramp(40960);
  const unsigned long long block = 4096;
  ASSERT_TRUE(f.section->WriteSampleBlock(kChannel, signal.data(), block, true));
  ASSERT_TRUE(f.section->WriteSampleBlock(kChannel, signal.data() + block, block, true));

  // Room for half a block of samples, with the pyramid's share.
  f.store->SetFreeSpace(block * 2 + 512);
  bool failed = false;
  unsigned long long written = 2 * block;
  for (int i = 0; i < 6 && !failed; ++i) {
    failed = !f.section->WriteSampleBlock(kChannel, signal.data() + written, block, true);
    if (!failed) written += block;
  }
  ASSERT_TRUE(failed);
  EXPECT_EQ(f.Error().rfind("CRecordSection::WriteSampleBlock unable to write signal block : "
                            "CChannel::WriteSampleBlock error",
                            0),
            0u)
      << f.Error();
  EXPECT_EQ(f.section->State(), CAbstractRecordSection::SectionRecording);
  EXPECT_EQ(ReadSamples(f.channelDir / "Part_0.zrs"),
            std::vector<float>(signal.begin(), signal.begin() + written));

  // Room again: the failed block sent anew and one more follow the blocks before.
  f.store->Reset();
  for (int i = 0; i < 2; ++i, written += block)
    ASSERT_TRUE(f.section->WriteSampleBlock(kChannel, signal.data() + written, block, true));
  EXPECT_EQ(ReadSamples(f.channelDir / "Part_0.zrs"),
            std::vector<float>(signal.begin(), signal.begin() + written));
}

TEST(RecordSectionFaults, ChannelWhoseMetadataIsRefusedIsEnteredButCannotRecord) {
  Fixture f;
  // No "SamplingRate": the host is told yes all the same.
  ASSERT_TRUE(f.section->AddChannel(kChannel, MetaDataContainer()));
  EXPECT_EQ(f.section->State(), CAbstractRecordSection::SectionConfigured);
  EXPECT_TRUE(f.section->LastErrorString().empty());
  EXPECT_TRUE(f.section->IsValidChannel(kChannel));
  EXPECT_EQ(f.section->ChannelCount(), 1u);
  EXPECT_FALSE(f.section->AddChannel(kChannel, ChannelMetaData(1000.0f)));

  const CChannelID good(2, 0, 77);
  ASSERT_TRUE(f.section->AddChannel(good, ChannelMetaData(1000.0f)));
  ASSERT_TRUE(f.section->ArmRecord(0.0, PartLengthNone, false));
  EXPECT_FALSE(f.section->StartRecord({{kChannel, Dated()}}));
  ASSERT_TRUE(f.section->StartRecord({{good, Dated()}}));
  const std::vector<float> samples = Ramp(10);
  EXPECT_FALSE(f.section->WriteSampleBlock(kChannel, samples.data(), 10, false));
  EXPECT_EQ(f.Error(), "CRecordSection::WriteSampleBlock channel not found");
  EXPECT_TRUE(f.section->WriteSampleBlock(good, samples.data(), 10, false));
}

}  // namespace
