// The channel's shared description: part names and paths, the geometry and the
// sample description read from metadata, and the file objects of a part.
#include "section/ChannelLayout.h"

#include <zsff/ChannelMetaData.h>
#include <zsff/FileAccess.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileReader.h>
#include <zsff/SignalFile.h>

#include <stdexcept>

#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"
#include "section/ChannelPartRange.h"
#include "signal/CompressedSignalFileReader.h"
#include "signal/CompressedSignalFileWriter.h"

namespace zsff {

namespace {

// The 8-bit form of a channel's directory, which the part files are reached by.
// A directory without one (a lone surrogate half) would send them to another
// place: the channel is not made, and the section goes on without it.
std::string StorePath(const std::u16string& directory) {
  std::string path;
  if (!WideToPath(directory, path))
    throw std::invalid_argument("channel directory without a UTF-8 form");
  return path;
}

}  // namespace

ChannelLayout::ChannelLayout(const CChannelID& id, const std::u16string& directory,
                             const std::u16string& fileName, const CRecordId& recordId,
                             CAbstractFileAccess* access)
    : ChannelId(id),
      RecordId(recordId),
      Directory(directory),
      DirectoryUtf8(StorePath(directory)),
      FileName(fileName),
      FileAccess(access) {}

unsigned long long ChannelLayout::SamplesPerPart() const {
  // The margin keeps a product such as 0.1 s x 1000.0 from losing its last sample.
  return static_cast<unsigned long long>(static_cast<double>(SamplingRate) * PartLength + 0.01);
}

int ChannelLayout::PyramidLevels() const {
  if (PartLength == 0.0) return CCompressedSignalFileWriter::kMaxLevels;
  unsigned long long samples = static_cast<unsigned long long>(SamplingRate * PartLength);
  int levels = 0;
  while (levels < CCompressedSignalFileWriter::kMaxLevels &&
         samples % CCompressedSignalFileWriter::kCompressionFactor == 0) {
    samples /= CCompressedSignalFileWriter::kCompressionFactor;
    ++levels;
  }
  return levels;
}

std::string ChannelLayout::PartName(unsigned short part) const {
  return RecordId.IdToSignalPartName_utf8(false, part);
}

std::string ChannelLayout::PartBasePath(unsigned short part) const {
  return CCompressedSignalFileWriter::BasePath(DirectoryUtf8, PartName(part), FileAccess);
}

unsigned long long ChannelLayout::PartFileBytes(unsigned short part) const {
  unsigned long long bytes = 0;
  if (FileAccess != nullptr) FileAccess->FileSize(names::SignalPartFile(PartBasePath(part)), bytes);
  return bytes;
}

unsigned long long ChannelLayout::EstimatedBytes(const ChannelPartRange& parts) const {
  if (parts.Wrapped()) return 0;
  // The pyramid isn't measured: its four levels cost 1/16, 1/512, 1/16384 and
  // 1/524288 of the samples' bytes.
  unsigned long long total = 0;
  for (unsigned int part = parts.FirstPart; part <= parts.LastPart; ++part) {
    const unsigned long long bytes = PartFileBytes(static_cast<unsigned short>(part));
    total += bytes + (bytes >> 4) + (bytes >> 9) + (bytes >> 14) + (bytes >> 19);
  }
  return total;
}

unsigned long long ChannelLayout::SignalLengthSpl(const ChannelPartRange& parts,
                                                  bool fromPartZero) const {
  if (SignalLengthCache != 0) return SignalLengthCache;
  const unsigned short first = parts.FirstPart;
  const unsigned short last = parts.LastPart;

  unsigned long long inLast = PartFileBytes(last) / SampleSize;
  // A part just opened has no file yet; the part before it is then complete.
  if (inLast == 0 && last != first) inLast = SamplesPerPart();

  const unsigned long long count =
      fromPartZero ? static_cast<unsigned long long>(last) + 1
                   : static_cast<unsigned long long>(static_cast<unsigned short>(last - first)) + 1;
  const double before = static_cast<double>(count - 1) * PartLength * SamplingRate;
  return static_cast<unsigned long long>(before) + inLast;
}

void ChannelLayout::TakeGeometry(const MetaDataContainer& metaData) {
  CMetaDataChannelReader reader(metaData);
  reader.SamplingRate(SamplingRate);
  float part = 0.0f;
  PartLength = reader.PartLength(part) ? part : 0.0;
  float maxLength = 0.0f;
  if (reader.MaxRecordLength(maxLength)) {
    MaxRecordSamples = static_cast<unsigned long long>(static_cast<double>(maxLength) *
                                                       static_cast<double>(SamplingRate));
  }
}

void ChannelLayout::TakeSampleDescription(const MetaDataContainer& metaData) {
  const CMetaDataChannelReader reader(metaData);
  SignalType = reader.SignalType();
  SampleFormat = reader.SampleFormat();
  SampleSize = reader.SampleSize();
}

void ChannelLayout::Describe(CSignalFileReader& file) const {
  file.SetSamplingRate(SamplingRate);
  file.SetAbsTimeStep(TicksPerSample());
  file.SetSignalType(SignalType);
  file.SetSampleFormat(SampleFormat);
  file.SetSampleSize(SampleSize);
}

std::unique_ptr<CSignalFileWriter> ChannelLayout::NewSignalWriter(unsigned short part) const {
  auto writer = std::make_unique<CSignalFileWriter>(DirectoryUtf8, PartName(part), FileName,
                                                    FileAccess, TmpRecordFile);
  Describe(*writer);
  return writer;
}

std::unique_ptr<CSignalFileReader> ChannelLayout::NewSignalReader(unsigned short part) const {
  return std::make_unique<CSignalFileReader>(DirectoryUtf8, PartName(part), FileName, FileAccess,
                                             TmpRecordFile, ChannelId.AnalyzerIndex());
}

std::unique_ptr<CCompressedSignalFileWriter> ChannelLayout::NewPyramidWriter(
    unsigned short part) const {
  return std::make_unique<CCompressedSignalFileWriter>(DirectoryUtf8, PartName(part), FileAccess,
                                                       SampleSize, SampleFormat, TmpRecordFile);
}

std::unique_ptr<CCompressedSignalFileReader> ChannelLayout::NewPyramidReader(
    unsigned short part) const {
  return std::make_unique<CCompressedSignalFileReader>(
      DirectoryUtf8, PartName(part), FileAccess, ChannelId.AnalyzerIndex(), SampleSize,
      SampleFormat, SamplingRate, TmpRecordFile, PartLength, SampleFormat, part);
}

bool ChannelLayout::LoadMetaData(MetaDataContainer& out, TAG_RECORD_INFO& info,
                                 unsigned long long dataSize, bool opened,
                                 std::u16string& error) const {
  if (!opened) {
    // The open failed on this file; the name tells a reader where to look.
    const std::u16string separator = FileAccess != nullptr ? FileAccess->PathSeparatorW() : u"/";
    error = u"CChannel::ReadChannelMetaData() Error: channel not opened successfully: " +
            Directory + separator + FileName + u".zrm";
    return false;
  }
  if (FileAccess != nullptr) FileAccess->SelectAnalyzer(ChannelId.AnalyzerIndex());
  CMetaDataHeaderFileReader reader(TmpRecordFile, FileAccess, &MetaDataCache);
  if (!reader.Load(out, FileName, Directory, info, dataSize)) {
    error = u"CChannel::ReadChannelMetaData() Error: " + reader.LastError();
    return false;
  }
  return true;
}

}  // namespace zsff
