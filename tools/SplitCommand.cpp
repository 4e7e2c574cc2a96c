// zsff split: one record becomes two sections at a part boundary. Nothing is
// removed: the samples stay where they are, and the list names both sections.
#include <cstdio>
#include <filesystem>

#include "Arguments.h"
#include "Commands.h"
#include "EditMeasurement.h"
#include "Format.h"
#include "OpenTree.h"
#include "RecordChoice.h"
#include "Verbosity.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

int RunSplit(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("split");
  Arguments arguments;
  int code = ExitOk;
  if (!ParseDirectoryArguments(command, args, {{"record", true}, {"parts", true}}, arguments, code))
    return code;
  std::string error;
  long long position = 0, parts = 0;
  if (!arguments.Has("record") || !arguments.Has("parts"))
    return UsageError(command, "where? --record N and --parts K are needed");
  if (!arguments.GetInteger("record", 1, 65535, position, error) ||
      !arguments.GetInteger("parts", 1, 65535, parts, error))
    return UsageError(command, error);

  const fs::path directory = MeasurementDirectory(arguments.Positional()[0]);
  std::unique_ptr<zsff::CRecordSignalTree> tree = OpenForEditing(directory, error);
  if (!tree) return Fail(error);
  zsff::MetaDataRecord entry;
  if (!ChooseRecord(*tree, directory, position, entry, error)) return Fail(error);
  int handle = tree->OpenRecord(zsff::CRecordId(entry.RecordId()),
                                zsff::CRecordSignalTree::TreeOpenDefault, 0);
  if (handle == 0)
    return Fail(directory.string() + ": record " + std::to_string(position) +
                " doesn't open: " + Reason(0, zsff::CRecordSignalTree::LastErrorString()));
  const auto ids = tree->wRecord(handle).Split(static_cast<unsigned short>(parts));
  tree->CloseRecord(handle, false);

  const zsff::CRecordId first(entry.RecordId());
  if (ids.first == ids.second) {
    return Fail(Printf("record %lld of %s can't be split: %s", position, directory.string().c_str(),
                       ids.first.RecordId() == 0
                           ? "the cut falls outside its parts, or in a ring being recorded"
                           : "the measurement's list can't be changed"));
  }
  if (Chatty())
    std::printf("split record %lld of %s into sections from part %u and from part %u\n", position,
                directory.string().c_str(), ids.first.PartNumber(), ids.second.PartNumber());
  return ExitOk;
}

}  // namespace zsff_tools
