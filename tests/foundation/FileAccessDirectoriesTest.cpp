// The stores' directory operations: create, delete and copy trees, copy named
// files, list with patterns, held to the same answers on every store.
#include <algorithm>
#include <string>
#include <vector>

#include "foundation/StoreFixture.h"

using namespace zsff;

namespace {

std::vector<std::u16string> Sorted(std::vector<std::u16string> values) {
  std::sort(values.begin(), values.end());
  return values;
}

}  // namespace

template <typename Store>
using StoreDirectories = zsff_test::StoreTest<Store>;
TYPED_TEST_SUITE(StoreDirectories, zsff_test::Stores, zsff_test::StoreName);

TYPED_TEST(StoreDirectories, CreateMakesOneLevelOnly) {
  auto& store = this->store();
  EXPECT_TRUE(store.CreateDirectory(this->Wide("Record_1")));
  EXPECT_TRUE(this->IsDirectory("Record_1"));
  EXPECT_FALSE(store.CreateDirectory(this->Wide("Record_1")));            // exists
  EXPECT_FALSE(store.CreateDirectory(this->Wide("Record_2/Channel_1")));  // no parent
  EXPECT_FALSE(this->Exists("Record_2"));
  EXPECT_FALSE(store.CreateDirectory(std::u16string()));
}

TYPED_TEST(StoreDirectories, DeleteTreeRemovesEverythingAndToleratesMissing) {
  auto& store = this->store();
  this->Put("m/Record_1/Channel_1/Part_1.zrs", "samples");
  this->Put("m/Record_1/meta.zrm", "{}");
  this->Put("keep/other.txt", "x");

  // Trailing separators and dot segments don't change what is deleted.
  EXPECT_TRUE(store.DeleteDirectoryTree(this->Wide("keep/../m//")));
  EXPECT_FALSE(this->Exists("m"));
  EXPECT_TRUE(this->Exists("keep/other.txt"));

  EXPECT_TRUE(store.DeleteDirectoryTree(this->Wide("m")));  // already gone
  EXPECT_TRUE(store.DeleteDirectoryTree(this->Wide("never/was")));
  EXPECT_TRUE(store.DeleteDirectoryTree(std::u16string()));  // names nothing, so nothing to do

  this->Put("single.zff", "h");  // a plain file goes too
  EXPECT_TRUE(store.DeleteDirectoryTree(this->Wide("single.zff")));
  EXPECT_FALSE(this->Exists("single.zff"));
}

TYPED_TEST(StoreDirectories, CopyTreeMergesIntoTheDestination) {
  auto& store = this->store();
  this->Put("src/a.zrs", "new a");
  this->Put("src/Channel_1/b.zpr", "b");
  this->Put("src/Channel_1/Deep/c", "c");
  this->MakeDirectories("src/Empty");

  // Into a destination that doesn't exist yet: an exact copy.
  EXPECT_TRUE(store.CopyDirectoryTree(this->Wide("src"), this->Wide("copy")));
  EXPECT_EQ(this->Snapshot("copy"), this->Snapshot("src"));

  // Into an existing one: same names are overwritten, others stay.
  this->Put("merge/a.zrs", "old a");
  this->Put("merge/Channel_1/own", "own");
  EXPECT_TRUE(store.CopyDirectoryTree(this->Wide("src/"), this->Wide("merge")));
  EXPECT_EQ(this->Text("merge/a.zrs"), "new a");
  EXPECT_EQ(this->Text("merge/Channel_1/Deep/c"), "c");
  EXPECT_EQ(this->Text("merge/Channel_1/own"), "own");

  // An empty source copies nothing but still makes the destination.
  EXPECT_TRUE(store.CopyDirectoryTree(this->Wide("src/Empty"), this->Wide("fromEmpty")));
  EXPECT_TRUE(this->IsDirectory("fromEmpty"));

  EXPECT_FALSE(store.CopyDirectoryTree(this->Wide("absent"), this->Wide("x")));
  EXPECT_FALSE(store.CopyDirectoryTree(this->Wide("src/a.zrs"), this->Wide("x")));  // not a directory
  EXPECT_FALSE(store.CopyDirectoryTree(std::u16string(), this->Wide("x")));
  EXPECT_FALSE(store.CopyDirectoryTree(this->Wide("src"), std::u16string()));
  // A copy into itself would never end.
  EXPECT_FALSE(store.CopyDirectoryTree(this->Wide("src"), this->Wide("src/Channel_1/inner")));
  EXPECT_FALSE(store.CopyDirectoryTree(this->Wide("src"), this->Wide("src")));
  EXPECT_FALSE(this->Exists("src/Channel_1/inner"));
  EXPECT_FALSE(this->Exists("x"));
}

TYPED_TEST(StoreDirectories, CopyFileListCopiesWhatItCanAndReportsTheRest) {
  auto& store = this->store();
  this->Put("src/one.zrm", "1");
  this->Put("src/two.zrm", "2");
  this->Put("dst/two.zrm", "old");
  const std::u16string src = this->Wide("src"), dst = this->Wide("dst");

  EXPECT_FALSE(store.CopyFileList(src, dst, {}));
  EXPECT_TRUE(store.CopyFileList(src, dst, {u"one.zrm", u"two.zrm"}));
  EXPECT_EQ(this->Text("dst/one.zrm"), "1");
  EXPECT_EQ(this->Text("dst/two.zrm"), "2");  // overwritten

  store.DeleteFile(this->Wide("dst/two.zrm"));
  EXPECT_FALSE(store.CopyFileList(src, dst + u"/", {u"missing.zrm", u"two.zrm", u""}));
  EXPECT_EQ(this->Text("dst/two.zrm"), "2");  // the failure didn't stop the rest

  EXPECT_FALSE(store.CopyFileList(src, this->Wide("nowhere"), {u"one.zrm"}));
  EXPECT_FALSE(store.CopyFileList(std::u16string(), dst, {u"one.zrm"}));
}

TYPED_TEST(StoreDirectories, ListSplitsDirectoriesFromFilesAndFollowsThePattern) {
  auto& store = this->store();
  const std::u16string base = this->Wide("m");
  for (const char* name : {"a.zrs", "B.ZRS", "long.zrsx", "c.zr", ".zrs", "m.zsfh", "m.zsfhx"})
    this->Put(std::string("m/") + name, "x");
  this->MakeDirectories("m/Record_1");
  this->MakeDirectories("m/dir.zrs");

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

TYPED_TEST(StoreDirectories, ListOfEmptyOrMissingDirectories) {
  auto& store = this->store();
  this->MakeDirectories("empty");
  this->Put("file.txt", "x");

  std::vector<std::u16string> dirs{u"stale"}, files{u"stale"};
  EXPECT_TRUE(store.ListDirectory(this->Wide("empty"), dirs, files, u"*"));
  EXPECT_TRUE(dirs.empty());
  EXPECT_TRUE(files.empty());
  EXPECT_TRUE(store.ListDirectory(this->Wide(), dirs, files, u"*.none"));  // no match is no error
  EXPECT_TRUE(dirs.empty());
  EXPECT_TRUE(files.empty());

  for (const std::u16string& bad : {this->Wide("missing"), this->Wide("file.txt"), std::u16string()}) {
    if (bad.empty() && zsff_test::kEmptyPathIsRoot<TypeParam>) continue;
    dirs = {u"stale"};
    files = {u"stale"};
    EXPECT_FALSE(store.ListDirectory(bad, dirs, files, u"*"));
    EXPECT_TRUE(dirs.empty());
    EXPECT_TRUE(files.empty());
  }
}

