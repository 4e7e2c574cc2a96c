// Writing a container's JSON text to a file, the step the plain and the header
// writers share.
#include <zsff/FileAccess.h>
#include <zsff/MetaDataContainerJson.h>

#include <string>

#include "foundation/TextConversion.h"
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

}  // namespace zsff
