// Copying a measurement, record by record, to another directory of the same
// store (see RecordTransfer.h).
#include <zsff/RecordSignalTree.h>

#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"
#include "tree/RecordTransfer.h"
#include "tree/TreePaths.h"

namespace zsff {

namespace {

// The measurement's own files (metadata, markers, ended-up header) that lie in
// `directory` of `store`.
std::vector<std::u16string> MeasurementFiles(CAbstractFileAccess& store,
                                             const std::u16string& directory,
                                             const std::u16string& baseName) {
  const std::u16string candidates[] = {
      names::MeasurementFileName(baseName), names::MarkersFileName(baseName),
      Utf8ToWide(names::EndedUpHeaderFileName(WideToUtf8(baseName)))};
  std::vector<std::u16string> present;
  for (const std::u16string& name : candidates)
    if (store.FileExists(tree::JoinPath(directory, name, store))) present.push_back(name);
  return present;
}

// Copies the record directory and the measurement's own files from `directory`
// of `store` into `destination`.
bool CopyOn(CAbstractFileAccess& store, const std::u16string& directory,
            const std::u16string& recordName, const std::u16string& baseName,
            const std::u16string& destination) {
  store.SelectAnalyzer(tree::kMeasurementStore);
  const std::vector<std::u16string> files = MeasurementFiles(store, directory, baseName);
  if (!store.CopyDirectoryTree(tree::JoinPath(directory, recordName, store),
                               tree::JoinPath(destination, recordName, store)))
    return false;
  return files.empty() || store.CopyFileList(directory, destination, files);
}

// Makes `directory` on `store` unless it is there.
bool EnsureDirectory(CAbstractFileAccess& store, const std::u16string& directory) {
  store.SelectAnalyzer(tree::kMeasurementStore);
  return store.FileExists(directory) || store.CreateDirectory(directory);
}

}  // namespace

bool CRecordTransfer::CopyRecord(const std::u16string& recordName,
                                 const std::u16string& destination, bool withMainStore) {
  if (destination.empty() || Busy(recordName)) return false;
  const std::u16string baseName = m_Tree.RecordNameBase();
  CAbstractFileAccess& local = *m_Tree.m_FileAccess;
  const bool remote = m_Tree.m_RemoteFileAccess != nullptr;
  if ((withMainStore || !remote) &&
      !CopyOn(MainStore(), MainDirectory(), recordName, baseName, destination))
    return false;
  // Beside a remote store, the local copy of the record goes along when there is one.
  if (!remote || !local.FileExists(tree::JoinPath(m_Tree.m_FullRecordPath, recordName, local)))
    return true;
  return CopyOn(local, m_Tree.m_FullRecordPath, recordName, baseName, destination);
}

bool CRecordTransfer::CopyRecords(const std::u16string& source, const std::u16string& destination,
                                  bool localOnly) {
  if (source.empty() || destination.empty()) return false;
  if (m_Tree.IsRecording(false) || m_Tree.IsReading()) return false;
  const bool withMainStore = m_Tree.m_RemoteFileAccess && !localOnly;
  if (!EnsureDirectory(*m_Tree.m_FileAccess, destination)) return false;
  if (withMainStore && !EnsureDirectory(MainStore(), destination)) return false;

  std::vector<CRecordId> records;
  if (!m_Tree.ListRecords(records, true)) return false;
  for (const CRecordId& record : records)
    if (!CopyRecord(record.IdToRecordName(), destination, withMainStore))
      return false;
  return CopyAssociatedFiles(source, destination);
}

bool CRecordTransfer::CopyAssociatedFiles(const std::u16string& source,
                                          const std::u16string& destination) {
  CAbstractFileAccess& local = *m_Tree.m_FileAccess;
  std::vector<std::u16string> directories, files;
  if (!local.ListDirectory(source, directories, files, u"*")) return false;

  for (const std::u16string& path : directories) {
    const std::u16string name = tree::LastPathComponent(path);
    if (names::IsRecordDirectoryName(name)) continue;
    const std::u16string target = tree::JoinPath(destination, name, local);
    if (!EnsureDirectory(local, target) || !local.CopyDirectoryTree(path, target)) return false;
  }

  // The lock belongs to the writers of the source, not to the copy.
  std::vector<std::u16string> names;
  for (const std::u16string& path : files) {
    const std::u16string name = tree::LastPathComponent(path);
    if (name != names::LockFileName()) names.push_back(name);
  }
  if (names.empty()) return true;
  if (!local.CopyFileList(source, destination, names)) return false;

  // A host's files named after the measurement take the copy's name; the files
  // named after the base keep it, since the records inside do.
  const std::u16string& measureName = m_Tree.m_MeasureName;
  const std::u16string baseName = m_Tree.m_RecordBase.IdToRecordNameBase();
  const std::u16string newName = tree::LastPathComponent(destination);
  if (measureName.empty() || measureName == newName) return true;
  for (const std::u16string& name : names) {
    if (name.find(measureName) == std::u16string::npos) continue;
    if (name.find(baseName) != std::u16string::npos) continue;
    const std::u16string::size_type dot = name.rfind(u'.');
    const std::u16string extension = dot == std::u16string::npos ? u"" : name.substr(dot);
    if (!local.RenameFile(tree::JoinPath(destination, name, local),
                          tree::JoinPath(destination, newName + extension, local)))
      return false;
  }
  return true;
}

}  // namespace zsff
