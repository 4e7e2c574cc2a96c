// zsff unlock: clears what a program killed while it changed a measurement left
// behind, the editing mark in the measurement file and a lock file. The lock
// file goes only once the library's own wait for it has run out: a program at
// work holds it for a few milliseconds, never that long.

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include <zsff/MeasurementMetaData.h>

#include "Arguments.h"
#include "Commands.h"
#include "OpenTree.h"
#include "Place.h"
#include "Verbosity.h"
#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

int RunUnlock(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("unlock");
  Arguments arguments;
  int code = ExitOk;
  if (!ParseDirectoryArguments(command, args, {}, arguments, code)) return code;
  std::string error;
  const fs::path directory = MeasurementDirectory(arguments.Positional().front());
  std::unique_ptr<zsff::CRecordSignalTree> tree =
      OpenMeasurementTree(directory, zsff::CRecordSignalTree::TreeOpenEdit, error);
  if (!tree) return Fail(error);

  bool cleared = false;
  const fs::path lockFile = directory / zsff::WideToUtf8(zsff::names::LockFileName());
  if (PathExists(lockFile) && !tree->CreateMetaDataLock(zsff::MetaDataFileLock::LockWait)) {
    errno = 0;
    if (!RemoveFile(lockFile) && PathExists(lockFile))
      return Fail(lockFile.string() + ": can't be removed: " + Reason(errno));
    if (Chatty()) std::printf("removed %s, which no program had given back\n", lockFile.string().c_str());
    cleared = true;
  }

  zsff::MetaDataContainer metaData;
  bool editing = false;
  if (tree->LoadMetaDataMeasurement(metaData) &&
      zsff::MetaDataMeasurementReader(metaData).Editing(editing) && editing) {
    if (!tree->StopEditing())
      return Fail(directory.string() + ": the editing mark can't be cleared: " +
                  Reason(0, zsff::CRecordSignalTree::LastErrorString()));
    if (Chatty()) std::printf("cleared the editing mark of %s\n", directory.string().c_str());
    cleared = true;
  }
  zsff::CRecordSignalTree::LastErrorString();
  if (!cleared && Chatty())
    std::printf("%s: neither locked nor marked as being edited\n", directory.string().c_str());
  return ExitOk;
}

}  // namespace zsff_tools
