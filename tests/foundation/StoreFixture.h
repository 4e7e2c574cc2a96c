// The stores that answer alike, for the tests that hold each of them to the same
// answers. Each test gets a fresh store and a directory of its own in it (a
// temporary directory, which the memory store mirrors), and looks at what is
// there through the store itself, so one test body checks every store.
#pragma once

#include <gtest/gtest.h>
#include <zsff/MemoryFileAccess.h>

#include <algorithm>
#include <string>
#include <type_traits>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#ifdef ZSFF_STORE_TESTS_ON_CEPH
#include "ceph/CephCluster.h"
#endif

namespace zsff_test {

template <typename Store>
class StoreTest : public ::testing::Test {
 protected:
  StoreTest() {
    // The memory store starts with the root alone.
    std::u16string path;
    for (char c : m_Dir.Path().string().substr(1) + "/") {
      if (c == '/') m_Store.CreateDirectory(path);
      path += static_cast<char16_t>(c);
    }
  }

  Store& store() { return m_Store; }

  // The test's directory, or `relative` (ASCII) inside it.
  std::u16string Wide(const std::string& relative = "") const { return m_Dir.Wide(relative); }
  std::string Narrow(const std::string& relative = "") const {
    const std::u16string wide = Wide(relative);
    return std::string(wide.begin(), wide.end());
  }

  // Creates `relative` and the directories above it that are missing.
  void MakeDirectories(const std::string& relative) {
    for (std::size_t slash = relative.find('/'); slash != std::string::npos;
         slash = relative.find('/', slash + 1))
      m_Store.CreateDirectory(Wide(relative.substr(0, slash)));
    m_Store.CreateDirectory(Wide(relative));
  }

  // Writes `text` as the whole of the file `relative`, making its directories.
  void Put(const std::string& relative, const std::string& text) {
    const std::size_t slash = relative.rfind('/');
    if (slash != std::string::npos) MakeDirectories(relative.substr(0, slash));
    unsigned int handle = 0, written = 0;
    ASSERT_TRUE(m_Store.OpenFile(Wide(relative), zsff::FileModeCreate, handle)) << relative;
    EXPECT_TRUE(m_Store.WriteFile(handle, text.data(), static_cast<unsigned int>(text.size()),
                                  written));
    EXPECT_TRUE(m_Store.CloseFile(handle, true));
  }

  // The whole of the file `path`, or "<missing>".
  std::string Text(const std::u16string& path) {
    unsigned long long size = 0;
    unsigned int handle = 0, got = 0;
    if (!m_Store.FileSize(path, size) || !m_Store.OpenFile(path, zsff::FileModeRead, handle))
      return "<missing>";
    std::string text(size, '\0');
    if (size != 0 && !m_Store.ReadFile(handle, text.data(), static_cast<unsigned int>(size), got))
      text = "<unreadable>";
    m_Store.CloseFile(handle, false);
    return text;
  }
  std::string Text(const std::string& relative) { return Text(Wide(relative)); }

  bool Exists(const std::string& relative) { return m_Store.FileExists(Wide(relative)); }
  bool IsDirectory(const std::string& relative) {
    unsigned long long size = 0;
    return Exists(relative) && !m_Store.FileSize(Wide(relative), size);
  }

  // Every entry below `relative`, relative to it, a directory with a trailing
  // "/" and a file with "=" and its contents, sorted.
  std::vector<std::string> Snapshot(const std::string& relative) {
    std::vector<std::string> entries;
    AddEntries(Wide(relative), Wide(relative).size() + 1, entries);
    std::sort(entries.begin(), entries.end());
    return entries;
  }

 private:
  void AddEntries(const std::u16string& directory, std::size_t cut,
                  std::vector<std::string>& entries) {
    std::vector<std::u16string> directories, files;
    m_Store.ListDirectory(directory, directories, files, u"*");
    for (const std::u16string& path : directories) {
      entries.push_back(std::string(path.begin() + cut, path.end()) + "/");
      AddEntries(path, cut, entries);
    }
    for (const std::u16string& path : files)
      entries.push_back(std::string(path.begin() + cut, path.end()) + "=" + Text(path));
  }

  TempDir m_Dir;
  Store m_Store;
};

// A store the tree reaches as a remote one lists its root for the empty path,
// where the others list nothing.
template <typename Store>
constexpr bool kEmptyPathIsRoot = false;

// The CephFS store's test program runs these tests over it alone.
#ifdef ZSFF_STORE_TESTS_ON_CEPH
template <>
constexpr bool kEmptyPathIsRoot<CephTestStore> = true;
using Stores = ::testing::Types<CephTestStore>;
#else
using Stores = ::testing::Types<zsff::CLocalFileAccess, zsff::CMemoryFileAccess>;
#endif

struct StoreName {
  template <typename Store>
  static std::string GetName(int) {
    if (std::is_same_v<Store, zsff::CLocalFileAccess>) return "Local";
    return std::is_same_v<Store, zsff::CMemoryFileAccess> ? "Memory" : "Ceph";
  }
};

}  // namespace zsff_test
