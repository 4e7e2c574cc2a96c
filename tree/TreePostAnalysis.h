// Post-analysis settings saved into every record of a measurement, each record
// opened for the purpose and closed again, and into the local copy of a
// measurement kept on a remote store.
//
// Internal: the tree makes one for each save; it opens records through the tree.
// The contract is stated in RecordSignalTree.h under SavePostAnalysisSettings.
#pragma once

#include <zsff/PostAnalysisSettings.h>
#include <zsff/RecordSignalTree.h>

#include <map>

namespace zsff {

class CTreePostAnalysis {
 public:
  explicit CTreePostAnalysis(CRecordSignalTree& tree) : m_Tree(tree) {}

  bool Save(const std::map<CChannelID, CPostAnalysisSettings>& settings);

 private:
  CRecordSignalTree& m_Tree;
};

}  // namespace zsff
