// A store that calls a hook before each change it makes to the store (an open to
// write, a write, a delete, a rename, a new directory), with the change's number
// from 1, once Arm() was called: at that moment the files are as a crash at that
// call leaves them. Two hooks make the sweeps over every such moment:
//
//   - StopProcessAt(n, pipe) stops the process for good at change n, after
//     sending kStopped through `pipe`, for a parent to kill it there;
//   - a hook that copies the directory takes every moment of one run.
//
//   auto store = std::make_shared<ChangeHookFileAccess>(
//       ChangeHookFileAccess::StopProcessAt(stopAt, pipe));  // in a child
//   RecordSignalTreeProbe::UseStore(tree, store);
//   store->Arm();
#pragma once

#include <unistd.h>

#include <functional>
#include <memory>

#include "foundation/LocalFileAccess.h"
#include "support/ForwardingFileAccess.h"

namespace zsff_test {

class ChangeHookFileAccess : public ForwardingFileAccess {
 public:
  using Hook = std::function<void(unsigned long change)>;
  static constexpr char kStopped = 's';

  explicit ChangeHookFileAccess(Hook hook)
      : ForwardingFileAccess(std::make_shared<zsff::CLocalFileAccess>()), m_Hook(std::move(hook)) {}

  static Hook StopProcessAt(unsigned long stopAt, int pipe) {
    return [stopAt, pipe](unsigned long change) {
      if (change != stopAt) return;
      const char stopped = kStopped;
      (void)!write(pipe, &stopped, 1);
      for (;;) pause();
    };
  }

  void Arm() { m_Armed = true; }

  bool OpenFile(const std::string& path, zsff::FileOpenMode_t mode, unsigned int& handle) override {
    if (mode != zsff::FileModeRead) Change();
    return ForwardingFileAccess::OpenFile(path, mode, handle);
  }
  bool OpenFile(const std::u16string& path, zsff::FileOpenMode_t mode,
                unsigned int& handle) override {
    if (mode != zsff::FileModeRead) Change();
    return ForwardingFileAccess::OpenFile(path, mode, handle);
  }
  bool WriteFile(unsigned int handle, const void* buffer, unsigned int size,
                 unsigned int& written) override {
    Change();
    return ForwardingFileAccess::WriteFile(handle, buffer, size, written);
  }
  bool SetEndOfFile(unsigned int handle) override {
    Change();
    return ForwardingFileAccess::SetEndOfFile(handle);
  }
  bool DeleteFile(const std::string& path) override {
    Change();
    return ForwardingFileAccess::DeleteFile(path);
  }
  bool DeleteFile(const std::u16string& path) override {
    Change();
    return ForwardingFileAccess::DeleteFile(path);
  }
  bool DeleteDirectoryTree(const std::u16string& path) override {
    Change();
    return ForwardingFileAccess::DeleteDirectoryTree(path);
  }
  bool RenameFile(const std::u16string& from, const std::u16string& to) override {
    Change();
    return ForwardingFileAccess::RenameFile(from, to);
  }
  bool ReplaceFile(const std::u16string& from, const std::u16string& to) override {
    Change();
    return ForwardingFileAccess::ReplaceFile(from, to);
  }
  bool CreateDirectory(const std::u16string& path) override {
    Change();
    return ForwardingFileAccess::CreateDirectory(path);
  }

 private:
  void Change() {
    if (m_Armed) m_Hook(++m_Changes);
  }

  const Hook m_Hook;
  bool m_Armed = false;
  unsigned long m_Changes = 0;
};

}  // namespace zsff_test
