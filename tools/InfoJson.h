// "zsff info --json": a measurement's listing as JSON text for scripts. The
// text is always valid JSON: numbers that JSON readers can't hold exactly
// (64-bit ids, dates and 64-bit metadata values) are strings, and a value that
// isn't finite is null.
#pragma once

#include <string>

#include "Measurement.h"

namespace zsff_tools {

std::string MeasurementToJson(const MeasurementSummary& measurement);
// The markers alone, as an array: "zsff markers --json".
std::string MarkersToJson(const std::vector<zsff::MetaDataMarker>& markers);

}  // namespace zsff_tools
