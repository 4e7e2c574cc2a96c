// The tree's side of the interface its sections call.
#include "tree/TreeSectionOwner.h"

#include <zsff/MetaDataRecord.h>

#include <mutex>

#include "tree/MeasurementFile.h"
#include "tree/TreeNotices.h"
#include "tree/TreeRecords.h"

namespace zsff {

bool CTreeSectionOwner::ChangeState(const CRecordId& id, CRecordSignalTree::ChangeAction_t action,
                                    const CRecordSignalTree::CChangeActionParam_t* param,
                                    std::u16string& failure) {
  if (m_Tree.m_Notices->ChangeState(id, action, param)) return true;
  failure = CRecordSignalTree::LastErrorString();
  return false;
}

void CTreeSectionOwner::NotifyListener(const CRecordId& id,
                                       CRecordSignalTree::ChangeAction_t action) {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  if (m_Tree.m_ChangeStateCallBack != nullptr) {
    m_Tree.m_ChangeStateCallBack->OnChangeState(id, m_Tree.m_Records->LastHandle(), action, nullptr);
  }
}

std::unique_ptr<MetaDataFileLock> CTreeSectionOwner::CreateMetaDataLock(
    MetaDataFileLock::Mode mode) {
  return m_Tree.CreateMetaDataLock(mode);
}

std::u16string CTreeSectionOwner::MetaDataLockPath() const {
  return m_Tree.m_MeasurementFile->LockPath();
}

long CTreeSectionOwner::RecordCounter() const { return m_Tree.RecordCounter(); }

bool CTreeSectionOwner::LoadMetaDataMeasurement(MetaDataContainer& metaData) const {
  return m_Tree.LoadMetaDataMeasurement(metaData);
}

bool CTreeSectionOwner::IsRecording(const CRecordId& id) const {
  return m_Tree.IsRecording(id, false);
}

bool CTreeSectionOwner::GetRecordsVect(std::vector<MetaDataRecord>& records) const {
  return m_Tree.GetRecordsVect(records);
}

bool CTreeSectionOwner::UpdateRecordsVect(const MetaDataFileLock* lock,
                                          const std::vector<CRecordId>& toRemove,
                                          const std::vector<MetaDataRecord>& toAdd) {
  return m_Tree.m_MeasurementFile->ReplaceRecords(lock, toRemove, toAdd);
}

bool CTreeSectionOwner::IsEditing() const { return m_Tree.IsEditing(); }

bool CTreeSectionOwner::IsReadOnly() const {
  return m_Tree.OpenMode() == CRecordSignalTree::TreeOpenRead;
}

}  // namespace zsff
