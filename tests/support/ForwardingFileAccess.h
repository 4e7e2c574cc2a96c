// A store that hands every call to another store. Test stores derive from it
// and override only what they change, the way a wrapper environment does.
//
// Error codes: after each forwarded open, seek, tell, read, write or close the
// target's pending code is moved to this store, so callers that hold the
// wrapper see the codes as if they talked to the target.
#pragma once

#include <zsff/FileAccess.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace zsff_test {

class ForwardingFileAccess : public zsff::CAbstractFileAccess {
 public:
  // Shares ownership of the target.
  explicit ForwardingFileAccess(std::shared_ptr<zsff::CAbstractFileAccess> target)
      : m_Target(std::move(target)) {}
  // Borrows the target, which must outlive this store.
  explicit ForwardingFileAccess(zsff::CAbstractFileAccess& target)
      : m_Target(&target, [](zsff::CAbstractFileAccess*) {}) {}

  zsff::CAbstractFileAccess& Target() const { return *m_Target; }

  bool DeleteDirectoryTree(const std::u16string& path) override {
    return m_Target->DeleteDirectoryTree(path);
  }
  bool CreateDirectory(const std::u16string& path) override {
    return m_Target->CreateDirectory(path);
  }
  bool CopyDirectoryTree(const std::u16string& source, const std::u16string& destination) override {
    return m_Target->CopyDirectoryTree(source, destination);
  }
  bool CopyFileList(const std::u16string& sourceDirectory,
                    const std::u16string& destinationDirectory,
                    const std::vector<std::u16string>& fileNames) override {
    return m_Target->CopyFileList(sourceDirectory, destinationDirectory, fileNames);
  }
  bool ListDirectory(const std::u16string& directory, std::vector<std::u16string>& directories,
                     std::vector<std::u16string>& files, const std::u16string& pattern) override {
    return m_Target->ListDirectory(directory, directories, files, pattern);
  }
  bool DeleteFile(const std::string& path) override { return m_Target->DeleteFile(path); }
  bool DeleteFile(const std::u16string& path) override { return m_Target->DeleteFile(path); }
  bool FileExists(const std::string& path) override { return m_Target->FileExists(path); }
  bool FileExists(const std::u16string& path) override { return m_Target->FileExists(path); }
  bool RenameFile(const std::u16string& oldPath, const std::u16string& newPath) override {
    return m_Target->RenameFile(oldPath, newPath);
  }
  bool ReplaceFile(const std::u16string& from, const std::u16string& to) override {
    return m_Target->ReplaceFile(from, to);
  }
  bool FileSize(const std::string& path, unsigned long long& size) override {
    return m_Target->FileSize(path, size);
  }
  bool FileSize(const std::u16string& path, unsigned long long& size) override {
    return m_Target->FileSize(path, size);
  }
  bool FileSizeAndTime(const std::u16string& path, unsigned long long& size,
                       long long& lastWrite) override {
    return m_Target->FileSizeAndTime(path, size, lastWrite);
  }
  bool OpenFile(const std::string& path, zsff::FileOpenMode_t mode, unsigned int& handle) override {
    return Pull(m_Target->OpenFile(path, mode, handle));
  }
  bool OpenFile(const std::u16string& path, zsff::FileOpenMode_t mode,
                unsigned int& handle) override {
    return Pull(m_Target->OpenFile(path, mode, handle));
  }
  bool SeekFile(unsigned int handle, long long offset, int origin) override {
    return Pull(m_Target->SeekFile(handle, offset, origin));
  }
  bool TellFile(unsigned int handle, unsigned long long& position) override {
    return Pull(m_Target->TellFile(handle, position));
  }
  bool WriteFile(unsigned int handle, const void* buffer, unsigned int size,
                 unsigned int& written) override {
    return Pull(m_Target->WriteFile(handle, buffer, size, written));
  }
  bool ReadFile(unsigned int handle, void* buffer, unsigned int size,
                unsigned int& bytesRead) override {
    return Pull(m_Target->ReadFile(handle, buffer, size, bytesRead));
  }
  bool SetEndOfFile(unsigned int handle) override { return Pull(m_Target->SetEndOfFile(handle)); }
  bool CloseFile(unsigned int handle, bool written) override {
    return Pull(m_Target->CloseFile(handle, written));
  }
  bool CloseAllFiles() override { return m_Target->CloseAllFiles(); }
  bool ReservedFileOperation() override { return m_Target->ReservedFileOperation(); }
  bool FlushFile(unsigned int handle) override { return m_Target->FlushFile(handle); }
  bool SelectAnalyzer(unsigned short analyzerIndex) override {
    return m_Target->SelectAnalyzer(analyzerIndex);
  }
  bool ListDiskIds(std::set<std::u16string>& diskIds) override {
    return m_Target->ListDiskIds(diskIds);
  }
  bool ListAnalyzers(std::set<unsigned short>& analyzers) override {
    return m_Target->ListAnalyzers(analyzers);
  }
  void SetDownloadSize(unsigned int size) override { m_Target->SetDownloadSize(size); }
  bool UploadFile(const std::u16string& sourceDirectory, const std::u16string& fileName,
                  const std::u16string& destinationDirectory,
                  unsigned short analyzerIndex) override {
    return m_Target->UploadFile(sourceDirectory, fileName, destinationDirectory, analyzerIndex);
  }
  bool DownloadFile(const std::u16string& sourceDirectory, const std::u16string& fileName,
                    const std::u16string& destinationDirectory) override {
    return m_Target->DownloadFile(sourceDirectory, fileName, destinationDirectory);
  }
  bool UploadDirectory(const std::u16string& source, const std::u16string& destination) override {
    return m_Target->UploadDirectory(source, destination);
  }
  bool DownloadDirectory(const std::u16string& source, const std::u16string& destination) override {
    return m_Target->DownloadDirectory(source, destination);
  }
  std::u16string PathSeparatorW() const override { return m_Target->PathSeparatorW(); }
  std::string PathSeparator() const override { return m_Target->PathSeparator(); }
  std::string CurrentDiskSerial() override { return m_Target->CurrentDiskSerial(); }
  bool SetWantedDisks(const std::set<std::u16string>& diskIds) override {
    return m_Target->SetWantedDisks(diskIds);
  }

 protected:
  // Moves the target's pending error code here and passes `result` through.
  bool Pull(bool result) {
    const zsff::ErrorCode_t code = m_Target->GetLastError();
    if (code != zsff::FileErrorNone) SetLastError(code);
    return result;
  }

 private:
  std::shared_ptr<zsff::CAbstractFileAccess> m_Target;
};

}  // namespace zsff_test
