#include <gtest/gtest.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataContainerJson.h>
#include <zsff/RecordId.h>

#include <limits>
#include <set>
#include <string>
#include <vector>

#include "support/CapturedDiagnostics.h"

using zsff::CMarkerId;
using zsff::CPropertyValue;
using zsff::MetaDataContainer;
using zsff::MetaDataContainerJson;
using zsff::MetaDataMarker;
using zsff::MetaDataQuantity;
using zsff::MetaDataRecord;
using zsff::MetaDataValue;

namespace {

// Writes `in` and reads the text back into a fresh container; the read must succeed.
MetaDataContainer RoundTrip(const MetaDataContainer& in) {
  MetaDataContainerJson json;
  const std::string text = json.ToJSONString(in);
  MetaDataContainer out;
  EXPECT_TRUE(json.FromJSONString(text, out)) << text;
  return out;
}

// Reads `text`, expecting a failure, and gives back the message.
std::string FailureOf(const std::string& text, MetaDataContainer& out) {
  MetaDataContainerJson json;
  zsff_test::CapturedDiagnostics diagnostics;
  const bool read = json.FromJSONString(text, out);
  const std::string reported = diagnostics.Take();
  EXPECT_FALSE(read) << text;
  const std::string message = json.LastError();
  EXPECT_EQ(message + "\n", reported) << "the message is also reported";
  return message;
}

std::string FailureOf(const std::string& text) {
  MetaDataContainer out;
  return FailureOf(text, out);
}

MetaDataContainer Read(const std::string& text) {
  MetaDataContainerJson json;
  MetaDataContainer out;
  EXPECT_TRUE(json.FromJSONString(text, out)) << json.LastError();
  return out;
}

const std::string kInvalidVersion = "MetaDataContainerJson::FromJSONString invalide version: ";

}  // namespace

TEST(MetaDataJson, ScalarsComeBackInTheNarrowestTypeThatHoldsThem) {
  MetaDataContainer in;
  in.AddMetadata("Text", std::u16string(u"Gr\u00fc\u00dfe \u20ac \"quoted\"\n"));
  in.AddMetadata("Long", -5L);
  in.AddMetadata("SmallLongLong", 5LL);
  in.AddMetadata("BigLongLong", -5000000000LL);
  in.AddMetadata("Float", 0.1f);
  in.AddMetadata("Double", 1.0 / 3.0);
  in.AddMetadata("WholeDouble", 2.0);
  in.AddMetadata("Yes", true);
  in.AddMetadata("No", false);

  const MetaDataContainer out = RoundTrip(in);
  EXPECT_EQ(in.GetMetadataKeys(), out.GetMetadataKeys());

  std::u16string text;
  ASSERT_TRUE(out.FindMetadata("Text", text));
  EXPECT_EQ(u"Gr\u00fc\u00dfe \u20ac \"quoted\"\n", text);

  long smallLong = 0;
  ASSERT_TRUE(out.FindMetadata("Long", smallLong));
  EXPECT_EQ(-5, smallLong);

  // A long long that fits 32 bits is a long now; the container widens it again.
  EXPECT_EQ(MetaDataValue::TypeLong, out.GetMetadataType("SmallLongLong"));
  long long widened = 0;
  ASSERT_TRUE(out.FindMetadata("SmallLongLong", widened));
  EXPECT_EQ(5, widened);
  EXPECT_EQ(MetaDataValue::TypeLongLong, out.GetMetadataType("BigLongLong"));
  ASSERT_TRUE(out.FindMetadata("BigLongLong", widened));
  EXPECT_EQ(-5000000000LL, widened);

  // A float travels as the double of the same value, so narrowing it back is exact.
  EXPECT_EQ(MetaDataValue::TypeDouble, out.GetMetadataType("Float"));
  float narrowed = 0.0f;
  ASSERT_TRUE(out.FindMetadata("Float", narrowed));
  EXPECT_EQ(0.1f, narrowed);

  double exact = 0.0;
  ASSERT_TRUE(out.FindMetadata("Double", exact));
  EXPECT_EQ(1.0 / 3.0, exact);
  // A whole double keeps its fraction in the text and so stays a double.
  EXPECT_EQ(MetaDataValue::TypeDouble, out.GetMetadataType("WholeDouble"));

  bool flag = false;
  ASSERT_TRUE(out.FindMetadata("Yes", flag));
  EXPECT_TRUE(flag);
  ASSERT_TRUE(out.FindMetadata("No", flag));
  EXPECT_FALSE(flag);
}

TEST(MetaDataJson, VectorsTakeOneTypeFromAllTheirElements) {
  MetaDataContainer in;
  in.AddMetadata("Floats", std::vector<float>{0.5f, -1.25f, 3.0e38f, 1.0f});
  in.AddMetadata("EmptyFloats", std::vector<float>{});
  in.AddMetadata("Longs", std::vector<long>{-1, 2147483647, -2147483647 - 1});
  in.AddMetadata("SmallUInt64", std::vector<unsigned long long>{0, 7, 2147483647});
  in.AddMetadata("BigUInt64", std::vector<unsigned long long>{1, 18446744073709551615ULL});

  const MetaDataContainer out = RoundTrip(in);

  EXPECT_EQ(MetaDataValue::TypeVectorFloat, out.GetMetadataType("Floats"));
  std::vector<float> floats;
  ASSERT_TRUE(out.FindMetadata("Floats", floats));
  EXPECT_EQ((std::vector<float>{0.5f, -1.25f, 3.0e38f, 1.0f}), floats);

  // An empty array counts as integers, and a vector of long is no vector of float.
  EXPECT_EQ(MetaDataValue::TypeVectorLong, out.GetMetadataType("EmptyFloats"));
  floats = {9.0f};
  EXPECT_FALSE(out.FindMetadata("EmptyFloats", floats));
  EXPECT_EQ(std::vector<float>{9.0f}, floats);

  std::vector<long> longs;
  ASSERT_TRUE(out.FindMetadata("Longs", longs));
  EXPECT_EQ((std::vector<long>{-1, 2147483647, -2147483647 - 1}), longs);

  EXPECT_EQ(MetaDataValue::TypeVectorLong, out.GetMetadataType("SmallUInt64"));
  std::vector<unsigned long long> unsignedValues;
  ASSERT_TRUE(out.FindMetadata("SmallUInt64", unsignedValues));
  EXPECT_EQ((std::vector<unsigned long long>{0, 7, 2147483647}), unsignedValues);

  EXPECT_EQ(MetaDataValue::TypeVectorUInt64, out.GetMetadataType("BigUInt64"));
  ASSERT_TRUE(out.FindMetadata("BigUInt64", unsignedValues));
  EXPECT_EQ((std::vector<unsigned long long>{1, 18446744073709551615ULL}), unsignedValues);
}

TEST(MetaDataJson, NumbersOfHandWrittenTextsFindTheirType) {
  const MetaDataContainer out = Read(
      "{\"Version\": 1, \"Int\": -2147483648, \"Wider\": 2147483648,"
      " \"AboveSigned\": 18446744073709551615, \"TooBig\": 18446744073709551616,"
      " \"Fraction\": 0.5, \"Mixed\": [1, -1, 9223372036854775808],"
      " \"NotNumbers\": [1.5, \"x\", null], \"Nothing\": null, \"Object\": {\"a\": 1}}");

  EXPECT_EQ(MetaDataValue::TypeLong, out.GetMetadataType("Int"));
  EXPECT_EQ(MetaDataValue::TypeLongLong, out.GetMetadataType("Wider"));
  // An unsigned value above the signed range keeps its bits.
  long long bits = 0;
  ASSERT_TRUE(out.FindMetadata("AboveSigned", bits));
  EXPECT_EQ(-1, bits);
  EXPECT_EQ(MetaDataValue::TypeDouble, out.GetMetadataType("TooBig"));
  EXPECT_EQ(MetaDataValue::TypeDouble, out.GetMetadataType("Fraction"));

  // Neither all 32-bit nor all unsigned: floats.
  std::vector<float> mixed;
  ASSERT_TRUE(out.FindMetadata("Mixed", mixed));
  EXPECT_EQ((std::vector<float>{1.0f, -1.0f, 9223372036854775808.0f}), mixed);
  std::vector<float> notNumbers;
  ASSERT_TRUE(out.FindMetadata("NotNumbers", notNumbers));
  EXPECT_EQ((std::vector<float>{1.5f, 0.0f, 0.0f}), notNumbers);

  EXPECT_EQ(0u, out.GetMetadataKeys().count("Nothing"));
  EXPECT_EQ(0u, out.GetMetadataKeys().count("Object"));
  EXPECT_EQ(0u, out.GetMetadataKeys().count("Version"));
}

TEST(MetaDataJson, TextIsPrettyPrintedInKeyOrderWithATrailingNewline) {
  MetaDataContainer in;
  in.AddMetadata("b", 2L);
  in.AddMetadata("a", std::u16string(u"x"));
  in.AddMetadata("c", 0.1f);
  MetaDataContainerJson json;
  EXPECT_EQ(
      "{\n"
      "    \"Version\": 1,\n"
      "    \"a\": \"x\",\n"
      "    \"b\": 2,\n"
      "    \"c\": 0.10000000149011612\n"
      "}\n",
      json.ToJSONString(in));

  // The structured parts follow the values, in a fixed order.
  in.AddMeasProperty("p", u"t", u"v");
  in.PhysicalQuantityMap({{1, MetaDataQuantity(1, 2, "l", "r")}});
  in.AddMarker(CMarkerId(1, 0), 0.0, 0.0, u"");
  in.AddAnalyzer("s", "n", "ds", "dn");
  in.AddRecord(1, 0, 0, 0.0, false, 0.0, 0);
  const std::string text = json.ToJSONString(in);
  std::vector<std::string::size_type> positions;
  for (const char* key : {"\"c\"", "\"Properties\"", "\"OperatedPhysicalQuantity\"", "\"Markers\"",
                          "\"Analyzers\"", "\"Records\""})
    positions.push_back(text.find(key));
  for (std::size_t i = 0; i < positions.size(); ++i) {
    ASSERT_NE(std::string::npos, positions[i]) << i;
    if (i > 0) {
      EXPECT_LT(positions[i - 1], positions[i]) << i;
    }
  }
}

TEST(MetaDataJson, StructuredPartsRoundTrip) {
  MetaDataContainer in;
  in.AddMetadata("Name", std::u16string(u"channel"));
  in.AddProperties(
      {CPropertyValue("plain", u"Title", u"Value \u00e9", CPropertyValue::PropertyText),
       CPropertyValue("choice", u"Pick", u"b", u"a", {u"a", u"b", u"\u00e7"}, true,
                      CPropertyValue::PropertyEnumerated),
       CPropertyValue("open", u"Any", u"", u"", {}, false, CPropertyValue::PropertyEnumerated)});
  in.PhysicalQuantityMap({{4, MetaDataQuantity(99, 3, "Left", "Right")}});
  in.AddMarker(CMarkerId(7, 2), 1.5, 0.25, u"2024-01-31T10:20:30.005Z", u"first \u00fc");
  in.AddMarker(CMarkerId(65535, 65535), -2.0, 3.0, u"", u"");
  in.AddAnalyzer("123", "A", "disk-1", "Disk One");
  in.AddAnalyzer("456", "B", "", "");
  in.AddRecord(0x0000000500010000ULL, 3, 132000000000000000LL, 10.5, true, 2.0, -7);
  in.AddRecord(0xFFFFFFFFFFFF0000ULL, 65535, -1, 0.25, false, 0.0, 0);

  const MetaDataContainer out = RoundTrip(in);

  // The key of a property is its identity; the stored value keeps no id.
  std::vector<CPropertyValue> properties;
  ASSERT_TRUE(out.GetMeasureProperties(properties));
  ASSERT_EQ(3u, properties.size());
  EXPECT_EQ((std::set<std::string>{"choice", "open", "plain"}), out.GetMeasPropertiesKeys());
  const CPropertyValue& choice = properties[0];
  EXPECT_EQ("", choice.id());
  EXPECT_EQ(CPropertyValue::PropertyEnumerated, choice.type());
  EXPECT_EQ(u"Pick", choice.title());
  EXPECT_EQ(u"b", choice.value());
  EXPECT_EQ(u"a", choice.defaultEnum());
  EXPECT_EQ((std::vector<std::u16string>{u"a", u"b", u"\u00e7"}), choice.listValuesEnum());
  EXPECT_TRUE(choice.constrainedEnum());
  const CPropertyValue& open = properties[1];
  EXPECT_EQ(CPropertyValue::PropertyEnumerated, open.type());
  EXPECT_TRUE(open.listValuesEnum().empty());
  EXPECT_FALSE(open.constrainedEnum());
  const CPropertyValue& plain = properties[2];
  EXPECT_EQ(CPropertyValue::PropertyText, plain.type());
  EXPECT_EQ(u"Value \u00e9", plain.value());

  // The map's key, not QuantityId, names the quantity in the text.
  const auto quantities = out.PhysicalQuantityMap();
  ASSERT_EQ(1u, quantities.size());
  const MetaDataQuantity& quantity = quantities.at(4);
  EXPECT_EQ(4, quantity.QuantityId());
  EXPECT_EQ(3, quantity.OperatorType());
  EXPECT_EQ("Left", quantity.LeftKey());
  EXPECT_EQ("Right", quantity.RightKey());

  EXPECT_EQ(in.GetMarkers(), out.GetMarkers());

  const auto analyzers = out.GetAnalyzerVect();
  ASSERT_EQ(2u, analyzers.size());
  EXPECT_EQ("123", analyzers[0].AnalyzerSerialNumber());
  EXPECT_EQ("A", analyzers[0].AnalyzerShortName());
  EXPECT_EQ("disk-1", analyzers[0].DiskSerialNumber());
  EXPECT_EQ("Disk One", analyzers[0].DiskName());
  EXPECT_EQ("456", analyzers[1].AnalyzerSerialNumber());

  const auto expected = in.GetRecordsVect();
  const auto records = out.GetRecordsVect();
  ASSERT_EQ(expected.size(), records.size());
  for (std::size_t i = 0; i < records.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(expected[i].RecordId(), records[i].RecordId());
    EXPECT_EQ(expected[i].LastPartNumber(), records[i].LastPartNumber());
    EXPECT_EQ(expected[i].AbsDate(), records[i].AbsDate());
    EXPECT_EQ(expected[i].RelDate(), records[i].RelDate());
    EXPECT_EQ(expected[i].Duration(), records[i].Duration());
    EXPECT_EQ(expected[i].Recording(), records[i].Recording());
    EXPECT_EQ(expected[i].PartLength(), records[i].PartLength());
    EXPECT_EQ(expected[i].OffsetTimeToStop(), records[i].OffsetTimeToStop());
  }

  // Members at their default are left out of the text.
  MetaDataContainerJson json;
  const std::string text = json.ToJSONString(in);
  const auto secondRecord = text.rfind("\"RecordId\"");
  EXPECT_EQ(std::string::npos, text.find("\"PartLength\"", secondRecord));
  EXPECT_EQ(std::string::npos, text.find("\"Recording\"", secondRecord));
  EXPECT_NE(std::string::npos, text.find("\"Recording\": true"));
  EXPECT_EQ(std::string::npos, text.find("\"EnumDefault\": \"\""));
}

TEST(MetaDataJson, StructuredPartsGoInAsTheTextHasThem) {
  MetaDataContainer out;
  out.PhysicalQuantityMap(
      {{1, MetaDataQuantity(1, 5, "keep", "me")}, {2, MetaDataQuantity(2, 5, "replace", "me")}});
  MetaDataContainerJson json;
  ASSERT_TRUE(json.FromJSONString(
      "{\"Version\": 1,"
      " \"Markers\": [{\"Index\": 0, \"Record\": 0, \"Comment\": \"zero id\"},"
      "               {\"Index\": 65537, \"Record\": 3},"
      "               {\"Index\": 1, \"Record\": 3, \"Comment\": \"later wins\"}],"
      " \"Analyzers\": [{\"SerialNumber\": \"1\"}, {\"SerialNumber\": \"1\"}],"
      " \"Records\": [{\"RecordId\": 20, \"RelativeDate\": 7.0, \"Duration\": 1.0},"
      "               {\"RecordId\": \"Record_123_7\"}, {\"RecordId\": \"Record_123\"},"
      "               {\"RecordId\": 10, \"LastPartNumber\": 65538, \"OffsetTimeToStop\": 1.5}],"
      " \"OperatedPhysicalQuantity\": [{\"OperatorId\": 2}],"
      " \"Properties\": [{}, {\"id\": \"k\", \"type\": \"text\"}, {\"id\": \"k\", \"title\": "
      "\"b\"}]"
      "}",
      out))
      << json.LastError();

  // No id check, no duplicate check: the zero id is kept and a later equal id wins.
  const auto markers = out.GetMarkers();
  ASSERT_EQ(2u, markers.size());
  EXPECT_EQ(CMarkerId(0, 0), markers[0].id());
  EXPECT_EQ(u"zero id", markers[0].comment());
  EXPECT_EQ(CMarkerId(1, 3), markers[1].id());
  EXPECT_EQ(u"later wins", markers[1].comment());
  EXPECT_EQ(u"undefined", markers[1].absoluteDate());
  EXPECT_EQ(0.0, markers[1].relativeDate());

  EXPECT_EQ(2u, out.GetAnalyzerVect().size());
  EXPECT_EQ("", out.GetAnalyzerVect()[0].DiskName());

  // Records keep the order and the dates of the text; a name stands for its id.
  const auto records = out.GetRecordsVect();
  ASSERT_EQ(4u, records.size());
  EXPECT_EQ(20u, records[0].RecordId());
  EXPECT_EQ(7.0, records[0].RelDate());
  EXPECT_EQ(zsff::CRecordId(123, 7).RecordId(), records[1].RecordId());
  EXPECT_EQ(zsff::CRecordId(123, 1).RecordId(), records[2].RecordId());
  EXPECT_EQ(10u, records[3].RecordId());
  EXPECT_EQ(2, records[3].LastPartNumber());
  EXPECT_EQ(0, records[3].OffsetTimeToStop()) << "a fraction counts as missing";
  EXPECT_FALSE(records[3].Recording());

  // Quantities the text doesn't name stay; those it names are replaced.
  const auto quantities = out.PhysicalQuantityMap();
  ASSERT_EQ(2u, quantities.size());
  EXPECT_EQ("keep", quantities.at(1).LeftKey());
  EXPECT_EQ(0, quantities.at(2).OperatorType());
  EXPECT_EQ("undefined", quantities.at(2).LeftKey());
  EXPECT_EQ("undefined", quantities.at(2).RightKey());

  // A property without anything is "undefined" in every part.
  std::pair<std::u16string, std::u16string> property;
  ASSERT_TRUE(out.FindMeasProperty("undefined", property));
  EXPECT_EQ(u"undefined", property.first);
  EXPECT_EQ(u"undefined", property.second);
  ASSERT_TRUE(out.FindMeasProperty("k", property));
  EXPECT_EQ(u"b", property.first);
  std::vector<CPropertyValue> properties;
  out.GetMeasureProperties(properties);
  ASSERT_EQ(2u, properties.size());
  EXPECT_EQ(CPropertyValue::PropertyUndefined, properties[0].type()) << "the later \"k\" wins";
}

TEST(MetaDataJson, MembersOfTheWrongTypeCountAsMissing) {
  MetaDataContainer out;
  MetaDataContainerJson json;
  ASSERT_TRUE(json.FromJSONString(
      "{\"Version\": 1, \"Name\": \"x\","
      " \"Markers\": [{\"Index\": \"1\", \"Record\": 2.5, \"RelativeDate\": \"soon\","
      "                \"AbsoluteDate\": 5, \"Comment\": [\"c\"]}, 7, null, [1]],"
      " \"Analyzers\": [{\"SerialNumber\": 12, \"DiskName\": {}}, \"not an object\"],"
      " \"Records\": [{\"RecordId\": 1.5, \"AbsoluteDate\": \"today\", \"Duration\": true,"
      "                \"Recording\": 1, \"LastPartNumber\": -1}],"
      " \"OperatedPhysicalQuantity\": [{\"OperatorId\": \"3\", \"OperatorLeftKey\": 4}],"
      " \"Properties\": [{\"id\": 5, \"title\": null, \"type\": \"enumerated\","
      "                   \"EnumDefault\": 1, \"EnumConstrained\": \"true\","
      "                   \"EnumList\": [\"a\", 2, \"b\"]},"
      "                  {\"id\": \"list\", \"type\": \"enumerated\", \"EnumList\": \"a\"}]"
      "}",
      out))
      << json.LastError();

  const auto markers = out.GetMarkers();
  ASSERT_EQ(1u, markers.size()) << "elements that aren't objects are passed over";
  EXPECT_EQ(CMarkerId(0, 0), markers[0].id());
  EXPECT_EQ(0.0, markers[0].relativeDate());
  EXPECT_EQ(u"undefined", markers[0].absoluteDate());
  EXPECT_EQ(u"undefined", markers[0].comment());

  ASSERT_EQ(1u, out.GetAnalyzerVect().size());
  EXPECT_EQ("", out.GetAnalyzerVect()[0].AnalyzerSerialNumber());
  EXPECT_EQ("", out.GetAnalyzerVect()[0].DiskName());

  ASSERT_EQ(1u, out.GetRecordsVect().size());
  const MetaDataRecord record = out.GetRecordsVect()[0];
  EXPECT_EQ(0u, record.RecordId());
  EXPECT_EQ(0, record.AbsDate());
  EXPECT_EQ(0.0, record.Duration());
  EXPECT_FALSE(record.Recording());
  EXPECT_EQ(65535, record.LastPartNumber()) << "an integer is cut to 16 bits";

  const auto quantities = out.PhysicalQuantityMap();
  ASSERT_EQ(1u, quantities.count(0));
  EXPECT_EQ("undefined", quantities.at(0).LeftKey());

  std::vector<CPropertyValue> properties;
  out.GetMeasureProperties(properties);
  ASSERT_EQ(2u, properties.size());
  const CPropertyValue& list = properties[0];
  EXPECT_TRUE(list.listValuesEnum().empty());
  const CPropertyValue& odd = properties[1];
  EXPECT_EQ((std::set<std::string>{"list", "undefined"}), out.GetMeasPropertiesKeys());
  EXPECT_EQ(u"undefined", odd.title());
  EXPECT_TRUE(odd.defaultEnum().empty());
  EXPECT_FALSE(odd.constrainedEnum());
  EXPECT_EQ((std::vector<std::u16string>{u"a", u"b"}), odd.listValuesEnum());
}

TEST(MetaDataJson, StructuredKeysOfAnotherTypeAreIgnored) {
  const MetaDataContainer out = Read(
      "{\"Version\": 1, \"Markers\": {\"Index\": 1}, \"Records\": 5, \"Analyzers\": null,"
      " \"Properties\": \"p\", \"OperatedPhysicalQuantity\": true, \"Key\": 1}");
  EXPECT_EQ(std::set<std::string>{"Key"}, out.GetMetadataKeys());
  EXPECT_TRUE(out.GetMarkers().empty());
  EXPECT_TRUE(out.GetRecordsVect().empty());
  EXPECT_TRUE(out.GetAnalyzerVect().empty());
  EXPECT_TRUE(out.GetMeasPropertiesKeys().empty());
  EXPECT_TRUE(out.PhysicalQuantityMap().empty());
}

TEST(MetaDataJson, ReadingReplacesAllButTheQuantities) {
  MetaDataContainer out;
  out.AddMetadata("Old", 1L);
  out.AddMeasProperty("old", u"t", u"v");
  out.AddMarker(CMarkerId(1, 1), 0.0, 0.0, u"");
  out.AddAnalyzer("old", "", "", "");
  out.AddRecord(1, 0, 0, 1.0, false, 0.0, 0);
  out.PhysicalQuantityMap({{9, MetaDataQuantity(9, 1, "a", "b")}});

  MetaDataContainerJson json;
  ASSERT_TRUE(json.FromJSONString("{\"Version\": 1, \"New\": 2}", out));
  EXPECT_EQ(std::set<std::string>{"New"}, out.GetMetadataKeys());
  EXPECT_TRUE(out.GetMeasPropertiesKeys().empty());
  EXPECT_TRUE(out.GetMarkers().empty());
  EXPECT_TRUE(out.GetAnalyzerVect().empty());
  EXPECT_TRUE(out.GetRecordsVect().empty());
  EXPECT_EQ(1u, out.PhysicalQuantityMap().count(9));
}

TEST(MetaDataJson, FailuresGiveTheirMessageAndLeaveTheContainerAlone) {
  MetaDataContainer out;
  out.AddMetadata("Kept", 1L);

  EXPECT_EQ("MetaDataContainerJson::FromJSONString parsing error: Invalid value., at offset: 1",
            FailureOf("[", out));
  EXPECT_EQ(
      "MetaDataContainerJson::FromJSONString parsing error: Missing a comma or '}' after an "
      "object member., at offset: 14",
      FailureOf("{\"Version\": 1 \"A\": 2}", out));
  EXPECT_EQ(
      "MetaDataContainerJson::FromJSONString parsing error: The document is empty., at "
      "offset: 0",
      FailureOf("", out));
  EXPECT_EQ("MetaDataContainerJson::FromJSONString version not found",
            FailureOf("{\"A\": 1}", out));
  // A root that isn't an object has no version either.
  EXPECT_EQ("MetaDataContainerJson::FromJSONString version not found", FailureOf("[1, 2]", out));
  EXPECT_EQ("MetaDataContainerJson::FromJSONString version not found", FailureOf("\"x\"", out));

  // The version moves the start of the message; the number never shows.
  EXPECT_EQ(kInvalidVersion.substr(2), FailureOf("{\"Version\": 2, \"A\": 1}", out));
  EXPECT_EQ(kInvalidVersion, FailureOf("{\"Version\": 0, \"A\": 1}", out));
  EXPECT_EQ(kInvalidVersion.substr(kInvalidVersion.size() - 1),
            FailureOf("{\"Version\": " + std::to_string(kInvalidVersion.size() - 1) + "}", out));
  EXPECT_EQ("", FailureOf("{\"Version\": 1000, \"A\": 1}", out));
  EXPECT_EQ("", FailureOf("{\"Version\": -1, \"A\": 1}", out));
  // Only an integer version can be 1.
  EXPECT_EQ(kInvalidVersion, FailureOf("{\"Version\": 1.0, \"A\": 1}", out));
  EXPECT_EQ(kInvalidVersion, FailureOf("{\"Version\": \"1\", \"A\": 1}", out));

  EXPECT_EQ(std::set<std::string>{"Kept"}, out.GetMetadataKeys());

  // Only the low 32 bits of the version count.
  MetaDataContainerJson json;
  EXPECT_TRUE(json.FromJSONString("{\"Version\": 4294967297, \"A\": 1}", out));
}

TEST(MetaDataJson, NoMetadataFailsAfterReadingWhatThereIs) {
  MetaDataContainer empty;
  MetaDataContainerJson json;
  const std::string versionOnly = json.ToJSONString(empty);
  EXPECT_EQ("{\n    \"Version\": 1\n}\n", versionOnly);
  EXPECT_EQ("MetaDataContainerJson::FromJSONString : no metadata found", FailureOf(versionOnly));

  MetaDataContainer recordsOnly;
  recordsOnly.AddRecord(5, 1, 2, 3.0, false, 0.0, 0);
  recordsOnly.AddAnalyzer("a", "b", "c", "d");
  MetaDataContainer out;
  EXPECT_EQ("MetaDataContainerJson::FromJSONString : no metadata found",
            FailureOf(json.ToJSONString(recordsOnly), out));
  ASSERT_EQ(1u, out.GetRecordsVect().size()) << "what was read stays";
  EXPECT_EQ(5u, out.GetRecordsVect()[0].RecordId());

  // Markers alone are enough.
  MetaDataContainer markersOnly;
  markersOnly.AddMarker(CMarkerId(1, 0), 0.0, 0.0, u"");
  EXPECT_EQ(1u, RoundTrip(markersOnly).GetMarkers().size());
}

TEST(MetaDataJson, LastErrorMovesTheMessageOut) {
  MetaDataContainerJson json;
  MetaDataContainer out;
  zsff_test::CapturedDiagnostics diagnostics;
  EXPECT_FALSE(json.FromJSONString("{", out));
  // A success in between doesn't clear a message nobody fetched.
  EXPECT_TRUE(json.FromJSONString("{\"Version\": 1, \"A\": 1}", out));
  EXPECT_NE("", json.LastError());
  EXPECT_EQ("", json.LastError());
}

TEST(MetaDataJson, ANonFiniteDoubleEndsTheText) {
  MetaDataContainer in;
  in.AddMetadata("A", 1L);
  in.AddMetadata("B", std::numeric_limits<double>::quiet_NaN());
  in.AddMetadata("C", 2L);
  MetaDataContainerJson json;
  const std::string text = json.ToJSONString(in);
  EXPECT_EQ("{\n    \"Version\": 1,\n    \"A\": 1,\n    \"B\": \n", text);
  EXPECT_EQ("", json.LastError()) << "the writer's stop is no error of its own";

  in.AddMetadata("B", 1.0);
  in.AddMetadata("AFloats", std::vector<float>{1.0f, std::numeric_limits<float>::infinity()});
  const std::string unclosed = json.ToJSONString(in);
  EXPECT_EQ(std::string::npos, unclosed.find("\"C\""));
  EXPECT_EQ(std::string::npos, unclosed.find('}'));
}

TEST(MetaDataJson, DeepNestingIsAParseErrorNotACrash) {
  const std::string deep = "{\"Version\": 1, \"A\": " + std::string(200000, '[');
  const std::string message = FailureOf(deep);
  EXPECT_EQ(0u, message.find("MetaDataContainerJson::FromJSONString parsing error: ")) << message;

  // Nested but well formed: the value isn't a number array, so its elements read as 0.
  const std::string nested =
      "{\"Version\": 1, \"A\": [" + std::string(100, '[') + std::string(100, ']') + ", 1.5]}";
  const MetaDataContainer out = Read(nested);
  std::vector<float> values;
  ASSERT_TRUE(out.FindMetadata("A", values));
  EXPECT_EQ((std::vector<float>{0.0f, 1.5f}), values);
}

TEST(MetaDataJson, EscapedNulEndsAString) {
  const MetaDataContainer out = Read(
      "{\"Version\": 1, \"Text\": \"ab\\u0000cd\","
      " \"Analyzers\": [{\"SerialNumber\": \"12\\u00003\"}]}");
  std::u16string text;
  ASSERT_TRUE(out.FindMetadata("Text", text));
  EXPECT_EQ(u"ab", text);
  EXPECT_EQ("12", out.GetAnalyzerVect().at(0).AnalyzerSerialNumber());
}
