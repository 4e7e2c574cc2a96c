// What a viewer of a measurement shows around its samples: the records of its
// list end to end, the channels of its first record, and its markers. Read
// from the files without a lock, so that a measurement being recorded can be
// looked at; a record being recorded is as long as its longest channel is now.
#pragma once

#include <zsff/ChannelId.h>

#include <string>
#include <vector>

namespace zsff_tools {

struct RecordOutline {
  int Number = 0;         // position in the measurement's list, from 1
  long long StartDate = 0;  // file time: 100 ns ticks since 1601, UTC
  double Duration = 0.0;  // seconds
  bool Recording = false;
};

struct ChannelOutline {
  zsff::CChannelID Id;
  int Index = 0;  // position among the channels, from 0
  std::string Name;
  std::string Unit;
  std::string Format;  // "int16", "int32", "float32" or "float64"
  double Rate = 0.0;   // Hz
};

struct MarkerOutline {
  double Position = 0.0;  // seconds on the records' common axis
  double Duration = 0.0;
  std::string Name;
};

struct MeasurementOutline {
  std::string Path;  // absolute
  std::string Name;  // the directory's
  double Duration = 0.0;  // the records end to end
  std::vector<RecordOutline> Records;
  std::vector<ChannelOutline> Channels;
  std::vector<MarkerOutline> Markers;
  std::string MarkersError;  // why a markers file that is there didn't load
};

// False with `error` set when `directory` holds no readable measurement.
bool LoadOutline(const std::string& directory, MeasurementOutline& out, std::string& error);

// The channel named `name`, or null.
const ChannelOutline* FindChannel(const MeasurementOutline& outline, const std::string& name);

// Unix seconds of a file time.
double UnixSeconds(long long fileTime);

}  // namespace zsff_tools
