// The measurement's markers: a metadata file of their own (".zmrk") beside the
// measurement file, written whole, locally and on the remote store.
//
// Internal: each CRecordSignalTree makes one for itself and hands its marker
// operations to it; it keeps the markers that this tree added, works on the
// tree's directories and stores, and lives as long as the tree. The contracts
// are stated in RecordSignalTree.h under the same names.
#pragma once

#include <zsff/MetaDataContainer.h>
#include <zsff/RecordSignalTree.h>

#include <string>

namespace zsff {

class CTreeMarkers {
 public:
  explicit CTreeMarkers(CRecordSignalTree& tree) : m_Tree(tree) {}
  CTreeMarkers(const CTreeMarkers&) = delete;
  CTreeMarkers& operator=(const CTreeMarkers&) = delete;

  bool AddMarker(double& recordLength, double duration, double position,
                 const std::u16string& name);
  bool ReadMarkers(MetaDataContainer& markers) const;
  bool WriteMarkers(const MetaDataContainer& markers);

 private:
  CRecordSignalTree& m_Tree;
  MetaDataContainer m_Added;  // the markers added by this tree, numbered from 1
  int m_Counter = 0;
};

}  // namespace zsff
