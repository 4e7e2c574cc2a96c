#include <gtest/gtest.h>
#include <zsff/AnalyzerInfo.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/PostAnalysisSettings.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

using zsff::CAnalyzerInfo;
using zsff::CMarkerId;
using zsff::CPostAnalysisSettings;
using zsff::MetaDataAnalyzer;
using zsff::MetaDataContainer;
using zsff::MetaDataQuantity;

namespace {

MetaDataContainer Filled() {
  MetaDataContainer c;
  c.AddMetadata("Key", 1L);
  c.PhysicalQuantityMap({{3, MetaDataQuantity(3, 1, "Left", "Right")}});
  c.AddMeasProperty("Prop", u"T", u"V");
  c.AddMarker(CMarkerId(1, 1), 0.0, 0.0, u"d");
  c.AddAnalyzer("SN1", "A", "D1", "Disk");
  c.AddRecord(1, 1, 0, 1.0, false, 1.0, 0);
  return c;
}

}  // namespace

TEST(ContainerCollectionsTest, AnalyzersAreKeyedBySerialInInsertionOrder) {
  MetaDataContainer c;
  c.AddAnalyzer("200", "B", "D2", "Disk two");
  c.AddAnalyzer("100", "A", "D1", "Disk one");
  c.AddAnalyzer("200", "B2", "D3", "Disk three");
  c.AddAnalyzer("20", "C", "D4", "Disk four");  // a prefix is not a match

  const std::vector<MetaDataAnalyzer> analyzers = c.GetAnalyzerVect();
  ASSERT_EQ(analyzers.size(), 3u);
  EXPECT_EQ(analyzers[0].AnalyzerSerialNumber(), "200");
  EXPECT_EQ(analyzers[0].AnalyzerShortName(), "B2");
  EXPECT_EQ(analyzers[0].DiskSerialNumber(), "D3");
  EXPECT_EQ(analyzers[0].DiskName(), "Disk three");
  EXPECT_EQ(analyzers[1].AnalyzerSerialNumber(), "100");
  EXPECT_EQ(analyzers[2].AnalyzerSerialNumber(), "20");
}

TEST(ContainerCollectionsTest, CopiesAreDeepAndClearingIsSelective) {
  MetaDataContainer original = Filled();
  MetaDataContainer copy(original);
  copy.AddMetadata("Key", 2L);
  copy.PhysicalQuantityMap({{7, MetaDataQuantity(7, 0, "x", "y")}});
  copy.AddMeasProperty("Prop", u"T", u"changed");
  copy.DeleteMarker(CMarkerId(1, 1));
  copy.AddAnalyzer("SN1", "A", "D1", "changed");
  copy.UpdateRecord(1, 1, 0, 5.0, false, 1.0, 0);

  long key = 0;
  ASSERT_TRUE(original.FindMetadata("Key", key));
  EXPECT_EQ(key, 1);
  EXPECT_EQ(original.PhysicalQuantityMap().at(3).RightKey(), "Right");
  EXPECT_EQ(copy.PhysicalQuantityMap().count(3), 0u);  // replaced whole, not merged
  std::pair<std::u16string, std::u16string> prop;
  ASSERT_TRUE(original.FindMeasProperty("Prop", prop));
  EXPECT_EQ(prop.second, u"V");
  EXPECT_EQ(original.GetMarkers().size(), 1u);
  EXPECT_EQ(original.GetAnalyzerVect().at(0).DiskName(), "Disk");
  EXPECT_EQ(original.GetRecordsVect().at(0).Duration(), 1.0);

  MetaDataContainer assigned;
  assigned = original;
  MetaDataContainer& alias = assigned;
  assigned = alias;  // self-assignment keeps everything
  EXPECT_EQ(assigned.GetMetadataKeys(), original.GetMetadataKeys());
  EXPECT_EQ(assigned.GetRecordsVect().size(), 1u);
  EXPECT_EQ(assigned.GetMarkersKeys().size(), 1u);

  assigned.ClearRecordsVect();
  EXPECT_TRUE(assigned.GetRecordsVect().empty());
  EXPECT_EQ(assigned.GetAnalyzerVect().size(), 1u);
  EXPECT_EQ(assigned.GetMetadataKeys().size(), 1u);

  original.Clear();
  EXPECT_TRUE(original.GetMetadataKeys().empty());
  EXPECT_TRUE(original.PhysicalQuantityMap().empty());
  EXPECT_TRUE(original.GetMeasPropertiesKeys().empty());
  EXPECT_TRUE(original.GetMarkersKeys().empty());
  EXPECT_TRUE(original.GetAnalyzerVect().empty());
  EXPECT_TRUE(original.GetRecordsVect().empty());
}

TEST(ContainerCollectionsTest, AnalyzerInfoListsEachChannelOnceInOrder) {
  CAnalyzerInfo info(1, 5, u"Device", u"DiskSN", u"Disk");
  info.AddChannel(5);
  info.AddChannel(3);
  EXPECT_EQ(info.ChannelList(), (std::set<unsigned short>{3, 5}));
  EXPECT_EQ(info.Index(), 1);
  EXPECT_EQ(info.DeviceSN(), u"Device");
  EXPECT_EQ(info.DiskSN(), u"DiskSN");
  EXPECT_EQ(info.DiskName(), u"Disk");
  EXPECT_TRUE(CAnalyzerInfo().ChannelList().empty());
}

TEST(ContainerCollectionsTest, PostAnalysisSettingsDefaultToTheUnsetValues) {
  const CPostAnalysisSettings unset;
  const float offset = unset.Offset();
  std::uint32_t bits = 0;
  std::memcpy(&bits, &offset, sizeof bits);
  EXPECT_EQ(bits, 0x7E967699u);
  EXPECT_EQ(unset.Sensitivity(), 0.0f);
  EXPECT_EQ(unset.RangeInfo(), 0.0f);
  EXPECT_TRUE(unset.Unit().empty());
  EXPECT_TRUE(unset.PhysicalQuantityMap().empty());

  const CPostAnalysisSettings two(2.0f, -1.0f);
  EXPECT_EQ(two.Offset(), -1.0f);
  EXPECT_EQ(two.RangeInfo(), 0.0f);
}
