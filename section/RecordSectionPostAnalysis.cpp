// The section's side of post-analysis settings: put over a channel's scaling for
// the reads of this section, or saved beside the recorded values in the
// channel's ".zrm", where every later opening of the record finds them.
#include <zsff/MetaDataContainer.h>
#include <zsff/PostAnalysisSettings.h>
#include <zsff/RecordSection.h>

#include "section/Channel.h"
#include "section/PostAnalysisKeys.h"
#include "section/RecordSectionOwner.h"

namespace zsff {

bool CRecordSection::SetPostAnalysisSettings(const CChannelID& id,
                                             const CPostAnalysisSettings& settings) {
  CChannel* channel = FindChannel(id);
  if (channel == nullptr ||
      (m_State != SectionOpened && m_State != SectionReading && m_State != SectionStopped)) {
    return false;
  }
  channel->SetPostAnalysisCoeff(settings.Sensitivity(), settings.Offset());
  return true;
}

bool CRecordSection::SavePostAnalysisSettings(const CChannelID& id,
                                              const CPostAnalysisSettings& settings) {
  CChannel* channel = FindChannel(id);
  // The tree opens its records for reading to save into them; whether the
  // measurement may be written is the tree's mode.
  const bool readOnly = m_Owner != nullptr && m_Owner->IsReadOnly();
  if (channel == nullptr || readOnly || (m_State != SectionOpened && m_State != SectionStopped)) {
    m_LastError =
        u"CRecordSection::SavePostAnalysisSettings() : record open in read only mode or channel "
        u"not found";
    return false;
  }
  MetaDataContainer metaData;
  TAG_RECORD_INFO info;
  if (!channel->ReadChannelMetaData(metaData, info, false, 0)) {
    m_LastError = channel->LastErrorString();
    return false;
  }
  if (!PutPostAnalysisSettings(settings, metaData)) return true;
  if (!channel->UpdateChannelMetaData(metaData)) {
    m_LastError = channel->LastErrorString();
    return false;
  }
  return true;
}

}  // namespace zsff
