// The measurement's metadata file (".zsfh"): finding it, reading it, writing it
// locally and to the remote store, and keeping its record list in step with the
// notices of the sections.
#include <zsff/ChannelMetaData.h>
#include <zsff/DateTime.h>
#include <zsff/MeasurementMetaData.h>
#include <zsff/MetaDataFiles.h>
#include <zsff/RecordSignalTree.h>
#include <zsff/TextConversion.h>

#include <algorithm>
#include <exception>
#include <set>

#include "foundation/Diagnostics.h"
#include "foundation/FileNames.h"
#include "tree/TreePaths.h"

namespace zsff {

namespace {

// A measurement that doesn't say its front-end rate was recorded at this one.
constexpr float kDefaultFrontEndRate = 25600.0f;
constexpr double kSecondsPerTick = 0.0000001;

bool SameRecord(unsigned long long a, unsigned long long b) {
  return CRecordId(a).RecordBase() == CRecordId(b).RecordBase() &&
         CRecordId(a).RecordNumber() == CRecordId(b).RecordNumber();
}

// Lists `directory` for `pattern`; true with the one file's last path component
// when there is exactly one.
bool FindSingleFile(CAbstractFileAccess& access, const std::u16string& directory,
                    const std::u16string& pattern, std::u16string& name) {
  std::vector<std::u16string> directories, files;
  if (!access.ListDirectory(directory, directories, files, pattern) || files.size() != 1)
    return false;
  name = tree::LastPathComponent(files.front());
  return true;
}

}  // namespace

std::unique_ptr<MetaDataFileLock> CRecordSignalTree::CreateMetaDataLock(
    MetaDataFileLock::Mode mode) const {
  try {
    // Only a tree whose two directories are one locks on the store; any other
    // keeps off the users of its local directory alone.
    if (m_RemoteFileAccess && m_RemoteMirror && m_FullRecordPath == m_FullRemoteRecordPath)
      return std::make_unique<MetaDataFileLock>(names::LockFileName(), m_FullRemoteRecordPath,
                                                m_RemoteFileAccess, mode);
    return std::make_unique<MetaDataFileLock>(names::LockFileName(), m_FullRecordPath, m_FileAccess,
                                              mode);
  } catch (const std::exception&) {
    return nullptr;
  }
}

bool CRecordSignalTree::MetaDataMeasurementExists(SearchMetaDataMode_t mode) const {
  if (m_RecordBase.RecordBase() == 0) {
    // The base is the name of the one ".zsfh" file; with two there is none to tell.
    std::u16string lookedAt = m_FullRecordPath;
    std::u16string fileName;
    bool found =
        FindSingleFile(*m_FileAccess, m_FullRecordPath, names::MeasurementFilePattern(), fileName);
    if (!found && m_RemoteFileAccess && m_RemoteMirror && !m_FullRemoteRecordPath.empty()) {
      lookedAt = m_FullRemoteRecordPath;
      mode = SearchRemote;
      found = FindSingleFile(*m_RemoteFileAccess, m_FullRemoteRecordPath,
                             names::MeasurementFilePattern(), fileName);
    }
    if (!found) {
      SetLastError(
          u"CRecordSignalTree::MetaDataMeasurementExists() Cannot open directory or directory "
          u"empty: " +
          lookedAt);
      return false;
    }
    m_RecordBase = CRecordId(CRecordId::RecordNameToId(fileName));
  }

  const std::u16string fileName = names::MeasurementFileName(m_RecordBase.IdToRecordNameBase());
  if (mode == SearchLocal || mode == SearchLocalThenRemote) {
    if (m_FileAccess->FileExists(tree::JoinPath(m_FullRecordPath, fileName, *m_FileAccess)))
      return true;
    if (mode == SearchLocal) return false;
  }
  if ((mode == SearchRemote || mode == SearchLocalThenRemote) && m_RemoteFileAccess)
    return m_RemoteFileAccess->FileExists(
        tree::JoinPath(m_FullRemoteRecordPath, fileName, *m_RemoteFileAccess));
  return false;
}

bool CRecordSignalTree::MetaDataChannelExists() const {
  CAbstractFileAccess* access = m_FileAccess.get();
  std::u16string directory = m_FullRecordPath;
  if (m_RecordBase.RecordBase() == 0) {
    std::u16string fileName;
    const std::u16string pattern = names::ChannelMetaDataFilePattern();
    if (!FindSingleFile(*m_FileAccess, m_FullRecordPath, pattern, fileName)) {
      if (!m_RemoteFileAccess || !m_RemoteMirror ||
          !FindSingleFile(*m_RemoteFileAccess, m_FullRemoteRecordPath, pattern, fileName))
        return false;
      access = m_RemoteFileAccess.get();
      directory = m_FullRemoteRecordPath;
    }
    m_RecordBase = CRecordId(CRecordId::RecordNameToId(fileName));
  }
  return access->FileExists(tree::JoinPath(
      directory, names::ChannelMetaDataFileName(m_RecordBase.IdToRecordNameBase()), *access));
}

bool CRecordSignalTree::LoadMetaDataMeasurement(MetaDataContainer& metaData) const {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  if (m_RecordBase.RecordBase() == 0 && !MetaDataMeasurementExists(SearchLocalThenRemote)) {
    SetLastError(
        u"CRecordSignalTree::LoadMetaDataMeasurement() : metadata measurement does not exist");
    return false;
  }
  const std::u16string fileName = names::MeasurementFileName(m_RecordBase.IdToRecordNameBase());
  CMetaDataFileReader localReader(m_FileAccess.get());
  if (localReader.Load(metaData, fileName, m_FullRecordPath)) return true;
  if (!m_RemoteFileAccess || !m_RemoteMirror) return false;

  // The local text stays as the error when an analyzer of the store has the file.
  SetLastError(localReader.LastError());
  std::set<unsigned short> analyzers;
  if (!m_RemoteFileAccess->ListAnalyzers(analyzers)) return false;
  std::u16string lastError;
  for (unsigned short analyzer : analyzers) {
    m_RemoteFileAccess->SelectAnalyzer(analyzer);
    CMetaDataFileReader remoteReader(m_RemoteFileAccess.get());
    if (remoteReader.Load(metaData, fileName, m_FullRemoteRecordPath)) return true;
    lastError = remoteReader.LastError();
  }
  SetLastError(lastError);
  return false;
}

bool CRecordSignalTree::SaveMetaDataMeasurement(const MetaDataFileLock* lock,
                                                const MetaDataContainer& metaData, bool upload) {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  if (!lock) return false;
  const std::u16string fileName = names::MeasurementFileName(m_RecordBase.IdToRecordNameBase());
  bool result = true;
  bool savedLocally = false;
  if (m_FileAccess->FileExists(m_FullRecordPath)) {
    CMetaDataFileWriter writer(m_FileAccess.get());
    result = writer.Save(metaData, fileName, m_FullRecordPath);
    if (!result) SetLastError(writer.LastError());
    savedLocally = true;
  }
  if (m_RemoteFileAccess) {
    if (m_FullRemoteRecordPath.empty()) m_FullRemoteRecordPath = m_RecordBase.IdToRecordNameBase();
    if (m_RemoteFileAccess->FileExists(m_FullRemoteRecordPath)) {
      if (!savedLocally) {
        CMetaDataFileWriter writer(m_RemoteFileAccess.get());
        result = writer.Save(metaData, fileName, m_FullRemoteRecordPath);
        if (!result) SetLastError(writer.LastError());
      } else if (upload &&
                 !m_RemoteFileAccess->UploadFile(m_FullRecordPath, fileName, m_FullRemoteRecordPath,
                                                 tree::kMeasurementStore)) {
        SetLastError(u"CRecordSignalTree::SaveMetaDataMeasurement() : Error in UploadFile(" +
                     fileName + u") from: " + m_FullRecordPath + u" to: " + m_FullRemoteRecordPath);
        result = false;
      }
    }
  }
  return result;
}

bool CRecordSignalTree::UpdateMetaDataMeasurement(const MetaDataFileLock* lock,
                                                  UpdateMetaDataMeasurementMode mode,
                                                  const CChangeActionParam_t* param) {
  if (!lock) return false;
  if (m_RemoteFileAccess && !m_RemoteMirror) {
    // No metadata file is kept by a tree that only reaches the store.
    if (mode == UMFinishCurrentRecord && param) m_RecordLength += param->Duration;
    return true;
  }

  MetaDataContainer metaData;
  LoadMetaDataMeasurement(metaData);  // a missing file starts from an empty container
  MetaDataMeasurementReader reader(metaData);
  CMetaDataMeasurementWriter writer(metaData);
  float frontEndRate = kDefaultFrontEndRate;
  reader.SamplingFrontEnd(frontEndRate);

  SYSTEMTIME start{};
  writer.DateAndTime(WideToAnsi(FileTimeToString(m_RecordStartDate)));
  writer.DateDayOfWeek(FileTimeToSystemTime(m_RecordStartDate, start) ? start.wDayOfWeek : 0);
  writer.Duration(m_RecordLength);
  writer.FilesSize(m_TotalSize >> 10);

  if (param) {
    if (param->TimeToStop > 0) writer.Mode("Time to stop");
    const unsigned long long id =
        CRecordId(m_RecordBase.RecordBase(), param->RecordNumber).RecordId() | param->FirstPart;

    switch (mode) {
      case UMCreateNewRecord:
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

      case UMRemoveRecord:
        if (!writer.RemoveRecord(id)) return false;
        break;

      case UMUpdatePartLength: {
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

      case UMFinishCurrentRecord: {
        bool save = true;
        if (!FinishCurrentRecord(lock, metaData, *param, frontEndRate, save)) return false;
        if (!save) return true;
        break;
      }

      default:
        break;
    }
  }
  return SaveMetaDataMeasurement(lock, metaData, false);
}

bool CRecordSignalTree::GetRecordsVect(std::vector<MetaDataRecord>& records,
                                       const MetaDataContainer* metaData) const {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  records.clear();
  MetaDataContainer loaded;
  if (!metaData) {
    if (!MetaDataMeasurementExists(SearchLocalThenRemote) || !LoadMetaDataMeasurement(loaded)) {
      SetLastErrorIfEmpty(
          u"CRecordSignalTree::GetRecordsVect() Unable to load metadata measurement");
      return false;
    }
    metaData = &loaded;
  }
  std::vector<MetaDataRecord> entries = MetaDataMeasurementReader(*metaData).GetRecordsVect();
  if (!m_MergeRecordParts) {
    records.swap(entries);
    return true;
  }
  // The sections of one record make one entry, which keeps the first section's
  // fields; time that a ring dropped in front still counts in its length.
  for (const MetaDataRecord& entry : entries) {
    if (!records.empty() && SameRecord(records.back().RecordId(), entry.RecordId())) {
      MetaDataRecord& merged = records.back();
      merged.setDuration(merged.Duration() + entry.Duration());
      merged.setRecording(merged.Recording() || entry.Recording());
      merged.setLastPartNumber(entry.LastPartNumber());
    } else {
      records.push_back(entry);
      records.back().setDuration(entry.Duration() +
                                 CRecordId(entry.RecordId()).PartNumber() * entry.PartLength());
    }
  }
  return true;
}

bool CRecordSignalTree::UpdateRecordsVect(const MetaDataFileLock* lock,
                                          const std::vector<CRecordId>& toRemove,
                                          const std::vector<MetaDataRecord>& toAdd) {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  if (!MetaDataMeasurementExists(SearchLocalThenRemote)) return false;
  MetaDataContainer metaData;
  if (LoadMetaDataMeasurement(metaData)) {
    CMetaDataMeasurementWriter writer(metaData);
    for (const CRecordId& id : toRemove) writer.RemoveRecord(id.RecordId());
    for (const MetaDataRecord& entry : toAdd)
      writer.AddRecord(entry.RecordId(), entry.LastPartNumber(), entry.AbsDate(), entry.Duration(),
                       entry.Recording(), entry.PartLength(), entry.OffsetTimeToStop());
    SaveMetaDataMeasurement(lock, metaData, true);
  }
  return true;
}

bool CRecordSignalTree::UpdateProjectAndMesureMetadata(const std::u16string& projectName,
                                                       const std::u16string& measurementName) {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  std::unique_ptr<MetaDataFileLock> lock = CreateMetaDataLock(MetaDataFileLock::LockWait);
  if (!lock || IsUsed()) return false;
  MetaDataContainer metaData;
  if (!LoadMetaDataMeasurement(metaData)) return false;
  CMetaDataMeasurementWriter writer(metaData);
  writer.ProjectName(projectName);
  writer.MeasurementName(measurementName);
  return SaveMetaDataMeasurement(lock.get(), metaData, true);
}

bool CRecordSignalTree::AddPropertiesToMetaDataMeasurement(
    const std::vector<CPropertyValue>& properties) {
  // The file lock first and m_cs inside: LockWait gives up in bounded time, so the
  // reverse order of ChangeState can't hold this forever.
  std::unique_ptr<MetaDataFileLock> lock = CreateMetaDataLock(MetaDataFileLock::LockWait);
  if (!lock) return false;
  MetaDataContainer metaData;
  if (!LoadMetaDataMeasurement(metaData)) return false;
  CMetaDataMeasurementWriter(metaData).AddProperties(properties);
  return SaveMetaDataMeasurement(lock.get(), metaData, true);
}

bool CRecordSignalTree::FinishCurrentRecord(const MetaDataFileLock* lock,
                                            MetaDataContainer& metaData,
                                            const CChangeActionParam_t& param, float frontEndRate,
                                            bool& save) {
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
    m_RecordLength += last.Duration();
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
    // Front-end samples written beyond the stop time, in whole blocks, counted
    // within the last part.
    if (duration > timeToStop)
      offset = static_cast<long long>((duration - timeToStop) * frontEndRate);
    if (param.BlockSize != 0) offset -= offset % param.BlockSize;
    const long long partSamples = static_cast<long long>(frontEndRate * param.PartLength);
    if (partSamples > 0) offset %= partSamples;

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
       entry != records.rend() && SameRecord(entry->RecordId(), newest); ++entry) {
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
  m_RecordLength += finished;
  if (timeToStop != 0) m_RecordLength = std::min(m_RecordLength, timeToStop);
  writer.Duration(m_RecordLength);

  if (CRecordId(records.front().RecordId()).PartNumber() == 0 || timeToStop != 0) return true;

  // The ring erased the beginning of the measurement: the channels' dates move
  // on by the parts dropped.
  const double dropped = CRecordId(records.front().RecordId()).PartNumber() * param.PartLength;
  auto open = m_OpenedRecordMap.find(m_LastRecordHandle);
  CAbstractRecordSection& section = open != m_OpenedRecordMap.end() && open->second
                                        ? *open->second
                                        : static_cast<CAbstractRecordSection&>(m_DummySection);
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

}  // namespace zsff
