// A store on CephFS: a directory of a Ceph file system reached through
// libcephfs, shared by the machines of a fleet, for trees to record onto, read
// from, follow and end up with the same calls as on a local disk. Present when
// the library was built with libcephfs (ZSFF_HAS_CEPH is then defined for the
// code that links it).
#pragma once

#include <zsff/Export.h>
#include <zsff/FileAccess.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

struct ceph_mount_info;
struct ceph_statx;

namespace zsff {

namespace ceph {
class CallGate;
}
template <typename File>
class HandleTable;

// Where the store lies: ceph://CLIENT@CONFIG_PATH/PATH. CONFIG_PATH is the
// cluster's config file on this machine and ends with the first component that
// ends in ".conf"; PATH, inside the file system, is the store's root: relative
// paths handed to the store lie below it, absolute ones are taken as they are.
// An empty PATH is the file system's root.
struct ZSFF_API CephLocation {
  std::string Client = "admin";  // the client's name without "client."
  std::string ConfigPath;
  std::string Path = "/";

  // False, with `error` saying what is wrong, for text not of that form.
  static bool Parse(const std::string& url, CephLocation& location, std::string& error);
  std::string ToUrl() const;
};

struct ZSFF_API CephOptions {
  // Seconds a mount may take before it fails: a cluster that is down would
  // otherwise hold the caller for five minutes.
  int MountTimeout = 10;
  // Seconds any call may wait for the cluster. A call that waits longer fails,
  // and the store takes the cluster for gone: every later call fails at once,
  // LastErrorText says so, and the mount is left as it is (libcephfs can't
  // end it while the overrun call waits inside it). A host that wants the
  // cluster again makes a new store.
  int CallTimeout = 30;
  // Whether libcephfs may keep written data in the process for a while before
  // it sends it to the cluster. On, a process that dies is to the file system
  // what a power loss is to a local disk: what it wrote in its last seconds
  // (client_oc_max_dirty_age, 5 s by default) may be lost, and the end-up keeps
  // what the cluster had; a flushed file (the temporary record file, once a
  // part) is synced. Off,
  // every write returns once the cluster has it and a killed recorder loses
  // nothing, at the cost of a round trip to the cluster per write (many times
  // slower for a recording's small writes).
  bool CacheWrites = true;
};

// CAbstractFileAccess over one mount of a Ceph file system, made by Mount and
// undone by the destructor. Calls before a mount fail.
//
// As the tree reaches a remote store, ListDirectory lists the root for an empty
// path; every other operation takes an empty path for one that names nothing.
//
// Handles are numbered from 1 upward, one number consumed by every open
// attempt, never handed out twice. The separator is "/". A file opened
// create-new is CephFS's exclusive create, decided by the metadata server, so
// the metadata lock holds between machines. A rename never replaces: a file is
// renamed by a hard link to the new name and an unlink of the old one.
//
// Threads: as the local store; libcephfs serves the threads of one mount, each
// call on a thread of the store's own while the caller waits (see CallTimeout).
class ZSFF_API CCephFileAccess : public CAbstractFileAccess {
 public:
  CCephFileAccess(CephLocation location, CephOptions options = CephOptions());
  ~CCephFileAccess() override;
  CCephFileAccess(const CCephFileAccess&) = delete;
  CCephFileAccess& operator=(const CCephFileAccess&) = delete;

  // Reads the config, connects to the cluster and mounts its file system;
  // true at once when mounted. False with the reason in LastErrorText.
  bool Mount();
  // The words of the last failure of the mount or of an operation.
  std::string LastErrorText() const;
  const CephLocation& Location() const { return m_Location; }

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
  // One rename on the metadata server: `to` is the old file or the new one at
  // every moment.
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
  // One file system is one disk: every analyzer index aims at it.
  bool SelectAnalyzer(unsigned short analyzerIndex) override;
  // A file system doesn't know the analyzers' disks: empty, and false.
  bool ListDiskIds(std::set<std::u16string>& diskIds) override;
  bool ListAnalyzers(std::set<unsigned short>& analyzers) override;
  void SetDownloadSize(unsigned int size) override;
  // Transfers between the local disk and the file system.
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
  // The path libcephfs is given for a caller's path: absolute below the root,
  // normalised; empty for a path that names nothing.
  std::string CephPath(const std::string& path) const;
  std::string CephPath(const std::u16string& path) const;
  // The operations on libcephfs paths that both forms of a path come to.
  bool Unlink(const std::string& full);
  // The status of what `full` names; false when nothing does or the store isn't
  // mounted.
  bool Status(const std::string& full, struct ceph_statx& status, unsigned int want);
  bool SizeAndTime(const std::string& full, unsigned long long& size, long long& lastWrite);
  bool Open(const std::string& full, FileOpenMode_t mode, unsigned int& handle);
  // libcephfs's calls on descriptors, through the gate; each returns what the
  // call does (a count, a descriptor or a negated errno).
  long CephOpen(const std::string& full, int flags, int mode);
  long CephRead(int fd, char* bytes, long size);
  long CephWrite(int fd, const char* bytes, long size);
  long CephClose(int fd);
  // The descriptor behind `handle`, or -1 (with FileErrorBadHandle set).
  int Descriptor(unsigned int handle);
  // Keeps `what` and the system's words for -`code` for LastErrorText; false.
  bool Failed(const std::string& what, int code);
  // Directories (CephDirectories.cpp), on libcephfs paths.
  struct Entry {
    std::string Name;
    bool IsDirectory;
  };
  // The entries of `path` but "." and "..". False when it can't be listed.
  bool ListEntries(const std::string& path, std::vector<Entry>& entries);
  bool IsDirectory(const std::string& path);
  bool DeleteTree(const std::string& path);
  bool CopyTree(const std::string& from, const std::string& to);
  bool CopyOneFile(const std::string& from, const std::string& to);
  bool MakeDirectories(const std::string& path);
  // Transfers (CephTransfers.cpp), from and to local and libcephfs paths.
  bool Upload(const std::string& local, const std::string& remote);
  bool Download(const std::string& remote, const std::string& local);
  bool UploadTree(const std::string& from, const std::string& to);
  bool DownloadTree(const std::string& from, const std::string& to);

  CephLocation m_Location;
  CephOptions m_Options;
  // Every libcephfs call of the mounted store goes through it.
  std::unique_ptr<ceph::CallGate> m_Gate;
  // Set once, by the mount that succeeded.
  std::atomic<ceph_mount_info*> m_Mount{nullptr};
  std::mutex m_MountLock;

  std::unique_ptr<HandleTable<int>> m_Files;  // handle -> libcephfs descriptor

  mutable std::mutex m_ErrorLock;
  std::string m_ErrorText;
};

}  // namespace zsff
