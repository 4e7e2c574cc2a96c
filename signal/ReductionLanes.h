// The fast paths of the min/max reduction, written once over a "lanes" type that wraps
// one vector register of an element type: the baseline build's SSE2 lanes are here, the
// AVX2 ones live in the translation unit compiled for AVX2. Each routine gives the
// result of the plain left-to-right fold of BlockReduction.h bit for bit.
//
// A lanes type L provides: T (the element), Vec, kCount (elements per register),
// Load, Store, Min/Max (the folding rule lane by lane), Down<kBytes> (the register
// moved down by kBytes, so that lane 0 sees what lane kBytes/sizeof(T) held; only
// the lanes below what was moved down need to be right), NoNaN, AddNaN, AnyNaN, and
// for the reduction of many groups at once: kBytes (of a register), UnpackLo/UnpackHi
// <kUnit> (the units of kUnit bytes of the low or high halves of each 16-byte lane of
// two registers, interleaved) and, for 32-byte registers, HalvesLo/HalvesHi (the low or
// high 16-byte lanes of two registers side by side).
//
// Everything here that doesn't depend on L is forced inline: a translation unit
// compiled for a wider instruction set then never emits a copy of it that the linker
// could pick for the whole program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "signal/ReductionKernel.h"

#ifdef __SSE2__
#include <emmintrin.h>
#ifdef __SSE4_1__
#include <smmintrin.h>
#endif
#endif

#if defined(__GNUC__) || defined(__clang__)
#define ZSFF_FORCE_INLINE inline __attribute__((always_inline))
#else
#define ZSFF_FORCE_INLINE inline
#endif

namespace zsff {
namespace reduction {

// The folding rule, written as the compare-and-select that compilers turn into a single
// minss/maxss (minps/maxps on lanes), whose operand order gives exactly this rule.
template <typename T>
ZSFF_FORCE_INLINE T FoldMin(T running, T x) {
  return x > running ? running : x;
}
template <typename T>
ZSFF_FORCE_INLINE T FoldMax(T running, T x) {
  return running > x ? running : x;
}

namespace detail {

// Plain left-to-right fold of `count` values. With kPairs, values are (min, max) pairs:
// even indexes fold into the minimum, odd ones into the maximum, and count is even.
// Unrolled by four; the order of the folds, and so the result, is that of the plain loop.
template <typename T, bool kPairs>
ZSFF_FORCE_INLINE void FoldScalar(const T* p, std::size_t count, T& minimum, T& maximum) {
  constexpr std::size_t kStride = kPairs ? 2 : 1;
  constexpr std::size_t kHigh = kPairs ? 1 : 0;
  T lo = minimum, hi = maximum;
  std::size_t i = 0;
  for (; i + 4 * kStride <= count; i += 4 * kStride) {
    lo = FoldMin(lo, p[i]);
    hi = FoldMax(hi, p[i + kHigh]);
    lo = FoldMin(lo, p[i + kStride]);
    hi = FoldMax(hi, p[i + kStride + kHigh]);
    lo = FoldMin(lo, p[i + 2 * kStride]);
    hi = FoldMax(hi, p[i + 2 * kStride + kHigh]);
    lo = FoldMin(lo, p[i + 3 * kStride]);
    hi = FoldMax(hi, p[i + 3 * kStride + kHigh]);
  }
  for (; i + kStride <= count; i += kStride) {
    lo = FoldMin(lo, p[i]);
    hi = FoldMax(hi, p[i + kHigh]);
  }
  minimum = lo;
  maximum = hi;
}

// Without NaNs the folded value is the true minimum (maximum), and for integers and
// non-zero floats equal values are identical bits, so the lanes may be folded in any
// order. A zero result is the exception: +0 and -0 compare equal and the rule keeps the
// last one, which is the last zero in the span (or the starting value if it has none).
template <typename T, bool kPairs>
ZSFF_FORCE_INLINE T LastZero(const T* p, std::size_t count, std::size_t offset, T start) {
  constexpr std::size_t kStride = kPairs ? 2 : 1;
  for (std::size_t i = count - kStride + offset;; i -= kStride) {
    if (p[i] == T(0)) return p[i];
    if (i < kStride) break;
  }
  return start;
}

// Exact fold of a span whose length is a multiple of 2 * L::kCount, lanes first: two
// registers per side keep two dependency chains in flight. The lanes start from the
// span's own first values and the running values are folded in at the end, which gives
// the same result (a fold over a NaN-free span is just its min or max, ties aside) and
// spares setting up the registers for every group. A NaN anywhere (rare in measured
// data) sends the span to the plain fold, whose order then matters.
template <typename L, bool kPairs>
inline void FoldLanes(const typename L::T* p, std::size_t count, typename L::T& minimum,
                      typename L::T& maximum) {
  using T = typename L::T;
  using Vec = typename L::Vec;
  constexpr std::size_t kN = L::kCount;
  Vec lo0 = L::Load(p), lo1 = L::Load(p + kN);
  Vec hi0 = lo0, hi1 = lo1;
  Vec nan = L::AddNaN(L::NoNaN(), lo0, lo1);
  for (std::size_t i = 2 * kN; i < count; i += 2 * kN) {
    const Vec a = L::Load(p + i);
    const Vec b = L::Load(p + i + kN);
    lo0 = L::Min(lo0, a);
    hi0 = L::Max(hi0, a);
    lo1 = L::Min(lo1, b);
    hi1 = L::Max(hi1, b);
    nan = L::AddNaN(nan, a, b);
  }
  if (L::AnyNaN(nan)) {
    FoldScalar<T, kPairs>(p, count, minimum, maximum);
    return;
  }
  // Fold the lanes in halves down to the first one, or for pairs down to the first pair:
  // pairs keep minimums in even lanes and maximums in odd ones (kN is even, so a lane's
  // parity is that of the values it saw).
  constexpr std::size_t kUnit = sizeof(T) * (kPairs ? 2 : 1);
  Vec lo = L::Min(lo0, lo1), hi = L::Max(hi0, hi1);
  if constexpr (L::kBytes > 16) {
    lo = L::Min(lo, L::template Down<16>(lo));
    hi = L::Max(hi, L::template Down<16>(hi));
  }
  if constexpr (kUnit <= 8) {
    lo = L::Min(lo, L::template Down<8>(lo));
    hi = L::Max(hi, L::template Down<8>(hi));
  }
  if constexpr (kUnit <= 4) {
    lo = L::Min(lo, L::template Down<4>(lo));
    hi = L::Max(hi, L::template Down<4>(hi));
  }
  if constexpr (kUnit <= 2) {
    lo = L::Min(lo, L::template Down<2>(lo));
    hi = L::Max(hi, L::template Down<2>(hi));
  }
  constexpr std::size_t kHigh = kPairs ? 1 : 0;
  T lanes[kN];
  L::Store(lanes, lo);
  T newMin = FoldMin(minimum, lanes[0]);
  L::Store(lanes, hi);
  T newMax = FoldMax(maximum, lanes[kHigh]);
  if constexpr (std::is_floating_point<T>::value) {
    if (newMin == T(0)) newMin = LastZero<T, kPairs>(p, count, 0, minimum);
    if (newMax == T(0)) newMax = LastZero<T, kPairs>(p, count, kHigh, maximum);
  }
  minimum = newMin;
  maximum = newMax;
}

// Folds `count` values (kPairs: count / 2 pairs) into minimum and maximum, with the result
// of the plain left-to-right fold: the lanes take the bulk, the plain fold the rest.
template <typename L, bool kPairs>
void FoldWith(const typename L::T* p, std::size_t count, typename L::T& minimum,
              typename L::T& maximum) {
  if constexpr (L::kCount != 0) {
    constexpr std::size_t kBlock = 2 * L::kCount;
    const std::size_t bulk = count - count % kBlock;
    if (bulk != 0) {
      FoldLanes<L, kPairs>(p, bulk, minimum, maximum);
      p += bulk;
      count -= bulk;
    }
  }
  FoldScalar<typename L::T, kPairs>(p, count, minimum, maximum);
}

// Folds the registers v[0], ..., v[L::kCount - 1], each holding values of one group, into
// one register whose lane g holds the fold of v[g]: interleaving pairs of registers and
// folding the two halves halves their number and doubles the groups per register, so
// after log2(kCount) steps one register holds every group, in order. The lanes of a group
// are folded in no particular order, which only a NaN or a signed zero could tell.
template <typename L, typename Fold>
inline typename L::Vec FoldAcross(typename L::Vec* v, Fold fold) {
  std::size_t n = L::kCount;
  if constexpr (sizeof(typename L::T) <= 2) {
    for (std::size_t k = 0; k < n / 2; ++k)
      v[k] = fold(L::template UnpackLo<2>(v[2 * k], v[2 * k + 1]),
                  L::template UnpackHi<2>(v[2 * k], v[2 * k + 1]));
    n /= 2;
  }
  if constexpr (sizeof(typename L::T) <= 4) {
    for (std::size_t k = 0; k < n / 2; ++k)
      v[k] = fold(L::template UnpackLo<4>(v[2 * k], v[2 * k + 1]),
                  L::template UnpackHi<4>(v[2 * k], v[2 * k + 1]));
    n /= 2;
  }
  for (std::size_t k = 0; k < n / 2; ++k)
    v[k] = fold(L::template UnpackLo<8>(v[2 * k], v[2 * k + 1]),
                L::template UnpackHi<8>(v[2 * k], v[2 * k + 1]));
  if constexpr (L::kBytes == 32) v[0] = fold(L::HalvesLo(v[0], v[1]), L::HalvesHi(v[0], v[1]));
  return v[0];
}

// L::kCount whole groups of `factor` samples (a multiple of L::kCount) to their pairs,
// all at once. False, with nothing stored, when a NaN is among them.
template <typename L>
inline bool ReduceGroupBatch(typename L::T* destination, const typename L::T* source,
                             std::size_t factor) {
  using T = typename L::T;
  using Vec = typename L::Vec;
  constexpr std::size_t kN = L::kCount;
  Vec lo[kN], hi[kN];
  Vec nan = L::NoNaN();
  for (std::size_t g = 0; g < kN; ++g) {
    const T* group = source + g * factor;
    lo[g] = hi[g] = L::Load(group);
    nan = L::AddNaN(nan, lo[g], lo[g]);
    for (std::size_t i = kN; i < factor; i += kN) {
      const Vec x = L::Load(group + i);
      lo[g] = L::Min(lo[g], x);
      hi[g] = L::Max(hi[g], x);
      nan = L::AddNaN(nan, x, x);
    }
  }
  if (L::AnyNaN(nan)) return false;
  const Vec minimums = FoldAcross<L>(lo, [](Vec a, Vec b) { return L::Min(a, b); });
  const Vec maximums = FoldAcross<L>(hi, [](Vec a, Vec b) { return L::Max(a, b); });
  Vec first = L::template UnpackLo<sizeof(T)>(minimums, maximums);
  Vec second = L::template UnpackHi<sizeof(T)>(minimums, maximums);
  if constexpr (L::kBytes == 32) {
    const Vec low = L::HalvesLo(first, second);
    second = L::HalvesHi(first, second);
    first = low;
  }
  L::Store(destination, first);
  L::Store(destination + kN, second);
  if constexpr (std::is_floating_point<T>::value) {
    for (std::size_t g = 0; g < kN; ++g) {
      const T* group = source + g * factor;
      if (destination[2 * g] == T(0))
        destination[2 * g] = LastZero<T, false>(group, factor, 0, group[0]);
      if (destination[2 * g + 1] == T(0))
        destination[2 * g + 1] = LastZero<T, false>(group, factor, 0, group[0]);
    }
  }
  return true;
}

// `groups` whole groups of `factor` samples each, one after the other, to one (min, max)
// pair each: the main loop of the block reduction, in one call per block. Groups go
// L::kCount at a time where the factor allows.
template <typename L>
void ReduceGroupsWith(typename L::T* destination, const typename L::T* source, std::size_t groups,
                      std::size_t factor) {
  std::size_t batch = 0;  // groups left to go one at a time after a batch with a NaN
  for (std::size_t g = 0; g < groups; ++g, source += factor, destination += 2) {
    if constexpr (L::kCount != 0) {
      if (batch == 0 && factor % L::kCount == 0 && groups - g >= L::kCount) {
        if (ReduceGroupBatch<L>(destination, source, factor)) {
          g += L::kCount - 1;
          source += (L::kCount - 1) * factor;
          destination += 2 * (L::kCount - 1);
          continue;
        }
        batch = L::kCount;
      }
    }
    if (batch != 0) --batch;
    typename L::T lo = source[0], hi = source[0];  // folding it again changes nothing
    FoldWith<L, false>(source, factor, lo, hi);
    destination[0] = lo;
    destination[1] = hi;
  }
}

// The routines of one kernel, from a lanes type template.
template <template <typename> class Lanes, typename T>
constexpr KernelRoutines<T> RoutinesOf() {
  return {&FoldWith<Lanes<T>, false>, &FoldWith<Lanes<T>, true>, &ReduceGroupsWith<Lanes<T>>};
}
template <template <typename> class Lanes>
constexpr KernelTable TableOf() {
  return {RoutinesOf<Lanes, float>(), RoutinesOf<Lanes, double>(),
          RoutinesOf<Lanes, std::int16_t>(), RoutinesOf<Lanes, std::int32_t>()};
}

// The plain fold as a lanes type of one element, for builds without SSE2: FoldWith and
// ReduceGroupsWith then reduce to the plain loop.
template <typename E>
struct ScalarLanes {
  using T = E;
  static constexpr std::size_t kCount = 0;
  static constexpr std::size_t kBytes = 0;
};

#ifdef __SSE2__

// One SSE2 register of each element type. Min and Max keep the folding rule lane by lane:
// MINPS/MAXPS return their second operand on equality and on NaN, just as FoldMin and
// FoldMax return x.
template <typename E>
struct Sse2Lanes;

template <>
struct Sse2Lanes<float> {
  using T = float;
  using Vec = __m128;
  static constexpr std::size_t kCount = 4;
  static constexpr std::size_t kBytes = 16;
  static Vec Load(const float* p) { return _mm_loadu_ps(p); }
  static void Store(float* p, Vec v) { _mm_storeu_ps(p, v); }
  template <int kBytes>
  static Vec Down(Vec v) {
    static_assert(kBytes == 8 || kBytes == 4, "whole floats");
    return kBytes == 8 ? _mm_movehl_ps(v, v) : _mm_shuffle_ps(v, v, _MM_SHUFFLE(3, 2, 1, 1));
  }
  template <int kUnit>
  static Vec UnpackLo(Vec a, Vec b) {
    if constexpr (kUnit == 4) return _mm_unpacklo_ps(a, b);
    return _mm_castpd_ps(_mm_unpacklo_pd(_mm_castps_pd(a), _mm_castps_pd(b)));
  }
  template <int kUnit>
  static Vec UnpackHi(Vec a, Vec b) {
    if constexpr (kUnit == 4) return _mm_unpackhi_ps(a, b);
    return _mm_castpd_ps(_mm_unpackhi_pd(_mm_castps_pd(a), _mm_castps_pd(b)));
  }
  static Vec Min(Vec running, Vec x) { return _mm_min_ps(running, x); }
  static Vec Max(Vec running, Vec x) { return _mm_max_ps(running, x); }
  static Vec NoNaN() { return _mm_setzero_ps(); }
  static Vec AddNaN(Vec seen, Vec a, Vec b) { return _mm_or_ps(seen, _mm_cmpunord_ps(a, b)); }
  static bool AnyNaN(Vec seen) { return _mm_movemask_ps(seen) != 0; }
};

template <>
struct Sse2Lanes<double> {
  using T = double;
  using Vec = __m128d;
  static constexpr std::size_t kCount = 2;
  static constexpr std::size_t kBytes = 16;
  static Vec Load(const double* p) { return _mm_loadu_pd(p); }
  static void Store(double* p, Vec v) { _mm_storeu_pd(p, v); }
  template <int kBytes>
  static Vec Down(Vec v) {
    static_assert(kBytes == 8, "whole doubles");
    return _mm_unpackhi_pd(v, v);
  }
  template <int kUnit>
  static Vec UnpackLo(Vec a, Vec b) {
    return _mm_unpacklo_pd(a, b);
  }
  template <int kUnit>
  static Vec UnpackHi(Vec a, Vec b) {
    return _mm_unpackhi_pd(a, b);
  }
  static Vec Min(Vec running, Vec x) { return _mm_min_pd(running, x); }
  static Vec Max(Vec running, Vec x) { return _mm_max_pd(running, x); }
  static Vec NoNaN() { return _mm_setzero_pd(); }
  static Vec AddNaN(Vec seen, Vec a, Vec b) { return _mm_or_pd(seen, _mm_cmpunord_pd(a, b)); }
  static bool AnyNaN(Vec seen) { return _mm_movemask_pd(seen) != 0; }
};

// What the two integer types share: whole-register loads and byte shifts.
template <typename E>
struct Sse2IntegerLanes {
  using T = E;
  using Vec = __m128i;
  static constexpr std::size_t kCount = 16 / sizeof(E);
  static constexpr std::size_t kBytes = 16;
  static Vec Load(const E* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
  static void Store(E* p, Vec v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
  template <int kBytes>
  static Vec Down(Vec v) {
    return _mm_srli_si128(v, kBytes);
  }
  template <int kUnit>
  static Vec UnpackLo(Vec a, Vec b) {
    if constexpr (kUnit == 2) return _mm_unpacklo_epi16(a, b);
    if constexpr (kUnit == 4) return _mm_unpacklo_epi32(a, b);
    return _mm_unpacklo_epi64(a, b);
  }
  template <int kUnit>
  static Vec UnpackHi(Vec a, Vec b) {
    if constexpr (kUnit == 2) return _mm_unpackhi_epi16(a, b);
    if constexpr (kUnit == 4) return _mm_unpackhi_epi32(a, b);
    return _mm_unpackhi_epi64(a, b);
  }
  static Vec NoNaN() { return _mm_setzero_si128(); }
  static Vec AddNaN(Vec seen, Vec, Vec) { return seen; }
  static bool AnyNaN(Vec) { return false; }
};

template <>
struct Sse2Lanes<std::int16_t> : Sse2IntegerLanes<std::int16_t> {
  static Vec Min(Vec running, Vec x) { return _mm_min_epi16(running, x); }
  static Vec Max(Vec running, Vec x) { return _mm_max_epi16(running, x); }
};

template <>
struct Sse2Lanes<std::int32_t> : Sse2IntegerLanes<std::int32_t> {
#ifdef __SSE4_1__
  static Vec Min(Vec running, Vec x) { return _mm_min_epi32(running, x); }
  static Vec Max(Vec running, Vec x) { return _mm_max_epi32(running, x); }
#else
  // SSE2 has no 32-bit min/max: select with the comparison mask.
  static Vec Min(Vec running, Vec x) {
    const Vec greater = _mm_cmpgt_epi32(running, x);
    return _mm_or_si128(_mm_and_si128(greater, x), _mm_andnot_si128(greater, running));
  }
  static Vec Max(Vec running, Vec x) {
    const Vec greater = _mm_cmpgt_epi32(running, x);
    return _mm_or_si128(_mm_and_si128(greater, running), _mm_andnot_si128(greater, x));
  }
#endif
};

template <typename E>
using BaselineLanes = Sse2Lanes<E>;
#else
template <typename E>
using BaselineLanes = ScalarLanes<E>;
#endif  // __SSE2__

}  // namespace detail
}  // namespace reduction
}  // namespace zsff
