// Feeds arbitrary bytes to the part file reader as a part file of one channel,
// its sample description set by the caller or, when the input carries one, taken
// from the channel's metadata file. Whatever the files hold, the reader's length
// is the file's whole samples, a position it accepts lies within them, and a read
// gives no more than asked for and than there is from where it stands, into a
// buffer of exactly the size asked for.
#include <zsff/MemoryFileAccess.h>
#include <zsff/SignalFile.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/FuzzSupport.h"

// The first byte chooses the sample format and whether the input holds a
// metadata file: then its text runs to the first zero byte and the part file
// follows. The last three bytes steer the reads.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zsff::CMemoryFileAccess& store = zsff_fuzz::ChannelStore();
  if (size < 4) return 0;
  const uint8_t* steer = data + size - 3;
  const bool fromMetaData = (data[0] & 0x80) != 0;
  const auto format = static_cast<zsff::SampleFormat_t>(data[0] % 4);
  const uint8_t* part = data + 1;
  size_t partSize = size - 4;
  store.DeleteFile(u"/c/Channel_1.zrm");
  if (fromMetaData) {
    const void* end = std::memchr(part, 0, partSize);
    if (end == nullptr) return 0;
    const size_t textSize = static_cast<const uint8_t*>(end) - part;
    zsff_fuzz::PutFile(store, u"/c/Channel_1.zrm", part, textSize);
    part += textSize + 1;
    partSize -= textSize + 1;
  }
  zsff_fuzz::PutFile(store, u"/c/Part_0.zrs", part, partSize);

  zsff::CSignalFileReader reader("/c", "Part_0", u"Channel_1", &store, nullptr, 0);
  if (!fromMetaData) {
    static const unsigned long long kSizes[] = {4, 8, 2, 4};
    reader.SetSampleFormat(format);
    reader.SetSampleSize(kSizes[format]);
    reader.SetSamplingRate(1000.0f);
  }
  if (!reader.SetReadPosSpl(0)) return 0;  // metadata that doesn't load
  const unsigned long long sampleSize = reader.SampleSize();
  long long length = 0;
  if (sampleSize == 0 || !reader.SignalLength(length) ||
      static_cast<unsigned long long>(length) != partSize / sampleSize)
    std::abort();

  const unsigned long long position = steer[0] * (partSize / 256 + 1) / sampleSize;
  const bool placed = reader.SetReadPosSpl(position);
  if (placed != (position <= static_cast<unsigned long long>(length))) std::abort();
  const unsigned long long from = reader.GetReadPosSpl();
  const unsigned long long count = steer[1] * 4 + steer[2] % 4;
  std::vector<unsigned char> buffer(count * sampleSize);
  const unsigned long long read = reader.ReadSampleBlock(buffer.data(), count);
  if (read > count || from + read > static_cast<unsigned long long>(length)) std::abort();
  if (read > 0 && std::memcmp(buffer.data(), part + from * sampleSize, read * sampleSize) != 0)
    std::abort();
  return 0;
}
