// Loading a MetaDataContainer from one JSON metadata file through a
// CAbstractFileAccess. CMetaDataFileReader takes a file as it stands (the
// measurement's ".zsfh", the markers' ".zmrk"); CMetaDataHeaderFileReader takes a
// channel's ".zrm", whose record fields are out of date while the channel records
// and are completed from its "TmpRecord.zrm" and the size of its part files.
#pragma once

#include <zsff/RecordInfo.h>

#include <string>
#include <zsff/Export.h>

namespace zsff {

class CAbstractFileAccess;
class CMetaDataFileCache;
class CTmpRecordFile;
class MetaDataContainer;

// The path of every operation is `directory`, the store's separator and `name`,
// or `name` alone when `directory` is empty. Both classes borrow the store and
// the temporary record file, which must outlive them; with a null store an
// operation uses a CLocalFileAccess of its own for its duration. They are
// short-lived, copyable, and hold no lock: writers of a measurement's metadata
// take the metadata file lock before they call here.
//
// A reader may be given a cache (borrowed, may be null) that outlives it: the
// library's long-lived objects keep one per file they poll, so that a file whose
// size and time haven't moved isn't read and parsed again.

class ZSFF_API CMetaDataFileReader {
 public:
  explicit CMetaDataFileReader(CAbstractFileAccess* access = nullptr,
                               CMetaDataFileCache* cache = nullptr);
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
  CMetaDataFileCache* m_Cache;        // borrowed, may be null
  mutable std::u16string m_LastError;
};

// A channel's metadata. `tmp` is the channel's temporary record file (borrowed,
// may be null); it lies in `directory` beside the ".zrm" and ".zrs" files.
class ZSFF_API CMetaDataHeaderFileReader : public CMetaDataFileReader {
 public:
  CMetaDataHeaderFileReader(CTmpRecordFile* tmp, CAbstractFileAccess* access,
                            CMetaDataFileCache* cache = nullptr);

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

}  // namespace zsff
