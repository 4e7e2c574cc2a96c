#include "DirectorySize.h"

#include <vector>

#include "Place.h"
#include "WidePath.h"
#include "foundation/TextConversion.h"

namespace zsff_tools {

namespace {

unsigned long long BytesBelow(zsff::CAbstractFileAccess& files, const std::u16string& directory) {
  std::vector<std::u16string> directories, names;
  if (!files.ListDirectory(directory, directories, names, u"*")) return 0;
  unsigned long long bytes = 0;
  for (const std::u16string& name : names) {
    unsigned long long size = 0;
    if (files.FileSize(name, size)) bytes += size;
  }
  for (const std::u16string& below : directories) bytes += BytesBelow(files, below);
  return bytes;
}

}  // namespace

unsigned long long BytesUnder(const std::filesystem::path& directory) {
  Place place;
  std::string error;
  return FindPlace(directory, place, error)
             ? BytesBelow(*place.Files, StorePath(place.Path))
             : 0;
}

}  // namespace zsff_tools
