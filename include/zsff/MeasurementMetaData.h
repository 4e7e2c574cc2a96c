// Views over a MetaDataContainer for everything but a channel: any key by name
// (MetaDataReader, CMetaDataWriter), the fixed vocabulary of a measurement (the
// ".zsfh" file) and its markers (the ".zmrk" file).
//
// Each view holds a reference to its container, which must outlive it, and no other
// state. Readers take a const container and change nothing.
#pragma once

#include <zsff/MarkerId.h>
#include <zsff/MetaDataContainer.h>

#include <set>
#include <string>
#include <utility>
#include <vector>
#include <zsff/Export.h>

namespace zsff {

// Any key, named by the caller. Each getter returns whether the key was found in a
// kind that can be read as the output's (MetaDataContainer::FindMetadata, with its
// widenings) and otherwise leaves the output as it was; GetcppStringValue alone always
// assigns its output.
class ZSFF_API MetaDataReader {
 public:
  explicit MetaDataReader(const MetaDataContainer& container) : m_Container(container) {}

  std::set<std::string> GetKeys() const;

  bool GetStringValue(const std::string& key, std::u16string& out) const;
  // The wide text converted to the system code page, or an empty string when the key
  // is missing or holds no text. Returns whether the text was found.
  bool GetcppStringValue(const std::string& key, std::string& out) const;
  bool GetFloatValue(const std::string& key, float& out) const;
  bool GetDoubleValue(const std::string& key, double& out) const;
  bool GetLongValue(const std::string& key, long& out) const;
  bool GetLongLongValue(const std::string& key, long long& out) const;
  bool GetBoolValue(const std::string& key, bool& out) const;
  bool GetVectFloatValue(const std::string& key, std::vector<float>& out) const;
  bool GetVectLongValue(const std::string& key, std::vector<long>& out) const;
  bool GetVectUInt64Value(const std::string& key, std::vector<unsigned long long>& out) const;

 private:
  const MetaDataContainer& m_Container;
};

// Any key, named by the caller. Each setter replaces what the key held, of any kind.
class ZSFF_API CMetaDataWriter {
 public:
  explicit CMetaDataWriter(MetaDataContainer& container) : m_Container(container) {}

  void SetStringValue(const std::string& key, const std::u16string& value);
  // Converted from the system code page and stored as wide text.
  void SetcppStringValue(const std::string& key, const std::string& value);
  void SetFloatValue(const std::string& key, float value);
  void SetDoubleValue(const std::string& key, double value);
  void SetLongValue(const std::string& key, long value);  // kept to 32 bits
  void SetLongLongValue(const std::string& key, long long value);
  void SetBoolValue(const std::string& key, bool value);
  void SetVectFloatValue(const std::string& key, const std::vector<float>& value);
  void SetVectLongValue(const std::string& key, const std::vector<long>& value);
  void SetVectUInt64Value(const std::string& key, const std::vector<unsigned long long>& value);

 private:
  MetaDataContainer& m_Container;
};

// Reads a measurement's metadata. The getters behave as MetaDataReader's: false with
// the output untouched for a missing key, except those with an 8-bit string output,
// which always assign it (empty when the key is missing).
class ZSFF_API MetaDataMeasurementReader {
 public:
  explicit MetaDataMeasurementReader(const MetaDataContainer& container) : m_Container(container) {}

  bool DateAndTime(std::string& out) const;
  bool DateDayOfWeek(long& out) const;
  bool ReferenceTime(long long& out) const;
  bool Mode(std::string& out) const;
  bool Duration(double& out) const;
  bool StartDelay(float& out) const;
  bool TavroxVersion(std::string& out) const;  // of the host application
  bool SignalFileName(std::u16string& out) const;
  bool ProjectName(std::u16string& out) const;
  bool UserName(std::u16string& out) const;
  bool MeasurementName(std::u16string& out) const;
  bool Comment(std::u16string& out) const;
  // Total size of the measurement's files, stored under the key "FileSize".
  bool FilesSize(long long& out) const;
  bool ChannelsToRemove(std::vector<unsigned long long>& out) const;
  bool NumberOfChannels(long& out) const;
  bool SampleFormat(std::string& out) const;
  bool SamplingFrontEnd(float& out) const;
  bool Sampling1(float& out) const;
  bool Sampling2(float& out) const;
  bool SamplingDC(float& out) const;
  bool Editing(bool& out) const;  // someone is editing the measurement

  // Forwarded to the container unchanged.
  std::set<std::string> GetMeasPropertiesKeys() const;
  bool FindMeasProperty(const std::string& key,
                        std::pair<std::u16string, std::u16string>& out) const;
  bool GetMeasureProperties(std::vector<CPropertyValue>& out) const;
  std::vector<MetaDataAnalyzer> GetAnalyzerVect() const;
  std::vector<MetaDataRecord> GetRecordsVect() const;

 private:
  const MetaDataContainer& m_Container;
};

// Writes a measurement's metadata. Each setter replaces what the key held by a value of
// the key's own kind; text given as an 8-bit string is stored as wide text.
class ZSFF_API CMetaDataMeasurementWriter {
 public:
  explicit CMetaDataMeasurementWriter(MetaDataContainer& container) : m_Container(container) {}

  void DateAndTime(const std::string& value);
  void DateDayOfWeek(long value);
  void ReferenceTime(long long value);
  void Mode(const std::string& value);
  void Duration(double value);
  void StartDelay(float value);
  void TavroxVersion(const std::string& value);
  void SignalFileName(const std::u16string& value);
  void ProjectName(const std::u16string& value);
  void UserName(const std::u16string& value);
  void MeasurementName(const std::u16string& value);
  void Comment(const std::u16string& value);
  void FilesSize(long long value);  // the key "FileSize"
  void ChannelsToRemove(const std::vector<unsigned long long>& value);
  void NumberOfChannels(long value);
  void SampleFormat(const std::string& value);
  void SamplingFrontEnd(float value);
  void Sampling1(float value);
  void Sampling2(float value);
  void SamplingDC(float value);
  void Editing(bool value);

  // Forwarded to the container unchanged; see MetaDataContainer for their rules.
  void AddMeasProperty(const std::string& key, const std::u16string& title,
                       const std::u16string& value);
  void AddProperties(const std::vector<CPropertyValue>& properties);
  void AddAnalyzer(const std::string& serial, const std::string& shortName,
                   const std::string& diskSerial, const std::string& diskName);
  bool AddRecord(unsigned long long recordId, unsigned short lastPartNumber, long long absDate,
                 double duration, bool recording, double partLength, long long offsetTimeToStop);
  bool UpdateRecord(unsigned long long recordId, unsigned short lastPartNumber, long long absDate,
                    double duration, bool recording, double partLength, long long offsetTimeToStop);
  bool RemoveRecord(unsigned long long recordId);
  void ClearRecordsVect();

 private:
  MetaDataContainer& m_Container;
};

// Reads the markers of a measurement.
class ZSFF_API MetaDataMarkerReader {
 public:
  explicit MetaDataMarkerReader(const MetaDataContainer& container) : m_Container(container) {}

  std::vector<CMarkerId> GetMarkersKeys() const;  // ordered by scope, then sequence
  // False with `out` untouched when no marker has that id.
  bool FindMarker(const CMarkerId& id, MetaDataMarker& out) const;

 private:
  const MetaDataContainer& m_Container;
};

// Adds, edits and removes the markers of a measurement.
class ZSFF_API CMetaDataMarkerWriter {
 public:
  explicit CMetaDataMarkerWriter(MetaDataContainer& container) : m_Container(container) {}

  // The absolute date is a file time, stored as its text form. False with no change
  // when the id is zero (both words 0) or already taken.
  bool AddMarker(const CMarkerId& id, double relativeDate, double relativeDateFromRun,
                 long long absDate);
  bool AddMarker(const CMarkerId& id, double relativeDate, double relativeDateFromRun,
                 long long absDate, const std::u16string& comment);
  // Replaces the comment alone; false, adding nothing, when no marker has that id.
  bool EditComment(const CMarkerId& id, const std::u16string& comment);
  bool DeleteMarker(const CMarkerId& id);  // false when absent

 private:
  MetaDataContainer& m_Container;
};

}  // namespace zsff
