// What a section tells about its record without reading samples: the channels
// of its directory, their names and analyzers, their metadata, and the lengths.
#include <zsff/ChannelMetaData.h>
#include <zsff/FileAccess.h>
#include <zsff/MeasurementMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileReader.h>
#include <zsff/RecordSection.h>

#include <algorithm>

#include "foundation/TextConversion.h"
#include "section/Channel.h"
#include "section/RecordSectionOwner.h"

namespace zsff {

bool CRecordSection::ListChannelsID(std::vector<CChannelID>& ids) const {
  // Channels that the tree couldn't remove yet are listed in the measurement's
  // metadata; they are no longer part of the record.
  std::vector<unsigned long long> toRemove;
  MetaDataContainer measurement;
  if (m_Owner != nullptr && m_Owner->LoadMetaDataMeasurement(measurement)) {
    MetaDataMeasurementReader(measurement).ChannelsToRemove(toRemove);
  }
  ids.clear();
  if (m_ChannelPathMap.empty())
    FillChannelPathNameMap(m_RecordPath, m_ChannelPathMap, m_FileAccess);
  for (const auto& entry : m_ChannelPathMap) {
    if (std::find(toRemove.begin(), toRemove.end(), entry.first.Id()) == toRemove.end()) {
      ids.push_back(entry.first);
    }
  }
  return !ids.empty();
}

bool CRecordSection::ListChannelsName(std::vector<std::u16string>& names) const {
  names.clear();
  if (m_ChannelPathMap.empty())
    FillChannelPathNameMap(m_RecordPath, m_ChannelPathMap, m_FileAccess);
  for (const auto& entry : m_ChannelPathMap) {
    m_FileAccess->SelectAnalyzer(entry.first.AnalyzerIndex());
    MetaDataContainer metaData;
    CMetaDataHeaderFileReader reader(nullptr, m_FileAccess);
    if (!reader.Load(metaData, entry.second.Name, entry.second.Path)) {
      m_LastError = u"CRecordSection::ListChannelsName() Error: " + reader.LastError();
      continue;
    }
    std::u16string name;
    if (CMetaDataChannelReader(metaData).Name(name)) names.push_back(name);
  }
  return !names.empty();
}

bool CRecordSection::ListAnalyzerInfo(std::map<unsigned short, CAnalyzerInfo>& analyzers) const {
  analyzers.clear();
  if (m_ChannelPathMap.empty())
    FillChannelPathNameMap(m_RecordPath, m_ChannelPathMap, m_FileAccess);
  for (const auto& entry : m_ChannelPathMap) {
    const unsigned short index = entry.first.AnalyzerIndex();
    const unsigned short number = entry.first.ChannelNumber();
    m_FileAccess->SelectAnalyzer(index);
    MetaDataContainer metaData;
    CMetaDataHeaderFileReader reader(nullptr, m_FileAccess);
    if (!reader.Load(metaData, entry.second.Name, entry.second.Path)) {
      m_LastError = u"CRecordSection::ListAnalyzerInfo() Error: " + reader.LastError();
      continue;
    }
    const CMetaDataChannelReader channel(metaData);
    // A remote store knows the disk behind the analyzer; the local one leaves it to
    // what the recording wrote down.
    std::string diskSerial = m_FileAccess->CurrentDiskSerial();
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

bool CRecordSection::GetChannelID(unsigned long channelNumber, unsigned long analyzerIndex,
                                  unsigned long serialNumber, CChannelID& id) const {
  const CChannelID wanted(static_cast<unsigned short>(channelNumber),
                          static_cast<unsigned short>(analyzerIndex), serialNumber);
  // The map's order ignores the serial, so any serial finds the channel.
  if (m_Channels.find(wanted) == m_Channels.end()) {
    m_LastError = u"CRecordSection::GetChannelID channel not found: " + wanted.ToFileName();
    return false;
  }
  id = wanted;
  return true;
}

bool CRecordSection::IsValidChannel(const CChannelID& id) const {
  return m_Channels.find(id) != m_Channels.end();
}

bool CRecordSection::ReadChannelMetaData(const CChannelID& id, MetaDataContainer& metaData,
                                         TAG_RECORD_INFO& recordInfo, bool mustBeOpen) {
  CChannel* channel = FindChannel(id);
  if (channel == nullptr) return false;
  if (!channel->ReadChannelMetaData(metaData, recordInfo, mustBeOpen, 0)) {
    m_LastError = channel->LastErrorString();
    return false;
  }
  return true;
}

bool CRecordSection::UpdateChannelMetaData(const MetaDataFileLock* lock, const CChannelID& id,
                                           MetaDataContainer& metaData) {
  CChannel* channel = FindChannel(id);
  if (channel == nullptr) {
    m_LastError = u"CRecordSection::UpdateChannelMetaData invalid channel ID";
    return false;
  }
  if (lock == nullptr) return false;
  if (!channel->UpdateChannelMetaData(metaData)) {
    m_LastError = channel->LastErrorString();
    return false;
  }
  return true;
}

// --- Lengths ------------------------------------------------------------------------

double CRecordSection::MaxRecordLength() {
  const CChannel* first = FirstChannel();
  if (first == nullptr) return 0.0;
  return static_cast<double>(static_cast<float>(first->MaxRecordSamples()) / first->SamplingRate());
}

double CRecordSection::PartLength() const {
  const CChannel* first = FirstChannel();
  return first != nullptr ? first->PartLength() : 0.0;
}

bool CRecordSection::RecordLengthAndAbsoluteDate(double& length, long long& absoluteDate) const {
  const CChannel* first = FirstChannel();
  if (m_State != SectionRecording || first == nullptr) {
    length = 0.0;
    absoluteDate = 0;
    return false;
  }
  length = static_cast<double>(first->RecordedSamples()) / first->SamplingRate();
  absoluteDate = first->EndDate();
  return true;
}

unsigned long long CRecordSection::SignalLengthSpl(const CChannelID& id, bool fromPartZero) const {
  CChannel* channel = id.Id() == 0 ? FirstChannel() : FindChannel(id);
  if (channel == nullptr) return 0;
  channel->UpdateSignalLength(true, channel->TmpRecordFile().Exists());
  return channel->SignalLengthSpl(fromPartZero);
}

double CRecordSection::SignalLength(const CChannelID& id, bool fromPartZero) const {
  const CChannel* channel = id.Id() == 0 ? FirstChannel() : FindChannel(id);
  if (channel == nullptr) return 0.0;
  if (channel->m_Duration != 0.0) return channel->m_Duration;
  return static_cast<double>(SignalLengthSpl(id, fromPartZero)) / channel->SamplingRate();
}

unsigned long long CRecordSection::TotalSignalSizeInBytes() const {
  unsigned long long total = 0;
  for (const auto& entry : m_Channels) {
    if (entry.second) total += entry.second->SignalSizeInBytes();
  }
  return total;
}

void CRecordSection::SkipFirstPartNumber(bool skip) {
  for (const auto& entry : m_Channels) {
    if (entry.second) entry.second->m_SkipFirstPartNumber = skip;
  }
}

}  // namespace zsff
