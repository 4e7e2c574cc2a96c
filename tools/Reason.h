// The reason of a failure as an error line of the tool gives it.
#pragma once

#include <string>

namespace zsff_tools {

// Why a call failed, for an error line: the operating system's reason in its
// own words ("No space left on device") when the call left one in `error` (an
// errno taken right after it, zeroed before), else the library's text, else
// "no reason given". With --verbose the library's text follows the system's.
std::string Reason(int error, const std::u16string& libraryText = std::u16string());

}  // namespace zsff_tools
