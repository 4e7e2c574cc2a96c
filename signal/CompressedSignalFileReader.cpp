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
  if (m_LevelsFinal) return !m_Levels.empty() && !m_Levels[0].Missing;
  m_FileAccess->SelectAnalyzer(m_AnalyzerIndex);
  return m_FileAccess->FileExists(names::PyramidLevelFile(m_BasePath, 1));
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
    bool exists;
    if (m_Levels.size() <= static_cast<std::size_t>(index)) {
      Level level;
      level.Path = names::PyramidLevelFile(m_BasePath, index + 1);
      exists = m_FileAccess->FileExists(level.Path);
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
      exists = m_FileAccess->FileExists(m_Levels[index].Path);
    }

    Level& level = m_Levels[index];
    level.Missing = !exists;
    level.Held = false;  // a file that can still change is read anew
    if (!recording || level.Missing) {
      level.Pairs = samples / samplesPerPair;
    } else {
      unsigned long long size = 0;
      m_FileAccess->FileSize(level.Path, size);
      level.Pairs = size / (2 * m_SampleSize);
    }
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
  unsigned long long divider = 1;
  bool accepted = false;
  for (std::size_t index = 0; index < m_Levels.size(); ++index) {
    if (static_cast<double>(divider * m_CompressionFactor) > ratio) break;
    accepted = true;
    plan.Level = index;
    divider *= m_CompressionFactor;
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
    const unsigned long long factor = std::max(1ULL, ToCount(plan.RemainingRatio));
    // Only whole groups go to the pairs; the rest waits in the carry for the
    // next block of the same request.
    const unsigned long long values = 2 * (count / factor);
    if (m_Scratch.size() < values * m_SampleSize) m_Scratch.resize(values * m_SampleSize);
    m_Missing = 0;
    m_Minimum = 0.0;
    m_Maximum = 0.0;
    reduction::ReduceBlock(m_Scratch.data(), values, samples, count, factor, m_SampleFormat,
                           m_Missing, m_Minimum, m_Maximum);
    reduction::ReduceProportional(m_Result.data(), m_ResultSize, m_Scratch.data(), values,
                                  m_SampleFormat);
  } else {
    m_Points += points;
    m_Span += static_cast<double>(stop) - start;
    plan = Plan(start, stop, points, count);
    const unsigned long long added = 2 * plan.PointsGiven;
    const unsigned long long before = m_ResultSize;
    m_Result.resize((before + added) * m_SampleSize, 0);
    m_ResultSize = before + added;
    const unsigned long long factor = std::max(1ULL, ToCount(std::floor(plan.RemainingRatio)));
    reduction::ReduceBlock(m_Result.data() + before * m_SampleSize, added, samples, count, factor,
                           m_SampleFormat, m_Missing, m_Minimum, m_Maximum);
  }
  m_Ratio = plan.RemainingRatio * static_cast<double>(std::max(1ULL, plan.Divider));
  m_Status = CompressReady;
  return true;
}

CompressStatus_t CCompressedSignalFileReader::Get(void* destination,
                                                  const CompressedSignalPlan_t& plan) {
  if (m_Status == CompressReady) {
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

  unsigned long long first = FirstValue(m_Start, plan.Divider);
  if (first > 2 * level.Pairs) first = (first / 2 - level.Pairs) * 2;

  const unsigned long long values = 2 * plan.PairsToRead;
  m_Ratio = std::trunc(plan.RemainingRatio) * static_cast<double>(plan.Divider);
  const unsigned long long bytes = values * m_SampleSize;
  const bool reduce = plan.RemainingRatio > 1.0;
  // The destination holds the result size; a plan that would read more straight
  // into it, or more than one transfer carries, isn't served.
  if (bytes > std::numeric_limits<unsigned int>::max() || (!reduce && values > m_ResultSize)) {
    return CompressFailed;
  }

  void* target = destination;
  if (reduce) {
    if (m_Scratch.size() < bytes) m_Scratch.resize(bytes);
    target = m_Scratch.data();
  }
  bool complete = true;
  if (level.Missing) {
    std::memset(target, BlankByte(), bytes);
  } else if (bytes != 0) {
    complete = ReadLevel(level, first * m_SampleSize, target, bytes);
  }
  if (reduce && complete) {
    reduction::ReduceProportional(destination, m_ResultSize, m_Scratch.data(), values,
                                  m_SampleFormat);
  }
  return complete ? CompressReady : CompressFailed;
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
      level.Held = size == 0 || ReadFromFile(level, 0, level.Values.data(), size);
    }
  }
  if (level.Held) {
    if (offset > level.Values.size() || bytes > level.Values.size() - offset) return false;
    std::memcpy(target, level.Values.data() + offset, bytes);
    return true;
  }
  return ReadFromFile(level, offset, target, bytes);
}

bool CCompressedSignalFileReader::ReadFromFile(const Level& level, unsigned long long offset,
                                               void* target, unsigned long long bytes) {
  m_FileAccess->SelectAnalyzer(m_AnalyzerIndex);
  unsigned int handle = 0;
  if (!m_FileAccess->OpenFile(level.Path, FileModeRead, handle) || handle == 0) return false;
  unsigned int read = 0;
  const bool done =
      (offset == 0 || m_FileAccess->SeekFile(handle, static_cast<long long>(offset), 0)) &&
      m_FileAccess->ReadFile(handle, target, static_cast<unsigned int>(bytes), read);
  m_FileAccess->CloseFile(handle, false);
  return done;
}

void CCompressedSignalFileReader::ForgetRequest() {
  m_Status = CompressFailed;
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
