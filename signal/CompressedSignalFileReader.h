// Answers a request for a span of one part in a given number of (min, max)
// points from the part's pyramid files, or reduces raw samples that the caller
// reads for it when no level is coarse enough to help.
//
// A request is planned first (Plan), then started as a blank, level or raw
// request, and its values are fetched with Get. One request at a time.
#pragma once

#include <zsff/CompressedSignal.h>
#include <zsff/SignalTypes.h>

#include <string>
#include <vector>

namespace zsff {

class CAbstractFileAccess;
class CTmpRecordFile;

// How a request is served.
struct CompressedSignalPlan_t {
  std::size_t Level = 0;           // index in the level table (0 is level file 1)
  unsigned long long Divider = 0;  // raw samples per pair of that level; 1 for raw
                                   // samples, 0 when no level can be used at all
  double RemainingRatio = 1.0;     // pairs (or samples) per point still to reduce
  unsigned long long PairsToRead = 0;
  unsigned long long PointsGiven = 0;
  bool UseRawSignal = false;  // the divider is below the factor: reduce raw samples
  // Set by the caller when the span runs to the end of what the part holds: the
  // level's pairs behind the planned ones then join the last point, so that no
  // sample of the span is left out where the pairs cover fewer samples than the
  // divider (blocks that weren't a multiple of the factor).
  bool ThroughEnd = false;
};

class CCompressedSignalFileReader {
 public:
  // `expectedDuration` is the part's length in seconds, used to estimate pair
  // counts of levels that aren't measured (parts not being recorded, missing
  // files). `blankFormat` Raw32 makes blanks all bits set, others all clear.
  // `partNumber` is compared with the temporary record file's last part to tell
  // whether this part is the one being recorded. Borrows the store and the
  // temporary record file (either may be null). A sample size that contradicts a
  // known format gives way to the format's.
  CCompressedSignalFileReader(const std::string& directory, const std::string& baseName,
                              CAbstractFileAccess* access, unsigned short analyzerIndex,
                              unsigned long long sampleSize, SampleFormat_t format,
                              float samplingRate, CTmpRecordFile* tmpRecordFile,
                              double expectedDuration, SampleFormat_t blankFormat,
                              unsigned short partNumber);
  virtual ~CCompressedSignalFileReader() = default;
  CCompressedSignalFileReader(const CCompressedSignalFileReader&) = delete;
  CCompressedSignalFileReader& operator=(const CCompressedSignalFileReader&) = delete;

  // Whether a level file of the part exists: level 1 or, failing that, any above
  // it. A finished part's answer is taken from its level table once that is
  // known, where a level counts only if its file holds a pair.
  bool LevelFileExists();

  // Chooses the coarsest level whose pairs still number at least the points
  // wanted, so that fewer than 32 pairs are read per point. A level whose file is
  // gone or holds no pair is passed over for a finer one, or for the raw samples
  // (the raw flag). `samples` 0 means the span times the rate. Refreshes the
  // level table first; the table of a part that was finished when it was taken
  // holds from then on.
  CompressedSignalPlan_t Plan(float start, float stop, unsigned long long points,
                              unsigned long long samples);

  // A span without data: the result is ready at once and holds
  // 2 * min(points, span * rate) blank values. True.
  bool BlankRequest(float start, float stop, unsigned long long points);

  // Prepares a read of `plan`'s level (its divider at least the factor): status
  // CompressPending, true. Otherwise status CompressFailed, false.
  bool LevelRequest(float start, float stop, unsigned long long points,
                    const CompressedSignalPlan_t& plan);

  // Reduces `count` raw samples of a span to about `points` pairs into the result
  // buffer; status CompressReady. The first block (`append` false) starts a new
  // result; each following block is added behind it, and the carry of the block
  // reduction joins the blocks into one view. Every sample is in a pair: a block
  // with more whole groups than its points folds them proportionally, and the
  // samples still in the carry when the result is fetched join its last pair.
  // False, with nothing changed, for no samples or an unknown format.
  bool RawRequest(float start, float stop, unsigned long long points, const void* samples,
                  unsigned long long count, bool append);

  // Ready: copies the result buffer into `destination`. Pending: reads the
  // planned level and reduces it into `destination`; CompressReady when every
  // byte wanted was read, else CompressFailed. `destination` must hold
  // ResultSize() values. Any other state, or a plan without divider, returns the
  // status as it stands.
  CompressStatus_t Get(void* destination, const CompressedSignalPlan_t& plan);

  // Drops the last request, its result and its working memory; what was learnt
  // of the level files stays. For a reader put aside until its part is wanted again.
  void ForgetRequest();

  // Reduces `values` values of `buffer` in place to `wanted` values (pairs to
  // fewer pairs), in the reader's format. Nothing happens when `wanted` isn't
  // smaller.
  void ReduceInPlace(void* buffer, unsigned long long values, unsigned long long wanted) const;

  CompressStatus_t Status() const { return m_Status; }
  unsigned long long ResultSize() const { return m_ResultSize; }
  double Span() const { return m_Span; }
  double Ratio() const { return m_Ratio; }
  float SamplingRate() const { return m_SamplingRate; }
  bool InProgress() const { return m_InProgress; }
  unsigned long long Points() const { return m_Points; }
  unsigned long long SampleSize() const { return m_SampleSize; }
  SampleFormat_t SampleFormat() const { return m_SampleFormat; }
  unsigned long long CompressionFactor() const { return m_CompressionFactor; }
  unsigned short PartNumber() const { return m_PartNumber; }
  // The level table as the last refresh left it.
  std::size_t LevelCount() const { return m_Levels.size(); }
  unsigned long long LevelPairCount(std::size_t level) const;
  bool LevelMissing(std::size_t level) const;

 private:
  struct Level {
    std::string Path;
    unsigned long long Pairs = 0;      // estimated for a finished part, else measured
    unsigned long long FilePairs = 0;  // what the file held when last looked at
    // Pairs of a level of the part being recorded that its file doesn't hold
    // yet, though the level below does (the part's samples, for level 1): the
    // writer gathers them before writing.
    unsigned long long TailPairs = 0;
    bool Missing = false;  // no file
    bool Held = false;     // Values holds the file, read whole
    std::vector<unsigned char> Values;

    unsigned long long Available() const { return FilePairs + TailPairs; }
    // A level that can serve a view.
    bool Usable() const { return !Missing && Available() != 0; }
  };

  // Levels of a finished part up to this size are held in memory once read.
  static constexpr unsigned long long kHeldLevelBytes = 16384;

  void RefreshLevels();
  // Index of the first value of `start` on a level of `divider`, even.
  unsigned long long FirstValue(float start, unsigned long long divider) const;
  unsigned char BlankByte() const;
  // Reduces the block's whole groups into the scratch buffer and spreads them
  // over `values` values of the result from `at`; what is left waits in the carry.
  void ReduceRawBlock(const void* samples, unsigned long long count, unsigned long long factor,
                      unsigned long long at, unsigned long long values);
  // Folds what the carry of a raw request still holds into its last pair.
  void FinishRawRequest();
  // `pairs` pairs of level `index` from `firstPair` into `target`: those beyond
  // its file computed from the samples or level 1. False unless all came.
  bool ReadPairs(std::size_t index, unsigned long long firstPair, unsigned long long pairs,
                 unsigned char* target);
  // `pairs` pairs of level 1 from `firstPair`, all beyond its file, reduced from
  // the part's samples they stand for.
  bool CompleteFromSamples(unsigned long long firstPair, unsigned long long pairs,
                           unsigned char* target);
  // `pairs` pairs of level `index` (above 1) from `firstPair`, all beyond its
  // file, reduced from the pairs of level 1 they stand for as the writer's
  // cascade does.
  bool CompleteFromFirstLevel(std::size_t index, unsigned long long firstPair,
                              unsigned long long pairs, unsigned char* target);
  // `bytes` of the level from `offset` into `target`; false unless all came.
  bool ReadLevel(Level& level, unsigned long long offset, void* target, unsigned long long bytes);
  // One open, seek, read and close of a file; false unless all came.
  bool ReadFromFile(const std::string& path, unsigned long long offset, void* target,
                    unsigned long long bytes);

  float m_Start = 0.0f;
  float m_Stop = 0.0f;
  unsigned long long m_Points = 0;
  CompressStatus_t m_Status = CompressFailed;
  std::vector<Level> m_Levels;
  CAbstractFileAccess* m_FileAccess;  // borrowed, may be null
  unsigned short m_AnalyzerIndex;
  std::vector<unsigned char> m_Result;
  unsigned long long m_ResultSize = 0;  // values
  double m_Span = 0.0;
  double m_Ratio = 0.0;
  std::string m_BasePath;
  float m_SamplingRate;
  SampleFormat_t m_SampleFormat;
  unsigned long long m_SampleSize;
  unsigned long long m_CompressionFactor;
  // Carry of the raw reduction, linking the blocks of one raw request.
  unsigned long long m_Missing = 0;
  double m_Minimum = 0.0;
  double m_Maximum = 0.0;
  // The value index of the last pair a raw request wrote, where the carry goes.
  unsigned long long m_LastRawPair = 0;
  CTmpRecordFile* m_TmpRecordFile;  // borrowed, may be null
  bool m_InProgress = false;
  double m_ExpectedDuration;
  SampleFormat_t m_BlankFormat;
  unsigned short m_PartNumber;
  // The level table was taken of a finished part: its files no longer change.
  bool m_LevelsFinal = false;
  std::vector<unsigned char> m_Scratch;  // level values or raw pairs before the final reduction
};

}  // namespace zsff
