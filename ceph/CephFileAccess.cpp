// The CephFS store's files by path and by handle (see CephFileAccess.h).
//
// Transfers go to ceph_read()/ceph_write() at the handle's position, through
// the store's gate like every call: a block of samples is one call, and libcephfs keeps what other clients read
// coherent with it through the capabilities the metadata server hands out.
#include <zsff/CephFileAccess.h>

#include <cephfs/libcephfs.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "ceph/CephCallGate.h"
#include "foundation/HandleTable.h"
#include "foundation/OpenFlags.h"
#include "foundation/TransferAll.h"

namespace zsff {

namespace {

// 1970-01-01 as a file time.
constexpr long long kUnixEpochAsFileTime = 116444736000000000LL;

}  // namespace

bool CCephFileAccess::Status(const std::string& path, struct ceph_statx& status,
                             unsigned int want) {
  ceph_mount_info* mount = m_Mount.load();
  return mount != nullptr && !path.empty() &&
         m_Gate->Fetch(
             [mount, path, want](struct ceph_statx* found) {
               return ceph_statx(mount, path.c_str(), found, want | CEPH_STATX_MODE,
                                 AT_SYMLINK_NOFOLLOW);
             },
             status) == 0;
}

// --- Files by path ---------------------------------------------------------------

bool CCephFileAccess::Unlink(const std::string& full) {
  ceph_mount_info* mount = m_Mount.load();
  return mount != nullptr && !full.empty() &&
         m_Gate->Run([mount, full] { return ceph_unlink(mount, full.c_str()); }) == 0;
}

bool CCephFileAccess::DeleteFile(const std::string& path) { return Unlink(CephPath(path)); }

bool CCephFileAccess::DeleteFile(const std::u16string& path) { return Unlink(CephPath(path)); }

bool CCephFileAccess::FileExists(const std::string& path) {
  struct ceph_statx status {};
  return Status(CephPath(path), status, 0);
}

bool CCephFileAccess::FileExists(const std::u16string& path) {
  struct ceph_statx status {};
  return Status(CephPath(path), status, 0);
}

bool CCephFileAccess::RenameFile(const std::u16string& oldPath, const std::u16string& newPath) {
  const std::string from = CephPath(oldPath);
  const std::string to = CephPath(newPath);
  ceph_mount_info* mount = m_Mount.load();
  struct ceph_statx status {};
  if (to.empty() || !Status(from, status, 0)) return false;
  if (S_ISDIR(status.stx_mode)) {
    // No link for a directory: check, then rename. Only the tree renames
    // directories, under the measurement's lock.
    struct ceph_statx target {};
    if (Status(to, target, 0)) return false;
    const long result =
        m_Gate->Run([mount, from, to] { return ceph_rename(mount, from.c_str(), to.c_str()); });
    return result == 0 || Failed("cannot rename " + from + " to " + to, result);
  }
  // rename() would replace a file at `to`; a link to it can't, and is refused
  // by the metadata server even against another client's link. A crash before
  // the unlink leaves the file under both names; the next rename of it (the
  // end-up's, for the header) finishes the one cut short.
  long result = m_Gate->Run([mount, from, to] { return ceph_link(mount, from.c_str(), to.c_str()); });
  const bool linked = result == 0;
  if (result == -EEXIST) {
    struct ceph_statx target {};
    if (!Status(from, status, CEPH_STATX_INO) || !Status(to, target, CEPH_STATX_INO) ||
        status.stx_ino != target.stx_ino)
      return false;
  } else if (!linked) {
    return Failed("cannot link " + to, result);
  }
  result = m_Gate->Run([mount, from] { return ceph_unlink(mount, from.c_str()); });
  if (result == 0) return true;
  if (linked) Unlink(to);
  return Failed("cannot rename " + from + " to " + to, result);
}

bool CCephFileAccess::ReplaceFile(const std::u16string& from, const std::u16string& to) {
  const std::string source = CephPath(from);
  const std::string target = CephPath(to);
  ceph_mount_info* mount = m_Mount.load();
  return mount != nullptr && !source.empty() && !target.empty() &&
         m_Gate->Run([mount, source, target] {
           return ceph_rename(mount, source.c_str(), target.c_str());
         }) == 0;
}

bool CCephFileAccess::FileSize(const std::string& path, unsigned long long& size) {
  long long lastWrite = 0;
  return SizeAndTime(CephPath(path), size, lastWrite);
}

bool CCephFileAccess::FileSize(const std::u16string& path, unsigned long long& size) {
  long long lastWrite = 0;
  return SizeAndTime(CephPath(path), size, lastWrite);
}

bool CCephFileAccess::FileSizeAndTime(const std::u16string& path, unsigned long long& size,
                                      long long& lastWrite) {
  return SizeAndTime(CephPath(path), size, lastWrite);
}

bool CCephFileAccess::SizeAndTime(const std::string& full, unsigned long long& size,
                                  long long& lastWrite) {
  size = 0;
  lastWrite = 0;
  struct ceph_statx status {};
  if (!Status(full, status, CEPH_STATX_SIZE | CEPH_STATX_MTIME) ||
      S_ISDIR(status.stx_mode))
    return false;
  size = status.stx_size;
  lastWrite = kUnixEpochAsFileTime + static_cast<long long>(status.stx_mtime.tv_sec) * 10000000LL +
              static_cast<long long>(status.stx_mtime.tv_nsec) / 100;
  return true;
}

// --- Open files --------------------------------------------------------------------

bool CCephFileAccess::OpenFile(const std::string& path, FileOpenMode_t mode,
                               unsigned int& handle) {
  return Open(CephPath(path), mode, handle);
}

bool CCephFileAccess::OpenFile(const std::u16string& path, FileOpenMode_t mode,
                               unsigned int& handle) {
  return Open(CephPath(path), mode, handle);
}

bool CCephFileAccess::Open(const std::string& full, FileOpenMode_t mode, unsigned int& handle) {
  // Every attempt consumes a number, so a number is never seen twice.
  const unsigned int number = m_Files->Reserve();
  if (full.empty()) {
    SetLastError(FileErrorBadPath);
    return false;
  }
  const int flags = OpenFlags(mode);
  if (flags < 0) return false;
  ceph_mount_info* mount = m_Mount.load();
  const int fd = mount ? static_cast<int>(CephOpen(full, flags, 0666)) : -ENOTCONN;
  if (fd < 0) {
    if (fd != -ENOENT && fd != -EEXIST) Failed("cannot open " + full, fd);
    SetLastError(FileErrorOpen);
    return false;
  }
  // Only a read-only open can reach a directory; it is not a file.
  struct ceph_statx status {};
  const bool atEnd = mode == FileModeAppend;
  if (m_Gate->Fetch(
          [mount, fd](struct ceph_statx* found) {
            return ceph_fstatx(mount, fd, found, CEPH_STATX_MODE, 0);
          },
          status) != 0 ||
      S_ISDIR(status.stx_mode) ||
      (atEnd && m_Gate->Run([mount, fd] { return ceph_lseek(mount, fd, 0, SEEK_END); }) < 0)) {
    CephClose(fd);
    SetLastError(FileErrorOpen);
    return false;
  }
  handle = m_Files->Add(number, fd);
  return true;
}

long CCephFileAccess::CephOpen(const std::string& full, int flags, int mode) {
  ceph_mount_info* mount = m_Mount.load();
  return m_Gate->Run(
      [mount, full, flags, mode] { return ceph_open(mount, full.c_str(), flags, mode); });
}

long CCephFileAccess::CephRead(int fd, char* bytes, long size) {
  ceph_mount_info* mount = m_Mount.load();
  return m_Gate->Read(
      [mount, fd, size](char* into) { return ceph_read(mount, fd, into, size, -1); }, bytes,
      static_cast<std::size_t>(size));
}

long CCephFileAccess::CephWrite(int fd, const char* bytes, long size) {
  ceph_mount_info* mount = m_Mount.load();
  return m_Gate->Write(
      [mount, fd, size](const char* from) { return ceph_write(mount, fd, from, size, -1); },
      bytes, static_cast<std::size_t>(size));
}

long CCephFileAccess::CephClose(int fd) {
  ceph_mount_info* mount = m_Mount.load();
  return m_Gate->Run([mount, fd] { return ceph_close(mount, fd); });
}

int CCephFileAccess::Descriptor(unsigned int handle) {
  int fd = -1;
  if (m_Files->Find(handle, fd)) return fd;
  SetLastError(FileErrorBadHandle);
  return -1;
}

bool CCephFileAccess::SeekFile(unsigned int handle, long long offset, int origin) {
  const int fd = Descriptor(handle);
  if (fd < 0) return false;
  const int whence = origin == 0 ? SEEK_SET : origin == 1 ? SEEK_CUR : origin == 2 ? SEEK_END : -1;
  ceph_mount_info* mount = m_Mount.load();
  if (whence < 0 ||
      m_Gate->Run([mount, fd, offset, whence] { return ceph_lseek(mount, fd, offset, whence); }) <
          0) {
    SetLastError(FileErrorSeek);
    return false;
  }
  return true;
}

bool CCephFileAccess::TellFile(unsigned int handle, unsigned long long& position) {
  position = 0;
  const int fd = Descriptor(handle);
  if (fd < 0) return false;
  ceph_mount_info* mount = m_Mount.load();
  const long at = m_Gate->Run([mount, fd] { return ceph_lseek(mount, fd, 0, SEEK_CUR); });
  if (at < 0) {
    SetLastError(FileErrorSeek);
    return false;
  }
  position = static_cast<unsigned long long>(at);
  return true;
}

bool CCephFileAccess::WriteFile(unsigned int handle, const void* buffer, unsigned int size,
                                unsigned int& written) {
  const int fd = Descriptor(handle);
  if (fd < 0) return false;
  if (buffer == nullptr && size != 0) {
    SetLastError(FileErrorWrite);
    return false;
  }
  const char* from = static_cast<const char*>(buffer);
  const long moved = TransferAll(size, [this, fd, from](unsigned int done, unsigned int left) {
    return CephWrite(fd, from + done, left);
  });
  if (moved != size) {
    if (moved < 0) Failed("cannot write", static_cast<int>(moved));
    SetLastError(FileErrorWrite);
    return false;
  }
  written = size;
  return true;
}

bool CCephFileAccess::ReadFile(unsigned int handle, void* buffer, unsigned int size,
                               unsigned int& bytesRead) {
  const int fd = Descriptor(handle);
  if (fd < 0) return false;
  if (buffer == nullptr && size != 0) {
    SetLastError(FileErrorRead);
    return false;
  }
  char* to = static_cast<char*>(buffer);
  const long moved = TransferAll(size, [this, fd, to](unsigned int done, unsigned int left) {
    return CephRead(fd, to + done, left);
  });
  if (moved != size) {
    if (moved < 0) Failed("cannot read", static_cast<int>(moved));
    SetLastError(moved == 0 ? FileErrorEndOfFile : FileErrorRead);
    return false;
  }
  bytesRead = size;
  return true;
}

bool CCephFileAccess::SetEndOfFile(unsigned int handle) {
  const int fd = Descriptor(handle);
  if (fd < 0) return false;
  ceph_mount_info* mount = m_Mount.load();
  const long result = m_Gate->Run([mount, fd] {
    const int64_t at = ceph_lseek(mount, fd, 0, SEEK_CUR);
    return at < 0 ? static_cast<int>(at) : ceph_ftruncate(mount, fd, at);
  });
  if (result != 0) {
    Failed("cannot set the end of a file", result);
    SetLastError(FileErrorWrite);
    return false;
  }
  return true;
}

// A writer flushes what a reader after a crash must find: the temporary record
// file once a part, the pyramid when the host asks.
bool CCephFileAccess::FlushFile(unsigned int handle) {
  const int fd = Descriptor(handle);
  if (fd < 0) return false;
  ceph_mount_info* mount = m_Mount.load();
  const long result =
      m_Options.CacheWrites ? m_Gate->Run([mount, fd] { return ceph_fsync(mount, fd, 1); }) : 0;
  return result == 0 || Failed("cannot flush a file", result);
}

bool CCephFileAccess::CloseFile(unsigned int handle, bool) {
  int fd = -1;
  if (!m_Files->Remove(handle, fd, [] {})) {
    SetLastError(FileErrorBadHandle);
    return false;
  }
  CephClose(fd);
  return true;
}

bool CCephFileAccess::CloseAllFiles() {
  for (const auto& entry : m_Files->RemoveAll([] {})) CephClose(entry.second);
  return true;
}

}  // namespace zsff
