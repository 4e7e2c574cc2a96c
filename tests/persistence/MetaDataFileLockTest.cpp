#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zsff/MetaDataFileLock.h>

#include <chrono>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <thread>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "support/FaultInjectingFileAccess.h"
#include "support/FileContents.h"

namespace fs = std::filesystem;
using zsff::CLocalFileAccess;
using zsff::MetaDataFileLock;
using zsff_test::FileBytes;

namespace {

const std::u16string kLockName = u"Metadata.lock";

// The local store, counting how often the lock tries to create its file.
class CountingStore : public CLocalFileAccess {
 public:
  using CLocalFileAccess::OpenFile;
  bool OpenFile(const std::u16string& path, zsff::FileOpenMode_t mode,
                unsigned int& handle) override {
    if (mode == zsff::FileModeCreateNew) ++createNewAttempts;
    return CLocalFileAccess::OpenFile(path, mode, handle);
  }
  int createNewAttempts = 0;
};

// Forks a child that runs `body` and exits with its result; returns that result,
// or -1 when the child didn't exit normally.
template <typename Body>
int RunInChild(Body body) {
  const pid_t pid = fork();
  if (pid == 0) _exit(body());
  if (pid < 0) return -1;
  int status = 0;
  if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

// Run in a child process: 0 when the lock was refused, 1 when it was taken.
int TryLockInChild(const std::u16string& directory) {
  try {
    MetaDataFileLock lock(kLockName, directory, std::make_shared<CLocalFileAccess>(),
                          MetaDataFileLock::LockTryOnce);
    return 1;
  } catch (const std::exception&) {
    return 0;
  }
}

}  // namespace

TEST(MetaDataFileLockTest, HolderKeepsOthersOutUntilItEnds) {
  zsff_test::TempDir dir;
  auto store = std::make_shared<CountingStore>();
  const fs::path lockFile = dir.Path() / "Metadata.lock";
  {
    MetaDataFileLock lock(kLockName, dir.Wide(), store, MetaDataFileLock::LockTryOnce);
    EXPECT_EQ(FileBytes(lockFile), std::vector<char>(4, 0));

    store->createNewAttempts = 0;
    EXPECT_THROW(MetaDataFileLock(kLockName, dir.Wide(), store, MetaDataFileLock::LockTryOnce),
                 std::exception);
    EXPECT_EQ(store->createNewAttempts, 1);

    // The lock isn't re-entrant: waiting on our own lock runs out of attempts.
    store->createNewAttempts = 0;
    EXPECT_THROW(MetaDataFileLock(kLockName, dir.Wide(), store, MetaDataFileLock::LockWait),
                 std::exception);
    EXPECT_EQ(store->createNewAttempts, 256);

    // Values outside the enumeration wait as LockWait does.
    store->createNewAttempts = 0;
    EXPECT_THROW(MetaDataFileLock(kLockName, dir.Wide(), store, MetaDataFileLock::Mode(7)),
                 std::exception);
    EXPECT_EQ(store->createNewAttempts, 256);

    // None of the refused objects took the holder's file with it.
    EXPECT_TRUE(fs::exists(lockFile));
  }
  EXPECT_FALSE(fs::exists(lockFile));
  MetaDataFileLock again(kLockName, dir.Wide(), store, MetaDataFileLock::LockTryOnce);
  EXPECT_TRUE(fs::exists(lockFile));
}

TEST(MetaDataFileLockTest, AFailedDeleteOfTheLockFileIsTriedAgain) {
  zsff_test::TempDir dir;
  auto store = std::make_shared<zsff_test::FaultInjectingFileAccess>(
      std::make_shared<CLocalFileAccess>());
  {
    MetaDataFileLock lock(kLockName, dir.Wide(), store, MetaDataFileLock::LockTryOnce);
    store->FailAt(zsff_test::FaultInjectingFileAccess::Delete, 1);
  }
  EXPECT_FALSE(fs::exists(dir.Path() / "Metadata.lock"));
}

TEST(MetaDataFileLockTest, LockIsExclusiveAcrossProcesses) {
  zsff_test::TempDir dir;
  const std::u16string directory = dir.Wide();
  {
    MetaDataFileLock lock(kLockName, directory, std::make_shared<CLocalFileAccess>(),
                          MetaDataFileLock::LockTryOnce);
    EXPECT_EQ(RunInChild([&] { return TryLockInChild(directory); }), 0);
  }
  EXPECT_EQ(RunInChild([&] { return TryLockInChild(directory); }), 1);
  // The child's lock ended with the child.
  EXPECT_FALSE(fs::exists(dir.Path() / "Metadata.lock"));
}

TEST(MetaDataFileLockTest, WaiterGetsLockOnceOtherProcessReleasesIt) {
  zsff_test::TempDir dir;
  const std::u16string directory = dir.Wide();
  int toChild[2];
  int toParent[2];
  ASSERT_EQ(pipe(toChild), 0);
  ASSERT_EQ(pipe(toParent), 0);

  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    close(toChild[1]);
    close(toParent[0]);
    int result = 1;
    try {
      MetaDataFileLock lock(kLockName, directory, std::make_shared<CLocalFileAccess>(),
                            MetaDataFileLock::LockTryOnce);
      char message = 'L';
      if (write(toParent[1], &message, 1) == 1 && read(toChild[0], &message, 1) == 1) {
        // Give the parent's waiting lock a few refused attempts.
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        result = 0;
      }
    } catch (const std::exception&) {
    }
    _exit(result);
  }
  close(toChild[0]);
  close(toParent[1]);

  char message = 0;
  ASSERT_EQ(read(toParent[0], &message, 1), 1);
  EXPECT_THROW(MetaDataFileLock(kLockName, directory, std::make_shared<CLocalFileAccess>(),
                                MetaDataFileLock::LockTryOnce),
               std::exception);
  ASSERT_EQ(write(toChild[1], &message, 1), 1);
  EXPECT_NO_THROW({
    MetaDataFileLock lock(kLockName, directory, std::make_shared<CLocalFileAccess>(),
                          MetaDataFileLock::LockWait);
    EXPECT_TRUE(fs::exists(dir.Path() / "Metadata.lock"));
  });

  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  close(toChild[1]);
  close(toParent[0]);
}

TEST(MetaDataFileLockTest, LockNoneTakesNothingButStillDeletesOnEnd) {
  zsff_test::TempDir dir;
  auto store = std::make_shared<CountingStore>();
  const fs::path lockFile = dir.Path() / "Metadata.lock";
  {
    MetaDataFileLock none(kLockName, dir.Wide(), store, MetaDataFileLock::LockNone);
    EXPECT_FALSE(fs::exists(lockFile));
    EXPECT_EQ(store->createNewAttempts, 0);
  }

  auto holder = std::make_unique<MetaDataFileLock>(kLockName, dir.Wide(), store,
                                                   MetaDataFileLock::LockTryOnce);
  { MetaDataFileLock none(kLockName, dir.Wide(), store, MetaDataFileLock::LockNone); }
  EXPECT_FALSE(fs::exists(lockFile));
  holder.reset();  // its own delete now finds nothing, silently
  EXPECT_FALSE(fs::exists(lockFile));
}

TEST(MetaDataFileLockTest, ChangePathFollowsRenamedDirectory) {
  zsff_test::TempDir dir;
  auto store = std::make_shared<CLocalFileAccess>();
  fs::create_directory(dir.Path() / "before");
  fs::create_directory(dir.Path() / "elsewhere");
  {
    MetaDataFileLock lock(kLockName, dir.Wide("before"), store, MetaDataFileLock::LockTryOnce);
    fs::rename(dir.Path() / "before", dir.Path() / "after");
    lock.ChangePath(dir.Wide("after"));
    EXPECT_TRUE(fs::exists(dir.Path() / "after" / "Metadata.lock"));
  }
  EXPECT_FALSE(fs::exists(dir.Path() / "after" / "Metadata.lock"));

  {
    MetaDataFileLock lock(kLockName, dir.Wide("after"), store, MetaDataFileLock::LockTryOnce);
    // Aimed at a directory with no lock file: the delete there fails silently and
    // the file left in "after" is the caller's business.
    lock.ChangePath(dir.Wide("elsewhere"));
  }
  EXPECT_TRUE(fs::exists(dir.Path() / "after" / "Metadata.lock"));
  EXPECT_TRUE(fs::is_empty(dir.Path() / "elsewhere"));
}

TEST(MetaDataFileLockTest, EmptyDirectoryUsesNameAsPath) {
  zsff_test::TempDir dir;
  const std::u16string fullName = dir.Wide("own.lock");
  {
    MetaDataFileLock lock(fullName, u"", std::make_shared<CLocalFileAccess>(),
                          MetaDataFileLock::LockTryOnce);
    EXPECT_TRUE(fs::exists(dir.Path() / "own.lock"));
  }
  EXPECT_FALSE(fs::exists(dir.Path() / "own.lock"));
}

TEST(MetaDataFileLockTest, NullStoreNeverTakesTheLock) {
  EXPECT_THROW(MetaDataFileLock(kLockName, u"dir", nullptr, MetaDataFileLock::LockTryOnce),
               std::exception);
  EXPECT_NO_THROW(MetaDataFileLock(kLockName, u"dir", nullptr, MetaDataFileLock::LockNone));
}
