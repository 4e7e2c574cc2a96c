// Post-analysis settings saved into every record (see TreePostAnalysis.h).
#include "tree/TreePostAnalysis.h"

#include <mutex>

#include "tree/MeasurementFile.h"

namespace zsff {

using Tree = CRecordSignalTree;

bool CTreePostAnalysis::Save(const std::map<CChannelID, CPostAnalysisSettings>& settings) {
  // A tree just opened knows its measurement's base only once it has looked at
  // the metadata file.
  m_Tree.RecordNameBase();
  std::vector<CRecordId> records;
  if (!m_Tree.InitFullRemoteRecordPath() || !m_Tree.ListRecords(records, true) || records.empty())
    return false;

  std::lock_guard<CCriticalSectionWrapper> guard(Tree::m_cs);
  // A measurement on a remote store keeps a local copy, which must read the
  // same: it gets the settings too.
  std::unique_ptr<Tree> localCopy;
  std::vector<CRecordId> localRecords;
  if (m_Tree.m_RemoteFileAccess) {
    localCopy = Tree::OpenSignalTree(m_Tree.m_BasePath, m_Tree.m_MeasureName, Tree::TreeOpenCreate,
                                     nullptr, false, u"", false, m_Tree.m_HostDisk);
    if (localCopy && localCopy->m_MeasurementFile->Exists(Tree::SearchLocal) &&
        (!localCopy->ListRecords(localRecords, true) || localRecords.empty())) {
      localCopy.reset();
    }
  }

  const auto saveInto = [&settings](Tree& tree, const std::vector<CRecordId>& ids) {
    bool saved = true;
    for (const CRecordId& id : ids) {
      int handle = tree.OpenRecord(id, Tree::TreeOpenRead, 0);
      if (handle == 0) continue;
      CAbstractRecordSection& section = tree.wRecord(handle);
      for (const auto& entry : settings) {
        if (!section.SavePostAnalysisSettings(entry.first, entry.second)) {
          Tree::SetLastError(section.LastErrorString());
          saved = false;
          break;
        }
      }
      tree.CloseRecord(handle, true);
    }
    return saved;
  };
  bool result = saveInto(m_Tree, records);
  if (localCopy) result = saveInto(*localCopy, localRecords) && result;
  return result;
}

}  // namespace zsff
