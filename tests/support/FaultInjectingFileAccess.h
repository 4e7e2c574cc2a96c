// A store that fails on purpose, for the error paths of the layers above the
// store. It wraps a real store and forwards everything, except that:
//
//   - FailAt(op, n) makes the n-th call of an operation from now on fail
//     (1 = the very next call), once or, when sticky, from then on;
//   - SetFreeSpace(bytes) makes the disk full after that many more bytes: the
//     write that crosses the limit writes what fits and then fails, as a real
//     full disk does; ShortWriteAt(n) makes the n-th write from now do the same
//     with half its bytes;
//   - Calls(op) counts the calls seen, so a test can run a scenario once to
//     learn how many writes it makes and then sweep a fault over each of them,
//     and Injected() the calls failed on purpose, so it knows when one struck;
//   - OpenModes() lists the mode of every open seen, so a test can tell that a
//     reader never asked to write.
//
// An injected failure does what the interface promises for a real one: false,
// the operation's usual error code, outputs untouched, nothing done on the
// target (an injected close still closes the target's file, so nothing leaks).
//
//   auto store =
//   std::make_shared<FaultInjectingFileAccess>(std::make_shared<zsff::CLocalFileAccess>());
//   store->FailAt(FaultInjectingFileAccess::Write, 3);  // the third write fails
#pragma once

#include <array>
#include <limits>
#include <mutex>
#include <vector>

#include "support/ForwardingFileAccess.h"

namespace zsff_test {

class FaultInjectingFileAccess : public ForwardingFileAccess {
 public:
  // Both forms of an overloaded operation count as one operation.
  enum Operation {
    Open,
    Read,
    Write,
    Seek,
    Tell,
    Close,
    SetEnd,
    Delete,
    Rename,
    CreateDir,
    DeleteTree,
    List,
    OperationCount
  };

  using ForwardingFileAccess::ForwardingFileAccess;

  // Arms a fault on the n-th call of `op` counted from now (n >= 1). With
  // `sticky` every later call fails too. `code` replaces the usual error code
  // (for instance FileErrorEndOfFile for a read that finds a truncated file).
  void FailAt(Operation op, unsigned long n, bool sticky = false) {
    FailAt(op, n, sticky, UsualCode(op));
  }
  void FailAt(Operation op, unsigned long n, bool sticky, zsff::ErrorCode_t code) {
    std::lock_guard<std::mutex> guard(m_Lock);
    Fault& fault = m_Faults[op];
    fault.at = m_Calls[op] + n;
    fault.sticky = sticky;
    fault.code = code;
  }

  // The n-th write from now writes half its bytes, then fails.
  void ShortWriteAt(unsigned long n) {
    FailAt(Write, n);
    std::lock_guard<std::mutex> guard(m_Lock);
    m_ShortWrite = true;
  }

  // Lets at most `bytes` more bytes be written through this store.
  void SetFreeSpace(unsigned long long bytes) {
    std::lock_guard<std::mutex> guard(m_Lock);
    m_FreeSpace = bytes;
  }

  // Calls of `op` seen so far, failed ones included.
  unsigned long Calls(Operation op) const {
    std::lock_guard<std::mutex> guard(m_Lock);
    return m_Calls[op];
  }

  // Calls failed on purpose so far, the full disk's included.
  unsigned long Injected() const {
    std::lock_guard<std::mutex> guard(m_Lock);
    return m_Injected;
  }

  // The modes of the opens seen so far, failed ones included, in call order.
  std::vector<zsff::FileOpenMode_t> OpenModes() const {
    std::lock_guard<std::mutex> guard(m_Lock);
    return m_OpenModes;
  }

  // Disarms every fault, frees the disk and zeroes the counters.
  void Reset() {
    std::lock_guard<std::mutex> guard(m_Lock);
    m_Faults = {};
    m_Calls = {};
    m_OpenModes.clear();
    m_FreeSpace = kUnlimited;
    m_ShortWrite = false;
    m_Injected = 0;
  }

  bool OpenFile(const std::string& path, zsff::FileOpenMode_t mode, unsigned int& handle) override {
    return OpenFails(mode) ? false : ForwardingFileAccess::OpenFile(path, mode, handle);
  }
  bool OpenFile(const std::u16string& path, zsff::FileOpenMode_t mode,
                unsigned int& handle) override {
    return OpenFails(mode) ? false : ForwardingFileAccess::OpenFile(path, mode, handle);
  }
  bool ReadFile(unsigned int handle, void* buffer, unsigned int size,
                unsigned int& bytesRead) override {
    return Fails(Read) ? false : ForwardingFileAccess::ReadFile(handle, buffer, size, bytesRead);
  }
  bool WriteFile(unsigned int handle, const void* buffer, unsigned int size,
                 unsigned int& written) override {
    unsigned int fits = size;
    if (Fails(Write)) {
      std::lock_guard<std::mutex> guard(m_Lock);
      if (!m_ShortWrite) return false;
      fits = size / 2;
    } else {
      std::lock_guard<std::mutex> guard(m_Lock);
      if (m_FreeSpace != kUnlimited) {
        if (size > m_FreeSpace) fits = static_cast<unsigned int>(m_FreeSpace);
        m_FreeSpace -= fits;
        if (fits != size) ++m_Injected;
      }
    }
    if (fits == size) return ForwardingFileAccess::WriteFile(handle, buffer, size, written);
    unsigned int partial = 0;
    if (fits > 0) ForwardingFileAccess::WriteFile(handle, buffer, fits, partial);
    SetLastError(zsff::FileErrorWrite);
    return false;
  }
  bool SeekFile(unsigned int handle, long long offset, int origin) override {
    return Fails(Seek) ? false : ForwardingFileAccess::SeekFile(handle, offset, origin);
  }
  bool TellFile(unsigned int handle, unsigned long long& position) override {
    if (Fails(Tell)) {
      position = 0;  // as a failing tell leaves it
      return false;
    }
    return ForwardingFileAccess::TellFile(handle, position);
  }
  bool SetEndOfFile(unsigned int handle) override {
    return Fails(SetEnd) ? false : ForwardingFileAccess::SetEndOfFile(handle);
  }
  bool CloseFile(unsigned int handle, bool written) override {
    if (!Fails(Close)) return ForwardingFileAccess::CloseFile(handle, written);
    Target().CloseFile(handle, written);  // released all the same, so nothing leaks
    Target().GetLastError();              // only the injected code is to be seen
    return false;
  }
  bool DeleteFile(const std::string& path) override {
    return Fails(Delete) ? false : ForwardingFileAccess::DeleteFile(path);
  }
  bool DeleteFile(const std::u16string& path) override {
    return Fails(Delete) ? false : ForwardingFileAccess::DeleteFile(path);
  }
  bool RenameFile(const std::u16string& oldPath, const std::u16string& newPath) override {
    return Fails(Rename) ? false : ForwardingFileAccess::RenameFile(oldPath, newPath);
  }
  bool ReplaceFile(const std::u16string& from, const std::u16string& to) override {
    return Fails(Rename) ? false : ForwardingFileAccess::ReplaceFile(from, to);
  }
  bool CreateDirectory(const std::u16string& path) override {
    return Fails(CreateDir) ? false : ForwardingFileAccess::CreateDirectory(path);
  }
  bool DeleteDirectoryTree(const std::u16string& path) override {
    return Fails(DeleteTree) ? false : ForwardingFileAccess::DeleteDirectoryTree(path);
  }
  bool ListDirectory(const std::u16string& directory, std::vector<std::u16string>& directories,
                     std::vector<std::u16string>& files, const std::u16string& pattern) override {
    return Fails(List) ? false
                       : ForwardingFileAccess::ListDirectory(directory, directories, files, pattern);
  }

 private:
  static constexpr unsigned long long kUnlimited = std::numeric_limits<unsigned long long>::max();

  struct Fault {
    unsigned long at = 0;  // 0: not armed
    bool sticky = false;
    zsff::ErrorCode_t code = zsff::FileErrorNone;
  };

  static zsff::ErrorCode_t UsualCode(Operation op) {
    switch (op) {
      case Open:
        return zsff::FileErrorOpen;
      case Read:
        return zsff::FileErrorRead;
      case Write:
      case SetEnd:
        return zsff::FileErrorWrite;
      case Seek:
      case Tell:
        return zsff::FileErrorSeek;
      case Close:
        return zsff::FileErrorBadHandle;
      default:
        return zsff::FileErrorNone;  // path operations report by result alone
    }
  }

  // Counts the call and tells whether it is to fail; sets the code when it is.
  bool Fails(Operation op) {
    zsff::ErrorCode_t code;
    {
      std::lock_guard<std::mutex> guard(m_Lock);
      const unsigned long call = ++m_Calls[op];
      const Fault& fault = m_Faults[op];
      if (fault.at == 0 || call < fault.at || (call > fault.at && !fault.sticky)) return false;
      code = fault.code;
      ++m_Injected;
    }
    if (code != zsff::FileErrorNone) SetLastError(code);
    return true;
  }

  bool OpenFails(zsff::FileOpenMode_t mode) {
    {
      std::lock_guard<std::mutex> guard(m_Lock);
      m_OpenModes.push_back(mode);
    }
    return Fails(Open);
  }

  mutable std::mutex m_Lock;
  std::vector<zsff::FileOpenMode_t> m_OpenModes;
  std::array<Fault, OperationCount> m_Faults{};
  std::array<unsigned long, OperationCount> m_Calls{};
  unsigned long long m_FreeSpace = kUnlimited;
  bool m_ShortWrite = false;
  unsigned long m_Injected = 0;
};

}  // namespace zsff_test
