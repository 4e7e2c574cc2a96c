// zsff read: the samples of one channel of one record over a span of time, in
// volts, in the recorded units or in the scaling of the post-analysis settings
// saved with "zsff rescale", as CSV text (time, value) or as raw
// little-endian 32- or 64-bit floats, to a file or to standard output. A record
// still being recorded is read up to where it stands.
#include <zsff/AbstractRecordSection.h>
#include <zsff/ChannelId.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataRecord.h>
#include <zsff/RecordId.h>
#include <zsff/RecordSignalTree.h>
#include <zsff/TmpRecordFile.h>

#include <algorithm>
#include <cerrno>
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
#include "OutputFile.h"
#include "Verbosity.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

namespace {

enum OutputForm_t { OutputCsv, OutputFloat32, OutputFloat64 };

struct ReadOptions {
  fs::path Directory;
  std::string OutputPath;  // "-": standard output
  long long Record = 1;    // position in the measurement's record list, from 1
  long long Channel = -1;  // channel number; -1: the record's first channel
  long long Analyzer = -1;
  double Start = 0.0;
  double Seconds = -1.0;      // -1: to the end
  bool Recorded = false;      // the recorded units instead of volts
  bool PostAnalysis = false;  // the saved post-analysis scaling instead of volts
  OutputForm_t Form = OutputCsv;
};

// Closes the record and the tree however the command ends.
struct OpenMeasurement {
  std::unique_ptr<zsff::CRecordSignalTree> Tree;
  int Handle = 0;
  ~OpenMeasurement() {
    if (Tree && Handle != 0) Tree->CloseRecord(Handle, false);
    zsff::CRecordSignalTree::CloseSignalTree(Tree);
  }
};

// Whether the channel stores doubles, which CSV then prints with all their digits.
bool IsDouble(const zsff::MetaDataContainer& metaData) {
  std::string format;
  return zsff::CMetaDataChannelReader(metaData).Format(format) && format == "SIDouble";
}

// Writes the samples from the read position on, `wanted` of them at most (~0:
// to the end); `written` tells how many there were.
int Export(zsff::CAbstractRecordSection& section, const zsff::CChannelID& id, float rate,
           bool doubles, const ReadOptions& options, unsigned long long wanted, OutputFile& out,
           unsigned long long& written) {
  const bool wide = options.Form == OutputFloat64 || (options.Form == OutputCsv && doubles);
  const zsff::SampleReadMode_t mode =
      options.Recorded ? (wide ? zsff::SampleReadRecordedDouble : zsff::SampleReadRecorded)
      : options.PostAnalysis
          ? (wide ? zsff::SampleReadPostAnalysisDouble : zsff::SampleReadPostAnalysis)
          : (wide ? zsff::SampleReadVoltDouble : zsff::SampleReadVolt);
  constexpr unsigned long long kBlock = 65536;
  std::vector<double> doubleBuffer(wide ? kBlock : 0);
  std::vector<float> floatBuffer(wide ? 0 : kBlock);
  void* buffer =
      wide ? static_cast<void*>(doubleBuffer.data()) : static_cast<void*>(floatBuffer.data());
  // The digits that give back the very value read.
  const char* line = wide ? "%.9f,%.17g\n" : "%.9f,%.9g\n";

  std::string error;
  written = 0;
  if (options.Form == OutputCsv) std::fprintf(out.Stream(), "time,value\n");
  while (written < wanted) {
    const unsigned long long count = std::min(kBlock, wanted - written);
    errno = 0;
    const unsigned long long read = section.ReadSampleBlock(id, buffer, count, mode);
    if (read == 0) {
      const int why = errno;
      zsff::CAbstractRecordSection::ReadState_t state = zsff::CAbstractRecordSection::ReadStateNone;
      if (section.EndOfReading(id, state)) break;
      return Fail(zsff::WideToUtf8(id.ToFilePath()) + ": the samples can't be read: " +
                  Reason(why, section.LastErrorString()));
    }
    if (options.Form == OutputCsv) {
      for (unsigned long long i = 0; i < read; ++i) {
        const double time = options.Start + static_cast<double>(written + i) / rate;
        std::fprintf(out.Stream(), line, time,
                     wide ? doubleBuffer[i] : static_cast<double>(floatBuffer[i]));
      }
      if (out.Failed(error)) return Fail(error);
    } else if (!out.Write(buffer, read * (wide ? sizeof(double) : sizeof(float)), error)) {
      // The machine's byte order, which is what the files hold too: little-endian.
      return Fail(error);
    }
    written += read;
  }
  return ExitOk;
}

int ParseOptions(const Command& command, const std::vector<std::string>& args,
                 ReadOptions& options) {
  Arguments arguments;
  std::string error;
  if (!arguments.Parse(args,
                       {{"record", true},
                        {"channel", true},
                        {"analyzer", true},
                        {"start", true},
                        {"seconds", true},
                        {"recorded", false},
                        {"post-analysis", false},
                        {"f32", false},
                        {"f64", false}},
                       error) ||
      !arguments.GetInteger("record", 1, 65535, options.Record, error) ||
      !arguments.GetInteger("channel", 0, 65535, options.Channel, error) ||
      !arguments.GetInteger("analyzer", 0, 65535, options.Analyzer, error) ||
      !arguments.GetDouble("start", 0.0, 1e12, options.Start, error) ||
      !arguments.GetDouble("seconds", 0.0, 1e12, options.Seconds, error)) {
    return UsageError(command, error);
  }
  const std::vector<std::string>& positional = arguments.Positional();
  if (positional.empty() || positional.size() > 2) {
    return UsageError(command, positional.empty() ? "which measurement directory?"
                                                  : "a directory and at most one output file");
  }
  if (arguments.Has("f32") && arguments.Has("f64")) {
    return UsageError(command, "--f32 and --f64 exclude each other");
  }
  if (arguments.Has("recorded") && arguments.Has("post-analysis")) {
    return UsageError(command, "--recorded and --post-analysis exclude each other");
  }
  options.Form = arguments.Has("f32")   ? OutputFloat32
                 : arguments.Has("f64") ? OutputFloat64
                                        : OutputCsv;
  options.Recorded = arguments.Has("recorded");
  options.PostAnalysis = arguments.Has("post-analysis");
  options.Directory = MeasurementDirectory(positional[0]);
  options.OutputPath = positional.size() == 2 ? positional[1] : "-";
  return ExitOk;
}

}  // namespace

int RunRead(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("read");
  ReadOptions options;
  if (const int code = ParseOptions(command, args, options); code != ExitOk) return code;

  OpenMeasurement measurement;
  std::string error;
  measurement.Tree = OpenForReading(options.Directory, error);
  if (!measurement.Tree) return Fail(error);
  std::vector<zsff::MetaDataRecord> records;
  measurement.Tree->GetRecordsVect(records);
  if (options.Record > static_cast<long long>(records.size())) {
    return Fail(Printf("%s holds %zu records, no record %lld", options.Directory.string().c_str(),
                       records.size(), options.Record));
  }
  // A record id without a base is a position in the measurement's list.
  errno = 0;
  measurement.Handle =
      measurement.Tree->OpenRecord(zsff::CRecordId(static_cast<unsigned long long>(options.Record)),
                                   zsff::CRecordSignalTree::TreeOpenDefault, 0);
  if (measurement.Handle == 0) {
    const int why = errno;
    return Fail(Printf("%s: record %lld can't be opened: %s", options.Directory.string().c_str(),
                       options.Record,
                       Reason(why, zsff::CRecordSignalTree::LastErrorString()).c_str()));
  }
  zsff::CAbstractRecordSection& section = measurement.Tree->wRecord(measurement.Handle);

  zsff::CChannelID id;
  if (!PickChannel(section, options.Channel, options.Analyzer, id)) {
    return Fail("record " + std::to_string(options.Record) + " has no such channel");
  }
  const std::string channel = (options.Directory / zsff::WideToUtf8(section.RecordName()) /
                               zsff::WideToUtf8(id.ToFilePath()))
                                  .string();
  zsff::MetaDataContainer metaData;
  zsff::TAG_RECORD_INFO info;
  float rate = 0.0f;
  errno = 0;
  if (!section.ReadChannelMetaData(id, metaData, info, false) ||
      !zsff::CMetaDataChannelReader(metaData).SamplingRate(rate) || rate <= 0.0f) {
    const int why = errno;
    return Fail(channel + ": the channel's metadata can't be read: " +
                Reason(why, section.LastErrorString()));
  }
  if (options.Start > section.SignalLength(id, false)) {
    return Fail(Printf("%s: --start %g s lies past the record's end, %.6f s", channel.c_str(),
                       options.Start, section.SignalLength(id, false)));
  }
  errno = 0;
  if (!section.SetReadPos(id, options.Start)) {
    const int why = errno;
    return Fail(Printf("%s: cannot seek to %g s: %s", channel.c_str(), options.Start,
                       Reason(why, section.LastErrorString()).c_str()));
  }

  // The record's length as its metadata gives it, which a ring's time to stop
  // shortens too; what the part files hold is only known by reading them.
  const unsigned long long first =
      static_cast<unsigned long long>(std::llround(options.Start * rate));
  const unsigned long long length =
      static_cast<unsigned long long>(std::llround(section.SignalLength(id, false) * rate));
  const unsigned long long there = length > first ? length - first : 0;
  const unsigned long long wanted =
      options.Seconds < 0.0 ? there
                            : static_cast<unsigned long long>(std::llround(options.Seconds * rate));

  OutputFile out;
  if (!out.Open(options.OutputPath, error)) return Fail(error);
  unsigned long long written = 0;
  // A record still being recorded is read to where it stands.
  const bool growing = records[static_cast<std::size_t>(options.Record - 1)].Recording();
  if (const int code = Export(section, id, rate, IsDouble(metaData), options,
                              growing && options.Seconds < 0.0 ? ~0ULL : wanted, out, written);
      code != ExitOk) {
    return code;
  }
  if (!out.Close(error)) return Fail(error);
  if (Chatty() && !out.IsStandardOutput()) {
    std::fprintf(stderr, "%llu samples of %s written to %s\n", written,
                 zsff::WideToUtf8(id.ToFilePath()).c_str(), options.OutputPath.c_str());
  }
  if (growing || written >= wanted) return ExitOk;
  if (wanted > there && written == there) {
    return Fail(Printf("asked for %.6f s from %.6f s, but the record holds %.6f s: %s",
                       options.Seconds, options.Start, static_cast<double>(length) / rate,
                       channel.c_str()));
  }
  std::fprintf(stderr,
               "zsff: warning: %s: the part files end after %.6f s, its metadata gives %.6f s; "
               "a part file is cut short\n",
               channel.c_str(), static_cast<double>(first + written) / rate,
               static_cast<double>(length) / rate);
  return ExitFailure;
}

}  // namespace zsff_tools
