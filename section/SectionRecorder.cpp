// The recording half of a record section (see SectionRecorder.h).
#include "section/SectionRecorder.h"

#include <zsff/DateTime.h>
#include <zsff/FileAccess.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileReader.h>
#include <zsff/RecordSection.h>

#include <algorithm>
#include <exception>

#include "section/Channel.h"
#include "section/RecordSectionOwner.h"

namespace zsff {

namespace {

// Below this rate a channel's blocks are small and rare; they are flushed so that
// a reader following the record sees them.
constexpr float kSlowChannelRate = 1000.0f;

// Whole seconds of a channel's samples, as the slow-channel flush counts them.
int WholeSeconds(unsigned long long samples, float rate) {
  return static_cast<int>(static_cast<float>(samples) / rate);
}

}  // namespace

bool CSectionRecorder::AddChannel(const CChannelID& id, const MetaDataContainer& metaData) {
  if (m_Section.m_State != CAbstractRecordSection::SectionCreated &&
      m_Section.m_State != CAbstractRecordSection::SectionConfigured &&
      m_Section.m_OpenMode != CAbstractRecordSection::OpenCreate) {
    m_Section.m_LastError = u"CRecordSection::AddChannel invalid state";
    return false;
  }
  const std::u16string fileName = id.ToFileName();
  const std::u16string directory = m_Section.JoinPath(m_Section.m_RecordPath, id.ToFilePath());
  if (m_Section.m_Channels.count(id) != 0) {
    m_Section.m_LastError = u"CRecordSection::AddChannel already existing channel ID";
    return false;
  }
  if (m_Section.m_FileAccess == nullptr) {
    m_Section.m_LastError = u"CRecordSection::AddChannel unable to create channel directory";
    return false;
  }
  m_Section.m_FileAccess->SelectAnalyzer(id.AnalyzerIndex());
  if (!m_Section.m_FileAccess->FileExists(directory) &&
      !m_Section.m_FileAccess->CreateDirectory(directory)) {
    m_Section.m_LastError = u"CRecordSection::AddChannel unable to create channel directory";
    return false;
  }

  std::unique_ptr<CChannel> channel;
  try {
    channel = std::make_unique<CChannel>(id, directory, fileName, metaData, m_Section.m_RecordId,
                                         m_Section.m_OpenMode, m_Section.m_FileAccess);
  } catch (const std::exception&) {
    // Hosts rely on this call succeeding: the id is entered without a channel,
    // and the reason is lost with the half-made channel.
  }
  m_Section.m_Channels[id] = std::move(channel);
  m_Section.m_State = CAbstractRecordSection::SectionConfigured;
  m_Section.m_DiscardOnClose = false;
  return true;
}

bool CSectionRecorder::ArmRecord(double maxLength, PartLength_t partLength, bool noRing) {
  if (m_Section.m_State != CAbstractRecordSection::SectionCreated &&
      m_Section.m_State != CAbstractRecordSection::SectionConfigured &&
      m_Section.m_State != CAbstractRecordSection::SectionArmed) {
    m_Section.m_LastError = u"CRecordSection::ArmRecord invalid state";
    return false;
  }
  // A ring drops whole parts, so it needs them.
  if (maxLength != 0.0 && !noRing && partLength == PartLengthNone) partLength = PartLengthShort;

  double seconds = 0.0;
  switch (partLength) {
    case PartLengthShort:
      seconds = 64.0;
      break;
    case PartLengthMedium:
    case PartLengthAuto:
      seconds = 640.0;
      break;
    case PartLengthLong:
      seconds = 1920.0;
      break;
    default:
      break;
  }
  if (maxLength != 0.0 && partLength == PartLengthAuto) {
    if (noRing) {
      // A long record gets long parts, so that it doesn't need too many files.
      seconds = maxLength > 360000.0  ? 1920.0
                : maxLength > 36000.0 ? 640.0
                : maxLength > 18000.0 ? 128.0
                                      : 64.0;
    } else {
      seconds = 64.0;
      if (maxLength < 1024.0) {
        // A short ring gets about sixteen parts, so that each drop is small;
        // heavy data rates get larger parts to keep the file count down.
        const double quarter = maxLength * 0.0625;
        double base = 4.0;
        if (m_SamplingRateSum > 1024000.0) {
          base = 32.0;
        } else if (m_SamplingRateSum > 512000.0) {
          base = 16.0;
        } else if (m_SamplingRateSum > 256000.0) {
          base = 8.0;
        }
        while (quarter > base) base *= 2.0;
        seconds = base;
      }
    }
  }
  if (noRing) maxLength = 0.0;

  for (const auto& entry : m_Section.m_Channels) {
    CChannel* channel = entry.second.get();
    if (channel == nullptr) continue;
    if (!channel->ArmChannel(maxLength, seconds)) {
      m_Section.m_LastError = channel->LastErrorString();
      return false;
    }
  }
  if (m_Section.m_State != CAbstractRecordSection::SectionArmed) {
    // Armed but never written: nothing worth keeping yet.
    m_Section.m_DiscardOnClose = true;
    m_Section.m_State = CAbstractRecordSection::SectionArmed;
  }
  return true;
}

bool CSectionRecorder::StartRecord(const std::map<CChannelID, TAG_RECORD_INFO>& recordInfo) {
  if ((m_Section.m_State != CAbstractRecordSection::SectionArmed &&
       m_Section.m_State != CAbstractRecordSection::SectionStarted) ||
      recordInfo.empty()) {
    m_Section.m_LastError = u"CRecordSection::StartRecord invalid state";
    return false;
  }
  CRecordSignalTree::CChangeActionParam_t param{};
  param.TimeToStop = m_Section.TimeToStop();

  // Channels started together share one date unless the host dates them itself.
  const long long now =
      recordInfo.begin()->second.AbsoluteDate == 0 ? GetSystemTimeAsFileTime() : 0;

  unsigned short blockSize = 0;
  for (const auto& entry : recordInfo) {
    CChannel* channel = m_Section.FindChannel(entry.first);
    if (channel == nullptr) {
      m_Section.m_LastError =
          u"CRecordSection::StartRecord record info not linked to a valid channel: " +
          entry.first.ToFilePath();
      return false;
    }
    param.PartLength = channel->PartLength();
    blockSize = std::max(blockSize, entry.second.TimeStep);
    param.BlockSize = blockSize;

    TAG_RECORD_INFO info = entry.second;
    if (now != 0) info.AbsoluteDate = now;
    CTmpRecordFile& tmp = channel->TmpRecordFile();
    tmp.SetRecordInfo(info);
    tmp.SetParts(channel->FirstPart(), channel->LastPart());
    if (!tmp.Write()) {
      m_Section.m_LastError = u"CRecordSection::StartRecord unable to save record information";
      channel->SetLastError(m_Section.m_LastError);
      return false;
    }
    channel->BeginRecording(info.AbsoluteDate);
    param.AbsDate = info.AbsoluteDate;
  }
  m_StartParam = param;
  if (m_Section.m_State == CAbstractRecordSection::SectionStarted) return true;

  // Started but without a sample: still nothing worth keeping.
  m_Section.m_DiscardOnClose = true;
  m_Section.m_State = CAbstractRecordSection::SectionStarted;
  if (m_Section.m_Owner != nullptr)
    param.RecordNumber = static_cast<unsigned short>(m_Section.m_Owner->RecordCounter());
  // Started all the same: the host may write, or stop to have the record go.
  if (m_Section.ChangeStateParent(m_Section.m_RecordId, CRecordSignalTree::ChangeRecordStarted,
                                  &param))
    return true;
  m_Section.m_LastError =
      u"CRecordSection::StartRecord unable to update the record's entry: " + m_Section.m_LastError;
  return false;
}

bool CSectionRecorder::WriteSampleBlock(const CChannelID& id, const void* samples,
                                        unsigned long long count, bool compress) {
  CChannel* channel = ChannelToWrite(id, u"CRecordSection::WriteSampleBlock invalid state",
                                     u"CRecordSection::WriteSampleBlock channel not found");
  if (channel == nullptr) return false;
  const float rate = channel->SamplingRate();
  const bool slow = rate < kSlowChannelRate;
  const int secondsBefore = slow ? WholeSeconds(channel->RecordedSamples(), rate) : 0;

  if (!channel->WriteSampleBlock(samples, count, compress)) {
    m_Section.m_LastError = u"CRecordSection::WriteSampleBlock unable to write signal block : " +
                            channel->LastErrorString();
    return false;
  }
  if (slow && WholeSeconds(channel->RecordedSamples(), rate) > secondsBefore) {
    channel->FlushChannel();
  }
  return true;
}

bool CSectionRecorder::WriteCompressedSampleBlock(const CChannelID& id, const void* values,
                                                  unsigned long long count) {
  CChannel* channel =
      ChannelToWrite(id, u"CRecordSection::WriteCompressedSampleBlock invalid state",
                     u"CRecordSection::WriteCompressedSampleBlock channel not found");
  if (channel == nullptr) return false;
  if (!channel->WriteCompressedSampleBlock(values, count)) {
    m_Section.m_LastError =
        u"CRecordSection::WriteCompressedSampleBlock unable to write signal block : " +
        channel->LastErrorString();
    return false;
  }
  if (channel->SamplingRate() < kSlowChannelRate) channel->FlushChannel();
  return true;
}

CChannel* CSectionRecorder::ChannelToWrite(const CChannelID& id, const char16_t* invalidState,
                                           const char16_t* notFound) {
  if (m_Section.m_State != CAbstractRecordSection::SectionRecording) {
    if (m_Section.m_State != CAbstractRecordSection::SectionStarted) {
      m_Section.m_LastError = invalidState;
      return nullptr;
    }
    FirstBlock();
  }
  CChannel* channel = m_Section.FindChannel(id);
  if (channel == nullptr) m_Section.m_LastError = notFound;
  return channel;
}

void CSectionRecorder::FirstBlock() {
  // The record now holds samples: it is kept whatever happens next.
  m_Section.m_DiscardOnClose = false;
  m_Section.m_State = CAbstractRecordSection::SectionRecording;
  if (m_Section.m_Owner != nullptr) {
    CRecordId key = m_Section.m_RecordId;
    key.SetPartNumber(0);
    m_Section.m_Owner->NotifyListener(key, CRecordSignalTree::ChangeRecordWriting);
  }
}

bool CSectionRecorder::StopRecord() {
  if ((m_Section.m_State != CAbstractRecordSection::SectionStarted &&
       m_Section.m_State != CAbstractRecordSection::SectionRecording) ||
      m_Section.FirstChannel() == nullptr) {
    m_Section.m_LastError = u"CRecordSection::StopRecord invalid state";
    return false;
  }
  CRecordSignalTree::CChangeActionParam_t param = m_StartParam;
  param.Duration = 1e40;
  param.TimeToStop = m_Section.TimeToStop();
  if (m_Section.m_Owner == nullptr) return false;
  param.RecordNumber = static_cast<unsigned short>(m_Section.m_Owner->RecordCounter());

  // Without the lock nothing is closed, so the host may try again.
  std::unique_ptr<MetaDataFileLock> lock =
      m_Section.m_Owner->CreateMetaDataLock(MetaDataFileLock::LockWait);
  if (!lock) {
    m_Section.m_LastError = u"CRecordSection::StopRecord cannot create MetaDataLock: " +
                            m_Section.m_Owner->MetaDataLockPath() +
                            u" (held by another writer, or left by a process that died: delete "
                            u"it once no program uses the measurement)";
    return false;
  }

  std::u16string closeFailure;
  for (const auto& entry : m_Section.m_Channels) {
    CChannel* channel = entry.second.get();
    if (channel == nullptr) continue;
    param.FileSize += static_cast<long long>(channel->SignalSizeInBytes());
    param.AbsDate = channel->TmpRecordFile().RecordInfo().AbsoluteDate;
    param.PartLength = channel->PartLength();
    // The shortest channel sets the record's length.
    const double seconds = static_cast<double>(channel->RecordedSamples()) /
                           static_cast<double>(channel->SamplingRate());
    if (seconds != 0.0 && seconds < param.Duration) param.Duration = seconds;
    param.FirstPart = channel->FirstPart();
    param.LastPart = channel->LastPart();
    if (!channel->CloseChannel(lock.get()) && closeFailure.empty())
      closeFailure = channel->LastErrorString();
  }
  // The tree takes the lock again for its own update.
  lock.reset();
  // The record stays recording in the list, its channels' temporary files with
  // it, for the end-up to finish; the host may try the stop again.
  if (!closeFailure.empty()) {
    m_Section.m_LastError = u"CRecordSection::StopRecord unable to close channel: " + closeFailure;
    return false;
  }

  if (param.Duration >= 1e40) param.Duration = 0.0;
  const CAbstractRecordSection::SingleRecordState_t before = m_Section.m_State;
  const bool listed = m_Section.ChangeStateParent(m_Section.m_RecordId,
                                                  CRecordSignalTree::ChangeRecordStopped, &param);
  // Stopped before its first sample: the record is to go.
  if (before == CAbstractRecordSection::SectionStarted) m_Section.m_DiscardOnClose = true;
  m_Section.m_State = CAbstractRecordSection::SectionStopped;
  // The channels are complete; only the list still calls the record recording, and
  // the end-up finishes it from the channels' files.
  if (!listed)
    m_Section.m_LastError =
        u"CRecordSection::StopRecord unable to finish the record's entry: " + m_Section.m_LastError;
  return listed;
}

bool CSectionRecorder::DuplicateRecordSection(const std::u16string& sourcePath) {
  if (m_Section.m_FileAccess == nullptr || sourcePath == m_Section.m_RecordPath ||
      !m_Section.m_FileAccess->FileExists(sourcePath)) {
    m_Section.m_LastError = u"CRecordSection::DuplicateRecordSection invalid record source";
    return false;
  }
  if (m_Section.m_State != CAbstractRecordSection::SectionCreated) {
    m_Section.m_LastError = u"CRecordSection::DuplicateRecordSection invalid state";
    return false;
  }
  m_Section.DeleteFileAccess();
  std::map<CChannelID, TAG_PATH_NAME> source;
  if (!CRecordSection::FillChannelPathNameMap(sourcePath, source, m_Section.m_FileAccess)) {
    m_Section.m_LastError =
        u"CRecordSection::DuplicateRecordSection() Error: channel list is empty!!!";
    return false;
  }
  for (const auto& entry : source) {
    MetaDataContainer metaData;
    CMetaDataHeaderFileReader reader(nullptr, m_Section.m_FileAccess);
    if (!reader.Load(metaData, entry.second.Name, entry.second.Path)) {
      m_Section.m_LastError =
          u"CRecordSection::DuplicateRecordSection() Error: " + reader.LastError();
      m_Section.m_State = CAbstractRecordSection::SectionCreated;
      return false;
    }
    CChannel::ForgetRecord(metaData);
    if (!AddChannel(entry.first, metaData)) {
      m_Section.m_LastError = u"CRecordSection::DuplicateRecordSection " + m_Section.m_LastError;
      m_Section.m_State = CAbstractRecordSection::SectionCreated;
      return false;
    }
  }
  return true;
}

}  // namespace zsff
