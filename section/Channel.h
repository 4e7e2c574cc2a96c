// One channel of one record: its signal part files (".zrs"), the pyramid of
// min/max files beside each part (".zpr"), and its "TmpRecord.zrm". The channel
// decides which part is current for writing and for reading, cuts blocks at part
// boundaries, and drops the oldest parts of a ring record.
//
// Internal: CRecordSection creates its channels, keeps them in a map and is the
// only caller. Every failure leaves its text in the channel (LastErrorString),
// from where the section copies it into its own; many texts therefore name the
// section's operation.
#pragma once

#include <zsff/AbstractRecordSection.h>
#include <zsff/ChannelId.h>
#include <zsff/CompressedSignal.h>
#include <zsff/RecordId.h>
#include <zsff/SignalTypes.h>
#include <zsff/TmpRecordFile.h>

#include <memory>
#include <string>
#include <vector>

namespace zsff_test {
class ChannelProbe;  // lets the channel's tests look at the part bookkeeping
}

namespace zsff {

class CAbstractFileAccess;
class CCompressedSignalFileReader;
class CCompressedSignalFileWriter;
class CSignalFileReader;
class CSignalFileWriter;
struct CompressedSignalPlan_t;
class MetaDataContainer;
class MetaDataFileLock;

// Which of a part's files an operation is about.
enum PartKind_t {
  PartKindSignal = 0,  // the ".zrs" file of raw samples
  PartKindPyramid = 1  // the ".zpr" level files beside it
};

// Part bookkeeping, kept once for the signal files and once for the pyramid files.
// Part numbers are 16-bit and wrap from 65535 to 0.
struct ChannelPartState_t {
  // Samples of the first part that lie before the retained signal. Read only in
  // the signal files' state.
  unsigned long long OffsetTimeToStop = 0;
  // Seconds of signal dropped so far by the ring or, for a record opened for
  // reading, the first part times the part length.
  double TimeOffset = 0.0;
  unsigned short FirstPart = 0;          // oldest part that exists
  unsigned short LastPart = 0;           // newest part that exists
  unsigned long long WrittenInPart = 0;  // samples written into WritePart
  unsigned long long ReadInPart = 0;     // read position inside ReadPart, in samples
  unsigned short WritePart = 0;
  unsigned short ReadPart = 0;
  // ReadPart isn't readable: reads give filler samples.
  bool PartMissing = false;
  // Parts whose files are to go, or could not be deleted yet and are retried.
  std::vector<unsigned short> PartsToDelete;

  // Whether `part` lies from FirstPart to LastPart, across a wrap of the numbers.
  bool Holds(unsigned short part) const {
    return FirstPart <= LastPart ? part >= FirstPart && part <= LastPart
                                 : part >= FirstPart || part <= LastPart;
  }
};

class CChannel {
 public:
  // A new channel of a record being created. Reads "SamplingRate", the signal type
  // and the sample format from `metaData`, and saves a copy of it with
  // "CompressionFactor" 32 as `fileName` + ".zrm" in `directory`. Prepares the
  // writers of the first part (the record id's part number); no sample file is
  // created before ArmChannel.
  // Throws std::runtime_error, with the reason in LastErrorString of the
  // half-built object (lost with it), when "SamplingRate" is missing or the
  // metadata file can't be saved; the section catches it.
  CChannel(const CChannelID& id, const std::u16string& directory, const std::u16string& fileName,
           const MetaDataContainer& metaData, const CRecordId& recordId,
           CAbstractRecordSection::OpenMode_t openMode, CAbstractFileAccess* access);

  // A finished record, whose parts run from the record id's part number to
  // `lastPart`. `duration` is the record's length as its owner knows it (0: the
  // channel computes it); `offsetTimeToStop` is in the record's relative time
  // steps. Never throws: a channel whose metadata can't be read is made
  // all the same, without readers, and LastErrorString tells why.
  CChannel(const CChannelID& id, const std::u16string& directory, const std::u16string& fileName,
           const CRecordId& recordId, unsigned short lastPart,
           CAbstractRecordSection::OpenMode_t openMode, double duration, long long offsetTimeToStop,
           CAbstractFileAccess* access);

  // A record that another section may still be recording: its first and last part
  // follow the temporary record file while that exists. Never throws, as above.
  CChannel(const CChannelID& id, const std::u16string& directory, const std::u16string& fileName,
           const CRecordId& recordId, CAbstractRecordSection::OpenMode_t openMode,
           CAbstractFileAccess* access);

  // Frees the readers and writers (closing their files) after one more attempt at
  // the parts waiting for deletion. Leaves "TmpRecord.zrm" on disk: only
  // CloseChannel and the record check remove it.
  virtual ~CChannel();

  CChannel(const CChannel&) = delete;
  CChannel& operator=(const CChannel&) = delete;

  // --- Recording ---------------------------------------------------------------

  // Fixes the part length (seconds, 0: one file for the whole record) and the ring
  // (`maxLength` seconds, 0: none), writes both into the ".zrm" file, chooses the
  // pyramid depth a part can fill, and creates the first part's signal and pyramid
  // files. False without a writer (no text) or when the signal file can't be
  // created. A pyramid that can't be created is reported in LastErrorString but
  // the result stays true.
  bool ArmChannel(double maxLength, double partLength);

  // Appends `count` samples of the channel's format from `data`, and with
  // `compress` feeds them through the pyramid. A block is cut exactly where a part
  // ends; the next part is opened on the way, and a ring drops its oldest part
  // when it grows beyond its bound. No allocation and no metadata write happen
  // here except when a part opens or drops. False when the next part can't be
  // opened or a write didn't go through whole: the samples of the earlier blocks
  // and of the earlier pieces of this one stay written and counted; the failing
  // piece isn't counted. A count of 0 is true.
  bool WriteSampleBlock(const void* data, unsigned long long count, bool compress);

  // Appends `count` values of the first pyramid level (min, max pairs, each pair
  // standing for the compression factor of samples) computed by the host, cut at
  // part boundaries like raw samples. Results as WriteSampleBlock.
  bool WriteCompressedSampleBlock(const void* data, unsigned long long count);

  // Flushes the signal and pyramid writers. Called by the section for slow
  // channels only; the hot path never flushes.
  void FlushChannel();

  // The end of the recording: closes the part files, writes the temporary record
  // file a last time, completes the ".zrm" file from it (the record's duration
  // included) when `lock` proves that the caller holds the measurement's metadata,
  // retries the parts still to delete, and deletes "TmpRecord.zrm". Errors are
  // left in LastErrorString; the steps go on regardless.
  void CloseChannel(const MetaDataFileLock* lock);

  // --- Parts ---------------------------------------------------------------------

  // Makes `part` the current part of `kind` for writing or for reading. Writing:
  // a new signal writer (its file comes with the first block) or a new pyramid
  // writer with its files opened. Reading: a new reader, or the part marked
  // missing when it lies inside the record but can't be read. `refresh` reloads
  // the metadata first where the parts to delete may have changed. False when a
  // pyramid can't be created, when the metadata can't be reloaded for a part
  // already current, or when a part outside the record is asked for reading.
  bool OpenPart(PartKind_t kind, bool write, unsigned short part, bool refresh);

  // Samples still to come in the current part of `kind` for writing or reading;
  // 0 at the exact end of a part. Pyramid counts are in samples too.
  unsigned long long RemainingInPart(PartKind_t kind, bool write) const;

  // Counts `count` samples as done in the current part. When writing a ring record,
  // drops the oldest part once the record holds more than its bound (the part
  // being written not counted whole, so the ring keeps up to one part more), and
  // rewrites the temporary record file at the first block of a part and at each
  // drop, never otherwise.
  void AdvancePart(PartKind_t kind, bool write, unsigned long long count);

  // Deletes the files of the parts waiting for deletion (for the signal kind, the
  // part's ".zrs" and its pyramid levels; for the pyramid kind nothing is left to
  // do). The parts whose files couldn't be deleted stay waiting and are also
  // handed out in `notDeleted`.
  void DeleteParts(std::vector<unsigned short>& notDeleted, PartKind_t kind);

  // --- Lengths -------------------------------------------------------------------

  // Refreshes the readers' and the writer's lengths from the file sizes and, when
  // both flags are set for a part-wise record being followed, the first and last
  // part from the temporary record file.
  void UpdateSignalLength(bool refreshParts, bool tmpFilePresent);

  // Samples of the record: the parts before the last counted whole, plus what the
  // last part file holds. `fromPartZero` counts from part 0 instead of the first
  // part still there. A record opened for reading answers from its cache.
  unsigned long long SignalLengthSpl(bool fromPartZero);

  // Bytes the record takes on disk: the signal files and an estimate of their
  // pyramids. 0 for a ring whose part numbers have wrapped.
  unsigned long long SignalSizeInBytes();

  // --- Compressed requests (ChannelCompressed.cpp) ----------------------------------

  // Prepares a min/max view of [start, stop] seconds in `points` points: relative
  // to the retained signal, or with `absolute` counted from the signal's first
  // sample. The span is cut along the parts; each piece comes from the part's
  // pyramid, from its raw samples when no level is coarse enough, or as blanks
  // for a part that is gone. Leaves the read position as it found it. With 0
  // points nothing is read: only the description (time offset included) is
  // refreshed. False, with the text in LastErrorString, for a span beyond the
  // record's margins (0.1 s before, 0.4 s after) or a piece that can't be served;
  // the result then holds the pieces served so far.
  bool RequestCompressedSignal(float start, float stop, unsigned long long points, bool absolute);
  // One piece: [start, stop] seconds of `part`, planned into `plan` and started
  // on the pyramid reader (pending on a level, or ready from blanks or raw
  // samples).
  bool RequestCompressedSignalPart(unsigned short part, float start, float stop,
                                   unsigned long long points, CompressedSignalPlan_t& plan);
  // Delivers the prepared view into `buffer` (twice Points values at most, floats
  // or doubles as `mode` says); a Trigger channel gives 0.0 and 1.0 only.
  // CompressFailed before any request, after a failed one, or for an unknown mode.
  CompressStatus_t GetCompressedSignal(void* buffer, SampleReadMode_t mode);
  const CompressedSignalInfo_t& CompressedSignalInfo() const { return m_CompressedSignalInfo; }

  // --- Metadata ------------------------------------------------------------------

  // Loads the ".zrm" file into `out` and the record information into `info`,
  // completed from "TmpRecord.zrm" while it exists; `dataSize` is the bytes of
  // samples to take the duration from (0: the sum of the part files). With
  // `mustBeOpen`, fails when no reader was opened.
  bool ReadChannelMetaData(MetaDataContainer& out, TAG_RECORD_INFO& info, bool mustBeOpen,
                           unsigned long long dataSize);

  // Re-reads rate, part length, ring and record information from the metadata, for
  // a channel opened for reading; true at once for one opened for writing.
  bool UpdateRecordInfo();

  // Saves `metaData` as the ".zrm" file, with the record fields of "TmpRecord.zrm"
  // while that exists. The caller holds the measurement's metadata lock.
  bool UpdateChannelMetaData(const MetaDataContainer& metaData);

  // Installs post-analysis scaling (a new sensitivity and offset over the recorded
  // ones) on the reader. A sensitivity of 0 or an offset of 1e38 means unset and
  // changes nothing.
  void SetPostAnalysisCoeff(float sensitivity, float offset);

  // --- Reading (ChannelRead.cpp) ----------------------------------------------------

  // Moves the read position to `seconds` of the record (the signal before the
  // retained part counted in), opening the part that holds it. A missing part is
  // no failure: reads there give filler. On failure a reader that was open is put
  // back on its old part.
  bool SetReadPosition(double seconds);
  // The same by samples. Kept apart from the time form on purpose: the offset to
  // the retained signal counts as seconds here, the part number is taken from 0
  // only when the position isn't 0, and the rounding margins differ.
  bool SetReadPositionSpl(unsigned long long sample);
  // Where the reader stands, counted from the first part still on disk; 0 without
  // a reader.
  double ReadPosition() const;
  unsigned long long ReadPositionSpl() const;
  // Reads up to `count` raw samples into `buffer`, across parts, with filler
  // (0x00, 0xFF for a Trigger channel) for a part that is gone. Ends early at the
  // end of a part shorter than its nominal length. Returns the samples read; 0
  // also when a reader fails, whatever came before.
  unsigned long long ReadRawBlock(void* buffer, unsigned long long count);
  // As ReadRawBlock, converted as `mode` says into floats or doubles. 0 for a mode
  // outside the six.
  unsigned long long ReadConvertedBlock(void* buffer, unsigned long long count,
                                        SampleReadMode_t mode);
  // True when the reader can go no further: the ring dropped its part
  // (`overtaken`), it stands at the moving end of a record still recording
  // (`live`), or at the end of the signal.
  bool EndOfChannel(bool& live, bool& overtaken) const;

  // --- What the section reads and sets --------------------------------------------

  // A copy of the last failure's text; not cleared.
  std::u16string LastErrorString() const { return m_LastError; }
  void SetLastError(const std::u16string& text) { m_LastError = text; }

  // The record information lives in the temporary record file object.
  CTmpRecordFile& TmpRecordFile() { return *m_TmpRecordFile; }
  // Starts the count of a recording at `date` (100 ns ticks).
  void BeginRecording(long long date) {
    m_EndDate = date;
    m_RecordedSamples = 0;
  }

  const CChannelID& ChannelId() const { return m_ChannelId; }
  // Its part number is the first part still on disk.
  const CRecordId& RecordId() const { return m_RecordId; }
  const std::u16string& ChannelDirectory() const { return m_ChannelDirectory; }
  CAbstractRecordSection::OpenMode_t OpenMode() const { return m_OpenMode; }
  float SamplingRate() const { return m_SamplingRate; }
  double PartLength() const { return m_PartLength; }
  unsigned long long MaxRecordSamples() const { return m_MaxRecordSamples; }
  unsigned long long RecordedSamples() const { return m_RecordedSamples; }
  long long EndDate() const { return m_EndDate; }
  unsigned short FirstPart() const { return m_SignalParts.FirstPart; }
  unsigned short LastPart() const { return m_SignalParts.LastPart; }
  SampleFormat_t SampleFormat() const { return m_SampleFormat; }
  unsigned long long SampleSize() const { return m_SampleSize; }

 private:
  friend class CRecordSection;
  friend class CSectionReader;  // takes a stopped record's parts, closes the reader
  friend class zsff_test::ChannelProbe;

  // Fields and the temporary record file object, as every constructor begins.
  void InitCommon(const CRecordId& recordId);
  // The two constructors for existing records after their own first steps.
  void OpenExisting(bool finished, unsigned short lastPart, double duration,
                    long long offsetTimeToStop);
  // Hands rate, time step, type, format and size to a reader or writer.
  void Describe(CSignalFileReader& file) const;
  std::unique_ptr<CSignalFileWriter> NewSignalWriter(unsigned short part) const;
  std::unique_ptr<CSignalFileReader> NewSignalReader(unsigned short part) const;
  std::unique_ptr<CCompressedSignalFileWriter> NewPyramidWriter(unsigned short part) const;
  std::unique_ptr<CCompressedSignalFileReader> NewPyramidReader(unsigned short part) const;
  // The pyramid reader of `part` as an earlier visit left it, or a new one. A
  // reader of a part gone from the record is not taken back.
  std::unique_ptr<CCompressedSignalFileReader> TakePyramidReader(unsigned short part);
  // Reloads the metadata for OpenPart and takes over its record information and
  // parts to delete.
  bool RefreshFromMetaData(unsigned long long dataSize);
  // Reads scaling keys of the metadata into the reader.
  void ApplyScaling(const MetaDataContainer& metaData);
  // Opens `part` for reading unless it is the current one, and puts the reader
  // `inPart` samples into it; a part that doesn't open leaves the reader on the
  // part it was reading when `wasOpen`.
  bool SeekInPart(unsigned short part, unsigned long long inPart, bool wasOpen);
  // The raw-sample piece of a compressed request; puts a reader that was open
  // back where it stood.
  bool RequestCompressedFromSamples(unsigned short part, float start, float stop,
                                    unsigned long long points);

  ChannelPartState_t& PartState(PartKind_t kind) {
    return kind == PartKindSignal ? m_SignalParts : m_PyramidParts;
  }
  const ChannelPartState_t& PartState(PartKind_t kind) const {
    return kind == PartKindSignal ? m_SignalParts : m_PyramidParts;
  }
  // Samples of a full part, truncated.
  unsigned long long SamplesPerPart() const;
  // 100 ns ticks between two samples.
  double TicksPerSample() const { return 1.0 / (static_cast<double>(m_SamplingRate) * 1e-7); }
  // The ".zrs" path of `part` without extension, UTF-8.
  std::string PartBasePath(unsigned short part) const;
  std::string PartName(unsigned short part) const;

  CChannelID m_ChannelId;
  CRecordId m_RecordId;
  std::u16string m_ChannelDirectory;
  std::string m_ChannelDirectoryUtf8;
  std::u16string m_ChannelFileName;  // without ".zrm"
  CAbstractRecordSection::OpenMode_t m_OpenMode;
  CAbstractFileAccess* m_FileAccess;  // borrowed from the section
  // Owned. Declared in the order that lets the members' destruction free the
  // writers first and the temporary record file, which they borrow, last.
  std::unique_ptr<CTmpRecordFile> m_TmpRecordFile;  // always present
  std::unique_ptr<CSignalFileReader> m_SignalFileReader;
  std::unique_ptr<CCompressedSignalFileReader> m_CompressedSignalFileReader;
  // Readers of parts visited before, oldest first, with what they learnt of
  // their level files: a view across many parts looks none of them up again.
  std::vector<std::unique_ptr<CCompressedSignalFileReader>> m_ParkedPyramidReaders;
  std::unique_ptr<CSignalFileWriter> m_SignalFileWriter;
  std::unique_ptr<CCompressedSignalFileWriter> m_CompressedSignalFileWriter;
  double m_PartLength = 0.0;
  ChannelPartState_t m_SignalParts;
  ChannelPartState_t m_PyramidParts;
  long long m_EndDate = 0;                   // date of the sample after the last written
  unsigned long long m_RecordedSamples = 0;  // samples the record holds while recording
  float m_SamplingRate = 51200.0f;
  SignalType_t m_SignalType = Dynamic;
  SampleFormat_t m_SampleFormat = SIFloat;
  unsigned long long m_SampleSize = 4;
  unsigned long long m_MaxRecordSamples = 0;  // ring size; 0: no ring
  std::vector<unsigned char> m_CompressedBuffer;
  CompressedSignalInfo_t m_CompressedSignalInfo;
  std::vector<unsigned char> m_ConvertBuffer;
  bool m_Recording = false;  // opened while another section records it
  bool m_SkipFirstPartNumber = false;
  double m_Duration = 0.0;                     // 0: computed
  unsigned long long m_SignalLengthCache = 0;  // 0: computed each time
  std::u16string m_LastError;
};

}  // namespace zsff
