#include "foundation/DirectoryClaim.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace zsff {

namespace {

// Whether the directory open as `fd` has an entry besides "." and "..". One
// that can't be read is taken as empty, as a listing that fails always was.
bool HasEntries(int fd) {
  const int copy = ::dup(fd);  // closedir closes what it reads from
  if (copy < 0) return false;
  DIR* dir = ::fdopendir(copy);
  if (dir == nullptr) {
    ::close(copy);
    return false;
  }
  bool found = false;
  while (const dirent* entry = ::readdir(dir)) {
    if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
      found = true;
      break;
    }
  }
  ::closedir(dir);
  return found;
}

}  // namespace

CDirectoryClaim::~CDirectoryClaim() {
  if (m_Directory >= 0) ::close(m_Directory);
}

CDirectoryClaim::Result_t CDirectoryClaim::Take(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return NotClaimable;
  int locked;
  do {
    locked = ::flock(fd, LOCK_EX | LOCK_NB);
  } while (locked != 0 && errno == EINTR);
  if (locked != 0) {
    const Result_t result = errno == EWOULDBLOCK ? HeldElsewhere : NotClaimable;
    ::close(fd);
    return result;
  }
  // Looked at only under the lock: a claim let go by a creator that has
  // written something no longer lets anyone through.
  if (HasEntries(fd)) {
    ::close(fd);
    return NotEmpty;
  }
  m_Directory = fd;
  return Claimed;
}

}  // namespace zsff
