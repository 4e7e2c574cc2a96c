// Renaming a measurement: its directory is free text, while the files inside are
// named after the record base, so only the directory and the key
// "MeasurementName" change.
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include <mutex>

#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"
#include "tree/MeasurementFile.h"
#include "tree/TreePaths.h"

namespace zsff {

bool CRecordSignalTree::Rename(const std::u16string& newName) {
  return RenameTo(newName, nullptr, nullptr);
}

bool CRecordSignalTree::RenameAndComplete(const std::u16string& newName,
                                          const std::u16string& comment,
                                          const std::vector<CPropertyValue>& properties) {
  return RenameTo(newName, &comment, &properties);
}

bool CRecordSignalTree::RenameTo(const std::u16string& newName, const std::u16string* comment,
                                 const std::vector<CPropertyValue>* properties) {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  std::unique_ptr<MetaDataFileLock> lock = CreateMetaDataLock(MetaDataFileLock::LockWait);
  if (!lock) return false;

  // No tree of the process may have a record open here while the directory moves.
  const std::u16string newPath = tree::JoinPath(m_BasePath, newName, *m_FileAccess);
  if (IsUsed() || (!m_FileAccess->FileExists(newPath) &&
                   !m_FileAccess->RenameFile(m_FullRecordPath, newPath))) {
    SetLastError((comment ? u"CRecordSignalTree::RenameAndComplete(" : u"CRecordSignalTree::Rename(") +
                 newName + u") : record in use");
    return false;
  }
  // The lock file moved with the directory; released at the old path it would
  // stay behind and block every later writer.
  lock->ChangePath(newPath);
  m_FullRecordPath = newPath;
  m_MeasureName = newName;

  MetaDataContainer metaData;
  if (!LoadMetaDataMeasurement(metaData)) {
    // A directory without metadata renames fine; a file that doesn't load fails.
    return !m_MeasurementFile->Exists(comment ? SearchLocalThenRemote : SearchLocal);
  }
  CMetaDataMeasurementWriter writer(metaData);
  if (comment) {
    const std::u16string header =
        Utf8ToWide(names::HeaderFileName(WideToUtf8(m_RecordBase.IdToRecordNameBase())));
    // Without a header there is nothing to finish: the result is ignored.
    m_FileAccess->DeleteFile(tree::JoinPath(m_FullRecordPath, header, *m_FileAccess));
    if (m_RemoteFileAccess)
      m_RemoteFileAccess->DeleteFile(
          tree::JoinPath(m_FullRemoteRecordPath, header, *m_RemoteFileAccess));
    writer.Comment(*comment);
    writer.AddProperties(*properties);
  }
  writer.MeasurementName(newName);
  return SaveMetaDataMeasurement(lock.get(), metaData, true);
}

}  // namespace zsff
