// Signal part files: one headerless file of raw samples per part of a channel.
#include <zsff/ChannelMetaData.h>
#include <zsff/FileAccess.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileReader.h>
#include <zsff/SignalFile.h>
#include <zsff/TmpRecordFile.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "foundation/Diagnostics.h"
#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"

namespace zsff {

namespace {

// The metadata's mark for an offset that was never set.
constexpr float kUnsetOffset = 1e38f;

// Largest transfer the store takes in one call, in whole samples.
unsigned long long MaxSamplesPerTransfer(unsigned long long sampleSize) {
  return std::numeric_limits<unsigned int>::max() / sampleSize;
}

std::string JoinPath(const std::string& directory, const std::string& name,
                     const CAbstractFileAccess* access) {
  if (directory.empty()) return name;
  return directory + (access != nullptr ? access->PathSeparator() : std::string()) + name;
}

}  // namespace

// ---------------------------------------------------------------------------
// CSignalFileAccess

CSignalFileAccess::CSignalFileAccess(const std::string& directory, const std::string& baseName,
                                     CAbstractFileAccess* access, CTmpRecordFile* tmpRecordFile,
                                     unsigned short analyzerIndex)
    : m_Directory(directory),
      m_BaseName(baseName),
      m_FileAccess(access),
      m_AnalyzerIndex(analyzerIndex),
      m_TmpRecordFile(tmpRecordFile) {}

CSignalFileAccess::~CSignalFileAccess() = default;

void CSignalFileAccess::SetSamplingRate(float rate) {
  m_SamplingRate = rate;
  m_AbsTimeStep = 1.0 / (m_SamplingRate * 1e-7);
}

void CSignalFileAccess::SetRecordedCoeff(float coeff, float offset) {
  if (coeff == 0.0f || offset == kUnsetOffset) return;
  m_RecordedCoeff = coeff;
  m_RecordedOffset = offset;
  m_PostAnalysisCoeff = coeff;
  m_PostAnalysisOffset = offset;
  m_CoeffToVolt = coeff;
  m_OffsetToVolt = -offset;
  // Written out rather than as 1 and 0 so that odd coefficients (infinities)
  // behave as the post-analysis formula below would.
  m_CoeffToPASI = coeff / coeff;
  m_OffsetToPASI = (offset - offset) / coeff;
}

void CSignalFileAccess::SetPostAnalysisCoeff(float coeff, float offset) {
  if (coeff == 0.0f || offset == kUnsetOffset) return;
  m_PostAnalysisCoeff = coeff;
  m_PostAnalysisOffset = offset;
  m_CoeffToPASI = m_RecordedCoeff / coeff;
  m_OffsetToPASI = (offset - m_RecordedOffset) / coeff;
}

void CSignalFileAccess::GetRecordedCoeff(float& coeff, float& offset) const {
  coeff = m_RecordedCoeff;
  offset = m_RecordedOffset;
}

void CSignalFileAccess::GetPostAnalysisCoeff(float& coeff, float& offset) const {
  coeff = m_PostAnalysisCoeff;
  offset = m_PostAnalysisOffset;
}

long long CSignalFileAccess::StartDate() {
  if (m_TmpRecordFile == nullptr) return 0;
  return m_TmpRecordFile->RecordInfo().AbsoluteDate;
}

unsigned short CSignalFileAccess::RelTimeStep() {
  if (m_TmpRecordFile == nullptr) return 1;
  return m_TmpRecordFile->RecordInfo().TimeStep;
}

// ---------------------------------------------------------------------------
// CSignalFileReader

CSignalFileReader::CSignalFileReader(const std::string& directory, const std::string& baseName,
                                     const std::u16string& metaDataFileName,
                                     CAbstractFileAccess* access, CTmpRecordFile* tmpRecordFile,
                                     unsigned short analyzerIndex)
    : CSignalFileAccess(directory, baseName, access, tmpRecordFile, analyzerIndex),
      m_FilePath(JoinPath(directory, names::SignalPartFile(baseName), access)),
      m_MetaDataFileName(metaDataFileName) {}

CSignalFileReader::~CSignalFileReader() { CloseHandle(false); }

bool CSignalFileReader::CloseHandle(bool written) {
  if (m_FileAccess == nullptr || m_Handle == 0) return true;
  const bool closed = m_FileAccess->CloseFile(m_Handle, written);
  m_Handle = 0;
  return closed;
}

bool CSignalFileReader::SignalLength(long long& samples) {
  unsigned long long size = 0;
  if (m_FileAccess == nullptr) {
    samples = 0;
    return false;
  }
  m_FileAccess->SelectAnalyzer(m_AnalyzerIndex);
  if (!m_FileAccess->FileSize(m_FilePath, size)) {
    samples = 0;
    return false;
  }
  // A size of 0 can only come from a caller that never set one; treat it as
  // the default rather than divide by it.
  const unsigned long long sampleSize = m_SampleSize != 0 ? m_SampleSize : 4;
  samples = static_cast<long long>(size / sampleSize);
  m_SignalLength = samples;
  return true;
}

double CSignalFileReader::SignalLength() {
  long long samples = 0;
  if (SignalLength(samples) && m_SamplingRate > 0.0) {
    return static_cast<double>(samples) / m_SamplingRate;
  }
  return -1.0;
}

unsigned long long CSignalFileReader::SignalFileSize() {
  if (m_FileAccess == nullptr) return 0;
  m_FileAccess->SelectAnalyzer(m_AnalyzerIndex);
  unsigned long long size = 0;
  if (!m_FileAccess->FileSize(m_FilePath, size)) return 0;
  return size;
}

bool CSignalFileReader::SignalFileExists() {
  if (m_FileAccess == nullptr) return false;
  m_FileAccess->SelectAnalyzer(m_AnalyzerIndex);
  unsigned long long size = 0;
  return m_FileAccess->FileExists(m_FilePath) && m_FileAccess->FileSize(m_FilePath, size);
}

bool CSignalFileReader::UpdateSignalLength() { return SignalLength(m_SignalLength); }

bool CSignalFileReader::WriteSampleBlock(const void*, unsigned long long) { return false; }

double CSignalFileReader::RecordedLength() const { return 0.0; }

bool CSignalFileReader::FlushSignalFile() { return true; }

bool CSignalFileReader::OpenSignalFile() {
  if (m_FileAccess == nullptr) return false;
  m_FileAccess->SelectAnalyzer(m_AnalyzerIndex);
  if (m_Handle != 0) return true;

  double expectedDuration = -1.0;
  if (m_SamplingRate == 0.0) {
    // Nobody told us what the samples are: the channel's metadata knows.
    CMetaDataHeaderFileReader metaReader(nullptr, m_FileAccess);
    MetaDataContainer metaData;
    TAG_RECORD_INFO info;
    std::u16string directory;
    if (!PathToWide(m_Directory, directory) ||
        !metaReader.Load(metaData, m_MetaDataFileName, directory, info, 0)) {
      return false;
    }
    CMetaDataChannelReader channel(metaData);
    m_SignalType = channel.SignalType();
    m_SampleFormat = channel.SampleFormat();
    m_SampleSize = channel.SampleSize();
    float rate = 0.0f;
    if (channel.SamplingRate(rate)) m_SamplingRate = rate;
    channel.RecordLength(expectedDuration);
  }

  if (!SignalLength(m_SignalLength)) {
    // An empty record has no file to open; anything else is missing its file.
    return expectedDuration == 0.0;
  }

  // Read-only, so that a measurement on read-only media or of another user can be
  // read, and a part that vanished since the size query stays vanished.
  if (!m_FileAccess->OpenFile(m_FilePath, FileModeRead, m_Handle)) {
    CloseSignalFile(false);
    return false;
  }
  return SetReadPos(0.0);
}

bool CSignalFileReader::CloseSignalFile(bool written) { return CloseHandle(written); }

bool CSignalFileReader::SetReadPos(double seconds) {
  if (!OpenSignalFile()) return false;
  if (!(seconds >= 0.0)) return false;
  const double index = std::trunc(seconds * m_SamplingRate);
  if (!(index < static_cast<double>(m_SignalLength))) {
    return index == 0.0 && m_SignalLength == 0;
  }
  const long long position = static_cast<long long>(index);
  m_ReadPos = position;
  return m_FileAccess->SeekFile(m_Handle, position * static_cast<long long>(m_SampleSize), 0);
}

bool CSignalFileReader::SetReadPosSpl(unsigned long long samples) {
  if (!OpenSignalFile()) return false;
  // Unlike SetReadPos, the end itself is a valid position.
  if (m_SignalLength < 0 || samples > static_cast<unsigned long long>(m_SignalLength)) {
    return false;
  }
  m_ReadPos = static_cast<long long>(samples);
  return m_FileAccess->SeekFile(m_Handle, m_ReadPos * static_cast<long long>(m_SampleSize), 0);
}

double CSignalFileReader::GetReadPos() const {
  if (!(m_SamplingRate > 0.0)) return 0.0;
  return static_cast<double>(m_ReadPos) / m_SamplingRate;
}

unsigned long long CSignalFileReader::GetReadPosSpl() const {
  return static_cast<unsigned long long>(m_ReadPos);
}

bool CSignalFileReader::EndOfReading() const {
  return m_Handle != 0 && m_ReadPos >= m_SignalLength;
}

unsigned long long CSignalFileReader::ReadSampleBlock(void* destination, unsigned long long count) {
  if (!OpenSignalFile()) return 0;
  if (EndOfReading()) return 0;
  if (destination == nullptr || m_SampleSize == 0 || m_ReadPos >= m_SignalLength) return 0;

  unsigned long long samples = static_cast<unsigned long long>(m_SignalLength - m_ReadPos);
  if (count < samples) samples = count;
  // A block beyond what one transfer carries comes back short; callers loop.
  const unsigned long long maxSamples = MaxSamplesPerTransfer(m_SampleSize);
  if (samples > maxSamples) samples = maxSamples;
  if (samples == 0) return 0;

  const unsigned int bytes = static_cast<unsigned int>(samples * m_SampleSize);
  unsigned int bytesRead = 0;
  if (!m_FileAccess->ReadFile(m_Handle, destination, bytes, bytesRead)) {
    // The store may have moved the file pointer by a partial read; put it back
    // where the position says, so that the next read starts at the right sample.
    m_FileAccess->SeekFile(m_Handle, m_ReadPos * static_cast<long long>(m_SampleSize), 0);
    return 0;
  }
  const unsigned long long read = bytesRead / m_SampleSize;
  m_ReadPos += static_cast<long long>(read);
  return read;
}

// ---------------------------------------------------------------------------
// CSignalFileWriter

CSignalFileWriter::CSignalFileWriter(const std::string& directory, const std::string& baseName,
                                     const std::u16string& metaDataFileName,
                                     CAbstractFileAccess* access, CTmpRecordFile* tmpRecordFile)
    : CSignalFileReader(directory, baseName, metaDataFileName, access, tmpRecordFile, 0) {}

bool CSignalFileWriter::OpenSignalFile() {
  if (m_FileAccess == nullptr) {
    ReportDiagnostic(DiagnosticError,
                     "CSignalFileWriter::OpenSignalFile(%s) Error no file access object !!!",
                     m_FilePath.c_str());
    return false;
  }
  if (m_Handle != 0) return true;
  return m_FileAccess->OpenFile(m_FilePath, FileModeCreate, m_Handle);
}

bool CSignalFileWriter::WriteSampleBlock(const void* source, unsigned long long count) {
  if (count == 0) return false;
  // The result stays true on a failed open or write: callers learn of failures
  // from SamplesWritten and the file's size, never from here.
  if (source == nullptr || m_SampleSize == 0 || m_OutOfStep || !OpenSignalFile()) return true;

  const unsigned long long maxSamples = MaxSamplesPerTransfer(m_SampleSize);
  const unsigned char* bytes = static_cast<const unsigned char*>(source);
  unsigned long long done = 0;
  // One write per block; only a block beyond the store's largest transfer is cut.
  while (done < count) {
    const unsigned long long samples = count - done < maxSamples ? count - done : maxSamples;
    const unsigned int size = static_cast<unsigned int>(samples * m_SampleSize);
    unsigned int written = 0;
    if (!m_FileAccess->WriteFile(m_Handle, bytes + done * m_SampleSize, size, written) ||
        written != size) {
      break;
    }
    done += samples;
  }
  if (done == count) {
    m_SamplesWritten += static_cast<long long>(count);
    return true;
  }
  // What went through of the block would put every later block out of step with
  // the count, and show readers samples the host was told failed.
  m_OutOfStep =
      !m_FileAccess->SeekFile(m_Handle, m_SamplesWritten * static_cast<long long>(m_SampleSize), 0) ||
      !m_FileAccess->SetEndOfFile(m_Handle);
  return true;
}

double CSignalFileWriter::RecordedLength() const {
  return static_cast<double>(m_SamplesWritten) / m_SamplingRate;
}

}  // namespace zsff
