// A channel's reading path across its parts: opening a part to read, the read
// position as a part and a place in it, raw reads that walk from part to part
// and fill the parts that are gone, and where a reader stands against a
// recording. The conversion of what is read is in ChannelConvertedRead.cpp.
#include "section/ChannelPartReader.h"

#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/SignalFile.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "foundation/Diagnostics.h"
#include "foundation/TextConversion.h"
#include "metadata/MetaDataKeys.h"
#include "section/ChannelLayout.h"
#include "section/ChannelPartRange.h"
#include "section/ChannelReadCursor.h"

namespace zsff {

namespace {

constexpr float kUnsetOffset = 1e38f;

// Filler of a part that is gone: all bits set reads as "no trigger" in a trigger
// channel, zeros as silence in any other.
unsigned char FillerByte(SignalType_t type) { return type == Trigger ? 0xFF : 0x00; }

}  // namespace

CChannelPartReader::CChannelPartReader(ChannelLayout& layout, ChannelPartRange& signalParts,
                                       ChannelPartRange& pyramidParts, ChannelReadCursor& cursor,
                                       ChannelReadCursor& pyramidCursor, std::u16string& lastError)
    : m_Layout(layout),
      m_SignalParts(signalParts),
      m_PyramidParts(pyramidParts),
      m_Cursor(cursor),
      m_PyramidCursor(pyramidCursor),
      m_LastError(lastError) {}

CChannelPartReader::~CChannelPartReader() = default;

void CChannelPartReader::Begin(unsigned short part) { m_File = m_Layout.NewSignalReader(part); }

void CChannelPartReader::EnsureReader() {
  if (m_File) return;
  m_File = m_Layout.NewSignalReader(m_Cursor.Part);
  m_Layout.Describe(*m_File);
  m_File->UpdateSignalLength();
}

bool CChannelPartReader::UpdateSignalLength() { return !m_File || m_File->UpdateSignalLength(); }

unsigned long long CChannelPartReader::SignalFileSize() const {
  return m_File ? m_File->SignalFileSize() : 0;
}

void CChannelPartReader::CloseFile() {
  if (m_File) m_File->CloseSignalFile(false);
}

// --- Scaling ---------------------------------------------------------------------------

void CChannelPartReader::ApplyScaling(const MetaDataContainer& metaData) {
  float sensitivity = 1.0f;
  float offset = 0.0f;
  ReadKey(metaData, ChannelKeys::Sensitivity, sensitivity);
  ReadKey(metaData, ChannelKeys::Offset, offset);
  m_File->SetRecordedCoeff(sensitivity, offset);

  float postSensitivity = sensitivity;
  float postOffset = offset;
  ReadKey(metaData, ChannelKeys::SensitivityPostAnalysis, postSensitivity);
  ReadKey(metaData, ChannelKeys::OffsetPostAnalysis, postOffset);
  if (postSensitivity != 0.0f && postOffset != kUnsetOffset) {
    SetPostAnalysisCoeff(postSensitivity, postOffset);
  }
}

void CChannelPartReader::SetPostAnalysisCoeff(float sensitivity, float offset) {
  if (!m_File) {
    ReportDiagnostic(DiagnosticError,
                     "CChannel::SetPostAnalysisCoeff(%s) Error: m_SignalFileReader not created",
                     WideToUtf8(m_Layout.ChannelId.ToFilePath()).c_str());
    return;
  }
  if (sensitivity == 0.0f || offset == kUnsetOffset) return;
  m_File->SetPostAnalysisCoeff(m_File->CoeffToVolt() / sensitivity,
                               (offset - m_File->OffsetToVolt()) / sensitivity);
}

// --- Parts -----------------------------------------------------------------------------

bool CChannelPartReader::RefreshFromMetaData(unsigned long long dataSize) {
  MetaDataContainer metaData;
  TAG_RECORD_INFO info;
  if (!m_Layout.LoadMetaData(metaData, info, dataSize, m_File != nullptr, m_LastError)) {
    return false;
  }
  m_Layout.TmpRecordFile->SetRecordInfo(info);
  m_SignalParts.PartsToDelete = CMetaDataChannelReader(metaData).PartsToDelete();
  m_PyramidParts.PartsToDelete = m_SignalParts.PartsToDelete;
  return true;
}

bool CChannelPartReader::OpenPart(unsigned short part, bool refresh) {
  return part == m_Cursor.Part ? Recheck(refresh) : MoveTo(part, refresh);
}

bool CChannelPartReader::Recheck(bool refresh) {
  if (m_Cursor.PartMissing) return true;
  if (refresh && !RefreshFromMetaData(0)) return false;
  const bool missing =
      m_SignalParts.Waiting(m_Cursor.Part) || !(m_File && m_File->SignalFileExists());
  m_Cursor.PartMissing = missing;
  m_PyramidCursor.PartMissing = missing;
  return true;
}

bool CChannelPartReader::MoveTo(unsigned short part, bool refresh) {
  bool deleted = m_SignalParts.Waiting(part);
  if (!deleted && refresh) {
    // The recording side may have dropped parts since; a failed reload only means
    // that the list stays as it was.
    RefreshFromMetaData(m_Layout.SignalLengthSpl(m_SignalParts, false) * m_Layout.SampleSize);
    deleted = m_SignalParts.Waiting(part);
  }

  std::unique_ptr<CSignalFileReader> reader = m_Layout.NewSignalReader(part);
  if (m_File) {
    float coeff = 1.0f;
    float offset = 0.0f;
    m_File->GetRecordedCoeff(coeff, offset);
    reader->SetRecordedCoeff(coeff, offset);
    m_File->GetPostAnalysisCoeff(coeff, offset);
    reader->SetPostAnalysisCoeff(coeff, offset);
  }
  m_Layout.Describe(*reader);
  reader->UpdateSignalLength();

  if (!deleted && reader->SignalFileExists()) {
    m_Cursor.PartMissing = false;
  } else {
    // Asked only when a part's file is missing: a part at hand needs no lookup.
    const bool recording = m_Layout.TmpRecordFile->Exists();
    const bool next = part == m_SignalParts.Next();
    bool fails = false;
    if (!m_SignalParts.Holds(part) && !(recording && next)) {
      m_LastError = UnableToOpen(part);
      m_Cursor.PartMissing = false;
      fails = true;
    } else if (m_Layout.MaxRecordSamples == 0 && !next) {
      m_Cursor.PartMissing = true;  // a hole inside the record: reads fill it
    } else if (recording) {
      m_Cursor.PartMissing = false;  // not written yet
      fails = true;
    } else {
      m_Cursor.PartMissing = true;
    }
    if (fails) {
      // The reader stays with the part it was reading: at the end of a record
      // whose last part is full it still tells that its reading has ended.
      if (part < m_SignalParts.FirstPart) m_Cursor.Part = part;
      return false;
    }
  }
  m_File = std::move(reader);

  m_Cursor.Part = part;
  if (m_SignalParts.Beyond(part)) {
    m_SignalParts.LastPart = part;
    m_PyramidParts.LastPart = part;
  }
  m_Cursor.InPart = 0;
  return true;
}

unsigned long long CChannelPartReader::RemainingInPart() const {
  const unsigned long long capacity = m_Layout.SamplesPerPart();
  return capacity > m_Cursor.InPart ? capacity - m_Cursor.InPart : 0;
}

CChannelPartReader::Bookmark CChannelPartReader::Mark() const {
  Bookmark mark;
  mark.Part = m_Cursor.Part;
  mark.InPart = m_Cursor.InPart;
  mark.WasOpen = m_File && !m_File->FileClosed();
  mark.Position = mark.WasOpen ? m_File->GetReadPosSpl() : 0;
  return mark;
}

void CChannelPartReader::ReturnTo(const Bookmark& mark) {
  if (!mark.WasOpen || !m_SignalParts.Holds(mark.Part)) return;
  if (!OpenPart(mark.Part, false)) return;
  if (m_File && !m_Cursor.PartMissing) m_File->SetReadPosSpl(mark.Position);
  m_Cursor.InPart = mark.InPart;
}

// --- Position --------------------------------------------------------------------------

bool CChannelPartReader::SetReadPosition(double seconds, bool skipFirstPartNumber) {
  if (!m_File) return false;
  if (m_Layout.PartLength == 0.0) return m_File->SetReadPos(seconds);

  const bool wasOpen = !m_File->FileClosed();
  const double rate = m_Layout.SamplingRate;
  const double perPart = rate * m_Layout.PartLength;
  const long long sample = static_cast<long long>(rate * seconds) +
                           static_cast<long long>(m_SignalParts.OffsetTimeToStop);
  // Parts are counted from 0 while a recording may still drop the first ones, or
  // when the host asked for it.
  const unsigned short base =
      m_Layout.TmpRecordFile->Exists() || skipFirstPartNumber ? 0 : m_SignalParts.FirstPart;
  const unsigned short index =
      static_cast<unsigned short>(static_cast<double>(sample) / perPart + 0.001);
  const unsigned short part = static_cast<unsigned short>(index + base);

  const double inPart = static_cast<double>(sample) - static_cast<double>(index) * perPart;
  return SeekInPart(part, static_cast<unsigned long long>(std::max(inPart, 0.0) + 0.001), wasOpen);
}

bool CChannelPartReader::SetReadPositionSpl(unsigned long long sample, bool skipFirstPartNumber) {
  if (!m_File) return false;
  if (m_Layout.PartLength == 0.0) return m_File->SetReadPosSpl(sample);

  const bool wasOpen = !m_File->FileClosed();
  const float rate = m_Layout.SamplingRate;
  const double perPart = static_cast<double>(rate) * m_Layout.PartLength;
  // The offset to the retained signal is taken as seconds here, though it counts
  // samples in the time form; recorded positions depend on that difference.
  const long long offset =
      static_cast<long long>(static_cast<float>(m_SignalParts.OffsetTimeToStop) * rate);
  const long long position = offset + static_cast<long long>(sample);
  const unsigned short base =
      m_Layout.TmpRecordFile->Exists() || (skipFirstPartNumber && sample != 0)
          ? 0
          : m_SignalParts.FirstPart;
  const unsigned short index =
      static_cast<unsigned short>(static_cast<double>(position) / perPart + 0.00001);
  const unsigned short part = static_cast<unsigned short>(index + base);

  // No floor at 0 here, unlike the time form.
  return SeekInPart(part,
                    static_cast<unsigned long long>(
                        position - static_cast<long long>(static_cast<double>(index) * perPart)),
                    wasOpen);
}

bool CChannelPartReader::SeekInPart(unsigned short part, unsigned long long inPart, bool wasOpen) {
  if (part != m_Cursor.Part) {
    const unsigned short previous = m_Cursor.Part;
    if (!OpenPart(part, true)) {
      if (wasOpen) OpenPart(previous, true);
      return false;
    }
  }
  m_Cursor.InPart = inPart;
  if (m_Cursor.PartMissing) return true;
  return m_File->SetReadPosSpl(m_Cursor.InPart);
}

double CChannelPartReader::ReadPosition() const {
  if (!m_File) return 0.0;
  double position = m_File->GetReadPos();
  if (m_Layout.PartLength != 0.0) {
    const int parts = static_cast<int>(m_Cursor.Part) - m_SignalParts.FirstPart;
    position += parts * m_Layout.PartLength;
  }
  return position;
}

unsigned long long CChannelPartReader::ReadPositionSpl() const {
  if (!m_File) return 0;
  unsigned long long position = m_File->GetReadPosSpl();
  if (m_Layout.PartLength != 0.0) {
    const int parts = static_cast<int>(m_Cursor.Part) - m_SignalParts.FirstPart;
    position += static_cast<unsigned long long>(static_cast<long long>(
        parts * m_Layout.PartLength * static_cast<double>(m_Layout.SamplingRate)));
  }
  return position;
}

// --- Raw reads -------------------------------------------------------------------------

unsigned long long CChannelPartReader::ReadRawBlock(void* buffer, unsigned long long count,
                                                    bool recording) {
  if (!m_File) return 0;
  if (m_Layout.PartLength == 0.0) {
    const unsigned long long read = m_File->ReadSampleBlock(buffer, count);
    if (read != 0) return read;
    // Nothing more yet in a record still recording, or the end: both are quiet.
    if (recording || m_File->EndOfReading()) return 0;
    m_LastError = kUnableToRead;
    return 0;
  }

  // Samples of the current read part: what its file holds, a full part for a part
  // that is gone.
  const auto partLength = [this, recording]() -> unsigned long long {
    if (m_Cursor.PartMissing) return MissingPartSamples(recording);
    const long long stored = m_File->StoredSignalLength();
    if (stored > 0) return static_cast<unsigned long long>(stored);
    const unsigned long long full = m_Layout.SamplesPerPart();
    return full > m_Cursor.InPart ? full - m_Cursor.InPart : 0;
  };

  unsigned char* out = static_cast<unsigned char*>(buffer);
  unsigned long long length = partLength();
  unsigned long long recordLength = RecordSamplesFromPart(recording);
  unsigned long long wanted = count;
  unsigned long long done = 0;
  while (wanted > 0) {
    unsigned long long remaining = RemainingInPart();
    if (remaining == 0) {
      if (recordLength <= m_Cursor.InPart) return done;
      if (!OpenPart(static_cast<unsigned short>(m_Cursor.Part + 1), true)) return done;
      remaining = RemainingInPart();
      length = partLength();
      recordLength = RecordSamplesFromPart(recording);
      if (length == 0) return done;
    }
    unsigned long long chunk = std::min(remaining, wanted);
    length = std::min(length, recordLength);
    if (m_Cursor.InPart + chunk > length) {
      // A part shorter than its nominal length is the end of what can be read now,
      // even when later parts exist.
      chunk = length > m_Cursor.InPart ? length - m_Cursor.InPart : 0;
      wanted = chunk;
    }
    if (chunk == 0) {
      // The filler has reached the end of the record: say which part it stood for.
      if (done == 0 && m_Cursor.PartMissing) {
        m_LastError = UnableToOpen(m_Cursor.Part);
      }
      return done;
    }

    unsigned long long read = chunk;
    if (!m_Cursor.PartMissing) {
      read = m_File->ReadSampleBlock(out, chunk);
      if (read == 0) {
        if (!m_File->EndOfReading()) {
          m_LastError = kUnableToRead;
          return 0;
        }
        return done;
      }
    } else {
      std::memset(out, FillerByte(m_Layout.SignalType), chunk * m_Layout.SampleSize);
    }
    Advance(read);
    out += read * m_Layout.SampleSize;
    done += read;
    wanted -= read;
  }
  return done;
}

std::u16string CChannelPartReader::UnableToOpen(unsigned short part) const {
  return u"CChannel::OpenPart unable to open signal files: " + Utf8ToWide(m_Layout.PartName(part));
}

unsigned long long CChannelPartReader::MissingPartSamples(bool recording) const {
  const unsigned long long full = static_cast<unsigned long long>(
      static_cast<double>(m_Layout.SamplingRate) * m_Layout.PartLength);
  return std::min(full, RecordSamplesFromPart(recording));
}

unsigned long long CChannelPartReader::RecordSamplesFromPart(bool recording) const {
  if (m_Layout.RecordDuration <= 0.0 || recording)
    return std::numeric_limits<unsigned long long>::max();
  const unsigned long long held =
      m_SignalParts.OffsetTimeToStop +
      static_cast<unsigned long long>(m_Layout.RecordDuration * m_Layout.SamplingRate + 0.5);
  const unsigned long long before =
      static_cast<unsigned short>(m_Cursor.Part - m_SignalParts.FirstPart) *
      m_Layout.SamplesPerPart();
  return held > before ? held - before : 0;
}

bool CChannelPartReader::EndOfChannel(bool& live, bool& overtaken) const {
  const unsigned short first = m_SignalParts.FirstPart;
  const unsigned short last = m_SignalParts.LastPart;
  const unsigned short read = m_Cursor.Part;
  // Once the numbers have wrapped, the parts still there run from first up through
  // 65535 and on from 0 to last.
  overtaken = m_SignalParts.Wrapped() ? read > last && read < first : read < first;

  const bool recording = m_Layout.TmpRecordFile->Exists();
  if (recording && read == m_SignalParts.Next()) {
    live = true;
    return true;
  }
  live = recording;
  if (overtaken) return true;
  if (m_Layout.PartLength != 0.0 && read != last) return false;
  return m_File ? m_File->EndOfReading() : false;
}

}  // namespace zsff
