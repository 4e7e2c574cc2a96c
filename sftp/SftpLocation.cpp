// sftp://USER@HOST[:PORT]/PATH, read and written.
#include <zsff/SftpFileAccess.h>

#include <cstdlib>

namespace zsff {

bool SftpLocation::Parse(const std::string& url, SftpLocation& location, std::string& error) {
  const std::string scheme = "sftp://";
  if (url.compare(0, scheme.size(), scheme) != 0) {
    error = "not an sftp:// address: " + url;
    return false;
  }
  const std::string rest = url.substr(scheme.size());
  const std::string::size_type slash = rest.find('/');
  const std::string authority = rest.substr(0, slash);
  SftpLocation parsed;
  parsed.Path = slash == std::string::npos ? std::string() : rest.substr(slash);
  // "/~/x" and "/x" as ssh takes them: the first below the login directory.
  if (parsed.Path.compare(0, 3, "/~/") == 0) parsed.Path = parsed.Path.substr(3);
  if (parsed.Path == "/~") parsed.Path.clear();

  std::string hostPort = authority;
  const std::string::size_type at = authority.rfind('@');
  if (at != std::string::npos) {
    parsed.User = authority.substr(0, at);
    hostPort = authority.substr(at + 1);
  }
  if (parsed.User.find(':') != std::string::npos) {
    // A password in the address would end up in the process list and the
    // shell's history, so the address isn't repeated: keys and the agent only.
    error = "a password has no place in the address; use a key or the agent";
    return false;
  }
  const std::string::size_type colon = hostPort.rfind(':');
  parsed.Host = hostPort.substr(0, colon);
  if (colon != std::string::npos) {
    const std::string port = hostPort.substr(colon + 1);
    char* end = nullptr;
    const long value = std::strtol(port.c_str(), &end, 10);
    if (port.empty() || *end != '\0' || value < 1 || value > 65535) {
      error = "not a port: " + port + " in " + url;
      return false;
    }
    parsed.Port = static_cast<int>(value);
  }
  if (parsed.Host.empty()) {
    error = "no host in " + url;
    return false;
  }
  location = parsed;
  return true;
}

std::string SftpLocation::ToUrl() const {
  std::string url = "sftp://";
  if (!User.empty()) url += User + "@";
  url += Host;
  if (Port != 22) url += ":" + std::to_string(Port);
  if (!Path.empty() && Path.front() != '/') url += "/~/";
  return url + Path;
}

}  // namespace zsff
