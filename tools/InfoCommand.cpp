// zsff info: what a measurement holds, as aligned tables for people or as JSON
// for scripts. Reads the files only; a measurement being recorded can be listed
// while it grows.

#include <cstdio>
#include <filesystem>
#include <set>

#include "Arguments.h"
#include "Commands.h"
#include "EditMeasurement.h"
#include "Format.h"
#include "InfoJson.h"
#include "ListingArguments.h"
#include "MarkerListing.h"
#include "Measurement.h"
#include "MetaDataVisit.h"
#include "PostAnalysis.h"
#include "Table.h"
#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

namespace {

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

// The unit and the meaning of the summary keys the recorder keeps, which their
// names don't tell: a "Duration" far below the records' lengths looks like a
// fault otherwise.
struct KeyNote {
  const char* Key;
  const char* Unit;
  const char* Meaning;
};
constexpr KeyNote kKeyNotes[] = {
    {"Duration", "s",
     "the records' kept lengths added up when each stopped; a record with a time to stop"
     " (Mode \"Time to stop\") cuts the sum to that time"},
    {"FileSize", "KiB",
     "the records' signal files and an estimate of their pyramids, added up when each stopped"},
};

const KeyNote* FindKeyNote(const std::string& key) {
  for (const KeyNote& note : kKeyNotes) {
    if (key == note.Key) return &note;
  }
  return nullptr;
}

// The post-analysis settings of a record's channels beside the recorded values
// they stand for; nothing for a record without any.
void PrintPostAnalysis(const RecordSummary& r) {
  Table settings;
  settings.AddColumn("channel");
  settings.AddColumn("key");
  settings.AddColumn("recorded");
  settings.AddColumn("post-analysis");
  bool any = false;
  for (const ChannelSummary& c : r.Channels) {
    for (const PostAnalysisKey& key : PostAnalysisKeys()) {
      if (c.MetaData.GetMetadataType(key.PostAnalysis) == zsff::MetaDataValue::TypeUndefined) {
        continue;
      }
      std::string recorded = VisitValue(c.MetaData, key.Recorded, ValueText());
      settings.AddRow({c.Directory, key.Recorded, recorded.empty() ? "-" : recorded,
                       VisitValue(c.MetaData, key.PostAnalysis, ValueText())});
      any = true;
    }
  }
  if (!any) return;
  std::printf("\n%s, post-analysis settings (zsff rescale; the samples stay as recorded)\n",
              r.Directory.c_str());
  settings.Print(stdout, "  ");
}

void PrintText(const MeasurementSummary& m) {
  Table head;
  head.AddColumn("Measurement");
  head.AddColumn(m.Path);
  head.AddRow({"Base name", m.BaseName});
  std::string state = "finished";
  if (m.Unfinished)
    state = "unfinished (" + zsff::names::HeaderFileName(m.BaseName) +
            " present): being recorded, or its recorder was killed; if no recorder is at work,"
            " repair it with: zsff endup " + m.Path;
  if (!m.Unfinished && m.EndedUp) state = "repaired after an unfinished recording";
  head.AddRow({"State", state});
  // Nothing tells a live editor from a killed one: the reader is told both.
  if (m.Editing)
    head.AddRow({"Editing", "marked as being edited, by a program at work on it or by one that was"
                            " killed; " + UnlockHint(m.Path)});
  if (m.Locked)
    head.AddRow({"Lock", (fs::path(m.Path) / zsff::WideToUtf8(zsff::names::LockFileName())).string() +
                             " is there: a program is writing the metadata, or was killed while it"
                             " did; " + UnlockHint(m.Path)});
  head.AddRow({"Size", FormatBytes(static_cast<double>(m.TotalBytes))});
  head.Print(stdout);

  std::printf("\nKeys\n");
  Table keys;
  keys.AddColumn("key");
  keys.AddColumn("value");
  keys.AddColumn("meaning");
  for (const std::string& key : m.MetaData.GetMetadataKeys()) {
    std::string value = VisitValue(m.MetaData, key, ValueText());
    const KeyNote* note = FindKeyNote(key);
    if (note != nullptr) value += std::string(" ") + note->Unit;
    keys.AddRow({key, value, note != nullptr ? note->Meaning : ""});
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

  if (!m.Markers.empty()) {
    std::printf("\nMarkers\n");
    MarkerTable(m.Markers).Print(stdout, "  ");
  }
  if (!m.MarkersError.empty()) std::printf("\nMarkers: %s\n", m.MarkersError.c_str());

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
    PrintPostAnalysis(r);
  }
}

}  // namespace

int RunInfo(const std::vector<std::string>& args) {
  Arguments arguments;
  MeasurementSummary measurement;
  int code = ExitOk;
  if (!ParseAndLoadMeasurement("info", args, arguments, measurement, code)) return code;
  if (arguments.Has("json")) {
    std::printf("%s\n", MeasurementToJson(measurement).c_str());
  } else {
    PrintText(measurement);
  }
  // A listing with a broken channel in it must not pass a script's check.
  int broken = 0;
  for (const RecordSummary& record : measurement.Records) {
    for (const ChannelSummary& channel : record.Channels) broken += channel.Error.empty() ? 0 : 1;
  }
  if (broken != 0) {
    return Fail(Printf("%s: %d channel%s show%s an error", measurement.Path.c_str(), broken,
                       broken == 1 ? "" : "s", broken == 1 ? "s" : ""));
  }
  return ExitOk;
}

}  // namespace zsff_tools
