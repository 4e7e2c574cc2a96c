// How ArmRecord chooses the part length and the ring from the maximum length, the
// part length asked for, the no-ring flag and, for short rings, the data rate of
// the record's channels.
#include <gtest/gtest.h>
#include <zsff/RecordSection.h>

#include <memory>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "section/RecordSectionProbe.h"

using namespace zsff;
using zsff_test::ChannelMetaData;
using zsff_test::RecordSectionProbe;
using zsff_test::TempDir;

namespace {

struct ArmCase {
  double maxLength;
  PartLength_t partLength;
  bool noRing;
  double expectedPart;
  double expectedRing;
};

TEST(RecordSectionArming, PartLengthAndRingFollowTheRequest) {
  const ArmCase cases[] = {
      {0.0, PartLengthNone, false, 0.0, 0.0},
      {0.0, PartLengthShort, false, 64.0, 0.0},
      {0.0, PartLengthMedium, false, 640.0, 0.0},
      {0.0, PartLengthLong, false, 1920.0, 0.0},
      {0.0, PartLengthAuto, false, 640.0, 0.0},
      // A ring needs parts, whatever was asked.
      {100.0, PartLengthNone, false, 64.0, 100.0},
      {100.0, PartLengthNone, true, 0.0, 0.0},
      {100.0, PartLengthLong, false, 1920.0, 100.0},
      // Short rings get about sixteen parts, in powers of two from 4 s.
      {100.0, PartLengthAuto, false, 8.0, 100.0},
      {40.0, PartLengthAuto, false, 4.0, 40.0},
      {1000.0, PartLengthAuto, false, 64.0, 1000.0},
      {1024.0, PartLengthAuto, false, 64.0, 1024.0},
      {5000.0, PartLengthAuto, false, 64.0, 5000.0},
      // Without a ring the length only picks the part.
      {1000.0, PartLengthAuto, true, 64.0, 0.0},
      {20000.0, PartLengthAuto, true, 128.0, 0.0},
      {100000.0, PartLengthAuto, true, 640.0, 0.0},
      {400000.0, PartLengthAuto, true, 1920.0, 0.0},
      {400000.0, PartLengthShort, true, 64.0, 0.0},
  };
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  unsigned short number = 1;
  for (const ArmCase& c : cases) {
    SCOPED_TRACE(testing::Message() << c.maxLength << " s, part kind " << c.partLength
                                    << (c.noRing ? ", no ring" : ""));
    auto section = RecordSectionProbe::Open(nullptr, dir.Wide(), CRecordId(1000, number++),
                                            CAbstractRecordSection::OpenCreate, store.get());
    ASSERT_TRUE(section->AddChannel(CChannelID(1, 0, 0), ChannelMetaData(1000.0f)));
    ASSERT_TRUE(section->ArmRecord(c.maxLength, c.partLength, c.noRing));
    EXPECT_EQ(section->PartLength(), c.expectedPart);
    EXPECT_EQ(section->MaxRecordLength(), c.expectedRing);
  }
}

TEST(RecordSectionArming, HeavyRecordsGetLargerRingParts) {
  TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  // The rates that count are those of the channels already on disk.
  auto partFor = [&](unsigned short number, const std::vector<float>& rates,
                     double maxLength = 40.0) {
    {
      auto maker = RecordSectionProbe::Open(nullptr, dir.Wide(), CRecordId(1000, number),
                                            CAbstractRecordSection::OpenCreate, store.get());
      unsigned short channel = 1;
      for (float rate : rates) {
        EXPECT_TRUE(maker->AddChannel(CChannelID(channel++, 0, 0), ChannelMetaData(rate)));
      }
    }
    auto section = RecordSectionProbe::Open(nullptr, dir.Wide(), CRecordId(1000, number),
                                            CAbstractRecordSection::OpenCreate, store.get());
    EXPECT_EQ(section->ChannelCount(), rates.size());
    EXPECT_TRUE(section->ArmRecord(maxLength, PartLengthAuto, false));
    return section->PartLength();
  };
  EXPECT_EQ(partFor(1, {51200.0f, 51200.0f}), 4.0);
  EXPECT_EQ(partFor(2, {204800.0f, 51200.0f, 51200.0f}), 8.0);
  EXPECT_EQ(partFor(3, {600000.0f}), 16.0);
  EXPECT_EQ(partFor(4, {600000.0f, 600000.0f}), 32.0);
  // Rates don't touch a long ring.
  EXPECT_EQ(partFor(5, {600000.0f, 600000.0f}, 2000.0), 64.0);
}

}  // namespace
