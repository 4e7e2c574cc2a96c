// The zsff tool run on a measurement as a user would, with a deadline: how it
// ended and what it said on standard error.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace zsff_test {

struct ToolOutcome {
  bool Exited = false;    // ended by exit(), not by a signal or the deadline
  int Status = -1;        // its exit status when it exited
  bool TimedOut = false;  // killed at the deadline
  std::string Errors;     // its standard error
};

// Runs `tool` with `arguments`, its standard output thrown away and its standard
// error kept in `scratch`, killed after `seconds`. A sanitizer's report ends the
// run with a status of its own (86), which no command of the tool uses.
ToolOutcome RunTool(const std::string& tool, const std::vector<std::string>& arguments,
                    const std::filesystem::path& scratch, int seconds);

}  // namespace zsff_test
