// The CephFS store's directories: made, listed, deleted and copied in the file
// system (see CephFileAccess.h).
#include <zsff/CephFileAccess.h>

#include <cephfs/libcephfs.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <vector>

#include "ceph/CephCallGate.h"
#include "ceph/CephCopy.h"
#include "ceph/CephPaths.h"
#include "foundation/PathRules.h"
#include "foundation/TextConversion.h"

namespace zsff {

namespace {

std::string StripTrailingSeparators(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

bool CCephFileAccess::ListEntries(const std::string& path, std::vector<Entry>& entries) {
  ceph_mount_info* mount = m_Mount.load();
  if (mount == nullptr || path.empty()) return false;
  // The whole listing is one call of the gate, into a list of its own.
  auto listed = std::make_shared<std::vector<Entry>>();
  const long result = m_Gate->Run([mount, path, listed] {
    ceph_dir_result* dir = nullptr;
    if (ceph_opendir(mount, path.c_str(), &dir) != 0) return -1;
    int read;
    struct dirent entry {};
    while ((read = ceph_readdir_r(mount, dir, &entry)) == 1) {
      const std::string name = entry.d_name;
      if (name == "." || name == "..") continue;
      bool isDirectory = entry.d_type == DT_DIR;
      if (entry.d_type == DT_UNKNOWN) {
        struct ceph_statx status {};
        isDirectory =
            ceph_statx(mount, JoinPath(path, name).c_str(), &status, CEPH_STATX_MODE, 0) == 0 &&
            S_ISDIR(status.stx_mode);
      }
      listed->push_back({name, isDirectory});
    }
    ceph_closedir(mount, dir);
    return read;
  });
  if (result != 0) return false;
  entries.insert(entries.end(), listed->begin(), listed->end());
  return true;
}

bool CCephFileAccess::IsDirectory(const std::string& path) {
  struct ceph_statx status {};
  return Status(path, status, 0) && S_ISDIR(status.stx_mode);
}

bool CCephFileAccess::CreateDirectory(const std::u16string& path) {
  const std::string full = CephPath(path);
  ceph_mount_info* mount = m_Mount.load();
  return mount != nullptr && !full.empty() &&
         m_Gate->Run([mount, full] { return ceph_mkdir(mount, full.c_str(), 0777); }) == 0;
}

bool CCephFileAccess::MakeDirectories(const std::string& path) {
  if (IsDirectory(path)) return true;
  const std::string::size_type slash = path.rfind('/');
  if (slash != std::string::npos && slash != 0 && !MakeDirectories(path.substr(0, slash)))
    return false;
  ceph_mount_info* mount = m_Mount.load();
  const long result = m_Gate->Run([mount, path] { return ceph_mkdir(mount, path.c_str(), 0777); });
  return result == 0 || result == -EEXIST || Failed("cannot make " + path, result);
}

bool CCephFileAccess::ListDirectory(const std::u16string& directory,
                                    std::vector<std::u16string>& directories,
                                    std::vector<std::u16string>& files,
                                    const std::u16string& pattern) {
  directories.clear();
  files.clear();
  std::vector<Entry> entries;
  // The tree lists a remote store's root as the empty path.
  const std::string full = directory.empty() ? m_Location.Path : CephPath(directory);
  if (!ListEntries(full, entries)) return false;
  // The paths come back in the caller's form, not the file system's.
  std::string given;
  if (!WideToPath(directory, given)) return false;
  for (const Entry& entry : entries) {
    // A name that isn't UTF-8 has no wide path: leaving it out would show the
    // caller a directory that isn't the one in the file system.
    std::u16string name, path;
    if (!PathToWide(entry.Name, name) || !PathToWide(ceph::Join(given, entry.Name), path))
      return false;
    if (!MatchesListPattern(pattern, name, !entry.IsDirectory)) continue;
    (entry.IsDirectory ? directories : files).push_back(std::move(path));
  }
  return true;
}

bool CCephFileAccess::DeleteDirectoryTree(const std::u16string& path) {
  const std::string full = StripTrailingSeparators(CephPath(path));
  if (m_Mount.load() == nullptr) return false;
  // A path that names nothing is a tree that is gone.
  struct ceph_statx status {};
  if (full.empty() || !Status(full, status, 0)) return true;
  // The guard against wiping the file system: "/" and "/abc" are never deleted.
  if (!IsDeletableTree(full)) return false;
  if (S_ISDIR(status.stx_mode)) return DeleteTree(full);
  return Unlink(full) || Failed("cannot delete " + full, -EIO);
}

bool CCephFileAccess::DeleteTree(const std::string& path) {
  ceph_mount_info* mount = m_Mount.load();
  std::vector<Entry> entries;
  if (!ListEntries(path, entries)) return Failed("cannot list " + path, -EIO);
  for (const Entry& entry : entries) {
    const std::string inner = JoinPath(path, entry.Name);
    if (entry.IsDirectory) {
      if (!DeleteTree(inner)) return false;
    } else if (const long result =
                   m_Gate->Run([mount, inner] { return ceph_unlink(mount, inner.c_str()); })) {
      return Failed("cannot delete " + inner, result);
    }
  }
  const long result = m_Gate->Run([mount, path] { return ceph_rmdir(mount, path.c_str()); });
  return result == 0 || Failed("cannot delete " + path, result);
}

bool CCephFileAccess::CopyDirectoryTree(const std::u16string& source,
                                        const std::u16string& destination) {
  const std::string from = StripTrailingSeparators(CephPath(source));
  const std::string to = StripTrailingSeparators(CephPath(destination));
  if (from.empty() || to.empty()) return false;
  // Copying a tree into itself would never end.
  if (to == from || to.compare(0, from.size() + 1, JoinPath(from, "")) == 0) return false;
  return IsDirectory(from) && CopyTree(from, to);
}

bool CCephFileAccess::CopyTree(const std::string& from, const std::string& to) {
  std::vector<Entry> entries;
  if (!MakeDirectories(to) || !ListEntries(from, entries)) return false;
  // The first failure aborts the copy, and an aborted copy is a failed one.
  for (const Entry& entry : entries) {
    const std::string inner = JoinPath(from, entry.Name), target = JoinPath(to, entry.Name);
    if (entry.IsDirectory ? !CopyTree(inner, target) : !CopyOneFile(inner, target)) return false;
  }
  return true;
}

bool CCephFileAccess::CopyFileList(const std::u16string& sourceDirectory,
                                   const std::u16string& destinationDirectory,
                                   const std::vector<std::u16string>& fileNames) {
  if (fileNames.empty()) return false;
  const std::string from = CephPath(sourceDirectory);
  const std::string to = CephPath(destinationDirectory);
  if (from.empty() || to.empty()) return false;
  bool result = true;
  for (const std::u16string& name : fileNames) {
    std::string native;
    // The remaining files are still worth copying.
    if (!WideToPath(name, native) || !IsUsablePath(native) ||
        !CopyOneFile(JoinPath(from, native), JoinPath(to, native)))
      result = false;
  }
  return result;
}

bool CCephFileAccess::CopyOneFile(const std::string& from, const std::string& to) {
  if (m_Mount.load() == nullptr) return false;
  const int in = static_cast<int>(CephOpen(from, O_RDONLY, 0));
  if (in < 0) return Failed("cannot open " + from, in);
  const int out = static_cast<int>(CephOpen(to, O_WRONLY | O_CREAT | O_TRUNC, 0666));
  if (out < 0) {
    CephClose(in);
    return Failed("cannot open " + to, out);
  }
  long result =
      ceph::Pump([&](char* bytes, long size) { return CephRead(in, bytes, size); },
                 [&](const char* bytes, long size) { return CephWrite(out, bytes, size); });
  CephClose(in);
  const long closed = CephClose(out);
  if (result == 0) result = closed;
  return result == 0 || Failed("cannot copy " + from + " to " + to, static_cast<int>(result));
}

}  // namespace zsff
