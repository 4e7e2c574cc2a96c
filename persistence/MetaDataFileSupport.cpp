// Writing a container's JSON text to a file, the step the plain and the header
// writers share.
#include <zsff/FileAccess.h>
#include <zsff/MetaDataContainerJson.h>

#include <string>

#include "foundation/FileNames.h"
#include "foundation/TextConversion.h"
#include "persistence/MetaDataFileSupport.h"

namespace zsff {

namespace metadata_file {

namespace {

// Writes `text` as the whole file `path`, created or truncated. False when the
// file can't be opened; `wrote` tells whether all of the text went in.
bool WriteWhole(CAbstractFileAccess& store, const std::u16string& path, const std::string& text,
                bool& wrote) {
  unsigned int handle = 0;
  if (!store.OpenFile(path, FileModeCreate, handle)) return false;
  unsigned int written = 0;
  wrote = store.WriteFile(handle, text.data(), static_cast<unsigned int>(text.size()), written) &&
          written == text.size();
  wrote = store.CloseFile(handle, true) && wrote;
  return true;
}

}  // namespace

bool WriteContainer(CAbstractFileAccess* access, const MetaDataContainer& in,
                    const std::u16string& name, const std::u16string& directory,
                    std::u16string* message) {
  if (name.empty()) return false;
  StoreInUse store(access);
  const std::u16string path = JoinPath(*store, directory, name);

  MetaDataContainerJson json;
  const std::string text = json.ToJSONString(in);
  if (message != nullptr) {
    const std::string error = json.LastError();
    if (!error.empty())
      *message = u"CMetaDataFileWriter::Save(" + path + u") Error: " + Utf8ToWide(error);
  }

  // The whole text goes into a copy first, then over the file in place (a store
  // can't rename over a file). A save cut short by a failure or a crash leaves
  // the file as it was or the copy whole, which readers take when the file
  // doesn't read; writers of a measurement's metadata hold the metadata lock.
  const std::u16string copy = names::SavingCopyName(path);
  for (const std::u16string& target : {copy, path}) {
    bool wrote = false;
    if (!WriteWhole(*store, target, text, wrote)) return false;
    if (!wrote) {
      if (message != nullptr)
        *message = u"CMetaDataFileWriter::Save(" + path + u") Error in WriteFile";
      return false;
    }
  }
  store->DeleteFile(copy);
  return true;
}

}  // namespace metadata_file

}  // namespace zsff
