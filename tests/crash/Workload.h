// The recording that the crash tests interrupt: a measurement of two records of
// four channels, each of its own rate and sample format, written round by round
// (one block of every channel a round); the first record without a ring, the
// second in a ring that drops its oldest parts. Every sample tells where it lies
// in its record, so that what an end-up kept can be checked sample by sample.
#pragma once

#include <zsff/AbstractRecordSection.h>
#include <zsff/ChannelId.h>
#include <zsff/MetaDataRecord.h>
#include <zsff/RecordSignalTree.h>
#include <zsff/SignalTypes.h>

#include <array>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace zsff_test {

struct ChannelPlan {
  zsff::CChannelID Id;
  float Rate;
  zsff::SampleFormat_t Format;
  const char* FormatName;
};

constexpr std::size_t kCrashChannels = 4;
extern const std::array<ChannelPlan, kCrashChannels> kCrashChannelPlans;
constexpr long kCrashBase = 5201;
// Parts of 64 s.
constexpr double kCrashPartSeconds = 64.0;

struct RecordPlan {
  double RingSeconds;  // 0: no ring
  unsigned int Rounds;
};

struct WorkloadPlan {
  // Seconds of one block; at every rate a multiple of 32 samples, so that each
  // block closes its own groups of the pyramid, as a host's blocks do.
  double BlockSeconds;
  std::vector<RecordPlan> Records;
};

inline unsigned long long BlockSamples(const WorkloadPlan& plan, std::size_t channel) {
  return static_cast<unsigned long long>(plan.BlockSeconds * kCrashChannelPlans[channel].Rate);
}
// The analyzer's front-end rate: every channel's rate divides it, and a
// stop-time record's offset counts its samples.
constexpr float kCrashFrontEndRate = 64.0f;
inline unsigned short TimeStep(std::size_t channel) {
  return static_cast<unsigned short>(kCrashFrontEndRate / kCrashChannelPlans[channel].Rate);
}
inline unsigned long long PartSamples(std::size_t channel) {
  return static_cast<unsigned long long>(kCrashPartSeconds * kCrashChannelPlans[channel].Rate);
}

// Sample `index` of a channel's record, in every format the same number.
float CrashSample(std::size_t channel, unsigned long long index);

// The index in the recording of the first sample that the record of `entry`
// keeps of `channel`: a ring's record starts in its first kept part, where its
// window begins.
unsigned long long FirstSample(const zsff::MetaDataRecord& entry, std::size_t channel);

// The samples of `channel` from the read position of `section` on, as numbers,
// at most `limit` of them.
std::vector<float> ReadOn(zsff::CAbstractRecordSection& section, std::size_t channel,
                          unsigned long long limit);
// Every sample of a channel as it was recorded; none when the reader can't start.
inline std::vector<float> ReadChannel(zsff::CAbstractRecordSection& section, std::size_t channel) {
  if (!section.SetReadPos(kCrashChannelPlans[channel].Id, 0.0)) return {};
  return ReadOn(section, channel, ~0ULL);
}

// Blocks handed over to the library (their WriteSampleBlock returned true), by
// record (from 0) and channel.
struct Handed {
  std::vector<std::array<unsigned int, kCrashChannels>> Blocks;
  explicit Handed(const WorkloadPlan& plan) : Blocks(plan.Records.size()) {}
  void Add(std::size_t record, std::size_t channel) { ++Blocks.at(record).at(channel); }
  // Rounds that every channel of the record finished.
  unsigned int CompleteRounds(std::size_t record) const;
  bool Any() const;
};

// What the recording tells its watcher at each step: after a block handed over
// (`channel` of record `record`), and at every other step with `channel` -1.
// Answering false stops the recording there.
using Watcher = std::function<bool(std::size_t record, int channel)>;

// Records `plan` as measurement "m" in `parent` (which must exist), with the
// host's ".zff" mark beside its metadata. `prepare` gets the tree before the first
// record is made. False when a step of the library failed, or the watcher
// stopped it.
bool RecordWorkload(const std::filesystem::path& parent, const WorkloadPlan& plan,
                    const std::function<void(zsff::CRecordSignalTree&)>& prepare,
                    const Watcher& watcher);

}  // namespace zsff_test
