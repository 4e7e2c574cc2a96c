// Writes a Canvas as an 8-bit RGB PNG file through libpng.
#pragma once

#include <string>

#include "Canvas.h"
#include "OutputFile.h"

namespace zsff_tools {

// Writes `canvas` as PNG to `out`, which the caller opened and closes. False
// with `error` set when the canvas is empty or the writing fails.
bool WritePng(const Canvas& canvas, OutputFile& out, std::string& error);

}  // namespace zsff_tools
