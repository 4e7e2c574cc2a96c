// The section as a whole: opening, closing, the discard mark, the tree notices,
// and the hand-over of its jobs to the classes that do them: recording
// (CSectionRecorder), reading (CSectionReader), listing (CSectionListing),
// surgery (CSectionSurgery) and the check (CSectionCheck). Channel metadata and
// lengths are in RecordSectionChannels.cpp.
#include <zsff/FileAccess.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/RecordSection.h>

#include <exception>

#include "section/Channel.h"
#include "section/RecordSectionOwner.h"
#include "section/SectionCheck.h"
#include "section/SectionListing.h"
#include "section/SectionReader.h"
#include "section/SectionRecorder.h"
#include "section/SectionSurgery.h"

namespace zsff {

namespace {

// The measurement-level selection of a store, as against one analyzer's disk.
constexpr unsigned short kAllAnalyzers = 32767;

}  // namespace

// --- Opening and closing ------------------------------------------------------------

CRecordSection::CRecordSection(CRecordSignalTree* tree, const std::u16string& measurementPath,
                               const CRecordId& id, unsigned short lastPart, OpenMode_t openMode,
                               bool recording, double duration, long long offsetTimeToStop,
                               CAbstractFileAccess* access, long analyzerFilter)
    : CRecordSection(tree != nullptr ? tree->m_SectionOwner.get() : nullptr, measurementPath, id,
                     lastPart, openMode, recording, duration, offsetTimeToStop, access,
                     analyzerFilter) {}

CRecordSection::CRecordSection(CRecordSectionOwner* owner, const std::u16string& measurementPath,
                               const CRecordId& id, unsigned short lastPart, OpenMode_t openMode,
                               bool recording, double duration, long long offsetTimeToStop,
                               CAbstractFileAccess* access, long analyzerFilter)
    : m_Owner(owner),
      m_MeasurementPath(measurementPath),
      m_RecordName(id.IdToRecordName()),
      m_RecordId(id),
      m_OpenMode(openMode),
      m_FileAccess(access),
      m_State(openMode == OpenRead || openMode == OpenInfo ? SectionOpened : SectionCreated),
      m_OffsetTimeToStop(offsetTimeToStop),
      m_Reader(std::make_unique<CSectionReader>(*this)) {
  m_RecordPath = JoinPath(m_MeasurementPath, m_RecordName);
  const double samplingRateSum =
      OpenChannels(lastPart, recording, duration, offsetTimeToStop, analyzerFilter);
  m_Recorder = std::make_unique<CSectionRecorder>(*this, samplingRateSum);
}

double CRecordSection::OpenChannels(unsigned short lastPart, bool recording, double duration,
                                    long long offsetTimeToStop, long analyzerFilter) {
  double samplingRateSum = 0.0;
  if (m_FileAccess == nullptr || m_OpenMode == OpenInfo) return samplingRateSum;

  if (m_OpenMode != OpenRead && !m_FileAccess->FileExists(m_RecordPath)) {
    // A record made here and left without channels is not worth keeping.
    m_DiscardOnClose = true;
    m_FileAccess->SelectAnalyzer(kAllAnalyzers);
    m_FileAccess->CreateDirectory(m_RecordPath);
  }

  if (!FillChannelPathNameMap(m_RecordPath, m_ChannelPathMap, m_FileAccess)) {
    return samplingRateSum;
  }

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
        // Parts erased in a finished record go at its next opening, by whoever
        // gets the lock first.
        if (!channel->m_SignalParts.PartsToDelete.empty() && m_Owner != nullptr) {
          std::unique_ptr<MetaDataFileLock> lock =
              m_Owner->CreateMetaDataLock(MetaDataFileLock::LockTryOnce);
          if (lock) channel->ApplyPartsToDelete();
        }
      }
      samplingRateSum += channel->SamplingRate();
      m_Channels[channelId] = std::move(channel);
    }
  } catch (const std::exception&) {
    // The section keeps the channels opened so far.
  }
  return samplingRateSum;
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

bool CRecordSection::ChangeStateParent(const CRecordId& id,
                                       CRecordSignalTree::ChangeAction_t action,
                                       const CRecordSignalTree::CChangeActionParam_t* param) {
  return m_Owner == nullptr || m_Owner->ChangeState(id, action, param, m_LastError);
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
  return CSectionListing::FillChannelPathNameMap(recordPath, channels, access);
}

// --- Recording and reading, done by the section's recorder and reader -------------

bool CRecordSection::AddChannel(const CChannelID& id, const MetaDataContainer& metaData) {
  return m_Recorder->AddChannel(id, metaData);
}

bool CRecordSection::ArmRecord(double maxLength, PartLength_t partLength, bool noRing) {
  return m_Recorder->ArmRecord(maxLength, partLength, noRing);
}

bool CRecordSection::StartRecord(const std::map<CChannelID, TAG_RECORD_INFO>& recordInfo) {
  return m_Recorder->StartRecord(recordInfo);
}

bool CRecordSection::WriteSampleBlock(const CChannelID& id, const void* samples,
                                      unsigned long long count, bool compress) {
  return m_Recorder->WriteSampleBlock(id, samples, count, compress);
}

bool CRecordSection::WriteCompressedSampleBlock(const CChannelID& id, const void* values,
                                                unsigned long long count) {
  return m_Recorder->WriteCompressedSampleBlock(id, values, count);
}

bool CRecordSection::StopRecord() { return m_Recorder->StopRecord(); }

bool CRecordSection::DuplicateRecordSection(const std::u16string& sourcePath) {
  return m_Recorder->DuplicateRecordSection(sourcePath);
}

bool CRecordSection::StopReading() { return m_Reader->StopReading(); }

bool CRecordSection::GetTimeOffset(std::vector<float>& offsets, long& timeStep) {
  return m_Reader->GetTimeOffset(offsets, timeStep);
}

bool CRecordSection::SetReadPos(const CChannelID& id, double seconds) {
  return m_Reader->SetReadPos(id, seconds);
}

bool CRecordSection::SetReadPos(double seconds) { return m_Reader->SetReadPos(seconds); }

bool CRecordSection::SetReadPosSpl(const CChannelID& id, unsigned long long sample) {
  return m_Reader->SetReadPosSpl(id, sample);
}

double CRecordSection::GetReadPos(const CChannelID& id) const { return m_Reader->GetReadPos(id); }

unsigned long long CRecordSection::GetReadPosSpl(const CChannelID& id) const {
  return m_Reader->GetReadPosSpl(id);
}

unsigned long long CRecordSection::ReadRawSampleBlock(const CChannelID& id, void* buffer,
                                                      unsigned long long count) {
  return m_Reader->ReadRawSampleBlock(id, buffer, count);
}

unsigned long long CRecordSection::ReadSampleBlock(const CChannelID& id, void* buffer,
                                                   unsigned long long count,
                                                   SampleReadMode_t mode) {
  return m_Reader->ReadSampleBlock(id, buffer, count, mode);
}

bool CRecordSection::EndOfReading(const CChannelID& id, ReadState_t& state) const {
  return m_Reader->EndOfReading(id, state);
}

// --- Listing, surgery and the check, each a job of its own --------------------------

bool CRecordSection::ListChannelsID(std::vector<CChannelID>& ids) const {
  return CSectionListing(*this).ListChannelsID(ids);
}

bool CRecordSection::ListChannelsName(std::vector<std::u16string>& names) const {
  return CSectionListing(*this).ListChannelsName(names);
}

bool CRecordSection::ListAnalyzerInfo(std::map<unsigned short, CAnalyzerInfo>& analyzers) const {
  return CSectionListing(*this).ListAnalyzerInfo(analyzers);
}

std::pair<CRecordId, CRecordId> CRecordSection::Split(unsigned short partCount) {
  return CSectionSurgery(*this).Split(partCount);
}

bool CRecordSection::EraseParts(const CChannelID& id, unsigned short firstPart,
                                unsigned short lastPart) {
  return CSectionSurgery(*this).EraseParts(id, firstPart, lastPart);
}

void CRecordSection::SkipFirstPartNumber(bool skip) {
  CSectionSurgery(*this).SkipFirstPartNumber(skip);
}

bool CRecordSection::RemoveRecordSection(const MetaDataFileLock* lock,
                                         const std::u16string& measurementPath, const CRecordId& id,
                                         unsigned short lastPart, CAbstractFileAccess* access,
                                         std::u16string& error) {
  return CSectionSurgery::RemoveRecordSection(lock, measurementPath, id, lastPart, access, error);
}

bool CRecordSection::CleanRecord() { return CSectionSurgery(*this).CleanRecord(); }

CheckRecordRet CRecordSection::CheckRecord(const MetaDataFileLock* lock, bool timeToStop,
                                           float frontEndRate, std::vector<std::string>& errors,
                                           unsigned long long& channelCount) {
  return CSectionCheck(*this).Run(lock, timeToStop, frontEndRate, errors, channelCount);
}

}  // namespace zsff
