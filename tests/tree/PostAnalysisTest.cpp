// Post-analysis settings saved through the tree into every record of a
// measurement, for each of the four sample formats: a later opening reads the
// changed channel in the new scaling, as floats, doubles and min/max views,
// while its samples, its recorded keys and the other channel stay as recorded.
#include <zsff/ChannelMetaData.h>
#include <zsff/PostAnalysisSettings.h>
#include <zsff/RecordSignalTree.h>

#include <cstdint>
#include <vector>

#include "support/SampleFormatOf.h"
#include "tree/TreeTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

const CChannelID kChanged(1, 0, 4711), kKept(2, 0, 4711);
constexpr unsigned long long kSamples = 3000;
constexpr int kRecords = 2;

// Sensitivity 0.5, offset 3; 16-bit samples are uncompacted by 0.25 and -1.
MetaDataContainer ChannelMetaData(const char* format) {
  MetaDataContainer metaData;
  CMetaDataChannelWriter writer(metaData);
  writer.SamplingRate(1000.0f);
  writer.Format(format);
  writer.Sensitivity(0.5f);
  writer.Offset(3.0f);
  writer.Unit(u"m/s2");
  return metaData;
}

template <typename T>
std::vector<T> Samples() {
  std::vector<T> samples(kSamples);
  for (unsigned long long i = 0; i < kSamples; ++i) {
    samples[i] = static_cast<T>(static_cast<long long>(i * 7919 % 30011) - 15005);
  }
  return samples;
}

// Sample i in the recorded units, then scaled by c2 and o2.
template <typename T>
double Expected(unsigned long long i, double c2, double o2) {
  const bool compact = SampleFormatOf<T>::kValue == Compact16;
  const double recorded =
      static_cast<double>(Samples<T>()[i]) * (compact ? 0.25 : 1.0) - (compact ? 1.0 : 0.0);
  return recorded * c2 + o2;
}

template <typename T>
class PostAnalysisTree : public TreeTest {
 protected:
  void SetUp() override {
    TreeTest::SetUp();
    auto tree = Tree::CreateSignalTree(m_Dir.Wide(), u"m", kNoStore, false);
    ASSERT_TRUE(tree);
    ASSERT_TRUE(tree->SetRecordBase(3200));
    const std::vector<T> samples = Samples<T>();
    for (int record = 0; record < kRecords; ++record) {
      int handle = tree->CreateRecord(0);
      ASSERT_NE(handle, 0);
      CAbstractRecordSection& section = tree->wRecord(handle);
      if (record == 0) {
        for (const CChannelID& id : {kChanged, kKept}) {
          ASSERT_TRUE(section.AddChannel(id, ChannelMetaData(SampleFormatOf<T>::kName)));
        }
      }
      ASSERT_TRUE(section.ArmRecord(0.0, PartLengthShort, true));
      TAG_RECORD_INFO info;
      info.AbsoluteDate = 133000000000000000LL + record * 100000000LL;
      info.UncompactCoeff = 0.25f;
      info.UncompactOffset = -1.0f;
      ASSERT_TRUE(section.StartRecord({{kChanged, info}, {kKept, info}}));
      for (const CChannelID& id : {kChanged, kKept}) {
        ASSERT_TRUE(section.WriteSampleBlock(id, samples.data(), kSamples, true));
      }
      ASSERT_TRUE(section.StopRecord());
      ASSERT_TRUE(tree->CloseRecord(handle, true));
    }
  }

  std::unique_ptr<Tree> OpenTree(Tree::TreeOpenMode_t mode) {
    return Tree::OpenSignalTree(m_Dir.Wide(), u"m", mode, kNoStore, false, u"", false);
  }
};

using SampleTypes = ::testing::Types<float, double, std::int16_t, std::int32_t>;
TYPED_TEST_SUITE(PostAnalysisTree, SampleTypes);

TYPED_TEST(PostAnalysisTree, EveryRecordReadsInTheSavedScalingAfterReopening) {
  using T = TypeParam;
  const std::map<CChannelID, CPostAnalysisSettings> settings{
      {kChanged, CPostAnalysisSettings(2.0f, 1.0f, 0.0f, u"", {}, u"mm/s", u"", u"")}};
  // A tree opened read only saves nothing.
  auto reader = this->OpenTree(Tree::TreeOpenRead);
  ASSERT_TRUE(reader);
  EXPECT_FALSE(reader->SavePostAnalysisSettings(
      {{kChanged, CPostAnalysisSettings(5.0f, 0.0f, 0.0f, u"", {}, u"", u"", u"Refused")}}));
  Tree::CloseSignalTree(reader);
  {
    auto editor = this->OpenTree(Tree::TreeOpenEdit);
    ASSERT_TRUE(editor);
    auto lock = editor->CreateMetaDataLock(MetaDataFileLock::LockTryOnce);
    ASSERT_TRUE(lock);
    ASSERT_TRUE(editor->SavePostAnalysisSettings(settings)) << N(Tree::LastErrorString());
  }

  auto tree = this->OpenTree(Tree::TreeOpenRead);
  ASSERT_TRUE(tree);
  for (int record = 1; record <= kRecords; ++record) {
    SCOPED_TRACE(record);
    int handle = tree->OpenRecord(CRecordId(static_cast<unsigned long long>(record)),
                                  Tree::TreeOpenDefault, 0);
    ASSERT_NE(handle, 0);
    CAbstractRecordSection& section = tree->wRecord(handle);

    // The changed channel reads in sensitivity c and offset o: c and
    // (o + b - b c) / a over the recorded units; the other one as it would
    // without settings, 0.5 and 2b / a - b.
    const struct {
      CChannelID id;
      double c2, o2;
    } channels[] = {{kChanged, 2.0, -4.0}, {kKept, 0.5, 9.0}};
    for (const auto& channel : channels) {
      std::vector<float> floats(kSamples);
      std::vector<double> doubles(kSamples);
      std::vector<double> recorded(kSamples);
      const struct {
        SampleReadMode_t mode;
        void* buffer;
      } reads[] = {{SampleReadPostAnalysis, floats.data()},
                   {SampleReadPostAnalysisDouble, doubles.data()},
                   {SampleReadRecordedDouble, recorded.data()}};
      for (const auto& read : reads) {
        ASSERT_TRUE(section.SetReadPos(channel.id, 0.0));
        ASSERT_EQ(section.ReadSampleBlock(channel.id, read.buffer, kSamples, read.mode), kSamples);
      }
      for (unsigned long long i = 0; i < kSamples; ++i) {
        const double expected = Expected<T>(i, channel.c2, channel.o2);
        ASSERT_EQ(floats[i], static_cast<float>(expected)) << i;
        ASSERT_EQ(doubles[i], expected) << i;
        ASSERT_EQ(recorded[i], Expected<T>(i, 1.0, 0.0)) << i;
      }
    }

    // A min/max view is the recorded one in the new scaling.
    ASSERT_TRUE(section.RequestCompressedSignal(kChanged, 0.0f, 3.0f, 10, false));
    std::vector<float> view(20), recordedView(20);
    ASSERT_EQ(section.GetCompressedSignal(kChanged, view.data(), SampleReadPostAnalysis),
              CompressReady);
    ASSERT_TRUE(section.RequestCompressedSignal(kChanged, 0.0f, 3.0f, 10, false));
    ASSERT_EQ(section.GetCompressedSignal(kChanged, recordedView.data(), SampleReadRecorded),
              CompressReady);
    for (std::size_t i = 0; i < view.size(); ++i) {
      EXPECT_EQ(view[i], recordedView[i] * 2.0f - 4.0f) << i;
    }

    // The new values lie beside the recorded ones.
    MetaDataContainer metaData;
    TAG_RECORD_INFO info;
    ASSERT_TRUE(section.ReadChannelMetaData(kChanged, metaData, info, false));
    const CMetaDataChannelReader keys(metaData);
    float sensitivity = 0.0f, postSensitivity = 0.0f;
    std::u16string unit, postUnit, postName = u"untouched";
    EXPECT_TRUE(keys.Sensitivity(sensitivity) && keys.PASensitivity(postSensitivity));
    EXPECT_TRUE(keys.Unit(unit) && keys.PAUnit(postUnit));
    EXPECT_FALSE(keys.PAName(postName));
    EXPECT_EQ(sensitivity, 0.5f);
    EXPECT_EQ(postSensitivity, 2.0f);
    EXPECT_EQ(unit, u"m/s2");
    EXPECT_EQ(postUnit, u"mm/s");
    ASSERT_TRUE(tree->CloseRecord(handle, false));
  }
}

}  // namespace
