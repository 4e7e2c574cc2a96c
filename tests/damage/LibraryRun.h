// The library run on a measurement as a host that only looks at it would: open,
// list, read every channel of every record, ask each for a min/max view, and zoom
// over the whole measurement. What failed is kept with the text the library gave,
// and every sample read is held to the one recorded there.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "crash/Workload.h"

namespace zsff_test {

struct LibraryOutcome {
  // "step: text" of each step that failed, the text the library gave for it.
  std::vector<std::string> Failures;
  // A failure whose text is empty, and the first sample neither recorded nor
  // filler, each as "step: ...", empty when there was none.
  std::string Silent;
  std::string Wrong;
  unsigned long long SamplesRead = 0;
  bool Listed = false;  // the record list was read
};

// Runs the library on measurement `name` in `parent`, a recording of the crash
// tests' workload. Reads stop at `limit` samples a channel, so that a length out
// of bounds can't hang. With `live`, a record may read as one still recording,
// from the start of one of its parts.
LibraryOutcome RunLibrary(const std::filesystem::path& parent, const std::u16string& name,
                          unsigned long long limit, bool live);

}  // namespace zsff_test
