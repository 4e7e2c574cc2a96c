// One template for every pair of sample format and output type.
#include "section/SampleConversion.h"

#include <zsff/SignalFile.h>

#include <cstdint>
#include <cstring>

namespace zsff {

namespace {

struct Stage {
  float coeff;
  float offset;
};

template <typename In, typename Out>
void ConvertBlock(const void* source, unsigned long long count, void* destination, Stage first,
                  Stage second) {
  const unsigned char* in = static_cast<const unsigned char*>(source);
  Out* out = static_cast<Out*>(destination);
  // Samples come from byte buffers (part files, pyramid results) that promise no
  // alignment; memcpy compiles to a plain load where alignment allows.
  In x;
  if (first.coeff == 1.0f && first.offset == 0.0f && second.coeff == 1.0f &&
      second.offset == 0.0f) {
    // The common case of unscaled channels: nothing but the change of type, which
    // gives what the arithmetic below would give.
    for (unsigned long long i = 0; i < count; ++i, in += sizeof(In)) {
      std::memcpy(&x, in, sizeof(In));
      out[i] = static_cast<Out>(x);
    }
    return;
  }
  const Out c1 = first.coeff;
  const Out o1 = first.offset;
  const Out c2 = second.coeff;
  const Out o2 = second.offset;
  for (unsigned long long i = 0; i < count; ++i, in += sizeof(In)) {
    std::memcpy(&x, in, sizeof(In));
    out[i] = (static_cast<Out>(x) * c1 + o1) * c2 + o2;
  }
}

template <typename Out>
bool ConvertFormat(const void* source, SampleFormat_t format, unsigned long long count,
                   void* destination, Stage first, Stage second) {
  switch (format) {
    case SIFloat:
      ConvertBlock<float, Out>(source, count, destination, first, second);
      return true;
    case SIDouble:
      ConvertBlock<double, Out>(source, count, destination, first, second);
      return true;
    case Compact16:
      ConvertBlock<std::int16_t, Out>(source, count, destination, first, second);
      return true;
    case Raw32:
      ConvertBlock<std::int32_t, Out>(source, count, destination, first, second);
      return true;
  }
  return false;
}

}  // namespace

bool IsDoubleReadMode(SampleReadMode_t mode) {
  return mode == SampleReadVoltDouble || mode == SampleReadRecordedDouble ||
         mode == SampleReadPostAnalysisDouble;
}

bool ConvertSamples(const void* source, SampleFormat_t format, unsigned long long count,
                    void* destination, SampleReadMode_t mode, const CSignalFileAccess& scaling,
                    const TAG_RECORD_INFO& recordInfo) {
  Stage second{1.0f, 0.0f};
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
  // Only 16-bit samples are compacted; the other formats hold their values.
  const Stage first = format == Compact16
                          ? Stage{recordInfo.UncompactCoeff, recordInfo.UncompactOffset}
                          : Stage{1.0f, 0.0f};
  if (IsDoubleReadMode(mode)) {
    return ConvertFormat<double>(source, format, count, destination, first, second);
  }
  return ConvertFormat<float>(source, format, count, destination, first, second);
}

}  // namespace zsff
