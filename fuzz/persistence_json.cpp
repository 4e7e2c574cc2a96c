// Feeds arbitrary bytes to the JSON reader of metadata containers, then writes
// whatever it read and reads that again: neither direction may crash or read out
// of bounds, and text the library wrote must always read back.
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataContainerJson.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  zsff::MetaDataContainerJson json;
  zsff::MetaDataContainer container;
  const bool read = json.FromJSONString(text, container);
  json.LastError();
  if (!read) return 0;

  // A number too large for a float vector turns infinite, and the writer stops at
  // an infinity by design; any text it finished must read back.
  const std::string written = json.ToJSONString(container);
  const bool finished = written.size() >= 2 && written.compare(written.size() - 2, 2, "}\n") == 0;
  zsff::MetaDataContainer again;
  if (finished && !json.FromJSONString(written, again)) {
    std::fprintf(stderr, "text written from a read container doesn't read back:\n%s\n",
                 written.c_str());
    std::abort();
  }
  return 0;
}
