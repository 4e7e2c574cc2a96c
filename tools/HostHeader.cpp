#include "HostHeader.h"

#include <zsff/DateTime.h>

#include <fstream>

#include "foundation/TextConversion.h"

namespace zsff_tools {

bool WriteHostHeader(const std::filesystem::path& path, const std::string& host) {
  std::ofstream header(path, std::ios::binary | std::ios::trunc);
  header << host << ": measurement started "
         << zsff::WideToUtf8(zsff::FileTimeToString(zsff::GetSystemTimeAsFileTime()))
         << ", unfinished while this file exists\n";
  return static_cast<bool>(header.flush());
}

}  // namespace zsff_tools
