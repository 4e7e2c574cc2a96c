// A channel's construction, its metadata and the lengths it reports. The
// recording path and the part changes are in ChannelParts.cpp.
#include "section/Channel.h"

#include <zsff/ChannelMetaData.h>
#include <zsff/FileAccess.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFiles.h>
#include <zsff/SignalFile.h>
#include <zsff/TextConversion.h>

#include <stdexcept>

#include "foundation/Diagnostics.h"
#include "signal/CompressedSignalFileReader.h"
#include "signal/CompressedSignalFileWriter.h"

namespace zsff {

namespace {

const char16_t kReaderLengthError[] =
    u"CChannel::UpdateSignalLength unable to get signal length in SignalFileReader";
const char16_t kWriterLengthError[] =
    u"CChannel::UpdateSignalLength unable to get signal length in SignalFileWriter";
const char16_t kNotOpenedError[] =
    u"CChannel::ReadChannelMetaData() Error: channel not opened successfully";

constexpr float kUnsetOffset = 1e38f;

// "PartLength" and "MaxRecordLength" as a record opened for reading takes them.
void ReadRecordGeometry(const MetaDataContainer& metaData, float& rate, double& partLength,
                        unsigned long long& maxRecordSamples) {
  CMetaDataChannelReader reader(metaData);
  reader.SamplingRate(rate);
  float part = 0.0f;
  partLength = reader.PartLength(part) ? part : 0.0;
  float maxLength = 0.0f;
  if (reader.MaxRecordLength(maxLength)) {
    maxRecordSamples =
        static_cast<unsigned long long>(static_cast<double>(maxLength) * static_cast<double>(rate));
  }
}

}  // namespace

CChannel::CChannel(const CChannelID& id, const std::u16string& directory,
                   const std::u16string& fileName, const MetaDataContainer& metaData,
                   const CRecordId& recordId, CAbstractRecordSection::OpenMode_t openMode,
                   CAbstractFileAccess* access)
    : m_ChannelId(id),
      m_ChannelDirectory(directory),
      m_ChannelDirectoryUtf8(WideToUtf8(directory)),
      m_ChannelFileName(fileName),
      m_OpenMode(openMode),
      m_FileAccess(access) {
  InitCommon(recordId);

  float rate = 0.0f;
  if (!metaData.FindMetadata("SamplingRate", rate)) {
    m_LastError = u"CRecordSection::AddChannel invalide channel metadata";
    throw std::runtime_error("channel metadata without SamplingRate");
  }
  m_SamplingRate = rate;
  const CMetaDataChannelReader reader(metaData);
  m_SignalType = reader.SignalType();
  m_SampleFormat = reader.SampleFormat();
  m_SampleSize = reader.SampleSize();

  // The file on disk says how the pyramid was built, for readers of any version.
  MetaDataContainer saved(metaData);
  saved.AddMetadata("CompressionFactor",
                    static_cast<long>(CCompressedSignalFileWriter::kCompressionFactor));
  CMetaDataHeaderFileWriter writer(m_TmpRecordFile.get(), m_FileAccess);
  if (!writer.Save(saved, m_ChannelFileName + u".zrm", m_ChannelDirectory)) {
    m_LastError = u"CRecordSection::AddChannel() Error: " + writer.LastError();
    throw std::runtime_error("channel metadata file not saved");
  }

  m_SignalFileWriter = NewSignalWriter(m_SignalParts.WritePart);
  m_CompressedSignalFileWriter = NewPyramidWriter(m_PyramidParts.WritePart);
}

CChannel::CChannel(const CChannelID& id, const std::u16string& directory,
                   const std::u16string& fileName, const CRecordId& recordId,
                   unsigned short lastPart, CAbstractRecordSection::OpenMode_t openMode,
                   double duration, long long offsetTimeToStop, CAbstractFileAccess* access)
    : m_ChannelId(id),
      m_ChannelDirectory(directory),
      m_ChannelDirectoryUtf8(WideToUtf8(directory)),
      m_ChannelFileName(fileName),
      m_OpenMode(openMode),
      m_FileAccess(access) {
  InitCommon(recordId);
  OpenExisting(true, lastPart, duration, offsetTimeToStop);
}

CChannel::CChannel(const CChannelID& id, const std::u16string& directory,
                   const std::u16string& fileName, const CRecordId& recordId,
                   CAbstractRecordSection::OpenMode_t openMode, CAbstractFileAccess* access)
    : m_ChannelId(id),
      m_ChannelDirectory(directory),
      m_ChannelDirectoryUtf8(WideToUtf8(directory)),
      m_ChannelFileName(fileName),
      m_OpenMode(openMode),
      m_FileAccess(access) {
  InitCommon(recordId);
  OpenExisting(false, 0, 0.0, 0);
}

CChannel::~CChannel() {
  // A part that couldn't be deleted during the recording gets a last chance.
  std::vector<unsigned short> notDeleted;
  DeleteParts(notDeleted, PartKindSignal);
  DeleteParts(notDeleted, PartKindPyramid);
  // The members then go in reverse order: writers, readers, temporary record file.
}

void CChannel::InitCommon(const CRecordId& recordId) {
  m_RecordId = recordId;
  const unsigned short first = recordId.PartNumber();
  for (ChannelPartState_t* state : {&m_SignalParts, &m_PyramidParts}) {
    state->FirstPart = first;
    state->LastPart = first;
    state->WritePart = first;
    state->ReadPart = first;
  }
  m_CompressedSignalInfo = CompressedSignalInfo_t(m_SamplingRate);
  m_TmpRecordFile = std::make_unique<CTmpRecordFile>(m_ChannelDirectoryUtf8, m_FileAccess);
}

void CChannel::OpenExisting(bool finished, unsigned short lastPart, double duration,
                            long long offsetTimeToStop) {
  MetaDataContainer metaData;
  TAG_RECORD_INFO info;
  if (!ReadChannelMetaData(metaData, info, false, 0)) return;
  m_TmpRecordFile->SetRecordInfo(info);
  ReadRecordGeometry(metaData, m_SamplingRate, m_PartLength, m_MaxRecordSamples);

  if (finished) {
    const unsigned long long timeStep = info.TimeStep != 0 ? info.TimeStep : 1;
    m_SignalParts.OffsetTimeToStop = static_cast<unsigned long long>(offsetTimeToStop) / timeStep;
    m_SignalParts.LastPart = lastPart;
    m_SignalParts.TimeOffset = 0.0;
    m_PyramidParts = m_SignalParts;
    m_Duration = duration;
    m_Recording = false;
  } else {
    m_Recording = true;
    if (m_TmpRecordFile->Exists()) {
      m_SignalParts.LastPart = m_TmpRecordFile->Parts().second;
      m_PyramidParts = m_SignalParts;
    }
    // Only the signal files' state: the pyramid's copy is taken before.
    m_SignalParts.TimeOffset = m_SignalParts.FirstPart * m_PartLength;
  }

  const unsigned short part = m_RecordId.PartNumber();
  const std::string partName = PartName(part);
  if (m_OpenMode != CAbstractRecordSection::OpenRead) {
    m_SignalFileReader = NewSignalReader(part);
    m_SignalFileWriter = NewSignalWriter(part);
  } else {
    m_SignalFileReader = NewSignalReader(part);
    ApplyScaling(metaData);
  }

  m_SignalParts.PartsToDelete = CMetaDataChannelReader(metaData).PartsToDelete();

  const bool exists = m_SignalFileReader->SignalFileExists();
  if (finished) {
    m_SignalParts.PartMissing = !exists;
  } else {
    m_SignalParts.PartMissing = m_PartLength > 0.0 && !exists && m_TmpRecordFile->Exists();
  }

  const CMetaDataChannelReader reader(metaData);
  m_SignalType = reader.SignalType();
  m_SampleFormat = reader.SampleFormat();
  m_SampleSize = reader.SampleSize();
  Describe(*m_SignalFileReader);
  if (m_SignalFileWriter) Describe(*m_SignalFileWriter);
  if (m_OpenMode == CAbstractRecordSection::OpenRead) m_SignalFileReader->UpdateSignalLength();

  if (finished) {
    m_SignalFileReader->UpdateSignalLength();
    m_SignalLengthCache = SignalLengthSpl(false);
  }

  m_CompressedSignalFileReader = NewPyramidReader(part);
  if (m_OpenMode != CAbstractRecordSection::OpenRead) {
    m_CompressedSignalFileWriter = NewPyramidWriter(part);
  }
}

void CChannel::ApplyScaling(const MetaDataContainer& metaData) {
  float sensitivity = 1.0f;
  float offset = 0.0f;
  metaData.FindMetadata("Sensitivity", sensitivity);
  metaData.FindMetadata("Offset", offset);
  m_SignalFileReader->SetRecordedCoeff(sensitivity, offset);

  float postSensitivity = sensitivity;
  float postOffset = offset;
  metaData.FindMetadata("SensitivityPostAnalysis", postSensitivity);
  metaData.FindMetadata("OffsetPostAnalysis", postOffset);
  if (postSensitivity != 0.0f && postOffset != kUnsetOffset) {
    SetPostAnalysisCoeff(postSensitivity, postOffset);
  }
}

void CChannel::SetPostAnalysisCoeff(float sensitivity, float offset) {
  if (!m_SignalFileReader) {
    ReportDiagnostic(DiagnosticError,
                     "CChannel::SetPostAnalysisCoeff(%s) Error: m_SignalFileReader not created",
                     WideToUtf8(m_ChannelId.ToFilePath()).c_str());
    return;
  }
  if (sensitivity == 0.0f || offset == kUnsetOffset) return;
  m_SignalFileReader->SetPostAnalysisCoeff(
      m_SignalFileReader->CoeffToVolt() / sensitivity,
      (offset - m_SignalFileReader->OffsetToVolt()) / sensitivity);
}

void CChannel::Describe(CSignalFileReader& file) const {
  file.SetSamplingRate(m_SamplingRate);
  file.SetAbsTimeStep(TicksPerSample());
  file.SetSignalType(m_SignalType);
  file.SetSampleFormat(m_SampleFormat);
  file.SetSampleSize(m_SampleSize);
}

std::unique_ptr<CSignalFileWriter> CChannel::NewSignalWriter(unsigned short part) const {
  auto writer =
      std::make_unique<CSignalFileWriter>(m_ChannelDirectoryUtf8, PartName(part), m_ChannelFileName,
                                          m_FileAccess, m_TmpRecordFile.get());
  Describe(*writer);
  return writer;
}

std::unique_ptr<CSignalFileReader> CChannel::NewSignalReader(unsigned short part) const {
  // Described by the caller: a reader made while the metadata is read takes the
  // sample description only once that is known.
  return std::make_unique<CSignalFileReader>(m_ChannelDirectoryUtf8, PartName(part),
                                             m_ChannelFileName, m_FileAccess, m_TmpRecordFile.get(),
                                             m_ChannelId.AnalyzerIndex());
}

std::unique_ptr<CCompressedSignalFileWriter> CChannel::NewPyramidWriter(unsigned short part) const {
  return std::make_unique<CCompressedSignalFileWriter>(m_ChannelDirectoryUtf8, PartName(part),
                                                       m_FileAccess, m_SampleSize, m_SampleFormat,
                                                       m_TmpRecordFile.get());
}

std::unique_ptr<CCompressedSignalFileReader> CChannel::NewPyramidReader(unsigned short part) const {
  return std::make_unique<CCompressedSignalFileReader>(
      m_ChannelDirectoryUtf8, PartName(part), m_FileAccess, m_ChannelId.AnalyzerIndex(),
      m_SampleSize, m_SampleFormat, m_SamplingRate, m_TmpRecordFile.get(), m_PartLength,
      m_SampleFormat, part);
}

std::string CChannel::PartName(unsigned short part) const {
  return m_RecordId.IdToSignalPartName_utf8(false, part);
}

std::string CChannel::PartBasePath(unsigned short part) const {
  return CCompressedSignalFileWriter::BasePath(m_ChannelDirectoryUtf8, PartName(part),
                                               m_FileAccess);
}

unsigned long long CChannel::SamplesPerPart() const {
  // The margin keeps a product such as 0.1 s x 1000.0 from losing its last sample.
  return static_cast<unsigned long long>(static_cast<double>(m_SamplingRate) * m_PartLength + 0.01);
}

// --- Metadata -----------------------------------------------------------------------

bool CChannel::ReadChannelMetaData(MetaDataContainer& out, TAG_RECORD_INFO& info, bool mustBeOpen,
                                   unsigned long long dataSize) {
  if (mustBeOpen && !m_SignalFileReader) {
    m_LastError = kNotOpenedError;
    return false;
  }
  if (m_FileAccess != nullptr) m_FileAccess->SelectAnalyzer(m_ChannelId.AnalyzerIndex());
  CMetaDataHeaderFileReader reader(m_TmpRecordFile.get(), m_FileAccess);
  if (!reader.Load(out, m_ChannelFileName, m_ChannelDirectory, info, dataSize)) {
    m_LastError = u"CChannel::ReadChannelMetaData() Error: " + reader.LastError();
    return false;
  }
  return true;
}

bool CChannel::RefreshFromMetaData(unsigned long long dataSize) {
  MetaDataContainer metaData;
  TAG_RECORD_INFO info;
  if (!ReadChannelMetaData(metaData, info, true, dataSize)) return false;
  m_TmpRecordFile->SetRecordInfo(info);
  m_SignalParts.PartsToDelete = CMetaDataChannelReader(metaData).PartsToDelete();
  m_PyramidParts.PartsToDelete = m_SignalParts.PartsToDelete;
  return true;
}

bool CChannel::UpdateRecordInfo() {
  if (m_OpenMode != CAbstractRecordSection::OpenRead) return true;
  MetaDataContainer metaData;
  TAG_RECORD_INFO info;
  if (!ReadChannelMetaData(metaData, info, true, 0)) return false;
  m_TmpRecordFile->SetRecordInfo(info);
  ReadRecordGeometry(metaData, m_SamplingRate, m_PartLength, m_MaxRecordSamples);
  return true;
}

bool CChannel::UpdateChannelMetaData(const MetaDataContainer& metaData) {
  if (!m_SignalFileReader && !m_SignalFileWriter) {
    m_LastError = u"CChannel::UpdateChannelMetaData invalid state";
    return false;
  }
  if (m_FileAccess != nullptr) m_FileAccess->SelectAnalyzer(m_ChannelId.AnalyzerIndex());
  CMetaDataHeaderFileWriter writer(m_TmpRecordFile.get(), m_FileAccess);
  if (!writer.Save(metaData, m_ChannelFileName + u".zrm", m_ChannelDirectory)) {
    m_LastError = u"CChannel::UpdateChannelMetaData() Error: " + writer.LastError();
    return false;
  }
  return true;
}

// --- Lengths --------------------------------------------------------------------------

void CChannel::UpdateSignalLength(bool refreshParts, bool tmpFilePresent) {
  // While a part-wise record grows, the reader's part may not exist yet.
  if (m_SignalFileReader && !m_SignalFileReader->UpdateSignalLength() &&
      !(tmpFilePresent && m_PartLength != 0.0)) {
    m_LastError = kReaderLengthError;
  }
  if (m_SignalFileWriter && !m_SignalFileWriter->UpdateSignalLength()) {
    m_LastError = kWriterLengthError;
  }
  if (m_PartLength == 0.0 || (!m_Recording && m_SignalParts.LastPart != 0) || !refreshParts ||
      !tmpFilePresent) {
    return;
  }

  // The recording section tells its parts only through the temporary record file.
  m_TmpRecordFile->Read();
  const std::pair<unsigned short, unsigned short> parts = m_TmpRecordFile->Parts();
  if (m_MaxRecordSamples != 0) {
    const unsigned short dropped =
        static_cast<unsigned short>(parts.first - m_SignalParts.FirstPart);
    m_SignalParts.TimeOffset += dropped * m_PartLength;
    m_SignalParts.FirstPart = parts.first;
    m_RecordId.SetPartNumber(parts.first);
  }
  m_SignalParts.LastPart = parts.second;
  m_PyramidParts.LastPart = parts.second;
  m_PyramidParts.TimeOffset = m_SignalParts.TimeOffset;
  m_PyramidParts.FirstPart = m_SignalParts.FirstPart;
}

unsigned long long CChannel::SignalLengthSpl(bool fromPartZero) {
  if (m_SignalLengthCache != 0) return m_SignalLengthCache;
  const unsigned short first = m_SignalParts.FirstPart;
  const unsigned short last = m_SignalParts.LastPart;

  unsigned long long size = 0;
  if (m_FileAccess != nullptr) m_FileAccess->FileSize(PartBasePath(last) + ".zrs", size);
  unsigned long long inLast = size / m_SampleSize;
  // A part just opened has no file yet; the part before it is then complete.
  if (inLast == 0 && last != first) inLast = SamplesPerPart();

  const unsigned long long parts =
      fromPartZero ? static_cast<unsigned long long>(last) + 1
                   : static_cast<unsigned long long>(static_cast<unsigned short>(last - first)) + 1;
  const double before = static_cast<double>(parts - 1) * m_PartLength * m_SamplingRate;
  return static_cast<unsigned long long>(before) + inLast;
}

unsigned long long CChannel::SignalSizeInBytes() {
  if (m_PartLength == 0.0) {
    CSignalFileReader* file = m_OpenMode == CAbstractRecordSection::OpenCreate
                                  ? m_SignalFileWriter.get()
                                  : m_SignalFileReader.get();
    return file != nullptr ? file->SignalFileSize() : 0;
  }
  if (m_SignalFileReader && !m_SignalFileReader->UpdateSignalLength()) {
    m_LastError = kReaderLengthError;
  }
  if (m_SignalFileWriter && !m_SignalFileWriter->UpdateSignalLength()) {
    m_LastError = kWriterLengthError;
  }
  const unsigned short first = m_SignalParts.FirstPart;
  const unsigned short last = m_SignalParts.LastPart;
  if (first > last || m_FileAccess == nullptr) return 0;

  // The pyramid isn't measured: its four levels cost 1/16, 1/512, 1/16384 and
  // 1/524288 of the samples' bytes.
  unsigned long long total = 0;
  for (unsigned int part = first; part <= last; ++part) {
    unsigned long long bytes = 0;
    m_FileAccess->FileSize(PartBasePath(static_cast<unsigned short>(part)) + ".zrs", bytes);
    total += bytes + (bytes >> 4) + (bytes >> 9) + (bytes >> 14) + (bytes >> 19);
  }
  return total;
}

}  // namespace zsff
