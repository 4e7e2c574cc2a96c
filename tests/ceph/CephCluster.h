// The Ceph cluster the CephFS store's tests run against: the one CTest started
// for all of them (its config named by ZSFF_CEPH_CONF), or else one this
// program starts for itself and kills when it ends.
#pragma once

#include <zsff/CephFileAccess.h>

#include <memory>
#include <string>

namespace zsff_test {

// The cluster's config file.
std::string CephConfigPath();

// The file system's root.
zsff::CephLocation CephTestLocation();

// A store mounted on a fresh directory of its own in the file system, for a
// test's measurements; null (with a failure added) when it can't be made.
std::shared_ptr<zsff::CCephFileAccess> NewCephStore();

// A second name `link` for the file `existing` (both absolute in the file
// system), as a rename by link and unlink leaves it when it dies between the two.
bool HardLink(const std::string& existing, const std::string& link);

// A store mounted on the cluster's file system at its root, as the store tests
// make their stores: by default construction.
class CephTestStore : public zsff::CCephFileAccess {
 public:
  CephTestStore();
};

}  // namespace zsff_test
