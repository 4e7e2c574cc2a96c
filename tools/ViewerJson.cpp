#include "ViewerJson.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cmath>
#include <ctime>

namespace zsff_tools {

namespace {

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

void Number(JsonWriter& json, double value) {
  if (std::isfinite(value)) {
    json.Double(value);
  } else {
    json.Null();
  }
}

void Text(JsonWriter& json, const std::string& text) {
  json.String(text.c_str(), static_cast<rapidjson::SizeType>(text.size()));
}

// "2026-11-26T07:41:25.648Z"
std::string IsoDate(long long fileTime) {
  const double seconds = UnixSeconds(fileTime);
  const std::time_t whole = static_cast<std::time_t>(std::floor(seconds));
  std::tm utc{};
  gmtime_r(&whole, &utc);
  char text[40];
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
  const int millis = static_cast<int>((seconds - std::floor(seconds)) * 1000.0);
  std::snprintf(text + length, sizeof text - length, ".%03dZ", millis);
  return text;
}

}  // namespace

std::string OutlineToJson(const MeasurementOutline& outline) {
  rapidjson::StringBuffer buffer;
  JsonWriter json(buffer);
  json.StartObject();
  json.Key("name");
  Text(json, outline.Name);
  json.Key("duration");
  Number(json, outline.Duration);
  json.Key("records");
  json.StartArray();
  for (const RecordOutline& record : outline.Records) {
    json.StartObject();
    json.Key("number");
    json.Int(record.Number);
    json.Key("start");
    Text(json, IsoDate(record.StartDate));
    json.Key("duration");
    Number(json, record.Duration);
    json.Key("recording");
    json.Bool(record.Recording);
    json.EndObject();
  }
  json.EndArray();
  json.Key("channels");
  json.StartArray();
  for (const ChannelOutline& channel : outline.Channels) {
    json.StartObject();
    json.Key("index");
    json.Int(channel.Index);
    json.Key("name");
    Text(json, channel.Name);
    json.Key("unit");
    Text(json, channel.Unit);
    json.Key("rate");
    Number(json, channel.Rate);
    json.EndObject();
  }
  json.EndArray();
  json.Key("markers");
  json.StartArray();
  for (const MarkerOutline& marker : outline.Markers) {
    json.StartObject();
    json.Key("position");
    Number(json, marker.Position);
    json.Key("duration");
    Number(json, marker.Duration);
    json.Key("name");
    Text(json, marker.Name);
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
  return buffer.GetString();
}

std::string ZoomToJson(double start, double end, unsigned long long points,
                       const std::vector<float>& pairs) {
  rapidjson::StringBuffer buffer;
  JsonWriter json(buffer);
  json.StartObject();
  json.Key("start");
  Number(json, start);
  json.Key("end");
  Number(json, end);
  json.Key("points");
  json.Uint64(points);
  for (int side = 0; side < 2; ++side) {
    json.Key(side == 0 ? "min" : "max");
    json.StartArray();
    for (std::size_t i = static_cast<std::size_t>(side); i < pairs.size(); i += 2) {
      Number(json, static_cast<double>(pairs[i]));
    }
    json.EndArray();
  }
  json.EndObject();
  return buffer.GetString();
}

std::string ErrorToJson(const std::string& message) {
  rapidjson::StringBuffer buffer;
  JsonWriter json(buffer);
  json.StartObject();
  json.Key("error");
  Text(json, message);
  json.EndObject();
  return buffer.GetString();
}

}  // namespace zsff_tools
