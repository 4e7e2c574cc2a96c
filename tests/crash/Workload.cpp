#include "crash/Workload.h"

#include <zsff/ChannelMetaData.h>
#include <zsff/MeasurementMetaData.h>
#include <zsff/MetaDataContainer.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <map>

#include "support/ViewExpectations.h"
#include "tree/TreeTestSupport.h"

namespace zsff_test {

using zsff::CRecordSignalTree;

const std::array<ChannelPlan, kCrashChannels> kCrashChannelPlans = {{
    {zsff::CChannelID(1, 0, 4711), 16.0f, zsff::SIFloat, "SIFloat"},
    {zsff::CChannelID(2, 0, 4711), 32.0f, zsff::SIDouble, "SIDouble"},
    {zsff::CChannelID(3, 0, 4711), 64.0f, zsff::Compact16, "Compact16"},
    {zsff::CChannelID(4, 0, 4711), 8.0f, zsff::Raw32, "Raw32"},
}};

float CrashSample(std::size_t channel, unsigned long long index) {
  // Each channel at its own phase of the triangle, so that channels mixed up show.
  return TriangleSample(index + 3001 * channel);
}

unsigned long long FirstSample(const zsff::MetaDataRecord& entry, std::size_t channel) {
  return zsff::CRecordId(entry.RecordId()).PartNumber() * PartSamples(channel) +
         static_cast<unsigned long long>(entry.OffsetTimeToStop()) / TimeStep(channel);
}

namespace {

template <typename T>
void ReadTyped(zsff::CAbstractRecordSection& section, const zsff::CChannelID& id,
               unsigned long long limit, std::vector<float>& samples) {
  std::vector<T> block(4096);
  while (samples.size() < limit) {
    const unsigned long long read = section.ReadRawSampleBlock(id, block.data(), block.size());
    if (read == 0) return;
    for (unsigned long long i = 0; i < read; ++i) samples.push_back(static_cast<float>(block[i]));
  }
}

}  // namespace

std::vector<float> ReadOn(zsff::CAbstractRecordSection& section, std::size_t channel,
                          unsigned long long limit) {
  std::vector<float> samples;
  const ChannelPlan& plan = kCrashChannelPlans[channel];
  switch (plan.Format) {
    case zsff::SIDouble:
      ReadTyped<double>(section, plan.Id, limit, samples);
      break;
    case zsff::Compact16:
      ReadTyped<std::int16_t>(section, plan.Id, limit, samples);
      break;
    case zsff::Raw32:
      ReadTyped<std::int32_t>(section, plan.Id, limit, samples);
      break;
    default:
      ReadTyped<float>(section, plan.Id, limit, samples);
  }
  return samples;
}

unsigned int Handed::CompleteRounds(std::size_t record) const {
  const auto& counts = Blocks.at(record);
  return *std::min_element(counts.begin(), counts.end());
}

bool Handed::Any() const {
  for (const auto& counts : Blocks)
    for (unsigned int count : counts)
      if (count > 0) return true;
  return false;
}

namespace {

template <typename T>
std::vector<unsigned char> Typed(std::size_t channel, unsigned long long from,
                                 unsigned long long count) {
  std::vector<unsigned char> bytes(count * sizeof(T));
  T* samples = reinterpret_cast<T*>(bytes.data());
  for (unsigned long long i = 0; i < count; ++i)
    samples[i] = static_cast<T>(CrashSample(channel, from + i));
  return bytes;
}

std::vector<unsigned char> Block(std::size_t channel, unsigned long long from,
                                 unsigned long long count) {
  switch (kCrashChannelPlans[channel].Format) {
    case zsff::SIDouble:
      return Typed<double>(channel, from, count);
    case zsff::Compact16:
      return Typed<std::int16_t>(channel, from, count);
    case zsff::Raw32:
      return Typed<std::int32_t>(channel, from, count);
    default:
      return Typed<float>(channel, from, count);
  }
}

zsff::MetaDataContainer ChannelMetaData(const ChannelPlan& channel) {
  zsff::MetaDataContainer metaData;
  zsff::CMetaDataChannelWriter writer(metaData);
  writer.SamplingRate(channel.Rate);
  writer.Format(channel.FormatName);
  return metaData;
}

bool RecordOne(CRecordSignalTree& tree, const WorkloadPlan& plan, std::size_t record,
               const Watcher& watcher) {
  const RecordPlan& recordPlan = plan.Records[record];
  int handle = tree.CreateRecord(0);
  if (handle == 0 || !watcher(record, -1)) return false;
  zsff::CAbstractRecordSection& section = tree.wRecord(handle);
  std::map<zsff::CChannelID, zsff::TAG_RECORD_INFO> infos;
  for (std::size_t channel = 0; channel < kCrashChannels; ++channel) {
    const ChannelPlan& plan = kCrashChannelPlans[channel];
    // A record after the first has the channels of the one before it.
    if (!section.IsValidChannel(plan.Id) && !section.AddChannel(plan.Id, ChannelMetaData(plan)))
      return false;
    infos[plan.Id].AbsoluteDate = 133000000000000000LL + 10000000000LL * record;
    infos[plan.Id].TimeStep = TimeStep(channel);
  }
  if (!section.ArmRecord(recordPlan.RingSeconds, zsff::PartLengthShort,
                         recordPlan.RingSeconds == 0.0) ||
      !watcher(record, -1) || !section.StartRecord(infos) || !watcher(record, -1))
    return false;
  for (unsigned int round = 0; round < recordPlan.Rounds; ++round) {
    for (std::size_t channel = 0; channel < kCrashChannels; ++channel) {
      const unsigned long long count = BlockSamples(plan, channel);
      const std::vector<unsigned char> block = Block(channel, round * count, count);
      if (!section.WriteSampleBlock(kCrashChannelPlans[channel].Id, block.data(), count, true) ||
          !watcher(record, static_cast<int>(channel)))
        return false;
    }
  }
  return section.StopRecord() && watcher(record, -1) && tree.CloseRecord(handle, false) &&
         watcher(record, -1);
}

}  // namespace

bool RecordWorkload(const std::filesystem::path& parent, const WorkloadPlan& plan,
                    const std::function<void(CRecordSignalTree&)>& prepare,
                    const Watcher& watcher) {
  const std::shared_ptr<zsff::CAbstractFileAccess> noStore;
  auto tree = CRecordSignalTree::CreateSignalTree(W(parent.string()), u"m", noStore, false);
  if (!tree || !tree->SetRecordBase(kCrashBase)) return false;
  // What a host writes into the measurement's metadata before it records.
  zsff::MetaDataContainer metaData;
  tree->LoadMetaDataMeasurement(metaData);
  zsff::CMetaDataMeasurementWriter writer(metaData);
  writer.ProjectName(u"Crash tests");
  writer.MeasurementName(u"m");
  writer.SignalFileName(tree->RecordNameBase() + u".zff");
  writer.SamplingFrontEnd(kCrashFrontEndRate);
  auto lock = tree->CreateMetaDataLock(zsff::MetaDataFileLock::LockWait);
  if (!tree->SaveMetaDataMeasurement(lock.get(), metaData, true)) return false;
  lock.reset();
  // The host's mark of a measurement not yet finished.
  std::ofstream(parent / "m" / (N(tree->RecordNameBase()) + ".zff")).put('\n');
  prepare(*tree);
  if (!watcher(0, -1)) return false;
  for (std::size_t record = 0; record < plan.Records.size(); ++record)
    if (!RecordOne(*tree, plan, record, watcher)) return false;
  CRecordSignalTree::CloseSignalTree(tree);
  return watcher(plan.Records.size() - 1, -1);
}

}  // namespace zsff_test
