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

  // The whole text goes into a file beside it, which then moves over it: a
  // reader in another process finds the old file or the new one, and a save cut
  // short by a failure or a crash leaves the old file, with at most a beside-file
  // that the end-up finishes or drops. Writers of a measurement's metadata hold
  // the metadata lock, so that two never write one beside-file.
  const std::u16string beside = names::SavingCopyName(path);
  bool wrote = false;
  if (!WriteWhole(*store, beside, text, wrote)) {
    if (message != nullptr)
      *message = u"CMetaDataFileWriter::Save(" + path + u") Error in OpenFile(" + beside + u")";
    return false;
  }
  if (!wrote || !store->ReplaceFile(beside, path)) {
    // A store that can't replace in one step may have lost the file already:
    // the beside-file, whole, is then what readers take.
    if (!wrote || store->FileExists(path)) store->DeleteFile(beside);
    if (message != nullptr)
      *message = u"CMetaDataFileWriter::Save(" + path +
                 (wrote ? u") Error in ReplaceFile" : u") Error in WriteFile");
    return false;
  }
  return true;
}

}  // namespace metadata_file

}  // namespace zsff
