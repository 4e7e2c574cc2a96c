// What the process knows of the records in use by any of its trees: which are
// open, recording or being read, and the number last reported for each. The
// states live in the tree's process-wide map (M_SINGLE_RECORD_STATE_MAP) under
// the tree layer's lock (m_cs); the tree's ChangeState changes them.
//
// Internal: each CRecordSignalTree makes one for itself, to answer for its own
// record base; it lives as long as the tree. The contracts of the queries are
// stated in RecordSignalTree.h under the same names.
#pragma once

#include <zsff/RecordId.h>
#include <zsff/RecordSignalTree.h>

namespace zsff {

class CRecordStates {
 public:
  explicit CRecordStates(CRecordSignalTree& tree) : m_Tree(tree) {}
  CRecordStates(const CRecordStates&) = delete;
  CRecordStates& operator=(const CRecordStates&) = delete;

  bool SetRecordBase(long base);
  bool IsRecording(bool fromMetadata) const;
  bool IsRecording(const CRecordId& id, bool fromMetadata) const;
  bool IsReading() const;
  bool IsReading(const CRecordId& id) const;
  bool IsUsed() const;
  // Some tree of the process has the record `id` open.
  bool IsUsed(const CRecordId& id) const;
  unsigned long long RecordNumber(const CRecordId& id) const;

 private:
  CRecordSignalTree& m_Tree;
};

}  // namespace zsff
