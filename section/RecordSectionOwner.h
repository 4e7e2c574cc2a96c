// What a section asks of the tree that owns it: notices, the measurement's
// metadata lock and file, whether a record is being recorded, and whether the
// measurement may be written.
//
// The tree is built above the section and implements this privately; the section
// sees only this interface, so the section module, its tests and its benchmarks
// link without the tree. A section made without a tree has no owner (null): it
// sends no notice and can have no metadata lock.
//
// The owner outlives its sections. A recording section and a reading one on the
// same record may call it from two threads at once.
#pragma once

#include <zsff/MetaDataFileLock.h>
#include <zsff/RecordId.h>
#include <zsff/RecordSignalTree.h>

#include <memory>
#include <vector>

namespace zsff {

class MetaDataContainer;
class MetaDataRecord;

class CRecordSectionOwner {
 public:
  virtual ~CRecordSectionOwner() = default;

  // The tree's ChangeState: the host's listener hears the notice, then the tree's
  // record states and the measurement metadata follow it. False when the update of
  // the measurement file that the notice carries failed, with the words in
  // `failure`; the listener and the record states have followed it all the same.
  virtual bool ChangeState(const CRecordId& id, CRecordSignalTree::ChangeAction_t action,
                           const CRecordSignalTree::CChangeActionParam_t* param,
                           std::u16string& failure) = 0;
  // Tells the host's listener alone, with the tree's last record handle and no
  // param. The caller clears the id's part number.
  virtual void NotifyListener(const CRecordId& id, CRecordSignalTree::ChangeAction_t action) = 0;
  // The measurement's metadata lock; null when it can't be had.
  virtual std::unique_ptr<MetaDataFileLock> CreateMetaDataLock(MetaDataFileLock::Mode mode) = 0;
  // Where that lock's file lies, for the words of a failure to take it.
  virtual std::u16string MetaDataLockPath() const = 0;
  // The number of the record being made or opened.
  virtual long RecordCounter() const = 0;
  // The measurement's metadata file; false when it can't be read.
  virtual bool LoadMetaDataMeasurement(MetaDataContainer& metaData) const = 0;
  // Some section of the process records `id`.
  virtual bool IsRecording(const CRecordId& id) const = 0;
  // The record list of the measurement file; false when it can't be read.
  virtual bool GetRecordsVect(std::vector<MetaDataRecord>& records) const = 0;
  // Replaces the entries `toRemove` by `toAdd` in that list, in one save; the
  // caller holds `lock`. False when the file can't be read or written.
  virtual bool UpdateRecordsVect(const MetaDataFileLock* lock,
                                 const std::vector<CRecordId>& toRemove,
                                 const std::vector<MetaDataRecord>& toAdd) = 0;
  // The tree holds the measurement's editing mode: records may be cut.
  virtual bool IsEditing() const = 0;
  // The tree was opened read only: its sections write no metadata of their own.
  virtual bool IsReadOnly() const = 0;
};

}  // namespace zsff
