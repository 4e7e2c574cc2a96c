// OpenSSH's sshd started by a test or a benchmark on 127.0.0.1 with a
// configuration, host key and user key of its own in a directory the caller
// gives, as the current user; no system configuration is read or touched. It can
// be stopped in the middle of a transfer (its connections cut) and started again
// with the same keys and port.
#pragma once

#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zsff/SftpFileAccess.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

namespace zsff_test {

class SshServer {
 public:
  static constexpr const char* kSshd = "/usr/sbin/sshd";

  // Why the server can't run here; empty when it can.
  static std::string Missing() {
    if (access(kSshd, X_OK) != 0) return "OpenSSH's sshd is not installed (openssh-server)";
    if (std::system("ssh-keygen -? >/dev/null 2>&1") == 127 * 256)
      return "ssh-keygen is not installed (openssh-client)";
    return std::string();
  }

  // Makes the keys in `directory`, which must exist; Start fails when that failed.
  explicit SshServer(std::filesystem::path directory)
      : m_Dir(std::move(directory)), m_Port(FreePort()) {
    if (!Keygen(Path("host_key")) || !Keygen(Path("user_key"))) return;
    std::error_code error;
    std::filesystem::copy_file(Path("user_key.pub"), Path("authorized_keys"), error);
    m_Ready = !error;
    std::filesystem::create_directories(Path("root"));
    // The known-hosts line the store is to find for this server.
    std::ifstream hostKey(Path("host_key.pub"));
    std::string type, key;
    hostKey >> type >> key;
    m_KnownHostLine = "[127.0.0.1]:" + std::to_string(m_Port) + " " + type + " " + key + "\n";
    std::ofstream(Path("known_hosts")) << m_KnownHostLine;
  }
  ~SshServer() { Stop(); }
  SshServer(const SshServer&) = delete;
  SshServer& operator=(const SshServer&) = delete;

  // Starts the server; with `readOnly` its SFTP service refuses every change.
  bool Start(bool readOnly = false) {
    if (!m_Ready) return false;
    // Run as root, sshd wants its privilege separation directory, which a fresh
    // container may lack.
    if (geteuid() == 0) mkdir("/run/sshd", 0755);
    std::ofstream(Path("sshd_config"))
        << "Port " << m_Port << "\nListenAddress 127.0.0.1\nHostKey " << Path("host_key")
        << "\nAuthorizedKeysFile " << Path("authorized_keys")
        << "\nStrictModes no\nUsePAM no\nPasswordAuthentication no\n"
           "KbdInteractiveAuthentication no\nPubkeyAuthentication yes\n"
           "PermitRootLogin prohibit-password\nPidFile none\nLogLevel ERROR\n"
           "Subsystem sftp internal-sftp"
        << (readOnly ? " -R" : "") << "\n";
    m_Pid = fork();
    if (m_Pid == 0) {
      const std::string log = Path("sshd.log");
      if (!freopen(log.c_str(), "a", stderr)) _exit(126);
      const std::string config = Path("sshd_config");
      execl(kSshd, kSshd, "-f", config.c_str(), "-D", "-e", static_cast<char*>(nullptr));
      _exit(127);
    }
    // Up when it takes a connection.
    for (int attempt = 0; attempt < 200; ++attempt) {
      if (Accepts()) return true;
      int status;
      if (waitpid(m_Pid, &status, WNOHANG) == m_Pid) {
        m_Pid = -1;
        return false;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    return false;
  }

  // Kills the server and every connection it serves, as a power cut would.
  void Stop() {
    if (m_Pid <= 0) return;
    for (pid_t child : Descendants(m_Pid)) kill(child, SIGKILL);
    kill(m_Pid, SIGKILL);
    waitpid(m_Pid, nullptr, 0);
    m_Pid = -1;
  }

  zsff::SftpLocation Location(const std::string& path = "") const {
    zsff::SftpLocation location;
    location.User = getpwuid(getuid())->pw_name;
    location.Host = "127.0.0.1";
    location.Port = m_Port;
    location.Path = path.empty() ? Path("root") : path;
    return location;
  }
  zsff::SftpOptions Options() const {
    zsff::SftpOptions options;
    options.KnownHostsFile = Path("known_hosts");
    options.IdentityFile = Path("user_key");
    return options;
  }
  // A connected store on the server's root directory; null when it doesn't connect.
  std::shared_ptr<zsff::CSftpFileAccess> Store() const {
    auto store = std::make_shared<zsff::CSftpFileAccess>(Location(), Options());
    return store->Connect() ? store : nullptr;
  }

  std::string Path(const std::string& name) const { return (m_Dir / name).string(); }
  std::filesystem::path Root() const { return m_Dir / "root"; }
  const std::string& KnownHostLine() const { return m_KnownHostLine; }
  std::string Log() const {
    std::ifstream in(Path("sshd.log"));
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

 private:
  static int FreePort() {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    close(fd);
    return ntohs(address.sin_port);
  }

  bool Accepts() const {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(m_Port));
    const bool accepted = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(fd);
    return accepted;
  }

  static bool Keygen(const std::string& file) {
    const std::string command = "ssh-keygen -q -t ed25519 -N '' -f " + file + " >/dev/null";
    return std::system(command.c_str()) == 0;
  }

  // Every process below `root`, found by their parents in /proc.
  static std::set<pid_t> Descendants(pid_t root) {
    std::set<pid_t> found{root};
    for (bool grew = true; grew;) {
      grew = false;
      DIR* proc = opendir("/proc");
      while (dirent* entry = proc ? readdir(proc) : nullptr) {
        const pid_t pid = static_cast<pid_t>(std::atoi(entry->d_name));
        if (pid <= 0 || found.count(pid)) continue;
        std::ifstream stat("/proc/" + std::string(entry->d_name) + "/stat");
        std::string line;
        std::getline(stat, line);
        // pid (comm) state ppid ...; comm may hold spaces, so read after its ')'.
        const std::string::size_type close = line.rfind(')');
        if (close == std::string::npos) continue;
        std::istringstream rest(line.substr(close + 2));
        char state;
        pid_t parent = 0;
        rest >> state >> parent;
        if (found.count(parent)) {
          found.insert(pid);
          grew = true;
        }
      }
      if (proc) closedir(proc);
    }
    found.erase(root);
    return found;
  }

  std::filesystem::path m_Dir;
  int m_Port;
  bool m_Ready = false;
  pid_t m_Pid = -1;
  std::string m_KnownHostLine;
};

}  // namespace zsff_test
