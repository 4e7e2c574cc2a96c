#include "InfoJson.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <zsff/DateTime.h>

#include <cmath>

#include "MetaDataVisit.h"
#include "PostAnalysis.h"
#include "foundation/TextConversion.h"

namespace zsff_tools {

namespace {

using JsonWriter = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

// Writes a value of any type the report holds, in its JSON form; lists in full.
// Byte counts stay numbers; 64-bit ids and dates are made text by the caller.
struct JsonValue {
  JsonWriter& json;
  // For the metadata's 64-bit values, whose meaning the listing doesn't know.
  bool LongLongAsText = false;
  void operator()(const char* value) const { json.String(value); }
  void operator()(const std::string& value) const { json.String(value.c_str()); }
  void operator()(const std::u16string& value) const { (*this)(zsff::WideToUtf8(value)); }
  void operator()(bool value) const { json.Bool(value); }
  void operator()(int value) const { json.Int(value); }
  void operator()(unsigned value) const { json.Uint(value); }
  void operator()(long value) const { json.Int64(value); }
  void operator()(unsigned long value) const { json.Uint64(value); }
  void operator()(long long value) const {
    if (LongLongAsText) return (*this)(std::to_string(value));
    json.Int64(value);
  }
  void operator()(unsigned long long value) const {
    if (LongLongAsText) return (*this)(std::to_string(value));
    json.Uint64(value);
  }
  // RapidJSON refuses NaN and the infinities, and would leave a key without value.
  void operator()(double value) const {
    if (std::isfinite(value)) {
      json.Double(value);
    } else {
      json.Null();
    }
  }
  template <typename T>
  void operator()(const std::vector<T>& values) const {
    json.StartArray();
    for (const T& value : values) (*this)(value);
    json.EndArray();
  }
  void operator()() const { json.Null(); }
};

template <typename T>
void Member(JsonWriter& json, const char* key, const T& value) {
  json.Key(key);
  JsonValue{json}(value);
}

void WriteMetaData(JsonWriter& json, const char* key, const zsff::MetaDataContainer& metaData) {
  json.Key(key);
  json.StartObject();
  for (const std::string& name : metaData.GetMetadataKeys()) {
    json.Key(name.c_str());
    VisitValue(metaData, name, JsonValue{json, true});
  }
  json.EndObject();
}

// The post-analysis settings of a channel, each beside the recorded value it
// stands for (null when there is none), keyed by the recorded key.
void WritePostAnalysis(JsonWriter& json, const zsff::MetaDataContainer& metaData) {
  json.Key("postAnalysis");
  json.StartObject();
  for (const PostAnalysisKey& key : PostAnalysisKeys()) {
    if (metaData.GetMetadataType(key.PostAnalysis) == zsff::MetaDataValue::TypeUndefined) continue;
    json.Key(key.Recorded);
    json.StartObject();
    json.Key("recorded");
    VisitValue(metaData, key.Recorded, JsonValue{json, true});
    json.Key("postAnalysis");
    VisitValue(metaData, key.PostAnalysis, JsonValue{json, true});
    json.EndObject();
  }
  json.EndObject();
}

void WriteMarkers(JsonWriter& json, const std::vector<zsff::MetaDataMarker>& markers) {
  json.StartArray();
  for (const zsff::MetaDataMarker& marker : markers) {
    json.StartObject();
    Member(json, "record", marker.id().Scope());
    Member(json, "index", marker.id().Sequence());
    Member(json, "start", marker.relativeDate());
    Member(json, "end", marker.relativeDateFromRun());
    Member(json, "date", marker.absoluteDate());
    Member(json, "text", marker.comment());
    json.EndObject();
  }
  json.EndArray();
}

}  // namespace

std::string MarkersToJson(const std::vector<zsff::MetaDataMarker>& markers) {
  rapidjson::StringBuffer buffer;
  JsonWriter json(buffer);
  json.SetIndent(' ', 2);
  WriteMarkers(json, markers);
  return buffer.GetString();
}

std::string MeasurementToJson(const MeasurementSummary& m) {
  rapidjson::StringBuffer buffer;
  JsonWriter json(buffer);
  json.SetIndent(' ', 2);
  json.StartObject();
  Member(json, "path", m.Path);
  Member(json, "baseName", m.BaseName);
  Member(json, "unfinished", m.Unfinished);
  Member(json, "endedUp", m.EndedUp);
  Member(json, "editing", m.Editing);
  Member(json, "locked", m.Locked);
  Member(json, "totalBytes", m.TotalBytes);
  WriteMetaData(json, "keys", m.MetaData);

  json.Key("properties");
  json.StartObject();
  for (const std::string& key : m.MetaData.GetMeasPropertiesKeys()) {
    std::pair<std::u16string, std::u16string> property;
    m.MetaData.FindMeasProperty(key, property);
    json.Key(key.c_str());
    json.StartObject();
    Member(json, "title", property.first);
    Member(json, "value", property.second);
    json.EndObject();
  }
  json.EndObject();

  json.Key("markers");
  WriteMarkers(json, m.Markers);
  Member(json, "markersError", m.MarkersError);

  json.Key("records");
  json.StartArray();
  for (const RecordSummary& r : m.Records) {
    json.StartObject();
    Member(json, "id", std::to_string(r.Id.RecordId()));
    Member(json, "name", r.Directory);
    Member(json, "number", r.Id.RecordNumber());
    Member(json, "inMetaData", r.InMetaData);
    Member(json, "onDisk", r.OnDisk);
    Member(json, "firstPart", r.Id.PartNumber());
    Member(json, "lastPart", r.LastPart);
    Member(json, "absDate", std::to_string(r.AbsDate));
    Member(json, "startDate",
           r.AbsDate > 0 ? zsff::WideToUtf8(zsff::FileTimeToString(r.AbsDate)) : std::string());
    Member(json, "relDate", r.RelDate);
    Member(json, "duration", r.Duration);
    Member(json, "partLength", r.PartLength);
    Member(json, "recording", r.Recording);
    Member(json, "offsetTimeToStop", r.OffsetTimeToStop);
    Member(json, "totalBytes", r.TotalBytes);
    json.Key("channels");
    json.StartArray();
    for (const ChannelSummary& c : r.Channels) {
      json.StartObject();
      Member(json, "id", std::to_string(c.Id.Id()));
      Member(json, "directory", c.Directory);
      Member(json, "number", c.Id.ChannelNumber());
      Member(json, "analyzer", c.Id.AnalyzerIndex());
      Member(json, "serial", c.Id.DeviceSerialNumber());
      Member(json, "name", c.Name);
      Member(json, "format", c.Format);
      Member(json, "type", c.Type);
      Member(json, "unit", c.Unit);
      Member(json, "samplingRate", c.SamplingRate);
      Member(json, "duration", c.Duration);
      Member(json, "recording", c.Recording);
      Member(json, "partFiles", c.PartFiles);
      Member(json, "firstPart", c.FirstPart);
      Member(json, "lastPart", c.LastPart);
      Member(json, "signalBytes", c.SignalBytes);
      Member(json, "pyramidBytes", c.PyramidBytes);
      Member(json, "totalBytes", c.TotalBytes);
      Member(json, "error", c.Error);
      WritePostAnalysis(json, c.MetaData);
      WriteMetaData(json, "metaData", c.MetaData);
      json.EndObject();
    }
    json.EndArray();
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
  return buffer.GetString();
}

}  // namespace zsff_tools
