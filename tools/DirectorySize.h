// How many bytes the files below a directory hold, for the summaries and
// progress bars of the commands that write or move whole measurements.
#pragma once

#include <filesystem>

namespace zsff_tools {

// The sizes of the files below `directory` (a local path or a ceph:// address),
// added up; what can't be read counts nothing.
unsigned long long BytesUnder(const std::filesystem::path& directory);

}  // namespace zsff_tools
