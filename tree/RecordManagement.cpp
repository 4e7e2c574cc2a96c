// Records of a measurement: making and opening sections behind handles, closing
// them, listing what the directory holds, and the states the process shares.
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSection.h>
#include <zsff/RecordSignalTree.h>
#include <zsff/TextConversion.h>

#include <algorithm>
#include <set>
#include <string>

#include "foundation/Diagnostics.h"
#include "foundation/FileNames.h"
#include "signal/BlockReduction.h"
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

CRecordId WithoutPart(const CRecordId& id) {
  CRecordId key(id);
  key.SetPartNumber(0);
  return key;
}

bool SameRecord(const CRecordId& a, const CRecordId& b) {
  return a.RecordBase() == b.RecordBase() && a.RecordNumber() == b.RecordNumber();
}

// The entries of one base lie together in the map: every key from base << 32 up
// to the next base.
template <typename Map, typename Visit>
void ForEachOfBase(Map& states, unsigned int base, Visit visit) {
  const CRecordId first(static_cast<unsigned long long>(base) << 32);
  for (auto it = states.lower_bound(first); it != states.end() && it->first.RecordBase() == base;
       ++it)
    visit(it->second);
}

}  // namespace

int CRecordSignalTree::NextHandle(const CRecordId& id) {
  m_LastRecordHandle = m_LastRecordHandle == 0
                           ? static_cast<int>(id.RecordBase())
                           : static_cast<int>(static_cast<unsigned int>(m_LastRecordHandle) + 1u);
  return m_LastRecordHandle;
}

int CRecordSignalTree::CreateRecord(long analyzerFilter) {
  if (m_OpenMode == TreeOpenRead || IsRecording(false)) {
    SetLastError(
        u"CRecordSignalTree::CreateRecord : record open in read mode or record in progress");
    return 0;
  }
  if (m_RecordCounter == 0) {
    if (m_RecordBase.RecordBase() == 0) m_RecordBase.NewBase();
    if (m_RemoteFileAccess) {
      m_FullRemoteRecordPath = m_RecordBase.IdToRecordNameBase();
      m_RemoteFileAccess->SelectAnalyzer(tree::kMeasurementStore);
      if (!m_RemoteFileAccess->FileExists(m_FullRemoteRecordPath))
        m_RemoteFileAccess->CreateDirectory(m_FullRemoteRecordPath);
    }
  }

  const int handle = NextHandle(m_RecordBase);
  ++m_RecordCounter;
  const std::string name =
      names::RecordName(WideToUtf8(m_RecordBase.IdToRecordNameBase()), m_RecordCounter);
  const CRecordId id(names::ParseRecordName(name));

  // The handle and the counter stay spent: the next record takes the next number.
  if (m_RemoteFileAccess && !m_RemoteFileAccess->FileExists(m_FullRemoteRecordPath) &&
      !m_RemoteFileAccess->CreateDirectory(m_FullRemoteRecordPath)) {
    SetLastError(u"CRecordSignalTree::CreateRecord : unable to create directory: " +
                 m_FullRemoteRecordPath);
    return 0;
  }

  CAbstractFileAccess* access = m_RemoteFileAccess ? m_RemoteFileAccess.get() : m_FileAccess.get();
  const std::u16string& directory = m_RemoteFileAccess ? m_FullRemoteRecordPath : m_FullRecordPath;
  CRecordSection* section =
      new CRecordSection(this, directory, id, 0,
                         m_OpenMode == TreeOpenCreate ? CAbstractRecordSection::OpenCreate
                                                      : CAbstractRecordSection::OpenEdit,
                         true, 0.0, 0, access, analyzerFilter);
  m_OpenedRecordMap[handle].reset(section);

  // A new record starts with the channels of the one before it.
  if (m_RecordCounter > 1)
    section->DuplicateRecordSection(tree::JoinPath(directory, m_CurrentRecordName, *access));

  CChangeActionParam_t param;
  param.RecordNumber = static_cast<unsigned short>(m_RecordCounter);
  ChangeState(id, ChangeRecordCreated, &param);

  m_CurrentRecordName = Utf8ToWide(name);
  return handle;
}

int CRecordSignalTree::OpenRecord(const CRecordId& id, TreeOpenMode_t mode, long analyzerFilter) {
  const TreeOpenMode_t treeMode = mode == TreeOpenDefault ? m_OpenMode : mode;
  const long number = id.RecordNumber() != 0 ? id.RecordNumber() : m_RecordCounter;
  if (treeMode == TreeOpenCreate || treeMode == TreeOpenEdit) m_RecordCounter = number;

  MetaDataContainer metaData;
  std::vector<MetaDataRecord> records;
  if (!MetaDataMeasurementExists(SearchLocalThenRemote) || !LoadMetaDataMeasurement(metaData) ||
      !GetRecordsVect(records, &metaData)) {
    SetLastErrorIfEmpty(u"CRecordSignalTree::OpenRecord() failed in GetRecordsVect");
    return 0;
  }

  // Pending channel removals ("ChannelsToRemove") are carried out here, under
  // editing, once channel removal exists.

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
    SetLastError(u"CRecordSignalTree::OpenRecord() Unable to found record Id: " +
                 id.IdToRecordName());
    return 0;
  }
  CRecordId recordId(entry->RecordId());

  const int handle = NextHandle(recordId);
  if (m_MergeRecordParts) recordId.SetPartNumber(0);
  CAbstractFileAccess* access = m_RemoteFileAccess ? m_RemoteFileAccess.get() : m_FileAccess.get();
  const std::u16string& directory = m_RemoteFileAccess ? m_FullRemoteRecordPath : m_FullRecordPath;
  m_OpenedRecordMap[handle].reset(new CRecordSection(
      this, directory, recordId, entry->LastPartNumber(), SectionOpenMode(treeMode),
      entry->Recording(), entry->Duration(), entry->OffsetTimeToStop(), access, analyzerFilter));

  {
    std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
    const CRecordId key = WithoutPart(recordId);
    if (m_ChangeStateCallBack)
      m_ChangeStateCallBack->OnChangeState(key, handle, ChangeRecordCreated, nullptr);
    auto state = M_SINGLE_RECORD_STATE_MAP.find(key);
    if (state != M_SINGLE_RECORD_STATE_MAP.end())
      ++state->second.UseCount;
    else
      M_SINGLE_RECORD_STATE_MAP.emplace(key, RecordState_t{false, false, 1, 0});
  }

  if (m_CurrentRecordName.empty()) {
    m_CurrentRecordName = recordId.IdToRecordName();
    if (m_RecordBase.RecordBase() == 0) m_RecordBase.SetRecordBase(recordId.RecordBase());
  }
  return handle;
}

bool CRecordSignalTree::CloseRecord(int& handle, bool allowDelete) {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  auto open = m_OpenedRecordMap.find(handle);
  if (open == m_OpenedRecordMap.end()) {
    handle = 0;
    SetLastError(u"CRecordSignalTree::CloseRecord invalid section record ID");
    return false;
  }
  // The section stays in the map while it stops: the stop notice may read its
  // channels through the last handle.
  CAbstractRecordSection& stopping = *open->second;
  const CRecordId id(CRecordId::RecordNameToId(stopping.RecordName()));
  if (IsRecording(id, false)) stopping.StopRecord();
  if (IsReading(id)) stopping.StopReading();
  // Taking the discard mark keeps the section's destructor off the record; with
  // `allowDelete`, the mark decides whether the record is deleted further down.
  stopping.DeleteRecord();
  std::unique_ptr<CAbstractRecordSection> section = std::move(open->second);
  m_OpenedRecordMap.erase(open);

  // A section of a recording that never stopped leaves its entry "recording";
  // the entry is marked finished with what it says.
  if (section->State() != CAbstractRecordSection::SectionStopped &&
      (section->OpenMode() == CAbstractRecordSection::OpenCreate ||
       section->OpenMode() == CAbstractRecordSection::OpenEdit)) {
    std::unique_ptr<MetaDataFileLock> lock = CreateMetaDataLock(MetaDataFileLock::LockWait);
    std::vector<MetaDataRecord> records;
    MetaDataContainer metaData;
    if (lock && GetRecordsVect(records) && !records.empty() && records.back().Recording() &&
        LoadMetaDataMeasurement(metaData)) {
      const MetaDataRecord last = records.back();
      CMetaDataMeasurementWriter writer(metaData);
      writer.RemoveRecord(last.RecordId());
      writer.AddRecord(last.RecordId(), last.LastPartNumber(), last.AbsDate(), last.Duration(),
                       false, last.PartLength(), last.OffsetTimeToStop());
      SaveMetaDataMeasurement(lock.get(), metaData, true);
    }
  }

  ChangeState(id, allowDelete ? ChangeRecordClosed : ChangeRecordReleased, nullptr);
  // A record kept must not be deleted by the section's destructor.
  if (!allowDelete) section->DeleteRecord();
  section.reset();

  // A marked record is deleted here with its metadata entry once record deletion exists.

  handle = 0;
  return true;
}

void CRecordSignalTree::CloseAllRecord() {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  std::vector<std::pair<int, CRecordId>> open;
  for (const auto& entry : m_OpenedRecordMap)
    open.emplace_back(
        entry.first, WithoutPart(CRecordId(CRecordId::RecordNameToId(entry.second->RecordName()))));
  for (auto& entry : open) {
    CloseRecord(entry.first, true);
    // Other trees lose their hold on these records too.
    M_SINGLE_RECORD_STATE_MAP.erase(entry.second);
  }
}

CAbstractRecordSection& CRecordSignalTree::wRecord(int handle) {
  if (m_OpenedRecordMap.empty()) {
    ReportDiagnostic(DiagnosticError, "CRecordSignalTree::wRecord(%d) m_OpenedRecordMap empty!!!",
                     handle);
    return m_DummySection;
  }
  auto open = m_OpenedRecordMap.find(handle);
  if (open == m_OpenedRecordMap.end()) {
    ReportDiagnostic(DiagnosticError,
                     "CRecordSignalTree::wRecord(%d) id not found in m_OpenedRecordMap !!!",
                     handle);
    return m_DummySection;
  }
  return *open->second;
}

const CAbstractRecordSection& CRecordSignalTree::rRecord(int handle) const {
  auto open = m_OpenedRecordMap.find(handle);
  if (open == m_OpenedRecordMap.end()) return m_DummySection;
  return *open->second;
}

std::u16string CRecordSignalTree::RecordName(int handle) {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  auto open = m_OpenedRecordMap.find(handle);
  return open == m_OpenedRecordMap.end() ? std::u16string() : open->second->RecordName();
}

bool CRecordSignalTree::ListRecordDirectories(std::vector<CRecordId>& records,
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

bool CRecordSignalTree::ListRecords(std::vector<CRecordId>& records, bool localFallback) const {
  records.clear();
  bool listed;
  if (m_RemoteFileAccess && m_RemoteMirror) {
    listed = ListRecordDirectories(records, *m_RemoteFileAccess, m_FullRemoteRecordPath, true);
    if (records.empty() && localFallback)
      listed = ListRecordDirectories(records, *m_FileAccess, m_FullRecordPath, false);
  } else {
    listed = ListRecordDirectories(records, *m_FileAccess, m_FullRecordPath, false);
  }
  if (!listed) return false;

  std::vector<MetaDataRecord> entries;
  if (!GetRecordsVect(entries)) return false;
  // The disk decides what is listed; the metadata adds the first part of each.
  for (CRecordId& record : records) {
    for (const MetaDataRecord& entry : entries) {
      if (SameRecord(CRecordId(entry.RecordId()), record)) {
        record = CRecordId(entry.RecordId());
        break;
      }
    }
  }
  return true;
}

bool CRecordSignalTree::ListAnalyzerInfo(std::map<unsigned short, CAnalyzerInfo>& analyzers) {
  analyzers.clear();
  if (!InitFullRemoteRecordPath()) return false;
  std::vector<CRecordId> records;
  ListRecords(records, true);
  if (records.empty()) return false;
  int handle = OpenRecord(records.front(), TreeOpenInfo, 0);
  if (handle == 0) return false;
  CAbstractRecordSection& section = *m_OpenedRecordMap[handle];
  const bool listed = section.ListAnalyzerInfo(analyzers);
  if (!section.IsUsed()) CloseRecord(handle, true);
  return listed;
}

std::u16string CRecordSignalTree::RecordNameBase() {
  if (m_RecordBase.RecordBase() == 0 ||
      (m_RemoteMirror && m_RemoteFileAccess && m_FullRemoteRecordPath.empty())) {
    MetaDataContainer metaData;
    if (LoadMetaDataMeasurement(metaData)) {
      MetaDataMeasurementReader reader(metaData);
      std::u16string signalFileName;
      if (reader.SignalFileName(signalFileName) && !signalFileName.empty())
        m_RecordBase = CRecordId(CRecordId::RecordNameToId(signalFileName));
      if (m_RemoteMirror && m_RemoteFileAccess) {
        // The store learns which of its disks hold this measurement.
        const std::vector<MetaDataAnalyzer> devices = reader.GetAnalyzerVect();
        if (!devices.empty()) {
          std::set<std::u16string> disks;
          for (const MetaDataAnalyzer& device : devices)
            disks.insert(AnsiToWide(device.DiskSerialNumber()));
          m_RemoteFileAccess->SetWantedDisks(disks);
        }
      }
    }
  }
  return m_RecordBase.IdToRecordNameBase();
}

bool CRecordSignalTree::SetRecordBase(long base) {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  const unsigned int wanted = static_cast<unsigned int>(base);
  if (M_SINGLE_RECORD_STATE_MAP.count(CRecordId(wanted, 1)) != 0) return false;
  m_RecordBase.SetRecordBase(wanted);
  return true;
}

bool CRecordSignalTree::IsRecording(bool fromMetadata) const {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  bool recording = false;
  if (fromMetadata) {
    std::vector<MetaDataRecord> records;
    GetRecordsVect(records);
    for (const MetaDataRecord& entry : records) recording = recording || entry.Recording();
  } else {
    ForEachOfBase(M_SINGLE_RECORD_STATE_MAP, m_RecordBase.RecordBase(),
                  [&](const RecordState_t& state) { recording = recording || state.Recording; });
  }
  return recording;
}

bool CRecordSignalTree::IsRecording(const CRecordId& id, bool fromMetadata) const {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  bool recording = false;
  if (fromMetadata) {
    // An id with a part number matches no entry: the entries are compared whole.
    std::vector<MetaDataRecord> records;
    GetRecordsVect(records);
    for (const MetaDataRecord& entry : records)
      recording =
          recording || (entry.Recording() && WithoutPart(CRecordId(entry.RecordId())) == id);
  } else if (id.RecordNumber() == 0) {
    ForEachOfBase(M_SINGLE_RECORD_STATE_MAP, id.RecordBase(),
                  [&](const RecordState_t& state) { recording = recording || state.Recording; });
  } else {
    auto state = M_SINGLE_RECORD_STATE_MAP.find(WithoutPart(id));
    recording = state != M_SINGLE_RECORD_STATE_MAP.end() && state->second.Recording;
  }
  return recording;
}

bool CRecordSignalTree::IsReading() const {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  bool reading = false;
  ForEachOfBase(M_SINGLE_RECORD_STATE_MAP, m_RecordBase.RecordBase(),
                [&](const RecordState_t& state) { reading = reading || state.Reading; });
  return reading;
}

bool CRecordSignalTree::IsReading(const CRecordId& id) const {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  bool reading = false;
  if (id.RecordNumber() == 0) {
    ForEachOfBase(M_SINGLE_RECORD_STATE_MAP, id.RecordBase(),
                  [&](const RecordState_t& state) { reading = reading || state.Reading; });
  } else {
    auto state = M_SINGLE_RECORD_STATE_MAP.find(WithoutPart(id));
    reading = state != M_SINGLE_RECORD_STATE_MAP.end() && state->second.Reading;
  }
  return reading;
}

bool CRecordSignalTree::IsUsed() const {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  bool used = false;
  ForEachOfBase(M_SINGLE_RECORD_STATE_MAP, m_RecordBase.RecordBase(),
                [&](const RecordState_t&) { used = true; });
  return used;
}

bool CRecordSignalTree::IsUsed(const CRecordId& id) const {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  return M_SINGLE_RECORD_STATE_MAP.count(WithoutPart(id)) != 0;
}

bool CRecordSignalTree::IsRecordSectionUsed(const CRecordId& id) const {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  if (!IsUsed(id)) return false;
  for (const auto& entry : m_OpenedRecordMap)
    if (entry.second->RecordId() == id) return true;
  return false;
}

unsigned long long CRecordSignalTree::RecordNumber(const CRecordId& id) const {
  std::lock_guard<CCriticalSectionWrapper> guard(m_cs);
  if (id.RecordNumber() != 0) {
    auto state = M_SINGLE_RECORD_STATE_MAP.find(WithoutPart(id));
    return state == M_SINGLE_RECORD_STATE_MAP.end() ? 0 : state->second.RecordNumber;
  }
  unsigned long long largest = 0;
  ForEachOfBase(M_SINGLE_RECORD_STATE_MAP, id.RecordBase(), [&](const RecordState_t& state) {
    largest = std::max(largest, state.RecordNumber);
  });
  return largest;
}

void CRecordSignalTree::CompressSampleBlock(void* destination, unsigned long long capacity,
                                            const void* source, unsigned long long samples,
                                            unsigned long long factor, SampleFormat_t format,
                                            unsigned long long& missing, double& minimum,
                                            double& maximum) {
  reduction::ReduceBlock(destination, capacity, source, samples, factor, format, missing, minimum,
                         maximum);
}

}  // namespace zsff
