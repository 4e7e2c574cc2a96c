// Feeds arbitrary bytes to the pyramid reader as the level files of one part,
// and asks it for views of a span the input chooses. Whatever the level files
// hold (any size, missing levels, any values), the reader plans within what they
// hold and fills exactly the result it announces, never reading or writing past
// a buffer.
#include <zsff/MemoryFileAccess.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz/FuzzSupport.h"

#include "signal/CompressedSignalFileReader.h"

namespace {

const char16_t* const kLevels[] = {u"/c/Part_0_1.zpr", u"/c/Part_0_2.zpr", u"/c/Part_0_3.zpr",
                                   u"/c/Part_0_4.zpr"};

}  // namespace

// Eight bytes of header: the format, the rate, the part's expected duration, the
// points, start and stop, which levels exist, and how the rest is shared among
// them; the rest is the levels' bytes, one after the other.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zsff::CMemoryFileAccess& store = zsff_fuzz::ChannelStore();
  if (size < 8) return 0;
  static const unsigned long long kSizes[] = {4, 8, 2, 4};
  const auto format = static_cast<zsff::SampleFormat_t>(data[0] % 4);
  const float rate = static_cast<float>(1u << (data[1] % 20));
  const double duration = data[2] % 4 == 0 ? 0.0 : data[2] * 4.0;
  const unsigned long long points = data[3] * 3 + 1;
  const float start = data[4] * 0.5f, stop = data[5] * 2.0f;
  const uint8_t* rest = data + 8;
  size_t restSize = size - 8;
  for (int level = 0; level < 4; ++level) {
    store.DeleteFile(std::u16string(kLevels[level]));
    if ((data[6] >> level & 1) == 0) continue;
    const size_t share = level == 3 ? restSize : restSize * ((data[7] >> (2 * level)) & 3) / 4;
    zsff_fuzz::PutFile(store, kLevels[level], rest, share);
    rest += share;
    restSize -= share;
  }

  zsff::CCompressedSignalFileReader reader("/c", "Part_0", &store, 0, kSizes[format], format,
                                           rate, nullptr, duration, format, 0);
  const zsff::CompressedSignalPlan_t plan = reader.Plan(start, stop, points, 0);
  if (plan.Divider >= reader.CompressionFactor()) {
    if (!reader.LevelRequest(start, stop, points, plan)) std::abort();
  } else {
    // Raw samples of the span, as the section would read them: zeros will do.
    const unsigned long long count = std::min<unsigned long long>(
        static_cast<unsigned long long>((stop > start ? stop - start : 0.0f) * rate), 1 << 16);
    std::vector<unsigned char> samples(count * reader.SampleSize());
    if (!reader.RawRequest(start, stop, points, samples.data(), count, false)) return 0;
  }
  std::vector<unsigned char> result(reader.ResultSize() * reader.SampleSize());
  reader.Get(result.data(), plan);
  return 0;
}
