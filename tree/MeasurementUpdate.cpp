// Changes to the measurement's metadata file (see MeasurementUpdate.h).
#include "tree/MeasurementUpdate.h"

#include <zsff/ChannelMetaData.h>
#include <zsff/DateTime.h>
#include <zsff/MeasurementMetaData.h>

#include <algorithm>
#include <mutex>

#include "foundation/Diagnostics.h"
#include "foundation/TextConversion.h"
#include "tree/MeasurementFile.h"
#include "tree/RecordKeys.h"
#include "tree/TreeRecords.h"

namespace zsff {

namespace {

// A measurement that doesn't say its front-end rate was recorded at this one.
constexpr float kDefaultFrontEndRate = 25600.0f;
constexpr double kSecondsPerTick = 0.0000001;

}  // namespace

bool CMeasurementUpdate::Apply(const MetaDataFileLock* lock,
                               CRecordSignalTree::UpdateMetaDataMeasurementMode mode,
                               const CRecordSignalTree::CChangeActionParam_t* param) {
  if (!lock) return false;
  if (m_Tree.m_RemoteFileAccess && !m_Tree.m_RemoteMirror) {
    // No metadata file is kept by a tree that only reaches the store.
    if (mode == CRecordSignalTree::UMFinishCurrentRecord && param)
      m_Tree.m_RecordLength += param->Duration;
    return true;
  }

  MetaDataContainer metaData;
  // A missing file starts from an empty container; one that is there but didn't
  // read would be saved over with the records it holds left out.
  if (!m_Tree.LoadMetaDataMeasurement(metaData) &&
      m_Tree.m_MeasurementFile->Exists(CRecordSignalTree::SearchLocalThenRemote))
    return false;
  MetaDataMeasurementReader reader(metaData);
  CMetaDataMeasurementWriter writer(metaData);
  float frontEndRate = kDefaultFrontEndRate;
  reader.SamplingFrontEnd(frontEndRate);

  SYSTEMTIME start{};
  writer.DateAndTime(WideToAnsi(FileTimeToString(m_Tree.m_RecordStartDate)));
  writer.DateDayOfWeek(FileTimeToSystemTime(m_Tree.m_RecordStartDate, start) ? start.wDayOfWeek
                                                                             : 0);
  writer.Duration(m_Tree.m_RecordLength);
  writer.FilesSize(m_FilesSize >> 10);

  if (param) {
    if (param->TimeToStop > 0) writer.Mode("Time to stop");
    const unsigned long long id =
        CRecordId(m_Tree.m_RecordBase.RecordBase(), param->RecordNumber).RecordId() |
        param->FirstPart;

    switch (mode) {
      case CRecordSignalTree::UMCreateNewRecord:
        if (!writer.AddRecord(id, param->LastPart, param->AbsDate, param->Duration, true,
                              param->PartLength, 0)) {
          ReportDiagnostic(
              DiagnosticError,
              "CRecordSignalTree::UpdateMetaDataMeasurement(UMCreateNewRecord) AddRecord of "
              "record%llu failed",
              id);
          return false;
        }
        break;

      case CRecordSignalTree::UMRemoveRecord:
        if (!writer.RemoveRecord(id)) return false;
        break;

      case CRecordSignalTree::UMUpdatePartLength: {
        const std::vector<MetaDataRecord> records = reader.GetRecordsVect();
        if (!records.empty()) {
          const MetaDataRecord& last = records.back();
          if (!writer.UpdateRecord(last.RecordId(), last.LastPartNumber(), last.AbsDate(),
                                   last.Duration(), last.Recording(), param->PartLength,
                                   last.OffsetTimeToStop()))
            return false;
        }
        break;
      }

      case CRecordSignalTree::UMFinishCurrentRecord: {
        bool save = true;
        if (!FinishCurrentRecord(lock, metaData, *param, frontEndRate, save)) return false;
        if (!save) return true;
        break;
      }

      default:
        break;
    }
  }
  return m_Tree.SaveMetaDataMeasurement(lock, metaData, false);
}

bool CMeasurementUpdate::FinishCurrentRecord(const MetaDataFileLock* lock,
                                             MetaDataContainer& metaData,
                                             const CRecordSignalTree::CChangeActionParam_t& param,
                                             float frontEndRate, bool& save) {
  MetaDataMeasurementReader reader(metaData);
  CMetaDataMeasurementWriter writer(metaData);
  std::vector<MetaDataRecord> records = reader.GetRecordsVect();
  if (records.empty()) {
    ReportDiagnostic(
        DiagnosticError,
        "CRecordSignalTree::UpdateMetaDataMeasurement(UMFinishCurrentRecord) records list is "
        "empty");
    return false;
  }
  MetaDataRecord last = records.back();
  if (!last.Recording()) {
    // Another stop got here first; only the tree's total learns of this one.
    ReportDiagnostic(
        DiagnosticWarning,
        "CRecordSignalTree::UpdateMetaDataMeasurement(UMFinishCurrentRecord) last record is "
        "already stopped, duration = %f s",
        last.Duration());
    m_Tree.m_RecordLength += last.Duration();
    save = false;
    return true;
  }

  const double timeToStop = param.TimeToStop;
  const double duration = param.Duration;
  const unsigned short firstPart = CRecordId(last.RecordId()).PartNumber();
  // The duration counts from the record's start, but a ring has dropped its first
  // parts; with a stop time the duration is already the kept length.
  double kept = timeToStop == 0 ? duration - firstPart * param.PartLength : duration;
  long long offset = 0;
  if (timeToStop != 0) {
    kept = std::min(kept, timeToStop);
    // Front-end samples written beyond the stop time, in whole blocks: where the
    // window begins in the first part kept.
    if (duration > timeToStop)
      offset = static_cast<long long>((duration - timeToStop) * frontEndRate);
    if (param.BlockSize != 0) offset -= offset % param.BlockSize;
    const long long partSamples = static_cast<long long>(frontEndRate * param.PartLength);
    // The ring keeps up to a part more than its bound: a stop on a part's end
    // leaves the window a whole part into the first part kept.
    if (partSamples > 0 && offset > partSamples) offset = (offset - 1) % partSamples + 1;

    if (firstPart != param.FirstPart) {
      // The ring wrapped: the entry moves to the first part still on disk.
      CRecordId moved(last.RecordId());
      moved.SetPartNumber(param.FirstPart);
      writer.RemoveRecord(last.RecordId());
      writer.AddRecord(moved.RecordId(), param.LastPart, 0, kept, true, param.PartLength, offset);
      records = reader.GetRecordsVect();
      last = records.back();
    }
  }

  if (!writer.UpdateRecord(last.RecordId(), param.LastPart, 0, kept, false, param.PartLength,
                           offset)) {
    ReportDiagnostic(
        DiagnosticError,
        "CRecordSignalTree::UpdateMetaDataMeasurement(UMFinishCurrentRecord) UpdateRecord of last "
        "record%llu failed",
        last.RecordId());
    return false;
  }
  if (param.AbsDate == 0) return true;

  // Date every section of the record from the start date and its place in the record.
  records = reader.GetRecordsVect();
  const unsigned long long newest = records.back().RecordId();
  double finished = 0.0;
  for (auto entry = records.rbegin();
       entry != records.rend() && tree::SameRecord(CRecordId(entry->RecordId()), CRecordId(newest));
       ++entry) {
    const unsigned short part = CRecordId(entry->RecordId()).PartNumber();
    const double fromStart =
        static_cast<double>(static_cast<float>(entry->OffsetTimeToStop()) / frontEndRate) +
        part * param.PartLength;
    const long long date = param.AbsDate + static_cast<long long>(fromStart / kSecondsPerTick);
    if (!writer.UpdateRecord(entry->RecordId(), entry->LastPartNumber(), date, entry->Duration(),
                             false, param.PartLength, entry->OffsetTimeToStop())) {
      ReportDiagnostic(
          DiagnosticError,
          "CRecordSignalTree::UpdateMetaDataMeasurement(UMFinishCurrentRecord) UpdateRecord of "
          "record%llu failed",
          entry->RecordId());
      return false;
    }
    finished += entry->Duration();
  }
  m_Tree.m_RecordLength += finished;
  if (timeToStop != 0) m_Tree.m_RecordLength = std::min(m_Tree.m_RecordLength, timeToStop);
  writer.Duration(m_Tree.m_RecordLength);

  if (CRecordId(records.front().RecordId()).PartNumber() == 0 || timeToStop != 0) return true;

  // The ring erased the beginning of the measurement: the channels' dates move
  // on by the parts dropped.
  const double dropped = CRecordId(records.front().RecordId()).PartNumber() * param.PartLength;
  CAbstractRecordSection& section = m_Tree.m_Records->LastSection();
  std::vector<CChannelID> channels;
  if (!section.ListChannelsID(channels)) return true;
  for (const CChannelID& channel : channels) {
    MetaDataContainer channelData;
    TAG_RECORD_INFO recordInfo;
    if (!section.ReadChannelMetaData(channel, channelData, recordInfo, false)) {
      ReportDiagnostic(
          DiagnosticError,
          "CRecordSignalTree::UpdateMetaDataMeasurement(UMFinishCurrentRecord) unable to read "
          "channel metadata");
      return false;
    }
    CMetaDataChannelReader channelReader(channelData);
    CMetaDataChannelWriter channelWriter(channelData);
    float rate = 0.0f;
    channelReader.SamplingRate(rate);
    const long long shift = static_cast<long long>(rate * dropped) << 16;
    channelWriter.RecordLength(finished);
    long long relativeDate = 0;
    channelReader.RelativeDate(relativeDate);
    channelWriter.RelativeDate(relativeDate + shift);
    // The end moves by twice the shift; readers of these files expect it.
    channelWriter.RelativeDateEnd(relativeDate + 2 * shift);
    long long startDate = 0;
    channelReader.StartOfRecord(startDate);
    channelWriter.StartDate(startDate + static_cast<long long>(dropped / kSecondsPerTick));
    if (!section.UpdateChannelMetaData(lock, channel, channelData)) {
      ReportDiagnostic(
          DiagnosticError,
          "CRecordSignalTree::UpdateMetaDataMeasurement(UMFinishCurrentRecord) unable to update "
          "channel metadata");
      return false;
    }
  }
  return true;
}

bool CMeasurementUpdate::UpdateProjectAndMesureMetadata(const std::u16string& projectName,
                                                        const std::u16string& measurementName) {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  std::unique_ptr<MetaDataFileLock> lock = m_Tree.CreateMetaDataLock(MetaDataFileLock::LockWait);
  if (!lock || m_Tree.IsUsed()) return false;
  MetaDataContainer metaData;
  if (!m_Tree.LoadMetaDataMeasurement(metaData)) return false;
  CMetaDataMeasurementWriter writer(metaData);
  writer.ProjectName(projectName);
  writer.MeasurementName(measurementName);
  return m_Tree.SaveMetaDataMeasurement(lock.get(), metaData, true);
}

bool CMeasurementUpdate::AddPropertiesToMetaDataMeasurement(
    const std::vector<CPropertyValue>& properties) {
  // The file lock first and m_cs inside: LockWait gives up in bounded time, so the
  // reverse order of ChangeState can't hold this forever.
  std::unique_ptr<MetaDataFileLock> lock = m_Tree.CreateMetaDataLock(MetaDataFileLock::LockWait);
  if (!lock) return false;
  MetaDataContainer metaData;
  if (!m_Tree.LoadMetaDataMeasurement(metaData)) return false;
  CMetaDataMeasurementWriter(metaData).AddProperties(properties);
  return m_Tree.SaveMetaDataMeasurement(lock.get(), metaData, true);
}

}  // namespace zsff
