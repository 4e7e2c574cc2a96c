// A recording bounded to a ring, stopped and opened again through the tree: what
// reads back is the last ring's length of what was written, whether the ring
// dropped parts or not, and whether the stop falls on a part's end.
#include <zsff/ChannelMetaData.h>
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include <algorithm>
#include <vector>

#include "tree/TreeTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

const CChannelID kChannel(1, 0, 4711);

class RingWindow : public TreeTest {};

TEST_F(RingWindow, ReadsTheLastRingSecondsWritten) {
  const struct Case {
    float rate;
    double ring;      // seconds; parts chosen by the library
    double recorded;  // seconds written
    double part;      // the part length the ring gets
  } cases[] = {
      // 8 s over: two parts; the ring keeps three, the window starts a part in.
      {51200.0f, 8.0, 16.0, 4.0},
      {200.0f, 8.0, 16.0, 4.0},
      // 4 s over, exactly the first part, which nothing dropped.
      {200.0f, 8.0, 12.0, 4.0},
      {51200.0f, 8.0, 14.5, 4.0},
      // Not yet full: nothing dropped, the window is the whole record.
      {200.0f, 8.0, 6.0, 4.0},
      {200.0f, 100.0, 120.0, 8.0},
      {1000.0f, 100.0, 200.0, 8.0},
      {200.0f, 100.0, 104.0, 8.0},
  };
  unsigned int base = 5100;
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.rate << " Hz, ring " << c.ring << " s, " << c.recorded
                                    << " s written");
    const std::u16string name = W("m" + std::to_string(++base));
    auto tree = Tree::CreateSignalTree(m_Dir.Wide(), name, kNoStore, false);
    ASSERT_TRUE(tree);
    ASSERT_TRUE(tree->SetRecordBase(base));
    {
      MetaDataContainer settings = Measurement();
      CMetaDataMeasurementWriter(settings).SamplingFrontEnd(c.rate);
      const auto lock = tree->CreateMetaDataLock(MetaDataFileLock::LockWait);
      ASSERT_TRUE(lock);
      ASSERT_TRUE(tree->SaveMetaDataMeasurement(lock.get(), settings, false));
    }

    int handle = tree->CreateRecord(0);
    ASSERT_NE(handle, 0);
    CAbstractRecordSection& writer = tree->wRecord(handle);
    MetaDataContainer channel;
    CMetaDataChannelWriter(channel).SamplingRate(c.rate);
    CMetaDataChannelWriter(channel).Format("SIFloat");
    ASSERT_TRUE(writer.AddChannel(kChannel, channel));
    ASSERT_TRUE(writer.ArmRecord(c.ring, PartLengthAuto, false));
    ASSERT_EQ(writer.PartLength(), c.part);
    std::map<CChannelID, TAG_RECORD_INFO> infos;
    infos[kChannel].AbsoluteDate = 133000000000000000LL;
    ASSERT_TRUE(writer.StartRecord(infos));
    // Each sample is its own index.
    const unsigned long long total = static_cast<unsigned long long>(c.recorded * c.rate);
    // Blocks of a multiple of the pyramid's 32 that divide the parts: each block
    // closes its own first-level group.
    constexpr unsigned long long block = 800;
    std::vector<float> samples(block);
    for (unsigned long long done = 0; done < total; done += block) {
      const unsigned long long n = std::min(block, total - done);
      for (unsigned long long i = 0; i < n; ++i) samples[i] = static_cast<float>(done + i);
      ASSERT_TRUE(writer.WriteSampleBlock(kChannel, samples.data(), n, true));
    }
    ASSERT_TRUE(writer.StopRecord()) << N(writer.LastErrorString());
    ASSERT_TRUE(tree->CloseRecord(handle, true));

    std::vector<MetaDataRecord> records;
    ASSERT_TRUE(tree->GetRecordsVect(records));
    ASSERT_EQ(records.size(), 1u);
    const double kept = std::min(c.ring, c.recorded);
    EXPECT_EQ(records[0].Duration(), kept);
    handle = tree->OpenRecord(CRecordId(records[0].RecordId()), Tree::TreeOpenRead, 0);
    ASSERT_NE(handle, 0);
    CAbstractRecordSection& reader = tree->wRecord(handle);
    ASSERT_TRUE(reader.SetReadPos(kChannel, 0.0)) << N(reader.LastErrorString());
    const unsigned long long window = static_cast<unsigned long long>(kept * c.rate);
    std::vector<float> read(window);
    ASSERT_EQ(reader.ReadRawSampleBlock(kChannel, read.data(), window), window);
    const float first = static_cast<float>(total - window);
    EXPECT_EQ(read.front(), first);
    EXPECT_EQ(read.back(), static_cast<float>(total - 1));
    // A view of the record's first second starts there too.
    ASSERT_TRUE(reader.RequestCompressedSignal(kChannel, 0.0f, 1.0f, 1, false))
        << N(reader.LastErrorString());
    std::vector<float> view(2);
    ASSERT_EQ(reader.GetCompressedSignal(kChannel, view.data(), SampleReadRecorded),
              CompressReady);
    EXPECT_EQ(view[0], first);
    ASSERT_TRUE(tree->CloseRecord(handle, false));
  }
}

}  // namespace
