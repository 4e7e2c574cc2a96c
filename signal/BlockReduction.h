// Min/max reduction of samples, the heart of the pyramid files and of every display
// request: raw samples to (min, max) pairs, pairs down the pyramid levels, and pairs to
// the number of points a display wants. Each routine is one template over the element
// type of the four sample formats; a format dispatcher picks the variant at run time.
//
// The folding rule is the same everywhere: with a running (min, max) and a new value x,
// the minimum stays only if x is greater than it and the maximum stays only if it is
// greater than x. On equality x therefore replaces the running value, and a NaN x
// replaces both (so a NaN is forgotten again by the next number). Files written by
// earlier versions were built with exactly this rule, so the fast paths (the kernels of
// ReductionLanes.h, chosen at run time by ReductionKernel.h) must give
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

#include "signal/ReductionKernel.h"
#include "signal/ReductionLanes.h"

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

// Folds `count` values (kPairs: count / 2 pairs) into minimum and maximum, with the result
// of the plain left-to-right fold, on the kernel in use.
template <typename T, bool kPairs>
inline void Fold(const T* p, std::size_t count, T& minimum, T& maximum) {
  const KernelRoutines<T>& routines = Routines<T>(ActiveKernels());
  (kPairs ? routines.FoldPairs : routines.FoldValues)(p, count, minimum, maximum);
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

  if (!open && samples >= factor && stored < room) {
    const unsigned long long groups = std::min(samples / factor, (room - stored) / 2);
    detail::Routines<T>(detail::ActiveKernels())
        .ReduceGroups(destination + stored, source, static_cast<std::size_t>(groups),
                      static_cast<std::size_t>(factor));
    stored += 2 * groups;
    source += groups * factor;
    samples -= groups * factor;
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
