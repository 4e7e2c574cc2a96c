// A channel's compressed (min/max) requests. A span of the record is cut along
// its parts; each piece is planned on the part's pyramid and served from a level
// file, from blanks for a part that is gone, or, when no level is coarse enough,
// from the part's raw samples read in bounded blocks. The pieces are laid end to
// end in the channel's buffer and scaled only when the caller fetches them.
#include <zsff/ChannelMetaData.h>
#include <zsff/FileAccess.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/SignalFile.h>
#include <zsff/TextConversion.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "foundation/Diagnostics.h"
#include "section/Channel.h"
#include "section/SampleConversion.h"
#include "signal/CompressedSignalFileReader.h"

namespace zsff {

namespace {

// Raw samples are read in blocks of this many: the memory of a request served
// from raw samples stays bounded whatever its span.
constexpr unsigned long long kRawBlockSamples = 256000;

// A request may reach a little beyond the record: a display's grid rarely falls
// on its first and last sample.
constexpr float kStartMargin = 0.1f;
constexpr float kStopMargin = 0.4f;

// Runs its function when the scope ends, on every return path.
template <typename F>
class ScopeExit {
 public:
  explicit ScopeExit(F f) : m_F(std::move(f)) {}
  ~ScopeExit() { m_F(); }
  ScopeExit(const ScopeExit&) = delete;
  ScopeExit& operator=(const ScopeExit&) = delete;

 private:
  F m_F;
};

// Truncates towards zero into a count; negative and NaN give 0.
unsigned long long ToCount(double value) {
  return value > 0.0 ? static_cast<unsigned long long>(value) : 0;
}

std::u16string Number(double value) { return Utf8ToWide(std::to_string(value)); }

}  // namespace

bool CChannel::RequestCompressedSignal(float start, float stop, unsigned long long points,
                                       bool absolute) {
  if (stop < start) std::swap(start, stop);

  CompressedSignalInfo_t& info = m_CompressedSignalInfo;
  info.Size = 0;
  info.Span = 0.0f;
  info.Ratio = 0.0;
  info.TimeOffset = 0.0;
  info.Points = 0;
  info.SamplingRate = m_SamplingRate;
  m_CompressedBuffer.clear();

  // A record still being written has grown since the last look.
  if (m_SignalFileReader && !m_SignalFileReader->UpdateSignalLength()) {
    m_LastError = u"CChannel::UpdateSignalLength unable to get signal length in SignalFileReader";
  }
  if (m_SignalFileWriter && !m_SignalFileWriter->UpdateSignalLength()) {
    m_LastError = u"CChannel::UpdateSignalLength unable to get signal length in SignalFileWriter";
  }

  CompressedSignalPlan_t plan;
  if (m_PartLength == 0.0) {
    if (points == 0) return true;
    if (!RequestCompressedSignalPart(m_PyramidParts.FirstPart, start, stop, points, plan)) {
      return false;
    }
    const CCompressedSignalFileReader& reader = *m_CompressedSignalFileReader;
    info.Size = reader.ResultSize();
    info.Span = static_cast<float>(reader.Span());
    info.Ratio = reader.Ratio();
    info.SamplingRate = reader.SamplingRate();
    info.InProgress = reader.InProgress();
    m_CompressedBuffer.resize(info.Size * m_SampleSize);
    info.Points = points;
    return m_CompressedSignalFileReader->Get(m_CompressedBuffer.data(), plan) != CompressFailed;
  }

  const float rate = m_SamplingRate;
  const double length =
      m_Duration != 0.0 ? m_Duration
                        : static_cast<double>(SignalLengthSpl(false)) / static_cast<double>(rate);
  const float t0 = static_cast<float>(m_PyramidParts.TimeOffset);
  if (!absolute) {
    start += t0;
    stop += t0;
  }
  const float recordStop = static_cast<float>(t0 + length);
  if (start < t0 - kStartMargin || stop > recordStop + kStopMargin) {
    ReportDiagnostic(
        DiagnosticError,
        "CRecordSection::RequestCompressedSignal(%s) startAbsolute = %f, stopAbsolute = %f, "
        "startRecord = %f, stopRecord = %f",
        WideToUtf8(m_ChannelId.ToFilePath()).c_str(), start, stop, t0, recordStop);
    m_LastError = u"CRecordSection::RequestCompressedSignal() start or stop position out of bound";
    return false;
  }
  info.TimeOffset = t0;
  if (points == 0) return true;
  info.Points = points;

  // A record that has dropped nothing counts from its first sample; the parts
  // count from part 0, so the part number and the front-end offset come in here.
  if (t0 == 0.0f) {
    const float offset =
        static_cast<float>(m_SignalParts.OffsetTimeToStop) / rate +
        static_cast<float>(static_cast<double>(m_PyramidParts.FirstPart) * m_PartLength);
    start += offset;
    stop += offset;
  }

  unsigned short part = static_cast<unsigned short>(ToCount(start / m_PartLength));
  // Whole seconds: a piece starts on a second of its part.
  double offsetInPart =
      static_cast<double>(static_cast<long long>(static_cast<double>(start) - part * m_PartLength));
  if (offsetInPart < 0.0) offsetInPart = 0.0;

  // The recording side may have dropped parts since the channel was opened.
  {
    MetaDataContainer metaData;
    TAG_RECORD_INFO recordInfo;
    if (ReadChannelMetaData(metaData, recordInfo, false, SignalLengthSpl(false) * m_SampleSize)) {
      m_SignalParts.PartsToDelete = CMetaDataChannelReader(metaData).PartsToDelete();
      m_PyramidParts.PartsToDelete = m_SignalParts.PartsToDelete;
    }
  }

  const double span = static_cast<double>(stop) - start;
  const double secondsPerPoint = span / static_cast<double>(points);
  double position = start;
  while (position < stop) {
    const double partStart = part * m_PartLength;
    // A piece runs to the end of its part, a hair beyond so that the last sample
    // counts, or to the stop when that comes first.
    double end = m_PartLength + 0.1 / rate;
    if (position + m_PartLength > stop) {
      end = std::min(static_cast<double>(stop) - partStart, m_PartLength);
      if (stop < m_PartLength) end = stop;
    }
    if (static_cast<unsigned short>(part - m_PyramidParts.FirstPart) >
        static_cast<unsigned short>(m_PyramidParts.LastPart - m_PyramidParts.FirstPart)) {
      break;
    }
    const unsigned long long piecePoints =
        std::max(1ULL, ToCount((end - offsetInPart) / secondsPerPoint + 0.1));
    if (!RequestCompressedSignalPart(part, static_cast<float>(offsetInPart),
                                     static_cast<float>(end), piecePoints, plan)) {
      return false;
    }

    CCompressedSignalFileReader& reader = *m_CompressedSignalFileReader;
    const unsigned long long size = reader.ResultSize();
    if (size == 0) return false;
    m_CompressedBuffer.resize((info.Size + size) * m_SampleSize);
    if (reader.Get(m_CompressedBuffer.data() + info.Size * m_SampleSize, plan) != CompressReady) {
      m_LastError = u"CRecordSection::RequestCompressedSignal() unable to compress signal";
      return false;
    }
    info.Size += size;
    info.Span += static_cast<float>(reader.Span());
    info.Ratio = reader.Ratio();
    info.InProgress = reader.InProgress();

    position = partStart + end;
    part = static_cast<unsigned short>(part + 1);
    offsetInPart = 0.0;
  }
  return true;
}

bool CChannel::RequestCompressedSignalPart(unsigned short part, float start, float stop,
                                           unsigned long long points,
                                           CompressedSignalPlan_t& plan) {
  if (!m_TmpRecordFile->IsValid() && !m_TmpRecordFile->Read()) {
    m_LastError =
        u"CRecordSection::RequestCompressedSignalPart() unable to read temporary binary "
        u"file";
    return false;
  }
  if (start < 0.0f || stop <= 0.0f || stop <= start) {
    m_LastError = u"CRecordSection::RequestCompressedSignalPart() bad start and stop position";
    return false;
  }
  // A channel made for recording has no pyramid reader until a part is opened
  // for reading; the part already current wouldn't make one.
  if (!m_CompressedSignalFileReader) {
    m_CompressedSignalFileReader = NewPyramidReader(m_PyramidParts.ReadPart);
  }
  if (!OpenPart(PartKindPyramid, false, part, false)) {
    m_LastError = u"CRecordSection::RequestCompressedSignalPart() Error opening compressed file: " +
                  m_ChannelFileName;
    return false;
  }

  CCompressedSignalFileReader& reader = *m_CompressedSignalFileReader;
  plan = reader.Plan(start, stop, points, 0);
  if (!plan.UseRawSignal) {
    if (m_PartLength > 0.0 && m_PyramidParts.PartMissing) {
      return reader.BlankRequest(start, stop, points);
    }
    if (!reader.LevelRequest(start, stop, points, plan)) {
      m_LastError =
          u"CRecordSection::RequestCompressedSignalPart() Error reading compressed file: " +
          m_ChannelFileName;
      return false;
    }
    return true;
  }
  return RequestCompressedFromSamples(part, start, stop, points);
}

bool CChannel::RequestCompressedFromSamples(unsigned short part, float start, float stop,
                                            unsigned long long points) {
  // A request must not disturb a reader: whatever happens below, a reader that
  // was open goes back to its part and its place.
  const unsigned short oldPart = m_SignalParts.ReadPart;
  const unsigned long long oldInPart = m_SignalParts.ReadInPart;
  const bool wasOpen = m_SignalFileReader && !m_SignalFileReader->FileClosed();
  const unsigned long long oldPosition = wasOpen ? m_SignalFileReader->GetReadPosSpl() : 0;
  ScopeExit restore([&]() {
    if (!wasOpen || !m_SignalParts.Holds(oldPart)) {
      return;
    }
    if (!OpenPart(PartKindSignal, false, oldPart, false)) return;
    if (m_SignalFileReader && !m_SignalParts.PartMissing) {
      m_SignalFileReader->SetReadPosSpl(oldPosition);
    }
    m_SignalParts.ReadInPart = oldInPart;
  });

  // A channel made for recording has no reader until a part is opened for
  // reading; the part already current wouldn't make one.
  if (!m_SignalFileReader) {
    m_SignalFileReader = NewSignalReader(m_SignalParts.ReadPart);
    Describe(*m_SignalFileReader);
    m_SignalFileReader->UpdateSignalLength();
  }
  if (!OpenPart(PartKindSignal, false, part, true)) return false;
  CCompressedSignalFileReader& pyramid = *m_CompressedSignalFileReader;
  if (m_PartLength > 0.0 && m_SignalParts.PartMissing) {
    return pyramid.BlankRequest(start, stop, points);
  }

  CSignalFileReader& reader = *m_SignalFileReader;
  if (!reader.SetReadPos(start)) {
    m_LastError = u"CRecordSection::RequestCompressedSignalPart() Unable to set read position @ " +
                  Number(start);
    return false;
  }

  const double rate = m_SamplingRate;
  const unsigned long long recorded = ToCount(static_cast<double>(reader.StoredSignalLength()));
  const unsigned long long first = ToCount(static_cast<double>(start) * rate);
  unsigned long long count = ToCount((static_cast<double>(stop) - start) * rate + 0.1);
  if (first + count > recorded) count = first < recorded ? recorded - first : 0;
  if (count == 0) {
    m_LastError =
        u"CRecordSection::RequestCompressedSignalPart() no samples to read, number of samples "
        u"recorded: " +
        Utf8ToWide(std::to_string(recorded));
    return false;
  }

  const double span = static_cast<double>(stop) - start;
  std::vector<unsigned char> block(std::min(count, kRawBlockSamples) * m_SampleSize);
  unsigned long long done = 0;
  while (done < count) {
    const unsigned long long wanted = std::min(kRawBlockSamples, count - done);
    const unsigned long long got = reader.ReadSampleBlock(block.data(), wanted);
    if (got == 0) {
      // A sample short at the end of a growing file is no failure.
      if (count - done < 2) return true;
      m_LastError = u"CRecordSection::RequestCompressedSignalPart() Error reading channel : " +
                    m_ChannelFileName;
      return false;
    }
    const double blockStart = start + static_cast<double>(done) / rate;
    const double blockStop = start + static_cast<double>(done + got) / rate;
    // A short last block still gets its point, or the plan would have none.
    const unsigned long long blockPoints = std::max(
        1ULL, ToCount(static_cast<double>(got) / rate * static_cast<double>(points) / span + 0.5));
    if (!pyramid.RawRequest(static_cast<float>(blockStart), static_cast<float>(blockStop),
                            blockPoints, block.data(), got, done != 0)) {
      m_LastError = u"CRecordSection::RequestCompressedSignalPart() Error compressing channel : " +
                    m_ChannelFileName;
      return false;
    }
    done += got;
  }
  return true;
}

CompressStatus_t CChannel::GetCompressedSignal(void* buffer, SampleReadMode_t mode) {
  m_TmpRecordFile->Load();

  CompressedSignalInfo_t& info = m_CompressedSignalInfo;
  const unsigned long long wanted = 2 * info.Points;
  if (info.Size > wanted) {
    // The pieces of a span cut along parts round their points up each.
    if (m_CompressedSignalFileReader) {
      m_CompressedSignalFileReader->ReduceInPlace(m_CompressedBuffer.data(), info.Size, wanted);
    }
    info.Size = wanted;
  }
  if (info.Size == 0 || buffer == nullptr) return CompressFailed;

  // The scaling is the reader's; a channel without one scales by 1.
  static const CSignalFileReader kUnscaled("", "", u"", nullptr, nullptr, 0);
  const CSignalFileAccess& scaling =
      m_SignalFileReader ? static_cast<const CSignalFileAccess&>(*m_SignalFileReader) : kUnscaled;
  if (!ConvertSamples(m_CompressedBuffer.data(), m_SampleFormat, info.Size, buffer, mode, scaling,
                      m_TmpRecordFile->RecordInfo())) {
    return CompressFailed;
  }

  if (m_SignalType == Trigger) {
    // A trigger is on or off, however its level was recorded.
    if (IsDoubleReadMode(mode)) {
      double* values = static_cast<double*>(buffer);
      for (unsigned long long i = 0; i < info.Size; ++i) values[i] = values[i] >= 0.0 ? 1.0 : 0.0;
    } else {
      float* values = static_cast<float*>(buffer);
      for (unsigned long long i = 0; i < info.Size; ++i) {
        values[i] = values[i] >= 0.0f ? 1.0f : 0.0f;
      }
    }
  }
  return CompressReady;
}

}  // namespace zsff
