// The AVX2 steps of the conversion of raw samples to values. This file alone is
// compiled for AVX2, and is run only where the processor has it (see
// SampleConversion::Convert). Its steps type sits in an unnamed namespace, so
// nothing compiled here can stand in for the baseline's code elsewhere.
#include "section/ConversionLoop.h"

#ifdef __AVX2__

#include <immintrin.h>

namespace zsff {
namespace conversion {

namespace {

// One 32-byte register of values per step. The conversions are the packed forms
// of the scalar ones (rounding to nearest as those do, quieting a signalling NaN
// as those do), and the multiplies and adds keep the scalar operand order, so
// each lane gives the scalar arithmetic's bits.
struct Avx2Steps {
  template <typename In, typename Out>
  static constexpr std::size_t Samples() {
    return 32 / sizeof(Out);
  }

  template <typename In, typename Out, bool kScaled>
  static void Convert(const unsigned char* in, unsigned char* out, const Coefficients<Out>& k) {
    auto y = Load<In, Out>(in);
    if constexpr (kScaled) {
      y = Add(Mul(y, Broadcast(k.C1)), Broadcast(k.O1));
      y = Add(Mul(y, Broadcast(k.C2)), Broadcast(k.O2));
    }
    Store(reinterpret_cast<Out*>(out), y);
  }

  template <typename In, typename Out>
  static auto Load(const unsigned char* in) {
    if constexpr (std::is_same<Out, float>::value) {
      return LoadFloats<In>(in);
    } else {
      return LoadDoubles<In>(in);
    }
  }
  static __m256 Broadcast(float x) { return _mm256_set1_ps(x); }
  static __m256d Broadcast(double x) { return _mm256_set1_pd(x); }
  static __m256 Mul(__m256 a, __m256 b) { return _mm256_mul_ps(a, b); }
  static __m256d Mul(__m256d a, __m256d b) { return _mm256_mul_pd(a, b); }
  static __m256 Add(__m256 a, __m256 b) { return _mm256_add_ps(a, b); }
  static __m256d Add(__m256d a, __m256d b) { return _mm256_add_pd(a, b); }
  static void Store(float* out, __m256 y) { _mm256_storeu_ps(out, y); }
  static void Store(double* out, __m256d y) { _mm256_storeu_pd(out, y); }

  // Eight samples as floats.
  template <typename In>
  static __m256 LoadFloats(const unsigned char* in) {
    if constexpr (std::is_same<In, float>::value) {
      return _mm256_loadu_ps(reinterpret_cast<const float*>(in));
    } else if constexpr (std::is_same<In, double>::value) {
      const __m128 low = _mm256_cvtpd_ps(_mm256_loadu_pd(reinterpret_cast<const double*>(in)));
      const __m128 high =
          _mm256_cvtpd_ps(_mm256_loadu_pd(reinterpret_cast<const double*>(in + 32)));
      return _mm256_insertf128_ps(_mm256_castps128_ps256(low), high, 1);
    } else if constexpr (std::is_same<In, std::int16_t>::value) {
      const __m128i samples = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
      return _mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(samples));
    } else {
      return _mm256_cvtepi32_ps(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(in)));
    }
  }

  // Four samples as doubles, each exact.
  template <typename In>
  static __m256d LoadDoubles(const unsigned char* in) {
    if constexpr (std::is_same<In, float>::value) {
      return _mm256_cvtps_pd(_mm_loadu_ps(reinterpret_cast<const float*>(in)));
    } else if constexpr (std::is_same<In, double>::value) {
      return _mm256_loadu_pd(reinterpret_cast<const double*>(in));
    } else if constexpr (std::is_same<In, std::int16_t>::value) {
      const __m128i samples = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(in));
      return _mm256_cvtepi32_pd(_mm_cvtepi16_epi32(samples));
    } else {
      return _mm256_cvtepi32_pd(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in)));
    }
  }
};

}  // namespace

ConvertFunction Avx2Convert() { return &ConvertWith<Avx2Steps>; }

}  // namespace conversion
}  // namespace zsff

#else

namespace zsff {
namespace conversion {

ConvertFunction Avx2Convert() { return nullptr; }

}  // namespace conversion
}  // namespace zsff

#endif  // __AVX2__
