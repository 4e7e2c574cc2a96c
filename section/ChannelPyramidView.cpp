// A channel's compressed (min/max) requests across its parts.
#include "section/ChannelPyramidView.h"

#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/SignalFile.h>

#include <algorithm>
#include <string>
#include <utility>

#include "foundation/Diagnostics.h"
#include "foundation/TextConversion.h"
#include "section/ChannelLayout.h"
#include "section/ChannelPartRange.h"
#include "section/ChannelPartReader.h"
#include "section/ChannelReadCursor.h"
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

// A view across the record visits the parts in order: the oldest reader parked
// is the one the next sweep wants last.
constexpr std::size_t kParkedReaders = 256;

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

// Whether a piece that stops at `stop` takes in the end of the signal at `end`,
// both in seconds: within a sample, since the stop comes through a float.
bool ReachesEnd(double stop, double end, float rate) { return stop + 1.0 / rate >= end; }

}  // namespace

CChannelPyramidView::CChannelPyramidView(ChannelLayout& layout, ChannelPartRange& signalParts,
                                         ChannelPartRange& pyramidParts, ChannelReadCursor& cursor,
                                         ChannelReadCursor& signalCursor,
                                         CChannelPartReader& reader, std::u16string& lastError)
    : m_Layout(layout),
      m_SignalParts(signalParts),
      m_PyramidParts(pyramidParts),
      m_Cursor(cursor),
      m_SignalCursor(signalCursor),
      m_Reader(reader),
      m_LastError(lastError),
      m_Info(layout.SamplingRate) {}

CChannelPyramidView::~CChannelPyramidView() = default;

void CChannelPyramidView::Begin(unsigned short part) {
  m_Current = m_Layout.NewPyramidReader(part);
}

// --- Parts -----------------------------------------------------------------------------

void CChannelPyramidView::OpenPart(unsigned short part) {
  if (part == m_Cursor.Part) {
    if (m_Cursor.PartMissing) return;
    const bool missing =
        m_SignalParts.Waiting(part) || !(m_Current && m_Current->LevelFileExists());
    m_Cursor.PartMissing = missing;
    m_SignalCursor.PartMissing = missing;
    return;
  }

  const bool deleted = m_PyramidParts.Waiting(part);
  m_Cursor.PartMissing = deleted;
  m_Layout.TmpRecordFile->SetParts(m_PyramidParts.FirstPart, m_PyramidParts.LastPart);
  m_Current = TakeReader(part);
  if (deleted || !m_Current->LevelFileExists()) {
    // Asked only when a part's files are missing: a part at hand needs no lookup.
    const bool recording = m_Layout.TmpRecordFile->Exists();
    const bool next = part == m_PyramidParts.Next();
    if (m_PyramidParts.Holds(part) || (recording && next)) {
      m_Cursor.PartMissing = !(recording && (m_Layout.MaxRecordSamples != 0 || next));
    }
  }

  m_Cursor.Part = part;
  if (m_PyramidParts.Beyond(part)) {
    m_SignalParts.LastPart = part;
    m_PyramidParts.LastPart = part;
  }
  m_Cursor.InPart = 0;
}

std::unique_ptr<CCompressedSignalFileReader> CChannelPyramidView::TakeReader(unsigned short part) {
  if (m_Current) {
    // A view's working memory would add up over hundreds of parts.
    m_Current->ForgetRequest();
    m_Parked.push_back(std::move(m_Current));
    if (m_Parked.size() > kParkedReaders) m_Parked.erase(m_Parked.begin());
  }
  for (auto it = m_Parked.begin(); it != m_Parked.end(); ++it) {
    if ((*it)->PartNumber() != part) continue;
    std::unique_ptr<CCompressedSignalFileReader> reader = std::move(*it);
    m_Parked.erase(it);
    if (m_PyramidParts.Holds(part) && !m_PyramidParts.Waiting(part)) return reader;
    break;
  }
  return m_Layout.NewPyramidReader(part);
}

// --- Requests --------------------------------------------------------------------------

bool CChannelPyramidView::Request(float start, float stop, unsigned long long points, bool absolute,
                                  double duration) {
  if (stop < start) std::swap(start, stop);

  CompressedSignalInfo_t& info = m_Info;
  info.Size = 0;
  info.Span = 0.0f;
  info.Ratio = 0.0;
  info.TimeOffset = 0.0;
  info.Points = 0;
  info.SamplingRate = m_Layout.SamplingRate;
  m_Buffer.clear();

  CompressedSignalPlan_t plan;
  if (m_Layout.PartLength == 0.0) {
    if (points == 0) return true;
    if (!RequestPart(m_PyramidParts.FirstPart, start, stop, points, plan)) return false;
    const CCompressedSignalFileReader& reader = *m_Current;
    info.Size = reader.ResultSize();
    info.Span = static_cast<float>(reader.Span());
    info.Ratio = reader.Ratio();
    info.SamplingRate = reader.SamplingRate();
    info.InProgress = reader.InProgress();
    m_Buffer.resize(info.Size * m_Layout.SampleSize);
    info.Points = points;
    plan.ThroughEnd = ReachesEnd(
        stop,
        static_cast<double>(m_Layout.SignalLengthSpl(m_SignalParts, false)) / m_Layout.SamplingRate,
        m_Layout.SamplingRate);
    return m_Current->Get(m_Buffer.data(), plan) != CompressFailed;
  }

  const float rate = m_Layout.SamplingRate;
  const double partLength = m_Layout.PartLength;
  const double length = duration != 0.0
                            ? duration
                            : static_cast<double>(m_Layout.SignalLengthSpl(m_SignalParts, false)) /
                                  static_cast<double>(rate);
  const float t0 = static_cast<float>(m_PyramidParts.TimeOffset);
  if (!absolute) {
    start += t0;
    stop += t0;
  }
  const float recordStop = static_cast<float>(t0 + length);
  double recordEnd = recordStop;
  if (start < t0 - kStartMargin || stop > recordStop + kStopMargin) {
    ReportDiagnostic(
        DiagnosticError,
        "CRecordSection::RequestCompressedSignal(%s) startAbsolute = %f, stopAbsolute = %f, "
        "startRecord = %f, stopRecord = %f",
        WideToUtf8(m_Layout.ChannelId.ToFilePath()).c_str(), start, stop, t0, recordStop);
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
        static_cast<float>(static_cast<double>(m_PyramidParts.FirstPart) * partLength);
    start += offset;
    stop += offset;
    recordEnd += offset;
  }

  unsigned short part = static_cast<unsigned short>(ToCount(start / partLength));
  // The first piece starts where the span does: a start rounded to its second
  // would spread that second's samples over the span's points.
  double offsetInPart = std::max(0.0, static_cast<double>(start) - part * partLength);

  // The recording side may have dropped parts since the channel was opened.
  {
    MetaDataContainer metaData;
    TAG_RECORD_INFO recordInfo;
    if (m_Layout.LoadMetaData(metaData, recordInfo,
                              m_Layout.SignalLengthSpl(m_SignalParts, false) * m_Layout.SampleSize,
                              true, m_LastError)) {
      m_SignalParts.PartsToDelete = CMetaDataChannelReader(metaData).PartsToDelete();
      m_PyramidParts.PartsToDelete = m_SignalParts.PartsToDelete;
    }
  }

  const double span = static_cast<double>(stop) - start;
  const double secondsPerPoint = span / static_cast<double>(points);
  double position = start;
  while (position < stop) {
    const double partStart = part * partLength;
    // A piece runs to the end of its part, a hair beyond so that the last sample
    // counts, or to the stop when that comes first.
    double end = partLength + 0.1 / rate;
    if (position + partLength > stop) {
      end = std::min(static_cast<double>(stop) - partStart, partLength);
      if (stop < partLength) end = stop;
    }
    if (!m_PyramidParts.Holds(part)) break;
    const unsigned long long piecePoints =
        std::max(1ULL, ToCount((end - offsetInPart) / secondsPerPoint + 0.1));
    if (!RequestPart(part, static_cast<float>(offsetInPart), static_cast<float>(end), piecePoints,
                     plan)) {
      return false;
    }

    CCompressedSignalFileReader& reader = *m_Current;
    const unsigned long long size = reader.ResultSize();
    if (size == 0) return false;
    plan.ThroughEnd = end >= partLength || ReachesEnd(partStart + end, recordEnd, rate);
    m_Buffer.resize((info.Size + size) * m_Layout.SampleSize);
    if (reader.Get(m_Buffer.data() + info.Size * m_Layout.SampleSize, plan) != CompressReady) {
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

bool CChannelPyramidView::RequestPart(unsigned short part, float start, float stop,
                                      unsigned long long points, CompressedSignalPlan_t& plan) {
  CTmpRecordFile& tmp = *m_Layout.TmpRecordFile;
  if (!tmp.IsValid() && !tmp.Read()) {
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
  if (!m_Current) m_Current = m_Layout.NewPyramidReader(m_Cursor.Part);
  OpenPart(part);

  CCompressedSignalFileReader& reader = *m_Current;
  plan = reader.Plan(start, stop, points, 0);
  if (!plan.UseRawSignal) {
    if (m_Layout.PartLength > 0.0 && m_Cursor.PartMissing) {
      return reader.BlankRequest(start, stop, points);
    }
    if (!reader.LevelRequest(start, stop, points, plan)) {
      m_LastError =
          u"CRecordSection::RequestCompressedSignalPart() Error reading compressed file: " +
          m_Layout.FileName;
      return false;
    }
    return true;
  }
  return RequestFromSamples(part, start, stop, points);
}

bool CChannelPyramidView::RequestFromSamples(unsigned short part, float start, float stop,
                                             unsigned long long points) {
  // A request must not disturb a reader: whatever happens below, a reader that
  // was open goes back to its part and its place.
  const CChannelPartReader::Bookmark mark = m_Reader.Mark();
  ScopeExit restore([&]() { m_Reader.ReturnTo(mark); });

  m_Reader.EnsureReader();
  if (!m_Reader.OpenPart(part, true)) return false;
  CCompressedSignalFileReader& pyramid = *m_Current;
  if (m_Layout.PartLength > 0.0 && m_SignalCursor.PartMissing) {
    return pyramid.BlankRequest(start, stop, points);
  }

  CSignalFileReader& reader = m_Reader.File();
  if (!reader.SetReadPos(start)) {
    m_LastError = u"CRecordSection::RequestCompressedSignalPart() Unable to set read position @ " +
                  Number(start);
    return false;
  }

  const double rate = m_Layout.SamplingRate;
  const unsigned long long sampleSize = m_Layout.SampleSize;
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
  std::vector<unsigned char> block(std::min(count, kRawBlockSamples) * sampleSize);
  unsigned long long done = 0;
  while (done < count) {
    const unsigned long long wanted = std::min(kRawBlockSamples, count - done);
    const unsigned long long got = reader.ReadSampleBlock(block.data(), wanted);
    if (got == 0) {
      // A sample short at the end of a growing file is no failure.
      if (count - done < 2) return true;
      m_LastError = u"CRecordSection::RequestCompressedSignalPart() Error reading channel : " +
                    m_Layout.FileName;
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
                    m_Layout.FileName;
      return false;
    }
    done += got;
  }
  return true;
}

CompressStatus_t CChannelPyramidView::Get(void* buffer, SampleReadMode_t mode) {
  CTmpRecordFile& tmp = *m_Layout.TmpRecordFile;
  tmp.Load();

  CompressedSignalInfo_t& info = m_Info;
  const unsigned long long wanted = 2 * info.Points;
  if (info.Size > wanted) {
    // The pieces of a span cut along parts round their points up each.
    if (m_Current) m_Current->ReduceInPlace(m_Buffer.data(), info.Size, wanted);
    info.Size = wanted;
  }
  if (info.Size == 0 || buffer == nullptr) return CompressFailed;

  // The scaling is the reader's; a channel without one scales by 1.
  static const CSignalFileReader kUnscaled("", "", u"", nullptr, nullptr, 0);
  const CSignalFileAccess& scaling =
      m_Reader.HasReader() ? static_cast<const CSignalFileAccess&>(m_Reader.File()) : kUnscaled;
  if (!ConvertSamples(m_Buffer.data(), m_Layout.SampleFormat, info.Size, buffer, mode, scaling,
                      tmp.RecordInfo())) {
    return CompressFailed;
  }

  if (m_Layout.SignalType == Trigger) {
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
