// Test access to record sections: construction without a tree module, the
// protected operations, and a stand-in for the tree that records the notices a
// section sends and hands out real metadata locks.
#pragma once

#include <zsff/FileAccess.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileLock.h>
#include <zsff/RecordSection.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "section/RecordSectionTree.h"

namespace zsff_test {

class RecordSectionProbe {
 public:
  // A section as the tree makes one. `tree` may be null.
  static std::unique_ptr<zsff::CRecordSection> Open(
      zsff::CRecordSignalTree* tree, const std::u16string& measurementPath,
      const zsff::CRecordId& id, zsff::CAbstractRecordSection::OpenMode_t mode,
      zsff::CAbstractFileAccess* access, bool recording = false, unsigned short lastPart = 0,
      long analyzerFilter = 0) {
    return std::unique_ptr<zsff::CRecordSection>(new zsff::CRecordSection(
        tree, measurementPath, id, lastPart, mode, recording, 0.0, 0, access, analyzerFilter));
  }
  static bool Duplicate(zsff::CRecordSection& section, const std::u16string& source) {
    return section.DuplicateRecordSection(source);
  }
  static const std::u16string& RecordPath(const zsff::CRecordSection& section) {
    return section.m_RecordPath;
  }
};

// Stands in for the tree: installs the section's entry points for its lifetime
// and answers them from its own fields.
class FakeTree {
 public:
  struct Notice {
    zsff::CRecordId id;
    zsff::CRecordSignalTree::ChangeAction_t action;
    bool withParam;
    zsff::CRecordSignalTree::CChangeActionParam_t param;
    bool listenerOnly;
    bool lockFilePresent;  // "Metadata.lock" existed when the notice came
  };

  FakeTree(std::shared_ptr<zsff::CAbstractFileAccess> store, std::u16string lockDirectory)
      : m_Store(std::move(store)), m_LockDirectory(std::move(lockDirectory)) {
    static const zsff::SectionTreeCalls kCalls{
        &ChangeState, &NotifyListener, &CreateLock, &Counter, &LoadMeasurement, nullptr, nullptr};
    zsff::SetSectionTreeCalls(&kCalls);
  }
  ~FakeTree() { zsff::SetSectionTreeCalls(nullptr); }
  FakeTree(const FakeTree&) = delete;
  FakeTree& operator=(const FakeTree&) = delete;

  zsff::CRecordSignalTree* Tree() { return reinterpret_cast<zsff::CRecordSignalTree*>(this); }

  std::vector<Notice> notices;
  long recordCounter = 1;
  bool lockAvailable = true;
  zsff::MetaDataContainer measurement;

 private:
  static FakeTree& Self(zsff::CRecordSignalTree& tree) {
    return *reinterpret_cast<FakeTree*>(&tree);
  }
  static const FakeTree& Self(const zsff::CRecordSignalTree& tree) {
    return *reinterpret_cast<const FakeTree*>(&tree);
  }
  static void ChangeState(zsff::CRecordSignalTree& tree, const zsff::CRecordId& id,
                          zsff::CRecordSignalTree::ChangeAction_t action,
                          const zsff::CRecordSignalTree::CChangeActionParam_t* param) {
    FakeTree& self = Self(tree);
    Notice notice{id, action, param != nullptr, {}, false, self.LockFilePresent()};
    if (param != nullptr) notice.param = *param;
    self.notices.push_back(notice);
  }
  static void NotifyListener(zsff::CRecordSignalTree& tree, const zsff::CRecordId& id,
                             zsff::CRecordSignalTree::ChangeAction_t action) {
    FakeTree& self = Self(tree);
    self.notices.push_back(Notice{id, action, false, {}, true, self.LockFilePresent()});
  }
  static std::unique_ptr<zsff::MetaDataFileLock> CreateLock(zsff::CRecordSignalTree& tree,
                                                            zsff::MetaDataFileLock::Mode mode) {
    FakeTree& self = Self(tree);
    if (!self.lockAvailable) return nullptr;
    try {
      return std::make_unique<zsff::MetaDataFileLock>(u"Metadata.lock", self.m_LockDirectory,
                                                      self.m_Store, mode);
    } catch (const std::exception&) {
      return nullptr;
    }
  }
  static long Counter(const zsff::CRecordSignalTree& tree) { return Self(tree).recordCounter; }
  static bool LoadMeasurement(const zsff::CRecordSignalTree& tree, zsff::MetaDataContainer& out) {
    out = Self(tree).measurement;
    return true;
  }

  bool LockFilePresent() const {
    return m_Store->FileExists(m_LockDirectory + m_Store->PathSeparatorW() + u"Metadata.lock");
  }

  std::shared_ptr<zsff::CAbstractFileAccess> m_Store;
  std::u16string m_LockDirectory;
};

// Channel metadata as a host gives it: float samples at `rate`.
inline zsff::MetaDataContainer ChannelMetaData(float rate, const std::u16string& name = u"") {
  zsff::MetaDataContainer metaData;
  metaData.AddMetadata("SamplingRate", rate);
  if (!name.empty()) metaData.AddMetadata("Name", name);
  return metaData;
}

// Samples whose value is their index in the record, so that any piece of a part
// file tells where it came from.
inline std::vector<float> Ramp(unsigned long long count, unsigned long long first = 0) {
  std::vector<float> samples(count);
  for (unsigned long long i = 0; i < count; ++i) samples[i] = static_cast<float>(first + i);
  return samples;
}

// The float samples of a part file, empty when it is missing.
inline std::vector<float> ReadSamples(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<float> samples(bytes.size() / sizeof(float));
  std::copy(bytes.begin(), bytes.begin() + samples.size() * sizeof(float),
            reinterpret_cast<char*>(samples.data()));
  return samples;
}

}  // namespace zsff_test
