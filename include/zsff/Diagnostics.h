// Where the library's diagnostics go. Besides the error texts its objects keep
// (LastErrorString and the like), the library reports some failures as lines of
// text as they happen. It never writes them to standard output itself: every line
// goes to one sink per process, which writes to standard error until the host sets
// its own.
#pragma once

#include <functional>
#include <string>
#include <zsff/Export.h>

namespace zsff {

enum DiagnosticLevel_t {
  DiagnosticError,   // an operation failed, or is about to
  DiagnosticWarning  // something was off, and the operation went on
};

// Receives one line, without its line end.
using DiagnosticSink = std::function<void(DiagnosticLevel_t level, const std::string& line)>;

// Sends every later line of any thread to `sink`; an empty function brings back
// the default, standard error. Callable from any thread. Lines are delivered one at
// a time, on the thread that reports them; once this returns, the previous sink is
// never called again. A sink must not call SetDiagnosticSink itself.
ZSFF_API void SetDiagnosticSink(DiagnosticSink sink);

}  // namespace zsff
