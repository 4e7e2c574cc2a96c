// What the pieces of a channel share about it: its identity and its record, where
// its files lie and how a part's files are named, what its samples are, how long
// its parts are and how large its ring. Makes the signal and pyramid readers and
// writers of a part, all described alike, and loads the channel's ".zrm" file.
//
// A plain value owned by CChannel and borrowed by its part writer, part reader
// and pyramid view. The record id's part number follows the first part still on
// disk. The store and the temporary record file are borrowed.
#pragma once

#include <zsff/ChannelId.h>
#include <zsff/RecordId.h>
#include <zsff/SignalTypes.h>
#include <zsff/TmpRecordFile.h>

#include <memory>
#include <string>

#include "persistence/MetaDataFileCache.h"

namespace zsff {

class CAbstractFileAccess;
class CCompressedSignalFileReader;
class CCompressedSignalFileWriter;
class CSignalFileReader;
class CSignalFileWriter;
class MetaDataContainer;
struct ChannelPartRange;

struct ChannelLayout {
  // The rest keeps its defaults until the channel reads its metadata.
  ChannelLayout(const CChannelID& id, const std::u16string& directory,
                const std::u16string& fileName, const CRecordId& recordId,
                CAbstractFileAccess* access);

  CChannelID ChannelId;
  CRecordId RecordId;
  std::u16string Directory;
  std::string DirectoryUtf8;
  std::u16string FileName;  // of the ".zrm" file, without extension
  CAbstractFileAccess* FileAccess = nullptr;
  CTmpRecordFile* TmpRecordFile = nullptr;
  float SamplingRate = 51200.0f;
  double PartLength = 0.0;  // seconds; 0: one file for the whole record
  SignalType_t SignalType = Dynamic;
  SampleFormat_t SampleFormat = SIFloat;
  unsigned long long SampleSize = 4;
  unsigned long long MaxRecordSamples = 0;  // ring size; 0: no ring
  // Samples of the whole record, fixed when a finished record is opened; 0: they
  // are measured each time.
  unsigned long long SignalLengthCache = 0;
  // Seconds of a finished record, as its opening or its metadata tells them, which
  // no missing part can shorten; 0 while it records or when nothing tells.
  double RecordDuration = 0.0;
  // The ".zrm" file as last parsed: a view polled on a record whose metadata
  // doesn't change parses it once. What "TmpRecord.zrm" completes is merged anew
  // on every load.
  mutable CMetaDataFileCache MetaDataCache;

  // Samples of a full part, truncated.
  unsigned long long SamplesPerPart() const;
  // Levels of the pyramid of each part: only those whose pairs a whole part fills
  // exactly, so that no pair straddles two parts; all of them without parts.
  int PyramidLevels() const;
  // 100 ns ticks between two samples.
  double TicksPerSample() const { return 1.0 / (static_cast<double>(SamplingRate) * 1e-7); }
  std::string PartName(unsigned short part) const;
  // The path of `part`'s files without extension, UTF-8.
  std::string PartBasePath(unsigned short part) const;
  // Bytes of `part`'s ".zrs" file; 0 when it can't be measured.
  unsigned long long PartFileBytes(unsigned short part) const;
  // Bytes of the signal files of `parts` and of their pyramids, estimated; 0 for
  // a range whose numbers have wrapped.
  unsigned long long EstimatedBytes(const ChannelPartRange& parts) const;

  // Samples of the record whose parts `parts` holds: those before the last part
  // counted whole, plus what the last part's file holds. `fromPartZero` counts
  // from part 0 instead of the first part still there. The cache answers first.
  unsigned long long SignalLengthSpl(const ChannelPartRange& parts, bool fromPartZero) const;

  // Rate, "PartLength" (0 when missing) and "MaxRecordLength" of a record opened
  // for reading.
  void TakeGeometry(const MetaDataContainer& metaData);
  // Signal type, sample format and the sample size it implies.
  void TakeSampleDescription(const MetaDataContainer& metaData);
  // Hands rate, time step, type, format and size to a reader or writer.
  void Describe(CSignalFileReader& file) const;

  // Writers come described; a signal reader is described by its caller, which may
  // not know the samples yet.
  std::unique_ptr<CSignalFileWriter> NewSignalWriter(unsigned short part) const;
  std::unique_ptr<CSignalFileReader> NewSignalReader(unsigned short part) const;
  std::unique_ptr<CCompressedSignalFileWriter> NewPyramidWriter(unsigned short part) const;
  std::unique_ptr<CCompressedSignalFileReader> NewPyramidReader(unsigned short part) const;

  // Loads the ".zrm" file for the channel's analyzer, with the record
  // information completed from "TmpRecord.zrm" while that exists; `dataSize` as
  // CMetaDataHeaderFileReader::Load takes it. Refused when the channel isn't
  // `opened` for reading. On failure `error` gets the reason.
  bool LoadMetaData(MetaDataContainer& out, TAG_RECORD_INFO& info, unsigned long long dataSize,
                    bool opened, std::u16string& error) const;
};

}  // namespace zsff
