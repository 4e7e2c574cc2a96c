// The part of the store interface that every store shares: the pending error.
#include <zsff/FileAccess.h>

namespace zsff {

CAbstractFileAccess::CAbstractFileAccess(const CAbstractFileAccess& other)
    : m_LastError(other.m_LastError.load(std::memory_order_relaxed)) {}

CAbstractFileAccess& CAbstractFileAccess::operator=(const CAbstractFileAccess& other) {
  m_LastError.store(other.m_LastError.load(std::memory_order_relaxed), std::memory_order_relaxed);
  return *this;
}

CAbstractFileAccess::~CAbstractFileAccess() = default;

bool CAbstractFileAccess::ReplaceFile(const std::u16string& from, const std::u16string& to) {
  if (FileExists(to) && !DeleteFile(to)) return false;
  return RenameFile(from, to);
}

ErrorCode_t CAbstractFileAccess::GetLastError() {
  return static_cast<ErrorCode_t>(m_LastError.exchange(FileErrorNone, std::memory_order_relaxed));
}

}  // namespace zsff
