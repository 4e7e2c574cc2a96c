// Sending the local records, and the measurement's own files, to the remote
// store (see RecordTransfer.h).
#include <zsff/RecordSignalTree.h>

#include "foundation/FileNames.h"
#include "tree/RecordTransfer.h"
#include "tree/TreePaths.h"
#include "tree/TreeRecords.h"

namespace zsff {

bool CRecordTransfer::UploadRecords(long recordNumber) {
  if (!m_Tree.m_RemoteFileAccess) return false;
  CAbstractFileAccess& remote = *m_Tree.m_RemoteFileAccess;
  CAbstractFileAccess& local = *m_Tree.m_FileAccess;
  if (m_Tree.m_MeasureName.empty() && m_Tree.m_RecordBase.RecordBase() != 0)
    m_Tree.m_MeasureName = m_Tree.m_RecordBase.IdToRecordNameBase();
  if (!m_Tree.InitFullRemoteRecordPath()) return false;

  // The records of the local disk, whatever the store holds already.
  std::vector<CRecordId> records;
  if (!CTreeRecords::ListRecordDirectories(records, local, m_Tree.m_FullRecordPath, false) ||
      records.empty())
    return false;

  remote.SelectAnalyzer(tree::kMeasurementStore);
  if (!remote.FileExists(MainDirectory()) && !remote.CreateDirectory(MainDirectory()))
    return false;

  for (const CRecordId& record : records) {
    if (recordNumber != 0 && record.RecordNumber() != recordNumber)
      continue;
    if (!UploadRecord(record.IdToRecordName())) return false;
  }
  if (recordNumber != 0) return true;

  std::vector<std::u16string> directories, files;
  if (!local.ListDirectory(m_Tree.m_FullRecordPath, directories, files, u"*")) return false;
  for (const std::u16string& path : files) {
    const std::u16string name = tree::LastPathComponent(path);
    // The lock and the warning belong to the local disk; an empty file is one
    // being written.
    unsigned long long size = 0;
    if (name == names::LockFileName() || names::IsWarningFileName(name) ||
        !local.FileSize(path, size) || size == 0)
      continue;
    if (!remote.UploadFile(m_Tree.m_FullRecordPath, name, MainDirectory(),
                           tree::kMeasurementStore))
      return false;
  }
  return true;
}

bool CRecordTransfer::UploadRecord(const std::u16string& recordName) {
  if (Busy(recordName)) return false;
  CAbstractFileAccess& remote = *m_Tree.m_RemoteFileAccess;
  const std::u16string source =
      tree::JoinPath(m_Tree.m_FullRecordPath, recordName, *m_Tree.m_FileAccess);
  const std::u16string destination = tree::JoinPath(MainDirectory(), recordName, remote);
  remote.SelectAnalyzer(tree::kMeasurementStore);
  if (!remote.FileExists(destination) && !remote.CreateDirectory(destination)) return false;
  remote.SelectAnalyzer(tree::kMeasurementStore);
  return remote.UploadDirectory(source, destination);
}

}  // namespace zsff
