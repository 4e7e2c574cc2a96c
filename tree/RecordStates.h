// What the process knows of the records in use by any of its trees: which are
// open, recording or being read, and the number last reported for each. The
// states live in one process-wide table under the tree layer's lock (m_cs),
// keyed by a record's id without its part number; the tree's notices and its
// records change them.
//
// Internal: each CRecordSignalTree makes one for itself, to answer for its own
// record base; it lives as long as the tree. The contracts of the queries are
// stated in RecordSignalTree.h under the same names. The static calls work on
// the table itself; their callers hold m_cs.
#pragma once

#include <zsff/RecordId.h>
#include <zsff/RecordSignalTree.h>

#include <map>

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

  // The state of `key`; null when no tree of the process has it open.
  static CRecordSignalTree::RecordState_t* Find(const CRecordId& key);
  // One opener more of `key`, entered with no recording and no reading when new.
  static CRecordSignalTree::RecordState_t& Open(const CRecordId& key);
  // One opener fewer; the entry goes with its last.
  static void Release(const CRecordId& key);
  // The entry goes, whatever its openers.
  static void Forget(const CRecordId& key);

 private:
  using StateMap = std::map<CRecordId, CRecordSignalTree::RecordState_t>;
  static StateMap s_States;

  CRecordSignalTree& m_Tree;
};

}  // namespace zsff
