// Min/max views of spans that start inside a second, from the whole record down
// to one sample a point and fewer samples than points, in every sample format:
// each point holds the samples of its share of the span, from the pyramid's
// levels and from raw samples alike.
#include <gtest/gtest.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/RecordSection.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "section/ViewTestSupport.h"
#include "support/SampleFormatOf.h"
#include "support/ViewExpectations.h"

using namespace zsff;

namespace {

const CChannelID kChannel(1, 0, 77);
// Times below are whole samples at this rate, so that every span holds an exact
// number of samples.
constexpr float kRate = 1024.0f;
// Two parts of 64 s and a shorter third.
constexpr unsigned long long kSamples = 150000;

template <typename T>
class NarrowView : public zsff_test::ViewTest {};
using SampleTypes = ::testing::Types<float, double, std::int16_t, std::int32_t>;
TYPED_TEST_SUITE(NarrowView, SampleTypes);

TYPED_TEST(NarrowView, EachPointHoldsTheSamplesOfItsShare) {
  using T = TypeParam;
  std::vector<float> signal(kSamples);
  std::vector<T> recorded(kSamples);
  for (unsigned long long i = 0; i < kSamples; ++i) {
    signal[i] = zsff_test::TriangleSample(i);
    recorded[i] = static_cast<T>(signal[i]);
  }
  {
    auto writer = this->OpenForWriting();
    MetaDataContainer metaData = zsff_test::ChannelMetaData(kRate);
    CMetaDataChannelWriter(metaData).Format(zsff_test::SampleFormatOf<T>::kName);
    ASSERT_TRUE(writer->AddChannel(kChannel, metaData));
    ASSERT_TRUE(writer->ArmRecord(0.0, PartLengthShort, false));
    ASSERT_TRUE(this->Start(*writer, {kChannel}));
    // Blocks of a multiple of the pyramid's 32, as hosts deliver them.
    constexpr unsigned long long kBlock = 4096;
    for (unsigned long long done = 0; done < kSamples; done += kBlock) {
      const unsigned long long n = std::min(kBlock, kSamples - done);
      ASSERT_TRUE(writer->WriteSampleBlock(kChannel, recorded.data() + done, n, true));
    }
    ASSERT_TRUE(writer->StopRecord());
  }

  const struct {
    const char* label;
    unsigned long long first;  // sample
    unsigned long long count;  // samples
    unsigned long long points;
  } cases[] = {
      {"whole record, second level", 0, kSamples, 100},
      {"1 s, first level exactly", 10752, 1024, 32},
      {"1 s across parts, first level", 65024, 1024, 32},
      {"0.1 s, two samples a point", 72192, 100, 50},
      {"0.01 s, a sample a point", 5632, 10, 10},
      {"100 samples across parts, a sample a point", 65486, 100, 100},
      {"fewer samples than points", 102528, 10, 100},
  };
  auto section = this->OpenForReading();
  for (const auto& c : cases) {
    const float start = static_cast<float>(c.first) / kRate;
    const float stop = static_cast<float>(c.first + c.count) / kRate;
    const std::vector<float> view = zsff_test::View(*section, kChannel, start, stop, c.points);
    ASSERT_FALSE(view.empty()) << c.label;
    EXPECT_LE(view.size(), 2 * std::min(c.points, c.count)) << c.label;
    // A point's samples are its share, give or take the pairs it is made of.
    const double share = static_cast<double>(c.count) / static_cast<double>(view.size() / 2);
    const double slack = share > 1.0 ? 2.0 * share : 0.0;
    zsff_test::ExpectView(view, signal, static_cast<double>(c.first),
                          static_cast<double>(c.count), slack, c.label);
  }
}

}  // namespace
