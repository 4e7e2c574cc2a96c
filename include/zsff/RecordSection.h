// One record of a measurement: a directory of channels, and the engine that takes
// them together through recording and reading. The host never sees a channel: it
// calls the section through CAbstractRecordSection and names channels by id.
//
// Only the tree makes sections (the constructor is private) and owns them. A
// section owns its channels and borrows the tree (through the interface that the
// tree implements for its sections) and the file access, which must outlive it;
// the tree pointer may be null, and then no notice is sent and no metadata lock
// can be had.
//
// A recording goes: AddChannel for each channel, ArmRecord, StartRecord,
// WriteSampleBlock for each channel and block, StopRecord. Each failing call
// leaves its text in LastErrorString and keeps the state it found.
//
// No lock and no atomic field: one thread at a time per section. Two sections on
// one record (one recording, one reading) may run on two threads; they meet only
// in the files.
#pragma once

#include <zsff/AbstractRecordSection.h>
#include <zsff/RecordCheck.h>
#include <zsff/RecordSignalTree.h>

#include <map>
#include <memory>
#include <string>
#include <vector>
#include <zsff/Export.h>

namespace zsff_test {
class ZSFF_API RecordSectionProbe;  // lets the section's tests construct sections without a tree
}

namespace zsff {

class CAbstractFileAccess;
class CChannel;
class CRecordSectionOwner;
class CSectionReader;
class CSectionRecorder;

// A channel directory of a record: its full path, and the channel's file name
// (CChannelID::ToFileName) to which ".zrm" is added for its metadata.
struct ZSFF_API TAG_PATH_NAME {
  std::u16string Path;
  std::u16string Name;
};

class ZSFF_API CRecordSection : public CAbstractRecordSection {
 public:
  // Deletes the record directory when the record holds nothing worth keeping (made
  // by this section and left without channels, armed but never written, or
  // stopped before its first sample), then closes the channels. The tree reads
  // and clears that mark with DeleteRecord before it lets go of a record it keeps.
  ~CRecordSection() override;

  CRecordSection(const CRecordSection&) = delete;
  CRecordSection& operator=(const CRecordSection&) = delete;

  // --- Channels ----------------------------------------------------------------

  // Creates the channel directory and the channel's metadata file. Allowed before
  // arming, and at any time in OpenCreate. Lenient: metadata without
  // "SamplingRate", or a metadata file that can't be saved, still gives true and
  // enters the id with no channel behind it (the id is then valid but every
  // operation on it fails as for an unknown channel).
  bool AddChannel(const CChannelID& id, const MetaDataContainer& metaData) override;
  bool ListChannelsID(std::vector<CChannelID>& ids) const override;
  bool ListChannelsName(std::vector<std::u16string>& names) const override;
  // True when at least one analyzer was found.
  bool ListAnalyzerInfo(std::map<unsigned short, CAnalyzerInfo>& analyzers) const override;
  bool GetChannelID(unsigned long channelNumber, unsigned long analyzerIndex,
                    unsigned long serialNumber, CChannelID& id) const override;
  bool ReadChannelMetaData(const CChannelID& id, MetaDataContainer& metaData,
                           TAG_RECORD_INFO& recordInfo, bool mustBeOpen) override;
  bool UpdateChannelMetaData(const MetaDataFileLock* lock, const CChannelID& id,
                             MetaDataContainer& metaData) override;

  // --- Recording -----------------------------------------------------------------

  // Part lengths: PartLengthNone one file per channel, Short 64 s, Medium 640 s,
  // Long 1920 s; Auto 640 s without a maximum length, otherwise chosen from it
  // (and, for a short ring, from the sum of the channels' rates). A ring (a
  // maximum length without `noRing`) always gets parts. Allowed before starting;
  // a second call re-arms.
  bool ArmRecord(double maxLength, PartLength_t partLength, bool noRing) override;
  double MaxRecordLength() override;
  double PartLength() const override;
  // Allowed once armed (again once started, to renew the information without a
  // notice) and with a non-empty map. A failure part way has written some
  // temporary record files and leaves the state as it was.
  bool StartRecord(const std::map<CChannelID, TAG_RECORD_INFO>& recordInfo) override;
  bool IsValidChannel(const CChannelID& id) const override;
  // The first block after StartRecord, on any channel, moves the section to
  // SectionRecording and tells the host's listener. Per block: one look-up, the
  // channel's write and pyramid cascade; no metadata, no lock, no allocation but
  // when a part opens. A channel below 1000 samples per second is flushed once per
  // second of signal. A failed block is neither retried nor reported to the tree;
  // the samples of earlier blocks stay on disk.
  bool WriteSampleBlock(const CChannelID& id, const void* samples, unsigned long long count,
                        bool compress) override;
  // As WriteSampleBlock; a slow channel is flushed after every call.
  bool WriteCompressedSampleBlock(const CChannelID& id, const void* values,
                                  unsigned long long count) override;
  // Takes the measurement's metadata lock through the tree, completes each
  // channel's ".zrm" and deletes its "TmpRecord.zrm", then tells the tree the
  // record's length and size. Without a tree, or without the lock, false with no
  // text and everything left open, so that it may be called again.
  bool StopRecord() override;

  // --- Reading -------------------------------------------------------------------

  bool StopReading() override;
  bool GetTimeOffset(std::vector<float>& offsets, long& timeStep) override;
  bool SetReadPos(const CChannelID& id, double seconds) override;
  bool SetReadPos(double seconds) override;
  bool SetReadPosSpl(const CChannelID& id, unsigned long long sample) override;
  double GetReadPos(const CChannelID& id) const override;
  unsigned long long GetReadPosSpl(const CChannelID& id) const override;
  unsigned long long ReadRawSampleBlock(const CChannelID& id, void* buffer,
                                        unsigned long long count) override;
  unsigned long long ReadSampleBlock(const CChannelID& id, void* buffer, unsigned long long count,
                                     SampleReadMode_t mode) override;
  bool EndOfReading(const CChannelID& id, ReadState_t& state) const override;

  // --- Post-analysis and compressed requests ---------------------------------------

  bool SetPostAnalysisSettings(const CChannelID& id,
                               const CPostAnalysisSettings& settings) override;
  bool SavePostAnalysisSettings(const CChannelID& id,
                                const CPostAnalysisSettings& settings) override;
  bool RequestCompressedSignal(const CChannelID& id, float start, float stop,
                               unsigned long long points, bool fromPartZero) override;
  CompressStatus_t GetCompressedSignal(const CChannelID& id, void* buffer,
                                       SampleReadMode_t mode) override;
  CompressedSignalInfo_t GetCompressedSignalInfo(const CChannelID& id) override;

  // --- The record ----------------------------------------------------------------

  std::u16string RecordName() const override { return m_RecordName; }
  CRecordId RecordId() const override { return m_RecordId; }
  // The discard mark, which the call clears.
  bool DeleteRecord() const override;
  // True, and nothing else: the files are flushed where it matters.
  bool FlushSignalFiles() override { return true; }
  // In SectionRecording only: the first channel's recorded length and end date.
  // Otherwise both outputs become 0 and the result is false.
  bool RecordLengthAndAbsoluteDate(double& length, long long& absoluteDate) const override;
  // A zero id means the first channel.
  double SignalLength(const CChannelID& id, bool fromPartZero) const override;
  unsigned long long SignalLengthSpl(const CChannelID& id, bool fromPartZero) const override;
  unsigned long long TotalSignalSizeInBytes() const override;
  unsigned long long ChannelCount() const override { return m_Channels.size(); }
  std::u16string LastErrorString() const override { return m_LastError; }
  bool IsUsed() const override;
  SingleRecordState_t State() const override { return m_State; }
  OpenMode_t OpenMode() const override { return m_OpenMode; }

  // --- Surgery (CSectionSurgery) ---------------------------------------------------

  // Editing mode only, under the metadata lock. Parts count from the section's
  // first part. The parts read as filler at once and their files go when the
  // record next opens; a part being written stays. False for an unknown channel
  // and for a ring while the measurement records.
  bool EraseParts(const CChannelID& id, unsigned short firstPart, unsigned short lastPart) override;
  // Editing mode only, under the metadata lock: the first `partCount` parts stay
  // with this section's id and the rest become a section of their own, whose id
  // has the part number of its first part; this object goes on as that second
  // section. Both entries replace the old one in the measurement's list in one
  // save. This id twice when refused (not editing, a count of 0, no lock, no
  // list); two zero ids when the split falls outside the record or cuts a ring
  // being recorded.
  std::pair<CRecordId, CRecordId> Split(unsigned short partCount) override;
  void SkipFirstPartNumber(bool skip) override;

  // Takes the section `id` (whose parts run to `lastPart`) out of its record in
  // `measurementPath`: its parts are marked for deletion in every channel, and go
  // when the record next opens. The record directory stays. False, with the
  // reason in `error`, when a channel can't be read or marked.
  static bool RemoveRecordSection(const MetaDataFileLock* lock,
                                  const std::u16string& measurementPath, const CRecordId& id,
                                  unsigned short lastPart, CAbstractFileAccess* access,
                                  std::u16string& error);

  // The channel directories ("Channel_..." sub-directories) of `recordPath`, keyed
  // by the id their names give. Clears `channels` first. True with an empty map
  // for a record without channels; false when the directory can't be listed or
  // there is no store.
  static bool FillChannelPathNameMap(const std::u16string& recordPath,
                                     std::map<CChannelID, TAG_PATH_NAME>& channels,
                                     CAbstractFileAccess* access);

 protected:
  // Allowed in SectionCreated only: adds the channels of another record directory
  // with their metadata. The state ends at SectionConfigured, or SectionCreated on
  // a failure.
  bool DuplicateRecordSection(const std::u16string& sourcePath) override;
  // Allowed in SectionCreated with channels: every channel keeps its ".zrm", with
  // the record's length, dates, number and time step set to 0, and loses every
  // other file; the channels are then added anew. A failure part way leaves what
  // was deleted deleted.
  bool CleanRecord() override;

  // The truth about a record that may not have been closed (CSectionCheck): its
  // channels checked one by one (CChannel::CheckChannel), then taken together:
  // the window common to all in `timeToStop` mode (front-end samples at
  // `frontEndRate`), the shortest and longest length, the channels' dates kept in
  // step. With `lock` each channel's ".zrm" is rewritten and its temporary file
  // deleted; without, nothing is written. An error line goes to `errors` and Ok
  // stays false at the first channel that can't be checked. `channelCount` gets
  // the channels holding signal.
  CheckRecordRet CheckRecord(const MetaDataFileLock* lock, bool timeToStop, float frontEndRate,
                             std::vector<std::string>& errors, unsigned long long& channelCount);

 private:
  friend class CSectionCheck;
  friend class CSectionListing;
  friend class CSectionReader;
  friend class CSectionRecorder;
  friend class CSectionSurgery;
  friend class CRecordDeletion;  // empties a record with a section of its own
  friend class CTreeRecords;     // makes the tree's sections
  friend class CRecordEndUp;     // checks the records of a measurement at the end-up
  friend class zsff_test::RecordSectionProbe;

  using ChannelMap = std::map<CChannelID, std::unique_ptr<CChannel>>;

  // Opens the record `id` under `measurementPath`. OpenRead and OpenInfo make no
  // directory; the others make the record directory when it is missing (and mark
  // it for deletion until a channel is added). Except in OpenInfo the channels
  // found on disk are opened: as a record still being recorded when `recording`
  // is set, otherwise as a finished record whose parts end at `lastPart`, of
  // `duration` seconds and `offsetTimeToStop` front-end samples. A non-zero
  // `analyzerFilter` opens only that analyzer's channels.
  CRecordSection(CRecordSignalTree* tree, const std::u16string& measurementPath,
                 const CRecordId& id, unsigned short lastPart, OpenMode_t openMode, bool recording,
                 double duration, long long offsetTimeToStop, CAbstractFileAccess* access,
                 long analyzerFilter);
  // The same for an owner that may be other than a tree (null: none). A finished
  // record's parts marked for deletion are removed here, under the owner's lock.
  CRecordSection(CRecordSectionOwner* owner, const std::u16string& measurementPath,
                 const CRecordId& id, unsigned short lastPart, OpenMode_t openMode, bool recording,
                 double duration, long long offsetTimeToStop, CAbstractFileAccess* access,
                 long analyzerFilter);

  // Opens the channels found on disk, as the constructor says; gives the sum of
  // their sampling rates.
  double OpenChannels(unsigned short lastPart, bool recording, double duration,
                      long long offsetTimeToStop, long analyzerFilter);
  // Sends a notice to the tree, if there is one. False, with the tree's words as
  // the last error, when the tree failed to update the measurement file with it.
  bool ChangeStateParent(const CRecordId& id, CRecordSignalTree::ChangeAction_t action,
                         const CRecordSignalTree::CChangeActionParam_t* param);
  // Destroys every channel and forgets them.
  void DeleteFileAccess();

  // The channel of `id`, or null for an unknown id or one entered without a channel.
  CChannel* FindChannel(const CChannelID& id) const;
  // The first channel object in key order, or null.
  CChannel* FirstChannel() const;
  // The seconds to stop at, from the first channel's ring; 0 without a ring.
  double TimeToStop() const;
  // Joins with the store's separator; `name` alone when `parent` is empty.
  std::u16string JoinPath(const std::u16string& parent, const std::u16string& name) const;

  CRecordSectionOwner* m_Owner;  // the tree's side for its sections; borrowed, may be null
  std::u16string m_MeasurementPath;
  std::u16string m_RecordName;
  CRecordId m_RecordId;
  OpenMode_t m_OpenMode;
  CAbstractFileAccess* m_FileAccess;  // borrowed, may be null
  SingleRecordState_t m_State;
  // Front-end samples of a stop-time record's first part before its window, as
  // the record's entry gave them when the section was opened.
  long long m_OffsetTimeToStop;
  // What the record directory holds; filled on demand by the listing operations.
  mutable std::map<CChannelID, TAG_PATH_NAME> m_ChannelPathMap;
  std::u16string m_RecordPath;
  // The record holds nothing worth keeping; read and cleared by DeleteRecord.
  mutable bool m_DiscardOnClose = false;
  mutable std::u16string m_LastError;
  ChannelMap m_Channels;
  // The section's two halves, which work on the fields above.
  std::unique_ptr<CSectionReader> m_Reader;
  std::unique_ptr<CSectionRecorder> m_Recorder;
};

}  // namespace zsff
