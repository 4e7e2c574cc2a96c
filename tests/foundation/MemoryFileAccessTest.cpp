// What the memory store must do by itself that a disk does for the local
// store: time its writes, keep a file that is gone for its open handles, copy
// bytes rather than share them, and list its root like any directory.
#include <zsff/MemoryFileAccess.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace zsff;

namespace {

bool Put(CAbstractFileAccess& store, const std::u16string& path, const std::string& text) {
  unsigned int handle = 0, written = 0;
  return store.OpenFile(path, FileModeCreate, handle) &&
         store.WriteFile(handle, text.data(), static_cast<unsigned int>(text.size()), written) &&
         store.CloseFile(handle, true);
}

std::string Text(CAbstractFileAccess& store, const std::u16string& path) {
  unsigned long long size = 0;
  unsigned int handle = 0, got = 0;
  if (!store.FileSize(path, size) || !store.OpenFile(path, FileModeRead, handle)) return "<missing>";
  std::string text(size, '\0');
  if (size != 0) store.ReadFile(handle, text.data(), static_cast<unsigned int>(size), got);
  store.CloseFile(handle, false);
  return text;
}

long long LastWrite(CAbstractFileAccess& store, const std::u16string& path) {
  unsigned long long size = 0;
  long long lastWrite = 0;
  store.FileSizeAndTime(path, size, lastWrite);
  return lastWrite;
}

}  // namespace

TEST(MemoryFileAccess, EveryWriteMovesTheFileTimeForward) {
  CMemoryFileAccess store;
  ASSERT_TRUE(Put(store, u"/f", "a"));
  unsigned int handle = 0, written = 0;
  ASSERT_TRUE(store.OpenFile(u"/f", FileModeAppend, handle));
  long long before = LastWrite(store, u"/f");
  EXPECT_GT(before, 116444736000000000LL);  // after 1970, as a file time
  // Back to back, faster than any clock ticks, each write still shows.
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(store.WriteFile(handle, "b", 1, written));
    EXPECT_GT(LastWrite(store, u"/f"), before) << i;
    before = LastWrite(store, u"/f");
  }
  // So does truncation by a new create; a read or a rename doesn't.
  ASSERT_TRUE(store.OpenFile(u"/f", FileModeCreate, handle));
  EXPECT_GT(LastWrite(store, u"/f"), before);
  before = LastWrite(store, u"/f");
  EXPECT_EQ(Text(store, u"/f"), "");
  ASSERT_TRUE(store.RenameFile(u"/f", u"/g"));
  EXPECT_EQ(LastWrite(store, u"/g"), before);
}

TEST(MemoryFileAccess, FilesGoneFromTheirPathLiveOnInTheirHandles) {
  CMemoryFileAccess store;
  ASSERT_TRUE(Put(store, u"/deleted", "old"));
  ASSERT_TRUE(Put(store, u"/replaced", "before"));
  ASSERT_TRUE(Put(store, u"/new", "after"));
  unsigned int deleted = 0, replaced = 0, written = 0, got = 0;
  ASSERT_TRUE(store.OpenFile(u"/deleted", FileModeReadWrite, deleted));
  ASSERT_TRUE(store.OpenFile(u"/replaced", FileModeRead, replaced));
  ASSERT_TRUE(store.DeleteFile(u"/deleted"));
  ASSERT_TRUE(store.ReplaceFile(u"/new", u"/replaced"));
  EXPECT_FALSE(store.FileExists(u"/deleted"));
  EXPECT_FALSE(store.FileExists(u"/new"));
  EXPECT_EQ(Text(store, u"/replaced"), "after");

  char buffer[6] = {};
  ASSERT_TRUE(store.ReadFile(replaced, buffer, 6, got));
  EXPECT_EQ(std::string(buffer, 6), "before");
  ASSERT_TRUE(store.SeekFile(deleted, 0, 2));
  ASSERT_TRUE(store.WriteFile(deleted, "new", 3, written));  // and writes go nowhere visible
  ASSERT_TRUE(store.SeekFile(deleted, 0, 0));
  ASSERT_TRUE(store.ReadFile(deleted, buffer, 6, got));
  EXPECT_EQ(std::string(buffer, 6), "oldnew");
  EXPECT_FALSE(store.FileExists(u"/deleted"));

  // A move of a directory takes the open files below it along.
  ASSERT_TRUE(store.CreateDirectory(u"/d"));
  ASSERT_TRUE(Put(store, u"/d/inner", "x"));
  unsigned int inner = 0;
  ASSERT_TRUE(store.OpenFile(u"/d/inner", FileModeAppend, inner));
  ASSERT_TRUE(store.RenameFile(u"/d", u"/e"));
  ASSERT_TRUE(store.WriteFile(inner, "y", 1, written));
  EXPECT_EQ(Text(store, u"/e/inner"), "xy");
  EXPECT_FALSE(store.FileExists(u"/d/inner"));
}

TEST(MemoryFileAccess, CopiesHaveBytesOfTheirOwn) {
  CMemoryFileAccess store;
  for (const char16_t* directory : {u"/src", u"/src/sub", u"/list"})
    ASSERT_TRUE(store.CreateDirectory(directory));
  ASSERT_TRUE(Put(store, u"/src/sub/a", "a"));
  ASSERT_TRUE(store.CopyDirectoryTree(u"/src", u"/deep/tree"));  // parents made as needed
  ASSERT_TRUE(store.CopyFileList(u"/src/sub", u"/list", {u"a"}));
  ASSERT_TRUE(Put(store, u"/src/sub/a", "changed"));
  EXPECT_EQ(Text(store, u"/deep/tree/sub/a"), "a");
  EXPECT_EQ(Text(store, u"/list/a"), "a");
}

TEST(MemoryFileAccess, TheRootIsADirectoryThatNoTreeOperationTakes) {
  CMemoryFileAccess store;
  std::vector<std::u16string> directories, files;
  ASSERT_TRUE(store.ListDirectory(u"/", directories, files, u"*"));
  EXPECT_TRUE(directories.empty());
  EXPECT_TRUE(files.empty());
  ASSERT_TRUE(store.CreateDirectory(u"relative"));  // paths start at the root
  ASSERT_TRUE(Put(store, u"/top", "t"));
  ASSERT_TRUE(store.ListDirectory(u"/", directories, files, u"*"));
  EXPECT_EQ(directories, std::vector<std::u16string>{u"/relative"});
  EXPECT_EQ(files, std::vector<std::u16string>{u"/top"});

  EXPECT_TRUE(store.FileExists(u"/"));
  EXPECT_FALSE(store.CreateDirectory(u"/"));
  EXPECT_FALSE(store.DeleteDirectoryTree(u"/"));
  EXPECT_FALSE(store.RenameFile(u"/", u"/relative/root"));
  EXPECT_FALSE(store.CopyDirectoryTree(u"/", u"/relative/copy"));
  EXPECT_TRUE(store.FileExists(u"/top"));
}
