// The pyramid reader: plans a min/max view of a span and serves it from a level
// file, from blanks, or from raw samples handed in by the caller.
#include "signal/CompressedSignalFileReader.h"

#include <zsff/FileAccess.h>
#include <zsff/TmpRecordFile.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "foundation/FileNames.h"
#include "signal/BlockReduction.h"
#include "signal/CompressedSignalFileWriter.h"

namespace zsff {

namespace {

// Truncates towards zero into a count; negative and NaN give 0, and values beyond
// the range saturate instead of being undefined.
unsigned long long ToCount(double value) {
  if (!(value > 0.0)) return 0;
  if (value >= 18446744073709551615.0) return std::numeric_limits<unsigned long long>::max();
  return static_cast<unsigned long long>(value);
}

unsigned long long EffectiveSampleSize(unsigned long long given, SampleFormat_t format) {
  const unsigned long long own = SampleSize(format);
  if (own != 0) return own;
  return given != 0 ? given : 4;
}

}  // namespace

CCompressedSignalFileReader::CCompressedSignalFileReader(
    const std::string& directory, const std::string& baseName, CAbstractFileAccess* access,
    unsigned short analyzerIndex, unsigned long long sampleSize, SampleFormat_t format,
    float samplingRate, CTmpRecordFile* tmpRecordFile, double expectedDuration,
    SampleFormat_t blankFormat, unsigned short partNumber)
    : m_FileAccess(access),
      m_AnalyzerIndex(analyzerIndex),
      m_BasePath(CCompressedSignalFileWriter::BasePath(directory, baseName, access)),
      m_SamplingRate(samplingRate),
      m_SampleFormat(format),
      m_SampleSize(EffectiveSampleSize(sampleSize, format)),
      m_CompressionFactor(CCompressedSignalFileWriter::kCompressionFactor),
      m_TmpRecordFile(tmpRecordFile),
      m_ExpectedDuration(expectedDuration),
      m_BlankFormat(blankFormat),
      m_PartNumber(partNumber) {}

bool CCompressedSignalFileReader::LevelFileExists() {
  if (m_FileAccess == nullptr) return false;
  if (m_LevelsFinal) {
    return std::any_of(m_Levels.begin(), m_Levels.end(),
                       [](const Level& level) { return level.Usable(); });
  }
  m_FileAccess->SelectAnalyzer(m_AnalyzerIndex);
  // A part that lost its first level may still be served by a coarser one.
  for (int level = 1; level <= CCompressedSignalFileWriter::kMaxLevels; ++level) {
    if (m_FileAccess->FileExists(names::PyramidLevelFile(m_BasePath, level))) {
      return true;
    }
  }
  return false;
}

unsigned long long CCompressedSignalFileReader::LevelPairCount(std::size_t level) const {
  return level < m_Levels.size() ? m_Levels[level].Pairs : 0;
}

bool CCompressedSignalFileReader::LevelMissing(std::size_t level) const {
  return level < m_Levels.size() && m_Levels[level].Missing;
}

unsigned char CCompressedSignalFileReader::BlankByte() const {
  return m_BlankFormat == Raw32 ? 0xFF : 0x00;
}

void CCompressedSignalFileReader::RefreshLevels() {
  if (m_FileAccess == nullptr) return;

  // Only the part being recorded is measured; the pairs of a finished part
  // follow from the rate and its length, which saves a query per level.
  bool recording = false;
  if (m_TmpRecordFile != nullptr) {
    const unsigned short lastPart = m_TmpRecordFile->Parts().second;
    recording = lastPart == 0 || lastPart == m_PartNumber;
  }
  m_InProgress = recording && m_TmpRecordFile->Exists();
  // The files of a part no longer recorded don't change: a view across many
  // finished parts then costs no lookups.
  if (m_LevelsFinal && !m_InProgress) return;
  m_LevelsFinal = !m_InProgress;
  const unsigned long long samples =
      ToCount(static_cast<double>(m_SamplingRate) * m_ExpectedDuration);

  bool found = false;
  unsigned long long samplesPerPair = 1;
  for (int index = 0; index < CCompressedSignalFileWriter::kMaxLevels; ++index) {
    samplesPerPair *= m_CompressionFactor;
    m_FileAccess->SelectAnalyzer(m_AnalyzerIndex);
    // The size query tells whether the file is there too: a level whose file
    // holds no pair can't serve a view.
    unsigned long long size = 0;
    bool exists;
    if (m_Levels.size() <= static_cast<std::size_t>(index)) {
      Level level;
      level.Path = names::PyramidLevelFile(m_BasePath, index + 1);
      exists = m_FileAccess->FileSize(level.Path, size);
      if (exists) {
        found = true;
      } else {
        level.Missing = true;
        if (index > 0 && !found) {
          found = m_FileAccess->FileExists(names::PyramidLevelFile(m_BasePath, 1));
        }
        // With some level present, an absent one lies beyond what was recorded;
        // a record of length 0 has no levels at all.
        if (m_ExpectedDuration == 0.0 || found) return;
      }
      m_Levels.push_back(level);
    } else {
      exists = m_FileAccess->FileSize(m_Levels[index].Path, size);
    }

    Level& level = m_Levels[index];
    level.Missing = !exists;
    level.FilePairs = exists ? size / (2 * m_SampleSize) : 0;
    level.TailPairs = 0;
    // A level of the part being recorded has all the pairs its groups closed,
    // level 1 those of the samples in the part, the others those of level 1.
    if (m_InProgress && exists && !m_Levels[0].Missing) {
      unsigned long long closed = 0;
      if (index == 0) {
        unsigned long long partBytes = 0;
        if (m_FileAccess->FileSize(names::SignalPartFile(m_BasePath), partBytes)) {
          closed = partBytes / m_SampleSize / m_CompressionFactor;
        }
      } else {
        closed = m_Levels[0].Available() / (samplesPerPair / m_CompressionFactor);
      }
      if (closed > level.FilePairs) level.TailPairs = closed - level.FilePairs;
    }
    level.Held = false;  // a file that can still change is read anew
    level.Pairs = !recording || level.Missing ? samples / samplesPerPair : level.Available();
  }
}

unsigned long long CCompressedSignalFileReader::FirstValue(float start,
                                                           unsigned long long divider) const {
  if (divider == 0) return 0;
  const double value = static_cast<double>(start) * m_SamplingRate / static_cast<double>(divider);
  return ToCount(value * 2.0) & ~1ULL;
}

CompressedSignalPlan_t CCompressedSignalFileReader::Plan(float start, float stop,
                                                         unsigned long long points,
                                                         unsigned long long samples) {
  if (samples == 0) {
    samples = ToCount(static_cast<double>(std::fabs(stop - start) * m_SamplingRate) + 0.1);
  }
  double ratio = 1.0;
  if (samples > points) {
    ratio = points != 0 ? static_cast<double>(samples) / static_cast<double>(points)
                        : std::numeric_limits<double>::infinity();
    if (ratio < 1.0) ratio = 1.0;
  }
  RefreshLevels();

  CompressedSignalPlan_t plan;
  plan.RemainingRatio = ratio;
  if (m_Levels.empty() || samples == 0) {
    plan.PointsGiven = std::min(samples, points);
    return plan;
  }

  plan.PointsGiven = ToCount(static_cast<double>(samples) / ratio);
  unsigned long long levelDivider = 1;
  unsigned long long divider = 1;
  bool accepted = false;
  for (std::size_t index = 0; index < m_Levels.size(); ++index) {
    if (static_cast<double>(levelDivider * m_CompressionFactor) > ratio) break;
    levelDivider *= m_CompressionFactor;
    // A lost or empty level gives way to a finer one rather than to blanks.
    if (!m_Levels[index].Usable()) continue;
    accepted = true;
    plan.Level = index;
    divider = levelDivider;
    plan.RemainingRatio = ratio / static_cast<double>(divider);
  }

  if (accepted) {
    const unsigned long long available = m_Levels[plan.Level].Pairs;
    unsigned long long pairs =
        ToCount(std::ceil(static_cast<double>(samples) / static_cast<double>(divider)));
    pairs = std::min(pairs, available);
    plan.PointsGiven = std::min(pairs, points);
    const unsigned long long firstPair = FirstValue(start, divider) / 2;
    // A span that runs past the level's end is cut there (and one that starts
    // behind it gets nothing).
    if (firstPair >= available) {
      pairs = 0;
    } else if (pairs > available - firstPair) {
      pairs = available - firstPair;
    }
    plan.PairsToRead = pairs;
    plan.Divider = divider;
  } else {
    plan.PairsToRead = plan.PointsGiven;
    plan.Divider = 1;
  }
  plan.UseRawSignal = plan.Divider < m_CompressionFactor;
  return plan;
}

bool CCompressedSignalFileReader::BlankRequest(float start, float stop, unsigned long long points) {
  m_Start = start;
  m_Stop = stop;
  m_Points = points;
  m_Missing = 0;
  const unsigned long long values = 2 * std::min(points, ToCount((stop - start) * m_SamplingRate));
  m_Result.assign(values * m_SampleSize, BlankByte());
  m_ResultSize = values;
  m_Status = CompressReady;
  m_Ratio = 1.0;
  m_Span = static_cast<double>(stop) - start;
  return true;
}

bool CCompressedSignalFileReader::LevelRequest(float start, float stop, unsigned long long points,
                                               const CompressedSignalPlan_t& plan) {
  m_Start = start;
  m_Stop = stop;
  m_Points = points;
  m_Missing = 0;
  if (plan.Divider < m_CompressionFactor) {
    m_Status = CompressFailed;
    return false;
  }
  m_Status = CompressPending;
  m_ResultSize = 2 * plan.PointsGiven;
  m_Result.resize(m_ResultSize * m_SampleSize);
  m_Ratio = static_cast<double>(plan.Divider) * plan.RemainingRatio;
  m_Span = static_cast<double>(stop) - start;
  return true;
}

bool CCompressedSignalFileReader::RawRequest(float start, float stop, unsigned long long points,
                                             const void* samples, unsigned long long count,
                                             bool append) {
  if (samples == nullptr || count == 0 || zsff::SampleSize(m_SampleFormat) == 0) return false;

  CompressedSignalPlan_t plan;
  unsigned long long at = 0;
  unsigned long long factor;
  if (!append) {
    m_Start = start;
    m_Stop = stop;
    m_Points = points;
    m_Span = static_cast<double>(stop) - start;
    plan = Plan(start, stop, points, count);
    m_ResultSize = 2 * plan.PointsGiven;
    // Targets that no pair reaches keep what is here: make that zeros, not the
    // previous request.
    m_Result.assign(m_ResultSize * m_SampleSize, 0);
    m_Missing = 0;
    m_Minimum = 0.0;
    m_Maximum = 0.0;
    m_LastRawPair = 0;
    factor = std::max(1ULL, ToCount(plan.RemainingRatio));
  } else {
    m_Points += points;
    m_Span += static_cast<double>(stop) - start;
    plan = Plan(start, stop, points, count);
    at = m_ResultSize;
    m_ResultSize += 2 * plan.PointsGiven;
    m_Result.resize(m_ResultSize * m_SampleSize, 0);
    factor = std::max(1ULL, ToCount(std::floor(plan.RemainingRatio)));
  }
  ReduceRawBlock(samples, count, factor, at, m_ResultSize - at);
  m_Ratio = plan.RemainingRatio * static_cast<double>(std::max(1ULL, plan.Divider));
  m_Status = CompressReady;
  return true;
}

void CCompressedSignalFileReader::ReduceRawBlock(const void* samples, unsigned long long count,
                                                 unsigned long long factor, unsigned long long at,
                                                 unsigned long long values) {
  // Every whole group is stored, the one the carry resumes first; a short group
  // at the end waits in the carry for the next block. A block that closes no
  // whole group still closes one, so that it has a pair of its own.
  const unsigned long long resumed = m_Missing != 0 ? std::min(count, m_Missing) : 0;
  const unsigned long long capacity = std::max(2 * ((count - resumed) / factor), 2ULL);
  if (m_Scratch.size() < capacity * m_SampleSize) m_Scratch.resize(capacity * m_SampleSize);
  const unsigned long long stored =
      reduction::ReduceBlock(m_Scratch.data(), capacity, samples, count, factor, m_SampleFormat,
                             m_Missing, m_Minimum, m_Maximum);
  // Equal counts copy; a block with more groups than points folds them together.
  reduction::ReduceProportional(m_Result.data() + at * m_SampleSize, values, m_Scratch.data(),
                                stored, m_SampleFormat);
  const unsigned long long last = reduction::LastProportionalTarget(values, stored);
  if (last < values) m_LastRawPair = at + last;
}

void CCompressedSignalFileReader::FinishRawRequest() {
  if (m_Missing == 0) return;
  if (m_LastRawPair + 1 < m_ResultSize) {
    reduction::FoldIntoPair(m_Result.data() + m_LastRawPair * m_SampleSize, m_Minimum, m_Maximum,
                            m_SampleFormat);
  }
  m_Missing = 0;
}

CompressStatus_t CCompressedSignalFileReader::Get(void* destination,
                                                  const CompressedSignalPlan_t& plan) {
  if (m_Status == CompressReady) {
    FinishRawRequest();
    if (destination != nullptr && m_ResultSize != 0) {
      std::memcpy(destination, m_Result.data(), m_ResultSize * m_SampleSize);
    }
    return CompressReady;
  }
  if (m_Status != CompressPending || plan.Divider == 0) return m_Status;

  if (m_Levels.empty()) RefreshLevels();
  if (plan.Level >= m_Levels.size() || destination == nullptr || m_FileAccess == nullptr) {
    return CompressFailed;
  }
  Level& level = m_Levels[plan.Level];
  if (!level.Usable()) return CompressFailed;

  unsigned long long first = FirstValue(m_Start, plan.Divider);
  if (first > 2 * level.Pairs) first = (first / 2 - level.Pairs) * 2;

  const unsigned long long values = 2 * plan.PairsToRead;
  // Pairs behind the planned ones, up to the end of the file, that belong to the span.
  unsigned long long behind = 0;
  if (plan.ThroughEnd && values != 0 && level.Available() > first / 2 + plan.PairsToRead) {
    behind = 2 * (level.Available() - first / 2 - plan.PairsToRead);
  }
  m_Ratio = std::trunc(plan.RemainingRatio) * static_cast<double>(plan.Divider);
  const unsigned long long bytes = values * m_SampleSize;
  const unsigned long long readBytes = bytes + behind * m_SampleSize;
  const bool reduce = plan.RemainingRatio > 1.0;
  // The destination holds the result size; a plan that would read more straight
  // into it, or more than one transfer carries, isn't served.
  if (readBytes > std::numeric_limits<unsigned int>::max() || (!reduce && values > m_ResultSize)) {
    return CompressFailed;
  }

  void* target = destination;
  if (reduce || behind != 0) {
    if (m_Scratch.size() < readBytes) m_Scratch.resize(readBytes);
    target = m_Scratch.data();
  }
  if (readBytes != 0 && !ReadPairs(plan.Level, first / 2, (values + behind) / 2,
                                   static_cast<unsigned char*>(target))) {
    return CompressFailed;
  }
  unsigned long long last = values - 2;
  if (reduce) {
    reduction::ReduceProportional(destination, m_ResultSize, m_Scratch.data(), values,
                                  m_SampleFormat);
    last = reduction::LastProportionalTarget(m_ResultSize, values);
  } else if (behind != 0) {
    std::memcpy(destination, m_Scratch.data(), bytes);
  }
  if (behind != 0 && last + 1 < m_ResultSize) {
    reduction::FoldIntoPair(static_cast<unsigned char*>(destination) + last * m_SampleSize,
                            m_Scratch.data() + bytes, behind, m_SampleFormat);
  }
  return CompressReady;
}

bool CCompressedSignalFileReader::ReadPairs(std::size_t index, unsigned long long firstPair,
                                            unsigned long long pairs, unsigned char* target) {
  Level& level = m_Levels[index];
  const unsigned long long stored =
      firstPair < level.FilePairs ? std::min(pairs, level.FilePairs - firstPair) : 0;
  const unsigned long long pairBytes = 2 * m_SampleSize;
  if (stored != 0 && !ReadLevel(level, firstPair * pairBytes, target, stored * pairBytes)) {
    return false;
  }
  if (stored == pairs) return true;
  unsigned char* rest = target + stored * pairBytes;
  return index == 0 ? CompleteFromSamples(firstPair + stored, pairs - stored, rest)
                    : CompleteFromFirstLevel(index, firstPair + stored, pairs - stored, rest);
}

bool CCompressedSignalFileReader::CompleteFromSamples(unsigned long long firstPair,
                                                      unsigned long long pairs,
                                                      unsigned char* target) {
  if (firstPair + pairs > m_Levels[0].Available()) return false;
  const unsigned long long count = pairs * m_CompressionFactor;
  if (count * m_SampleSize > std::numeric_limits<unsigned int>::max()) return false;
  std::vector<unsigned char> samples(count * m_SampleSize);
  if (!ReadFromFile(names::SignalPartFile(m_BasePath), firstPair * m_CompressionFactor * m_SampleSize,
                    samples.data(), samples.size())) {
    return false;
  }
  unsigned long long missing = 0;
  double minimum = 0.0, maximum = 0.0;
  return reduction::ReduceBlock(target, 2 * pairs, samples.data(), count, m_CompressionFactor,
                                m_SampleFormat, missing, minimum, maximum) == 2 * pairs;
}

bool CCompressedSignalFileReader::CompleteFromFirstLevel(std::size_t index,
                                                         unsigned long long firstPair,
                                                         unsigned long long pairs,
                                                         unsigned char* target) {
  if (firstPair + pairs > m_Levels[index].Available()) return false;
  unsigned long long perPair = 1;  // pairs of level 1 per pair of this level
  for (std::size_t level = 0; level < index; ++level) perPair *= m_CompressionFactor;
  const unsigned long long values = 2 * pairs * perPair;
  // Each pair stands for whole groups of every level below it, so a cascade
  // from an empty carry gives its pairs. A group the writer closed across two
  // blocks folded its first values the other way round: only equal values of
  // other bits (signed zeros) or NaNs can come out otherwise until the writer's
  // own pairs are in the file.
  bool done = false;
  reduction::VisitSampleType(m_SampleFormat, [&](auto tag) {
    using T = decltype(tag);
    std::vector<T> current(values), next;
    if (!ReadPairs(0, firstPair * perPair, pairs * perPair,
                   reinterpret_cast<unsigned char*>(current.data()))) {
      return;
    }
    for (std::size_t level = 0; level < index; ++level) {
      reduction::LevelCarry carry;
      reduction::CascadeStep(current.data(), current.size(), m_CompressionFactor, carry, next);
      current.swap(next);
    }
    std::memcpy(target, current.data(), 2 * pairs * sizeof(T));
    done = true;
  });
  return done;
}

bool CCompressedSignalFileReader::ReadLevel(Level& level, unsigned long long offset, void* target,
                                            unsigned long long bytes) {
  // The coarse levels of a finished part are small and never change: read whole
  // once, they serve every later view of the part without touching its files.
  if (m_LevelsFinal && 2 * level.Pairs * m_SampleSize <= kHeldLevelBytes && !level.Held) {
    m_FileAccess->SelectAnalyzer(m_AnalyzerIndex);
    unsigned long long size = 0;
    if (m_FileAccess->FileSize(level.Path, size) && size <= kHeldLevelBytes) {
      level.Values.resize(size);
      level.Held = size == 0 || ReadFromFile(level.Path, 0, level.Values.data(), size);
    }
  }
  if (level.Held) {
    if (offset > level.Values.size() || bytes > level.Values.size() - offset) return false;
    std::memcpy(target, level.Values.data() + offset, bytes);
    return true;
  }
  return ReadFromFile(level.Path, offset, target, bytes);
}

bool CCompressedSignalFileReader::ReadFromFile(const std::string& path, unsigned long long offset,
                                               void* target, unsigned long long bytes) {
  m_FileAccess->SelectAnalyzer(m_AnalyzerIndex);
  unsigned int handle = 0;
  if (!m_FileAccess->OpenFile(path, FileModeRead, handle) || handle == 0) return false;
  unsigned int read = 0;
  const bool done =
      (offset == 0 || m_FileAccess->SeekFile(handle, static_cast<long long>(offset), 0)) &&
      m_FileAccess->ReadFile(handle, target, static_cast<unsigned int>(bytes), read);
  m_FileAccess->CloseFile(handle, false);
  return done;
}

void CCompressedSignalFileReader::ForgetRequest() {
  m_Status = CompressFailed;
  m_Missing = 0;
  m_ResultSize = 0;
  std::vector<unsigned char>().swap(m_Result);
  std::vector<unsigned char>().swap(m_Scratch);
}

void CCompressedSignalFileReader::ReduceInPlace(void* buffer, unsigned long long values,
                                                unsigned long long wanted) const {
  if (wanted >= values) return;
  reduction::ReduceProportional(buffer, wanted, buffer, values, m_SampleFormat);
}

}  // namespace zsff
