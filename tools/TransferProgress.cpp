#include "TransferProgress.h"

#include <utility>

#include "Format.h"
#include "Verbosity.h"

namespace zsff_tools {

TransferProgress::TransferProgress(std::string label, unsigned long long total)
    : m_Label(std::move(label)), m_Start(std::chrono::steady_clock::now()) {
  SetTotal(total);
}

void TransferProgress::SetTotal(unsigned long long total) {
  if (total != 0 && !m_Bar) m_Bar = std::make_unique<ProgressBar>(total, Chatty());
}

void TransferProgress::Set(unsigned long long done) {
  m_Done = done;
  if (m_Bar) m_Bar->Update(done, m_Label, done);
}

void TransferProgress::Clear() {
  if (m_Bar) m_Bar->Clear();
}

std::string TransferProgress::Summary() const {
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - m_Start).count();
  return FormatBytes(static_cast<double>(m_Done)) + " in " + FormatClock(seconds) + " (" +
         FormatRate(seconds > 0.0 ? static_cast<double>(m_Done) / seconds : 0.0) + ")";
}

}  // namespace zsff_tools
