// Tells when what a command watches has stopped changing for too long: how
// "zsff follow" knows that no recorder is coming, or that the one it followed
// is gone, when nothing would tell it otherwise.
#pragma once

#include <chrono>
#include <string>

namespace zsff_tools {

class StallWatch {
 public:
  // `seconds` 0 never stalls.
  explicit StallWatch(double seconds) : m_Seconds(seconds), m_Since(Clock::now()) {}

  // Notes what is seen now; a sight unlike the last restarts the clock.
  void Note(const std::string& sight) {
    if (sight == m_Sight) return;
    m_Sight = sight;
    m_Since = Clock::now();
  }
  bool Stalled() const {
    return m_Seconds > 0.0 &&
           std::chrono::duration<double>(Clock::now() - m_Since).count() >= m_Seconds;
  }
  double Seconds() const { return m_Seconds; }

 private:
  using Clock = std::chrono::steady_clock;

  double m_Seconds;
  Clock::time_point m_Since;
  std::string m_Sight;
};

}  // namespace zsff_tools
