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
};
template <>
struct SampleFormatOf<double> {
  static constexpr zsff::SampleFormat_t kValue = zsff::SIDouble;
};
template <>
struct SampleFormatOf<std::int16_t> {
  static constexpr zsff::SampleFormat_t kValue = zsff::Compact16;
};
template <>
struct SampleFormatOf<std::int32_t> {
  static constexpr zsff::SampleFormat_t kValue = zsff::Raw32;
};

}  // namespace zsff_test
