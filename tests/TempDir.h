// A fresh directory per test, removed with everything in it when the test ends.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace zsff_test {

class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zsff-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "mkdtemp failed";
    m_Path = pattern;
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(m_Path, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& Path() const { return m_Path; }
  // The path as the library's wide strings carry it.
  std::u16string Wide() const { return Wide(m_Path.string()); }
  std::u16string Wide(const std::string& relative) const {
    const std::string full = relative.empty() ? m_Path.string() : (m_Path / relative).string();
    return std::u16string(full.begin(), full.end());  // test paths are ASCII
  }

 private:
  std::filesystem::path m_Path;
};

}  // namespace zsff_test
