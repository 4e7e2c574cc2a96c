// How a section reaches the tree that owns it.
//
// The tree is built above the section: it makes sections, and the section
// reports back to it (notices, the metadata lock, the record counter, the
// measurement metadata). Calling the tree's functions directly would tie the
// section's object files to the tree's, so the section module, its tests and its
// benchmarks could no longer be linked on their own. Instead the tree module
// installs these entry points (once, before it makes its first section), and the
// section calls through them. Without an installed table a section behaves as if
// it had no tree.
//
// Every entry receives the section's tree pointer, never null.
#pragma once

#include <zsff/MetaDataFileLock.h>
#include <zsff/RecordId.h>
#include <zsff/RecordSignalTree.h>

#include <memory>
#include <vector>

namespace zsff {

class MetaDataContainer;
class MetaDataRecord;

struct SectionTreeCalls {
  // The tree's ChangeState: the host's listener hears it, then the tree's record
  // states and the measurement metadata follow it.
  void (*ChangeState)(CRecordSignalTree& tree, const CRecordId& id,
                      CRecordSignalTree::ChangeAction_t action,
                      const CRecordSignalTree::CChangeActionParam_t* param);
  // Tells the host's listener alone, under the tree layer's lock, with the tree's
  // last record handle and no param. The caller clears the id's part number.
  void (*NotifyListener)(CRecordSignalTree& tree, const CRecordId& id,
                         CRecordSignalTree::ChangeAction_t action);
  // The tree's CreateMetaDataLock: null when the lock can't be had.
  std::unique_ptr<MetaDataFileLock> (*CreateMetaDataLock)(CRecordSignalTree& tree,
                                                          MetaDataFileLock::Mode mode);
  // The number of the record being made or opened.
  long (*RecordCounter)(const CRecordSignalTree& tree);
  // The tree's LoadMetaDataMeasurement.
  bool (*LoadMetaDataMeasurement)(const CRecordSignalTree& tree, MetaDataContainer& out);
  // The tree's IsRecording(id, false): some section of the process records `id`.
  bool (*IsRecording)(const CRecordSignalTree& tree, const CRecordId& id);
  // The tree's GetRecordsVect from the measurement file.
  bool (*GetRecordsVect)(const CRecordSignalTree& tree, std::vector<MetaDataRecord>& records);
};

// Installs the table for every section of the process (null uninstalls). The
// table must outlive its use; a static one serves.
void SetSectionTreeCalls(const SectionTreeCalls* calls);
// The installed table, or null.
const SectionTreeCalls* GetSectionTreeCalls();

}  // namespace zsff
