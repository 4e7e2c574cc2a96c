// The JSON text of a metadata container, both ways. Files written by every
// version of the library must read back, so the reader is lenient about what it
// doesn't know and strict only about the version; values of the wrong JSON type
// count as missing rather than being read as something they aren't.
// RapidJSON 1.1.0 computes "top + size" on its still-null internal stack before
// the first allocation, which clang's undefined-behaviour sanitizer reports on
// every parse and write. The arithmetic is harmless in practice (later RapidJSON
// releases rewrote the test); only that check is switched off, and only inside
// RapidJSON's own functions.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((no_sanitize("pointer-overflow"))), apply_to = function)
#endif
#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#if defined(__clang__)
#pragma clang attribute pop
#endif
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataContainerJson.h>
#include <zsff/RecordId.h>

#include <cfloat>
#include <cstdint>
#include <exception>
#include <limits>
#include <utility>

#include "foundation/Diagnostics.h"
#include "foundation/TextConversion.h"

namespace zsff {

using JsonValue = rapidjson::Value;
using JsonAllocator = rapidjson::Document::AllocatorType;

struct MetaDataContainerJson::Document {
  // A fresh document for each conversion: the document's memory pool only grows,
  // so reusing it as it stands would keep every earlier text alive.
  rapidjson::Document& Fresh() {
    rapidjson::Document empty;
    value.Swap(empty);
    return value;
  }

  rapidjson::Document value;
};

namespace {

// The keys of the structured parts of the root object.
const char kVersion[] = "Version";
const char kProperties[] = "Properties";
const char kQuantities[] = "OperatedPhysicalQuantity";
const char kMarkers[] = "Markers";
const char kAnalyzers[] = "Analyzers";
const char kRecords[] = "Records";

// Readers of old files identify "undefined" as the value of a property or marker
// text that was never written.
const char kUndefined[] = "undefined";

const char kInvalidVersion[] = "MetaDataContainerJson::FromJSONString invalide version: ";

// The message has always been this literal with its start moved on by the version
// number, so that version 2 loses the first two characters and the number itself
// never shows. Tools that match the text rely on it. A version outside the literal
// has no such text and gets an empty one.
std::string InvalidVersionMessage(int version) {
  const int length = static_cast<int>(sizeof(kInvalidVersion) - 1);
  if (version < 0 || version > length) return std::string();
  return std::string(kInvalidVersion + version);
}

// ---- Writing ----------------------------------------------------------------

JsonValue Text(const std::string& text, JsonAllocator& allocator) {
  return JsonValue(text.data(), static_cast<rapidjson::SizeType>(text.size()), allocator);
}

JsonValue Text(const std::u16string& text, JsonAllocator& allocator) {
  return Text(WideToUtf8(text), allocator);
}

JsonValue MetadataValue(const MetaDataValue& value, JsonAllocator& allocator) {
  JsonValue json;
  switch (value.type()) {
    case MetaDataValue::TypeString:
      json = Text(value.valueString(), allocator);
      break;
    case MetaDataValue::TypeLong:
      json.SetInt64(static_cast<int64_t>(value.valueLong()));
      break;
    case MetaDataValue::TypeLongLong:
      json.SetInt64(static_cast<int64_t>(value.valueLongLong()));
      break;
    case MetaDataValue::TypeFloat:
      json.SetDouble(static_cast<double>(value.valueFloat()));
      break;
    case MetaDataValue::TypeDouble:
      json.SetDouble(value.valueDouble());
      break;
    case MetaDataValue::TypeVectorFloat:
      json.SetArray();
      for (float element : value.valueVectorFloat())
        json.PushBack(JsonValue(static_cast<double>(element)), allocator);
      break;
    case MetaDataValue::TypeVectorLong:
      json.SetArray();
      for (long element : value.valueVectorLong())
        json.PushBack(JsonValue(static_cast<int64_t>(element)), allocator);
      break;
    case MetaDataValue::TypeVectorUInt64:
      json.SetArray();
      for (unsigned long long element : value.valueVectorUInt64())
        json.PushBack(JsonValue(static_cast<uint64_t>(element)), allocator);
      break;
    case MetaDataValue::TypeBool:
      json.SetBool(value.valueBool());
      break;
    default:
      break;
  }
  return json;
}

JsonValue PropertyObject(const std::string& key, const CPropertyValue& property,
                         JsonAllocator& allocator) {
  JsonValue json(rapidjson::kObjectType);
  json.AddMember("id", Text(key, allocator), allocator);
  json.AddMember("title", Text(property.title(), allocator), allocator);
  json.AddMember("value", Text(property.value(), allocator), allocator);
  json.AddMember("type", Text(property.stringType(), allocator), allocator);
  if (property.type() == CPropertyValue::PropertyEnumerated) {
    if (!property.defaultEnum().empty())
      json.AddMember("EnumDefault", Text(property.defaultEnum(), allocator), allocator);
    json.AddMember("EnumConstrained", JsonValue(property.constrainedEnum()), allocator);
    JsonValue list(rapidjson::kArrayType);
    for (const std::u16string& item : property.listValuesEnum())
      list.PushBack(Text(item, allocator), allocator);
    json.AddMember("EnumList", list, allocator);
  }
  return json;
}

JsonValue QuantityObject(int key, const MetaDataQuantity& quantity, JsonAllocator& allocator) {
  // The map's key is the quantity's identity on disk; QuantityId is only its echo.
  JsonValue json(rapidjson::kObjectType);
  json.AddMember("OperatorId", JsonValue(key), allocator);
  json.AddMember("OperatorType", JsonValue(quantity.OperatorType()), allocator);
  json.AddMember("OperatorLeftKey", Text(quantity.LeftKey(), allocator), allocator);
  json.AddMember("OperatorRightKey", Text(quantity.RightKey(), allocator), allocator);
  return json;
}

JsonValue MarkerObject(const MetaDataMarker& marker, JsonAllocator& allocator) {
  JsonValue json(rapidjson::kObjectType);
  json.AddMember("Record", JsonValue(static_cast<unsigned>(marker.id().Scope())), allocator);
  json.AddMember("Index", JsonValue(static_cast<unsigned>(marker.id().Sequence())), allocator);
  json.AddMember("RelativeDate", JsonValue(marker.relativeDate()), allocator);
  json.AddMember("RelativeDateFromRun", JsonValue(marker.relativeDateFromRun()), allocator);
  json.AddMember("AbsoluteDate", Text(marker.absoluteDate(), allocator), allocator);
  json.AddMember("Comment", Text(marker.comment(), allocator), allocator);
  return json;
}

JsonValue AnalyzerObject(const MetaDataAnalyzer& analyzer, JsonAllocator& allocator) {
  JsonValue json(rapidjson::kObjectType);
  json.AddMember("SerialNumber", Text(analyzer.AnalyzerSerialNumber(), allocator), allocator);
  json.AddMember("ShortName", Text(analyzer.AnalyzerShortName(), allocator), allocator);
  json.AddMember("DiskSerialNumber", Text(analyzer.DiskSerialNumber(), allocator), allocator);
  json.AddMember("DiskName", Text(analyzer.DiskName(), allocator), allocator);
  return json;
}

JsonValue RecordObject(const MetaDataRecord& record, JsonAllocator& allocator) {
  JsonValue json(rapidjson::kObjectType);
  json.AddMember("RecordId", JsonValue(static_cast<uint64_t>(record.RecordId())), allocator);
  json.AddMember("AbsoluteDate", JsonValue(static_cast<int64_t>(record.AbsDate())), allocator);
  json.AddMember("LastPartNumber", JsonValue(static_cast<unsigned>(record.LastPartNumber())),
                 allocator);
  // Both are left out at their default to keep the measurement file short; the
  // reader takes their absence for exactly that default.
  if (record.PartLength() != 0.0)
    json.AddMember("PartLength", JsonValue(record.PartLength()), allocator);
  json.AddMember("RelativeDate", JsonValue(record.RelDate()), allocator);
  json.AddMember("Duration", JsonValue(record.Duration()), allocator);
  json.AddMember("OffsetTimeToStop", JsonValue(static_cast<int64_t>(record.OffsetTimeToStop())),
                 allocator);
  if (record.Recording()) json.AddMember("Recording", JsonValue(true), allocator);
  return json;
}

// ---- Reading ----------------------------------------------------------------

// The file form has always been read through C strings, so a string with an
// escaped NUL ends there.
std::string CutAtNul(const JsonValue& value) { return std::string(value.GetString()); }

// The text of a member, or `fallback` when the member is missing or no string.
std::string StringMember(const JsonValue& object, const char* name, const char* fallback) {
  const auto member = object.FindMember(name);
  if (member == object.MemberEnd() || !member->value.IsString()) return fallback;
  return CutAtNul(member->value);
}

// An integer member as 64 bits; a number above the signed range keeps its bits.
// A number with a fraction, like anything that isn't a number, counts as missing.
bool IntegerMember(const JsonValue& object, const char* name, long long& out) {
  const auto member = object.FindMember(name);
  if (member == object.MemberEnd()) return false;
  const JsonValue& value = member->value;
  if (value.IsInt64()) {
    out = static_cast<long long>(value.GetInt64());
    return true;
  }
  if (value.IsUint64()) {
    out = static_cast<long long>(value.GetUint64());
    return true;
  }
  return false;
}

bool NumberMember(const JsonValue& object, const char* name, double& out) {
  const auto member = object.FindMember(name);
  if (member == object.MemberEnd() || !member->value.IsNumber()) return false;
  out = member->value.GetDouble();
  return true;
}

bool IsTrueMember(const JsonValue& object, const char* name) {
  const auto member = object.FindMember(name);
  return member != object.MemberEnd() && member->value.IsTrue();
}

unsigned short LowWord(long long value) { return static_cast<unsigned short>(value); }

int LowInt(long long value) { return static_cast<int>(static_cast<uint32_t>(value)); }

// A double outside the range of a float becomes an infinity of its sign, as the
// hardware would make it; the language leaves that conversion undefined.
float NarrowToFloat(double value) {
  if (value > FLT_MAX) return std::numeric_limits<float>::infinity();
  if (value < -FLT_MAX) return -std::numeric_limits<float>::infinity();
  return static_cast<float>(value);
}

// The low 32 bits of an integer version. A version that isn't an integer can't be
// 1, and counts as 0.
int VersionNumber(const JsonValue& value) {
  if (value.IsInt64()) return LowInt(value.GetInt64());
  if (value.IsUint64()) return LowInt(static_cast<long long>(value.GetUint64()));
  return 0;
}

// An array takes one type for all its elements, the narrowest that holds every
// one of them. An element that isn't a number at all is read as 0.
void ReadMetadataArray(const std::string& key, const JsonValue& array, MetaDataContainer& out) {
  bool allInt = true;
  bool allUInt64 = true;
  for (const JsonValue& element : array.GetArray()) {
    allInt = allInt && element.IsInt();
    allUInt64 = allUInt64 && element.IsUint64();
  }
  if (allInt) {
    std::vector<long> values;
    values.reserve(array.Size());
    for (const JsonValue& element : array.GetArray()) values.push_back(element.GetInt());
    out.AddMetadata(key, values);
  } else if (allUInt64) {
    std::vector<unsigned long long> values;
    values.reserve(array.Size());
    for (const JsonValue& element : array.GetArray()) values.push_back(element.GetUint64());
    out.AddMetadata(key, values);
  } else {
    std::vector<float> values;
    values.reserve(array.Size());
    for (const JsonValue& element : array.GetArray())
      values.push_back(element.IsNumber() ? NarrowToFloat(element.GetDouble()) : 0.0f);
    out.AddMetadata(key, values);
  }
}

// A root member that isn't one of the structured parts: the narrowest type that
// holds the value. null and objects carry no metadata and are passed over.
void ReadMetadataValue(const std::string& key, const JsonValue& value, MetaDataContainer& out) {
  if (value.IsNumber()) {
    if (value.IsInt())
      out.AddMetadata(key, static_cast<long>(value.GetInt()));
    else if (value.IsInt64())
      out.AddMetadata(key, static_cast<long long>(value.GetInt64()));
    else if (value.IsUint64())
      out.AddMetadata(key, static_cast<long long>(value.GetUint64()));
    else
      out.AddMetadata(key, value.GetDouble());
  } else if (value.IsString()) {
    out.AddMetadata(key, Utf8ToWide(CutAtNul(value)));
  } else if (value.IsArray()) {
    ReadMetadataArray(key, value, out);
  } else if (value.IsBool()) {
    out.AddMetadata(key, value.GetBool());
  }
}

CPropertyValue ReadProperty(const JsonValue& object) {
  // The key of the map is the property's identity; the stored value keeps an
  // empty id, as every reader of these files has seen it.
  CPropertyValue property;
  property.writeTitle() = Utf8ToWide(StringMember(object, "title", kUndefined));
  property.writeValue() = Utf8ToWide(StringMember(object, "value", kUndefined));
  property.writerType(StringMember(object, "type", kUndefined));
  if (property.type() == CPropertyValue::PropertyEnumerated) {
    const auto defaultEnum = object.FindMember("EnumDefault");
    if (defaultEnum != object.MemberEnd() && defaultEnum->value.IsString())
      property.writeDefault() = Utf8ToWide(CutAtNul(defaultEnum->value));
    property.writeConstrained() = IsTrueMember(object, "EnumConstrained");
    const auto list = object.FindMember("EnumList");
    if (list != object.MemberEnd() && list->value.IsArray()) {
      for (const JsonValue& item : list->value.GetArray())
        if (item.IsString()) property.writeListEnum().push_back(Utf8ToWide(CutAtNul(item)));
    }
  }
  return property;
}

MetaDataMarker ReadMarker(const JsonValue& object) {
  long long sequence = 0;
  long long scope = 0;
  IntegerMember(object, "Index", sequence);
  IntegerMember(object, "Record", scope);
  double relativeDate = 0.0;
  double relativeDateFromRun = 0.0;
  NumberMember(object, "RelativeDate", relativeDate);
  NumberMember(object, "RelativeDateFromRun", relativeDateFromRun);
  return MetaDataMarker(CMarkerId(LowWord(sequence), LowWord(scope)), relativeDate,
                        relativeDateFromRun,
                        Utf8ToWide(StringMember(object, "AbsoluteDate", kUndefined)),
                        Utf8ToWide(StringMember(object, "Comment", kUndefined)));
}

MetaDataAnalyzer ReadAnalyzer(const JsonValue& object) {
  return MetaDataAnalyzer(
      StringMember(object, "SerialNumber", ""), StringMember(object, "ShortName", ""),
      StringMember(object, "DiskSerialNumber", ""), StringMember(object, "DiskName", ""));
}

MetaDataRecord ReadRecord(const JsonValue& object) {
  MetaDataRecord record;
  // Older files name the record by its directory name instead of its number.
  long long recordId = 0;
  const auto id = object.FindMember("RecordId");
  if (id != object.MemberEnd() && id->value.IsString())
    recordId = static_cast<long long>(CRecordId::RecordNameToId(Utf8ToWide(CutAtNul(id->value))));
  else
    IntegerMember(object, "RecordId", recordId);
  record.setRecordId(static_cast<unsigned long long>(recordId));

  long long lastPart = 0;
  IntegerMember(object, "LastPartNumber", lastPart);
  record.setLastPartNumber(LowWord(lastPart));

  long long absDate = 0;
  IntegerMember(object, "AbsoluteDate", absDate);
  record.setAbsDate(absDate);

  long long offsetTimeToStop = 0;
  IntegerMember(object, "OffsetTimeToStop", offsetTimeToStop);
  record.setOffsetTimeToStop(offsetTimeToStop);

  double partLength = 0.0;
  double relDate = 0.0;
  double duration = 0.0;
  NumberMember(object, "PartLength", partLength);
  NumberMember(object, "RelativeDate", relDate);
  NumberMember(object, "Duration", duration);
  record.setPartLength(partLength);
  record.setRelDate(relDate);
  record.setDuration(duration);

  record.setRecording(IsTrueMember(object, "Recording"));
  return record;
}

MetaDataQuantity ReadQuantity(const JsonValue& object) {
  long long id = 0;
  long long type = 0;
  IntegerMember(object, "OperatorId", id);
  IntegerMember(object, "OperatorType", type);
  return MetaDataQuantity(LowInt(id), LowInt(type),
                          StringMember(object, "OperatorLeftKey", kUndefined),
                          StringMember(object, "OperatorRightKey", kUndefined));
}

// Metadata texts nest three levels at most. The default parser recurses once per
// level, so a text of nothing but brackets could exhaust the stack; a text that
// nests deeper than any metadata does goes to the iterative parser, which knows
// the same grammar. Brackets inside strings don't count.
bool NestsDeeply(const std::string& text) {
  const int kDeep = 64;
  int depth = 0;
  bool inString = false;
  bool escaped = false;
  for (char c : text) {
    if (inString) {
      if (escaped)
        escaped = false;
      else if (c == '\\')
        escaped = true;
      else if (c == '"')
        inString = false;
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > kDeep) return true;
    } else if ((c == ']' || c == '}') && depth > 0) {
      --depth;
    }
  }
  return false;
}

}  // namespace

MetaDataContainerJson::MetaDataContainerJson() : m_Document(std::make_unique<Document>()) {}

MetaDataContainerJson::~MetaDataContainerJson() = default;

std::string MetaDataContainerJson::LastError() const {
  return std::exchange(m_LastError, std::string());
}

std::string MetaDataContainerJson::ToJSONString(const MetaDataContainer& in) const {
  try {
    rapidjson::Document& document = m_Document->Fresh();
    JsonAllocator& allocator = document.GetAllocator();
    document.SetObject();
    document.AddMember(kVersion, 1, allocator);

    for (const auto& entry : in.m_MetaDataMap) {
      if (entry.second.type() == MetaDataValue::TypeUndefined) continue;
      document.AddMember(Text(entry.first, allocator), MetadataValue(entry.second, allocator),
                         allocator);
    }
    if (!in.m_MeasPropertiesMap.empty()) {
      JsonValue array(rapidjson::kArrayType);
      for (const auto& entry : in.m_MeasPropertiesMap)
        array.PushBack(PropertyObject(entry.first, entry.second, allocator), allocator);
      document.AddMember(kProperties, array, allocator);
    }
    if (!in.m_PhysicalQuantityMap.empty()) {
      JsonValue array(rapidjson::kArrayType);
      for (const auto& entry : in.m_PhysicalQuantityMap)
        array.PushBack(QuantityObject(entry.first, entry.second, allocator), allocator);
      document.AddMember(kQuantities, array, allocator);
    }
    if (!in.m_MarkersMap.empty()) {
      JsonValue array(rapidjson::kArrayType);
      for (const auto& entry : in.m_MarkersMap)
        array.PushBack(MarkerObject(entry.second, allocator), allocator);
      document.AddMember(kMarkers, array, allocator);
    }
    if (!in.m_Analyzers.empty()) {
      JsonValue array(rapidjson::kArrayType);
      for (const MetaDataAnalyzer& analyzer : in.m_Analyzers)
        array.PushBack(AnalyzerObject(analyzer, allocator), allocator);
      document.AddMember(kAnalyzers, array, allocator);
    }
    if (!in.m_Records.empty()) {
      JsonValue array(rapidjson::kArrayType);
      for (const MetaDataRecord& record : in.m_Records)
        array.PushBack(RecordObject(record, allocator), allocator);
      document.AddMember(kRecords, array, allocator);
    }

    // A NaN or an infinity stops the writer at that value; the text up to there
    // is still what the caller gets, so its result isn't looked at.
    rapidjson::StringBuffer buffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
    writer.SetIndent(' ', 4);
    writer.SetMaxDecimalPlaces(324);
    document.Accept(writer);

    std::string text(buffer.GetString(), buffer.GetSize());
    text += '\n';
    return text;
  } catch (const std::exception& e) {
    m_LastError = std::string("MetaDataContainerJson::ToJSONString(): exception: ") + e.what();
    ReportDiagnostic(DiagnosticError, "%s%s", m_LastError.c_str(), e.what());
    return std::string();
  }
}

bool MetaDataContainerJson::FromJSONString(const std::string& text, MetaDataContainer& out) {
  rapidjson::Document& document = m_Document->Fresh();
  if (NestsDeeply(text))
    document.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
  else
    document.Parse(text.data(), text.size());

  const auto fail = [this]() {
    ReportDiagnostic(DiagnosticError, "%s", m_LastError.c_str());
    return false;
  };

  if (document.HasParseError()) {
    m_LastError = std::string("MetaDataContainerJson::FromJSONString parsing error: ") +
                  rapidjson::GetParseError_En(document.GetParseError()) +
                  ", at offset: " + std::to_string(document.GetErrorOffset());
    return fail();
  }
  // A root that isn't an object can't hold a version either.
  if (!document.IsObject()) {
    m_LastError = "MetaDataContainerJson::FromJSONString version not found";
    return fail();
  }
  const auto version = document.FindMember(kVersion);
  if (version == document.MemberEnd()) {
    m_LastError = "MetaDataContainerJson::FromJSONString version not found";
    return fail();
  }
  const int versionNumber = VersionNumber(version->value);
  if (versionNumber != 1) {
    m_LastError = InvalidVersionMessage(versionNumber);
    return fail();
  }

  // The physical quantities stay: a text that doesn't name a quantity leaves the
  // caller's entry in place, and channel readers count on that.
  out.m_MeasPropertiesMap.clear();
  out.m_MetaDataMap.clear();
  out.m_MarkersMap.clear();
  out.m_Analyzers.clear();
  out.m_Records.clear();

  for (const auto& member : document.GetObject()) {
    const std::string key = CutAtNul(member.name);
    const JsonValue& value = member.value;
    // The structured parts go in as the text has them, without the checks of the
    // container's own operations: a later entry with the same key wins, a marker
    // with the zero id is kept, and records keep the text's order and dates.
    if (key == kProperties) {
      if (!value.IsArray()) continue;
      for (const JsonValue& element : value.GetArray())
        if (element.IsObject())
          out.m_MeasPropertiesMap[StringMember(element, "id", kUndefined)] = ReadProperty(element);
    } else if (key == kMarkers) {
      if (!value.IsArray()) continue;
      for (const JsonValue& element : value.GetArray()) {
        if (!element.IsObject()) continue;
        MetaDataMarker marker = ReadMarker(element);
        out.m_MarkersMap[marker.id()] = marker;
      }
    } else if (key == kAnalyzers) {
      if (!value.IsArray()) continue;
      for (const JsonValue& element : value.GetArray())
        if (element.IsObject()) out.m_Analyzers.push_back(ReadAnalyzer(element));
    } else if (key == kRecords) {
      if (!value.IsArray()) continue;
      for (const JsonValue& element : value.GetArray())
        if (element.IsObject()) out.m_Records.push_back(ReadRecord(element));
    } else if (key == kQuantities) {
      if (!value.IsArray()) continue;
      for (const JsonValue& element : value.GetArray()) {
        if (!element.IsObject()) continue;
        MetaDataQuantity quantity = ReadQuantity(element);
        out.m_PhysicalQuantityMap[quantity.QuantityId()] = quantity;
      }
    } else if (key != kVersion) {
      ReadMetadataValue(key, value, out);
    }
  }

  if (out.m_MetaDataMap.empty() && out.m_MarkersMap.empty()) {
    m_LastError = "MetaDataContainerJson::FromJSONString : no metadata found";
    return fail();
  }
  return true;
}

}  // namespace zsff
