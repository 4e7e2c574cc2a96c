// zsff endup: repairs every measurement below a directory that a recorder left
// unfinished (its ".zff" header is still there), as a host does at its start,
// and says for each what it kept. A measurement that a running recorder holds is
// left alone: the repair would take its files from under it.

#include <zsff/RecordSignalTree.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "Arguments.h"
#include "Commands.h"
#include "Format.h"
#include "Measurement.h"
#include "OpenTree.h"
#include "Place.h"
#include "WidePath.h"
#include "Progress.h"
#include "foundation/DirectoryClaim.h"
#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

namespace {

// The names of the directories in `directory` (a path or an address), and
// whether a ".zff" header lies there.
bool LookInto(const fs::path& directory, std::vector<std::string>& below) {
  std::vector<std::string> files;
  if (!ListNames(directory, &below, &files)) return false;
  return std::any_of(files.begin(), files.end(),
                     [](const std::string& name) { return fs::path(name).extension() == ".zff"; });
}

bool HasHeader(const fs::path& directory) {
  std::vector<std::string> below;
  return LookInto(directory, below);
}

// `directory` and every directory below it that holds a ".zff" header.
void UnfinishedBelow(const fs::path& directory, std::vector<fs::path>& found) {
  std::vector<std::string> below;
  if (LookInto(directory, below)) found.push_back(directory);
  std::error_code ec;
  for (const std::string& name : below) {
    // A link to a directory above would never end the walk.
    if (!fs::is_symlink(directory / name, ec)) UnfinishedBelow(directory / name, found);
  }
}

// A recorder holds its measurement's directory on the local disk for as long
// as it runs; a file system shared by machines knows no such hold.
bool HeldByARecorder(const fs::path& directory) {
  if (IsCephAddress(directory.string())) return false;
  zsff::CDirectoryClaim claim;
  return claim.Take(directory.string()) == zsff::CDirectoryClaim::HeldElsewhere;
}

// "<dir>: repaired, 3 records, 0:12 kept" from the measurement as it now lies.
void PrintRepaired(const fs::path& directory) {
  MeasurementSummary summary;
  std::string error;
  if (!LoadMeasurement(directory.string(), summary, error)) {
    std::printf("%s: repaired\n", directory.string().c_str());
    return;
  }
  std::size_t records = 0;
  double kept = 0.0;
  for (const RecordSummary& record : summary.Records) {
    if (!record.InMetaData) continue;
    ++records;
    kept += record.Duration;
  }
  std::printf("%s: repaired, %zu record%s, %s kept\n", directory.string().c_str(), records,
              records == 1 ? "" : "s", FormatClock(kept).c_str());
}

}  // namespace

int RunEndup(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("endup");
  Arguments arguments;
  int code = ExitOk;
  if (!ParseDirectoryArguments(command, args, {}, arguments, code)) return code;
  const fs::path root = MeasurementDirectory(arguments.Positional().front());
  Place place;
  std::string error;
  if (!FindPlace(root, place, error)) return Fail(error);
  std::error_code ec;
  if (!place.TreeDisk && !fs::is_directory(root, ec))
    return Fail(root.string() + ": " + (ec ? ec.message() : "not a directory"));
  if (place.TreeDisk && !place.Files->FileExists(place.Path.string()))
    return Fail(root.string() + ": " + std::strerror(ENOENT));

  std::vector<fs::path> unfinished;
  UnfinishedBelow(root, unfinished);
  std::sort(unfinished.begin(), unfinished.end());
  if (unfinished.empty()) {
    std::printf("%s: no unfinished measurement below it\n", root.string().c_str());
    return ExitOk;
  }
  ProgressBar progress(unfinished.size(), true);
  bool failed = false;
  for (std::size_t done = 0; done < unfinished.size(); ++done) {
    const fs::path& directory = unfinished[done];
    progress.Update(done, directory.filename().string(), 0);
    if (HeldByARecorder(directory)) {
      progress.Clear();
      std::printf("%s: being recorded by a running program, left as it is\n",
                  directory.string().c_str());
      continue;
    }
    std::vector<zsff::CRecordSignalTree::RecordEndUp_t> repaired;
    std::vector<std::string> errors;
    Place measurement;
    FindPlace(directory, measurement, error);
    const bool ok = zsff::CRecordSignalTree::EndUpMeasurement(
        StorePath(measurement.Path), measurement.Files, false, repaired, errors);
    zsff::CRecordSignalTree::LastErrorString();
    progress.Clear();
    for (const std::string& line : errors) Fail(directory.string() + ": " + line);
    failed = failed || !ok;
    if (!repaired.empty()) {
      PrintRepaired(directory);
    } else if (ok && HasHeader(directory)) {
      std::printf("%s: no measurement file to repair by, left as it is\n",
                  directory.string().c_str());
    } else if (ok) {
      std::printf("%s: held no sample, its files deleted\n", directory.string().c_str());
    }
  }
  return failed ? ExitFailure : ExitOk;
}

}  // namespace zsff_tools
