// A recording killed with SIGKILL at a random moment, again and again: after the
// end-up, every measurement opens, finished, and holds every sample handed over
// in the rounds that all channels finished before the kill.
//
// ZSFF_CRASH_KILLS sets the number of kills (100 by default), ZSFF_CRASH_SEED the
// seed of the first; kill k uses seed + k, which a failure names, so that
// ZSFF_CRASH_SEED=<it> ZSFF_CRASH_KILLS=1 replays it. scripts/crash-soak.sh runs
// many.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "TempDir.h"
#include "crash/EndUpCheck.h"
#include "crash/RecordingChild.h"

namespace fs = std::filesystem;
using namespace zsff_test;

namespace {

// Blocks of 8 s: two and a half parts without a ring, then four and a half in a
// ring of 128 s, which drops the first parts.
const WorkloadPlan kPlan{8.0, {{0.0, 20}, {128.0, 35}}};

unsigned long long Setting(const char* name, unsigned long long fallback) {
  const char* text = std::getenv(name);
  return text != nullptr && *text != '\0' ? std::strtoull(text, nullptr, 10) : fallback;
}

// The child's words over the whole recording: every block and every other step.
unsigned int Words() {
  unsigned int words = 2;  // the start and the end
  for (const RecordPlan& record : kPlan.Records) words += 5 + record.Rounds * kCrashChannels;
  return words;
}

TEST(KilledRecording, EndUpKeepsEverythingHandedOverBeforeTheKill) {
  const unsigned long long kills = Setting("ZSFF_CRASH_KILLS", 100);
  const unsigned long long firstSeed = Setting(
      "ZSFF_CRASH_SEED",
      static_cast<unsigned long long>(std::chrono::system_clock::now().time_since_epoch().count()));
  unsigned long long repaired = 0, lost = 0, empty = 0, locks = 0;
  for (unsigned long long kill = 0; kill < kills; ++kill) {
    const unsigned long long seed = firstSeed + kill;
    SCOPED_TRACE("ZSFF_CRASH_SEED=" + std::to_string(seed));
    std::mt19937_64 random(seed);
    // A step of the recording, then up to half a millisecond into what follows.
    const unsigned int words = std::uniform_int_distribution<unsigned int>(0, Words())(random);
    const auto delay =
        std::chrono::microseconds(std::uniform_int_distribution<int>(0, 500)(random));

    TempDir dir;
    RecordingChild child(dir.Path(), kPlan);
    for (unsigned int word = 0; word < words; ++word) {
      const char said = child.Next();
      if (said == 0 || said == RecordingChild::kFinished) break;
    }
    const auto until = std::chrono::steady_clock::now() + delay;
    while (std::chrono::steady_clock::now() < until) {
    }
    child.Kill();
    ASSERT_FALSE(child.Failed());

    // The killed process's lock file is the host's to clear, as after any crash.
    locks += fs::remove(dir.Path() / "m" / "Metadata.lock") ? 1 : 0;
    const EndUpOutcome outcome =
        CheckEndUp(dir.Path(), kPlan, child.HandedOver(), "kill " + std::to_string(kill) + ": ");
    repaired += outcome.Repaired ? 1 : 0;
    empty += child.HandedOver().Any() ? 0 : 1;
    lost += outcome.Lost;
    if (HasFatalFailure()) break;
  }
  std::printf(
      "kills %llu, repaired %llu, nothing handed over yet %llu, lock files cleared %llu, samples "
      "lost beyond the block in flight %llu (first seed %llu)\n",
      kills, repaired, empty, locks, lost, firstSeed);
  EXPECT_EQ(lost, 0u);
}

}  // namespace
