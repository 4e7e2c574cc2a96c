// Making the SSH session: the server's key checked, the user authenticated by
// key alone (see SftpConnection.h).
#include "sftp/SftpConnection.h"

#include "foundation/PathRules.h"
#include "sftp/SftpPaths.h"

#include <utility>

namespace zsff {

CSftpConnection::CSftpConnection(SftpLocation location, SftpOptions options)
    : m_Location(std::move(location)), m_Options(std::move(options)) {}

CSftpConnection::~CSftpConnection() { Disconnect(); }

sftp_session CSftpConnection::Session() {
  if (m_Sftp && ssh_is_connected(m_Ssh)) return m_Sftp;
  Disconnect();
  return Connect() ? m_Sftp : nullptr;
}

void CSftpConnection::Disconnect() {
  if (m_Sftp && m_LetGo) m_LetGo();
  if (m_Sftp) sftp_free(m_Sftp);
  m_Sftp = nullptr;
  if (m_Ssh) {
    if (ssh_is_connected(m_Ssh)) ssh_disconnect(m_Ssh);
    ssh_free(m_Ssh);
  }
  m_Ssh = nullptr;
}

void CSftpConnection::Failed(const std::string& what) {
  if (!m_Ssh) {
    m_Error = what;
    return;
  }
  const char* reason = ssh_get_error(m_Ssh);
  const int code = m_Sftp ? sftp_get_error(m_Sftp) : 0;
  m_Error = what + ": " + (reason && *reason ? reason : "SFTP error " + std::to_string(code));
  // A session that broke is made again by the next call.
  if (!ssh_is_connected(m_Ssh)) Disconnect();
}

std::string CSftpConnection::RemotePath(const std::string& path) const {
  if (!path.empty() && path.front() == '/') return path;
  if (m_Location.Path.empty()) return path.empty() ? "." : path;
  if (path.empty()) return m_Location.Path;
  return m_Location.Path.back() == '/' ? m_Location.Path + path : m_Location.Path + "/" + path;
}

bool CSftpConnection::List(const std::string& path, std::vector<Entry>& entries) {
  sftp_session sftp = Session();
  if (!sftp) return false;
  sftp_dir dir = sftp_opendir(sftp, path.c_str());
  if (!dir) {
    Failed("cannot list " + path);
    return false;
  }
  bool result = true;
  while (sftp_attributes attributes = sftp_readdir(sftp, dir)) {
    const std::string name = attributes->name ? attributes->name : "";
    const bool isDirectory = attributes->type == SSH_FILEXFER_TYPE_DIRECTORY;
    sftp_attributes_free(attributes);
    if (name == "." || name == "..") continue;
    if (!IsPlainName(name)) {
      m_Error = "refused a name the server lists in " + path + ", which leads out of it: " + name;
      result = false;
      break;
    }
    entries.push_back(Entry{name, isDirectory});
  }
  if (result && !sftp_dir_eof(dir)) {
    Failed("cannot list " + path);
    result = false;
  }
  sftp_closedir(dir);
  return result;
}

bool CSftpConnection::IsDirectory(const std::string& path) {
  sftp_session sftp = Session();
  sftp_attributes attributes = sftp ? sftp_stat(sftp, path.c_str()) : nullptr;
  if (!attributes) return false;
  const bool isDirectory = attributes->type == SSH_FILEXFER_TYPE_DIRECTORY;
  sftp_attributes_free(attributes);
  return isDirectory;
}

bool CSftpConnection::MakeDirectories(const std::string& path) {
  if (path.empty() || IsDirectory(path)) return true;
  const std::string::size_type slash = path.find_last_of('/');
  if (slash != std::string::npos && slash > 0 && !MakeDirectories(path.substr(0, slash)))
    return false;
  sftp_session sftp = Session();
  if (sftp && sftp_mkdir(sftp, path.c_str(), 0755) == SSH_OK) return true;
  Failed("cannot make " + path);
  return false;
}

bool CSftpConnection::Connect() {
  const std::string where = m_Location.ToUrl();
  m_Ssh = ssh_new();
  if (!m_Ssh) {
    m_Error = "cannot make an SSH session";
    return false;
  }
  const unsigned int port = static_cast<unsigned int>(m_Location.Port);
  ssh_options_set(m_Ssh, SSH_OPTIONS_HOST, m_Location.Host.c_str());
  ssh_options_set(m_Ssh, SSH_OPTIONS_PORT, &port);
  if (!m_Location.User.empty()) ssh_options_set(m_Ssh, SSH_OPTIONS_USER, m_Location.User.c_str());
  ssh_options_set(m_Ssh, SSH_OPTIONS_TIMEOUT, &m_Options.ConnectTimeout);
  // Each request waits for its answer: Nagle's delay would stall every one.
  const int noDelay = 1;
  ssh_options_set(m_Ssh, SSH_OPTIONS_NODELAY, &noDelay);
  if (!m_Options.KnownHostsFile.empty())
    ssh_options_set(m_Ssh, SSH_OPTIONS_KNOWNHOSTS, m_Options.KnownHostsFile.c_str());
  if (ssh_connect(m_Ssh) != SSH_OK) {
    m_Error = "cannot connect to " + where + ": " + ssh_get_error(m_Ssh);
    Disconnect();
    return false;
  }
  if (!CheckHostKey() || !Authenticate()) {
    Disconnect();
    return false;
  }
  m_Sftp = sftp_new(m_Ssh);
  if (!m_Sftp || sftp_init(m_Sftp) != SSH_OK) {
    m_Error = "no SFTP service at " + where + ": " + ssh_get_error(m_Ssh);
    Disconnect();
    return false;
  }
  return true;
}

bool CSftpConnection::CheckHostKey() {
  const std::string host = m_Location.Host + ":" + std::to_string(m_Location.Port);
  switch (ssh_session_is_known_server(m_Ssh)) {
    case SSH_KNOWN_HOSTS_OK:
      return true;
    case SSH_KNOWN_HOSTS_CHANGED:
    case SSH_KNOWN_HOSTS_OTHER:
      m_Error = "the host key of " + host +
                " differs from the one in the known-hosts file: refused (the server may be "
                "another one pretending to be it; mend the file if its key really changed)";
      return false;
    case SSH_KNOWN_HOSTS_UNKNOWN:
    case SSH_KNOWN_HOSTS_NOT_FOUND:
      if (!m_Options.AcceptNewHostKey) {
        m_Error = "the host key of " + host +
                  " is unknown: refused (not in the known-hosts file; accept new host keys to "
                  "trust it on first use)";
        return false;
      }
      if (ssh_session_update_known_hosts(m_Ssh) != SSH_OK) {
        m_Error = "cannot write the host key of " + host + " into the known-hosts file: " +
                  ssh_get_error(m_Ssh);
        return false;
      }
      return true;
    case SSH_KNOWN_HOSTS_ERROR:
      break;
  }
  m_Error = "cannot check the host key of " + host + ": " + ssh_get_error(m_Ssh);
  return false;
}

bool CSftpConnection::Authenticate() {
  int result = SSH_AUTH_DENIED;
  if (m_Options.IdentityFile.empty()) {
    result = ssh_userauth_publickey_auto(m_Ssh, nullptr, nullptr);
  } else {
    ssh_key key = nullptr;
    if (ssh_pki_import_privkey_file(m_Options.IdentityFile.c_str(), nullptr, nullptr, nullptr,
                                    &key) != SSH_OK) {
      m_Error = "cannot read the key " + m_Options.IdentityFile;
      return false;
    }
    result = ssh_userauth_publickey(m_Ssh, nullptr, key);
    ssh_key_free(key);
  }
  if (result == SSH_AUTH_SUCCESS) return true;
  m_Error = "the server of " + m_Location.ToUrl() + " refused the user's key" +
            (result == SSH_AUTH_ERROR ? std::string(": ") + ssh_get_error(m_Ssh) : std::string());
  return false;
}

}  // namespace zsff
