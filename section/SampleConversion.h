// Raw samples of any sample format to floats, in two stages: the record's own
// uncompaction (16-bit samples carry a coefficient and an offset of their own),
// then the scaling a read mode asks for (volts, recorded units, post-analysis
// units). Shared by plain reads and by compressed requests, so that both give
// the same value for the same sample.
#pragma once

#include <zsff/AbstractRecordSection.h>
#include <zsff/SignalTypes.h>
#include <zsff/TmpRecordFile.h>

namespace zsff {

class CSignalFileAccess;

// Whether a mode gives 64-bit floats (false: 32-bit floats); meaningful only for
// the six modes.
bool IsDoubleReadMode(SampleReadMode_t mode);

// Converts `count` samples of `format` at `source` into `destination`, which
// holds `count` floats or doubles as the mode says. Each sample x becomes
// (x * c1 + o1) * c2 + o2: c1, o1 are the record's UncompactCoeff and
// UncompactOffset for Compact16 and 1, 0 otherwise; c2, o2 come from `scaling`
// by the mode (CoeffToVolt/OffsetToVolt, 1/0, CoeffToPASI/OffsetToPASI). The
// arithmetic is that of the output type. False, with nothing written, for a
// mode or format outside the known ones.
bool ConvertSamples(const void* source, SampleFormat_t format, unsigned long long count,
                    void* destination, SampleReadMode_t mode, const CSignalFileAccess& scaling,
                    const TAG_RECORD_INFO& recordInfo);

}  // namespace zsff
