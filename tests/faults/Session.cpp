#include "faults/Session.h"

#include <zsff/ChannelMetaData.h>
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>
#include <zsff/RecordZoomer.h>

#include <algorithm>
#include <map>

#include "support/CapturedDiagnostics.h"
#include "support/FaultInjectingFileAccess.h"
#include "tree/TreeTestSupport.h"

namespace zsff_test {

namespace {

using zsff::CAbstractRecordSection;
using zsff::CChannelID;
using zsff::CRecordId;

constexpr float kRate = 64.0f;  // parts of 64 s: 4096 samples
constexpr unsigned long long kBlock = 1024;
const CChannelID kChannels[] = {CChannelID(1, 0, 4711), CChannelID(2, 0, 4711)};

struct RecordPlan {
  unsigned long long Samples;
  double RingSeconds;  // 0: none
};
// The ring keeps 64 s and up to one part more, so it drops the first part.
const RecordPlan kRecords[] = {{6000, 0.0}, {13000, 64.0}, {3000, 0.0}};

std::string Narrow(const std::u16string& text) {
  return std::string(text.begin(), text.end());  // the library's texts are ASCII
}

zsff::MetaDataContainer ChannelMetaData() {
  zsff::MetaDataContainer metaData;
  zsff::CMetaDataChannelWriter writer(metaData);
  writer.SamplingRate(kRate);
  writer.Format("SIFloat");
  return metaData;
}

// Every sample of `channel` from the section's start, as far as it reads; false
// when a read failed rather than found the end.
bool ReadChannel(CAbstractRecordSection& section, const CChannelID& channel,
                 std::vector<float>& samples) {
  samples.clear();
  if (!section.SetReadPos(channel, 0.0)) return false;
  std::vector<float> block(4096);
  for (;;) {
    const unsigned long long read = section.ReadRawSampleBlock(channel, block.data(), block.size());
    zsff::CAbstractRecordSection::ReadState_t state;
    if (read == 0) return section.EndOfReading(channel, state);
    samples.insert(samples.end(), block.begin(), block.begin() + read);
  }
}

// What a record of `plan` must read back as: the whole ramp, or for a ring its
// consecutive tail of at least the ring's length. "" when it does.
std::string Compare(const RecordPlan& plan, const std::vector<float>& samples) {
  const unsigned long long ringSamples = static_cast<unsigned long long>(plan.RingSeconds * kRate);
  if (plan.RingSeconds == 0.0 ? samples.size() != plan.Samples
                              : samples.size() < ringSamples || samples.size() > plan.Samples)
    return "read " + std::to_string(samples.size()) + " of " + std::to_string(plan.Samples);
  const unsigned long long first = plan.Samples - samples.size();
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (samples[i] != static_cast<float>(first + i))
      return "sample " + std::to_string(i) + " is " + std::to_string(samples[i]);
  }
  return "";
}

class Script {
 public:
  Script(FaultInjectingFileAccess& store, SessionOutcome& outcome)
      : m_Store(store), m_Outcome(outcome) {}

  // Notes the first failing step with its text; false, so callers return it.
  bool Fail(const std::string& step, const std::u16string& text) {
    return Fail(step, Narrow(text));
  }
  bool Fail(const std::string& step, const std::string& text) {
    m_Outcome.FailedStep = step;
    m_Outcome.ErrorText = text;
    return false;
  }
  void Differed(const std::string& step) {
    Fail(step, "");
    m_Outcome.ReadBackDiffered = true;
  }
  void Finished(const CRecordId& id) {
    m_Outcome.Finished.push_back(id);
    if (m_Store.Injected() == 0) m_Outcome.FinishedBeforeFault.push_back(id);
  }
  FaultInjectingFileAccess& Store() { return m_Store; }

 private:
  FaultInjectingFileAccess& m_Store;
  SessionOutcome& m_Outcome;
};

bool Record(Script& script, zsff::CRecordSignalTree& tree, std::size_t index) {
  const RecordPlan& plan = kRecords[index];
  const std::string step = "record " + std::to_string(index + 1) + ": ";
  int handle = tree.CreateRecord(0);
  if (handle == 0) return script.Fail(step + "create", Tree::LastErrorString());
  CAbstractRecordSection& section = tree.wRecord(handle);
  std::map<CChannelID, zsff::TAG_RECORD_INFO> infos;
  for (const CChannelID& channel : kChannels) {
    // A record after the first has the channels of the one before it.
    if (!section.IsValidChannel(channel) && !section.AddChannel(channel, ChannelMetaData()))
      return script.Fail(step + "add channel", section.LastErrorString());
    infos[channel].AbsoluteDate = 133000000000000000LL + 10000000000LL * index;
    infos[channel].TimeStep = 1;
  }
  if (!section.ArmRecord(plan.RingSeconds, zsff::PartLengthShort, plan.RingSeconds == 0.0))
    return script.Fail(step + "arm", section.LastErrorString());
  if (!section.StartRecord(infos)) return script.Fail(step + "start", section.LastErrorString());

  std::vector<float> block;
  for (unsigned long long at = 0; at < plan.Samples; at += block.size()) {
    block.resize(std::min(kBlock, plan.Samples - at));
    for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<float>(at + i);
    for (const CChannelID& channel : kChannels) {
      if (!section.WriteSampleBlock(channel, block.data(), block.size(), true))
        return script.Fail(step + "write", section.LastErrorString());
    }
    double length = 0.0;
    if (index == 0 && at == 2 * kBlock &&
        !tree.AddMarker(length, 1.0, 2.0, u"Marker " + std::u16string(1, u'1')))
      return script.Fail(step + "add marker", Tree::LastErrorString());
  }
  if (!section.StopRecord()) return script.Fail(step + "stop", section.LastErrorString());
  const CRecordId id = section.RecordId();
  if (!tree.CloseRecord(handle, false)) return script.Fail(step + "close", Tree::LastErrorString());
  script.Finished(id);
  return true;
}

// The id under which `tree` lists the record numbered as `id`: a ring's id
// names its first part kept, which the list has only once it is stopped.
bool Listed(const zsff::CRecordSignalTree& tree, const CRecordId& id, CRecordId& listed) {
  std::vector<CRecordId> records;
  if (!tree.ListRecords(records, false)) return false;
  for (const CRecordId& record : records) {
    if (record.RecordNumber() != id.RecordNumber()) continue;
    listed = record;
    return true;
  }
  return false;
}

// Reads every record of `records` (planned in that order) back; "" when each
// is what was written, else the step and what was wrong.
std::string ReadBack(Script* script, zsff::CRecordSignalTree& tree,
                     const std::vector<CRecordId>& records) {
  for (std::size_t index = 0; index < records.size(); ++index) {
    const std::string step = "read record " + std::to_string(index + 1) + ": ";
    CRecordId id;
    int handle = Listed(tree, records[index], id) ? tree.OpenRecord(id, Tree::TreeOpenRead, 0) : 0;
    if (handle == 0) {
      const std::u16string text = Tree::LastErrorString();
      if (script) script->Fail(step + "open", text);
      return step + "open: " + Narrow(text);
    }
    CAbstractRecordSection& section = tree.wRecord(handle);
    for (const CChannelID& channel : kChannels) {
      std::vector<float> samples;
      if (!ReadChannel(section, channel, samples)) {
        const std::u16string text = section.LastErrorString();
        if (script) script->Fail(step + "read", text);
        return step + "read: " + Narrow(text);
      }
      const std::string wrong = Compare(kRecords[index], samples);
      if (!wrong.empty()) {
        // A read that ends early without a word is a failure swallowed.
        if (script) script->Differed(step + "channel " + std::to_string(channel.ChannelNumber()) + " " + wrong);
        return step + wrong;
      }
    }
    tree.CloseRecord(handle, false);
  }
  return "";
}

std::unique_ptr<zsff::CRecordSignalTree> Open(const std::u16string& parent,
                                              const std::u16string& name,
                                              std::shared_ptr<zsff::CAbstractFileAccess> store) {
  auto tree = Tree::OpenSignalTree(parent, name, Tree::TreeOpenRead, kNoStore, false, u"", false);
  if (tree) RecordSignalTreeProbe::UseStore(*tree, std::move(store));
  return tree;
}

}  // namespace

unsigned long long SessionRecordSamples(std::size_t index) { return kRecords[index].Samples; }

SessionOutcome RunSession(const std::u16string& parent, const std::u16string& name, long base,
                          const std::shared_ptr<FaultInjectingFileAccess>& store) {
  SessionOutcome outcome;
  Script script(*store, outcome);
  CapturedDiagnostics diagnostics;
  {
    auto tree = Tree::CreateSignalTree(parent, name, kNoStore, false);
    if (!tree) {
      script.Fail("create the measurement", Tree::LastErrorString());
      return outcome;
    }
    RecordSignalTreeProbe::UseStore(*tree, store);
    if (!tree->SetRecordBase(base)) {
      script.Fail("set the record base", Tree::LastErrorString());
      return outcome;
    }
    zsff::MetaDataContainer metaData;
    tree->LoadMetaDataMeasurement(metaData);
    zsff::CMetaDataMeasurementWriter writer(metaData);
    writer.ProjectName(u"Fault sweep");
    writer.MeasurementName(name);
    // The analyzer's rate, which a ring's offset counts in.
    writer.SamplingFrontEnd(kRate);
    auto lock = tree->CreateMetaDataLock(zsff::MetaDataFileLock::LockWait);
    if (!tree->SaveMetaDataMeasurement(lock.get(), metaData, true)) {
      script.Fail("save the measurement", Tree::LastErrorString());
      return outcome;
    }
    lock.reset();

    for (std::size_t index = 0; index < std::size(kRecords); ++index)
      if (!Record(script, *tree, index)) return outcome;
    if (!ReadBack(&script, *tree, outcome.Finished).empty()) return outcome;

    zsff::CRecordZoomer zoomer;
    std::vector<float> view;
    diagnostics.Take();
    if (!zoomer.Init(tree.get(), kChannels[0]) ||
        !zoomer.GetCompressedSignal(kChannels[0], 0.0f, 400.0f, 200, false, 0, view)) {
      script.Fail("zoom", diagnostics.Take());
      return outcome;
    }
    zoomer.Clean(true);

    zsff::MetaDataContainer markers;
    if (!tree->ReadMarkers(markers)) {
      script.Fail("read the markers", Tree::LastErrorString());
      return outcome;
    }
  }
  auto tree = Open(parent, name, store);
  std::vector<CRecordId> records;
  if (!tree || !tree->ListRecords(records, false)) {
    script.Fail("reopen", Tree::LastErrorString());
  } else if (records.size() != outcome.Finished.size()) {
    script.Fail("reopen", "lists " + std::to_string(records.size()) + " records");
  }
  return outcome;
}

std::string CheckAfterwards(const std::u16string& parent, const std::u16string& name,
                            const std::shared_ptr<zsff::CAbstractFileAccess>& store,
                            const std::vector<CRecordId>& records) {
  CapturedDiagnostics diagnostics;
  std::vector<Tree::RecordEndUp_t> repaired;
  std::vector<std::string> errors;
  if (!Tree::EndUpMeasurement(parent + u"/" + name, store, false, repaired, errors))
    return "end-up: " + (errors.empty() ? std::string("no reason") : errors.front());
  auto tree = Open(parent, name, store);
  if (!tree) return "reopen: " + Narrow(Tree::LastErrorString());
  return ReadBack(nullptr, *tree, records);
}

}  // namespace zsff_test
