// Typed, named access to the metadata of one channel (the ".zrm" file): one operation
// per key, and the enumerations that the metadata keeps as text.
#pragma once

#include <zsff/MetaDataContainer.h>
#include <zsff/SignalTypes.h>

#include <map>
#include <string>
#include <vector>
#include <zsff/Export.h>

namespace zsff {

// Reads a channel's metadata. A view: it holds a reference to the container, which
// must outlive it, and no other state.
//
// Each getter with an output argument returns whether the key was found in a kind that
// can be read as the output's (MetaDataContainer::FindMetadata, with its widenings: a
// float key stored as a double is read; a long key stored as a long long is not). On
// false the output stays as the caller preset it, so callers preset defaults.
// The exception is every getter whose output is an 8-bit string: the key holds wide text
// that is handed out converted to the system code page, and the output is always
// assigned, empty when the key is missing or holds no text.
class ZSFF_API CMetaDataChannelReader {
 public:
  explicit CMetaDataChannelReader(const MetaDataContainer& container) : m_Container(container) {}

  bool Name(std::u16string& out) const;
  bool Type(std::string& out) const;    // signal type as text, see SignalType()
  bool Format(std::string& out) const;  // "DataFormat", see SampleFormat()
  bool Channel(long& out) const;        // "Track"
  bool Coupling(std::string& out) const;
  bool Source(std::u16string& out) const;          // "SourceID"
  bool RecordedSource(std::u16string& out) const;  // "RecSourceID"
  bool SourceName(std::u16string& out) const;
  bool PhysicalQuantity(std::u16string& out) const;
  bool Unit(std::u16string& out) const;
  bool TransducerID(std::u16string& out) const;
  bool RangePeak(float& out) const;
  bool RangeInfo(float& out) const;
  bool SamplingRate(float& out) const;  // samples per second
  bool Sensitivity(float& out) const;
  bool Offset(float& out) const;
  bool AbsAccuracy(float& out) const;
  bool Polarity(long& out) const;
  bool SamplingIndex(std::u16string& out) const;
  bool FreqCorr(std::vector<float>& out) const;
  bool NodeNumber(std::u16string& out) const;
  bool NodeDirection(std::u16string& out) const;
  bool NodeComponent(std::u16string& out) const;
  bool NodeType(std::u16string& out) const;
  bool IsTach(bool& out) const;
  bool ExtSyncMode(std::string& out) const;
  bool MissingTeeth(long& out) const;
  bool PulsePerRev(float& out) const;
  bool PreDivider(long& out) const;
  bool DeviceName(std::u16string& out) const;
  bool DeviceType(std::u16string& out) const;
  bool DeviceSN(std::u16string& out) const;
  bool DeviceVersion(std::string& out) const;
  bool DeviceFirmWareVersion(std::string& out) const;
  bool DeviceDiskName(std::string& out) const;
  bool DeviceDiskSN(std::string& out) const;

  // The record's start: "RecordStartDateString" as text, "RecordStartDate" as a file
  // time (100 ns ticks since 1601).
  bool StartOfRecord(std::string& out) const;
  bool StartOfRecord(long long& out) const;
  bool CumulativeDate(double& out) const;      // "RecordCumulativeDate"
  bool RelativeDate(long long& out) const;     // "RecordRelativeDate", 16 fraction bits
  bool RelativeDateEnd(long long& out) const;  // RelativeDate + (samples << 16)
  bool RecordLength(double& out) const;        // "RecordDuration", seconds
  bool RecordNumber(long& out) const;
  bool TimeStep(long& out) const;     // "SignalTimeStep"
  bool TimeOffset(float& out) const;  // "SignalOffset"
  // Compact16 samples times the coefficient plus the offset give physical values.
  bool UncompactCoeff(float& out) const;   // "SignalUncompactCoeff"
  bool UncompactOffset(float& out) const;  // "SignalUncompactOffset"

  // What post-analysis puts over the channel ("...PostAnalysis").
  bool PARangeInfo(float& out) const;
  bool PASensitivity(float& out) const;
  bool PAOffset(float& out) const;
  bool PAPhysicalQuantity(std::u16string& out) const;
  bool PAUnit(std::u16string& out) const;
  bool PATransducerID(std::u16string& out) const;
  bool PAName(std::u16string& out) const;

  bool PartLength(float& out) const;
  bool MaxRecordLength(float& out) const;
  bool CompressionFactor(long& out) const;  // of the min/max pyramid
  bool PartsToDelete(std::vector<long>& out) const;

  // The enumerations kept as text. A missing key and a text that isn't one of the
  // enumeration's (compared exactly, case included) both give 0, without error.
  SampleFormat_t SampleFormat() const;
  // Bytes per sample of SampleFormat(): 4, 8, 2 or 4.
  unsigned long long SampleSize() const;
  SignalType_t SignalType() const;
  long Coupling() const;     // 0 to 9; older spellings of five couplings are read too
  long ExtSyncMode() const;  // 0 to 7

  // The part numbers marked for deletion, each kept to its low 16 bits; empty when the
  // key is missing.
  std::vector<unsigned short> PartsToDelete() const;

  std::map<int, MetaDataQuantity> PhysicalQuantityMap() const;  // a copy

 private:
  const MetaDataContainer& m_Container;
};

// Writes a channel's metadata. A view like the reader. Every operation replaces what
// the key held, whatever its kind, by a value of the key's own kind; text given as an
// 8-bit string is stored as wide text.
//
// Some names differ from the reader's on purpose and stay so: UncompCoeff and
// UncompOffset write what UncompactCoeff and UncompactOffset read, and StartDate
// writes what StartOfRecord reads.
class ZSFF_API CMetaDataChannelWriter {
 public:
  explicit CMetaDataChannelWriter(MetaDataContainer& container) : m_Container(container) {}

  void Name(const std::u16string& value);
  // Stored as given; nothing checks that the text is one of the enumeration's.
  void Type(const std::string& value);
  void Format(const std::string& value);
  void Channel(long value);
  void Coupling(const std::string& value);
  // The current spelling of the coupling; a value outside 0 to 9 writes "AC".
  void Coupling(long value);
  void Source(const std::u16string& value);
  void RecordedSource(const std::u16string& value);
  void SourceName(const std::u16string& value);
  void PhysicalQuantity(const std::u16string& value);
  void Unit(const std::u16string& value);
  void TransducerID(const std::u16string& value);
  void RangePeak(float value);
  void RangeInfo(float value);
  void SamplingRate(float value);
  void Sensitivity(float value);
  void Offset(float value);
  void AbsAccuracy(float value);
  void Polarity(long value);
  void SamplingIndex(const std::u16string& value);
  void FreqCorr(const std::vector<float>& value);
  void NodeNumber(const std::u16string& value);
  void NodeDirection(const std::u16string& value);
  void NodeComponent(const std::u16string& value);
  void NodeType(const std::u16string& value);
  void IsTach(bool value);
  // The text of the mode; a value outside 0 to 7 writes "Trigger".
  void ExtSyncMode(long value);
  void MissingTeeth(long value);
  void PulsePerRev(float value);
  void PreDivider(long value);
  void DeviceName(const std::u16string& value);
  void DeviceType(const std::u16string& value);
  void DeviceSN(const std::u16string& value);
  void DeviceVersion(const std::string& value);
  void DeviceFirmWareVersion(const std::string& value);
  void DeviceDiskName(const std::string& value);
  void DeviceDiskSN(const std::string& value);

  void StartDate(const std::u16string& value);  // "RecordStartDateString"
  void StartDate(long long value);              // "RecordStartDate"
  void CumulativeDate(double value);
  void RelativeDate(long long value);
  void RelativeDateEnd(long long value);
  void RecordLength(double value);
  void RecordNumber(long value);
  void TimeStep(long value);
  void TimeOffset(float value);
  void UncompCoeff(float value);
  void UncompOffset(float value);

  void PARangeInfo(float value);
  void PASensitivity(float value);
  void PAOffset(float value);
  void PAPhysicalQuantity(const std::u16string& value);
  void PAUnit(const std::u16string& value);
  void PATransducerID(const std::u16string& value);
  void PAName(const std::u16string& value);

  void PartLength(float value);
  void MaxRecordLength(float value);
  void CompressionFactor(long value);
  void PartsToDelete(const std::vector<long>& value);
  // Stored as longs, so the reader's list comes back unchanged.
  void PartsToDelete(const std::vector<unsigned short>& value);

  void PhysicalQuantityMap(const std::map<int, MetaDataQuantity>& value);  // replaces all

 private:
  // Callers give the mode as a number, so that only known texts get written.
  void ExtSyncMode(const std::string& value);

  MetaDataContainer& m_Container;
};

}  // namespace zsff
