// The record zoomer: binding a tree's records onto one time axis, and cutting a
// display request into one compressed request per record.
#include <sys/types.h>
#include <zsff/MetaDataRecord.h>
#include <zsff/RecordZoomer.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>

#include "foundation/Diagnostics.h"
#include "foundation/TextConversion.h"
#include "signal/BlockReduction.h"

namespace zsff {

namespace {

// The tree counts as running while its last record is marked as recording: only
// the last record of a measurement can be.
bool LastIsRecording(const std::vector<MetaDataRecord>& records) {
  return !records.empty() && records.back().Recording();
}

// The section behind a bound handle. The quiet look-up: a handle the host closed
// behind the zoomer's back gives the null section, whose request fails, without
// the line that wRecord reports. The section is the tree's own and not const; only
// the look-up is.
CAbstractRecordSection& BoundSection(const CRecordSignalTree& tree, int handle) {
  return const_cast<CAbstractRecordSection&>(tree.rRecord(handle));
}

}  // namespace

CRecordZoomer::CRecordZoomer(const CRecordZoomer& other)
    : m_Tree(other.m_Tree),
      m_VectRecordInfo(other.m_VectRecordInfo),
      m_RecordCount(other.m_RecordCount),
      m_WasRunning(other.m_WasRunning) {
  std::lock_guard<CCriticalSectionWrapper> guard(other.m_ZoomContextsLock);
  m_ZoomContexts = other.m_ZoomContexts;
}

CRecordZoomer& CRecordZoomer::operator=(const CRecordZoomer& other) {
  if (this == &other) return *this;
  m_Tree = other.m_Tree;
  m_VectRecordInfo = other.m_VectRecordInfo;
  m_RecordCount = other.m_RecordCount;
  m_WasRunning = other.m_WasRunning;
  std::map<unsigned int, float> contexts;
  {
    std::lock_guard<CCriticalSectionWrapper> guard(other.m_ZoomContextsLock);
    contexts = other.m_ZoomContexts;
  }
  std::lock_guard<CCriticalSectionWrapper> guard(m_ZoomContextsLock);
  m_ZoomContexts.swap(contexts);
  return *this;
}

CRecordZoomer::~CRecordZoomer() { CloseRecords(); }

void CRecordZoomer::CloseRecords() {
  if (m_Tree != nullptr) {
    for (RecordInfo_t& info : m_VectRecordInfo) m_Tree->CloseRecord(info.Handle, true);
  }
  m_VectRecordInfo.clear();
}

void CRecordZoomer::Clean(bool forgetTree) {
  CloseRecords();
  if (forgetTree) m_Tree = nullptr;
}

void CRecordZoomer::ResetZoomContext(unsigned int context) {
  std::lock_guard<CCriticalSectionWrapper> guard(m_ZoomContextsLock);
  m_ZoomContexts.erase(context);
}

bool CRecordZoomer::Init(CRecordSignalTree* tree, const CChannelID& channel) {
  if (tree == nullptr) {
    ReportDiagnostic(DiagnosticError, "CRecordZoomer::Init: invalid record tree");
    return false;
  }
  // The handles belong to the tree that gave them, so they are closed there
  // before another tree is bound.
  CloseRecords();
  m_Tree = tree;

  std::vector<MetaDataRecord> records;
  const bool listed = m_Tree->GetRecordsVect(records);
  return Bind(listed, records, channel);
}

bool CRecordZoomer::Bind(bool listed, const std::vector<MetaDataRecord>& records,
                         const CChannelID& channel) {
  if (!listed || records.empty()) {
    ReportDiagnostic(DiagnosticError, "CRecordZoomer::Init: unable to get records list (%zd)",
                     static_cast<ssize_t>(records.size()));
    return false;
  }
  m_RecordCount = records.size();
  m_WasRunning = LastIsRecording(records);

  double total = 0.0;
  for (const MetaDataRecord& record : records) {
    const CRecordId id(record.RecordId());
    const int handle = m_Tree->OpenRecord(id, CRecordSignalTree::TreeOpenRead, 0);
    if (handle == 0) {
      ReportDiagnostic(DiagnosticError, "CRecordZoomer::Init: Cannot open record : 0x%llx",
                       id.RecordId());
      return false;
    }
    // A finished record's length is in the metadata; one being recorded is as
    // long as its channel's files say. A record without a length isn't bound, and
    // its handle is given back rather than left open behind the table.
    double duration = 0.0;
    if (!record.Recording()) {
      duration = record.Duration();
      if (!(duration > 0.0)) {
        ReportDiagnostic(DiagnosticError,
                         "CRecordZoomer::Init(0x%llx, %d) error Duration returns = %f",
                         id.RecordId(), static_cast<int>(channel.ChannelNumber()), duration);
        int unbound = handle;
        m_Tree->CloseRecord(unbound, true);
        return false;
      }
    } else {
      duration = m_Tree->rRecord(handle).SignalLength(channel, false);
      if (!(duration > 0.0)) {
        ReportDiagnostic(DiagnosticError,
                         "CRecordZoomer::Init(0x%llx, %d) error SignalLength returns = %f",
                         id.RecordId(), static_cast<int>(channel.ChannelNumber()), duration);
        int unbound = handle;
        m_Tree->CloseRecord(unbound, true);
        return false;
      }
    }
    RecordInfo_t info;
    info.Name = id.IdToRecordName();
    info.Handle = handle;
    info.Start = total;
    info.End = total + duration;
    info.Duration = duration;
    m_VectRecordInfo.push_back(info);
    total += duration;
  }
  return true;
}

bool CRecordZoomer::GetCompressedSignal(const CChannelID& channel, float start, float stop,
                                        unsigned long long points, bool sliding,
                                        unsigned int context, std::vector<float>& output) {
  if (m_Tree == nullptr) {
    ReportDiagnostic(DiagnosticError,
                     "CRecordZoomer::GetCompressedSignal: Error record tree not open");
    return false;
  }

  // The tree's list is read once a request, and every record's share is served
  // from what it said then. Rebinding reopens every record, so it happens only
  // when the tree has changed in a way the table can't follow: a record added, or
  // a recording started or stopped. A list that couldn't be read (a writer may
  // have been rewriting the file) gets a second look before the binding gives up.
  std::vector<MetaDataRecord> records;
  bool listed = m_Tree->GetRecordsVect(records);
  if (records.size() != m_RecordCount || LastIsRecording(records) != m_WasRunning) {
    CloseRecords();
    if (!listed) listed = m_Tree->GetRecordsVect(records);
    if (!Bind(listed, records, channel)) return false;
  }
  const bool running = LastIsRecording(records);
  const bool recording =
      std::any_of(records.begin(), records.end(),
                  [](const MetaDataRecord& record) { return record.Recording(); });

  if (m_VectRecordInfo.empty()) {
    ReportDiagnostic(DiagnosticError,
                     "CRecordZoomer::GetCompressedSignal() : error m_VectRecordInfo is empty");
    return false;
  }

  for (RecordInfo_t& info : m_VectRecordInfo) {
    info.RequestStart = 0.0;
    info.RequestStop = 0.0;
    info.RequestPoints = 0;
  }
  std::size_t first = 0;
  if (m_VectRecordInfo.size() > 1) {
    for (std::size_t i = m_VectRecordInfo.size(); i-- > 0;) {
      if (!(static_cast<float>(m_VectRecordInfo[i].Start) > start)) {
        first = i;
        break;
      }
    }
  }
  // A running record is as long as the request needs: what it hasn't recorded yet
  // is padded by its own request.
  if (running) {
    RecordInfo_t& last = m_VectRecordInfo.back();
    last.Duration = static_cast<double>(stop) - last.Start;
  }

  if (m_VectRecordInfo[first].Handle == 0) {
    ReportDiagnostic(DiagnosticError,
                     "CRecordZoomer::GetCompressedSignal: Error first record %zd is not open",
                     static_cast<ssize_t>(first));
    return false;
  }

  // Share the points out by the seconds each record gives to the span. Each share
  // is rounded up, so that no record is left with less than its due; the sum may
  // then pass the points by one a record, which the final reduction takes back.
  const double span = static_cast<double>(stop) - static_cast<double>(start);
  double remaining = span;
  std::size_t lastUsed = first;
  for (std::size_t i = first; remaining > 0.0 && i < m_VectRecordInfo.size(); ++i) {
    RecordInfo_t& info = m_VectRecordInfo[i];
    double localStart = 0.0;
    if (i == first && start > 0.0f) localStart = std::max(0.0, start - info.Start);
    const double localLength = std::min(info.Duration - localStart, remaining);
    info.RequestStart = localStart;
    info.RequestStop = localStart + localLength;
    const double share = std::ceil(static_cast<double>(points) * localLength / span);
    info.RequestPoints = share > 0.0 ? std::min(static_cast<unsigned long long>(share), points) : 0;
    remaining -= localLength;
    lastUsed = i;
  }

  bool result = false;
  if (lastUsed == first) {
    const RecordInfo_t& info = m_VectRecordInfo[first];
    result = CompressSignal(BoundSection(*m_Tree, info.Handle), channel,
                            static_cast<float>(info.RequestStart),
                            static_cast<float>(info.RequestStop), points, sliding, context,
                            recording, output);
    if (!result) {
      ReportDiagnostic(
          DiagnosticError,
          "CRecordZoomer::GetCompressedSignal firstRecord=%d : start=%f stop=%f size=%d/%d, "
          "failed",
          static_cast<int>(first), info.RequestStart, info.RequestStop,
          static_cast<int>(output.size()), static_cast<int>(2 * points));
    }
  } else {
    output.clear();
    std::vector<float> piece;
    for (std::size_t r = first; r <= lastUsed; ++r) {
      const RecordInfo_t& info = m_VectRecordInfo[r];
      if (info.RequestPoints == 0) break;
      result = CompressSignal(BoundSection(*m_Tree, info.Handle), channel,
                              static_cast<float>(info.RequestStart),
                              static_cast<float>(info.RequestStop), info.RequestPoints, sliding,
                              context, recording, piece);
      if (!result) {
        ReportDiagnostic(
            DiagnosticError,
            "CRecordZoomer::GetCompressedSignal r=%d : start=%f stop=%f size=%d/%d, failed",
            static_cast<int>(r), info.RequestStart, info.RequestStop,
            static_cast<int>(piece.size()), static_cast<int>(2 * info.RequestPoints));
        break;
      }
      output.insert(output.end(), piece.begin(), piece.end());
      if (r < lastUsed && m_VectRecordInfo[r + 1].Handle == 0) {
        ReportDiagnostic(DiagnosticError,
                         "CRecordZoomer::GetCompressedSignal: Error current record %zd is not open",
                         static_cast<ssize_t>(r + 1));
        result = false;
        break;
      }
    }
  }

  // The values are the sections' floats whatever the channel's sample format.
  if (output.size() > 2 * points) {
    reduction::ReduceProportional<float>(output.data(), 2 * points, output.data(), output.size());
    output.resize(static_cast<std::size_t>(2 * points));
  }
  return result;
}

bool CRecordZoomer::CompressSignal(CAbstractRecordSection& section, const CChannelID& channel,
                                   float start, float stop, unsigned long long points, bool sliding,
                                   unsigned int context, bool recording,
                                   std::vector<float>& output) {
  output.clear();
  if (m_Tree == nullptr) return false;

  const float length = static_cast<float>(section.SignalLength(channel, true));
  const double maxLength = section.MaxRecordLength();

  // A ring keeps only its last maxLength seconds: the visible window begins where
  // the retained signal does. A display context keeps the offset it first saw, so
  // that its view holds still while the recording moves on.
  if (sliding && maxLength > 0.0 && maxLength < length) {
    float offset = 0.0f;
    if (context != 0) {
      std::lock_guard<CCriticalSectionWrapper> guard(m_ZoomContextsLock);
      auto found = m_ZoomContexts.find(context);
      if (found != m_ZoomContexts.end()) {
        offset = found->second;
      } else {
        offset = static_cast<float>(length - maxLength);
        m_ZoomContexts.emplace(context, offset);
      }
    }
    start += offset;
    stop += offset;
  }

  float headGap = 0.0f, tailGap = 0.0f;
  unsigned long long headPoints = 0, tailPoints = 0;
  if (recording) {
    // A request of no points reads nothing: it only refreshes the description,
    // which carries the seconds the record has dropped before its signal.
    section.RequestCompressedSignal(channel, 0.0f, 0.1f, 0, false);
    const double timeOffset = section.GetCompressedSignalInfo(channel).TimeOffset;

    if ((!sliding && length + timeOffset < stop) || (sliding && length < stop)) {
      tailGap = stop - length;
      tailPoints = static_cast<unsigned long long>(static_cast<double>(tailGap) / stop *
                                                   static_cast<double>(points));
    }
    if (maxLength == 0.0 && timeOffset > 0.0 && start < timeOffset && timeOffset < stop) {
      headGap = static_cast<float>(timeOffset - start);
      headPoints = static_cast<unsigned long long>(static_cast<double>(std::min(headGap, stop)) /
                                                   (stop - start) * static_cast<double>(points));
    }
    stop = std::min(stop, length);
  }

  bool result = false;
  if (stop - start != 0.0f) {
    const unsigned long long padding = headPoints + tailPoints;
    const unsigned long long wanted = points > padding ? points - padding : 0;
    if (!section.RequestCompressedSignal(channel, start, stop, wanted, true)) {
      ReportDiagnostic(
          DiagnosticError,
          "CRecordZoomer::CompressSignal(%d, %f, %f, %d) call section.RequestCompressedSignal "
          "failed with error : %s",
          static_cast<int>(channel.ChannelNumber()), start, stop, static_cast<int>(points),
          WideToAnsi(section.LastErrorString()).c_str());
    } else {
      output.resize(static_cast<std::size_t>(section.GetCompressedSignalInfo(channel).Size));
      for (;;) {
        const CompressStatus_t status =
            section.GetCompressedSignal(channel, output.data(), SampleReadPostAnalysis);
        if (status == CompressReady) break;
        if (status == CompressFailed || status == 0) return false;
      }
      // The delivery may have reduced what the request held to the points asked.
      const unsigned long long delivered = section.GetCompressedSignalInfo(channel).Size;
      if (delivered < output.size()) output.resize(static_cast<std::size_t>(delivered));
      result = true;
    }
  } else {
    result = true;
  }

  // What the record had dropped before its signal reads as a flat zero line; what
  // it hasn't recorded yet reads as nothing at all.
  if (headGap != 0.0f)
    output.insert(output.begin(), static_cast<std::size_t>(2 * headPoints), 0.0f);
  if (tailGap != 0.0f) {
    output.insert(output.end(), static_cast<std::size_t>(2 * tailPoints),
                  std::numeric_limits<float>::quiet_NaN());
  }
  return result;
}

}  // namespace zsff
