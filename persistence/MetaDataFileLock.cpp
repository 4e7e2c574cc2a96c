// The metadata lock file: taken by an atomic create-new, released by deletion.
#include <zsff/FileAccess.h>
#include <zsff/MetaDataFileLock.h>

#include <chrono>
#include <exception>
#include <thread>

namespace zsff {

namespace {

// Settled constants: a waiting writer gives up after about two seconds, which is
// what keeps the few places that take the process lock and the file lock in the
// opposite order from deadlocking for good.
constexpr int kLockAttempts = 256;
constexpr std::chrono::milliseconds kLockRetryDelay{8};
// A lock file that stays after one failed delete would keep every writer of the
// measurement waiting for the rest of the session, so the release tries again,
// as the temporary record file's delete does.
constexpr int kReleaseTries = 20;
constexpr std::chrono::milliseconds kReleaseRetryDelay{1};

}  // namespace

struct MetaDataFileLock::State {
  std::u16string fullPath;
  std::u16string name;
  std::shared_ptr<CAbstractFileAccess> access;

  void SetDirectory(const std::u16string& directory) {
    if (directory.empty()) {
      fullPath = name;
    } else if (access) {
      fullPath = directory + access->PathSeparatorW() + name;
    } else {
      // Without a store the path is never used; it only has to exist.
      fullPath = directory + name;
    }
  }
};

MetaDataFileLock::MetaDataFileLock(const std::u16string& name, const std::u16string& directory,
                                   std::shared_ptr<CAbstractFileAccess> access, Mode mode)
    : m_State(new State) {
  m_State->name = name;
  m_State->access = std::move(access);
  m_State->SetDirectory(directory);

  if (mode == LockNone) return;

  CAbstractFileAccess* store = m_State->access.get();
  for (int attempt = 0; attempt < kLockAttempts; ++attempt) {
    unsigned int handle = 0;
    // Create-new fails on an existing file, so testing for the lock and taking it
    // are one step of the file system: two processes can't both succeed.
    if (store != nullptr && store->OpenFile(m_State->fullPath, FileModeCreateNew, handle)) {
      // The content means nothing; some stores don't keep empty files.
      const unsigned char zeros[4] = {0, 0, 0, 0};
      unsigned int written = 0;
      store->WriteFile(handle, zeros, sizeof zeros, written);
      store->CloseFile(handle, true);
      return;
    }
    if (mode == LockTryOnce) break;
    std::this_thread::sleep_for(kLockRetryDelay);
  }
  // The state is released by m_State's destructor as the exception leaves.
  throw std::exception();
}

MetaDataFileLock::~MetaDataFileLock() {
  CAbstractFileAccess* store = m_State->access.get();
  if (store == nullptr) return;
  for (int attempt = 0; attempt < kReleaseTries; ++attempt) {
    if (store->DeleteFile(m_State->fullPath) || !store->FileExists(m_State->fullPath)) return;
    std::this_thread::sleep_for(kReleaseRetryDelay);
  }
}

void MetaDataFileLock::ChangePath(const std::u16string& directory) {
  m_State->SetDirectory(directory);
}

}  // namespace zsff
