// Cutting records of a measurement through the tree: a split read back as two
// sections with every sample where it was, erased parts reading as filler and
// gone at the next opening, the part being written kept, and the refusals.
#include <zsff/MeasurementMetaData.h>
#include <zsff/RecordSignalTree.h>

#include <filesystem>

#include "tree/SurgeryTestSupport.h"

using namespace zsff;
using namespace zsff_test;

namespace {

constexpr long kBase = 4101;
// Four whole parts and a tenth of a fifth.
constexpr unsigned long long kSamples = 4 * kPartSamples + 409;

class SectionSurgery : public TreeTest {
 protected:
  void SetUp() override {
    TreeTest::SetUp();
    MakeMeasurement(m_Dir.Path(), kBase, 1, kSamples);
    m_Tree = Tree::OpenSignalTree(m_Dir.Wide(), u"m", Tree::TreeOpenEdit, kNoStore, false, u"",
                                  false);
    ASSERT_TRUE(m_Tree);
  }
  fs::path Measurement() const { return m_Dir.Path() / "m"; }

  std::unique_ptr<Tree> m_Tree;
};

TEST_F(SectionSurgery, SplitRecordReadsAsTwoSectionsWithEverySampleWhereItWas) {
  RecordSignalTreeProbe::SetEditing(*m_Tree, true);
  int handle = m_Tree->OpenRecord(CRecordId(kBase, 1), Tree::TreeOpenDefault, 0);
  ASSERT_NE(handle, 0);
  const std::pair<CRecordId, CRecordId> ids = m_Tree->wRecord(handle).Split(2);
  EXPECT_EQ(m_Tree->wRecord(handle).RecordId(), ids.second);
  ASSERT_TRUE(m_Tree->CloseRecord(handle, true));

  CRecordId second(kBase, 1);
  second.SetPartNumber(2);
  EXPECT_EQ(ids.first, CRecordId(kBase, 1));
  EXPECT_EQ(ids.second, second);
  const std::vector<MetaDataRecord> list = RecordList(Measurement(), kBase);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[0].LastPartNumber(), 1);
  EXPECT_DOUBLE_EQ(list[0].Duration(), 128.0);
  EXPECT_EQ(list[1].RecordId(), second.RecordId());
  EXPECT_EQ(list[1].LastPartNumber(), 4);
  EXPECT_NEAR(list[1].Duration(), static_cast<double>(kSamples) / kSurgeryRate - 128.0, 1e-9);

  const unsigned long long cut = 2 * kPartSamples;
  for (const auto& section : {std::make_pair(ids.first, 0ULL), std::make_pair(ids.second, cut)}) {
    int read = m_Tree->OpenRecord(section.first, Tree::TreeOpenRead, 0);
    ASSERT_NE(read, 0);
    for (const CChannelID& channel : {kLeft, kRight}) {
      const std::vector<float> samples = ReadAll(m_Tree->wRecord(read), channel);
      const unsigned long long expected = section.second == 0 ? cut : kSamples - cut;
      ASSERT_EQ(samples.size(), expected) << section.first.RecordId();
      for (unsigned long long i = 0; i < samples.size(); i += 97)
        ASSERT_EQ(samples[i], static_cast<float>(section.second + i)) << i;
      EXPECT_EQ(samples.back(), static_cast<float>(section.second + expected - 1));
    }
    ASSERT_TRUE(m_Tree->CloseRecord(read, true));
  }
}

TEST_F(SectionSurgery, SplitRefusedOrOutsideTheRecordChangesNothing) {
  const CRecordId own(kBase, 1);
  const CRecordId none(0ULL);
  const struct {
    bool editing;
    unsigned short count;
    CRecordId first, second;
  } cases[] = {
      {false, 2, own, own},  // not editing
      {true, 0, own, own},   // nothing to cut
      {true, 5, none, none}, // past the last part
      {true, 9, none, none},
  };
  for (const auto& c : cases) {
    RecordSignalTreeProbe::SetEditing(*m_Tree, c.editing);
    int handle = m_Tree->OpenRecord(own, Tree::TreeOpenDefault, 0);
    ASSERT_NE(handle, 0);
    const auto ids = m_Tree->wRecord(handle).Split(c.count);
    EXPECT_EQ(ids.first, c.first) << c.count;
    EXPECT_EQ(ids.second, c.second) << c.count;
    EXPECT_EQ(m_Tree->wRecord(handle).RecordId(), own);
    ASSERT_TRUE(m_Tree->CloseRecord(handle, true));
    EXPECT_EQ(RecordList(Measurement(), kBase).size(), 1u);
  }
}

TEST_F(SectionSurgery, ErasedPartsReadAsFillerAndGoAtTheNextOpening) {
  int edit = m_Tree->OpenRecord(CRecordId(kBase, 1), Tree::TreeOpenDefault, 0);
  ASSERT_NE(edit, 0);
  EXPECT_FALSE(m_Tree->wRecord(edit).EraseParts(kLeft, 1, 2));  // not editing
  RecordSignalTreeProbe::SetEditing(*m_Tree, true);
  EXPECT_FALSE(m_Tree->wRecord(edit).EraseParts(CChannelID(9, 0, 4711), 1, 2));
  ASSERT_TRUE(m_Tree->wRecord(edit).EraseParts(kLeft, 1, 2));
  // Marked only, until the record opens again.
  std::vector<std::string> files = ChannelFiles(Measurement(), kBase, 1, kLeft);
  EXPECT_EQ(std::count(files.begin(), files.end(), "Part_1.zrs"), 1);

  // Opened again: the files are gone, the mark with them, and the parts read as
  // filler, on that channel only.
  int read = m_Tree->OpenRecord(CRecordId(kBase, 1), Tree::TreeOpenRead, 0);
  ASSERT_NE(read, 0);
  files = ChannelFiles(Measurement(), kBase, 1, kLeft);
  for (const char* gone : {"Part_1.zrs", "Part_2.zrs", "Part_1_1.zpr", "Part_2_1.zpr"})
    EXPECT_EQ(std::count(files.begin(), files.end(), gone), 0) << gone;
  EXPECT_EQ(std::count(files.begin(), files.end(), "Part_3.zrs"), 1);
  MetaDataContainer metaData;
  TAG_RECORD_INFO info;
  ASSERT_TRUE(m_Tree->wRecord(read).ReadChannelMetaData(kLeft, metaData, info, true));
  std::vector<long> waiting{99};
  CMetaDataChannelReader(metaData).PartsToDelete(waiting);
  EXPECT_TRUE(waiting.empty());

  const std::vector<float> left = ReadAll(m_Tree->wRecord(read), kLeft);
  ASSERT_EQ(left.size(), kSamples) << N(m_Tree->wRecord(read).LastErrorString());
  for (unsigned long long i = 0; i < kSamples; i += 409) {
    const bool erased = i >= kPartSamples && i < 3 * kPartSamples;
    ASSERT_EQ(left[i], erased ? 0.0f : static_cast<float>(i)) << i;
  }
  EXPECT_EQ(ReadAll(m_Tree->wRecord(read), kRight)[2 * kPartSamples],
            static_cast<float>(2 * kPartSamples));
  ASSERT_TRUE(m_Tree->CloseRecord(read, true));
  ASSERT_TRUE(m_Tree->CloseRecord(edit, true));
}

TEST_F(SectionSurgery, ThePartBeingWrittenIsNeverErased) {
  m_Tree = Tree::CreateSignalTree(m_Dir.Wide(), u"w", kNoStore, false);
  ASSERT_TRUE(m_Tree);
  ASSERT_TRUE(m_Tree->SetRecordBase(kBase + 1));
  RecordSignalTreeProbe::SetEditing(*m_Tree, true);
  int handle = m_Tree->CreateRecord(0);
  ASSERT_NE(handle, 0);
  CAbstractRecordSection& section = m_Tree->wRecord(handle);
  StartTwoChannels(section);
  WriteRamp(section, 0, 2 * kPartSamples + 100);
  ASSERT_TRUE(section.EraseParts(kLeft, 0, 2));
  WriteRamp(section, 2 * kPartSamples + 100, 3 * kPartSamples);
  ASSERT_TRUE(section.StopRecord());
  ASSERT_TRUE(m_Tree->CloseRecord(handle, true));

  handle = m_Tree->OpenRecord(CRecordId(kBase + 1, 1), Tree::TreeOpenRead, 0);
  ASSERT_NE(handle, 0);
  const std::vector<float> left = ReadAll(m_Tree->wRecord(handle), kLeft);
  ASSERT_EQ(left.size(), 3 * kPartSamples);
  EXPECT_EQ(left[kPartSamples], 0.0f);
  for (unsigned long long i = 2 * kPartSamples; i < 3 * kPartSamples; i += 33)
    ASSERT_EQ(left[i], static_cast<float>(i)) << i;
  ASSERT_TRUE(m_Tree->CloseRecord(handle, true));
}

}  // namespace
