// Raw samples of any sample format to floats, in two stages: the record's own
// uncompaction (16-bit samples carry a coefficient and an offset of their own),
// then the scaling a read mode asks for (volts, recorded units, post-analysis
// units). Shared by plain reads and by compressed requests, so that both give
// the same value for the same sample.
#pragma once

#include <zsff/AbstractRecordSection.h>
#include <zsff/SignalTypes.h>
#include <zsff/TmpRecordFile.h>

#include <cstddef>

namespace zsff {

class CSignalFileAccess;

// Whether a mode gives 64-bit floats (false: 32-bit floats); meaningful only for
// the six modes.
bool IsDoubleReadMode(SampleReadMode_t mode);

// Bytes of one output element of a mode: 4 or 8, and 0 for a mode outside the six.
std::size_t ReadModeSampleSize(SampleReadMode_t mode);

// One conversion with its coefficients resolved, for converting a read piece by
// piece. Each sample x becomes (x * c1 + o1) * c2 + o2 in the arithmetic of the
// output type: c1, o1 are the record's UncompactCoeff and UncompactOffset for
// Compact16 and 1, 0 otherwise; c2, o2 come from the scaling by the mode
// (CoeffToVolt/OffsetToVolt, 1/0, CoeffToPASI/OffsetToPASI). When all four are
// neutral the values are only widened or narrowed, so that -0.0 and NaN payloads
// come through as stored.
class SampleConversion {
 public:
  // False, with the object unchanged, for a mode or format outside the known ones.
  bool Prepare(SampleFormat_t format, SampleReadMode_t mode, const CSignalFileAccess& scaling,
               const TAG_RECORD_INFO& recordInfo);

  std::size_t InputSize() const { return SampleSize(m_Format); }
  std::size_t OutputSize() const { return m_Double ? 8 : 4; }
  // All four coefficients are 1, 0, 1, 0 (an offset of -0.0 counts as 0).
  bool Neutral() const;

  // Converts `count` samples at `source` into `destination`; neither needs any
  // alignment. The two may overlap only when the output is at least as wide as
  // the input and `source` starts at or after destination + count * (OutputSize -
  // InputSize) bytes: raw samples read into the end of the buffer that receives
  // their values are converted in place, front to back. A neutral conversion of
  // one type into itself in place writes nothing.
  void Convert(const void* source, unsigned long long count, void* destination) const;

 private:
  struct Stage {
    float coeff = 1.0f;
    float offset = 0.0f;
  };

  SampleFormat_t m_Format = SIFloat;
  bool m_Double = false;
  Stage m_First;
  Stage m_Second;
};

// Prepares and runs one conversion, for buffers that don't overlap. False, with
// nothing written, for a mode or format outside the known ones.
bool ConvertSamples(const void* source, SampleFormat_t format, unsigned long long count,
                    void* destination, SampleReadMode_t mode, const CSignalFileAccess& scaling,
                    const TAG_RECORD_INFO& recordInfo);

}  // namespace zsff
