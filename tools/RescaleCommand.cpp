// zsff rescale: post-analysis settings of one channel, saved beside its recorded
// values in every record of a measurement: the sensitivity, offset, range, unit
// or name an operator finds the channel really had. "zsff read", "zoom" and
// "plot" apply them with --post-analysis; the samples stay as recorded. A
// measurement being recorded or edited elsewhere is refused and left as it was.
#include <zsff/ChannelId.h>
#include <zsff/PostAnalysisSettings.h>
#include <zsff/RecordSignalTree.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Arguments.h"
#include "Commands.h"
#include "EditMeasurement.h"
#include "Format.h"
#include "OpenTree.h"
#include "Verbosity.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

namespace {

struct RescaleOptions {
  fs::path Directory;
  long long Channel = -1;
  long long Analyzer = -1;  // -1: any
  double Sensitivity = 0.0;
  double Offset = zsff::CPostAnalysisSettings::UnsetOffset;
  double Range = 0.0;
  std::string Unit;
  std::string Name;
  std::string Summary;  // what is set, for the note: "sensitivity 0.2, unit mm/s"
};

void AddToSummary(std::string& summary, const std::string& part) {
  summary += (summary.empty() ? "" : ", ") + part;
}

int ParseOptions(const Command& command, const std::vector<std::string>& args,
                 RescaleOptions& options) {
  Arguments arguments;
  std::string error;
  // The library's settings are 32-bit floats.
  constexpr double kLargest = 1e30;
  if (!arguments.Parse(args,
                       {{"channel", true},
                        {"analyzer", true},
                        {"sensitivity", true},
                        {"offset", true},
                        {"range", true},
                        {"unit", true},
                        {"name", true}},
                       error) ||
      !arguments.GetInteger("channel", 0, 65535, options.Channel, error) ||
      !arguments.GetInteger("analyzer", 0, 65535, options.Analyzer, error) ||
      !arguments.GetDouble("sensitivity", -kLargest, kLargest, options.Sensitivity, error) ||
      !arguments.GetDouble("offset", -kLargest, kLargest, options.Offset, error) ||
      !arguments.GetDouble("range", 0.0, kLargest, options.Range, error)) {
    return UsageError(command, error);
  }
  const std::vector<std::string>& positional = arguments.Positional();
  if (positional.size() != 1) {
    return UsageError(command, positional.empty() ? "which measurement directory?"
                                                  : "one measurement directory only");
  }
  if (!arguments.Has("channel")) return UsageError(command, "which channel? (--channel N)");
  // A zero sensitivity or range is how the library says "as recorded".
  if (arguments.Has("sensitivity") && options.Sensitivity == 0.0) {
    return UsageError(command, "--sensitivity can't be 0");
  }
  if (arguments.Has("range") && options.Range == 0.0) {
    return UsageError(command, "--range must lie above 0");
  }
  for (const char* text : {"unit", "name"}) {
    if (arguments.Has(text) && arguments.Value(text).empty()) {
      return UsageError(command, std::string("--") + text + " needs a text");
    }
  }
  options.Unit = arguments.Value("unit");
  options.Name = arguments.Value("name");
  if (arguments.Has("sensitivity"))
    AddToSummary(options.Summary, Printf("sensitivity %g", options.Sensitivity));
  if (arguments.Has("offset")) AddToSummary(options.Summary, Printf("offset %g", options.Offset));
  if (arguments.Has("range")) AddToSummary(options.Summary, Printf("range %g", options.Range));
  if (arguments.Has("unit")) AddToSummary(options.Summary, "unit " + options.Unit);
  if (arguments.Has("name")) AddToSummary(options.Summary, "name \"" + options.Name + "\"");
  if (options.Summary.empty()) {
    return UsageError(command,
                      "nothing to change: give --sensitivity, --offset, --range, --unit or --name");
  }
  options.Directory = MeasurementDirectory(positional[0]);
  return ExitOk;
}

}  // namespace

int RunRescale(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("rescale");
  RescaleOptions options;
  if (const int code = ParseOptions(command, args, options); code != ExitOk) return code;

  std::string error;
  // Editing keeps recorders and other editors out while every record is rewritten.
  std::unique_ptr<zsff::CRecordSignalTree> tree = OpenForEditing(options.Directory, error);
  if (!tree) return Fail(error);
  const std::string directory = options.Directory.string();
  zsff::CChannelID id;
  if (!PickFirstRecordChannel(*tree, options.Channel, options.Analyzer, id)) {
    return Fail(Printf("%s has no channel %lld", directory.c_str(), options.Channel));
  }

  const zsff::CPostAnalysisSettings settings(
      static_cast<float>(options.Sensitivity), static_cast<float>(options.Offset),
      static_cast<float>(options.Range), u"", {}, zsff::Utf8ToWide(options.Unit), u"",
      zsff::Utf8ToWide(options.Name));
  errno = 0;
  if (!tree->SavePostAnalysisSettings({{id, settings}})) {
    const int why = errno;
    return Fail(Printf("%s: channel %lld can't be rescaled: %s", directory.c_str(), options.Channel,
                       Reason(why, zsff::CRecordSignalTree::LastErrorString()).c_str()));
  }
  if (Chatty()) {
    std::vector<zsff::CRecordId> records;
    tree->ListRecords(records, true);
    std::printf("channel %lld: %s, in %zu record%s\n", options.Channel, options.Summary.c_str(),
                records.size(), records.size() == 1 ? "" : "s");
  }
  return ExitOk;
}

}  // namespace zsff_tools
