// The tree's life: making and opening measurement directories, aiming at a remote
// store, the process-wide record states and the notices that change them.
#include <zsff/LocalFileAccess.h>
#include <zsff/RecordSignalTree.h>

#include <mutex>
#include <utility>

#include "tree/TreePaths.h"
#include "tree/TreeSectionOwner.h"

namespace zsff {

CRecordSignalTree::RecordStateMap CRecordSignalTree::M_SINGLE_RECORD_STATE_MAP;
CCriticalSectionWrapper CRecordSignalTree::m_cs;
std::u16string CRecordSignalTree::s_LastErrorString;

namespace {

// The error text is written by threads that hold m_cs and by some that don't, and
// LastErrorString must not take m_cs: a lock of its own keeps the string whole.
std::mutex& LastErrorMutex() {
  static std::mutex mutex;
  return mutex;
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
                                     const std::u16string& singleRecordName)
    : m_BasePath(path),
      m_MeasureName(name),
      m_RemoteFileAccess(std::move(remoteFileAccess)),
      m_RemoteMirror(remoteMirror),
      m_OpenMode(mode),
      m_FileAccess(std::make_shared<CLocalFileAccess>()),
      m_SectionOwner(std::make_unique<CTreeSectionOwner>(*this)),
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
  // A tree still editing stops editing here, once editing exists.

  // Sections left open go without a stop: their records stay "recording" in the
  // metadata, for the end-up to find.
  for (auto& entry : m_OpenedRecordMap) {
    CRecordId key(CRecordId::RecordNameToId(entry.second->RecordName()));
    key.SetPartNumber(0);
    {
      std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
      if (m_ChangeStateCallBack)
        m_ChangeStateCallBack->OnChangeState(key, m_LastRecordHandle, ChangeRecordClosed, nullptr);
      auto state = M_SINGLE_RECORD_STATE_MAP.find(key);
      if (state != M_SINGLE_RECORD_STATE_MAP.end() && --state->second.UseCount <= 0)
        M_SINGLE_RECORD_STATE_MAP.erase(state);
    }
    entry.second.reset();
  }
  m_OpenedRecordMap.clear();
  m_FileAccess->CloseAllFiles();
}

std::unique_ptr<CRecordSignalTree> CRecordSignalTree::CreateSignalTree(
    const std::u16string& path, const std::u16string& name,
    const std::shared_ptr<CAbstractFileAccess>& remoteFileAccess, bool remoteMirror) {
  const std::u16string measureName = name.empty() ? CRecordId::NewRecordBaseName() : name;
  CLocalFileAccess local;
  const std::u16string fullPath = tree::JoinPath(path, measureName, local);
  if (local.FileExists(fullPath)) {
    // An empty directory is taken, and so is one that can't be listed.
    std::vector<std::u16string> directories, files;
    if (local.ListDirectory(fullPath, directories, files, u"*") &&
        (!directories.empty() || !files.empty())) {
      SetLastError(u"CRecordSignalTree::CreateSignalTree directory already exists: " + fullPath);
      return nullptr;
    }
  }
  return std::unique_ptr<CRecordSignalTree>(new CRecordSignalTree(
      path, measureName, false, remoteFileAccess, remoteMirror, TreeOpenCreate, u""));
}

std::unique_ptr<CRecordSignalTree> CRecordSignalTree::OpenSignalTree(
    const std::u16string& path, const std::u16string& name, TreeOpenMode_t mode,
    const std::shared_ptr<CAbstractFileAccess>& remoteFileAccess, bool remoteMirror,
    const std::u16string& singleRecordName, bool mergeRecordParts) {
  CLocalFileAccess local;
  const std::u16string fullPath = tree::JoinPath(path, name, local);
  if (!local.FileExists(fullPath)) {
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
      path, name, mergeRecordParts, remoteFileAccess, remoteMirror, mode, singleRecordName));
  if (remoteMirror && tree->MetaDataMeasurementExists(SearchLocal))
    tree->InitFullRemoteRecordPath();
  return tree;
}

void CRecordSignalTree::CloseSignalTree(std::unique_ptr<CRecordSignalTree>& tree) { tree.reset(); }

CRecordSignalTree::SignalDirectoryInfo CRecordSignalTree::GetSignalDirectoryInfo(
    const std::u16string& path, const std::u16string& name,
    const std::shared_ptr<CAbstractFileAccess>& remoteFileAccess, bool remoteOnly) {
  SignalDirectoryInfo info;
  std::vector<CRecordId> records;
  if (remoteFileAccess) {
    std::unique_ptr<CRecordSignalTree> tree =
        OpenSignalTree(path, name, TreeOpenRead, remoteFileAccess, true, u"", false);
    if (tree && tree->MetaDataMeasurementExists(SearchRemote) && tree->InitFullRemoteRecordPath() &&
        tree->ListRecords(records, false) && !records.empty()) {
      info.HasRemoteRecords = true;
      info.Valid = true;
    }
  }
  if (!remoteFileAccess || !remoteOnly) {
    std::unique_ptr<CRecordSignalTree> tree =
        OpenSignalTree(path, name, TreeOpenRead, nullptr, false, u"", false);
    if (tree && tree->MetaDataMeasurementExists(SearchLocal)) {
      info.Valid = tree->ListRecords(records, false);
      info.HasLocalRecords = !records.empty();
    }
  }
  // A probe leaves no error behind, not even an older one.
  LastErrorString();
  return info;
}

void CRecordSignalTree::SetLocalDiskId(const std::string& diskId) {
  static_cast<CLocalFileAccess&>(*m_FileAccess).SetLocalDiskId(diskId);
}

bool CRecordSignalTree::InitFullRemoteRecordPath() {
  if (m_RemoteFileAccess && m_FullRemoteRecordPath.empty())
    m_FullRemoteRecordPath = RecordNameBase();
  return m_RecordBase.RecordBase() != 0;
}

void CRecordSignalTree::ChangeState(const CRecordId& id, ChangeAction_t action,
                                    const CChangeActionParam_t* param) {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  CRecordId key(id);
  key.SetPartNumber(0);

  // The host hears every notice, also those the tree has nothing to do with.
  if (m_ChangeStateCallBack)
    m_ChangeStateCallBack->OnChangeState(key, m_LastRecordHandle, action, param);

  auto state = M_SINGLE_RECORD_STATE_MAP.find(key);
  const bool known = state != M_SINGLE_RECORD_STATE_MAP.end();
  // Declared after the guard, so that the file lock goes before m_cs is left.
  std::unique_ptr<MetaDataFileLock> lock;

  switch (action) {
    case ChangeRecordCreated:
      if (known) {
        ++state->second.UseCount;
        break;
      }
      state = M_SINGLE_RECORD_STATE_MAP.emplace(key, RecordState_t{false, false, 1, 0}).first;
      if (!param) break;
      state->second.RecordNumber = param->RecordNumber;
      lock = CreateMetaDataLock(MetaDataFileLock::LockWait);
      UpdateMetaDataMeasurement(lock.get(), UMCreateNewRecord, param);
      break;

    case ChangeRecordStarted:
      if (param && m_RecordCounter == 1) m_RecordStartDate = param->AbsDate;
      if (!known) break;
      state->second.Recording = true;
      if (!param) break;
      lock = CreateMetaDataLock(MetaDataFileLock::LockWait);
      state->second.RecordNumber = param->RecordNumber;
      UpdateMetaDataMeasurement(lock.get(), UMUpdatePartLength, param);
      break;

    case ChangeRecordWriting:
      break;

    case ChangeRecordStopped:
      if (known) state->second.Recording = false;
      if (!param) break;
      lock = CreateMetaDataLock(MetaDataFileLock::LockWait);
      m_TotalSize += param->FileSize;
      if (param->RecordNumber != m_LastRecordNumber) {
        m_LastRecordNumber = param->RecordNumber;
        if (known) {
          UpdateMetaDataMeasurement(lock.get(), UMFinishCurrentRecord, param);
          state->second.RecordNumber = m_LastRecordNumber + 1;
        }
      } else {
        // A second stop of the same record only refreshes the summary.
        UpdateMetaDataMeasurement(lock.get(), UMUpdatePartLength, nullptr);
      }
      break;

    case ChangeRecordCleaned: {
      lock = CreateMetaDataLock(MetaDataFileLock::LockWait);
      if (known) state->second.Recording = false;
      m_TotalSize = 0;
      m_RecordLength = 0.0;
      m_RecordStartDate = 0;
      m_LastRecordNumber = 0;
      UpdateMetaDataMeasurement(lock.get(), UMRemoveRecord, param);
      if (param) {
        CChangeActionParam_t fromStart = *param;
        fromStart.FirstPart = 0;
        fromStart.LastPart = 0;
        UpdateMetaDataMeasurement(lock.get(), UMCreateNewRecord, &fromStart);
      } else {
        UpdateMetaDataMeasurement(lock.get(), UMCreateNewRecord, nullptr);
      }
      break;
    }

    case ChangeReadStarted:
      if (known) state->second.Reading = true;
      break;

    case ChangeReadStopped:
      if (known) state->second.Reading = false;
      break;

    case ChangeRecordClosed:
    case ChangeRecordReleased:
      if (known && --state->second.UseCount <= 0) M_SINGLE_RECORD_STATE_MAP.erase(state);
      break;

    default:
      break;
  }
}

}  // namespace zsff
