// The choice of the reduction kernel, and the baseline kernel's table.
#include "signal/ReductionKernel.h"

#include <atomic>

#include "signal/ReductionLanes.h"

namespace zsff {
namespace reduction {

namespace {

std::atomic<const KernelTable*> s_Active{nullptr};

bool ProcessorHasAvx2() {
#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
  return __builtin_cpu_supports("avx2");
#else
  return false;
#endif
}

const KernelTable* KernelTableFor(ReductionKernel_t kernel) {
  switch (kernel) {
    case ReductionKernelAuto:
      // The processor is asked first: the AVX2 file's code mustn't run without it.
      return ProcessorHasAvx2() && detail::Avx2Kernels() != nullptr ? detail::Avx2Kernels()
                                                                    : &detail::BaselineKernels();
    case ReductionKernelBaseline:
      return &detail::BaselineKernels();
    case ReductionKernelAvx2:
      return ProcessorHasAvx2() ? detail::Avx2Kernels() : nullptr;
  }
  return nullptr;
}

}  // namespace

bool SelectKernel(ReductionKernel_t kernel) {
  const KernelTable* table = KernelTableFor(kernel);
  if (table == nullptr) return false;
  s_Active.store(table, std::memory_order_relaxed);
  return true;
}

ReductionKernel_t ActiveKernel() {
  return &detail::ActiveKernels() == &detail::BaselineKernels() ? ReductionKernelBaseline
                                                                : ReductionKernelAvx2;
}

namespace detail {

const KernelTable& BaselineKernels() {
  static constexpr KernelTable table = TableOf<BaselineLanes>();
  return table;
}

const KernelTable& ActiveKernels() {
  const KernelTable* table = s_Active.load(std::memory_order_relaxed);
  if (table == nullptr) {
    table = KernelTableFor(ReductionKernelAuto);
    s_Active.store(table, std::memory_order_relaxed);
  }
  return *table;
}

}  // namespace detail
}  // namespace reduction
}  // namespace zsff
