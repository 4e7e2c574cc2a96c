// zsff endup: repairs every measurement below a directory that a recorder left
// unfinished (its ".zff" header is still there), as a host does at its start,
// and says for each what it kept. A measurement that a running recorder holds is
// left alone: the repair would take its files from under it.

#include <zsff/RecordSignalTree.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "Arguments.h"
#include "Commands.h"
#include "Format.h"
#include "Measurement.h"
#include "OpenTree.h"
#include "Progress.h"
#include "foundation/DirectoryClaim.h"
#include "foundation/LocalFileAccess.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

namespace {

bool HasHeader(const fs::path& directory) {
  std::error_code ec;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory, ec)) {
    if (entry.path().extension() == ".zff" && entry.is_regular_file(ec)) return true;
  }
  return false;
}

// `root` and every directory below it that holds a ".zff" header, sorted.
std::vector<fs::path> UnfinishedBelow(const fs::path& root) {
  std::vector<fs::path> found;
  if (HasHeader(root)) found.push_back(root);
  std::error_code ec;
  for (fs::recursive_directory_iterator it(root, fs::directory_options::skip_permission_denied, ec),
       end;
       !ec && it != end; it.increment(ec)) {
    if (it->is_directory(ec) && HasHeader(it->path())) found.push_back(it->path());
  }
  std::sort(found.begin(), found.end());
  return found;
}

// A recorder holds its measurement's directory for as long as it runs.
bool HeldByARecorder(const fs::path& directory) {
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
  std::error_code ec;
  if (!fs::is_directory(root, ec))
    return Fail(root.string() + ": " + (ec ? ec.message() : "not a directory"));

  const std::vector<fs::path> unfinished = UnfinishedBelow(root);
  if (unfinished.empty()) {
    std::printf("%s: no unfinished measurement below it\n", root.string().c_str());
    return ExitOk;
  }
  const std::shared_ptr<zsff::CAbstractFileAccess> store =
      std::make_shared<zsff::CLocalFileAccess>();
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
    const bool ok = zsff::CRecordSignalTree::EndUpMeasurement(zsff::Utf8ToWide(directory.string()),
                                                              store, false, repaired, errors);
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
