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

// A metadata value as one line of text.
std::string ValueText(const zsff::MetaDataContainer& metaData, const std::string& key) {
  switch (metaData.GetMetadataType(key)) {
    case zsff::MetaDataValue::TypeString: {
      std::u16string value;
      metaData.FindMetadata(key, value);
      return zsff::WideToUtf8(value);
    }
    case zsff::MetaDataValue::TypeLong: {
      long value = 0;
      metaData.FindMetadata(key, value);
      return std::to_string(value);
    }
    case zsff::MetaDataValue::TypeLongLong: {
      long long value = 0;
      metaData.FindMetadata(key, value);
      return std::to_string(value);
    }
    case zsff::MetaDataValue::TypeFloat:
    case zsff::MetaDataValue::TypeDouble: {
      double value = 0.0;
      metaData.FindMetadata(key, value);
      return Printf("%.10g", value);
    }
    case zsff::MetaDataValue::TypeVectorFloat: {
      std::vector<float> value;
      metaData.FindMetadata(key, value);
      std::vector<double> wide(value.begin(), value.end());
      return JoinNumbers(wide, "%g");
    }
    case zsff::MetaDataValue::TypeVectorLong: {
      std::vector<long> value;
      metaData.FindMetadata(key, value);
      return JoinNumbers(value, "%ld");
    }
    case zsff::MetaDataValue::TypeVectorUInt64: {
      std::vector<unsigned long long> value;
      metaData.FindMetadata(key, value);
      return JoinNumbers(value, "%llu");
    }
    case zsff::MetaDataValue::TypeBool: {
      bool value = false;
      metaData.FindMetadata(key, value);
      return value ? "true" : "false";
    }
    default:
      return "";
  }
}

void WriteValue(JsonWriter& json, const zsff::MetaDataContainer& metaData, const std::string& key) {
  switch (metaData.GetMetadataType(key)) {
    case zsff::MetaDataValue::TypeString: {
      std::u16string value;
      metaData.FindMetadata(key, value);
      json.String(zsff::WideToUtf8(value).c_str());
      break;
    }
    case zsff::MetaDataValue::TypeLong: {
      long value = 0;
      metaData.FindMetadata(key, value);
      json.Int64(value);
      break;
    }
    case zsff::MetaDataValue::TypeLongLong: {
      long long value = 0;
      metaData.FindMetadata(key, value);
      json.Int64(value);
      break;
    }
    case zsff::MetaDataValue::TypeFloat:
    case zsff::MetaDataValue::TypeDouble: {
      double value = 0.0;
      metaData.FindMetadata(key, value);
      json.Double(value);
      break;
    }
    case zsff::MetaDataValue::TypeVectorFloat: {
      std::vector<float> value;
      metaData.FindMetadata(key, value);
      json.StartArray();
      for (const float v : value) json.Double(v);
      json.EndArray();
      break;
    }
    case zsff::MetaDataValue::TypeVectorLong: {
      std::vector<long> value;
      metaData.FindMetadata(key, value);
      json.StartArray();
      for (const long v : value) json.Int64(v);
      json.EndArray();
      break;
    }
    case zsff::MetaDataValue::TypeVectorUInt64: {
      std::vector<unsigned long long> value;
      metaData.FindMetadata(key, value);
      json.StartArray();
      for (const unsigned long long v : value) json.Uint64(v);
      json.EndArray();
      break;
    }
    case zsff::MetaDataValue::TypeBool: {
      bool value = false;
      metaData.FindMetadata(key, value);
      json.Bool(value);
      break;
    }
    default:
      json.Null();
  }
}

void Key(JsonWriter& json, const char* key) { json.Key(key); }

void PrintJson(const MeasurementSummary& m) {
  rapidjson::StringBuffer buffer;
  JsonWriter json(buffer);
  json.SetIndent(' ', 2);
  json.StartObject();
  Key(json, "path");
  json.String(m.Path.c_str());
  Key(json, "baseName");
  json.String(m.BaseName.c_str());
  Key(json, "unfinished");
  json.Bool(m.Unfinished);
  Key(json, "endedUp");
  json.Bool(m.EndedUp);
  Key(json, "totalBytes");
  json.Uint64(m.TotalBytes);

  Key(json, "keys");
  json.StartObject();
  for (const std::string& key : m.MetaData.GetMetadataKeys()) {
    json.Key(key.c_str());
    WriteValue(json, m.MetaData, key);
  }
  json.EndObject();

  Key(json, "properties");
  json.StartObject();
  for (const std::string& key : m.MetaData.GetMeasPropertiesKeys()) {
    std::pair<std::u16string, std::u16string> property;
    m.MetaData.FindMeasProperty(key, property);
    json.Key(key.c_str());
    json.StartObject();
    Key(json, "title");
    json.String(zsff::WideToUtf8(property.first).c_str());
    Key(json, "value");
    json.String(zsff::WideToUtf8(property.second).c_str());
    json.EndObject();
  }
  json.EndObject();

  Key(json, "records");
  json.StartArray();
  for (const RecordSummary& r : m.Records) {
    json.StartObject();
    Key(json, "id");
    json.Uint64(r.Id.RecordId());
    Key(json, "name");
    json.String(r.Directory.c_str());
    Key(json, "number");
    json.Uint(r.Id.RecordNumber());
    Key(json, "inMetaData");
    json.Bool(r.InMetaData);
    Key(json, "onDisk");
    json.Bool(r.OnDisk);
    Key(json, "firstPart");
    json.Uint(r.Id.PartNumber());
    Key(json, "lastPart");
    json.Uint(r.LastPart);
    Key(json, "absDate");
    json.Int64(r.AbsDate);
    Key(json, "startDate");
    json.String(r.AbsDate > 0 ? zsff::WideToUtf8(zsff::FileTimeToString(r.AbsDate)).c_str() : "");
    Key(json, "relDate");
    json.Double(r.RelDate);
    Key(json, "duration");
    json.Double(r.Duration);
    Key(json, "partLength");
    json.Double(r.PartLength);
    Key(json, "recording");
    json.Bool(r.Recording);
    Key(json, "offsetTimeToStop");
    json.Int64(r.OffsetTimeToStop);
    Key(json, "totalBytes");
    json.Uint64(r.TotalBytes);
    Key(json, "channels");
    json.StartArray();
    for (const ChannelSummary& c : r.Channels) {
      json.StartObject();
      Key(json, "id");
      json.Uint64(c.Id.Id());
      Key(json, "directory");
      json.String(c.Directory.c_str());
      Key(json, "number");
      json.Uint(c.Id.ChannelNumber());
      Key(json, "analyzer");
      json.Uint(c.Id.AnalyzerIndex());
      Key(json, "serial");
      json.Uint64(c.Id.DeviceSerialNumber());
      Key(json, "name");
      json.String(c.Name.c_str());
      Key(json, "format");
      json.String(c.Format.c_str());
      Key(json, "type");
      json.String(c.Type.c_str());
      Key(json, "unit");
      json.String(c.Unit.c_str());
      Key(json, "samplingRate");
      json.Double(c.SamplingRate);
      Key(json, "duration");
      json.Double(c.Duration);
      Key(json, "recording");
      json.Bool(c.Recording);
      Key(json, "partFiles");
      json.Int(c.PartFiles);
      Key(json, "firstPart");
      json.Uint(c.FirstPart);
      Key(json, "lastPart");
      json.Uint(c.LastPart);
      Key(json, "signalBytes");
      json.Uint64(c.SignalBytes);
      Key(json, "pyramidBytes");
      json.Uint64(c.PyramidBytes);
      Key(json, "totalBytes");
      json.Uint64(c.TotalBytes);
      Key(json, "error");
      json.String(c.Error.c_str());
      Key(json, "metaData");
      json.StartObject();
      for (const std::string& key : c.MetaData.GetMetadataKeys()) {
        json.Key(key.c_str());
        WriteValue(json, c.MetaData, key);
      }
      json.EndObject();
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
    keys.AddRow({key, ValueText(m.MetaData, key)});
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
