// zsff remove-channel: one channel out of every record of a measurement.
#include <cstdio>
#include <filesystem>
#include <vector>

#include "Arguments.h"
#include "Commands.h"
#include "Confirm.h"
#include "EditMeasurement.h"
#include "Format.h"
#include "OpenTree.h"
#include "RecordChoice.h"
#include "Verbosity.h"

namespace fs = std::filesystem;

namespace zsff_tools {

int RunRemoveChannel(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("remove-channel");
  Arguments arguments;
  int code = ExitOk;
  if (!ParseDirectoryArguments(command, args, {{"channel", true}, {"yes", false}}, arguments, code))
    return code;
  std::string error;
  long long channel = 0;
  if (!arguments.Has("channel")) return UsageError(command, "which? --channel C is needed");
  if (!arguments.GetInteger("channel", 0, 65535, channel, error)) return UsageError(command, error);

  const fs::path directory = MeasurementDirectory(arguments.Positional()[0]);
  std::unique_ptr<zsff::CRecordSignalTree> tree = OpenForEditing(directory, error);
  if (!tree) return Fail(error);
  zsff::MetaDataRecord entry;
  if (!ChooseRecord(*tree, directory, 1, entry, error)) return Fail(error);
  // The channel is found in the first record, which is closed again: a record in
  // use keeps every channel.
  int handle = tree->OpenRecord(zsff::CRecordId(entry.RecordId()),
                                zsff::CRecordSignalTree::TreeOpenRead, 0);
  zsff::CChannelID id;
  const bool found = handle != 0 && ChooseChannel(tree->wRecord(handle), channel, id, error);
  if (handle != 0) tree->CloseRecord(handle, false);
  if (!found) return Fail(directory.string() + ": " + error);

  std::vector<zsff::MetaDataRecord> records;
  tree->GetRecordsVect(records);
  if (!ConfirmRemoval(Printf("remove channel %lld from the %zu records of %s", channel,
                             records.size(), directory.string().c_str()),
                      arguments.Has("yes"), error))
    return Fail(error);
  if (!tree->RemoveChannel(id))
    return Fail(directory.string() + ": channel " + std::to_string(channel) +
                " can't be removed: " + Reason(0, zsff::CRecordSignalTree::LastErrorString()));
  if (Chatty())
    std::printf("removed channel %lld from %s\n", channel, directory.string().c_str());
  return ExitOk;
}

}  // namespace zsff_tools
