// A reader with a cache reads a metadata file again only when the file has
// changed, and never trusts the time of a file too fresh to tell its versions apart.
#include <gtest/gtest.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileReader.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "persistence/MetaDataFileCache.h"
#include "support/ForwardingFileAccess.h"

namespace fs = std::filesystem;
using zsff::CMetaDataFileCache;
using zsff::CMetaDataFileReader;
using zsff::MetaDataContainer;
using zsff::MetaDataQuantity;

namespace {

class OpenCountingStore : public zsff_test::ForwardingFileAccess {
 public:
  OpenCountingStore() : ForwardingFileAccess(std::make_shared<zsff::CLocalFileAccess>()) {}
  bool OpenFile(const std::u16string& path, zsff::FileOpenMode_t mode,
                unsigned int& handle) override {
    ++Opens;
    return ForwardingFileAccess::OpenFile(path, mode, handle);
  }
  int Opens = 0;
};

// A measurement file naming one value; `text` of the same length gives a file
// of the same size.
void WriteFile(const fs::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      << "{\"Version\": 1, \"Title\": \"" << text << "\"}";
}

void Age(const fs::path& path, std::chrono::seconds age) {
  fs::last_write_time(path, fs::file_time_type::clock::now() - age);
}

std::u16string Title(const MetaDataContainer& container) {
  std::u16string title;
  container.FindMetadata("Title", title);
  return title;
}

struct CachedFile {
  zsff_test::TempDir dir;
  OpenCountingStore store;
  CMetaDataFileCache cache;
  fs::path path = dir.Path() / "Meas.zsfh";

  std::u16string Load(const std::string& name = "Meas.zsfh") {
    MetaDataContainer out;
    EXPECT_TRUE(CMetaDataFileReader(&store, &cache).Load(out, dir.Wide(name), u""));
    return Title(out);
  }
};

}  // namespace

TEST(MetaDataFileCache, ASettledFileIsReadAgainOnlyWhenItsSizeOrTimeMoved) {
  CachedFile file;
  WriteFile(file.path, "first");
  Age(file.path, std::chrono::hours(1));
  EXPECT_EQ(u"first", file.Load());
  EXPECT_EQ(u"first", file.Load());
  EXPECT_EQ(1, file.store.Opens);

  // Longer text, then text of the same size under another time.
  WriteFile(file.path, "second");
  Age(file.path, std::chrono::hours(1));
  EXPECT_EQ(u"second", file.Load());
  WriteFile(file.path, "third!");
  Age(file.path, std::chrono::hours(2));
  EXPECT_EQ(u"third!", file.Load());
  EXPECT_EQ(3, file.store.Opens);

  // Another file through the same cache is that file.
  WriteFile(file.dir.Path() / "Other.zsfh", "other");
  Age(file.dir.Path() / "Other.zsfh", std::chrono::hours(1));
  EXPECT_EQ(u"other", file.Load("Other.zsfh"));
  EXPECT_EQ(4, file.store.Opens);
}

TEST(MetaDataFileCache, AFreshFileIsReadOnEveryLook) {
  CachedFile file;
  WriteFile(file.path, "first");
  const fs::file_time_type written = fs::last_write_time(file.path);
  EXPECT_EQ(u"first", file.Load());
  // Rewritten within the same tick of a coarse clock: same size, same time.
  WriteFile(file.path, "again");
  fs::last_write_time(file.path, written);
  EXPECT_EQ(u"again", file.Load());
  EXPECT_EQ(2, file.store.Opens);
}

TEST(MetaDataFileCache, AKeptFileLeavesTheCallersOtherQuantitiesAsAParseDoes) {
  CachedFile file;
  std::ofstream(file.path) << "{\"Version\": 1, \"Title\": \"q\", \"OperatedPhysicalQuantity\": "
                              "[{\"OperatorId\": 1, \"OperatorLeftKey\": \"file\"}]}";
  Age(file.path, std::chrono::hours(1));
  const auto load = [&]() {
    MetaDataContainer out;
    out.PhysicalQuantityMap({{1, MetaDataQuantity(1, 0, "caller", "")},
                             {7, MetaDataQuantity(7, 0, "caller", "")}});
    EXPECT_TRUE(CMetaDataFileReader(&file.store, &file.cache)
                    .Load(out, file.dir.Wide("Meas.zsfh"), u""));
    std::map<int, std::string> keys;
    for (const auto& [id, quantity] : out.PhysicalQuantityMap()) keys[id] = quantity.LeftKey();
    return keys;
  };
  // A caller's quantities keep the parse from being kept; a bare look keeps it.
  const std::map<int, std::string> parsed = load();
  file.Load();
  EXPECT_EQ(2, file.store.Opens);
  EXPECT_EQ(parsed, load());
  EXPECT_EQ(2, file.store.Opens);
  EXPECT_EQ((std::map<int, std::string>{{1, "file"}, {7, "caller"}}), parsed);
}
