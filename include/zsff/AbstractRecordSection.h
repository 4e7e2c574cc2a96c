// What a host and the zoomer see of one record: its channels, the recording path
// (add channels, arm, start, write blocks, stop), the reading path, compressed
// (min/max) requests, and a few operations on finished records.
//
// The tree owns every section and hands out references to this interface; a handle
// that names no open record gives the null section (CDummyRecordSection), whose
// operations fail quietly, so a host never tests for null. A section is called by
// one thread at a time. Failures are reported by the result (false, 0, an empty
// value) and leave their text in LastErrorString; getters with output arguments
// leave them untouched when they fail.
#pragma once

#include <zsff/AnalyzerInfo.h>
#include <zsff/ChannelId.h>
#include <zsff/CompressedSignal.h>
#include <zsff/RecordId.h>
#include <zsff/RecordInfo.h>

#include <map>
#include <string>
#include <utility>
#include <vector>
#include <zsff/Export.h>

namespace zsff {

class CPostAnalysisSettings;
class MetaDataContainer;
class MetaDataFileLock;

// Length of a signal part, as ArmRecord is told it.
enum PartLength_t {
  PartLengthNone = 0,    // one file per channel for the whole record
  PartLengthShort = 1,   // 64 s
  PartLengthMedium = 2,  // 640 s
  PartLengthLong = 3,    // 1920 s
  PartLengthAuto = 4     // chosen from the record's maximum length and the channels' rates
};

// Scaling of the samples that ReadSampleBlock and GetCompressedSignal give back.
enum SampleReadMode_t {
  SampleReadVolt = 0,                // volts, 32-bit float
  SampleReadRecorded = 1,            // the recorded physical values, 32-bit float
  SampleReadPostAnalysis = 2,        // the post-analysis scaling, 32-bit float
  SampleReadVoltDouble = 3,          // as SampleReadVolt, 64-bit float
  SampleReadRecordedDouble = 4,      // as SampleReadRecorded, 64-bit float
  SampleReadPostAnalysisDouble = 5,  // as SampleReadPostAnalysis, 64-bit float
};

class ZSFF_API CAbstractRecordSection {
 public:
  // How a section was opened.
  enum OpenMode_t {
    OpenRead = 0,    // readers only
    OpenCreate = 1,  // a record being made: readers and writers
    OpenEdit = 2,    // as OpenCreate, for a record edited in place
    OpenInfo = 3     // no channel opened: only the listing operations work
  };

  // Where a section stands. A section never goes beyond SectionStopped: a new
  // recording is a new record.
  enum SingleRecordState_t {
    SectionOpened = 0,      // opened for reading, no read yet
    SectionCreated = 1,     // open for writing, no channel added
    SectionConfigured = 2,  // channels added
    SectionArmed = 3,       // part length fixed, files open
    SectionStarted = 4,     // record information saved, no sample yet
    SectionRecording = 5,   // samples flowing
    SectionReading = 6,     // a read position has been taken
    SectionStopped = 7      // recording or reading has ended
  };

  // Where a reader stands, as EndOfReading tells it.
  enum ReadState_t {
    ReadStateNone = 0,       // inside the signal, or the channel isn't known
    ReadStateLiveEnd = 1,    // at the moving end of a record still being recorded
    ReadStateOvertaken = 2,  // the ring has dropped the part under the reader
    ReadStateEnd = 3         // the end of a finished signal
  };

  CAbstractRecordSection() = default;
  CAbstractRecordSection(const CAbstractRecordSection&) = default;
  CAbstractRecordSection& operator=(const CAbstractRecordSection&) = default;
  virtual ~CAbstractRecordSection() = default;

  // --- Channels ----------------------------------------------------------------

  // Adds a channel to a record being made, with the host's metadata (which must
  // hold "SamplingRate"); creates its directory and metadata file.
  virtual bool AddChannel(const CChannelID& id, const MetaDataContainer& metaData) = 0;
  // The channels of the record directory, less those pending removal; false when
  // there is none.
  virtual bool ListChannelsID(std::vector<CChannelID>& ids) const = 0;
  // The "Name" of each channel whose metadata loads; false when there is none.
  virtual bool ListChannelsName(std::vector<std::u16string>& names) const = 0;
  // The analyzers that recorded the channels, by analyzer index.
  virtual bool ListAnalyzerInfo(std::map<unsigned short, CAnalyzerInfo>& analyzers) const = 0;
  // The open channel with this number and analyzer (the serial takes no part in
  // the look-up and is handed back as given).
  virtual bool GetChannelID(unsigned long channelNumber, unsigned long analyzerIndex,
                            unsigned long serialNumber, CChannelID& id) const = 0;
  // A channel's metadata with its record information. `mustBeOpen` refuses a
  // channel whose reader was never opened.
  virtual bool ReadChannelMetaData(const CChannelID& id, MetaDataContainer& metaData,
                                   TAG_RECORD_INFO& recordInfo, bool mustBeOpen) = 0;
  // Saves a channel's metadata; `lock` proves that the caller holds the
  // measurement's metadata. A null lock gives false.
  virtual bool UpdateChannelMetaData(const MetaDataFileLock* lock, const CChannelID& id,
                                     MetaDataContainer& metaData) = 0;

  // --- Recording -----------------------------------------------------------------

  // Fixes the part length and the ring bound (`maxLength` seconds, 0: none; with
  // `noRing` it only chooses the part length) and opens the first part files.
  virtual bool ArmRecord(double maxLength, PartLength_t partLength, bool noRing) = 0;
  // The ring bound in seconds of the first channel; 0 without a ring.
  virtual double MaxRecordLength() = 0;
  // Seconds per part of the first channel; 0 for one file per channel.
  virtual double PartLength() const = 0;
  // Saves each channel's record information (dates, scaling, time step) and tells
  // the tree that the record is recording. An AbsoluteDate of 0 in the first entry
  // stamps every channel with the current time.
  virtual bool StartRecord(const std::map<CChannelID, TAG_RECORD_INFO>& recordInfo) = 0;
  virtual bool IsValidChannel(const CChannelID& id) const = 0;
  // Appends `count` samples in the channel's format; `compress` feeds the pyramid
  // too. The hot path of a recording.
  virtual bool WriteSampleBlock(const CChannelID& id, const void* samples, unsigned long long count,
                                bool compress) = 0;
  // Appends `count` values of the first pyramid level computed by the host.
  virtual bool WriteCompressedSampleBlock(const CChannelID& id, const void* values,
                                          unsigned long long count) = 0;
  // Completes each channel's metadata and tells the tree the record's length.
  // False without the metadata lock, with everything left open: it may be retried.
  // False also when a channel or the measurement file couldn't be completed: the
  // record is then stopped, listed as recording, for the end-up to finish.
  virtual bool StopRecord() = 0;

  // --- Reading -------------------------------------------------------------------

  virtual bool StopReading() = 0;
  // Seconds dropped before each channel's retained signal, with the time step.
  virtual bool GetTimeOffset(std::vector<float>& offsets, long& timeStep) = 0;
  virtual bool SetReadPos(const CChannelID& id, double seconds) = 0;
  // The same position on every channel.
  virtual bool SetReadPos(double seconds) = 0;
  virtual bool SetReadPosSpl(const CChannelID& id, unsigned long long sample) = 0;
  virtual double GetReadPos(const CChannelID& id) const = 0;
  virtual unsigned long long GetReadPosSpl(const CChannelID& id) const = 0;
  // Samples as stored; returns how many were read.
  virtual unsigned long long ReadRawSampleBlock(const CChannelID& id, void* buffer,
                                                unsigned long long count) = 0;
  // Samples scaled as `mode` says; returns how many were read.
  virtual unsigned long long ReadSampleBlock(const CChannelID& id, void* buffer,
                                             unsigned long long count, SampleReadMode_t mode) = 0;
  // True when the reader of the channel can read no further; `state` says why.
  virtual bool EndOfReading(const CChannelID& id, ReadState_t& state) const = 0;

  // --- Post-analysis -------------------------------------------------------------

  virtual bool SetPostAnalysisSettings(const CChannelID& id,
                                       const CPostAnalysisSettings& settings) = 0;
  virtual bool SavePostAnalysisSettings(const CChannelID& id,
                                        const CPostAnalysisSettings& settings) = 0;

  // --- Compressed requests -------------------------------------------------------

  // Prepares a min/max view of [start, stop] seconds in `points` points, held by
  // the channel until the next request. The seconds count from the retained
  // signal, or with `fromPartZero` from the signal's first sample. The bounds may
  // be swapped, and may reach 0.1 s before the record and 0.4 s beyond its end;
  // a part that is gone gives blank values. The read position and the section's
  // state are the same afterwards. With 0 points nothing is read: only the
  // description (GetCompressedSignalInfo) is refreshed. False, with the text in
  // LastErrorString, for an unknown channel, bounds beyond the margins, or a part
  // that can't be read.
  virtual bool RequestCompressedSignal(const CChannelID& id, float start, float stop,
                                       unsigned long long points, bool fromPartZero) = 0;
  // Delivers the prepared view into `buffer`, which holds twice the points asked
  // for, as 32- or 64-bit floats scaled as `mode` says; GetCompressedSignalInfo
  // tells how many values came. A Trigger channel gives 0.0 and 1.0 only.
  // CompressFailed before any request, after a failed one, for an unknown channel
  // or mode.
  virtual CompressStatus_t GetCompressedSignal(const CChannelID& id, void* buffer,
                                               SampleReadMode_t mode) = 0;
  // What the last request holds; all fields 0 for an unknown channel.
  virtual CompressedSignalInfo_t GetCompressedSignalInfo(const CChannelID& id) = 0;

  // --- The record ----------------------------------------------------------------

  // The record directory's name.
  virtual std::u16string RecordName() const = 0;
  virtual CRecordId RecordId() const = 0;
  // Whether the record holds nothing worth keeping; the answer clears the mark, so
  // it is true once at most for one setting.
  virtual bool DeleteRecord() const = 0;
  virtual bool FlushSignalFiles() = 0;
  // Length in seconds and start date (100 ns ticks) of a record being recorded.
  virtual bool RecordLengthAndAbsoluteDate(double& length, long long& absoluteDate) const = 0;
  virtual double SignalLength(const CChannelID& id, bool fromPartZero) const = 0;
  virtual unsigned long long SignalLengthSpl(const CChannelID& id, bool fromPartZero) const = 0;
  // Bytes of the signal files and an estimate of their pyramids.
  virtual unsigned long long TotalSignalSizeInBytes() const = 0;
  virtual unsigned long long ChannelCount() const = 0;
  // A copy of the last failure's text; not cleared by the call.
  virtual std::u16string LastErrorString() const = 0;
  // True while channels are configured, started, recording or being read.
  virtual bool IsUsed() const = 0;
  virtual SingleRecordState_t State() const = 0;
  virtual OpenMode_t OpenMode() const = 0;

  // --- Surgery -------------------------------------------------------------------

  // Marks the parts [first, last] of a channel for deletion (editing mode only).
  virtual bool EraseParts(const CChannelID& id, unsigned short firstPart,
                          unsigned short lastPart) = 0;
  // Splits the record after `partCount` parts; gives the ids of both sections.
  virtual std::pair<CRecordId, CRecordId> Split(unsigned short partCount) = 0;
  // Makes seeks count part numbers from 0.
  virtual void SkipFirstPartNumber(bool skip) = 0;

 protected:
  // Starts a new record with the channels (and their metadata) of the record
  // directory `sourcePath`.
  virtual bool DuplicateRecordSection(const std::u16string& sourcePath) = 0;
  // Empties the record while keeping its channels.
  virtual bool CleanRecord() = 0;
};

}  // namespace zsff
