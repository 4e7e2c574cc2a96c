// The local store's directory operations: create, delete and copy trees, copy
// named files, list with patterns, and what a local store answers for a remote.

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "support/FileContents.h"

using namespace zsff;
using zsff_test::TempDir;
namespace fs = std::filesystem;
using zsff_test::FileText;

namespace {

void Put(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

// Every file below `root`, relative, with its contents, sorted.
std::vector<std::string> Snapshot(const fs::path& root) {
  std::vector<std::string> entries;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    const std::string relative = fs::relative(entry.path(), root).string();
    entries.push_back(entry.is_directory() ? relative + "/" : relative + "=" + FileText(entry));
  }
  std::sort(entries.begin(), entries.end());
  return entries;
}

std::vector<std::u16string> Sorted(std::vector<std::u16string> values) {
  std::sort(values.begin(), values.end());
  return values;
}

}  // namespace

TEST(LocalFileAccessDirectories, CreateMakesOneLevelOnly) {
  TempDir dir;
  CLocalFileAccess store;
  EXPECT_TRUE(store.CreateDirectory(dir.Wide("Record_1")));
  EXPECT_TRUE(fs::is_directory(dir.Path() / "Record_1"));
  EXPECT_FALSE(store.CreateDirectory(dir.Wide("Record_1")));            // exists
  EXPECT_FALSE(store.CreateDirectory(dir.Wide("Record_2/Channel_1")));  // no parent
  EXPECT_FALSE(fs::exists(dir.Path() / "Record_2"));
  EXPECT_FALSE(store.CreateDirectory(std::u16string()));
}

TEST(LocalFileAccessDirectories, DeleteTreeRemovesEverythingAndToleratesMissing) {
  TempDir dir;
  CLocalFileAccess store;
  Put(dir.Path() / "m/Record_1/Channel_1/Part_1.zrs", "samples");
  Put(dir.Path() / "m/Record_1/meta.zrm", "{}");
  Put(dir.Path() / "keep/other.txt", "x");

  // Trailing separators and dot segments don't change what is deleted.
  EXPECT_TRUE(store.DeleteDirectoryTree(dir.Wide("keep/../m//")));
  EXPECT_FALSE(fs::exists(dir.Path() / "m"));
  EXPECT_TRUE(fs::exists(dir.Path() / "keep/other.txt"));

  EXPECT_TRUE(store.DeleteDirectoryTree(dir.Wide("m")));  // already gone
  EXPECT_TRUE(store.DeleteDirectoryTree(dir.Wide("never/was")));
  EXPECT_TRUE(store.DeleteDirectoryTree(std::u16string()));  // names nothing, so nothing to do

  Put(dir.Path() / "single.zff", "h");  // a plain file goes too
  EXPECT_TRUE(store.DeleteDirectoryTree(dir.Wide("single.zff")));
  EXPECT_FALSE(fs::exists(dir.Path() / "single.zff"));
}

TEST(LocalFileAccessDirectories, CopyTreeMergesIntoTheDestination) {
  TempDir dir;
  CLocalFileAccess store;
  Put(dir.Path() / "src/a.zrs", "new a");
  Put(dir.Path() / "src/Channel_1/b.zpr", "b");
  Put(dir.Path() / "src/Channel_1/Deep/c", "c");
  fs::create_directories(dir.Path() / "src/Empty");

  // Into a destination that doesn't exist yet: an exact copy.
  EXPECT_TRUE(store.CopyDirectoryTree(dir.Wide("src"), dir.Wide("copy")));
  EXPECT_EQ(Snapshot(dir.Path() / "copy"), Snapshot(dir.Path() / "src"));

  // Into an existing one: same names are overwritten, others stay.
  Put(dir.Path() / "merge/a.zrs", "old a");
  Put(dir.Path() / "merge/Channel_1/own", "own");
  EXPECT_TRUE(store.CopyDirectoryTree(dir.Wide("src/"), dir.Wide("merge")));
  EXPECT_EQ(FileText(dir.Path() / "merge/a.zrs"), "new a");
  EXPECT_EQ(FileText(dir.Path() / "merge/Channel_1/Deep/c"), "c");
  EXPECT_EQ(FileText(dir.Path() / "merge/Channel_1/own"), "own");

  // An empty source copies nothing but still makes the destination.
  EXPECT_TRUE(store.CopyDirectoryTree(dir.Wide("src/Empty"), dir.Wide("fromEmpty")));
  EXPECT_TRUE(fs::is_directory(dir.Path() / "fromEmpty"));

  EXPECT_FALSE(store.CopyDirectoryTree(dir.Wide("absent"), dir.Wide("x")));
  EXPECT_FALSE(store.CopyDirectoryTree(dir.Wide("src/a.zrs"), dir.Wide("x")));  // not a directory
  EXPECT_FALSE(store.CopyDirectoryTree(std::u16string(), dir.Wide("x")));
  EXPECT_FALSE(store.CopyDirectoryTree(dir.Wide("src"), std::u16string()));
  // A copy into itself would never end.
  EXPECT_FALSE(store.CopyDirectoryTree(dir.Wide("src"), dir.Wide("src/Channel_1/inner")));
  EXPECT_FALSE(store.CopyDirectoryTree(dir.Wide("src"), dir.Wide("src")));
  EXPECT_FALSE(fs::exists(dir.Path() / "src/Channel_1/inner"));
  EXPECT_FALSE(fs::exists(dir.Path() / "x"));
}

TEST(LocalFileAccessDirectories, CopyFileListCopiesWhatItCanAndReportsTheRest) {
  TempDir dir;
  CLocalFileAccess store;
  Put(dir.Path() / "src/one.zrm", "1");
  Put(dir.Path() / "src/two.zrm", "2");
  Put(dir.Path() / "dst/two.zrm", "old");
  const std::u16string src = dir.Wide("src"), dst = dir.Wide("dst");

  EXPECT_FALSE(store.CopyFileList(src, dst, {}));
  EXPECT_TRUE(store.CopyFileList(src, dst, {u"one.zrm", u"two.zrm"}));
  EXPECT_EQ(FileText(dir.Path() / "dst/one.zrm"), "1");
  EXPECT_EQ(FileText(dir.Path() / "dst/two.zrm"), "2");  // overwritten

  fs::remove(dir.Path() / "dst/two.zrm");
  EXPECT_FALSE(store.CopyFileList(src, dst + u"/", {u"missing.zrm", u"two.zrm", u""}));
  EXPECT_EQ(FileText(dir.Path() / "dst/two.zrm"), "2");  // the failure didn't stop the rest

  EXPECT_FALSE(store.CopyFileList(src, dir.Wide("nowhere"), {u"one.zrm"}));
  EXPECT_FALSE(store.CopyFileList(std::u16string(), dst, {u"one.zrm"}));
}

TEST(LocalFileAccessDirectories, ListSplitsDirectoriesFromFilesAndFollowsThePattern) {
  TempDir dir;
  CLocalFileAccess store;
  const std::u16string base = dir.Wide("m");
  for (const char* name : {"a.zrs", "B.ZRS", "long.zrsx", "c.zr", ".zrs", "m.zsfh", "m.zsfhx"})
    Put(dir.Path() / "m" / name, "x");
  fs::create_directories(dir.Path() / "m/Record_1");
  fs::create_directories(dir.Path() / "m/dir.zrs");

  std::vector<std::u16string> dirs{u"stale"}, files{u"stale"};
  ASSERT_TRUE(store.ListDirectory(base, dirs, files, u"*"));
  EXPECT_EQ(Sorted(dirs), (std::vector<std::u16string>{base + u"/Record_1", base + u"/dir.zrs"}));
  EXPECT_EQ(files.size(), 7u);  // "." and ".." are not entries

  ASSERT_TRUE(store.ListDirectory(base + u"/", dirs, files, u"*.zrs"));
  EXPECT_EQ(Sorted(files), (std::vector<std::u16string>{base + u"/.zrs", base + u"/a.zrs"}));
  EXPECT_EQ(dirs, std::vector<std::u16string>{base + u"/dir.zrs"});

  ASSERT_TRUE(store.ListDirectory(base, dirs, files, u"*.zsfh"));
  EXPECT_EQ(files, std::vector<std::u16string>{base + u"/m.zsfh"});
  EXPECT_TRUE(dirs.empty());

  ASSERT_TRUE(store.ListDirectory(base, dirs, files, u"Record_*"));
  EXPECT_EQ(dirs, std::vector<std::u16string>{base + u"/Record_1"});
  EXPECT_TRUE(files.empty());
}

TEST(LocalFileAccessDirectories, ListOfEmptyOrMissingDirectories) {
  TempDir dir;
  CLocalFileAccess store;
  fs::create_directories(dir.Path() / "empty");
  Put(dir.Path() / "file.txt", "x");

  std::vector<std::u16string> dirs{u"stale"}, files{u"stale"};
  EXPECT_TRUE(store.ListDirectory(dir.Wide("empty"), dirs, files, u"*"));
  EXPECT_TRUE(dirs.empty());
  EXPECT_TRUE(files.empty());
  EXPECT_TRUE(store.ListDirectory(dir.Wide(), dirs, files, u"*.none"));  // no match is no error
  EXPECT_TRUE(dirs.empty());
  EXPECT_TRUE(files.empty());

  for (const std::u16string& bad : {dir.Wide("missing"), dir.Wide("file.txt"), std::u16string()}) {
    dirs = {u"stale"};
    files = {u"stale"};
    EXPECT_FALSE(store.ListDirectory(bad, dirs, files, u"*"));
    EXPECT_TRUE(dirs.empty());
    EXPECT_TRUE(files.empty());
  }
}

TEST(LocalFileAccessDirectories, LocalStoreAnswersForTheRemoteOperations) {
  TempDir dir;
  CLocalFileAccess store;
  EXPECT_EQ(store.PathSeparatorW(), u"/");
  EXPECT_EQ(store.PathSeparator(), "/");
  EXPECT_EQ(store.CurrentDiskSerial(), "");

  std::set<unsigned short> analyzers{5, 6};
  EXPECT_TRUE(store.ListAnalyzers(analyzers));
  EXPECT_EQ(analyzers, (std::set<unsigned short>{1}));

  std::set<std::u16string> disks{u"old"};
  store.SetLocalDiskId(
      "SN-\xc3\xa4"
      "42");
  EXPECT_TRUE(store.ListDiskIds(disks));
  EXPECT_EQ(disks, (std::set<std::u16string>{u"SN-\u00e442"}));

  // Nothing to move to or from: every transfer fails and leaves the disk alone.
  Put(dir.Path() / "f", "x");
  EXPECT_FALSE(store.UploadFile(dir.Wide(), u"f", dir.Wide("up"), 32767));
  EXPECT_FALSE(store.DownloadFile(dir.Wide(), u"f", dir.Wide("down")));
  EXPECT_FALSE(store.UploadDirectory(dir.Wide(), dir.Wide("up")));
  EXPECT_FALSE(store.DownloadDirectory(dir.Wide(), dir.Wide("down")));
  EXPECT_FALSE(fs::exists(dir.Path() / "up"));
  EXPECT_FALSE(fs::exists(dir.Path() / "down"));
}

TEST(LocalFileAccessDirectories, PathsReachTheDiskExactlyAsGivenOrNotAtAll) {
  TempDir dir;
  CLocalFileAccess store;
  // A character beyond 16 bits: a surrogate pair here, one 4-byte sequence on disk.
  const std::u16string car = dir.Wide() + u"/x\U0001F697y";
  ASSERT_TRUE(store.CreateDirectory(car));
  EXPECT_TRUE(fs::is_directory(dir.Path() / "x\xF0\x9F\x9A\x97y"));
  unsigned int handle = 0;
  ASSERT_TRUE(store.OpenFile(car + u"/\u00E9\U0001F697.zrs", FileModeCreate, handle));
  store.CloseFile(handle, true);
  EXPECT_TRUE(fs::exists(dir.Path() / "x\xF0\x9F\x9A\x97y/\xC3\xA9\xF0\x9F\x9A\x97.zrs"));
  std::vector<std::u16string> dirs, files;
  ASSERT_TRUE(store.ListDirectory(dir.Wide(), dirs, files, u"*"));
  EXPECT_EQ(dirs, std::vector<std::u16string>{car});
  ASSERT_TRUE(store.ListDirectory(car, dirs, files, u"*.zrs"));
  EXPECT_EQ(files, std::vector<std::u16string>{car + u"/\u00E9\U0001F697.zrs"});
  EXPECT_TRUE(store.RenameFile(files.front(), car + u"/\U0001F697"));
  EXPECT_TRUE(store.FileExists(car + u"/\U0001F697"));

  // A lone surrogate half names nothing that the disk could hold.
  const std::u16string lone = dir.Wide() + u"/x" + std::u16string(1, u'\xD83D');
  EXPECT_FALSE(store.CreateDirectory(lone));
  EXPECT_FALSE(store.FileExists(lone));
  EXPECT_FALSE(store.OpenFile(lone, FileModeCreate, handle));
  EXPECT_EQ(store.GetLastError(), FileErrorBadPath);
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.Path()), fs::directory_iterator()), 1);

  // A name on disk that isn't UTF-8 has no wide path: the listing that meets it
  // is refused rather than leaving it out or naming another entry.
  Put(dir.Path() / "victim\xFF", "x");
  EXPECT_FALSE(store.ListDirectory(dir.Wide(), dirs, files, u"*"));
}
