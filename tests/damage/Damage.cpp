#include "damage/Damage.h"

#include <fstream>
#include <random>
#include <regex>
#include <string>

#include "support/FileContents.h"

namespace zsff_test {

namespace {

void WriteFile(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

std::string RandomBytes(std::size_t count, unsigned int seed) {
  std::mt19937 random(seed);
  std::string bytes(count, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

// Each line "key": value of the metadata's JSON form, its value changed by
// `change` (a text value comes with its quotes).
template <typename Change>
std::string ChangeValues(const std::string& text, Change change) {
  static const std::regex line(R"((\s*"[^"]*": )([^\[\{\n,]+)(,?)\n)");
  std::string out;
  auto at = text.cbegin();
  for (std::sregex_iterator it(text.begin(), text.end(), line), end; it != end; ++it) {
    out.append(at, (*it)[0].first);
    out += (*it)[1].str() + change((*it)[2].str()) + (*it)[3].str() + "\n";
    at = (*it)[0].second;
  }
  out.append(at, text.cend());
  return out;
}

}  // namespace

void ApplyDamage(Damage_t damage, const std::filesystem::path& path, unsigned long long cut,
                 unsigned int seed, const std::string& earlier) {
  const std::string bytes = std::filesystem::is_regular_file(path) ? FileText(path) : "";
  switch (damage) {
    case DamageTruncateEveryTenth:
      std::filesystem::resize_file(path, cut);
      break;
    case DamageTruncateOdd:
      std::filesystem::resize_file(path, (bytes.size() - 1) | 1);
      break;
    case DamageDelete:
      std::filesystem::remove_all(path);
      break;
    case DamageExtend:
      WriteFile(path, bytes + RandomBytes(1000, seed));
      break;
    case DamageRandomBytes:
      WriteFile(path, RandomBytes(bytes.size(), seed));
      break;
    case DamageBrackets:
      WriteFile(path, std::string(100000, '['));
      break;
    case DamageHugeNumbers:
      WriteFile(path, std::regex_replace(bytes, std::regex(R"((: |\n\s*)-?[0-9][0-9.]*)"),
                                         "$1" + std::string(100, '9')));
      break;
    case DamageWrongTypes:
      WriteFile(path, ChangeValues(bytes, [](const std::string& value) {
                  return value[0] == '"' ? std::string("7") : '"' + value + '"';
                }));
      break;
    case DamageEmpty:
      WriteFile(path, "");
      break;
    case DamageLeaveLock:
      WriteFile(path, std::string(4, '\0'));
      break;
    case DamageLeftBehind:
      WriteFile(path, earlier);
      break;
    case DamageNone:
      break;
  }
}

}  // namespace zsff_test
