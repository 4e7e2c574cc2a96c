// CLocalFileAccess: the syncs that make what it wrote survive a power loss, when
// a host asks for them. Without an interval none of this runs: the kernel writes
// the page cache back in its own time, which a crash of the process doesn't
// touch but a power loss does.
//
// A sync is one syncfs() of the file system rather than an fdatasync() of each
// file: a recording keeps a dozen files or more open and closes them part by
// part, and each fdatasync() waits for a flush of the disk of its own, while a
// syncfs() writes everything back, directory entries and closed files included,
// with one.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "foundation/LocalFileAccess.h"

namespace zsff {

namespace {

long long SteadyNanoseconds() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

bool SyncFileSystem(int fd) {
  int result;
  do result = ::syncfs(fd);
  while (result != 0 && errno == EINTR);
  return result == 0;
}

}  // namespace

void CLocalFileAccess::SetSyncInterval(std::chrono::milliseconds interval) {
  const long long nanoseconds =
      interval.count() > 0 ? std::chrono::nanoseconds(interval).count() : 0;
  m_LastSync.store(SteadyNanoseconds(), std::memory_order_relaxed);
  m_SyncInterval.store(nanoseconds, std::memory_order_relaxed);
}

std::chrono::milliseconds CLocalFileAccess::SyncInterval() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::nanoseconds(m_SyncInterval.load(std::memory_order_relaxed)));
}

bool CLocalFileAccess::SyncFiles() {
  std::lock_guard<std::mutex> guard(m_SyncLock);
  m_SyncDevices.clear();
  bool synced = true;
  for (;;) {
    // A file system not synced yet, by a copy of one of its descriptors, so that
    // a close on another thread can't pull the descriptor away meanwhile.
    bool found = false;
    int fd = -1;
    m_Files.Any([&](const OpenedFile& file) {
      struct stat info;
      if (!file.Writable || ::fstat(file.Fd, &info) != 0 ||
          std::find(m_SyncDevices.begin(), m_SyncDevices.end(), info.st_dev) !=
              m_SyncDevices.end())
        return false;
      m_SyncDevices.push_back(info.st_dev);
      fd = ::fcntl(file.Fd, F_DUPFD_CLOEXEC, 0);
      found = true;
      return true;
    });
    if (!found) return synced;
    synced = fd >= 0 && SyncFileSystem(fd) && synced;
    if (fd >= 0) ::close(fd);
  }
}

bool CLocalFileAccess::SyncWhenDue() {
  const long long now = SteadyNanoseconds();
  long long last = m_LastSync.load(std::memory_order_relaxed);
  if (now - last < m_SyncInterval.load(std::memory_order_relaxed)) return true;
  // One thread takes the sync on; the others write on. The interval counts from
  // the start of a sync: what was written before it is then durable.
  if (!m_LastSync.compare_exchange_strong(last, now, std::memory_order_relaxed)) return true;
  return SyncFiles();
}

}  // namespace zsff
