// The record and the channel a command's --record and --channel name: a record by
// its position in the measurement's list from 1, a channel by its number.
#pragma once

#include <zsff/AbstractRecordSection.h>
#include <zsff/MetaDataRecord.h>
#include <zsff/RecordSignalTree.h>

#include <filesystem>
#include <string>

namespace zsff_tools {

// The `position`-th entry of the list; false with `error` set when there is none.
bool ChooseRecord(zsff::CRecordSignalTree& tree, const std::filesystem::path& directory,
                  long long position, zsff::MetaDataRecord& entry, std::string& error);

// The channel of `section` with the number `number`; false with `error` set when
// there is none.
bool ChooseChannel(zsff::CAbstractRecordSection& section, long long number, zsff::CChannelID& id,
                   std::string& error);

}  // namespace zsff_tools
