// A store's open files by handle. Handles are numbered from 1 upward, one
// number consumed by every open attempt (a failed one too), so that a caller
// never sees a number twice. Adding and removing take the lock exclusively and
// never across a system call, so a slow open on one thread doesn't stall the
// transfers of another.
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <shared_mutex>

namespace zsff {

template <typename File>
class HandleTable {
 public:
  // The number of an open attempt, taken before it tries.
  unsigned int Reserve() { return m_Next.fetch_add(1, std::memory_order_relaxed); }

  // Files `file` under `number`, or under a later one where that is taken;
  // returns the handle.
  unsigned int Add(unsigned int number, const File& file) {
    std::unique_lock<std::shared_mutex> guard(m_Lock);
    // Only after 2^32 opens can the counter come back to a number still open.
    while (number == 0 || !m_Files.emplace(number, file).second) number = Reserve();
    return number;
  }

  // The file of `handle`; false when it isn't open.
  bool Find(unsigned int handle, File& file) const {
    std::shared_lock<std::shared_mutex> guard(m_Lock);
    const auto found = m_Files.find(handle);
    if (found == m_Files.end()) return false;
    file = found->second;
    return true;
  }

  // Takes `handle`'s file out of the table, calling `removed()` under the lock;
  // false when it isn't open.
  template <typename Removed>
  bool Remove(unsigned int handle, File& file, Removed removed) {
    std::unique_lock<std::shared_mutex> guard(m_Lock);
    const auto found = m_Files.find(handle);
    if (found == m_Files.end()) return false;
    file = found->second;
    m_Files.erase(found);
    removed();
    return true;
  }

  // Takes every file out of the table, calling `removed()` under the lock.
  template <typename Removed>
  std::map<unsigned int, File> RemoveAll(Removed removed) {
    std::map<unsigned int, File> files;
    std::unique_lock<std::shared_mutex> guard(m_Lock);
    files.swap(m_Files);
    removed();
    return files;
  }

  // Calls `visit(file)` for the open files, under the lock, until it returns true.
  template <typename Visit>
  void Any(Visit visit) const {
    std::shared_lock<std::shared_mutex> guard(m_Lock);
    for (const auto& entry : m_Files)
      if (visit(entry.second)) return;
  }

 private:
  std::map<unsigned int, File> m_Files;
  mutable std::shared_mutex m_Lock;
  std::atomic<unsigned int> m_Next{1};
};

}  // namespace zsff
