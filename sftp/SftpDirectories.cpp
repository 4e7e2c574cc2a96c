// The SFTP store's directories: made, listed, deleted and copied on the server
// (see SftpFileAccess.h).
#include <zsff/SftpFileAccess.h>

#include <vector>

#include "foundation/PathRules.h"
#include "foundation/TextConversion.h"
#include "sftp/SftpConnection.h"
#include "sftp/SftpPaths.h"

namespace zsff {

namespace {

using Guard = std::lock_guard<std::recursive_mutex>;

std::string StripTrailingSeparators(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

bool CSftpFileAccess::CreateDirectory(const std::u16string& path) {
  Guard guard(m_Lock);
  sftp_session sftp = m_Connection->Session();
  if (!sftp) return false;
  const std::string remote = m_Connection->RemotePath(WideToUtf8(path));
  if (sftp_mkdir(sftp, remote.c_str(), 0755) == SSH_OK) return true;
  m_Connection->Failed("cannot make " + remote);
  return false;
}

bool CSftpFileAccess::ListDirectory(const std::u16string& directory,
                                    std::vector<std::u16string>& directories,
                                    std::vector<std::u16string>& files,
                                    const std::u16string& pattern) {
  Guard guard(m_Lock);
  directories.clear();
  files.clear();
  std::vector<CSftpConnection::Entry> entries;
  if (!m_Connection->List(m_Connection->RemotePath(WideToUtf8(directory)), entries))
    return false;
  // The paths come back in the caller's form, not the server's.
  const std::string given = WideToUtf8(directory);
  for (const CSftpConnection::Entry& entry : entries) {
    std::u16string name, path;
    if (!PathToWide(entry.Name, name) || !PathToWide(sftp::Join(given, entry.Name), path))
      return false;
    if (!MatchesListPattern(pattern, name, !entry.IsDirectory)) continue;
    (entry.IsDirectory ? directories : files).push_back(path);
  }
  return true;
}

bool CSftpFileAccess::DeleteDirectoryTree(const std::u16string& path) {
  Guard guard(m_Lock);
  sftp_session sftp = m_Connection->Session();
  if (!sftp) return false;
  const std::string remote = StripTrailingSeparators(m_Connection->RemotePath(WideToUtf8(path)));
  sftp_attributes attributes = sftp_lstat(sftp, remote.c_str());
  if (!attributes) return true;
  const bool isDirectory = attributes->type == SSH_FILEXFER_TYPE_DIRECTORY;
  sftp_attributes_free(attributes);
  // The guard against wiping a disk: "/", "/usr" and their like are never deleted.
  if (remote.size() < 5) return false;
  if (isDirectory) return DeleteTree(remote);
  if (sftp_unlink(sftp, remote.c_str()) == SSH_OK) return true;
  m_Connection->Failed("cannot delete " + remote);
  return false;
}

bool CSftpFileAccess::DeleteTree(const std::string& path) {
  sftp_session sftp = m_Connection->Session();
  if (!sftp) return false;
  std::vector<CSftpConnection::Entry> entries;
  if (!m_Connection->List(path, entries)) return false;
  for (const CSftpConnection::Entry& entry : entries) {
    const std::string inner = sftp::Join(path, entry.Name);
    if (entry.IsDirectory ? !DeleteTree(inner) : sftp_unlink(sftp, inner.c_str()) != SSH_OK) {
      m_Connection->Failed("cannot delete " + inner);
      return false;
    }
  }
  if (sftp_rmdir(sftp, path.c_str()) == SSH_OK) return true;
  m_Connection->Failed("cannot delete " + path);
  return false;
}

bool CSftpFileAccess::CopyDirectoryTree(const std::u16string& source,
                                        const std::u16string& destination) {
  Guard guard(m_Lock);
  if (source.empty() || destination.empty()) return false;
  const std::string from = StripTrailingSeparators(m_Connection->RemotePath(WideToUtf8(source)));
  const std::string to =
      StripTrailingSeparators(m_Connection->RemotePath(WideToUtf8(destination)));
  // Copying a tree into itself would never end.
  if (to == from || to.compare(0, from.size() + 1, from + "/") == 0) return false;
  return m_Connection->IsDirectory(from) && CopyTree(from, to);
}

bool CSftpFileAccess::CopyTree(const std::string& from, const std::string& to) {
  std::vector<CSftpConnection::Entry> entries;
  if (!m_Connection->MakeDirectories(to) || !m_Connection->List(from, entries)) return false;
  for (const CSftpConnection::Entry& entry : entries) {
    const std::string inner = sftp::Join(from, entry.Name), target = sftp::Join(to, entry.Name);
    if (entry.IsDirectory ? !CopyTree(inner, target) : !CopyRemoteFile(inner, target))
      return false;
  }
  return true;
}

bool CSftpFileAccess::CopyFileList(const std::u16string& sourceDirectory,
                                   const std::u16string& destinationDirectory,
                                   const std::vector<std::u16string>& fileNames) {
  Guard guard(m_Lock);
  if (fileNames.empty()) return false;
  const std::string from = m_Connection->RemotePath(WideToUtf8(sourceDirectory));
  const std::string to = m_Connection->RemotePath(WideToUtf8(destinationDirectory));
  bool result = true;
  for (const std::u16string& name : fileNames) {
    const std::string plain = WideToUtf8(name);
    // The remaining files are still worth copying.
    if (!IsPlainName(plain) ||
        !CopyRemoteFile(sftp::Join(from, plain), sftp::Join(to, plain)))
      result = false;
  }
  return result;
}

}  // namespace zsff
