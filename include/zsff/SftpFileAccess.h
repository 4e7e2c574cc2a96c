// A remote store over SSH: the directory of a measurement server reached by
// SFTP, for a tree to record onto, read from, upload to and download from.
// Present when the library was built with libssh (ZSFF_HAS_SFTP is then
// defined for the code that links it).
#pragma once

#include <zsff/FileAccess.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>
#include <zsff/Export.h>

namespace zsff {

// Where the store lies: sftp://USER@HOST[:PORT]/PATH. PATH is the store's root:
// relative paths handed to the store lie below it; absolute ones are taken as
// they are. An empty PATH is the user's login directory.
struct ZSFF_API SftpLocation {
  std::string User;
  std::string Host;
  int Port = 22;
  std::string Path;

  // False, with `error` saying what is wrong, for text not of that form.
  static bool Parse(const std::string& url, SftpLocation& location, std::string& error);
  std::string ToUrl() const;
};

// How the store proves the server and itself. No password is ever taken: the
// user is authenticated by a key, from the agent or from a file.
struct ZSFF_API SftpOptions {
  // The known-hosts file the server's key is checked against; empty for
  // ~/.ssh/known_hosts.
  std::string KnownHostsFile;
  // An unknown server's key is written into the known-hosts file and accepted.
  // A key that differs from the one the file holds is refused all the same.
  bool AcceptNewHostKey = false;
  // A private key file (without passphrase); empty for the agent, then the
  // user's default keys.
  std::string IdentityFile;
  // Seconds a connection may take to be made.
  long ConnectTimeout = 10;
};

class CSftpConnection;

// CAbstractFileAccess over one SFTP session. The session is made by Connect and
// made again by the next call after it broke (a server restarted, a network
// cut); a call that meets the break fails. Handles of files opened before a
// break are gone with it.
//
// Transfers: a download writes each file under a temporary name and renames it
// when it is whole, with the server's time of the file, so a download that was
// cut short leaves no half file; a file already at the destination with the
// server's size and time isn't fetched again. Remote names that would leave the
// destination (absolute, "..", holding a separator) are refused. An upload
// writes each file in place.
//
// Threads: one session serves every caller, one call at a time.
class ZSFF_API CSftpFileAccess : public CAbstractFileAccess {
 public:
  CSftpFileAccess(SftpLocation location, SftpOptions options);
  ~CSftpFileAccess() override;
  CSftpFileAccess(const CSftpFileAccess&) = delete;
  CSftpFileAccess& operator=(const CSftpFileAccess&) = delete;

  // Connects, checks the server's key and authenticates. False with the reason
  // in LastErrorText (which never holds a secret).
  bool Connect();
  // The words of the last failure of a connection or a transfer.
  std::string LastErrorText() const;

  // Told the bytes each transfer moves, as they move, with the size of the
  // download SetDownloadSize announced (0 before any); returning false stops the
  // transfer, which then fails. Called on the transferring thread while the
  // store is busy: it must not call the store.
  using ProgressCallback = std::function<bool(unsigned long long bytes, unsigned long long announced)>;
  void SetProgressCallback(ProgressCallback progress);

  bool DeleteDirectoryTree(const std::u16string& path) override;
  bool CreateDirectory(const std::u16string& path) override;
  bool CopyDirectoryTree(const std::u16string& source, const std::u16string& destination) override;
  bool CopyFileList(const std::u16string& sourceDirectory,
                    const std::u16string& destinationDirectory,
                    const std::vector<std::u16string>& fileNames) override;
  bool ListDirectory(const std::u16string& directory, std::vector<std::u16string>& directories,
                     std::vector<std::u16string>& files, const std::u16string& pattern) override;
  bool DeleteFile(const std::string& path) override;
  bool DeleteFile(const std::u16string& path) override;
  bool FileExists(const std::string& path) override;
  bool FileExists(const std::u16string& path) override;
  bool RenameFile(const std::u16string& oldPath, const std::u16string& newPath) override;
  bool FileSize(const std::string& path, unsigned long long& size) override;
  bool FileSize(const std::u16string& path, unsigned long long& size) override;
  bool FileSizeAndTime(const std::u16string& path, unsigned long long& size,
                       long long& lastWrite) override;
  bool OpenFile(const std::string& path, FileOpenMode_t mode, unsigned int& handle) override;
  bool OpenFile(const std::u16string& path, FileOpenMode_t mode, unsigned int& handle) override;
  bool SeekFile(unsigned int handle, long long offset, int origin) override;
  bool TellFile(unsigned int handle, unsigned long long& position) override;
  bool WriteFile(unsigned int handle, const void* buffer, unsigned int size,
                 unsigned int& written) override;
  bool ReadFile(unsigned int handle, void* buffer, unsigned int size,
                unsigned int& bytesRead) override;
  bool SetEndOfFile(unsigned int handle) override;
  bool CloseFile(unsigned int handle, bool written) override;
  bool CloseAllFiles() override;
  bool ReservedFileOperation() override;
  bool FlushFile(unsigned int handle) override;
  // One server is one disk: every analyzer index aims at it.
  bool SelectAnalyzer(unsigned short analyzerIndex) override;
  // The one disk: the location's URL.
  bool ListDiskIds(std::set<std::u16string>& diskIds) override;
  bool ListAnalyzers(std::set<unsigned short>& analyzers) override;
  void SetDownloadSize(unsigned int size) override;
  bool UploadFile(const std::u16string& sourceDirectory, const std::u16string& fileName,
                  const std::u16string& destinationDirectory,
                  unsigned short analyzerIndex) override;
  bool DownloadFile(const std::u16string& sourceDirectory, const std::u16string& fileName,
                    const std::u16string& destinationDirectory) override;
  bool UploadDirectory(const std::u16string& source, const std::u16string& destination) override;
  bool DownloadDirectory(const std::u16string& source, const std::u16string& destination) override;
  std::u16string PathSeparatorW() const override;
  std::string PathSeparator() const override;
  std::string CurrentDiskSerial() override;
  bool SetWantedDisks(const std::set<std::u16string>& diskIds) override;

 private:
  struct OpenedFile;
  // Under m_Lock, with the server's paths.
  bool Download(const std::string& remote, const std::string& local);
  bool Upload(const std::string& local, const std::string& remote);
  bool DownloadTree(const std::string& from, const std::string& to);
  bool UploadTree(const std::filesystem::path& from, const std::string& to);
  bool CopyRemoteFile(const std::string& from, const std::string& to);
  bool CopyTree(const std::string& from, const std::string& to);
  bool DeleteTree(const std::string& path);
  // Reports `bytes` moved; false when the caller asked to stop.
  bool Progress(unsigned long long bytes);

  std::unique_ptr<CSftpConnection> m_Connection;
  mutable std::recursive_mutex m_Lock;
  std::map<unsigned int, std::unique_ptr<OpenedFile>> m_Files;
  unsigned int m_NextHandle = 1;
  ProgressCallback m_Progress;
  unsigned long long m_DownloadSize = 0;
};

}  // namespace zsff
