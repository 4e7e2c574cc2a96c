// "TmpRecord.zrm": the crash-proof record information of a recording channel.
#include <zsff/ChannelMetaData.h>
#include <zsff/DateTime.h>
#include <zsff/FileAccess.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/TmpRecordFile.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <thread>

#include "foundation/Diagnostics.h"
#include "foundation/FileNames.h"
#include "metadata/MetaDataKeys.h"

namespace zsff {

namespace {

constexpr std::uint32_t kVersion1 = 1;
constexpr std::uint32_t kVersion2 = 2;
constexpr unsigned int kVersionSize = 4;
constexpr unsigned int kRecordInfoSize = 40;  // the fields of TAG_RECORD_INFO, packed
constexpr unsigned int kVersion1BodySize = 56;
constexpr unsigned int kVersion2FileSize = kVersionSize + kRecordInfoSize + 2 + 2;

constexpr int kDeleteTries = 20;
constexpr std::chrono::milliseconds kDeleteRetryDelay{1};

// The file is little-endian whatever the host; values are taken apart byte by
// byte rather than copied, so neither byte order nor padding can leak in.
void PutU16(unsigned char* p, std::uint16_t v) {
  p[0] = static_cast<unsigned char>(v);
  p[1] = static_cast<unsigned char>(v >> 8);
}
void PutU32(unsigned char* p, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}
void PutU64(unsigned char* p, std::uint64_t v) {
  for (int i = 0; i < 8; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}
void PutI64(unsigned char* p, long long v) { PutU64(p, static_cast<std::uint64_t>(v)); }
void PutF32(unsigned char* p, float v) {
  std::uint32_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  PutU32(p, bits);
}
void PutF64(unsigned char* p, double v) {
  std::uint64_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  PutU64(p, bits);
}

std::uint16_t GetU16(const unsigned char* p) {
  return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}
std::uint32_t GetU32(const unsigned char* p) {
  std::uint32_t v = 0;
  for (int i = 3; i >= 0; --i) v = (v << 8) | p[i];
  return v;
}
std::uint64_t GetU64(const unsigned char* p) {
  std::uint64_t v = 0;
  for (int i = 7; i >= 0; --i) v = (v << 8) | p[i];
  return v;
}
long long GetI64(const unsigned char* p) { return static_cast<long long>(GetU64(p)); }
float GetF32(const unsigned char* p) {
  const std::uint32_t bits = GetU32(p);
  float v;
  std::memcpy(&v, &bits, sizeof v);
  return v;
}
double GetF64(const unsigned char* p) {
  const std::uint64_t bits = GetU64(p);
  double v;
  std::memcpy(&v, &bits, sizeof v);
  return v;
}

// The three dates, which open the record information in both versions.
void GetDates(const unsigned char* p, TAG_RECORD_INFO& info) {
  info.AbsoluteDate = GetI64(p);
  info.RelativeDate = GetI64(p + 8);
  info.CumulativeDate = GetF64(p + 16);
}

// The scaling, record number and time step, which follow the dates (directly in
// version 2, after 16 unused bytes in version 1).
void GetScaling(const unsigned char* p, TAG_RECORD_INFO& info) {
  info.SignalOffset = GetF32(p);
  info.UncompactCoeff = GetF32(p + 4);
  info.UncompactOffset = GetF32(p + 8);
  info.RecordNumber = GetU16(p + 12);
  info.TimeStep = GetU16(p + 14);
}

}  // namespace

CTmpRecordFile::CTmpRecordFile(const std::string& directory, CAbstractFileAccess* access)
    : m_FileAccess(access) {
  m_Path = directory;
  if (m_FileAccess != nullptr) m_Path += m_FileAccess->PathSeparator();
  m_Path += names::TmpRecordFileName();
}

CTmpRecordFile::~CTmpRecordFile() {
  if (m_FileAccess != nullptr && m_WriteHandle != 0) {
    m_FileAccess->CloseFile(m_WriteHandle, true);
    m_WriteHandle = 0;
  }
}

bool CTmpRecordFile::Exists() const {
  return m_FileAccess != nullptr && m_FileAccess->FileExists(m_Path);
}

bool CTmpRecordFile::Read() {
  m_Valid = false;
  if (!Exists()) return false;

  unsigned int handle = 0;
  if (!m_FileAccess->OpenFile(m_Path, FileModeRead, handle)) {
    ReportDiagnostic(DiagnosticError, "CTmpRecordFile::Read() Unable to open file: %s",
                     m_Path.c_str());
    return false;
  }

  // Each read asks for exactly what the layout holds; the store fails a read that
  // meets the end of the file, so a short file stops here whatever its length.
  auto readExactly = [&](void* buffer, unsigned int size) {
    unsigned int bytesRead = 0;
    return m_FileAccess->ReadFile(handle, buffer, size, bytesRead) && bytesRead == size;
  };
  auto failRead = [&]() {
    ReportDiagnostic(DiagnosticError, "CTmpRecordFile::Read() Unable to read file: %s",
                     m_Path.c_str());
    m_FileAccess->CloseFile(handle, false);
    return false;
  };

  unsigned char versionBytes[kVersionSize];
  if (!readExactly(versionBytes, kVersionSize)) return failRead();
  const std::uint32_t version = GetU32(versionBytes);

  if (version == kVersion1) {
    unsigned char body[kVersion1BodySize];
    if (!readExactly(body, kVersion1BodySize)) return failRead();
    GetDates(body, m_RecordInfo);
    GetScaling(body + 40, m_RecordInfo);
  } else {
    // Any other version is taken in as version 2 and refused only afterwards, so
    // that the fields show what the file held.
    unsigned char body[kRecordInfoSize];
    if (!readExactly(body, kRecordInfoSize)) return failRead();
    GetDates(body, m_RecordInfo);
    GetScaling(body + 24, m_RecordInfo);
  }

  unsigned char part[2];
  if (!readExactly(part, 2)) return failRead();
  m_Parts.first = GetU16(part);
  if (!readExactly(part, 2)) return failRead();
  m_Parts.second = GetU16(part);

  m_FileAccess->CloseFile(handle, false);

  m_Valid = (version == kVersion1 || version == kVersion2) && m_RecordInfo.AbsoluteDate != 0;
  if (!m_Valid) {
    ReportDiagnostic(
        DiagnosticError,
        "CTmpRecordFile::Read() Error in file: %s, version = %d (expected 1 or 2), AbsoluteDate = "
        "%lld (must be != 0)",
        m_Path.c_str(), static_cast<int>(version), m_RecordInfo.AbsoluteDate);
  }
  return m_Valid;
}

bool CTmpRecordFile::Load() { return m_Valid || Read(); }

bool CTmpRecordFile::OpenFileForWrite() {
  if (m_FileAccess == nullptr) {
    m_WriteHandle = 0;
    return false;
  }
  if (m_WriteHandle != 0) {
    if (m_FileAccess->SeekFile(m_WriteHandle, 0, 0)) return true;
    m_FileAccess->CloseFile(m_WriteHandle, true);
    m_WriteHandle = 0;
    return false;
  }
  unsigned int handle = 0;
  if (!m_FileAccess->OpenFile(m_Path, FileModeCreate, handle)) {
    m_WriteHandle = 0;
    return false;
  }
  m_WriteHandle = handle;
  return true;
}

bool CTmpRecordFile::Write() {
  if (!OpenFileForWrite()) return false;

  unsigned char buffer[kVersion2FileSize];
  PutU32(buffer, kVersion2);
  PutI64(buffer + 4, m_RecordInfo.AbsoluteDate);
  PutI64(buffer + 12, m_RecordInfo.RelativeDate);
  PutF64(buffer + 20, m_RecordInfo.CumulativeDate);
  PutF32(buffer + 28, m_RecordInfo.SignalOffset);
  PutF32(buffer + 32, m_RecordInfo.UncompactCoeff);
  PutF32(buffer + 36, m_RecordInfo.UncompactOffset);
  PutU16(buffer + 40, m_RecordInfo.RecordNumber);
  PutU16(buffer + 42, m_RecordInfo.TimeStep);
  PutU16(buffer + 44, m_Parts.first);
  PutU16(buffer + 46, m_Parts.second);

  m_Valid = true;

  unsigned int written = 0;
  const bool wrote = m_FileAccess->WriteFile(m_WriteHandle, buffer, kVersion2FileSize, written);
  const bool flushed = m_FileAccess->FlushFile(m_WriteHandle);
  return wrote && written == kVersion2FileSize && flushed;
}

bool CTmpRecordFile::Delete() {
  if (m_FileAccess == nullptr) {
    ReportDiagnostic(DiagnosticError, "CTmpRecordFile::Delete() Unable to delete file: %s",
                     m_Path.c_str());
    return false;
  }
  if (m_WriteHandle != 0) {
    m_FileAccess->CloseFile(m_WriteHandle, false);
    m_WriteHandle = 0;
  }
  // A reader may still hold the file open for a moment; on some stores that
  // keeps it from going away, so give it a few milliseconds.
  for (int attempt = 0; attempt < kDeleteTries; ++attempt) {
    m_FileAccess->DeleteFile(m_Path);
    if (!m_FileAccess->FileExists(m_Path)) return true;
    std::this_thread::sleep_for(kDeleteRetryDelay);
  }
  ReportDiagnostic(DiagnosticError, "CTmpRecordFile::Delete() Unable to delete file: %s",
                   m_Path.c_str());
  return false;
}

TAG_RECORD_INFO& CTmpRecordFile::RecordInfo() {
  if (!m_Valid) Read();
  return m_RecordInfo;
}

void CTmpRecordFile::SetRecordInfo(const TAG_RECORD_INFO& info) {
  m_RecordInfo = info;
  m_Valid = m_RecordInfo.AbsoluteDate != 0;
}

std::pair<unsigned short, unsigned short> CTmpRecordFile::Parts() {
  if (!m_Valid) Read();
  return m_Parts;
}

void CTmpRecordFile::SetParts(unsigned short firstPart, unsigned short lastPart) {
  m_Parts = std::make_pair(firstPart, lastPart);
}

void CTmpRecordFile::FromMetaDataContainer(const MetaDataContainer& in) {
  ReadKey(in, ChannelKeys::RecordStartDate, m_RecordInfo.AbsoluteDate);
  ReadKey(in, ChannelKeys::RecordRelativeDate, m_RecordInfo.RelativeDate);
  ReadKey(in, ChannelKeys::RecordCumulativeDate, m_RecordInfo.CumulativeDate);
  ReadKey(in, ChannelKeys::SignalOffset, m_RecordInfo.SignalOffset);
  ReadKey(in, ChannelKeys::SignalUncompactCoeff, m_RecordInfo.UncompactCoeff);
  ReadKey(in, ChannelKeys::SignalUncompactOffset, m_RecordInfo.UncompactOffset);
  // These two fall back on their defaults rather than on what was there: a
  // container without them describes a record that never had them set.
  long recordNumber = 0;
  long timeStep = 1;
  ReadKey(in, ChannelKeys::RecordNumber, recordNumber);
  ReadKey(in, ChannelKeys::SignalTimeStep, timeStep);
  m_RecordInfo.RecordNumber = static_cast<unsigned short>(recordNumber);
  m_RecordInfo.TimeStep = static_cast<unsigned short>(timeStep);
  m_Valid = m_RecordInfo.AbsoluteDate != 0;
}

void CTmpRecordFile::ToMetaDataContainer(MetaDataContainer& out, unsigned long long fileSize) {
  if (m_Valid && fileSize == m_PreviousFileSize) return;
  m_PreviousFileSize = fileSize;
  ToMetaDataContainerPreviousFileSize(out);
}

void CTmpRecordFile::ToMetaDataContainerPreviousFileSize(MetaDataContainer& out) {
  // A writer may be rewriting the file at this moment; one more try covers a read
  // that met a half-written file. Failing both, the fields in memory still serve.
  Read();
  if (!m_Valid) Read();

  float samplingRate = 0.0f;
  if (!ReadKey(out, ChannelKeys::SamplingRate, samplingRate)) return;

  unsigned long long sampleSize = 4;
  switch (CMetaDataChannelReader(out).SampleFormat()) {
    case SIDouble:
      sampleSize = 8;
      break;
    case Compact16:
      sampleSize = 2;
      break;
    default:
      sampleSize = 4;
      break;
  }
  const unsigned long long samples = m_PreviousFileSize / sampleSize;
  // Computed unsigned: the sum wraps rather than overflowing a signed value when a
  // damaged file holds an absurd relative date.
  const long long relativeDateEnd = static_cast<long long>(
      (samples << 16) + static_cast<unsigned long long>(m_RecordInfo.RelativeDate));

  WriteKey(out, ChannelKeys::RecordStartDateString, FileTimeToString(m_RecordInfo.AbsoluteDate));
  WriteKey(out, ChannelKeys::RecordStartDate, m_RecordInfo.AbsoluteDate);
  WriteKey(out, ChannelKeys::RecordCumulativeDate, m_RecordInfo.CumulativeDate);
  WriteKey(out, ChannelKeys::RecordRelativeDate, m_RecordInfo.RelativeDate);
  WriteKey(out, ChannelKeys::RecordRelativeDateEnd, relativeDateEnd);
  WriteKey(out, ChannelKeys::RecordDuration, static_cast<double>(samples) / samplingRate);
  WriteKey(out, ChannelKeys::RecordNumber, static_cast<long>(m_RecordInfo.RecordNumber));
  WriteKey(out, ChannelKeys::SignalOffset, m_RecordInfo.SignalOffset);
  WriteKey(out, ChannelKeys::SignalTimeStep, static_cast<long>(m_RecordInfo.TimeStep));
  WriteKey(out, ChannelKeys::SignalUncompactCoeff, m_RecordInfo.UncompactCoeff);
  WriteKey(out, ChannelKeys::SignalUncompactOffset, m_RecordInfo.UncompactOffset);
}

}  // namespace zsff
