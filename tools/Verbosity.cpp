#include "Verbosity.h"

#include <zsff/Diagnostics.h>

#include <cstdio>

namespace zsff_tools {

namespace {

Verbosity_t g_Verbosity = VerbosityNormal;

}  // namespace

void SetVerbosity(Verbosity_t verbosity) {
  g_Verbosity = verbosity;
  // The library's lines tell in its own words, class names included, what the
  // tool's error lines tell in the tool's: wanted only when asked for.
  const bool verbose = verbosity == VerbosityVerbose;
  zsff::SetDiagnosticSink([verbose](zsff::DiagnosticLevel_t level, const std::string& line) {
    if (!verbose) return;
    std::fprintf(stderr, "zsff: library %s: %s\n",
                 level == zsff::DiagnosticError ? "error" : "warning", line.c_str());
  });
}

Verbosity_t Verbosity() { return g_Verbosity; }

}  // namespace zsff_tools
