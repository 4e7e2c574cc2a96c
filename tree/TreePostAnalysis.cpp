// Post-analysis settings saved into every record of a measurement, each record
// opened for the purpose and closed again.
#include <zsff/RecordSignalTree.h>

#include <mutex>

#include "tree/MeasurementFile.h"

namespace zsff {

bool CRecordSignalTree::SavePostAnalysisSettings(
    const std::map<CChannelID, CPostAnalysisSettings>& settings) {
  // A tree just opened knows its measurement's base only once it has looked at
  // the metadata file.
  RecordNameBase();
  std::vector<CRecordId> records;
  if (!InitFullRemoteRecordPath() || !ListRecords(records, true) || records.empty()) return false;

  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  // A measurement on a remote store keeps a local copy, which must read the
  // same: it gets the settings too.
  std::unique_ptr<CRecordSignalTree> localCopy;
  std::vector<CRecordId> localRecords;
  if (m_RemoteFileAccess) {
    localCopy =
        OpenSignalTree(m_BasePath, m_MeasureName, TreeOpenCreate, nullptr, false, u"", false);
    if (localCopy && localCopy->m_MeasurementFile->Exists(SearchLocal) &&
        (!localCopy->ListRecords(localRecords, true) || localRecords.empty())) {
      localCopy.reset();
    }
  }

  const auto saveInto = [&settings](CRecordSignalTree& tree, const std::vector<CRecordId>& ids) {
    bool saved = true;
    for (const CRecordId& id : ids) {
      int handle = tree.OpenRecord(id, TreeOpenRead, 0);
      if (handle == 0) continue;
      CAbstractRecordSection& section = tree.wRecord(handle);
      for (const auto& entry : settings) {
        if (!section.SavePostAnalysisSettings(entry.first, entry.second)) {
          SetLastError(section.LastErrorString());
          saved = false;
          break;
        }
      }
      tree.CloseRecord(handle, true);
    }
    return saved;
  };
  bool result = saveInto(*this, records);
  if (localCopy) result = saveInto(*localCopy, localRecords) && result;
  return result;
}

}  // namespace zsff
