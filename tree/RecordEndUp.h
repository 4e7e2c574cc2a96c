// The end-up after a crash: the walk over a directory of measurements that finds
// those a crash left unfinished (RecordEndUp.cpp), and the check of one
// measurement's records, whose answers the record list and the summary keys are
// made to say (CheckRecords.cpp).
//
// Internal: the tree hands RecordEndUp, EndUpMeasurement and CheckRecords to this
// class; the walk needs no tree of its own, the check is made for the tree it
// repairs and gone after the call. The contracts are stated in RecordSignalTree.h
// under the same names.
#pragma once

#include <zsff/FileAccess.h>
#include <zsff/RecordSignalTree.h>

#include <memory>
#include <string>
#include <vector>

namespace zsff {

class CRecordEndUp {
 public:
  explicit CRecordEndUp(CRecordSignalTree& tree) : m_Tree(tree) {}
  CRecordEndUp(const CRecordEndUp&) = delete;
  CRecordEndUp& operator=(const CRecordEndUp&) = delete;

  static bool RecordEndUp(const std::u16string& directory,
                          std::shared_ptr<CAbstractFileAccess>& fileAccess, bool remote,
                          std::vector<CRecordSignalTree::RecordEndUp_t>& repaired,
                          std::vector<std::string>& errors);
  static bool EndUpMeasurement(const std::u16string& path,
                               const std::shared_ptr<CAbstractFileAccess>& fileAccess, bool remote,
                               std::vector<CRecordSignalTree::RecordEndUp_t>& repaired,
                               std::vector<std::string>& errors);
  bool CheckRecords(std::vector<CRecordSignalTree::RecordEndUp_t>& repaired,
                    std::vector<std::string>& errors, bool checkAll, bool testDirectories);

 private:
  CRecordSignalTree& m_Tree;
};

}  // namespace zsff
