// The notices of a tree's sections: each goes to the host's listener, then to the
// process's record states and, for creation, start, stop and cleaning, to the
// measurement's metadata file under the metadata lock.
//
// Internal: each CRecordSignalTree makes one for itself and hands ChangeState to
// it; it works on the tree's totals, records and metadata file, and lives as long
// as the tree. The contract is stated in RecordSignalTree.h under the same name.
#pragma once

#include <zsff/RecordSignalTree.h>

namespace zsff {

class CTreeNotices {
 public:
  explicit CTreeNotices(CRecordSignalTree& tree) : m_Tree(tree) {}
  CTreeNotices(const CTreeNotices&) = delete;
  CTreeNotices& operator=(const CTreeNotices&) = delete;

  // False when the update of the measurement file that the notice carries failed,
  // with the tree's last error naming the file and why; the listener and the
  // record states have followed the notice all the same.
  bool ChangeState(const CRecordId& id, CRecordSignalTree::ChangeAction_t action,
                   const CRecordSignalTree::CChangeActionParam_t* param);

 private:
  CRecordSignalTree& m_Tree;
  // The record of the last stop applied to the file: a second stop of it only
  // refreshes the summary.
  unsigned short m_LastRecordNumber = 0;
};

}  // namespace zsff
