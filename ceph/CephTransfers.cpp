// Moving files between the local disk and the file system (see
// CephFileAccess.h). A download writes each file under a temporary name and
// renames it when it is whole, so one cut short leaves no half file; an upload
// writes in place, as a recording does.
#include <zsff/CephFileAccess.h>

#include <cephfs/libcephfs.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "ceph/CephCopy.h"
#include "ceph/CephPaths.h"
#include "foundation/PathRules.h"
#include "foundation/TextConversion.h"

namespace zsff {

namespace {

namespace fs = std::filesystem;

// Beside a file being downloaded until it is whole.
const char kPartialSuffix[] = ".zsff-partial";

long LocalRead(int fd, char* bytes, long size) {
  for (;;) {
    const ssize_t n = ::read(fd, bytes, static_cast<std::size_t>(size));
    if (n >= 0) return n;
    if (errno != EINTR) return -errno;
  }
}

long LocalWrite(int fd, const char* bytes, long size) {
  for (;;) {
    const ssize_t n = ::write(fd, bytes, static_cast<std::size_t>(size));
    if (n >= 0) return n;
    if (errno != EINTR) return -errno;
  }
}

std::string LocalPath(const std::u16string& path) {
  std::string native;
  return WideToPath(path, native) ? native : std::string();
}

}  // namespace

bool CCephFileAccess::Upload(const std::string& local, const std::string& remote) {
  if (m_Mount.load() == nullptr || remote.empty()) return false;
  const int in = ::open(local.c_str(), O_RDONLY | O_CLOEXEC);
  if (in < 0) return Failed("cannot read " + local, -errno);
  const int out = static_cast<int>(CephOpen(remote, O_WRONLY | O_CREAT | O_TRUNC, 0666));
  if (out < 0) {
    ::close(in);
    return Failed("cannot upload to " + remote, out);
  }
  long result = ceph::Pump(
      [&](char* bytes, long size) { return LocalRead(in, bytes, size); },
      [&](const char* bytes, long size) { return CephWrite(out, bytes, size); });
  ::close(in);
  const long closed = CephClose(out);
  if (result == 0) result = closed;
  return result == 0 || Failed("cannot upload " + local + " to " + remote, static_cast<int>(result));
}

bool CCephFileAccess::Download(const std::string& remote, const std::string& local) {
  if (m_Mount.load() == nullptr || remote.empty()) return false;
  const int in = static_cast<int>(CephOpen(remote, O_RDONLY, 0));
  if (in < 0) return Failed("cannot download " + remote, in);
  const std::string partial = local + kPartialSuffix;
  const int out = ::open(partial.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (out < 0) {
    const int error = errno;
    CephClose(in);
    return Failed("cannot write " + partial, -error);
  }
  long result = ceph::Pump(
      [&](char* bytes, long size) { return CephRead(in, bytes, size); },
      [&](const char* bytes, long size) { return LocalWrite(out, bytes, size); });
  CephClose(in);
  if (::close(out) != 0 && result == 0) result = -errno;
  if (result == 0 && std::rename(partial.c_str(), local.c_str()) != 0) result = -errno;
  if (result == 0) return true;
  ::unlink(partial.c_str());
  return Failed("cannot download " + remote + " to " + local, static_cast<int>(result));
}

bool CCephFileAccess::UploadFile(const std::u16string& sourceDirectory,
                                 const std::u16string& fileName,
                                 const std::u16string& destinationDirectory, unsigned short) {
  std::string name;
  if (!WideToPath(fileName, name) || !IsPlainName(name)) return false;
  return Upload(JoinPath(LocalPath(sourceDirectory), name),
                CephPath(ceph::Join(LocalPath(destinationDirectory), name)));
}

bool CCephFileAccess::DownloadFile(const std::u16string& sourceDirectory,
                                   const std::u16string& fileName,
                                   const std::u16string& destinationDirectory) {
  std::string name;
  if (!WideToPath(fileName, name) || !IsPlainName(name)) {
    return Failed("refused to download a name that leads out of the destination: " +
                      WideToUtf8(fileName),
                  -EINVAL);
  }
  return Download(CephPath(ceph::Join(LocalPath(sourceDirectory), name)),
                  JoinPath(LocalPath(destinationDirectory), name));
}

bool CCephFileAccess::UploadDirectory(const std::u16string& source,
                                      const std::u16string& destination) {
  return UploadTree(LocalPath(source), CephPath(destination));
}

bool CCephFileAccess::UploadTree(const std::string& from, const std::string& to) {
  std::error_code error;
  if (from.empty() || !fs::is_directory(from, error) || to.empty() || !MakeDirectories(to))
    return false;
  for (fs::directory_iterator it(from, error), end; !error && it != end; it.increment(error)) {
    const std::string source = it->path().string();
    const std::string target = JoinPath(to, it->path().filename().string());
    if (it->is_directory() ? !UploadTree(source, target) : !Upload(source, target)) return false;
  }
  return !error;
}

bool CCephFileAccess::DownloadDirectory(const std::u16string& source,
                                        const std::u16string& destination) {
  return DownloadTree(CephPath(source), LocalPath(destination));
}

bool CCephFileAccess::DownloadTree(const std::string& from, const std::string& to) {
  std::vector<Entry> entries;
  std::error_code error;
  if (to.empty() || !ListEntries(from, entries)) return false;
  fs::create_directories(to, error);
  if (error) return Failed("cannot make " + to, -error.value());
  for (const Entry& entry : entries) {
    const std::string source = JoinPath(from, entry.Name), target = JoinPath(to, entry.Name);
    if (entry.IsDirectory ? !DownloadTree(source, target) : !Download(source, target)) return false;
  }
  return true;
}

}  // namespace zsff
