// A recording that loses power, beyond what the design promises without the
// durability setting: with the local store syncing at an interval, the end-up
// keeps every sample handed over longer than that interval before the loss.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <thread>

#include "TempDir.h"
#include "crash/EndUpCheck.h"
#include "support/PowerLossFileAccess.h"
#include "tree/TreeTestSupport.h"

using namespace zsff_test;
using Clock = std::chrono::steady_clock;

namespace {

const WorkloadPlan kPlan{4.0, {{0.0, 40}, {128.0, 70}}};
constexpr std::chrono::milliseconds kInterval(20);

TEST(PowerLoss, EndUpKeepsWhatWasHandedOverAnIntervalBeforeTheLoss) {
  std::mt19937 random(20261126);
  unsigned int totalBlocks = 0;
  for (const RecordPlan& record : kPlan.Records) totalBlocks += record.Rounds * kCrashChannels;
  for (int loss = 0; loss < 8; ++loss) {
    const unsigned int lossAt = std::uniform_int_distribution<unsigned int>(1, totalBlocks)(random);
    SCOPED_TRACE("power lost after block " + std::to_string(lossAt));
    TempDir dir;
    auto store = std::make_shared<PowerLossFileAccess>();
    Handed handed(kPlan), required(kPlan);
    struct Stamp {
      std::size_t record;
      std::size_t channel;
      Clock::time_point at;
    };
    std::vector<Stamp> stamps;
    Clock::time_point previous = Clock::now();
    RecordWorkload(
        dir.Path(), kPlan,
        [&](zsff::CRecordSignalTree& tree) {
          RecordSignalTreeProbe::UseStore(tree, store);
          tree.SetSyncInterval(kInterval);
        },
        [&](std::size_t record, int channel) {
          const Clock::time_point now = Clock::now();
          if (channel < 0) {
            previous = now;
            return true;
          }
          handed.Add(record, static_cast<std::size_t>(channel));
          stamps.push_back({record, static_cast<std::size_t>(channel), now});
          if (stamps.size() == lossAt) {
            // The last write before the loss came after the step before this
            // one, and a sync started less than an interval before that write.
            for (const Stamp& stamp : stamps)
              if (stamp.at <= previous - kInterval) required.Add(stamp.record, stamp.channel);
            store->LosePower();
            return false;
          }
          previous = now;
          if (channel + 1 == static_cast<int>(kCrashChannels))
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
          return true;
        });
    store->Restore();
    CheckEndUp(dir.Path(), kPlan, handed, "", &required);
    if (HasFatalFailure()) break;
  }
}

}  // namespace
