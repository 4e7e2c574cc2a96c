#include "MeasurementOutline.h"

#include <algorithm>

#include "Measurement.h"
#include "foundation/TextConversion.h"

namespace zsff_tools {

namespace {

const char* FormatName(const std::string& stored) {
  if (stored == "SIFloat") return "float32";
  if (stored == "SIDouble") return "float64";
  if (stored == "Compact16") return "int16";
  if (stored == "Raw32") return "int32";
  return "unknown";
}

double DurationOf(const RecordSummary& record) {
  if (!record.Recording) return record.Duration;
  double longest = record.Duration;
  for (const ChannelSummary& channel : record.Channels) longest = std::max(longest, channel.Duration);
  return longest;
}

}  // namespace

bool LoadOutline(const std::string& directory, MeasurementOutline& out, std::string& error) {
  MeasurementSummary summary;
  if (!LoadMeasurement(directory, summary, error)) return false;
  out = MeasurementOutline();
  out.Path = summary.Path;
  out.Name = summary.Path.substr(summary.Path.find_last_of('/') + 1);
  out.MarkersError = summary.MarkersError;
  // Directories the list doesn't name are left to the end-up.
  const RecordSummary* first = nullptr;
  for (const RecordSummary& record : summary.Records) {
    if (!record.InMetaData) continue;
    if (first == nullptr) first = &record;
    const double duration = DurationOf(record);
    out.Records.push_back({static_cast<int>(out.Records.size()) + 1, record.AbsDate, duration,
                           record.Recording});
    out.Duration += duration;
  }
  // Every record of a measurement has the channels of the first.
  if (first != nullptr) {
    for (const ChannelSummary& channel : first->Channels) {
      out.Channels.push_back({channel.Id, static_cast<int>(out.Channels.size()), channel.Name,
                              channel.Unit, FormatName(channel.Format), channel.SamplingRate});
    }
  }
  for (const zsff::MetaDataMarker& marker : summary.Markers) {
    out.Markers.push_back({marker.relativeDate(),
                           marker.relativeDateFromRun() - marker.relativeDate(),
                           zsff::WideToUtf8(marker.comment())});
  }
  return true;
}

const ChannelOutline* FindChannel(const MeasurementOutline& outline, const std::string& name) {
  for (const ChannelOutline& channel : outline.Channels) {
    if (channel.Name == name) return &channel;
  }
  return nullptr;
}

double UnixSeconds(long long fileTime) {
  constexpr long long kUnixEpoch = 116444736000000000LL;  // 1970 in ticks since 1601
  return static_cast<double>(fileTime - kUnixEpoch) / 1e7;
}

}  // namespace zsff_tools
