// A channel's recording path and its part changes: arming, writing blocks cut at
// part boundaries, the ring that drops the oldest part, deletion of dropped parts,
// opening parts for writing and reading, and closing.
#include <zsff/ChannelMetaData.h>
#include <zsff/FileAccess.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFiles.h>
#include <zsff/SignalFile.h>
#include <zsff/TextConversion.h>

#include <algorithm>

#include "section/Channel.h"
#include "signal/CompressedSignalFileReader.h"
#include "signal/CompressedSignalFileWriter.h"

namespace zsff {

namespace {

bool Contains(const std::vector<unsigned short>& parts, unsigned short part) {
  return std::find(parts.begin(), parts.end(), part) != parts.end();
}

}  // namespace

bool CChannel::ArmChannel(double maxLength, double partLength) {
  m_PartLength = partLength;

  // Readers of the record learn its geometry from here. Not being able to say so
  // doesn't stop the recording.
  MetaDataContainer metaData;
  CMetaDataHeaderFileReader reader(m_TmpRecordFile.get(), m_FileAccess);
  if (reader.Load(metaData, m_ChannelFileName, m_ChannelDirectory)) {
    metaData.AddMetadata("PartLength", static_cast<float>(partLength));
    metaData.AddMetadata("MaxRecordLength", static_cast<float>(maxLength));
    CMetaDataHeaderFileWriter writer(m_TmpRecordFile.get(), m_FileAccess);
    writer.Save(metaData, m_ChannelFileName + u".zrm", m_ChannelDirectory);
  }

  if (!m_SignalFileWriter) return false;
  const double rate = m_SamplingRate;
  m_MaxRecordSamples = static_cast<unsigned long long>(rate * maxLength);

  // A pyramid level is kept only if a whole part fills its pairs exactly, so
  // that no pair of a level straddles two parts.
  if (partLength != 0.0 && m_CompressedSignalFileWriter) {
    unsigned long long samples = static_cast<unsigned long long>(rate * partLength);
    int levels = 0;
    while (levels < CCompressedSignalFileWriter::kMaxLevels &&
           samples % CCompressedSignalFileWriter::kCompressionFactor == 0) {
      samples /= CCompressedSignalFileWriter::kCompressionFactor;
      ++levels;
    }
    if (levels < CCompressedSignalFileWriter::kMaxLevels) {
      m_CompressedSignalFileWriter->SetNumberOfLevels(levels);
    }
  }

  if (!m_SignalFileWriter->OpenSignalFile()) {
    m_LastError = u"CRecordSection::ArmRecord unable to open signal file";
    return false;
  }
  if (m_CompressedSignalFileWriter) {
    m_CompressedSignalFileWriter->Close(false);
    if (!m_CompressedSignalFileWriter->OpenLevelFiles()) {
      m_LastError = u"CRecordSection::ArmRecord unable to open pyramide files";
    }
  }
  return true;
}

unsigned long long CChannel::RemainingInPart(PartKind_t kind, bool write) const {
  const ChannelPartState_t& state = PartState(kind);
  const unsigned long long done = write ? state.WrittenInPart : state.ReadInPart;
  const unsigned long long capacity = SamplesPerPart();
  return capacity > done ? capacity - done : 0;
}

bool CChannel::WriteSampleBlock(const void* data, unsigned long long count, bool compress) {
  if (count == 0) return true;
  if (!m_SignalFileWriter) {
    m_LastError = u"CChannel::WriteSampleBlock error (block)";
    return false;
  }
  const unsigned char* samples = static_cast<const unsigned char*>(data);
  const bool parts = m_PartLength > 0.0;
  const double ticks = TicksPerSample();

  while (count > 0) {
    unsigned long long piece = count;
    if (parts) {
      unsigned long long room = RemainingInPart(PartKindSignal, true);
      if (room == 0) {
        if (!OpenPart(PartKindSignal, true,
                      static_cast<unsigned short>(m_SignalParts.WritePart + 1), true)) {
          m_LastError = u"CChannel WriteSampleBlock OpenNextPart failed.\n";
          return false;
        }
        // A pyramid that doesn't open shows at its first write below.
        if (compress) {
          OpenPart(PartKindPyramid, true, static_cast<unsigned short>(m_PyramidParts.WritePart + 1),
                   true);
        }
        room = RemainingInPart(PartKindSignal, true);
        if (room == 0) {  // a part shorter than one sample can never be filled
          m_LastError = u"CChannel WriteSampleBlock OpenNextPart failed.\n";
          return false;
        }
      }
      piece = std::min(count, room);
    }

    // The file writer reports success even when the disk refused the samples;
    // only its count of samples written tells.
    const long long before = m_SignalFileWriter->SamplesWritten();
    if (!m_SignalFileWriter->WriteSampleBlock(samples, piece) ||
        m_SignalFileWriter->SamplesWritten() != before + static_cast<long long>(piece)) {
      m_LastError = u"CChannel::WriteSampleBlock error (block)";
      return false;
    }
    m_EndDate += static_cast<long long>(static_cast<double>(piece) * ticks);
    m_RecordedSamples += piece;
    if (parts) AdvancePart(PartKindSignal, true, piece);

    if (compress) {
      if (!m_CompressedSignalFileWriter ||
          !m_CompressedSignalFileWriter->WriteRawBlock(samples, piece)) {
        m_LastError = u"CChannel::WriteSampleBlock error (compressed)";
        return false;
      }
      if (parts) {
        AdvancePart(PartKindPyramid, true,
                    piece / (m_CompressedSignalFileWriter->CompressionFactor() / 2));
      }
    }
    samples += piece * m_SampleSize;
    count -= piece;
  }
  return true;
}

bool CChannel::WriteCompressedSampleBlock(const void* data, unsigned long long count) {
  if (!m_CompressedSignalFileWriter) {
    if (count == 0) return true;
    m_LastError = u"CChannel::WriteSampleBlock error (compressed)";
    return false;
  }
  const unsigned char* values = static_cast<const unsigned char*>(data);
  const bool parts = m_PartLength > 0.0;
  // Each value of the first level stands for this many samples.
  const unsigned long long perValue = m_CompressedSignalFileWriter->CompressionFactor() / 2;

  while (count > 0) {
    unsigned long long piece = count;
    if (parts) {
      unsigned long long room = RemainingInPart(PartKindPyramid, true) / perValue;
      if (room == 0) {
        if (!OpenPart(PartKindPyramid, true,
                      static_cast<unsigned short>(m_PyramidParts.WritePart + 1), true)) {
          m_LastError = u"CChannel WriteCompressedSampleBlock OpenNextPart failed.\n";
          return false;
        }
        room = RemainingInPart(PartKindPyramid, true) / perValue;
        if (room == 0) {
          m_LastError = u"CChannel WriteCompressedSampleBlock OpenNextPart failed.\n";
          return false;
        }
      }
      piece = std::min(count, room);
    }
    if (!m_CompressedSignalFileWriter->WriteCompressedBlock(values, piece)) {
      m_LastError = u"CChannel::WriteSampleBlock error (compressed)";
      return false;
    }
    if (parts) AdvancePart(PartKindPyramid, true, piece * perValue);
    values += piece * m_SampleSize;
    count -= piece;
  }
  return true;
}

void CChannel::AdvancePart(PartKind_t kind, bool write, unsigned long long count) {
  ChannelPartState_t& state = PartState(kind);
  if (!write) {
    state.ReadInPart += count;
    return;
  }
  bool firstBlock = state.WrittenInPart == 0;
  state.WrittenInPart += count;

  if (m_MaxRecordSamples > 0) {
    // After a wrap of the part numbers the part being written may still wait for
    // deletion from the previous round.
    auto waiting =
        std::find(state.PartsToDelete.begin(), state.PartsToDelete.end(), state.WritePart);
    if (waiting != state.PartsToDelete.end()) state.PartsToDelete.erase(waiting);

    // The count leaves out one whole part, so the ring keeps up to one part more
    // than its bound. Once the numbers have wrapped the formula lacks that minus
    // one; files written by earlier versions were dropped the same way.
    unsigned long long held = 0;
    if (state.FirstPart != state.LastPart) {
      const long fullParts = state.LastPart > state.FirstPart
                                 ? static_cast<long>(state.LastPart) - state.FirstPart - 1
                                 : static_cast<long>(state.LastPart) - state.FirstPart + 65536;
      held = static_cast<unsigned long long>(fullParts * m_PartLength * m_SamplingRate) +
             state.WrittenInPart;
    }
    if (held > m_MaxRecordSamples) {
      state.PartsToDelete.push_back(state.FirstPart);
      std::vector<unsigned short> notDeleted;
      DeleteParts(notDeleted, kind);
      ++state.FirstPart;
      state.TimeOffset += m_PartLength;
      if (kind == PartKindSignal) {
        m_RecordId.SetPartNumber(state.FirstPart);
        m_RecordedSamples = held;
        const unsigned long long dropped = SamplesPerPart();
        TAG_RECORD_INFO& info = m_TmpRecordFile->RecordInfo();
        info.AbsoluteDate +=
            static_cast<long long>(static_cast<double>(dropped) * TicksPerSample());
        info.RelativeDate +=
            static_cast<long long>(static_cast<unsigned long long>(info.TimeStep) * dropped << 16);
        firstBlock = true;
      }
    }
  }

  // The one write of the temporary record file per part (and per drop): a crash
  // then finds the parts and the dates of the retained signal.
  if (kind == PartKindSignal && firstBlock) {
    m_TmpRecordFile->SetParts(state.FirstPart, state.LastPart);
    m_TmpRecordFile->Write();
  }
}

void CChannel::DeleteParts(std::vector<unsigned short>& notDeleted, PartKind_t kind) {
  notDeleted.clear();
  if (kind == PartKindPyramid) {
    // The signal kind's pass takes the pyramid files with the part.
    m_PyramidParts.PartsToDelete.clear();
    return;
  }
  if (m_SignalParts.PartsToDelete.empty()) return;
  if (m_FileAccess == nullptr) {
    notDeleted = m_SignalParts.PartsToDelete;
    return;
  }
  const int levels = m_CompressedSignalFileWriter ? m_CompressedSignalFileWriter->NumberOfLevels()
                                                  : CCompressedSignalFileWriter::kMaxLevels;
  for (unsigned short part : m_SignalParts.PartsToDelete) {
    const std::string base = PartBasePath(part);
    const std::string signal = base + ".zrs";
    bool failed = m_FileAccess->FileExists(signal) && !m_FileAccess->DeleteFile(signal);
    for (int level = 1; level <= levels; ++level) {
      const std::string path = CCompressedSignalFileWriter::LevelFilePath(base, level);
      if (m_FileAccess->FileExists(path) && !m_FileAccess->DeleteFile(path)) {
        failed = true;
        break;
      }
    }
    if (failed && !Contains(notDeleted, part)) notDeleted.push_back(part);
  }
  m_SignalParts.PartsToDelete = notDeleted;
}

std::unique_ptr<CCompressedSignalFileReader> CChannel::TakePyramidReader(unsigned short part) {
  // A view across the record visits the parts in order: the oldest reader parked
  // is the one the next sweep wants last.
  constexpr std::size_t kParkedReaders = 256;
  if (m_CompressedSignalFileReader) {
    // A view's working memory would add up over hundreds of parts.
    m_CompressedSignalFileReader->ForgetRequest();
    m_ParkedPyramidReaders.push_back(std::move(m_CompressedSignalFileReader));
    if (m_ParkedPyramidReaders.size() > kParkedReaders) {
      m_ParkedPyramidReaders.erase(m_ParkedPyramidReaders.begin());
    }
  }
  for (auto it = m_ParkedPyramidReaders.begin(); it != m_ParkedPyramidReaders.end(); ++it) {
    if ((*it)->PartNumber() != part) continue;
    std::unique_ptr<CCompressedSignalFileReader> reader = std::move(*it);
    m_ParkedPyramidReaders.erase(it);
    if (m_PyramidParts.Holds(part) && !Contains(m_PyramidParts.PartsToDelete, part)) return reader;
    break;
  }
  return NewPyramidReader(part);
}

bool CChannel::OpenPart(PartKind_t kind, bool write, unsigned short part, bool refresh) {
  ChannelPartState_t& state = PartState(kind);

  if (write) {
    if (state.WritePart == part) return true;
    state.WritePart = part;
    if (part == 0 || part > state.LastPart) state.LastPart = part;
    if (kind == PartKindSignal) {
      if (m_SignalFileWriter) m_SignalFileWriter->CloseSignalFile(true);
      m_SignalFileWriter = NewSignalWriter(part);  // its file comes with the first block
    } else {
      // The depth chosen at arming holds for every part.
      const int levels = m_CompressedSignalFileWriter
                             ? m_CompressedSignalFileWriter->NumberOfLevels()
                             : CCompressedSignalFileWriter::kMaxLevels;
      if (m_CompressedSignalFileWriter) m_CompressedSignalFileWriter->Close(true);
      m_CompressedSignalFileWriter = NewPyramidWriter(part);
      if (levels < CCompressedSignalFileWriter::kMaxLevels) {
        m_CompressedSignalFileWriter->SetNumberOfLevels(levels);
      }
      if (!m_CompressedSignalFileWriter->OpenLevelFiles()) {
        m_LastError = u"CChannel::OpenPart unable to create pyramide files";
        return false;
      }
    }
    state.WrittenInPart = 0;
    return true;
  }

  if (state.ReadPart == part) {
    if (state.PartMissing) return true;
    if (refresh && !RefreshFromMetaData(0)) return false;
    bool missing = true;
    if (!Contains(m_SignalParts.PartsToDelete, part)) {
      if (kind == PartKindSignal) {
        missing = !(m_SignalFileReader && m_SignalFileReader->SignalFileExists());
      } else {
        missing =
            !(m_CompressedSignalFileReader && m_CompressedSignalFileReader->LevelFileExists());
      }
    }
    m_SignalParts.PartMissing = missing;
    m_PyramidParts.PartMissing = missing;
    return true;
  }

  bool deleted = Contains(state.PartsToDelete, part);
  if (kind == PartKindSignal && !deleted && refresh) {
    // The recording side may have dropped parts since; a failed reload only means
    // that the list stays as it was.
    RefreshFromMetaData(SignalLengthSpl(false) * m_SampleSize);
    deleted = Contains(state.PartsToDelete, part);
  }
  // Asked only when a part's file is missing: a part at hand needs no lookup.
  auto recording = [this]() { return m_TmpRecordFile->Exists(); };
  const unsigned short next = static_cast<unsigned short>(state.LastPart + 1);
  const bool inRange = state.Holds(part);

  if (kind == PartKindPyramid) {
    state.PartMissing = deleted;
    m_TmpRecordFile->SetParts(state.FirstPart, state.LastPart);
    m_CompressedSignalFileReader = TakePyramidReader(part);
    const bool readable = !deleted && m_CompressedSignalFileReader->LevelFileExists();
    if (!readable && (inRange || (recording() && part == next))) {
      state.PartMissing = !(recording() && (m_MaxRecordSamples != 0 || part == next));
    }
  } else {
    std::unique_ptr<CSignalFileReader> reader = NewSignalReader(part);
    if (m_SignalFileReader) {
      float coeff = 1.0f;
      float offset = 0.0f;
      m_SignalFileReader->GetRecordedCoeff(coeff, offset);
      reader->SetRecordedCoeff(coeff, offset);
      m_SignalFileReader->GetPostAnalysisCoeff(coeff, offset);
      reader->SetPostAnalysisCoeff(coeff, offset);
    }
    Describe(*reader);
    reader->UpdateSignalLength();

    if (!deleted && reader->SignalFileExists()) {
      state.PartMissing = false;
    } else {
      bool fails = false;
      if (!inRange && !(recording() && part == next)) {
        m_LastError =
            u"CChannel::OpenPart unable to open signal files: " + Utf8ToWide(PartName(part));
        state.PartMissing = false;
        fails = true;
      } else if (m_MaxRecordSamples == 0 && part != next) {
        state.PartMissing = true;  // a hole inside the record: reads fill it
      } else if (recording()) {
        state.PartMissing = false;  // not written yet
        fails = true;
      } else {
        state.PartMissing = true;
      }
      if (fails) {
        // The reader stays with the part it was reading: at the end of a record
        // whose last part is full it still tells that its reading has ended.
        if (part < state.FirstPart) state.ReadPart = part;
        return false;
      }
    }
    m_SignalFileReader = std::move(reader);
  }

  state.ReadPart = part;
  if (state.LastPart >= state.FirstPart && part > state.LastPart) {
    m_SignalParts.LastPart = part;
    m_PyramidParts.LastPart = part;
  }
  state.ReadInPart = 0;
  return true;
}

void CChannel::FlushChannel() {
  if (m_SignalFileWriter) m_SignalFileWriter->FlushSignalFile();
  if (m_CompressedSignalFileWriter) m_CompressedSignalFileWriter->Flush();
}

void CChannel::CloseChannel(const MetaDataFileLock* lock) {
  if (m_SignalFileWriter) m_SignalFileWriter->CloseSignalFile(true);
  if (m_CompressedSignalFileWriter) m_CompressedSignalFileWriter->Close(true);
  m_TmpRecordFile->Write();

  // The header reader merges the temporary record file into what it loads, so the
  // container comes back with the dates and the length of the retained signal.
  MetaDataContainer metaData;
  TAG_RECORD_INFO info;
  if (ReadChannelMetaData(metaData, info, false, SignalLengthSpl(false) * m_SampleSize)) {
    double duration = 0.0;
    if (!metaData.FindMetadata("RecordDuration", duration)) {
      duration = m_Duration != 0.0
                     ? m_Duration
                     : static_cast<double>(m_RecordedSamples) / static_cast<double>(m_SamplingRate);
      metaData.AddMetadata("RecordDuration", duration);
    }
    if (lock != nullptr) UpdateChannelMetaData(metaData);
  }
  // Without its metadata loaded the ".zrm" is left as it stands rather than
  // overwritten by a near-empty container.

  std::vector<unsigned short> notDeleted;
  DeleteParts(notDeleted, PartKindSignal);
  DeleteParts(notDeleted, PartKindPyramid);
  m_TmpRecordFile->Delete();
}

}  // namespace zsff
