// One metadata file as a reader last parsed it, with the size and the time of
// the last write that the file had then. A reader given a cache parses the file
// again only when one of them has moved: a display polling a finished
// measurement would otherwise parse the same text on every look.
//
// A file time is only as fine as the file system's clock, so a file rewritten
// within one tick of that clock, at the same size, would look unchanged. A parse
// is therefore kept only of a file that had been left alone for a while when it
// was looked at; a file still being written is parsed on every look, as without
// a cache.
#pragma once

#include <zsff/MetaDataContainer.h>

#include <string>

namespace zsff {

class CMetaDataFileCache {
 public:
  // Whether the file at `path`, of this size and time, is the one kept.
  bool Holds(const std::u16string& path, unsigned long long size, long long lastWrite) const;

  // Leaves in `out` what parsing the kept file into it would: the file's
  // content, beside the physical quantities of `out` that the file doesn't name.
  void CopyTo(MetaDataContainer& out) const;

  // Keeps `metaData`, parsed from the file at `path` of this size and time as it
  // stood at `lookedAt` (a file time taken before the file's), unless the file
  // was too fresh then to be told from its next version. Forgets what was kept
  // before in any case.
  void Keep(const std::u16string& path, unsigned long long size, long long lastWrite,
            long long lookedAt, const MetaDataContainer& metaData);

  void Forget();

 private:
  bool m_Kept = false;
  std::u16string m_Path;
  unsigned long long m_Size = 0;
  long long m_LastWrite = 0;
  MetaDataContainer m_MetaData;
};

}  // namespace zsff
