// The min/max reductions against plain one-value-at-a-time versions written here from
// the rules, over the four sample formats, with NaNs, signed zeros, repeated values,
// carries across calls and buffers too small.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "signal/BlockReduction.h"
#include "support/SampleFormatOf.h"

namespace {

using namespace zsff;
using namespace zsff::reduction;
using zsff_test::SampleFormatOf;

using ull = unsigned long long;

// ---- Plain references, one value at a time ---------------------------------------------

template <typename T>
void RefFold(T& minimum, T& maximum, T low, T high) {
  if (!(low > minimum)) minimum = low;  // stays only if the value is greater
  if (!(maximum > high)) maximum = high;
}

struct Carry {
  ull missing = 0;
  double minimum = 0.0, maximum = 0.0;
};

template <typename T>
void RefReduceBlock(std::vector<T>& out, ull capacity, const std::vector<T>& in, ull f,
                    Carry& carry) {
  std::size_t i = 0, stored = 0;
  const std::size_t n = in.size();
  T lo{}, hi{};
  bool open = false;
  if (carry.missing != 0) {
    lo = static_cast<T>(carry.minimum);
    hi = static_cast<T>(carry.maximum);
    const std::size_t t = std::min<std::size_t>(n, carry.missing);
    for (std::size_t k = 0; k < t; ++k, ++i) RefFold(lo, hi, in[i], in[i]);
    carry.missing = t < f ? f - t : 0;
    if (carry.missing != 0) {
      carry.minimum = lo;
      carry.maximum = hi;
      open = true;
    } else if (capacity >= 2) {
      out[0] = lo;
      out[1] = hi;
      stored = 2;
    }
  }
  while (i < n && stored + 2 <= capacity) {
    const std::size_t g = std::min<std::size_t>(n - i, f);
    if (open) {
      RefFold(lo, hi, in[i], in[i]);
    } else {
      lo = hi = in[i];
    }
    for (std::size_t k = 1; k < g; ++k) RefFold(lo, hi, in[i + k], in[i + k]);
    i += g;
    out[stored++] = lo;
    out[stored++] = hi;
    if (open) carry.missing = 0;
    open = false;
  }
  const std::size_t rest = n - i;
  if (rest != 0 && rest < f) {
    lo = hi = in[i];
    for (std::size_t k = i + 1; k < n; ++k) RefFold(lo, hi, in[k], in[k]);
    carry.minimum = lo;
    carry.maximum = hi;
    carry.missing = f - rest;
  }
}

// Even counts and even carried counts only: what the pyramid ever sees.
template <typename T>
std::vector<T> RefCascadeStep(const std::vector<T>& v, ull f, LevelCarry& carry) {
  std::vector<T> next;
  const ull total = v.size() + carry.Count;
  const ull k = total / (2 * f) * 2;
  const ull carried = total - k * f;
  std::size_t p = 0;  // next pair of v
  if (total >= 2 * f) {
    while (next.size() < k) {
      T lo, hi;
      ull pairs = f;
      if (next.empty() && carry.Count != 0) {
        lo = static_cast<T>(carry.Minimum);
        hi = static_cast<T>(carry.Maximum);
        pairs = f - carry.Count / 2;
      } else {
        lo = v[2 * p];
        hi = v[2 * p + 1];
        ++p;
        --pairs;
      }
      for (; pairs != 0; --pairs, ++p) RefFold(lo, hi, v[2 * p], v[2 * p + 1]);
      next.push_back(lo);
      next.push_back(hi);
    }
    carry.Count = 0;
  }
  if (carried != carry.Count) {
    T lo, hi;
    if (carry.Count == 0) {
      lo = v[2 * p];
      hi = v[2 * p + 1];
    } else {
      lo = static_cast<T>(carry.Minimum);
      hi = static_cast<T>(carry.Maximum);
      if (lo > v[2 * p]) lo = v[2 * p];  // the other way round, for this pair only
      if (v[2 * p + 1] > hi) hi = v[2 * p + 1];
    }
    for (++p; 2 * p < v.size(); ++p) RefFold(lo, hi, v[2 * p], v[2 * p + 1]);
    carry.Minimum = lo;
    carry.Maximum = hi;
  }
  carry.Count = carried;
  return next;
}

template <typename T>
void RefProportional(std::vector<T>& out, const std::vector<T>& in) {
  const ull d = out.size(), s = in.size();
  if (d == 0 || s == 0) return;
  if (d == s) {
    out = in;
    return;
  }
  if (s < 2) return;
  T lo = in[0], hi = in[1];
  ull previous = 0, accumulator = 0;
  for (ull p = 0; 2 * p + 1 < s; ++p, accumulator += 2 * d) {
    const ull c = (accumulator / s) & ~1ULL;
    if (c != previous) {
      lo = in[2 * p];
      hi = in[2 * p + 1];
      previous = c;
    } else {
      RefFold(lo, hi, in[2 * p], in[2 * p + 1]);
    }
    if (c + 1 < d) {
      out[c] = lo;
      out[c + 1] = hi;
    }
  }
}

// ---- Data -------------------------------------------------------------------------------

// Few distinct values so that ties are common, the extremes of the type, and for floats
// signed zeros and NaNs; `special` is the share of the odd values in permille.
template <typename T>
std::vector<T> MakeSamples(std::mt19937& rng, std::size_t n, int special = 150) {
  std::vector<T> v(n);
  std::uniform_int_distribution<int> permille(0, 999), small(-3, 3);
  for (T& x : v) {
    const int roll = permille(rng);
    if (roll < special / 3) {
      x = roll % 2 ? std::numeric_limits<T>::lowest() : std::numeric_limits<T>::max();
    } else if (roll < special) {
      if constexpr (std::is_floating_point<T>::value) {
        const T specials[] = {T(0), -T(0), std::numeric_limits<T>::quiet_NaN()};
        x = specials[roll % 3];
      } else {
        x = T(0);
      }
    } else if (roll < 600) {
      x = static_cast<T>(small(rng));
    } else {
      x = static_cast<T>(std::uniform_int_distribution<int>(-30000, 30000)(rng));
    }
  }
  return v;
}

template <typename T>
::testing::AssertionResult SameBits(const std::vector<T>& expected, const std::vector<T>& actual) {
  if (expected.size() != actual.size())
    return ::testing::AssertionFailure() << "sizes " << expected.size() << " and " << actual.size();
  for (std::size_t i = 0; i < expected.size(); ++i)
    if (std::memcmp(&expected[i], &actual[i], sizeof(T)) != 0)
      return ::testing::AssertionFailure()
             << "index " << i << ": " << +expected[i] << " expected, " << +actual[i] << " found";
  return ::testing::AssertionSuccess();
}

bool SameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// A value that MakeSamples never gives.
template <typename T>
T Sentinel() {
  return static_cast<T>(31111);
}

// The kernels this processor can run; each must give the plain fold's bits.
std::vector<ReductionKernel_t> AvailableKernels() {
  std::vector<ReductionKernel_t> kernels;
  for (ReductionKernel_t kernel : {ReductionKernelBaseline, ReductionKernelAvx2})
    if (SelectKernel(kernel)) kernels.push_back(kernel);
  SelectKernel(ReductionKernelAuto);
  return kernels;
}

// Every test of the suite runs with each element type on each kernel.
template <typename E, ReductionKernel_t kKernel>
struct OnKernel {
  using Type = E;
  static constexpr ReductionKernel_t kValue = kKernel;
};

template <typename Case>
class BlockReductionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!SelectKernel(Case::kValue)) GTEST_SKIP() << "the processor lacks this kernel";
  }
  void TearDown() override { SelectKernel(ReductionKernelAuto); }
};
using SampleTypes = ::testing::Types<
    OnKernel<float, ReductionKernelBaseline>, OnKernel<float, ReductionKernelAvx2>,
    OnKernel<double, ReductionKernelBaseline>, OnKernel<double, ReductionKernelAvx2>,
    OnKernel<std::int16_t, ReductionKernelBaseline>, OnKernel<std::int16_t, ReductionKernelAvx2>,
    OnKernel<std::int32_t, ReductionKernelBaseline>, OnKernel<std::int32_t, ReductionKernelAvx2>>;
TYPED_TEST_SUITE(BlockReductionTest, SampleTypes);

// ---- Tests ------------------------------------------------------------------------------

TYPED_TEST(BlockReductionTest, BlockReductionFollowsTheFoldingRuleAndItsCarry) {
  using T = typename TypeParam::Type;
  std::mt19937 rng(1234);
  for (int run = 0; run < 400; ++run) {
    // Every fifth run a factor of a power of two, as the pyramid's, over long blocks: the
    // kernels then reduce whole batches of groups at once.
    const bool wide = run % 5 == 0 || run % 5 == 1;
    const ull f = run % 5 == 0   ? 1 + rng() % 3000
                  : run % 5 == 1 ? 8ULL << rng() % 4
                                 : 1 + rng() % 70;
    const int special = run % 3 == 0 ? 2 : 150;  // long clean stretches reach the fast path
    Carry expectedCarry, actualCarry;
    if (run % 2) {  // start from an open group, sometimes one that is already full
      const auto seed = MakeSamples<T>(rng, 2, special);
      expectedCarry = {1 + rng() % (2 * f), double(std::min(seed[0], seed[1])),
                       double(std::max(seed[0], seed[1]))};
      actualCarry = expectedCarry;
    }
    for (int call = 0; call < 4; ++call) {
      const auto in = MakeSamples<T>(rng, rng() % (wide ? 9000 : 300), special);
      const ull need = ReducedSize(in.size(), f);
      const ull capacity = rng() % 4 == 0 ? need : rng() % (need + 4);
      std::vector<T> expected(capacity + 4, Sentinel<T>()), actual = expected;
      RefReduceBlock(expected, capacity, in, f, expectedCarry);
      ReduceBlock(actual.data(), capacity, in.data(), in.size(), f, actualCarry.missing,
                  actualCarry.minimum, actualCarry.maximum);
      ASSERT_TRUE(SameBits(expected, actual)) << "run " << run << " call " << call;
      ASSERT_EQ(expectedCarry.missing, actualCarry.missing) << "run " << run;
      if (expectedCarry.missing != 0) {
        ASSERT_TRUE(SameBits(expectedCarry.minimum, actualCarry.minimum)) << "run " << run;
        ASSERT_TRUE(SameBits(expectedCarry.maximum, actualCarry.maximum)) << "run " << run;
      }
    }
  }
}

TYPED_TEST(BlockReductionTest, BlockGroupsAndCarryOverTheirSamples) {
  using T = typename TypeParam::Type;
  std::mt19937 rng(99);
  const auto in = MakeSamples<T>(rng, 100, 0);
  auto pairOf = [&](std::size_t from, std::size_t to, T lo, T hi) {
    for (std::size_t i = from; i < to; ++i) {
      lo = std::min(lo, in[i]);
      hi = std::max(hi, in[i]);
    }
    return std::vector<T>{lo, hi};
  };
  auto cat = [](std::vector<std::vector<T>> parts) {
    std::vector<T> all;
    for (auto& p : parts) all.insert(all.end(), p.begin(), p.end());
    return all;
  };
  const T top = std::numeric_limits<T>::max(), bottom = std::numeric_limits<T>::lowest();

  // Enough room: every group stored, the last one short, nothing carried.
  ull missing = 0;
  double lo = 0, hi = 0;
  std::vector<T> out(8);
  ASSERT_EQ(8u, ReducedSize(100, 32));
  ReduceBlock(out.data(), 8, in.data(), 100, 32, missing, lo, hi);
  EXPECT_EQ(cat({pairOf(0, 32, top, bottom), pairOf(32, 64, top, bottom),
                 pairOf(64, 96, top, bottom), pairOf(96, 100, top, bottom)}),
            out);
  EXPECT_EQ(0u, missing);

  // A block shorter than the factor still gives its pair.
  out.assign(2, T(0));
  ReduceBlock(out.data(), 2, in.data(), 10, 32, missing, lo, hi);
  EXPECT_EQ(pairOf(0, 10, top, bottom), out);
  EXPECT_EQ(0u, missing);

  // An open group waiting for 27 takes them, then waits for 5 more, and so takes the
  // next whole group too before it is stored.
  missing = 27;
  lo = hi = -31000.0;
  out.assign(8, Sentinel<T>());
  ReduceBlock(out.data(), 8, in.data(), 100, 32, missing, lo, hi);
  EXPECT_EQ(cat({pairOf(0, 59, T(-31000), T(-31000)),
                 pairOf(59, 91, top, bottom),
                 pairOf(91, 100, top, bottom),
                 {Sentinel<T>(), Sentinel<T>()}}),
            out);
  EXPECT_EQ(0u, missing);

  // Room for one pair: the rest is shorter than a group and waits in the carry.
  out.assign(2, T(0));
  ReduceBlock(out.data(), 2, in.data(), 40, 32, missing, lo, hi);
  EXPECT_EQ(pairOf(0, 32, top, bottom), out);
  EXPECT_EQ(24u, missing);
  EXPECT_EQ(double(pairOf(32, 40, top, bottom)[0]), lo);
  EXPECT_EQ(double(pairOf(32, 40, top, bottom)[1]), hi);
}

TEST(BlockReductionFoldingRule, EqualValuesAndNaNReplaceTheRunningValues) {
  for (ReductionKernel_t kernel : AvailableKernels()) {
    SCOPED_TRACE(kernel);
    ASSERT_TRUE(SelectKernel(kernel));
    const float nan = std::numeric_limits<float>::quiet_NaN();
    auto reduce = [](std::vector<float> in) {
      std::vector<float> out(2);
      ull missing = 0;
      double lo = 0, hi = 0;
      ReduceBlock(out.data(), 2, in.data(), in.size(), in.size(), missing, lo, hi);
      return out;
    };
    // The later of two equal values wins: visible on signed zeros.
    EXPECT_TRUE(std::signbit(reduce({0.0f, -0.0f})[0]));
    EXPECT_TRUE(std::signbit(reduce({0.0f, -0.0f})[1]));
    EXPECT_FALSE(std::signbit(reduce({-0.0f, 0.0f, 1.0f})[0]));
    // A NaN replaces both, and the next value replaces the NaN.
    EXPECT_TRUE(std::isnan(reduce({1.0f, 5.0f, nan})[0]));
    EXPECT_TRUE(std::isnan(reduce({1.0f, 5.0f, nan})[1]));
    EXPECT_EQ(std::vector<float>({2.0f, 3.0f}), reduce({-4.0f, 9.0f, nan, 3.0f, 2.0f}));
    // The same on the fast path: long spans with the zero or the NaN in every position.
    for (std::size_t at = 0; at < 64; ++at) {
      std::vector<float> in(64, 5.0f);
      in[at] = -0.0f;
      in[(at + 17) % 64] = 0.0f;
      EXPECT_EQ(std::signbit(in[std::max(at, (at + 17) % 64)]), std::signbit(reduce(in)[0]));
      in.assign(64, 5.0f);
      in[at] = nan;
      const std::size_t seven = (at + 32) % 64;
      in[seven] = -7.0f;
      const auto out = reduce(in);
      if (at == 63) {
        EXPECT_TRUE(std::isnan(out[0]) && std::isnan(out[1]));
      } else {
        EXPECT_EQ(seven > at ? -7.0f : 5.0f, out[0]) << at;
        EXPECT_EQ(5.0f, out[1]) << at;
      }
    }
  }
  SelectKernel(ReductionKernelAuto);
}

TYPED_TEST(BlockReductionTest, BadBlockArgumentsStayInBounds) {
  using T = typename TypeParam::Type;
  std::mt19937 rng(7);
  const auto in = MakeSamples<T>(rng, 50, 0);
  ull missing = 3;
  double lo = 1.0, hi = 2.0;
  std::vector<T> out(6, Sentinel<T>());
  // Nothing to read from, or no factor: nothing changes.
  ReduceBlock(out.data(), 6, static_cast<const T*>(nullptr), 50, 32, missing, lo, hi);
  ReduceBlock(out.data(), 6, in.data(), 50, 0, missing, lo, hi);
  EXPECT_EQ(std::vector<T>(6, Sentinel<T>()), out);
  EXPECT_EQ(3u, missing);
  EXPECT_EQ(1.0, lo);
  // An odd capacity stores whole pairs only.
  missing = 0;
  ReduceBlock(out.data(), 5, in.data(), 50, 8, missing, lo, hi);
  EXPECT_EQ(Sentinel<T>(), out[4]);
  EXPECT_EQ(0u, missing);  // more than a group was left, so it was dropped
  // No destination: the short rest still waits in the carry.
  ReduceBlock(static_cast<T*>(nullptr), 8, in.data(), 5, 8, missing, lo, hi);
  EXPECT_EQ(3u, missing);
  EXPECT_EQ(double(*std::min_element(in.begin(), in.begin() + 5)), lo);
  // The dispatcher does nothing for a format it doesn't know.
  ReduceBlock(out.data(), 6, in.data(), 50, 4, static_cast<SampleFormat_t>(9), missing, lo, hi);
  EXPECT_EQ(3u, missing);
  EXPECT_EQ(Sentinel<T>(), out[5]);
}

TYPED_TEST(BlockReductionTest, OutputSizeRuleConsumesTheWholeBlock) {
  using T = typename TypeParam::Type;
  std::mt19937 rng(5);
  EXPECT_EQ(0u, ReducedSize(10, 0));
  for (ull f = 1; f < 80; f += 3) {
    for (ull n = 0; n < 400; n += 7) {
      const ull need = ReducedSize(n, f);
      ASSERT_EQ(n < f ? 2 : 2 * ((n + f - 1) / f), need);
      if (n == 0) continue;
      const auto in = MakeSamples<T>(rng, n);
      std::vector<T> out(need + 1, Sentinel<T>());
      ull missing = 0;
      double lo = 0, hi = 0;
      // Through the dispatcher, which must pick this element type.
      ReduceBlock(out.data(), need, in.data(), n, f, SampleFormatOf<T>::kValue, missing, lo, hi);
      EXPECT_EQ(0u, missing);
      EXPECT_EQ(Sentinel<T>(), out[need]);
      EXPECT_EQ(need, ull(std::count_if(out.begin(), out.end(),
                                        [](T x) { return !(x == Sentinel<T>()); })));
    }
  }
}

// A pyramid of in-memory level files.
struct MemoryLevels {
  explicit MemoryLevels(std::size_t n) : carries(n), files(n), untouched(n, true) {}
  std::size_t size() const { return carries.size(); }
  LevelCarry& Carry(std::size_t level) { return carries[level]; }
  bool Append(std::size_t level, const void* data, ull bytes) {
    if (bytes != 0) untouched[level] = false;
    if (static_cast<int>(level) == failing) return false;
    const auto* p = static_cast<const unsigned char*>(data);
    files[level].insert(files[level].end(), p, p + bytes);
    return true;
  }
  template <typename T>
  std::vector<T> File(std::size_t level) const {
    std::vector<T> v(files[level].size() / sizeof(T));
    if (!v.empty()) std::memcpy(v.data(), files[level].data(), files[level].size());
    return v;
  }
  std::vector<LevelCarry> carries;
  std::vector<std::vector<unsigned char>> files;
  std::vector<bool> untouched;
  int failing = -1;
};

TYPED_TEST(BlockReductionTest, CascadeStepKeepsGroupsAcrossBlocks) {
  using T = typename TypeParam::Type;
  std::mt19937 rng(42);
  for (int run = 0; run < 300; ++run) {
    const ull f = run % 4 == 0 ? 1 + rng() % 600 : 1 + rng() % 40;
    LevelCarry expectedCarry, actualCarry;
    for (int block = 0; block < 6; ++block) {
      const auto in =
          MakeSamples<T>(rng, 2 * (rng() % (run % 4 == 0 ? 1500 : 100)), run % 2 ? 2 : 150);
      const auto expected = RefCascadeStep(in, f, expectedCarry);
      std::vector<T> actual;
      CascadeStep(in.data(), in.size(), f, actualCarry, actual);
      ASSERT_TRUE(SameBits(expected, actual)) << "run " << run << " block " << block;
      ASSERT_EQ(expectedCarry.Count, actualCarry.Count);
      ASSERT_TRUE(SameBits(expectedCarry.Minimum, actualCarry.Minimum)) << "run " << run;
      ASSERT_TRUE(SameBits(expectedCarry.Maximum, actualCarry.Maximum)) << "run " << run;
    }
  }
  // 100 values, factor 32: one pair out, 36 values carried with their min and max.
  const auto in = MakeSamples<T>(rng, 100, 0);
  LevelCarry carry;
  std::vector<T> next;
  CascadeStep(in.data(), 100, 32, carry, next);
  EXPECT_EQ(2u, next.size());
  EXPECT_EQ(36u, carry.Count);
  // Odd counts (never written by the pyramid) read nothing beyond the values.
  for (ull odd = 1; odd < 200; odd += 14) {
    std::vector<T> exact(in.begin(), in.begin() + std::min<ull>(odd, 99));
    carry.Count = odd;
    CascadeStep(exact.data(), exact.size(), 16, carry, next);
    EXPECT_LE(next.size(), (exact.size() + odd) / 32 * 2);
  }
}

TYPED_TEST(BlockReductionTest, CascadeFeedsEachLevelAndStopsAtAFailedWrite) {
  using T = typename TypeParam::Type;
  std::mt19937 rng(3);
  const ull f = 4;
  MemoryLevels levels(4);
  std::vector<LevelCarry> reference(4);
  std::vector<std::vector<T>> expectedFiles(4);
  for (int block = 0; block < 40; ++block) {
    auto values = MakeSamples<T>(rng, 2 * (rng() % 40));
    ASSERT_TRUE(Cascade(SampleFormatOf<T>::kValue, levels, 0, values.data(), values.size(), f));
    for (std::size_t level = 0; level < 4 && !values.empty(); ++level) {
      expectedFiles[level].insert(expectedFiles[level].end(), values.begin(), values.end());
      values = RefCascadeStep(values, f, reference[level]);
    }
  }
  for (std::size_t level = 0; level < 4; ++level) {
    EXPECT_TRUE(SameBits(expectedFiles[level], levels.File<T>(level))) << "level " << level;
    EXPECT_EQ(reference[level].Count, levels.carries[level].Count) << "level " << level;
    EXPECT_TRUE(SameBits(reference[level].Minimum, levels.carries[level].Minimum));
    EXPECT_TRUE(SameBits(reference[level].Maximum, levels.carries[level].Maximum));
    EXPECT_FALSE(levels.untouched[level]);
  }

  // A failing level keeps its state, the one above it has moved on, and the result is false.
  const auto before = levels;
  levels.failing = 2;
  const auto values = MakeSamples<T>(rng, 2 * f * f * f);
  EXPECT_FALSE(Cascade(levels, 0, values.data(), values.size(), f));
  EXPECT_EQ(before.files[0].size() + values.size() * sizeof(T), levels.files[0].size());
  EXPECT_GT(levels.files[1].size(), before.files[1].size());
  EXPECT_EQ(before.files[2], levels.files[2]);
  EXPECT_EQ(before.carries[2].Count, levels.carries[2].Count);
  EXPECT_EQ(before.files[3], levels.files[3]);

  // No such level, no factor, or a format it doesn't know: false, and nothing written.
  EXPECT_FALSE(Cascade(levels, 4, values.data(), values.size(), f));
  EXPECT_FALSE(Cascade(levels, 0, values.data(), values.size(), 0));
  EXPECT_FALSE(Cascade(static_cast<SampleFormat_t>(4), levels, 0, values.data(), 2, f));
  EXPECT_EQ(before.files[0].size() + values.size() * sizeof(T), levels.files[0].size());
  MemoryLevels fresh(2);
  EXPECT_TRUE(Cascade(fresh, 0, values.data(), 0, f));
  EXPECT_TRUE(fresh.untouched[0]);
}

TYPED_TEST(BlockReductionTest, ProportionalReductionMapsPairsOntoTargets) {
  using T = typename TypeParam::Type;
  std::mt19937 rng(11);
  for (int run = 0; run < 3000; ++run) {
    const ull s = rng() % (run % 10 == 0 ? 5000 : 120);
    const ull d = rng() % 4 == 0 ? s : rng() % (run % 10 == 0 ? 400 : 150);
    const auto in = MakeSamples<T>(rng, s, run % 2 ? 2 : 150);
    std::vector<T> expected(d, Sentinel<T>()), actual = expected;
    RefProportional(expected, in);
    ReduceProportional(actual.data(), d, in.data(), s, SampleFormatOf<T>::kValue);
    ASSERT_TRUE(SameBits(expected, actual)) << "from " << s << " to " << d;
    if (d <= s && d != 0) {  // in place, as the final shrink of a request does it
      std::vector<T> inPlace = in, expectedInPlace(in.begin(), in.begin() + d);
      RefProportional(expectedInPlace, in);
      ReduceProportional(inPlace.data(), d, inPlace.data(), s);
      inPlace.resize(d);
      ASSERT_TRUE(SameBits(expectedInPlace, inPlace)) << "from " << s << " to " << d;
    }
  }
  // 8 values to 4: pairs 0 and 1 give the first target, 2 and 3 the second.
  const std::vector<T> in = {T(5), T(9), T(3), T(6), T(7), T(8), T(4), T(2)};
  std::vector<T> out(4);
  ReduceProportional(out.data(), 4, in.data(), 8);
  EXPECT_EQ(std::vector<T>({T(3), T(9), T(4), T(8)}), out);
  // Nothing to read from, nowhere to write, or a format it doesn't know: untouched.
  out.assign(4, Sentinel<T>());
  ReduceProportional(out.data(), 4, static_cast<const T*>(nullptr), 8);
  ReduceProportional(static_cast<T*>(nullptr), 4, in.data(), 8);
  ReduceProportional(out.data(), 0, in.data(), 8);
  ReduceProportional(out.data(), 4, in.data(), 1);
  ReduceProportional(out.data(), 4, in.data(), 8, static_cast<SampleFormat_t>(5));
  EXPECT_EQ(std::vector<T>(4, Sentinel<T>()), out);
}

}  // namespace
