// A recording as a crash leaves it at each change it makes to the store in turn:
// one run copies the measurement before each change, and the end-up of every
// copy must give a measurement that opens, finished, holding every sample handed
// over in the rounds that all channels finished before that change.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "TempDir.h"
#include "crash/EndUpCheck.h"
#include "support/ChangeHookFileAccess.h"
#include "tree/TreeTestSupport.h"

namespace fs = std::filesystem;
using namespace zsff_test;

namespace {

// Blocks of 32 s: one and a half parts without a ring, then two and a half in a
// ring of one part, which drops the first. Few blocks, so that the sweep stays
// short.
const WorkloadPlan kPlan{32.0, {{0.0, 3}, {64.0, 5}}};

TEST(StopPoints, EndUpKeepsEverythingHandedOverBeforeEachChange) {
  TempDir recording, copies;
  Handed handed(kPlan);
  // What had been handed over at each change, from the first.
  std::vector<Handed> handedAt;
  auto store = std::make_shared<ChangeHookFileAccess>([&](unsigned long change) {
    const fs::path copy = copies.Path() / std::to_string(change);
    fs::create_directory(copy);
    fs::copy(recording.Path() / "m", copy / "m", fs::copy_options::recursive);
    handedAt.push_back(handed);
  });
  ASSERT_TRUE(RecordWorkload(
      recording.Path(), kPlan,
      [&](zsff::CRecordSignalTree& tree) {
        RecordSignalTreeProbe::UseStore(tree, store);
        store->Arm();
      },
      [&](std::size_t record, int channel) {
        if (channel >= 0) handed.Add(record, static_cast<std::size_t>(channel));
        return true;
      }));
  ASSERT_GT(handedAt.size(), 100u);

  for (std::size_t change = 1; change <= handedAt.size(); ++change) {
    const fs::path parent = copies.Path() / std::to_string(change);
    // The lock file of the recording is the host's to clear, as after any crash.
    fs::remove(parent / "m" / "Metadata.lock");
    CheckEndUp(parent, kPlan, handedAt[change - 1],
               "stopped at change " + std::to_string(change) + ": ");
    if (HasFatalFailure()) break;
  }
  std::printf("stop points swept: %zu\n", handedAt.size());
}

}  // namespace
