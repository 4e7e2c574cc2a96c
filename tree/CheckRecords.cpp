// The repair of one measurement after a crash: each record's check tells what its
// files really hold, and the record list and the summary keys are made to say so.
#include <zsff/DateTime.h>
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordCheck.h>
#include <zsff/RecordSection.h>

#include <algorithm>
#include <mutex>

#include "foundation/TextConversion.h"
#include "persistence/SavingCopies.h"
#include "tree/RecordEndUp.h"
#include "tree/TreePaths.h"

namespace zsff {

namespace {

// What a measurement that doesn't say otherwise was recorded with.
constexpr float kDefaultFrontEndRate = 25600.0f;

// The sums over the records of one measurement.
struct Totals {
  double Duration = 0.0;
  unsigned long long Size = 0;
  long long Date = 0;

  void Add(double duration, unsigned long long size, long long date) {
    Duration += duration;
    Size += size;
    if (Date == 0) Date = date;
  }
};

// Writes the check's answer into the record's entry. A record whose ring dropped
// parts is entered again under its first part still on disk, since readers start
// at the part its id names; a stop-time record always is, with its offset.
bool WriteAnswer(CMetaDataMeasurementWriter& writer, const MetaDataRecord& entry,
                 const CheckRecordRet& answer, bool timeToStop) {
  if (!answer.HasParts) {
    if (timeToStop) return true;
    return writer.UpdateRecord(entry.RecordId(), 0, answer.Date, answer.Duration, false,
                               answer.PartLength, 0);
  }
  CRecordId moved(entry.RecordId());
  if (!timeToStop && moved.PartNumber() == answer.FirstPart)
    return writer.UpdateRecord(entry.RecordId(), answer.LastPart, answer.Date, answer.Duration,
                               false, answer.PartLength, 0);
  moved.SetPartNumber(answer.FirstPart);
  return writer.RemoveRecord(entry.RecordId()) &&
         writer.AddRecord(moved.RecordId(), answer.LastPart, answer.Date, answer.Duration, false,
                          answer.PartLength,
                          timeToStop ? static_cast<long long>(answer.Offset) : 0);
}

}  // namespace

using Tree = CRecordSignalTree;

bool CRecordEndUp::CheckRecords(std::vector<Tree::RecordEndUp_t>& repaired,
                                std::vector<std::string>& errors, bool checkAll,
                                bool testDirectories) {
  m_Tree.InitFullRemoteRecordPath();
  const std::u16string measurement =
      m_Tree.m_RemoteMirror ? m_Tree.m_FullRemoteRecordPath : m_Tree.m_FullRecordPath;
  const std::string head = "Error, record \"" + WideToUtf8(measurement) + "\"";
  const std::string recordHead = "Error, in record \"" + WideToUtf8(measurement) + "\"";
  CAbstractFileAccess& recordStore = m_Tree.m_RemoteMirror && m_Tree.m_RemoteFileAccess
                                         ? *m_Tree.m_RemoteFileAccess
                                         : *m_Tree.m_FileAccess;
  // Saves that a crash cut short are finished or dropped before anything is read.
  metadata_file::FinishSavingCopies(recordStore, measurement);

  std::vector<MetaDataRecord> records;
  if (!m_Tree.GetRecordsVect(records) || records.empty()) {
    errors.push_back(head + " does not contain any valid signal subdirectories");
    return false;
  }
  MetaDataContainer metaData;
  if (!m_Tree.LoadMetaDataMeasurement(metaData)) {
    errors.push_back(head + " unable to read metadata measurement file");
    return false;
  }
  MetaDataMeasurementReader reader(metaData);
  CMetaDataMeasurementWriter writer(metaData);
  std::string mode;
  const bool timeToStop = reader.Mode(mode) && mode == "Time to stop";
  float frontEndRate = kDefaultFrontEndRate;
  reader.SamplingFrontEnd(frontEndRate);
  long channels = 0;
  reader.NumberOfChannels(channels);
  unsigned long long channelCount = static_cast<unsigned long long>(std::max(channels, 0L));
  // A crash while editing leaves the mark behind.
  writer.Editing(false);

  Totals totals;
  bool result = true;
  std::vector<CRecordId> gone, empty;
  for (const MetaDataRecord& entry : records) {
    const CRecordId id(entry.RecordId());
    if (!checkAll && !entry.Recording()) {
      int handle = m_Tree.OpenRecord(id, Tree::TreeOpenRead, 0);
      if (handle == 0) continue;
      totals.Add(entry.Duration(), m_Tree.wRecord(handle).TotalSignalSizeInBytes(),
                 entry.AbsDate());
      m_Tree.CloseRecord(handle, true);
      continue;
    }
    if (testDirectories &&
        !recordStore.FileExists(tree::JoinPath(measurement, id.IdToRecordName(), recordStore))) {
      gone.push_back(id);
      continue;
    }
    int handle = m_Tree.OpenRecord(id, Tree::TreeOpenRead, 0);
    if (handle == 0) {
      errors.push_back(recordHead +
                       " unable to open single record: " + WideToUtf8(id.IdToRecordName()));
      result = false;
      continue;
    }
    std::unique_ptr<MetaDataFileLock> proof = m_Tree.CreateMetaDataLock(MetaDataFileLock::LockNone);
    auto* section = dynamic_cast<CRecordSection*>(&m_Tree.wRecord(handle));
    if (!proof || section == nullptr) {
      m_Tree.CloseRecord(handle, true);
      return false;
    }
    const CheckRecordRet answer =
        section->CheckRecord(proof.get(), timeToStop, frontEndRate, errors, channelCount);
    // A record that couldn't be checked keeps its entry as it was.
    if (answer.Ok) {
      if (!WriteAnswer(writer, entry, answer, timeToStop)) result = false;
      totals.Add(answer.Duration, answer.Size, answer.Date);
      if (!m_Tree.SaveMetaDataMeasurement(proof.get(), metaData, true)) result = false;
      if (answer.FailedChannels.size() == section->ChannelCount()) empty.push_back(id);
    } else {
      result = false;
    }
    // Released now, the lock file that a crash left behind goes with it.
    proof.reset();
    m_Tree.CloseRecord(handle, true);
  }

  if (result && empty.size() == records.size() - gone.size()) {
    // Nothing of the measurement holds a sample: it goes, files and all.
    const bool started = !m_Tree.m_Editing && m_Tree.StartEditing();
    m_Tree.DeleteRecords(Tree::DeleteWithMetaData);
    if (started) m_Tree.StopEditing();
    return true;
  }
  if (!result) return false;

  SYSTEMTIME start{};
  writer.DateAndTime(WideToAnsi(FileTimeToString(totals.Date)));
  writer.DateDayOfWeek(FileTimeToSystemTime(totals.Date, start) ? start.wDayOfWeek : 0);
  writer.Duration(totals.Duration);
  writer.FilesSize(static_cast<long long>(totals.Size >> 10));
  writer.NumberOfChannels(static_cast<long>(channelCount));
  for (const CRecordId& id : gone) writer.RemoveRecord(id.RecordId());
  for (const CRecordId& id : empty) writer.RemoveRecord(id.RecordId());

  std::unique_ptr<MetaDataFileLock> lock = m_Tree.CreateMetaDataLock(MetaDataFileLock::LockWait);
  if (!lock) return false;
  Tree::RecordEndUp_t line;
  std::u16string signalFileName;
  reader.UserName(line.UserName);
  if (!m_Tree.SaveMetaDataMeasurement(lock.get(), metaData, true) ||
      !reader.ProjectName(line.ProjectName) || !reader.MeasurementName(line.MeasurementName) ||
      !reader.SignalFileName(signalFileName)) {
    errors.push_back(head + " unable to update metadata measurement file");
    return false;
  }
  // Out of the list, a record without any signal would still show on disk.
  for (const CRecordId& id : empty)
    recordStore.DeleteDirectoryTree(tree::JoinPath(measurement, id.IdToRecordName(), recordStore));
  line.SignalFileName = CRecordId(CRecordId::RecordNameToId(signalFileName)).IdToRecordNameBase();
  line.Date = totals.Date;
  line.RemoteMirror = m_Tree.m_RemoteMirror;
  repaired.push_back(line);
  return true;
}

}  // namespace zsff
