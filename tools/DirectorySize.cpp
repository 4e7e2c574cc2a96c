#include "DirectorySize.h"

namespace fs = std::filesystem;

namespace zsff_tools {

unsigned long long BytesUnder(const fs::path& directory) {
  unsigned long long bytes = 0;
  std::error_code ec;
  for (fs::recursive_directory_iterator it(directory, ec), end; !ec && it != end;
       it.increment(ec)) {
    std::error_code sizeError;
    if (it->is_regular_file(sizeError)) {
      const auto size = it->file_size(sizeError);
      if (!sizeError) bytes += size;
    }
  }
  return bytes;
}

}  // namespace zsff_tools
