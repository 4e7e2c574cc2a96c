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

#include "section/RecordSectionOwner.h"

namespace zsff_test {

class RecordSectionProbe {
 public:
  // A section as the tree makes one. `owner` stands in for the tree and may be null.
  static std::unique_ptr<zsff::CRecordSection> Open(
      zsff::CRecordSectionOwner* owner, const std::u16string& measurementPath,
      const zsff::CRecordId& id, zsff::CAbstractRecordSection::OpenMode_t mode,
      zsff::CAbstractFileAccess* access, bool recording = false, unsigned short lastPart = 0,
      long analyzerFilter = 0) {
    return std::unique_ptr<zsff::CRecordSection>(new zsff::CRecordSection(
        owner, measurementPath, id, lastPart, mode, recording, 0.0, 0, access, analyzerFilter));
  }
  static bool Duplicate(zsff::CRecordSection& section, const std::u16string& source) {
    return section.DuplicateRecordSection(source);
  }
  static zsff::CheckRecordRet Check(zsff::CRecordSection& section,
                                    const zsff::MetaDataFileLock* lock,
                                    std::vector<std::string>& errors,
                                    unsigned long long& channels) {
    return section.CheckRecord(lock, false, 25600.0f, errors, channels);
  }
  static const std::u16string& RecordPath(const zsff::CRecordSection& section) {
    return section.m_RecordPath;
  }
};

// A real metadata lock in `directory`, or null when it can't be had.
inline std::unique_ptr<zsff::MetaDataFileLock> MetaDataLockIn(
    const std::shared_ptr<zsff::CAbstractFileAccess>& store, const std::u16string& directory,
    zsff::MetaDataFileLock::Mode mode) {
  try {
    return std::make_unique<zsff::MetaDataFileLock>(u"Metadata.lock", directory, store, mode);
  } catch (const std::exception&) {
    return nullptr;
  }
}

// Stands in for the tree: records the notices a section sends and answers the
// rest from its own fields. Nothing of the process records, and there is no
// record list.
class FakeTree : public zsff::CRecordSectionOwner {
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
      : m_Store(std::move(store)), m_LockDirectory(std::move(lockDirectory)) {}

  zsff::CRecordSectionOwner* Owner() { return this; }

  std::vector<Notice> notices;
  long recordCounter = 1;
  bool lockAvailable = true;
  bool readOnly = false;
  zsff::MetaDataContainer measurement;

  bool ChangeState(const zsff::CRecordId& id, zsff::CRecordSignalTree::ChangeAction_t action,
                   const zsff::CRecordSignalTree::CChangeActionParam_t* param,
                   std::u16string&) override {
    Notice notice{id, action, param != nullptr, {}, false, LockFilePresent()};
    if (param != nullptr) notice.param = *param;
    notices.push_back(notice);
    return true;
  }
  void NotifyListener(const zsff::CRecordId& id,
                      zsff::CRecordSignalTree::ChangeAction_t action) override {
    notices.push_back(Notice{id, action, false, {}, true, LockFilePresent()});
  }
  std::unique_ptr<zsff::MetaDataFileLock> CreateMetaDataLock(
      zsff::MetaDataFileLock::Mode mode) override {
    return lockAvailable ? MetaDataLockIn(m_Store, m_LockDirectory, mode) : nullptr;
  }
  std::u16string MetaDataLockPath() const override { return m_LockDirectory + u"/Metadata.lock"; }
  long RecordCounter() const override { return recordCounter; }
  bool LoadMetaDataMeasurement(zsff::MetaDataContainer& out) const override {
    out = measurement;
    return true;
  }
  bool IsRecording(const zsff::CRecordId&) const override { return false; }
  bool GetRecordsVect(std::vector<zsff::MetaDataRecord>&) const override { return false; }
  bool UpdateRecordsVect(const zsff::MetaDataFileLock*, const std::vector<zsff::CRecordId>&,
                         const std::vector<zsff::MetaDataRecord>&) override {
    return false;
  }
  bool IsEditing() const override { return editing; }
  bool editing = false;
  bool IsReadOnly() const override { return readOnly; }

 private:
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
