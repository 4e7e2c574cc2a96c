#include "RecordChoice.h"

#include <vector>

#include "Commands.h"
#include "foundation/TextConversion.h"

namespace zsff_tools {

bool ChooseRecord(zsff::CRecordSignalTree& tree, const std::filesystem::path& directory,
                  long long position, zsff::MetaDataRecord& entry, std::string& error) {
  std::vector<zsff::MetaDataRecord> records;
  if (!tree.GetRecordsVect(records)) {
    error = directory.string() + ": its records can't be listed: " +
            Reason(0, zsff::CRecordSignalTree::LastErrorString());
    return false;
  }
  if (position < 1 || static_cast<std::size_t>(position) > records.size()) {
    error = directory.string() + " has no record " + std::to_string(position) + " (it has " +
            std::to_string(records.size()) + ")";
    return false;
  }
  entry = records[static_cast<std::size_t>(position - 1)];
  return true;
}

bool ChooseChannel(zsff::CAbstractRecordSection& section, long long number, zsff::CChannelID& id,
                   std::string& error) {
  std::vector<zsff::CChannelID> ids;
  section.ListChannelsID(ids);
  for (const zsff::CChannelID& candidate : ids) {
    if (candidate.ChannelNumber() == number) {
      id = candidate;
      return true;
    }
  }
  error = "no channel " + std::to_string(number) + " in " +
          zsff::WideToUtf8(section.RecordName());
  return false;
}

}  // namespace zsff_tools
