// Moving files between the local disk and the server, and from one place of
// the server to another (see SftpFileAccess.h). Reads are pipelined: several
// requests stay on their way, so a transfer isn't one round trip per block.
#include <zsff/SftpFileAccess.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <deque>
#include <filesystem>
#include <vector>

#include "foundation/PathRules.h"
#include "foundation/TextConversion.h"
#include "sftp/SftpConnection.h"
#include "sftp/SftpPaths.h"

namespace zsff {

namespace {

namespace fs = std::filesystem;
using Guard = std::lock_guard<std::recursive_mutex>;

constexpr uint32_t kBlock = 64 * 1024;
constexpr std::size_t kRequestsInFlight = 32;
// Beside a file being downloaded until it is whole.
const char kPartialSuffix[] = ".zsff-partial";

bool WriteAll(int descriptor, const char* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(descriptor, bytes, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

class Descriptor {
 public:
  explicit Descriptor(int descriptor) : m_Descriptor(descriptor) {}
  ~Descriptor() {
    if (m_Descriptor >= 0) ::close(m_Descriptor);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int Get() const { return m_Descriptor; }
  bool Close() {
    const int descriptor = m_Descriptor;
    m_Descriptor = -1;
    return ::close(descriptor) == 0;
  }

 private:
  int m_Descriptor;
};

class RemoteFile {
 public:
  explicit RemoteFile(sftp_file file) : m_File(file) {}
  ~RemoteFile() {
    if (m_File) sftp_close(m_File);
  }
  RemoteFile(const RemoteFile&) = delete;
  RemoteFile& operator=(const RemoteFile&) = delete;
  sftp_file Get() const { return m_File; }
  bool Close() {
    sftp_file file = m_File;
    m_File = nullptr;
    return sftp_close(file) == SSH_OK;
  }

 private:
  sftp_file m_File;
};

// Reads the `size` bytes of `file` in order, with requests kept on their way,
// handing each block to `consume`; false when a read fails or `consume` does.
template <typename Consume>
bool ReadPipelined(sftp_file file, unsigned long long size, Consume consume) {
  std::deque<std::pair<int, uint32_t>> pending;  // request id, length
  std::vector<char> block(kBlock);
  unsigned long long asked = 0;
  for (;;) {
    while (pending.size() < kRequestsInFlight && asked < size) {
      const uint32_t length = static_cast<uint32_t>(std::min<unsigned long long>(kBlock, size - asked));
      const int id = sftp_async_read_begin(file, length);
      if (id < 0) return false;
      pending.emplace_back(id, length);
      asked += length;
    }
    if (pending.empty()) return true;
    const auto request = pending.front();
    pending.pop_front();
    // A block shorter than asked means the file shrank meanwhile.
    const int read = sftp_async_read(file, block.data(), request.second, request.first);
    if (read != static_cast<int>(request.second)) return false;
    if (!consume(block.data(), static_cast<std::size_t>(read))) return false;
  }
}

}  // namespace

bool CSftpFileAccess::Download(const std::string& remote, const std::string& local) {
  sftp_session sftp = m_Connection->Session();
  if (!sftp) return false;
  sftp_attributes attributes = sftp_stat(sftp, remote.c_str());
  if (!attributes) {
    m_Connection->Failed("cannot download " + remote);
    return false;
  }
  const unsigned long long size = attributes->size;
  const long long mtime = attributes->mtime;
  sftp_attributes_free(attributes);

  // What a download before this one fetched whole is there with the server's
  // size and time.
  struct stat present;
  if (::stat(local.c_str(), &present) == 0 && static_cast<unsigned long long>(present.st_size) == size &&
      present.st_mtime == mtime)
    return true;

  RemoteFile file(sftp_open(sftp, remote.c_str(), O_RDONLY, 0));
  if (!file.Get()) {
    m_Connection->Failed("cannot download " + remote);
    return false;
  }
  const std::string partial = local + kPartialSuffix;
  Descriptor out(::open(partial.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  if (out.Get() < 0) {
    m_Connection->SetError("cannot write " + partial);
    return false;
  }
  bool written = true;
  const bool read = ReadPipelined(file.Get(), size, [&](const char* bytes, std::size_t length) {
    written = WriteAll(out.Get(), bytes, length);
    return written && Progress(length);
  });
  if (!read || !written || !out.Close()) {
    if (!written) m_Connection->SetError("cannot write " + partial);
    else if (!read) m_Connection->Failed("cannot download " + remote);
    ::unlink(partial.c_str());
    return false;
  }
  const struct timespec times[2] = {{mtime, 0}, {mtime, 0}};
  if (::utimensat(AT_FDCWD, partial.c_str(), times, 0) != 0 ||
      ::rename(partial.c_str(), local.c_str()) != 0) {
    m_Connection->SetError("cannot complete " + local);
    return false;
  }
  return true;
}

bool CSftpFileAccess::Upload(const std::string& local, const std::string& remote) {
  sftp_session sftp = m_Connection->Session();
  if (!sftp) return false;
  Descriptor in(::open(local.c_str(), O_RDONLY | O_CLOEXEC));
  if (in.Get() < 0) {
    m_Connection->SetError("cannot read " + local);
    return false;
  }
  RemoteFile file(sftp_open(sftp, remote.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
  if (!file.Get()) {
    m_Connection->Failed("cannot upload to " + remote);
    return false;
  }
  std::vector<char> block(kBlock);
  for (;;) {
    const ssize_t read = ::read(in.Get(), block.data(), block.size());
    if (read < 0 && errno == EINTR) continue;
    if (read < 0) {
      m_Connection->SetError("cannot read " + local);
      return false;
    }
    if (read == 0) break;
    for (ssize_t done = 0; done < read;) {
      const ssize_t now = sftp_write(file.Get(), block.data() + done, static_cast<std::size_t>(read - done));
      if (now <= 0) {
        m_Connection->Failed("cannot upload to " + remote);
        return false;
      }
      done += now;
    }
    if (!Progress(static_cast<unsigned long long>(read))) return false;
  }
  if (file.Close()) return true;
  m_Connection->Failed("cannot upload to " + remote);
  return false;
}

bool CSftpFileAccess::CopyRemoteFile(const std::string& from, const std::string& to) {
  sftp_session sftp = m_Connection->Session();
  if (!sftp) return false;
  RemoteFile in(sftp_open(sftp, from.c_str(), O_RDONLY, 0));
  sftp_attributes attributes = in.Get() ? sftp_fstat(in.Get()) : nullptr;
  if (!attributes) {
    m_Connection->Failed("cannot copy " + from);
    return false;
  }
  const unsigned long long size = attributes->size;
  sftp_attributes_free(attributes);
  RemoteFile out(sftp_open(sftp, to.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644));
  if (!out.Get()) {
    m_Connection->Failed("cannot copy to " + to);
    return false;
  }
  const bool read = ReadPipelined(in.Get(), size, [&](const char* bytes, std::size_t length) {
    for (std::size_t done = 0; done < length;) {
      const ssize_t now = sftp_write(out.Get(), bytes + done, length - done);
      if (now <= 0) return false;
      done += static_cast<std::size_t>(now);
    }
    return Progress(length);
  });
  if (read && out.Close()) return true;
  m_Connection->Failed("cannot copy " + from + " to " + to);
  return false;
}

// --- The four transfers ----------------------------------------------------------------

bool CSftpFileAccess::UploadFile(const std::u16string& sourceDirectory,
                                 const std::u16string& fileName,
                                 const std::u16string& destinationDirectory, unsigned short) {
  Guard guard(m_Lock);
  const std::string name = WideToUtf8(fileName);
  if (!IsPlainName(name)) return false;
  return Upload(sftp::Join(WideToUtf8(sourceDirectory), name),
                sftp::Join(m_Connection->RemotePath(WideToUtf8(destinationDirectory)), name));
}

bool CSftpFileAccess::DownloadFile(const std::u16string& sourceDirectory,
                                   const std::u16string& fileName,
                                   const std::u16string& destinationDirectory) {
  Guard guard(m_Lock);
  const std::string name = WideToUtf8(fileName);
  if (!IsPlainName(name)) {
    m_Connection->SetError("refused to download a name that leads out of the destination: " + name);
    return false;
  }
  return Download(sftp::Join(m_Connection->RemotePath(WideToUtf8(sourceDirectory)), name),
                  sftp::Join(WideToUtf8(destinationDirectory), name));
}

bool CSftpFileAccess::UploadDirectory(const std::u16string& source,
                                      const std::u16string& destination) {
  Guard guard(m_Lock);
  return UploadTree(fs::path(WideToUtf8(source)),
                    m_Connection->RemotePath(WideToUtf8(destination)));
}

bool CSftpFileAccess::UploadTree(const std::filesystem::path& from, const std::string& to) {
  std::error_code error;
  if (!fs::is_directory(from, error) || !m_Connection->MakeDirectories(to)) return false;
  for (fs::directory_iterator it(from, error), end; !error && it != end; it.increment(error)) {
    const std::string target = sftp::Join(to, it->path().filename().string());
    if (it->is_directory() ? !UploadTree(it->path(), target) : !Upload(it->path().string(), target))
      return false;
  }
  return !error;
}

bool CSftpFileAccess::DownloadDirectory(const std::u16string& source,
                                        const std::u16string& destination) {
  Guard guard(m_Lock);
  return DownloadTree(m_Connection->RemotePath(WideToUtf8(source)), WideToUtf8(destination));
}

bool CSftpFileAccess::DownloadTree(const std::string& from, const std::string& to) {
  std::vector<CSftpConnection::Entry> entries;
  if (!m_Connection->List(from, entries)) return false;
  for (const CSftpConnection::Entry& entry : entries) {
    const std::string target = sftp::Join(to, entry.Name);
    if (entry.IsDirectory) {
      if (::mkdir(target.c_str(), 0777) != 0 && errno != EEXIST) {
        m_Connection->SetError("cannot make " + target);
        return false;
      }
      if (!DownloadTree(sftp::Join(from, entry.Name), target)) return false;
    } else if (!Download(sftp::Join(from, entry.Name), target)) {
      return false;
    }
  }
  return true;
}

}  // namespace zsff
