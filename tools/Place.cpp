#include "Place.h"

#include <algorithm>
#include <map>
#include <mutex>

#include "WidePath.h"
#include "foundation/LocalFileAccess.h"

#ifdef ZSFF_HAS_CEPH
#include <zsff/CephFileAccess.h>
#endif

namespace zsff_tools {

namespace {

constexpr const char* kCephScheme = "ceph://";

#ifdef ZSFF_HAS_CEPH
// One mount per cluster and client: every directory of a command (a copy's
// two ends too) shares it, and libcephfs serves the threads of one mount.
std::shared_ptr<zsff::CCephFileAccess> MountOf(const zsff::CephLocation& location,
                                               std::string& error) {
  static std::mutex lock;
  static std::map<std::string, std::shared_ptr<zsff::CCephFileAccess>> mounts;
  std::lock_guard<std::mutex> guard(lock);
  const std::string key = location.Client + "@" + location.ConfigPath;
  std::shared_ptr<zsff::CCephFileAccess>& mount = mounts[key];
  if (mount) return mount;
  zsff::CephLocation root = location;
  root.Path = "/";
  auto store = std::make_shared<zsff::CCephFileAccess>(root);
  if (!store->Mount()) {
    error = location.ToUrl() + ": " + store->LastErrorText();
    return nullptr;
  }
  mount = store;
  return mount;
}
#endif

}  // namespace

bool IsCephAddress(const std::string& text) {
  return text.compare(0, std::char_traits<char>::length(kCephScheme), kCephScheme) == 0;
}

std::string NormalCephAddress(const std::string& address) {
#ifdef ZSFF_HAS_CEPH
  zsff::CephLocation location;
  std::string error;
  if (!zsff::CephLocation::Parse(address, location, error)) return address;
  std::string path = std::filesystem::path(location.Path).lexically_normal().string();
  if (path.size() > 1 && path.back() == '/') path.pop_back();
  location.Path = path;
  return location.ToUrl();
#else
  return address;
#endif
}

bool FindPlace(const std::filesystem::path& directory, Place& place, std::string& error) {
  if (!IsCephAddress(directory.string())) {
    place.Path = directory;
    place.Files = std::make_shared<zsff::CLocalFileAccess>();
    place.TreeDisk = nullptr;
    return true;
  }
#ifdef ZSFF_HAS_CEPH
  zsff::CephLocation location;
  if (!zsff::CephLocation::Parse(directory.string(), location, error)) return false;
  std::shared_ptr<zsff::CCephFileAccess> mount = MountOf(location, error);
  if (!mount) return false;
  place.Path = std::filesystem::path(location.Path).lexically_normal();
  place.Files = mount;
  place.TreeDisk = mount;
  return true;
#else
  error = directory.string() + ": this zsff was built without CephFS";
  return false;
#endif
}

bool ListNames(zsff::CAbstractFileAccess& files, const std::filesystem::path& directory,
               std::vector<std::string>* directoryNames, std::vector<std::string>* fileNames) {
  std::vector<std::u16string> directories, others;
  if (!files.ListDirectory(StorePath(directory), directories, others, u"*")) return false;
  for (auto [listed, names] :
       {std::make_pair(&directories, directoryNames), std::make_pair(&others, fileNames)}) {
    if (names == nullptr) continue;
    for (const std::u16string& path : *listed) names->push_back(ListedName(path));
    std::sort(names->begin(), names->end());
  }
  return true;
}

bool ListNames(const std::filesystem::path& directory, std::vector<std::string>* directoryNames,
               std::vector<std::string>* fileNames) {
  Place place;
  std::string error;
  return FindPlace(directory, place, error) &&
         ListNames(*place.Files, place.Path, directoryNames, fileNames);
}

bool PathExists(const std::filesystem::path& path) {
  Place place;
  std::string error;
  return FindPlace(path, place, error) && place.Files->FileExists(StorePath(place.Path));
}

bool RemoveFile(const std::filesystem::path& path) {
  Place place;
  std::string error;
  return FindPlace(path, place, error) && place.Files->DeleteFile(StorePath(place.Path));
}

bool MakeDirectories(const std::filesystem::path& directory, std::string& error) {
  Place place;
  if (!FindPlace(directory, place, error)) return false;
  if (!place.TreeDisk) {
    std::error_code ec;
    std::filesystem::create_directories(directory, ec);
    if (ec) error = "cannot create " + directory.string() + ": " + ec.message();
    return !ec;
  }
  // A store makes one level at a time; one that is there already refuses.
  std::filesystem::path made;
  for (const std::filesystem::path& component : place.Path) {
    made /= component;
    place.Files->CreateDirectory(StorePath(made));
  }
  if (place.Files->FileExists(place.Path.string())) return true;
  error = "cannot create " + directory.string();
  return false;
}

bool SameDisk(const Place& a, const Place& b) { return a.TreeDisk == b.TreeDisk; }

}  // namespace zsff_tools
