// Operations of the section that come with the post-analysis and surgery work.
// Until then each gives its failure value, so a host sees a record that can be
// recorded, read back and viewed but not yet cut.
#include <zsff/RecordSection.h>

namespace zsff {

// Post-analysis: comes with the post-analysis work.
bool CRecordSection::SetPostAnalysisSettings(const CChannelID&, const CPostAnalysisSettings&) {
  return false;
}
// Post-analysis: comes with the post-analysis work.
bool CRecordSection::SavePostAnalysisSettings(const CChannelID&, const CPostAnalysisSettings&) {
  return false;
}

// Surgery: comes with the surgery work.
bool CRecordSection::EraseParts(const CChannelID&, unsigned short, unsigned short) { return false; }
// Surgery: comes with the surgery work. The section's own id twice, as when not editing.
std::pair<CRecordId, CRecordId> CRecordSection::Split(unsigned short) {
  return {m_RecordId, m_RecordId};
}
// Surgery: comes with the surgery work.
bool CRecordSection::CleanRecord() { return false; }

}  // namespace zsff
