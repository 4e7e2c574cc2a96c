// CLocalFileAccess: the library's store over the POSIX file system.
//
// Transfers go straight to read()/write() with no buffering here: a block of
// samples is one system call, and the per-call cost is a handle lookup that
// normally touches only the calling thread's own cache. Tree copy and delete use std::filesystem.
#include "foundation/LocalFileAccess.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "foundation/OpenFlags.h"
#include "foundation/TransferAll.h"
#include "foundation/PathRules.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff {

namespace {

// The status of a file that is not a directory.
bool StatFile(const std::string& path, struct stat& info) {
  return IsUsablePath(path) && ::stat(path.c_str(), &info) == 0 && !S_ISDIR(info.st_mode);
}

bool IsDirectoryEntry(const std::string& fullPath, const dirent* entry) {
  if (entry->d_type == DT_DIR) return true;
  if (entry->d_type != DT_UNKNOWN && entry->d_type != DT_LNK) return false;
  struct stat info;  // a link counts as what it points to
  return ::stat(fullPath.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::atomic<unsigned long long> s_Generations{0};

unsigned long long NewGeneration() {
  return s_Generations.fetch_add(1, std::memory_order_relaxed) + 1;
}

// A thread's recently used handles, direct-mapped by handle number: the
// channels of a section hold consecutive numbers, so they don't evict each
// other. Zero-initialised, and a null store matches no store.
struct CachedHandle {
  const void* store;
  unsigned long long generation;
  unsigned int handle;
  int fd;
};
constexpr unsigned int kCachedHandles = 8;
thread_local CachedHandle t_CachedHandles[kCachedHandles];

// The bytes the system takes for a wide path. A path without a UTF-8 form (a
// lone surrogate half) becomes the empty path, which every operation refuses as
// naming nothing: it must not reach some other file.
std::string NativePath(const std::u16string& path) {
  std::string native;
  return WideToPath(path, native) ? native : std::string();
}

// What `call` returns once a signal no longer cuts it short.
template <typename Call>
long Retrying(Call call) {
  long result;
  do {
    result = call();
  } while (result < 0 && errno == EINTR);
  return result;
}

int OpenRetrying(const char* path, int flags) {
  return static_cast<int>(Retrying([&] { return ::open(path, flags, 0666); }));
}

}  // namespace

CLocalFileAccess::CLocalFileAccess() : m_Generation(NewGeneration()) {}

CLocalFileAccess::~CLocalFileAccess() { CloseAllFiles(); }

void CLocalFileAccess::SetLocalDiskId(const std::string& diskId) {
  std::lock_guard<std::mutex> guard(m_DiskIdLock);
  m_LocalDiskId = diskId;
}

std::string CLocalFileAccess::LocalDiskId() const {
  std::lock_guard<std::mutex> guard(m_DiskIdLock);
  return m_LocalDiskId;
}

// --- Directories -------------------------------------------------------------

bool CLocalFileAccess::DeleteDirectoryTree(const std::u16string& path) {
  const std::string native = NativePath(path);
  if (!FileExists(native)) return true;
  std::string full;
  if (!MakeAbsoluteStrippedPath(native, full)) return false;
  if (!IsDeletableTree(full)) return false;
  std::error_code ec;
  fs::remove_all(fs::path(full), ec);
  return !ec;
}

bool CLocalFileAccess::CreateDirectory(const std::u16string& path) {
  const std::string native = NativePath(path);
  return IsUsablePath(native) && ::mkdir(native.c_str(), 0777) == 0;
}

bool CLocalFileAccess::CopyDirectoryTree(const std::u16string& source,
                                         const std::u16string& destination) {
  std::string from, to;
  if (!MakeAbsoluteStrippedPath(NativePath(source), from)) return false;
  if (!MakeAbsoluteStrippedPath(NativePath(destination), to)) return false;
  // Copying a tree into itself would never end.
  if (to == from || to.compare(0, from.size() + 1, JoinPath(from, "")) == 0) return false;

  std::error_code ec;
  if (!fs::is_directory(fs::path(from), ec)) return false;
  fs::create_directories(fs::path(to), ec);
  if (ec) return false;
  const auto options = fs::copy_options::recursive | fs::copy_options::overwrite_existing;
  fs::directory_iterator it(fs::path(from), ec), end;
  // The first failure aborts the copy, and an aborted copy is a failed one.
  for (; !ec && it != end; it.increment(ec)) {
    fs::copy(it->path(), fs::path(to) / it->path().filename(), options, ec);
  }
  return !ec;
}

bool CLocalFileAccess::CopyFileList(const std::u16string& sourceDirectory,
                                    const std::u16string& destinationDirectory,
                                    const std::vector<std::u16string>& fileNames) {
  if (fileNames.empty()) return false;
  std::string from, to;
  if (!MakeAbsoluteStrippedPath(NativePath(sourceDirectory), from)) return false;
  if (!MakeAbsoluteStrippedPath(NativePath(destinationDirectory), to)) return false;
  bool result = true;
  for (const std::u16string& name : fileNames) {
    const std::string native = NativePath(name);
    std::error_code ec;
    if (!IsUsablePath(native) ||
        !fs::copy_file(fs::path(JoinPath(from, native)), fs::path(JoinPath(to, native)),
                       fs::copy_options::overwrite_existing, ec)) {
      result = false;  // the remaining files are still worth copying
    }
  }
  return result;
}

bool CLocalFileAccess::ListDirectory(const std::u16string& directory,
                                     std::vector<std::u16string>& directories,
                                     std::vector<std::u16string>& files,
                                     const std::u16string& pattern) {
  directories.clear();
  files.clear();
  const std::string native = NativePath(directory);
  if (!IsUsablePath(native)) return false;
  DIR* dir = ::opendir(native.c_str());
  if (dir == nullptr) return false;
  bool result = true;
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(dir);
    if (entry == nullptr) {
      result = (errno == 0);
      break;
    }
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    const std::string fullPath = JoinPath(native, name);
    const bool isDirectory = IsDirectoryEntry(fullPath, entry);
    // A name that isn't UTF-8 has no wide path: leaving it out or decoding it
    // loosely would show the caller a directory that isn't the one on disk.
    std::u16string wideName, widePath;
    if (!PathToWide(name, wideName) || !PathToWide(fullPath, widePath)) {
      result = false;
      break;
    }
    if (!MatchesListPattern(pattern, wideName, !isDirectory)) continue;
    (isDirectory ? directories : files).push_back(std::move(widePath));
  }
  ::closedir(dir);
  return result;
}

// --- Files by path -------------------------------------------------------------

bool CLocalFileAccess::DeleteFile(const std::string& path) {
  return IsUsablePath(path) && ::unlink(path.c_str()) == 0;
}

bool CLocalFileAccess::DeleteFile(const std::u16string& path) {
  return DeleteFile(NativePath(path));
}

bool CLocalFileAccess::FileExists(const std::string& path) {
  struct stat info;
  return IsUsablePath(path) && ::stat(path.c_str(), &info) == 0;
}

bool CLocalFileAccess::FileExists(const std::u16string& path) {
  return FileExists(NativePath(path));
}

bool CLocalFileAccess::RenameFile(const std::u16string& oldPath, const std::u16string& newPath) {
  const std::string from = NativePath(oldPath);
  const std::string to = NativePath(newPath);
  if (!IsUsablePath(from) || !IsUsablePath(to)) return false;
  // POSIX rename() replaces an existing target; this operation must not.
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // The file system can't refuse a replacement by itself: check, then rename.
  struct stat info;
  if (::lstat(to.c_str(), &info) == 0) return false;
  return std::rename(from.c_str(), to.c_str()) == 0;
}

bool CLocalFileAccess::ReplaceFile(const std::u16string& from, const std::u16string& to) {
  const std::string source = NativePath(from);
  const std::string target = NativePath(to);
  return IsUsablePath(source) && IsUsablePath(target) &&
         std::rename(source.c_str(), target.c_str()) == 0;
}

bool CLocalFileAccess::FileSize(const std::string& path, unsigned long long& size) {
  size = 0;
  struct stat info;
  if (!StatFile(path, info)) return false;
  size = static_cast<unsigned long long>(info.st_size);
  return true;
}

bool CLocalFileAccess::FileSize(const std::u16string& path, unsigned long long& size) {
  return FileSize(NativePath(path), size);
}

bool CLocalFileAccess::FileSizeAndTime(const std::u16string& path, unsigned long long& size,
                                       long long& lastWrite) {
  // 1970-01-01 as a file time.
  constexpr long long kUnixEpochAsFileTime = 116444736000000000LL;
  size = 0;
  lastWrite = 0;
  struct stat info;
  if (!StatFile(NativePath(path), info)) return false;
  size = static_cast<unsigned long long>(info.st_size);
  lastWrite = kUnixEpochAsFileTime + static_cast<long long>(info.st_mtim.tv_sec) * 10000000LL +
              static_cast<long long>(info.st_mtim.tv_nsec) / 100;
  return true;
}

// --- Open files ------------------------------------------------------------------

bool CLocalFileAccess::OpenFile(const std::u16string& path, FileOpenMode_t mode,
                                unsigned int& handle) {
  return OpenFile(NativePath(path), mode, handle);
}

bool CLocalFileAccess::OpenFile(const std::string& path, FileOpenMode_t mode,
                                unsigned int& handle) {
  // Every attempt consumes a number, so a number is never seen twice even by a
  // caller that keeps a failed handle around.
  const unsigned int number = m_Files.Reserve();

  std::string full;
  if (!MakeAbsolutePath(path, full)) {
    SetLastError(FileErrorBadPath);
    return false;
  }

  const int modeFlags = OpenFlags(mode);
  if (modeFlags < 0) return false;
  const int flags = O_CLOEXEC | modeFlags;

  const int fd = OpenRetrying(full.c_str(), flags);
  if (fd < 0) {
    SetLastError(FileErrorOpen);
    return false;
  }
  // Only a read-only open can reach a directory; it is not a file.
  struct stat info;
  if (::fstat(fd, &info) != 0 || S_ISDIR(info.st_mode) ||
      (mode == FileModeAppend && ::lseek(fd, 0, SEEK_END) < 0)) {
    ::close(fd);
    SetLastError(FileErrorOpen);
    return false;
  }
  ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);  // a hint; its failure doesn't matter

  handle = m_Files.Add(number, OpenedFile{fd, mode != FileModeRead});
  return true;
}

int CLocalFileAccess::Descriptor(unsigned int handle) {
  // Read before the table, so an entry filled from it is never newer than its
  // generation claims.
  const unsigned long long generation = m_Generation.load(std::memory_order_acquire);
  CachedHandle& cached = t_CachedHandles[handle % kCachedHandles];
  if (cached.store == this && cached.handle == handle && cached.generation == generation)
    return cached.fd;
  OpenedFile file{};
  if (!m_Files.Find(handle, file)) {
    SetLastError(FileErrorBadHandle);
    return -1;
  }
  cached = CachedHandle{this, generation, handle, file.Fd};
  return file.Fd;
}

bool CLocalFileAccess::SeekFile(unsigned int handle, long long offset, int origin) {
  const int fd = Descriptor(handle);
  if (fd < 0) return false;
  int whence;
  switch (origin) {
    case 0:
      whence = SEEK_SET;
      break;
    case 1:
      whence = SEEK_CUR;
      break;
    case 2:
      whence = SEEK_END;
      break;
    default:
      SetLastError(FileErrorSeek);
      return false;
  }
  if (::lseek(fd, static_cast<off_t>(offset), whence) < 0) {
    SetLastError(FileErrorSeek);
    return false;
  }
  return true;
}

bool CLocalFileAccess::TellFile(unsigned int handle, unsigned long long& position) {
  position = 0;
  const int fd = Descriptor(handle);
  if (fd < 0) return false;
  const off_t at = ::lseek(fd, 0, SEEK_CUR);
  if (at < 0) {
    SetLastError(FileErrorSeek);
    return false;
  }
  position = static_cast<unsigned long long>(at);
  return true;
}

bool CLocalFileAccess::WriteFile(unsigned int handle, const void* buffer, unsigned int size,
                                 unsigned int& written) {
  const int fd = Descriptor(handle);
  if (fd < 0) return false;
  if (buffer == nullptr && size != 0) {
    SetLastError(FileErrorWrite);
    return false;
  }
  // One call moves the whole block of a regular file; the loop only resumes
  // after a signal or a transfer the kernel caps, and a full disk shows as a
  // short write followed by an error.
  const char* from = static_cast<const char*>(buffer);
  const long moved = TransferAll(size, [fd, from](unsigned int done, unsigned int left) {
    return Retrying([&] { return ::write(fd, from + done, left); });
  });
  if (moved != size) {
    SetLastError(FileErrorWrite);
    return false;
  }
  // Durability asked for and not had is a failed write: the host must learn
  // that a power loss could take what it handed over.
  if (Syncing() && !SyncWhenDue()) {
    SetLastError(FileErrorWrite);
    return false;
  }
  written = size;
  return true;
}

bool CLocalFileAccess::ReadFile(unsigned int handle, void* buffer, unsigned int size,
                                unsigned int& bytesRead) {
  const int fd = Descriptor(handle);
  if (fd < 0) return false;
  if (buffer == nullptr && size != 0) {
    SetLastError(FileErrorRead);
    return false;
  }
  // A short count from a regular file means the end was reached; reading on
  // until read() says 0 tells that apart from an interrupted transfer.
  char* to = static_cast<char*>(buffer);
  const long moved = TransferAll(size, [fd, to](unsigned int done, unsigned int left) {
    return Retrying([&] { return ::read(fd, to + done, left); });
  });
  if (moved != size) {
    SetLastError(moved == 0 ? FileErrorEndOfFile : FileErrorRead);
    return false;
  }
  bytesRead = size;
  return true;
}

bool CLocalFileAccess::SetEndOfFile(unsigned int handle) {
  const int fd = Descriptor(handle);
  if (fd < 0) return false;
  const off_t at = ::lseek(fd, 0, SEEK_CUR);
  if (at < 0 || Retrying([&] { return ::ftruncate(fd, at); }) != 0) {
    SetLastError(FileErrorWrite);
    return false;
  }
  return true;
}

bool CLocalFileAccess::CloseFile(unsigned int handle, bool /*written*/) {
  OpenedFile file{};
  if (!m_Files.Remove(handle, file, [this] {
        m_Generation.store(NewGeneration(), std::memory_order_release);
      })) {
    SetLastError(FileErrorBadHandle);
    return false;
  }
  const int fd = file.Fd;
  // No retry on EINTR: Linux has released the descriptor by then, and a retry
  // could close a descriptor another thread has just been given.
  ::close(fd);
  return true;
}

bool CLocalFileAccess::CloseAllFiles() {
  // What the store wrote is durable once it is closed, when durability was asked for.
  if (Syncing()) SyncFiles();
  const std::map<unsigned int, OpenedFile> files = m_Files.RemoveAll(
      [this] { m_Generation.store(NewGeneration(), std::memory_order_release); });
  for (const auto& entry : files) ::close(entry.second.Fd);
  return true;
}

// --- What a local store has nothing to do for ----------------------------------

bool CLocalFileAccess::ReservedFileOperation() { return true; }

bool CLocalFileAccess::FlushFile(unsigned int /*handle*/) { return true; }

bool CLocalFileAccess::SelectAnalyzer(unsigned short /*analyzerIndex*/) { return true; }

bool CLocalFileAccess::ListDiskIds(std::set<std::u16string>& diskIds) {
  diskIds.clear();
  diskIds.insert(Utf8ToWide(LocalDiskId()));
  return true;
}

bool CLocalFileAccess::ListAnalyzers(std::set<unsigned short>& analyzers) {
  analyzers.clear();
  analyzers.insert(1);
  return true;
}

void CLocalFileAccess::SetDownloadSize(unsigned int /*size*/) {}

bool CLocalFileAccess::UploadFile(const std::u16string&, const std::u16string&,
                                  const std::u16string&, unsigned short) {
  return false;
}

bool CLocalFileAccess::DownloadFile(const std::u16string&, const std::u16string&,
                                    const std::u16string&) {
  return false;
}

bool CLocalFileAccess::UploadDirectory(const std::u16string&, const std::u16string&) {
  return false;
}

bool CLocalFileAccess::DownloadDirectory(const std::u16string&, const std::u16string&) {
  return false;
}

std::u16string CLocalFileAccess::PathSeparatorW() const { return u"/"; }

std::string CLocalFileAccess::PathSeparator() const { return "/"; }

std::string CLocalFileAccess::CurrentDiskSerial() { return std::string(); }

bool CLocalFileAccess::SetWantedDisks(const std::set<std::u16string>& /*diskIds*/) { return true; }

}  // namespace zsff
