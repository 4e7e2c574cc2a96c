// Renaming a measurement (see TreeRename.h).
#include "tree/TreeRename.h"

#include <zsff/MeasurementMetaData.h>

#include <mutex>

#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"
#include "tree/MeasurementFile.h"
#include "tree/TreePaths.h"

namespace zsff {

using Tree = CRecordSignalTree;

bool CTreeRename::RenameTo(const std::u16string& newName, const std::u16string* comment,
                           const std::vector<CPropertyValue>* properties) {
  std::lock_guard<CCriticalSectionWrapper> guard(Tree::m_cs);
  std::unique_ptr<MetaDataFileLock> lock = m_Tree.CreateMetaDataLock(MetaDataFileLock::LockWait);
  if (!lock) return false;

  // No tree of the process may have a record open here while the directory moves.
  CAbstractFileAccess& local = *m_Tree.m_FileAccess;
  const std::u16string newPath = tree::JoinPath(m_Tree.m_BasePath, newName, local);
  if (m_Tree.IsUsed() ||
      (!local.FileExists(newPath) && !local.RenameFile(m_Tree.m_FullRecordPath, newPath))) {
    Tree::SetLastError(
        (comment ? u"CRecordSignalTree::RenameAndComplete(" : u"CRecordSignalTree::Rename(") +
        newName + u") : record in use");
    return false;
  }
  // The lock file moved with the directory; released at the old path it would
  // stay behind and block every later writer.
  lock->ChangePath(newPath);
  m_Tree.m_FullRecordPath = newPath;
  m_Tree.m_MeasureName = newName;

  MetaDataContainer metaData;
  if (!m_Tree.LoadMetaDataMeasurement(metaData)) {
    // A directory without metadata renames fine; a file that doesn't load fails.
    return !m_Tree.m_MeasurementFile->Exists(comment ? Tree::SearchLocalThenRemote
                                                     : Tree::SearchLocal);
  }
  CMetaDataMeasurementWriter writer(metaData);
  if (comment) {
    const std::u16string header =
        Utf8ToWide(names::HeaderFileName(WideToUtf8(m_Tree.m_RecordBase.IdToRecordNameBase())));
    // Without a header there is nothing to finish: the result is ignored.
    local.DeleteFile(tree::JoinPath(m_Tree.m_FullRecordPath, header, local));
    if (CAbstractFileAccess* remote = m_Tree.m_RemoteFileAccess.get())
      remote->DeleteFile(tree::JoinPath(m_Tree.m_FullRemoteRecordPath, header, *remote));
    writer.Comment(*comment);
    writer.AddProperties(*properties);
  }
  writer.MeasurementName(newName);
  return m_Tree.SaveMetaDataMeasurement(lock.get(), metaData, true);
}

}  // namespace zsff
