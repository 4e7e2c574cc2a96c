// Builds the pyramid of min/max files beside one signal part while it is recorded.
//
// Level n (1 to 4) is the file <directory><sep><base name>_<n>.zpr; each holds
// (min, max) pairs in the channel's sample format, no header, and a pair of
// level n summarises 32^n raw samples. A level the recording never reached is
// deleted when the writer closes, so a level file exists only if it has data.
//
// The levels gather in memory and go out together, one write a level, once
// level 2 holds kGatheredPairs pairs' worth, and at every flush and close: a
// write of a few hundred bytes per file and block would cost more than the
// block's samples. A reader of the part being recorded completes what level 1
// lacks from the part's samples and the coarser levels from level 1. That holds
// while every block is a whole number of groups, so that level 1's pairs stand
// for the part's groups of 32 in order; from the first block that isn't, level 1
// is written with every block again.
#pragma once

#include <zsff/SignalTypes.h>

#include <cstdint>
#include <string>
#include <vector>

#include "signal/BlockReduction.h"

namespace zsff {

class CAbstractFileAccess;
class CTmpRecordFile;

class CCompressedSignalFileWriter {
 public:
  static constexpr int kMaxLevels = 4;
  static constexpr unsigned long long kCompressionFactor = 32;
  // Pairs of level 2 gathered before the levels are written: 16 blocks of 4096
  // samples, at most 65536 samples for a reader to complete level 1 from.
  static constexpr unsigned long long kGatheredPairs = 64;

  // `directory`, the store's separator and `baseName` (the part's name, without
  // extension); `baseName` alone for an empty directory.
  static std::string BasePath(const std::string& directory, const std::string& baseName,
                              const CAbstractFileAccess* access);

  // Opens nothing. Borrows the store and the temporary record file (either may
  // be null). A sample size that contradicts a known format gives way to the
  // format's, so that no buffer is ever sized for the wrong element.
  CCompressedSignalFileWriter(const std::string& directory, const std::string& baseName,
                              CAbstractFileAccess* access, unsigned long long sampleSize,
                              SampleFormat_t format, CTmpRecordFile* tmpRecordFile);
  // Closes what is still open and deletes the levels that never got a value.
  virtual ~CCompressedSignalFileWriter();
  CCompressedSignalFileWriter(const CCompressedSignalFileWriter&) = delete;
  CCompressedSignalFileWriter& operator=(const CCompressedSignalFileWriter&) = delete;

  // Creates (or truncates) the files of levels 1 to NumberOfLevels(). A failed
  // open gives false and leaves the levels opened before it open. Levels already
  // open are closed first. The buffers of the write path are allocated here.
  bool OpenLevelFiles();

  // Reduces `count` raw samples to pairs of 32 (each block closes its own last,
  // possibly short, group) and cascades them through the levels, which are
  // written when they are due. False when a level write failed, when the levels
  // aren't open, or for an unknown format. A write that fails, even part-way,
  // cuts its level file back to the whole writes before it and ends the part's
  // pyramid: later blocks are refused, so that no pair lands out of place behind
  // the lost ones. A pyramid of 0 levels has nothing to build: true. A count of
  // 0 is true.
  bool WriteRawBlock(const void* samples, unsigned long long count);

  // Feeds `count` values (min, max pairs already reduced by 32) straight into
  // level 1, written at once, for a host that computes the first level itself.
  // Results as above.
  bool WriteCompressedBlock(const void* values, unsigned long long count);

  // Writes what the levels gathered, then FlushFile on every open level;
  // the results and-ed. True when nothing is open. A failed write ends the
  // pyramid as above.
  bool Flush();

  // Writes what the levels gathered, closes every level (`written` goes to the
  // store) and deletes the file of a level that never received a value. The
  // level table is emptied; the first stage's carry is kept. False when the
  // gathered pairs couldn't be written or the store failed a close (every level
  // is closed all the same): on a store where closing completes the transfer, a
  // written level may then lack its last pairs.
  bool Close(bool written);

  unsigned long long CompressionFactor() const { return m_CompressionFactor; }
  // The depth of the pyramid opened by the next OpenLevelFiles, 0 to 4. A part
  // too short for a level gets fewer levels (the channel decides).
  int NumberOfLevels() const { return m_NumberOfLevels; }
  void SetNumberOfLevels(int levels);
  // Levels opened and not yet closed.
  std::size_t OpenLevels() const { return m_Levels.size(); }
  const std::string& BasePath() const { return m_BasePath; }

 private:
  struct Level {
    unsigned int Handle = 0;
    unsigned long long Bytes = 0;  // of whole writes, where a failed one is cut back to
    reduction::LevelCarry Carry;  // values received but not yet summarised for the next level
    std::string Path;
    bool NeverWritten = true;
    // Values not yet written, in the sample type; sized at open for what one
    // block adds beyond the gathering bound.
    std::vector<unsigned char> Gathered;
    // What this level hands on to the next one, kept between blocks so that the
    // write path doesn't allocate. Only the vector of the format's type is used.
    std::vector<float> NextFloat;
    std::vector<double> NextDouble;
    std::vector<std::int16_t> NextInt16;
    std::vector<std::int32_t> NextInt32;
  };

  template <typename T>
  static std::vector<T>& Next(Level& level);
  template <typename T>
  bool CascadeFrom(std::size_t level, const T* values, unsigned long long count);
  // Cascades a block; on a failure cuts the levels back and stops the pyramid.
  bool Cascade(const void* values, unsigned long long count);
  // Writes one level's share of a block (or what it gathered) in one call; clears
  // its never-written mark. A failure cuts the file back and ends the pyramid.
  bool Append(Level& level, const void* data, unsigned long long bytes);
  // Gathers a level's share, or writes level 1's at once once it no longer gathers.
  bool Take(std::size_t level, const void* data, unsigned long long bytes);
  // Whether the levels gathered enough to be written.
  bool GatheredEnough() const;
  // Writes what every level gathered, each in one call.
  bool WriteGathered();
  // Writes level 1 with every block from now on, what it gathered first.
  bool StopGatheringFirstLevel();
  // Sizes the first-stage buffer and each level's hand-on buffer for `samples`.
  void Prepare(unsigned long long samples);

  std::vector<Level> m_Levels;
  CAbstractFileAccess* m_FileAccess;  // borrowed, may be null
  std::string m_BasePath;
  SampleFormat_t m_SampleFormat;
  unsigned long long m_SampleSize;
  unsigned long long m_CompressionFactor = kCompressionFactor;
  // Carry of the first stage. Stays empty in practice, since every block closes
  // its own last group.
  unsigned long long m_Missing = 0;
  double m_Minimum = 0.0;
  double m_Maximum = 0.0;
  // Borrowed, may be null. The writer needs nothing from it yet; it is kept so that
  // the pyramid knows the record it belongs to, as the reader does.
  [[maybe_unused]] CTmpRecordFile* m_TmpRecordFile;
  int m_NumberOfLevels = kMaxLevels;
  bool m_GatherFirstLevel = true;  // every block so far was whole groups
  bool m_Stopped = false;  // a write failed: the levels end where they were cut back
  std::vector<unsigned char> m_FirstLevel;   // pairs of the first stage, in the sample type
  unsigned long long m_PreparedSamples = 0;  // largest block the buffers hold
};

}  // namespace zsff
