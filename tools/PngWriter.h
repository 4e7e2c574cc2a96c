// Writes a Canvas as an 8-bit RGB PNG file through libpng.
#pragma once

#include <string>

#include "Canvas.h"

namespace zsff_tools {

// Writes `canvas` to `path`, replacing the file. False with `error` set when
// the file can't be created or written, or the canvas is empty; a file left
// half written is removed.
bool WritePng(const Canvas& canvas, const std::string& path, std::string& error);

}  // namespace zsff_tools
