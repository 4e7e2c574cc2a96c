// What the SFTP store's directory walks share: joining names to paths.
#pragma once

#include <string>

namespace zsff {
namespace sftp {

inline std::string Join(const std::string& directory, const std::string& name) {
  if (directory.empty()) return name;
  return directory.back() == '/' ? directory + name : directory + "/" + name;
}

}  // namespace sftp
}  // namespace zsff
