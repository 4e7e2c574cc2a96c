// Min/max views checked against the samples they summarise, point by point, and
// a signal that makes such a check sharp.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

namespace zsff_test {

// A slow triangle (slope 1 per sample) under an alternation of 5000 between even
// and odd samples: every window of two samples or more spans at least 5000, its
// minimum lies on an even sample and its maximum on an odd one, and both move by
// at most one per sample that the window moves. Always well above 0, so that a
// blank can't pass for data, and below 16001, so that every sample format holds
// it exactly.
inline float TriangleSample(unsigned long long i) {
  const long long phase = static_cast<long long>(i % 20000) - 10000;
  return 1000.0f + static_cast<float>(std::llabs(phase)) + ((i & 1) != 0 ? 5000.0f : 0.0f);
}

struct Extremes {
  float low;
  float high;
};

// Extremes of samples [a, b) of `signal`, the window cut to the signal.
inline Extremes Window(const std::vector<float>& signal, double a, double b) {
  const long long first = std::max(0LL, static_cast<long long>(std::floor(a)));
  const long long last =
      std::min(static_cast<long long>(signal.size()), static_cast<long long>(std::ceil(b)));
  Extremes e{signal[first], signal[first]};
  for (long long i = first; i < last; ++i) {
    e.low = std::min(e.low, signal[i]);
    e.high = std::max(e.high, signal[i]);
  }
  return e;
}

// Compares a view of the samples [first, first + count) with the samples: point i
// stands for an equal share of them. Its values must be found in its share widened
// by `slack` samples on each side (nothing is invented), and must reach the
// extremes of its share within `slack` (nothing is lost), the signal moving by at
// most one per sample.
inline void ExpectView(const std::vector<float>& view, const std::vector<float>& signal,
                       double first, double count, double slack, const std::string& label) {
  ASSERT_FALSE(view.empty()) << label;
  const std::size_t points = view.size() / 2;
  const double share = count / static_cast<double>(points);
  int failures = 0;
  for (std::size_t i = 0; i < points && failures < 5; ++i) {
    const double a = first + static_cast<double>(i) * share;
    const double b = a + share;
    const Extremes exact = Window(signal, a, b);
    const Extremes wide = Window(signal, a - slack, b + slack);
    const float low = view[2 * i];
    const float high = view[2 * i + 1];
    const bool good = low >= wide.low && high <= wide.high && low <= exact.low + slack + 2 &&
                      high >= exact.high - slack - 2;
    EXPECT_TRUE(good) << label << ": point " << i << " of " << points << " is (" << low << ", "
                      << high << "), samples " << a << " to " << b << " hold (" << exact.low << ", "
                      << exact.high << ")";
    if (!good) ++failures;
  }
}

}  // namespace zsff_test
