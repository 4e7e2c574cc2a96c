// The sample format whose samples a C++ type holds, for tests typed over the four
// formats.
#pragma once

#include <zsff/SignalTypes.h>

#include <cstdint>

namespace zsff_test {

template <typename T>
struct SampleFormatOf;
template <>
struct SampleFormatOf<float> {
  static constexpr zsff::SampleFormat_t kValue = zsff::SIFloat;
  static constexpr const char* kName = "SIFloat";  // as a channel's metadata names it
};
template <>
struct SampleFormatOf<double> {
  static constexpr zsff::SampleFormat_t kValue = zsff::SIDouble;
  static constexpr const char* kName = "SIDouble";  // as a channel's metadata names it
};
template <>
struct SampleFormatOf<std::int16_t> {
  static constexpr zsff::SampleFormat_t kValue = zsff::Compact16;
  static constexpr const char* kName = "Compact16";  // as a channel's metadata names it
};
template <>
struct SampleFormatOf<std::int32_t> {
  static constexpr zsff::SampleFormat_t kValue = zsff::Raw32;
  static constexpr const char* kName = "Raw32";  // as a channel's metadata names it
};

}  // namespace zsff_test
