// zsff info: what a measurement holds, as aligned tables for people or as JSON
// for scripts. Reads the files only; a measurement being recorded can be listed
// while it grows.
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <zsff/DateTime.h>
#include <zsff/MetaDataValue.h>
#include <zsff/TextConversion.h>

#include <cstdio>
#include <set>

#include "Arguments.h"
#include "Commands.h"
#include "Format.h"
#include "Measurement.h"
#include "Table.h"

namespace zsff_tools {

namespace {

using JsonWriter = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

std::string PartsText(unsigned short first, unsigned short last) {
  return first == last ? std::to_string(first) : std::to_string(first) + "-" + std::to_string(last);
}

template <typename T>
std::string JoinNumbers(const std::vector<T>& values, const char* format) {
  std::string text = "[";
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) text += ", ";
    if (i == 8) return text + "... " + std::to_string(values.size()) + " values]";
    text += Printf(format, values[i]);
  }
  return text + "]";
}

template <typename T, typename Visit>
auto VisitAs(const zsff::MetaDataContainer& metaData, const std::string& key, Visit& visit) {
  T value{};
  metaData.FindMetadata(key, value);
  return visit(value);
}

// Hands the value under `key` to `visit` in the C++ type it is stored as (floats
// widened to double), or calls visit() when the key holds nothing known. The
// tables and the JSON both go through here so they cannot disagree on a value.
template <typename Visit>
auto VisitValue(const zsff::MetaDataContainer& metaData, const std::string& key, Visit visit) {
  switch (metaData.GetMetadataType(key)) {
    case zsff::MetaDataValue::TypeString:
      return VisitAs<std::u16string>(metaData, key, visit);
    case zsff::MetaDataValue::TypeLong:
      return VisitAs<long>(metaData, key, visit);
    case zsff::MetaDataValue::TypeLongLong:
      return VisitAs<long long>(metaData, key, visit);
    case zsff::MetaDataValue::TypeFloat:
    case zsff::MetaDataValue::TypeDouble:
      return VisitAs<double>(metaData, key, visit);
    case zsff::MetaDataValue::TypeVectorFloat:
      return VisitAs<std::vector<float>>(metaData, key, visit);
    case zsff::MetaDataValue::TypeVectorLong:
      return VisitAs<std::vector<long>>(metaData, key, visit);
    case zsff::MetaDataValue::TypeVectorUInt64:
      return VisitAs<std::vector<unsigned long long>>(metaData, key, visit);
    case zsff::MetaDataValue::TypeBool:
      return VisitAs<bool>(metaData, key, visit);
    default:
      return visit();
  }
}

// A metadata value as one line of text; long lists are cut short.
struct ValueText {
  std::string operator()(const std::u16string& value) const { return zsff::WideToUtf8(value); }
  std::string operator()(long value) const { return std::to_string(value); }
  std::string operator()(long long value) const { return std::to_string(value); }
  std::string operator()(double value) const { return Printf("%.10g", value); }
  std::string operator()(const std::vector<float>& value) const {
    return JoinNumbers(std::vector<double>(value.begin(), value.end()), "%g");
  }
  std::string operator()(const std::vector<long>& value) const { return JoinNumbers(value, "%ld"); }
  std::string operator()(const std::vector<unsigned long long>& value) const {
    return JoinNumbers(value, "%llu");
  }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()() const { return ""; }
};

// Writes a value of any type the report holds, in its JSON form; lists in full.
struct JsonValue {
  JsonWriter& json;
  void operator()(const char* value) const { json.String(value); }
  void operator()(const std::string& value) const { json.String(value.c_str()); }
  void operator()(const std::u16string& value) const { (*this)(zsff::WideToUtf8(value)); }
  void operator()(bool value) const { json.Bool(value); }
  void operator()(int value) const { json.Int(value); }
  void operator()(unsigned value) const { json.Uint(value); }
  void operator()(long value) const { json.Int64(value); }
  void operator()(unsigned long value) const { json.Uint64(value); }
  void operator()(long long value) const { json.Int64(value); }
  void operator()(unsigned long long value) const { json.Uint64(value); }
  void operator()(double value) const { json.Double(value); }
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
    VisitValue(metaData, name, JsonValue{json});
  }
  json.EndObject();
}

void PrintJson(const MeasurementSummary& m) {
  rapidjson::StringBuffer buffer;
  JsonWriter json(buffer);
  json.SetIndent(' ', 2);
  json.StartObject();
  Member(json, "path", m.Path);
  Member(json, "baseName", m.BaseName);
  Member(json, "unfinished", m.Unfinished);
  Member(json, "endedUp", m.EndedUp);
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

  json.Key("records");
  json.StartArray();
  for (const RecordSummary& r : m.Records) {
    json.StartObject();
    Member(json, "id", r.Id.RecordId());
    Member(json, "name", r.Directory);
    Member(json, "number", r.Id.RecordNumber());
    Member(json, "inMetaData", r.InMetaData);
    Member(json, "onDisk", r.OnDisk);
    Member(json, "firstPart", r.Id.PartNumber());
    Member(json, "lastPart", r.LastPart);
    Member(json, "absDate", r.AbsDate);
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
      Member(json, "id", c.Id.Id());
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
      WriteMetaData(json, "metaData", c.MetaData);
      json.EndObject();
    }
    json.EndArray();
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
  std::printf("%s\n", buffer.GetString());
}

void PrintText(const MeasurementSummary& m) {
  Table head;
  head.AddColumn("Measurement");
  head.AddColumn(m.Path);
  head.AddRow({"Base name", m.BaseName});
  std::string state = "finished";
  if (m.Unfinished) state = "unfinished (" + m.BaseName + ".zff present)";
  if (!m.Unfinished && m.EndedUp) state = "repaired after an unfinished recording";
  head.AddRow({"State", state});
  head.AddRow({"Size", FormatBytes(static_cast<double>(m.TotalBytes))});
  head.Print(stdout);

  std::printf("\nKeys\n");
  Table keys;
  keys.AddColumn("key");
  keys.AddColumn("value");
  for (const std::string& key : m.MetaData.GetMetadataKeys()) {
    keys.AddRow({key, VisitValue(m.MetaData, key, ValueText())});
  }
  keys.Print(stdout, "  ");

  const std::set<std::string> propertyKeys = m.MetaData.GetMeasPropertiesKeys();
  if (!propertyKeys.empty()) {
    std::printf("\nProperties\n");
    Table properties;
    properties.AddColumn("id");
    properties.AddColumn("title");
    properties.AddColumn("value");
    for (const std::string& key : propertyKeys) {
      std::pair<std::u16string, std::u16string> property;
      m.MetaData.FindMeasProperty(key, property);
      properties.AddRow({key, zsff::WideToUtf8(property.first), zsff::WideToUtf8(property.second)});
    }
    properties.Print(stdout, "  ");
  }

  std::printf("\nRecords\n");
  Table records;
  records.AddColumn("#", Table::Right);
  records.AddColumn("record");
  records.AddColumn("start (UTC)");
  records.AddColumn("rel (s)", Table::Right);
  records.AddColumn("duration (s)", Table::Right);
  records.AddColumn("parts", Table::Right);
  records.AddColumn("part (s)", Table::Right);
  records.AddColumn("recording");
  records.AddColumn("channels", Table::Right);
  records.AddColumn("size", Table::Right);
  for (const RecordSummary& r : m.Records) {
    std::string flag = r.Recording ? "yes" : "no";
    if (!r.InMetaData) flag = "not listed";
    if (!r.OnDisk) flag += ", no directory";
    records.AddRow({std::to_string(r.Id.RecordNumber()), r.Directory, FormatFileTime(r.AbsDate),
                    FormatSeconds(r.RelDate, 3), FormatSeconds(r.Duration, 3),
                    PartsText(r.Id.PartNumber(), r.LastPart), FormatSeconds(r.PartLength, 1), flag,
                    std::to_string(r.Channels.size()),
                    FormatBytes(static_cast<double>(r.TotalBytes))});
  }
  records.Print(stdout, "  ");

  for (const RecordSummary& r : m.Records) {
    if (r.Channels.empty()) continue;
    std::printf("\n%s, part %u: %zu channels\n", r.Directory.c_str(), r.Id.PartNumber(),
                r.Channels.size());
    Table channels;
    channels.AddColumn("channel");
    channels.AddColumn("name");
    channels.AddColumn("format");
    channels.AddColumn("type");
    channels.AddColumn("rate (Hz)", Table::Right);
    channels.AddColumn("unit");
    channels.AddColumn("duration (s)", Table::Right);
    channels.AddColumn("parts", Table::Right);
    channels.AddColumn("size", Table::Right);
    channels.AddColumn("");
    for (const ChannelSummary& c : r.Channels) {
      std::string note = c.Recording ? "recording" : "";
      if (!c.Error.empty()) note = c.Error;
      channels.AddRow({c.Directory, c.Name, c.Format, c.Type, Printf("%g", c.SamplingRate), c.Unit,
                       FormatSeconds(c.Duration, 3),
                       c.PartFiles == 0 ? "0" : PartsText(c.FirstPart, c.LastPart),
                       FormatBytes(static_cast<double>(c.TotalBytes)), note});
    }
    channels.Print(stdout, "  ");
  }
}

}  // namespace

int RunInfo(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("info");
  Arguments arguments;
  std::string error;
  if (!arguments.Parse(args, {{"json", false}}, error)) return UsageError(command, error);
  if (arguments.Positional().size() != 1) {
    return UsageError(command, arguments.Positional().empty() ? "which measurement directory?"
                                                              : "one directory at a time");
  }
  MeasurementSummary measurement;
  if (!LoadMeasurement(arguments.Positional().front(), measurement, error)) return Fail(error);
  if (arguments.Has("json")) {
    PrintJson(measurement);
  } else {
    PrintText(measurement);
  }
  return ExitOk;
}

}  // namespace zsff_tools
