// zsff follow: a reader beside the recorder. It waits for the last record of a
// measurement to be recorded (by "zsff record" or any host, in another process),
// reads one channel's samples as they reach the disk, and prints at each poll how
// far it has read, where the live end stands and what the reader's state is. A
// ring that drops parts ahead of it makes it jump to the oldest data kept, as a
// display would. It goes on with each next record, and ends with the
// measurement, on Ctrl-C, after --timeout, or when nothing has changed for
// --stall seconds: no recorder is coming, or the one it followed is gone.
#include <string>
#include <vector>

#include "Arguments.h"
#include "Commands.h"
#include "Follower.h"
#include "OpenTree.h"

namespace zsff_tools {

int RunFollow(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("follow");
  Arguments arguments;
  std::string error;
  FollowOptions options;
  if (!arguments.Parse(args,
                       {{"channel", true},
                        {"analyzer", true},
                        {"timeout", true},
                        {"interval", true},
                        {"stall", true},
                        {"recorded", false}},
                       error) ||
      !arguments.GetInteger("channel", 0, 65535, options.Channel, error) ||
      !arguments.GetInteger("analyzer", 0, 65535, options.Analyzer, error) ||
      !arguments.GetDouble("timeout", 0.0, 1e9, options.Timeout, error) ||
      !arguments.GetDouble("interval", 0.01, 60.0, options.Interval, error) ||
      !arguments.GetDouble("stall", 0.0, 1e9, options.Stall, error)) {
    return UsageError(command, error);
  }
  if (arguments.Positional().size() != 1) {
    return UsageError(command, arguments.Positional().empty() ? "which measurement directory?"
                                                              : "one directory at a time");
  }
  options.Recorded = arguments.Has("recorded");
  options.Directory = MeasurementDirectory(arguments.Positional().front());
  return Follower(options).Run();
}

}  // namespace zsff_tools
