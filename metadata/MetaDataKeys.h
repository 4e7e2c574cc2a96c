// The one list of metadata keys of channels and measurements, each with the kind of
// value it is stored as. The named views are one-line mappings onto these constants,
// and code that reaches a key without a view (the temporary record file, the sections)
// uses the same constants through ReadKey and WriteKey, so that a key's spelling and
// its stored kind are written down once.
#pragma once

#include <zsff/MetaDataContainer.h>

#include <string>
#include <vector>

namespace zsff {

// Stored kind of a key that holds a wide string in the container but is handed to
// callers as 8-bit text (the system's code page). Such a key is never stored as
// anything but a wide string.
struct AnsiText {};

// A key and, in its type, the kind its value is stored as.
template <class Stored>
struct MetaDataKey {
  using Value = Stored;
  const char* name;
};

// Reads with MetaDataContainer::FindMetadata and its widenings: false, with the output
// untouched, for a missing key or a kind that cannot be read as Stored.
template <class Stored>
bool ReadKey(const MetaDataContainer& container, MetaDataKey<Stored> key, Stored& out) {
  return container.FindMetadata(key.name, out);
}
// Always assigns the output: the text, or empty when the key is missing or not a text.
// Returns whether the text was found.
bool ReadKey(const MetaDataContainer& container, MetaDataKey<AnsiText> key, std::string& out);
bool ReadKey(const MetaDataContainer& container, MetaDataKey<AnsiText> key, std::u16string& out);

// Replaces whatever the key held. The value is converted to the stored kind first, so
// a key never ends up stored in another kind than its own.
template <class Stored>
void WriteKey(MetaDataContainer& container, MetaDataKey<Stored> key,
              const typename MetaDataKey<Stored>::Value& value) {
  container.AddMetadata(key.name, value);
}
void WriteKey(MetaDataContainer& container, MetaDataKey<AnsiText> key, const std::string& value);
void WriteKey(MetaDataContainer& container, MetaDataKey<AnsiText> key, const std::u16string& value);

// Keys of a channel's metadata (".zrm"), named as they are spelled.
namespace ChannelKeys {
inline constexpr MetaDataKey<std::u16string> Name{"Name"};
inline constexpr MetaDataKey<AnsiText> Type{"Type"};
inline constexpr MetaDataKey<AnsiText> DataFormat{"DataFormat"};
inline constexpr MetaDataKey<long> Track{"Track"};
inline constexpr MetaDataKey<AnsiText> Coupling{"Coupling"};
inline constexpr MetaDataKey<std::u16string> SourceID{"SourceID"};
inline constexpr MetaDataKey<std::u16string> RecSourceID{"RecSourceID"};
inline constexpr MetaDataKey<std::u16string> SourceName{"SourceName"};
inline constexpr MetaDataKey<std::u16string> PhysicalQuantity{"PhysicalQuantity"};
inline constexpr MetaDataKey<std::u16string> Unit{"Unit"};
inline constexpr MetaDataKey<std::u16string> TransducerID{"TransducerID"};
inline constexpr MetaDataKey<float> RangePeak{"RangePeak"};
inline constexpr MetaDataKey<float> RangeInfo{"RangeInfo"};
inline constexpr MetaDataKey<float> SamplingRate{"SamplingRate"};
inline constexpr MetaDataKey<float> Sensitivity{"Sensitivity"};
inline constexpr MetaDataKey<float> Offset{"Offset"};
inline constexpr MetaDataKey<float> AbsAccuracy{"AbsAccuracy"};
inline constexpr MetaDataKey<long> Polarity{"Polarity"};
inline constexpr MetaDataKey<std::u16string> SamplingIndex{"SamplingIndex"};
inline constexpr MetaDataKey<std::vector<float>> FreqCorr{"FreqCorr"};
inline constexpr MetaDataKey<std::u16string> NodeNumber{"NodeNumber"};
inline constexpr MetaDataKey<std::u16string> NodeDirection{"NodeDirection"};
inline constexpr MetaDataKey<std::u16string> NodeComponent{"NodeComponent"};
inline constexpr MetaDataKey<std::u16string> NodeType{"NodeType"};
inline constexpr MetaDataKey<bool> IsTach{"IsTach"};
inline constexpr MetaDataKey<AnsiText> ExtSyncMode{"ExtSyncMode"};
inline constexpr MetaDataKey<long> MissingTeeth{"MissingTeeth"};
inline constexpr MetaDataKey<float> PulsePerRev{"PulsePerRev"};
inline constexpr MetaDataKey<long> PreDivider{"PreDivider"};
inline constexpr MetaDataKey<std::u16string> DeviceName{"DeviceName"};
inline constexpr MetaDataKey<std::u16string> DeviceType{"DeviceType"};
inline constexpr MetaDataKey<std::u16string> DeviceSN{"DeviceSN"};
inline constexpr MetaDataKey<AnsiText> DeviceVersion{"DeviceVersion"};
inline constexpr MetaDataKey<AnsiText> DeviceFirmWareVersion{"DeviceFirmWareVersion"};
inline constexpr MetaDataKey<AnsiText> DeviceDiskName{"DeviceDiskName"};
inline constexpr MetaDataKey<AnsiText> DeviceDiskSN{"DeviceDiskSN"};
inline constexpr MetaDataKey<AnsiText> RecordStartDateString{"RecordStartDateString"};
inline constexpr MetaDataKey<long long> RecordStartDate{"RecordStartDate"};
inline constexpr MetaDataKey<double> RecordCumulativeDate{"RecordCumulativeDate"};
inline constexpr MetaDataKey<long long> RecordRelativeDate{"RecordRelativeDate"};
inline constexpr MetaDataKey<long long> RecordRelativeDateEnd{"RecordRelativeDateEnd"};
inline constexpr MetaDataKey<double> RecordDuration{"RecordDuration"};
inline constexpr MetaDataKey<long> RecordNumber{"RecordNumber"};
inline constexpr MetaDataKey<long> SignalTimeStep{"SignalTimeStep"};
inline constexpr MetaDataKey<float> SignalOffset{"SignalOffset"};
inline constexpr MetaDataKey<float> SignalUncompactCoeff{"SignalUncompactCoeff"};
inline constexpr MetaDataKey<float> SignalUncompactOffset{"SignalUncompactOffset"};
inline constexpr MetaDataKey<float> RangeInfoPostAnalysis{"RangeInfoPostAnalysis"};
inline constexpr MetaDataKey<float> SensitivityPostAnalysis{"SensitivityPostAnalysis"};
inline constexpr MetaDataKey<float> OffsetPostAnalysis{"OffsetPostAnalysis"};
inline constexpr MetaDataKey<std::u16string> PhysicalQuantityPostAnalysis{
    "PhysicalQuantityPostAnalysis"};
inline constexpr MetaDataKey<std::u16string> UnitPostAnalysis{"UnitPostAnalysis"};
inline constexpr MetaDataKey<std::u16string> TransducerIDPostAnalysis{"TransducerIDPostAnalysis"};
inline constexpr MetaDataKey<std::u16string> NamePostAnalysis{"NamePostAnalysis"};
inline constexpr MetaDataKey<float> PartLength{"PartLength"};
inline constexpr MetaDataKey<float> MaxRecordLength{"MaxRecordLength"};
inline constexpr MetaDataKey<long> CompressionFactor{"CompressionFactor"};
inline constexpr MetaDataKey<std::vector<long>> PartsToDelete{"PartsToDelete"};
}  // namespace ChannelKeys

// Keys of a measurement's metadata (".zsfh"), named as they are spelled.
namespace MeasurementKeys {
inline constexpr MetaDataKey<AnsiText> DateAndTime{"DateAndTime"};
inline constexpr MetaDataKey<long> DateDayOfWeek{"DateDayOfWeek"};
inline constexpr MetaDataKey<long long> ReferenceTime{"ReferenceTime"};
inline constexpr MetaDataKey<AnsiText> Mode{"Mode"};
inline constexpr MetaDataKey<double> Duration{"Duration"};
inline constexpr MetaDataKey<float> StartDelay{"StartDelay"};
inline constexpr MetaDataKey<AnsiText> TavroxVersion{"TavroxVersion"};
inline constexpr MetaDataKey<std::u16string> SignalFileName{"SignalFileName"};
inline constexpr MetaDataKey<std::u16string> ProjectName{"ProjectName"};
inline constexpr MetaDataKey<std::u16string> UserName{"UserName"};
inline constexpr MetaDataKey<std::u16string> MeasurementName{"MeasurementName"};
inline constexpr MetaDataKey<std::u16string> Comment{"Comment"};
inline constexpr MetaDataKey<long long> FileSize{"FileSize"};
inline constexpr MetaDataKey<std::vector<unsigned long long>> ChannelsToRemove{"ChannelsToRemove"};
inline constexpr MetaDataKey<long> NumberOfChannels{"NumberOfChannels"};
// Record directories whose entries have left the list and that are still to go.
inline constexpr MetaDataKey<std::vector<unsigned long long>> RecordsToDelete{"RecordsToDelete"};
inline constexpr MetaDataKey<AnsiText> SampleFormat{"SampleFormat"};
inline constexpr MetaDataKey<float> SamplingFrontEnd{"SamplingFrontEnd"};
inline constexpr MetaDataKey<float> Sampling1{"Sampling1"};
inline constexpr MetaDataKey<float> Sampling2{"Sampling2"};
inline constexpr MetaDataKey<float> SamplingDC{"SamplingDC"};
inline constexpr MetaDataKey<bool> Editing{"Editing"};
}  // namespace MeasurementKeys

}  // namespace zsff
