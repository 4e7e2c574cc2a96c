// What the tests of cutting and deleting records share: small measurements whose
// every sample tells where it lies (its index in the record), made through the
// tree, and readers of a record's samples and channel files.
#pragma once

#include <zsff/ChannelMetaData.h>
#include <zsff/RecordSignalTree.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <vector>

#include "tree/TreeTestSupport.h"

namespace zsff_test {

// A slow rate keeps the parts of 64 s (PartLengthShort) small: 4096 samples.
constexpr float kSurgeryRate = 64.0f;
constexpr unsigned long long kPartSamples = 4096;
const zsff::CChannelID kLeft(1, 0, 4711), kRight(2, 0, 4711);

inline zsff::MetaDataContainer SurgeryChannel() {
  zsff::MetaDataContainer metaData;
  zsff::CMetaDataChannelWriter writer(metaData);
  writer.SamplingRate(kSurgeryRate);
  writer.Format("SIFloat");
  return metaData;
}

// Adds both channels (a record after the first has them already), arms parts of 64 s (a ring of `maxLength` seconds when
// not 0) and starts the section.
inline void StartTwoChannels(zsff::CAbstractRecordSection& section, double maxLength = 0.0) {
  if (section.ChannelCount() == 0) {
    ASSERT_TRUE(section.AddChannel(kLeft, SurgeryChannel()));
    ASSERT_TRUE(section.AddChannel(kRight, SurgeryChannel()));
  }
  ASSERT_TRUE(section.ArmRecord(maxLength, zsff::PartLengthShort, maxLength == 0.0));
  std::map<zsff::CChannelID, zsff::TAG_RECORD_INFO> infos;
  infos[kLeft].AbsoluteDate = 133000000000000000LL;
  infos[kRight].AbsoluteDate = 133000000000000000LL;
  ASSERT_TRUE(section.StartRecord(infos)) << N(section.LastErrorString());
}

// Writes samples `from` to `to` (exclusive) of the record's ramp on both channels.
inline void WriteRamp(zsff::CAbstractRecordSection& section, unsigned long long from,
                      unsigned long long to) {
  std::vector<float> block;
  for (unsigned long long at = from; at < to; at += block.size()) {
    block.resize(std::min<unsigned long long>(16384, to - at));
    for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<float>(at + i);
    ASSERT_TRUE(section.WriteSampleBlock(kLeft, block.data(), block.size(), true));
    ASSERT_TRUE(section.WriteSampleBlock(kRight, block.data(), block.size(), true));
  }
}

// A measurement "m" in `parent` of `records` records of base `base`, each of
// `samples` samples a channel, closed.
inline void MakeMeasurement(const std::filesystem::path& parent, long base, int records,
                            unsigned long long samples) {
  const std::shared_ptr<zsff::CAbstractFileAccess> noStore;
  auto tree = zsff::CRecordSignalTree::CreateSignalTree(W(parent.string()), u"m", noStore, false);
  ASSERT_TRUE(tree);
  ASSERT_TRUE(tree->SetRecordBase(base));
  for (int record = 0; record < records; ++record) {
    int handle = tree->CreateRecord(0);
    ASSERT_NE(handle, 0);
    StartTwoChannels(tree->wRecord(handle));
    WriteRamp(tree->wRecord(handle), 0, samples);
    ASSERT_TRUE(tree->wRecord(handle).StopRecord());
    ASSERT_TRUE(tree->CloseRecord(handle, true));
  }
  // Named as a host names it: the editing mark is given back only then.
  zsff::MetaDataContainer metaData = LoadMeasurement(parent / "m", static_cast<unsigned int>(base));
  zsff::CMetaDataMeasurementWriter(metaData).MeasurementName(u"m");
  SaveMeasurement(parent / "m", static_cast<unsigned int>(base), metaData);
}

// Every sample of `channel` from the section's start, as far as it reads.
inline std::vector<float> ReadAll(zsff::CAbstractRecordSection& section,
                                  const zsff::CChannelID& channel) {
  std::vector<float> samples;
  if (!section.SetReadPos(channel, 0.0)) return samples;
  std::vector<float> block(16384);
  for (;;) {
    const unsigned long long read = section.ReadRawSampleBlock(channel, block.data(), block.size());
    if (read == 0) break;
    samples.insert(samples.end(), block.begin(), block.begin() + read);
  }
  return samples;
}

// The files of a channel directory of record `number`, by name.
inline std::vector<std::string> ChannelFiles(const std::filesystem::path& measurement, long base,
                                             int number, const zsff::CChannelID& channel) {
  std::vector<std::string> names;
  const std::filesystem::path directory =
      measurement / N(zsff::CRecordId(base, number).IdToRecordName()) / N(channel.ToFilePath());
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(directory, error))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace zsff_test
