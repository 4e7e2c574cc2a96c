#include "EditMeasurement.h"

#include <zsff/MeasurementMetaData.h>

#include <vector>

#include "Commands.h"
#include "OpenTree.h"
#include "Place.h"
#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

namespace {

// The subdirectories of `directory` whose names `accept` takes, in no order.
template <typename Accept>
std::vector<fs::path> Subdirectories(const fs::path& directory, Accept accept) {
  std::vector<fs::path> found;
  std::vector<std::string> names;
  ListNames(directory, &names, nullptr);
  for (const std::string& name : names)
    if (accept(zsff::Utf8ToWide(name))) found.push_back(directory / name);
  return found;
}

// Why a tree that asked for the editing mark didn't get it.
std::string NotEditing(zsff::CRecordSignalTree& tree, const fs::path& directory) {
  const std::u16string libraryText = zsff::CRecordSignalTree::LastErrorString();
  zsff::MetaDataContainer metaData;
  bool editing = false;
  if (tree.LoadMetaDataMeasurement(metaData) &&
      zsff::MetaDataMeasurementReader(metaData).Editing(editing) && editing) {
    const fs::path file =
        directory / zsff::WideToUtf8(zsff::names::MeasurementFileName(tree.RecordNameBase()));
    return directory.string() + ": being edited elsewhere (the mark \"Editing\" in " +
           file.string() + "), or left so by a program that was killed while editing; " +
           UnlockHint(directory);
  }
  return directory.string() + ": the editing mark can't be set: " + Reason(0, libraryText);
}

}  // namespace

std::string RecordingFile(const fs::path& directory) {
  for (const fs::path& record : Subdirectories(directory, zsff::names::IsRecordDirectoryName)) {
    for (const fs::path& channel : Subdirectories(record, zsff::names::IsChannelDirectoryName)) {
      const fs::path file = channel / zsff::names::TmpRecordFileName();
      if (PathExists(file)) return file.string();
    }
  }
  return std::string();
}

std::string UnlockHint(const fs::path& directory) {
  return "if no program is at work on it, clear that with: zsff unlock " + directory.string();
}

std::unique_ptr<zsff::CRecordSignalTree> OpenForEditing(const fs::path& directory,
                                                        std::string& error) {
  // Looked at before the mark is taken, so that a recording never sees it.
  const std::string recording = RecordingFile(directory);
  if (!recording.empty()) {
    error = directory.string() + ": being recorded (" + recording +
            " is there), or left unfinished by a recorder that was killed; if no recorder is at"
            " work, repair it with: zsff endup " +
            directory.string();
    return nullptr;
  }
  std::unique_ptr<zsff::CRecordSignalTree> tree =
      OpenMeasurementTree(directory, zsff::CRecordSignalTree::TreeOpenEdit, error);
  if (!tree) return nullptr;
  if (!tree->StartEditing()) {
    zsff::CRecordSignalTree::LastErrorString();
    error = directory.string() + ": locked by " +
            (directory / zsff::WideToUtf8(zsff::names::LockFileName())).string() +
            ", which its holder didn't give back within the lock's wait; " + UnlockHint(directory);
    return nullptr;
  }
  if (!tree->IsEditing()) {
    error = NotEditing(*tree, directory);
    return nullptr;
  }
  return tree;
}

}  // namespace zsff_tools
