// The CephFS store's mount, its paths and its words for what failed (see
// CephFileAccess.h).
#include <zsff/CephFileAccess.h>

#include <cephfs/libcephfs.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <utility>

#include "foundation/PathRules.h"
#include "foundation/TextConversion.h"

namespace zsff {

namespace {

// The longest path the store hands on, as the local store counts it.
constexpr std::size_t kMaxPathLength = 4096;

}  // namespace

CCephFileAccess::CCephFileAccess(CephLocation location, CephOptions options)
    : m_Location(std::move(location)), m_Options(options) {}

CCephFileAccess::~CCephFileAccess() {
  CloseAllFiles();
  if (ceph_mount_info* mount = m_Mount.load()) {
    ceph_unmount(mount);
    ceph_release(mount);
  }
}

bool CCephFileAccess::Mount() {
  std::lock_guard<std::mutex> guard(m_MountLock);
  if (m_Mount.load() != nullptr) return true;
  const std::string who = "client." + m_Location.Client;
  ceph_mount_info* mount = nullptr;
  int result = ceph_create(&mount, m_Location.Client.c_str());
  if (result < 0) return Failed("cannot make the Ceph " + who, result);
  const std::string timeout = std::to_string(m_Options.MountTimeout);
  const std::string transfer = std::to_string(m_Options.TransferTimeout);
  if ((result = ceph_conf_read_file(mount, m_Location.ConfigPath.c_str())) < 0) {
    Failed("cannot read the Ceph config " + m_Location.ConfigPath, result);
  } else if ((result = ceph_conf_set(mount, "client_mount_timeout", timeout.c_str())) < 0 ||
             (result = ceph_conf_set(mount, "rados_osd_op_timeout", transfer.c_str())) < 0 ||
             (result = ceph_conf_set(mount, "rados_mon_op_timeout", transfer.c_str())) < 0) {
    Failed("cannot set the timeouts", result);
  } else if (!m_Options.CacheWrites && (result = ceph_conf_set(mount, "client_oc", "false")) < 0) {
    Failed("cannot turn the client's write cache off", result);
  } else if ((result = ceph_mount(mount, "/")) < 0) {
    Failed("cannot mount the file system of " + m_Location.ConfigPath + " as " + who +
               " within " + timeout + " s",
           result);
  } else {
    struct ceph_statx status {};
    result = ceph_statx(mount, m_Location.Path.c_str(), &status, CEPH_STATX_MODE, 0);
    if (result == 0 && !S_ISDIR(status.stx_mode)) result = -ENOTDIR;
    if (result == 0) {
      m_Mount.store(mount);
      return true;
    }
    Failed("no directory " + m_Location.Path + " in the file system of " + m_Location.ConfigPath,
           result);
    ceph_unmount(mount);
  }
  ceph_release(mount);
  return false;
}

std::string CCephFileAccess::LastErrorText() const {
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
