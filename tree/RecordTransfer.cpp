// The tree's copy, upload and download, handed to a CRecordTransfer, and what
// the three share (see RecordTransfer.h).
#include "tree/RecordTransfer.h"

#include "tree/RecordStates.h"

namespace zsff {

bool CRecordSignalTree::CopyRecord(const std::u16string& recordName,
                                   const std::u16string& destination) {
  return CRecordTransfer(*this).CopyRecord(recordName, destination, true);
}

bool CRecordSignalTree::CopyRecords(const std::u16string& source,
                                    const std::u16string& destination, bool localOnly) {
  return CRecordTransfer(*this).CopyRecords(source, destination, localOnly);
}

bool CRecordSignalTree::UploadRecords(long recordNumber) {
  return CRecordTransfer(*this).UploadRecords(recordNumber);
}

bool CRecordSignalTree::DownloadRecords(std::vector<std::u16string>& messages,
                                        std::set<unsigned int>& codes, bool deleteRemote,
                                        unsigned int recordNumber) {
  return CRecordTransfer(*this).DownloadRecords(messages, codes, deleteRemote, recordNumber);
}

CAbstractFileAccess& CRecordTransfer::MainStore() const {
  return m_Tree.m_RemoteFileAccess ? *m_Tree.m_RemoteFileAccess : *m_Tree.m_FileAccess;
}

const std::u16string& CRecordTransfer::MainDirectory() const {
  return m_Tree.m_RemoteFileAccess ? m_Tree.m_FullRemoteRecordPath : m_Tree.m_FullRecordPath;
}

bool CRecordTransfer::Busy(const std::u16string& recordName) const {
  const CRecordId id(CRecordId::RecordNameToId(recordName));
  return m_Tree.m_RecordStates->IsRecording(id, false) || m_Tree.m_RecordStates->IsReading(id);
}

}  // namespace zsff
