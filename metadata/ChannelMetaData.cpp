// Each operation of the channel views is a one-line mapping onto its key in
// MetaDataKeys.h, which fixes the key's spelling and stored kind: an operation whose
// value type disagreed with its key's kind would not compile.
#include <zsff/ChannelMetaData.h>

#include "metadata/EnumTexts.h"
#include "metadata/MetaDataKeys.h"

namespace zsff {

namespace K = ChannelKeys;
using Reader = CMetaDataChannelReader;
using Writer = CMetaDataChannelWriter;

// ---- Reader ----

bool Reader::Name(std::u16string& out) const { return ReadKey(m_Container, K::Name, out); }
bool Reader::Type(std::string& out) const { return ReadKey(m_Container, K::Type, out); }
bool Reader::Format(std::string& out) const { return ReadKey(m_Container, K::DataFormat, out); }
bool Reader::Channel(long& out) const { return ReadKey(m_Container, K::Track, out); }
bool Reader::Coupling(std::string& out) const { return ReadKey(m_Container, K::Coupling, out); }
bool Reader::Source(std::u16string& out) const { return ReadKey(m_Container, K::SourceID, out); }
bool Reader::RecordedSource(std::u16string& out) const {
  return ReadKey(m_Container, K::RecSourceID, out);
}
bool Reader::SourceName(std::u16string& out) const {
  return ReadKey(m_Container, K::SourceName, out);
}
bool Reader::PhysicalQuantity(std::u16string& out) const {
  return ReadKey(m_Container, K::PhysicalQuantity, out);
}
bool Reader::Unit(std::u16string& out) const { return ReadKey(m_Container, K::Unit, out); }
bool Reader::TransducerID(std::u16string& out) const {
  return ReadKey(m_Container, K::TransducerID, out);
}
bool Reader::RangePeak(float& out) const { return ReadKey(m_Container, K::RangePeak, out); }
bool Reader::RangeInfo(float& out) const { return ReadKey(m_Container, K::RangeInfo, out); }
bool Reader::SamplingRate(float& out) const { return ReadKey(m_Container, K::SamplingRate, out); }
bool Reader::Sensitivity(float& out) const { return ReadKey(m_Container, K::Sensitivity, out); }
bool Reader::Offset(float& out) const { return ReadKey(m_Container, K::Offset, out); }
bool Reader::AbsAccuracy(float& out) const { return ReadKey(m_Container, K::AbsAccuracy, out); }
bool Reader::Polarity(long& out) const { return ReadKey(m_Container, K::Polarity, out); }
bool Reader::SamplingIndex(std::u16string& out) const {
  return ReadKey(m_Container, K::SamplingIndex, out);
}
bool Reader::FreqCorr(std::vector<float>& out) const {
  return ReadKey(m_Container, K::FreqCorr, out);
}
bool Reader::NodeNumber(std::u16string& out) const {
  return ReadKey(m_Container, K::NodeNumber, out);
}
bool Reader::NodeDirection(std::u16string& out) const {
  return ReadKey(m_Container, K::NodeDirection, out);
}
bool Reader::NodeComponent(std::u16string& out) const {
  return ReadKey(m_Container, K::NodeComponent, out);
}
bool Reader::NodeType(std::u16string& out) const { return ReadKey(m_Container, K::NodeType, out); }
bool Reader::IsTach(bool& out) const { return ReadKey(m_Container, K::IsTach, out); }
bool Reader::ExtSyncMode(std::string& out) const {
  return ReadKey(m_Container, K::ExtSyncMode, out);
}
bool Reader::MissingTeeth(long& out) const { return ReadKey(m_Container, K::MissingTeeth, out); }
bool Reader::PulsePerRev(float& out) const { return ReadKey(m_Container, K::PulsePerRev, out); }
bool Reader::PreDivider(long& out) const { return ReadKey(m_Container, K::PreDivider, out); }
bool Reader::DeviceName(std::u16string& out) const {
  return ReadKey(m_Container, K::DeviceName, out);
}
bool Reader::DeviceType(std::u16string& out) const {
  return ReadKey(m_Container, K::DeviceType, out);
}
bool Reader::DeviceSN(std::u16string& out) const { return ReadKey(m_Container, K::DeviceSN, out); }
bool Reader::DeviceVersion(std::string& out) const {
  return ReadKey(m_Container, K::DeviceVersion, out);
}
bool Reader::DeviceFirmWareVersion(std::string& out) const {
  return ReadKey(m_Container, K::DeviceFirmWareVersion, out);
}
bool Reader::DeviceDiskName(std::string& out) const {
  return ReadKey(m_Container, K::DeviceDiskName, out);
}
bool Reader::DeviceDiskSN(std::string& out) const {
  return ReadKey(m_Container, K::DeviceDiskSN, out);
}

bool Reader::StartOfRecord(std::string& out) const {
  return ReadKey(m_Container, K::RecordStartDateString, out);
}
bool Reader::StartOfRecord(long long& out) const {
  return ReadKey(m_Container, K::RecordStartDate, out);
}
bool Reader::CumulativeDate(double& out) const {
  return ReadKey(m_Container, K::RecordCumulativeDate, out);
}
bool Reader::RelativeDate(long long& out) const {
  return ReadKey(m_Container, K::RecordRelativeDate, out);
}
bool Reader::RelativeDateEnd(long long& out) const {
  return ReadKey(m_Container, K::RecordRelativeDateEnd, out);
}
bool Reader::RecordLength(double& out) const {
  return ReadKey(m_Container, K::RecordDuration, out);
}
bool Reader::RecordNumber(long& out) const { return ReadKey(m_Container, K::RecordNumber, out); }
bool Reader::TimeStep(long& out) const { return ReadKey(m_Container, K::SignalTimeStep, out); }
bool Reader::TimeOffset(float& out) const { return ReadKey(m_Container, K::SignalOffset, out); }
bool Reader::UncompactCoeff(float& out) const {
  return ReadKey(m_Container, K::SignalUncompactCoeff, out);
}
bool Reader::UncompactOffset(float& out) const {
  return ReadKey(m_Container, K::SignalUncompactOffset, out);
}

bool Reader::PARangeInfo(float& out) const {
  return ReadKey(m_Container, K::RangeInfoPostAnalysis, out);
}
bool Reader::PASensitivity(float& out) const {
  return ReadKey(m_Container, K::SensitivityPostAnalysis, out);
}
bool Reader::PAOffset(float& out) const { return ReadKey(m_Container, K::OffsetPostAnalysis, out); }
bool Reader::PAPhysicalQuantity(std::u16string& out) const {
  return ReadKey(m_Container, K::PhysicalQuantityPostAnalysis, out);
}
bool Reader::PAUnit(std::u16string& out) const {
  return ReadKey(m_Container, K::UnitPostAnalysis, out);
}
bool Reader::PATransducerID(std::u16string& out) const {
  return ReadKey(m_Container, K::TransducerIDPostAnalysis, out);
}
bool Reader::PAName(std::u16string& out) const {
  return ReadKey(m_Container, K::NamePostAnalysis, out);
}

bool Reader::PartLength(float& out) const { return ReadKey(m_Container, K::PartLength, out); }
bool Reader::MaxRecordLength(float& out) const {
  return ReadKey(m_Container, K::MaxRecordLength, out);
}
bool Reader::CompressionFactor(long& out) const {
  return ReadKey(m_Container, K::CompressionFactor, out);
}
bool Reader::PartsToDelete(std::vector<long>& out) const {
  return ReadKey(m_Container, K::PartsToDelete, out);
}

SampleFormat_t Reader::SampleFormat() const {
  std::string text;
  Format(text);  // a missing key leaves the text empty, which reads as 0
  return SampleFormatFromText(text);
}

unsigned long long Reader::SampleSize() const {
  const std::size_t size = zsff::SampleSize(SampleFormat());
  return size != 0 ? size : 4;
}

SignalType_t Reader::SignalType() const {
  std::string text;
  Type(text);
  return SignalTypeFromText(text);
}

long Reader::Coupling() const {
  std::string text;
  Coupling(text);
  return CouplingFromText(text);
}

long Reader::ExtSyncMode() const {
  std::string text;
  ExtSyncMode(text);
  return ExtSyncModeFromText(text);
}

std::vector<unsigned short> Reader::PartsToDelete() const {
  std::vector<long> stored;
  PartsToDelete(stored);
  std::vector<unsigned short> parts;
  parts.reserve(stored.size());
  for (long part : stored) parts.push_back(static_cast<unsigned short>(part & 0xFFFF));
  return parts;
}

std::map<int, MetaDataQuantity> Reader::PhysicalQuantityMap() const {
  return m_Container.PhysicalQuantityMap();
}

// ---- Writer ----

void Writer::Name(const std::u16string& value) { WriteKey(m_Container, K::Name, value); }
void Writer::Type(const std::string& value) { WriteKey(m_Container, K::Type, value); }
void Writer::Format(const std::string& value) { WriteKey(m_Container, K::DataFormat, value); }
void Writer::Channel(long value) { WriteKey(m_Container, K::Track, value); }
void Writer::Coupling(const std::string& value) { WriteKey(m_Container, K::Coupling, value); }
void Writer::Coupling(long value) { Coupling(std::string(CouplingText(value))); }
void Writer::Source(const std::u16string& value) { WriteKey(m_Container, K::SourceID, value); }
void Writer::RecordedSource(const std::u16string& value) {
  WriteKey(m_Container, K::RecSourceID, value);
}
void Writer::SourceName(const std::u16string& value) {
  WriteKey(m_Container, K::SourceName, value);
}
void Writer::PhysicalQuantity(const std::u16string& value) {
  WriteKey(m_Container, K::PhysicalQuantity, value);
}
void Writer::Unit(const std::u16string& value) { WriteKey(m_Container, K::Unit, value); }
void Writer::TransducerID(const std::u16string& value) {
  WriteKey(m_Container, K::TransducerID, value);
}
void Writer::RangePeak(float value) { WriteKey(m_Container, K::RangePeak, value); }
void Writer::RangeInfo(float value) { WriteKey(m_Container, K::RangeInfo, value); }
void Writer::SamplingRate(float value) { WriteKey(m_Container, K::SamplingRate, value); }
void Writer::Sensitivity(float value) { WriteKey(m_Container, K::Sensitivity, value); }
void Writer::Offset(float value) { WriteKey(m_Container, K::Offset, value); }
void Writer::AbsAccuracy(float value) { WriteKey(m_Container, K::AbsAccuracy, value); }
void Writer::Polarity(long value) { WriteKey(m_Container, K::Polarity, value); }
void Writer::SamplingIndex(const std::u16string& value) {
  WriteKey(m_Container, K::SamplingIndex, value);
}
void Writer::FreqCorr(const std::vector<float>& value) {
  WriteKey(m_Container, K::FreqCorr, value);
}
void Writer::NodeNumber(const std::u16string& value) {
  WriteKey(m_Container, K::NodeNumber, value);
}
void Writer::NodeDirection(const std::u16string& value) {
  WriteKey(m_Container, K::NodeDirection, value);
}
void Writer::NodeComponent(const std::u16string& value) {
  WriteKey(m_Container, K::NodeComponent, value);
}
void Writer::NodeType(const std::u16string& value) { WriteKey(m_Container, K::NodeType, value); }
void Writer::IsTach(bool value) { WriteKey(m_Container, K::IsTach, value); }
void Writer::ExtSyncMode(const std::string& value) { WriteKey(m_Container, K::ExtSyncMode, value); }
void Writer::ExtSyncMode(long value) { ExtSyncMode(std::string(ExtSyncModeText(value))); }
void Writer::MissingTeeth(long value) { WriteKey(m_Container, K::MissingTeeth, value); }
void Writer::PulsePerRev(float value) { WriteKey(m_Container, K::PulsePerRev, value); }
void Writer::PreDivider(long value) { WriteKey(m_Container, K::PreDivider, value); }
void Writer::DeviceName(const std::u16string& value) {
  WriteKey(m_Container, K::DeviceName, value);
}
void Writer::DeviceType(const std::u16string& value) {
  WriteKey(m_Container, K::DeviceType, value);
}
void Writer::DeviceSN(const std::u16string& value) { WriteKey(m_Container, K::DeviceSN, value); }
void Writer::DeviceVersion(const std::string& value) {
  WriteKey(m_Container, K::DeviceVersion, value);
}
void Writer::DeviceFirmWareVersion(const std::string& value) {
  WriteKey(m_Container, K::DeviceFirmWareVersion, value);
}
void Writer::DeviceDiskName(const std::string& value) {
  WriteKey(m_Container, K::DeviceDiskName, value);
}
void Writer::DeviceDiskSN(const std::string& value) {
  WriteKey(m_Container, K::DeviceDiskSN, value);
}

void Writer::StartDate(const std::u16string& value) {
  WriteKey(m_Container, K::RecordStartDateString, value);
}
void Writer::StartDate(long long value) { WriteKey(m_Container, K::RecordStartDate, value); }
void Writer::CumulativeDate(double value) { WriteKey(m_Container, K::RecordCumulativeDate, value); }
void Writer::RelativeDate(long long value) { WriteKey(m_Container, K::RecordRelativeDate, value); }
void Writer::RelativeDateEnd(long long value) {
  WriteKey(m_Container, K::RecordRelativeDateEnd, value);
}
void Writer::RecordLength(double value) { WriteKey(m_Container, K::RecordDuration, value); }
void Writer::RecordNumber(long value) { WriteKey(m_Container, K::RecordNumber, value); }
void Writer::TimeStep(long value) { WriteKey(m_Container, K::SignalTimeStep, value); }
void Writer::TimeOffset(float value) { WriteKey(m_Container, K::SignalOffset, value); }
void Writer::UncompCoeff(float value) { WriteKey(m_Container, K::SignalUncompactCoeff, value); }
void Writer::UncompOffset(float value) { WriteKey(m_Container, K::SignalUncompactOffset, value); }

void Writer::PARangeInfo(float value) { WriteKey(m_Container, K::RangeInfoPostAnalysis, value); }
void Writer::PASensitivity(float value) {
  WriteKey(m_Container, K::SensitivityPostAnalysis, value);
}
void Writer::PAOffset(float value) { WriteKey(m_Container, K::OffsetPostAnalysis, value); }
void Writer::PAPhysicalQuantity(const std::u16string& value) {
  WriteKey(m_Container, K::PhysicalQuantityPostAnalysis, value);
}
void Writer::PAUnit(const std::u16string& value) {
  WriteKey(m_Container, K::UnitPostAnalysis, value);
}
void Writer::PATransducerID(const std::u16string& value) {
  WriteKey(m_Container, K::TransducerIDPostAnalysis, value);
}
void Writer::PAName(const std::u16string& value) {
  WriteKey(m_Container, K::NamePostAnalysis, value);
}

void Writer::PartLength(float value) { WriteKey(m_Container, K::PartLength, value); }
void Writer::MaxRecordLength(float value) { WriteKey(m_Container, K::MaxRecordLength, value); }
void Writer::CompressionFactor(long value) { WriteKey(m_Container, K::CompressionFactor, value); }
void Writer::PartsToDelete(const std::vector<long>& value) {
  WriteKey(m_Container, K::PartsToDelete, value);
}
void Writer::PartsToDelete(const std::vector<unsigned short>& value) {
  PartsToDelete(std::vector<long>(value.begin(), value.end()));
}

void Writer::PhysicalQuantityMap(const std::map<int, MetaDataQuantity>& value) {
  m_Container.PhysicalQuantityMap(value);
}

}  // namespace zsff
