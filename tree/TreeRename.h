// Renaming a measurement: its directory is free text, while the files inside are
// named after the record base, so only the directory and the key
// "MeasurementName" change.
//
// Internal: the tree makes one for each rename; it works on the tree's
// directories, name and metadata file. The contracts are stated in
// RecordSignalTree.h under Rename and RenameAndComplete.
#pragma once

#include <zsff/PropertyValue.h>
#include <zsff/RecordSignalTree.h>

#include <string>
#include <vector>

namespace zsff {

class CTreeRename {
 public:
  explicit CTreeRename(CRecordSignalTree& tree) : m_Tree(tree) {}

  // Rename, and RenameAndComplete when `comment` isn't null.
  bool RenameTo(const std::u16string& newName, const std::u16string* comment,
                const std::vector<CPropertyValue>* properties);

 private:
  CRecordSignalTree& m_Tree;
};

}  // namespace zsff
