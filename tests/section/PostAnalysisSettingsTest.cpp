// Post-analysis settings of one section: which keys a save puts beside the
// recorded ones (and when it leaves the file alone), the states and channels it
// refuses, and settings put over a channel's scaling for the reads that follow.
#include <gtest/gtest.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/PostAnalysisSettings.h>
#include <zsff/RecordSection.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "TempDir.h"
#include "foundation/LocalFileAccess.h"
#include "section/RecordSectionProbe.h"
#include "support/FileContents.h"

using namespace zsff;
using zsff_test::FakeTree;
using zsff_test::RecordSectionProbe;
using zsff_test::TempDir;

namespace {

const CRecordId kRecord(3100, 1);
const CChannelID kChannel(1, 0, 77);
constexpr unsigned long long kSamples = 1000;
constexpr float kUnset = CPostAnalysisSettings::UnsetOffset;

// The recorded values: sensitivity 0.5, offset 3, range 10, "Acceleration" in
// "m/s2" from transducer "T-1", named "Front".
CPostAnalysisSettings Recorded() {
  return CPostAnalysisSettings(0.5f, 3.0f, 10.0f, u"Acceleration", {}, u"m/s2", u"T-1", u"Front");
}
CPostAnalysisSettings Changed() {
  return CPostAnalysisSettings(2.0f, 1.0f, 20.0f, u"Velocity", {}, u"mm/s", u"T-2", u"Rear");
}

class PostAnalysisSection : public ::testing::Test {
 protected:
  void SetUp() override {
    auto section = RecordSectionProbe::Open(m_Tree.Owner(), m_Dir.Wide(), kRecord,
                                            CAbstractRecordSection::OpenCreate, m_Store.get());
    MetaDataContainer metaData;
    CMetaDataChannelWriter writer(metaData);
    const CPostAnalysisSettings recorded = Recorded();
    writer.SamplingRate(1000.0f);
    writer.Format("SIFloat");
    writer.Sensitivity(recorded.Sensitivity());
    writer.Offset(recorded.Offset());
    writer.RangeInfo(recorded.RangeInfo());
    writer.PhysicalQuantity(recorded.PhysicalQuantity());
    writer.Unit(recorded.Unit());
    writer.TransducerID(recorded.TransducerID());
    writer.Name(recorded.Name());
    ASSERT_TRUE(section->AddChannel(kChannel, metaData));
    ASSERT_TRUE(section->ArmRecord(0.0, PartLengthShort, false));
    TAG_RECORD_INFO info;
    info.AbsoluteDate = 132000000000000000LL;
    ASSERT_TRUE(section->StartRecord({{kChannel, info}}));
    const std::vector<float> samples = zsff_test::Ramp(kSamples);
    ASSERT_TRUE(section->WriteSampleBlock(kChannel, samples.data(), kSamples, true));
    ASSERT_TRUE(section->StopRecord());
  }

  std::unique_ptr<CRecordSection> Open() {
    return RecordSectionProbe::Open(m_Tree.Owner(), m_Dir.Wide(), kRecord,
                                    CAbstractRecordSection::OpenRead, m_Store.get());
  }

  // The channel's ".zrm" as it lies on disk.
  std::filesystem::path MetaDataFile() const {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(m_Dir.Path())) {
      const std::string name = entry.path().filename().string();
      if (name.rfind("Channel_", 0) == 0 && entry.path().extension() == ".zrm") return entry.path();
    }
    ADD_FAILURE() << "no channel metadata file";
    return {};
  }

  // Every key of the channel's metadata, its value as text.
  std::map<std::string, std::string> Keys() {
    MetaDataContainer metaData;
    TAG_RECORD_INFO info;
    EXPECT_TRUE(Open()->ReadChannelMetaData(kChannel, metaData, info, false));
    std::map<std::string, std::string> keys;
    for (const std::string& key : metaData.GetMetadataKeys()) {
      std::u16string text;
      double number = 0.0;
      char printed[32] = "?";
      if (metaData.FindMetadata(key, text)) {
        keys[key] = std::string(text.begin(), text.end());
      } else if (metaData.FindMetadata(key, number)) {
        std::snprintf(printed, sizeof printed, "%g", number);
        keys[key] = printed;
      } else {
        keys[key] = printed;
      }
    }
    return keys;
  }

  std::map<std::string, std::string> PostAnalysisKeys() {
    std::map<std::string, std::string> keys;
    for (const auto& entry : Keys()) {
      if (entry.first.find("PostAnalysis") != std::string::npos) keys.insert(entry);
    }
    return keys;
  }

  TempDir m_Dir;
  std::shared_ptr<CAbstractFileAccess> m_Store = std::make_shared<CLocalFileAccess>();
  FakeTree m_Tree{m_Store, m_Dir.Wide()};
};

TEST_F(PostAnalysisSection, SavesTheValuesThatDifferBesideTheRecordedOnes) {
  using Keys = std::map<std::string, std::string>;
  const Keys changed{{"SensitivityPostAnalysis", "2"}, {"OffsetPostAnalysis", "1"},
                     {"RangeInfoPostAnalysis", "20"},  {"PhysicalQuantityPostAnalysis", "Velocity"},
                     {"UnitPostAnalysis", "mm/s"},     {"TransducerIDPostAnalysis", "T-2"},
                     {"NamePostAnalysis", "Rear"}};
  const Keys backToRecorded{
      {"SensitivityPostAnalysis", "0.5"}, {"OffsetPostAnalysis", "3"},
      {"RangeInfoPostAnalysis", "10"},    {"PhysicalQuantityPostAnalysis", "Acceleration"},
      {"UnitPostAnalysis", "m/s2"},       {"TransducerIDPostAnalysis", "T-1"},
      {"NamePostAnalysis", "Front"}};
  Keys noneOverChanged = changed;
  noneOverChanged["PhysicalQuantityPostAnalysis"] = "Acceleration";
  noneOverChanged["TransducerIDPostAnalysis"] = "T-1";

  struct Row {
    const char* what;
    CPostAnalysisSettings earlier;  // saved first
    CPostAnalysisSettings settings;
    Keys expected;
  };
  const Row rows[] = {
      {"nothing set", {}, {}, {}},
      {"the recorded values", {}, Recorded(), {}},
      {"new values", {}, Changed(), changed},
      {"a sensitivity alone",
       {},
       CPostAnalysisSettings(2.0f, kUnset),
       {{"SensitivityPostAnalysis", "2"}}},
      {"the same values again", Changed(), Changed(), changed},
      {"back to the recorded values", Changed(), Recorded(), backToRecorded},
      {"none for quantity and transducer", Changed(),
       CPostAnalysisSettings(0.0f, kUnset, 0.0f, u"None", {}, u"", u"none", u""), noneOverChanged},
  };
  const Keys recordedKeys = Keys();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    TempDir dir;
    std::filesystem::copy(m_Dir.Path(), dir.Path(), std::filesystem::copy_options::recursive);
    auto section = Open();
    ASSERT_TRUE(section->SavePostAnalysisSettings(kChannel, row.earlier));
    const Keys before = PostAnalysisKeys();
    const std::vector<char> bytes = zsff_test::FileBytes(MetaDataFile());

    EXPECT_TRUE(section->SavePostAnalysisSettings(kChannel, row.settings));
    EXPECT_EQ(PostAnalysisKeys(), row.expected);
    // Nothing new leaves the file as it was.
    if (row.expected == before) {
      EXPECT_EQ(zsff_test::FileBytes(MetaDataFile()), bytes);
    }
    // The recorded keys stay as recorded.
    Keys others = Keys();
    for (const auto& entry : row.expected) others.erase(entry.first);
    EXPECT_EQ(others, recordedKeys);

    // Start the next row from the recording.
    section.reset();
    std::filesystem::remove_all(m_Dir.Path());
    std::filesystem::copy(dir.Path(), m_Dir.Path(), std::filesystem::copy_options::recursive);
  }
}

TEST_F(PostAnalysisSection, RefusesUnknownChannelsReadOnlyTreesAndSectionsBusyReading) {
  const std::string refusal =
      "CRecordSection::SavePostAnalysisSettings() : record open in read only mode or channel not "
      "found";
  auto section = Open();
  EXPECT_FALSE(section->SavePostAnalysisSettings(CChannelID(9, 0, 77), Changed()));
  EXPECT_FALSE(section->SetPostAnalysisSettings(CChannelID(9, 0, 77), Changed()));
  m_Tree.readOnly = true;
  EXPECT_FALSE(section->SavePostAnalysisSettings(kChannel, Changed()));
  m_Tree.readOnly = false;
  ASSERT_TRUE(section->SetReadPos(kChannel, 0.0));
  EXPECT_FALSE(section->SavePostAnalysisSettings(kChannel, Changed()));
  const std::u16string error = section->LastErrorString();
  EXPECT_EQ(std::string(error.begin(), error.end()), refusal);
  section.reset();
  EXPECT_TRUE(PostAnalysisKeys().empty());

  // A record being made takes no settings at all.
  auto making = RecordSectionProbe::Open(m_Tree.Owner(), m_Dir.Wide(), CRecordId(3100, 2),
                                         CAbstractRecordSection::OpenCreate, m_Store.get());
  ASSERT_TRUE(making->AddChannel(kChannel, zsff_test::ChannelMetaData(1000.0f)));
  EXPECT_FALSE(making->SetPostAnalysisSettings(kChannel, Changed()));
  EXPECT_FALSE(making->SavePostAnalysisSettings(kChannel, Changed()));
}

TEST_F(PostAnalysisSection, SettingsPutOverTheScalingApplyToTheReadsThatFollow) {
  auto section = Open();
  // Sample i reads as i * c2 + o2; without settings of its own the channel has
  // 0.5 and 2b / a - b = 9 (sensitivity a, offset b).
  const auto expectRead = [&](float c2, float o2) {
    std::vector<float> floats(kSamples);
    std::vector<double> doubles(kSamples);
    ASSERT_TRUE(section->SetReadPos(kChannel, 0.0));
    ASSERT_EQ(section->ReadSampleBlock(kChannel, floats.data(), kSamples, SampleReadPostAnalysis),
              kSamples);
    ASSERT_TRUE(section->SetReadPos(kChannel, 0.0));
    ASSERT_EQ(
        section->ReadSampleBlock(kChannel, doubles.data(), kSamples, SampleReadPostAnalysisDouble),
        kSamples);
    for (unsigned long long i = 0; i < kSamples; i += 37) {
      ASSERT_EQ(floats[i], static_cast<float>(i) * c2 + o2) << i;
      ASSERT_EQ(doubles[i], static_cast<double>(i) * c2 + o2) << i;
    }
  };
  expectRead(0.5f, 9.0f);
  // Sensitivity c and offset o read as c and (o + b - b c) / a.
  ASSERT_TRUE(section->SetPostAnalysisSettings(kChannel, CPostAnalysisSettings(2.0f, 1.0f)));
  expectRead(2.0f, -4.0f);
  // An unset sensitivity or offset leaves them as they are.
  ASSERT_TRUE(section->SetPostAnalysisSettings(kChannel, CPostAnalysisSettings(0.0f, 5.0f)));
  ASSERT_TRUE(section->SetPostAnalysisSettings(kChannel, CPostAnalysisSettings(3.0f, kUnset)));
  expectRead(2.0f, -4.0f);
  // Nothing of it reaches the file.
  section.reset();
  EXPECT_TRUE(PostAnalysisKeys().empty());
}

}  // namespace
