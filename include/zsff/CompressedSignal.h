// The state and the description of a compressed (min/max) request: a view of a
// span of a record in a given number of points, served from the pyramid files
// beside each part or, for short spans, from raw samples.
#pragma once

#include <zsff/Export.h>

namespace zsff {

enum CompressStatus_t {
  CompressPending = 1,  // planned on a pyramid level; the values are read when asked for
  CompressFailed = 2,   // the request can't be served, or the read failed
  CompressReady = 3     // the values stand in the result buffer
};

// What a finished or running request holds. Values come in (min, max) pairs.
struct ZSFF_API CompressedSignalInfo_t {
  CompressedSignalInfo_t() = default;  // all 0: the description of no request
  explicit CompressedSignalInfo_t(float samplingRate) : SamplingRate(samplingRate) {}

  unsigned long long Size = 0;    // values in the result, two per point
  float Span = 0.0f;              // seconds covered
  double Ratio = 0.0;             // raw samples summarised by each point
  float SamplingRate = 0.0f;      // samples per second of the channel
  bool InProgress = false;        // the part served is still being recorded
  double TimeOffset = 0.0;        // seconds of signal dropped before the retained record
  unsigned long long Points = 0;  // points asked for
};

}  // namespace zsff
