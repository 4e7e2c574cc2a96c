// What a record directory tells without opening its channels: the channel
// directories it holds, the channels' ids and names, and the analyzers that
// recorded them.
//
// Internal: the section makes one for each listing and fills its map of channel
// directories through it, once, when first asked. The contracts are stated in
// RecordSection.h under the same names.
#pragma once

#include <zsff/AnalyzerInfo.h>
#include <zsff/ChannelId.h>

#include <map>
#include <string>
#include <vector>

namespace zsff {

class CAbstractFileAccess;
class MetaDataContainer;
class CRecordSection;
struct TAG_PATH_NAME;

class CSectionListing {
 public:
  explicit CSectionListing(const CRecordSection& section) : m_Section(section) {}

  bool ListChannelsID(std::vector<CChannelID>& ids) const;
  bool ListChannelsName(std::vector<std::u16string>& names) const;
  bool ListAnalyzerInfo(std::map<unsigned short, CAnalyzerInfo>& analyzers) const;
  static bool FillChannelPathNameMap(const std::u16string& recordPath,
                                     std::map<CChannelID, TAG_PATH_NAME>& channels,
                                     CAbstractFileAccess* access);

 private:
  // The section's channel directories, listed on the first call.
  const std::map<CChannelID, TAG_PATH_NAME>& ChannelDirectories() const;
  // The ".zrm" of the channel `id` in `place`; false, with `failure` and the
  // reader's words as the section's last error, when it doesn't load.
  bool LoadChannelMetaData(const CChannelID& id, const TAG_PATH_NAME& place,
                           MetaDataContainer& metaData, const char16_t* failure) const;

  const CRecordSection& m_Section;
};

}  // namespace zsff
