// zsff mark and zsff markers: a measurement's markers, set after the recording
// and listed. A marker lies in one record, the scope word of its id being the
// record's number, and is numbered on from the highest number already in that
// record, so that the markers of earlier sessions are kept.

#include <zsff/DateTime.h>
#include <zsff/MetaDataRecord.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <limits>

#include "Arguments.h"
#include "Commands.h"
#include "EditMeasurement.h"
#include "Format.h"
#include "InfoJson.h"
#include "ListingArguments.h"
#include "MarkerListing.h"
#include "Measurement.h"
#include "OpenTree.h"
#include "Verbosity.h"
#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

namespace {

constexpr long long kTicksPerSecond = 10000000LL;

// The next free sequence word of record `scope`; 0 when all are taken.
unsigned short NextSequence(const zsff::MetaDataContainer& markers, unsigned short scope) {
  unsigned int highest = 0;
  for (const zsff::CMarkerId& id : markers.GetMarkersKeys())
    if (id.Scope() == scope && id.Sequence() > highest) highest = id.Sequence();
  return highest < std::numeric_limits<unsigned short>::max()
             ? static_cast<unsigned short>(highest + 1)
             : 0;
}

}  // namespace

int RunMark(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("mark");
  Arguments arguments;
  std::string error;
  if (!arguments.Parse(args, {{"at", true}, {"duration", true}, {"record", true}}, error))
    return UsageError(command, error);
  if (arguments.Positional().size() != 2)
    return UsageError(command, "wants the measurement directory and the marker's text");
  if (!arguments.Has("at")) return UsageError(command, "where? --at SECONDS is missing");
  const double kLongest = 1e12;  // seconds; a finite bound, as a date must be
  double at = 0.0, duration = 0.0;
  long long position = 1;
  if (!arguments.GetDouble("at", -kLongest, kLongest, at, error) ||
      !arguments.GetDouble("duration", 0.0, kLongest, duration, error) ||
      !arguments.GetInteger("record", 1, 65535, position, error))
    return UsageError(command, error);

  const fs::path directory = MeasurementDirectory(arguments.Positional()[0]);
  std::unique_ptr<zsff::CRecordSignalTree> tree = OpenForEditing(directory, error);
  if (!tree) return Fail(error);
  std::vector<zsff::MetaDataRecord> records;
  if (!tree->GetRecordsVect(records))
    return Fail(directory.string() + ": its records can't be listed: " +
                Reason(0, zsff::CRecordSignalTree::LastErrorString()));
  if (static_cast<std::size_t>(position) > records.size())
    return Fail(Printf("%s has %zu record%s, no record %lld", directory.string().c_str(),
                       records.size(), records.size() == 1 ? "" : "s", position));
  const zsff::MetaDataRecord& record = records[static_cast<std::size_t>(position - 1)];
  // As the library's own markers: a negative time is the record's end.
  if (at < 0.0) at = record.Duration();
  if (at > record.Duration())
    return Fail(Printf("--at %g s is past the end of record %lld, which is %g s long", at, position,
                       record.Duration()));

  zsff::MetaDataContainer markers;
  const fs::path file =
      directory / zsff::WideToUtf8(zsff::names::MarkersFileName(tree->RecordNameBase()));
  std::error_code ec;
  if (!tree->ReadMarkers(markers) && fs::exists(file, ec))
    return Fail(file.string() + " doesn't load; it is left as it is");
  const unsigned short scope = zsff::CRecordId(record.RecordId()).RecordNumber();
  const unsigned short sequence = NextSequence(markers, scope);
  if (sequence == 0) return Fail(Printf("record %lld holds as many markers as it can", position));
  const long long date = record.AbsDate() + std::llround(at * kTicksPerSecond);
  markers.AddMarker(zsff::CMarkerId(sequence, scope), at, at + duration,
                    zsff::FileTimeToString(date), zsff::Utf8ToWide(arguments.Positional()[1]));
  if (!tree->WriteMarkers(markers)) return Fail(file.string() + ": the markers can't be written");
  if (Chatty())
    std::printf("marker %u of record %u at %s s: %s\n", sequence, scope,
                FormatSeconds(at, 3).c_str(), arguments.Positional()[1].c_str());
  return ExitOk;
}

int RunMarkers(const std::vector<std::string>& args) {
  Arguments arguments;
  MeasurementSummary measurement;
  int code = ExitOk;
  if (!ParseAndLoadMeasurement("markers", args, arguments, measurement, code)) return code;
  if (!measurement.MarkersError.empty()) return Fail(measurement.MarkersError);
  if (arguments.Has("json")) {
    std::printf("%s\n", MarkersToJson(measurement.Markers).c_str());
  } else if (!measurement.Markers.empty()) {
    MarkerTable(measurement.Markers).Print(stdout);
  } else if (Chatty()) {
    std::printf("%s: no markers\n", measurement.Path.c_str());
  }
  return ExitOk;
}

}  // namespace zsff_tools
