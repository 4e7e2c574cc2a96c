// Keeping a parsed metadata file for as long as its size and time stand still.
#include "persistence/MetaDataFileCache.h"

#include <map>

namespace zsff {

namespace {

// Two seconds, in file time ticks: the coarsest file times in common use (FAT's)
// and far beyond the few milliseconds of a Linux file system's clock.
constexpr long long kSettledTicks = 20000000LL;

}  // namespace

bool CMetaDataFileCache::Holds(const std::u16string& path, unsigned long long size,
                               long long lastWrite) const {
  return m_Kept && m_Size == size && m_LastWrite == lastWrite && m_Path == path;
}

void CMetaDataFileCache::CopyTo(MetaDataContainer& out) const {
  std::map<int, MetaDataQuantity> quantities = out.PhysicalQuantityMap();
  if (quantities.empty()) {
    out = m_MetaData;
    return;
  }
  for (const auto& [id, quantity] : m_MetaData.PhysicalQuantityMap()) quantities[id] = quantity;
  out = m_MetaData;
  out.PhysicalQuantityMap(quantities);
}

void CMetaDataFileCache::Keep(const std::u16string& path, unsigned long long size,
                              long long lastWrite, long long lookedAt,
                              const MetaDataContainer& metaData) {
  Forget();
  if (lookedAt - lastWrite <= kSettledTicks) return;
  m_Path = path;
  m_Size = size;
  m_LastWrite = lastWrite;
  m_MetaData = metaData;
  m_Kept = true;
}

void CMetaDataFileCache::Forget() {
  m_Kept = false;
  m_MetaData.Clear();
}

}  // namespace zsff
