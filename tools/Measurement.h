// What a measurement directory holds, gathered for listing: the measurement's
// metadata file (".zsfh"), its record list, and for each record directory the
// channels with their metadata (".zrm") and the sizes of their files. Only files
// are read, through the library's metadata readers; no lock is taken, so a
// measurement being recorded by another process can be looked at, its live
// lengths taken from the channels' temporary record files.
#pragma once

#include <zsff/ChannelId.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataMarker.h>
#include <zsff/RecordId.h>

#include <string>
#include <vector>

namespace zsff_tools {

struct ChannelSummary {
  zsff::CChannelID Id;
  std::string Directory;  // "Channel_<number>_<analyzer>_<serial>"
  bool MetaDataLoaded = false;
  std::string Error;  // why the metadata didn't load
  zsff::MetaDataContainer MetaData;
  std::string Name;
  std::string Format;  // "DataFormat": "SIFloat", "Compact16", ...
  std::string Type;    // "Type": "Dynamic", "Trigger", ...
  std::string Unit;
  double SamplingRate = 0.0;
  double Duration = 0.0;   // seconds kept, which a stopped ring's record entry may cut
  bool Recording = false;  // a "TmpRecord.zrm" is there
  int PartFiles = 0;
  unsigned short FirstPart = 0;
  unsigned short LastPart = 0;
  unsigned long long SignalBytes = 0;   // ".zrs"
  unsigned long long PyramidBytes = 0;  // ".zpr"
  unsigned long long TotalBytes = 0;    // every file of the directory
};

struct RecordSummary {
  zsff::CRecordId Id;       // as the metadata lists it; its part number is the first part
  std::string Directory;    // "Record_<base>_<number>"
  bool InMetaData = false;  // listed in the measurement file
  bool OnDisk = false;      // its directory exists
  unsigned short LastPart = 0;
  long long AbsDate = 0;
  double RelDate = 0.0;
  double Duration = 0.0;
  double PartLength = 0.0;
  bool Recording = false;
  long long OffsetTimeToStop = 0;
  std::vector<ChannelSummary> Channels;
  unsigned long long TotalBytes = 0;
};

struct MeasurementSummary {
  std::string Path;         // absolute
  std::string BaseName;     // "Record_<base>"
  bool Unfinished = false;  // the host's ".zff" header is there
  bool EndedUp = false;     // a ".zxf": an unfinished measurement that was repaired
  zsff::MetaDataContainer MetaData;
  bool Editing = false;  // the mark "Editing" of the measurement file
  bool Locked = false;   // a "Metadata.lock" is there
  std::vector<zsff::MetaDataMarker> Markers;  // of the ".zmrk" file, by id
  std::string MarkersError;                   // why that file, which is there, didn't load
  std::vector<RecordSummary> Records;
  unsigned long long TotalBytes = 0;
};

// Reads the measurement in `directory`. False with `error` set when the
// directory is missing or doesn't hold exactly one readable ".zsfh" file; a
// channel whose metadata doesn't load is listed with its error instead.
bool LoadMeasurement(const std::string& directory, MeasurementSummary& out, std::string& error);

}  // namespace zsff_tools
