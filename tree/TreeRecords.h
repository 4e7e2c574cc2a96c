// The records of one tree: making and opening sections behind integer handles,
// closing them, handing them out, and listing the record directories.
//
// Internal: each CRecordSignalTree makes one for itself and hands its record
// operations to it. It owns the tree's open sections and their handles, works on
// the tree's counter and directories, and lives as long as the tree. The
// contracts of the operations are stated in RecordSignalTree.h under the same
// names.
#pragma once

#include <zsff/AbstractRecordSection.h>
#include <zsff/AnalyzerInfo.h>
#include <zsff/DummyRecordSection.h>
#include <zsff/RecordSignalTree.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zsff {

class CTreeRecords {
 public:
  explicit CTreeRecords(CRecordSignalTree& tree) : m_Tree(tree) {}
  CTreeRecords(const CTreeRecords&) = delete;
  CTreeRecords& operator=(const CTreeRecords&) = delete;

  int CreateRecord(long analyzerFilter);
  int OpenRecord(const CRecordId& id, CRecordSignalTree::TreeOpenMode_t mode, long analyzerFilter);
  bool CloseRecord(int& handle, bool allowDelete);
  void CloseAllRecord();
  CAbstractRecordSection& wRecord(int handle);
  const CAbstractRecordSection& rRecord(int handle) const;
  std::u16string RecordName(int handle);
  bool ListRecords(std::vector<CRecordId>& records, bool localFallback) const;
  bool ListAnalyzerInfo(std::map<unsigned short, CAnalyzerInfo>& analyzers);
  std::u16string RecordNameBase();

  // In use, and open in this tree as exactly this section.
  bool IsRecordSectionUsed(const CRecordId& id) const;

  // Appends the ids of the "Record_" directories of `directory`, sorted: the
  // records one store holds, whatever the metadata says.
  static bool ListRecordDirectories(std::vector<CRecordId>& records, CAbstractFileAccess& access,
                                    const std::u16string& directory, bool selectMeasurementStore);

  // The handle given out last, which the host's listener is told with each notice.
  int LastHandle() const { return m_LastHandle; }
  // The section of the last handle, or the null section when it is closed; no
  // diagnostic.
  CAbstractRecordSection& LastSection();
  // Lets go of every open section without stopping it or touching the metadata:
  // the listener hears each close and the process forgets one opener of each.
  void ReleaseAll();

 private:
  // The handle after the tree's last; a tree's first is the base of `id`.
  int NextHandle(const CRecordId& id);
  // Lets go of the section of a record that CreateRecord couldn't make, and
  // deletes the record's directory with what it took so far (none for an empty path).
  void Abandon(int handle, const std::u16string& recordPath, CAbstractFileAccess& access);

  CRecordSignalTree& m_Tree;
  std::map<int, std::unique_ptr<CAbstractRecordSection>> m_Sections;  // by handle
  CDummyRecordSection m_DummySection;
  int m_LastHandle = 0;
};

}  // namespace zsff
