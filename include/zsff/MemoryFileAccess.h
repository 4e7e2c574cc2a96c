// A store that keeps its files in memory: for tests of the layers above the
// store that should neither touch the disk nor wait for it, and for hosts that
// want the same.
#pragma once

#include <zsff/FileAccess.h>

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>
#include <zsff/Export.h>

namespace zsff {

// CAbstractFileAccess over a map of paths to bytes and a set of directories,
// answering every call as CLocalFileAccess answers it on a disk of its own:
// the same error codes, handles that are never reused, create-new that refuses
// an existing file, renames that never replace, a replace that is one step,
// listings with the same patterns, the same guard on tree deletes, and a last
// write time that every write moves forward.
//
// Paths are "/"-separated; a relative path is taken from the root "/", which
// always exists and starts empty. A deleted or replaced file stays readable
// and writable through the handles still open on it, as on a POSIX disk. It is
// one disk with an empty id, holding analyzer 1, and transfers nothing.
//
// Threads: every call may come from any thread; one lock serialises them all.
// Nothing is ever written anywhere else: the files go with the store.
class ZSFF_API CMemoryFileAccess : public CAbstractFileAccess {
 public:
  CMemoryFileAccess();
  ~CMemoryFileAccess() override;
  // A copy would have to decide which of the two the open handles belong to.
  CMemoryFileAccess(const CMemoryFileAccess&) = delete;
  CMemoryFileAccess& operator=(const CMemoryFileAccess&) = delete;

  bool DeleteDirectoryTree(const std::u16string& path) override;
  bool CreateDirectory(const std::u16string& path) override;
  bool CopyDirectoryTree(const std::u16string& source, const std::u16string& destination) override;
  bool CopyFileList(const std::u16string& sourceDirectory,
                    const std::u16string& destinationDirectory,
                    const std::vector<std::u16string>& fileNames) override;
  bool ListDirectory(const std::u16string& directory, std::vector<std::u16string>& directories,
                     std::vector<std::u16string>& files, const std::u16string& pattern) override;
  bool DeleteFile(const std::string& path) override;
  bool DeleteFile(const std::u16string& path) override;
  bool FileExists(const std::string& path) override;
  bool FileExists(const std::u16string& path) override;
  bool RenameFile(const std::u16string& oldPath, const std::u16string& newPath) override;
  // `to` is the old file or the new one at every moment.
  bool ReplaceFile(const std::u16string& from, const std::u16string& to) override;
  bool FileSize(const std::string& path, unsigned long long& size) override;
  bool FileSize(const std::u16string& path, unsigned long long& size) override;
  bool FileSizeAndTime(const std::u16string& path, unsigned long long& size,
                       long long& lastWrite) override;
  bool OpenFile(const std::string& path, FileOpenMode_t mode, unsigned int& handle) override;
  bool OpenFile(const std::u16string& path, FileOpenMode_t mode, unsigned int& handle) override;
  bool SeekFile(unsigned int handle, long long offset, int origin) override;
  bool TellFile(unsigned int handle, unsigned long long& position) override;
  bool WriteFile(unsigned int handle, const void* buffer, unsigned int size,
                 unsigned int& written) override;
  bool ReadFile(unsigned int handle, void* buffer, unsigned int size,
                unsigned int& bytesRead) override;
  bool SetEndOfFile(unsigned int handle) override;
  bool CloseFile(unsigned int handle, bool written) override;
  bool CloseAllFiles() override;
  bool ReservedFileOperation() override;
  bool FlushFile(unsigned int handle) override;
  bool SelectAnalyzer(unsigned short analyzerIndex) override;
  bool ListDiskIds(std::set<std::u16string>& diskIds) override;
  bool ListAnalyzers(std::set<unsigned short>& analyzers) override;
  void SetDownloadSize(unsigned int size) override;
  bool UploadFile(const std::u16string& sourceDirectory, const std::u16string& fileName,
                  const std::u16string& destinationDirectory,
                  unsigned short analyzerIndex) override;
  bool DownloadFile(const std::u16string& sourceDirectory, const std::u16string& fileName,
                    const std::u16string& destinationDirectory) override;
  bool UploadDirectory(const std::u16string& source, const std::u16string& destination) override;
  bool DownloadDirectory(const std::u16string& source, const std::u16string& destination) override;
  std::u16string PathSeparatorW() const override;
  std::string PathSeparator() const override;
  std::string CurrentDiskSerial() override;
  bool SetWantedDisks(const std::set<std::u16string>& diskIds) override;

 private:
  struct File {
    std::vector<unsigned char> Bytes;
    long long LastWrite = 0;  // a file time
  };
  struct OpenedFile {
    std::shared_ptr<File> Data;
    unsigned long long Position;
    bool Readable;
    bool Writable;
  };

  // The rest run with m_Lock held. Paths are in normal form: absolute, lexically
  // normal, without a trailing separator (the root is "/").
  bool IsDirectory(const std::string& path) const;
  bool IsFile(const std::string& path) const;
  std::shared_ptr<File> FindFile(const std::string& path) const;
  bool ParentIsDirectory(const std::string& path) const;
  // A time later than every one handed out before, so that each write shows.
  long long NextWriteTime();
  // Copies the file `from` to `to`, replacing a file there; false when `to` is a
  // directory or its parent is missing.
  bool CopyFileTo(const File& from, const std::string& to);
  OpenedFile* Opened(unsigned int handle);

  mutable std::mutex m_Lock;
  std::map<std::string, std::shared_ptr<File>> m_Files;
  std::set<std::string> m_Directories;
  std::map<unsigned int, OpenedFile> m_Open;
  unsigned int m_NextHandle = 1;
  long long m_LastWriteTime = 0;
};

}  // namespace zsff
