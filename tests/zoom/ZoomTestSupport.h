// What the zoomer's tests share: a measurement recorded through the tree, one
// channel whose samples tell where they came from, and the point-by-point check
// of a view against the samples written.
#pragma once

#include <zsff/ChannelMetaData.h>
#include <zsff/RecordSignalTree.h>
#include <zsff/RecordZoomer.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "tree/TreeTestSupport.h"

namespace zsff_test {

using namespace zsff;

// A slow channel: the section writes its pyramid out every second, so a reader
// following the recording finds each whole second in the level files.
constexpr float kRate = 512.0f;
constexpr unsigned long long kBlock = 512;  // one second
inline const CChannelID kChannel(3, 0, 4711);

inline MetaDataContainer ChannelMetaData() {
  MetaDataContainer metaData;
  CMetaDataChannelWriter writer(metaData);
  writer.SamplingRate(kRate);
  writer.Name(u"Shaft");
  writer.Format("SIFloat");
  return metaData;
}

// Sample g of the measurement's axis: a slow triangle (slope 1 a sample) under an
// alternation of 5000 between even and odd samples, lifted by 20000 per record.
// Any window of two samples spans 5000, its extremes move by at most one a sample,
// a value tells which record it came from, and none can pass for a zero pad.
inline float AxisSample(unsigned long long g, int record) {
  const long long phase = static_cast<long long>(g % 4000) - 2000;
  return 1000.0f + 20000.0f * static_cast<float>(record) + static_cast<float>(std::llabs(phase)) +
         ((g & 1) != 0 ? 5000.0f : 0.0f);
}

struct Extremes {
  float low;
  float high;
};

inline Extremes Window(const std::vector<float>& signal, double a, double b) {
  const long long size = static_cast<long long>(signal.size());
  const long long first = std::clamp(static_cast<long long>(std::floor(a)), 0LL, size - 1);
  const long long last = std::clamp(static_cast<long long>(std::ceil(b)), first + 1, size);
  Extremes e{signal[first], signal[first]};
  for (long long i = first; i < last; ++i) {
    e.low = std::min(e.low, signal[i]);
    e.high = std::max(e.high, signal[i]);
  }
  return e;
}

// Points [from, from + count) of `view` stand for equal shares of the axis seconds
// [a, b). Each must lie within its share widened by `slack` samples (nothing
// invented) and reach the share's extremes within that slack (nothing lost).
inline void ExpectView(const std::vector<float>& view, std::size_t from, std::size_t count,
                       const std::vector<float>& axis, double a, double b,
                       const std::string& label, double slack) {
  ASSERT_GE(view.size(), 2 * (from + count)) << label;
  const double share = (b - a) * kRate / static_cast<double>(count);
  int failures = 0;
  for (std::size_t i = 0; i < count && failures < 5; ++i) {
    const double x = a * kRate + static_cast<double>(i) * share;
    const Extremes exact = Window(axis, x, x + share);
    const Extremes wide = Window(axis, x - slack, x + share + slack);
    const float low = view[2 * (from + i)];
    const float high = view[2 * (from + i) + 1];
    const bool good = low >= wide.low && high <= wide.high && low <= exact.low + slack &&
                      high >= exact.high - slack;
    EXPECT_TRUE(good) << label << ": point " << from + i << " is (" << low << ", " << high
                      << "), samples " << x << " to " << x + share << " hold (" << exact.low << ", "
                      << exact.high << ")";
    if (!good) ++failures;
  }
}

// The same with a slack of two shares and two of the pyramid's pairs.
inline void ExpectView(const std::vector<float>& view, std::size_t from, std::size_t count,
                       const std::vector<float>& axis, double a, double b,
                       const std::string& label) {
  ExpectView(view, from, count, axis, a, b, label,
             2 * (b - a) * kRate / static_cast<double>(count) + 64);
}

class RecordZoomerTest : public TreeTest {
 protected:
  void SetUp() override {
    TreeTest::SetUp();
    tree = Tree::CreateSignalTree(m_Dir.Wide(), u"m", kNoStore, false);
    ASSERT_TRUE(tree);
  }

  // A new record of the channel, armed and started; its handle.
  int StartRecord(double maxLength, PartLength_t partLength) {
    const int handle = tree->CreateRecord(0);
    EXPECT_NE(handle, 0);
    CAbstractRecordSection& section = tree->wRecord(handle);
    if (section.ChannelCount() == 0) {
      EXPECT_TRUE(section.AddChannel(kChannel, ChannelMetaData()));
    }
    EXPECT_TRUE(section.ArmRecord(maxLength, partLength, maxLength == 0.0));
    std::map<CChannelID, TAG_RECORD_INFO> infos;
    infos[kChannel].AbsoluteDate = 133000000000000000LL;
    EXPECT_TRUE(section.StartRecord(infos)) << N(section.LastErrorString());
    return handle;
  }

  // Writes `seconds` more of the record `record` (counted from 0) onto the axis.
  void Write(int handle, int seconds, int record) {
    std::vector<float> block(kBlock);
    for (int s = 0; s < seconds; ++s) {
      for (unsigned long long i = 0; i < kBlock; ++i) {
        block[i] = AxisSample(axis.size(), record);
        axis.push_back(block[i]);
      }
      ASSERT_TRUE(tree->wRecord(handle).WriteSampleBlock(kChannel, block.data(), kBlock, true));
    }
  }

  void Stop(int& handle) {
    ASSERT_TRUE(tree->wRecord(handle).StopRecord());
    ASSERT_TRUE(tree->CloseRecord(handle, true));
  }

  std::unique_ptr<Tree> tree;
  std::vector<float> axis;  // every sample written, records end to end
};

}  // namespace zsff_test
