// Writes a channel's samples into its part files: the signal writer and the
// pyramid writer of the part being written, a block cut exactly where a part
// ends, the roll-over to the next part, and the ring that drops the oldest part
// once the record holds more than its bound.
//
// The per-block path does arithmetic and one write per file: no allocation, no
// flush, and the temporary record file is written once a part and once a dropped
// part, never per block. A failure leaves its text in the channel's error and the
// part counters counting only what was written. Parts dropped wait in the
// ranges' PartsToDelete until their files are gone. Borrows the channel's
// layout, its two part ranges and its error text.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace zsff {

class CCompressedSignalFileWriter;
class CSignalFileWriter;
struct ChannelLayout;
struct ChannelPartRange;

class CChannelPartWriter {
 public:
  CChannelPartWriter(ChannelLayout& layout, ChannelPartRange& signalParts,
                     ChannelPartRange& pyramidParts, std::u16string& lastError);
  ~CChannelPartWriter();
  CChannelPartWriter(const CChannelPartWriter&) = delete;
  CChannelPartWriter& operator=(const CChannelPartWriter&) = delete;

  // Makes the signal and pyramid writers of `part`, where writing begins. No file
  // is created before Arm.
  void Begin(unsigned short part);
  // Fixes the ring (`maxLength` seconds, 0: none), chooses the pyramid depth a part
  // of the layout's length fills exactly, and creates the first part's files.
  // False without a writer (no text) or when the signal file can't be created; a
  // pyramid that can't be created is only reported in the error text.
  bool Arm(double maxLength);

  // Starts the count of a recording at `date` (100 ns ticks).
  void BeginRecording(long long date) {
    m_EndDate = date;
    m_RecordedSamples = 0;
  }
  // Appends `count` samples, and with `compress` feeds them through the pyramid.
  // False when the next part can't be opened, the part before it couldn't be
  // closed, or a write didn't go through whole: the earlier pieces stay written
  // and counted, the failing one isn't counted. False also, the block written and
  // counted, when the pyramid failed (it then takes no more of its part) or the
  // temporary record file couldn't be rewritten at a part's start (only a crash
  // before the next rewrite would miss the part).
  bool WriteSampleBlock(const void* data, unsigned long long count, bool compress);
  // Appends `count` first-level pyramid values computed by the host, cut at part
  // boundaries like raw samples.
  bool WriteCompressedSampleBlock(const void* data, unsigned long long count);
  void Flush();
  // Closes the part being written, its pyramid completed. False, with the text,
  // when the store failed a close (every file is closed all the same).
  bool Close();

  // Deletes the files of the parts waiting for deletion: a part's ".zrs" and its
  // pyramid levels. The parts whose files couldn't be deleted stay waiting and are
  // handed out in `notDeleted`; the pyramid range's list, whose files went with
  // the signal's, empties.
  void DeleteParts(std::vector<unsigned short>& notDeleted);

  // The signal and pyramid parts whose files are open for writing; false while
  // nothing is (before arming, after closing, in a record opened to be edited).
  bool PartsBeingWritten(unsigned short& signal, unsigned short& pyramid) const;

  // Samples still to come in the signal part being written; 0 at its exact end.
  unsigned long long RemainingInSignalPart() const;
  long long EndDate() const { return m_EndDate; }  // of the sample after the last written
  unsigned long long RecordedSamples() const { return m_RecordedSamples; }
  // Levels of the pyramid written per part; the full depth without a pyramid writer.
  int PyramidLevels() const;

  // The signal writer's view of its file, for lengths and sizes; false and 0
  // without a writer.
  bool HasWriter() const { return m_Signal != nullptr; }
  bool UpdateSignalLength();
  unsigned long long SignalFileSize() const;

 private:
  // The part being written of one kind and the samples written into it (for the
  // pyramid, in samples of the signal they stand for).
  struct Cursor {
    unsigned short Part = 0;
    unsigned long long Written = 0;
  };

  // Each rolls over to the next part, and is false with the text when the close of
  // the one before or the open of the new one failed.
  bool OpenNextSignalPart();
  bool OpenNextPyramidPart();
  // Close the part being written of each kind; false with the text on a failure.
  bool CloseSignal();
  bool ClosePyramid(unsigned short part);
  // Counts `count` samples as written and keeps the ring of `range`; `signal` tells
  // which kind, for the record's dates and the temporary record file. False with
  // the text when that file couldn't be rewritten.
  bool Advance(Cursor& cursor, ChannelPartRange& range, bool signal, unsigned long long count);
  unsigned long long Remaining(const Cursor& cursor) const;
  // DeleteParts for the signal's range alone, as the ring drops a part.
  void DeleteSignalParts(std::vector<unsigned short>& notDeleted);
  // The new part `part` enters the range.
  static void Enter(ChannelPartRange& range, Cursor& cursor, unsigned short part);

  ChannelLayout& m_Layout;
  ChannelPartRange& m_SignalParts;
  ChannelPartRange& m_PyramidParts;
  std::u16string& m_LastError;
  // The pyramid writer goes first: declared last.
  std::unique_ptr<CSignalFileWriter> m_Signal;
  std::unique_ptr<CCompressedSignalFileWriter> m_Pyramid;
  Cursor m_SignalCursor;
  Cursor m_PyramidCursor;
  long long m_EndDate = 0;
  unsigned long long m_RecordedSamples = 0;  // samples the record holds while recording
};

}  // namespace zsff
