// The CephFS store's mount, its paths and its words for what failed (see
// CephFileAccess.h).
#include <zsff/CephFileAccess.h>

#include <cephfs/libcephfs.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <utility>

#include "ceph/CephCallGate.h"
#include "foundation/HandleTable.h"
#include "foundation/PathRules.h"
#include "foundation/TextConversion.h"

namespace zsff {

namespace {

// The longest path the store hands on, as the local store counts it.
constexpr std::size_t kMaxPathLength = 4096;

}  // namespace

CCephFileAccess::CCephFileAccess(CephLocation location, CephOptions options)
    : m_Location(std::move(location)),
      m_Options(options),
      m_Gate(std::make_unique<ceph::CallGate>(std::chrono::seconds(options.CallTimeout))),
      m_Files(std::make_unique<HandleTable<int>>()) {}

CCephFileAccess::~CCephFileAccess() {
  CloseAllFiles();
  ceph_mount_info* mount = m_Mount.load();
  if (mount == nullptr) return;
  m_Gate->Run([mount] { return ceph_unmount(mount); });
  // A mount with a call stuck inside can only be left behind: releasing it
  // would pull it from under that call.
  if (!m_Gate->Shut()) ceph_release(mount);
}

bool CCephFileAccess::Mount() {
  std::lock_guard<std::mutex> guard(m_MountLock);
  if (m_Mount.load() != nullptr) return true;
  const std::string who = "client." + m_Location.Client;
  ceph_mount_info* mount = nullptr;
  int result = ceph_create(&mount, m_Location.Client.c_str());
  if (result < 0) return Failed("cannot make the Ceph " + who, result);
  const std::string timeout = std::to_string(m_Options.MountTimeout);
  if ((result = ceph_conf_read_file(mount, m_Location.ConfigPath.c_str())) < 0) {
    Failed("cannot read the Ceph config " + m_Location.ConfigPath, result);
  } else if ((result = ceph_conf_set(mount, "client_mount_timeout", timeout.c_str())) < 0) {
    Failed("cannot set the mount's timeout", result);
  } else if (!m_Options.CacheWrites && (result = ceph_conf_set(mount, "client_oc", "false")) < 0) {
    Failed("cannot turn the client's write cache off", result);
  } else if ((result = ceph_mount(mount, "/")) < 0) {
    Failed("cannot mount the file system of " + m_Location.ConfigPath + " as " + who +
               " within " + timeout + " s",
           result);
  } else {
    struct ceph_statx status {};
    const std::string root = m_Location.Path;
    result = static_cast<int>(m_Gate->Fetch(
        [mount, root](struct ceph_statx* found) {
          return ceph_statx(mount, root.c_str(), found, CEPH_STATX_MODE, 0);
        },
        status));
    if (result == 0 && !S_ISDIR(status.stx_mode)) result = -ENOTDIR;
    if (result == 0) {
      m_Mount.store(mount);
      return true;
    }
    Failed("no directory " + m_Location.Path + " in the file system of " + m_Location.ConfigPath,
           result);
    if (m_Gate->Run([mount] { return ceph_unmount(mount); }) == -ETIMEDOUT) return false;
  }
  ceph_release(mount);
  return false;
}

std::string CCephFileAccess::LastErrorText() const {
  if (m_Gate->Shut()) {
    return "the Ceph cluster of " + m_Location.ConfigPath + " didn't answer within " +
           std::to_string(m_Options.CallTimeout) + " s: the store gave up on it";
  }
  std::lock_guard<std::mutex> guard(m_ErrorLock);
  return m_ErrorText;
}

bool CCephFileAccess::Failed(const std::string& what, int code) {
  std::lock_guard<std::mutex> guard(m_ErrorLock);
  m_ErrorText = what + ": " + std::strerror(-code);
  return false;
}

std::string CCephFileAccess::CephPath(const std::string& path) const {
  if (!IsUsablePath(path)) return std::string();
  const std::string full = path.front() == '/' ? path : JoinPath(m_Location.Path, path);
  std::string normal = std::filesystem::path(full).lexically_normal().string();
  return WideLength(normal) < kMaxPathLength ? normal : std::string();
}

std::string CCephFileAccess::CephPath(const std::u16string& path) const {
  // A path without a UTF-8 form names nothing, as on the local disk.
  std::string native;
  return WideToPath(path, native) ? CephPath(native) : std::string();
}

// --- What a file system reached in place has nothing to do for ---------------------

bool CCephFileAccess::ReservedFileOperation() { return true; }


bool CCephFileAccess::SelectAnalyzer(unsigned short) { return true; }

bool CCephFileAccess::ListDiskIds(std::set<std::u16string>& diskIds) {
  diskIds.clear();
  return false;
}

bool CCephFileAccess::ListAnalyzers(std::set<unsigned short>& analyzers) {
  analyzers = {1};
  return true;
}

void CCephFileAccess::SetDownloadSize(unsigned int) {}

std::u16string CCephFileAccess::PathSeparatorW() const { return u"/"; }

std::string CCephFileAccess::PathSeparator() const { return "/"; }

std::string CCephFileAccess::CurrentDiskSerial() { return std::string(); }

bool CCephFileAccess::SetWantedDisks(const std::set<std::u16string>&) { return true; }

}  // namespace zsff
