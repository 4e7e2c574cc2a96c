// The tree's life: making and opening measurement directories, aiming at a remote
// store, the process-wide record states and the notices that change them.
#include <zsff/RecordSignalTree.h>

#include <mutex>
#include <utility>

#include "foundation/DirectoryClaim.h"
#include "foundation/LocalFileAccess.h"
#include "foundation/TextConversion.h"
#include "signal/BlockReduction.h"
#include "tree/MeasurementFile.h"
#include "tree/MeasurementUpdate.h"
#include "tree/RecordDeletion.h"
#include "tree/RecordEndUp.h"
#include "tree/RecordStates.h"
#include "tree/TreeMarkers.h"
#include "tree/TreeNotices.h"
#include "tree/TreePaths.h"
#include "tree/TreePostAnalysis.h"
#include "tree/TreeRecords.h"
#include "tree/TreeRename.h"
#include "tree/TreeSectionOwner.h"

namespace zsff {

CCriticalSectionWrapper CRecordSignalTree::m_cs;
std::u16string CRecordSignalTree::s_LastErrorString;

namespace {

// The error text is written by threads that hold m_cs and by some that don't, and
// LastErrorString must not take m_cs: a lock of its own keeps the string whole.
std::mutex& LastErrorMutex() {
  static std::mutex mutex;
  return mutex;
}

// A host's disk store knows no claims: a directory with anything in it is
// refused, an empty one taken, and a missing one left to the first save.
CDirectoryClaim::Result_t ClaimOnStore(CAbstractFileAccess& store, const std::u16string& path) {
  std::vector<std::u16string> directories, files;
  if (!store.ListDirectory(path, directories, files, u"*")) return CDirectoryClaim::NotClaimable;
  return directories.empty() && files.empty() ? CDirectoryClaim::Claimed
                                              : CDirectoryClaim::NotEmpty;
}

}  // namespace

void CRecordSignalTree::SetLastError(std::u16string text) {
  std::lock_guard<std::mutex> guard(LastErrorMutex());
  s_LastErrorString = std::move(text);
}

void CRecordSignalTree::SetLastErrorIfEmpty(std::u16string text) {
  std::lock_guard<std::mutex> guard(LastErrorMutex());
  if (s_LastErrorString.empty()) s_LastErrorString = std::move(text);
}

std::u16string CRecordSignalTree::LastErrorString() {
  std::u16string text;
  std::lock_guard<std::mutex> guard(LastErrorMutex());
  text.swap(s_LastErrorString);
  return text;
}

CRecordSignalTree::CRecordSignalTree(const std::u16string& path, const std::u16string& name,
                                     bool mergeRecordParts,
                                     std::shared_ptr<CAbstractFileAccess> remoteFileAccess,
                                     bool remoteMirror, TreeOpenMode_t mode,
                                     const std::u16string& singleRecordName,
                                     std::shared_ptr<CAbstractFileAccess> disk)
    : m_BasePath(path),
      m_MeasureName(name),
      m_RemoteFileAccess(std::move(remoteFileAccess)),
      m_RemoteMirror(remoteMirror),
      m_OpenMode(mode),
      m_FileAccess(disk ? disk : std::make_shared<CLocalFileAccess>()),
      m_HostDisk(std::move(disk)),
      m_SectionOwner(std::make_unique<CTreeSectionOwner>(*this)),
      m_MeasurementFile(std::make_unique<CMeasurementFile>(*this)),
      m_MeasurementUpdate(std::make_unique<CMeasurementUpdate>(*this)),
      m_Records(std::make_unique<CTreeRecords>(*this)),
      m_Notices(std::make_unique<CTreeNotices>(*this)),
      m_RecordStates(std::make_unique<CRecordStates>(*this)),
      m_Deletion(std::make_unique<CRecordDeletion>(*this)),
      m_Markers(std::make_unique<CTreeMarkers>(*this)),
      m_MergeRecordParts(mergeRecordParts) {
  m_FullRecordPath = tree::JoinPath(m_BasePath, m_MeasureName, *m_FileAccess);

  // A failure here shows at the first save; the parent is not made.
  if ((!m_RemoteFileAccess || m_RemoteMirror) && m_OpenMode != TreeOpenRead &&
      !m_FileAccess->FileExists(m_FullRecordPath)) {
    m_FileAccess->CreateDirectory(m_FullRecordPath);
  }

  if (!m_RemoteFileAccess) return;
  // Without a mirror a single record is only aimed at for reading.
  const bool aimedAtOneRecord =
      !singleRecordName.empty() && (m_RemoteMirror || m_OpenMode == TreeOpenRead);
  if (aimedAtOneRecord) {
    m_FullRemoteRecordPath = singleRecordName;
    m_RecordBase = CRecordId(CRecordId::RecordNameToId(singleRecordName));
  } else if (m_RemoteMirror && singleRecordName.empty() &&
             CRecordId(CRecordId::RecordNameToId(m_MeasureName)).RecordBase() != 0) {
    // A parent that is a local path means nothing on the store; the remote
    // directory is then learnt later from the metadata.
    if (m_BasePath.empty()) {
      m_FullRemoteRecordPath = m_MeasureName;
    } else if (m_BasePath.find(m_FileAccess->PathSeparatorW()) == std::u16string::npos) {
      m_FullRemoteRecordPath = tree::JoinPath(m_BasePath, m_MeasureName, *m_RemoteFileAccess);
    }
  }
}

CRecordSignalTree::~CRecordSignalTree() {
  // The mark in the file would lock out every later editor.
  if (m_Editing) StopEditing();

  // Sections left open go without a stop: their records stay "recording" in the
  // metadata, for the end-up to find.
  m_Records->ReleaseAll();
  // A host's disk store holds the files of its other trees too.
  if (!m_HostDisk) m_FileAccess->CloseAllFiles();
}

std::unique_ptr<CRecordSignalTree> CRecordSignalTree::CreateSignalTree(
    const std::u16string& path, const std::u16string& name,
    const std::shared_ptr<CAbstractFileAccess>& remoteFileAccess, bool remoteMirror,
    const std::shared_ptr<CAbstractFileAccess>& disk) {
  const std::u16string measureName = name.empty() ? CRecordId::NewRecordBaseName() : name;
  CLocalFileAccess local;
  CAbstractFileAccess& store = disk ? *disk : local;
  const std::u16string fullPath = tree::JoinPath(path, measureName, store);
  std::string nativePath;
  if (!WideToPath(fullPath, nativePath)) {
    SetLastError(u"CRecordSignalTree::CreateSignalTree path has no UTF-8 form: " + fullPath);
    return nullptr;
  }
  // Creators that meet here at once all find the directory missing or empty;
  // the claim, held as long as the tree lives, lets one of them through.
  if (!remoteFileAccess || remoteMirror) store.CreateDirectory(fullPath);
  auto claim = std::make_unique<CDirectoryClaim>();
  switch (disk ? ClaimOnStore(*disk, fullPath) : claim->Take(nativePath)) {
    case CDirectoryClaim::Claimed:
      break;
    case CDirectoryClaim::HeldElsewhere:
      SetLastError(
          u"CRecordSignalTree::CreateSignalTree directory is being created by another tree: " +
          fullPath);
      return nullptr;
    case CDirectoryClaim::NotEmpty:
      SetLastError(u"CRecordSignalTree::CreateSignalTree directory already exists: " + fullPath);
      return nullptr;
    case CDirectoryClaim::NotClaimable:
      // A directory that can't be read is taken; a missing parent shows at the first save.
      claim.reset();
      break;
  }
  if (disk) claim.reset();  // nothing was taken on the store
  std::unique_ptr<CRecordSignalTree> tree(new CRecordSignalTree(
      path, measureName, false, remoteFileAccess, remoteMirror, TreeOpenCreate, u"", disk));
  tree->m_CreationClaim = std::move(claim);
  return tree;
}

std::unique_ptr<CRecordSignalTree> CRecordSignalTree::OpenSignalTree(
    const std::u16string& path, const std::u16string& name, TreeOpenMode_t mode,
    const std::shared_ptr<CAbstractFileAccess>& remoteFileAccess, bool remoteMirror,
    const std::u16string& singleRecordName, bool mergeRecordParts,
    const std::shared_ptr<CAbstractFileAccess>& disk) {
  CLocalFileAccess local;
  CAbstractFileAccess& store = disk ? *disk : local;
  const std::u16string fullPath = tree::JoinPath(path, name, store);
  if (!store.FileExists(fullPath)) {
    if (!remoteFileAccess) {
      SetLastError(u"CRecordSignalTree::OpenSignalTree directory does not exist on local disk: " +
                   fullPath);
      return nullptr;
    }
    remoteFileAccess->SelectAnalyzer(tree::kMeasurementStore);
    const std::u16string remotePath = tree::JoinPath(path, name, *remoteFileAccess);
    if (!remoteFileAccess->FileExists(remotePath)) {
      SetLastError(u"CRecordSignalTree::OpenSignalTree directory does not exist on remote disk: " +
                   remotePath);
      return nullptr;
    }
  }
  std::unique_ptr<CRecordSignalTree> tree(new CRecordSignalTree(
      path, name, mergeRecordParts, remoteFileAccess, remoteMirror, mode, singleRecordName, disk));
  if (remoteMirror && tree->m_MeasurementFile->Exists(SearchLocal))
    tree->InitFullRemoteRecordPath();
  return tree;
}

void CRecordSignalTree::CloseSignalTree(std::unique_ptr<CRecordSignalTree>& tree) { tree.reset(); }

CRecordSignalTree::SignalDirectoryInfo CRecordSignalTree::GetSignalDirectoryInfo(
    const std::u16string& path, const std::u16string& name,
    const std::shared_ptr<CAbstractFileAccess>& remoteFileAccess, bool remoteOnly,
    const std::shared_ptr<CAbstractFileAccess>& disk) {
  SignalDirectoryInfo info;
  std::vector<CRecordId> records;
  if (remoteFileAccess) {
    std::unique_ptr<CRecordSignalTree> tree =
        OpenSignalTree(path, name, TreeOpenRead, remoteFileAccess, true, u"", false, disk);
    if (tree && tree->m_MeasurementFile->Exists(SearchRemote) && tree->InitFullRemoteRecordPath() &&
        tree->ListRecords(records, false) && !records.empty()) {
      info.HasRemoteRecords = true;
      info.Valid = true;
    }
  }
  if (!remoteFileAccess || !remoteOnly) {
    std::unique_ptr<CRecordSignalTree> tree =
        OpenSignalTree(path, name, TreeOpenRead, nullptr, false, u"", false, disk);
    if (tree && tree->m_MeasurementFile->Exists(SearchLocal)) {
      info.Valid = tree->ListRecords(records, false);
      info.HasLocalRecords = !records.empty();
    }
  }
  // A probe leaves no error behind, not even an older one.
  LastErrorString();
  return info;
}

void CRecordSignalTree::SetLocalDiskId(const std::string& diskId) {
  if (auto* local = dynamic_cast<CLocalFileAccess*>(m_FileAccess.get()))
    local->SetLocalDiskId(diskId);
}

void CRecordSignalTree::SetSyncInterval(std::chrono::milliseconds interval) {
  if (auto* local = dynamic_cast<CLocalFileAccess*>(m_FileAccess.get()))
    local->SetSyncInterval(interval);
}

bool CRecordSignalTree::InitFullRemoteRecordPath() {
  if (m_RemoteFileAccess && m_FullRemoteRecordPath.empty())
    m_FullRemoteRecordPath = RecordNameBase();
  return m_RecordBase.RecordBase() != 0;
}

void CRecordSignalTree::ChangeState(const CRecordId& id, ChangeAction_t action,
                                    const CChangeActionParam_t* param) {
  m_Notices->ChangeState(id, action, param);
}

// --- Records, handed to the tree's records and record states ---------------------

int CRecordSignalTree::CreateRecord(long analyzerFilter) {
  return m_Records->CreateRecord(analyzerFilter);
}

int CRecordSignalTree::OpenRecord(const CRecordId& id, TreeOpenMode_t mode, long analyzerFilter) {
  return m_Records->OpenRecord(id, mode, analyzerFilter);
}

bool CRecordSignalTree::CloseRecord(int& handle, bool allowDelete) {
  return m_Records->CloseRecord(handle, allowDelete);
}

void CRecordSignalTree::CloseAllRecord() { m_Records->CloseAllRecord(); }

CAbstractRecordSection& CRecordSignalTree::wRecord(int handle) {
  return m_Records->wRecord(handle);
}

const CAbstractRecordSection& CRecordSignalTree::rRecord(int handle) const {
  return m_Records->rRecord(handle);
}

std::u16string CRecordSignalTree::RecordName(int handle) { return m_Records->RecordName(handle); }

bool CRecordSignalTree::ListRecords(std::vector<CRecordId>& records, bool localFallback) const {
  return m_Records->ListRecords(records, localFallback);
}

bool CRecordSignalTree::ListAnalyzerInfo(std::map<unsigned short, CAnalyzerInfo>& analyzers) {
  return m_Records->ListAnalyzerInfo(analyzers);
}

std::u16string CRecordSignalTree::RecordNameBase() { return m_Records->RecordNameBase(); }

bool CRecordSignalTree::SetRecordBase(long base) { return m_RecordStates->SetRecordBase(base); }

bool CRecordSignalTree::IsRecording(bool fromMetadata) const {
  return m_RecordStates->IsRecording(fromMetadata);
}

bool CRecordSignalTree::IsRecording(const CRecordId& id, bool fromMetadata) const {
  return m_RecordStates->IsRecording(id, fromMetadata);
}

bool CRecordSignalTree::IsReading() const { return m_RecordStates->IsReading(); }

bool CRecordSignalTree::IsReading(const CRecordId& id) const {
  return m_RecordStates->IsReading(id);
}

bool CRecordSignalTree::IsUsed() const { return m_RecordStates->IsUsed(); }

unsigned long long CRecordSignalTree::RecordNumber(const CRecordId& id) const {
  return m_RecordStates->RecordNumber(id);
}

void CRecordSignalTree::CompressSampleBlock(void* destination, unsigned long long capacity,
                                            const void* source, unsigned long long samples,
                                            unsigned long long factor, SampleFormat_t format,
                                            unsigned long long& missing, double& minimum,
                                            double& maximum) {
  reduction::ReduceBlock(destination, capacity, source, samples, factor, format, missing, minimum,
                         maximum);
}

// --- End-up after a crash, handed to its own class ------------------------------------

bool CRecordSignalTree::RecordEndUp(const std::u16string& directory,
                                    std::shared_ptr<CAbstractFileAccess>& fileAccess, bool remote,
                                    std::vector<RecordEndUp_t>& repaired,
                                    std::vector<std::string>& errors) {
  return CRecordEndUp::RecordEndUp(directory, fileAccess, remote, repaired, errors);
}

bool CRecordSignalTree::EndUpMeasurement(const std::u16string& path,
                                         const std::shared_ptr<CAbstractFileAccess>& fileAccess,
                                         bool remote, std::vector<RecordEndUp_t>& repaired,
                                         std::vector<std::string>& errors) {
  return CRecordEndUp::EndUpMeasurement(path, fileAccess, remote, repaired, errors);
}

bool CRecordSignalTree::CheckRecords(std::vector<RecordEndUp_t>& repaired,
                                     std::vector<std::string>& errors, bool checkAll,
                                     bool testDirectories) {
  return CRecordEndUp(*this).CheckRecords(repaired, errors, checkAll, testDirectories);
}

// --- Deleting and cleaning, handed to the tree's deletions ----------------------------

bool CRecordSignalTree::DeleteRecord(const CRecordId& id, DeleteMode_t mode, bool wholeDirectory) {
  return m_Deletion->DeleteRecord(id, mode, wholeDirectory);
}

bool CRecordSignalTree::DeleteRecords(DeleteMode_t mode) { return m_Deletion->DeleteRecords(mode); }

bool CRecordSignalTree::DeleteRecordFile(const std::u16string& name) {
  return m_Deletion->DeleteRecordFile(name);
}

bool CRecordSignalTree::CleanRecord() { return m_Deletion->CleanRecord(); }

bool CRecordSignalTree::RemoveChannel(const CChannelID& id) {
  if (!m_Editing) return false;
  std::unique_ptr<MetaDataFileLock> lock = CreateMetaDataLock(MetaDataFileLock::LockWait);
  if (!lock) {
    SetLastError(u"CRecordSignalTree::RemoveChannel() cannot create MetaDataLock");
    return false;
  }
  return m_Deletion->RemoveChannel(lock.get(), id);
}

// --- Measurement metadata, handed to the measurement file and its updates ---------

std::unique_ptr<MetaDataFileLock> CRecordSignalTree::CreateMetaDataLock(
    MetaDataFileLock::Mode mode) const {
  std::unique_ptr<MetaDataFileLock> lock = m_MeasurementFile->CreateLock(mode);
  // The host hands the lock on to a save, which can only say that it had none.
  if (!lock)
    SetLastError(u"CRecordSignalTree::CreateMetaDataLock cannot create MetaDataLock: " +
                 m_MeasurementFile->LockPath());
  return lock;
}

bool CRecordSignalTree::SaveMetaDataMeasurement(const MetaDataFileLock* lock,
                                                const MetaDataContainer& metaData, bool upload) {
  return m_MeasurementFile->Save(lock, metaData, upload);
}

bool CRecordSignalTree::LoadMetaDataMeasurement(MetaDataContainer& metaData) const {
  return m_MeasurementFile->Load(metaData);
}

bool CRecordSignalTree::GetRecordsVect(std::vector<MetaDataRecord>& records,
                                       const MetaDataContainer* metaData) const {
  return m_MeasurementFile->GetRecordsVect(records, metaData);
}

bool CRecordSignalTree::UpdateRecordsVect(const MetaDataFileLock* lock,
                                          const std::vector<CRecordId>& toRemove,
                                          const std::vector<MetaDataRecord>& toAdd) {
  return m_MeasurementFile->UpdateRecordsVect(lock, toRemove, toAdd);
}

bool CRecordSignalTree::UpdateProjectAndMesureMetadata(const std::u16string& projectName,
                                                       const std::u16string& measurementName) {
  return m_MeasurementUpdate->UpdateProjectAndMesureMetadata(projectName, measurementName);
}

bool CRecordSignalTree::AddPropertiesToMetaDataMeasurement(
    const std::vector<CPropertyValue>& properties) {
  return m_MeasurementUpdate->AddPropertiesToMetaDataMeasurement(properties);
}

// --- Post-analysis, markers and rename, each a job of its own -------------------------

bool CRecordSignalTree::SavePostAnalysisSettings(
    const std::map<CChannelID, CPostAnalysisSettings>& settings) {
  return CTreePostAnalysis(*this).Save(settings);
}

bool CRecordSignalTree::AddMarker(double& recordLength, double duration, double position,
                                  const std::u16string& name) {
  return m_Markers->AddMarker(recordLength, duration, position, name);
}

bool CRecordSignalTree::ReadMarkers(MetaDataContainer& markers) const {
  return m_Markers->ReadMarkers(markers);
}

bool CRecordSignalTree::WriteMarkers(const MetaDataContainer& markers) {
  return m_Markers->WriteMarkers(markers);
}

bool CRecordSignalTree::Rename(const std::u16string& newName) {
  return CTreeRename(*this).RenameTo(newName, nullptr, nullptr);
}

bool CRecordSignalTree::RenameAndComplete(const std::u16string& newName,
                                          const std::u16string& comment,
                                          const std::vector<CPropertyValue>& properties) {
  return CTreeRename(*this).RenameTo(newName, &comment, &properties);
}

}  // namespace zsff
