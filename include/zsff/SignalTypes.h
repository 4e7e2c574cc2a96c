// Sample formats and signal kinds shared by the metadata, the signal files and
// the sections. Their text forms live with the channel metadata views.
#pragma once

#include <cstddef>

namespace zsff {

enum SampleFormat_t {
  SIFloat = 0,    // 32-bit IEEE float
  SIDouble = 1,   // 64-bit IEEE float
  Compact16 = 2,  // 16-bit signed integer, scaled by a coefficient and an offset
  Raw32 = 3       // 32-bit signed integer
};

enum SignalType_t { Dynamic = 0, Parametric = 1, Torsional = 2, Trigger = 3, TriggerAnalog = 4 };

// Bytes one sample of the format takes on disk; 0 for a value outside the enumeration.
constexpr std::size_t SampleSize(SampleFormat_t format) {
  switch (format) {
    case SIFloat: return 4;
    case SIDouble: return 8;
    case Compact16: return 2;
    case Raw32: return 4;
  }
  return 0;
}

}  // namespace zsff
