// A one-line progress bar on standard error, redrawn in place. It shows itself
// only when standard error is a terminal, so logs and pipes stay clean, and
// redraws at most a few times a second, so a fast loop can call Update freely.
#pragma once

#include <chrono>
#include <cstdio>
#include <string>

namespace zsff_tools {

class ProgressBar {
 public:
  // `total` is the amount of work (samples, bytes, ...) that 100 % stands for;
  // `wanted` false keeps the bar away even from a terminal.
  ProgressBar(unsigned long long total, bool wanted);
  // Erases the bar if it is still shown.
  ~ProgressBar();

  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  bool Enabled() const { return m_Enabled; }
  // `done` of `total`; `label` leads the line, `bytesWritten` gives the rate.
  void Update(unsigned long long done, const std::string& label, unsigned long long bytesWritten);
  // Erases the bar, so that the next output starts on a clean line.
  void Clear();

  // The bar's text for a given state, `width` columns wide at most. Kept apart
  // from the drawing so that it can be checked without a terminal.
  static std::string Render(double fraction, const std::string& label, double bytesPerSecond,
                            double secondsLeft, int width);

 private:
  using Clock = std::chrono::steady_clock;

  unsigned long long m_Total;
  bool m_Enabled;
  bool m_Shown = false;
  Clock::time_point m_Start;
  Clock::time_point m_LastDraw;
};

}  // namespace zsff_tools
