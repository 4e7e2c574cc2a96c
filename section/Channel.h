// One channel of one record: its signal part files (".zrs"), the pyramid of
// min/max files beside each part (".zpr"), and its "TmpRecord.zrm". The channel
// holds what its pieces share (the layout, the two part ranges and the two read
// cursors) and hands the work to them: the part writer records and keeps the
// ring, the part reader reads raw samples across parts, the pyramid view answers
// min/max requests. What stays here is construction, metadata and lengths.
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

#include "section/ChannelCheck.h"
#include "section/ChannelLayout.h"
#include "section/ChannelPartRange.h"
#include "section/ChannelPartReader.h"
#include "section/ChannelPartWriter.h"
#include "section/ChannelPyramidView.h"
#include "section/ChannelReadCursor.h"

namespace zsff_test {
class ChannelProbe;  // lets the channel's tests look at the part bookkeeping
}

namespace zsff {

class CAbstractFileAccess;
class MetaDataContainer;
class MetaDataFileLock;

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
  // Clears a channel's record date and length, so that metadata taken over from
  // another record doesn't claim that record's signal before this one has any:
  // the end-up of a record killed while it started takes such a channel as empty.
  static void ForgetRecord(MetaDataContainer& metaData);

  // Appends `count` samples of the channel's format from `data`, and with
  // `compress` feeds them through the pyramid. A block is cut exactly where a part
  // ends; the next part is opened on the way, and a ring drops its oldest part
  // when it grows beyond its bound. No allocation and no metadata write happen
  // here except when a part opens or drops. False when the next part can't be
  // opened or a write didn't go through whole: the samples of the earlier blocks
  // and of the earlier pieces of this one stay written and counted; the failing
  // piece isn't counted. A count of 0 is true.
  bool WriteSampleBlock(const void* data, unsigned long long count, bool compress) {
    return m_Writer.WriteSampleBlock(data, count, compress);
  }

  // Appends `count` values of the first pyramid level (min, max pairs, each pair
  // standing for the compression factor of samples) computed by the host, cut at
  // part boundaries like raw samples. Results as WriteSampleBlock.
  bool WriteCompressedSampleBlock(const void* data, unsigned long long count) {
    return m_Writer.WriteCompressedSampleBlock(data, count);
  }

  // Flushes the signal and pyramid writers. Called by the section for slow
  // channels only; the hot path never flushes.
  void FlushChannel() { m_Writer.Flush(); }

  // The end of the recording: closes the part files, writes the temporary record
  // file a last time, completes the ".zrm" file from it (the record's duration
  // included) when `lock` proves that the caller holds the measurement's metadata,
  // retries the parts still to delete, and deletes "TmpRecord.zrm". False, with
  // LastErrorString, when a part file couldn't be closed, the temporary record
  // file written or the ".zrm" read or completed: the temporary record file then
  // stays, so that the end-up (or a second call) can finish the record.
  bool CloseChannel(const MetaDataFileLock* lock);

  // --- Parts ---------------------------------------------------------------------

  // Deletes the files of the parts waiting for deletion (a part's ".zrs" and its
  // pyramid levels). The parts whose files couldn't be deleted stay waiting and
  // are also handed out in `notDeleted`.
  void DeleteParts(std::vector<unsigned short>& notDeleted) { m_Writer.DeleteParts(notDeleted); }
  // The parts of a record whose recording has just stopped, as its list says.
  void TakeParts(unsigned short first, unsigned short last);

  // Marks the parts `first` to `last` (those the record holds) for deletion: they
  // read as filler from now on, and "PartsToDelete" in the ".zrm" keeps them
  // until ApplyPartsToDelete removes their files. A part being written (by this
  // channel, or by the section recording the record) is never marked; a reader
  // standing on a marked part lets go of it. Nothing is marked in a ring still
  // recording. False, with nothing marked, without `lock` or when the ".zrm"
  // can't be read or written (the reason in LastErrorString).
  bool ErasePartRange(const MetaDataFileLock* lock, unsigned short first, unsigned short last);
  // Deletes the files of the parts marked, then takes those gone out of
  // "PartsToDelete" (a kill in between leaves them marked, and the next opening
  // finds nothing left to delete). The caller holds the metadata lock.
  bool ApplyPartsToDelete();

  // The truth about a record that may not have been closed, from "TmpRecord.zrm",
  // the part files on disk and the ".zrm": a ring's parts and start are taken
  // from the files it still has. With `lock`, the ".zrm" is brought up to date
  // and the temporary file deleted (Ok); without, nothing is written and Ok stays
  // false. A channel without a temporary file is finished: Ok at once.
  ChannelCheck_t CheckChannel(const MetaDataFileLock* lock);

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

  // --- Compressed requests (the pyramid view) --------------------------------------

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
  // Delivers the prepared view into `buffer` (twice Points values at most, floats
  // or doubles as `mode` says); a Trigger channel gives 0.0 and 1.0 only.
  // CompressFailed before any request, after a failed one, or for an unknown mode.
  CompressStatus_t GetCompressedSignal(void* buffer, SampleReadMode_t mode) {
    return m_PyramidView.Get(buffer, mode);
  }
  const CompressedSignalInfo_t& CompressedSignalInfo() const { return m_PyramidView.Info(); }

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
  void SetPostAnalysisCoeff(float sensitivity, float offset) {
    m_Reader.SetPostAnalysisCoeff(sensitivity, offset);
  }

  // --- Reading (the part reader) ------------------------------------------------------

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
  double ReadPosition() const { return m_Reader.ReadPosition(); }
  unsigned long long ReadPositionSpl() const { return m_Reader.ReadPositionSpl(); }
  // Reads up to `count` raw samples into `buffer`, across parts, with filler
  // (0x00, 0xFF for a Trigger channel) for a part that is gone. Ends early at the
  // end of a part shorter than its nominal length. Returns the samples read; 0
  // also when a reader fails, whatever came before. `recording` tells whether the
  // temporary record file was there when the read began: the whole read takes
  // that as the state of the recording, instead of asking the store again.
  unsigned long long ReadRawBlock(void* buffer, unsigned long long count, bool recording) {
    return m_Reader.ReadRawBlock(buffer, count, recording);
  }
  // As ReadRawBlock, converted as `mode` says into floats or doubles. 0 for a mode
  // outside the six.
  unsigned long long ReadConvertedBlock(void* buffer, unsigned long long count,
                                        SampleReadMode_t mode, bool recording) {
    return m_Reader.ReadConvertedBlock(buffer, count, mode, recording);
  }
  // True when the reader can go no further: the ring dropped its part
  // (`overtaken`), it stands at the moving end of a record still recording
  // (`live`), or at the end of the signal.
  bool EndOfChannel(bool& live, bool& overtaken) const {
    return m_Reader.EndOfChannel(live, overtaken);
  }
  // Closes the file of the part being read; reading may open it again.
  void CloseReader() { m_Reader.CloseFile(); }

  // --- What the section reads and sets --------------------------------------------

  // A copy of the last failure's text; not cleared.
  std::u16string LastErrorString() const { return m_LastError; }
  void SetLastError(const std::u16string& text) { m_LastError = text; }

  // The record information lives in the temporary record file object.
  CTmpRecordFile& TmpRecordFile() { return *m_TmpRecordFile; }
  // Starts the count of a recording at `date` (100 ns ticks).
  void BeginRecording(long long date) { m_Writer.BeginRecording(date); }

  const CChannelID& ChannelId() const { return m_Layout.ChannelId; }
  // Its part number is the first part still on disk.
  const CRecordId& RecordId() const { return m_Layout.RecordId; }
  const std::u16string& ChannelDirectory() const { return m_Layout.Directory; }
  CAbstractRecordSection::OpenMode_t OpenMode() const { return m_OpenMode; }
  float SamplingRate() const { return m_Layout.SamplingRate; }
  double PartLength() const { return m_Layout.PartLength; }
  unsigned long long MaxRecordSamples() const { return m_Layout.MaxRecordSamples; }
  unsigned long long RecordedSamples() const { return m_Writer.RecordedSamples(); }
  long long EndDate() const { return m_Writer.EndDate(); }
  unsigned short FirstPart() const { return m_SignalParts.FirstPart; }
  unsigned short LastPart() const { return m_SignalParts.LastPart; }
  SampleFormat_t SampleFormat() const { return m_Layout.SampleFormat; }
  unsigned long long SampleSize() const { return m_Layout.SampleSize; }

 private:
  friend class CRecordSection;
  friend class CSectionSurgery;  // moves the first part of every channel in a split
  friend class zsff_test::ChannelProbe;

  // What every constructor begins with: the layout, the parts from the record
  // id's part number, and the temporary record file object.
  CChannel(ChannelLayout layout, CAbstractRecordSection::OpenMode_t openMode);
  // The two constructors for existing records after their own first steps.
  void OpenExisting(bool finished, unsigned short lastPart, double duration,
                    long long offsetTimeToStop);
  // Fills the lengths of `check` for the parts `first` to `last`, which the
  // temporary record file is told too.
  void FillCheck(ChannelCheck_t& check, unsigned short first, unsigned short last);
  // The parts, length and size of the part files on disk, into `check`; false
  // (and `check` untouched) when there are none.
  bool TakePartsOnDisk(ChannelCheck_t& check);
  // Moves the record's start past the parts a ring dropped, as the part files
  // left on disk show them, into `check`.
  void CheckRingParts(ChannelCheck_t& check);
  // Builds `part`'s pyramid anew from its samples when a level misses pairs that
  // its samples make; false when that failed.
  bool MendPyramid(unsigned short part);
  // The reader's and the writer's lengths taken anew from their files, failures
  // told in the error text; a reader that `mayLag` behind a growing part-wise
  // record doesn't count as failing.
  void RefreshFileLengths(bool mayLag);

  ChannelLayout m_Layout;
  CAbstractRecordSection::OpenMode_t m_OpenMode;
  // Owned; outlives the pieces, whose readers and writers borrow it.
  std::unique_ptr<CTmpRecordFile> m_TmpRecordFile;  // always present
  ChannelPartRange m_SignalParts;
  ChannelPartRange m_PyramidParts;
  ChannelReadCursor m_SignalRead;
  ChannelReadCursor m_PyramidRead;
  std::u16string m_LastError;
  // Declared in the order that lets the members' destruction free the writers
  // first, then the pyramid readers, then the signal reader.
  CChannelPartReader m_Reader;
  CChannelPyramidView m_PyramidView;
  CChannelPartWriter m_Writer;
  bool m_Recording = false;  // opened while another section records it
  bool m_SkipFirstPartNumber = false;
  double m_Duration = 0.0;  // 0: computed
};

}  // namespace zsff
