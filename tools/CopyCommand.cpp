// zsff copy: a measurement copied whole into a new directory, where it opens as
// a measurement of its own; the host's files named after the measurement take
// the copy's name. The records are copied by the library, so the bar follows
// the copy's size on disk.

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "Arguments.h"
#include "Commands.h"
#include "DirectorySize.h"
#include "OpenTree.h"
#include "TransferProgress.h"
#include "Verbosity.h"
#include "WidePath.h"

namespace fs = std::filesystem;

namespace zsff_tools {

int RunCopy(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("copy");
  Arguments arguments;
  std::string error;
  if (!arguments.Parse(args, {}, error)) return UsageError(command, error);
  if (arguments.Positional().size() != 2)
    return UsageError(command, "wants the measurement directory and the copy's directory");
  const fs::path source = MeasurementDirectory(arguments.Positional()[0]);
  const fs::path destination = MeasurementDirectory(arguments.Positional()[1]);
  std::error_code ec;
  if (!fs::is_directory(destination.parent_path(), ec))
    return Fail(destination.parent_path().string() + ": No such directory");
  // A copy merged into another measurement would be neither.
  if (fs::exists(destination, ec) && !fs::is_empty(destination, ec))
    return Fail(destination.string() + " exists already and isn't empty");
  std::u16string wideSource, wideDestination;
  if (!ToWidePath(source, wideSource, error) || !ToWidePath(destination, wideDestination, error))
    return Fail(error);
  std::unique_ptr<zsff::CRecordSignalTree> tree = OpenForReading(source, error);
  if (!tree) return Fail(error);
  std::vector<zsff::CRecordId> records;
  tree->ListRecords(records, false);

  TransferProgress progress("copying", BytesUnder(source));
  std::atomic<bool> finished{false};
  std::thread watcher([&] {
    while (!finished) {
      progress.Set(BytesUnder(destination));
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
  });
  const bool copied = tree->CopyRecords(wideSource, wideDestination, true);
  finished = true;
  watcher.join();
  progress.Clear();
  if (!copied)
    return Fail(source.string() + " can't be copied to " + destination.string() + ": " +
                Reason(0, zsff::CRecordSignalTree::LastErrorString()));
  progress.Set(BytesUnder(destination));
  progress.Clear();
  if (Chatty())
    std::printf("copied %s to %s: %zu records, %s\n", source.string().c_str(),
                destination.string().c_str(), records.size(), progress.Summary().c_str());
  return ExitOk;
}

}  // namespace zsff_tools
