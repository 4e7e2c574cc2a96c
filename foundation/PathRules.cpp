#include "foundation/PathRules.h"

#include <filesystem>
#include <system_error>
#include <utility>

namespace zsff {

namespace {

constexpr char kSeparator = '/';
// The full-path buffer the store has always worked with; longer paths are
// bad paths rather than something to hand to the system.
constexpr std::size_t kMaxPathLength = 4096;
constexpr std::size_t kMinDeletableLength = 5;

bool Matches(const char16_t* pattern, const char16_t* name) {
  // Greedy match with one backtrack point: the last '*' seen.
  const char16_t* star = nullptr;
  const char16_t* resume = nullptr;
  while (*name) {
    if (*pattern == u'*') {
      star = pattern++;
      resume = name;
    } else if (*pattern == u'?' || *pattern == *name) {
      ++pattern;
      ++name;
    } else if (star) {
      pattern = star + 1;
      name = ++resume;
    } else {
      return false;
    }
  }
  while (*pattern == u'*') ++pattern;
  return *pattern == 0;
}

char16_t Lower(char16_t c) { return (c >= u'A' && c <= u'Z') ? char16_t(c + (u'a' - u'A')) : c; }

bool ShutOutByExtension(const std::u16string& pattern, const std::u16string& name) {
  if (pattern.size() != 5 || pattern[0] != u'*' || pattern[1] != u'.') return false;
  for (std::size_t i = 2; i < 5; ++i)
    if (pattern[i] == u'.') return false;
  if (name.size() < 5) return false;
  for (std::size_t i = 0; i < 4; ++i)
    if (Lower(name[name.size() - 4 + i]) != Lower(pattern[1 + i])) return true;
  return false;
}

}  // namespace

bool IsUsablePath(const std::string& path) {
  return !path.empty() && path.find('\0') == std::string::npos;
}

bool MakeAbsolutePath(const std::string& path, std::string& absolute) {
  if (!IsUsablePath(path)) return false;
  std::error_code ec;
  const std::filesystem::path full = std::filesystem::absolute(std::filesystem::path(path), ec);
  if (ec) return false;
  std::string normal = full.lexically_normal().native();
  if (WideLength(normal) >= kMaxPathLength) return false;
  absolute = std::move(normal);
  return true;
}

bool MakeAbsoluteStrippedPath(const std::string& path, std::string& absolute) {
  std::string full;
  if (!MakeAbsolutePath(path, full)) return false;
  while (!full.empty() && full.back() == kSeparator) full.pop_back();
  if (full.empty()) return false;
  absolute = std::move(full);
  return true;
}

bool IsPlainName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of("/\\") == std::string::npos;
}

std::size_t WideLength(const std::string& utf8) {
  std::size_t units = 0;
  for (unsigned char c : utf8) {
    if ((c & 0xC0) != 0x80) ++units;  // a single byte or a lead byte
    if (c >= 0xF0) ++units;           // four bytes stand for a surrogate pair
  }
  return units;
}

bool IsDeletableTree(const std::string& absoluteStripped) {
  return WideLength(absoluteStripped) >= kMinDeletableLength;
}

std::string JoinPath(const std::string& directory, const std::string& name) {
  if (!directory.empty() && directory.back() == kSeparator) return directory + name;
  return directory + kSeparator + name;
}

bool MatchesListPattern(const std::u16string& pattern, const std::u16string& name, bool isFile) {
  if (pattern != u"*.*" && !Matches(pattern.c_str(), name.c_str())) return false;
  return !(isFile && ShutOutByExtension(pattern, name));
}

}  // namespace zsff
