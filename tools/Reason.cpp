#include "Reason.h"

#include <cstring>

#include "Verbosity.h"
#include "foundation/TextConversion.h"

namespace zsff_tools {

std::string Reason(int error, const std::u16string& libraryText) {
  const std::string library = zsff::WideToUtf8(libraryText);
  if (error == 0) return library.empty() ? "no reason given" : library;
  std::string reason = std::strerror(error);
  if (Verbosity() == VerbosityVerbose && !library.empty()) reason += " (" + library + ")";
  return reason;
}

}  // namespace zsff_tools
