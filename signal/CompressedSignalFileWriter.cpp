// The pyramid writer: min/max level files built while a part is recorded.
#include "signal/CompressedSignalFileWriter.h"

#include <zsff/FileAccess.h>

#include <limits>
#include <type_traits>

#include "foundation/FileNames.h"

namespace zsff {

namespace {

// Blocks up to this size pass through buffers made at open; a larger block
// enlarges them once.
constexpr unsigned long long kPreparedBlockSamples = 1ULL << 16;

unsigned long long EffectiveSampleSize(unsigned long long given, SampleFormat_t format) {
  const unsigned long long own = SampleSize(format);
  if (own != 0) return own;
  return given != 0 ? given : 4;
}

}  // namespace

std::string CCompressedSignalFileWriter::BasePath(const std::string& directory,
                                                  const std::string& baseName,
                                                  const CAbstractFileAccess* access) {
  if (directory.empty()) return baseName;
  return directory + (access != nullptr ? access->PathSeparator() : std::string()) + baseName;
}

CCompressedSignalFileWriter::CCompressedSignalFileWriter(
    const std::string& directory, const std::string& baseName, CAbstractFileAccess* access,
    unsigned long long sampleSize, SampleFormat_t format, CTmpRecordFile* tmpRecordFile)
    : m_FileAccess(access),
      m_BasePath(BasePath(directory, baseName, access)),
      m_SampleFormat(format),
      m_SampleSize(EffectiveSampleSize(sampleSize, format)),
      m_TmpRecordFile(tmpRecordFile) {}

CCompressedSignalFileWriter::~CCompressedSignalFileWriter() {
  // Normally closed already. If not, a level that holds data is closed as
  // written, so that a remote store still takes it over.
  if (m_FileAccess == nullptr) return;
  WriteGathered();
  for (Level& level : m_Levels) {
    if (level.Handle != 0) m_FileAccess->CloseFile(level.Handle, !level.NeverWritten);
    if (level.NeverWritten) m_FileAccess->DeleteFile(level.Path);
  }
}

void CCompressedSignalFileWriter::SetNumberOfLevels(int levels) {
  m_NumberOfLevels = levels < 0 ? 0 : (levels > kMaxLevels ? kMaxLevels : levels);
}

bool CCompressedSignalFileWriter::OpenLevelFiles() {
  if (!m_Levels.empty()) Close(false);
  if (m_FileAccess == nullptr) return false;
  m_Levels.reserve(kMaxLevels);
  for (int level = 1; level <= m_NumberOfLevels; ++level) {
    Level record;
    record.Path = names::PyramidLevelFile(m_BasePath, level);
    if (!m_FileAccess->OpenFile(record.Path, FileModeCreate, record.Handle)) return false;
    m_Levels.push_back(std::move(record));
  }
  m_PreparedSamples = 0;
  m_GatherFirstLevel = true;
  m_Stopped = false;
  Prepare(kPreparedBlockSamples);
  return true;
}

template <typename T>
std::vector<T>& CCompressedSignalFileWriter::Next(Level& level) {
  if constexpr (std::is_same<T, float>::value) {
    return level.NextFloat;
  } else if constexpr (std::is_same<T, double>::value) {
    return level.NextDouble;
  } else if constexpr (std::is_same<T, std::int16_t>::value) {
    return level.NextInt16;
  } else {
    static_assert(std::is_same<T, std::int32_t>::value, "not a sample type");
    return level.NextInt32;
  }
}

void CCompressedSignalFileWriter::Prepare(unsigned long long samples) {
  if (samples <= m_PreparedSamples) return;
  m_PreparedSamples = samples;
  unsigned long long values = reduction::ReducedSize(samples, m_CompressionFactor);
  if (m_FirstLevel.size() < values * m_SampleSize) m_FirstLevel.resize(values * m_SampleSize);
  for (std::size_t index = 0; index < m_Levels.size(); ++index) {
    Level& level = m_Levels[index];
    // A level holds, before it is written, less than the bound and what one
    // block adds to it; level 1 the pairs that make the bound of level 2.
    const unsigned long long bound =
        2 * kGatheredPairs * (index == 0 ? m_CompressionFactor : 1) + 2 * m_CompressionFactor;
    level.Gathered.reserve((bound + values) * m_SampleSize);
    // A level makes a pair from every 32 pairs it holds, its carry included
    // (fewer than 64 values).
    values = (values + 2 * m_CompressionFactor) / (2 * m_CompressionFactor) * 2 + 2;
    reduction::VisitSampleType(m_SampleFormat, [&](auto tag) {
      using T = decltype(tag);
      Next<T>(level).reserve(values);
    });
  }
}

bool CCompressedSignalFileWriter::Append(Level& level, const void* data, unsigned long long bytes) {
  if (bytes == 0) return true;
  level.NeverWritten = false;
  unsigned int written = 0;
  if (bytes <= std::numeric_limits<unsigned int>::max() &&
      m_FileAccess->WriteFile(level.Handle, data, static_cast<unsigned int>(bytes), written) &&
      written == bytes) {
    level.Bytes += bytes;
    return true;
  }
  // Bytes that fitted would put every later pair of the level out of place, and
  // the lost ones leave a gap in its carry: the pyramid of this part ends at the
  // last whole write of each level.
  if (m_FileAccess->SeekFile(level.Handle, static_cast<long long>(level.Bytes), 0))
    m_FileAccess->SetEndOfFile(level.Handle);
  level.NeverWritten = level.Bytes == 0;
  m_Stopped = true;
  return false;
}

bool CCompressedSignalFileWriter::Take(std::size_t level, const void* data,
                                       unsigned long long bytes) {
  if (level == 0 && !m_GatherFirstLevel) return Append(m_Levels[0], data, bytes);
  std::vector<unsigned char>& gathered = m_Levels[level].Gathered;
  const unsigned char* from = static_cast<const unsigned char*>(data);
  gathered.insert(gathered.end(), from, from + bytes);
  return true;
}

bool CCompressedSignalFileWriter::GatheredEnough() const {
  if (m_GatherFirstLevel) {
    return m_Levels[0].Gathered.size() >= 2 * kGatheredPairs * m_CompressionFactor * m_SampleSize;
  }
  return m_Levels.size() > 1 && m_Levels[1].Gathered.size() >= 2 * kGatheredPairs * m_SampleSize;
}

bool CCompressedSignalFileWriter::WriteGathered() {
  bool result = true;
  for (std::size_t index = 0; index < m_Levels.size(); ++index) {
    Level& level = m_Levels[index];
    if (level.Gathered.empty()) continue;
    // What didn't go through is dropped: kept, it would go out again behind
    // whatever part of it did.
    result = Append(level, level.Gathered.data(), level.Gathered.size()) && result;
    level.Gathered.clear();
  }
  return result;
}

template <typename T>
bool CCompressedSignalFileWriter::CascadeFrom(std::size_t level, const T* values,
                                              unsigned long long count) {
  // Each level takes its share once and hands its completed pairs on to the
  // next; the last level's own pairs have nowhere to go and are dropped.
  for (;; ++level) {
    if (level >= m_Levels.size()) return false;
    Level& current = m_Levels[level];
    if (!Take(level, values, count * sizeof(T))) return false;
    std::vector<T>& next = Next<T>(current);
    reduction::CascadeStep(values, count, m_CompressionFactor, current.Carry, next);
    if (next.empty() || level + 1 >= m_Levels.size()) return true;
    values = next.data();
    count = next.size();
  }
}

bool CCompressedSignalFileWriter::Cascade(const void* values, unsigned long long count) {
  if (m_Stopped) return false;
  bool result = false;
  reduction::VisitSampleType(m_SampleFormat, [&](auto tag) {
    using T = decltype(tag);
    result = CascadeFrom(0, static_cast<const T*>(values), count);
  });
  if (result && GatheredEnough()) result = WriteGathered();
  return result;
}

bool CCompressedSignalFileWriter::StopGatheringFirstLevel() {
  if (!m_GatherFirstLevel) return true;
  m_GatherFirstLevel = false;
  return WriteGathered();
}

bool CCompressedSignalFileWriter::WriteRawBlock(const void* samples, unsigned long long count) {
  if (count == 0) return true;
  if (m_NumberOfLevels == 0) return true;  // a part too short for any level
  if (samples == nullptr || m_Levels.empty() || SampleSize(m_SampleFormat) == 0) return false;
  Prepare(count);
  // A short group would shift the pairs of level 1 against the part's groups of
  // 32, which a reader completes it from.
  if (count % m_CompressionFactor != 0 && !StopGatheringFirstLevel()) return false;
  const unsigned long long values = reduction::ReducedSize(count, m_CompressionFactor);
  // The capacity of the size rule lets the block close its own last group, so no
  // raw samples wait in the carry for the next block.
  reduction::ReduceBlock(m_FirstLevel.data(), values, samples, count, m_CompressionFactor,
                         m_SampleFormat, m_Missing, m_Minimum, m_Maximum);
  return Cascade(m_FirstLevel.data(), values);
}

bool CCompressedSignalFileWriter::WriteCompressedBlock(const void* values,
                                                       unsigned long long count) {
  if (count == 0) return true;
  if (m_NumberOfLevels == 0) return true;
  if (values == nullptr) return false;
  Prepare(count * m_CompressionFactor / 2);
  // The host's pairs are its own; a reader couldn't complete them from the samples.
  if (!StopGatheringFirstLevel()) return false;
  return Cascade(values, count);
}

bool CCompressedSignalFileWriter::Flush() {
  bool result = m_FileAccess == nullptr || WriteGathered();
  for (const Level& level : m_Levels) {
    if (level.Handle != 0 && m_FileAccess != nullptr) {
      result = m_FileAccess->FlushFile(level.Handle) && result;
    }
  }
  return result;
}

bool CCompressedSignalFileWriter::Close(bool written) {
  bool closed = m_FileAccess == nullptr || WriteGathered();
  for (Level& level : m_Levels) {
    if (m_FileAccess == nullptr) break;
    if (level.Handle != 0) {
      closed = m_FileAccess->CloseFile(level.Handle, written) && closed;
      level.Handle = 0;
    }
    // An empty level left behind is passed over by readers: not a failure.
    if (level.NeverWritten) m_FileAccess->DeleteFile(level.Path);
  }
  m_Levels.clear();
  m_PreparedSamples = 0;
  return closed;
}

}  // namespace zsff
