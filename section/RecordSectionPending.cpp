// Operations of the section that come with the reading, compressed-request,
// post-analysis and surgery work. Until then each gives its failure value, so a
// host sees a record that can be recorded but not yet read back or cut.
#include <zsff/RecordSection.h>

namespace zsff {

// Reading path: comes with the reading work.
bool CRecordSection::StopReading() { return false; }
// Reading path: comes with the reading work.
bool CRecordSection::GetTimeOffset(std::vector<float>&, long&) { return false; }
// Reading path: comes with the reading work.
bool CRecordSection::SetReadPos(const CChannelID&, double) { return false; }
// Reading path: comes with the reading work.
bool CRecordSection::SetReadPos(double) { return false; }
// Reading path: comes with the reading work.
bool CRecordSection::SetReadPosSpl(const CChannelID&, unsigned long long) { return false; }
// Reading path: comes with the reading work.
double CRecordSection::GetReadPos(const CChannelID&) const { return 0.0; }
// Reading path: comes with the reading work.
unsigned long long CRecordSection::GetReadPosSpl(const CChannelID&) const { return 0; }
// Reading path: comes with the reading work.
unsigned long long CRecordSection::ReadRawSampleBlock(const CChannelID&, void*,
                                                      unsigned long long) {
  return 0;
}
// Reading path: comes with the reading work.
unsigned long long CRecordSection::ReadSampleBlock(const CChannelID&, void*, unsigned long long,
                                                   SampleReadMode_t) {
  return 0;
}
// Reading path: comes with the reading work. Ends a reading loop at once.
bool CRecordSection::EndOfReading(const CChannelID&, ReadState_t& state) const {
  state = ReadStateNone;
  return true;
}

// Post-analysis: comes with the post-analysis work.
bool CRecordSection::SetPostAnalysisSettings(const CChannelID&, const CPostAnalysisSettings&) {
  return false;
}
// Post-analysis: comes with the post-analysis work.
bool CRecordSection::SavePostAnalysisSettings(const CChannelID&, const CPostAnalysisSettings&) {
  return false;
}

// Compressed requests: come with the compressed-request work.
bool CRecordSection::RequestCompressedSignal(const CChannelID&, float, float, unsigned long long,
                                             bool) {
  return false;
}
// Compressed requests: come with the compressed-request work.
CompressStatus_t CRecordSection::GetCompressedSignal(const CChannelID&, void*, SampleReadMode_t) {
  return CompressFailed;
}
// Compressed requests: come with the compressed-request work.
CompressedSignalInfo_t CRecordSection::GetCompressedSignalInfo(const CChannelID&) {
  return CompressedSignalInfo_t();
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
