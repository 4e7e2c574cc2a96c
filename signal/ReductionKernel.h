// Which instruction set the min/max reduction runs on: the widest the processor offers,
// chosen once at the first reduction (AVX2 where the processor and the build have it,
// SSE2 otherwise), or one a test forces so that each is checked against the plain fold.
// Every kernel gives the same bits; only the speed differs.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zsff {
namespace reduction {

enum ReductionKernel_t {
  ReductionKernelAuto,      // the widest available
  ReductionKernelBaseline,  // SSE2 on x86-64, the plain fold elsewhere
  ReductionKernelAvx2,
};

// The fast paths of one kernel for one element type T.
template <typename T>
struct KernelRoutines {
  // Folds `count` values (pairs: count / 2 (min, max) pairs) into minimum and maximum.
  void (*FoldValues)(const T* values, std::size_t count, T& minimum, T& maximum);
  void (*FoldPairs)(const T* values, std::size_t count, T& minimum, T& maximum);
  // `groups` whole groups of `factor` samples to one (min, max) pair each.
  void (*ReduceGroups)(T* destination, const T* source, std::size_t groups, std::size_t factor);
};

struct KernelTable {
  KernelRoutines<float> Float;
  KernelRoutines<double> Double;
  KernelRoutines<std::int16_t> Int16;
  KernelRoutines<std::int32_t> Int32;
};

// Makes `kernel` the one every later reduction of the process uses. False, with nothing
// changed, when the processor or the build lacks it. Meant for tests and benchmarks:
// callers reducing at the same time may still see the kernel before.
bool SelectKernel(ReductionKernel_t kernel);
// The kernel in use (never ReductionKernelAuto).
ReductionKernel_t ActiveKernel();

namespace detail {

// The tables of the build: the baseline always; AVX2 where the build has it (null
// elsewhere), to be called only once the processor is known to have it.
const KernelTable& BaselineKernels();
const KernelTable* Avx2Kernels();

// The table in use; the first call chooses it.
const KernelTable& ActiveKernels();

template <typename T>
const KernelRoutines<T>& Routines(const KernelTable& table);
template <>
inline const KernelRoutines<float>& Routines<float>(const KernelTable& table) {
  return table.Float;
}
template <>
inline const KernelRoutines<double>& Routines<double>(const KernelTable& table) {
  return table.Double;
}
template <>
inline const KernelRoutines<std::int16_t>& Routines<std::int16_t>(const KernelTable& table) {
  return table.Int16;
}
template <>
inline const KernelRoutines<std::int32_t>& Routines<std::int32_t>(const KernelTable& table) {
  return table.Int32;
}

}  // namespace detail
}  // namespace reduction
}  // namespace zsff
