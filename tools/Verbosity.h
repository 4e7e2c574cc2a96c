// How much the tool says besides its results and its errors, set once by
// "--quiet" or "--verbose" for whatever command runs: quiet drops the notes on
// what was done, verbose adds the library's own diagnostics.
#pragma once

namespace zsff_tools {

enum Verbosity_t { VerbosityQuiet, VerbosityNormal, VerbosityVerbose };

// Also routes the library's diagnostics: to standard error when verbose, nowhere
// otherwise.
void SetVerbosity(Verbosity_t verbosity);
Verbosity_t Verbosity();
// The notes a command prints on its progress and on what it wrote.
inline bool Chatty() { return Verbosity() != VerbosityQuiet; }

}  // namespace zsff_tools
