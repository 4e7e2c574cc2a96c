// The store for the file system of the machine the library runs on.
#pragma once

#include <sys/types.h>
#include <zsff/FileAccess.h>

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "foundation/HandleTable.h"

namespace zsff {

// CAbstractFileAccess over POSIX files. Handles are numbered from 1 upward, one
// number consumed by every open attempt, successful or not, so a number is never
// handed out twice. Paths are made absolute against the current directory before
// use. The separator is "/". A wide path reaches the system converted by
// WideToPath; one without a UTF-8 form names nothing, and a listing that meets
// a name that isn't UTF-8 fails.
//
// Threads: any thread may open and close files while others read, write, seek or
// tell on their own handles. The open files are closed by the destructor.
class CLocalFileAccess : public CAbstractFileAccess {
 public:
  CLocalFileAccess();
  ~CLocalFileAccess() override;
  // Open files belong to one store; a copy would close them twice.
  CLocalFileAccess(const CLocalFileAccess&) = delete;
  CLocalFileAccess& operator=(const CLocalFileAccess&) = delete;

  // The id that ListDiskIds reports for the local disk; empty until set.
  void SetLocalDiskId(const std::string& diskId);
  std::string LocalDiskId() const;

  // Durability against a power loss, off (0) by default. With an interval, the
  // first write once the interval has passed since the last sync began syncs
  // (SyncFiles), and so does the closing of all files. After a power loss, what
  // was written more than one interval (plus the gap between two writes) before
  // it is then on disk. The syncs run on the writing thread and cost it their
  // time.
  void SetSyncInterval(std::chrono::milliseconds interval);
  std::chrono::milliseconds SyncInterval() const;
  // Makes everything written so far durable, files closed and directory entries
  // included: one sync of the file system of each file open to write (syncfs,
  // which takes along what other programs wrote there). True when nothing is
  // open to write. A store derived from this one sees each of its own syncs here.
  virtual bool SyncFiles();

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
  // rename(2): `to` is the old file or the new one at every moment.
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
  // Holds the local disk id alone, empty as it may be.
  bool ListDiskIds(std::set<std::u16string>& diskIds) override;
  // Holds the single analyzer 1.
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
  struct OpenedFile {
    int Fd;
    bool Writable;
  };

  // The descriptor behind `handle`, or -1 (with FileErrorBadHandle set).
  int Descriptor(unsigned int handle);

  // Durability (LocalFileDurability.cpp). After a write: SyncFiles once the
  // interval has passed. False when that sync failed.
  bool SyncWhenDue();
  bool Syncing() const { return m_SyncInterval.load(std::memory_order_relaxed) != 0; }

  HandleTable<OpenedFile> m_Files;
  // Reads and writes look their handle up on every call. A handle's descriptor
  // never changes while it is open, so each thread keeps the last few it used
  // and trusts them for as long as this number stands: every close changes it
  // to a value no store of the process has had, so a closed handle (or a store
  // that a new one replaced at the same address) is never served from a cache.
  // The hot path is then one atomic load, with no lock and no shared write.
  std::atomic<unsigned long long> m_Generation;

  // Nanoseconds on the steady clock; 0 interval: no syncs.
  std::atomic<long long> m_SyncInterval{0};
  std::atomic<long long> m_LastSync{0};
  // One sync at a time; its list of file systems is kept, so that a sync on the
  // recording path allocates nothing once the list has grown.
  std::mutex m_SyncLock;
  std::vector<dev_t> m_SyncDevices;

  mutable std::mutex m_DiskIdLock;
  std::string m_LocalDiskId;
};

}  // namespace zsff
