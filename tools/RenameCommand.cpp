// zsff rename: gives a measurement's directory a new name beside it. The files
// inside keep theirs; the measurement file takes the new name, and with a
// comment the measurement is completed as a host completes it (its ".zff"
// header goes).

#include <cstdio>
#include <filesystem>

#include "Arguments.h"
#include "Commands.h"
#include "EditMeasurement.h"
#include "OpenTree.h"
#include "Place.h"
#include "Verbosity.h"
#include "WidePath.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

int RunRename(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("rename");
  Arguments arguments;
  std::string error;
  if (!arguments.Parse(args, {{"comment", true}}, error)) return UsageError(command, error);
  if (arguments.Positional().size() != 2)
    return UsageError(command, "wants the measurement directory and its new name");
  const std::string& name = arguments.Positional()[1];
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos)
    return UsageError(command, "the new name is a name, not a path: \"" + name + "\"");

  std::u16string wideName;
  if (!ToWidePath(fs::path(name), wideName, error)) return Fail(error);
  const fs::path directory = MeasurementDirectory(arguments.Positional()[0]);
  const fs::path target = directory.parent_path() / name;
  // The library takes an existing directory over as it is; the tool won't.
  if (PathExists(target)) return Fail(target.string() + " exists already");
  std::unique_ptr<zsff::CRecordSignalTree> tree = OpenForEditing(directory, error);
  if (!tree) return Fail(error);
  const bool renamed =
      arguments.Has("comment")
          ? tree->RenameAndComplete(wideName, zsff::Utf8ToWide(arguments.Value("comment")), {})
          : tree->Rename(wideName);
  if (!renamed)
    return Fail(directory.string() + " can't be renamed: " +
                Reason(0, zsff::CRecordSignalTree::LastErrorString()));
  if (Chatty()) std::printf("renamed %s to %s\n", directory.string().c_str(), target.string().c_str());
  return ExitOk;
}

}  // namespace zsff_tools
