#include "HostHeader.h"

#include <zsff/DateTime.h>

#include "Place.h"
#include "foundation/TextConversion.h"

namespace zsff_tools {

bool WriteHostHeader(const std::filesystem::path& path, const std::string& host) {
  Place place;
  std::string error;
  if (!FindPlace(path, place, error)) return false;
  const std::string text =
      host + ": measurement started " +
      zsff::WideToUtf8(zsff::FileTimeToString(zsff::GetSystemTimeAsFileTime())) +
      ", unfinished while this file exists\n";
  unsigned int handle = 0;
  unsigned int written = 0;
  if (!place.Files->OpenFile(place.Path.string(), zsff::FileModeCreate, handle)) return false;
  const bool whole = place.Files->WriteFile(handle, text.data(), static_cast<unsigned int>(text.size()),
                                            written) &&
                     written == text.size();
  return place.Files->CloseFile(handle, true) && whole;
}

}  // namespace zsff_tools
