// The records of one tree (see TreeRecords.h).
#include "tree/TreeRecords.h"

#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSection.h>

#include <algorithm>
#include <mutex>
#include <set>
#include <string>

#include "foundation/Diagnostics.h"
#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"
#include "tree/MeasurementFile.h"
#include "tree/RecordDeletion.h"
#include "tree/RecordKeys.h"
#include "tree/RecordStates.h"
#include "tree/TreeNotices.h"
#include "tree/TreePaths.h"

namespace zsff {

namespace {

CAbstractRecordSection::OpenMode_t SectionOpenMode(CRecordSignalTree::TreeOpenMode_t mode) {
  switch (mode) {
    case CRecordSignalTree::TreeOpenCreate:
      return CAbstractRecordSection::OpenCreate;
    case CRecordSignalTree::TreeOpenEdit:
      return CAbstractRecordSection::OpenEdit;
    case CRecordSignalTree::TreeOpenInfo:
      return CAbstractRecordSection::OpenInfo;
    default:
      return CAbstractRecordSection::OpenRead;
  }
}

}  // namespace

int CTreeRecords::NextHandle(const CRecordId& id) {
  m_LastHandle =
      m_LastHandle == 0
          ? static_cast<int>(id.RecordBase())
          : static_cast<int>(static_cast<unsigned int>(m_LastHandle) + 1u);
  return m_LastHandle;
}

int CTreeRecords::CreateRecord(long analyzerFilter) {
  if (m_Tree.m_OpenMode == CRecordSignalTree::TreeOpenRead || m_Tree.IsRecording(false)) {
    CRecordSignalTree::SetLastError(
        u"CRecordSignalTree::CreateRecord : record open in read mode or record in progress");
    return 0;
  }
  if (m_Tree.m_RecordCounter == 0) {
    if (m_Tree.m_RecordBase.RecordBase() == 0) m_Tree.m_RecordBase.NewBase();
    if (m_Tree.m_RemoteFileAccess) {
      m_Tree.m_FullRemoteRecordPath = m_Tree.m_RecordBase.IdToRecordNameBase();
      m_Tree.m_RemoteFileAccess->SelectAnalyzer(tree::kMeasurementStore);
      if (!m_Tree.m_RemoteFileAccess->FileExists(m_Tree.m_FullRemoteRecordPath))
        m_Tree.m_RemoteFileAccess->CreateDirectory(m_Tree.m_FullRemoteRecordPath);
    }
  }

  const int handle = NextHandle(m_Tree.m_RecordBase);
  ++m_Tree.m_RecordCounter;
  const std::string name = names::RecordName(WideToUtf8(m_Tree.m_RecordBase.IdToRecordNameBase()),
                                             m_Tree.m_RecordCounter);
  const CRecordId id(names::ParseRecordName(name));

  // The handle and the counter stay spent: the next record takes the next number.
  if (m_Tree.m_RemoteFileAccess &&
      !m_Tree.m_RemoteFileAccess->FileExists(m_Tree.m_FullRemoteRecordPath) &&
      !m_Tree.m_RemoteFileAccess->CreateDirectory(m_Tree.m_FullRemoteRecordPath)) {
    CRecordSignalTree::SetLastError(
        u"CRecordSignalTree::CreateRecord : unable to create directory: " +
        m_Tree.m_FullRemoteRecordPath);
    return 0;
  }

  CAbstractFileAccess* access =
      m_Tree.m_RemoteFileAccess ? m_Tree.m_RemoteFileAccess.get() : m_Tree.m_FileAccess.get();
  const std::u16string& directory =
      m_Tree.m_RemoteFileAccess ? m_Tree.m_FullRemoteRecordPath : m_Tree.m_FullRecordPath;
  // A record that can't be made takes its directory with it, unless it found one.
  const std::u16string recordPath = tree::JoinPath(directory, id.IdToRecordName(), *access);
  const bool found = access->FileExists(recordPath);
  CRecordSection* section = new CRecordSection(
      &m_Tree, directory, id, 0,
      m_Tree.m_OpenMode == CRecordSignalTree::TreeOpenCreate ? CAbstractRecordSection::OpenCreate
                                                             : CAbstractRecordSection::OpenEdit,
      true, 0.0, 0, access, analyzerFilter);
  m_Sections[handle].reset(section);

  // A new record starts with the channels of the one before it.
  if (m_Tree.m_RecordCounter > 1)
    section->DuplicateRecordSection(tree::JoinPath(directory, m_Tree.m_CurrentRecordName, *access));

  // Entered last, so that a crash before leaves only a directory that no list
  // names. A record the list doesn't name would never be found again: without
  // its entry the record goes.
  CRecordSignalTree::CChangeActionParam_t param;
  param.RecordNumber = static_cast<unsigned short>(m_Tree.m_RecordCounter);
  if (!m_Tree.m_Notices->ChangeState(id, CRecordSignalTree::ChangeRecordCreated, &param)) {
    const std::u16string reason = CRecordSignalTree::LastErrorString();
    m_Tree.ChangeState(id, CRecordSignalTree::ChangeRecordReleased, nullptr);
    Abandon(handle, found ? std::u16string() : recordPath, *access);
    CRecordSignalTree::SetLastError(u"CRecordSignalTree::CreateRecord unable to enter the record: " +
                                    reason);
    return 0;
  }

  m_Tree.m_CurrentRecordName = Utf8ToWide(name);
  return handle;
}

void CTreeRecords::Abandon(int handle, const std::u16string& recordPath,
                           CAbstractFileAccess& access) {
  // The section's own discard would spare a directory that took channels.
  auto made = m_Sections.find(handle);
  made->second->DeleteRecord();
  m_Sections.erase(made);
  if (recordPath.empty()) return;
  access.SelectAnalyzer(tree::kMeasurementStore);
  access.DeleteDirectoryTree(recordPath);
}

int CTreeRecords::OpenRecord(const CRecordId& id, CRecordSignalTree::TreeOpenMode_t mode,
                             long analyzerFilter) {
  const CRecordSignalTree::TreeOpenMode_t treeMode =
      mode == CRecordSignalTree::TreeOpenDefault ? m_Tree.m_OpenMode : mode;
  const long number = id.RecordNumber() != 0 ? id.RecordNumber() : m_Tree.m_RecordCounter;
  if (treeMode == CRecordSignalTree::TreeOpenCreate || treeMode == CRecordSignalTree::TreeOpenEdit)
    m_Tree.m_RecordCounter = number;

  MetaDataContainer metaData;
  std::vector<MetaDataRecord> records;
  if (!m_Tree.m_MeasurementFile->Exists(CRecordSignalTree::SearchLocalThenRemote) ||
      !m_Tree.LoadMetaDataMeasurement(metaData) || !m_Tree.GetRecordsVect(records, &metaData)) {
    CRecordSignalTree::SetLastErrorIfEmpty(
        u"CRecordSignalTree::OpenRecord() failed in GetRecordsVect");
    return 0;
  }

  // Removals that a failure or a crash left half done are finished first.
  m_Tree.m_Deletion->CompletePending();

  // An id with a base names an entry exactly; one without is a position from 1.
  const MetaDataRecord* entry = nullptr;
  if (id.RecordBase() != 0) {
    for (const MetaDataRecord& candidate : records)
      if (candidate.RecordId() == id.RecordId()) {
        entry = &candidate;
        break;
      }
  } else if (id.RecordId() - 1 < records.size()) {
    entry = &records[id.RecordId() - 1];
  }
  if (!entry) {
    CRecordSignalTree::SetLastError(u"CRecordSignalTree::OpenRecord() Unable to found record Id: " +
                                    id.IdToRecordName());
    return 0;
  }
  CRecordId recordId(entry->RecordId());

  const int handle = NextHandle(recordId);
  if (m_Tree.m_MergeRecordParts) recordId.SetPartNumber(0);
  CAbstractFileAccess* access =
      m_Tree.m_RemoteFileAccess ? m_Tree.m_RemoteFileAccess.get() : m_Tree.m_FileAccess.get();
  const std::u16string& directory =
      m_Tree.m_RemoteFileAccess ? m_Tree.m_FullRemoteRecordPath : m_Tree.m_FullRecordPath;
  m_Sections[handle].reset(new CRecordSection(
      &m_Tree, directory, recordId, entry->LastPartNumber(), SectionOpenMode(treeMode),
      entry->Recording(), entry->Duration(), entry->OffsetTimeToStop(), access, analyzerFilter));

  {
    std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
    const CRecordId key = tree::WithoutPart(recordId);
    if (m_Tree.m_ChangeStateCallBack)
      m_Tree.m_ChangeStateCallBack->OnChangeState(key, handle,
                                                  CRecordSignalTree::ChangeRecordCreated, nullptr);
    CRecordStates::Open(key);
  }

  if (m_Tree.m_CurrentRecordName.empty()) {
    m_Tree.m_CurrentRecordName = recordId.IdToRecordName();
    if (m_Tree.m_RecordBase.RecordBase() == 0)
      m_Tree.m_RecordBase.SetRecordBase(recordId.RecordBase());
  }
  return handle;
}

bool CTreeRecords::CloseRecord(int& handle, bool allowDelete) {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  auto open = m_Sections.find(handle);
  if (open == m_Sections.end()) {
    handle = 0;
    CRecordSignalTree::SetLastError(u"CRecordSignalTree::CloseRecord invalid section record ID");
    return false;
  }
  // The section stays in the map while it stops: the stop notice may read its
  // channels through the last handle.
  CAbstractRecordSection& stopping = *open->second;
  const CRecordId id(CRecordId::RecordNameToId(stopping.RecordName()));
  // A failure below closes the section all the same, and is told at the end. The
  // record may be recording in another section, which this stop refuses.
  std::u16string failure;
  const bool recordingHere = stopping.State() == CAbstractRecordSection::SectionStarted ||
                             stopping.State() == CAbstractRecordSection::SectionRecording;
  if (m_Tree.IsRecording(id, false) && !stopping.StopRecord() && recordingHere)
    failure = u"CRecordSignalTree::CloseRecord unable to stop the record: " +
              stopping.LastErrorString();
  if (m_Tree.IsReading(id)) stopping.StopReading();
  // Taking the discard mark keeps the section's destructor off the record; with
  // `allowDelete`, the mark decides whether the record is deleted further down.
  const bool discard = stopping.DeleteRecord() && allowDelete;
  std::unique_ptr<CAbstractRecordSection> section = std::move(open->second);
  m_Sections.erase(open);

  // A section that never started leaves its entry "recording"; the entry is
  // marked finished with what it says. One whose stop failed after its start
  // keeps the entry recording: its channels' temporary files tell the end-up
  // what the record holds.
  const CAbstractRecordSection::SingleRecordState_t state = section->State();
  if (state != CAbstractRecordSection::SectionStopped &&
      state != CAbstractRecordSection::SectionStarted &&
      state != CAbstractRecordSection::SectionRecording &&
      (section->OpenMode() == CAbstractRecordSection::OpenCreate ||
       section->OpenMode() == CAbstractRecordSection::OpenEdit)) {
    std::unique_ptr<MetaDataFileLock> lock = m_Tree.CreateMetaDataLock(MetaDataFileLock::LockWait);
    std::vector<MetaDataRecord> records;
    MetaDataContainer metaData;
    bool finished = lock != nullptr;
    if (lock && m_Tree.GetRecordsVect(records)) {
      if (!records.empty() && records.back().Recording()) {
        const MetaDataRecord last = records.back();
        CMetaDataMeasurementWriter writer(metaData);
        finished = m_Tree.LoadMetaDataMeasurement(metaData) &&
                   writer.RemoveRecord(last.RecordId()) &&
                   writer.AddRecord(last.RecordId(), last.LastPartNumber(), last.AbsDate(),
                                    last.Duration(), false, last.PartLength(),
                                    last.OffsetTimeToStop()) &&
                   m_Tree.SaveMetaDataMeasurement(lock.get(), metaData, true);
      }
    } else if (m_Tree.m_MeasurementFile->Exists(CRecordSignalTree::SearchLocalThenRemote)) {
      // Without a file (a tree that only reaches a store) there is no entry to finish.
      finished = false;
    }
    if (!finished)
      failure = u"CRecordSignalTree::CloseRecord unable to finish the record's entry: " +
                CRecordSignalTree::LastErrorString();
  }

  m_Tree.ChangeState(
      id,
      allowDelete ? CRecordSignalTree::ChangeRecordClosed : CRecordSignalTree::ChangeRecordReleased,
      nullptr);
  // A record kept must not be deleted by the section's destructor.
  if (!allowDelete) section->DeleteRecord();
  section.reset();

  // A record that holds nothing goes with its entry: the tree's own deletion,
  // which needs no editing mode from the host.
  if (discard) {
    const bool editing = m_Tree.m_Editing;
    m_Tree.m_Editing = true;
    m_Tree.DeleteRecord(id, CRecordSignalTree::DeleteWithMetaData, false);
    m_Tree.m_Editing = editing;
  }

  handle = 0;
  if (failure.empty()) return true;
  CRecordSignalTree::SetLastError(failure);
  return false;
}

void CTreeRecords::CloseAllRecord() {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  std::vector<std::pair<int, CRecordId>> open;
  for (const auto& entry : m_Sections)
    open.emplace_back(
        entry.first,
        tree::WithoutPart(CRecordId(CRecordId::RecordNameToId(entry.second->RecordName()))));
  for (auto& entry : open) {
    CloseRecord(entry.first, true);
    // Other trees lose their hold on these records too.
    CRecordStates::Forget(entry.second);
  }
}

CAbstractRecordSection& CTreeRecords::wRecord(int handle) {
  if (m_Sections.empty()) {
    ReportDiagnostic(DiagnosticError, "CRecordSignalTree::wRecord(%d) m_OpenedRecordMap empty!!!",
                     handle);
    return m_DummySection;
  }
  auto open = m_Sections.find(handle);
  if (open == m_Sections.end()) {
    ReportDiagnostic(DiagnosticError,
                     "CRecordSignalTree::wRecord(%d) id not found in m_OpenedRecordMap !!!",
                     handle);
    return m_DummySection;
  }
  return *open->second;
}

const CAbstractRecordSection& CTreeRecords::rRecord(int handle) const {
  auto open = m_Sections.find(handle);
  if (open == m_Sections.end()) return m_DummySection;
  return *open->second;
}

std::u16string CTreeRecords::RecordName(int handle) {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  auto open = m_Sections.find(handle);
  return open == m_Sections.end() ? std::u16string() : open->second->RecordName();
}

bool CTreeRecords::ListRecordDirectories(std::vector<CRecordId>& records,
                                         CAbstractFileAccess& access,
                                         const std::u16string& directory,
                                         bool selectMeasurementStore) {
  if (selectMeasurementStore) access.SelectAnalyzer(tree::kMeasurementStore);
  std::vector<std::u16string> directories, files;
  if (!access.ListDirectory(directory, directories, files, u"*")) return false;
  for (const std::u16string& path : directories) {
    // A name that doesn't parse stays, as id 0: the directory is there.
    const std::u16string name = tree::LastPathComponent(path);
    if (names::IsRecordDirectoryName(name)) records.emplace_back(CRecordId::RecordNameToId(name));
  }
  std::sort(records.begin(), records.end());
  return true;
}

bool CTreeRecords::ListRecords(std::vector<CRecordId>& records, bool localFallback) const {
  records.clear();
  bool listed;
  if (m_Tree.m_RemoteFileAccess && m_Tree.m_RemoteMirror) {
    listed = ListRecordDirectories(records, *m_Tree.m_RemoteFileAccess,
                                   m_Tree.m_FullRemoteRecordPath, true);
    if (records.empty() && localFallback)
      listed = ListRecordDirectories(records, *m_Tree.m_FileAccess, m_Tree.m_FullRecordPath, false);
  } else {
    listed = ListRecordDirectories(records, *m_Tree.m_FileAccess, m_Tree.m_FullRecordPath, false);
  }
  if (!listed) return false;

  std::vector<MetaDataRecord> entries;
  if (!m_Tree.GetRecordsVect(entries)) return false;
  // The disk decides what is listed; the metadata adds the first part of each.
  for (CRecordId& record : records) {
    for (const MetaDataRecord& entry : entries) {
      if (tree::SameRecord(CRecordId(entry.RecordId()), record)) {
        record = CRecordId(entry.RecordId());
        break;
      }
    }
  }
  return true;
}

bool CTreeRecords::ListAnalyzerInfo(std::map<unsigned short, CAnalyzerInfo>& analyzers) {
  analyzers.clear();
  if (!m_Tree.InitFullRemoteRecordPath()) return false;
  std::vector<CRecordId> records;
  ListRecords(records, true);
  if (records.empty()) return false;
  int handle = OpenRecord(records.front(), CRecordSignalTree::TreeOpenInfo, 0);
  if (handle == 0) return false;
  CAbstractRecordSection& section = *m_Sections[handle];
  const bool listed = section.ListAnalyzerInfo(analyzers);
  if (!section.IsUsed()) CloseRecord(handle, true);
  return listed;
}

std::u16string CTreeRecords::RecordNameBase() {
  if (m_Tree.m_RecordBase.RecordBase() == 0 ||
      (m_Tree.m_RemoteMirror && m_Tree.m_RemoteFileAccess &&
       m_Tree.m_FullRemoteRecordPath.empty())) {
    MetaDataContainer metaData;
    if (m_Tree.LoadMetaDataMeasurement(metaData)) {
      MetaDataMeasurementReader reader(metaData);
      std::u16string signalFileName;
      if (reader.SignalFileName(signalFileName) && !signalFileName.empty())
        m_Tree.m_RecordBase = CRecordId(CRecordId::RecordNameToId(signalFileName));
      if (m_Tree.m_RemoteMirror && m_Tree.m_RemoteFileAccess) {
        // The store learns which of its disks hold this measurement.
        const std::vector<MetaDataAnalyzer> devices = reader.GetAnalyzerVect();
        if (!devices.empty()) {
          std::set<std::u16string> disks;
          for (const MetaDataAnalyzer& device : devices)
            disks.insert(AnsiToWide(device.DiskSerialNumber()));
          m_Tree.m_RemoteFileAccess->SetWantedDisks(disks);
        }
      }
    }
  }
  return m_Tree.m_RecordBase.IdToRecordNameBase();
}

CAbstractRecordSection& CTreeRecords::LastSection() {
  auto open = m_Sections.find(m_LastHandle);
  if (open == m_Sections.end() || !open->second) return m_DummySection;
  return *open->second;
}

void CTreeRecords::ReleaseAll() {
  for (auto& entry : m_Sections) {
    const CRecordId key =
        tree::WithoutPart(CRecordId(CRecordId::RecordNameToId(entry.second->RecordName())));
    {
      std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
      if (m_Tree.m_ChangeStateCallBack)
        m_Tree.m_ChangeStateCallBack->OnChangeState(key, m_LastHandle,
                                                    CRecordSignalTree::ChangeRecordClosed, nullptr);
      CRecordStates::Release(key);
    }
    entry.second.reset();
  }
  m_Sections.clear();
}

bool CTreeRecords::IsRecordSectionUsed(const CRecordId& id) const {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  if (!m_Tree.m_RecordStates->IsUsed(id)) return false;
  for (const auto& entry : m_Sections)
    if (entry.second->RecordId() == id) return true;
  return false;
}

}  // namespace zsff
