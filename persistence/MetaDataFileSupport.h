// What the metadata file classes share: the store an operation runs on, the path
// it builds, and the writing steps that the header writer repeats without messages.
#pragma once

#include <zsff/FileAccess.h>

#include <memory>
#include <string>

#include "foundation/LocalFileAccess.h"

namespace zsff {

class MetaDataContainer;

namespace metadata_file {

// The caller's store, or a local store of its own for the life of one operation
// when the caller gave none.
class StoreInUse {
 public:
  explicit StoreInUse(CAbstractFileAccess* access)
      : m_Own(access != nullptr ? nullptr : std::make_unique<CLocalFileAccess>()),
        m_Access(access != nullptr ? access : m_Own.get()) {}

  CAbstractFileAccess& operator*() const { return *m_Access; }
  CAbstractFileAccess* operator->() const { return m_Access; }

 private:
  std::unique_ptr<CLocalFileAccess> m_Own;
  CAbstractFileAccess* m_Access;
};

// `directory`, the store's separator and `name`; `name` alone without a directory.
inline std::u16string JoinPath(const CAbstractFileAccess& access, const std::u16string& directory,
                               const std::u16string& name) {
  if (directory.empty()) return name;
  return directory + access.PathSeparatorW() + name;
}

// Creates or truncates the file and writes the JSON text of `in`. With `message`
// null nothing is recorded; otherwise a failure of the text or of the write puts
// its message there. True when every byte was written.
bool WriteContainer(CAbstractFileAccess* access, const MetaDataContainer& in,
                    const std::u16string& name, const std::u16string& directory,
                    std::u16string* message);

}  // namespace metadata_file
}  // namespace zsff
