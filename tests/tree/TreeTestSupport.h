// What the tree's tests share: a listener that keeps every notice, a remote store
// rooted in its own directory that records the calls a tree makes on it, access
// to the tree's private searches and states, and readers of the files a tree
// leaves on disk.
#pragma once

#include <gtest/gtest.h>
#include <zsff/MeasurementMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileReader.h>
#include <zsff/MetaDataFileWriter.h>
#include <zsff/RecordSignalTree.h>

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "support/ForwardingFileAccess.h"
#include "tree/MeasurementFile.h"
#include "tree/MeasurementUpdate.h"
#include "tree/RecordStates.h"
#include "tree/TreeRecords.h"

namespace zsff_test {

namespace fs = std::filesystem;
using Tree = zsff::CRecordSignalTree;
// A tree on the local disk alone.
inline const std::shared_ptr<zsff::CAbstractFileAccess> kNoStore;

inline std::u16string W(const std::string& text) {
  return std::u16string(text.begin(), text.end());
}
inline std::string N(const std::u16string& text) { return std::string(text.begin(), text.end()); }

class RecordSignalTreeProbe {
 public:
  using Tree = zsff::CRecordSignalTree;

  static bool Exists(const Tree& tree, Tree::SearchMetaDataMode_t mode) {
    return tree.m_MeasurementFile->Exists(mode);
  }
  static bool ChannelExists(const Tree& tree) {
    return tree.m_MeasurementFile->ChannelFileExists();
  }
  static std::optional<Tree::RecordState_t> State(const zsff::CRecordId& key) {
    std::lock_guard<zsff::CCriticalSectionWrapper> guard(Tree::m_cs);
    const Tree::RecordState_t* state = zsff::CRecordStates::Find(key);
    if (state == nullptr) return std::nullopt;
    return *state;
  }
  static bool Update(Tree& tree, const zsff::MetaDataFileLock* lock,
                     Tree::UpdateMetaDataMeasurementMode mode,
                     const Tree::CChangeActionParam_t* param) {
    return tree.m_MeasurementUpdate->Apply(lock, mode, param);
  }
  static std::u16string RemotePath(const Tree& tree) { return tree.m_FullRemoteRecordPath; }
  static bool IsUsed(const Tree& tree, const zsff::CRecordId& id) {
    return tree.m_RecordStates->IsUsed(id);
  }
  static bool IsRecordSectionUsed(const Tree& tree, const zsff::CRecordId& id) {
    return tree.m_Records->IsRecordSectionUsed(id);
  }
  // Puts `store` in the place of the tree's local store, for the tests that make
  // it fail or stop.
  static void UseStore(Tree& tree, std::shared_ptr<zsff::CAbstractFileAccess> store) {
    tree.m_FileAccess = std::move(store);
  }
  // Editing mode as the host would win it, for the tests of what it permits.
  static void SetEditing(Tree& tree, bool editing) { tree.m_Editing = editing; }
  // Forgets a record of the process, as closing its last opener would.
  static void Forget(const zsff::CRecordId& key) {
    std::lock_guard<zsff::CCriticalSectionWrapper> guard(Tree::m_cs);
    zsff::CRecordStates::Forget(key);
  }
};

// One notice as the host's listener saw it.
struct Notice {
  zsff::CRecordId Key;
  int Handle;
  zsff::CRecordSignalTree::ChangeAction_t Action;
  bool HasParam;
  zsff::CRecordSignalTree::CChangeActionParam_t Param;
};

class RecordingListener : public zsff::CRecordSignalTree::CAbstractChangeStateCallBack {
 public:
  void OnChangeState(const zsff::CRecordId& key, int handle,
                     zsff::CRecordSignalTree::ChangeAction_t action,
                     const zsff::CRecordSignalTree::CChangeActionParam_t* param) override {
    Notices.push_back(Notice{key, handle, action, param != nullptr,
                             param ? *param : zsff::CRecordSignalTree::CChangeActionParam_t{}});
  }
  std::vector<zsff::CRecordSignalTree::ChangeAction_t> Actions() const {
    std::vector<zsff::CRecordSignalTree::ChangeAction_t> actions;
    for (const Notice& notice : Notices) actions.push_back(notice.Action);
    return actions;
  }
  std::vector<Notice> Notices;
};

// A remote analyzer's disk: relative paths lie under `root`, absolute ones are
// taken as they are. It keeps the analyzers selected and the files uploaded, and
// can be told to refuse uploads. Its transfers are copies between the two
// directories.
class RootedStore : public ForwardingFileAccess {
 public:
  explicit RootedStore(std::filesystem::path root)
      : ForwardingFileAccess(std::make_shared<zsff::CLocalFileAccess>()), m_Root(std::move(root)) {}

  struct Upload {
    std::u16string SourceDirectory, FileName, DestinationDirectory;
    unsigned short Analyzer;
  };
  std::vector<unsigned short> Selected;
  std::vector<Upload> Uploads;
  std::set<std::u16string> WantedDisks;
  std::set<unsigned short> Analyzers{32767};
  bool RefuseUploads = false;

  std::u16string Root(const std::u16string& path) const {
    if (!path.empty() && path.front() == u'/') return path;
    return W((m_Root / N(path)).string());
  }
  std::string Root(const std::string& path) const { return N(Root(W(path))); }

  bool DeleteDirectoryTree(const std::u16string& path) override {
    return ForwardingFileAccess::DeleteDirectoryTree(Root(path));
  }
  bool CreateDirectory(const std::u16string& path) override {
    return ForwardingFileAccess::CreateDirectory(Root(path));
  }
  bool CopyDirectoryTree(const std::u16string& source, const std::u16string& destination) override {
    return ForwardingFileAccess::CopyDirectoryTree(Root(source), Root(destination));
  }
  bool CopyFileList(const std::u16string& source, const std::u16string& destination,
                    const std::vector<std::u16string>& names) override {
    return ForwardingFileAccess::CopyFileList(Root(source), Root(destination), names);
  }
  bool ListDirectory(const std::u16string& directory, std::vector<std::u16string>& directories,
                     std::vector<std::u16string>& files, const std::u16string& pattern) override {
    return ForwardingFileAccess::ListDirectory(Root(directory), directories, files, pattern);
  }
  bool DeleteFile(const std::string& path) override {
    return ForwardingFileAccess::DeleteFile(Root(path));
  }
  bool DeleteFile(const std::u16string& path) override {
    return ForwardingFileAccess::DeleteFile(Root(path));
  }
  bool FileExists(const std::string& path) override {
    return ForwardingFileAccess::FileExists(Root(path));
  }
  bool FileExists(const std::u16string& path) override {
    return ForwardingFileAccess::FileExists(Root(path));
  }
  bool RenameFile(const std::u16string& from, const std::u16string& to) override {
    return ForwardingFileAccess::RenameFile(Root(from), Root(to));
  }
  bool ReplaceFile(const std::u16string& from, const std::u16string& to) override {
    return ForwardingFileAccess::ReplaceFile(Root(from), Root(to));
  }
  bool FileSize(const std::string& path, unsigned long long& size) override {
    return ForwardingFileAccess::FileSize(Root(path), size);
  }
  bool FileSize(const std::u16string& path, unsigned long long& size) override {
    return ForwardingFileAccess::FileSize(Root(path), size);
  }
  bool FileSizeAndTime(const std::u16string& path, unsigned long long& size,
                       long long& lastWrite) override {
    return ForwardingFileAccess::FileSizeAndTime(Root(path), size, lastWrite);
  }
  bool OpenFile(const std::string& path, zsff::FileOpenMode_t mode, unsigned int& handle) override {
    return ForwardingFileAccess::OpenFile(Root(path), mode, handle);
  }
  bool OpenFile(const std::u16string& path, zsff::FileOpenMode_t mode,
                unsigned int& handle) override {
    return ForwardingFileAccess::OpenFile(Root(path), mode, handle);
  }
  bool SelectAnalyzer(unsigned short analyzer) override {
    Selected.push_back(analyzer);
    return true;
  }
  bool ListAnalyzers(std::set<unsigned short>& analyzers) override {
    analyzers = Analyzers;
    return true;
  }
  bool SetWantedDisks(const std::set<std::u16string>& disks) override {
    WantedDisks = disks;
    return true;
  }
  // Copies a local file onto this disk.
  bool UploadFile(const std::u16string& sourceDirectory, const std::u16string& fileName,
                  const std::u16string& destinationDirectory, unsigned short analyzer) override {
    Uploads.push_back(Upload{sourceDirectory, fileName, destinationDirectory, analyzer});
    if (RefuseUploads) return false;
    std::error_code error;
    std::filesystem::copy_file(std::filesystem::path(N(sourceDirectory)) / N(fileName),
                               std::filesystem::path(N(Root(destinationDirectory))) / N(fileName),
                               std::filesystem::copy_options::overwrite_existing, error);
    return !error;
  }
  bool ListDiskIds(std::set<std::u16string>& disks) override {
    disks = DiskIds;
    return true;
  }
  // The transfers copy between the local disk and this one; a download skips a
  // file that is there with its size, as a resuming store does.
  bool DownloadFile(const std::u16string& sourceDirectory, const std::u16string& fileName,
                    const std::u16string& destinationDirectory) override {
    return Fetch(std::filesystem::path(N(Root(sourceDirectory))) / N(fileName),
                 std::filesystem::path(N(destinationDirectory)) / N(fileName));
  }
  bool UploadDirectory(const std::u16string& source, const std::u16string& destination) override {
    return CopyDirectoryTree(source, Root(destination));
  }
  bool DownloadDirectory(const std::u16string& source, const std::u16string& destination) override {
    namespace fs = std::filesystem;
    const fs::path from(N(Root(source))), to(N(destination));
    std::error_code error;
    for (fs::recursive_directory_iterator it(from, error), end; !error && it != end;
         it.increment(error)) {
      const fs::path target = to / fs::relative(it->path(), from);
      if (it->is_directory()) {
        fs::create_directories(target, error);
      } else if (!fs::exists(target) || fs::file_size(target) != it->file_size()) {
        if (!Fetch(it->path(), target)) return false;
      }
    }
    return !error;
  }
  std::set<std::u16string> DiskIds;
  std::vector<std::string> Fetched;  // the file names downloaded, in order

 private:
  bool Fetch(const std::filesystem::path& from, const std::filesystem::path& to) {
    Fetched.push_back(from.filename().string());
    std::error_code error;
    std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing, error);
    return !error;
  }

  std::filesystem::path m_Root;
};

// The measurement file of `base` in `directory`; an empty container when it doesn't load.
inline zsff::MetaDataContainer LoadMeasurement(const std::filesystem::path& directory,
                                               unsigned int base) {
  zsff::MetaDataContainer metaData;
  zsff::CLocalFileAccess access;
  zsff::CMetaDataFileReader reader(&access);
  const std::u16string name = W("Record_" + std::to_string(base) + ".zsfh");
  if (!reader.Load(metaData, name, W(directory.string()))) return zsff::MetaDataContainer();
  return metaData;
}

inline std::vector<zsff::MetaDataRecord> RecordList(const std::filesystem::path& directory,
                                                    unsigned int base) {
  return zsff::MetaDataMeasurementReader(LoadMeasurement(directory, base)).GetRecordsVect();
}

// The start of a measurement file as a host leaves it: a file without any key
// doesn't read back.
inline zsff::MetaDataContainer Measurement() {
  zsff::MetaDataContainer metaData;
  zsff::CMetaDataMeasurementWriter(metaData).ProjectName(u"Test bench");
  return metaData;
}

// Writes `metaData` as the measurement file of `base` in `directory`.
inline void SaveMeasurement(const std::filesystem::path& directory, unsigned int base,
                            const zsff::MetaDataContainer& metaData) {
  zsff::CLocalFileAccess access;
  zsff::CMetaDataFileWriter writer(&access);
  ASSERT_TRUE(
      writer.Save(metaData, W("Record_" + std::to_string(base) + ".zsfh"), W(directory.string())));
}

// Each test leaves the process-wide state as it found it: every tree closed and
// the error text empty.
class TreeTest : public ::testing::Test {
 protected:
  void SetUp() override { zsff::CRecordSignalTree::LastErrorString(); }

  TempDir m_Dir;
};

}  // namespace zsff_test
