// The notices of a tree's sections (see TreeNotices.h).
#include "tree/TreeNotices.h"

#include <mutex>

#include "tree/MeasurementFile.h"
#include "tree/MeasurementUpdate.h"
#include "tree/RecordStates.h"
#include "tree/TreeRecords.h"

namespace zsff {

using Tree = CRecordSignalTree;

bool CTreeNotices::ChangeState(const CRecordId& id, Tree::ChangeAction_t action,
                               const Tree::CChangeActionParam_t* param) {
  std::lock_guard<CCriticalSectionWrapper> guard(Tree::m_cs);
  CRecordId key(id);
  key.SetPartNumber(0);

  // The host hears every notice, also those the tree has nothing to do with.
  if (m_Tree.m_ChangeStateCallBack)
    m_Tree.m_ChangeStateCallBack->OnChangeState(key, m_Tree.m_Records->LastHandle(), action,
                                                param);

  Tree::RecordState_t* state = CRecordStates::Find(key);
  const bool known = state != nullptr;
  // Declared after the guard, so that the file lock goes before m_cs is left.
  std::unique_ptr<MetaDataFileLock> lock;
  bool updated = true;

  switch (action) {
    case Tree::ChangeRecordCreated:
      state = &CRecordStates::Open(key);
      if (known || !param) break;
      state->RecordNumber = param->RecordNumber;
      lock = m_Tree.CreateMetaDataLock(MetaDataFileLock::LockWait);
      updated = m_Tree.m_MeasurementUpdate->Apply(lock.get(), Tree::UMCreateNewRecord, param);
      break;

    case Tree::ChangeRecordStarted:
      if (param && m_Tree.m_RecordCounter == 1) m_Tree.m_RecordStartDate = param->AbsDate;
      if (!known) break;
      state->Recording = true;
      if (!param) break;
      lock = m_Tree.CreateMetaDataLock(MetaDataFileLock::LockWait);
      state->RecordNumber = param->RecordNumber;
      updated = m_Tree.m_MeasurementUpdate->Apply(lock.get(), Tree::UMUpdatePartLength, param);
      break;

    case Tree::ChangeRecordWriting:
      break;

    case Tree::ChangeRecordStopped:
      if (known) state->Recording = false;
      if (!param) break;
      lock = m_Tree.CreateMetaDataLock(MetaDataFileLock::LockWait);
      m_Tree.m_MeasurementUpdate->AddFilesSize(param->FileSize);
      if (param->RecordNumber != m_LastRecordNumber) {
        m_LastRecordNumber = param->RecordNumber;
        if (known) {
          updated =
              m_Tree.m_MeasurementUpdate->Apply(lock.get(), Tree::UMFinishCurrentRecord, param);
          state->RecordNumber = m_LastRecordNumber + 1;
        }
      } else {
        // A second stop of the same record only refreshes the summary.
        updated = m_Tree.m_MeasurementUpdate->Apply(lock.get(), Tree::UMUpdatePartLength, nullptr);
      }
      break;

    case Tree::ChangeRecordCleaned: {
      lock = m_Tree.CreateMetaDataLock(MetaDataFileLock::LockWait);
      if (known) state->Recording = false;
      m_Tree.m_MeasurementUpdate->ClearFilesSize();
      m_Tree.m_RecordLength = 0.0;
      m_Tree.m_RecordStartDate = 0;
      m_LastRecordNumber = 0;
      updated = m_Tree.m_MeasurementUpdate->Apply(lock.get(), Tree::UMRemoveRecord, param);
      if (param) {
        Tree::CChangeActionParam_t fromStart = *param;
        fromStart.FirstPart = 0;
        fromStart.LastPart = 0;
        updated &= m_Tree.m_MeasurementUpdate->Apply(lock.get(), Tree::UMCreateNewRecord, &fromStart);
      } else {
        updated &= m_Tree.m_MeasurementUpdate->Apply(lock.get(), Tree::UMCreateNewRecord, nullptr);
      }
      break;
    }

    case Tree::ChangeReadStarted:
      if (known) state->Reading = true;
      break;

    case Tree::ChangeReadStopped:
      if (known) state->Reading = false;
      break;

    case Tree::ChangeRecordClosed:
    case Tree::ChangeRecordReleased:
      if (known) CRecordStates::Release(key);
      break;

    default:
      break;
  }
  if (updated) return true;
  // The reason, when the update left one, is the last error of the tree.
  const std::u16string reason = Tree::LastErrorString();
  Tree::SetLastError(u"CRecordSignalTree::ChangeState unable to update the record list of " +
                     m_Tree.m_MeasurementFile->LocalPath() + (reason.empty() ? u"" : u": " + reason));
  return false;
}

}  // namespace zsff
