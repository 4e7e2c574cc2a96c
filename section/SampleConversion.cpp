// The conversion's coefficients taken from the scaling and the record, and its
// baseline steps, written so that compilers vectorise them at the usual -O2 as
// well as at -O3.
#include "section/SampleConversion.h"

#include <zsff/SignalFile.h>

#include <cstring>

#include "section/ConversionLoop.h"
#include "signal/ReductionKernel.h"

namespace zsff {

namespace {

// The baseline's steps: a 16-byte vector of the narrower of the two types, and
// at least four samples. The step's fixed-length inner loop on local arrays is
// what lets a compiler vectorise for SSE2 without knowing the count, the
// alignment, or whether the buffers overlap; the arrays end up in registers.
struct BaselineSteps {
  template <typename In, typename Out>
  static constexpr std::size_t Samples() {
    constexpr std::size_t narrower = sizeof(In) < sizeof(Out) ? sizeof(In) : sizeof(Out);
    return 16 / narrower < 4 ? 4 : 16 / narrower;
  }

  template <typename In, typename Out, bool kScaled>
  static void Convert(const unsigned char* in, unsigned char* out,
                      const conversion::Coefficients<Out>& k) {
    constexpr std::size_t kStep = Samples<In, Out>();
    In x[kStep];
    Out y[kStep];
    std::memcpy(x, in, sizeof x);
    // Unrolled first, the step is no longer a loop to vectorise: GCC at -O3 then
    // leaves it scalar.
#pragma GCC unroll 1
    for (std::size_t j = 0; j < kStep; ++j) {
      y[j] = static_cast<Out>(x[j]);
      if constexpr (kScaled) y[j] = (y[j] * k.C1 + k.O1) * k.C2 + k.O2;
    }
    std::memcpy(out, y, sizeof y);
  }
};

}  // namespace

conversion::ConvertFunction conversion::BaselineConvert() {
  return &ConvertWith<BaselineSteps>;
}

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
  // The conversion runs on the instruction set the reduction runs on, so that
  // forcing one kernel forces both.
  conversion::ConvertFunction convert = conversion::BaselineConvert();
  if (reduction::ActiveKernel() == reduction::ReductionKernelAvx2 && conversion::Avx2Convert())
    convert = conversion::Avx2Convert();
  const conversion::Coefficients<float> k{m_First.coeff, m_First.offset, m_Second.coeff,
                                          m_Second.offset};
  convert(m_Format, m_Double, source, count, destination, !Neutral(), k);
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
