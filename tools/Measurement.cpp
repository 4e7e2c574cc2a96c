// Gathering a measurement for listing, through the store of the disk it lies
// on. A file that vanishes under a running recording (a ring dropping a part)
// is skipped, not an error.
#include "Measurement.h"

#include <zsff/ChannelMetaData.h>
#include <zsff/MeasurementMetaData.h>
#include <zsff/MetaDataFileReader.h>
#include <zsff/TmpRecordFile.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <system_error>

#include "OpenTree.h"
#include "Place.h"
#include "WidePath.h"
#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

namespace {

unsigned long long SizeOf(zsff::CAbstractFileAccess& access, const fs::path& file) {
  unsigned long long size = 0;
  return access.FileSize(file.string(), size) ? size : 0;
}

void LoadChannel(const fs::path& recordPath, const std::string& directory,
                 zsff::CAbstractFileAccess& access, ChannelSummary& channel) {
  channel.Directory = directory;
  try {
    channel.Id = zsff::CChannelID::FromFilePath(zsff::Utf8ToWide(directory));
  } catch (const std::out_of_range&) {
    channel.Id = zsff::CChannelID();
  }

  const fs::path path = recordPath / directory;
  std::vector<std::string> files;
  ListNames(access, path, nullptr, &files);
  std::string metaDataFile;
  for (const std::string& file : files) {
    const unsigned long long size = SizeOf(access, path / file);
    channel.TotalBytes += size;
    switch (zsff::names::ChannelFileType(file)) {
      case zsff::names::ChannelFileSignalPart: {
        const unsigned short part = zsff::names::ParsePartName(file);
        channel.FirstPart = channel.PartFiles == 0 ? part : std::min(channel.FirstPart, part);
        channel.LastPart = channel.PartFiles == 0 ? part : std::max(channel.LastPart, part);
        ++channel.PartFiles;
        channel.SignalBytes += size;
        break;
      }
      case zsff::names::ChannelFilePyramidLevel:
        channel.PyramidBytes += size;
        break;
      case zsff::names::ChannelFileTmpRecord:
        channel.Recording = true;
        break;
      case zsff::names::ChannelFileMetaData:
        if (metaDataFile.empty()) metaDataFile = file;
        break;
      case zsff::names::ChannelFileOther:
        break;
    }
  }
  if (metaDataFile.empty()) {
    channel.Error = "no channel metadata file (.zrm)";
    return;
  }

  // With its temporary record file the reader completes a live channel's length
  // from the sizes of the part files.
  std::u16string widePath, wideName;
  if (!ToWidePath(path, widePath, channel.Error) ||
      !ToWidePath(zsff::names::ChannelMetaDataName(metaDataFile), wideName, channel.Error)) {
    return;
  }
  zsff::CTmpRecordFile tmp(path.string(), &access);
  zsff::CMetaDataHeaderFileReader reader(&tmp, &access);
  zsff::TAG_RECORD_INFO info;
  if (!reader.Load(channel.MetaData, wideName, widePath, info, 0)) {
    const std::string why = zsff::WideToUtf8(reader.LastError());
    channel.Error = metaDataFile + " doesn't load" + (why.empty() ? "" : ": " + why);
    return;
  }
  channel.MetaDataLoaded = true;

  const zsff::CMetaDataChannelReader view(channel.MetaData);
  std::u16string text;
  if (view.Name(text)) channel.Name = zsff::WideToUtf8(text);
  view.Format(channel.Format);
  view.Type(channel.Type);
  text.clear();
  if (view.Unit(text)) channel.Unit = zsff::WideToUtf8(text);
  float rate = 0.0f;
  if (view.SamplingRate(rate)) channel.SamplingRate = rate;
  view.RecordLength(channel.Duration);
}

void LoadRecord(const fs::path& measurementPath, zsff::CAbstractFileAccess& access,
                RecordSummary& record) {
  const fs::path path = measurementPath / record.Directory;
  std::vector<std::string> directories;
  std::vector<std::string> files;
  record.OnDisk = ListNames(access, path, &directories, &files);
  if (!record.OnDisk) return;
  for (const std::string& file : files) record.TotalBytes += SizeOf(access, path / file);
  for (const std::string& directory : directories) {
    if (!zsff::names::IsChannelDirectoryName(zsff::Utf8ToWide(directory))) continue;
    ChannelSummary channel;
    LoadChannel(path, directory, access, channel);
    // A stopped ring record keeps less than its channels recorded: its entry
    // in the measurement file says how much, as the reader does.
    if (record.InMetaData && !record.Recording && channel.Duration > record.Duration) {
      channel.Duration = record.Duration;
    }
    record.TotalBytes += channel.TotalBytes;
    record.Channels.push_back(std::move(channel));
  }
  // Channel 2 before channel 10.
  std::stable_sort(record.Channels.begin(), record.Channels.end(),
                   [](const ChannelSummary& a, const ChannelSummary& b) { return a.Id < b.Id; });
}

}  // namespace

bool LoadMeasurement(const std::string& directory, MeasurementSummary& out, std::string& error) {
  const fs::path shown = MeasurementDirectory(directory);
  Place place;
  if (!FindPlace(shown, place, error)) return false;
  const fs::path& path = place.Path;
  std::u16string widePath;
  if (!ToWidePath(path, widePath, error)) return false;
  zsff::CAbstractFileAccess& access = *place.Files;
  std::vector<std::string> directories;
  std::vector<std::string> files;
  if (!ListNames(access, path, &directories, &files)) {
    error = directory + ": " + std::strerror(access.FileExists(widePath) ? ENOTDIR : ENOENT);
    return false;
  }
  out = MeasurementSummary();
  out.Path = shown.string();

  std::vector<std::string> headers;
  for (const std::string& file : files) {
    std::string baseName;
    if (zsff::names::ParseMeasurementFileName(file, baseName)) {
      headers.push_back(file);
      out.BaseName = baseName;
    }
  }
  if (headers.size() != 1) {
    error = directory + (headers.empty() ? ": no measurement file (*.zsfh) in this directory"
                                         : ": more than one measurement file (*.zsfh)");
    return false;
  }
  const std::u16string wideBase = zsff::Utf8ToWide(out.BaseName);
  const std::string markersFile = zsff::WideToUtf8(zsff::names::MarkersFileName(wideBase));
  for (const std::string& file : files) {
    if (file == zsff::WideToUtf8(zsff::names::LockFileName())) out.Locked = true;
    if (file == zsff::names::HeaderFileName(out.BaseName)) out.Unfinished = true;
    if (file == zsff::names::EndedUpHeaderFileName(out.BaseName)) out.EndedUp = true;
    out.TotalBytes += SizeOf(access, path / file);
  }

  std::u16string wideName;
  if (!ToWidePath(headers.front(), wideName, error)) return false;
  zsff::CMetaDataFileReader reader(&access);
  if (!reader.Load(out.MetaData, wideName, widePath)) {
    const std::string why = zsff::WideToUtf8(reader.LastError());
    error = headers.front() + " doesn't load" + (why.empty() ? "" : ": " + why);
    return false;
  }

  zsff::MetaDataMeasurementReader(out.MetaData).Editing(out.Editing);
  if (std::find(files.begin(), files.end(), markersFile) != files.end()) {
    zsff::MetaDataContainer markers;
    zsff::CMetaDataFileReader markersReader(&access);
    if (markersReader.Load(markers, zsff::Utf8ToWide(markersFile), widePath)) {
      out.Markers = markers.GetMarkers();
    } else {
      out.MarkersError = markersFile + " doesn't load: " + zsff::WideToUtf8(markersReader.LastError());
    }
  }

  // The list of the metadata first, in its order, then record directories it
  // doesn't know (a record that was never entered, or whose entry was lost).
  std::map<std::string, bool> listed;
  for (const zsff::MetaDataRecord& entry : out.MetaData.GetRecordsVect()) {
    RecordSummary record;
    record.Id = zsff::CRecordId(entry.RecordId());
    zsff::CRecordId whole = record.Id;
    whole.SetPartNumber(0);
    record.Directory = zsff::WideToUtf8(whole.IdToRecordName());
    record.InMetaData = true;
    record.LastPart = entry.LastPartNumber();
    record.AbsDate = entry.AbsDate();
    record.RelDate = entry.RelDate();
    record.Duration = entry.Duration();
    record.PartLength = entry.PartLength();
    record.Recording = entry.Recording();
    record.OffsetTimeToStop = entry.OffsetTimeToStop();
    listed[record.Directory] = true;
    out.Records.push_back(std::move(record));
  }
  for (const std::string& name : directories) {
    if (!zsff::names::IsRecordDirectoryName(zsff::Utf8ToWide(name)) || listed.count(name) != 0)
      continue;
    RecordSummary record;
    record.Id = zsff::CRecordId(zsff::CRecordId::RecordNameToId(zsff::Utf8ToWide(name)));
    record.Directory = name;
    out.Records.push_back(std::move(record));
  }

  // The sections of a split record share one directory: its bytes count once.
  std::map<std::string, bool> counted;
  for (RecordSummary& record : out.Records) {
    LoadRecord(path, access, record);
    if (!counted[record.Directory]) out.TotalBytes += record.TotalBytes;
    counted[record.Directory] = true;
  }
  return true;
}

}  // namespace zsff_tools
