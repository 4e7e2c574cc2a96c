// The local store's open files: handles, open modes, transfers, error codes.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "support/FileContents.h"

using namespace zsff;
using zsff_test::FileText;
using zsff_test::TempDir;

namespace {

void Put(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

bool Write(CLocalFileAccess& store, unsigned int handle, const std::string& text) {
  unsigned int written = 0;
  return store.WriteFile(handle, text.data(), static_cast<unsigned int>(text.size()), written) &&
         written == text.size();
}

std::string Read(CLocalFileAccess& store, unsigned int handle, unsigned int size) {
  std::string text(size, '\0');
  unsigned int got = 0;
  if (!store.ReadFile(handle, text.data(), size, got)) return "<failed>";
  return text.substr(0, got);
}

int OpenDescriptors() {
  int count = 0;
  if (DIR* dir = opendir("/proc/self/fd")) {
    while (readdir(dir) != nullptr) ++count;
    closedir(dir);
  }
  return count;
}

}  // namespace

TEST(LocalFileAccessFiles, TwoOpensOfOneFileShareItAndHandlesAreNeverReused) {
  TempDir dir;
  CLocalFileAccess store;
  const std::u16string path = dir.Wide("shared.bin");

  unsigned int writer = 0, reader = 0;
  ASSERT_TRUE(store.OpenFile(path, FileModeCreate, writer));
  ASSERT_TRUE(store.OpenFile(path, FileModeRead, reader));
  EXPECT_NE(writer, 0u);
  EXPECT_NE(reader, 0u);
  EXPECT_NE(writer, reader);

  // Unbuffered: what one handle wrote, the other reads at once.
  ASSERT_TRUE(Write(store, writer, "hello"));
  EXPECT_EQ(Read(store, reader, 5), "hello");

  // A closed handle's number doesn't come back, and a failed open uses one up.
  ASSERT_TRUE(store.CloseFile(reader, false));
  unsigned int failed = 4242;
  EXPECT_FALSE(store.OpenFile(dir.Wide("missing.bin"), FileModeRead, failed));
  EXPECT_EQ(failed, 4242u);
  unsigned int again = 0;
  ASSERT_TRUE(store.OpenFile(path, FileModeRead, again));
  EXPECT_GT(again, reader + 1);
  EXPECT_EQ(Read(store, again, 5), "hello");
  EXPECT_TRUE(store.CloseFile(writer, true));
  EXPECT_TRUE(store.CloseFile(again, false));
}

TEST(LocalFileAccessFiles, CreateNewSucceedsOnceEvenWhenThreadsRace) {
  TempDir dir;
  CLocalFileAccess store;
  const std::u16string path = dir.Wide("Metadata.lock");

  unsigned int first = 0;
  ASSERT_TRUE(store.OpenFile(path, FileModeCreateNew, first));
  unsigned int second = 77;
  EXPECT_FALSE(store.OpenFile(path, FileModeCreateNew, second));
  EXPECT_EQ(second, 77u);
  EXPECT_EQ(store.GetLastError(), FileErrorOpen);
  EXPECT_EQ(store.GetLastError(), FileErrorNone);  // reading the code consumed it

  // The lock file depends on the open itself being the test for existence.
  const std::u16string racePath = dir.Wide("race.lock");
  std::atomic<int> winners{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      CLocalFileAccess own;  // separate stores, as separate processes would have
      unsigned int handle = 0;
      if (own.OpenFile(racePath, FileModeCreateNew, handle)) ++winners;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(winners.load(), 1);
}

TEST(LocalFileAccessFiles, OpenModesCreateTruncateAppendAndRefuse) {
  TempDir dir;
  CLocalFileAccess store;
  const auto file = dir.Path() / "data.bin";
  Put(file, "0123456789");

  unsigned int handle = 0;
  ASSERT_TRUE(store.OpenFile(dir.Wide("data.bin"), FileModeReadWrite, handle));  // keeps content
  EXPECT_EQ(Read(store, handle, 4), "0123");
  ASSERT_TRUE(Write(store, handle, "ab"));
  store.CloseFile(handle, true);
  EXPECT_EQ(FileText(file), "0123ab6789");

  ASSERT_TRUE(store.OpenFile(dir.Wide("data.bin"), FileModeAppend, handle));
  unsigned long long position = 99;
  ASSERT_TRUE(store.TellFile(handle, position));
  EXPECT_EQ(position, 10u);
  ASSERT_TRUE(Write(store, handle, "Z"));
  store.CloseFile(handle, true);
  EXPECT_EQ(FileText(file), "0123ab6789Z");

  ASSERT_TRUE(store.OpenFile(dir.Wide("data.bin"), FileModeCreate, handle));  // truncates
  ASSERT_TRUE(Write(store, handle, "new"));
  store.CloseFile(handle, true);
  EXPECT_EQ(FileText(file), "new");

  ASSERT_TRUE(store.OpenFile(dir.Wide("fresh.bin"), FileModeReadWrite, handle));  // creates
  store.CloseFile(handle, true);
  EXPECT_TRUE(std::filesystem::exists(dir.Path() / "fresh.bin"));

  // Modes that need an existing file fail on a missing one and create nothing.
  for (FileOpenMode_t mode : {FileModeRead, FileModeAppend}) {
    unsigned int untouched = 5;
    EXPECT_FALSE(store.OpenFile(dir.Wide("absent.bin"), mode, untouched)) << mode;
    EXPECT_EQ(untouched, 5u);
    EXPECT_EQ(store.GetLastError(), FileErrorOpen) << mode;
  }
  EXPECT_FALSE(std::filesystem::exists(dir.Path() / "absent.bin"));

  // An unknown mode fails without a code; a directory is not a file in any mode.
  EXPECT_FALSE(store.OpenFile(dir.Wide("data.bin"), static_cast<FileOpenMode_t>(9), handle));
  EXPECT_EQ(store.GetLastError(), FileErrorNone);
  for (FileOpenMode_t mode : {FileModeRead, FileModeReadWrite, FileModeCreate, FileModeAppend}) {
    EXPECT_FALSE(store.OpenFile(dir.Wide(), mode, handle)) << mode;
    EXPECT_EQ(store.GetLastError(), FileErrorOpen) << mode;
  }

  // The access a mode grants is the access a handle has.
  unsigned int readOnly = 0, writeOnly = 0;
  ASSERT_TRUE(store.OpenFile(dir.Wide("data.bin"), FileModeRead, readOnly));
  EXPECT_FALSE(Write(store, readOnly, "x"));
  EXPECT_EQ(store.GetLastError(), FileErrorWrite);
  ASSERT_TRUE(store.OpenFile(dir.Wide("other.bin"), FileModeCreate, writeOnly));
  EXPECT_EQ(Read(store, writeOnly, 1), "<failed>");
  EXPECT_EQ(store.GetLastError(), FileErrorRead);
}

TEST(LocalFileAccessFiles, ReadPastTheEndFailsWithEndOfFileAndMovesAsFarAsTheData) {
  TempDir dir;
  CLocalFileAccess store;
  Put(dir.Path() / "ten.bin", "0123456789");
  unsigned int handle = 0;
  ASSERT_TRUE(store.OpenFile(dir.Wide("ten.bin"), FileModeRead, handle));

  char buffer[16] = {};
  unsigned int got = 1234;
  EXPECT_FALSE(store.ReadFile(handle, buffer, sizeof buffer, got));
  EXPECT_EQ(got, 1234u);
  EXPECT_EQ(store.GetLastError(), FileErrorEndOfFile);
  EXPECT_EQ(std::string(buffer, 10), "0123456789");
  unsigned long long position = 0;
  ASSERT_TRUE(store.TellFile(handle, position));
  EXPECT_EQ(position, 10u);

  // Exactly what is there succeeds; nothing at the end fails again.
  ASSERT_TRUE(store.SeekFile(handle, -4, 2));
  EXPECT_EQ(Read(store, handle, 4), "6789");
  EXPECT_EQ(Read(store, handle, 1), "<failed>");
  EXPECT_EQ(store.GetLastError(), FileErrorEndOfFile);
  EXPECT_TRUE(store.ReadFile(handle, buffer, 0, got));
  EXPECT_EQ(got, 0u);
}

TEST(LocalFileAccessFiles, SeekAndTellFollowEveryOrigin) {
  TempDir dir;
  CLocalFileAccess store;
  unsigned int handle = 0;
  ASSERT_TRUE(store.OpenFile(dir.Wide("seek.bin"), FileModeReadWrite, handle));
  ASSERT_TRUE(Write(store, handle, "abcdefghij"));

  unsigned long long position = 0;
  ASSERT_TRUE(store.SeekFile(handle, 2, 0));
  ASSERT_TRUE(store.SeekFile(handle, 3, 1));
  ASSERT_TRUE(store.TellFile(handle, position));
  EXPECT_EQ(position, 5u);
  EXPECT_EQ(Read(store, handle, 2), "fg");
  ASSERT_TRUE(store.SeekFile(handle, -1, 2));
  EXPECT_EQ(Read(store, handle, 1), "j");

  // Before the start is refused and leaves the position; past the end is allowed
  // and a write there extends the file.
  EXPECT_FALSE(store.SeekFile(handle, -1, 0));
  EXPECT_EQ(store.GetLastError(), FileErrorSeek);
  ASSERT_TRUE(store.TellFile(handle, position));
  EXPECT_EQ(position, 10u);
  ASSERT_TRUE(store.SeekFile(handle, 20, 0));
  ASSERT_TRUE(Write(store, handle, "!"));
  unsigned long long size = 0;
  EXPECT_TRUE(store.FileSize(dir.Wide("seek.bin"), size));
  EXPECT_EQ(size, 21u);
}

TEST(LocalFileAccessFiles, FileSizeAndTimeGiveTheLastWriteAsAFileTime) {
  TempDir dir;
  CLocalFileAccess store;
  Put(dir.Path() / "stamped.bin", "12345");
  const std::string path = (dir.Path() / "stamped.bin").string();
  // One second and 700 ns after 1970-01-01, which is this many ticks after 1601.
  const timespec times[2] = {{1, 700}, {1, 700}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  unsigned long long size = 0;
  long long lastWrite = 0;
  EXPECT_TRUE(store.FileSizeAndTime(dir.Wide("stamped.bin"), size, lastWrite));
  EXPECT_EQ(size, 5u);
  EXPECT_EQ(lastWrite, 116444736000000000LL + 10000000LL + 7);
}

TEST(LocalFileAccessFiles, UnknownHandlesFailWithBadHandleAndLeaveOutputs) {
  TempDir dir;
  CLocalFileAccess store;
  unsigned int open = 0;
  ASSERT_TRUE(store.OpenFile(dir.Wide("f.bin"), FileModeCreate, open));
  unsigned int closed = 0;
  ASSERT_TRUE(store.OpenFile(dir.Wide("g.bin"), FileModeCreate, closed));
  ASSERT_TRUE(store.CloseFile(closed, true));

  char buffer[4] = {'a', 'b', 'c', 'd'};
  for (unsigned int handle : {0u, closed, open + 1000u}) {
    unsigned int count = 31;
    unsigned long long position = 31;
    EXPECT_FALSE(store.SeekFile(handle, 0, 0));
    EXPECT_EQ(store.GetLastError(), FileErrorBadHandle);
    EXPECT_FALSE(store.TellFile(handle, position));
    EXPECT_EQ(store.GetLastError(), FileErrorBadHandle);
    EXPECT_EQ(position, 0u);
    EXPECT_FALSE(store.WriteFile(handle, buffer, 4, count));
    EXPECT_EQ(store.GetLastError(), FileErrorBadHandle);
    EXPECT_FALSE(store.ReadFile(handle, buffer, 4, count));
    EXPECT_EQ(store.GetLastError(), FileErrorBadHandle);
    EXPECT_EQ(count, 31u);
    EXPECT_FALSE(store.CloseFile(handle, false));
    EXPECT_EQ(store.GetLastError(), FileErrorBadHandle);
  }

  // A null buffer is a failed transfer, not a crash.
  unsigned int count = 0;
  EXPECT_FALSE(store.WriteFile(open, nullptr, 4, count));
  EXPECT_EQ(store.GetLastError(), FileErrorWrite);
  EXPECT_FALSE(store.ReadFile(open, nullptr, 4, count));
  EXPECT_EQ(store.GetLastError(), FileErrorRead);

  // A handle this thread has just used is as dead as any other once closed.
  unsigned int used = 0;
  ASSERT_TRUE(store.OpenFile(dir.Wide("h.bin"), FileModeReadWrite, used));
  ASSERT_TRUE(store.SeekFile(used, 0, 0));
  ASSERT_TRUE(store.CloseFile(used, true));
  EXPECT_FALSE(store.SeekFile(used, 0, 0));
  EXPECT_EQ(store.GetLastError(), FileErrorBadHandle);

  // Closing all leaves no handle behind.
  ASSERT_TRUE(store.SeekFile(open, 0, 0));
  EXPECT_TRUE(store.CloseAllFiles());
  EXPECT_FALSE(store.SeekFile(open, 0, 0));
  EXPECT_EQ(store.GetLastError(), FileErrorBadHandle);
  EXPECT_FALSE(store.CloseFile(open, true));
  EXPECT_EQ(store.GetLastError(), FileErrorBadHandle);
}

TEST(LocalFileAccessFiles, ANewStoreKnowsNoneOfAnEarlierStoresHandles) {
  TempDir dir;
  std::optional<CLocalFileAccess> store;  // the same address for both stores
  store.emplace();
  unsigned int handle = 0;
  ASSERT_TRUE(store->OpenFile(dir.Wide("old.bin"), FileModeReadWrite, handle));
  ASSERT_TRUE(store->SeekFile(handle, 0, 0));
  store.reset();
  store.emplace();
  EXPECT_FALSE(store->SeekFile(handle, 0, 0));
  EXPECT_EQ(store->GetLastError(), FileErrorBadHandle);
}

TEST(LocalFileAccessFiles, UnusablePathsFailWithoutSideEffects) {
  TempDir dir;
  CLocalFileAccess store;
  unsigned int handle = 8;
  EXPECT_FALSE(store.OpenFile(std::u16string(), FileModeCreate, handle));
  EXPECT_EQ(store.GetLastError(), FileErrorBadPath);
  // A NUL inside would otherwise create "cut" instead of the file asked for.
  const std::u16string withNul = dir.Wide("cut") + std::u16string(1, u'\0') + u"tail";
  EXPECT_FALSE(store.OpenFile(withNul, FileModeCreate, handle));
  EXPECT_EQ(store.GetLastError(), FileErrorBadPath);
  EXPECT_FALSE(std::filesystem::exists(dir.Path() / "cut"));
  EXPECT_FALSE(store.OpenFile(std::string(), FileModeRead, handle));
  EXPECT_EQ(store.GetLastError(), FileErrorBadPath);
  EXPECT_FALSE(store.OpenFile(dir.Wide("no/such/dir/f.bin"), FileModeCreate, handle));
  EXPECT_EQ(store.GetLastError(), FileErrorOpen);
  EXPECT_EQ(handle, 8u);

  unsigned long long size = 3;
  EXPECT_FALSE(store.FileSize(std::u16string(), size));
  EXPECT_EQ(size, 0u);
  size = 3;
  EXPECT_FALSE(store.FileSize(dir.Wide("absent"), size));
  EXPECT_EQ(size, 0u);
  size = 3;
  EXPECT_FALSE(store.FileSize(dir.Wide(), size));  // a directory has no file size
  EXPECT_EQ(size, 0u);
  for (const std::u16string& path : {std::u16string(), dir.Wide("absent"), dir.Wide()}) {
    size = 3;
    long long lastWrite = 3;
    EXPECT_FALSE(store.FileSizeAndTime(path, size, lastWrite));
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(lastWrite, 0);
  }
  EXPECT_FALSE(store.FileExists(std::string()));
  EXPECT_FALSE(store.FileExists(std::u16string()));
  EXPECT_FALSE(store.DeleteFile(std::string()));
  EXPECT_FALSE(store.DeleteFile(dir.Wide("absent")));
  EXPECT_FALSE(store.RenameFile(std::u16string(), dir.Wide("x")));
}

TEST(LocalFileAccessFiles, PathOperationsAgreeInBothForms) {
  TempDir dir;
  CLocalFileAccess store;
  // Non-ASCII names travel as UTF-16 in the wide forms and as UTF-8 in the others.
  const std::u16string wideDir = dir.Wide() + u"/Kan\u00e4le";
  const std::u16string wideFile = wideDir + u"/Gr\u00f6\u00dfe \u6ce2.bin";
  const std::string utf8File = dir.Path().string() +
                               "/Kan\xc3\xa4le/Gr\xc3\xb6\xc3\x9f"
                               "e \xe6\xb3\xa2.bin";
  ASSERT_TRUE(store.CreateDirectory(wideDir));

  unsigned int handle = 0;
  ASSERT_TRUE(store.OpenFile(wideFile, FileModeCreate, handle));
  ASSERT_TRUE(Write(store, handle, "1234567"));
  ASSERT_TRUE(store.CloseFile(handle, true));
  EXPECT_TRUE(std::filesystem::exists(std::filesystem::u8path(utf8File)));

  unsigned long long wideSize = 0, utf8Size = 0;
  EXPECT_TRUE(store.FileSize(wideFile, wideSize));
  EXPECT_TRUE(store.FileSize(utf8File, utf8Size));
  EXPECT_EQ(wideSize, 7u);
  EXPECT_EQ(utf8Size, 7u);
  EXPECT_TRUE(store.FileExists(wideFile));
  EXPECT_TRUE(store.FileExists(utf8File));
  EXPECT_TRUE(store.FileExists(wideDir));  // directories exist too
  ASSERT_TRUE(store.OpenFile(utf8File, FileModeRead, handle));
  EXPECT_EQ(Read(store, handle, 7), "1234567");
  store.CloseFile(handle, false);

  std::vector<std::u16string> dirs, files;
  ASSERT_TRUE(store.ListDirectory(wideDir, dirs, files, u"*"));
  EXPECT_EQ(files, std::vector<std::u16string>{wideFile});

  EXPECT_TRUE(store.DeleteFile(utf8File));
  EXPECT_FALSE(store.FileExists(wideFile));
  EXPECT_FALSE(store.DeleteFile(wideFile));
  EXPECT_FALSE(store.DeleteFile(wideDir));  // a file delete leaves directories alone
  EXPECT_TRUE(store.FileExists(wideDir));
}

TEST(LocalFileAccessFiles, RenameNeverReplacesATarget) {
  TempDir dir;
  CLocalFileAccess store;
  Put(dir.Path() / "a.zff", "a");
  Put(dir.Path() / "b.zxf", "b");

  EXPECT_FALSE(store.RenameFile(dir.Wide("a.zff"), dir.Wide("b.zxf")));
  EXPECT_EQ(FileText(dir.Path() / "a.zff"), "a");
  EXPECT_EQ(FileText(dir.Path() / "b.zxf"), "b");

  EXPECT_TRUE(store.RenameFile(dir.Wide("a.zff"), dir.Wide("c.zxf")));
  EXPECT_FALSE(store.FileExists(dir.Wide("a.zff")));
  EXPECT_EQ(FileText(dir.Path() / "c.zxf"), "a");
  EXPECT_FALSE(store.RenameFile(dir.Wide("a.zff"), dir.Wide("d.zxf")));

  ASSERT_TRUE(store.CreateDirectory(dir.Wide("Record_1")));
  ASSERT_TRUE(store.CreateDirectory(dir.Wide("Record_2")));
  EXPECT_FALSE(store.RenameFile(dir.Wide("Record_1"), dir.Wide("Record_2")));  // even an empty one
  EXPECT_TRUE(store.RenameFile(dir.Wide("Record_1"), dir.Wide("Record_3")));
  EXPECT_TRUE(std::filesystem::is_directory(dir.Path() / "Record_3"));
}

TEST(LocalFileAccessFiles, TransfersRunWhileOtherThreadsOpenAndClose) {
  TempDir dir;
  CLocalFileAccess store;
  unsigned int handle = 0;
  ASSERT_TRUE(store.OpenFile(dir.Wide("stream.bin"), FileModeReadWrite, handle));

  std::atomic<bool> done{false};
  std::atomic<int> churnFailures{0};
  std::thread churn([&] {
    // Many opens and closes reshape the table under the transfers' lookups.
    for (int i = 0; i < 300 && !done; ++i) {
      unsigned int other = 0;
      if (!store.OpenFile(dir.Wide("churn" + std::to_string(i % 7)), FileModeReadWrite, other) ||
          !store.CloseFile(other, true))
        ++churnFailures;
    }
  });
  std::vector<unsigned int> block(1024);
  bool transfersOk = true;
  for (unsigned int i = 0; i < 200 && transfersOk; ++i) {
    for (unsigned int& word : block) word = i;
    unsigned int count = 0;
    transfersOk = store.WriteFile(handle, block.data(), 4096, count);
  }
  done = true;
  churn.join();
  EXPECT_TRUE(transfersOk);
  EXPECT_EQ(churnFailures.load(), 0);

  ASSERT_TRUE(store.SeekFile(handle, 0, 0));
  bool contentOk = true;
  for (unsigned int i = 0; i < 200 && contentOk; ++i) {
    unsigned int count = 0;
    contentOk = store.ReadFile(handle, block.data(), 4096, count) && block.front() == i &&
                block.back() == i;
  }
  EXPECT_TRUE(contentOk);
}

TEST(LocalFileAccessFiles, DestructionClosesWhatIsStillOpen) {
  TempDir dir;
  const int before = OpenDescriptors();
  {
    CLocalFileAccess store;
    unsigned int handle = 0;
    for (int i = 0; i < 3; ++i)
      ASSERT_TRUE(store.OpenFile(dir.Wide("f" + std::to_string(i)), FileModeCreate, handle));
    EXPECT_EQ(OpenDescriptors(), before + 3);
  }
  EXPECT_EQ(OpenDescriptors(), before);
}

// Counts the store's syncs.
class SyncCountingStore : public zsff::CLocalFileAccess {
 public:
  bool SyncFiles() override {
    ++Syncs;
    return CLocalFileAccess::SyncFiles();
  }
  int Syncs = 0;
};

TEST(LocalFileAccessFiles, ASyncIntervalSyncsWhenDueAndWhenTheFilesClose) {
  zsff_test::TempDir dir;
  const std::string path = (dir.Path() / "written").string();
  const struct {
    int interval;  // milliseconds
    int dueSyncs;  // at least, once the interval has passed
    int closeSyncs;
  } cases[] = {{0, 0, 0}, {3600000, 0, 1}, {1, 1, 1}};
  for (const auto& c : cases) {
    SyncCountingStore store;
    store.SetSyncInterval(std::chrono::milliseconds(c.interval));
    unsigned int written = 0, count = 0;
    ASSERT_TRUE(store.OpenFile(path, zsff::FileModeCreate, written));
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    ASSERT_TRUE(store.WriteFile(written, "ab", 2, count));
    const int due = store.Syncs;
    EXPECT_GE(due, c.dueSyncs) << c.interval;
    if (c.dueSyncs == 0) {
      EXPECT_EQ(due, 0) << c.interval;
    }
    EXPECT_TRUE(store.CloseAllFiles());
    EXPECT_EQ(store.Syncs, due + c.closeSyncs) << c.interval;
  }
}
