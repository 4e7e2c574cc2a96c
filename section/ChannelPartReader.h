// Reads a channel's raw samples across its part files: the signal reader of the
// part being read, the read position as a part and a place in it, filler samples
// for a part that is gone, and where the reader stands against a recording that
// may still be moving ahead of it.
//
// A part inside the record that can't be read is no failure: it is marked
// missing and reads fill it. A part outside the record fails to open, and the
// reader stays where it was. Looking whether the part at hand is readable marks
// the pyramid view's cursor too. Borrows the channel's layout, both part ranges,
// both read cursors and its error text.
#pragma once

#include <zsff/AbstractRecordSection.h>

#include <memory>
#include <string>
#include <vector>

#include "section/ChannelReadCursor.h"

namespace zsff {

class CSignalFileReader;
class MetaDataContainer;
struct ChannelLayout;
struct ChannelPartRange;

class CChannelPartReader {
 public:
  // The text of a read that failed, as against one that met the end.
  static constexpr const char16_t* kUnableToRead =
      u"CRecordSection::ReadRawSampleBlock unable to read samples";

  CChannelPartReader(ChannelLayout& layout, ChannelPartRange& signalParts,
                     ChannelPartRange& pyramidParts, ChannelReadCursor& cursor,
                     ChannelReadCursor& pyramidCursor, std::u16string& lastError);
  ~CChannelPartReader();
  CChannelPartReader(const CChannelPartReader&) = delete;
  CChannelPartReader& operator=(const CChannelPartReader&) = delete;

  // Makes the reader of `part`, not yet described: the channel describes it once
  // it knows its samples.
  void Begin(unsigned short part);
  // A channel made for recording has no reader until one is needed; this makes
  // one, described, for the part the cursor stands on.
  void EnsureReader();
  bool HasReader() const { return m_File != nullptr; }
  // The reader of the part at hand; only while HasReader.
  CSignalFileReader& File() { return *m_File; }
  const CSignalFileReader& File() const { return *m_File; }
  // The file's length taken anew; true without a reader.
  bool UpdateSignalLength();
  unsigned long long SignalFileSize() const;
  void CloseFile();

  // Reads the recorded scaling, and the post-analysis scaling when set, from the
  // metadata into the reader.
  void ApplyScaling(const MetaDataContainer& metaData);
  // A new sensitivity and offset over the recorded ones; 0 or 1e38 change nothing.
  void SetPostAnalysisCoeff(float sensitivity, float offset);

  // Makes `part` the part being read, at its start: a new reader, or the part
  // marked missing when it lies inside the record but can't be read. For the part
  // already at hand, looks again whether it is readable. `refresh` first reloads
  // the parts to delete, which the recording side may have changed. False when
  // the metadata can't be reloaded for the part at hand, or when a part outside
  // the record (or not written yet) is asked for.
  bool OpenPart(unsigned short part, bool refresh);
  // Samples of the part being read still ahead of the cursor, counted against a
  // full part; 0 at its exact end.
  unsigned long long RemainingInPart() const;
  void Advance(unsigned long long count) { m_Cursor.InPart += count; }

  // Moves to `seconds` or to `sample` of the record, opening the part that holds
  // it; `skipFirstPartNumber` counts parts from 0. Both forms as CChannel tells.
  bool SetReadPosition(double seconds, bool skipFirstPartNumber);
  bool SetReadPositionSpl(unsigned long long sample, bool skipFirstPartNumber);
  double ReadPosition() const;
  unsigned long long ReadPositionSpl() const;
  // Reads as CChannel tells; `recording` is the state of the recording the read
  // goes by.
  unsigned long long ReadRawBlock(void* buffer, unsigned long long count, bool recording);
  unsigned long long ReadConvertedBlock(void* buffer, unsigned long long count,
                                        SampleReadMode_t mode, bool recording);
  bool EndOfChannel(bool& live, bool& overtaken) const;

  // Where the reader stands, to be put back after a look elsewhere.
  struct Bookmark {
    unsigned short Part = 0;
    unsigned long long InPart = 0;
    bool WasOpen = false;
    unsigned long long Position = 0;  // of the file reader
  };
  Bookmark Mark() const;
  // Back to `mark` if the reader was open there and its part is still in the record.
  void ReturnTo(const Bookmark& mark);

 private:
  // Samples that a missing part stands for: a full part, but no more than the
  // record's length leaves for it.
  unsigned long long MissingPartSamples(bool recording) const;
  // Samples of a finished record from the start of the part at hand to the
  // record's end, as its length tells it; unbounded while it records or when
  // nothing tells. A section of a split record ends there although the parts
  // of the next section follow on disk.
  unsigned long long RecordSamplesFromPart(bool recording) const;
  // The text that names a part that can't be read.
  std::u16string UnableToOpen(unsigned short part) const;
  // OpenPart for the part at hand and for another.
  bool Recheck(bool refresh);
  bool MoveTo(unsigned short part, bool refresh);
  // Reloads the record information and the parts to delete from the metadata.
  bool RefreshFromMetaData(unsigned long long dataSize);
  // Opens `part` unless it is the one at hand and puts the reader `inPart`
  // samples into it; a part that doesn't open leaves the reader on the part it was
  // reading when `wasOpen`.
  bool SeekInPart(unsigned short part, unsigned long long inPart, bool wasOpen);

  ChannelLayout& m_Layout;
  ChannelPartRange& m_SignalParts;
  ChannelPartRange& m_PyramidParts;
  ChannelReadCursor& m_Cursor;
  ChannelReadCursor& m_PyramidCursor;
  std::u16string& m_LastError;
  std::unique_ptr<CSignalFileReader> m_File;
  std::vector<unsigned char> m_ConvertBuffer;  // raw samples on their way to conversion
};

}  // namespace zsff
