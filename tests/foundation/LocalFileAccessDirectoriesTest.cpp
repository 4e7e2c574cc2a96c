// What only the local store does with directories: the disk id a host sets,
// and paths that reach the disk byte for byte.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"

using namespace zsff;
using zsff_test::TempDir;
namespace fs = std::filesystem;

namespace {

void Put(const fs::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

}  // namespace

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
