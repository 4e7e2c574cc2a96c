// Writing metadata files: a container as it stands, and a channel's ".zrm" with
// the record fields of the temporary record file while the channel records.
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileWriter.h>
#include <zsff/TmpRecordFile.h>

#include <string>
#include <utility>

#include "persistence/MetaDataFileSupport.h"

namespace zsff {

CMetaDataFileWriter::CMetaDataFileWriter(CAbstractFileAccess* access) : m_FileAccess(access) {}

CMetaDataFileWriter::~CMetaDataFileWriter() = default;

std::u16string CMetaDataFileWriter::LastError() const {
  return std::exchange(m_LastError, std::u16string());
}

bool CMetaDataFileWriter::Save(const MetaDataContainer& in, const std::u16string& name,
                               const std::u16string& directory) const {
  return metadata_file::WriteContainer(m_FileAccess, in, name, directory, &m_LastError);
}

CMetaDataHeaderFileWriter::CMetaDataHeaderFileWriter(CTmpRecordFile* tmp,
                                                     CAbstractFileAccess* access)
    : CMetaDataFileWriter(access), m_TmpRecordFile(tmp) {}

bool CMetaDataHeaderFileWriter::Save(const MetaDataContainer& in, const std::u16string& name,
                                     const std::u16string& directory) const {
  if (name.empty()) return false;
  // The file takes the record fields of the temporary record file at the size of
  // its last merge; the caller's container stays as it was.
  MetaDataContainer copy(in);
  if (m_TmpRecordFile != nullptr && m_TmpRecordFile->Exists())
    m_TmpRecordFile->ToMetaDataContainerPreviousFileSize(copy);
  return metadata_file::WriteContainer(m_FileAccess, copy, name, directory, nullptr);
}

}  // namespace zsff
