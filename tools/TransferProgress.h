// The progress of a command that moves a measurement's bytes (copy, upload,
// download): a bar on a terminal with the bytes, the rate and the time left
// while it runs, and one summary line at the end.
#pragma once

#include <memory>
#include <string>

#include "Progress.h"

namespace zsff_tools {

class TransferProgress {
 public:
  // `total` bytes are expected; 0 when not yet known (SetTotal then tells it).
  TransferProgress(std::string label, unsigned long long total);

  void SetTotal(unsigned long long total);
  // `bytes` more were moved.
  void Add(unsigned long long bytes) { Set(m_Done + bytes); }
  // `done` bytes were moved in all.
  void Set(unsigned long long done);
  // Takes the bar away.
  void Clear();

  unsigned long long Done() const { return m_Done; }
  // "12.3 MiB in 0:02 (6.1 MiB/s)".
  std::string Summary() const;

 private:
  std::string m_Label;
  unsigned long long m_Done = 0;
  std::unique_ptr<ProgressBar> m_Bar;  // made once the total is known
  std::chrono::steady_clock::time_point m_Start;
};

}  // namespace zsff_tools
