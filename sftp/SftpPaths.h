// What the SFTP store's directory walks share: whether a name the server lists
// may be used, and joining names to paths.
#pragma once

#include <string>

namespace zsff {
namespace sftp {

// A name that stays in its directory: not empty, not "." or "..", no separator.
// A server that lists anything else is not followed.
inline bool IsPlainName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of("/\\") == std::string::npos;
}

inline std::string Join(const std::string& directory, const std::string& name) {
  if (directory.empty()) return name;
  return directory.back() == '/' ? directory + name : directory + "/" + name;
}

}  // namespace sftp
}  // namespace zsff
