// The opening of the listing commands (see ListingArguments.h).
#include "ListingArguments.h"

#include "Commands.h"

namespace zsff_tools {

bool ParseAndLoadMeasurement(const char* commandName, const std::vector<std::string>& args,
                             Arguments& arguments, MeasurementSummary& measurement, int& code) {
  if (!ParseDirectoryArguments(*FindCommand(commandName), args, {{"json", false}}, arguments, code))
    return false;
  std::string error;
  if (LoadMeasurement(arguments.Positional().front(), measurement, error)) return true;
  code = Fail(error);
  return false;
}

}  // namespace zsff_tools
