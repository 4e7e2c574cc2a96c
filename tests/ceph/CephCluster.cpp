#include "ceph/CephCluster.h"

#include <cephfs/libcephfs.h>
#include <gtest/gtest.h>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>

#include <cstdlib>
#include <filesystem>

#include "TempDir.h"

namespace zsff_test {

namespace {

class CephClusterEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    if (std::getenv("ZSFF_CEPH_CONF") != nullptr) return;
    m_Dir = std::make_unique<TempDir>();
    const std::string dir = (m_Dir->Path() / "cluster").string();
    ASSERT_EQ(std::system((std::string(ZSFF_CEPH_CLUSTER_SCRIPT) + " start " + dir).c_str()), 0)
        << "see " << dir << "/log";
    m_Cluster = dir;
    // Processes the tests start find it as CTest's are found.
    setenv("ZSFF_CEPH_CONF", (dir + "/ceph.conf").c_str(), 1);
  }
  void TearDown() override {
    if (m_Cluster.empty()) return;
    std::system((std::string(ZSFF_CEPH_CLUSTER_SCRIPT) + " stop " + m_Cluster).c_str());
    unsetenv("ZSFF_CEPH_CONF");
  }

 private:
  std::unique_ptr<TempDir> m_Dir;
  std::string m_Cluster;
};

const ::testing::Environment* const s_Cluster =
    ::testing::AddGlobalTestEnvironment(new CephClusterEnvironment);

}  // namespace

std::string CephConfigPath() {
  const char* conf = std::getenv("ZSFF_CEPH_CONF");
  return conf ? conf : "";
}

zsff::CephLocation CephTestLocation() {
  zsff::CephLocation location;
  location.ConfigPath = CephConfigPath();
  return location;
}

std::shared_ptr<zsff::CCephFileAccess> NewCephStore() {
  static int s_Stores = 0;
  CephTestStore root;
  const std::string name = "/test-" + std::to_string(getpid()) + "-" + std::to_string(++s_Stores);
  if (!root.CreateDirectory(std::u16string(name.begin(), name.end()))) {
    ADD_FAILURE() << "cannot make " << name;
    return nullptr;
  }
  zsff::CephLocation location = CephTestLocation();
  location.Path = name;
  auto store = std::make_shared<zsff::CCephFileAccess>(location);
  if (store->Mount()) return store;
  ADD_FAILURE() << store->LastErrorText();
  return nullptr;
}

bool HardLink(const std::string& existing, const std::string& link) {
  ceph_mount_info* mount = nullptr;
  bool linked = false;
  if (ceph_create(&mount, "admin") == 0 &&
      ceph_conf_read_file(mount, CephConfigPath().c_str()) == 0 && ceph_mount(mount, "/") == 0) {
    linked = ceph_link(mount, existing.c_str(), link.c_str()) == 0;
    ceph_unmount(mount);
  }
  if (mount) ceph_release(mount);
  return linked;
}

bool EvictClient(pid_t pid) {
  const std::string command = "ceph -c " + CephConfigPath() +
                              " tell mds.a client evict client_metadata.pid=" +
                              std::to_string(pid) + " >/dev/null 2>&1";
  return std::system(command.c_str()) == 0;
}

ChildClient::ChildClient(const std::string& mode, const std::string& root,
                         unsigned long long count) {
  int toChild[2], fromChild[2];
  if (pipe2(toChild, O_CLOEXEC) != 0 || pipe2(fromChild, O_CLOEXEC) != 0) {
    ADD_FAILURE() << "pipe failed";
    return;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, toChild[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, fromChild[1], STDOUT_FILENO);
  const std::string conf = CephConfigPath(), number = std::to_string(count);
  const char* program = ZSFF_CEPH_TEST_CHILD;
  char* const argv[] = {const_cast<char*>(program), const_cast<char*>(mode.c_str()),
                        const_cast<char*>(conf.c_str()), const_cast<char*>(root.c_str()),
                        const_cast<char*>(number.c_str()), nullptr};
  if (posix_spawn(&m_Pid, program, &actions, nullptr, argv, environ) != 0) {
    ADD_FAILURE() << "cannot start " << program;
    m_Pid = -1;
  }
  posix_spawn_file_actions_destroy(&actions);
  close(toChild[0]);
  close(fromChild[1]);
  m_ToChild = toChild[1];
  m_FromChild = fromChild[0];
}

ChildClient::~ChildClient() {
  if (m_Pid > 0) {
    Kill();
    Wait();
  }
  close(m_ToChild);
  close(m_FromChild);
}

bool ChildClient::Stepped() {
  char byte = 0;
  return read(m_FromChild, &byte, 1) == 1;
}

bool ChildClient::Go() {
  const char byte = 1;
  return write(m_ToChild, &byte, 1) == 1;
}

int ChildClient::Wait() {
  int status = 0;
  if (m_Pid <= 0 || waitpid(m_Pid, &status, 0) != m_Pid) return -1;
  m_Pid = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void ChildClient::Kill() {
  if (m_Pid > 0) kill(m_Pid, SIGKILL);
}

CephTestStore::CephTestStore() : zsff::CCephFileAccess(CephTestLocation()) {
  if (!Mount()) ADD_FAILURE() << LastErrorText();
}

}  // namespace zsff_test
