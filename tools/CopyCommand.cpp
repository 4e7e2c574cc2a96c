// zsff copy: a measurement copied whole into a new directory, where it opens as
// a measurement of its own; the host's files named after the measurement take
// the copy's name. The records are copied by the library, so the bar follows
// the copy's size on disk; between the local disk and CephFS, by the store of
// the file system.

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "Arguments.h"
#include "Commands.h"
#include "DirectorySize.h"
#include "OpenTree.h"
#include "Place.h"
#include "TransferProgress.h"
#include "Verbosity.h"
#include "WidePath.h"
#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

namespace {

// Between the local disk and CephFS the store of the file system carries the
// directory over as it is; the lock belongs to the writers of the source.
bool CopyBetweenDisks(const Place& from, const Place& to) {
  const std::u16string source = StorePath(from.Path);
  const std::u16string destination = StorePath(to.Path);
  const bool copied = to.TreeDisk ? to.TreeDisk->UploadDirectory(source, destination)
                                  : from.TreeDisk->DownloadDirectory(source, destination);
  const std::u16string lock = destination + u"/" + zsff::names::LockFileName();
  if (copied && to.Files->FileExists(lock)) return to.Files->DeleteFile(lock);
  return copied;
}

}  // namespace

int RunCopy(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("copy");
  Arguments arguments;
  std::string error;
  if (!arguments.Parse(args, {}, error)) return UsageError(command, error);
  if (arguments.Positional().size() != 2)
    return UsageError(command, "wants the measurement directory and the copy's directory");
  const fs::path source = MeasurementDirectory(arguments.Positional()[0]);
  const fs::path destination = MeasurementDirectory(arguments.Positional()[1]);
  Place from, to;
  if (!FindPlace(source, from, error) || !FindPlace(destination, to, error)) return Fail(error);
  if (!ListNames(destination.parent_path(), nullptr, nullptr))
    return Fail(destination.parent_path().string() + ": No such directory");
  // A copy merged into another measurement would be neither.
  std::vector<std::string> directories, files;
  if (ListNames(destination, &directories, &files) && !(directories.empty() && files.empty()))
    return Fail(destination.string() + " exists already and isn't empty");
  std::u16string wideSource, wideDestination;
  if (!ToWidePath(from.Path, wideSource, error) || !ToWidePath(to.Path, wideDestination, error))
    return Fail(error);
  if (!SameDisk(from, to) && from.TreeDisk && to.TreeDisk)
    return Fail("between two Ceph file systems, copy through a directory of the local disk");
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
  const bool copied = SameDisk(from, to) ? tree->CopyRecords(wideSource, wideDestination, true)
                                          : CopyBetweenDisks(from, to);
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
