// Writing metadata files: a container as it stands, and a channel's ".zrm" with
// the record fields of the temporary record file while the channel records.
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataContainerJson.h>
#include <zsff/MetaDataFiles.h>
#include <zsff/TextConversion.h>

#include <string>
#include <utility>

#include "persistence/MetaDataFileSupport.h"

namespace zsff {

namespace metadata_file {

bool WriteContainer(CAbstractFileAccess* access, const MetaDataContainer& in,
                    const std::u16string& name, const std::u16string& directory,
                    std::u16string* message) {
  if (name.empty()) return false;
  StoreInUse store(access);
  const std::u16string path = JoinPath(*store, directory, name);

  // Rewritten in place: there is no temporary file to rename, which is why
  // writers of a measurement's metadata hold the metadata file lock.
  unsigned int handle = 0;
  if (!store->OpenFile(path, FileModeCreate, handle)) return false;

  MetaDataContainerJson json;
  const std::string text = json.ToJSONString(in);
  if (message != nullptr) {
    const std::string error = json.LastError();
    if (!error.empty())
      *message = u"CMetaDataFileWriter::Save(" + path + u") Error: " + Utf8ToWide(error);
  }

  unsigned int written = 0;
  const bool wrote =
      store->WriteFile(handle, text.data(), static_cast<unsigned int>(text.size()), written) &&
      written == text.size();
  store->CloseFile(handle, true);
  if (!wrote) {
    if (message != nullptr)
      *message = u"CMetaDataFileWriter::Save(" + path + u") Error in WriteFile";
    return false;
  }
  return true;
}

}  // namespace metadata_file

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
