// The metadata container: typed lookups with their conversions, and the record
// list that keeps its order and running dates.
#include <zsff/MetaDataContainer.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace zsff {
namespace {

// A float turned into a 32-bit integer, truncated toward zero. Values the integer
// can't hold (NaN, infinities, beyond +-2^31) give INT32_MIN, the answer the x86
// conversion instruction gives, which older data were produced with; a plain cast
// would be undefined there.
long TruncateToLong32(float value) {
  if (std::isnan(value) || value >= 2147483648.0f || value < -2147483648.0f) {
    return std::numeric_limits<std::int32_t>::min();
  }
  return static_cast<std::int32_t>(value);
}

void TruncateToLongs(const std::vector<float>& in, std::vector<long>& out) {
  out.clear();
  out.reserve(in.size());
  for (float value : in) out.push_back(TruncateToLong32(value));
}

// Elements of a long vector hold 32 bits; widening through long long keeps their
// sign, so -1 becomes 2^64 - 1.
void SignExtend(const std::vector<long>& in, std::vector<unsigned long long>& out) {
  out.clear();
  out.reserve(in.size());
  for (long value : in) {
    out.push_back(static_cast<unsigned long long>(static_cast<long long>(value)));
  }
}

}  // namespace

MetaDataContainer& MetaDataContainer::operator=(const MetaDataContainer& other) {
  if (this != &other) {
    m_MetaDataMap = other.m_MetaDataMap;
    m_PhysicalQuantityMap = other.m_PhysicalQuantityMap;
    m_MeasPropertiesMap = other.m_MeasPropertiesMap;
    m_MarkersMap = other.m_MarkersMap;
    m_Analyzers = other.m_Analyzers;
    m_Records = other.m_Records;
  }
  return *this;
}

void MetaDataContainer::Clear() {
  m_MetaDataMap.clear();
  m_PhysicalQuantityMap.clear();
  m_MeasPropertiesMap.clear();
  m_MarkersMap.clear();
  m_Analyzers.clear();
  m_Records.clear();
}

// ---- Typed values ----

void MetaDataContainer::AddMetadata(const std::string& key, const std::u16string& value) {
  m_MetaDataMap[key] = MetaDataValue(value);
}

void MetaDataContainer::AddMetadata(const std::string& key, const char16_t* value) {
  m_MetaDataMap[key] = MetaDataValue(value);
}

void MetaDataContainer::AddMetadata(const std::string& key, long value) {
  m_MetaDataMap[key] = MetaDataValue(value);
}

void MetaDataContainer::AddMetadata(const std::string& key, long long value) {
  m_MetaDataMap[key] = MetaDataValue(value);
}

void MetaDataContainer::AddMetadata(const std::string& key, float value) {
  m_MetaDataMap[key] = MetaDataValue(value);
}

void MetaDataContainer::AddMetadata(const std::string& key, double value) {
  m_MetaDataMap[key] = MetaDataValue(value);
}

void MetaDataContainer::AddMetadata(const std::string& key, const std::vector<float>& value) {
  m_MetaDataMap[key] = MetaDataValue(value);
}

void MetaDataContainer::AddMetadata(const std::string& key, const std::vector<long>& value) {
  m_MetaDataMap[key] = MetaDataValue(value);
}

void MetaDataContainer::AddMetadata(const std::string& key,
                                    const std::vector<unsigned long long>& value) {
  m_MetaDataMap[key] = MetaDataValue(value);
}

void MetaDataContainer::AddMetadata(const std::string& key, bool value) {
  m_MetaDataMap[key] = MetaDataValue(value);
}

bool MetaDataContainer::FindMetadata(const std::string& key, std::u16string& out) const {
  auto it = m_MetaDataMap.find(key);
  if (it == m_MetaDataMap.end() || it->second.type() != MetaDataValue::TypeString) return false;
  out = it->second.valueString();
  return true;
}

bool MetaDataContainer::FindMetadata(const std::string& key, long& out) const {
  auto it = m_MetaDataMap.find(key);
  if (it == m_MetaDataMap.end() || it->second.type() != MetaDataValue::TypeLong) return false;
  out = it->second.valueLong();
  return true;
}

bool MetaDataContainer::FindMetadata(const std::string& key, long long& out) const {
  auto it = m_MetaDataMap.find(key);
  if (it == m_MetaDataMap.end()) return false;
  switch (it->second.type()) {
    case MetaDataValue::TypeLongLong:
      out = it->second.valueLongLong();
      return true;
    case MetaDataValue::TypeLong:
      out = it->second.valueLong();
      return true;
    default:
      return false;
  }
}

bool MetaDataContainer::FindMetadata(const std::string& key, float& out) const {
  auto it = m_MetaDataMap.find(key);
  if (it == m_MetaDataMap.end()) return false;
  switch (it->second.type()) {
    case MetaDataValue::TypeFloat:
      out = it->second.valueFloat();
      return true;
    case MetaDataValue::TypeDouble:
      out = static_cast<float>(it->second.valueDouble());
      return true;
    default:
      return false;
  }
}

bool MetaDataContainer::FindMetadata(const std::string& key, double& out) const {
  auto it = m_MetaDataMap.find(key);
  if (it == m_MetaDataMap.end()) return false;
  switch (it->second.type()) {
    case MetaDataValue::TypeDouble:
      out = it->second.valueDouble();
      return true;
    case MetaDataValue::TypeFloat:
      out = it->second.valueFloat();
      return true;
    default:
      return false;
  }
}

bool MetaDataContainer::FindMetadata(const std::string& key, std::vector<float>& out) const {
  auto it = m_MetaDataMap.find(key);
  if (it == m_MetaDataMap.end() || it->second.type() != MetaDataValue::TypeVectorFloat) {
    return false;
  }
  out = it->second.valueVectorFloat();
  return true;
}

bool MetaDataContainer::FindMetadata(const std::string& key, std::vector<long>& out) const {
  auto it = m_MetaDataMap.find(key);
  if (it == m_MetaDataMap.end()) return false;
  switch (it->second.type()) {
    case MetaDataValue::TypeVectorLong:
      out = it->second.valueVectorLong();
      return true;
    case MetaDataValue::TypeVectorFloat:
      TruncateToLongs(it->second.valueVectorFloat(), out);
      return true;
    default:
      return false;
  }
}

bool MetaDataContainer::FindMetadata(const std::string& key,
                                     std::vector<unsigned long long>& out) const {
  auto it = m_MetaDataMap.find(key);
  if (it == m_MetaDataMap.end()) return false;
  switch (it->second.type()) {
    case MetaDataValue::TypeVectorUInt64:
      out = it->second.valueVectorUInt64();
      return true;
    case MetaDataValue::TypeVectorLong:
      SignExtend(it->second.valueVectorLong(), out);
      return true;
    case MetaDataValue::TypeVectorFloat: {
      std::vector<long> truncated;
      TruncateToLongs(it->second.valueVectorFloat(), truncated);
      SignExtend(truncated, out);
      return true;
    }
    default:
      return false;
  }
}

bool MetaDataContainer::FindMetadata(const std::string& key, bool& out) const {
  auto it = m_MetaDataMap.find(key);
  if (it == m_MetaDataMap.end() || it->second.type() != MetaDataValue::TypeBool) return false;
  out = it->second.valueBool();
  return true;
}

MetaDataValue::EMetaDataType MetaDataContainer::GetMetadataType(const std::string& key) const {
  auto it = m_MetaDataMap.find(key);
  return it == m_MetaDataMap.end() ? MetaDataValue::TypeUndefined : it->second.type();
}

std::set<std::string> MetaDataContainer::GetMetadataKeys() const {
  std::set<std::string> keys;
  for (const auto& entry : m_MetaDataMap) keys.insert(keys.end(), entry.first);
  return keys;
}

// ---- Measurement properties ----

void MetaDataContainer::AddMeasProperty(const std::string& key, const std::u16string& title,
                                        const std::u16string& value) {
  m_MeasPropertiesMap[key] = CPropertyValue(key, title, value, CPropertyValue::PropertyText);
}

void MetaDataContainer::AddProperties(const std::vector<CPropertyValue>& properties) {
  for (const CPropertyValue& property : properties) m_MeasPropertiesMap[property.id()] = property;
}

bool MetaDataContainer::FindMeasProperty(const std::string& key,
                                         std::pair<std::u16string, std::u16string>& out) const {
  auto it = m_MeasPropertiesMap.find(key);
  if (it == m_MeasPropertiesMap.end()) return false;
  out = std::make_pair(it->second.title(), it->second.value());
  return true;
}

std::set<std::string> MetaDataContainer::GetMeasPropertiesKeys() const {
  std::set<std::string> keys;
  for (const auto& entry : m_MeasPropertiesMap) keys.insert(keys.end(), entry.first);
  return keys;
}

bool MetaDataContainer::GetMeasureProperties(std::vector<CPropertyValue>& out) const {
  out.clear();
  out.reserve(m_MeasPropertiesMap.size());
  for (const auto& entry : m_MeasPropertiesMap) out.push_back(entry.second);
  return !out.empty();
}

// ---- Markers ----

bool MetaDataContainer::AddMarker(const CMarkerId& id, double relativeDate,
                                  double relativeDateFromRun, const std::u16string& absoluteDate) {
  return AddMarker(id, relativeDate, relativeDateFromRun, absoluteDate, std::u16string());
}

bool MetaDataContainer::AddMarker(const CMarkerId& id, double relativeDate,
                                  double relativeDateFromRun, const std::u16string& absoluteDate,
                                  const std::u16string& comment) {
  if (!id.IsValid()) return false;
  return m_MarkersMap
      .emplace(id, MetaDataMarker(id, relativeDate, relativeDateFromRun, absoluteDate, comment))
      .second;
}

bool MetaDataContainer::SetMarker(const MetaDataMarker& marker) {
  auto it = m_MarkersMap.find(marker.id());
  if (it == m_MarkersMap.end()) return false;
  it->second = marker;
  return true;
}

bool MetaDataContainer::DeleteMarker(const CMarkerId& id) { return m_MarkersMap.erase(id) != 0; }

bool MetaDataContainer::FindMarker(const CMarkerId& id, MetaDataMarker& out) const {
  auto it = m_MarkersMap.find(id);
  if (it == m_MarkersMap.end()) return false;
  out = it->second;
  return true;
}

std::vector<CMarkerId> MetaDataContainer::GetMarkersKeys() const {
  std::vector<CMarkerId> keys;
  keys.reserve(m_MarkersMap.size());
  for (const auto& entry : m_MarkersMap) keys.push_back(entry.first);
  return keys;
}

std::vector<MetaDataMarker> MetaDataContainer::GetMarkers() const {
  std::vector<MetaDataMarker> markers;
  markers.reserve(m_MarkersMap.size());
  for (const auto& entry : m_MarkersMap) markers.push_back(entry.second);
  return markers;
}

// ---- Analyzers ----

void MetaDataContainer::AddAnalyzer(const std::string& serial, const std::string& shortName,
                                    const std::string& diskSerial, const std::string& diskName) {
  for (MetaDataAnalyzer& analyzer : m_Analyzers) {
    if (analyzer.AnalyzerSerialNumber() == serial) {
      analyzer.setAnalyzerShortName(shortName);
      analyzer.setDiskSerialNumber(diskSerial);
      analyzer.setDiskName(diskName);
      return;
    }
  }
  m_Analyzers.emplace_back(serial, shortName, diskSerial, diskName);
}

// ---- Records ----

bool MetaDataContainer::AddRecord(unsigned long long recordId, unsigned short lastPartNumber,
                                  long long absDate, double duration, bool recording,
                                  double partLength, long long offsetTimeToStop) {
  // The place is before the first greater id. A list read from a file need not be
  // sorted, so the whole list is searched for the id: two records of one id would
  // make UpdateRecord and RemoveRecord reach only the first.
  double relDate = 0.0;
  std::size_t place = m_Records.size();
  for (std::size_t i = 0; i < m_Records.size(); ++i) {
    const unsigned long long id = m_Records[i].RecordId();
    if (id == recordId) return false;
    if (place == m_Records.size()) {
      if (id > recordId) {
        place = i;
      } else {
        relDate += m_Records[i].Duration();
      }
    }
  }

  m_Records.insert(m_Records.begin() + static_cast<std::ptrdiff_t>(place),
                   MetaDataRecord(recordId, static_cast<short>(lastPartNumber), absDate, relDate,
                                  duration, recording, partLength, offsetTimeToStop));

  double running = relDate + duration;
  for (std::size_t i = place + 1; i < m_Records.size(); ++i) {
    m_Records[i].setRelDate(running);
    running += m_Records[i].Duration();
  }
  return true;
}

bool MetaDataContainer::UpdateRecord(unsigned long long recordId, unsigned short lastPartNumber,
                                     long long absDate, double duration, bool recording,
                                     double partLength, long long offsetTimeToStop) {
  if (m_Records.empty()) return false;

  // RelDate is rewritten on the way even when the id turns out to be absent.
  double running = 0.0;
  std::size_t i = 0;
  for (; i < m_Records.size() && m_Records[i].RecordId() != recordId; ++i) {
    m_Records[i].setRelDate(running);
    running += m_Records[i].Duration();
  }
  if (i == m_Records.size()) return false;

  MetaDataRecord& record = m_Records[i];
  record.setRecordId(recordId);
  record.setLastPartNumber(lastPartNumber);
  record.setAbsDate(absDate);
  record.setDuration(duration);
  record.setRecording(recording);
  record.setPartLength(partLength);
  record.setOffsetTimeToStop(offsetTimeToStop);

  for (; i < m_Records.size(); ++i) {
    m_Records[i].setRelDate(running);
    running += m_Records[i].Duration();
  }
  return true;
}

bool MetaDataContainer::RemoveRecord(unsigned long long recordId) {
  std::size_t i = 0;
  while (i < m_Records.size() && m_Records[i].RecordId() != recordId) ++i;
  if (i == m_Records.size()) return false;

  // The gap closes from the removed record's own RelDate, not from a fresh sum, so
  // the records before it are left exactly as they were.
  double running = m_Records[i].RelDate();
  m_Records.erase(m_Records.begin() + static_cast<std::ptrdiff_t>(i));
  for (; i < m_Records.size(); ++i) {
    m_Records[i].setRelDate(running);
    running += m_Records[i].Duration();
  }
  return true;
}

}  // namespace zsff
