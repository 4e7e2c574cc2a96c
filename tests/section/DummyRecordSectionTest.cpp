// The null section stands in for every handle that names no open record: a host's
// recording or reading loop through it must end at once and harmlessly.
#include <gtest/gtest.h>
#include <zsff/DummyRecordSection.h>
#include <zsff/MetaDataContainer.h>

#include <vector>

using namespace zsff;

namespace {

const CChannelID kChannel(3, 1, 4242);

TEST(DummyRecordSection, RecordingThroughAnUnknownHandleFailsWithItsText) {
  CDummyRecordSection dummy;
  CAbstractRecordSection& section = dummy;
  MetaDataContainer metaData;
  metaData.AddMetadata("SamplingRate", 51200.0f);
  const float samples[4] = {1.0f, 2.0f, 3.0f, 4.0f};

  EXPECT_FALSE(section.AddChannel(kChannel, metaData));
  EXPECT_FALSE(section.ArmRecord(100.0, PartLengthAuto, false));
  EXPECT_FALSE(section.StartRecord({{kChannel, TAG_RECORD_INFO()}}));
  EXPECT_FALSE(section.WriteSampleBlock(kChannel, samples, 4, true));
  EXPECT_FALSE(section.StopRecord());
  EXPECT_EQ(section.LastErrorString(), u"Invalid RecordId");
  // Unlike a real section, whose flush always succeeds.
  EXPECT_FALSE(section.FlushSignalFiles());
  EXPECT_EQ(section.RecordId(), CRecordId(0ULL));
}

TEST(DummyRecordSection, ReadingLoopStopsAtOnceAndOutputsStayUntouched) {
  CDummyRecordSection dummy;
  CAbstractRecordSection& section = dummy;

  CAbstractRecordSection::ReadState_t state = CAbstractRecordSection::ReadStateEnd;
  EXPECT_TRUE(section.EndOfReading(kChannel, state));
  EXPECT_EQ(state, CAbstractRecordSection::ReadStateNone);

  float buffer[2] = {7.0f, 7.0f};
  EXPECT_EQ(section.ReadSampleBlock(kChannel, buffer, 2, SampleReadVolt), 0u);
  EXPECT_EQ(buffer[0], 7.0f);
  std::vector<float> offsets{1.5f};
  long timeStep = 9;
  EXPECT_FALSE(section.GetTimeOffset(offsets, timeStep));
  EXPECT_EQ(offsets, std::vector<float>{1.5f});
  EXPECT_EQ(timeStep, 9);
  double length = 2.5;
  long long date = 11;
  EXPECT_FALSE(section.RecordLengthAndAbsoluteDate(length, date));
  EXPECT_EQ(length, 2.5);
  EXPECT_EQ(date, 11);
  EXPECT_EQ(section.GetCompressedSignal(kChannel, buffer, SampleReadVolt), CompressFailed);
  const std::pair<CRecordId, CRecordId> halves = section.Split(2);
  EXPECT_EQ(halves.first, CRecordId(0ULL));
  EXPECT_EQ(halves.second, CRecordId(0ULL));
}

}  // namespace
