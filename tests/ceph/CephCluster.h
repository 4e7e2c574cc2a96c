// The Ceph cluster the CephFS store's tests run against: the one CTest started
// for all of them (its config named by ZSFF_CEPH_CONF), or else one this
// program starts for itself and kills when it ends.
#pragma once

#include <sys/types.h>
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

// Evicts the client of process `pid` from the file system, as an operator does
// with one that died holding files: other clients then go on at once instead
// of waiting for its session to time out.
bool EvictClient(pid_t pid);

// Another client process (tests/ceph/child: "record" or "update", COUNT times)
// in the measurement "m" at `root` of the file system, started by fork and
// exec, and killed when it is destroyed while running. Its stdin and stdout are
// pipes to the test.
class ChildClient {
 public:
  ChildClient(const std::string& mode, const std::string& root, unsigned long long count);
  ~ChildClient();
  ChildClient(const ChildClient&) = delete;
  ChildClient& operator=(const ChildClient&) = delete;

  pid_t Pid() const { return m_Pid; }
  // Waits for the byte the child writes after each step; false when it ended.
  bool Stepped();
  // Lets the child take its next step.
  bool Go();
  // Its exit code once it ended, -1 when it was killed.
  int Wait();
  void Kill();

 private:
  pid_t m_Pid = -1;
  int m_ToChild = -1, m_FromChild = -1;
};

// A store mounted on the cluster's file system at its root, as the store tests
// make their stores: by default construction.
class CephTestStore : public zsff::CCephFileAccess {
 public:
  CephTestStore();
};

}  // namespace zsff_test
