// Min/max reduction of samples, the heart of the pyramid files and of every display
// request: raw samples to (min, max) pairs, pairs down the pyramid levels, and pairs to
// the number of points a display wants. Each routine is one template over the element
// type of the four sample formats; a format dispatcher picks the variant at run time.
//
// The folding rule is the same everywhere: with a running (min, max) and a new value x,
// the minimum stays only if x is greater than it and the maximum stays only if it is
// greater than x. On equality x therefore replaces the running value, and a NaN x
// replaces both (so a NaN is forgotten again by the next number). Files written by
// earlier versions were built with exactly this rule, so the fast paths below must give
// bit-identical results to a plain left-to-right fold, signed zeros and NaNs included.
#pragma once

#include <zsff/SignalTypes.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#ifdef __SSE2__
#include <emmintrin.h>
#ifdef __SSE4_1__
#include <smmintrin.h>
#endif
#endif

namespace zsff {
namespace reduction {

// ---------------------------------------------------------------------------------------
// Contracts

// Values needed to reduce `samples` samples by `factor` in one call with nothing left in
// the carry: 2 when the block is shorter than a group, else two per (possibly short)
// group. Computed in doubles, as the files were always sized. 0 for a factor of 0.
unsigned long long ReducedSize(unsigned long long samples, unsigned long long factor);

// Block reduction: every `factor` samples of `source` become one (min, max) pair in
// `destination`. `capacity` counts values; only whole pairs are stored, so at most
// capacity & ~1 values are written. The carry (`missing`, `minimum`, `maximum`) belongs
// to the caller and links calls: `missing` is the number of samples the open group still
// waits for (0: no open group), `minimum` and `maximum` its running values, widened to
// double whatever the element type.
//
// An open group first takes min(samples, missing) samples; `missing` then becomes factor
// minus that number (not missing minus it: a group spanning two calls thus grows longer
// than `factor`, and views built from several blocks must keep coming out as they always
// have), and the group stays open until the next stored pair closes it. The
// last group of a block is stored even when short, so a capacity of ReducedSize() always
// consumes the whole block and leaves no carry. When the capacity runs out with fewer
// than `factor` samples left, those samples open a new group in the carry; more than that
// are dropped. A null `source` with samples, or a factor of 0, changes nothing; a null
// `destination` counts as no room. Returns the number of values stored.
template <typename T>
unsigned long long ReduceBlock(T* destination, unsigned long long capacity, const T* source,
                               unsigned long long samples, unsigned long long factor,
                               unsigned long long& missing, double& minimum, double& maximum);

// The same for a sample format chosen at run time; any other format does nothing.
unsigned long long ReduceBlock(void* destination, unsigned long long capacity, const void* source,
                               unsigned long long samples, unsigned long long factor,
                               SampleFormat_t format, unsigned long long& missing, double& minimum,
                               double& maximum);

// Folds `values` values of `source`, taken as (min, max) pairs, into the pair at `pair`:
// how a view's last point takes in what its even share of points left over. The
// carry form folds a running (min, max) kept in doubles. Any other format does nothing.
template <typename T>
void FoldIntoPair(T* pair, const T* source, unsigned long long values);
void FoldIntoPair(void* pair, const void* source, unsigned long long values, SampleFormat_t format);
void FoldIntoPair(void* pair, double minimum, double maximum, SampleFormat_t format);

// What one pyramid level keeps between blocks: values received but not yet summarised
// for the next level, and their running min and max (doubles whatever the format).
struct LevelCarry {
  unsigned long long Count = 0;
  double Minimum = 0.0;
  double Maximum = 0.0;
};

// One level of the cascade, without its file: `values` (min, max pairs) join the values
// carried by `carry`; every `factor` pairs become one pair of `next` (emptied first), and
// what is left stays in `carry`. The first group takes the carried values into account;
// whatever is left over is folded into the carry with the first pair compared the other
// way round (the saved min is replaced only by a smaller value, the saved max only by a
// greater one), as the level files have always been built. Allocates `next` only when a
// pair is made. Counts are expected to be even; an odd count never reads past `values`.
// A null `values` with a count, or a factor of 0, changes nothing.
template <typename T>
void CascadeStep(const T* values, unsigned long long count, unsigned long long factor,
                 LevelCarry& carry, std::vector<T>& next);

// The level cascade over a table of level files. `Levels` provides
//   std::size_t size() const;                 the number of levels
//   LevelCarry& Carry(std::size_t level);     the level's running state
//   bool Append(std::size_t level, const void* data, unsigned long long bytes);
//     called once per visit of a level, before anything else changes: clears the level's
//     never-written mark when bytes isn't 0 and writes the bytes in one go; false when the
//     write failed or was short.
// Writes `count` values to `level`, reduces them, and hands each completed pair on to the
// next level until the last one, whose own reduction is dropped. False when `level` is
// beyond the table, the factor is 0, or a write at this level or deeper failed; a failed
// write at this level leaves its carry as it was, a deeper one leaves this level's carry
// updated.
template <typename T, typename Levels>
bool Cascade(Levels& levels, std::size_t level, const T* values, unsigned long long count,
             unsigned long long factor);

// The same for a sample format chosen at run time; false for any other format.
template <typename Levels>
bool Cascade(SampleFormat_t format, Levels& levels, std::size_t level, const void* values,
             unsigned long long count, unsigned long long factor);

// Proportional reduction: maps `sourceValues` values (taken as pairs; an odd last value is
// never read) onto `destinationValues` values, pair p going to the pair at the even index
// (2 p d) / s. Pairs sharing a target are folded together; the first pair of each target
// starts it afresh. Targets whose pair would pass the end of the destination are not
// stored, and targets no pair reaches (when the destination is larger) keep what was
// there. Equal sizes copy. Nothing happens with a null pointer or a size of 0, and nothing
// is written when the source holds less than a pair. The destination may be the source
// itself when it is not larger.
template <typename T>
void ReduceProportional(T* destination, unsigned long long destinationValues, const T* source,
                        unsigned long long sourceValues);

// The same for a sample format chosen at run time; any other format does nothing.
void ReduceProportional(void* destination, unsigned long long destinationValues, const void* source,
                        unsigned long long sourceValues, SampleFormat_t format);

// The value index of the pair that ReduceProportional writes last (the target of the
// source's last pair), or destinationValues when it writes none.
unsigned long long LastProportionalTarget(unsigned long long destinationValues,
                                          unsigned long long sourceValues);

// Calls visit(T{}) with the element type of `format`; false, without a call, for any
// other value. The one place that maps a format to its element type.
template <typename Visit>
bool VisitSampleType(SampleFormat_t format, Visit&& visit) {
  switch (format) {
    case SIFloat:
      visit(float{});
      return true;
    case SIDouble:
      visit(double{});
      return true;
    case Compact16:
      visit(std::int16_t{});
      return true;
    case Raw32:
      visit(std::int32_t{});
      return true;
  }
  return false;
}

// ---------------------------------------------------------------------------------------
// Folding

// The folding rule, written as the compare-and-select that compilers turn into a single
// minss/maxss (minps/maxps on lanes), whose operand order gives exactly this rule.
template <typename T>
inline T FoldMin(T running, T x) {
  return x > running ? running : x;
}
template <typename T>
inline T FoldMax(T running, T x) {
  return running > x ? running : x;
}

namespace detail {

// Carries are doubles; a carry that didn't come from this element type (only a caller's
// garbage can do that) is clamped rather than converted out of range.
template <typename T>
inline T Narrow(double value) {
  if constexpr (std::is_floating_point<T>::value) {
    return static_cast<T>(value);
  } else {
    if (std::isnan(value)) return T(0);
    if (value <= static_cast<double>(std::numeric_limits<T>::min()))
      return std::numeric_limits<T>::min();
    if (value >= static_cast<double>(std::numeric_limits<T>::max()))
      return std::numeric_limits<T>::max();
    return static_cast<T>(value);
  }
}

// Plain left-to-right fold of `count` values. With kPairs, values are (min, max) pairs:
// even indexes fold into the minimum, odd ones into the maximum, and count is even.
// Unrolled by four; the order of the folds, and so the result, is that of the plain loop.
template <typename T, bool kPairs>
inline void FoldScalar(const T* p, std::size_t count, T& minimum, T& maximum) {
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

#ifdef __SSE2__

// One SSE2 register of each element type. Min and Max keep the folding rule lane by lane:
// MINPS/MAXPS return their second operand on equality and on NaN, just as FoldMin and
// FoldMax return x.
template <typename T>
struct Lanes;

template <>
struct Lanes<float> {
  using Vec = __m128;
  static constexpr std::size_t kCount = 4;
  static Vec Load(const float* p) { return _mm_loadu_ps(p); }
  static Vec Splat(float v) { return _mm_set1_ps(v); }
  static void Store(float* p, Vec v) { _mm_storeu_ps(p, v); }
  template <int kBytes>
  static Vec Down(Vec v) {
    static_assert(kBytes == 8 || kBytes == 4, "whole floats");
    return kBytes == 8 ? _mm_movehl_ps(v, v) : _mm_shuffle_ps(v, v, _MM_SHUFFLE(3, 2, 1, 1));
  }
  static Vec Min(Vec running, Vec x) { return _mm_min_ps(running, x); }
  static Vec Max(Vec running, Vec x) { return _mm_max_ps(running, x); }
  static Vec NoNaN() { return _mm_setzero_ps(); }
  static Vec AddNaN(Vec seen, Vec a, Vec b) { return _mm_or_ps(seen, _mm_cmpunord_ps(a, b)); }
  static bool AnyNaN(Vec seen) { return _mm_movemask_ps(seen) != 0; }
};

template <>
struct Lanes<double> {
  using Vec = __m128d;
  static constexpr std::size_t kCount = 2;
  static Vec Load(const double* p) { return _mm_loadu_pd(p); }
  static Vec Splat(double v) { return _mm_set1_pd(v); }
  static void Store(double* p, Vec v) { _mm_storeu_pd(p, v); }
  template <int kBytes>
  static Vec Down(Vec v) {
    static_assert(kBytes == 8, "whole doubles");
    return _mm_unpackhi_pd(v, v);
  }
  static Vec Min(Vec running, Vec x) { return _mm_min_pd(running, x); }
  static Vec Max(Vec running, Vec x) { return _mm_max_pd(running, x); }
  static Vec NoNaN() { return _mm_setzero_pd(); }
  static Vec AddNaN(Vec seen, Vec a, Vec b) { return _mm_or_pd(seen, _mm_cmpunord_pd(a, b)); }
  static bool AnyNaN(Vec seen) { return _mm_movemask_pd(seen) != 0; }
};

template <>
struct Lanes<std::int16_t> {
  using Vec = __m128i;
  static constexpr std::size_t kCount = 8;
  static Vec Load(const std::int16_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  }
  static Vec Splat(std::int16_t v) { return _mm_set1_epi16(v); }
  static void Store(std::int16_t* p, Vec v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
  template <int kBytes>
  static Vec Down(Vec v) {
    return _mm_srli_si128(v, kBytes);
  }
  static Vec Min(Vec running, Vec x) { return _mm_min_epi16(running, x); }
  static Vec Max(Vec running, Vec x) { return _mm_max_epi16(running, x); }
  static Vec NoNaN() { return _mm_setzero_si128(); }
  static Vec AddNaN(Vec seen, Vec, Vec) { return seen; }
  static bool AnyNaN(Vec) { return false; }
};

template <>
struct Lanes<std::int32_t> {
  using Vec = __m128i;
  static constexpr std::size_t kCount = 4;
  static Vec Load(const std::int32_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  }
  static Vec Splat(std::int32_t v) { return _mm_set1_epi32(v); }
  static void Store(std::int32_t* p, Vec v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
  template <int kBytes>
  static Vec Down(Vec v) {
    return _mm_srli_si128(v, kBytes);
  }
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
  static Vec NoNaN() { return _mm_setzero_si128(); }
  static Vec AddNaN(Vec seen, Vec, Vec) { return seen; }
  static bool AnyNaN(Vec) { return false; }
};

// Without NaNs the folded value is the true minimum (maximum), and for integers and
// non-zero floats equal values are identical bits, so the lanes may be folded in any
// order. A zero result is the exception: +0 and -0 compare equal and the rule keeps the
// last one, which is the last zero in the span (or the starting value if it has none).
template <typename T, bool kPairs>
inline T LastZero(const T* p, std::size_t count, std::size_t offset, T start) {
  constexpr std::size_t kStride = kPairs ? 2 : 1;
  for (std::size_t i = count - kStride + offset;; i -= kStride) {
    if (p[i] == T(0)) return p[i];
    if (i < kStride) break;
  }
  return start;
}

// Exact fold of a span whose length is a multiple of 2 * Lanes<T>::kCount, lanes first:
// two registers per side keep two dependency chains in flight. The lanes start from the
// span's own first values and the running values are folded in at the end, which gives
// the same result (a fold over a NaN-free span is just its min or max, ties aside) and
// spares setting up the registers for every group. A NaN anywhere (rare in measured
// data) sends the span to the plain fold, whose order then matters.
template <typename T, bool kPairs>
inline void FoldLanes(const T* p, std::size_t count, T& minimum, T& maximum) {
  using L = Lanes<T>;
  constexpr std::size_t kN = L::kCount;
  typename L::Vec lo0 = L::Load(p), lo1 = L::Load(p + kN);
  typename L::Vec hi0 = lo0, hi1 = lo1;
  typename L::Vec nan = L::AddNaN(L::NoNaN(), lo0, lo1);
  for (std::size_t i = 2 * kN; i < count; i += 2 * kN) {
    const typename L::Vec a = L::Load(p + i);
    const typename L::Vec b = L::Load(p + i + kN);
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
  constexpr int kUnit = static_cast<int>(sizeof(T)) * (kPairs ? 2 : 1);
  typename L::Vec lo = L::Min(lo0, lo1), hi = L::Max(hi0, hi1);
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

#endif  // __SSE2__

// Folds `count` values (kPairs: count / 2 pairs) into minimum and maximum, with the result
// of the plain left-to-right fold.
template <typename T, bool kPairs>
inline void Fold(const T* p, std::size_t count, T& minimum, T& maximum) {
#ifdef __SSE2__
  constexpr std::size_t kBlock = 2 * Lanes<T>::kCount;
  const std::size_t bulk = count - count % kBlock;
  if (bulk != 0) {
    FoldLanes<T, kPairs>(p, bulk, minimum, maximum);
    p += bulk;
    count -= bulk;
  }
#endif
  FoldScalar<T, kPairs>(p, count, minimum, maximum);
}

}  // namespace detail

// ---------------------------------------------------------------------------------------
// Definitions

template <typename T>
unsigned long long ReduceBlock(T* destination, unsigned long long capacity, const T* source,
                               unsigned long long samples, unsigned long long factor,
                               unsigned long long& missing, double& minimum, double& maximum) {
  if (factor == 0 || (source == nullptr && samples != 0)) return 0;
  const unsigned long long room = destination == nullptr ? 0 : capacity & ~1ULL;
  unsigned long long stored = 0;
  bool open = false;
  T lo = T(0), hi = T(0);

  if (missing != 0) {
    lo = detail::Narrow<T>(minimum);
    hi = detail::Narrow<T>(maximum);
    const unsigned long long taken = std::min(samples, missing);
    detail::Fold<T, false>(source, static_cast<std::size_t>(taken), lo, hi);
    source += taken;
    samples -= taken;
    missing = taken < factor ? factor - taken : 0;
    if (missing != 0) {
      minimum = lo;
      maximum = hi;
      open = true;
    } else if (room != 0) {
      destination[0] = lo;
      destination[1] = hi;
      stored = 2;
    }
  }

  while (samples != 0 && stored < room) {
    if (!open) lo = hi = source[0];  // folding it again below changes nothing
    const unsigned long long group = std::min(samples, factor);
    detail::Fold<T, false>(source, static_cast<std::size_t>(group), lo, hi);
    destination[stored] = lo;
    destination[stored + 1] = hi;
    stored += 2;
    source += group;
    samples -= group;
    if (open) {
      open = false;
      missing = 0;
    }
  }

  if (samples != 0 && samples < factor) {
    lo = hi = source[0];
    detail::Fold<T, false>(source, static_cast<std::size_t>(samples), lo, hi);
    minimum = lo;
    maximum = hi;
    missing = factor - samples;
  }
  return stored;
}

template <typename T>
void FoldIntoPair(T* pair, const T* source, unsigned long long values) {
  if (pair == nullptr || source == nullptr || values < 2) return;
  detail::Fold<T, true>(source, static_cast<std::size_t>(values & ~1ULL), pair[0], pair[1]);
}

template <typename T>
void CascadeStep(const T* values, unsigned long long count, unsigned long long factor,
                 LevelCarry& carry, std::vector<T>& next) {
  next.clear();
  if (factor == 0 || (values == nullptr && count != 0)) return;
  const unsigned long long total = count + carry.Count;
  const unsigned long long made = total / (2 * factor) * 2;
  const unsigned long long carried = total - made * factor;
  unsigned long long pairs = count / 2;  // pairs of `values` not yet used

  if (made != 0) {
    // Reserved from the input size, so that a bad carried count can't make it huge.
    next.reserve(static_cast<std::size_t>(std::min(made, 2 * (pairs / factor + 2))));
    while (next.size() < made) {
      T lo, hi;
      unsigned long long need = factor;
      if (next.empty() && carry.Count != 0) {
        lo = detail::Narrow<T>(carry.Minimum);
        hi = detail::Narrow<T>(carry.Maximum);
        const unsigned long long had = carry.Count / 2;
        need = had < factor ? factor - had : 0;
      } else {
        if (pairs == 0) break;  // only an odd count gets here
        lo = values[0];
        hi = values[1];
      }
      need = std::min(need, pairs);
      detail::Fold<T, true>(values, static_cast<std::size_t>(2 * need), lo, hi);
      values += 2 * need;
      pairs -= need;
      next.push_back(lo);
      next.push_back(hi);
    }
    carry.Count = 0;
  }

  if (carried != carry.Count && pairs != 0) {
    T lo, hi;
    if (carry.Count == 0) {
      lo = values[0];
      hi = values[1];
    } else {
      lo = detail::Narrow<T>(carry.Minimum);
      hi = detail::Narrow<T>(carry.Maximum);
      lo = lo > values[0] ? values[0] : lo;
      hi = values[1] > hi ? values[1] : hi;
    }
    detail::Fold<T, true>(values + 2, static_cast<std::size_t>(2 * (pairs - 1)), lo, hi);
    carry.Minimum = lo;
    carry.Maximum = hi;
  }
  carry.Count = carried;
}

template <typename T, typename Levels>
bool Cascade(Levels& levels, std::size_t level, const T* values, unsigned long long count,
             unsigned long long factor) {
  if (level >= levels.size() || factor == 0 || (values == nullptr && count != 0)) return false;
  if (!levels.Append(level, values, count * sizeof(T))) return false;
  std::vector<T> next;
  CascadeStep(values, count, factor, levels.Carry(level), next);
  if (next.empty() || level + 1 >= levels.size()) return true;
  return Cascade(levels, level + 1, next.data(), next.size(), factor);
}

template <typename Levels>
bool Cascade(SampleFormat_t format, Levels& levels, std::size_t level, const void* values,
             unsigned long long count, unsigned long long factor) {
  bool result = false;
  VisitSampleType(format, [&](auto tag) {
    using T = decltype(tag);
    result = Cascade(levels, level, static_cast<const T*>(values), count, factor);
  });
  return result;
}

template <typename T>
void ReduceProportional(T* destination, unsigned long long destinationValues, const T* source,
                        unsigned long long sourceValues) {
  const unsigned long long d = destinationValues, s = sourceValues;
  if (destination == nullptr || source == nullptr || d == 0 || s == 0) return;
  if (d == s) {
    std::memmove(destination, source, static_cast<std::size_t>(s) * sizeof(T));
    return;
  }
  const unsigned long long pairs = s / 2;
  // Pair p goes to target c = (2 p d / s) with the low bit cleared, so target c takes the
  // pairs with c s <= 2 p d < (c + 2) s. Working a whole target at a time gives the same
  // indexes as stepping pair by pair, with one division per target instead of per pair.
  unsigned long long p = 0;
  while (p < pairs) {
    const unsigned long long target = (2 * p * d / s) & ~1ULL;
    unsigned long long end = ((target + 2) * s + 2 * d - 1) / (2 * d);
    end = std::min(std::max(end, p + 1), pairs);
    T lo = source[2 * p], hi = source[2 * p + 1];
    detail::Fold<T, true>(source + 2 * p, static_cast<std::size_t>(2 * (end - p)), lo, hi);
    if (target + 1 < d) {
      destination[target] = lo;
      destination[target + 1] = hi;
    }
    p = end;
  }
}

// ---------------------------------------------------------------------------------------
// The four element types are compiled once, in BlockReduction.cpp.

#define ZSFF_REDUCTION_EXTERN(T)                                                            \
  extern template unsigned long long ReduceBlock<T>(T*, unsigned long long, const T*,       \
                                                    unsigned long long, unsigned long long, \
                                                    unsigned long long&, double&, double&); \
  extern template void FoldIntoPair<T>(T*, const T*, unsigned long long);                   \
  extern template void CascadeStep<T>(const T*, unsigned long long, unsigned long long,     \
                                      LevelCarry&, std::vector<T>&);                        \
  extern template void ReduceProportional<T>(T*, unsigned long long, const T*, unsigned long long);
ZSFF_REDUCTION_EXTERN(float)
ZSFF_REDUCTION_EXTERN(double)
ZSFF_REDUCTION_EXTERN(std::int16_t)
ZSFF_REDUCTION_EXTERN(std::int32_t)
#undef ZSFF_REDUCTION_EXTERN

}  // namespace reduction
}  // namespace zsff
