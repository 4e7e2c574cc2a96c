// Every name a measurement has on disk, made and parsed in this one place: the
// record, channel and part names that come from ids, the extensions of the files
// beside them, and the fixed names. Ids (CRecordId, CChannelID) hand out their
// names through these functions; everything else asks here rather than spelling a
// prefix or an extension itself. Paths are not made here: joining a name to a
// directory takes the separator of the store the path is meant for.
#pragma once

#include <zsff/ChannelId.h>

#include <string>

namespace zsff {
namespace names {

// ---- Records ---------------------------------------------------------------------

// "Record_<base>": the base name of a measurement's files. Printed as given, so a
// base handed in as a signed 32-bit number comes out negative.
std::string RecordBaseName(long long base);
// "Record_<base>_<number>": a record's directory.
std::string RecordName(long long base, long long number);
// A base name (RecordBaseName, or whatever stands in for it), "_" and the number.
std::string RecordName(const std::string& baseName, long long number);
// The first "Record_" of the text (whatever precedes it, such as the rest of a
// path, is skipped) read as "Record_<base>_<number>", both as signed 32-bit
// decimals: base in bits 63..32, number in 31..16, a number outside 0..65535
// spilling into the base bits. A base alone is that base's record 1. No
// "Record_" or no digits: 0. Text behind the number is ignored.
unsigned long long ParseRecordName(const std::string& text);
// Whether a directory of the measurement is taken for a record's: its own name
// holds "Record_" anywhere, parseable or not.
bool IsRecordDirectoryName(const std::u16string& name);

// ---- Files of the measurement directory ----------------------------------------------

// The measurement's metadata file: the base name and ".zsfh".
std::u16string MeasurementFileName(const std::u16string& baseName);
// The listing pattern of measurement metadata files.
std::u16string MeasurementFilePattern();
// True with the base name when `file` is a measurement metadata file.
bool ParseMeasurementFileName(const std::string& file, std::string& baseName);
// The host's header file of an unfinished measurement (".zff"), and the name it
// gets once the measurement was ended up after a crash (".zxf").
std::string HeaderFileName(const std::string& baseName);
std::string EndedUpHeaderFileName(const std::string& baseName);
// The measurement's markers: the base name and ".zmrk".
std::u16string MarkersFileName(const std::u16string& baseName);
// The warning a host leaves beside a measurement whose download was incomplete:
// the base name and ".zwarn". It belongs to the disk it lies on and never travels.
std::u16string WarningFileName(const std::u16string& baseName);
bool IsWarningFileName(const std::u16string& name);
// The lock file that keeps writers of the measurement's metadata apart.
std::u16string LockFileName();

// ---- Channels --------------------------------------------------------------------

// "Channel_<channel>": the name a channel's metadata file is made from.
std::string ChannelName(unsigned short channelNumber);
// "Channel_<channel>_<analyzer>_<serial>", unsigned decimals: a channel's directory.
std::string ChannelDirectoryName(const CChannelID& id);
// Reads the first "Channel_" of the text as "Channel_<channel>_<analyzer>_<serial>"
// (signed 32-bit decimals, the first two keeping their low 16 bits). False when
// the text holds no "Channel_"; id 0 when fewer than three numbers follow it.
bool ParseChannelDirectoryName(const std::string& text, CChannelID& id);
// Whether a directory of a record is a channel's: its own name starts with
// "Channel_".
bool IsChannelDirectoryName(const std::u16string& name);

// ---- Files of a channel directory ----------------------------------------------------

// A channel's metadata file: `name` (ChannelName) and ".zrm".
std::u16string ChannelMetaDataFileName(const std::u16string& name);
// The listing pattern of channel metadata files.
std::u16string ChannelMetaDataFilePattern();
// "Part_<part>": a signal part's name, without extension.
std::string PartName(unsigned short part);
// The first "Part_" of the text read as a signed decimal, low 16 bits; whatever
// follows the digits is ignored. No "Part_" or no digits: 0.
unsigned short ParsePartName(const std::string& text);
// The raw sample file of a part: its name, or its path, without extension and
// ".zrs".
std::string SignalPartFile(const std::string& part);
// The listing pattern of raw sample files.
std::u16string SignalPartFilePattern();
// The min/max file of pyramid level `level` (from 1) of a part: its name, or its
// path, without extension, "_", the level and ".zpr".
std::string PyramidLevelFile(const std::string& part, int level);
// The crash-proof record information of a recording channel.
std::string TmpRecordFileName();

// The copy a metadata file's save writes whole before it rewrites the file in
// place: `name` + ".new". Read instead of the file when the file doesn't read.
std::u16string SavingCopyName(const std::u16string& name);

// The last component of `path`, cut at the store's `separator`: listings give
// full paths, and names are told by what follows the last separator.
std::u16string LastPathComponent(const std::u16string& path, const std::u16string& separator);

// What a file of a channel directory is, by its name alone.
enum ChannelFile_t {
  ChannelFileOther,
  ChannelFileSignalPart,    // ParsePartName gives its part
  ChannelFilePyramidLevel,  // a level of a part's pyramid
  ChannelFileTmpRecord,     // a recording is (or was, before a crash) under way
  ChannelFileMetaData       // the channel's metadata
};
ChannelFile_t ChannelFileType(const std::string& file);
// `file` without the extension that made ChannelFileType call it metadata.
std::string ChannelMetaDataName(const std::string& file);

}  // namespace names
}  // namespace zsff
