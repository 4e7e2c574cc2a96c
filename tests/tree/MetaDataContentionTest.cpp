// Four processes update one measurement's metadata at once, each a read, a change
// and a write under the metadata lock: a counter in the measurement file and the
// markers file in turn. Afterwards no update is lost (the counter holds every
// increment, every marker is there) and none is torn (every load in between and
// after parses). ZSFF_CONTENTION_UPDATES sets the number of updates in all
// (10000 by default).
#include <unistd.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataFileLock.h>
#include <zsff/RecordSignalTree.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "support/ChildProcess.h"
#include "tree/TreeTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

constexpr int kProcesses = 4;
// Every tenth update of a process adds a marker, the others count.
constexpr unsigned long long kMarkerEvery = 10;

std::string CountKey(int process) { return "Count" + std::to_string(process); }

// Exit codes of an updating process.
enum ChildExit_t { ChildDone = 0, ChildNoTree = 10, ChildTorn = 11, ChildNotSaved = 12 };

// One update of process `process` under the lock; false when the lock wasn't had
// in time, which the caller retries as a host would. A load that fails under the
// lock is a torn file (the markers file only once this process wrote it); a save
// that fails is a lost update.
bool Update(Tree& tree, int process, unsigned long long update, int& failure) {
  std::unique_ptr<MetaDataFileLock> lock = tree.CreateMetaDataLock(MetaDataFileLock::LockWait);
  if (!lock) return false;
  if ((update + 1) % kMarkerEvery == 0) {
    MetaDataContainer markers;
    if (!tree.ReadMarkers(markers) && update >= kMarkerEvery) {
      failure = ChildTorn;
      return true;
    }
    const CMarkerId id(static_cast<unsigned short>(update / kMarkerEvery + 1),
                       static_cast<unsigned short>(process + 1));
    markers.AddMarker(id, 1.0, 1.0, u"", u"contended");
    if (!tree.WriteMarkers(markers)) failure = ChildNotSaved;
    return true;
  }
  MetaDataContainer metaData;
  long long total = 0, mine = 0;
  if (!tree.LoadMetaDataMeasurement(metaData) || !metaData.FindMetadata("Counter", total) ||
      !metaData.FindMetadata(CountKey(process), mine)) {
    failure = ChildTorn;
    return true;
  }
  metaData.AddMetadata("Counter", total + 1);
  metaData.AddMetadata(CountKey(process), mine + 1);
  if (!tree.SaveMetaDataMeasurement(lock.get(), metaData, false)) failure = ChildNotSaved;
  return true;
}

int UpdateInChild(const std::u16string& parent, int process, unsigned long long updates,
                  Signal& start) {
  std::unique_ptr<Tree> tree =
      Tree::OpenSignalTree(parent, u"m", Tree::TreeOpenEdit, kNoStore, false, u"", false);
  if (!tree || !start.Receive()) return ChildNoTree;
  for (unsigned long long update = 0; update < updates; ++update) {
    int failure = ChildDone;
    while (!Update(*tree, process, update, failure)) {
    }
    if (failure != ChildDone) return failure;
    // A host does other work between updates; without it, the process that
    // just let the lock go would take it straight back.
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
  return ChildDone;
}

unsigned long long Updates() {
  const char* text = std::getenv("ZSFF_CONTENTION_UPDATES");
  return text != nullptr && *text != '\0' ? std::strtoull(text, nullptr, 10) : 10000;
}

TEST(MetaDataContention, FourProcessesLoseNoUpdateAndTearNoFile) {
  const unsigned long long perProcess = Updates() / kProcesses;
  TempDir dir;
  {
    std::unique_ptr<Tree> tree = Tree::CreateSignalTree(dir.Wide(), u"m", kNoStore, false);
    ASSERT_TRUE(tree && tree->SetRecordBase(4711));
    MetaDataContainer metaData;
    metaData.AddMetadata("Counter", 0LL);
    for (int process = 0; process < kProcesses; ++process)
      metaData.AddMetadata(CountKey(process), 0LL);
    auto lock = tree->CreateMetaDataLock(MetaDataFileLock::LockWait);
    ASSERT_TRUE(tree->SaveMetaDataMeasurement(lock.get(), metaData, false));
  }

  Signal start;
  std::vector<Reaper> children(kProcesses);
  for (int process = 0; process < kProcesses; ++process) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      start.KeepReceivingEnd();
      _exit(UpdateInChild(dir.Wide(), process, perProcess, start));
    }
    children[process].Pid = child;
  }
  start.KeepSendingEnd();
  for (int process = 0; process < kProcesses; ++process) start.Send();
  for (int process = 0; process < kProcesses; ++process) {
    const int status = children[process].Wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == ChildDone)
        << "process " << process << " ended with " << status;
  }

  std::unique_ptr<Tree> tree =
      Tree::OpenSignalTree(dir.Wide(), u"m", Tree::TreeOpenRead, kNoStore, false, u"", false);
  ASSERT_TRUE(tree);
  MetaDataContainer metaData;
  ASSERT_TRUE(tree->LoadMetaDataMeasurement(metaData)) << N(Tree::LastErrorString());
  const unsigned long long counted = perProcess - perProcess / kMarkerEvery;
  long long value = -1;
  EXPECT_TRUE(metaData.FindMetadata("Counter", value));
  EXPECT_EQ(value, static_cast<long long>(counted * kProcesses));
  for (int process = 0; process < kProcesses; ++process) {
    EXPECT_TRUE(metaData.FindMetadata(CountKey(process), value));
    EXPECT_EQ(value, static_cast<long long>(counted)) << "process " << process;
  }
  MetaDataContainer markers;
  ASSERT_TRUE(tree->ReadMarkers(markers)) << N(Tree::LastErrorString());
  EXPECT_EQ(markers.GetMarkersKeys().size(), perProcess / kMarkerEvery * kProcesses);
  for (int process = 0; process < kProcesses; ++process)
    for (unsigned long long marker = 1; marker <= perProcess / kMarkerEvery; ++marker) {
      MetaDataMarker found;
      EXPECT_TRUE(markers.FindMarker(CMarkerId(static_cast<unsigned short>(marker),
                                               static_cast<unsigned short>(process + 1)),
                                     found))
          << "marker " << marker << " of process " << process;
    }
  EXPECT_FALSE(std::filesystem::exists(dir.Path() / "m" / "Metadata.lock"));
  std::printf("updates under contention: %llu by %d processes\n", perProcess * kProcesses,
              kProcesses);
}

}  // namespace
