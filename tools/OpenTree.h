// Opening a recorded measurement for the commands that look at its samples
// (read, follow, zoom, plot), finding the channel they are asked for, and
// closing the measurement however such a command ends.
#pragma once

#include <zsff/AbstractRecordSection.h>
#include <zsff/ChannelId.h>
#include <zsff/RecordSignalTree.h>
#include <zsff/RecordZoomer.h>

#include <filesystem>
#include <memory>
#include <string>

namespace zsff_tools {

// The measurement directory a command line names, absolute; "DIR/" names DIR.
// A ceph:// address stays an address, its path made normal (see Place.h).
std::filesystem::path MeasurementDirectory(const std::string& argument);

// Whether `id` passes the --channel and --analyzer filters of a command (-1: any).
bool ChannelMatches(const zsff::CChannelID& id, long long channel, long long analyzer);

// The first channel of `section` that passes the filters; false when none does.
bool PickChannel(const zsff::CAbstractRecordSection& section, long long channel, long long analyzer,
                 zsff::CChannelID& out);

// Opens the measurement in `directory` for reading, on its disk; null on
// failure, with the reason in `error`, in the tool's words with the path and
// the system's reason where it has one: "/x/m: No such file or directory",
// "/x/m: no measurement file (*.zsfh) in it".
std::unique_ptr<zsff::CRecordSignalTree> OpenForReading(const std::filesystem::path& directory,
                                                        std::string& error);
// The same in another mode of the library's tree.
std::unique_ptr<zsff::CRecordSignalTree> OpenMeasurementTree(
    const std::filesystem::path& directory, zsff::CRecordSignalTree::TreeOpenMode_t mode,
    std::string& error);

// The channel that passes the filters in the first record of `tree`: every record
// of a measurement has the channels of the one before. False when none does.
bool PickFirstRecordChannel(zsff::CRecordSignalTree& tree, long long channel, long long analyzer,
                            zsff::CChannelID& out);

// A measurement viewed through a zoomer: the zoomer gives its records back
// before the tree closes.
struct ZoomedMeasurement {
  std::unique_ptr<zsff::CRecordSignalTree> Tree;
  zsff::CRecordZoomer Zoomer;
  ~ZoomedMeasurement() {
    Zoomer.Clean(true);
    zsff::CRecordSignalTree::CloseSignalTree(Tree);
  }
};

}  // namespace zsff_tools
