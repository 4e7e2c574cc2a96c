// The diagnostic sink: standard error by default, the host's sink once set, and
// the default again when the host gives up its sink.
#include <gtest/gtest.h>
#include <zsff/Diagnostics.h>

#include <string>
#include <utility>
#include <vector>

#include "foundation/Diagnostics.h"

namespace {

TEST(DiagnosticsTest, LinesGoToTheHostsSinkOrElseToStandardError) {
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  zsff::ReportDiagnostic(zsff::DiagnosticError, "first %d", 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "first 1\n");

  std::vector<std::pair<zsff::DiagnosticLevel_t, std::string>> lines;
  zsff::SetDiagnosticSink([&lines](zsff::DiagnosticLevel_t level, const std::string& line) {
    lines.emplace_back(level, line);
  });
  testing::internal::CaptureStderr();
  zsff::ReportDiagnostic(zsff::DiagnosticWarning, "second %s", "line");
  zsff::ReportDiagnostic(zsff::DiagnosticError, "%s", "");
  zsff::SetDiagnosticSink(nullptr);
  zsff::ReportDiagnostic(zsff::DiagnosticError, "third");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "third\n");
  const std::vector<std::pair<zsff::DiagnosticLevel_t, std::string>> expected = {
      {zsff::DiagnosticWarning, "second line"}, {zsff::DiagnosticError, ""}};
  EXPECT_EQ(lines, expected);
}

}  // namespace
