// The host's ".zff" header of a measurement: while it exists the measurement is
// unfinished, and the library's end-up repairs it. The library only tests for
// it, renames and deletes it, so its contents are the host's own.
#pragma once

#include <filesystem>
#include <string>

namespace zsff_tools {

// Writes the header at `path` (on the local disk or a ceph:// address), naming
// `host` and the time; false when it can't.
bool WriteHostHeader(const std::filesystem::path& path, const std::string& host);

}  // namespace zsff_tools
