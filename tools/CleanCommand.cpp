// zsff clean: a measurement back to an empty record 1 with its channels, to
// record again in the same place.
#include <cstdio>
#include <filesystem>
#include <vector>

#include "Arguments.h"
#include "Commands.h"
#include "Confirm.h"
#include "EditMeasurement.h"
#include "Format.h"
#include "OpenTree.h"
#include "Verbosity.h"

namespace fs = std::filesystem;

namespace zsff_tools {

int RunClean(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("clean");
  Arguments arguments;
  int code = ExitOk;
  if (!ParseDirectoryArguments(command, args, {{"yes", false}}, arguments, code)) return code;
  std::string error;
  const fs::path directory = MeasurementDirectory(arguments.Positional()[0]);
  std::unique_ptr<zsff::CRecordSignalTree> tree = OpenForEditing(directory, error);
  if (!tree) return Fail(error);
  std::vector<zsff::MetaDataRecord> records;
  tree->GetRecordsVect(records);
  if (!ConfirmRemoval(Printf("empty %s: delete %zu of its %zu records and every sample of record 1, "
                             "keeping its channels",
                             directory.string().c_str(), records.empty() ? 0 : records.size() - 1,
                             records.size()),
                      arguments.Has("yes"), error))
    return Fail(error);
  if (!tree->CleanRecord())
    return Fail(directory.string() + " can't be cleaned: " +
                Reason(0, zsff::CRecordSignalTree::LastErrorString()));
  if (Chatty()) std::printf("cleaned %s\n", directory.string().c_str());
  return ExitOk;
}

}  // namespace zsff_tools
