#include "WidePath.h"

#include <cstdio>

#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"

namespace zsff_tools {

namespace {

// `bytes` for a message: its UTF-8 as it is, each other byte as \xNN.
std::string Printable(const std::string& bytes) {
  std::string out;
  std::u16string unused;
  for (std::size_t at = 0; at < bytes.size();) {
    std::size_t length = 1;
    while (length <= 4 && !zsff::PathToWide(bytes.substr(at, length), unused)) ++length;
    if (length <= 4) {
      out += bytes.substr(at, length);
      at += length;
      continue;
    }
    char escaped[5];
    std::snprintf(escaped, sizeof escaped, "\\x%02X", static_cast<unsigned char>(bytes[at]));
    out += escaped;
    ++at;
  }
  return out;
}

}  // namespace

bool ToWidePath(const std::filesystem::path& path, std::u16string& wide, std::string& error) {
  if (zsff::PathToWide(path.string(), wide)) return true;
  error = Printable(path.string()) + ": the path isn't UTF-8, which the library's paths must be";
  return false;
}

bool ToWideParentAndName(const std::filesystem::path& directory, std::u16string& parent,
                         std::u16string& name, std::string& error) {
  std::u16string whole;
  return ToWidePath(directory, whole, error) &&
         ToWidePath(directory.parent_path(), parent, error) &&
         ToWidePath(directory.filename(), name, error);
}

std::u16string StorePath(const std::filesystem::path& path) {
  std::u16string wide;
  zsff::PathToWide(path.string(), wide);
  return wide;
}

std::string ListedName(const std::u16string& path) {
  std::string name;
  zsff::WideToPath(zsff::names::LastPathComponent(path, u"/"), name);
  return name;
}

}  // namespace zsff_tools
