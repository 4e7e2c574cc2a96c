#include "OpenTree.h"

#include <zsff/FileAccess.h>
#include <zsff/TextConversion.h>

#include <vector>

namespace zsff_tools {

std::filesystem::path MeasurementDirectory(const std::string& argument) {
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

std::string TreeError(const char* fallback) {
  const std::string text = zsff::WideToUtf8(zsff::CRecordSignalTree::LastErrorString());
  return text.empty() ? fallback : text;
}

std::unique_ptr<zsff::CRecordSignalTree> OpenForReading(const std::filesystem::path& directory) {
  const std::shared_ptr<zsff::CAbstractFileAccess> noRemoteStore;
  return zsff::CRecordSignalTree::OpenSignalTree(zsff::Utf8ToWide(directory.parent_path().string()),
                                                 zsff::Utf8ToWide(directory.filename().string()),
                                                 zsff::CRecordSignalTree::TreeOpenRead,
                                                 noRemoteStore, false, u"", false);
}

}  // namespace zsff_tools
