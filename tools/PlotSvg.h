// Draws a plot as an SVG document: the same layout as the raster, with real
// text, and each channel's envelope as one path of vertical strokes, so that
// it covers the very pixel rows the raster fills.
#pragma once

#include <string>

#include "Plot.h"

namespace zsff_tools {

// The whole picture as an SVG document.
std::string PlotToSvg(const PlotData& data, const PlotLayout& layout);

// `text` with the five characters XML reserves written as entities.
std::string EscapeXml(const std::string& text);

}  // namespace zsff_tools
