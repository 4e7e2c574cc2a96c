// Beside-files of saves cut short (see SavingCopies.h).
#include "persistence/SavingCopies.h"

#include <zsff/FileAccess.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileReader.h>

#include <vector>

#include "foundation/FileNames.h"

namespace zsff {
namespace metadata_file {

bool FinishSavingCopies(CAbstractFileAccess& store, const std::u16string& directory) {
  std::vector<std::u16string> directories, files;
  if (!store.ListDirectory(directory, directories, files, u"*")) return false;
  bool result = true;
  const std::u16string suffix = names::SavingCopyName(u"");
  for (const std::u16string& file : files) {
    if (file.size() <= suffix.size() ||
        file.compare(file.size() - suffix.size(), suffix.size(), suffix) != 0)
      continue;
    // The move of a whole one is all its save didn't do.
    MetaDataContainer saved;
    const bool whole = CMetaDataFileReader(&store).Load(saved, file, u"");
    result = (whole ? store.ReplaceFile(file, file.substr(0, file.size() - suffix.size()))
                    : store.DeleteFile(file)) &&
             result;
  }
  for (const std::u16string& subdirectory : directories)
    result = FinishSavingCopies(store, subdirectory) && result;
  return result;
}

}  // namespace metadata_file
}  // namespace zsff
