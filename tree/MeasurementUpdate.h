// Changes to the measurement's metadata file: the record list and summary kept in
// step with the sections' notices (a record created, started, stopped, cleaned),
// and the host's names and properties.
//
// Internal: each CRecordSignalTree makes one for itself; it reads and writes the
// file through the tree, and keeps the tree's totals (length, size, start date).
// It lives as long as the tree. The caller holds the metadata lock where a call
// takes one.
#pragma once

#include <zsff/MetaDataFileLock.h>
#include <zsff/RecordSignalTree.h>

#include <string>
#include <vector>

namespace zsff {

class CMeasurementUpdate {
 public:
  explicit CMeasurementUpdate(CRecordSignalTree& tree) : m_Tree(tree) {}
  CMeasurementUpdate(const CMeasurementUpdate&) = delete;
  CMeasurementUpdate& operator=(const CMeasurementUpdate&) = delete;

  // Applies a notice to the record list of the metadata file. False for a null lock
  // and on a failure inside the mode, with nothing saved.
  bool Apply(const MetaDataFileLock* lock, CRecordSignalTree::UpdateMetaDataMeasurementMode mode,
             const CRecordSignalTree::CChangeActionParam_t* param);

  // The tree's operations of the same names; their contracts are stated in
  // RecordSignalTree.h.
  bool UpdateProjectAndMesureMetadata(const std::u16string& projectName,
                                      const std::u16string& measurementName);
  bool AddPropertiesToMetaDataMeasurement(const std::vector<CPropertyValue>& properties);

  // The bytes of the signal files of the records stopped since the tree opened,
  // or since the measurement was emptied.
  void AddFilesSize(long long bytes) { m_FilesSize += bytes; }
  void ClearFilesSize() { m_FilesSize = 0; }

 private:
  // The stop of the last record in `metaData`: its kept length, the offset of a
  // stop time, the first part a ring left, the dates of its sections and, when the
  // ring erased the measurement's beginning, the channels' dates. `save` becomes
  // false when the record was already stopped and nothing is to be written.
  bool FinishCurrentRecord(const MetaDataFileLock* lock, MetaDataContainer& metaData,
                           const CRecordSignalTree::CChangeActionParam_t& param, float frontEndRate,
                           bool& save);

  CRecordSignalTree& m_Tree;
  long long m_FilesSize = 0;
};

}  // namespace zsff
