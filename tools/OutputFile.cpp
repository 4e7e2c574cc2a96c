#include "OutputFile.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace zsff_tools {

namespace {

std::string Because(const std::string& path, int error) {
  return (path == "-" ? std::string("standard output") : path) + ": " +
         (error != 0 ? std::strerror(error) : "can't be written");
}

}  // namespace

OutputFile::~OutputFile() { Discard(); }

void OutputFile::RemoveFile() const {
  struct stat status {};
  if (stat(m_Path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) std::remove(m_Path.c_str());
}

void OutputFile::Discard() {
  if (m_File == nullptr) return;
  if (IsStandardOutput()) {
    std::fflush(m_File);
  } else {
    std::fclose(m_File);
    RemoveFile();
  }
  m_File = nullptr;
}

bool OutputFile::Open(const std::string& path, std::string& error) {
  Discard();
  m_Path = path;
  errno = 0;
  m_File = path == "-" ? stdout : std::fopen(path.c_str(), "wb");
  if (m_File == nullptr) error = Because(path, errno);
  return m_File != nullptr;
}

bool OutputFile::Write(const void* data, std::size_t size, std::string& error) {
  errno = 0;
  if (std::fwrite(data, 1, size, m_File) == size) return true;
  error = Because(m_Path, errno);
  return false;
}

bool OutputFile::Failed(std::string& error) {
  // The stream keeps no reason: it is the errno of the write that failed,
  // when nothing has been called since, or else that of a flush that tries again.
  int reason = errno;
  if (!std::ferror(m_File)) return false;
  if (reason == 0) {
    std::fflush(m_File);
    reason = errno;
  }
  error = Because(m_Path, reason);
  return true;
}

bool OutputFile::Close(std::string& error) {
  if (Failed(error)) {
    Discard();
    return false;
  }
  errno = 0;
  const bool closed = IsStandardOutput() ? std::fflush(m_File) == 0 : std::fclose(m_File) == 0;
  const int reason = errno;
  if (!closed && !IsStandardOutput()) RemoveFile();
  m_File = nullptr;
  if (!closed) error = Because(m_Path, reason);
  return closed;
}

}  // namespace zsff_tools
