// Operations of the section that come with the post-analysis work. Until then
// each gives its failure value, so a host sees a record that can be recorded,
// read back, viewed and cut but not yet rescaled.
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

}  // namespace zsff
