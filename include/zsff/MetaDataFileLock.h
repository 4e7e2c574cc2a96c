// Keeps two writers off one measurement's metadata, across processes and across a
// network drive, with a lock file ("Metadata.lock") in the measurement's directory.
// Operations that change metadata take a `const MetaDataFileLock*` as proof that
// the caller holds it.
#pragma once

#include <memory>
#include <string>
#include <zsff/Export.h>

namespace zsff {

class CAbstractFileAccess;

// The lock is the existence of the file: it is taken by the store's atomic
// create-new open (FileModeCreateNew) and released by deleting the file. It has no
// owner mark and no expiry, and it isn't re-entrant: a second object for the same
// file fails (or times out) even in the thread that holds the first. A lock file
// left behind by a crash blocks every later attempt until something else deletes it.
//
// An object must not be shared between threads while ChangePath runs.
class ZSFF_API MetaDataFileLock {
 public:
  // How the constructor takes the lock. Any other value behaves as LockWait.
  enum Mode {
    LockWait = 0,     // up to 256 attempts, 8 ms of sleep apart (about 2 s)
    LockTryOnce = 1,  // a single attempt
    LockNone = 2      // no attempt: nothing is created, a lock in name only, for
                      // callers that already know they are alone
  };

  // Takes the lock on `directory`/`name` (`name` alone when `directory` is empty),
  // joined with the store's PathSeparatorW, and writes 4 zero bytes into the new
  // file. Throws std::exception when the lock isn't taken; nothing is created then.
  // A null `access` counts as a failed attempt every time.
  MetaDataFileLock(const std::u16string& name, const std::u16string& directory,
                   std::shared_ptr<CAbstractFileAccess> access, Mode mode);

  // Deletes the lock file at the current path, ignoring the result. This happens
  // whatever the mode: a LockNone object removes a file another holder made there.
  ~MetaDataFileLock();

  MetaDataFileLock(const MetaDataFileLock&) = delete;
  MetaDataFileLock& operator=(const MetaDataFileLock&) = delete;

  // Aims the lock at `directory` after the caller has renamed the directory that
  // holds the lock file, so that the destructor deletes the file where it now lies.
  // Nothing happens on disk.
  void ChangePath(const std::u16string& directory);

 private:
  struct State;
  std::unique_ptr<State> m_State;
};

}  // namespace zsff
