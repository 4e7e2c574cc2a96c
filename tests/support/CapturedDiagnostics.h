// The lines the library reports, caught instead of going to standard error for
// as long as an object of this class lives.
#pragma once

#include <zsff/Diagnostics.h>

#include <string>

namespace zsff_test {

class CapturedDiagnostics {
 public:
  CapturedDiagnostics() {
    zsff::SetDiagnosticSink(
        [this](zsff::DiagnosticLevel_t, const std::string& line) { m_Text += line + "\n"; });
  }
  ~CapturedDiagnostics() { zsff::SetDiagnosticSink(nullptr); }
  CapturedDiagnostics(const CapturedDiagnostics&) = delete;
  CapturedDiagnostics& operator=(const CapturedDiagnostics&) = delete;

  // The lines since the object was made or last taken from, each with a line end
  // as the default sink prints it; forgets them.
  std::string Take() {
    std::string text;
    text.swap(m_Text);
    return text;
  }

 private:
  std::string m_Text;
};

}  // namespace zsff_test
