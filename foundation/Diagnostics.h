// Reporting a diagnostic line to the sink the host set (zsff/Diagnostics.h).
#pragma once

#include <zsff/Diagnostics.h>

namespace zsff {

// Formats like printf and hands the line to the sink. `format` has no line end.
void ReportDiagnostic(DiagnosticLevel_t level, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

}  // namespace zsff
