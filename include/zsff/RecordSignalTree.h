// One measurement: a directory of records on the local disk and, optionally, on a
// remote store (an analyzer's disk behind the host's CAbstractFileAccess). The tree
// makes and opens that directory, hands out record sections behind integer
// handles, keeps the measurement's metadata file (".zsfh") in step with what the
// sections report, and knows which records of the process are in use.
//
// Ownership: the host owns a tree through the std::unique_ptr that CreateSignalTree
// or OpenSignalTree returns, and ends it with CloseSignalTree. The tree owns its
// sections and its CLocalFileAccess, and shares the remote store with the host.
// The host's listener is borrowed and must outlive the tree.
//
// Threads: one thread at a time per tree, apart from the sections' notices. Every
// tree of the process shares one recursive lock (m_cs), the table of record states
// and the last error text. Failures are reported by a bool, a 0 or a null pointer,
// with their words in the process-wide text that LastErrorString hands out.
#pragma once

#include <zsff/AbstractRecordSection.h>
#include <zsff/AnalyzerInfo.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileLock.h>
#include <zsff/MetaDataRecord.h>
#include <zsff/PostAnalysisSettings.h>
#include <zsff/PropertyValue.h>
#include <zsff/RecordId.h>
#include <zsff/SignalTypes.h>

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>
#include <zsff/Export.h>

namespace zsff_test {
class ZSFF_API RecordSignalTreeProbe;  // lets the tree's tests reach its private searches and updates
}

namespace zsff {

class CAbstractFileAccess;
class CDirectoryClaim;
class CRecordSection;
class CMeasurementFile;
class CMeasurementUpdate;
class CRecordSectionOwner;
class CRecordDeletion;
class CRecordEndUp;
class CRecordStates;
class CRecordTransfer;
class CTreeMarkers;
class CTreeNotices;
class CTreeRecords;
class CTreeSectionOwner;

// A recursive lock with the shape of a standard mutex, so that std::lock_guard and
// std::unique_lock take it. Its owner may take it again.
class ZSFF_API CCriticalSectionWrapper {
 public:
  void lock() { m_Mutex.lock(); }
  bool try_lock() { return m_Mutex.try_lock(); }
  void unlock() { m_Mutex.unlock(); }

 private:
  std::recursive_mutex m_Mutex;
};

class ZSFF_API CRecordSignalTree {
 public:
  // ---- Types ---------------------------------------------------------------------

  // The mode of a tree, and the mode OpenRecord is asked for.
  enum TreeOpenMode_t {
    TreeOpenDefault = 0,  // OpenRecord only: the tree's own mode
    TreeOpenRead = 1,     // read only: no directory is made, no record created
    TreeOpenCreate = 2,   // CreateSignalTree's mode: new records are OpenCreate sections
    TreeOpenEdit = 3,     // as TreeOpenCreate, with OpenEdit sections
    TreeOpenInfo = 4      // to list a record's analyzers without touching it
  };

  // The notices sections send through ChangeState.
  enum ChangeAction_t {
    ChangeRecordCreated = 0,  // a record was made or opened
    ChangeRecordStarted = 1,  // StartRecord: the record is recording
    ChangeRecordWriting = 2,  // the first block flows; for the host's listener only
    ChangeRecordStopped = 3,  // StopRecord: the record's length and size are known
    ChangeRecordCleaned = 4,  // the record was emptied to start again
    ChangeReadStarted = 5,    // a section began to read the record
    ChangeReadStopped = 6,    // it stopped reading
    ChangeRecordClosed = 7,   // one opener fewer (its record may be deleted)
    ChangeRecordReleased = 8  // one opener fewer (its record is kept)
  };

  // The optional detail of a notice.
  struct CChangeActionParam_t {
    double Duration = 0.0;    // seconds of the record from its first part on
    double PartLength = 0.0;  // seconds of one signal part
    double TimeToStop = 0.0;  // the requested stop time; 0 when not limited
    long long FileSize = 0;   // bytes of the record's signal files
    long long AbsDate = 0;    // start of the record, 100 ns ticks; 0 when unknown
    unsigned short RecordNumber = 0;
    unsigned short BlockSize = 0;  // samples to whose multiple the stop offset is rounded
    unsigned short FirstPart = 0;  // part number of the section's id
    unsigned short LastPart = 0;   // last part of the section
  };

  // The host's listener. OnChangeState is called under m_cs, before the tree acts on
  // the notice, for every notice of every tree that has this listener: it must not
  // block, and must not call a tree from another thread and wait for it.
  class CAbstractChangeStateCallBack {
   public:
    virtual ~CAbstractChangeStateCallBack() = default;
    // `key` is the record's id with PartNumber 0; `handle` the tree's last handle
    // given out; `param` may be null.
    virtual void OnChangeState(const CRecordId& key, int handle, ChangeAction_t action,
                               const CChangeActionParam_t* param) = 0;
  };

  // Where the measurement's metadata file is looked for.
  enum SearchMetaDataMode_t { SearchLocal = 0, SearchRemote = 1, SearchLocalThenRemote = 2 };

  // What a notice does to the list of records in the metadata file.
  enum UpdateMetaDataMeasurementMode {
    UMCreateNewRecord = 0,      // add the record
    UMRemoveRecord = 1,         // remove it
    UMFinishCurrentRecord = 2,  // finish the last record: length, parts, dates
    UMUpdatePartLength = 3      // write the part length into the last record
  };

  // How much DeleteRecord and DeleteRecords take away.
  enum DeleteMode_t {
    DeleteKeepMetaData = 0,  // the data only; the record list and the summary stay
    DeleteWithMetaData = 1,  // the record's entry too, the duration corrected; with
                             // DeleteRecords, the measurement's own files
    DeleteWithDirectory = 2  // as 1; DeleteRecords also removes the directory if
                             // nothing foreign lies in it
  };

  // What GetSignalDirectoryInfo found.
  struct SignalDirectoryInfo {
    bool Valid = false;  // a measurement whose records could be listed
    bool HasLocalRecords = false;
    bool HasRemoteRecords = false;
  };

  // One measurement that RecordEndUp (or CheckRecords) repaired.
  struct RecordEndUp_t {
    std::u16string ProjectName;
    std::u16string MeasurementName;
    std::u16string SignalFileName;  // the measurement's "Record_<base>"
    std::u16string UserName;        // empty when the metadata has none
    long long Date = 0;             // start of the measurement, 100 ns ticks
    bool Reserved = false;          // always false
    bool RemoteMirror = false;      // the repairing tree mirrored a remote store
  };

  // What the process knows of one record in use by any tree, keyed by the record's
  // id with PartNumber 0.
  struct RecordState_t {
    bool Recording = false;               // a section of the record is recording
    bool Reading = false;                 // a section of the record is being read
    int UseCount = 0;                     // openers; the entry goes at 0
    unsigned long long RecordNumber = 0;  // the number last reported for the record
  };

  // ---- Making and ending trees ---------------------------------------------------

  // A new measurement `name` (NewRecordBaseName() when empty) under `path`, which
  // must exist. The directory is made when missing; an existing one must be empty
  // (or unlistable). The tree holds the directory while it lives: of trees created
  // in it at once, in any processes, one gets it and the others are refused. A path
  // without a UTF-8 form (a lone surrogate half) is refused. With a remote store,
  // records go there; `remoteMirror` keeps a copy of the metadata in the local
  // directory. Null on failure, with the text in LastErrorString.
  //
  // `disk`, in this and the other static entry points: the store that takes
  // the place of the local disk for the tree, its paths and its lock file (a
  // shared file system such as CephFS, on which trees of several machines then
  // meet as on one disk); null for the local disk. On another store the
  // creators of one directory are kept apart by its emptiness alone.
  static std::unique_ptr<CRecordSignalTree> CreateSignalTree(
      const std::u16string& path, const std::u16string& name,
      const std::shared_ptr<CAbstractFileAccess>& remoteFileAccess, bool remoteMirror,
      const std::shared_ptr<CAbstractFileAccess>& disk = nullptr);

  // An existing measurement directory, local, or remote when a store is given and
  // the local one is missing. The contents aren't read: any existing directory
  // opens. `singleRecordName` aims the tree straight at one remote directory (the
  // host's way in; empty otherwise). `mergeRecordParts` shows a record split into
  // sections as one entry of GetRecordsVect. Null on failure, with the text in
  // LastErrorString.
  static std::unique_ptr<CRecordSignalTree> OpenSignalTree(
      const std::u16string& path, const std::u16string& name, TreeOpenMode_t mode,
      const std::shared_ptr<CAbstractFileAccess>& remoteFileAccess, bool remoteMirror,
      const std::u16string& singleRecordName, bool mergeRecordParts,
      const std::shared_ptr<CAbstractFileAccess>& disk = nullptr);

  // Destroys the tree, if any, and leaves the pointer null.
  static void CloseSignalTree(std::unique_ptr<CRecordSignalTree>& tree);

  // What the directory holds, locally and (with a store) remotely; `remoteOnly`
  // skips the local look. Leaves LastErrorString empty, also of an earlier error.
  static SignalDirectoryInfo GetSignalDirectoryInfo(
      const std::u16string& path, const std::u16string& name,
      const std::shared_ptr<CAbstractFileAccess>& remoteFileAccess, bool remoteOnly,
      const std::shared_ptr<CAbstractFileAccess>& disk = nullptr);

  // The last failure's text of any tree of the process, which the call clears: a
  // second call gives an empty string.
  static std::u16string LastErrorString();

  // Closes the sections still open without stopping them or touching the metadata
  // (a recording left open stays "recording" there, for the end-up to find), and
  // every file of the tree's local store.
  virtual ~CRecordSignalTree();

  // A tree owns its sections and their handles: it can't be copied.
  CRecordSignalTree(const CRecordSignalTree&) = delete;
  CRecordSignalTree& operator=(const CRecordSignalTree&) = delete;

  // ---- Listener and notices ------------------------------------------------------

  // Borrowed; null removes it. Not locked: set it before records are in use.
  void SetChangeStateCallBack(CAbstractChangeStateCallBack* callBack) {
    m_ChangeStateCallBack = callBack;
  }
  // The disk id of the tree's local store; nothing on a host's disk store.
  void SetLocalDiskId(const std::string& diskId);
  // Durability against a power loss for the files the tree writes on the local
  // disk (a host's disk store keeps its own), off (0) by default: with an
  // interval, the first write once the interval has passed syncs the file
  // system, so that after a power loss the end-up keeps every sample handed
  // over longer than about the interval before it. The syncs run on the
  // recording's thread; bench/tree_recording.cpp measures what they cost.
  void SetSyncInterval(std::chrono::milliseconds interval);

  // A section's report of a change to record `id`: passed to the listener first (any
  // action), then applied to the process-wide record states and, for creation,
  // start, stop and cleaning, to the metadata file under the metadata lock. A
  // metadata update that fails is dropped: the recording goes on, and the end-up
  // mends the file.
  void ChangeState(const CRecordId& id, ChangeAction_t action, const CChangeActionParam_t* param);

  // With a remote store and no remote directory known yet, takes RecordNameBase().
  // True when the measurement's base is known.
  bool InitFullRemoteRecordPath();

  // ---- Records -------------------------------------------------------------------

  // A new record (number m_RecordCounter + 1) with the channels of the one before
  // it; entered in the metadata as recording. `analyzerFilter` goes to the section.
  // The handle, 0 when refused (read-only tree, or a record of this measurement
  // recording in any tree of the process), when the remote directory can't be
  // made, or when the record can't be entered in the metadata (its directory then
  // goes); the handle and the counter advance in these last cases all the same.
  int CreateRecord(long analyzerFilter);

  // A section on an existing record. An id with a base must match an entry of the
  // metadata list exactly, part number included; an id without a base is a
  // position in that list, from 1. TreeOpenDefault uses the tree's mode; TreeOpenCreate
  // and TreeOpenEdit make the record's number the tree's counter. The handle, 0
  // when the metadata can't be read or the record isn't listed.
  int OpenRecord(const CRecordId& id, TreeOpenMode_t mode, long analyzerFilter);

  // Stops what the section still does, closes it, and deletes its record when the
  // section holds nothing worth keeping and `allowDelete` is true. A section that
  // ended without a stop has its metadata entry marked finished. `handle` becomes 0
  // in every case; false for an unknown handle, and when the stop or the entry's
  // update failed (the section is closed all the same; LastErrorString says why).
  bool CloseRecord(int& handle, bool allowDelete);
  // CloseRecord(handle, true) on every open section, and their records forgotten by
  // the whole process, whatever other trees hold.
  void CloseAllRecord();

  // The section of a handle; for an unknown handle the null section, whose
  // operations all fail (wRecord also reports a diagnostic line). Valid until the handle is
  // closed.
  CAbstractRecordSection& wRecord(int handle);
  const CAbstractRecordSection& rRecord(int handle) const;
  // The section's record name; empty for an unknown handle.
  std::u16string RecordName(int handle);

  // The record directories on disk (remote first, with the local disk as a fall
  // back when the remote one shows none and `localFallback`), sorted, each with the
  // part number its metadata entry gives. False when the directory can't be listed
  // or the metadata can't be read.
  bool ListRecords(std::vector<CRecordId>& records, bool localFallback) const;
  // The analyzers that recorded the first record.
  bool ListAnalyzerInfo(std::map<unsigned short, CAnalyzerInfo>& analyzers);

  // "Record_<base>"; the base comes from the metadata when not yet known. Empty
  // while there is none.
  std::u16string RecordNameBase();
  // Sets the base of the measurement; false when record 1 of that base is in use
  // in the process.
  bool SetRecordBase(long base);

  // Record states across every tree of the process. `fromMetadata` reads the
  // metadata file instead, and so sees other processes.
  bool IsRecording(bool fromMetadata) const;
  // A record id with number 0 asks about every record of its base.
  bool IsRecording(const CRecordId& id, bool fromMetadata) const;
  bool IsReading() const;
  bool IsReading(const CRecordId& id) const;
  // Some record of this measurement is open in some tree of the process.
  bool IsUsed() const;
  // The number last reported for the record; with number 0, the largest of its
  // base. 0 when unknown.
  unsigned long long RecordNumber(const CRecordId& id) const;

  // True: each file is flushed by its writer.
  bool FlushAllFiles() { return true; }

  // The block reduction of the pyramid files, for the host's own displays: every
  // `factor` samples of `source` become one (min, max) pair in `destination`
  // (`capacity` values). The carry (`missing`, `minimum`, `maximum`) links calls.
  static void CompressSampleBlock(void* destination, unsigned long long capacity,
                                  const void* source, unsigned long long samples,
                                  unsigned long long factor, SampleFormat_t format,
                                  unsigned long long& missing, double& minimum, double& maximum);

  // ---- End-up after a crash (CRecordEndUp) ----------------------------------------

  // Repairs every unfinished measurement (one whose "<base>.zff" header is still
  // there) among the sub-directories of `directory`, on the remote store when
  // `remote` (where only directories named after a record count), otherwise on
  // the disk `fileAccess` (its trees take it as their `disk`); a null
  // `fileAccess` is then filled with a local store. Each
  // is checked by CheckRecords and its header renamed to ".zxf", also when the
  // check failed, so that it isn't tried at each start. Appends a line per
  // repaired measurement to `repaired` and the words of each failure to
  // `errors`; true when nothing failed. Holds m_cs throughout.
  static bool RecordEndUp(const std::u16string& directory,
                          std::shared_ptr<CAbstractFileAccess>& fileAccess, bool remote,
                          std::vector<RecordEndUp_t>& repaired, std::vector<std::string>& errors);
  // RecordEndUp for the one measurement directory `path` (parent, separator,
  // name, as the store lists it), on the store `fileAccess`, which must be set:
  // for a host that tells its user about each measurement in turn. True when it
  // isn't a measurement, isn't unfinished, or was repaired without a failure.
  static bool EndUpMeasurement(const std::u16string& path,
                               const std::shared_ptr<CAbstractFileAccess>& fileAccess, bool remote,
                               std::vector<RecordEndUp_t>& repaired,
                               std::vector<std::string>& errors);
  // Writes the truth of the records that each section's check finds on disk
  // into the record list and the summary keys: every record with `checkAll`,
  // otherwise those the list marks as recording; with `testDirectories` an entry
  // whose directory is gone leaves the list. Records without any signal leave
  // the list and the disk; a measurement that proves to hold nothing is deleted.
  // Must not run on a measurement being recorded.
  bool CheckRecords(std::vector<RecordEndUp_t>& repaired, std::vector<std::string>& errors,
                    bool checkAll, bool testDirectories);

  // ---- Deleting and cleaning (RecordDeletion.cpp) ---------------------------------

  // Editing mode only, under the metadata lock. Without `wholeDirectory`, the
  // section `id` (exactly) goes: when other sections of its record remain, its
  // parts are marked and removed at the record's next opening; otherwise the
  // record directory goes. With `wholeDirectory` every section of the record
  // goes with it. Beyond DeleteKeepMetaData the entries leave the list and the
  // "Duration" is lowered in one save, before any file goes; a directory left
  // behind by a failure or a crash is removed at the next OpenRecord. With the
  // last record, the measurement's own files go too. False for a record in use
  // here or being recorded, with no text; otherwise the failure's words.
  bool DeleteRecord(const CRecordId& id, DeleteMode_t mode, bool wholeDirectory);
  // Every record of the measurement, then (beyond DeleteKeepMetaData) its own
  // files and, with DeleteWithDirectory, its directory when nothing else lies in
  // it. A remote mirror's directory goes in every mode. False when a record of
  // the measurement is in use or a record couldn't go; the others still go.
  bool DeleteRecords(DeleteMode_t mode);
  // Deletes the measurement directory's file `name`, locally and on the store;
  // true, also for a file that isn't there.
  bool DeleteRecordFile(const std::u16string& name);
  // Deletes a measurement from a store with no tree open: the one a record's name
  // belongs to, or the directory of that name.
  static bool DeleteRemoteRecord(const std::u16string& name,
                                 std::shared_ptr<CAbstractFileAccess>& remoteFileAccess);
  // Brings the measurement back to an empty record 1, to record again in the same
  // place: the other records go, record 1 keeps its channels and their metadata,
  // the counters start again. Refused while a record is recorded or read, and on
  // a tree not opened to write.
  bool CleanRecord();
  // Editing mode only: removes the channel's directory from every record and
  // lowers "NumberOfChannels" once. The channel is listed in "ChannelsToRemove"
  // before any directory goes and stays there until every one has gone; each
  // OpenRecord tries again.
  bool RemoveChannel(const CChannelID& id);

  // ---- Measurement metadata ------------------------------------------------------

  // The metadata lock ("Metadata.lock") of this measurement: on the remote store
  // when local and remote directories are one, otherwise in the local directory.
  // Null when it can't be had.
  std::unique_ptr<MetaDataFileLock> CreateMetaDataLock(MetaDataFileLock::Mode mode) const;

  // Writes the metadata file into whichever of the local and remote directories
  // exist (the remote one by upload when `upload`, if it was saved locally). True
  // when neither exists. False for a null lock.
  bool SaveMetaDataMeasurement(const MetaDataFileLock* lock, const MetaDataContainer& metaData,
                               bool upload);
  // Reads the metadata file, locally, then from each analyzer of the remote store.
  // Takes no file lock: a file being written reads as missing.
  bool LoadMetaDataMeasurement(MetaDataContainer& metaData) const;

  // The record list of `metaData`, or of the file when null. On a tree that merges
  // record parts, the sections of one record make one entry.
  bool GetRecordsVect(std::vector<MetaDataRecord>& records,
                      const MetaDataContainer* metaData = nullptr) const;
  // Removes `toRemove` and adds `toAdd` in the metadata file. False only when there
  // is no metadata file; a failing load or save is not reported.
  bool UpdateRecordsVect(const MetaDataFileLock* lock, const std::vector<CRecordId>& toRemove,
                         const std::vector<MetaDataRecord>& toAdd);
  // Sets the project's and measurement's names, unless a record is in use. Takes the
  // metadata lock itself.
  bool UpdateProjectAndMesureMetadata(const std::u16string& projectName,
                                      const std::u16string& measurementName);
  // Adds the host's properties to the measurement. Takes the metadata lock itself.
  bool AddPropertiesToMetaDataMeasurement(const std::vector<CPropertyValue>& properties);

  // ---- Post-analysis -------------------------------------------------------------

  // Saves each channel's settings beside its recorded values in every record of
  // the measurement (and, with a remote store, in the local copy too); the
  // samples stay as they are, and every later opening of a record reads with the
  // settings in SampleReadPostAnalysis modes. The caller holds the metadata lock.
  // A record that can't be opened is passed over; false when there is no record,
  // or when a channel's file of some record refused the settings (the section's
  // text is then the process's last error), the other records having been done.
  // A tree opened read only saves nothing.
  bool SavePostAnalysisSettings(const std::map<CChannelID, CPostAnalysisSettings>& settings);

  // ---- Editing -------------------------------------------------------------------

  // Editing gives one tree at a time the right to change a finished measurement;
  // its mark is the key "Editing" of the metadata file, so it holds across
  // processes. True unless the metadata lock can't be had (a "Metadata.lock" left
  // behind, or held for longer than the lock's wait), with the lock file named in
  // LastErrorString. True also when another tree holds the mark: IsEditing tells
  // whether this tree won it, and LastErrorString then says who has it.
  bool StartEditing();
  // Clears the mark in the metadata file, also when this tree didn't set it: a
  // mark left by a program that ended while editing is cleared this way. True
  // when there is no metadata file; false only when the lock can't be had.
  bool StopEditing();

  // ---- Markers -------------------------------------------------------------------

  // A marker named `name` from `position` to `position` + `duration` seconds of the
  // record being recorded under the last handle; a negative position is the
  // record's end. `recordLength` gets the record's length, 0 when no record is
  // recording, which fails. The markers of this tree, numbered from 1 in each
  // tree, replace the markers file whole: a host that keeps earlier markers reads
  // them with ReadMarkers and writes them back merged. A position or end that
  // isn't a finite number is refused, since the file's text can't hold it.
  bool AddMarker(double& recordLength, double duration, double position,
                 const std::u16string& name);
  // The markers file (".zmrk" beside the metadata file) into `markers`; false,
  // with `markers` as it was, when there is none, and with the reader's words in
  // LastErrorString when the local file doesn't load. With a remote store, the
  // first analyzer that has it.
  bool ReadMarkers(MetaDataContainer& markers) const;
  // Writes `markers` whole as the markers file, in the local directory and on the
  // remote store. Takes no lock: the editing mark keeps other editors off. False,
  // with the file as it was, when a marker's date isn't a finite number.
  bool WriteMarkers(const MetaDataContainer& markers);

  // ---- Rename --------------------------------------------------------------------

  // Moves the local measurement directory to `newName` beside it and writes the
  // name into the metadata; the files inside keep their names. A directory of that
  // name that exists already is taken over as it is, not merged. False with the
  // words "record in use" when a record of the measurement is open in any tree of
  // the process or the move fails; false without words when the metadata lock
  // can't be had.
  bool Rename(const std::u16string& newName);
  // Rename as the last step of a measurement: also sets its comment, adds
  // `properties`, and deletes the host's ".zff" header, locally and on the remote
  // store, which marks the measurement as finished.
  bool RenameAndComplete(const std::u16string& newName, const std::u16string& comment,
                         const std::vector<CPropertyValue>& properties);

  // ---- Copy, upload and download (RecordTransfer.cpp) -----------------------------

  // What DownloadRecords adds to its set of codes.
  enum DownloadCode_t {
    DownloadCheckFailed = 0x7000042,     // the records fetched didn't pass their check
    DownloadDiskUnreachable = 0x7000043  // an analyzer's disk of the measurement wasn't reached
  };

  // Copies the record directory `recordName` into the measurement directory
  // `destination` (made when missing), with the measurement's own files (".zsfh",
  // ".zmrk", ".zxf") beside it: on the main store (the remote one when there is
  // one, in its own paths) and, with a remote store, in the local copy too when it
  // holds the record. False for an empty destination, a record being recorded or
  // read in the process, or a copy that failed.
  bool CopyRecord(const std::u16string& recordName, const std::u16string& destination);
  // Copies the whole measurement into `destination`: every record by CopyRecord,
  // then the other files and directories of the local measurement directory
  // `source`, those named after the measurement renamed after `destination`'s last
  // name. `localOnly` leaves the remote store out. Refused (false, nothing copied)
  // while a record of the measurement is recorded or read; the first failure ends
  // the copy with false, leaving what was copied.
  bool CopyRecords(const std::u16string& source, const std::u16string& destination, bool localOnly);
  // Sends the local records to the remote store, all of them (0) or those with
  // `recordNumber`; with all of them, the measurement's own files too (except the
  // lock file and a ".zwarn" warning, which belong to this disk). False without a
  // remote store, with no local record, or when a record in use or a transfer
  // refused; true when no record has the number.
  bool UploadRecords(long recordNumber);
  // Fetches the measurement (all records with 0, or those with `recordNumber`) from
  // the remote store into the local directory, then checks what it fetched on the
  // local copy alone. Files already there aren't fetched again, so a download that
  // was cut short resumes where it stopped (how much of a record the store skips is
  // the store's: the SFTP store skips each complete file), and CheckRecords then
  // repairs the copy on the local disk. `deleteRemote` deletes each record from
  // the store once it is here. `messages` gets one line per
  // problem, `codes` the DownloadCode_t met; an analyzer whose disk can't be reached
  // is a warning, and what is reachable is fetched. True when everything fetched
  // passed the check; a clean download deletes the measurement's ".zwarn" file.
  bool DownloadRecords(std::vector<std::u16string>& messages, std::set<unsigned int>& codes,
                       bool deleteRemote, unsigned int recordNumber);

  // ---- Plain accessors -----------------------------------------------------------

  std::u16string MeasureName() const { return m_MeasureName; }
  std::u16string CurrentRecordName() const { return m_CurrentRecordName; }
  std::u16string FullRecordPath() const { return m_FullRecordPath; }
  const CRecordId& RecordBase() const { return m_RecordBase; }
  long RecordCounter() const { return m_RecordCounter; }
  // Seconds of the records finished since the tree was opened.
  double RecordLength() const { return m_RecordLength; }
  // Start of the measurement, 100 ns ticks; 0 until the first record starts.
  long long RecordStartDate() const { return m_RecordStartDate; }
  TreeOpenMode_t OpenMode() const { return m_OpenMode; }
  // This tree holds the editing mark.
  bool IsEditing() const { return m_Editing; }

 private:
  friend class CRecordSection;  // takes the tree's side for sections from m_SectionOwner
  friend class CMeasurementFile;
  friend class CRecordDeletion;
  friend class CRecordEndUp;
  friend class CMeasurementUpdate;
  friend class CRecordStates;
  friend class CRecordTransfer;
  friend class CTreeMarkers;
  friend class CTreeNotices;
  friend class CTreePostAnalysis;
  friend class CTreeRename;
  friend class CTreeRecords;
  friend class CTreeSectionOwner;
  friend class zsff_test::RecordSignalTreeProbe;

  // Makes the local directory when it is missing (unless read-only; its parent must
  // exist) and aims the tree at its remote directory.
  CRecordSignalTree(const std::u16string& path, const std::u16string& name, bool mergeRecordParts,
                    std::shared_ptr<CAbstractFileAccess> remoteFileAccess, bool remoteMirror,
                    TreeOpenMode_t mode, const std::u16string& singleRecordName,
                    std::shared_ptr<CAbstractFileAccess> disk);

  // Stores `text` as the process's last error.
  static void SetLastError(std::u16string text);
  // The same, unless a more precise text is already waiting there.
  static void SetLastErrorIfEmpty(std::u16string text);

  std::u16string m_BasePath;
  std::u16string m_MeasureName;
  std::shared_ptr<CAbstractFileAccess> m_RemoteFileAccess;  // null without a store
  bool m_RemoteMirror;
  TreeOpenMode_t m_OpenMode;
  long m_RecordCounter = 0;  // number of the record being made or opened
  double m_RecordLength = 0.0;
  long long m_RecordStartDate = 0;
  CAbstractChangeStateCallBack* m_ChangeStateCallBack = nullptr;  // borrowed
  // Learnt from the metadata file by const searches, hence mutable.
  mutable CRecordId m_RecordBase;
  std::u16string m_CurrentRecordName;
  std::u16string m_FullRecordPath;
  std::u16string m_FullRemoteRecordPath;
  // The tree's disk: its own CLocalFileAccess, or the host's disk store.
  std::shared_ptr<CAbstractFileAccess> m_FileAccess;
  // The host's disk store when the tree was given one, for the trees it opens
  // on the same measurement; null on the local disk.
  std::shared_ptr<CAbstractFileAccess> m_HostDisk;
  // What this tree's sections call it through (a CTreeSectionOwner).
  std::unique_ptr<CRecordSectionOwner> m_SectionOwner;
  // The tree's parts, which work on the fields above: the measurement's metadata
  // file and its updates, the records with their sections and handles, the
  // notices, the process's record states and the deletions.
  std::unique_ptr<CMeasurementFile> m_MeasurementFile;
  std::unique_ptr<CMeasurementUpdate> m_MeasurementUpdate;
  std::unique_ptr<CTreeRecords> m_Records;
  std::unique_ptr<CTreeNotices> m_Notices;
  std::unique_ptr<CRecordStates> m_RecordStates;
  std::unique_ptr<CRecordDeletion> m_Deletion;
  std::unique_ptr<CTreeMarkers> m_Markers;
  bool m_Editing = false;
  bool m_MergeRecordParts;
  // Held by a tree that created its measurement, so that no other tree creates it too.
  std::unique_ptr<CDirectoryClaim> m_CreationClaim;

  // The one lock of the tree layer; taken before any metadata file lock.
  static CCriticalSectionWrapper m_cs;
  static std::u16string s_LastErrorString;
};

}  // namespace zsff
