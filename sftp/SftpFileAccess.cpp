// The SFTP store's files by path and by handle, and what it says of itself
// (see SftpFileAccess.h).
#include <zsff/SftpFileAccess.h>

#include <fcntl.h>

#include <utility>

#include "foundation/OpenFlags.h"
#include "foundation/TextConversion.h"
#include "sftp/SftpConnection.h"

namespace zsff {

struct CSftpFileAccess::OpenedFile {
  sftp_file File = nullptr;
  std::string Path;  // the server's, for the calls that take a path
};

namespace {

using Guard = std::lock_guard<std::recursive_mutex>;

}  // namespace

CSftpFileAccess::CSftpFileAccess(SftpLocation location, SftpOptions options)
    : m_Connection(std::make_unique<CSftpConnection>(std::move(location), std::move(options))) {
  // Files of a session that broke can't be used with the next one.
  m_Connection->OnDisconnect([this] { CloseAllFiles(); });
}

CSftpFileAccess::~CSftpFileAccess() {
  CloseAllFiles();
  m_Connection.reset();
}

bool CSftpFileAccess::Connect() {
  Guard guard(m_Lock);
  return m_Connection->Session() != nullptr;
}

std::string CSftpFileAccess::LastErrorText() const {
  Guard guard(m_Lock);
  return m_Connection->Error();
}

void CSftpFileAccess::SetProgressCallback(ProgressCallback progress) {
  Guard guard(m_Lock);
  m_Progress = std::move(progress);
}

bool CSftpFileAccess::Progress(unsigned long long bytes) {
  if (!m_Progress || m_Progress(bytes, m_DownloadSize)) return true;
  m_Connection->SetError("stopped by the caller");
  return false;
}

// --- Files by path ---------------------------------------------------------------------

bool CSftpFileAccess::DeleteFile(const std::string& path) {
  Guard guard(m_Lock);
  sftp_session sftp = m_Connection->Session();
  if (!sftp) return false;
  if (sftp_unlink(sftp, m_Connection->RemotePath(path).c_str()) == SSH_OK) return true;
  m_Connection->Failed("cannot delete " + path);
  return false;
}

bool CSftpFileAccess::DeleteFile(const std::u16string& path) {
  return DeleteFile(WideToUtf8(path));
}

bool CSftpFileAccess::FileExists(const std::string& path) {
  Guard guard(m_Lock);
  sftp_session sftp = m_Connection->Session();
  if (!sftp) return false;
  sftp_attributes attributes = sftp_stat(sftp, m_Connection->RemotePath(path).c_str());
  if (!attributes) {
    // A missing file is an answer; only a failure to ask is kept as one.
    if (sftp_get_error(sftp) != SSH_FX_NO_SUCH_FILE) m_Connection->Failed("cannot look at " + path);
    return false;
  }
  sftp_attributes_free(attributes);
  return true;
}

bool CSftpFileAccess::FileExists(const std::u16string& path) {
  return FileExists(WideToUtf8(path));
}

bool CSftpFileAccess::RenameFile(const std::u16string& oldPath, const std::u16string& newPath) {
  Guard guard(m_Lock);
  sftp_session sftp = m_Connection->Session();
  if (!sftp) return false;
  const std::string from = m_Connection->RemotePath(WideToUtf8(oldPath));
  const std::string to = m_Connection->RemotePath(WideToUtf8(newPath));
  if (sftp_rename(sftp, from.c_str(), to.c_str()) == SSH_OK) return true;
  m_Connection->Failed("cannot rename " + from + " to " + to);
  return false;
}

bool CSftpFileAccess::FileSize(const std::string& path, unsigned long long& size) {
  long long lastWrite = 0;
  return FileSizeAndTime(Utf8ToWide(path), size, lastWrite);
}

bool CSftpFileAccess::FileSize(const std::u16string& path, unsigned long long& size) {
  long long lastWrite = 0;
  return FileSizeAndTime(path, size, lastWrite);
}

bool CSftpFileAccess::FileSizeAndTime(const std::u16string& path, unsigned long long& size,
                                      long long& lastWrite) {
  Guard guard(m_Lock);
  size = 0;
  lastWrite = 0;
  sftp_session sftp = m_Connection->Session();
  if (!sftp) return false;
  sftp_attributes attributes =
      sftp_stat(sftp, m_Connection->RemotePath(WideToUtf8(path)).c_str());
  if (!attributes) {
    m_Connection->Failed("no " + WideToUtf8(path));
    return false;
  }
  const bool isFile = attributes->type == SSH_FILEXFER_TYPE_REGULAR;
  if (isFile) {
    size = attributes->size;
    // Seconds since 1970 (all that the protocol gives) as 100 ns ticks since 1601.
    lastWrite = (static_cast<long long>(attributes->mtime) + 11644473600LL) * 10000000LL;
  }
  sftp_attributes_free(attributes);
  return isFile;
}

// --- Open files ------------------------------------------------------------------------

bool CSftpFileAccess::OpenFile(const std::string& path, FileOpenMode_t mode,
                               unsigned int& handle) {
  return OpenFile(Utf8ToWide(path), mode, handle);
}

bool CSftpFileAccess::OpenFile(const std::u16string& path, FileOpenMode_t mode,
                               unsigned int& handle) {
  Guard guard(m_Lock);
  const unsigned int number = m_NextHandle++;
  const int flags = OpenFlags(mode);
  if (flags < 0) return false;
  sftp_session sftp = m_Connection->Session();
  if (!sftp) {
    SetLastError(FileErrorOpen);
    return false;
  }
  const std::string remote = m_Connection->RemotePath(WideToUtf8(path));
  auto opened = std::make_unique<OpenedFile>();
  opened->File = sftp_open(sftp, remote.c_str(), flags, 0644);
  if (!opened->File) {
    m_Connection->Failed("cannot open " + remote);
    SetLastError(FileErrorOpen);
    return false;
  }
  if (mode == FileModeAppend) {
    sftp_attributes attributes = sftp_fstat(opened->File);
    if (attributes) {
      sftp_seek64(opened->File, attributes->size);
      sftp_attributes_free(attributes);
    }
  }
  opened->Path = remote;
  m_Files[number] = std::move(opened);
  handle = number;
  return true;
}

bool CSftpFileAccess::SeekFile(unsigned int handle, long long offset, int origin) {
  Guard guard(m_Lock);
  auto found = m_Files.find(handle);
  if (found == m_Files.end()) {
    SetLastError(FileErrorBadHandle);
    return false;
  }
  sftp_file file = found->second->File;
  long long base = 0;
  if (origin == 1) {
    base = static_cast<long long>(sftp_tell64(file));
  } else if (origin == 2) {
    sftp_attributes attributes = sftp_fstat(file);
    if (!attributes) {
      m_Connection->Failed("cannot seek");
      SetLastError(FileErrorSeek);
      return false;
    }
    base = static_cast<long long>(attributes->size);
    sftp_attributes_free(attributes);
  } else if (origin != 0) {
    SetLastError(FileErrorSeek);
    return false;
  }
  if (base + offset < 0 || sftp_seek64(file, static_cast<uint64_t>(base + offset)) != 0) {
    SetLastError(FileErrorSeek);
    return false;
  }
  return true;
}

bool CSftpFileAccess::TellFile(unsigned int handle, unsigned long long& position) {
  Guard guard(m_Lock);
  position = 0;
  auto found = m_Files.find(handle);
  if (found == m_Files.end()) {
    SetLastError(FileErrorBadHandle);
    return false;
  }
  position = sftp_tell64(found->second->File);
  return true;
}

bool CSftpFileAccess::WriteFile(unsigned int handle, const void* buffer, unsigned int size,
                                unsigned int& written) {
  Guard guard(m_Lock);
  auto found = m_Files.find(handle);
  if (found == m_Files.end()) {
    SetLastError(FileErrorBadHandle);
    return false;
  }
  const char* bytes = static_cast<const char*>(buffer);
  unsigned int done = 0;
  while (done < size) {
    const ssize_t now = sftp_write(found->second->File, bytes + done, size - done);
    if (now <= 0) {
      m_Connection->Failed("cannot write");
      SetLastError(FileErrorWrite);
      return false;
    }
    done += static_cast<unsigned int>(now);
  }
  written = size;
  return true;
}

bool CSftpFileAccess::ReadFile(unsigned int handle, void* buffer, unsigned int size,
                               unsigned int& bytesRead) {
  Guard guard(m_Lock);
  auto found = m_Files.find(handle);
  if (found == m_Files.end()) {
    SetLastError(FileErrorBadHandle);
    return false;
  }
  char* bytes = static_cast<char*>(buffer);
  unsigned int done = 0;
  while (done < size) {
    const ssize_t now = sftp_read(found->second->File, bytes + done, size - done);
    if (now == 0) {
      SetLastError(FileErrorEndOfFile);
      return false;
    }
    if (now < 0) {
      m_Connection->Failed("cannot read");
      SetLastError(FileErrorRead);
      return false;
    }
    done += static_cast<unsigned int>(now);
  }
  bytesRead = size;
  return true;
}

bool CSftpFileAccess::SetEndOfFile(unsigned int handle) {
  Guard guard(m_Lock);
  auto found = m_Files.find(handle);
  if (found == m_Files.end()) {
    SetLastError(FileErrorBadHandle);
    return false;
  }
  // The protocol sets a size by path; the file's own handle knows only where it is.
  sftp_attributes_struct attributes{};
  attributes.flags = SSH_FILEXFER_ATTR_SIZE;
  attributes.size = sftp_tell64(found->second->File);
  sftp_session sftp = m_Connection->Session();
  if (!sftp || sftp_setstat(sftp, found->second->Path.c_str(), &attributes) != 0) {
    m_Connection->Failed("cannot set the end of " + found->second->Path);
    SetLastError(FileErrorWrite);
    return false;
  }
  return true;
}

bool CSftpFileAccess::CloseFile(unsigned int handle, bool) {
  Guard guard(m_Lock);
  auto found = m_Files.find(handle);
  if (found == m_Files.end()) {
    SetLastError(FileErrorBadHandle);
    return false;
  }
  const bool closed = sftp_close(found->second->File) == SSH_OK;
  m_Files.erase(found);
  return closed;
}

bool CSftpFileAccess::CloseAllFiles() {
  Guard guard(m_Lock);
  for (auto& entry : m_Files) sftp_close(entry.second->File);
  m_Files.clear();
  return true;
}

bool CSftpFileAccess::ReservedFileOperation() { return true; }

bool CSftpFileAccess::FlushFile(unsigned int) { return true; }

// --- The store itself ------------------------------------------------------------------

bool CSftpFileAccess::SelectAnalyzer(unsigned short) { return true; }

// A server doesn't know the analyzers' disks: the caller skips its check of them.
bool CSftpFileAccess::ListDiskIds(std::set<std::u16string>& diskIds) {
  diskIds.clear();
  return false;
}

bool CSftpFileAccess::ListAnalyzers(std::set<unsigned short>& analyzers) {
  analyzers = {1};
  return true;
}

void CSftpFileAccess::SetDownloadSize(unsigned int size) {
  Guard guard(m_Lock);
  m_DownloadSize = size;
}

std::u16string CSftpFileAccess::PathSeparatorW() const { return u"/"; }

std::string CSftpFileAccess::PathSeparator() const { return "/"; }

std::string CSftpFileAccess::CurrentDiskSerial() { return std::string(); }

bool CSftpFileAccess::SetWantedDisks(const std::set<std::u16string>&) { return true; }

}  // namespace zsff
