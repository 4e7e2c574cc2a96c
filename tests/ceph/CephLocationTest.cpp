// Addresses of the CephFS store read and written back.
#include <gtest/gtest.h>
#include <zsff/CephFileAccess.h>

using zsff::CephLocation;

TEST(CephLocation, ReadsAddressesAndRefusesWhatIsntOne) {
  struct Row {
    const char* Url;
    bool Valid;
    const char *Client, *Config, *Path;
  } rows[] = {
      {"ceph://admin@/etc/ceph/ceph.conf/data/m", true, "admin", "/etc/ceph/ceph.conf", "/data/m"},
      {"ceph://rec1@/etc/ceph/ceph.conf", true, "rec1", "/etc/ceph/ceph.conf", "/"},
      {"ceph://admin@cluster/a.conf/x", true, "admin", "cluster/a.conf", "/x"},
      {"ceph://admin@/srv/.conf/ceph.conf/x", true, "admin", "/srv/.conf/ceph.conf", "/x"},
      {"ceph://admin@/etc/ceph/x", false, "", "", ""},
      {"ceph:///etc/ceph/ceph.conf/x", false, "", "", ""},
      {"sftp://admin@/etc/ceph/ceph.conf", false, "", "", ""},
  };
  for (const Row& row : rows) {
    CephLocation location;
    std::string error;
    ASSERT_EQ(CephLocation::Parse(row.Url, location, error), row.Valid) << row.Url;
    if (!row.Valid) {
      EXPECT_FALSE(error.empty());
      continue;
    }
    EXPECT_EQ(location.Client, row.Client);
    EXPECT_EQ(location.ConfigPath, row.Config);
    EXPECT_EQ(location.Path, row.Path);
    CephLocation again;
    ASSERT_TRUE(CephLocation::Parse(location.ToUrl(), again, error)) << location.ToUrl();
    EXPECT_EQ(again.ToUrl(), location.ToUrl());
  }
}
