// The AVX2 kernel of the min/max reduction. This file alone is compiled for AVX2, and
// is run only where the processor has it. Its lanes types sit in an unnamed namespace
// and the helpers it shares with the baseline are forced inline, so nothing compiled
// here can stand in for the baseline's code elsewhere in the program.
#include "signal/ReductionKernel.h"

#ifdef __AVX2__

#include <immintrin.h>

#include "signal/ReductionLanes.h"

namespace zsff {
namespace reduction {

namespace {

// One AVX2 register of each element type. VMINPS/VMAXPS keep the operand order of
// their SSE2 forms, and so the folding rule. Down moves whole 16-byte halves first and
// then within the low half, which is all the final lanes read.
template <typename E>
struct Avx2Lanes;

template <>
struct Avx2Lanes<float> {
  using T = float;
  using Vec = __m256;
  static constexpr std::size_t kCount = 8;
  static constexpr std::size_t kBytes = 32;
  static Vec Load(const float* p) { return _mm256_loadu_ps(p); }
  static void Store(float* p, Vec v) { _mm256_storeu_ps(p, v); }
  template <int kBytes>
  static Vec Down(Vec v) {
    static_assert(kBytes == 16 || kBytes == 8 || kBytes == 4, "whole floats");
    if constexpr (kBytes == 16) return _mm256_permute2f128_ps(v, v, 1);
    if constexpr (kBytes == 8) return _mm256_permute_ps(v, _MM_SHUFFLE(3, 2, 3, 2));
    return _mm256_permute_ps(v, _MM_SHUFFLE(3, 2, 1, 1));
  }
  template <int kUnit>
  static Vec UnpackLo(Vec a, Vec b) {
    if constexpr (kUnit == 4) return _mm256_unpacklo_ps(a, b);
    return _mm256_castpd_ps(_mm256_unpacklo_pd(_mm256_castps_pd(a), _mm256_castps_pd(b)));
  }
  template <int kUnit>
  static Vec UnpackHi(Vec a, Vec b) {
    if constexpr (kUnit == 4) return _mm256_unpackhi_ps(a, b);
    return _mm256_castpd_ps(_mm256_unpackhi_pd(_mm256_castps_pd(a), _mm256_castps_pd(b)));
  }
  static Vec HalvesLo(Vec a, Vec b) { return _mm256_permute2f128_ps(a, b, 0x20); }
  static Vec HalvesHi(Vec a, Vec b) { return _mm256_permute2f128_ps(a, b, 0x31); }
  static Vec Min(Vec running, Vec x) { return _mm256_min_ps(running, x); }
  static Vec Max(Vec running, Vec x) { return _mm256_max_ps(running, x); }
  static Vec NoNaN() { return _mm256_setzero_ps(); }
  static Vec AddNaN(Vec seen, Vec a, Vec b) {
    return _mm256_or_ps(seen, _mm256_cmp_ps(a, b, _CMP_UNORD_Q));
  }
  static bool AnyNaN(Vec seen) { return _mm256_movemask_ps(seen) != 0; }
};

template <>
struct Avx2Lanes<double> {
  using T = double;
  using Vec = __m256d;
  static constexpr std::size_t kCount = 4;
  static constexpr std::size_t kBytes = 32;
  static Vec Load(const double* p) { return _mm256_loadu_pd(p); }
  static void Store(double* p, Vec v) { _mm256_storeu_pd(p, v); }
  template <int kBytes>
  static Vec Down(Vec v) {
    static_assert(kBytes == 16 || kBytes == 8, "whole doubles");
    if constexpr (kBytes == 16) return _mm256_permute2f128_pd(v, v, 1);
    return _mm256_permute_pd(v, 0x5);
  }
  template <int kUnit>
  static Vec UnpackLo(Vec a, Vec b) {
    return _mm256_unpacklo_pd(a, b);
  }
  template <int kUnit>
  static Vec UnpackHi(Vec a, Vec b) {
    return _mm256_unpackhi_pd(a, b);
  }
  static Vec HalvesLo(Vec a, Vec b) { return _mm256_permute2f128_pd(a, b, 0x20); }
  static Vec HalvesHi(Vec a, Vec b) { return _mm256_permute2f128_pd(a, b, 0x31); }
  static Vec Min(Vec running, Vec x) { return _mm256_min_pd(running, x); }
  static Vec Max(Vec running, Vec x) { return _mm256_max_pd(running, x); }
  static Vec NoNaN() { return _mm256_setzero_pd(); }
  static Vec AddNaN(Vec seen, Vec a, Vec b) {
    return _mm256_or_pd(seen, _mm256_cmp_pd(a, b, _CMP_UNORD_Q));
  }
  static bool AnyNaN(Vec seen) { return _mm256_movemask_pd(seen) != 0; }
};

template <typename E>
struct Avx2IntegerLanes {
  using T = E;
  using Vec = __m256i;
  static constexpr std::size_t kCount = 32 / sizeof(E);
  static constexpr std::size_t kBytes = 32;
  static Vec Load(const E* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
  static void Store(E* p, Vec v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }
  template <int kBytes>
  static Vec Down(Vec v) {
    if constexpr (kBytes == 16) return _mm256_permute2x128_si256(v, v, 1);
    return _mm256_srli_si256(v, kBytes);
  }
  template <int kUnit>
  static Vec UnpackLo(Vec a, Vec b) {
    if constexpr (kUnit == 2) return _mm256_unpacklo_epi16(a, b);
    if constexpr (kUnit == 4) return _mm256_unpacklo_epi32(a, b);
    return _mm256_unpacklo_epi64(a, b);
  }
  template <int kUnit>
  static Vec UnpackHi(Vec a, Vec b) {
    if constexpr (kUnit == 2) return _mm256_unpackhi_epi16(a, b);
    if constexpr (kUnit == 4) return _mm256_unpackhi_epi32(a, b);
    return _mm256_unpackhi_epi64(a, b);
  }
  static Vec HalvesLo(Vec a, Vec b) { return _mm256_permute2x128_si256(a, b, 0x20); }
  static Vec HalvesHi(Vec a, Vec b) { return _mm256_permute2x128_si256(a, b, 0x31); }
  static Vec NoNaN() { return _mm256_setzero_si256(); }
  static Vec AddNaN(Vec seen, Vec, Vec) { return seen; }
  static bool AnyNaN(Vec) { return false; }
};

template <>
struct Avx2Lanes<std::int16_t> : Avx2IntegerLanes<std::int16_t> {
  static Vec Min(Vec running, Vec x) { return _mm256_min_epi16(running, x); }
  static Vec Max(Vec running, Vec x) { return _mm256_max_epi16(running, x); }
};

template <>
struct Avx2Lanes<std::int32_t> : Avx2IntegerLanes<std::int32_t> {
  static Vec Min(Vec running, Vec x) { return _mm256_min_epi32(running, x); }
  static Vec Max(Vec running, Vec x) { return _mm256_max_epi32(running, x); }
};

// 16-bit groups one at a time, each in a few instructions: its registers folded into
// one, the register's halves folded, and the eight lanes left reduced by PHMINPOSUW,
// the smallest of eight unsigned 16-bit values. Flipping the sign bit maps the signed
// order onto the unsigned one; flipping the other bits as well turns the largest into
// the smallest. Integers have one minimum whatever the order of the folds, so this
// gives the plain fold's result. kRegisters is the registers a group takes when known
// at compile time (the pyramid's factor of 32), 0 when `registers` says.
template <std::size_t kRegisters>
void ReduceInt16GroupsOf(std::int16_t* destination, const std::int16_t* source,
                         std::size_t groups, std::size_t registers) {
  using L = Avx2Lanes<std::int16_t>;
  const std::size_t count = kRegisters != 0 ? kRegisters : registers;
  constexpr std::uint16_t kToMinimum = 0x8000;  // signed order to unsigned
  constexpr std::uint16_t kToMaximum = 0x7FFF;  // and reversed
  const __m128i toMinimum = _mm_set1_epi16(static_cast<short>(kToMinimum));
  const __m128i toMaximum = _mm_set1_epi16(kToMaximum);
  const auto least = [](__m128i v) {
    return static_cast<std::uint16_t>(_mm_cvtsi128_si32(_mm_minpos_epu16(v)));
  };
  for (std::size_t g = 0; g < groups; ++g, source += count * L::kCount, destination += 2) {
    __m256i lo = L::Load(source), hi = lo;
    for (std::size_t r = 1; r < count; ++r) {
      const __m256i x = L::Load(source + r * L::kCount);
      lo = L::Min(lo, x);
      hi = L::Max(hi, x);
    }
    const __m128i lo8 =
        _mm_min_epi16(_mm256_castsi256_si128(lo), _mm256_extracti128_si256(lo, 1));
    const __m128i hi8 =
        _mm_max_epi16(_mm256_castsi256_si128(hi), _mm256_extracti128_si256(hi, 1));
    destination[0] =
        static_cast<std::int16_t>(least(_mm_xor_si128(lo8, toMinimum)) ^ kToMinimum);
    destination[1] =
        static_cast<std::int16_t>(least(_mm_xor_si128(hi8, toMaximum)) ^ kToMaximum);
  }
}

// A factor of a part of a register goes the usual way.
void ReduceInt16Groups(std::int16_t* destination, const std::int16_t* source, std::size_t groups,
                       std::size_t factor) {
  using L = Avx2Lanes<std::int16_t>;
  if (factor % L::kCount != 0) {
    detail::ReduceGroupsWith<L>(destination, source, groups, factor);
  } else if (factor == 2 * L::kCount) {
    ReduceInt16GroupsOf<2>(destination, source, groups, 2);
  } else {
    ReduceInt16GroupsOf<0>(destination, source, groups, factor / L::kCount);
  }
}

constexpr KernelTable Avx2Table() {
  KernelTable table = detail::TableOf<Avx2Lanes>();
  table.Int16.ReduceGroups = &ReduceInt16Groups;
  return table;
}

}  // namespace

namespace detail {

const KernelTable* Avx2Kernels() {
  static constexpr KernelTable table = Avx2Table();
  return &table;
}

}  // namespace detail
}  // namespace reduction
}  // namespace zsff

#else

namespace zsff {
namespace reduction {
namespace detail {

const KernelTable* Avx2Kernels() { return nullptr; }

}  // namespace detail
}  // namespace reduction
}  // namespace zsff

#endif  // __AVX2__
