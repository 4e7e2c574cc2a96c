// The record information that the sections, the tree and the temporary record
// file pass between them. It has a header of its own so that the section
// interface can name it without pulling in the temporary record file.
#pragma once

#include <zsff/Export.h>

namespace zsff {

// A record's dates and scaling, as the sections and the tree hand them around.
// Exactly 40 bytes in this order without gaps; the temporary record file stores
// the same fields, but is always encoded field by field (little-endian), never by
// copying this structure.
struct ZSFF_API TAG_RECORD_INFO {
  long long AbsoluteDate = 0;       // "RecordStartDate": file time, 100 ns ticks since 1601
  long long RelativeDate = 0;       // "RecordRelativeDate": front-end samples, shifted left 16
  double CumulativeDate = 0.0;      // "RecordCumulativeDate"
  float SignalOffset = 0.0f;        // "SignalOffset"
  float UncompactCoeff = 1.0f;      // "SignalUncompactCoeff"
  float UncompactOffset = 0.0f;     // "SignalUncompactOffset"
  unsigned short RecordNumber = 0;  // "RecordNumber"
  unsigned short TimeStep = 1;      // "SignalTimeStep"
};

static_assert(sizeof(TAG_RECORD_INFO) == 40, "TAG_RECORD_INFO must stay 40 bytes without gaps");

}  // namespace zsff
