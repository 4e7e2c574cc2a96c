// The one in-memory form of every metadata set: a channel's, a measurement's and a
// measurement's markers all travel as a MetaDataContainer. It knows nothing of files;
// the named views give it typed keys and MetaDataContainerJson its text form.
#pragma once

#include <zsff/MarkerId.h>
#include <zsff/MetaDataAnalyzer.h>
#include <zsff/MetaDataMarker.h>
#include <zsff/MetaDataQuantity.h>
#include <zsff/MetaDataRecord.h>
#include <zsff/MetaDataValue.h>
#include <zsff/PropertyValue.h>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>
#include <zsff/Export.h>

namespace zsff {

// A value owned by one thread at a time; it has no lock. Copies are deep.
// Nothing here fails other than by its bool result, and no operation throws but
// for memory exhaustion. A failed Find... leaves its output argument as it was,
// so callers preset a default and read through.
class ZSFF_API MetaDataContainer {
 public:
  MetaDataContainer() = default;
  MetaDataContainer(const MetaDataContainer&) = default;
  MetaDataContainer& operator=(const MetaDataContainer& other);
  MetaDataContainer(MetaDataContainer&&) = default;
  MetaDataContainer& operator=(MetaDataContainer&&) = default;
  virtual ~MetaDataContainer() = default;

  // Empties the metadata, the quantities, the properties, the markers, the
  // analyzers and the records.
  void Clear();
  void ClearRecordsVect() { m_Records.clear(); }

  // ---- Typed values under 8-bit keys ----

  // Each replaces whatever entry the key held, of any type, by a value of the
  // argument's type. A long (and each element of a long vector) is kept to 32 bits,
  // see MetaDataValue.
  void AddMetadata(const std::string& key, const std::u16string& value);
  void AddMetadata(const std::string& key, const char16_t* value);  // not the bool overload
  void AddMetadata(const std::string& key, long value);
  void AddMetadata(const std::string& key, long long value);
  void AddMetadata(const std::string& key, float value);
  void AddMetadata(const std::string& key, double value);
  void AddMetadata(const std::string& key, const std::vector<float>& value);
  void AddMetadata(const std::string& key, const std::vector<long>& value);
  void AddMetadata(const std::string& key, const std::vector<unsigned long long>& value);
  void AddMetadata(const std::string& key, bool value);

  // True and `out` set when the key exists and its stored type is accepted for the
  // requested kind; otherwise false with `out` untouched. Accepted (stored type ->
  // requested kind):
  //   wide string        <- string
  //   long               <- long only; a long long is never narrowed
  //   long long          <- long long, long (sign-extended)
  //   float              <- float, double (narrowed)
  //   double             <- double, float (widened)
  //   vector<float>      <- vector<float>
  //   vector<long>       <- vector<long>, vector<float> (each truncated toward zero)
  //   vector<u64>        <- vector<u64>, vector<long>, vector<float> (as for
  //                         vector<long>, then sign-extended: -1 becomes 2^64-1)
  //   bool               <- bool
  // The widenings exist because the file form stores every number in the narrowest
  // type that holds it: a small long long comes back as a long, a float as a double.
  bool FindMetadata(const std::string& key, std::u16string& out) const;
  bool FindMetadata(const std::string& key, long& out) const;
  bool FindMetadata(const std::string& key, long long& out) const;
  bool FindMetadata(const std::string& key, float& out) const;
  bool FindMetadata(const std::string& key, double& out) const;
  bool FindMetadata(const std::string& key, std::vector<float>& out) const;
  bool FindMetadata(const std::string& key, std::vector<long>& out) const;
  bool FindMetadata(const std::string& key, std::vector<unsigned long long>& out) const;
  bool FindMetadata(const std::string& key, bool& out) const;

  // The stored type; TypeUndefined for an absent key (the same as for a key stored
  // with that type).
  MetaDataValue::EMetaDataType GetMetadataType(const std::string& key) const;
  // All keys of the metadata, in byte order.
  std::set<std::string> GetMetadataKeys() const;

  // ---- Measurement properties ----

  // Stores a CPropertyValue(key, title, value, PropertyText) under `key`, replacing
  // an earlier entry.
  void AddMeasProperty(const std::string& key, const std::u16string& title,
                       const std::u16string& value);
  // Each element, in order, replaces the entry under its own id(); entries not
  // named stay.
  void AddProperties(const std::vector<CPropertyValue>& properties);
  // Title first, value second. False and `out` untouched when absent.
  bool FindMeasProperty(const std::string& key,
                        std::pair<std::u16string, std::u16string>& out) const;
  std::set<std::string> GetMeasPropertiesKeys() const;
  // Empties `out` and appends every property in key order; true when `out` ends up
  // not empty.
  bool GetMeasureProperties(std::vector<CPropertyValue>& out) const;

  // ---- Markers, ordered by (scope << 16 | sequence) ----

  // False and no change when the id is zero (both words 0) or already present.
  bool AddMarker(const CMarkerId& id, double relativeDate, double relativeDateFromRun,
                 const std::u16string& absoluteDate);
  bool AddMarker(const CMarkerId& id, double relativeDate, double relativeDateFromRun,
                 const std::u16string& absoluteDate, const std::u16string& comment);
  // Overwrites every field of the stored marker with the same id; false if absent.
  bool SetMarker(const MetaDataMarker& marker);
  bool DeleteMarker(const CMarkerId& id);
  // False and `out` untouched when absent.
  bool FindMarker(const CMarkerId& id, MetaDataMarker& out) const;
  std::vector<CMarkerId> GetMarkersKeys() const;
  std::vector<MetaDataMarker> GetMarkers() const;

  // ---- Analyzers, in order of insertion ----

  // The first analyzer whose serial number equals `serial` exactly gets the other
  // three strings; without one, a new analyzer is appended.
  void AddAnalyzer(const std::string& serial, const std::string& shortName,
                   const std::string& diskSerial, const std::string& diskName);
  std::vector<MetaDataAnalyzer> GetAnalyzerVect() const { return m_Analyzers; }

  // ---- Records, sorted by ascending RecordId ----
  //
  // Through these three the list stays sorted and each RelDate equals the sum of the
  // Duration of all records before it (the first is 0).

  // Inserts in id order and recomputes the RelDate of the records behind. False and
  // no change at all when the id is already present.
  bool AddRecord(unsigned long long recordId, unsigned short lastPartNumber, long long absDate,
                 double duration, bool recording, double partLength, long long offsetTimeToStop);
  // Overwrites the record with that id (all fields but RelDate) and recomputes the
  // RelDate of it and of those behind. False on an empty list or an absent id; in
  // the latter case the RelDate of every record has been recomputed in passing,
  // which repairs a list that was filled from a file.
  bool UpdateRecord(unsigned long long recordId, unsigned short lastPartNumber, long long absDate,
                    double duration, bool recording, double partLength, long long offsetTimeToStop);
  // Removes the record and closes the gap in RelDate: the records behind move up by
  // its Duration. False and no change when absent.
  bool RemoveRecord(unsigned long long recordId);
  std::vector<MetaDataRecord> GetRecordsVect() const { return m_Records; }

  // ---- Operated physical quantities ----

  std::map<int, MetaDataQuantity> PhysicalQuantityMap() const { return m_PhysicalQuantityMap; }
  // Replaces the whole map.
  void PhysicalQuantityMap(const std::map<int, MetaDataQuantity>& quantities) {
    m_PhysicalQuantityMap = quantities;
  }

 private:
  // The text form fills the collections directly: it keeps properties with an empty
  // id, markers with the zero id, and records in the order and with the RelDate of
  // the text, none of which the operations above would let through.
  friend class MetaDataContainerJson;

  std::map<std::string, MetaDataValue> m_MetaDataMap;
  std::map<int, MetaDataQuantity> m_PhysicalQuantityMap;
  std::map<std::string, CPropertyValue> m_MeasPropertiesMap;
  std::map<CMarkerId, MetaDataMarker> m_MarkersMap;
  std::vector<MetaDataAnalyzer> m_Analyzers;
  std::vector<MetaDataRecord> m_Records;
};

}  // namespace zsff
