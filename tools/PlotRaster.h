// Draws a plot into a raster, labels in the 5x7 pixel font.
#pragma once

#include "Canvas.h"
#include "Plot.h"

namespace zsff_tools {

// The colour of the envelope of the channel at `index`; the colours repeat
// after eight channels.
Rgb ChannelColor(std::size_t index);

// The whole picture: title, strips with their envelopes, names, units and
// ranges, and the time axis. Each channel's pairs are fitted to the layout's
// columns first.
Canvas DrawPlot(const PlotData& data, const PlotLayout& layout);

// The envelope of one strip: column i of the strip gets rows from the max of
// pair i to its min, both included; NaN pairs stay blank.
void DrawEnvelope(Canvas& canvas, const std::vector<float>& columnPairs, const ValueRange& range,
                  int left, int top, int height, Rgb color);

}  // namespace zsff_tools
