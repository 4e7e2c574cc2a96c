// What only the local store does: file times the system keeps, descriptors it
// holds, syncs, and handles cached per thread that a new store must not inherit.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>
#include <fstream>
#include <optional>
#include <string>
#include <thread>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"

using namespace zsff;
using zsff_test::TempDir;

namespace {

int OpenDescriptors() {
  int count = 0;
  if (DIR* dir = opendir("/proc/self/fd")) {
    while (readdir(dir) != nullptr) ++count;
    closedir(dir);
  }
  return count;
}

}  // namespace

TEST(LocalFileAccessFiles, FileSizeAndTimeGiveTheLastWriteAsAFileTime) {
  TempDir dir;
  CLocalFileAccess store;
  std::ofstream(dir.Path() / "stamped.bin", std::ios::binary) << "12345";
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
