// zsff zoom: what a display draws of one channel over a span of the whole
// measurement, its records end to end: at most N (min, max) pairs, as CSV text
// (point, time, min, max) or as JSON, in volts or in the scaling of the
// post-analysis settings saved with "zsff rescale". Seconds not yet recorded by a running
// record come out empty (NaN in CSV, null in JSON); a span past the end of a
// finished measurement is cut to its end.
#include <zsff/AbstractRecordSection.h>
#include <zsff/ChannelId.h>
#include <zsff/MetaDataRecord.h>
#include <zsff/RecordId.h>
#include <zsff/RecordSignalTree.h>
#include <zsff/RecordZoomer.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Arguments.h"
#include "Commands.h"
#include "Format.h"
#include "OpenTree.h"
#include "PostAnalysis.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

namespace {

struct ZoomOptions {
  fs::path Directory;
  long long Channel = -1;  // -1: the first record's first channel
  long long Analyzer = -1;
  double Start = 0.0;
  double Stop = -1.0;  // -1: the end of the last record
  long long Points = 100;
  bool Json = false;
  bool PostAnalysis = false;  // the saved post-analysis scaling instead of volts
};

int ParseOptions(const Command& command, const std::vector<std::string>& args,
                 ZoomOptions& options) {
  Arguments arguments;
  std::string error;
  if (!arguments.Parse(args,
                       {{"channel", true},
                        {"analyzer", true},
                        {"start", true},
                        {"stop", true},
                        {"points", true},
                        {"json", false},
                        {"post-analysis", false}},
                       error) ||
      !arguments.GetInteger("channel", 0, 65535, options.Channel, error) ||
      !arguments.GetInteger("analyzer", 0, 65535, options.Analyzer, error) ||
      !arguments.GetDouble("start", 0.0, 1e9, options.Start, error) ||
      !arguments.GetDouble("stop", 0.0, 1e9, options.Stop, error) ||
      !arguments.GetInteger("points", 1, 10000000, options.Points, error)) {
    return UsageError(command, error);
  }
  const std::vector<std::string>& positional = arguments.Positional();
  if (positional.size() != 1) {
    return UsageError(command, positional.empty() ? "which measurement directory?"
                                                  : "one measurement directory only");
  }
  if (options.Stop >= 0.0 && options.Stop <= options.Start) {
    return UsageError(command, "--stop must lie after --start");
  }
  options.Json = arguments.Has("json");
  options.PostAnalysis = arguments.Has("post-analysis");
  options.Directory = MeasurementDirectory(positional[0]);
  return ExitOk;
}

// Whether the last record of the measurement is still being recorded.
bool StillRecording(zsff::CRecordSignalTree& tree) {
  std::vector<zsff::MetaDataRecord> records;
  return tree.GetRecordsVect(records) && !records.empty() && records.back().Recording();
}

// The pairs share the span evenly, however many the zoomer gave for the
// points asked: fewer where the span holds fewer samples than points.
void PrintCsv(const std::vector<float>& values, double start, double stop) {
  const double step = (stop - start) / static_cast<double>(values.size() / 2);
  std::printf("point,time,min,max\n");
  for (std::size_t i = 0; i + 1 < values.size(); i += 2) {
    std::printf("%zu,%.6f,%.9g,%.9g\n", i / 2, start + static_cast<double>(i / 2) * step, values[i],
                values[i + 1]);
  }
}

// JSON has no NaN nor infinity: a value not yet recorded, or not finite, is null.
std::string JsonNumber(float value) {
  if (!std::isfinite(value)) return "null";
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", static_cast<double>(value));
  return text;
}

void PrintJson(const std::vector<float>& values, const zsff::CChannelID& id,
               const ZoomOptions& options, double stop) {
  std::printf("{\n  \"channel\": %u,\n  \"analyzer\": %u,\n", id.ChannelNumber(),
              id.AnalyzerIndex());
  std::printf("  \"start\": %.6f,\n  \"stop\": %.6f,\n  \"points\": %lld,\n  \"pairs\": [",
              options.Start, stop, options.Points);
  for (std::size_t i = 0; i + 1 < values.size(); i += 2) {
    std::printf("%s\n    [%s, %s]", i == 0 ? "" : ",", JsonNumber(values[i]).c_str(),
                JsonNumber(values[i + 1]).c_str());
  }
  std::printf("%s]\n}\n", values.empty() ? "" : "\n  ");
}

}  // namespace

int RunZoom(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("zoom");
  ZoomOptions options;
  if (const int code = ParseOptions(command, args, options); code != ExitOk) return code;

  ZoomedMeasurement measurement;
  std::string error;
  measurement.Tree = OpenForReading(options.Directory, error);
  if (!measurement.Tree) return Fail(error);

  zsff::CChannelID id;
  if (!PickFirstRecordChannel(*measurement.Tree, options.Channel, options.Analyzer, id)) {
    return Fail("the measurement has no such channel");
  }
  if (!measurement.Zoomer.Init(measurement.Tree.get(), id)) {
    return Fail("the records of the measurement can't be opened");
  }
  if (!options.PostAnalysis) ZoomInVolts(*measurement.Tree, measurement.Zoomer, {id});
  const double end = measurement.Zoomer.VectRecordInfo().back().End;
  const bool growing = StillRecording(*measurement.Tree);
  const double stop = options.Stop < 0.0 || (options.Stop > end && !growing) ? end : options.Stop;
  if (stop <= options.Start) {
    return Fail(
        Printf("--start %g s lies past the end of the measurement, %g s", options.Start, end));
  }

  std::vector<float> values;
  if (!measurement.Zoomer.GetCompressedSignal(
          id, static_cast<float>(options.Start), static_cast<float>(stop),
          static_cast<unsigned long long>(options.Points), false, 0, values)) {
    return Fail("the span can't be zoomed");
  }
  if (options.Json) {
    PrintJson(values, id, options, stop);
  } else {
    PrintCsv(values, options.Start, stop);
  }
  if (std::fflush(stdout) != 0) return Fail("the output can't be written");
  return ExitOk;
}

}  // namespace zsff_tools
