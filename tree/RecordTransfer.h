// Moving whole records between the places a measurement lives: copying it to
// another directory (RecordCopy.cpp), sending the local records to the remote
// store (RecordUpload.cpp) and fetching them from it (RecordDownload.cpp).
//
// The main store is the host's remote store when the tree has one, else the
// tree's local store; the local store always holds the local copy. Each record
// is looked up in the process's record states for the moment of the check
// only: a transfer runs without the tree's lock.
//
// Internal: made by CRecordSignalTree for one call and gone after it. The
// contracts are stated in RecordSignalTree.h under the same names.
#pragma once

#include <zsff/RecordSignalTree.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace zsff {

class CRecordTransfer {
 public:
  explicit CRecordTransfer(CRecordSignalTree& tree) : m_Tree(tree) {}
  CRecordTransfer(const CRecordTransfer&) = delete;
  CRecordTransfer& operator=(const CRecordTransfer&) = delete;

  bool CopyRecord(const std::u16string& recordName, const std::u16string& destination,
                  bool withMainStore);
  bool CopyRecords(const std::u16string& source, const std::u16string& destination,
                   bool localOnly);
  bool UploadRecords(long recordNumber);
  bool DownloadRecords(std::vector<std::u16string>& messages, std::set<unsigned int>& codes,
                       bool deleteRemote, unsigned int recordNumber);

 private:
  CAbstractFileAccess& MainStore() const;
  const std::u16string& MainDirectory() const;
  // A section of the record is recording or reading in some tree of the process.
  bool Busy(const std::u16string& recordName) const;

  // Everything of the local directory `source` that isn't a record or the lock
  // file, into `destination`.
  bool CopyAssociatedFiles(const std::u16string& source, const std::u16string& destination);
  bool UploadRecord(const std::u16string& recordName);
  bool DownloadRecord(const std::u16string& recordName, std::vector<std::u16string>& messages,
                      bool deleteRemote);
  // The measurement's own files that the local copy lacks, from every analyzer of
  // the store; false when one didn't come.
  bool DownloadMeasurementFiles(std::vector<std::u16string>& messages);
  // Warns of each analyzer of the measurement whose disk the store can't reach
  // and whose data the local copy doesn't hold already.
  void WarnOfMissingDisks(const MetaDataContainer& metaData, std::vector<std::u16string>& messages,
                          std::set<unsigned int>& codes);
  // CheckRecords on the local copy alone, its errors added to `messages`; the
  // tree holds a local copy after it.
  bool CheckLocalCopy(unsigned int recordNumber, std::vector<std::u16string>& messages);
  // The local directory as a read-only measurement without a store.
  std::unique_ptr<CRecordSignalTree> OpenLocalCopy() const;
  // The serial numbers of the analyzers whose channels the local copy's first
  // record holds; false when it holds none.
  bool ListAnalyzerOnLocalDisk(std::set<std::string>& serialNumbers) const;

  CRecordSignalTree& m_Tree;
};

}  // namespace zsff
