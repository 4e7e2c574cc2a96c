// The section as a whole (opening, closing, the discard mark, the tree notices)
// and its recording path: channels are added, armed, started, written and
// stopped here. Listing and lengths are in RecordSectionListing.cpp.
#include <zsff/DateTime.h>
#include <zsff/FileAccess.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFiles.h>
#include <zsff/RecordSection.h>

#include <algorithm>
#include <exception>

#include "section/Channel.h"
#include "section/RecordSectionOwner.h"

namespace zsff {

namespace {

// The measurement-level selection of a store, as against one analyzer's disk.
constexpr unsigned short kAllAnalyzers = 32767;

// Below this rate a channel's blocks are small and rare; they are flushed so that
// a reader following the record sees them.
constexpr float kSlowChannelRate = 1000.0f;

// Whole seconds of a channel's samples, as the slow-channel flush counts them.
int WholeSeconds(unsigned long long samples, float rate) {
  return static_cast<int>(static_cast<float>(samples) / rate);
}

}  // namespace

// --- Opening and closing ------------------------------------------------------------

CRecordSection::CRecordSection(CRecordSignalTree* tree, const std::u16string& measurementPath,
                               const CRecordId& id, unsigned short lastPart, OpenMode_t openMode,
                               bool recording, double duration, long long offsetTimeToStop,
                               CAbstractFileAccess* access, long analyzerFilter)
    : m_Owner(tree != nullptr ? tree->m_SectionOwner.get() : nullptr),
      m_MeasurementPath(measurementPath),
      m_RecordName(id.IdToRecordName()),
      m_RecordId(id),
      m_OpenMode(openMode),
      m_FileAccess(access),
      m_State(openMode == OpenRead || openMode == OpenInfo ? SectionOpened : SectionCreated),
      m_Duration(duration) {
  m_RecordPath = JoinPath(m_MeasurementPath, m_RecordName);
  if (m_FileAccess == nullptr || m_OpenMode == OpenInfo) return;

  if (m_OpenMode != OpenRead && !m_FileAccess->FileExists(m_RecordPath)) {
    // A record made here and left without channels is not worth keeping.
    m_DiscardOnClose = true;
    m_FileAccess->SelectAnalyzer(kAllAnalyzers);
    m_FileAccess->CreateDirectory(m_RecordPath);
  }

  if (!FillChannelPathNameMap(m_RecordPath, m_ChannelPathMap, m_FileAccess)) return;

  try {
    for (const auto& entry : m_ChannelPathMap) {
      const CChannelID& channelId = entry.first;
      if (analyzerFilter != 0 && channelId.AnalyzerIndex() != analyzerFilter) continue;
      std::unique_ptr<CChannel> channel;
      if (recording) {
        channel = std::make_unique<CChannel>(channelId, entry.second.Path, entry.second.Name,
                                             m_RecordId, m_OpenMode, m_FileAccess);
      } else {
        channel = std::make_unique<CChannel>(channelId, entry.second.Path, entry.second.Name,
                                             m_RecordId, lastPart, m_OpenMode, duration,
                                             offsetTimeToStop, m_FileAccess);
        // Parts marked for deletion in a finished record are removed at opening;
        // that comes with the record surgery, which owns the parts-to-delete list.
      }
      m_SamplingRateSum += channel->SamplingRate();
      m_Channels[channelId] = std::move(channel);
    }
  } catch (const std::exception&) {
    // The section keeps the channels opened so far.
  }
}

CRecordSection::~CRecordSection() {
  if (m_DiscardOnClose && m_FileAccess != nullptr) {
    m_DiscardOnClose = false;
    m_FileAccess->SelectAnalyzer(kAllAnalyzers);
    m_FileAccess->DeleteDirectoryTree(m_RecordPath);
  }
  DeleteFileAccess();
}

void CRecordSection::DeleteFileAccess() { m_Channels.clear(); }

bool CRecordSection::DeleteRecord() const {
  const bool discard = m_DiscardOnClose;
  m_DiscardOnClose = false;
  return discard;
}

bool CRecordSection::IsUsed() const {
  return m_State == SectionConfigured || m_State == SectionStarted || m_State == SectionRecording ||
         m_State == SectionReading;
}

void CRecordSection::ChangeStateParent(const CRecordId& id,
                                       CRecordSignalTree::ChangeAction_t action,
                                       const CRecordSignalTree::CChangeActionParam_t* param) {
  if (m_Owner != nullptr) m_Owner->ChangeState(id, action, param);
}

CChannel* CRecordSection::FindChannel(const CChannelID& id) const {
  const auto found = m_Channels.find(id);
  return found != m_Channels.end() ? found->second.get() : nullptr;
}

CChannel* CRecordSection::FirstChannel() const {
  for (const auto& entry : m_Channels) {
    if (entry.second) return entry.second.get();
  }
  return nullptr;
}

double CRecordSection::TimeToStop() const {
  const CChannel* first = FirstChannel();
  if (first == nullptr) return 0.0;
  return static_cast<double>(first->MaxRecordSamples()) /
         static_cast<double>(first->SamplingRate());
}

std::u16string CRecordSection::JoinPath(const std::u16string& parent,
                                        const std::u16string& name) const {
  if (parent.empty() || m_FileAccess == nullptr) return name;
  return parent + m_FileAccess->PathSeparatorW() + name;
}

bool CRecordSection::FillChannelPathNameMap(const std::u16string& recordPath,
                                            std::map<CChannelID, TAG_PATH_NAME>& channels,
                                            CAbstractFileAccess* access) {
  channels.clear();
  if (access == nullptr) return false;
  std::vector<std::u16string> directories;
  std::vector<std::u16string> files;
  if (!access->ListDirectory(recordPath, directories, files, u"*")) return false;

  const std::u16string separator = access->PathSeparatorW();
  static const std::u16string kPrefix = u"Channel_";
  for (const std::u16string& directory : directories) {
    const std::size_t cut = separator.empty() ? std::u16string::npos : directory.rfind(separator);
    const std::u16string name =
        cut == std::u16string::npos ? directory : directory.substr(cut + separator.size());
    if (name.compare(0, kPrefix.size(), kPrefix) != 0) continue;
    // Only the directory's own name is parsed: a "Channel_" higher up the path
    // must not be taken for it.
    const CChannelID id = CChannelID::FromFilePath(name);
    channels[id] = TAG_PATH_NAME{directory, id.ToFileName()};
  }
  return true;
}

// --- Recording ----------------------------------------------------------------------

bool CRecordSection::AddChannel(const CChannelID& id, const MetaDataContainer& metaData) {
  if (m_State != SectionCreated && m_State != SectionConfigured && m_OpenMode != OpenCreate) {
    m_LastError = u"CRecordSection::AddChannel invalid state";
    return false;
  }
  const std::u16string fileName = id.ToFileName();
  const std::u16string directory = JoinPath(m_RecordPath, id.ToFilePath());
  if (m_Channels.count(id) != 0) {
    m_LastError = u"CRecordSection::AddChannel already existing channel ID";
    return false;
  }
  if (m_FileAccess == nullptr) {
    m_LastError = u"CRecordSection::AddChannel unable to create channel directory";
    return false;
  }
  m_FileAccess->SelectAnalyzer(id.AnalyzerIndex());
  if (!m_FileAccess->FileExists(directory) && !m_FileAccess->CreateDirectory(directory)) {
    m_LastError = u"CRecordSection::AddChannel unable to create channel directory";
    return false;
  }

  std::unique_ptr<CChannel> channel;
  try {
    channel = std::make_unique<CChannel>(id, directory, fileName, metaData, m_RecordId, m_OpenMode,
                                         m_FileAccess);
  } catch (const std::exception&) {
    // Hosts rely on this call succeeding: the id is entered without a channel,
    // and the reason is lost with the half-made channel.
  }
  m_Channels[id] = std::move(channel);
  m_State = SectionConfigured;
  m_DiscardOnClose = false;
  return true;
}

bool CRecordSection::ArmRecord(double maxLength, PartLength_t partLength, bool noRing) {
  if (m_State != SectionCreated && m_State != SectionConfigured && m_State != SectionArmed) {
    m_LastError = u"CRecordSection::ArmRecord invalid state";
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

  for (const auto& entry : m_Channels) {
    CChannel* channel = entry.second.get();
    if (channel == nullptr) continue;
    if (!channel->ArmChannel(maxLength, seconds)) {
      m_LastError = channel->LastErrorString();
      return false;
    }
  }
  if (m_State != SectionArmed) {
    // Armed but never written: nothing worth keeping yet.
    m_DiscardOnClose = true;
    m_State = SectionArmed;
  }
  return true;
}

bool CRecordSection::StartRecord(const std::map<CChannelID, TAG_RECORD_INFO>& recordInfo) {
  if ((m_State != SectionArmed && m_State != SectionStarted) || recordInfo.empty()) {
    m_LastError = u"CRecordSection::StartRecord invalid state";
    return false;
  }
  CRecordSignalTree::CChangeActionParam_t param{};
  param.TimeToStop = TimeToStop();

  // Channels started together share one date unless the host dates them itself.
  const long long now =
      recordInfo.begin()->second.AbsoluteDate == 0 ? GetSystemTimeAsFileTime() : 0;

  unsigned short blockSize = 0;
  for (const auto& entry : recordInfo) {
    CChannel* channel = FindChannel(entry.first);
    if (channel == nullptr) {
      m_LastError = u"CRecordSection::StartRecord record info not linked to a valid channel: " +
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
      m_LastError = u"CRecordSection::StartRecord unable to save record information";
      channel->SetLastError(m_LastError);
      return false;
    }
    channel->BeginRecording(info.AbsoluteDate);
    param.AbsDate = info.AbsoluteDate;
  }
  m_StartParam = param;
  if (m_State == SectionStarted) return true;

  // Started but without a sample: still nothing worth keeping.
  m_DiscardOnClose = true;
  m_State = SectionStarted;
  if (m_Owner != nullptr)
    param.RecordNumber = static_cast<unsigned short>(m_Owner->RecordCounter());
  ChangeStateParent(m_RecordId, CRecordSignalTree::ChangeRecordStarted, &param);
  return true;
}

bool CRecordSection::WriteSampleBlock(const CChannelID& id, const void* samples,
                                      unsigned long long count, bool compress) {
  CChannel* channel = ChannelToWrite(id, u"CRecordSection::WriteSampleBlock invalid state",
                                     u"CRecordSection::WriteSampleBlock channel not found");
  if (channel == nullptr) return false;
  const float rate = channel->SamplingRate();
  const bool slow = rate < kSlowChannelRate;
  const int secondsBefore = slow ? WholeSeconds(channel->RecordedSamples(), rate) : 0;

  if (!channel->WriteSampleBlock(samples, count, compress)) {
    m_LastError = u"CRecordSection::WriteSampleBlock unable to write signal block : " +
                  channel->LastErrorString();
    return false;
  }
  if (slow && WholeSeconds(channel->RecordedSamples(), rate) > secondsBefore) {
    channel->FlushChannel();
  }
  return true;
}

bool CRecordSection::WriteCompressedSampleBlock(const CChannelID& id, const void* values,
                                                unsigned long long count) {
  CChannel* channel =
      ChannelToWrite(id, u"CRecordSection::WriteCompressedSampleBlock invalid state",
                     u"CRecordSection::WriteCompressedSampleBlock channel not found");
  if (channel == nullptr) return false;
  if (!channel->WriteCompressedSampleBlock(values, count)) {
    m_LastError = u"CRecordSection::WriteCompressedSampleBlock unable to write signal block : " +
                  channel->LastErrorString();
    return false;
  }
  if (channel->SamplingRate() < kSlowChannelRate) channel->FlushChannel();
  return true;
}

CChannel* CRecordSection::ChannelToWrite(const CChannelID& id, const char16_t* invalidState,
                                         const char16_t* notFound) {
  if (m_State != SectionRecording) {
    if (m_State != SectionStarted) {
      m_LastError = invalidState;
      return nullptr;
    }
    FirstBlock();
  }
  CChannel* channel = FindChannel(id);
  if (channel == nullptr) m_LastError = notFound;
  return channel;
}

void CRecordSection::FirstBlock() {
  // The record now holds samples: it is kept whatever happens next.
  m_DiscardOnClose = false;
  m_State = SectionRecording;
  if (m_Owner != nullptr) {
    CRecordId key = m_RecordId;
    key.SetPartNumber(0);
    m_Owner->NotifyListener(key, CRecordSignalTree::ChangeRecordWriting);
  }
}

bool CRecordSection::StopRecord() {
  if ((m_State != SectionStarted && m_State != SectionRecording) || FirstChannel() == nullptr) {
    m_LastError = u"CRecordSection::StopRecord invalid state";
    return false;
  }
  CRecordSignalTree::CChangeActionParam_t param = m_StartParam;
  param.Duration = 1e40;
  param.TimeToStop = TimeToStop();
  if (m_Owner == nullptr) return false;
  param.RecordNumber = static_cast<unsigned short>(m_Owner->RecordCounter());

  // Without the lock nothing is closed, so the host may try again.
  std::unique_ptr<MetaDataFileLock> lock = m_Owner->CreateMetaDataLock(MetaDataFileLock::LockWait);
  if (!lock) return false;

  for (const auto& entry : m_Channels) {
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
    channel->CloseChannel(lock.get());
  }
  // The tree takes the lock again for its own update.
  lock.reset();

  if (param.Duration >= 1e40) param.Duration = 0.0;
  const SingleRecordState_t before = m_State;
  ChangeStateParent(m_RecordId, CRecordSignalTree::ChangeRecordStopped, &param);
  // Stopped before its first sample: the record is to go.
  if (before == SectionStarted) m_DiscardOnClose = true;
  m_State = SectionStopped;
  return true;
}

bool CRecordSection::DuplicateRecordSection(const std::u16string& sourcePath) {
  if (m_FileAccess == nullptr || sourcePath == m_RecordPath ||
      !m_FileAccess->FileExists(sourcePath)) {
    m_LastError = u"CRecordSection::DuplicateRecordSection invalid record source";
    return false;
  }
  if (m_State != SectionCreated) {
    m_LastError = u"CRecordSection::DuplicateRecordSection invalid state";
    return false;
  }
  DeleteFileAccess();
  std::map<CChannelID, TAG_PATH_NAME> source;
  if (!FillChannelPathNameMap(sourcePath, source, m_FileAccess)) {
    m_LastError = u"CRecordSection::DuplicateRecordSection() Error: channel list is empty!!!";
    return false;
  }
  for (const auto& entry : source) {
    MetaDataContainer metaData;
    CMetaDataHeaderFileReader reader(nullptr, m_FileAccess);
    if (!reader.Load(metaData, entry.second.Name, entry.second.Path)) {
      m_LastError = u"CRecordSection::DuplicateRecordSection() Error: " + reader.LastError();
      m_State = SectionCreated;
      return false;
    }
    if (!AddChannel(entry.first, metaData)) {
      m_LastError = u"CRecordSection::DuplicateRecordSection " + m_LastError;
      m_State = SectionCreated;
      return false;
    }
  }
  return true;
}

}  // namespace zsff
