#include "damage/LibraryRun.h"

#include <zsff/RecordSignalTree.h>
#include <zsff/RecordZoomer.h>

#include <algorithm>
#include <memory>

#include "foundation/TextConversion.h"
#include "support/CapturedDiagnostics.h"
#include "tree/TreeTestSupport.h"

namespace zsff_test {

using zsff::CRecordSignalTree;

namespace {

class Run {
 public:
  explicit Run(LibraryOutcome& outcome) : m_Outcome(outcome) {}

  // Notes a failed step with its text, and the diagnostic lines since the last.
  void Failed(const std::string& step, const std::u16string& text) {
    const std::string said = zsff::WideToUtf8(text) + m_Diagnostics.Take();
    m_Outcome.Failures.push_back(step + ": " + said);
    if (said.empty() && m_Outcome.Silent.empty()) m_Outcome.Silent = step;
  }
  void Succeeded() { m_Diagnostics.Take(); }

  // Holds the samples of a channel to the recording from one of the `starts`
  // on; a part that is gone reads as zeros.
  void Check(const std::string& step, std::size_t channel,
             const std::vector<unsigned long long>& starts, const std::vector<float>& samples) {
    m_Outcome.SamplesRead += samples.size();
    std::size_t matched = 0;
    for (unsigned long long first : starts) {
      std::size_t i = 0;
      while (i < samples.size() &&
             (samples[i] == CrashSample(channel, first + i) || samples[i] == 0.0f))
        ++i;
      matched = std::max(matched, i);
    }
    if (matched < samples.size() && m_Outcome.Wrong.empty())
      m_Outcome.Wrong = step + ": sample " + std::to_string(matched) + " reads " +
                        std::to_string(samples[matched]);
  }

 private:
  LibraryOutcome& m_Outcome;
  CapturedDiagnostics m_Diagnostics;
};

void ReadRecord(CRecordSignalTree& tree, const zsff::MetaDataRecord& entry,
                unsigned long long limit, bool live, Run& run) {
  const std::string record = "record " + std::to_string(zsff::CRecordId(entry.RecordId()).RecordNumber());
  int handle = tree.OpenRecord(zsff::CRecordId(entry.RecordId()), CRecordSignalTree::TreeOpenRead, 0);
  if (handle == 0) return run.Failed(record + " open", CRecordSignalTree::LastErrorString());
  zsff::CAbstractRecordSection& section = tree.wRecord(handle);
  for (std::size_t channel = 0; channel < kCrashChannels; ++channel) {
    const zsff::CChannelID& id = kCrashChannelPlans[channel].Id;
    const std::string step = record + " channel " + std::to_string(channel);
    if (!section.SetReadPos(id, 0.0)) {
      run.Failed(step + " read", section.LastErrorString());
      continue;
    }
    // A record that looks live may read from the start of any of its parts, as
    // its temporary record file has it.
    std::vector<unsigned long long> starts = {FirstSample(entry, channel)};
    for (unsigned long long part = zsff::CRecordId(entry.RecordId()).PartNumber();
         live && part <= entry.LastPartNumber(); ++part)
      starts.push_back(part * PartSamples(channel));
    run.Check(step + " read", channel, starts, ReadOn(section, channel, limit));
    run.Succeeded();
    const float length = static_cast<float>(section.SignalLength(id, false));
    if (!section.RequestCompressedSignal(id, 0.0f, length, 50, false)) {
      run.Failed(step + " view", section.LastErrorString());
      continue;
    }
    std::vector<float> view(2 * 50 + 16);
    if (section.GetCompressedSignal(id, view.data(), zsff::SampleReadRecorded) != zsff::CompressReady)
      run.Failed(step + " view", section.LastErrorString());
    else
      run.Succeeded();
  }
  tree.CloseRecord(handle, false);
}

}  // namespace

LibraryOutcome RunLibrary(const std::filesystem::path& parent, const std::u16string& name,
                          unsigned long long limit, bool live) {
  LibraryOutcome outcome;
  Run run(outcome);
  auto tree = CRecordSignalTree::OpenSignalTree(W(parent.string()), name,
                                                CRecordSignalTree::TreeOpenRead, kNoStore, false,
                                                u"", false);
  if (!tree) {
    run.Failed("open", CRecordSignalTree::LastErrorString());
    return outcome;
  }
  std::vector<zsff::MetaDataRecord> list;
  outcome.Listed = tree->GetRecordsVect(list);
  if (!outcome.Listed) run.Failed("list", CRecordSignalTree::LastErrorString());
  double total = 0.0;
  for (const zsff::MetaDataRecord& entry : list) {
    ReadRecord(*tree, entry, limit, live, run);
    total += entry.Duration();
  }
  zsff::MetaDataContainer markers;
  if (!tree->ReadMarkers(markers)) run.Failed("markers", CRecordSignalTree::LastErrorString());
  if (outcome.Listed) {
    zsff::CRecordZoomer zoomer;
    const zsff::CChannelID& channel = kCrashChannelPlans[0].Id;
    std::vector<float> view;
    if (!zoomer.Init(tree.get(), channel) ||
        !zoomer.GetCompressedSignal(channel, 0.0f, static_cast<float>(total), 100, false, 0, view))
      run.Failed("zoom", CRecordSignalTree::LastErrorString());
    else
      run.Succeeded();
    zoomer.Clean(true);
  }
  CRecordSignalTree::CloseSignalTree(tree);
  return outcome;
}

}  // namespace zsff_test
