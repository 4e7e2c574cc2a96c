// The small binary file "TmpRecord.zrm" that a recording channel keeps beside its
// part files. While a record is written its ".zrm" metadata file stays as it was
// armed; the record's start date and scaling live here instead, rewritten in place
// once a part, and the record's length follows from the size of the part files.
// The file surviving a crash is what marks the record as unfinished.
#pragma once

#include <zsff/RecordInfo.h>

#include <string>
#include <utility>
#include <zsff/Export.h>

namespace zsff {

class CAbstractFileAccess;
class MetaDataContainer;

// Reads and writes one channel's "TmpRecord.zrm" and merges it with the channel's
// metadata. Layouts on disk (little-endian, no padding):
//   version 2, written: u32 version, i64 AbsoluteDate, i64 RelativeDate,
//     f64 CumulativeDate, f32 SignalOffset, f32 UncompactCoeff, f32 UncompactOffset,
//     u16 RecordNumber, u16 TimeStep, u16 first part, u16 last part (48 bytes);
//   version 1, read only: as version 2 but with 16 unused bytes after
//     CumulativeDate (64 bytes).
// Bytes behind the last field are never read.
//
// The object borrows the file access, which must outlive it. It has no lock and
// belongs to the channel that made it. Failures are reported by the results below;
// diagnostics of Read and Delete go to the diagnostic sink and are not kept.
class ZSFF_API CTmpRecordFile {
 public:
  // Nothing is touched on disk. The path is `directory`, the store's
  // PathSeparator and "TmpRecord.zrm" (the separator is there even for an empty
  // directory). `access` may be null, in which case every disk operation fails.
  CTmpRecordFile(const std::string& directory, CAbstractFileAccess* access);

  // Copies every member, the open write handle included: the copies then share the
  // open file and each closes it at its end (the second close fails harmlessly).
  CTmpRecordFile(const CTmpRecordFile& other) = default;
  CTmpRecordFile& operator=(const CTmpRecordFile& other) = default;

  // Closes the write handle if one is open. Never deletes the file.
  virtual ~CTmpRecordFile();

  // True when the file exists in the store.
  bool Exists() const;

  // Whether the record information in memory came from a good source (a good
  // file, a container or SetRecordInfo with a start date). No disk access.
  bool IsValid() const { return m_Valid; }

  // Reads the file, version 1 or 2, into the record information and the parts.
  // True when the version is 1 or 2 and the start date isn't 0. On false the
  // object is invalid and the fields may hold what was read before the failure
  // (a wrong version still overwrites them). A missing file is false silently.
  bool Read();

  // True at once when valid; otherwise Read() and its result.
  bool Load();

  // Writes the 48 bytes of version 2 at the start of the file and flushes. The
  // first Write of an object creates or truncates the file; the handle then stays
  // open and later writes overwrite the same bytes in place (not atomic). Marks the
  // object valid before writing. True only when all 48 bytes were written and the
  // flush succeeded.
  bool Write();

  // Closes the write handle and deletes the file, retrying for a short while in
  // case another handle still holds it. True when the file is gone, including when
  // it never existed. Leaves the record information and the valid flag alone.
  bool Delete();

  // The record information, read from disk first when not valid. The reference is
  // given whether that read succeeded or not.
  TAG_RECORD_INFO& RecordInfo();

  // Copies `info`; the object becomes valid only when its AbsoluteDate isn't 0.
  void SetRecordInfo(const TAG_RECORD_INFO& info);

  // First and last part of the record, read from disk first when not valid.
  std::pair<unsigned short, unsigned short> Parts();

  // Stores the first and last part, without touching the disk.
  void SetParts(unsigned short firstPart, unsigned short lastPart);

  // The file's whole path, UTF-8, for the words of a failure.
  const std::string& Path() const { return m_Path; }

  // The size in bytes of the signal files at the last merge into a container.
  unsigned long long PreviousFileSize() const { return m_PreviousFileSize; }
  void SetPreviousFileSize(unsigned long long size) { m_PreviousFileSize = size; }

  // Takes the record information from channel metadata. A missing date, offset or
  // coefficient keeps the field as it was; a missing "RecordNumber" or
  // "SignalTimeStep" resets it to its default (0, 1). Valid afterwards when the
  // start date isn't 0.
  void FromMetaDataContainer(const MetaDataContainer& in);

  // Merges into `out` as ToMetaDataContainerPreviousFileSize, after remembering
  // `fileSize` as the signal size. Does nothing when valid and `fileSize` equals
  // the remembered size, so a reader polling a record that hasn't grown doesn't
  // read the file again.
  void ToMetaDataContainer(MetaDataContainer& out, unsigned long long fileSize);

  // Re-reads the file (the fields in memory are used even if that fails), then
  // writes the record's dates, duration, number and scaling into `out`, the length
  // following from the remembered signal size, the sample format of `out` and its
  // "SamplingRate". Without "SamplingRate" in `out`, `out` is left unchanged.
  void ToMetaDataContainerPreviousFileSize(MetaDataContainer& out);

 private:
  // Seeks the open write handle back to the start, or opens (creating or
  // truncating) the file when none is open. False with the handle cleared.
  bool OpenFileForWrite();

  std::string m_Path;                 // UTF-8, as the store takes it
  CAbstractFileAccess* m_FileAccess;  // borrowed
  unsigned int m_WriteHandle = 0;     // 0 when not open
  TAG_RECORD_INFO m_RecordInfo;
  bool m_Valid = false;
  std::pair<unsigned short, unsigned short> m_Parts{0, 0};
  unsigned long long m_PreviousFileSize = 0;  // signal bytes at the last merge
};

}  // namespace zsff
