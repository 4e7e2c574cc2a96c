// A display on a thread of its own reads and zooms the record that the recording
// thread writes, through a tree of its own on the same measurement, as a host
// with a display thread does. The two meet in the files and in what the library
// keeps for the whole process; the ThreadSanitizer build runs this for races.
#include <zsff/RecordZoomer.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <thread>
#include <vector>

#include "zoom/ZoomTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

constexpr int kSeconds = 10;

// What the display sees of the record in one look: the samples from the start
// and a view of the first kSeconds, each held to what is recorded there.
unsigned long long Look(Tree& tree, CRecordZoomer& zoomer) {
  std::vector<float> view;
  if (zoomer.GetCompressedSignal(kChannel, 0.0f, float(kSeconds), 40, false, 0, view)) {
    for (float value : view) {
      if (!std::isnan(value)) {
        EXPECT_TRUE(value >= 1000.0f && value <= 8000.0f) << value;
      }
    }
  }
  int handle = tree.OpenRecord(CRecordId(1ULL), Tree::TreeOpenRead, 0);
  if (handle == 0) return 0;
  CAbstractRecordSection& section = tree.wRecord(handle);
  std::vector<float> samples(kBlock);
  unsigned long long read = 0;
  if (section.SetReadPos(kChannel, 0.0)) {
    while (const unsigned long long got =
               section.ReadRawSampleBlock(kChannel, samples.data(), samples.size())) {
      for (unsigned long long i = 0; i < got; ++i)
        EXPECT_EQ(samples[i], AxisSample(read + i, 0)) << "sample " << read + i;
      read += got;
    }
  }
  tree.CloseRecord(handle, false);
  return read;
}

TEST_F(RecordZoomerTest, ADisplayThreadFollowsTheRecordingThread) {
  int handle = StartRecord(0.0, PartLengthShort);
  Write(handle, 1, 0);
  std::atomic<bool> stopped{false};
  unsigned long long looks = 0, last = 0;
  std::thread display([&] {
    auto tree = Tree::OpenSignalTree(m_Dir.Wide(), u"m", Tree::TreeOpenRead, kNoStore, false, u"",
                                     false);
    ASSERT_TRUE(tree);
    CRecordZoomer zoomer;
    ASSERT_TRUE(zoomer.Init(tree.get(), kChannel));
    // One more look once the recording has stopped, which must see it whole.
    for (bool finished = false; !finished; ++looks) {
      finished = stopped.load();
      last = Look(*tree, zoomer);
    }
    zoomer.Clean(true);
  });
  for (int second = 1; second < kSeconds; ++second) {
    Write(handle, 1, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  Stop(handle);
  stopped = true;
  display.join();
  EXPECT_GE(looks, 2u);
  EXPECT_EQ(last, kSeconds * kBlock);
}

}  // namespace
