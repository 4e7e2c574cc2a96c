#include "ceph/CephCluster.h"

#include <cephfs/libcephfs.h>
#include <gtest/gtest.h>

#include <unistd.h>

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

CephTestStore::CephTestStore() : zsff::CCephFileAccess(CephTestLocation()) {
  if (!Mount()) ADD_FAILURE() << LastErrorText();
}

}  // namespace zsff_test
