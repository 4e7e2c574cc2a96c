// A whole file read back, for tests that compare what reached the disk.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace zsff_test {

// Every byte of the file at `path` in any container built from a range of chars
// (std::string, std::vector<char>, std::vector<unsigned char>); empty when the
// file cannot be read, which a comparison with the expected bytes then shows.
template <typename Container>
Container ReadWholeFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return Container(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline std::string FileText(const std::filesystem::path& path) {
  return ReadWholeFile<std::string>(path);
}

inline std::vector<char> FileBytes(const std::filesystem::path& path) {
  return ReadWholeFile<std::vector<char>>(path);
}

// Every file below `root` by its path relative to it, with its bytes: two trees
// compare equal when they hold the same files with the same contents.
inline std::map<std::string, std::string> FilesBelow(const std::filesystem::path& root) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root))
    if (entry.is_regular_file())
      files[std::filesystem::relative(entry.path(), root).string()] = FileText(entry.path());
  return files;
}

}  // namespace zsff_test
