// The order of a recording is enforced: each call out of its place is refused
// with its own text and leaves the state as it was; the notices come once each.
#include <gtest/gtest.h>
#include <zsff/RecordSection.h>

#include <memory>
#include <string>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "section/RecordSectionProbe.h"
#include "support/ForwardingFileAccess.h"

using namespace zsff;
using zsff_test::ChannelMetaData;
using zsff_test::FakeTree;
using zsff_test::Ramp;
using zsff_test::RecordSectionProbe;
using zsff_test::TempDir;

namespace {

const CRecordId kRecord(1000, 1);
const CChannelID kChannel(1, 0, 77);
const CChannelID kUnknown(9, 0, 0);

TAG_RECORD_INFO Dated() {
  TAG_RECORD_INFO info;
  info.AbsoluteDate = 132000000000000000LL;
  return info;
}

int Count(const FakeTree& tree, CRecordSignalTree::ChangeAction_t action) {
  int count = 0;
  for (const FakeTree::Notice& notice : tree.notices) count += notice.action == action;
  return count;
}

TEST(RecordSectionState, CallsOutOfOrderAreRefusedWithTheirTexts) {
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  FakeTree tree(store, dir.Wide());
  auto section = RecordSectionProbe::Open(tree.Owner(), dir.Wide(), kRecord,
                                          CAbstractRecordSection::OpenEdit, store.get());
  const std::vector<float> samples = Ramp(64);
  using S = CAbstractRecordSection;

  EXPECT_EQ(section->State(), S::SectionCreated);
  EXPECT_FALSE(section->IsUsed());
  EXPECT_FALSE(section->StartRecord({{kChannel, Dated()}}));
  EXPECT_EQ(section->LastErrorString(), u"CRecordSection::StartRecord invalid state");
  EXPECT_FALSE(section->WriteSampleBlock(kChannel, samples.data(), 64, false));
  EXPECT_EQ(section->LastErrorString(), u"CRecordSection::WriteSampleBlock invalid state");
  EXPECT_FALSE(section->WriteCompressedSampleBlock(kChannel, samples.data(), 64));
  EXPECT_EQ(section->LastErrorString(),
            u"CRecordSection::WriteCompressedSampleBlock invalid state");
  EXPECT_FALSE(section->StopRecord());
  EXPECT_EQ(section->LastErrorString(), u"CRecordSection::StopRecord invalid state");
  EXPECT_EQ(section->State(), S::SectionCreated);

  ASSERT_TRUE(section->AddChannel(kChannel, ChannelMetaData(1000.0f)));
  EXPECT_EQ(section->State(), S::SectionConfigured);
  EXPECT_TRUE(section->IsUsed());
  EXPECT_FALSE(section->AddChannel(kChannel, ChannelMetaData(1000.0f)));
  EXPECT_EQ(section->LastErrorString(), u"CRecordSection::AddChannel already existing channel ID");

  ASSERT_TRUE(section->ArmRecord(0.0, PartLengthNone, false));
  EXPECT_EQ(section->State(), S::SectionArmed);
  EXPECT_FALSE(section->IsUsed());
  // Only a record being created takes channels after arming.
  EXPECT_FALSE(section->AddChannel(CChannelID(2, 0, 77), ChannelMetaData(1000.0f)));
  EXPECT_EQ(section->LastErrorString(), u"CRecordSection::AddChannel invalid state");
  EXPECT_TRUE(section->ArmRecord(0.0, PartLengthNone, false));
  EXPECT_FALSE(section->StartRecord({}));
  EXPECT_EQ(section->LastErrorString(), u"CRecordSection::StartRecord invalid state");
  EXPECT_FALSE(section->StartRecord({{kUnknown, Dated()}}));
  EXPECT_EQ(section->LastErrorString(),
            u"CRecordSection::StartRecord record info not linked to a valid channel: "
            u"Channel_9_0_0");
  EXPECT_EQ(section->State(), S::SectionArmed);
  EXPECT_EQ(Count(tree, CRecordSignalTree::ChangeRecordStarted), 0);

  ASSERT_TRUE(section->StartRecord({{kChannel, Dated()}}));
  EXPECT_EQ(section->State(), S::SectionStarted);
  // Renewing the record information sends no second notice.
  ASSERT_TRUE(section->StartRecord({{kChannel, Dated()}}));
  EXPECT_EQ(Count(tree, CRecordSignalTree::ChangeRecordStarted), 1);

  // The first block moves the section on even when it names no channel.
  EXPECT_FALSE(section->WriteSampleBlock(kUnknown, samples.data(), 64, false));
  EXPECT_EQ(section->LastErrorString(), u"CRecordSection::WriteSampleBlock channel not found");
  EXPECT_EQ(section->State(), S::SectionRecording);
  EXPECT_FALSE(section->DeleteRecord());
  EXPECT_FALSE(section->WriteCompressedSampleBlock(kUnknown, samples.data(), 2));
  EXPECT_EQ(section->LastErrorString(),
            u"CRecordSection::WriteCompressedSampleBlock channel not found");
  ASSERT_TRUE(section->WriteSampleBlock(kChannel, samples.data(), 64, true));
  EXPECT_EQ(Count(tree, CRecordSignalTree::ChangeRecordWriting), 1);

  EXPECT_FALSE(section->ArmRecord(0.0, PartLengthNone, false));
  EXPECT_EQ(section->LastErrorString(), u"CRecordSection::ArmRecord invalid state");
  EXPECT_FALSE(section->StartRecord({{kChannel, Dated()}}));
  EXPECT_EQ(section->LastErrorString(), u"CRecordSection::StartRecord invalid state");
  EXPECT_EQ(section->State(), S::SectionRecording);

  ASSERT_TRUE(section->StopRecord());
  EXPECT_FALSE(section->WriteSampleBlock(kChannel, samples.data(), 64, false));
  EXPECT_EQ(section->LastErrorString(), u"CRecordSection::WriteSampleBlock invalid state");
  EXPECT_FALSE(section->StopRecord());
  EXPECT_EQ(section->State(), S::SectionStopped);
  EXPECT_EQ(Count(tree, CRecordSignalTree::ChangeRecordStopped), 1);
  EXPECT_TRUE(section->FlushSignalFiles());
}

TEST(RecordSectionState, ReadAndInfoSectionsTakeNoRecordingCalls) {
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  for (auto mode : {CAbstractRecordSection::OpenRead, CAbstractRecordSection::OpenInfo}) {
    auto section = RecordSectionProbe::Open(nullptr, dir.Wide(), kRecord, mode, store.get());
    EXPECT_EQ(section->State(), CAbstractRecordSection::SectionOpened);
    EXPECT_FALSE(section->AddChannel(kChannel, ChannelMetaData(1000.0f)));
    EXPECT_EQ(section->LastErrorString(), u"CRecordSection::AddChannel invalid state");
    EXPECT_FALSE(section->ArmRecord(0.0, PartLengthNone, false));
    EXPECT_EQ(section->LastErrorString(), u"CRecordSection::ArmRecord invalid state");
  }
  // Neither made the record directory.
  EXPECT_TRUE(std::filesystem::is_empty(dir.Path()));
}

// Counts the flushes of each handle's file, the only trace a flush leaves.
class FlushCountingStore : public zsff_test::ForwardingFileAccess {
 public:
  using ForwardingFileAccess::ForwardingFileAccess;
  bool FlushFile(unsigned int handle) override {
    ++flushes;
    return ForwardingFileAccess::FlushFile(handle);
  }
  int flushes = 0;
};

TEST(RecordSectionState, SlowChannelsAreFlushedOncePerSecondAndFastOnesNever) {
  TempDir dir;
  auto store = std::make_shared<FlushCountingStore>(std::make_shared<CLocalFileAccess>());
  auto section = RecordSectionProbe::Open(nullptr, dir.Wide(), kRecord,
                                          CAbstractRecordSection::OpenCreate, store.get());
  const CChannelID slow(1, 0, 0);
  const CChannelID fast(2, 0, 0);
  ASSERT_TRUE(section->AddChannel(slow, ChannelMetaData(100.0f)));
  ASSERT_TRUE(section->AddChannel(fast, ChannelMetaData(51200.0f)));
  ASSERT_TRUE(section->ArmRecord(0.0, PartLengthNone, false));
  ASSERT_TRUE(section->StartRecord({{slow, Dated()}, {fast, Dated()}}));
  const std::vector<float> samples = Ramp(51200);

  auto flushesOf = [&](const CChannelID& id, unsigned long long count) {
    const int before = store->flushes;
    EXPECT_TRUE(section->WriteSampleBlock(id, samples.data(), count, true));
    return store->flushes - before;
  };
  EXPECT_EQ(flushesOf(slow, 50), 0);   // 0.5 s
  EXPECT_GT(flushesOf(slow, 60), 0);   // 1.1 s: a new second
  EXPECT_EQ(flushesOf(slow, 10), 0);   // 1.2 s
  EXPECT_GT(flushesOf(slow, 100), 0);  // 2.2 s
  EXPECT_EQ(flushesOf(fast, 51200), 0);
  EXPECT_EQ(flushesOf(fast, 51200), 0);

  // Values of the first pyramid level computed by the host: a slow channel is
  // flushed after each call.
  const int before = store->flushes;
  ASSERT_TRUE(section->WriteCompressedSampleBlock(slow, samples.data(), 2));
  EXPECT_GT(store->flushes, before);
  const int afterSlow = store->flushes;
  ASSERT_TRUE(section->WriteCompressedSampleBlock(fast, samples.data(), 2));
  EXPECT_EQ(store->flushes, afterSlow);
}

}  // namespace
