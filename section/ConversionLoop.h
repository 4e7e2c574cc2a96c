// The conversion of raw samples to values, written once over a "steps" type that
// converts a fixed number of samples at a time on one instruction set: the
// baseline's steps are in SampleConversion.cpp, the AVX2 ones in the translation
// unit compiled for AVX2 (SampleConversionAvx2.cpp). Every function here is a
// template over the steps type, and each steps type sits in an unnamed namespace,
// so a translation unit compiled for a wider instruction set never emits code the
// linker could pick for another.
//
// A steps type S provides, for each pair of sample type In and value type Out:
//   template <typename In, typename Out> static constexpr std::size_t Samples();
//   template <typename In, typename Out, bool kScaled>
//   static void Convert(const unsigned char* in, unsigned char* out, const Coefficients<Out>& k);
// Convert loads all Samples() samples before it stores a value, and gives the
// bits of the scalar arithmetic below, lane by lane.
//
// Only conversion translation units include this file: it turns off the fusing
// of a multiply and an add into one instruction for the rest of the unit, since
// a fused one rounds once instead of twice and the values must not depend on
// the target.
#pragma once

#if defined(__clang__)
#pragma STDC FP_CONTRACT OFF
#elif defined(__GNUC__)
#pragma GCC optimize("fp-contract=off")
#endif

#include <zsff/SignalTypes.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace zsff {
namespace conversion {

// The four coefficients of a conversion in the arithmetic of its values, in the
// order they apply: (x * C1 + O1) * C2 + O2.
template <typename Out>
struct Coefficients {
  Out C1;
  Out O1;
  Out C2;
  Out O2;
};

// Whole steps, then the samples left one by one. Each step ends its values where
// the next step's samples begin at the latest, as long as the source lies at
// least count * (sizeof(Out) - sizeof(In)) bytes after the destination: so
// samples converted in place, from the end of the buffer that takes their values,
// are read before anything is written over them.
template <typename Steps, typename In, typename Out, bool kScaled>
void ConvertRun(const unsigned char* in, unsigned char* out, unsigned long long count,
                const Coefficients<Out>& coefficients) {
  constexpr std::size_t kStep = Steps::template Samples<In, Out>();
  // A copy of our own, which the stores through `out` can't be taken to change.
  const Coefficients<Out> k = coefficients;
  unsigned long long i = 0;
  for (; count - i >= kStep; i += kStep) {
    Steps::template Convert<In, Out, kScaled>(in + i * sizeof(In), out + i * sizeof(Out), k);
  }
  for (; i < count; ++i) {
    In x;
    std::memcpy(&x, in + i * sizeof(In), sizeof x);
    Out y = static_cast<Out>(x);
    if constexpr (kScaled) y = (y * k.C1 + k.O1) * k.C2 + k.O2;
    std::memcpy(out + i * sizeof(Out), &y, sizeof y);
  }
}

template <typename Steps, typename In, typename Out>
void ConvertFrom(const void* source, unsigned long long count, void* destination, bool scaled,
                 const Coefficients<Out>& k) {
  const unsigned char* in = static_cast<const unsigned char*>(source);
  unsigned char* out = static_cast<unsigned char*>(destination);
  if (scaled) {
    ConvertRun<Steps, In, Out, true>(in, out, count, k);
  } else if constexpr (std::is_same<In, Out>::value) {
    // The common case of unscaled channels: nothing but a copy, if that.
    if (in != out) std::memmove(out, in, count * sizeof(In));
  } else {
    ConvertRun<Steps, In, Out, false>(in, out, count, k);
  }
}

// Converts `count` samples of `format` at `source` into values of type Out at
// `destination`, scaled by `k` unless `scaled` is false (then only widened or
// narrowed, so that -0.0 and NaN payloads come through as stored).
template <typename Steps, typename Out>
void Convert(SampleFormat_t format, const void* source, unsigned long long count,
             void* destination, bool scaled, const Coefficients<Out>& k) {
  switch (format) {
    case SIFloat:
      ConvertFrom<Steps, float, Out>(source, count, destination, scaled, k);
      return;
    case SIDouble:
      ConvertFrom<Steps, double, Out>(source, count, destination, scaled, k);
      return;
    case Compact16:
      ConvertFrom<Steps, std::int16_t, Out>(source, count, destination, scaled, k);
      return;
    case Raw32:
      ConvertFrom<Steps, std::int32_t, Out>(source, count, destination, scaled, k);
      return;
  }
}

// The entry of one instruction set: converts into doubles or into floats, the
// coefficients given as floats (each one exact in either type).
using ConvertFunction = void (*)(SampleFormat_t format, bool toDouble, const void* source,
                                 unsigned long long count, void* destination, bool scaled,
                                 const Coefficients<float>& k);

template <typename Steps>
void ConvertWith(SampleFormat_t format, bool toDouble, const void* source,
                 unsigned long long count, void* destination, bool scaled,
                 const Coefficients<float>& k) {
  if (toDouble) {
    const Coefficients<double> wide{k.C1, k.O1, k.C2, k.O2};
    Convert<Steps, double>(format, source, count, destination, scaled, wide);
  } else {
    Convert<Steps, float>(format, source, count, destination, scaled, k);
  }
}

// The baseline's entry, and the AVX2 one where the build has it (null elsewhere),
// to be called only once the processor is known to have it.
ConvertFunction BaselineConvert();
ConvertFunction Avx2Convert();

}  // namespace conversion
}  // namespace zsff
