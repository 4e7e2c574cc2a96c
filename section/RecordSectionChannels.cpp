// What a section tells about its open channels without reading samples: their
// ids, their metadata, and the lengths.
#include <zsff/MetaDataContainer.h>
#include <zsff/RecordSection.h>

#include "section/Channel.h"

namespace zsff {

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

}  // namespace zsff
