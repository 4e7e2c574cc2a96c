// One SSH session with its SFTP channel: made, with the server's key checked
// against the known-hosts file and the user authenticated by key, and made
// again when it broke. Paths handed to the store become the server's paths here.
#pragma once

#include <zsff/SftpFileAccess.h>

#include <libssh/libssh.h>
#include <libssh/sftp.h>

#include <functional>
#include <string>
#include <vector>

namespace zsff {

class CSftpConnection {
 public:
  CSftpConnection(SftpLocation location, SftpOptions options);
  ~CSftpConnection();
  CSftpConnection(const CSftpConnection&) = delete;
  CSftpConnection& operator=(const CSftpConnection&) = delete;

  // A working SFTP session, connecting first when there is none or the last one
  // broke; null with the reason in Error().
  sftp_session Session();
  // Ends the session; the next Session() makes a new one.
  void Disconnect();
  // Called before a session ends, to let go of what was opened in it.
  void OnDisconnect(std::function<void()> letGo) { m_LetGo = std::move(letGo); }
  // After a failed call: keeps its words, and forgets a session that broke.
  void Failed(const std::string& what);

  struct Entry {
    std::string Name;
    bool IsDirectory;
  };
  // The entries of the server's directory `path` but "." and "..". False when it
  // can't be read, or lists a name that would lead out of it (a server's trick
  // to have a download write elsewhere).
  bool List(const std::string& path, std::vector<Entry>& entries);
  bool IsDirectory(const std::string& path);
  // Makes the server's `path` and the levels above it that are missing.
  bool MakeDirectories(const std::string& path);

  // The server's path of `path`: below the location's path unless absolute.
  std::string RemotePath(const std::string& path) const;
  const SftpLocation& Location() const { return m_Location; }
  const std::string& Error() const { return m_Error; }
  void SetError(std::string error) { m_Error = std::move(error); }

 private:
  bool Connect();
  bool CheckHostKey();
  bool Authenticate();

  SftpLocation m_Location;
  SftpOptions m_Options;
  ssh_session m_Ssh = nullptr;
  sftp_session m_Sftp = nullptr;
  std::string m_Error;
  std::function<void()> m_LetGo;
};

}  // namespace zsff
