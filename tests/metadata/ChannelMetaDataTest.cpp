#include <gtest/gtest.h>
#include <zsff/ChannelMetaData.h>

#include <map>
#include <string>
#include <vector>

#include "foundation/TextConversion.h"
#include "metadata/EnumTexts.h"
#include "metadata/KeyRows.h"

using namespace zsff;
using namespace std::string_literals;
using zsff_test::Reads;
using zsff_test::Writes;

namespace {

using R = CMetaDataChannelReader;
using W = CMetaDataChannelWriter;
using T = MetaDataValue;

std::string StoredText(const MetaDataContainer& container, const std::string& key) {
  std::u16string text;
  EXPECT_TRUE(container.FindMetadata(key, text)) << key;
  return WideToUtf8(text);
}

}  // namespace

// Keys are spelled as in existing files, so each row names its key literally.
TEST(ChannelMetaData, EveryKeyIsStoredUnderItsNameInItsKindAndReadsBack) {
  const long long date = 133515792300050000LL;  // beyond 32 bits: must stay a long long
  zsff_test::CheckKeyRows<W, R>({
      {"Name", T::TypeString, Writes(&W::Name, u"Kanal 1"), Reads<R>(&R::Name, u"Kanal 1"s)},
      {"Type", T::TypeString, Writes(&W::Type, "Parametric"), Reads<R>(&R::Type, "Parametric"s)},
      {"DataFormat", T::TypeString, Writes(&W::Format, "Compact16"),
       Reads<R>(&R::Format, "Compact16"s)},
      {"Track", T::TypeLong, Writes(&W::Channel, 12L), Reads<R>(&R::Channel, 12L)},
      {"Coupling", T::TypeString, Writes<W, const std::string&>(&W::Coupling, "ICP"),
       Reads<R>(&R::Coupling, "ICP"s)},
      {"SourceID", T::TypeString, Writes(&W::Source, u"src"), Reads<R>(&R::Source, u"src"s)},
      {"RecSourceID", T::TypeString, Writes(&W::RecordedSource, u"rec"),
       Reads<R>(&R::RecordedSource, u"rec"s)},
      {"SourceName", T::TypeString, Writes(&W::SourceName, u"Mic"),
       Reads<R>(&R::SourceName, u"Mic"s)},
      {"PhysicalQuantity", T::TypeString, Writes(&W::PhysicalQuantity, u"Pressure"),
       Reads<R>(&R::PhysicalQuantity, u"Pressure"s)},
      {"Unit", T::TypeString, Writes(&W::Unit, u"Pa"), Reads<R>(&R::Unit, u"Pa"s)},
      {"TransducerID", T::TypeString, Writes(&W::TransducerID, u"T-9"),
       Reads<R>(&R::TransducerID, u"T-9"s)},
      {"RangePeak", T::TypeFloat, Writes(&W::RangePeak, 10.5f), Reads<R>(&R::RangePeak, 10.5f)},
      {"RangeInfo", T::TypeFloat, Writes(&W::RangeInfo, 3.25f), Reads<R>(&R::RangeInfo, 3.25f)},
      {"SamplingRate", T::TypeFloat, Writes(&W::SamplingRate, 51200.0f),
       Reads<R>(&R::SamplingRate, 51200.0f)},
      {"Sensitivity", T::TypeFloat, Writes(&W::Sensitivity, 0.125f),
       Reads<R>(&R::Sensitivity, 0.125f)},
      {"Offset", T::TypeFloat, Writes(&W::Offset, -1.5f), Reads<R>(&R::Offset, -1.5f)},
      {"AbsAccuracy", T::TypeFloat, Writes(&W::AbsAccuracy, 0.75f),
       Reads<R>(&R::AbsAccuracy, 0.75f)},
      {"Polarity", T::TypeLong, Writes(&W::Polarity, -1L), Reads<R>(&R::Polarity, -1L)},
      {"SamplingIndex", T::TypeString, Writes(&W::SamplingIndex, u"S1"),
       Reads<R>(&R::SamplingIndex, u"S1"s)},
      {"FreqCorr", T::TypeVectorFloat, Writes(&W::FreqCorr, std::vector<float>{1.0f, 0.5f}),
       Reads<R>(&R::FreqCorr, std::vector<float>{1.0f, 0.5f})},
      {"NodeNumber", T::TypeString, Writes(&W::NodeNumber, u"101"),
       Reads<R>(&R::NodeNumber, u"101"s)},
      {"NodeDirection", T::TypeString, Writes(&W::NodeDirection, u"+Z"),
       Reads<R>(&R::NodeDirection, u"+Z"s)},
      {"NodeComponent", T::TypeString, Writes(&W::NodeComponent, u"Gear"),
       Reads<R>(&R::NodeComponent, u"Gear"s)},
      {"NodeType", T::TypeString, Writes(&W::NodeType, u"Acc"), Reads<R>(&R::NodeType, u"Acc"s)},
      {"IsTach", T::TypeBool, Writes(&W::IsTach, true), Reads<R>(&R::IsTach, true)},
      {"ExtSyncMode", T::TypeString, Writes<W, long>(&W::ExtSyncMode, 3L),
       Reads<R>(&R::ExtSyncMode, "Torsional+Tach"s)},
      {"MissingTeeth", T::TypeLong, Writes(&W::MissingTeeth, 2L), Reads<R>(&R::MissingTeeth, 2L)},
      {"PulsePerRev", T::TypeFloat, Writes(&W::PulsePerRev, 60.0f),
       Reads<R>(&R::PulsePerRev, 60.0f)},
      {"PreDivider", T::TypeLong, Writes(&W::PreDivider, 8L), Reads<R>(&R::PreDivider, 8L)},
      {"DeviceName", T::TypeString, Writes(&W::DeviceName, u"Front"),
       Reads<R>(&R::DeviceName, u"Front"s)},
      {"DeviceType", T::TypeString, Writes(&W::DeviceType, u"Z8"),
       Reads<R>(&R::DeviceType, u"Z8"s)},
      {"DeviceSN", T::TypeString, Writes(&W::DeviceSN, u"00042"),
       Reads<R>(&R::DeviceSN, u"00042"s)},
      {"DeviceVersion", T::TypeString, Writes(&W::DeviceVersion, "2.1"),
       Reads<R>(&R::DeviceVersion, "2.1"s)},
      {"DeviceFirmWareVersion", T::TypeString, Writes(&W::DeviceFirmWareVersion, "fw 7"),
       Reads<R>(&R::DeviceFirmWareVersion, "fw 7"s)},
      {"DeviceDiskName", T::TypeString, Writes(&W::DeviceDiskName, "Disk \xC3\xBC"),
       Reads<R>(&R::DeviceDiskName, "Disk \xC3\xBC"s)},
      {"DeviceDiskSN", T::TypeString, Writes(&W::DeviceDiskSN, "D-77"),
       Reads<R>(&R::DeviceDiskSN, "D-77"s)},
      // The writer says StartDate, the reader StartOfRecord, for both keys.
      {"RecordStartDateString", T::TypeString,
       Writes<W, const std::u16string&>(&W::StartDate, u"2024-01-31T10:20:30.005Z"),
       Reads<R>(&R::StartOfRecord, "2024-01-31T10:20:30.005Z"s)},
      {"RecordStartDate", T::TypeLongLong, Writes<W, long long>(&W::StartDate, date),
       Reads<R>(&R::StartOfRecord, date)},
      {"RecordCumulativeDate", T::TypeDouble, Writes(&W::CumulativeDate, 12.5),
       Reads<R>(&R::CumulativeDate, 12.5)},
      {"RecordRelativeDate", T::TypeLongLong, Writes(&W::RelativeDate, 5LL << 40),
       Reads<R>(&R::RelativeDate, 5LL << 40)},
      {"RecordRelativeDateEnd", T::TypeLongLong, Writes(&W::RelativeDateEnd, 7LL << 40),
       Reads<R>(&R::RelativeDateEnd, 7LL << 40)},
      {"RecordDuration", T::TypeDouble, Writes(&W::RecordLength, 3600.25),
       Reads<R>(&R::RecordLength, 3600.25)},
      {"RecordNumber", T::TypeLong, Writes(&W::RecordNumber, 4L), Reads<R>(&R::RecordNumber, 4L)},
      {"SignalTimeStep", T::TypeLong, Writes(&W::TimeStep, 16L), Reads<R>(&R::TimeStep, 16L)},
      {"SignalOffset", T::TypeFloat, Writes(&W::TimeOffset, 0.5f), Reads<R>(&R::TimeOffset, 0.5f)},
      // UncompCoeff and UncompOffset write what UncompactCoeff and UncompactOffset read.
      {"SignalUncompactCoeff", T::TypeFloat, Writes(&W::UncompCoeff, 0.0625f),
       Reads<R>(&R::UncompactCoeff, 0.0625f)},
      {"SignalUncompactOffset", T::TypeFloat, Writes(&W::UncompOffset, -2.0f),
       Reads<R>(&R::UncompactOffset, -2.0f)},
      {"RangeInfoPostAnalysis", T::TypeFloat, Writes(&W::PARangeInfo, 6.5f),
       Reads<R>(&R::PARangeInfo, 6.5f)},
      {"SensitivityPostAnalysis", T::TypeFloat, Writes(&W::PASensitivity, 2.5f),
       Reads<R>(&R::PASensitivity, 2.5f)},
      {"OffsetPostAnalysis", T::TypeFloat, Writes(&W::PAOffset, 1.25f),
       Reads<R>(&R::PAOffset, 1.25f)},
      {"PhysicalQuantityPostAnalysis", T::TypeString, Writes(&W::PAPhysicalQuantity, u"Force"),
       Reads<R>(&R::PAPhysicalQuantity, u"Force"s)},
      {"UnitPostAnalysis", T::TypeString, Writes(&W::PAUnit, u"N"), Reads<R>(&R::PAUnit, u"N"s)},
      {"TransducerIDPostAnalysis", T::TypeString, Writes(&W::PATransducerID, u"F-1"),
       Reads<R>(&R::PATransducerID, u"F-1"s)},
      {"NamePostAnalysis", T::TypeString, Writes(&W::PAName, u"Load"),
       Reads<R>(&R::PAName, u"Load"s)},
      {"PartLength", T::TypeFloat, Writes(&W::PartLength, 600.0f),
       Reads<R>(&R::PartLength, 600.0f)},
      {"MaxRecordLength", T::TypeFloat, Writes(&W::MaxRecordLength, 7200.0f),
       Reads<R>(&R::MaxRecordLength, 7200.0f)},
      {"CompressionFactor", T::TypeLong, Writes(&W::CompressionFactor, 16L),
       Reads<R>(&R::CompressionFactor, 16L)},
      {"PartsToDelete", T::TypeVectorLong,
       Writes<W, const std::vector<long>&>(&W::PartsToDelete, std::vector<long>{3, 4}),
       Reads<R>(&R::PartsToDelete, std::vector<long>{3, 4})},
  });
}

TEST(ChannelMetaData, TextGivenAsEightBitsIsStoredAsWideText) {
  MetaDataContainer container;
  W(container).DeviceDiskName("Disk \xC3\xBC");
  std::u16string stored;
  EXPECT_TRUE(container.FindMetadata("DeviceDiskName", stored));
  EXPECT_EQ(stored, u"Disk \u00fc");  // not one wide character per byte
}

TEST(ChannelMetaData, ReadersTakeWhatTheContainerConvertsAndWritersReplaceAnyKind) {
  MetaDataContainer container;
  container.AddMetadata("RangeInfo", 0.5);           // a float key, as a file gives it back
  container.AddMetadata("RecordStartDate", -1L);     // a small long long, likewise
  container.AddMetadata("RecordNumber", 1LL << 33);  // never narrowed
  container.AddMetadata("Track", std::u16string(u"7"));
  container.AddMetadata("Coupling", 2L);  // a text key holding a number

  R reader(container);
  float range = 0.0f;
  EXPECT_TRUE(reader.RangeInfo(range));
  EXPECT_EQ(range, 0.5f);
  long long start = 0;
  EXPECT_TRUE(reader.StartOfRecord(start));
  EXPECT_EQ(start, -1);
  long number = 99;
  EXPECT_FALSE(reader.RecordNumber(number));
  EXPECT_EQ(number, 99);
  std::string coupling = "preset";
  EXPECT_FALSE(reader.Coupling(coupling));
  EXPECT_EQ(coupling, "");
  EXPECT_EQ(reader.Coupling(), 0);

  W writer(container);
  writer.Channel(7L);
  writer.Coupling(2L);
  EXPECT_EQ(container.GetMetadataType("Track"), T::TypeLong);
  EXPECT_EQ(container.GetMetadataType("Coupling"), T::TypeString);
  EXPECT_EQ(reader.Coupling(), 2);
}

TEST(ChannelEnumerations, SampleFormatAndSizeComeFromTheFormatText) {
  const struct {
    const char* text;
    SampleFormat_t format;
    unsigned long long size;
  } formats[] = {{"SIFloat", SIFloat, 4},
                 {"SIDouble", SIDouble, 8},
                 {"Compact16", Compact16, 2},
                 {"Raw32", Raw32, 4}};
  for (const auto& f : formats) {
    SCOPED_TRACE(f.text);
    MetaDataContainer container;
    W(container).Format(f.text);
    EXPECT_EQ(R(container).SampleFormat(), f.format);
    EXPECT_EQ(R(container).SampleSize(), f.size);
    EXPECT_STREQ(SampleFormatText(f.format), f.text);
  }

  // Unknown, differently cased, padded or non-text values read as SIFloat, like no key.
  MetaDataContainer container;
  EXPECT_EQ(R(container).SampleFormat(), SIFloat);
  EXPECT_EQ(R(container).SampleSize(), 4u);
  for (const char* text : {"compact16", "Compact16 ", "SIDOUBLE", ""}) {
    W(container).Format(text);
    EXPECT_EQ(R(container).SampleFormat(), SIFloat) << text;
    EXPECT_EQ(R(container).SampleSize(), 4u) << text;
  }
  container.AddMetadata("DataFormat", 1L);
  EXPECT_EQ(R(container).SampleFormat(), SIFloat);
  EXPECT_STREQ(SampleFormatText(static_cast<SampleFormat_t>(7)), "SIFloat");
}

TEST(ChannelEnumerations, SignalTypeComesFromTheTypeText) {
  const struct {
    const char* text;
    SignalType_t type;
  } types[] = {{"Dynamic", Dynamic},
               {"Parametric", Parametric},
               {"Torsional", Torsional},
               {"Trigger", Trigger},
               {"TriggerAnalog", TriggerAnalog}};
  for (const auto& t : types) {
    SCOPED_TRACE(t.text);
    MetaDataContainer container;
    W(container).Type(t.text);
    EXPECT_EQ(R(container).SignalType(), t.type);
    EXPECT_STREQ(SignalTypeText(t.type), t.text);
  }

  MetaDataContainer container;
  EXPECT_EQ(R(container).SignalType(), Dynamic);
  W(container).Type("trigger");
  EXPECT_EQ(R(container).SignalType(), Dynamic);
  W(container).Type("TriggerAnalog2");
  EXPECT_EQ(R(container).SignalType(), Dynamic);
}

TEST(ChannelEnumerations, CouplingWritesTheCurrentSpellingAndReadsTheOlderOnes) {
  const char* const written[] = {"AC",        "DC",  "ICP",      "AC-FLT",     "DC-FLT",
                                 "ICP-CHECK", "GND", "ICP-TEDS", "TEDS-CHECK", "DC-CAN2"};
  for (long value = 0; value < 10; ++value) {
    MetaDataContainer container;
    W(container).Coupling(value);
    EXPECT_EQ(StoredText(container, "Coupling"), written[value]);
    EXPECT_EQ(R(container).Coupling(), value);
  }

  const struct {
    const char* text;
    long value;
  } older[] = {{"AC_Flt", 3}, {"DC_Flt", 4}, {"Check_ICP", 5}, {"ICP_TEDS", 7}, {"Check_TEDS", 8}};
  for (const auto& o : older) {
    SCOPED_TRACE(o.text);
    MetaDataContainer container;
    W(container).Coupling(std::string(o.text));
    EXPECT_EQ(R(container).Coupling(), o.value);
    // Written back, the value takes its current spelling.
    W(container).Coupling(R(container).Coupling());
    EXPECT_EQ(StoredText(container, "Coupling"), written[o.value]);
  }

  // Out of range, compared as unsigned, falls back on "AC".
  for (long value : {10L, -1L, (1L << 32) + 3}) {
    MetaDataContainer container;
    W(container).Coupling(std::string("GND"));
    W(container).Coupling(value);
    EXPECT_EQ(StoredText(container, "Coupling"), "AC") << value;
  }

  // Unknown text reads as 0, like a missing key.
  MetaDataContainer container;
  EXPECT_EQ(R(container).Coupling(), 0);
  for (const char* text : {"ac", "dc", "AC-Flt", "ICP-TEDS "}) {
    W(container).Coupling(std::string(text));
    EXPECT_EQ(R(container).Coupling(), 0) << text;
  }
}

TEST(ChannelEnumerations, ExtSyncModeWritesItsTextAndFallsBackOnTrigger) {
  const char* const texts[] = {"Trigger",       "Tach",
                               "Torsional",     "Torsional+Tach",
                               "Sampling",      "Sampling+Torsional",
                               "Sampling+Tach", "Sampling+Tach+Torsional"};
  for (long value = 0; value < 8; ++value) {
    MetaDataContainer container;
    W(container).ExtSyncMode(value);
    std::string text;
    EXPECT_TRUE(R(container).ExtSyncMode(text));
    EXPECT_EQ(text, texts[value]);
    EXPECT_EQ(R(container).ExtSyncMode(), value);
  }

  for (long value : {8L, -1L}) {
    MetaDataContainer container;
    W(container).ExtSyncMode(5L);
    W(container).ExtSyncMode(value);
    EXPECT_EQ(StoredText(container, "ExtSyncMode"), "Trigger") << value;
  }

  MetaDataContainer container;
  EXPECT_EQ(R(container).ExtSyncMode(), 0);
  container.AddMetadata("ExtSyncMode", std::u16string(u"Tach+Sampling"));
  EXPECT_EQ(R(container).ExtSyncMode(), 0);
}

TEST(ChannelEnumerations, EachEnumerationReadsOnlyItsOwnKey) {
  // "Torsional" is both a signal type and a synchronisation mode, each of value 2.
  MetaDataContainer typeOnly;
  W(typeOnly).Type("Torsional");
  EXPECT_EQ(R(typeOnly).SignalType(), Torsional);
  EXPECT_EQ(R(typeOnly).ExtSyncMode(), 0);

  MetaDataContainer syncOnly;
  W(syncOnly).ExtSyncMode(2L);
  EXPECT_EQ(R(syncOnly).ExtSyncMode(), 2);
  EXPECT_EQ(R(syncOnly).SignalType(), Dynamic);

  // "DC" is a coupling, not a format; "Trigger" a type and a mode.
  MetaDataContainer mixed;
  W(mixed).Coupling(1L);
  W(mixed).Type("Trigger");
  EXPECT_EQ(R(mixed).SampleFormat(), SIFloat);
  EXPECT_EQ(R(mixed).ExtSyncMode(), 0);
  EXPECT_EQ(R(mixed).SignalType(), Trigger);
  EXPECT_EQ(R(mixed).Coupling(), 1);
}

TEST(ChannelMetaData, PartsToDeleteKeepTheLowSixteenBits) {
  MetaDataContainer container;
  W(container).PartsToDelete(std::vector<unsigned short>{0, 7, 65535});
  std::vector<long> stored;
  EXPECT_TRUE(container.FindMetadata("PartsToDelete", stored));
  EXPECT_EQ(stored, (std::vector<long>{0, 7, 65535}));  // widened, not sign-extended
  EXPECT_EQ(R(container).PartsToDelete(), (std::vector<unsigned short>{0, 7, 65535}));

  container.AddMetadata("PartsToDelete", std::vector<long>{65537, -1});
  EXPECT_EQ(R(container).PartsToDelete(), (std::vector<unsigned short>{1, 65535}));

  // A file may give the list back as floats.
  container.AddMetadata("PartsToDelete", std::vector<float>{3.9f, 12.0f});
  EXPECT_EQ(R(container).PartsToDelete(), (std::vector<unsigned short>{3, 12}));

  container.AddMetadata("PartsToDelete", std::u16string(u"1,2"));
  EXPECT_TRUE(R(container).PartsToDelete().empty());
  EXPECT_TRUE(R(MetaDataContainer()).PartsToDelete().empty());
}

TEST(ChannelMetaData, PhysicalQuantityMapIsReplacedWholeAndCopiedOut) {
  MetaDataContainer container;
  container.PhysicalQuantityMap({{1, MetaDataQuantity(1, 2, "Unit", "Offset")}});

  W(container).PhysicalQuantityMap({{5, MetaDataQuantity(5, 3, "Sensitivity", "RangePeak")}});
  std::map<int, MetaDataQuantity> quantities = R(container).PhysicalQuantityMap();
  ASSERT_EQ(quantities.size(), 1u);
  ASSERT_EQ(quantities.count(5), 1u);
  EXPECT_EQ(quantities[5].QuantityId(), 5);
  EXPECT_EQ(quantities[5].OperatorType(), 3);
  EXPECT_EQ(quantities[5].LeftKey(), "Sensitivity");
  EXPECT_EQ(quantities[5].RightKey(), "RangePeak");

  quantities.clear();
  EXPECT_EQ(R(container).PhysicalQuantityMap().size(), 1u);
}
