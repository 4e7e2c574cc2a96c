// Ways a file of a measurement gets damaged after it was written: by a disk that
// lost its end, another program that wrote over it, a user who edited or deleted
// it. Each changes the file at `path` in place; `seed` picks the bytes of those
// that make some up.
#pragma once

#include <filesystem>
#include <string>

namespace zsff_test {

enum Damage_t {
  DamageTruncateEveryTenth,  // a case for each tenth byte the file is cut at
  DamageTruncateOdd,         // cut to an odd count of bytes, inside its last sample
  DamageDelete,
  DamageExtend,              // random bytes beyond its end
  DamageRandomBytes,         // random bytes of its own size
  DamageBrackets,            // 100000 '[' in its place
  DamageHugeNumbers,         // each number a hundred digits long
  DamageWrongTypes,          // each text value a number, each other value a text
  DamageEmpty,
  DamageLeaveLock,           // the lock file of a writer that died
  DamageLeftBehind,          // the file as it was while the recording ran
  DamageNone,
};

// Applies `damage` to `path`: for DamageTruncateEveryTenth cuts it at `cut` bytes,
// for DamageLeftBehind writes `earlier`.
void ApplyDamage(Damage_t damage, const std::filesystem::path& path, unsigned long long cut,
                 unsigned int seed, const std::string& earlier);

}  // namespace zsff_test
