// The JSON answers of "zsff serve": a measurement's outline, one zoom, and the
// error of a bad request. Values that aren't finite are null, as JSON has none.
#pragma once

#include <string>
#include <vector>

#include "MeasurementOutline.h"

namespace zsff_tools {

// {"name", "duration", "records": [{"number", "start" (ISO 8601, UTC), "duration",
// "recording"}], "channels": [{"index", "name", "unit", "rate"}], "markers":
// [{"position", "duration", "name"}]}
std::string OutlineToJson(const MeasurementOutline& outline);

// {"start", "end", "points", "min": [...], "max": [...]} of (min, max) pairs.
std::string ZoomToJson(double start, double end, unsigned long long points,
                       const std::vector<float>& pairs);

// {"error": message}
std::string ErrorToJson(const std::string& message);

}  // namespace zsff_tools
