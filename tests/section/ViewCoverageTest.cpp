// Every sample of a span lies in one pair of its min/max view, also the samples at
// the end of a part that a view's even share of points leaves over: whether the
// pyramid's pairs cover fewer samples each than the factor (blocks that aren't a
// multiple of it), or raw samples are reduced by a factor that doesn't divide the
// part. A spike planted in each such tail must show in the view.
#include <algorithm>
#include <vector>

#include "section/ViewTestSupport.h"

using namespace zsff;
using zsff_test::ChannelMetaData;

namespace {

const CChannelID kChannel(1, 0, 77);

using ViewCoverage = zsff_test::ViewTest;

TEST_F(ViewCoverage, SpikesInTheTailsOfPartsAndRecordShowInTheView) {
  // 10 kHz in a ring of 60 s: parts of 4 s, 40000 samples; 9 s fill three parts.
  auto writer = OpenForWriting();
  ASSERT_TRUE(writer->AddChannel(kChannel, ChannelMetaData(10000.0f)));
  ASSERT_TRUE(writer->ArmRecord(60.0, PartLengthAuto, false));
  ASSERT_EQ(writer->PartLength(), 4.0);
  ASSERT_TRUE(Start(*writer, {kChannel}));
  std::vector<float> samples(90000, 0.0f);
  // Highs at the last sample of each part, lows a little before, all in what an
  // even share of 100 points leaves over at the end of a part.
  const struct {
    unsigned long long index;
    float value;
  } spikes[] = {{39999, 5.0f},  {39300, -5.0f}, {79999, 6.0f},
                {79300, -6.0f}, {89999, 7.0f},  {89850, -7.0f}};
  for (const auto& spike : spikes) samples[spike.index] = spike.value;
  for (std::size_t done = 0; done < samples.size(); done += 1000) {
    ASSERT_TRUE(writer->WriteSampleBlock(kChannel, samples.data() + done, 1000, true));
  }
  ASSERT_TRUE(writer->StopRecord());

  auto reader = OpenForReading();
  // 100 points take the first pyramid level; 4000 points reduce raw samples by
  // 22, which doesn't divide a part.
  for (const unsigned long long points : {100ULL, 4000ULL}) {
    SCOPED_TRACE(points);
    const std::vector<float> view = zsff_test::View(*reader, kChannel, 0.0f, 9.0f, points);
    ASSERT_FALSE(view.empty());
    // Each part's piece keeps its own share of points: 44, 44 and 11 of 100.
    if (points == 100) {
      EXPECT_EQ(view.size(), 2u * 99);
    }
    for (const auto& spike : spikes) {
      EXPECT_NE(std::find(view.begin(), view.end(), spike.value), view.end())
          << "the spike at sample " << spike.index;
    }
  }
}

}  // namespace
