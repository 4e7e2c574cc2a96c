// The progress bar. "\r" and an erase-to-end-of-line redraw it in place; it is
// never drawn on anything but a terminal, where those codes are understood.
#include "Progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

#include "Format.h"

namespace zsff_tools {

namespace {

constexpr auto kRedrawInterval = std::chrono::milliseconds(100);

int TerminalWidth() {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  return 80;
}

}  // namespace

ProgressBar::ProgressBar(unsigned long long total, bool wanted)
    : m_Total(total), m_Enabled(wanted && isatty(STDERR_FILENO) == 1), m_Start(Clock::now()) {}

ProgressBar::~ProgressBar() { Clear(); }

void ProgressBar::Update(unsigned long long done, const std::string& label,
                         unsigned long long bytesWritten) {
  if (!m_Enabled) return;
  const Clock::time_point now = Clock::now();
  if (m_Shown && now - m_LastDraw < kRedrawInterval && done < m_Total) return;
  m_LastDraw = now;

  const double elapsed = std::chrono::duration<double>(now - m_Start).count();
  const double fraction =
      m_Total > 0 ? static_cast<double>(done) / static_cast<double>(m_Total) : 1.0;
  const double rate = elapsed > 0.0 ? static_cast<double>(bytesWritten) / elapsed : 0.0;
  const double left = fraction > 0.0 ? elapsed * (1.0 - fraction) / fraction : -1.0;
  const std::string line = Render(fraction, label, rate, left, TerminalWidth() - 1);
  std::fprintf(stderr, "\r%s\x1b[K", line.c_str());
  std::fflush(stderr);
  m_Shown = true;
}

void ProgressBar::Clear() {
  if (!m_Shown) return;
  std::fprintf(stderr, "\r\x1b[K");
  std::fflush(stderr);
  m_Shown = false;
}

std::string ProgressBar::Render(double fraction, const std::string& label, double bytesPerSecond,
                                double secondsLeft, int width) {
  fraction = std::clamp(fraction, 0.0, 1.0);
  std::string tail =
      Printf(" %3d%%  %s", static_cast<int>(fraction * 100.0), FormatRate(bytesPerSecond).c_str());
  if (secondsLeft >= 0.0) tail += "  ETA " + FormatClock(secondsLeft);

  std::string head = label.empty() ? std::string() : label + " ";
  // The bar takes what is left, between 10 and 40 columns; without room for 10
  // the label goes first, then the bar.
  int barWidth = width - static_cast<int>(head.size() + tail.size()) - 2;
  if (barWidth < 10) {
    head.clear();
    barWidth = width - static_cast<int>(tail.size()) - 2;
  }
  barWidth = std::min(barWidth, 40);
  if (barWidth < 10) return tail.substr(1);

  const int filled = static_cast<int>(fraction * barWidth + 0.5);
  return head + "[" + std::string(static_cast<std::size_t>(filled), '#') +
         std::string(static_cast<std::size_t>(barWidth - filled), '.') + "]" + tail;
}

}  // namespace zsff_tools
