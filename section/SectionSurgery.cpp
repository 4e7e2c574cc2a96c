// Cutting a record after it was made (see SectionSurgery.h).
#include "section/SectionSurgery.h"

#include <zsff/ChannelMetaData.h>
#include <zsff/FileAccess.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileReader.h>
#include <zsff/MetaDataRecord.h>
#include <zsff/RecordSection.h>

#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"
#include "metadata/MetaDataKeys.h"
#include "section/Channel.h"
#include "section/RecordSectionOwner.h"

namespace zsff {

std::pair<CRecordId, CRecordId> CSectionSurgery::Split(unsigned short partCount) {
  const std::pair<CRecordId, CRecordId> refused{m_Section.m_RecordId, m_Section.m_RecordId};
  const std::pair<CRecordId, CRecordId> outside{CRecordId(0ULL), CRecordId(0ULL)};
  if (m_Section.m_Owner == nullptr || !m_Section.m_Owner->IsEditing() || partCount == 0)
    return refused;
  std::unique_ptr<MetaDataFileLock> lock =
      m_Section.m_Owner->CreateMetaDataLock(MetaDataFileLock::LockWait);
  std::vector<MetaDataRecord> records;
  if (!lock || !m_Section.m_Owner->GetRecordsVect(records) || records.empty()) return refused;

  // Without an entry the section's own length stands for it.
  MetaDataRecord entry;
  bool listed = false;
  for (const MetaDataRecord& record : records) {
    if (CRecordId(record.RecordId()) == m_Section.m_RecordId) {
      entry = record;
      listed = true;
      break;
    }
  }
  const double duration = listed ? entry.Duration() : m_Section.SignalLength(CChannelID(), false);

  const CChannel* first = m_Section.FirstChannel();
  if (first == nullptr) return outside;
  for (const auto& channel : m_Section.m_Channels) {
    // A ring being recorded drops parts under the cut.
    if (channel.second && channel.second->MaxRecordSamples() != 0 && entry.Recording())
      return outside;
  }
  const unsigned short split =
      static_cast<unsigned short>(m_Section.m_RecordId.PartNumber() + partCount);
  if (split == first->FirstPart() || !first->m_SignalParts.Holds(split)) return outside;
  // The first section's length leaves out the samples that a stop time cut from
  // its first part; the second holds the rest.
  const double head = partCount * first->PartLength();
  const double kept = head - static_cast<double>(first->m_SignalParts.OffsetTimeToStop) /
                                 static_cast<double>(first->SamplingRate());

  CRecordId second(m_Section.m_RecordId);
  second.SetPartNumber(split);
  const std::vector<MetaDataRecord> halves{
      MetaDataRecord(m_Section.m_RecordId.RecordId(), static_cast<short>(split - 1),
                     entry.AbsDate(), entry.RelDate(), kept, false, entry.PartLength(),
                     entry.OffsetTimeToStop()),
      MetaDataRecord(second.RecordId(), static_cast<short>(first->LastPart()),
                     entry.AbsDate() + static_cast<long long>(head / 1e-7), entry.RelDate() + kept,
                     duration - kept, entry.Recording(), entry.PartLength(), 0)};
  if (!m_Section.m_Owner->UpdateRecordsVect(lock.get(), {m_Section.m_RecordId}, halves))
    return refused;

  // This object goes on as the second section.
  const std::pair<CRecordId, CRecordId> ids{m_Section.m_RecordId, second};
  for (const auto& channel : m_Section.m_Channels) {
    if (!channel.second) continue;
    CChannel& cut = *channel.second;
    cut.m_Layout.RecordId.SetPartNumber(split);
    cut.m_SignalParts.FirstPart = split;
    cut.m_PyramidParts.FirstPart = split;
  }
  m_Section.m_RecordId = second;
  return ids;
}

bool CSectionSurgery::EraseParts(const CChannelID& id, unsigned short firstPart,
                                 unsigned short lastPart) {
  if (m_Section.m_Owner == nullptr || !m_Section.m_Owner->IsEditing()) return false;
  std::unique_ptr<MetaDataFileLock> lock =
      m_Section.m_Owner->CreateMetaDataLock(MetaDataFileLock::LockWait);
  if (!lock) {
    m_Section.m_LastError = u"CRecordSection::EraseParts cannot create MetaDataLock";
    return false;
  }
  CChannel* channel = m_Section.FindChannel(id);
  if (channel == nullptr) {
    m_Section.m_LastError = u"CRecordSection::EraseParts invalid channel";
    return false;
  }
  CRecordId measurement(m_Section.m_RecordId);
  measurement.SetRecordNumber(0);
  if (channel->MaxRecordSamples() != 0 && m_Section.m_Owner->IsRecording(measurement)) return false;
  const unsigned short base = m_Section.m_RecordId.PartNumber();
  if (!channel->ErasePartRange(lock.get(), static_cast<unsigned short>(base + firstPart),
                               static_cast<unsigned short>(base + lastPart))) {
    m_Section.m_LastError =
        u"CRecordSection::EraseParts unable to mark parts: " + channel->LastErrorString();
    return false;
  }
  return true;
}

bool CSectionSurgery::ErasePartsOfAllChannels(const MetaDataFileLock* lock, unsigned short first,
                                              unsigned short last) {
  for (const auto& entry : m_Section.m_Channels) {
    if (!entry.second) continue;
    CChannel& channel = *entry.second;
    if (!channel.ErasePartRange(lock, first, last)) {
      m_Section.m_LastError = channel.LastErrorString();
      return false;
    }
  }
  return true;
}

bool CSectionSurgery::RemoveRecordSection(const MetaDataFileLock* lock,
                                          const std::u16string& measurementPath,
                                          const CRecordId& id, unsigned short lastPart,
                                          CAbstractFileAccess* access, std::u16string& error) {
  CRecordSection section(static_cast<CRecordSectionOwner*>(nullptr), measurementPath, id, lastPart,
                         CRecordSection::OpenRead, false, 0.0, 0, access, 0);
  if (!CSectionSurgery(section).ErasePartsOfAllChannels(lock, id.PartNumber(), lastPart)) {
    error = section.m_LastError;
    return false;
  }
  return true;
}

bool CSectionSurgery::CleanRecord() {
  if (m_Section.m_FileAccess == nullptr ||
      !m_Section.m_FileAccess->FileExists(m_Section.m_RecordPath)) {
    m_Section.m_LastError = u"CRecordSection::CleanRecord invalid record source";
    return false;
  }
  if (m_Section.m_State != CRecordSection::SectionCreated || m_Section.m_Channels.empty()) {
    m_Section.m_LastError = u"CRecordSection::CleanRecord invalid state";
    return false;
  }
  const CRecordSection::SingleRecordState_t oldState = m_Section.m_State;

  for (const auto& entry : m_Section.m_Channels) {
    if (!entry.second) continue;
    CChannel& channel = *entry.second;
    MetaDataContainer metaData;
    TAG_RECORD_INFO info;
    if (!channel.ReadChannelMetaData(metaData, info, true, 0)) {
      m_Section.m_LastError = channel.LastErrorString();
      return false;
    }
    WriteKey(metaData, ChannelKeys::RecordDuration, 0.0);
    WriteKey(metaData, ChannelKeys::SignalTimeStep, 0L);
    WriteKey(metaData, ChannelKeys::RecordNumber, 0L);
    WriteKey(metaData, ChannelKeys::RecordRelativeDate, 0LL);
    WriteKey(metaData, ChannelKeys::RecordStartDate, 0LL);
    channel.UpdateChannelMetaData(metaData);
  }

  m_Section.DeleteFileAccess();
  if (!CRecordSection::FillChannelPathNameMap(m_Section.m_RecordPath, m_Section.m_ChannelPathMap,
                                              m_Section.m_FileAccess)) {
    m_Section.m_LastError = u"CRecordSection::CleanRecord() Error: channel list is empty!!!";
    m_Section.m_State = oldState;
    return false;
  }

  const std::u16string separator = m_Section.m_FileAccess->PathSeparatorW();
  for (const auto& entry : m_Section.m_ChannelPathMap) {
    const TAG_PATH_NAME& place = entry.second;
    m_Section.m_FileAccess->SelectAnalyzer(entry.first.AnalyzerIndex());
    std::vector<std::u16string> directories, files;
    m_Section.m_FileAccess->ListDirectory(place.Path, directories, files, u"*");
    // The channel keeps its metadata and nothing else: the temporary record
    // file would make the empty record look as if it were recording.
    for (const std::u16string& file : files) {
      const std::string name = WideToUtf8(names::LastPathComponent(file, separator));
      if (names::ChannelFileType(name) != names::ChannelFileMetaData)
        m_Section.m_FileAccess->DeleteFile(file);
    }

    MetaDataContainer metaData;
    CMetaDataHeaderFileReader reader(nullptr, m_Section.m_FileAccess);
    if (!reader.Load(metaData, place.Name, place.Path)) {
      m_Section.m_LastError = u"CRecordSection::CleanRecord() Error: " + reader.LastError();
      m_Section.m_State = oldState;
      return false;
    }
    if (!m_Section.AddChannel(entry.first, metaData)) {
      m_Section.m_LastError =
          u"CRecordSection::CleanRecord AddChannel error: " + m_Section.m_LastError;
      m_Section.m_State = CRecordSection::SectionCreated;
      return false;
    }
  }
  return true;
}

void CSectionSurgery::SkipFirstPartNumber(bool skip) {
  for (const auto& entry : m_Section.m_Channels) {
    if (entry.second) entry.second->m_SkipFirstPartNumber = skip;
  }
}

}  // namespace zsff
