// The files of the viewer's page, built into the program from tools/viewer/.
#pragma once

#include <vector>

namespace zsff_tools {

struct ViewerFile {
  const char* Path;  // as requested: "/", "/viewer.js"
  const char* Type;  // its content type
  const char* Content;
};

const std::vector<ViewerFile>& ViewerFiles();

}  // namespace zsff_tools
