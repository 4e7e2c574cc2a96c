// The null section's answers. Arguments are ignored on purpose: the same call
// always gives the same answer, whatever it is given.
#include <zsff/DummyRecordSection.h>

namespace zsff {

bool CDummyRecordSection::AddChannel(const CChannelID&, const MetaDataContainer&) { return false; }
bool CDummyRecordSection::ListChannelsID(std::vector<CChannelID>&) const { return false; }
bool CDummyRecordSection::ListChannelsName(std::vector<std::u16string>&) const { return false; }
bool CDummyRecordSection::ListAnalyzerInfo(std::map<unsigned short, CAnalyzerInfo>&) const {
  return false;
}
bool CDummyRecordSection::GetChannelID(unsigned long, unsigned long, unsigned long,
                                       CChannelID&) const {
  return false;
}
bool CDummyRecordSection::ReadChannelMetaData(const CChannelID&, MetaDataContainer&,
                                              TAG_RECORD_INFO&, bool) {
  return false;
}
bool CDummyRecordSection::UpdateChannelMetaData(const MetaDataFileLock*, const CChannelID&,
                                                MetaDataContainer&) {
  return false;
}
bool CDummyRecordSection::ArmRecord(double, PartLength_t, bool) { return false; }
double CDummyRecordSection::MaxRecordLength() { return 0.0; }
double CDummyRecordSection::PartLength() const { return 0.0; }
bool CDummyRecordSection::StartRecord(const std::map<CChannelID, TAG_RECORD_INFO>&) {
  return false;
}
bool CDummyRecordSection::IsValidChannel(const CChannelID&) const { return false; }
bool CDummyRecordSection::WriteSampleBlock(const CChannelID&, const void*, unsigned long long,
                                           bool) {
  return false;
}
bool CDummyRecordSection::WriteCompressedSampleBlock(const CChannelID&, const void*,
                                                     unsigned long long) {
  return false;
}
bool CDummyRecordSection::StopRecord() { return false; }
bool CDummyRecordSection::StopReading() { return false; }
bool CDummyRecordSection::GetTimeOffset(std::vector<float>&, long&) { return false; }
bool CDummyRecordSection::SetReadPos(const CChannelID&, double) { return false; }
bool CDummyRecordSection::SetReadPos(double) { return false; }
bool CDummyRecordSection::SetReadPosSpl(const CChannelID&, unsigned long long) { return false; }
double CDummyRecordSection::GetReadPos(const CChannelID&) const { return 0.0; }
unsigned long long CDummyRecordSection::GetReadPosSpl(const CChannelID&) const { return 0; }
unsigned long long CDummyRecordSection::ReadRawSampleBlock(const CChannelID&, void*,
                                                           unsigned long long) {
  return 0;
}
unsigned long long CDummyRecordSection::ReadSampleBlock(const CChannelID&, void*,
                                                        unsigned long long, SampleReadMode_t) {
  return 0;
}
bool CDummyRecordSection::EndOfReading(const CChannelID&, ReadState_t& state) const {
  state = ReadStateNone;
  return true;
}
bool CDummyRecordSection::SetPostAnalysisSettings(const CChannelID&, const CPostAnalysisSettings&) {
  return false;
}
bool CDummyRecordSection::SavePostAnalysisSettings(const CChannelID&,
                                                   const CPostAnalysisSettings&) {
  return false;
}
bool CDummyRecordSection::RequestCompressedSignal(const CChannelID&, float, float,
                                                  unsigned long long, bool) {
  return false;
}
CompressStatus_t CDummyRecordSection::GetCompressedSignal(const CChannelID&, void*,
                                                          SampleReadMode_t) {
  return CompressFailed;
}
CompressedSignalInfo_t CDummyRecordSection::GetCompressedSignalInfo(const CChannelID&) {
  return CompressedSignalInfo_t();
}
std::u16string CDummyRecordSection::RecordName() const { return std::u16string(); }
CRecordId CDummyRecordSection::RecordId() const { return m_RecordId; }
bool CDummyRecordSection::DeleteRecord() const { return false; }
bool CDummyRecordSection::FlushSignalFiles() { return false; }
bool CDummyRecordSection::RecordLengthAndAbsoluteDate(double&, long long&) const { return false; }
double CDummyRecordSection::SignalLength(const CChannelID&, bool) const { return 0.0; }
unsigned long long CDummyRecordSection::SignalLengthSpl(const CChannelID&, bool) const { return 0; }
unsigned long long CDummyRecordSection::TotalSignalSizeInBytes() const { return 0; }
unsigned long long CDummyRecordSection::ChannelCount() const { return 0; }
std::u16string CDummyRecordSection::LastErrorString() const { return u"Invalid RecordId"; }
bool CDummyRecordSection::IsUsed() const { return false; }
CAbstractRecordSection::SingleRecordState_t CDummyRecordSection::State() const {
  return SectionOpened;
}
CAbstractRecordSection::OpenMode_t CDummyRecordSection::OpenMode() const { return OpenRead; }
bool CDummyRecordSection::EraseParts(const CChannelID&, unsigned short, unsigned short) {
  return false;
}
std::pair<CRecordId, CRecordId> CDummyRecordSection::Split(unsigned short) {
  return {CRecordId(0ULL), CRecordId(0ULL)};
}
void CDummyRecordSection::SkipFirstPartNumber(bool) {}
bool CDummyRecordSection::DuplicateRecordSection(const std::u16string&) { return false; }
bool CDummyRecordSection::CleanRecord() { return false; }

}  // namespace zsff
