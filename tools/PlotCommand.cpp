// zsff plot: the whole measurement as a picture, one strip per channel with its
// (min, max) envelope, records end to end on one time axis in seconds. The
// envelopes come from the record zoomer, one pair per pixel column, so the
// picture of hours of signal is read from the pyramids in a moment. The output
// file's extension chooses the form, ".png" or ".svg", unless --format does.
// Values are volts, or with --post-analysis in the scaling, names and units of
// the settings saved with "zsff rescale".
#include <zsff/AbstractRecordSection.h>
#include <zsff/ChannelId.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataRecord.h>
#include <zsff/RecordId.h>
#include <zsff/RecordSignalTree.h>
#include <zsff/RecordZoomer.h>
#include <zsff/TmpRecordFile.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Arguments.h"
#include "Commands.h"
#include "Format.h"
#include "OpenTree.h"
#include "Plot.h"
#include "PlotRaster.h"
#include "PlotSvg.h"
#include "PngWriter.h"
#include "PostAnalysis.h"
#include "Verbosity.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

namespace {

struct PlotOptions {
  fs::path Directory;
  std::string Out;  // "-": standard output; default: the directory's path with ".png" appended
  long long Width = 1200;
  long long Height = -1;   // -1: kDefaultStripHeight per channel
  long long Channel = -1;  // -1: every channel
  long long Analyzer = -1;
  bool Svg = false;
  bool PostAnalysis = false;  // the saved post-analysis scaling, names and units
};

std::string LowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// The form of the picture from --format, or else from the file's extension:
// a picture that the name calls something else would only mislead a viewer.
bool ChooseForm(const std::string& format, const std::string& out, bool& svg, std::string& error) {
  std::string form = LowerCase(format);
  if (form.empty()) form = out == "-" ? ".png" : LowerCase(fs::path(out).extension().string());
  if (!form.empty() && form.front() == '.') form.erase(0, 1);
  svg = form == "svg";
  if (svg || form == "png") return true;
  error = format.empty() ? "\"" + out + "\": the picture's name must end in .png or .svg"
                         : "--format is png or svg, not \"" + format + "\"";
  return false;
}

int ParseOptions(const Command& command, const std::vector<std::string>& args,
                 PlotOptions& options) {
  Arguments arguments;
  std::string error;
  if (!arguments.Parse(args,
                       {{"out", true},
                        {"format", true},
                        {"width", true},
                        {"height", true},
                        {"channel", true},
                        {"analyzer", true},
                        {"post-analysis", false}},
                       error) ||
      !arguments.GetInteger("width", kMinimumWidth, 20000, options.Width, error) ||
      !arguments.GetInteger("height", 1, 20000, options.Height, error) ||
      !arguments.GetInteger("channel", 0, 65535, options.Channel, error) ||
      !arguments.GetInteger("analyzer", 0, 65535, options.Analyzer, error)) {
    return UsageError(command, error);
  }
  const std::vector<std::string>& positional = arguments.Positional();
  if (positional.size() != 1) {
    return UsageError(command, positional.empty() ? "which measurement directory?"
                                                  : "one measurement directory only");
  }
  options.Directory = MeasurementDirectory(positional[0]);
  options.PostAnalysis = arguments.Has("post-analysis");
  const std::string out = arguments.Value("out");
  if (arguments.Has("out") && out.empty()) return UsageError(command, "--out needs a file name");
  options.Out = out.empty() ? options.Directory.string() + ".png" : out;
  if (!ChooseForm(arguments.Value("format"), options.Out, options.Svg, error)) {
    return UsageError(command, error);
  }
  return ExitOk;
}

// The channels to draw, from the first record: every record of a measurement
// has the channels of the one before. With --post-analysis, names and units are
// the post-analysis ones where an operator set them.
bool ListChannels(zsff::CRecordSignalTree& tree, const PlotOptions& options,
                  std::vector<zsff::CChannelID>& ids, PlotData& data, std::string& error) {
  std::vector<zsff::MetaDataRecord> records;
  if (!tree.GetRecordsVect(records) || records.empty()) {
    error = "the measurement holds no record";
    return false;
  }
  int handle = tree.OpenRecord(zsff::CRecordId(records.front().RecordId()),
                               zsff::CRecordSignalTree::TreeOpenRead, 0);
  if (handle == 0) {
    error = "the first record can't be opened";
    return false;
  }
  std::vector<zsff::CChannelID> all;
  tree.rRecord(handle).ListChannelsID(all);
  for (std::size_t index = 0; index < all.size(); ++index) {
    const zsff::CChannelID& id = all[index];
    if (!ChannelMatches(id, options.Channel, options.Analyzer)) continue;
    zsff::MetaDataContainer metaData;
    zsff::TAG_RECORD_INFO recordInfo{};
    PlotChannel channel;
    channel.ColorIndex = index;
    std::u16string name = u"Channel " + zsff::Utf8ToWide(std::to_string(id.ChannelNumber()));
    std::u16string unit;
    if (tree.wRecord(handle).ReadChannelMetaData(id, metaData, recordInfo, false)) {
      const zsff::CMetaDataChannelReader reader(metaData);
      if (!options.PostAnalysis || !reader.PAName(name) || name.empty()) reader.Name(name);
      if (!options.PostAnalysis || !reader.PAUnit(unit) || unit.empty()) reader.Unit(unit);
    }
    channel.Name = zsff::WideToUtf8(name);
    channel.Unit = zsff::WideToUtf8(unit);
    ids.push_back(id);
    data.Channels.push_back(channel);
  }
  tree.CloseRecord(handle, false);
  if (ids.empty()) {
    error =
        all.empty() ? "the first record holds no channel" : "the measurement has no such channel";
    return false;
  }
  return true;
}

}  // namespace

int RunPlot(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("plot");
  PlotOptions options;
  if (const int code = ParseOptions(command, args, options); code != ExitOk) return code;

  ZoomedMeasurement measurement;
  std::string error;
  measurement.Tree = OpenForReading(options.Directory, error);
  if (!measurement.Tree) return Fail(error);

  PlotData data;
  std::vector<zsff::CChannelID> ids;
  if (!ListChannels(*measurement.Tree, options, ids, data, error)) return Fail(error);
  if (!measurement.Zoomer.Init(measurement.Tree.get(), ids.front())) {
    return Fail("the records of the measurement can't be opened");
  }
  if (!options.PostAnalysis) ZoomInVolts(*measurement.Tree, measurement.Zoomer, ids);
  const std::vector<zsff::CRecordZoomer::RecordInfo_t>& records =
      measurement.Zoomer.VectRecordInfo();
  data.Duration = records.back().End;
  for (std::size_t i = 1; i < records.size(); ++i) data.RecordStarts.push_back(records[i].Start);
  data.Title = options.Directory.filename().string() + "  -  " + FormatSeconds(data.Duration, 1) +
               " s in " + std::to_string(records.size()) +
               (records.size() == 1 ? " record" : " records");

  const int height =
      options.Height > 0 ? static_cast<int>(options.Height) : DefaultHeight(data.Channels.size());
  PlotLayout layout;
  if (!ComputeLayout(data, static_cast<int>(options.Width), height, layout, error)) {
    return UsageError(command, error);
  }
  for (std::size_t i = 0; i < ids.size(); ++i) {
    if (!measurement.Zoomer.GetCompressedSignal(ids[i], 0.0f, static_cast<float>(data.Duration),
                                                static_cast<unsigned long long>(layout.PlotWidth),
                                                false, 0, data.Channels[i].Pairs)) {
      return Fail("channel " + std::to_string(ids[i].ChannelNumber()) + " can't be zoomed");
    }
  }

  OutputFile out;
  if (!out.Open(options.Out, error)) return Fail(error);
  const bool written = options.Svg ? out.Write(PlotToSvg(data, layout), error)
                                   : WritePng(DrawPlot(data, layout), out, error);
  if (!written || !out.Close(error)) return Fail(error);
  if (Chatty() && options.Out != "-") std::printf("%s\n", options.Out.c_str());
  return ExitOk;
}

}  // namespace zsff_tools
