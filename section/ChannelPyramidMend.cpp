// The pyramid of the part a crash left last, made whole again from its samples.
// A block's samples are written before its pyramid pairs, so a crash between
// the two leaves the part's levels short; a view of the finished record would
// then spread the pairs there are over the whole part.
#include <zsff/FileAccess.h>
#include <zsff/SignalFile.h>

#include <vector>

#include "foundation/FileNames.h"
#include "section/Channel.h"
#include "signal/CompressedSignalFileWriter.h"

namespace zsff {

namespace {

// Samples read and reduced at a time: whole groups of the first level, so that
// only the part's last group may be short, as in a recording.
constexpr unsigned long long kMendBlockSamples = 32 * 32 * 32;

}  // namespace

bool CChannel::MendPyramid(unsigned short part) {
  CAbstractFileAccess* access = m_Layout.FileAccess;
  const int levels = m_Layout.PyramidLevels();
  if (access == nullptr || levels == 0) return true;
  const unsigned long long samples = m_Layout.PartFileBytes(part) / m_Layout.SampleSize;
  const std::string base = m_Layout.PartBasePath(part);
  // A level short by less than a pair holds the groups still to be closed; one
  // short by more missed a block, or the pairs the writer was gathering. A
  // record made without a pyramid has no level 1 file.
  bool whole = true;
  unsigned long long perPair = 1;
  bool firstLevelMade = false;
  for (int level = 1; level <= levels; ++level) {
    perPair *= CCompressedSignalFileWriter::kCompressionFactor;
    unsigned long long bytes = 0;
    const bool exists = access->FileSize(names::PyramidLevelFile(base, level), bytes);
    if (level == 1) firstLevelMade = exists;
    if (firstLevelMade && bytes / (2 * m_Layout.SampleSize) < samples / perPair) whole = false;
  }
  if (whole) return true;

  std::unique_ptr<CSignalFileReader> reader = m_Layout.NewSignalReader(part);
  m_Layout.Describe(*reader);
  std::unique_ptr<CCompressedSignalFileWriter> writer = m_Layout.NewPyramidWriter(part);
  writer->SetNumberOfLevels(levels);
  if (!reader->OpenSignalFile() || !writer->OpenLevelFiles()) return false;
  std::vector<unsigned char> block(kMendBlockSamples * m_Layout.SampleSize);
  bool mended = true;
  for (unsigned long long done = 0; mended && done < samples;) {
    const unsigned long long read = reader->ReadSampleBlock(block.data(), kMendBlockSamples);
    mended = read != 0 && writer->WriteRawBlock(block.data(), read);
    done += read;
  }
  writer->Close(true);
  return mended;
}

}  // namespace zsff
