#include "OpenTree.h"

#include <zsff/FileAccess.h>
#include <zsff/TextConversion.h>

namespace zsff_tools {

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
