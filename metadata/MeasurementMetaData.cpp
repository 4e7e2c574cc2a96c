// The measurement, marker and untyped views. As for the channel views, every named
// operation is a one-line mapping onto its key in MetaDataKeys.h.
#include <zsff/DateTime.h>
#include <zsff/MeasurementMetaData.h>

#include "foundation/TextConversion.h"
#include "metadata/MetaDataKeys.h"

namespace zsff {

// ---- Untyped reader and writer ----

std::set<std::string> MetaDataReader::GetKeys() const { return m_Container.GetMetadataKeys(); }

bool MetaDataReader::GetStringValue(const std::string& key, std::u16string& out) const {
  return m_Container.FindMetadata(key, out);
}

bool MetaDataReader::GetcppStringValue(const std::string& key, std::string& out) const {
  std::u16string text;
  const bool found = m_Container.FindMetadata(key, text);
  out = WideToAnsi(text);
  return found;
}

bool MetaDataReader::GetFloatValue(const std::string& key, float& out) const {
  return m_Container.FindMetadata(key, out);
}
bool MetaDataReader::GetDoubleValue(const std::string& key, double& out) const {
  return m_Container.FindMetadata(key, out);
}
bool MetaDataReader::GetLongValue(const std::string& key, long& out) const {
  return m_Container.FindMetadata(key, out);
}
bool MetaDataReader::GetLongLongValue(const std::string& key, long long& out) const {
  return m_Container.FindMetadata(key, out);
}
bool MetaDataReader::GetBoolValue(const std::string& key, bool& out) const {
  return m_Container.FindMetadata(key, out);
}
bool MetaDataReader::GetVectFloatValue(const std::string& key, std::vector<float>& out) const {
  return m_Container.FindMetadata(key, out);
}
bool MetaDataReader::GetVectLongValue(const std::string& key, std::vector<long>& out) const {
  return m_Container.FindMetadata(key, out);
}
bool MetaDataReader::GetVectUInt64Value(const std::string& key,
                                        std::vector<unsigned long long>& out) const {
  return m_Container.FindMetadata(key, out);
}

void CMetaDataWriter::SetStringValue(const std::string& key, const std::u16string& value) {
  m_Container.AddMetadata(key, value);
}
void CMetaDataWriter::SetcppStringValue(const std::string& key, const std::string& value) {
  m_Container.AddMetadata(key, AnsiToWide(value));
}
void CMetaDataWriter::SetFloatValue(const std::string& key, float value) {
  m_Container.AddMetadata(key, value);
}
void CMetaDataWriter::SetDoubleValue(const std::string& key, double value) {
  m_Container.AddMetadata(key, value);
}
void CMetaDataWriter::SetLongValue(const std::string& key, long value) {
  m_Container.AddMetadata(key, value);
}
void CMetaDataWriter::SetLongLongValue(const std::string& key, long long value) {
  m_Container.AddMetadata(key, value);
}
void CMetaDataWriter::SetBoolValue(const std::string& key, bool value) {
  m_Container.AddMetadata(key, value);
}
void CMetaDataWriter::SetVectFloatValue(const std::string& key, const std::vector<float>& value) {
  m_Container.AddMetadata(key, value);
}
void CMetaDataWriter::SetVectLongValue(const std::string& key, const std::vector<long>& value) {
  m_Container.AddMetadata(key, value);
}
void CMetaDataWriter::SetVectUInt64Value(const std::string& key,
                                         const std::vector<unsigned long long>& value) {
  m_Container.AddMetadata(key, value);
}

// ---- Measurement ----

namespace K = MeasurementKeys;
using Reader = MetaDataMeasurementReader;
using Writer = CMetaDataMeasurementWriter;

bool Reader::DateAndTime(std::string& out) const {
  return ReadKey(m_Container, K::DateAndTime, out);
}
bool Reader::DateDayOfWeek(long& out) const { return ReadKey(m_Container, K::DateDayOfWeek, out); }
bool Reader::ReferenceTime(long long& out) const {
  return ReadKey(m_Container, K::ReferenceTime, out);
}
bool Reader::Mode(std::string& out) const { return ReadKey(m_Container, K::Mode, out); }
bool Reader::Duration(double& out) const { return ReadKey(m_Container, K::Duration, out); }
bool Reader::StartDelay(float& out) const { return ReadKey(m_Container, K::StartDelay, out); }
bool Reader::TavroxVersion(std::string& out) const {
  return ReadKey(m_Container, K::TavroxVersion, out);
}
bool Reader::SignalFileName(std::u16string& out) const {
  return ReadKey(m_Container, K::SignalFileName, out);
}
bool Reader::ProjectName(std::u16string& out) const {
  return ReadKey(m_Container, K::ProjectName, out);
}
bool Reader::UserName(std::u16string& out) const { return ReadKey(m_Container, K::UserName, out); }
bool Reader::MeasurementName(std::u16string& out) const {
  return ReadKey(m_Container, K::MeasurementName, out);
}
bool Reader::Comment(std::u16string& out) const { return ReadKey(m_Container, K::Comment, out); }
bool Reader::FilesSize(long long& out) const { return ReadKey(m_Container, K::FileSize, out); }
bool Reader::ChannelsToRemove(std::vector<unsigned long long>& out) const {
  return ReadKey(m_Container, K::ChannelsToRemove, out);
}
bool Reader::NumberOfChannels(long& out) const {
  return ReadKey(m_Container, K::NumberOfChannels, out);
}
bool Reader::SampleFormat(std::string& out) const {
  return ReadKey(m_Container, K::SampleFormat, out);
}
bool Reader::SamplingFrontEnd(float& out) const {
  return ReadKey(m_Container, K::SamplingFrontEnd, out);
}
bool Reader::Sampling1(float& out) const { return ReadKey(m_Container, K::Sampling1, out); }
bool Reader::Sampling2(float& out) const { return ReadKey(m_Container, K::Sampling2, out); }
bool Reader::SamplingDC(float& out) const { return ReadKey(m_Container, K::SamplingDC, out); }
bool Reader::Editing(bool& out) const { return ReadKey(m_Container, K::Editing, out); }

std::set<std::string> Reader::GetMeasPropertiesKeys() const {
  return m_Container.GetMeasPropertiesKeys();
}
bool Reader::FindMeasProperty(const std::string& key,
                              std::pair<std::u16string, std::u16string>& out) const {
  return m_Container.FindMeasProperty(key, out);
}
bool Reader::GetMeasureProperties(std::vector<CPropertyValue>& out) const {
  return m_Container.GetMeasureProperties(out);
}
std::vector<MetaDataAnalyzer> Reader::GetAnalyzerVect() const {
  return m_Container.GetAnalyzerVect();
}
std::vector<MetaDataRecord> Reader::GetRecordsVect() const { return m_Container.GetRecordsVect(); }

void Writer::DateAndTime(const std::string& value) { WriteKey(m_Container, K::DateAndTime, value); }
void Writer::DateDayOfWeek(long value) { WriteKey(m_Container, K::DateDayOfWeek, value); }
void Writer::ReferenceTime(long long value) { WriteKey(m_Container, K::ReferenceTime, value); }
void Writer::Mode(const std::string& value) { WriteKey(m_Container, K::Mode, value); }
void Writer::Duration(double value) { WriteKey(m_Container, K::Duration, value); }
void Writer::StartDelay(float value) { WriteKey(m_Container, K::StartDelay, value); }
void Writer::TavroxVersion(const std::string& value) {
  WriteKey(m_Container, K::TavroxVersion, value);
}
void Writer::SignalFileName(const std::u16string& value) {
  WriteKey(m_Container, K::SignalFileName, value);
}
void Writer::ProjectName(const std::u16string& value) {
  WriteKey(m_Container, K::ProjectName, value);
}
void Writer::UserName(const std::u16string& value) { WriteKey(m_Container, K::UserName, value); }
void Writer::MeasurementName(const std::u16string& value) {
  WriteKey(m_Container, K::MeasurementName, value);
}
void Writer::Comment(const std::u16string& value) { WriteKey(m_Container, K::Comment, value); }
void Writer::FilesSize(long long value) { WriteKey(m_Container, K::FileSize, value); }
void Writer::ChannelsToRemove(const std::vector<unsigned long long>& value) {
  WriteKey(m_Container, K::ChannelsToRemove, value);
}
void Writer::NumberOfChannels(long value) { WriteKey(m_Container, K::NumberOfChannels, value); }
void Writer::SampleFormat(const std::string& value) {
  WriteKey(m_Container, K::SampleFormat, value);
}
void Writer::SamplingFrontEnd(float value) { WriteKey(m_Container, K::SamplingFrontEnd, value); }
void Writer::Sampling1(float value) { WriteKey(m_Container, K::Sampling1, value); }
void Writer::Sampling2(float value) { WriteKey(m_Container, K::Sampling2, value); }
void Writer::SamplingDC(float value) { WriteKey(m_Container, K::SamplingDC, value); }
void Writer::Editing(bool value) { WriteKey(m_Container, K::Editing, value); }

void Writer::AddMeasProperty(const std::string& key, const std::u16string& title,
                             const std::u16string& value) {
  m_Container.AddMeasProperty(key, title, value);
}
void Writer::AddProperties(const std::vector<CPropertyValue>& properties) {
  m_Container.AddProperties(properties);
}
void Writer::AddAnalyzer(const std::string& serial, const std::string& shortName,
                         const std::string& diskSerial, const std::string& diskName) {
  m_Container.AddAnalyzer(serial, shortName, diskSerial, diskName);
}
bool Writer::AddRecord(unsigned long long recordId, unsigned short lastPartNumber,
                       long long absDate, double duration, bool recording, double partLength,
                       long long offsetTimeToStop) {
  return m_Container.AddRecord(recordId, lastPartNumber, absDate, duration, recording, partLength,
                               offsetTimeToStop);
}
bool Writer::UpdateRecord(unsigned long long recordId, unsigned short lastPartNumber,
                          long long absDate, double duration, bool recording, double partLength,
                          long long offsetTimeToStop) {
  return m_Container.UpdateRecord(recordId, lastPartNumber, absDate, duration, recording,
                                  partLength, offsetTimeToStop);
}
bool Writer::RemoveRecord(unsigned long long recordId) {
  return m_Container.RemoveRecord(recordId);
}
void Writer::ClearRecordsVect() { m_Container.ClearRecordsVect(); }

// ---- Markers ----

std::vector<CMarkerId> MetaDataMarkerReader::GetMarkersKeys() const {
  return m_Container.GetMarkersKeys();
}
bool MetaDataMarkerReader::FindMarker(const CMarkerId& id, MetaDataMarker& out) const {
  return m_Container.FindMarker(id, out);
}

bool CMetaDataMarkerWriter::AddMarker(const CMarkerId& id, double relativeDate,
                                      double relativeDateFromRun, long long absDate) {
  return AddMarker(id, relativeDate, relativeDateFromRun, absDate, std::u16string());
}
bool CMetaDataMarkerWriter::AddMarker(const CMarkerId& id, double relativeDate,
                                      double relativeDateFromRun, long long absDate,
                                      const std::u16string& comment) {
  return m_Container.AddMarker(id, relativeDate, relativeDateFromRun, FileTimeToString(absDate),
                               comment);
}
bool CMetaDataMarkerWriter::EditComment(const CMarkerId& id, const std::u16string& comment) {
  MetaDataMarker marker;
  if (!m_Container.FindMarker(id, marker)) return false;
  marker.setComment(comment);
  return m_Container.SetMarker(marker);
}
bool CMetaDataMarkerWriter::DeleteMarker(const CMarkerId& id) {
  return m_Container.DeleteMarker(id);
}

}  // namespace zsff
