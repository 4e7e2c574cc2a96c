// One signal part file (".zrs") of a channel: raw samples back to back in the
// machine's byte order, no header, no trailer. Nothing in the file tells its
// format, rate or scaling; those come from the channel's metadata, so a reader
// either is told them or fetches them from the ".zrm" file when it opens.
//
// A file holds size / SampleSize samples; a trailing fraction of a sample (left
// by a crash) is never read.
#pragma once

#include <zsff/SignalTypes.h>

#include <string>
#include <zsff/Export.h>

namespace zsff {

class CAbstractFileAccess;
class CTmpRecordFile;

// What readers and writers share: where the file is, how its samples look and
// how they scale to volts and post-analysis units.
//
// The object borrows the file access object and the temporary record file (both
// may be null) and never owns them. It takes no lock; a reader and a writer on
// the same file may run on two threads because the store shares files.
class ZSFF_API CSignalFileAccess {
 public:
  // `directory` and `baseName` are UTF-8; the file is directory, the store's
  // separator, baseName, ".zrs". `analyzerIndex` is handed to SelectAnalyzer
  // before every group of file queries.
  CSignalFileAccess(const std::string& directory, const std::string& baseName,
                    CAbstractFileAccess* access, CTmpRecordFile* tmpRecordFile,
                    unsigned short analyzerIndex);
  virtual ~CSignalFileAccess();

  // Length in seconds: samples / rate, or exactly -1.0 when the length can't be
  // had or the rate isn't above 0.
  virtual double SignalLength() = 0;
  // Length in samples from the file's size. False, with `samples` 0, when there
  // is no store or the size can't be read.
  virtual bool SignalLength(long long& samples) = 0;
  // The file's size in bytes; 0 when it can't be read.
  virtual unsigned long long SignalFileSize() = 0;
  // Appends `count` samples from `source`. See CSignalFileWriter for the result.
  virtual bool WriteSampleBlock(const void* source, unsigned long long count) = 0;
  // Seconds written by this object; 0.0 for a reader.
  virtual double RecordedLength() const = 0;
  // Moves the read position to `seconds` (truncated to a sample). Fails for a
  // negative time and for a position at or behind the stored length, except 0
  // in an empty file. Opens the file on demand.
  virtual bool SetReadPos(double seconds) = 0;
  // The same by samples, but a position equal to the stored length is accepted
  // and leaves the reader at its end.
  virtual bool SetReadPosSpl(unsigned long long samples) = 0;
  // Read position in seconds (0.0 without a rate) and in samples.
  virtual double GetReadPos() const = 0;
  virtual unsigned long long GetReadPosSpl() const = 0;
  // Reads up to `count` samples into `destination`, never beyond the stored
  // length, and returns how many were read; 0 on failure, with the position
  // unchanged. Opens the file on demand. Samples that arrived after the last
  // length query are not seen until UpdateSignalLength.
  virtual unsigned long long ReadSampleBlock(void* destination, unsigned long long count) = 0;
  // True when the file is open and the position is at or behind the stored
  // length. A closed file is never at its end.
  virtual bool EndOfReading() const = 0;
  // Refreshes the stored length from the file's size; how a reader follows a
  // file that is still growing.
  virtual bool UpdateSignalLength() = 0;
  // Nothing to do for a local file; true.
  virtual bool FlushSignalFile() = 0;
  virtual bool OpenSignalFile() = 0;
  // True when the file exists and its size can be read.
  virtual bool SignalFileExists() = 0;
  // Closes the handle if one is open. `written` tells a remote store the file
  // was written and may need transferring. False when the store failed the close
  // (the handle is released all the same): on a store where closing completes the
  // transfer, a written file may then lack its last bytes.
  virtual bool CloseSignalFile(bool written) = 0;
  virtual bool FileClosed() const = 0;

  void SetSampleFormat(SampleFormat_t format) { m_SampleFormat = format; }
  SampleFormat_t SampleFormat() const { return m_SampleFormat; }
  // The size is not derived from the format here; callers set both.
  void SetSampleSize(unsigned long long size) { m_SampleSize = size; }
  unsigned long long SampleSize() const { return m_SampleSize; }
  void SetSignalType(SignalType_t type) { m_SignalType = type; }
  SignalType_t SignalType() const { return m_SignalType; }
  // Stores the rate and recomputes AbsTimeStep from it.
  void SetSamplingRate(float rate);
  double SamplingRate() const { return m_SamplingRate; }
  // Time between two samples in 100 ns ticks.
  double AbsTimeStep() const { return m_AbsTimeStep; }
  void SetAbsTimeStep(double ticks) { m_AbsTimeStep = ticks; }

  // Scaling. Both setters ignore a call whose coefficient is 0.0 or whose offset
  // is 1e38, the metadata's marks for an unset value: then nothing changes.
  //
  // SetRecordedCoeff(a, b) sets the recorded and post-analysis pairs to (a, b),
  // the volt pair to (a, -b) and the post-analysis conversion to (1, 0).
  void SetRecordedCoeff(float coeff, float offset);
  // SetPostAnalysisCoeff(c, d) sets the post-analysis pair to (c, d) and the
  // post-analysis conversion to (recorded / c, (d - recorded offset) / c). The
  // recorded and volt pairs stay, so new settings rescale reads without touching
  // the file.
  void SetPostAnalysisCoeff(float coeff, float offset);
  void GetRecordedCoeff(float& coeff, float& offset) const;
  void GetPostAnalysisCoeff(float& coeff, float& offset) const;
  float CoeffToVolt() const { return m_CoeffToVolt; }
  float OffsetToVolt() const { return m_OffsetToVolt; }
  float CoeffToPASI() const { return m_CoeffToPASI; }
  float OffsetToPASI() const { return m_OffsetToPASI; }

  // The record's start date and relative time step from the temporary record
  // file, read from disk first if it hasn't been; 0 and 1 without one.
  long long StartDate();
  unsigned short RelTimeStep();

  const std::string& Directory() const { return m_Directory; }
  const std::string& BaseName() const { return m_BaseName; }
  unsigned short AnalyzerIndex() const { return m_AnalyzerIndex; }

 protected:
  std::string m_Directory;
  std::string m_BaseName;
  CAbstractFileAccess* m_FileAccess;  // borrowed, may be null
  unsigned short m_AnalyzerIndex;
  SampleFormat_t m_SampleFormat = SIFloat;
  SignalType_t m_SignalType = Dynamic;
  double m_SamplingRate = 0.0;  // 0 while unknown: a reader then asks the metadata
  double m_AbsTimeStep = 0.0;
  unsigned long long m_SampleSize = 4;
  float m_RecordedCoeff = 1.0f;
  float m_RecordedOffset = 0.0f;
  float m_PostAnalysisCoeff = 1.0f;
  float m_PostAnalysisOffset = 0.0f;
  float m_CoeffToVolt = 1.0f;
  float m_OffsetToVolt = 0.0f;
  float m_CoeffToPASI = 1.0f;
  float m_OffsetToPASI = 0.0f;
  CTmpRecordFile* m_TmpRecordFile;  // borrowed, may be null
};

// Reads one part file. Closed after construction; SetReadPos, SetReadPosSpl and
// ReadSampleBlock open it on demand. The file is opened for reading only and
// never created; a reader may stand on a file that a writer is still filling.
class ZSFF_API CSignalFileReader : public CSignalFileAccess {
 public:
  // `metaDataFileName` is the channel's metadata file name without ".zrm", in
  // `directory`; it is read only when the sampling rate is still 0 at opening.
  CSignalFileReader(const std::string& directory, const std::string& baseName,
                    const std::u16string& metaDataFileName, CAbstractFileAccess* access,
                    CTmpRecordFile* tmpRecordFile, unsigned short analyzerIndex);
  // Closes the handle if open (as read, not written).
  ~CSignalFileReader() override;
  CSignalFileReader(const CSignalFileReader&) = delete;
  CSignalFileReader& operator=(const CSignalFileReader&) = delete;

  double SignalLength() override;
  bool SignalLength(long long& samples) override;
  unsigned long long SignalFileSize() override;
  // A reader writes nothing: false.
  bool WriteSampleBlock(const void* source, unsigned long long count) override;
  double RecordedLength() const override;
  bool SetReadPos(double seconds) override;
  bool SetReadPosSpl(unsigned long long samples) override;
  double GetReadPos() const override;
  unsigned long long GetReadPosSpl() const override;
  unsigned long long ReadSampleBlock(void* destination, unsigned long long count) override;
  bool EndOfReading() const override;
  bool UpdateSignalLength() override;
  bool FlushSignalFile() override;
  // Opens the file for reading only (false if it vanished since the length
  // query) and moves to position 0. When the rate is 0 the format, size,
  // type and rate are first taken from the channel's metadata; a file that doesn't
  // exist is then accepted (true, still closed) only for a record whose metadata
  // says its duration is exactly 0.0. True at once when already open.
  bool OpenSignalFile() override;
  bool SignalFileExists() override;
  bool CloseSignalFile(bool written) override;
  bool FileClosed() const override { return m_Handle == 0; }

  // The whole path of the part file, UTF-8.
  const std::string& FilePath() const { return m_FilePath; }
  // The length in samples as the last length query left it.
  long long StoredSignalLength() const { return m_SignalLength; }

 protected:
  // Closes without going through the virtual table (safe in destructors).
  bool CloseHandle(bool written);

  std::string m_FilePath;
  std::u16string m_MetaDataFileName;
  unsigned int m_Handle = 0;
  long long m_SignalLength = 0;
  long long m_ReadPos = 0;
};

// Writes one part file. The file is created (an existing one truncated) by the
// first WriteSampleBlock. Always works on analyzer 0.
class ZSFF_API CSignalFileWriter : public CSignalFileReader {
 public:
  CSignalFileWriter(const std::string& directory, const std::string& baseName,
                    const std::u16string& metaDataFileName, CAbstractFileAccess* access,
                    CTmpRecordFile* tmpRecordFile);

  // False for a count of 0. Otherwise true, even when the open or the write
  // failed: callers that must know compare SamplesWritten (which grows only by
  // blocks written whole) or the file's size. One block is one write. A block
  // that went through in part is cut off the file again, so the file holds
  // SamplesWritten samples and the next block follows them; when even the cut
  // fails, nothing more is written.
  bool WriteSampleBlock(const void* source, unsigned long long count) override;
  // Samples written divided by the rate; the rate isn't checked.
  double RecordedLength() const override;
  // Creates or truncates the file. Reports a diagnostic line when there is no
  // store. True at once when already open.
  bool OpenSignalFile() override;

  long long SamplesWritten() const { return m_SamplesWritten; }

 private:
  long long m_SamplesWritten = 0;
  // A failed block couldn't be cut off: the file's end is no longer known.
  bool m_OutOfStep = false;
};

}  // namespace zsff
