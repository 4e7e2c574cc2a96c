// Saving a MetaDataContainer to one JSON metadata file through a
// CAbstractFileAccess. CMetaDataFileWriter writes a file as it stands (the
// measurement's ".zsfh", the markers' ".zmrk"); CMetaDataHeaderFileWriter writes a
// channel's ".zrm", whose record fields come from its "TmpRecord.zrm" while the
// channel records.
#pragma once

#include <string>
#include <zsff/Export.h>

namespace zsff {

class CAbstractFileAccess;
class CTmpRecordFile;
class MetaDataContainer;

// The path of every operation is `directory`, the store's separator and `name`,
// or `name` alone when `directory` is empty. Both classes borrow the store and
// the temporary record file, which must outlive them; with a null store an
// operation uses a CLocalFileAccess of its own for its duration. They are
// short-lived, copyable, and hold no lock: writers of a measurement's metadata
// take the metadata file lock before they call here.

class ZSFF_API CMetaDataFileWriter {
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

class ZSFF_API CMetaDataHeaderFileWriter : public CMetaDataFileWriter {
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
