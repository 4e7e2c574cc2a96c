#include "OpenTree.h"

#include <zsff/FileAccess.h>
#include <zsff/MetaDataRecord.h>

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "Commands.h"
#include "Place.h"
#include "WidePath.h"
#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"

namespace zsff_tools {

std::filesystem::path MeasurementDirectory(const std::string& argument) {
  if (IsCephAddress(argument)) return NormalCephAddress(argument);
  std::filesystem::path directory = std::filesystem::absolute(argument).lexically_normal();
  if (directory.filename().empty()) directory = directory.parent_path();
  return directory;
}

bool ChannelMatches(const zsff::CChannelID& id, long long channel, long long analyzer) {
  return (channel < 0 || id.ChannelNumber() == channel) &&
         (analyzer < 0 || id.AnalyzerIndex() == analyzer);
}

bool PickChannel(const zsff::CAbstractRecordSection& section, long long channel, long long analyzer,
                 zsff::CChannelID& out) {
  std::vector<zsff::CChannelID> ids;
  section.ListChannelsID(ids);
  for (const zsff::CChannelID& id : ids) {
    if (!ChannelMatches(id, channel, analyzer)) continue;
    out = id;
    return true;
  }
  return false;
}

namespace {

// Why `directory` can't hold a measurement; empty when it may. The library
// opens a tree on a file or an empty directory, and fails later in its own words.
std::string NoMeasurement(const std::filesystem::path& directory, const Place& place) {
  const std::string path = directory.string();
  const std::u16string wide = StorePath(place.Path);
  if (!place.TreeDisk) {
    // Only the local disk tells why a path is missing or what else it is.
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return path + ": " + std::strerror(errno);
    if (!S_ISDIR(status.st_mode)) return path + ": " + std::strerror(ENOTDIR);
  } else if (!place.Files->FileExists(wide)) {
    return path + ": " + std::strerror(ENOENT);
  }
  std::vector<std::string> files;
  if (!ListNames(*place.Files, place.Path, nullptr, &files))
    return path + ": " + (place.TreeDisk ? std::strerror(ENOTDIR) : "can't be listed");
  for (const std::string& file : files) {
    std::string baseName;
    if (zsff::names::ParseMeasurementFileName(file, baseName)) return std::string();
  }
  return path + ": no measurement file (*.zsfh) in it";
}

}  // namespace

std::unique_ptr<zsff::CRecordSignalTree> OpenForReading(const std::filesystem::path& directory,
                                                        std::string& error) {
  std::unique_ptr<zsff::CRecordSignalTree> tree =
      OpenMeasurementTree(directory, zsff::CRecordSignalTree::TreeOpenRead, error);
  // A measurement file that doesn't load lists no record: say why, instead of
  // what each command finds missing then.
  std::vector<zsff::MetaDataRecord> records;
  if (tree && !tree->GetRecordsVect(records)) {
    error = directory.string() + ": the measurement file doesn't load: " +
            Reason(0, zsff::CRecordSignalTree::LastErrorString());
    zsff::CRecordSignalTree::CloseSignalTree(tree);
  }
  return tree;
}

std::unique_ptr<zsff::CRecordSignalTree> OpenMeasurementTree(
    const std::filesystem::path& directory, zsff::CRecordSignalTree::TreeOpenMode_t mode,
    std::string& error) {
  Place place;
  if (!FindPlace(directory, place, error)) return nullptr;
  std::u16string parent, name;
  if (!ToWideParentAndName(place.Path, parent, name, error)) return nullptr;
  error = NoMeasurement(directory, place);
  if (!error.empty()) return nullptr;
  const std::shared_ptr<zsff::CAbstractFileAccess> noRemoteStore;
  std::unique_ptr<zsff::CRecordSignalTree> tree = zsff::CRecordSignalTree::OpenSignalTree(
      parent, name, mode, noRemoteStore, false, u"", false, place.TreeDisk);
  if (!tree) {
    error = directory.string() + ": the measurement can't be opened: " +
            Reason(0, zsff::CRecordSignalTree::LastErrorString());
  }
  return tree;
}

bool PickFirstRecordChannel(zsff::CRecordSignalTree& tree, long long channel, long long analyzer,
                            zsff::CChannelID& out) {
  int handle = tree.OpenRecord(zsff::CRecordId(1ULL), zsff::CRecordSignalTree::TreeOpenRead, 0);
  if (handle == 0) return false;
  const bool found = PickChannel(tree.rRecord(handle), channel, analyzer, out);
  tree.CloseRecord(handle, false);
  return found;
}

}  // namespace zsff_tools
