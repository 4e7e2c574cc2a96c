// The tree's side of the interface its sections call (CRecordSectionOwner): each
// call goes to the tree that made this object, which must outlive it. The tree
// keeps one and gives every section it makes a pointer to it.
#pragma once

#include "section/RecordSectionOwner.h"

namespace zsff {

class CTreeSectionOwner final : public CRecordSectionOwner {
 public:
  explicit CTreeSectionOwner(CRecordSignalTree& tree) : m_Tree(tree) {}

  // Takes the failure's words out of the tree's last error.
  bool ChangeState(const CRecordId& id, CRecordSignalTree::ChangeAction_t action,
                   const CRecordSignalTree::CChangeActionParam_t* param,
                   std::u16string& failure) override;
  // Under the tree layer's lock, as every notice to the host's listener.
  void NotifyListener(const CRecordId& id, CRecordSignalTree::ChangeAction_t action) override;
  std::unique_ptr<MetaDataFileLock> CreateMetaDataLock(MetaDataFileLock::Mode mode) override;
  std::u16string MetaDataLockPath() const override;
  long RecordCounter() const override;
  bool LoadMetaDataMeasurement(MetaDataContainer& metaData) const override;
  // The process's record states, not the metadata file.
  bool IsRecording(const CRecordId& id) const override;
  bool GetRecordsVect(std::vector<MetaDataRecord>& records) const override;
  bool UpdateRecordsVect(const MetaDataFileLock* lock, const std::vector<CRecordId>& toRemove,
                         const std::vector<MetaDataRecord>& toAdd) override;
  bool IsEditing() const override;
  bool IsReadOnly() const override;

 private:
  CRecordSignalTree& m_Tree;
};

}  // namespace zsff
