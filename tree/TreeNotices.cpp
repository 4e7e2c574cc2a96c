// The notices of the tree's sections: each goes to the host's listener, then to
// the process's record states and, for creation, start, stop and cleaning, to the
// measurement's metadata file under the metadata lock.
#include <zsff/RecordSignalTree.h>

#include <mutex>

#include "tree/MeasurementUpdate.h"

namespace zsff {

void CRecordSignalTree::ChangeState(const CRecordId& id, ChangeAction_t action,
                                    const CChangeActionParam_t* param) {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  CRecordId key(id);
  key.SetPartNumber(0);

  // The host hears every notice, also those the tree has nothing to do with.
  if (m_ChangeStateCallBack)
    m_ChangeStateCallBack->OnChangeState(key, m_LastRecordHandle, action, param);

  auto state = M_SINGLE_RECORD_STATE_MAP.find(key);
  const bool known = state != M_SINGLE_RECORD_STATE_MAP.end();
  // Declared after the guard, so that the file lock goes before m_cs is left.
  std::unique_ptr<MetaDataFileLock> lock;

  switch (action) {
    case ChangeRecordCreated:
      if (known) {
        ++state->second.UseCount;
        break;
      }
      state = M_SINGLE_RECORD_STATE_MAP.emplace(key, RecordState_t{false, false, 1, 0}).first;
      if (!param) break;
      state->second.RecordNumber = param->RecordNumber;
      lock = CreateMetaDataLock(MetaDataFileLock::LockWait);
      m_MeasurementUpdate->Apply(lock.get(), UMCreateNewRecord, param);
      break;

    case ChangeRecordStarted:
      if (param && m_RecordCounter == 1) m_RecordStartDate = param->AbsDate;
      if (!known) break;
      state->second.Recording = true;
      if (!param) break;
      lock = CreateMetaDataLock(MetaDataFileLock::LockWait);
      state->second.RecordNumber = param->RecordNumber;
      m_MeasurementUpdate->Apply(lock.get(), UMUpdatePartLength, param);
      break;

    case ChangeRecordWriting:
      break;

    case ChangeRecordStopped:
      if (known) state->second.Recording = false;
      if (!param) break;
      lock = CreateMetaDataLock(MetaDataFileLock::LockWait);
      m_TotalSize += param->FileSize;
      if (param->RecordNumber != m_LastRecordNumber) {
        m_LastRecordNumber = param->RecordNumber;
        if (known) {
          m_MeasurementUpdate->Apply(lock.get(), UMFinishCurrentRecord, param);
          state->second.RecordNumber = m_LastRecordNumber + 1;
        }
      } else {
        // A second stop of the same record only refreshes the summary.
        m_MeasurementUpdate->Apply(lock.get(), UMUpdatePartLength, nullptr);
      }
      break;

    case ChangeRecordCleaned: {
      lock = CreateMetaDataLock(MetaDataFileLock::LockWait);
      if (known) state->second.Recording = false;
      m_TotalSize = 0;
      m_RecordLength = 0.0;
      m_RecordStartDate = 0;
      m_LastRecordNumber = 0;
      m_MeasurementUpdate->Apply(lock.get(), UMRemoveRecord, param);
      if (param) {
        CChangeActionParam_t fromStart = *param;
        fromStart.FirstPart = 0;
        fromStart.LastPart = 0;
        m_MeasurementUpdate->Apply(lock.get(), UMCreateNewRecord, &fromStart);
      } else {
        m_MeasurementUpdate->Apply(lock.get(), UMCreateNewRecord, nullptr);
      }
      break;
    }

    case ChangeReadStarted:
      if (known) state->second.Reading = true;
      break;

    case ChangeReadStopped:
      if (known) state->second.Reading = false;
      break;

    case ChangeRecordClosed:
    case ChangeRecordReleased:
      if (known && --state->second.UseCount <= 0) M_SINGLE_RECORD_STATE_MAP.erase(state);
      break;

    default:
      break;
  }
}

}  // namespace zsff
