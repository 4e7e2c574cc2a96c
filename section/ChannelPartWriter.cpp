// The recording path of a channel: arming, blocks cut at part boundaries, the
// roll-over to the next part, the ring and the deletion of dropped parts.
#include "section/ChannelPartWriter.h"

#include <zsff/FileAccess.h>
#include <zsff/SignalFile.h>

#include <algorithm>

#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"
#include "section/ChannelLayout.h"
#include "section/ChannelPartRange.h"
#include "signal/CompressedSignalFileWriter.h"

namespace zsff {

namespace {

const char16_t kBlockError[] = u"CChannel::WriteSampleBlock error (block)";
const char16_t kCompressedError[] = u"CChannel::WriteSampleBlock error (compressed)";

}  // namespace

CChannelPartWriter::CChannelPartWriter(ChannelLayout& layout, ChannelPartRange& signalParts,
                                       ChannelPartRange& pyramidParts, std::u16string& lastError)
    : m_Layout(layout),
      m_SignalParts(signalParts),
      m_PyramidParts(pyramidParts),
      m_LastError(lastError) {}

CChannelPartWriter::~CChannelPartWriter() = default;

void CChannelPartWriter::Begin(unsigned short part) {
  m_SignalCursor = Cursor{part, 0};
  m_PyramidCursor = Cursor{part, 0};
  m_Signal = m_Layout.NewSignalWriter(part);
  m_Pyramid = m_Layout.NewPyramidWriter(part);
}

bool CChannelPartWriter::Arm(double maxLength) {
  if (!m_Signal) return false;
  m_Layout.MaxRecordSamples = static_cast<unsigned long long>(m_Layout.SamplingRate * maxLength);

  if (m_Pyramid) {
    const int levels = m_Layout.PyramidLevels();
    if (levels < CCompressedSignalFileWriter::kMaxLevels) m_Pyramid->SetNumberOfLevels(levels);
  }

  if (!m_Signal->OpenSignalFile()) {
    m_LastError = u"CRecordSection::ArmRecord unable to open signal file";
    return false;
  }
  if (m_Pyramid) {
    m_Pyramid->Close(false);
    if (!m_Pyramid->OpenLevelFiles()) {
      m_LastError = u"CRecordSection::ArmRecord unable to open pyramide files";
    }
  }
  return true;
}

unsigned long long CChannelPartWriter::Remaining(const Cursor& cursor) const {
  const unsigned long long capacity = m_Layout.SamplesPerPart();
  return capacity > cursor.Written ? capacity - cursor.Written : 0;
}

unsigned long long CChannelPartWriter::RemainingInSignalPart() const {
  return Remaining(m_SignalCursor);
}

bool CChannelPartWriter::WriteSampleBlock(const void* data, unsigned long long count,
                                          bool compress) {
  if (count == 0) return true;
  if (!m_Signal) {
    m_LastError = kBlockError;
    return false;
  }
  const unsigned char* samples = static_cast<const unsigned char*>(data);
  const bool parts = m_Layout.PartLength > 0.0;
  const double ticks = m_Layout.TicksPerSample();
  // A failure that leaves the block written fails it only at the end, so that
  // the signal and its pyramid keep taking the same samples.
  bool whole = true;

  while (count > 0) {
    unsigned long long piece = count;
    if (parts) {
      unsigned long long room = Remaining(m_SignalCursor);
      if (room == 0) {
        // Both roll over whatever the other's files say, so that their parts
        // stay in step. A pyramid that doesn't open shows at its first write below.
        const bool signalRolled = OpenNextSignalPart();
        if (compress && !OpenNextPyramidPart()) whole = false;
        if (!signalRolled) return false;
        room = Remaining(m_SignalCursor);
        if (room == 0) {  // a part shorter than one sample can never be filled
          m_LastError = u"CChannel WriteSampleBlock OpenNextPart failed.\n";
          return false;
        }
      }
      piece = std::min(count, room);
    }

    // The file writer reports success even when the disk refused the samples;
    // only its count of samples written tells.
    const long long before = m_Signal->SamplesWritten();
    if (!m_Signal->WriteSampleBlock(samples, piece) ||
        m_Signal->SamplesWritten() != before + static_cast<long long>(piece)) {
      m_LastError = kBlockError;
      return false;
    }
    m_EndDate += static_cast<long long>(static_cast<double>(piece) * ticks);
    m_RecordedSamples += piece;
    if (parts && !Advance(m_SignalCursor, m_SignalParts, true, piece)) whole = false;

    if (compress) {
      if (!m_Pyramid || !m_Pyramid->WriteRawBlock(samples, piece)) {
        m_LastError = kCompressedError;
        return false;
      }
      // Counted in first-level values, as files of earlier versions were cut.
      if (parts) {
        Advance(m_PyramidCursor, m_PyramidParts, false,
                piece / (m_Pyramid->CompressionFactor() / 2));
      }
    }
    samples += piece * m_Layout.SampleSize;
    count -= piece;
  }
  return whole;
}

bool CChannelPartWriter::WriteCompressedSampleBlock(const void* data, unsigned long long count) {
  if (!m_Pyramid) {
    if (count == 0) return true;
    m_LastError = kCompressedError;
    return false;
  }
  const unsigned char* values = static_cast<const unsigned char*>(data);
  const bool parts = m_Layout.PartLength > 0.0;
  // Each value of the first level stands for this many samples.
  const unsigned long long perValue = m_Pyramid->CompressionFactor() / 2;

  while (count > 0) {
    unsigned long long piece = count;
    if (parts) {
      unsigned long long room = Remaining(m_PyramidCursor) / perValue;
      if (room == 0) {
        if (!OpenNextPyramidPart()) {
          m_LastError = u"CChannel WriteCompressedSampleBlock OpenNextPart failed.\n";
          return false;
        }
        room = Remaining(m_PyramidCursor) / perValue;
        if (room == 0) {
          m_LastError = u"CChannel WriteCompressedSampleBlock OpenNextPart failed.\n";
          return false;
        }
      }
      piece = std::min(count, room);
    }
    if (!m_Pyramid->WriteCompressedBlock(values, piece)) {
      m_LastError = kCompressedError;
      return false;
    }
    if (parts) Advance(m_PyramidCursor, m_PyramidParts, false, piece * perValue);
    values += piece * m_Layout.SampleSize;
    count -= piece;
  }
  return true;
}

void CChannelPartWriter::Enter(ChannelPartRange& range, Cursor& cursor, unsigned short part) {
  cursor.Part = part;
  // Part 0 after 65535 is the newest too.
  if (part == 0 || part > range.LastPart) range.LastPart = part;
}

bool CChannelPartWriter::OpenNextSignalPart() {
  Enter(m_SignalParts, m_SignalCursor, static_cast<unsigned short>(m_SignalCursor.Part + 1));
  const bool closed = CloseSignal();
  m_Signal = m_Layout.NewSignalWriter(m_SignalCursor.Part);  // its file comes with the first block
  m_SignalCursor.Written = 0;
  return closed;
}

bool CChannelPartWriter::CloseSignal() {
  if (!m_Signal || m_Signal->CloseSignalFile(true)) return true;
  m_LastError = u"CChannel unable to close signal file: " + Utf8ToWide(m_Signal->FilePath());
  return false;
}

bool CChannelPartWriter::ClosePyramid(unsigned short part) {
  if (!m_Pyramid || m_Pyramid->Close(true)) return true;
  m_LastError = u"CChannel unable to close pyramide files: " +
                Utf8ToWide(m_Layout.PartBasePath(part));
  return false;
}

bool CChannelPartWriter::OpenNextPyramidPart() {
  Enter(m_PyramidParts, m_PyramidCursor, static_cast<unsigned short>(m_PyramidCursor.Part + 1));
  // The depth chosen at arming holds for every part.
  const int levels = PyramidLevels();
  const bool closed = ClosePyramid(static_cast<unsigned short>(m_PyramidCursor.Part - 1));
  m_Pyramid = m_Layout.NewPyramidWriter(m_PyramidCursor.Part);
  if (levels < CCompressedSignalFileWriter::kMaxLevels) m_Pyramid->SetNumberOfLevels(levels);
  m_PyramidCursor.Written = 0;
  if (!m_Pyramid->OpenLevelFiles()) {
    m_LastError = u"CChannel::OpenPart unable to create pyramide files";
    return false;
  }
  return closed;
}

bool CChannelPartWriter::Advance(Cursor& cursor, ChannelPartRange& range, bool signal,
                                 unsigned long long count) {
  bool firstBlock = cursor.Written == 0;
  cursor.Written += count;

  if (m_Layout.MaxRecordSamples > 0) {
    // After a wrap of the part numbers the part being written may still wait for
    // deletion from the previous round.
    range.Unlist(cursor.Part);

    // The count leaves out one whole part, so the ring keeps up to one part more
    // than its bound.
    unsigned long long held = 0;
    if (range.FirstPart != range.LastPart) {
      held = static_cast<unsigned long long>(range.WholePartsHeld() * m_Layout.PartLength *
                                             m_Layout.SamplingRate) +
             cursor.Written;
    }
    if (held > m_Layout.MaxRecordSamples) {
      range.PartsToDelete.push_back(range.FirstPart);
      if (signal) {
        std::vector<unsigned short> notDeleted;
        DeleteSignalParts(notDeleted);
      } else {
        // The signal's pass takes the pyramid files with the part.
        range.PartsToDelete.clear();
      }
      ++range.FirstPart;
      range.TimeOffset += m_Layout.PartLength;
      if (signal) {
        m_Layout.RecordId.SetPartNumber(range.FirstPart);
        m_RecordedSamples = held;
        const unsigned long long dropped = m_Layout.SamplesPerPart();
        TAG_RECORD_INFO& info = m_Layout.TmpRecordFile->RecordInfo();
        info.AbsoluteDate +=
            static_cast<long long>(static_cast<double>(dropped) * m_Layout.TicksPerSample());
        info.RelativeDate +=
            static_cast<long long>(static_cast<unsigned long long>(info.TimeStep) * dropped << 16);
        firstBlock = true;
      }
    }
  }

  // The one write of the temporary record file per part (and per drop): a crash
  // then finds the parts and the dates of the retained signal.
  if (!signal || !firstBlock) return true;
  m_Layout.TmpRecordFile->SetParts(range.FirstPart, range.LastPart);
  if (m_Layout.TmpRecordFile->Write()) return true;
  m_LastError = u"CChannel unable to save record information (the block is written): " +
                Utf8ToWide(m_Layout.TmpRecordFile->Path());
  return false;
}

void CChannelPartWriter::DeleteParts(std::vector<unsigned short>& notDeleted) {
  DeleteSignalParts(notDeleted);
  m_PyramidParts.PartsToDelete.clear();
}

void CChannelPartWriter::DeleteSignalParts(std::vector<unsigned short>& notDeleted) {
  notDeleted.clear();
  std::vector<unsigned short>& waiting = m_SignalParts.PartsToDelete;
  if (waiting.empty()) return;
  CAbstractFileAccess* access = m_Layout.FileAccess;
  if (access == nullptr) {
    notDeleted = waiting;
    return;
  }
  const int levels = PyramidLevels();
  for (unsigned short part : waiting) {
    const std::string base = m_Layout.PartBasePath(part);
    const std::string signal = names::SignalPartFile(base);
    bool failed = access->FileExists(signal) && !access->DeleteFile(signal);
    for (int level = 1; level <= levels; ++level) {
      const std::string path = names::PyramidLevelFile(base, level);
      if (access->FileExists(path) && !access->DeleteFile(path)) {
        failed = true;
        break;
      }
    }
    if (failed && std::find(notDeleted.begin(), notDeleted.end(), part) == notDeleted.end()) {
      notDeleted.push_back(part);
    }
  }
  waiting = notDeleted;
}

bool CChannelPartWriter::PartsBeingWritten(unsigned short& signal, unsigned short& pyramid) const {
  if (!m_Signal || m_Signal->FileClosed()) return false;
  signal = m_SignalCursor.Part;
  pyramid = m_PyramidCursor.Part;
  return true;
}

int CChannelPartWriter::PyramidLevels() const {
  return m_Pyramid ? m_Pyramid->NumberOfLevels() : CCompressedSignalFileWriter::kMaxLevels;
}

void CChannelPartWriter::Flush() {
  if (m_Signal) m_Signal->FlushSignalFile();
  if (m_Pyramid) m_Pyramid->Flush();
}

bool CChannelPartWriter::Close() {
  const bool signalClosed = CloseSignal();
  return ClosePyramid(m_PyramidCursor.Part) && signalClosed;
}

bool CChannelPartWriter::UpdateSignalLength() {
  return !m_Signal || m_Signal->UpdateSignalLength();
}

unsigned long long CChannelPartWriter::SignalFileSize() const {
  return m_Signal ? m_Signal->SignalFileSize() : 0;
}

}  // namespace zsff
