// The opening that the commands listing a measurement share (info, markers):
// their words parsed (--json and one measurement directory) and the measurement
// loaded.
#pragma once

#include <string>
#include <vector>

#include "Arguments.h"
#include "Measurement.h"

namespace zsff_tools {

// False when the words are wrong or the measurement doesn't load, with the error
// printed and the exit code in `code`.
bool ParseAndLoadMeasurement(const char* commandName, const std::vector<std::string>& args,
                             Arguments& arguments, MeasurementSummary& measurement, int& code);

}  // namespace zsff_tools
