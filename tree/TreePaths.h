// Path pieces shared by the tree's sources. Every path is joined with the
// separator of the store it is meant for, never a hard-coded one.
#pragma once

#include <zsff/FileAccess.h>

#include <string>

namespace zsff {
namespace tree {

// `name` alone when `parent` is empty, otherwise parent, separator, name.
inline std::u16string JoinPath(const std::u16string& parent, const std::u16string& name,
                               const std::u16string& separator) {
  if (parent.empty()) return name;
  return parent + separator + name;
}

inline std::u16string JoinPath(const std::u16string& parent, const std::u16string& name,
                               const CAbstractFileAccess& access) {
  return JoinPath(parent, name, access.PathSeparatorW());
}

// What follows the last '/' or '\\': listings give full paths, and a parent
// directory may itself be named "Record_...".
inline std::u16string LastPathComponent(const std::u16string& path) {
  const std::u16string::size_type slash = path.find_last_of(u"/\\");
  return slash == std::u16string::npos ? path : path.substr(slash + 1);
}

// The remote store's measurement-level disk, which belongs to no analyzer.
constexpr unsigned short kMeasurementStore = 32767;

}  // namespace tree
}  // namespace zsff
