// A local store that can lose power, in the manner of LevelDB's fault-injection
// environment: it keeps, for every file it changes, the content the disk is
// sure to hold (what the last sync saw; what was there before the store first
// touched it), and after LosePower and Restore every such file holds that
// content again, or is gone when it had none then, and every directory made
// since the last sync is gone. A sync is the local store's own, with a sync
// interval: one of the whole file system, which the store's SyncFiles makes.
//
//   auto store = std::make_shared<PowerLossFileAccess>();
//   store->SetSyncInterval(std::chrono::milliseconds(20));
//   ... record through it ...
//   store->LosePower();   // nothing from here on is durable
//   ... close everything that uses the store ...
//   store->Restore();     // the disk as it comes back after the loss
//
// One thread at a time.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "foundation/LocalFileAccess.h"

namespace zsff_test {

class PowerLossFileAccess : public zsff::CLocalFileAccess {
 public:
  using CLocalFileAccess::DeleteFile;
  using CLocalFileAccess::OpenFile;

  void LosePower() { m_Lost = true; }

  // Puts every file this store changed back to its durable content.
  void Restore() {
    for (auto it = m_NewDirectories.rbegin(); it != m_NewDirectories.rend(); ++it) {
      std::error_code error;
      std::filesystem::remove_all(*it, error);
    }
    for (const auto& entry : m_Durable) {
      std::error_code error;
      if (!entry.second) {
        std::filesystem::remove(entry.first, error);
        continue;
      }
      std::filesystem::create_directories(std::filesystem::path(entry.first).parent_path(), error);
      std::ofstream(entry.first, std::ios::binary | std::ios::trunc) << *entry.second;
    }
  }

  bool SyncFiles() override {
    if (!CLocalFileAccess::SyncFiles()) return false;
    if (!m_Lost) {
      for (auto& entry : m_Durable) entry.second = Content(entry.first);
      m_NewDirectories.clear();
    }
    return true;
  }
  bool OpenFile(const std::string& path, zsff::FileOpenMode_t mode, unsigned int& handle) override {
    if (mode != zsff::FileModeRead) Touch(path);
    return CLocalFileAccess::OpenFile(path, mode, handle);
  }
  bool DeleteFile(const std::string& path) override {
    Touch(path);
    return CLocalFileAccess::DeleteFile(path);
  }
  bool RenameFile(const std::u16string& from, const std::u16string& to) override {
    Touch(Narrow(from));
    Touch(Narrow(to));
    return CLocalFileAccess::RenameFile(from, to);
  }
  bool ReplaceFile(const std::u16string& from, const std::u16string& to) override {
    Touch(Narrow(from));
    Touch(Narrow(to));
    return CLocalFileAccess::ReplaceFile(from, to);
  }
  bool CreateDirectory(const std::u16string& path) override {
    if (!CLocalFileAccess::CreateDirectory(path)) return false;
    m_NewDirectories.push_back(Full(Narrow(path)));
    return true;
  }
  bool DeleteDirectoryTree(const std::u16string& path) override {
    std::error_code error;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(Narrow(path), error))
      if (entry.is_regular_file()) Touch(entry.path().string());
    return CLocalFileAccess::DeleteDirectoryTree(path);
  }

 private:
  static std::string Narrow(const std::u16string& text) {
    return std::string(text.begin(), text.end());  // test paths are ASCII
  }
  static std::optional<std::string> Content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  static std::string Full(const std::string& path) {
    return std::filesystem::absolute(path).lexically_normal().string();
  }
  // What the store hasn't touched yet is on the disk for good.
  void Touch(const std::string& path) {
    const std::string full = Full(path);
    if (m_Durable.count(full) == 0) m_Durable[full] = Content(full);
  }

  bool m_Lost = false;
  std::map<std::string, std::optional<std::string>> m_Durable;
  // In the order made, so that the deepest go first.
  std::vector<std::string> m_NewDirectories;
};

}  // namespace zsff_test
