// The fault-injecting store that tests of the upper layers rely on: over a
// real local store, its failures must look exactly like real ones.

#include <memory>
#include <string>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "support/FaultInjectingFileAccess.h"

using namespace zsff;
using zsff_test::FaultInjectingFileAccess;
using zsff_test::TempDir;

namespace {

bool Write(CAbstractFileAccess& store, unsigned int handle, const std::string& text) {
  unsigned int written = 0;
  return store.WriteFile(handle, text.data(), static_cast<unsigned int>(text.size()), written);
}

unsigned long long Size(CAbstractFileAccess& store, const std::u16string& path) {
  unsigned long long size = 0;
  store.FileSize(path, size);
  return size;
}

}  // namespace

TEST(LocalFileAccessFaultInjection, NthWriteFailsOnceOrFromThenOn) {
  TempDir dir;
  FaultInjectingFileAccess store(std::make_shared<CLocalFileAccess>());
  const std::u16string path = dir.Wide("w.bin");
  unsigned int handle = 0;
  ASSERT_TRUE(store.OpenFile(path, FileModeCreate, handle));

  store.FailAt(FaultInjectingFileAccess::Write, 2);
  EXPECT_TRUE(Write(store, handle, "aa"));
  unsigned int written = 99;
  EXPECT_FALSE(store.WriteFile(handle, "bb", 2, written));
  EXPECT_EQ(written, 99u);
  EXPECT_EQ(store.GetLastError(), FileErrorWrite);
  EXPECT_TRUE(Write(store, handle, "cc"));
  EXPECT_EQ(Size(store, path), 4u);  // the failed write wrote nothing

  store.FailAt(FaultInjectingFileAccess::Write, 1, true);
  EXPECT_FALSE(Write(store, handle, "dd"));
  EXPECT_FALSE(Write(store, handle, "ee"));
  EXPECT_EQ(store.Calls(FaultInjectingFileAccess::Write), 5u);

  store.Reset();
  EXPECT_TRUE(Write(store, handle, "ff"));
  EXPECT_EQ(store.Calls(FaultInjectingFileAccess::Write), 1u);
}

TEST(LocalFileAccessFaultInjection, FullDiskWritesWhatFitsThenFails) {
  TempDir dir;
  CLocalFileAccess local;
  FaultInjectingFileAccess store(local);  // borrowed
  const std::u16string path = dir.Wide("full.bin");
  unsigned int handle = 0;
  ASSERT_TRUE(store.OpenFile(path, FileModeCreate, handle));

  store.SetFreeSpace(6);
  EXPECT_TRUE(Write(store, handle, "abcd"));
  EXPECT_FALSE(Write(store, handle, "efgh"));
  EXPECT_EQ(store.GetLastError(), FileErrorWrite);
  EXPECT_EQ(Size(store, path), 6u);
  EXPECT_FALSE(Write(store, handle, "i"));
  EXPECT_EQ(Size(store, path), 6u);
}

TEST(LocalFileAccessFaultInjection, OpenReadAndCloseFaultsLookReal) {
  TempDir dir;
  auto local = std::make_shared<CLocalFileAccess>();
  FaultInjectingFileAccess store(local);
  const std::u16string path = dir.Wide("r.bin");

  store.FailAt(FaultInjectingFileAccess::Open, 1);
  unsigned int handle = 0;
  EXPECT_FALSE(store.OpenFile(path, FileModeCreate, handle));
  EXPECT_EQ(handle, 0u);
  EXPECT_EQ(store.GetLastError(), FileErrorOpen);
  EXPECT_FALSE(store.FileExists(path));  // nothing reached the disk
  ASSERT_TRUE(store.OpenFile(path, FileModeReadWrite, handle));
  ASSERT_TRUE(Write(store, handle, "data"));
  ASSERT_TRUE(store.SeekFile(handle, 0, 0));

  // A truncated file, as a read finds it.
  store.FailAt(FaultInjectingFileAccess::Read, 1, false, FileErrorEndOfFile);
  char buffer[4];
  unsigned int got = 0;
  EXPECT_FALSE(store.ReadFile(handle, buffer, 4, got));
  EXPECT_EQ(store.GetLastError(), FileErrorEndOfFile);
  EXPECT_TRUE(store.ReadFile(handle, buffer, 4, got));  // the position didn't move
  EXPECT_EQ(std::string(buffer, 4), "data");

  // A failed close still releases the file underneath.
  store.FailAt(FaultInjectingFileAccess::Close, 1);
  EXPECT_FALSE(store.CloseFile(handle, true));
  EXPECT_EQ(store.GetLastError(), FileErrorBadHandle);
  EXPECT_FALSE(local->SeekFile(handle, 0, 0));
  EXPECT_EQ(local->GetLastError(), FileErrorBadHandle);

  // Codes of real failures pass through the wrapper, and only once.
  EXPECT_FALSE(store.SeekFile(handle, 0, 0));
  EXPECT_EQ(store.GetLastError(), FileErrorBadHandle);
  EXPECT_EQ(store.GetLastError(), FileErrorNone);
  EXPECT_EQ(local->GetLastError(), FileErrorNone);

  store.FailAt(FaultInjectingFileAccess::Rename, 1);
  EXPECT_FALSE(store.RenameFile(path, dir.Wide("moved.bin")));
  EXPECT_TRUE(store.RenameFile(path, dir.Wide("moved.bin")));
}
