#include "crash/EndUpCheck.h"

#include <gtest/gtest.h>
#include <zsff/MetaDataRecord.h>
#include <zsff/RecordSignalTree.h>
#include <zsff/RecordZoomer.h>

#include <cmath>
#include <memory>
#include <vector>

#include "support/ViewExpectations.h"
#include "tree/TreeTestSupport.h"

namespace fs = std::filesystem;

namespace zsff_test {

using zsff::CRecordSignalTree;

namespace {

// The pyramid's view of the whole channel, a point for every 64 samples or so.
// `after` are the samples on disk past the kept ones, which the last point may
// take in.
void ExpectPyramid(zsff::CAbstractRecordSection& section, std::size_t channel,
                   const std::vector<float>& samples, const std::vector<float>& after,
                   const std::string& label) {
  const ChannelPlan& plan = kCrashChannelPlans[channel];
  const unsigned long long points = samples.size() / 64;
  if (points == 0) return;
  const float length = static_cast<float>(samples.size()) / plan.Rate;
  ASSERT_TRUE(section.RequestCompressedSignal(plan.Id, 0.0f, length, points, false))
      << label << N(section.LastErrorString());
  std::vector<float> view(2 * points + 16);
  ASSERT_EQ(section.GetCompressedSignal(plan.Id, view.data(), zsff::SampleReadRecorded),
            zsff::CompressReady)
      << label << N(section.LastErrorString());
  view.resize(section.GetCompressedSignalInfo(plan.Id).Size);
  // Each part rounds its own share of the points.
  ASSERT_GE(view.size() + 8, 2 * points) << label;
  const double share = static_cast<double>(samples.size()) / static_cast<double>(view.size() / 2);
  const double slack = 2 * share + 32;
  // The last point may reach into the samples on disk past the end, which the
  // channels that got further than the others before the kill left there: it
  // must show samples of that stretch, the others those of their own shares.
  std::vector<float> onDisk = samples;
  onDisk.insert(onDisk.end(), after.begin(), after.end());
  const Extremes last = Window(onDisk, static_cast<double>(samples.size()) - share - slack,
                               static_cast<double>(onDisk.size()));
  EXPECT_TRUE(view[view.size() - 2] >= last.low && view.back() <= last.high)
      << label << "pyramid: the last point is (" << view[view.size() - 2] << ", " << view.back()
      << ")";
  view.resize(view.size() - 2);
  if (!view.empty())
    ExpectView(view, onDisk, 0.0, static_cast<double>(samples.size()) - share, slack,
               label + "pyramid");
}

// One listed record: its channels against what was handed over. Adds what was
// lost to `lost`.
void CheckRecord(CRecordSignalTree& tree, const zsff::MetaDataRecord& entry,
                 const WorkloadPlan& plan, const Handed& handed, const Handed& required,
                 std::size_t record, const std::string& label, unsigned long long& lost) {
  EXPECT_FALSE(entry.Recording()) << label;
  const zsff::CRecordId id(entry.RecordId());
  int handle = tree.OpenRecord(id, CRecordSignalTree::TreeOpenRead, 0);
  ASSERT_NE(handle, 0) << label << N(CRecordSignalTree::LastErrorString());
  zsff::CAbstractRecordSection& section = tree.wRecord(handle);
  const unsigned int complete = required.CompleteRounds(record);
  for (std::size_t channel = 0; channel < kCrashChannels; ++channel) {
    const std::string where = label + "channel " + std::to_string(channel) + ": ";
    const std::vector<float> samples = ReadChannel(section, channel);
    const unsigned long long first = FirstSample(entry, channel);
    const unsigned long long block = BlockSamples(plan, channel);
    const unsigned long long end = first + samples.size();
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < samples.size(); ++i)
      if (samples[i] != CrashSample(channel, first + i) && wrong++ < 3)
        ADD_FAILURE() << where << "sample " << first + i << " reads " << samples[i];
    if (end < complete * block) lost += complete * block - end;
    EXPECT_GE(end, complete * block) << where << "samples lost beyond the block in flight";
    EXPECT_LE(end, (handed.Blocks[record][channel] + 1) * block) << where << "samples invented";
    // A channel without a block in a record whose other channels have some is
    // unusable, and the record as long as those.
    if (samples.empty() && complete == 0) continue;
    const double rate = kCrashChannelPlans[channel].Rate;
    EXPECT_NEAR(entry.Duration() * rate, static_cast<double>(samples.size()), 1.0)
        << where << "the record list's duration";
    // Channels that got further than the others before the kill keep those
    // samples on disk, beyond the record's end.
    std::vector<float> after;
    for (unsigned long long i = end; i < (handed.Blocks[record][channel] + 1) * block; ++i)
      after.push_back(CrashSample(channel, i));
    ExpectPyramid(section, channel, samples, after, where);
  }
  tree.CloseRecord(handle, false);
}

}  // namespace

EndUpOutcome CheckEndUp(const fs::path& parent, const WorkloadPlan& plan, const Handed& handed,
                        const std::string& label, const Handed* required) {
  if (required == nullptr) required = &handed;
  EndUpOutcome outcome;
  std::shared_ptr<zsff::CAbstractFileAccess> store;
  std::vector<CRecordSignalTree::RecordEndUp_t> repaired;
  std::vector<std::string> errors;
  const bool ended =
      CRecordSignalTree::RecordEndUp(W(parent.string()), store, false, repaired, errors);
  outcome.Repaired = repaired.size() == 1;
  const fs::path measurement = parent / "m";
  EXPECT_FALSE(fs::exists(measurement / ("Record_" + std::to_string(kCrashBase) + ".zff")))
      << label;
  // A measurement in which nothing was handed over may hold no record, which the
  // end-up reports, or prove empty and go.
  if (!handed.Any()) return outcome;
  std::string lines;
  for (const std::string& line : errors) lines += line + "\n";
  EXPECT_TRUE(ended) << label << lines;
  EXPECT_TRUE(outcome.Repaired) << label << lines;

  auto tree = CRecordSignalTree::OpenSignalTree(
      W(parent.string()), u"m", CRecordSignalTree::TreeOpenRead,
      std::shared_ptr<zsff::CAbstractFileAccess>(), false, u"", false);
  if (!tree) {
    ADD_FAILURE() << label << "doesn't open: " << N(CRecordSignalTree::LastErrorString());
    return outcome;
  }
  std::vector<zsff::MetaDataRecord> list;
  EXPECT_TRUE(tree->GetRecordsVect(list)) << label;
  double total = 0.0;
  for (std::size_t record = 0; record < plan.Records.size(); ++record) {
    const zsff::MetaDataRecord* entry = nullptr;
    for (const zsff::MetaDataRecord& candidate : list)
      if (zsff::CRecordId(candidate.RecordId()).RecordNumber() == record + 1) entry = &candidate;
    const std::string where = label + "record " + std::to_string(record + 1) + ": ";
    if (entry == nullptr) {
      // Only a record without a whole round may prove empty and go.
      EXPECT_EQ(required->CompleteRounds(record), 0u) << where << "is gone";
      for (std::size_t channel = 0; channel < kCrashChannels; ++channel)
        outcome.Lost += required->CompleteRounds(record) * BlockSamples(plan, channel);
      continue;
    }
    total += entry->Duration();
    CheckRecord(*tree, *entry, plan, handed, *required, record, where, outcome.Lost);
  }
  for (const auto& file : fs::recursive_directory_iterator(measurement))
    EXPECT_NE(file.path().filename(), "TmpRecord.zrm") << label << file.path();

  if (total > 0.0) {
    zsff::CRecordZoomer zoomer;
    const zsff::CChannelID& channel = kCrashChannelPlans[0].Id;
    std::vector<float> view;
    EXPECT_TRUE(zoomer.Init(tree.get(), channel)) << label << "zoom";
    EXPECT_TRUE(
        zoomer.GetCompressedSignal(channel, 0.0f, static_cast<float>(total), 100, false, 0, view))
        << label << "zoom";
    EXPECT_FALSE(view.empty()) << label << "zoom";
    for (float value : view) {
      if (std::isfinite(value)) continue;
      ADD_FAILURE() << label << "the zoom holds " << value;
      break;
    }
    zoomer.Clean(true);
  }
  return outcome;
}

}  // namespace zsff_test
