// Moving a MetaDataContainer between memory and one JSON metadata file through a
// CAbstractFileAccess. The plain reader and writer handle a file as it stands (the
// measurement's ".zsfh", the markers' ".zmrk"); the header variants handle a
// channel's ".zrm", whose record fields are out of date while the channel records
// and are completed from its "TmpRecord.zrm" and the size of its part files.
#pragma once

#include <zsff/TmpRecordFile.h>

#include <string>

namespace zsff {

class CAbstractFileAccess;
class MetaDataContainer;

// The path of every operation is `directory`, the store's separator and `name`,
// or `name` alone when `directory` is empty. All four classes borrow the store and
// the temporary record file, which must outlive them; with a null store an
// operation uses a CLocalFileAccess of its own for its duration. They are
// short-lived, copyable, and hold no lock: writers of a measurement's metadata
// take the metadata file lock before they call here.

class CMetaDataFileReader {
 public:
  explicit CMetaDataFileReader(CAbstractFileAccess* access = nullptr);
  virtual ~CMetaDataFileReader();

  // Fills `out` from the file through MetaDataContainerJson::FromJSONString, which
  // empties what it replaces. False with no message for an empty name or a file
  // that can't be opened; false with a message for a missing or empty file, a
  // short read or a text that doesn't read (then `out` holds whatever the text
  // reader left in it).
  virtual bool Load(MetaDataContainer& out, const std::u16string& name,
                    const std::u16string& directory) const;

  // Moves the last message out: a second call returns an empty string.
  std::u16string LastError() const;

 protected:
  CAbstractFileAccess* m_FileAccess;  // borrowed, may be null
  mutable std::u16string m_LastError;
};

class CMetaDataFileWriter {
 public:
  explicit CMetaDataFileWriter(CAbstractFileAccess* access = nullptr);
  virtual ~CMetaDataFileWriter();

  // Creates or truncates the file and writes the JSON text of `in`. True when every
  // byte was written. The file is rewritten in place, with no temporary file: a
  // failure or a crash leaves it short or empty. False with no message for an
  // empty name or a file that can't be opened; with a message for a short write.
  virtual bool Save(const MetaDataContainer& in, const std::u16string& name,
                    const std::u16string& directory) const;

  // Moves the last message out: a second call returns an empty string.
  std::u16string LastError() const;

 protected:
  CAbstractFileAccess* m_FileAccess;  // borrowed, may be null
  mutable std::u16string m_LastError;
};

// A channel's metadata. `tmp` is the channel's temporary record file (borrowed,
// may be null); it lies in `directory` beside the ".zrm" and ".zrs" files.
class CMetaDataHeaderFileReader : public CMetaDataFileReader {
 public:
  CMetaDataHeaderFileReader(CTmpRecordFile* tmp, CAbstractFileAccess* access);

  // The five-argument Load with a default record information that is then dropped.
  bool Load(MetaDataContainer& out, const std::u16string& name,
            const std::u16string& directory) const override;

  // Loads `name` plus ".zrm" from `directory`. False on an empty name or when the
  // file doesn't load; `info` is then untouched. Without `tmp`, a missing
  // "RecordDuration" is added as 0.0 and `info` stays untouched. With `tmp`:
  // while the temporary record file exists, the record fields of `out` are taken
  // from it and from `signalFilesSize` (the bytes of samples; 0 means the sum of
  // the sizes of the directory's ".zrs" files) whenever `tmp` isn't valid yet or
  // the size changed since its last merge; for a finished record `tmp` takes its
  // record information from `out` instead. `info` gets the record information of
  // `tmp` in every case.
  bool Load(MetaDataContainer& out, const std::u16string& name, const std::u16string& directory,
            TAG_RECORD_INFO& info, unsigned long long signalFilesSize) const;

 private:
  CTmpRecordFile* m_TmpRecordFile;  // borrowed, may be null
};

class CMetaDataHeaderFileWriter : public CMetaDataFileWriter {
 public:
  CMetaDataHeaderFileWriter(CTmpRecordFile* tmp, CAbstractFileAccess* access);

  // Saves a copy of `in` whose record fields, while the temporary record file
  // exists, are those of `tmp` at the signal size of its last merge; `in` itself
  // stays as it was. `name` is the whole file name. Records no message.
  bool Save(const MetaDataContainer& in, const std::u16string& name,
            const std::u16string& directory) const override;

 private:
  CTmpRecordFile* m_TmpRecordFile;  // borrowed, may be null
};

}  // namespace zsff
