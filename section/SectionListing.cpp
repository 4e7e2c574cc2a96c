// What a record directory tells without opening its channels (see SectionListing.h).
#include "section/SectionListing.h"

#include <zsff/ChannelMetaData.h>
#include <zsff/FileAccess.h>
#include <zsff/MeasurementMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileReader.h>
#include <zsff/RecordSection.h>

#include <algorithm>

#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"
#include "section/RecordSectionOwner.h"

namespace zsff {

const std::map<CChannelID, TAG_PATH_NAME>& CSectionListing::ChannelDirectories() const {
  if (m_Section.m_ChannelPathMap.empty())
    FillChannelPathNameMap(m_Section.m_RecordPath, m_Section.m_ChannelPathMap,
                           m_Section.m_FileAccess);
  return m_Section.m_ChannelPathMap;
}

bool CSectionListing::LoadChannelMetaData(const CChannelID& id, const TAG_PATH_NAME& place,
                                          MetaDataContainer& metaData,
                                          const char16_t* failure) const {
  m_Section.m_FileAccess->SelectAnalyzer(id.AnalyzerIndex());
  CMetaDataHeaderFileReader reader(nullptr, m_Section.m_FileAccess);
  if (reader.Load(metaData, place.Name, place.Path)) return true;
  m_Section.m_LastError = failure + reader.LastError();
  return false;
}

bool CSectionListing::ListChannelsID(std::vector<CChannelID>& ids) const {
  // Channels that the tree couldn't remove yet are listed in the measurement's
  // metadata; they are no longer part of the record.
  std::vector<unsigned long long> toRemove;
  MetaDataContainer measurement;
  if (m_Section.m_Owner != nullptr && m_Section.m_Owner->LoadMetaDataMeasurement(measurement)) {
    MetaDataMeasurementReader(measurement).ChannelsToRemove(toRemove);
  }
  ids.clear();
  for (const auto& entry : ChannelDirectories()) {
    if (std::find(toRemove.begin(), toRemove.end(), entry.first.Id()) == toRemove.end()) {
      ids.push_back(entry.first);
    }
  }
  return !ids.empty();
}

bool CSectionListing::ListChannelsName(std::vector<std::u16string>& names) const {
  names.clear();
  for (const auto& entry : ChannelDirectories()) {
    MetaDataContainer metaData;
    if (!LoadChannelMetaData(entry.first, entry.second, metaData,
                             u"CRecordSection::ListChannelsName() Error: "))
      continue;
    std::u16string name;
    if (CMetaDataChannelReader(metaData).Name(name)) names.push_back(name);
  }
  return !names.empty();
}

bool CSectionListing::ListAnalyzerInfo(std::map<unsigned short, CAnalyzerInfo>& analyzers) const {
  analyzers.clear();
  for (const auto& entry : ChannelDirectories()) {
    const unsigned short index = entry.first.AnalyzerIndex();
    const unsigned short number = entry.first.ChannelNumber();
    MetaDataContainer metaData;
    if (!LoadChannelMetaData(entry.first, entry.second, metaData,
                             u"CRecordSection::ListAnalyzerInfo() Error: "))
      continue;
    const CMetaDataChannelReader channel(metaData);
    // A remote store knows the disk behind the analyzer; the local one leaves it to
    // what the recording wrote down.
    std::string diskSerial = m_Section.m_FileAccess->CurrentDiskSerial();
    if (diskSerial.empty()) channel.DeviceDiskSN(diskSerial);
    if (diskSerial.empty()) continue;
    std::string diskName;
    channel.DeviceDiskName(diskName);
    std::u16string deviceSerial;
    channel.DeviceSN(deviceSerial);

    const auto known = analyzers.find(index);
    if (known != analyzers.end()) {
      known->second.AddChannel(number);
    } else {
      analyzers.emplace(index, CAnalyzerInfo(index, number, deviceSerial, AnsiToWide(diskSerial),
                                             AnsiToWide(diskName)));
    }
  }
  return !analyzers.empty();
}

bool CSectionListing::FillChannelPathNameMap(const std::u16string& recordPath,
                                             std::map<CChannelID, TAG_PATH_NAME>& channels,
                                             CAbstractFileAccess* access) {
  channels.clear();
  if (access == nullptr) return false;
  std::vector<std::u16string> directories;
  std::vector<std::u16string> files;
  if (!access->ListDirectory(recordPath, directories, files, u"*")) return false;

  const std::u16string separator = access->PathSeparatorW();
  for (const std::u16string& directory : directories) {
    const std::u16string name = names::LastPathComponent(directory, separator);
    if (!names::IsChannelDirectoryName(name)) continue;
    // Only the directory's own name is parsed: a "Channel_" higher up the path
    // must not be taken for it.
    const CChannelID id = CChannelID::FromFilePath(name);
    channels[id] = TAG_PATH_NAME{directory, id.ToFileName()};
  }
  return true;
}

}  // namespace zsff
