// One template for every pair of sample format and output type, written so that
// compilers vectorise it at the usual -O2 as well as at -O3.
#include "section/SampleConversion.h"

#include <zsff/SignalFile.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

// The values must not depend on the target: a multiply and an add fused into
// one instruction round once instead of twice, and compilers fuse them wherever
// the target has the instruction unless told not to.
#if defined(__clang__)
#pragma STDC FP_CONTRACT OFF
#elif defined(__GNUC__)
#pragma GCC optimize("fp-contract=off")
#endif

namespace zsff {

namespace {

// Samples per step: a 16-byte vector of the narrower of the two types, and at
// least four. The step's fixed-length inner loop on local arrays is what lets
// a compiler vectorise without knowing the count, the alignment, or whether the
// buffers overlap; the arrays themselves end up in registers.
template <typename In, typename Out>
constexpr std::size_t StepSamples() {
  constexpr std::size_t narrower = sizeof(In) < sizeof(Out) ? sizeof(In) : sizeof(Out);
  return 16 / narrower < 4 ? 4 : 16 / narrower;
}

// Each step loads all its samples before it stores a value, and its values end
// where the next step's samples begin at the latest, as long as the source lies
// at least count * (sizeof(Out) - sizeof(In)) bytes after the destination: so
// samples converted in place, from the end of the buffer that takes their values,
// are read before anything is written over them.
template <typename In, typename Out, typename Value>
void ConvertRun(const unsigned char* in, unsigned char* out, unsigned long long count,
                Value value) {
  constexpr std::size_t kStep = StepSamples<In, Out>();
  unsigned long long i = 0;
  for (; count - i >= kStep; i += kStep) {
    In x[kStep];
    Out y[kStep];
    std::memcpy(x, in + i * sizeof(In), sizeof x);
    // Unrolled first, the step is no longer a loop to vectorise: GCC at -O3 then
    // leaves it scalar.
#pragma GCC unroll 1
    for (std::size_t j = 0; j < kStep; ++j) y[j] = value(x[j]);
    std::memcpy(out + i * sizeof(Out), y, sizeof y);
  }
  for (; i < count; ++i) {
    In x;
    std::memcpy(&x, in + i * sizeof(In), sizeof x);
    const Out y = value(x);
    std::memcpy(out + i * sizeof(Out), &y, sizeof y);
  }
}

// The four coefficients of one conversion, in the order they apply.
struct Coefficients {
  float c1;
  float o1;
  float c2;
  float o2;
  bool neutral;
};

template <typename In, typename Out>
void ConvertFrom(const void* source, unsigned long long count, void* destination,
                 const Coefficients& k) {
  const unsigned char* in = static_cast<const unsigned char*>(source);
  unsigned char* out = static_cast<unsigned char*>(destination);
  if (k.neutral) {
    // The common case of unscaled channels: nothing but the change of type.
    if constexpr (std::is_same<In, Out>::value) {
      if (in != out) std::memmove(out, in, count * sizeof(In));
    } else {
      ConvertRun<In, Out>(in, out, count, [](In x) { return static_cast<Out>(x); });
    }
    return;
  }
  const Out c1 = k.c1;
  const Out o1 = k.o1;
  const Out c2 = k.c2;
  const Out o2 = k.o2;
  ConvertRun<In, Out>(in, out, count,
                      [=](In x) { return (static_cast<Out>(x) * c1 + o1) * c2 + o2; });
}

template <typename Out>
void ConvertTo(SampleFormat_t format, const void* source, unsigned long long count,
               void* destination, const Coefficients& k) {
  switch (format) {
    case SIFloat:
      ConvertFrom<float, Out>(source, count, destination, k);
      return;
    case SIDouble:
      ConvertFrom<double, Out>(source, count, destination, k);
      return;
    case Compact16:
      ConvertFrom<std::int16_t, Out>(source, count, destination, k);
      return;
    case Raw32:
      ConvertFrom<std::int32_t, Out>(source, count, destination, k);
      return;
  }
}

}  // namespace

bool IsDoubleReadMode(SampleReadMode_t mode) {
  return mode == SampleReadVoltDouble || mode == SampleReadRecordedDouble ||
         mode == SampleReadPostAnalysisDouble;
}

std::size_t ReadModeSampleSize(SampleReadMode_t mode) {
  switch (mode) {
    case SampleReadVolt:
    case SampleReadRecorded:
    case SampleReadPostAnalysis:
      return 4;
    case SampleReadVoltDouble:
    case SampleReadRecordedDouble:
    case SampleReadPostAnalysisDouble:
      return 8;
  }
  return 0;
}

bool SampleConversion::Prepare(SampleFormat_t format, SampleReadMode_t mode,
                               const CSignalFileAccess& scaling,
                               const TAG_RECORD_INFO& recordInfo) {
  if (SampleSize(format) == 0) return false;
  Stage second;
  switch (mode) {
    case SampleReadVolt:
    case SampleReadVoltDouble:
      second = {scaling.CoeffToVolt(), scaling.OffsetToVolt()};
      break;
    case SampleReadRecorded:
    case SampleReadRecordedDouble:
      break;
    case SampleReadPostAnalysis:
    case SampleReadPostAnalysisDouble:
      second = {scaling.CoeffToPASI(), scaling.OffsetToPASI()};
      break;
    default:
      return false;
  }
  m_Format = format;
  m_Double = IsDoubleReadMode(mode);
  // Only 16-bit samples are compacted; the other formats hold their values.
  m_First =
      format == Compact16 ? Stage{recordInfo.UncompactCoeff, recordInfo.UncompactOffset} : Stage{};
  m_Second = second;
  return true;
}

bool SampleConversion::Neutral() const {
  return m_First.coeff == 1.0f && m_First.offset == 0.0f && m_Second.coeff == 1.0f &&
         m_Second.offset == 0.0f;
}

void SampleConversion::Convert(const void* source, unsigned long long count,
                               void* destination) const {
  const Coefficients k{m_First.coeff, m_First.offset, m_Second.coeff, m_Second.offset, Neutral()};
  if (m_Double) {
    ConvertTo<double>(m_Format, source, count, destination, k);
  } else {
    ConvertTo<float>(m_Format, source, count, destination, k);
  }
}

bool ConvertSamples(const void* source, SampleFormat_t format, unsigned long long count,
                    void* destination, SampleReadMode_t mode, const CSignalFileAccess& scaling,
                    const TAG_RECORD_INFO& recordInfo) {
  SampleConversion conversion;
  if (!conversion.Prepare(format, mode, scaling, recordInfo)) return false;
  conversion.Convert(source, count, destination);
  return true;
}

}  // namespace zsff
