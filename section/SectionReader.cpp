// The reading half of a record section (see SectionReader.h). The channels do the
// arithmetic; the reader checks states and follows a recording that another
// section (possibly on another thread) carries on: it meets that section only
// through "TmpRecord.zrm", the sizes of the part files and the record list of the
// measurement file.
#include "section/SectionReader.h"

#include <zsff/MetaDataRecord.h>
#include <zsff/RecordSection.h>

#include <algorithm>
#include <cmath>

#include "section/Channel.h"
#include "section/RecordSectionOwner.h"

namespace zsff {

namespace {

const char16_t kReadInvalidState[] = u"CRecordSection::ReadRawSampleBlock invalid state";
const char16_t kReadChannelNotFound[] = u"CRecordSection::ReadRawSampleBlock channel not found";
const char16_t kReadUnableToUpdate[] =
    u"CRecordSection::ReadRawSampleBlock unable to update record info";
const char16_t kReadUnableToRead[] = u"CRecordSection::ReadRawSampleBlock unable to read samples";

}  // namespace

// --- State and the tree ---------------------------------------------------------------

bool CSectionReader::IsRecordingNow() const {
  return m_Section.m_Owner != nullptr && m_Section.m_Owner->IsRecording(m_Section.m_RecordId);
}

bool CSectionReader::TakeStoppedParts() {
  std::vector<MetaDataRecord> records;
  if (m_Section.m_Owner == nullptr || !m_Section.m_Owner->GetRecordsVect(records)) return true;
  const auto found =
      std::find_if(records.begin(), records.end(), [this](const MetaDataRecord& record) {
        return CRecordId(record.RecordId()).RecordNumber() == m_Section.m_RecordId.RecordNumber();
      });
  if (found == records.end()) return true;
  // A recorder in another process deletes its temporary files before it enters
  // the stop in the list: until then the record is still going.
  if (found->Recording()) return false;
  const unsigned short first = CRecordId(found->RecordId()).PartNumber();
  const unsigned short last = found->LastPartNumber();
  for (const auto& entry : m_Section.m_Channels) {
    CChannel* each = entry.second.get();
    if (each == nullptr) continue;
    each->TakeParts(first, last);
  }
  return true;
}

void CSectionReader::BeginReading() {
  m_Section.ChangeStateParent(m_Section.m_RecordId, CRecordSignalTree::ChangeReadStarted, nullptr);
  m_Section.m_State = CAbstractRecordSection::SectionReading;
}

bool CSectionReader::ReadingEnded() const {
  for (const auto& entry : m_Section.m_Channels) {
    CAbstractRecordSection::ReadState_t state = CAbstractRecordSection::ReadStateNone;
    if (!EndOfReading(entry.first, state)) return false;
  }
  return true;
}

// --- Positions ------------------------------------------------------------------------

bool CSectionReader::MoveReadPosition(const CChannelID& id,
                                      const std::function<bool(CChannel&)>& move) {
  if (m_Section.m_State != CAbstractRecordSection::SectionOpened &&
      m_Section.m_State != CAbstractRecordSection::SectionReading &&
      m_Section.m_State != CAbstractRecordSection::SectionStopped) {
    m_Section.m_LastError = u"CRecordSection::SetReadPos invalid state";
    return false;
  }
  CChannel* channel = m_Section.FindChannel(id);
  if (channel == nullptr) {
    // Where it was looked for: a channel or record directory gone shows there.
    m_Section.m_LastError = u"CRecordSection::SetReadPos channel not found: " +
                            m_Section.JoinPath(m_Section.m_RecordPath, id.ToFilePath());
    return false;
  }
  if (!move(*channel)) {
    // The channel's own words say which of its files failed.
    const std::u16string reason = channel->LastErrorString();
    m_Section.m_LastError = u"CRecordSection::SetReadPos unable to set read position" +
                            (reason.empty() ? std::u16string() : u": " + reason);
    return false;
  }
  if (m_Section.m_State != CAbstractRecordSection::SectionReading) BeginReading();
  return true;
}

bool CSectionReader::SetReadPos(const CChannelID& id, double seconds) {
  return MoveReadPosition(
      id, [seconds](CChannel& channel) { return channel.SetReadPosition(seconds); });
}

bool CSectionReader::SetReadPos(double seconds) {
  if (m_Section.m_State != CAbstractRecordSection::SectionOpened &&
      m_Section.m_State != CAbstractRecordSection::SectionReading &&
      m_Section.m_State != CAbstractRecordSection::SectionStopped) {
    m_Section.m_LastError = u"CRecordSection::SetReadPos invalid state";
    return false;
  }
  for (const auto& entry : m_Section.m_Channels) {
    if (!SetReadPos(entry.first, seconds)) {
      m_Section.m_LastError = u"CRecordSection::SetReadPos invalid position";
      return false;
    }
  }
  return true;
}

bool CSectionReader::SetReadPosSpl(const CChannelID& id, unsigned long long sample) {
  return MoveReadPosition(
      id, [sample](CChannel& channel) { return channel.SetReadPositionSpl(sample); });
}

double CSectionReader::GetReadPos(const CChannelID& id) const {
  const CChannel* channel = m_Section.FindChannel(id);
  return channel != nullptr ? channel->ReadPosition() : 0.0;
}

unsigned long long CSectionReader::GetReadPosSpl(const CChannelID& id) const {
  const CChannel* channel = m_Section.FindChannel(id);
  return channel != nullptr ? channel->ReadPositionSpl() : 0;
}

// --- Reads ----------------------------------------------------------------------------

unsigned long long CSectionReader::ReadRawSampleBlock(const CChannelID& id, void* buffer,
                                                      unsigned long long count) {
  return Read(id, buffer, count, true, SampleReadRecorded);
}

unsigned long long CSectionReader::ReadSampleBlock(const CChannelID& id, void* buffer,
                                                   unsigned long long count,
                                                   SampleReadMode_t mode) {
  return Read(id, buffer, count, false, mode);
}

unsigned long long CSectionReader::Read(const CChannelID& id, void* buffer,
                                        unsigned long long count, bool raw, SampleReadMode_t mode) {
  if (m_Section.m_State != CAbstractRecordSection::SectionOpened &&
      m_Section.m_State != CAbstractRecordSection::SectionReading) {
    m_Section.m_LastError = kReadInvalidState;
    return 0;
  }
  CChannel* channel = m_Section.FindChannel(id);
  if (channel == nullptr) {
    m_Section.m_LastError = kReadChannelNotFound;
    return 0;
  }
  // What this read reports is what this read met.
  channel->SetLastError(u"");

  // The process's record states know only its own recordings; a recording in
  // another process shows by its channel's temporary record file.
  const bool tmpExists = channel->TmpRecordFile().Exists();
  bool recording = IsRecordingNow() || tmpExists;
  if (!recording && !m_RecordingSeen) {
    // A finished record doesn't move: its information is loaded once.
    if (!channel->TmpRecordFile().IsValid()) {
      for (const auto& entry : m_Section.m_Channels) {
        if (entry.second && !entry.second->UpdateRecordInfo()) {
          m_Section.m_LastError = kReadUnableToUpdate;
          return 0;
        }
      }
    }
  } else {
    // The recording has just ended when its temporary files are gone.
    if (m_RecordingSeen && channel->PartLength() != 0.0 && !tmpExists &&
        m_Section.m_Owner != nullptr && !TakeStoppedParts()) {
      recording = true;
    }
    if (recording == m_RecordingSeen) {
      channel->UpdateSignalLength(true, tmpExists);
    } else {
      for (const auto& entry : m_Section.m_Channels) {
        CChannel* each = entry.second.get();
        if (each == nullptr) continue;
        if (!each->UpdateRecordInfo()) {
          m_Section.m_LastError = kReadUnableToUpdate;
          return 0;
        }
        each->UpdateSignalLength(true, each->TmpRecordFile().Exists());
      }
    }
    m_RecordingSeen = recording;
  }

  const unsigned long long read = raw ? channel->ReadRawBlock(buffer, count, tmpExists)
                                      : channel->ReadConvertedBlock(buffer, count, mode, tmpExists);
  m_Section.m_LastError = channel->LastErrorString();

  if (read == 0 && !recording) {
    bool live = false;
    bool overtaken = false;
    if (!channel->EndOfChannel(live, overtaken)) {
      if (m_Section.m_LastError.empty()) m_Section.m_LastError = kReadUnableToRead;
      return 0;
    }
  }
  if (m_Section.m_State != CAbstractRecordSection::SectionReading) BeginReading();

  if (!recording && ReadingEnded()) {
    m_Section.ChangeStateParent(m_Section.m_RecordId, CRecordSignalTree::ChangeReadStopped,
                                nullptr);
    // A recording may have started on this record meanwhile; then reading goes on.
    if (!IsRecordingNow()) m_Section.m_State = CAbstractRecordSection::SectionStopped;
  }
  return read;
}

bool CSectionReader::EndOfReading(const CChannelID& id,
                                  CAbstractRecordSection::ReadState_t& state) const {
  state = CAbstractRecordSection::ReadStateNone;
  CChannel* channel = m_Section.FindChannel(id);
  if (channel == nullptr) return true;
  if (m_RecordingSeen) channel->UpdateSignalLength(true, channel->TmpRecordFile().Exists());
  bool live = false;
  bool overtaken = false;
  bool ended = channel->EndOfChannel(live, overtaken);
  if (m_RecordingSeen && ended && !live && !overtaken) {
    // The recorder may have written its last block and removed its temporary
    // file between the length just taken and the look for that file. It removes
    // the file only once its parts are complete, so a length taken now is final.
    channel->UpdateSignalLength(true, false);
    ended = channel->EndOfChannel(live, overtaken);
  }
  if (overtaken) {
    state = CAbstractRecordSection::ReadStateOvertaken;
  } else if (live) {
    state = CAbstractRecordSection::ReadStateLiveEnd;
  } else if (ended) {
    state = CAbstractRecordSection::ReadStateEnd;
  }
  return ended;
}

bool CSectionReader::StopReading() {
  if (m_Section.m_State != CAbstractRecordSection::SectionReading) {
    m_Section.m_LastError = u"CRecordSection::StopReading invalid state";
    return false;
  }
  for (const auto& entry : m_Section.m_Channels) {
    CChannel* channel = entry.second.get();
    if (channel == nullptr) continue;
    channel->CloseReader();
    std::vector<unsigned short> notDeleted;
    channel->DeleteParts(notDeleted);
  }
  m_Section.m_State = CAbstractRecordSection::SectionStopped;
  m_Section.ChangeStateParent(m_Section.m_RecordId, CRecordSignalTree::ChangeReadStopped, nullptr);
  return true;
}

// --- Offsets --------------------------------------------------------------------------

bool CSectionReader::GetTimeOffset(std::vector<float>& offsets, long& timeStep) {
  if (m_Section.m_State != CAbstractRecordSection::SectionOpened &&
      m_Section.m_State != CAbstractRecordSection::SectionReading &&
      m_Section.m_State != CAbstractRecordSection::SectionStopped) {
    return false;
  }
  std::vector<float> signalOffsets;
  for (const auto& entry : m_Section.m_Channels) {
    if (entry.second) {
      signalOffsets.push_back(entry.second->TmpRecordFile().RecordInfo().SignalOffset);
    }
  }
  // Shifted by the largest offset in either direction, every channel's offset is
  // a delay of 0 or more that lines it up with the others.
  float largest = 0.0f;
  for (float offset : signalOffsets) largest = std::max(largest, std::fabs(offset));
  float latest = 0.0f;
  for (float& offset : signalOffsets) {
    offset += largest;
    latest = std::max(latest, offset);
  }
  offsets = signalOffsets;
  timeStep = static_cast<long>(std::ceil(latest));
  return true;
}

}  // namespace zsff
