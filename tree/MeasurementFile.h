// The measurement's metadata file (".zsfh") of one tree: where it is (the local
// directory, or the remote store's when the tree mirrors one), its lock, reading
// and writing it, and its record list.
//
// Internal: each CRecordSignalTree makes one for itself and hands its metadata
// file operations to it; it works on the tree's directories, stores and record
// base, and lives as long as the tree. Calls that read or write the file take the
// tree layer's lock (m_cs); failures leave their text in the tree's last error.
#pragma once

#include <zsff/MetaDataFileLock.h>
#include <zsff/RecordSignalTree.h>

#include <memory>
#include <vector>

#include "persistence/MetaDataFileCache.h"

namespace zsff {

class CMeasurementFile {
 public:
  explicit CMeasurementFile(CRecordSignalTree& tree) : m_Tree(tree) {}
  CMeasurementFile(const CMeasurementFile&) = delete;
  CMeasurementFile& operator=(const CMeasurementFile&) = delete;

  // The tree's CreateMetaDataLock, LoadMetaDataMeasurement, SaveMetaDataMeasurement,
  // GetRecordsVect and UpdateRecordsVect; their contracts are stated in
  // RecordSignalTree.h.
  std::unique_ptr<MetaDataFileLock> CreateLock(MetaDataFileLock::Mode mode) const;
  bool Load(MetaDataContainer& metaData) const;
  bool Save(const MetaDataFileLock* lock, const MetaDataContainer& metaData, bool upload);
  bool GetRecordsVect(std::vector<MetaDataRecord>& records,
                      const MetaDataContainer* metaData) const;
  bool UpdateRecordsVect(const MetaDataFileLock* lock, const std::vector<CRecordId>& toRemove,
                         const std::vector<MetaDataRecord>& toAdd);
  // The same change to the list, telling whether the file was read and saved.
  bool ReplaceRecords(const MetaDataFileLock* lock, const std::vector<CRecordId>& toRemove,
                      const std::vector<MetaDataRecord>& toAdd);

  // CreateLock with LockWait; when the lock can't be had, the last error names
  // `operation` and the lock file in the way, so that a leftover can be found.
  std::unique_ptr<MetaDataFileLock> LockOrSay(const std::u16string& operation) const;
  // Where CreateLock puts "Metadata.lock".
  std::u16string LockPath() const;
  // The file in the local directory, under the record base known so far.
  std::u16string LocalPath() const;

  // Whether the file exists where `mode` says; learns the tree's record base from
  // the one ".zsfh" file of the directory when it isn't known.
  bool Exists(CRecordSignalTree::SearchMetaDataMode_t mode) const;
  // The same for a channel metadata file in the measurement directory; no message.
  bool ChannelFileExists() const;

 private:
  // The lock lies on the remote store rather than in the local directory.
  bool LocksOnStore() const;

  CRecordSignalTree& m_Tree;
  // The local file as last parsed: a display that polls a measurement which
  // doesn't change parses it once. Guarded by m_cs.
  mutable CMetaDataFileCache m_LocalCache;
};

}  // namespace zsff
