#include <gtest/gtest.h>
#include <zsff/DateTime.h>
#include <zsff/MeasurementMetaData.h>

#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "metadata/KeyRows.h"

using namespace zsff;
using namespace std::string_literals;
using zsff_test::Reads;
using zsff_test::Writes;

namespace {

using R = MetaDataMeasurementReader;
using W = CMetaDataMeasurementWriter;
using T = MetaDataValue;

}  // namespace

TEST(MeasurementMetaData, EveryKeyIsStoredUnderItsNameInItsKindAndReadsBack) {
  const std::vector<unsigned long long> channels{0x0000002A00010003ULL, 1ULL << 63};
  zsff_test::CheckKeyRows<W, R>({
      {"DateAndTime", T::TypeString, Writes(&W::DateAndTime, "2024-01-31 10:20"),
       Reads<R>(&R::DateAndTime, "2024-01-31 10:20"s)},
      {"DateDayOfWeek", T::TypeLong, Writes(&W::DateDayOfWeek, 3L),
       Reads<R>(&R::DateDayOfWeek, 3L)},
      {"ReferenceTime", T::TypeLongLong, Writes(&W::ReferenceTime, 1LL << 45),
       Reads<R>(&R::ReferenceTime, 1LL << 45)},
      {"Mode", T::TypeString, Writes(&W::Mode, "Time to stop"),
       Reads<R>(&R::Mode, "Time to stop"s)},
      {"Duration", T::TypeDouble, Writes(&W::Duration, 86400.125),
       Reads<R>(&R::Duration, 86400.125)},
      {"StartDelay", T::TypeFloat, Writes(&W::StartDelay, 2.5f), Reads<R>(&R::StartDelay, 2.5f)},
      {"TavroxVersion", T::TypeString, Writes(&W::TavroxVersion, "5.3.1"),
       Reads<R>(&R::TavroxVersion, "5.3.1"s)},
      {"SignalFileName", T::TypeString, Writes(&W::SignalFileName, u"run.zff"),
       Reads<R>(&R::SignalFileName, u"run.zff"s)},
      {"ProjectName", T::TypeString, Writes(&W::ProjectName, u"Pr\u00fcfstand"),
       Reads<R>(&R::ProjectName, u"Pr\u00fcfstand"s)},
      {"UserName", T::TypeString, Writes(&W::UserName, u"ops"), Reads<R>(&R::UserName, u"ops"s)},
      {"MeasurementName", T::TypeString, Writes(&W::MeasurementName, u"Run 4"),
       Reads<R>(&R::MeasurementName, u"Run 4"s)},
      {"Comment", T::TypeString, Writes(&W::Comment, u"cold start"),
       Reads<R>(&R::Comment, u"cold start"s)},
      // FilesSize, spelled so on purpose, is the key "FileSize".
      {"FileSize", T::TypeLongLong, Writes(&W::FilesSize, 5LL << 32),
       Reads<R>(&R::FilesSize, 5LL << 32)},
      {"ChannelsToRemove", T::TypeVectorUInt64, Writes(&W::ChannelsToRemove, channels),
       Reads<R>(&R::ChannelsToRemove, channels)},
      {"NumberOfChannels", T::TypeLong, Writes(&W::NumberOfChannels, 24L),
       Reads<R>(&R::NumberOfChannels, 24L)},
      {"SampleFormat", T::TypeString, Writes(&W::SampleFormat, "Compact16"),
       Reads<R>(&R::SampleFormat, "Compact16"s)},
      {"SamplingFrontEnd", T::TypeFloat, Writes(&W::SamplingFrontEnd, 204800.0f),
       Reads<R>(&R::SamplingFrontEnd, 204800.0f)},
      {"Sampling1", T::TypeFloat, Writes(&W::Sampling1, 51200.0f),
       Reads<R>(&R::Sampling1, 51200.0f)},
      {"Sampling2", T::TypeFloat, Writes(&W::Sampling2, 12800.0f),
       Reads<R>(&R::Sampling2, 12800.0f)},
      {"SamplingDC", T::TypeFloat, Writes(&W::SamplingDC, 100.0f),
       Reads<R>(&R::SamplingDC, 100.0f)},
      {"Editing", T::TypeBool, Writes(&W::Editing, true), Reads<R>(&R::Editing, true)},
  });
}

TEST(UntypedMetaData, EachSetterStoresItsKindAndEachGetterReadsIt) {
  MetaDataContainer container;
  CMetaDataWriter writer(container);
  writer.SetStringValue("s", u"wide");
  writer.SetcppStringValue("c", "Z\xC3\xA4hler");
  writer.SetFloatValue("f", 0.5f);
  writer.SetDoubleValue("d", 0.1);
  writer.SetLongValue("l", -5);
  writer.SetLongLongValue("ll", -(1LL << 40));
  writer.SetBoolValue("b", true);
  writer.SetVectFloatValue("vf", {1.5f});
  writer.SetVectLongValue("vl", {-1, 2});
  writer.SetVectUInt64Value("vu", {1ULL << 63});

  const std::pair<const char*, T::EMetaDataType> kinds[] = {
      {"s", T::TypeString},       {"c", T::TypeString},       {"f", T::TypeFloat},
      {"d", T::TypeDouble},       {"l", T::TypeLong},         {"ll", T::TypeLongLong},
      {"b", T::TypeBool},         {"vf", T::TypeVectorFloat}, {"vl", T::TypeVectorLong},
      {"vu", T::TypeVectorUInt64}};
  for (const auto& kind : kinds) EXPECT_EQ(container.GetMetadataType(kind.first), kind.second);

  MetaDataReader reader(container);
  EXPECT_EQ(reader.GetKeys(),
            (std::set<std::string>{"b", "c", "d", "f", "l", "ll", "s", "vf", "vl", "vu"}));
  std::u16string wide;
  std::string text;
  float f = 0;
  double d = 0;
  long l = 0;
  long long ll = 0;
  bool b = false;
  std::vector<float> vf;
  std::vector<long> vl;
  std::vector<unsigned long long> vu;
  EXPECT_TRUE(reader.GetStringValue("c", wide) && reader.GetcppStringValue("c", text) &&
              reader.GetFloatValue("f", f) && reader.GetDoubleValue("d", d) &&
              reader.GetLongValue("l", l) && reader.GetLongLongValue("ll", ll) &&
              reader.GetBoolValue("b", b) && reader.GetVectFloatValue("vf", vf) &&
              reader.GetVectLongValue("vl", vl) && reader.GetVectUInt64Value("vu", vu));
  EXPECT_EQ(wide, u"Z\u00e4hler");
  EXPECT_EQ(text, "Z\xC3\xA4hler");
  EXPECT_EQ(std::make_tuple(f, d, l, ll, b), std::make_tuple(0.5f, 0.1, -5L, -(1LL << 40), true));
  EXPECT_EQ(vf, std::vector<float>{1.5f});
  EXPECT_EQ(vl, (std::vector<long>{-1, 2}));
  EXPECT_EQ(vu, std::vector<unsigned long long>{1ULL << 63});
}

TEST(UntypedMetaData, GettersFollowTheContainersConversions) {
  MetaDataContainer container;
  container.AddMetadata("n", -1L);
  container.AddMetadata("big", 1LL << 40);
  container.AddMetadata("v", std::vector<long>{-1});
  MetaDataReader reader(container);

  long long widened = 0;
  EXPECT_TRUE(reader.GetLongLongValue("n", widened));
  EXPECT_EQ(widened, -1);
  long narrowed = 7;
  EXPECT_FALSE(reader.GetLongValue("big", narrowed));
  EXPECT_EQ(narrowed, 7);
  std::vector<unsigned long long> unsignedList;
  EXPECT_TRUE(reader.GetVectUInt64Value("v", unsignedList));
  EXPECT_EQ(unsignedList, std::vector<unsigned long long>{18446744073709551615ULL});

  // Only the 8-bit text getter assigns its output when it finds nothing.
  std::u16string wide = u"preset";
  EXPECT_FALSE(reader.GetStringValue("n", wide));
  EXPECT_EQ(wide, u"preset");
  std::string text = "preset";
  EXPECT_FALSE(reader.GetcppStringValue("n", text));
  EXPECT_EQ(text, "");
  text = "preset";
  EXPECT_FALSE(reader.GetcppStringValue("absent", text));
  EXPECT_EQ(text, "");
}

TEST(MarkerMetaData, AddStoresTheDateAsTextAndRefusesZeroOrTakenIds) {
  MetaDataContainer container;
  CMetaDataMarkerWriter writer(container);
  const long long date = StringToFileTime("2024-01-31T10:20:30.005Z");
  ASSERT_GT(date, 0);

  EXPECT_TRUE(writer.AddMarker(CMarkerId(2, 1), 1.5, 0.5, date));
  EXPECT_TRUE(writer.AddMarker(CMarkerId(1, 1), 0.25, 0.125, date, u"first"));
  EXPECT_FALSE(writer.AddMarker(CMarkerId(0, 0), 1.0, 1.0, date));
  EXPECT_FALSE(writer.AddMarker(CMarkerId(2, 1), 9.0, 9.0, date, u"again"));

  MetaDataMarkerReader reader(container);
  const std::vector<CMarkerId> keys = reader.GetMarkersKeys();
  ASSERT_EQ(keys.size(), 2u);
  EXPECT_EQ(keys[0], CMarkerId(1, 1));
  EXPECT_EQ(keys[1], CMarkerId(2, 1));

  MetaDataMarker marker;
  EXPECT_TRUE(reader.FindMarker(CMarkerId(2, 1), marker));
  EXPECT_EQ(marker, MetaDataMarker(CMarkerId(2, 1), 1.5, 0.5, u"2024-01-31T10:20:30.005Z", u""));
  EXPECT_TRUE(reader.FindMarker(CMarkerId(1, 1), marker));
  EXPECT_EQ(marker.comment(), u"first");

  const MetaDataMarker before = marker;
  EXPECT_FALSE(reader.FindMarker(CMarkerId(3, 1), marker));
  EXPECT_EQ(marker, before);
}

TEST(MarkerMetaData, EditCommentAndDeleteTouchOnlyAnExistingMarker) {
  MetaDataContainer container;
  CMetaDataMarkerWriter writer(container);
  const long long date = StringToFileTime("2023-06-01T00:00:00.000Z");
  ASSERT_TRUE(writer.AddMarker(CMarkerId(4, 2), 3.0, 1.0, date, u"old"));

  EXPECT_FALSE(writer.EditComment(CMarkerId(5, 2), u"new"));
  EXPECT_EQ(container.GetMarkersKeys().size(), 1u);

  EXPECT_TRUE(writer.EditComment(CMarkerId(4, 2), u"new"));
  MetaDataMarker marker;
  ASSERT_TRUE(container.FindMarker(CMarkerId(4, 2), marker));
  EXPECT_EQ(marker, MetaDataMarker(CMarkerId(4, 2), 3.0, 1.0, u"2023-06-01T00:00:00.000Z", u"new"));

  EXPECT_FALSE(writer.DeleteMarker(CMarkerId(5, 2)));
  EXPECT_TRUE(writer.DeleteMarker(CMarkerId(4, 2)));
  EXPECT_FALSE(writer.DeleteMarker(CMarkerId(4, 2)));
  EXPECT_TRUE(container.GetMarkersKeys().empty());
}

TEST(MeasurementMetaData, CollectionsAreForwardedToTheContainer) {
  MetaDataContainer container;
  W writer(container);
  R reader(container);

  writer.AddMeasProperty("Operator", u"Operator", u"Anna");
  writer.AddProperties({CPropertyValue("Site", u"Site", u"Hall 3", CPropertyValue::PropertyText)});
  EXPECT_EQ(reader.GetMeasPropertiesKeys(), (std::set<std::string>{"Operator", "Site"}));
  std::pair<std::u16string, std::u16string> property;
  EXPECT_TRUE(reader.FindMeasProperty("Site", property));
  EXPECT_EQ(property, std::make_pair(u"Site"s, u"Hall 3"s));
  std::vector<CPropertyValue> properties;
  EXPECT_TRUE(reader.GetMeasureProperties(properties));
  EXPECT_EQ(properties.size(), 2u);

  writer.AddAnalyzer("SN1", "A", "D1", "Disk1");
  writer.AddAnalyzer("SN1", "A", "D1", "Disk2");
  ASSERT_EQ(reader.GetAnalyzerVect().size(), 1u);
  EXPECT_EQ(reader.GetAnalyzerVect()[0].DiskName(), "Disk2");

  EXPECT_TRUE(writer.AddRecord(0x200010000ULL, 1, 0, 10.0, false, 5.0, 0));
  EXPECT_TRUE(writer.AddRecord(0x100010000ULL, 1, 0, 4.0, false, 5.0, 0));
  EXPECT_FALSE(writer.AddRecord(0x100010000ULL, 1, 0, 99.0, false, 5.0, 0));
  EXPECT_TRUE(writer.UpdateRecord(0x100010000ULL, 2, 0, 6.0, true, 5.0, 0));
  std::vector<MetaDataRecord> records = reader.GetRecordsVect();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].RecordId(), 0x100010000ULL);
  EXPECT_TRUE(records[0].Recording());
  EXPECT_EQ(records[1].RelDate(), 6.0);

  EXPECT_TRUE(writer.RemoveRecord(0x100010000ULL));
  EXPECT_FALSE(writer.RemoveRecord(0x100010000ULL));
  records = reader.GetRecordsVect();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].RelDate(), 0.0);
  writer.ClearRecordsVect();
  EXPECT_TRUE(reader.GetRecordsVect().empty());
  EXPECT_EQ(reader.GetAnalyzerVect().size(), 1u);
}
