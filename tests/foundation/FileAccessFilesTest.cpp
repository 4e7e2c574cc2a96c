// The stores' open files: handles, open modes, transfers, error codes, held to
// the same answers on every store.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "foundation/StoreFixture.h"

using namespace zsff;
using zsff_test::StoreTest;

namespace {

bool Write(CAbstractFileAccess& store, unsigned int handle, const std::string& text) {
  unsigned int written = 0;
  return store.WriteFile(handle, text.data(), static_cast<unsigned int>(text.size()), written) &&
         written == text.size();
}

std::string Read(CAbstractFileAccess& store, unsigned int handle, unsigned int size) {
  std::string text(size, '\0');
  unsigned int got = 0;
  if (!store.ReadFile(handle, text.data(), size, got)) return "<failed>";
  return text.substr(0, got);
}

}  // namespace

template <typename Store>
using StoreFiles = StoreTest<Store>;
TYPED_TEST_SUITE(StoreFiles, zsff_test::Stores, zsff_test::StoreName);

TYPED_TEST(StoreFiles, TwoOpensOfOneFileShareItAndHandlesAreNeverReused) {
  auto& store = this->store();
  const std::u16string path = this->Wide("shared.bin");

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
  EXPECT_FALSE(store.OpenFile(this->Wide("missing.bin"), FileModeRead, failed));
  EXPECT_EQ(failed, 4242u);
  unsigned int again = 0;
  ASSERT_TRUE(store.OpenFile(path, FileModeRead, again));
  EXPECT_GT(again, reader + 1);
  EXPECT_EQ(Read(store, again, 5), "hello");
  EXPECT_TRUE(store.CloseFile(writer, true));
  EXPECT_TRUE(store.CloseFile(again, false));
}

TYPED_TEST(StoreFiles, CreateNewSucceedsOnceEvenWhenThreadsRace) {
  auto& store = this->store();
  const std::u16string path = this->Wide("Metadata.lock");

  unsigned int first = 0;
  ASSERT_TRUE(store.OpenFile(path, FileModeCreateNew, first));
  unsigned int second = 77;
  EXPECT_FALSE(store.OpenFile(path, FileModeCreateNew, second));
  EXPECT_EQ(second, 77u);
  EXPECT_EQ(store.GetLastError(), FileErrorOpen);
  EXPECT_EQ(store.GetLastError(), FileErrorNone);  // reading the code consumed it

  // The lock file depends on the open itself being the test for existence.
  const std::u16string racePath = this->Wide("race.lock");
  std::atomic<int> winners{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      unsigned int handle = 0;
      if (store.OpenFile(racePath, FileModeCreateNew, handle)) ++winners;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(winners.load(), 1);
}

TYPED_TEST(StoreFiles, OpenModesCreateTruncateAppendAndRefuse) {
  auto& store = this->store();
  const std::u16string file = this->Wide("data.bin");
  this->Put("data.bin", "0123456789");

  unsigned int handle = 0;
  ASSERT_TRUE(store.OpenFile(this->Wide("data.bin"), FileModeReadWrite, handle));  // keeps content
  EXPECT_EQ(Read(store, handle, 4), "0123");
  ASSERT_TRUE(Write(store, handle, "ab"));
  store.CloseFile(handle, true);
  EXPECT_EQ(this->Text(file), "0123ab6789");

  ASSERT_TRUE(store.OpenFile(this->Wide("data.bin"), FileModeAppend, handle));
  unsigned long long position = 99;
  ASSERT_TRUE(store.TellFile(handle, position));
  EXPECT_EQ(position, 10u);
  ASSERT_TRUE(Write(store, handle, "Z"));
  store.CloseFile(handle, true);
  EXPECT_EQ(this->Text(file), "0123ab6789Z");

  ASSERT_TRUE(store.OpenFile(this->Wide("data.bin"), FileModeCreate, handle));  // truncates
  ASSERT_TRUE(Write(store, handle, "new"));
  store.CloseFile(handle, true);
  EXPECT_EQ(this->Text(file), "new");

  ASSERT_TRUE(store.OpenFile(this->Wide("fresh.bin"), FileModeReadWrite, handle));  // creates
  store.CloseFile(handle, true);
  EXPECT_TRUE(this->Exists("fresh.bin"));

  // Modes that need an existing file fail on a missing one and create nothing.
  for (FileOpenMode_t mode : {FileModeRead, FileModeAppend}) {
    unsigned int untouched = 5;
    EXPECT_FALSE(store.OpenFile(this->Wide("absent.bin"), mode, untouched)) << mode;
    EXPECT_EQ(untouched, 5u);
    EXPECT_EQ(store.GetLastError(), FileErrorOpen) << mode;
  }
  EXPECT_FALSE(this->Exists("absent.bin"));

  // An unknown mode fails without a code; a directory is not a file in any mode.
  EXPECT_FALSE(store.OpenFile(this->Wide("data.bin"), static_cast<FileOpenMode_t>(9), handle));
  EXPECT_EQ(store.GetLastError(), FileErrorNone);
  for (FileOpenMode_t mode : {FileModeRead, FileModeReadWrite, FileModeCreate, FileModeAppend}) {
    EXPECT_FALSE(store.OpenFile(this->Wide(), mode, handle)) << mode;
    EXPECT_EQ(store.GetLastError(), FileErrorOpen) << mode;
  }

  // The access a mode grants is the access a handle has.
  unsigned int readOnly = 0, writeOnly = 0;
  ASSERT_TRUE(store.OpenFile(this->Wide("data.bin"), FileModeRead, readOnly));
  EXPECT_FALSE(Write(store, readOnly, "x"));
  EXPECT_EQ(store.GetLastError(), FileErrorWrite);
  ASSERT_TRUE(store.OpenFile(this->Wide("other.bin"), FileModeCreate, writeOnly));
  EXPECT_EQ(Read(store, writeOnly, 1), "<failed>");
  EXPECT_EQ(store.GetLastError(), FileErrorRead);
}

TYPED_TEST(StoreFiles, ReadPastTheEndFailsWithEndOfFileAndMovesAsFarAsTheData) {
  auto& store = this->store();
  this->Put("ten.bin", "0123456789");
  unsigned int handle = 0;
  ASSERT_TRUE(store.OpenFile(this->Wide("ten.bin"), FileModeRead, handle));

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

TYPED_TEST(StoreFiles, SeekAndTellFollowEveryOrigin) {
  auto& store = this->store();
  unsigned int handle = 0;
  ASSERT_TRUE(store.OpenFile(this->Wide("seek.bin"), FileModeReadWrite, handle));
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
  EXPECT_TRUE(store.FileSize(this->Wide("seek.bin"), size));
  EXPECT_EQ(size, 21u);
}

TYPED_TEST(StoreFiles, SetEndOfFileCutsOrExtendsAtThePosition) {
  auto& store = this->store();
  unsigned int handle = 0;
  ASSERT_TRUE(store.OpenFile(this->Wide("part.zrs"), FileModeCreate, handle));
  ASSERT_TRUE(Write(store, handle, "0123456789"));
  ASSERT_TRUE(store.SeekFile(handle, 4, 0));
  ASSERT_TRUE(store.SetEndOfFile(handle));
  ASSERT_TRUE(Write(store, handle, "ab"));  // the next write follows the cut
  EXPECT_EQ(this->Text("part.zrs"), "0123ab");
  ASSERT_TRUE(store.SeekFile(handle, 8, 0));
  ASSERT_TRUE(store.SetEndOfFile(handle));
  EXPECT_EQ(this->Text("part.zrs"), std::string("0123ab\0\0", 8));

  unsigned int reader = 0;
  ASSERT_TRUE(store.OpenFile(this->Wide("part.zrs"), FileModeRead, reader));
  EXPECT_FALSE(store.SetEndOfFile(reader));
  EXPECT_EQ(store.GetLastError(), FileErrorWrite);
  ASSERT_TRUE(store.CloseFile(handle, true));
  EXPECT_FALSE(store.SetEndOfFile(handle));
  EXPECT_EQ(store.GetLastError(), FileErrorBadHandle);
  EXPECT_EQ(this->Text("part.zrs").size(), 8u);
}

TYPED_TEST(StoreFiles, UnknownHandlesFailWithBadHandleAndLeaveOutputs) {
  auto& store = this->store();
  unsigned int open = 0;
  ASSERT_TRUE(store.OpenFile(this->Wide("f.bin"), FileModeCreate, open));
  unsigned int closed = 0;
  ASSERT_TRUE(store.OpenFile(this->Wide("g.bin"), FileModeCreate, closed));
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
  ASSERT_TRUE(store.OpenFile(this->Wide("h.bin"), FileModeReadWrite, used));
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

TYPED_TEST(StoreFiles, UnusablePathsFailWithoutSideEffects) {
  auto& store = this->store();
  unsigned int handle = 8;
  EXPECT_FALSE(store.OpenFile(std::u16string(), FileModeCreate, handle));
  EXPECT_EQ(store.GetLastError(), FileErrorBadPath);
  // A NUL inside would otherwise create "cut" instead of the file asked for.
  const std::u16string withNul = this->Wide("cut") + std::u16string(1, u'\0') + u"tail";
  EXPECT_FALSE(store.OpenFile(withNul, FileModeCreate, handle));
  EXPECT_EQ(store.GetLastError(), FileErrorBadPath);
  EXPECT_FALSE(this->Exists("cut"));
  EXPECT_FALSE(store.OpenFile(std::string(), FileModeRead, handle));
  EXPECT_EQ(store.GetLastError(), FileErrorBadPath);
  EXPECT_FALSE(store.OpenFile(this->Wide("no/such/dir/f.bin"), FileModeCreate, handle));
  EXPECT_EQ(store.GetLastError(), FileErrorOpen);
  EXPECT_EQ(handle, 8u);

  unsigned long long size = 3;
  EXPECT_FALSE(store.FileSize(std::u16string(), size));
  EXPECT_EQ(size, 0u);
  size = 3;
  EXPECT_FALSE(store.FileSize(this->Wide("absent"), size));
  EXPECT_EQ(size, 0u);
  size = 3;
  EXPECT_FALSE(store.FileSize(this->Wide(), size));  // a directory has no file size
  EXPECT_EQ(size, 0u);
  for (const std::u16string& path : {std::u16string(), this->Wide("absent"), this->Wide()}) {
    size = 3;
    long long lastWrite = 3;
    EXPECT_FALSE(store.FileSizeAndTime(path, size, lastWrite));
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(lastWrite, 0);
  }
  EXPECT_FALSE(store.FileExists(std::string()));
  EXPECT_FALSE(store.FileExists(std::u16string()));
  EXPECT_FALSE(store.DeleteFile(std::string()));
  EXPECT_FALSE(store.DeleteFile(this->Wide("absent")));
  EXPECT_FALSE(store.RenameFile(std::u16string(), this->Wide("x")));
}

TYPED_TEST(StoreFiles, PathOperationsAgreeInBothForms) {
  auto& store = this->store();
  // Non-ASCII names travel as UTF-16 in the wide forms and as UTF-8 in the others.
  const std::u16string wideDir = this->Wide() + u"/Kan\u00e4le";
  const std::u16string wideFile = wideDir + u"/Gr\u00f6\u00dfe \u6ce2.bin";
  const std::string utf8File = this->Narrow() +
                               "/Kan\xc3\xa4le/Gr\xc3\xb6\xc3\x9f"
                               "e \xe6\xb3\xa2.bin";
  ASSERT_TRUE(store.CreateDirectory(wideDir));

  unsigned int handle = 0;
  ASSERT_TRUE(store.OpenFile(wideFile, FileModeCreate, handle));
  ASSERT_TRUE(Write(store, handle, "1234567"));
  ASSERT_TRUE(store.CloseFile(handle, true));

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

TYPED_TEST(StoreFiles, RenameNeverReplacesATarget) {
  auto& store = this->store();
  this->Put("a.zff", "a");
  this->Put("b.zxf", "b");

  EXPECT_FALSE(store.RenameFile(this->Wide("a.zff"), this->Wide("b.zxf")));
  EXPECT_EQ(this->Text("a.zff"), "a");
  EXPECT_EQ(this->Text("b.zxf"), "b");

  EXPECT_TRUE(store.RenameFile(this->Wide("a.zff"), this->Wide("c.zxf")));
  EXPECT_FALSE(store.FileExists(this->Wide("a.zff")));
  EXPECT_EQ(this->Text("c.zxf"), "a");
  EXPECT_FALSE(store.RenameFile(this->Wide("a.zff"), this->Wide("d.zxf")));

  ASSERT_TRUE(store.CreateDirectory(this->Wide("Record_1")));
  ASSERT_TRUE(store.CreateDirectory(this->Wide("Record_2")));
  EXPECT_FALSE(store.RenameFile(this->Wide("Record_1"), this->Wide("Record_2")));  // even an empty one
  EXPECT_TRUE(store.RenameFile(this->Wide("Record_1"), this->Wide("Record_3")));
  EXPECT_TRUE(this->IsDirectory("Record_3"));

  // What is inside a directory moves with it.
  this->Put("Record_3/Channel_1/Part_0.zrs", "samples");
  EXPECT_TRUE(store.RenameFile(this->Wide("Record_3"), this->Wide("Record_4")));
  EXPECT_EQ(this->Text("Record_4/Channel_1/Part_0.zrs"), "samples");
  EXPECT_FALSE(this->Exists("Record_3/Channel_1"));
}

TYPED_TEST(StoreFiles, ReplaceMovesOverAFileButNeverOverADirectory) {
  auto& store = this->store();
  this->Put("m.zsfh.new", "new");
  this->Put("m.zsfh", "old");
  EXPECT_TRUE(store.ReplaceFile(this->Wide("m.zsfh.new"), this->Wide("m.zsfh")));
  EXPECT_EQ(this->Text("m.zsfh"), "new");
  EXPECT_FALSE(this->Exists("m.zsfh.new"));
  EXPECT_FALSE(store.ReplaceFile(this->Wide("m.zsfh.new"), this->Wide("m.zsfh")));  // gone
  EXPECT_EQ(this->Text("m.zsfh"), "new");

  this->Put("x", "x");
  this->MakeDirectories("Record_1");
  EXPECT_FALSE(store.ReplaceFile(this->Wide("x"), this->Wide("Record_1")));
  EXPECT_EQ(this->Text("x"), "x");
  EXPECT_TRUE(store.ReplaceFile(this->Wide("x"), this->Wide("fresh")));
  EXPECT_EQ(this->Text("fresh"), "x");
}

TYPED_TEST(StoreFiles, TransfersRunWhileOtherThreadsOpenAndClose) {
  auto& store = this->store();
  unsigned int handle = 0;
  ASSERT_TRUE(store.OpenFile(this->Wide("stream.bin"), FileModeReadWrite, handle));

  std::atomic<bool> done{false};
  std::atomic<int> churnFailures{0};
  std::thread churn([&] {
    // Many opens and closes reshape the table under the transfers' lookups.
    for (int i = 0; i < 300 && !done; ++i) {
      unsigned int other = 0;
      if (!store.OpenFile(this->Wide("churn" + std::to_string(i % 7)), FileModeReadWrite, other) ||
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

