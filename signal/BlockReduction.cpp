// The min/max reductions compiled once for the four sample formats, and their run-time
// dispatchers.
#include "signal/BlockReduction.h"

namespace zsff {
namespace reduction {

unsigned long long ReducedSize(unsigned long long samples, unsigned long long factor) {
  if (factor == 0) return 0;
  if (samples < factor) return 2;
  return 2 * static_cast<unsigned long long>(
                 std::ceil(static_cast<double>(samples) / static_cast<double>(factor)));
}

unsigned long long ReduceBlock(void* destination, unsigned long long capacity, const void* source,
                               unsigned long long samples, unsigned long long factor,
                               SampleFormat_t format, unsigned long long& missing, double& minimum,
                               double& maximum) {
  unsigned long long stored = 0;
  VisitSampleType(format, [&](auto tag) {
    using T = decltype(tag);
    stored = ReduceBlock(static_cast<T*>(destination), capacity, static_cast<const T*>(source),
                         samples, factor, missing, minimum, maximum);
  });
  return stored;
}

void FoldIntoPair(void* pair, const void* source, unsigned long long values,
                  SampleFormat_t format) {
  VisitSampleType(format, [&](auto tag) {
    using T = decltype(tag);
    FoldIntoPair(static_cast<T*>(pair), static_cast<const T*>(source), values);
  });
}

void FoldIntoPair(void* pair, double minimum, double maximum, SampleFormat_t format) {
  VisitSampleType(format, [&](auto tag) {
    using T = decltype(tag);
    const T carried[2] = {detail::Narrow<T>(minimum), detail::Narrow<T>(maximum)};
    FoldIntoPair(static_cast<T*>(pair), carried, 2);
  });
}

void ReduceProportional(void* destination, unsigned long long destinationValues, const void* source,
                        unsigned long long sourceValues, SampleFormat_t format) {
  VisitSampleType(format, [&](auto tag) {
    using T = decltype(tag);
    ReduceProportional(static_cast<T*>(destination), destinationValues,
                       static_cast<const T*>(source), sourceValues);
  });
}

unsigned long long LastProportionalTarget(unsigned long long destinationValues,
                                          unsigned long long sourceValues) {
  const unsigned long long d = destinationValues, s = sourceValues;
  if (d == 0 || s < 2) return d;
  const unsigned long long target = d == s ? s - 2 : (2 * (s / 2 - 1) * d / s) & ~1ULL;
  return target + 1 < d ? target : d;
}

#define ZSFF_REDUCTION_INSTANTIATE(T)                                                              \
  template unsigned long long ReduceBlock<T>(T*, unsigned long long, const T*, unsigned long long, \
                                             unsigned long long, unsigned long long&, double&,     \
                                             double&);                                             \
  template void FoldIntoPair<T>(T*, const T*, unsigned long long);                                 \
  template void CascadeStep<T>(const T*, unsigned long long, unsigned long long, LevelCarry&,      \
                               std::vector<T>&);                                                   \
  template void ReduceProportional<T>(T*, unsigned long long, const T*, unsigned long long);
ZSFF_REDUCTION_INSTANTIATE(float)
ZSFF_REDUCTION_INSTANTIATE(double)
ZSFF_REDUCTION_INSTANTIATE(std::int16_t)
ZSFF_REDUCTION_INSTANTIATE(std::int32_t)
#undef ZSFF_REDUCTION_INSTANTIATE

}  // namespace reduction
}  // namespace zsff
