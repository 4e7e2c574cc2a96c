// Taking things out of a measurement: a section of a record, a record, the whole
// measurement, one channel from every record, and emptying the measurement to
// record again. The measurement file changes first, in one save, and files go
// after: what a failure or a crash leaves behind is named in the file
// ("RecordsToDelete", "ChannelsToRemove") and removed at the next OpenRecord.
//
// Internal: each CRecordSignalTree makes one for itself and hands these
// operations to it; it works on the tree's directories, stores, records and
// metadata file. The contracts are stated in RecordSignalTree.h.
#pragma once

#include <zsff/MetaDataFileLock.h>
#include <zsff/RecordSignalTree.h>

#include <string>
#include <vector>

namespace zsff {

class CRecordDeletion {
 public:
  explicit CRecordDeletion(CRecordSignalTree& tree) : m_Tree(tree) {}
  CRecordDeletion(const CRecordDeletion&) = delete;
  CRecordDeletion& operator=(const CRecordDeletion&) = delete;

  bool DeleteRecord(const CRecordId& id, CRecordSignalTree::DeleteMode_t mode,
                    bool wholeDirectory);
  bool DeleteRecords(CRecordSignalTree::DeleteMode_t mode);
  bool DeleteRecordFile(const std::u16string& name);
  bool CleanRecord();
  // Whatever the tree's editing mode: the caller has seen to it.
  bool RemoveChannel(const MetaDataFileLock* lock, const CChannelID& id);

  // Carries out what the measurement file still lists as pending: record
  // directories to delete and channels to remove. Failures stay listed.
  void CompletePending();

 private:
  // The record's directory, locally and on the store; false when one that is
  // there can't be deleted.
  bool DeleteRecordDirectory(const CRecordId& id);
  // Once no record directory is left, the files of the measurement's base.
  void DeleteMeasurementFilesWhenEmpty(const CRecordId& id);
  // Takes the directories that are gone off "RecordsToDelete".
  bool ForgetDeletedRecords(const MetaDataFileLock* lock);

  CRecordSignalTree& m_Tree;
};

}  // namespace zsff
