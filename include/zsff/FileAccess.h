// The one door through which the library touches storage. Every file and
// directory operation of the library goes through CAbstractFileAccess, so a host
// can put the disk of a remote analyzer where the local disk would be; the
// library's own implementation for the local file system is CLocalFileAccess.
#pragma once

#include <atomic>
#include <set>
#include <string>
#include <vector>
#include <zsff/Export.h>

namespace zsff {

// Why the last open, seek, tell, read, write or close failed. The tree and
// directory operations report by their boolean result alone and leave it alone.
// Values 2 to 4 are reserved for other stores and never set by CLocalFileAccess.
enum ErrorCode_t {
  FileErrorNone = 0,       // nothing has failed
  FileErrorOpen = 1,       // the system refused to open the file
  FileErrorBadPath = 5,    // the path could not be made absolute
  FileErrorBadHandle = 6,  // the handle is not one of this store's open files
  FileErrorSeek = 7,       // a seek or tell failed
  FileErrorEndOfFile = 8,  // a read stopped because the file ended
  FileErrorRead = 9,       // any other read failure
  FileErrorWrite = 10      // a write failed or wrote fewer bytes than asked
};

// How OpenFile opens a file. Every mode shares the file for reading and writing
// with other openers, so one file may be open several times at once.
enum FileOpenMode_t : unsigned int {
  FileModeCreate = 0,     // write; truncated when it exists, created when not
  FileModeReadWrite = 1,  // read and write; opened when it exists, created when not
  FileModeAppend = 2,     // write, positioned at the end; fails when missing
  FileModeRead = 3,       // read; fails when missing
  FileModeCreateNew = 4   // read and write; fails when it exists. Atomic: this is
                          // what lets two processes race for a lock file safely.
};

// File handles are numbers that the store hands out, never system handles.
// 0 never names a file, so holders test a handle against 0.
//
// Paths: wide paths are UTF-16 code units, 8-bit paths are UTF-8, and one path
// names the same file in both forms (see PathToWide). Callers build paths with
// the store's own PathSeparatorW/PathSeparator and never assume one.
//
// Threads: a store may be shared by threads that each work on their own handles.
// Open and close may run on one thread while seek, tell, read and write run on
// another handle on a second thread; the caller must not close a handle that
// another thread is still using. The last error is per store, not per thread.
//
// No operation throws, except for the standard library's out-of-memory failure.
class ZSFF_API CAbstractFileAccess {
 public:
  CAbstractFileAccess() = default;
  // Copying copies the pending error code.
  CAbstractFileAccess(const CAbstractFileAccess& other);
  CAbstractFileAccess& operator=(const CAbstractFileAccess& other);
  virtual ~CAbstractFileAccess();

  // Returns the code of the last failure and resets it to FileErrorNone:
  // reading an error consumes it, so a second call returns FileErrorNone.
  ErrorCode_t GetLastError();

  // --- Directories -----------------------------------------------------------

  // Deletes `path` with everything below it. True when it is gone, including
  // when it never existed. Refuses (false) a path shorter than five characters
  // once made absolute and stripped of trailing separators: a guard against
  // wiping a disk root.
  virtual bool DeleteDirectoryTree(const std::u16string& path) = 0;

  // Creates one directory level. False when it already exists or its parent is
  // missing.
  virtual bool CreateDirectory(const std::u16string& path) = 0;

  // Copies everything inside `source` into `destination` (created when needed),
  // recursively, overwriting files of the same name. False when either path is
  // empty or the copy failed or stopped part way.
  virtual bool CopyDirectoryTree(const std::u16string& source,
                                 const std::u16string& destination) = 0;

  // Copies each of `fileNames` (plain names, no directories) from `sourceDirectory`
  // to `destinationDirectory`, overwriting. An empty list is a failure. A file that
  // fails makes the result false, but the remaining files are still copied.
  virtual bool CopyFileList(const std::u16string& sourceDirectory,
                            const std::u16string& destinationDirectory,
                            const std::vector<std::u16string>& fileNames) = 0;

  // Clears both vectors, then fills them with the full paths (directory,
  // separator, name) of the subdirectories and files of `directory` whose names
  // match `pattern` ("*" for all, "*.ext" for one extension). "." and ".." never
  // appear. True for an existing directory, even with no match; false when the
  // directory is missing or the listing failed.
  virtual bool ListDirectory(const std::u16string& directory,
                             std::vector<std::u16string>& directories,
                             std::vector<std::u16string>& files, const std::u16string& pattern) = 0;

  // --- Files by path ---------------------------------------------------------

  // Deletes one file. False when it is missing or can't be deleted.
  virtual bool DeleteFile(const std::string& path) = 0;
  virtual bool DeleteFile(const std::u16string& path) = 0;

  // True when `path` exists, as a file or as a directory.
  virtual bool FileExists(const std::string& path) = 0;
  virtual bool FileExists(const std::u16string& path) = 0;

  // Renames or moves a file or directory. Fails when `newPath` already exists.
  virtual bool RenameFile(const std::u16string& oldPath, const std::u16string& newPath) = 0;
  // Moves the file `from` over `to`, replacing it. A store that can do it in one
  // step (the local disk) leaves no moment in which `to` is missing or partly
  // written; this default, for stores that can't, deletes `to` first, and the
  // metadata readers then take the file still under `from`.
  virtual bool ReplaceFile(const std::u16string& from, const std::u16string& to);

  // The size in bytes of an existing file. On failure `size` is set to 0 and the
  // result is false.
  virtual bool FileSize(const std::string& path, unsigned long long& size) = 0;
  virtual bool FileSize(const std::u16string& path, unsigned long long& size) = 0;

  // The size and the time of the last write (a file time: 100 ns ticks since
  // 1601, UTC) of an existing file, taken in one look so that both describe the
  // same state of it: what tells a reader whether a file changed since it read it.
  // On failure both are set to 0 and the result is false.
  virtual bool FileSizeAndTime(const std::u16string& path, unsigned long long& size,
                               long long& lastWrite) = 0;

  // --- Open files ------------------------------------------------------------

  // Opens `path` in `mode` and stores a fresh handle in `handle`; handle numbers
  // are never reused while the store lives. On failure returns false, sets
  // FileErrorBadPath or FileErrorOpen and leaves `handle` untouched; an unknown
  // mode fails with no error code.
  virtual bool OpenFile(const std::string& path, FileOpenMode_t mode, unsigned int& handle) = 0;
  virtual bool OpenFile(const std::u16string& path, FileOpenMode_t mode, unsigned int& handle) = 0;

  // Moves the position of `handle` to `offset` from the start (origin 0), the
  // current position (1) or the end (2). False with FileErrorBadHandle or
  // FileErrorSeek.
  virtual bool SeekFile(unsigned int handle, long long offset, int origin) = 0;

  // Sets `position` to 0, then to the current position of `handle`. False with
  // FileErrorBadHandle or FileErrorSeek, leaving `position` 0.
  virtual bool TellFile(unsigned int handle, unsigned long long& position) = 0;

  // Writes `size` bytes from `buffer` in one transfer, unbuffered. True only when
  // all were written; then `written` is `size`. Otherwise false with
  // FileErrorBadHandle or FileErrorWrite and `written` untouched.
  virtual bool WriteFile(unsigned int handle, const void* buffer, unsigned int size,
                         unsigned int& written) = 0;

  // Reads `size` bytes into `buffer` in one transfer, unbuffered. True only when
  // all were read; then `bytesRead` is `size`. A read that reaches the end of the
  // file first is a failure with FileErrorEndOfFile (the position has still moved
  // by what was read); any other failure sets FileErrorRead or FileErrorBadHandle.
  // On failure `bytesRead` is untouched: callers ask only for what is there.
  virtual bool ReadFile(unsigned int handle, void* buffer, unsigned int size,
                        unsigned int& bytesRead) = 0;

  // Makes the current position of `handle` the end of its file, cutting off what
  // lies beyond (or filling up to it with zeros): how a writer takes back a write
  // that went through only in part. The handle must be open for writing. False
  // with FileErrorBadHandle or FileErrorWrite, the file then as it was.
  virtual bool SetEndOfFile(unsigned int handle) = 0;

  // Closes `handle`. `written` tells a remote store that the file was written
  // and may need transferring; a local store ignores it. False with
  // FileErrorBadHandle when the handle is unknown.
  virtual bool CloseFile(unsigned int handle, bool written) = 0;

  // Closes every open handle of this store. True.
  virtual bool CloseAllFiles() = 0;

  // Kept for the layout of the interface; the library never calls it.
  virtual bool ReservedFileOperation() = 0;

  // Tells the store that the writer of `handle` considers the file complete. A
  // local store needs nothing here and returns true.
  virtual bool FlushFile(unsigned int handle) = 0;

  // --- Remote analyzers ------------------------------------------------------

  // Aims the following calls at the disk of one analyzer of a record; 32767
  // selects the measurement-level store that belongs to no analyzer. The
  // selection holds until the next call. A local store returns true.
  virtual bool SelectAnalyzer(unsigned short analyzerIndex) = 0;

  // Clears `diskIds` and fills it with the ids of the disks this store reaches.
  virtual bool ListDiskIds(std::set<std::u16string>& diskIds) = 0;

  // Clears `analyzers` and fills it with the analyzer indexes this store holds
  // files for; the tree loads metadata and markers only from these.
  virtual bool ListAnalyzers(std::set<unsigned short>& analyzers) = 0;

  // Announces roughly how many bytes a download is about to move.
  virtual void SetDownloadSize(unsigned int size) = 0;

  // Transfers between this store and the local disk. A local store has nothing
  // to transfer to and returns false from all four.
  virtual bool UploadFile(const std::u16string& sourceDirectory, const std::u16string& fileName,
                          const std::u16string& destinationDirectory,
                          unsigned short analyzerIndex) = 0;
  virtual bool DownloadFile(const std::u16string& sourceDirectory, const std::u16string& fileName,
                            const std::u16string& destinationDirectory) = 0;
  virtual bool UploadDirectory(const std::u16string& source, const std::u16string& destination) = 0;
  virtual bool DownloadDirectory(const std::u16string& source,
                                 const std::u16string& destination) = 0;

  // --- Store properties ------------------------------------------------------

  // The separator between path components in this store's paths, as one wide or
  // one 8-bit character string.
  virtual std::u16string PathSeparatorW() const = 0;
  virtual std::string PathSeparator() const = 0;

  // The serial number of the disk behind the selected analyzer; empty when the
  // store doesn't know it (callers then fall back on the metadata).
  virtual std::string CurrentDiskSerial() = 0;

  // Tells the store which disks hold the measurement, so that it knows where to
  // look. A local store returns true.
  virtual bool SetWantedDisks(const std::set<std::u16string>& diskIds) = 0;

 protected:
  // Records a failure for GetLastError. Safe from any thread.
  void SetLastError(ErrorCode_t code) { m_LastError.store(code, std::memory_order_relaxed); }

 private:
  // Atomic only so that two threads failing on their own handles don't race;
  // which of two simultaneous codes survives is not defined.
  std::atomic<int> m_LastError{FileErrorNone};
};

}  // namespace zsff
