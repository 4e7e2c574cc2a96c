// Joining a caller's directory and a name as the tree does: a name in the
// empty directory, the store's root, stands alone.
#pragma once

#include <string>

#include "foundation/PathRules.h"

namespace zsff {
namespace ceph {

inline std::string Join(const std::string& directory, const std::string& name) {
  return directory.empty() ? name : JoinPath(directory, name);
}

}  // namespace ceph
}  // namespace zsff
