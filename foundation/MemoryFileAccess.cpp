// CMemoryFileAccess: the store kept in memory. Whatever the local store
// decides from the system's answers, this one decides from its own map, so the
// two answer alike; where the local store leans on PathRules, so does this.
#include <zsff/MemoryFileAccess.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <limits>
#include <utility>

#include "foundation/PathRules.h"
#include "foundation/TextConversion.h"

namespace zsff {

namespace {

constexpr std::size_t kMaxPathLength = 4096;  // as the local store's bad paths

// `path` in normal form (see the header): relative paths start at the root.
bool NormalPath(const std::string& path, std::string& normal) {
  if (!IsUsablePath(path)) return false;
  std::string full = std::filesystem::path(path.front() == '/' ? path : "/" + path)
                         .lexically_normal()
                         .generic_string();
  while (full.size() > 1 && full.back() == '/') full.pop_back();
  if (WideLength(full) >= kMaxPathLength) return false;
  normal = std::move(full);
  return true;
}

bool NormalPath(const std::u16string& path, std::string& normal) {
  std::string native;
  return WideToPath(path, native) && NormalPath(native, normal);
}

std::string ParentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 ? std::string("/") : path.substr(0, slash);
}

// What every path below `directory` starts with.
std::string PrefixOf(const std::string& directory) {
  return directory == "/" ? directory : directory + "/";
}

bool StartsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

const std::string& KeyOf(const std::string& key) { return key; }
template <typename Value>
const std::string& KeyOf(const std::pair<const std::string, Value>& entry) {
  return entry.first;
}

// The paths of `container` below `directory`, at any depth, relative to it.
// Paths with a common prefix sort together, so they are one run of the map.
template <typename Container>
std::vector<std::string> Below(const Container& container, const std::string& directory) {
  const std::string prefix = PrefixOf(directory);
  std::vector<std::string> relative;
  // The root is its own prefix, and not below itself.
  for (auto it = container.upper_bound(prefix);
       it != container.end() && StartsWith(KeyOf(*it), prefix); ++it)
    relative.push_back(KeyOf(*it).substr(prefix.size()));
  return relative;
}

std::string Join(const std::string& directory, const std::string& relative) {
  return PrefixOf(directory) + relative;
}

}  // namespace

CMemoryFileAccess::CMemoryFileAccess() { m_Directories.insert("/"); }

CMemoryFileAccess::~CMemoryFileAccess() = default;

bool CMemoryFileAccess::IsDirectory(const std::string& path) const {
  return m_Directories.count(path) != 0;
}

bool CMemoryFileAccess::IsFile(const std::string& path) const { return m_Files.count(path) != 0; }

std::shared_ptr<CMemoryFileAccess::File> CMemoryFileAccess::FindFile(
    const std::string& path) const {
  const auto it = m_Files.find(path);
  return it == m_Files.end() ? nullptr : it->second;
}

bool CMemoryFileAccess::ParentIsDirectory(const std::string& path) const {
  return path != "/" && IsDirectory(ParentOf(path));
}

long long CMemoryFileAccess::NextWriteTime() {
  constexpr long long kUnixEpochAsFileTime = 116444736000000000LL;
  const long long now =
      kUnixEpochAsFileTime + std::chrono::duration_cast<std::chrono::nanoseconds>(
                                 std::chrono::system_clock::now().time_since_epoch())
                                     .count() /
                                 100;
  m_LastWriteTime = std::max(now, m_LastWriteTime + 1);
  return m_LastWriteTime;
}

bool CMemoryFileAccess::CopyFileTo(const File& from, const std::string& to) {
  if (IsDirectory(to) || !ParentIsDirectory(to)) return false;
  auto copy = std::make_shared<File>(from);
  copy->LastWrite = NextWriteTime();
  m_Files[to] = std::move(copy);
  return true;
}

// --- Directories ---------------------------------------------------------------

bool CMemoryFileAccess::DeleteDirectoryTree(const std::u16string& path) {
  std::string full;
  if (!NormalPath(path, full)) return true;  // names nothing, so nothing to delete
  std::lock_guard<std::mutex> guard(m_Lock);
  if (!IsFile(full) && !IsDirectory(full)) return true;
  if (!IsDeletableTree(full)) return false;
  m_Files.erase(full);
  m_Directories.erase(full);
  for (const std::string& relative : Below(m_Files, full)) m_Files.erase(Join(full, relative));
  for (const std::string& relative : Below(m_Directories, full))
    m_Directories.erase(Join(full, relative));
  return true;
}

bool CMemoryFileAccess::CreateDirectory(const std::u16string& path) {
  std::string full;
  if (!NormalPath(path, full)) return false;
  std::lock_guard<std::mutex> guard(m_Lock);
  if (IsFile(full) || IsDirectory(full) || !ParentIsDirectory(full)) return false;
  m_Directories.insert(full);
  return true;
}

bool CMemoryFileAccess::CopyDirectoryTree(const std::u16string& source,
                                          const std::u16string& destination) {
  std::string from, to;
  if (!NormalPath(source, from) || !NormalPath(destination, to)) return false;
  // Copying a tree into itself would never end.
  if (to == from || StartsWith(to, PrefixOf(from))) return false;
  std::lock_guard<std::mutex> guard(m_Lock);
  if (!IsDirectory(from)) return false;
  // The destination is made with its missing parents, as a directory tree copy
  // on a disk makes them.
  std::vector<std::string> missing;
  for (std::string at = to; !IsDirectory(at); at = ParentOf(at)) {
    if (IsFile(at)) return false;
    missing.push_back(at);
  }
  m_Directories.insert(missing.begin(), missing.end());
  // Parents sort before their children, so each directory is there before its
  // files; the first clash of a file with a directory ends the copy, failed.
  for (const std::string& relative : Below(m_Directories, from)) {
    const std::string target = Join(to, relative);
    if (IsFile(target)) return false;
    m_Directories.insert(target);
  }
  for (const std::string& relative : Below(m_Files, from)) {
    if (!CopyFileTo(*m_Files.at(Join(from, relative)), Join(to, relative))) return false;
  }
  return true;
}

bool CMemoryFileAccess::CopyFileList(const std::u16string& sourceDirectory,
                                     const std::u16string& destinationDirectory,
                                     const std::vector<std::u16string>& fileNames) {
  if (fileNames.empty()) return false;
  std::string from, to;
  if (!NormalPath(sourceDirectory, from) || !NormalPath(destinationDirectory, to)) return false;
  std::lock_guard<std::mutex> guard(m_Lock);
  bool result = true;
  for (const std::u16string& name : fileNames) {
    std::string native, source, target;
    const bool named = WideToPath(name, native) && IsUsablePath(native) &&
                       NormalPath(Join(from, native), source) &&
                       NormalPath(Join(to, native), target);
    const std::shared_ptr<File> file = named ? FindFile(source) : nullptr;
    // The remaining files are still worth copying.
    if (!file || !CopyFileTo(*file, target)) result = false;
  }
  return result;
}

bool CMemoryFileAccess::ListDirectory(const std::u16string& directory,
                                      std::vector<std::u16string>& directories,
                                      std::vector<std::u16string>& files,
                                      const std::u16string& pattern) {
  directories.clear();
  files.clear();
  std::string full, given;
  if (!NormalPath(directory, full) || !WideToPath(directory, given)) return false;
  std::lock_guard<std::mutex> guard(m_Lock);
  if (!IsDirectory(full)) return false;
  // Entries are named after the directory as the caller spelt it, as on a disk.
  const auto list = [&](const std::vector<std::string>& below, bool isFile,
                        std::vector<std::u16string>& into) {
    for (const std::string& name : below) {
      if (name.find('/') != std::string::npos) continue;  // deeper down
      std::u16string wideName, widePath;
      if (PathToWide(name, wideName) && MatchesListPattern(pattern, wideName, isFile) &&
          PathToWide(JoinPath(given, name), widePath))
        into.push_back(std::move(widePath));
    }
  };
  list(Below(m_Directories, full), false, directories);
  list(Below(m_Files, full), true, files);
  return true;
}

// --- Files by path ---------------------------------------------------------------

bool CMemoryFileAccess::DeleteFile(const std::string& path) {
  std::string full;
  if (!NormalPath(path, full)) return false;
  std::lock_guard<std::mutex> guard(m_Lock);
  return m_Files.erase(full) != 0;
}

bool CMemoryFileAccess::DeleteFile(const std::u16string& path) {
  std::string native;
  return WideToPath(path, native) && DeleteFile(native);
}

bool CMemoryFileAccess::FileExists(const std::string& path) {
  std::string full;
  if (!NormalPath(path, full)) return false;
  std::lock_guard<std::mutex> guard(m_Lock);
  return IsFile(full) || IsDirectory(full);
}

bool CMemoryFileAccess::FileExists(const std::u16string& path) {
  std::string native;
  return WideToPath(path, native) && FileExists(native);
}

bool CMemoryFileAccess::RenameFile(const std::u16string& oldPath, const std::u16string& newPath) {
  std::string from, to;
  if (!NormalPath(oldPath, from) || !NormalPath(newPath, to)) return false;
  std::lock_guard<std::mutex> guard(m_Lock);
  if (IsFile(to) || IsDirectory(to) || !ParentIsDirectory(to)) return false;
  if (const std::shared_ptr<File> file = FindFile(from)) {
    m_Files.erase(from);
    m_Files.emplace(to, file);
    return true;
  }
  // A directory can't move below itself; everything below it moves along.
  if (!IsDirectory(from) || from == "/" || StartsWith(to, PrefixOf(from))) return false;
  for (const std::string& relative : Below(m_Files, from)) {
    auto node = m_Files.extract(Join(from, relative));
    node.key() = Join(to, relative);
    m_Files.insert(std::move(node));
  }
  const std::vector<std::string> directories = Below(m_Directories, from);
  m_Directories.erase(from);
  m_Directories.insert(to);
  for (const std::string& relative : directories) {
    m_Directories.erase(Join(from, relative));
    m_Directories.insert(Join(to, relative));
  }
  return true;
}

bool CMemoryFileAccess::ReplaceFile(const std::u16string& from, const std::u16string& to) {
  std::string source, target;
  if (!NormalPath(from, source) || !NormalPath(to, target)) return false;
  std::lock_guard<std::mutex> guard(m_Lock);
  const std::shared_ptr<File> file = FindFile(source);
  if (!file || IsDirectory(target) || !ParentIsDirectory(target)) return false;
  m_Files.erase(source);
  m_Files[target] = file;
  return true;
}

bool CMemoryFileAccess::FileSize(const std::string& path, unsigned long long& size) {
  size = 0;
  std::string full;
  if (!NormalPath(path, full)) return false;
  std::lock_guard<std::mutex> guard(m_Lock);
  const std::shared_ptr<File> file = FindFile(full);
  if (file) size = file->Bytes.size();
  return file != nullptr;
}

bool CMemoryFileAccess::FileSize(const std::u16string& path, unsigned long long& size) {
  std::string native;
  size = 0;
  return WideToPath(path, native) && FileSize(native, size);
}

bool CMemoryFileAccess::FileSizeAndTime(const std::u16string& path, unsigned long long& size,
                                        long long& lastWrite) {
  size = 0;
  lastWrite = 0;
  std::string full;
  if (!NormalPath(path, full)) return false;
  std::lock_guard<std::mutex> guard(m_Lock);
  const std::shared_ptr<File> file = FindFile(full);
  if (!file) return false;
  size = file->Bytes.size();
  lastWrite = file->LastWrite;
  return true;
}

// --- Open files --------------------------------------------------------------------

bool CMemoryFileAccess::OpenFile(const std::u16string& path, FileOpenMode_t mode,
                                 unsigned int& handle) {
  std::string native;
  // A path without a UTF-8 form names nothing, and fails as one.
  return OpenFile(WideToPath(path, native) ? native : std::string(), mode, handle);
}

bool CMemoryFileAccess::OpenFile(const std::string& path, FileOpenMode_t mode,
                                 unsigned int& handle) {
  std::lock_guard<std::mutex> guard(m_Lock);
  // Every attempt consumes a number, so a number is never seen twice even by a
  // caller that keeps a failed handle around.
  unsigned int number = m_NextHandle++;
  std::string full;
  if (!NormalPath(path, full)) {
    SetLastError(FileErrorBadPath);
    return false;
  }
  if (mode > FileModeCreateNew) return false;
  std::shared_ptr<File> file = FindFile(full);
  const bool mustExist = mode == FileModeAppend || mode == FileModeRead;
  const bool mayExist = mode != FileModeCreateNew;
  if (IsDirectory(full) || (file ? !mayExist : (mustExist || !ParentIsDirectory(full)))) {
    SetLastError(FileErrorOpen);
    return false;
  }
  if (!file) {
    file = std::make_shared<File>();
    file->LastWrite = NextWriteTime();
    m_Files.emplace(full, file);
  } else if (mode == FileModeCreate) {
    file->Bytes.clear();
    file->LastWrite = NextWriteTime();
  }
  const OpenedFile opened{file, mode == FileModeAppend ? file->Bytes.size() : 0,
                          mode != FileModeCreate && mode != FileModeAppend, mode != FileModeRead};
  // Only after 2^32 opens can the counter come back to a number still open.
  while (number == 0 || !m_Open.emplace(number, opened).second) number = m_NextHandle++;
  handle = number;
  return true;
}

CMemoryFileAccess::OpenedFile* CMemoryFileAccess::Opened(unsigned int handle) {
  const auto it = m_Open.find(handle);
  if (it != m_Open.end()) return &it->second;
  SetLastError(FileErrorBadHandle);
  return nullptr;
}

bool CMemoryFileAccess::SeekFile(unsigned int handle, long long offset, int origin) {
  std::lock_guard<std::mutex> guard(m_Lock);
  OpenedFile* opened = Opened(handle);
  if (opened == nullptr) return false;
  long long base;
  switch (origin) {
    case 0:
      base = 0;
      break;
    case 1:
      base = static_cast<long long>(opened->Position);
      break;
    case 2:
      base = static_cast<long long>(opened->Data->Bytes.size());
      break;
    default:
      SetLastError(FileErrorSeek);
      return false;
  }
  if ((offset < 0 && base + offset < 0) ||
      (offset > 0 && base > std::numeric_limits<long long>::max() - offset)) {
    SetLastError(FileErrorSeek);
    return false;
  }
  opened->Position = static_cast<unsigned long long>(base + offset);
  return true;
}

bool CMemoryFileAccess::TellFile(unsigned int handle, unsigned long long& position) {
  position = 0;
  std::lock_guard<std::mutex> guard(m_Lock);
  const OpenedFile* opened = Opened(handle);
  if (opened == nullptr) return false;
  position = opened->Position;
  return true;
}

bool CMemoryFileAccess::WriteFile(unsigned int handle, const void* buffer, unsigned int size,
                                  unsigned int& written) {
  std::lock_guard<std::mutex> guard(m_Lock);
  OpenedFile* opened = Opened(handle);
  if (opened == nullptr) return false;
  if ((buffer == nullptr && size != 0) || !opened->Writable) {
    SetLastError(FileErrorWrite);
    return false;
  }
  if (size != 0) {
    std::vector<unsigned char>& bytes = opened->Data->Bytes;
    // A write beyond the end fills the gap with zeros, as a disk does.
    if (bytes.size() < opened->Position + size) bytes.resize(opened->Position + size);
    std::memcpy(bytes.data() + opened->Position, buffer, size);
    opened->Position += size;
    opened->Data->LastWrite = NextWriteTime();
  }
  written = size;
  return true;
}

bool CMemoryFileAccess::ReadFile(unsigned int handle, void* buffer, unsigned int size,
                                 unsigned int& bytesRead) {
  std::lock_guard<std::mutex> guard(m_Lock);
  OpenedFile* opened = Opened(handle);
  if (opened == nullptr) return false;
  if ((buffer == nullptr && size != 0) || !opened->Readable) {
    SetLastError(FileErrorRead);
    return false;
  }
  const std::vector<unsigned char>& bytes = opened->Data->Bytes;
  const unsigned long long left =
      opened->Position < bytes.size() ? bytes.size() - opened->Position : 0;
  const unsigned int count = static_cast<unsigned int>(std::min<unsigned long long>(left, size));
  if (count != 0) std::memcpy(buffer, bytes.data() + opened->Position, count);
  opened->Position += count;
  if (count < size) {
    SetLastError(FileErrorEndOfFile);
    return false;
  }
  bytesRead = size;
  return true;
}

bool CMemoryFileAccess::SetEndOfFile(unsigned int handle) {
  std::lock_guard<std::mutex> guard(m_Lock);
  OpenedFile* opened = Opened(handle);
  if (opened == nullptr) return false;
  if (!opened->Writable) {
    SetLastError(FileErrorWrite);
    return false;
  }
  opened->Data->Bytes.resize(opened->Position);
  opened->Data->LastWrite = NextWriteTime();
  return true;
}

bool CMemoryFileAccess::CloseFile(unsigned int handle, bool /*written*/) {
  std::lock_guard<std::mutex> guard(m_Lock);
  if (m_Open.erase(handle) != 0) return true;
  SetLastError(FileErrorBadHandle);
  return false;
}

bool CMemoryFileAccess::CloseAllFiles() {
  std::lock_guard<std::mutex> guard(m_Lock);
  m_Open.clear();
  return true;
}

// --- What a store of one local disk has nothing to do for ----------------------------

bool CMemoryFileAccess::ReservedFileOperation() { return true; }

bool CMemoryFileAccess::FlushFile(unsigned int /*handle*/) { return true; }

bool CMemoryFileAccess::SelectAnalyzer(unsigned short /*analyzerIndex*/) { return true; }

bool CMemoryFileAccess::ListDiskIds(std::set<std::u16string>& diskIds) {
  diskIds = {std::u16string()};
  return true;
}

bool CMemoryFileAccess::ListAnalyzers(std::set<unsigned short>& analyzers) {
  analyzers = {1};
  return true;
}

void CMemoryFileAccess::SetDownloadSize(unsigned int /*size*/) {}

bool CMemoryFileAccess::UploadFile(const std::u16string&, const std::u16string&,
                                   const std::u16string&, unsigned short) {
  return false;
}

bool CMemoryFileAccess::DownloadFile(const std::u16string&, const std::u16string&,
                                     const std::u16string&) {
  return false;
}

bool CMemoryFileAccess::UploadDirectory(const std::u16string&, const std::u16string&) {
  return false;
}

bool CMemoryFileAccess::DownloadDirectory(const std::u16string&, const std::u16string&) {
  return false;
}

std::u16string CMemoryFileAccess::PathSeparatorW() const { return u"/"; }

std::string CMemoryFileAccess::PathSeparator() const { return "/"; }

std::string CMemoryFileAccess::CurrentDiskSerial() { return std::string(); }

bool CMemoryFileAccess::SetWantedDisks(const std::set<std::u16string>& /*diskIds*/) {
  return true;
}

}  // namespace zsff
