// Mounts that can't be made say why, and a cluster that isn't there fails the
// mount once its timeout has passed instead of holding the caller.
#include <gtest/gtest.h>
#include <zsff/CephFileAccess.h>

#include <fstream>
#include <sstream>

#include "TempDir.h"
#include "ceph/CephCluster.h"

using namespace zsff;
using namespace zsff_test;

TEST(CephMount, FailsWithTheReasonForAConfigAClusterOrARootThatIsntThere) {
  TempDir dir;
  // The test cluster's config aimed at a port where no monitor listens.
  std::stringstream text;
  text << std::ifstream(CephConfigPath()).rdbuf();
  const std::string deadConfig = (dir.Path() / "dead.conf").string();
  // Every monitor address moved to a port nothing listens on.
  std::string config = text.str();
  const std::string host = "127.0.0.1:";
  for (std::size_t at = config.find(host); at != std::string::npos; at = config.find(host, at)) {
    at += host.size();
    const std::size_t end = config.find_first_not_of("0123456789", at);
    config.replace(at, (end == std::string::npos ? config.size() : end) - at, "9");
  }
  std::ofstream(deadConfig) << config;
  struct Row {
    std::string Config, Path, Words;
  } rows[] = {
      {(dir.Path() / "missing.conf").string(), "/", "cannot read the Ceph config"},
      {deadConfig, "/", "cannot mount the file system of " + deadConfig + " as client.admin within 2 s"},
      {CephConfigPath(), "/no/such/root", "no directory /no/such/root"},
  };
  for (const Row& row : rows) {
    CephLocation location = CephTestLocation();
    location.ConfigPath = row.Config;
    location.Path = row.Path;
    CephOptions options;
    options.MountTimeout = 2;
    CCephFileAccess store(location, options);
    EXPECT_FALSE(store.Mount());
    EXPECT_NE(store.LastErrorText().find(row.Words), std::string::npos) << store.LastErrorText();
    // Unmounted, the store answers every call with a failure.
    unsigned int handle = 0;
    EXPECT_FALSE(store.FileExists(u"/"));
    EXPECT_FALSE(store.OpenFile(u"/x", FileModeCreate, handle));
    EXPECT_EQ(store.GetLastError(), FileErrorOpen);
  }
}
