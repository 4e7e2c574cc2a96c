// The measurement's metadata file of one tree (see MeasurementFile.h).
#include "tree/MeasurementFile.h"

#include <zsff/MeasurementMetaData.h>
#include <zsff/MetaDataFileReader.h>
#include <zsff/MetaDataFileWriter.h>

#include <exception>
#include <mutex>
#include <set>

#include "foundation/FileNames.h"
#include "tree/RecordKeys.h"
#include "tree/TreePaths.h"

namespace zsff {

namespace {

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

bool CMeasurementFile::LocksOnStore() const {
  // Only a tree whose two directories are one locks on the store; any other
  // keeps off the users of its local directory alone.
  return m_Tree.m_RemoteFileAccess && m_Tree.m_RemoteMirror &&
         m_Tree.m_FullRecordPath == m_Tree.m_FullRemoteRecordPath;
}

std::unique_ptr<MetaDataFileLock> CMeasurementFile::CreateLock(MetaDataFileLock::Mode mode) const {
  try {
    if (LocksOnStore())
      return std::make_unique<MetaDataFileLock>(
          names::LockFileName(), m_Tree.m_FullRemoteRecordPath, m_Tree.m_RemoteFileAccess, mode);
    return std::make_unique<MetaDataFileLock>(names::LockFileName(), m_Tree.m_FullRecordPath,
                                              m_Tree.m_FileAccess, mode);
  } catch (const std::exception&) {
    return nullptr;
  }
}

std::unique_ptr<MetaDataFileLock> CMeasurementFile::LockOrSay(const std::u16string& operation) const {
  std::unique_ptr<MetaDataFileLock> lock = CreateLock(MetaDataFileLock::LockWait);
  if (!lock) CRecordSignalTree::SetLastError(operation + u" cannot create MetaDataLock: " + LockPath());
  return lock;
}

std::u16string CMeasurementFile::LockPath() const {
  if (LocksOnStore())
    return tree::JoinPath(m_Tree.m_FullRemoteRecordPath, names::LockFileName(),
                          *m_Tree.m_RemoteFileAccess);
  return tree::JoinPath(m_Tree.m_FullRecordPath, names::LockFileName(), *m_Tree.m_FileAccess);
}

std::u16string CMeasurementFile::LocalPath() const {
  return tree::JoinPath(m_Tree.m_FullRecordPath,
                        names::MeasurementFileName(m_Tree.m_RecordBase.IdToRecordNameBase()),
                        *m_Tree.m_FileAccess);
}

bool CMeasurementFile::Exists(CRecordSignalTree::SearchMetaDataMode_t mode) const {
  if (m_Tree.m_RecordBase.RecordBase() == 0) {
    // The base is the name of the one ".zsfh" file; with two there is none to tell.
    std::u16string lookedAt = m_Tree.m_FullRecordPath;
    std::u16string fileName;
    bool found = FindSingleFile(*m_Tree.m_FileAccess, m_Tree.m_FullRecordPath,
                                names::MeasurementFilePattern(), fileName);
    if (!found && m_Tree.m_RemoteFileAccess && m_Tree.m_RemoteMirror &&
        !m_Tree.m_FullRemoteRecordPath.empty()) {
      lookedAt = m_Tree.m_FullRemoteRecordPath;
      mode = CRecordSignalTree::SearchRemote;
      found = FindSingleFile(*m_Tree.m_RemoteFileAccess, m_Tree.m_FullRemoteRecordPath,
                             names::MeasurementFilePattern(), fileName);
    }
    if (!found) {
      CRecordSignalTree::SetLastError(
          u"CRecordSignalTree::MetaDataMeasurementExists() Cannot open directory or directory "
          u"empty: " +
          lookedAt);
      return false;
    }
    m_Tree.m_RecordBase = CRecordId(CRecordId::RecordNameToId(fileName));
  }

  const std::u16string fileName =
      names::MeasurementFileName(m_Tree.m_RecordBase.IdToRecordNameBase());
  if (mode == CRecordSignalTree::SearchLocal || mode == CRecordSignalTree::SearchLocalThenRemote) {
    if (m_Tree.m_FileAccess->FileExists(
            tree::JoinPath(m_Tree.m_FullRecordPath, fileName, *m_Tree.m_FileAccess)))
      return true;
    if (mode == CRecordSignalTree::SearchLocal) return false;
  }
  if ((mode == CRecordSignalTree::SearchRemote ||
       mode == CRecordSignalTree::SearchLocalThenRemote) &&
      m_Tree.m_RemoteFileAccess)
    return m_Tree.m_RemoteFileAccess->FileExists(
        tree::JoinPath(m_Tree.m_FullRemoteRecordPath, fileName, *m_Tree.m_RemoteFileAccess));
  return false;
}

bool CMeasurementFile::ChannelFileExists() const {
  CAbstractFileAccess* access = m_Tree.m_FileAccess.get();
  std::u16string directory = m_Tree.m_FullRecordPath;
  if (m_Tree.m_RecordBase.RecordBase() == 0) {
    std::u16string fileName;
    const std::u16string pattern = names::ChannelMetaDataFilePattern();
    if (!FindSingleFile(*m_Tree.m_FileAccess, m_Tree.m_FullRecordPath, pattern, fileName)) {
      if (!m_Tree.m_RemoteFileAccess || !m_Tree.m_RemoteMirror ||
          !FindSingleFile(*m_Tree.m_RemoteFileAccess, m_Tree.m_FullRemoteRecordPath, pattern,
                          fileName))
        return false;
      access = m_Tree.m_RemoteFileAccess.get();
      directory = m_Tree.m_FullRemoteRecordPath;
    }
    m_Tree.m_RecordBase = CRecordId(CRecordId::RecordNameToId(fileName));
  }
  return access->FileExists(tree::JoinPath(
      directory, names::ChannelMetaDataFileName(m_Tree.m_RecordBase.IdToRecordNameBase()),
      *access));
}

bool CMeasurementFile::Load(MetaDataContainer& metaData) const {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  if (m_Tree.m_RecordBase.RecordBase() == 0 && !Exists(CRecordSignalTree::SearchLocalThenRemote)) {
    CRecordSignalTree::SetLastError(
        u"CRecordSignalTree::LoadMetaDataMeasurement() : metadata measurement does not exist");
    return false;
  }
  const std::u16string fileName =
      names::MeasurementFileName(m_Tree.m_RecordBase.IdToRecordNameBase());
  CMetaDataFileReader localReader(m_Tree.m_FileAccess.get(), &m_LocalCache);
  if (localReader.Load(metaData, fileName, m_Tree.m_FullRecordPath)) return true;
  // The reader's words name the file and what is wrong with it; they stay the
  // error when no analyzer of a store has the file.
  CRecordSignalTree::SetLastError(localReader.LastError());
  if (!m_Tree.m_RemoteFileAccess || !m_Tree.m_RemoteMirror) return false;

  std::set<unsigned short> analyzers;
  if (!m_Tree.m_RemoteFileAccess->ListAnalyzers(analyzers)) return false;
  std::u16string lastError;
  for (unsigned short analyzer : analyzers) {
    m_Tree.m_RemoteFileAccess->SelectAnalyzer(analyzer);
    CMetaDataFileReader remoteReader(m_Tree.m_RemoteFileAccess.get());
    if (remoteReader.Load(metaData, fileName, m_Tree.m_FullRemoteRecordPath)) return true;
    lastError = remoteReader.LastError();
  }
  CRecordSignalTree::SetLastError(lastError);
  return false;
}

bool CMeasurementFile::Save(const MetaDataFileLock* lock, const MetaDataContainer& metaData,
                            bool upload) {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  if (!lock) return false;
  const std::u16string fileName =
      names::MeasurementFileName(m_Tree.m_RecordBase.IdToRecordNameBase());
  bool result = true;
  bool savedLocally = false;
  if (m_Tree.m_FileAccess->FileExists(m_Tree.m_FullRecordPath)) {
    CMetaDataFileWriter writer(m_Tree.m_FileAccess.get());
    result = writer.Save(metaData, fileName, m_Tree.m_FullRecordPath);
    if (!result) CRecordSignalTree::SetLastError(writer.LastError());
    savedLocally = true;
  }
  if (m_Tree.m_RemoteFileAccess) {
    if (m_Tree.m_FullRemoteRecordPath.empty())
      m_Tree.m_FullRemoteRecordPath = m_Tree.m_RecordBase.IdToRecordNameBase();
    if (m_Tree.m_RemoteFileAccess->FileExists(m_Tree.m_FullRemoteRecordPath)) {
      if (!savedLocally) {
        CMetaDataFileWriter writer(m_Tree.m_RemoteFileAccess.get());
        result = writer.Save(metaData, fileName, m_Tree.m_FullRemoteRecordPath);
        if (!result) CRecordSignalTree::SetLastError(writer.LastError());
      } else if (upload && !m_Tree.m_RemoteFileAccess->UploadFile(m_Tree.m_FullRecordPath, fileName,
                                                                  m_Tree.m_FullRemoteRecordPath,
                                                                  tree::kMeasurementStore)) {
        CRecordSignalTree::SetLastError(
            u"CRecordSignalTree::SaveMetaDataMeasurement() : Error in UploadFile(" + fileName +
            u") from: " + m_Tree.m_FullRecordPath + u" to: " + m_Tree.m_FullRemoteRecordPath);
        result = false;
      }
    }
  }
  return result;
}

bool CMeasurementFile::GetRecordsVect(std::vector<MetaDataRecord>& records,
                                      const MetaDataContainer* metaData) const {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  records.clear();
  MetaDataContainer loaded;
  if (!metaData) {
    if (!Exists(CRecordSignalTree::SearchLocalThenRemote) || !Load(loaded)) {
      CRecordSignalTree::SetLastErrorIfEmpty(
          u"CRecordSignalTree::GetRecordsVect() Unable to load metadata measurement");
      return false;
    }
    metaData = &loaded;
  }
  std::vector<MetaDataRecord> entries = MetaDataMeasurementReader(*metaData).GetRecordsVect();
  if (!m_Tree.m_MergeRecordParts) {
    records.swap(entries);
    return true;
  }
  // The sections of one record make one entry, which keeps the first section's
  // fields; time that a ring dropped in front still counts in its length.
  for (const MetaDataRecord& entry : entries) {
    if (!records.empty() &&
        tree::SameRecord(CRecordId(records.back().RecordId()), CRecordId(entry.RecordId()))) {
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

bool CMeasurementFile::UpdateRecordsVect(const MetaDataFileLock* lock,
                                         const std::vector<CRecordId>& toRemove,
                                         const std::vector<MetaDataRecord>& toAdd) {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  if (!Exists(CRecordSignalTree::SearchLocalThenRemote)) return false;
  ReplaceRecords(lock, toRemove, toAdd);
  return true;
}

bool CMeasurementFile::ReplaceRecords(const MetaDataFileLock* lock,
                                      const std::vector<CRecordId>& toRemove,
                                      const std::vector<MetaDataRecord>& toAdd) {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  MetaDataContainer metaData;
  if (!Load(metaData)) return false;
  CMetaDataMeasurementWriter writer(metaData);
  for (const CRecordId& id : toRemove) writer.RemoveRecord(id.RecordId());
  for (const MetaDataRecord& entry : toAdd)
    writer.AddRecord(entry.RecordId(), entry.LastPartNumber(), entry.AbsDate(), entry.Duration(),
                     entry.Recording(), entry.PartLength(), entry.OffsetTimeToStop());
  return Save(lock, metaData, true);
}

}  // namespace zsff
