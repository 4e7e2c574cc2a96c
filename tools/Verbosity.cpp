#include "Verbosity.h"

namespace zsff_tools {

namespace {

Verbosity_t g_Verbosity = VerbosityNormal;

}  // namespace

void SetVerbosity(Verbosity_t verbosity) { g_Verbosity = verbosity; }

Verbosity_t Verbosity() { return g_Verbosity; }

}  // namespace zsff_tools
