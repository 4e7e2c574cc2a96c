#include <zsff/Version.h>

namespace zsff {

const char* LibraryVersion() { return ZSFF_VERSION_STRING; }

}  // namespace zsff
