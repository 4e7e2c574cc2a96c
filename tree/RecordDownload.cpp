// Fetching a measurement from the remote store into the local directory, and
// checking the copy (see RecordTransfer.h).
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include <memory>

#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"
#include "tree/RecordStates.h"
#include "tree/RecordTransfer.h"
#include "tree/TreePaths.h"
#include "tree/TreeRecords.h"

namespace zsff {

bool CRecordTransfer::DownloadRecords(std::vector<std::u16string>& messages,
                                      std::set<unsigned int>& codes, bool deleteRemote,
                                      unsigned int recordNumber) {
  messages.clear();
  codes.clear();
  CAbstractFileAccess& local = *m_Tree.m_FileAccess;
  const std::u16string& localDirectory = m_Tree.m_FullRecordPath;
  if (!m_Tree.m_RemoteFileAccess) {
    messages.push_back(u"Unable to access to record: " + localDirectory);
    return false;
  }
  CAbstractFileAccess& remote = *m_Tree.m_RemoteFileAccess;
  m_Tree.InitFullRemoteRecordPath();
  if (m_Tree.m_MeasureName.empty()) m_Tree.m_MeasureName = m_Tree.RecordNameBase();

  MetaDataContainer metaData;
  if (m_Tree.m_RecordBase.RecordBase() != 0 && !m_Tree.LoadMetaDataMeasurement(metaData))
    messages.push_back(u"Unable to read record metadata in: " + localDirectory);
  WarnOfMissingDisks(metaData, messages, codes);

  long long filesSize = 0;
  MetaDataMeasurementReader(metaData).FilesSize(filesSize);
  remote.SetDownloadSize(static_cast<unsigned int>(filesSize + filesSize / 15));

  std::vector<CRecordId> records;
  if (!CTreeRecords::ListRecordDirectories(records, remote, MainDirectory(), true)) {
    messages.push_back(u"Unable to access to record: " + MainDirectory());
    return false;
  }
  if (!local.FileExists(localDirectory) && !local.CreateDirectory(localDirectory)) {
    messages.push_back(u"Error creating local directory: '" + localDirectory +
                       u"' while downloading: '" + m_Tree.m_MeasureName + u"'");
    return false;
  }
  bool result = DownloadMeasurementFiles(messages);
  for (const CRecordId& record : records) {
    if (recordNumber != 0 && record.RecordNumber() != recordNumber) continue;
    result = DownloadRecord(record.IdToRecordName(), messages, deleteRemote) && result;
  }

  if (result && !CheckLocalCopy(recordNumber, messages)) {
    codes.insert(CRecordSignalTree::DownloadCheckFailed);
    result = false;
  }

  if (result && messages.empty())
    local.DeleteFile(tree::JoinPath(
        localDirectory, names::WarningFileName(m_Tree.m_RecordBase.IdToRecordNameBase()), local));
  return result;
}

void CRecordTransfer::WarnOfMissingDisks(const MetaDataContainer& metaData,
                                         std::vector<std::u16string>& messages,
                                         std::set<unsigned int>& codes) {
  const std::vector<MetaDataAnalyzer> analyzers = MetaDataMeasurementReader(metaData).GetAnalyzerVect();
  if (analyzers.empty()) {
    messages.push_back(u"Unable to read the list of analyzer in: " + m_Tree.m_FullRecordPath);
    return;
  }
  std::set<std::u16string> reachable;
  if (!m_Tree.m_RemoteFileAccess->ListDiskIds(reachable)) return;
  std::set<std::string> local;
  ListAnalyzerOnLocalDisk(local);
  for (const MetaDataAnalyzer& analyzer : analyzers) {
    if (reachable.count(AnsiToWide(analyzer.DiskSerialNumber())) != 0 ||
        local.count(analyzer.AnalyzerSerialNumber()) != 0)
      continue;
    messages.push_back(u"Warning: missing harddisk '" + AnsiToWide(analyzer.DiskName()) +
                       u"' (SN: '" + AnsiToWide(analyzer.DiskSerialNumber()) +
                       u"') located on analyzer: '" + AnsiToWide(analyzer.AnalyzerShortName()) +
                       u"' (SN: '" + AnsiToWide(analyzer.AnalyzerSerialNumber()) + u"')");
    codes.insert(CRecordSignalTree::DownloadDiskUnreachable);
  }
}

bool CRecordTransfer::DownloadMeasurementFiles(std::vector<std::u16string>& messages) {
  CAbstractFileAccess& remote = *m_Tree.m_RemoteFileAccess;
  CAbstractFileAccess& local = *m_Tree.m_FileAccess;
  std::set<unsigned short> analyzers;
  remote.ListAnalyzers(analyzers);
  bool result = true;
  for (unsigned short analyzer : analyzers) {
    remote.SelectAnalyzer(analyzer);
    std::vector<std::u16string> directories, files;
    if (!remote.ListDirectory(MainDirectory(), directories, files, u"*")) continue;
    for (const std::u16string& path : files) {
      const std::u16string name = tree::LastPathComponent(path);
      // A lock of the store's writers would lock the copy; what is here stays.
      if (name == names::LockFileName() ||
          local.FileExists(tree::JoinPath(m_Tree.m_FullRecordPath, name, local)))
        continue;
      if (!remote.DownloadFile(MainDirectory(), name, m_Tree.m_FullRecordPath)) {
        messages.push_back(u"Unable to download file: '" + name + u"' from: '" + MainDirectory() +
                           u"' to: '" + m_Tree.m_FullRecordPath + u"'");
        result = false;
      }
    }
  }
  return result;
}

bool CRecordTransfer::DownloadRecord(const std::u16string& recordName,
                                     std::vector<std::u16string>& messages, bool deleteRemote) {
  if (m_Tree.m_RecordStates->IsUsed(CRecordId(CRecordId::RecordNameToId(recordName)))) {
    messages.push_back(u"Record in use, not downloaded: '" + recordName + u"'");
    return false;
  }
  CAbstractFileAccess& remote = *m_Tree.m_RemoteFileAccess;
  CAbstractFileAccess& local = *m_Tree.m_FileAccess;
  const std::u16string source = tree::JoinPath(MainDirectory(), recordName, remote);
  const std::u16string destination = tree::JoinPath(m_Tree.m_FullRecordPath, recordName, local);
  if (!local.FileExists(destination) && !local.CreateDirectory(destination)) {
    messages.push_back(u"Error creating local directory: '" + destination +
                       u"' while downloading: '" + recordName + u"'");
    return false;
  }
  remote.SelectAnalyzer(tree::kMeasurementStore);
  if (!remote.DownloadDirectory(source, destination)) {
    messages.push_back(u"Error while downloading directory: '" + source + u"' to: '" +
                       destination + u"'");
    return false;
  }
  remote.SelectAnalyzer(tree::kMeasurementStore);
  if (deleteRemote) remote.DeleteDirectoryTree(source);
  return true;
}

bool CRecordTransfer::CheckLocalCopy(unsigned int recordNumber,
                                     std::vector<std::u16string>& messages) {
  // The check works on the local copy alone while the store is put aside. After
  // a download of some records only, the entries of the others leave the copy's
  // list, their directories being elsewhere.
  std::shared_ptr<CAbstractFileAccess> store = std::move(m_Tree.m_RemoteFileAccess);
  m_Tree.m_RemoteMirror = false;
  std::vector<CRecordSignalTree::RecordEndUp_t> repaired;
  std::vector<std::string> errors;
  const bool checked = m_Tree.CheckRecords(repaired, errors, true, recordNumber != 0);
  m_Tree.m_RemoteFileAccess = std::move(store);
  m_Tree.m_RemoteMirror = true;
  for (const std::string& error : errors) messages.push_back(Utf8ToWide(error));
  return checked;
}

std::unique_ptr<CRecordSignalTree> CRecordTransfer::OpenLocalCopy() const {
  std::shared_ptr<CAbstractFileAccess> none;
  return CRecordSignalTree::OpenSignalTree(m_Tree.m_BasePath, m_Tree.m_MeasureName,
                                           CRecordSignalTree::TreeOpenRead, none, false, u"",
                                           false, m_Tree.m_HostDisk);
}

bool CRecordTransfer::ListAnalyzerOnLocalDisk(std::set<std::string>& serialNumbers) const {
  serialNumbers.clear();
  std::unique_ptr<CRecordSignalTree> copy = OpenLocalCopy();
  std::vector<CRecordId> records;
  if (!copy || !copy->ListRecords(records, false) || records.empty()) return false;
  int handle = copy->OpenRecord(records.front(), CRecordSignalTree::TreeOpenRead, 0);
  if (handle == 0) return false;
  std::vector<CChannelID> channels;
  copy->rRecord(handle).ListChannelsID(channels);
  for (const CChannelID& channel : channels) serialNumbers.insert(channel.ToDeviceSerialNumber());
  copy->CloseRecord(handle, false);
  return !serialNumbers.empty();
}

}  // namespace zsff
