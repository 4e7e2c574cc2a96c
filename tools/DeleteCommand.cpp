// zsff delete: a whole measurement, or one record of it, once the user agrees.
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
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

int RunDelete(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("delete");
  Arguments arguments;
  int code = ExitOk;
  if (!ParseDirectoryArguments(command, args, {{"record", true}, {"yes", false}}, arguments, code))
    return code;
  std::string error;
  long long position = 0;
  if (!arguments.GetInteger("record", 1, 65535, position, error))
    return UsageError(command, error);

  const fs::path directory = MeasurementDirectory(arguments.Positional()[0]);
  std::unique_ptr<zsff::CRecordSignalTree> tree = OpenForEditing(directory, error);
  if (!tree) return Fail(error);
  const std::string failed = directory.string() + " can't be deleted: ";

  if (position == 0) {
    std::vector<zsff::MetaDataRecord> records;
    tree->GetRecordsVect(records);
    double seconds = 0.0;
    for (const zsff::MetaDataRecord& record : records) seconds += record.Duration();
    if (!ConfirmRemoval(Printf("delete the measurement %s: %zu records, %s",
                               directory.string().c_str(), records.size(),
                               FormatSeconds(seconds, 1).c_str()),
                        arguments.Has("yes"), error))
      return Fail(error);
    if (!tree->DeleteRecords(zsff::CRecordSignalTree::DeleteWithDirectory))
      return Fail(failed + Reason(0, zsff::CRecordSignalTree::LastErrorString()));
    if (Chatty()) std::printf("deleted %s\n", directory.string().c_str());
    return ExitOk;
  }

  zsff::MetaDataRecord entry;
  if (!ChooseRecord(*tree, directory, position, entry, error)) return Fail(error);
  const zsff::CRecordId id(entry.RecordId());
  const std::string name = zsff::WideToUtf8(id.IdToRecordName());
  if (!ConfirmRemoval(Printf("delete record %lld (%s, part %u on, %s) of %s", position,
                             name.c_str(), id.PartNumber(),
                             FormatSeconds(entry.Duration(), 1).c_str(),
                             directory.string().c_str()),
                      arguments.Has("yes"), error))
    return Fail(error);
  if (!tree->DeleteRecord(id, zsff::CRecordSignalTree::DeleteWithMetaData, false))
    return Fail(failed + Reason(0, zsff::CRecordSignalTree::LastErrorString()));
  if (Chatty()) std::printf("deleted record %lld of %s\n", position, directory.string().c_str());
  return ExitOk;
}

}  // namespace zsff_tools
