// Deleting sections, records, measurements and channels, and emptying a
// measurement (see RecordDeletion.h).
#include "tree/RecordDeletion.h"

#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSection.h>

#include <algorithm>
#include <mutex>

#include "metadata/MetaDataKeys.h"
#include "tree/RecordKeys.h"
#include "tree/RecordStates.h"
#include "tree/TreePaths.h"
#include "tree/TreeRecords.h"

namespace zsff {

namespace {

bool Listed(const std::vector<unsigned long long>& list, unsigned long long value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

void Unlist(std::vector<unsigned long long>& list, unsigned long long value) {
  list.erase(std::remove(list.begin(), list.end(), value), list.end());
}

// Deletes `path` on `access` when it is there (or, with `always`, in any case);
// false when that fails.
bool DeleteDirectory(CAbstractFileAccess& access, const std::u16string& path, bool always) {
  access.SelectAnalyzer(tree::kMeasurementStore);
  if (!always && !access.FileExists(path)) return true;
  return access.DeleteDirectoryTree(path);
}

}  // namespace

// --- Records ---------------------------------------------------------------------------

bool CRecordDeletion::DeleteRecord(const CRecordId& id, CRecordSignalTree::DeleteMode_t mode,
                                   bool wholeDirectory) {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  if (!m_Tree.m_Editing) return false;
  std::unique_ptr<MetaDataFileLock> lock = m_Tree.CreateMetaDataLock(MetaDataFileLock::LockWait);
  if (!lock) {
    CRecordSignalTree::SetLastError(u"CRecordSignalTree::DeleteRecord() cannot create MetaDataLock");
    return false;
  }
  if (m_Tree.m_Records->IsRecordSectionUsed(id)) return false;

  // The entries that go and whether other sections keep the directory.
  // Without the list nothing is known of the record's sections, and nothing goes.
  MetaDataContainer metaData;
  if (!m_Tree.LoadMetaDataMeasurement(metaData)) {
    CRecordSignalTree::SetLastError(
        u"CRecordSignalTree::DeleteRecord() cannot update measurement metadata");
    return false;
  }
  std::vector<MetaDataRecord> leaving;
  bool othersRemain = false;
  for (const MetaDataRecord& entry : MetaDataMeasurementReader(metaData).GetRecordsVect()) {
    if (!tree::SameRecord(CRecordId(entry.RecordId()), id)) continue;
    if (wholeDirectory || entry.RecordId() == id.RecordId()) {
      if (entry.Recording()) {
        CRecordSignalTree::SetLastError(u"CRecordSignalTree::DeleteRecord() record in progress: " +
                                        CRecordId(entry.RecordId()).IdToRecordName());
        return false;
      }
      leaving.push_back(entry);
    } else {
      othersRemain = true;
    }
  }
  othersRemain = othersRemain && !leaving.empty();

  const CRecordId record = tree::WithoutPart(id);
  const bool journaled = mode != CRecordSignalTree::DeleteKeepMetaData && !leaving.empty();
  if (journaled) {
    CMetaDataMeasurementWriter writer(metaData);
    double leftDuration = 0.0;
    for (const MetaDataRecord& entry : leaving) {
      writer.RemoveRecord(entry.RecordId());
      leftDuration += entry.Duration();
    }
    double duration = 0.0;
    if (!m_Tree.IsRecording(true) && ReadKey(metaData, MeasurementKeys::Duration, duration))
      WriteKey(metaData, MeasurementKeys::Duration, duration - leftDuration);
    if (!othersRemain) {
      std::vector<unsigned long long> pending;
      ReadKey(metaData, MeasurementKeys::RecordsToDelete, pending);
      if (!Listed(pending, record.RecordId())) pending.push_back(record.RecordId());
      WriteKey(metaData, MeasurementKeys::RecordsToDelete, pending);
    }
    if (!m_Tree.SaveMetaDataMeasurement(lock.get(), metaData, true)) {
      CRecordSignalTree::SetLastError(
          u"CRecordSignalTree::DeleteRecord() cannot update measurement metadata");
      return false;
    }
  }

  if (othersRemain) {
    // The directory stays for the other sections: this one's parts are marked,
    // and go when the record opens next.
    const bool remote = m_Tree.m_RemoteFileAccess != nullptr;
    std::u16string error;
    if (!CRecordSection::RemoveRecordSection(
            lock.get(), remote ? m_Tree.m_FullRemoteRecordPath : m_Tree.m_FullRecordPath, id,
            leaving.front().LastPartNumber(),
            remote ? m_Tree.m_RemoteFileAccess.get() : m_Tree.m_FileAccess.get(), error)) {
      CRecordSignalTree::SetLastError(
          u"CRecordSignalTree::DeleteRecord() cannot remove record section");
      return false;
    }
    return true;
  }

  if (!DeleteRecordDirectory(record)) return false;
  if (journaled && !ForgetDeletedRecords(lock.get())) return false;
  if (mode != CRecordSignalTree::DeleteKeepMetaData) DeleteMeasurementFilesWhenEmpty(record);
  return true;
}

bool CRecordDeletion::DeleteRecordDirectory(const CRecordId& id) {
  const std::u16string name = id.IdToRecordName();
  bool result =
      DeleteDirectory(*m_Tree.m_FileAccess,
                      tree::JoinPath(m_Tree.m_FullRecordPath, name, *m_Tree.m_FileAccess), false);
  if (m_Tree.m_RemoteFileAccess) {
    CAbstractFileAccess& store = *m_Tree.m_RemoteFileAccess;
    result = DeleteDirectory(store, tree::JoinPath(m_Tree.m_FullRemoteRecordPath, name, store),
                             false) &&
             result;
  }
  if (!result) {
    CRecordSignalTree::SetLastError(u"CRecordSignalTree::DeleteRecord() cannot delete directory: " +
                                    name);
  }
  return result;
}

void CRecordDeletion::DeleteMeasurementFilesWhenEmpty(const CRecordId& id) {
  const std::u16string base = id.IdToRecordNameBase();
  const auto clear = [&base](CAbstractFileAccess& access, const std::u16string& directory) {
    std::vector<std::u16string> directories, files;
    if (!access.ListDirectory(directory, directories, files, u"*") || !directories.empty()) return;
    for (const std::u16string& file : files)
      if (file.find(base) != std::u16string::npos) access.DeleteFile(file);
  };
  clear(*m_Tree.m_FileAccess, m_Tree.m_FullRecordPath);
  if (m_Tree.m_RemoteFileAccess) {
    m_Tree.m_RemoteFileAccess->SelectAnalyzer(tree::kMeasurementStore);
    clear(*m_Tree.m_RemoteFileAccess, m_Tree.m_FullRemoteRecordPath);
  }
}

bool CRecordDeletion::ForgetDeletedRecords(const MetaDataFileLock* lock) {
  MetaDataContainer metaData;
  std::vector<unsigned long long> pending;
  if (!m_Tree.LoadMetaDataMeasurement(metaData) ||
      !ReadKey(metaData, MeasurementKeys::RecordsToDelete, pending))
    return true;
  std::vector<unsigned long long> left;
  for (unsigned long long value : pending) {
    const std::u16string name = CRecordId(value).IdToRecordName();
    bool present = m_Tree.m_FileAccess->FileExists(
        tree::JoinPath(m_Tree.m_FullRecordPath, name, *m_Tree.m_FileAccess));
    if (m_Tree.m_RemoteFileAccess) {
      CAbstractFileAccess& store = *m_Tree.m_RemoteFileAccess;
      store.SelectAnalyzer(tree::kMeasurementStore);
      present = present ||
                store.FileExists(tree::JoinPath(m_Tree.m_FullRemoteRecordPath, name, store));
    }
    if (present) left.push_back(value);
  }
  if (left == pending) return true;
  WriteKey(metaData, MeasurementKeys::RecordsToDelete, left);
  if (m_Tree.SaveMetaDataMeasurement(lock, metaData, true)) return true;
  CRecordSignalTree::SetLastError(
      u"CRecordSignalTree::DeleteRecord() cannot update measurement metadata");
  return false;
}

bool CRecordDeletion::DeleteRecords(CRecordSignalTree::DeleteMode_t mode) {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  if (m_Tree.IsUsed()) return false;
  m_Tree.InitFullRemoteRecordPath();
  std::vector<CRecordId> records;
  bool result = true;
  if (m_Tree.ListRecords(records, true)) {
    for (const CRecordId& id : records)
      result = DeleteRecord(id, mode, mode == CRecordSignalTree::DeleteWithDirectory) && result;
  }

  if (result && mode != CRecordSignalTree::DeleteKeepMetaData) {
    // The measurement file last: until it goes, the measurement still opens.
    const std::u16string base = m_Tree.m_RecordBase.IdToRecordNameBase();
    for (const char16_t* extension : {u".zmrk", u".zff", u".zxf", u".zsfh"})
      DeleteRecordFile(base + extension);
    if (mode == CRecordSignalTree::DeleteWithDirectory) {
      std::vector<std::u16string> directories, files;
      if (m_Tree.m_FileAccess->ListDirectory(m_Tree.m_FullRecordPath, directories, files, u"*") &&
          files.empty())
        m_Tree.m_FileAccess->DeleteDirectoryTree(m_Tree.m_FullRecordPath);
    }
  }

  // A remote mirror goes in every mode, whatever happened above.
  if (m_Tree.m_RemoteFileAccess && m_Tree.m_RemoteMirror)
    DeleteDirectory(*m_Tree.m_RemoteFileAccess, m_Tree.m_FullRemoteRecordPath, true);
  return result;
}

bool CRecordDeletion::DeleteRecordFile(const std::u16string& name) {
  const std::u16string local = tree::JoinPath(m_Tree.m_FullRecordPath, name, *m_Tree.m_FileAccess);
  if (m_Tree.m_FileAccess->FileExists(local)) m_Tree.m_FileAccess->DeleteFile(local);
  if (m_Tree.m_RemoteFileAccess) {
    CAbstractFileAccess& store = *m_Tree.m_RemoteFileAccess;
    store.SelectAnalyzer(tree::kMeasurementStore);
    const std::u16string remote = tree::JoinPath(m_Tree.m_FullRemoteRecordPath, name, store);
    if (store.FileExists(remote)) store.DeleteFile(remote);
  }
  return true;
}

bool CRecordSignalTree::DeleteRemoteRecord(const std::u16string& name,
                                           std::shared_ptr<CAbstractFileAccess>& remoteFileAccess) {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  if (!remoteFileAccess) return false;
  // A record's name stands for its whole measurement.
  const CRecordId id(CRecordId::RecordNameToId(name));
  const std::u16string target = id.RecordNumber() != 0 ? id.IdToRecordNameBase() : name;
  return DeleteDirectory(*remoteFileAccess, target, true);
}

// --- Emptying the measurement ------------------------------------------------------------

bool CRecordDeletion::CleanRecord() {
  const std::u16string busy = u"CRecordSignalTree::CleanRecord() reading and/or writing in progress";
  if (m_Tree.IsRecording(false) || m_Tree.IsReading()) {
    CRecordSignalTree::SetLastError(busy);
    return false;
  }
  CAbstractRecordSection::OpenMode_t openMode;
  if (m_Tree.m_OpenMode == CRecordSignalTree::TreeOpenCreate) {
    openMode = CAbstractRecordSection::OpenCreate;
  } else if (m_Tree.m_OpenMode == CRecordSignalTree::TreeOpenEdit) {
    openMode = CAbstractRecordSection::OpenEdit;
  } else {
    CRecordSignalTree::SetLastError(
        u"CRecordSignalTree::CleanRecord() record tree not open in write mode");
    return false;
  }
  std::vector<MetaDataRecord> records;
  if (!m_Tree.GetRecordsVect(records) || records.empty()) {
    CRecordSignalTree::SetLastError(busy);
    return false;
  }

  // The tree's own deletions need no editing mode from the host.
  const bool editing = m_Tree.m_Editing;
  m_Tree.m_Editing = true;
  const MetaDataRecord* first = nullptr;
  bool deleted = true;
  for (const MetaDataRecord& entry : records) {
    const CRecordId id(entry.RecordId());
    if (id.RecordNumber() == 1) {
      first = &entry;
      continue;
    }
    const CRecordId key = tree::WithoutPart(id);
    {
      std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
      if (CRecordStates::Find(key) != nullptr)
        m_Tree.ChangeState(key, CRecordSignalTree::ChangeRecordReleased, nullptr);
    }
    if (!DeleteRecord(key, CRecordSignalTree::DeleteWithMetaData, true)) {
      deleted = false;
      break;
    }
  }
  m_Tree.m_Editing = editing;
  if (!deleted) {
    CRecordSignalTree::SetLastError(u"CRecordSignalTree::CleanRecord() cannot delete record");
    return false;
  }
  if (first == nullptr) {
    CRecordSignalTree::SetLastError(busy);
    return false;
  }

  m_Tree.m_RecordCounter = 0;
  const CRecordId id(first->RecordId());
  CRecordSignalTree::CChangeActionParam_t param;
  param.RecordNumber = 1;
  param.FirstPart = id.PartNumber();
  param.LastPart = first->LastPartNumber();
  m_Tree.ChangeState(id, CRecordSignalTree::ChangeRecordCleaned, &param);

  const bool remote = m_Tree.m_RemoteFileAccess != nullptr;
  CRecordSection section(&m_Tree, remote ? m_Tree.m_FullRemoteRecordPath : m_Tree.m_FullRecordPath,
                         tree::WithoutPart(id), first->LastPartNumber(), openMode, false,
                         first->Duration(), first->OffsetTimeToStop(),
                         remote ? m_Tree.m_RemoteFileAccess.get() : m_Tree.m_FileAccess.get(), 0);
  if (!section.CleanRecord()) {
    CRecordSignalTree::SetLastError(u"CRecordSignalTree::CleanRecord(): " +
                                    section.LastErrorString());
    return false;
  }
  return true;
}

// --- Channels ------------------------------------------------------------------------

bool CRecordDeletion::RemoveChannel(const MetaDataFileLock* lock, const CChannelID& channel) {
  if (lock == nullptr) return false;
  if (m_Tree.IsReading() || m_Tree.IsRecording(true)) {
    CRecordSignalTree::SetLastError(
        u"CRecordSignalTree::RemoveChannel() : writing or reading in progress");
    return false;
  }
  const std::u16string inUse = u"CRecordSignalTree::RemoveChannel() : record in use";
  if (m_Tree.IsUsed()) {
    CRecordSignalTree::SetLastError(inUse);
    return false;
  }
  m_Tree.InitFullRemoteRecordPath();
  std::vector<CRecordId> records;
  if (!m_Tree.ListRecords(records, true)) {
    CRecordSignalTree::SetLastError(inUse);
    return false;
  }
  if (records.empty()) return true;

  // Listed first, and counted down the one time it enters the list: a removal
  // cut short is finished later and never counted twice.
  const std::u16string notSaved =
      u"CRecordSignalTree::RemoveChannel() cannot update measurement metadata";
  MetaDataContainer metaData;
  if (!m_Tree.LoadMetaDataMeasurement(metaData)) {
    CRecordSignalTree::SetLastError(notSaved);
    return false;
  }
  std::vector<unsigned long long> pending;
  ReadKey(metaData, MeasurementKeys::ChannelsToRemove, pending);
  if (!Listed(pending, channel.Id())) {
    pending.push_back(channel.Id());
    WriteKey(metaData, MeasurementKeys::ChannelsToRemove, pending);
    long channels = 0;
    if (ReadKey(metaData, MeasurementKeys::NumberOfChannels, channels))
      WriteKey(metaData, MeasurementKeys::NumberOfChannels, channels - 1);
    if (!m_Tree.SaveMetaDataMeasurement(lock, metaData, true)) {
      CRecordSignalTree::SetLastError(notSaved);
      return false;
    }
  }

  bool failed = false;
  const bool remote = m_Tree.m_RemoteFileAccess != nullptr;
  CAbstractFileAccess& access = remote ? *m_Tree.m_RemoteFileAccess : *m_Tree.m_FileAccess;
  const std::u16string& directory =
      remote ? m_Tree.m_FullRemoteRecordPath : m_Tree.m_FullRecordPath;
  for (const CRecordId& id : records) {
    std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
    if (CRecordStates::Find(tree::WithoutPart(id)) != nullptr) continue;
    const std::u16string path = tree::JoinPath(
        tree::JoinPath(directory, id.IdToRecordName(), access), channel.ToFilePath(), access);
    if (!DeleteDirectory(access, path, false)) {
      CRecordSignalTree::SetLastError(
          u"CRecordSignalTree::RemoveChannel() cannot delete channel directory: " + path);
      failed = true;
    }
  }
  if (failed) return false;

  if (m_Tree.LoadMetaDataMeasurement(metaData)) {
    ReadKey(metaData, MeasurementKeys::ChannelsToRemove, pending);
    Unlist(pending, channel.Id());
    WriteKey(metaData, MeasurementKeys::ChannelsToRemove, pending);
    if (m_Tree.SaveMetaDataMeasurement(lock, metaData, true)) return true;
  }
  CRecordSignalTree::SetLastError(notSaved);
  return false;
}

void CRecordDeletion::CompletePending() {
  MetaDataContainer metaData;
  if (!m_Tree.LoadMetaDataMeasurement(metaData)) return;
  std::vector<unsigned long long> records, channels;
  ReadKey(metaData, MeasurementKeys::RecordsToDelete, records);
  ReadKey(metaData, MeasurementKeys::ChannelsToRemove, channels);

  if (!records.empty()) {
    // Their entries are gone already: no editor can want them back.
    std::unique_ptr<MetaDataFileLock> lock = m_Tree.CreateMetaDataLock(MetaDataFileLock::LockWait);
    if (!lock) return;
    for (unsigned long long record : records) {
      std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
      if (!m_Tree.m_RecordStates->IsUsed(CRecordId(record)))
        DeleteRecordDirectory(CRecordId(record));
    }
    ForgetDeletedRecords(lock.get());
  }

  if (channels.empty()) return;
  // Channels go only under the editing mode, which keeps other editors out.
  const bool started = !m_Tree.m_Editing;
  if (started) m_Tree.StartEditing();
  if (m_Tree.m_Editing) {
    std::unique_ptr<MetaDataFileLock> lock = m_Tree.CreateMetaDataLock(MetaDataFileLock::LockWait);
    for (unsigned long long channel : channels) RemoveChannel(lock.get(), CChannelID(channel));
  }
  if (started && m_Tree.m_Editing) m_Tree.StopEditing();
}

}  // namespace zsff
