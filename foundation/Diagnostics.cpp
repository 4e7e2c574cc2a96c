// The process's one diagnostic sink.
#include "foundation/Diagnostics.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

namespace zsff {
namespace {

struct Sink {
  std::mutex lock;
  DiagnosticSink deliver;
};

// Made on first use and never destroyed, so that statics of other files may
// report while they are built and while they are torn down at exit.
Sink& TheSink() {
  static Sink* const sink = new Sink;
  return *sink;
}

void WriteToStandardError(const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); }

}  // namespace

void SetDiagnosticSink(DiagnosticSink sink) {
  Sink& the = TheSink();
  std::lock_guard<std::mutex> guard(the.lock);
  the.deliver = std::move(sink);
}

void ReportDiagnostic(DiagnosticLevel_t level, const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  std::va_list again;
  va_copy(again, args);
  const int length = std::vsnprintf(nullptr, 0, format, args);
  va_end(args);
  std::string line(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  // The terminating NUL lands on the one the string keeps behind its end.
  if (length > 0) std::vsnprintf(&line[0], line.size() + 1, format, again);
  va_end(again);

  Sink& the = TheSink();
  std::lock_guard<std::mutex> guard(the.lock);
  if (the.deliver) {
    the.deliver(level, line);
  } else {
    WriteToStandardError(line);
  }
}

}  // namespace zsff
